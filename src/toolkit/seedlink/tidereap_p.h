// The reader's state, shared by its files: tidereap.cpp (the thread, its
// packets and the public functions) and tidereap_session.cpp (the socket
// and the conversation with the server).
#pragma once

#include "toolkit/seedlink/slproto_p.h"
#include "toolkit/seedlink/tidereap.h"

#include <libmseed.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <regex.h>

namespace tidereap_detail {

constexpr double kBackoffFirst_s = 0.5;
constexpr double kBackoffMax_s = 30.0;
constexpr int kConnectTimeout_ms = 10000;
constexpr int kReplyTimeout_ms = 20000;
constexpr double kKeepalive_s = 30.0;      // an INFO ID when the line is quiet this long
constexpr double kNetTimeout_s = 120.0;    // reconnect when nothing came this long
constexpr double kFuture_s = 86400.0;      // packets starting later than a day ahead are dropped
constexpr size_t kMaxStations = 100000;
constexpr size_t kMaxChannels = 200000;    // per-channel state; forgotten past this
constexpr size_t kMaxInfoBytes = 16 << 20;
constexpr int kDefaultPort = 18000;

inline double now_s()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

struct Queued
{
    int64_t seq;
    double time;
    char src[TIDEREAP_SRCNAME_SIZE];
    std::array<char, kSlRecordBytes> record;
};

struct ChannelState
{
    double samprate = 0.0;
    double last_end = -1e300;  // time after the last sample delivered
    bool accepted = false;
};

// Why a session ended.
enum { SESSION_LOST = -1, SESSION_WOKEN = 0, SESSION_ENDED = 1 };

// Returned by the reading helpers when stopped or asked for another start.
constexpr int kWoken = -100;

} // namespace tidereap_detail

using namespace tidereap_detail;

struct TidereapThr
{
    std::string ring, host, port;
    regex_t accept{}, reject{};
    bool has_accept = false, has_reject = false;
    size_t queue_max = TIDEREAP_QUEUE_MIN;
    double wait_s = 0.5;

    // shared with consumers, under mu
    std::mutex mu;
    std::condition_variable cv;
    std::deque<Queued> queue;
    bool stopping = false;
    bool after_pending = false;
    double after_time = -1.0;
    unsigned long generation = 0;
    TidereapStats stats;
    std::thread thread;
    int wake[2] = {-1, -1};

    // the reader thread's own
    int fd = -1;
    std::string in;                                  // bytes received, not yet framed
    std::unordered_map<std::string, int64_t> station_seq;  // "NET_STA" to the last sequence number
    int64_t uni_seq = -1;                            // single-station mode
    bool v4 = false;                                 // this session speaks protocol version 4
    int seq_protocol = 0;                            // the version the sequence numbers are of
    long odd_payloads = 0;                           // version 4 packets of other formats or lengths
    std::unordered_map<std::string, ChannelState> channels;
    std::unordered_set<std::string> repeating;       // stations whose sequence went back, until it goes on
    double start_time = -1.0;                        // TIME for stations without a sequence number
    unsigned long session_generation = 0;
    bool got_data = false;
    MSRecord* header = nullptr;                      // parse space of handleData
    double last_full_log = 0.0;
    long full_since_log = 0;

    void run();
    int session();
    int connectTo();
    int sendLine(const std::string& line);
    int readLine(std::string* line, int timeout_ms);
    int readFrame(SlFrame* frame, int timeout_ms);
    int fill(int timeout_ms);
    int stationList(const char* level, std::vector<SlStationId>* stations);
    bool wanted(const SlStationId& s) const;
    void handleData(int64_t seq, const char* record);
    bool wentBack(int64_t seq, int64_t last) const;
    std::string dataWord(int64_t last_seq) const;
    void push(const Queued& q);
    bool woken();
    void closeSocket();
};

