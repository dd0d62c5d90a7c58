#include "toolkit/seedlink/tidereap.h"

#include "toolkit/base/errors.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/slproto_p.h"

#include <libmseed.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <unordered_map>
#include <vector>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <regex.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

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

double now_s()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

struct Queued
{
    int seq;
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

} // namespace

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
    std::unordered_map<std::string, int> station_seq;  // "NET_STA" to the last sequence number
    int uni_seq = -1;                                // single-station mode
    std::unordered_map<std::string, ChannelState> channels;
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
    void handleData(int seq, const char* record);
    void push(const Queued& q);
    bool woken();
    void closeSocket();
};

namespace {

// Parse "host:port", "[v6]:port", "host" or ":port".
int split_ring(const std::string& ring, std::string* host, std::string* port)
{
    std::string h = ring, p = std::to_string(kDefaultPort);
    if (!ring.empty() && ring[0] == '[') {
        const size_t close = ring.find(']');
        if (close == std::string::npos)
            return -1;
        h = ring.substr(1, close - 1);
        if (close + 1 < ring.size()) {
            if (ring[close + 1] != ':')
                return -1;
            p = ring.substr(close + 2);
        }
    } else if (const size_t colon = ring.rfind(':'); colon != std::string::npos) {
        h = ring.substr(0, colon);
        p = ring.substr(colon + 1);
    }
    if (h.empty())
        h = "localhost";
    if (p.empty() || p.size() > 5 || p.find_first_not_of("0123456789") != std::string::npos || std::stoi(p) == 0 ||
        std::stoi(p) > 65535)
        return -1;
    *host = h;
    *port = p;
    return 0;
}

int compile(regex_t* re, const char* expr, const char* what)
{
    const std::string anchored = std::string("^(") + expr + ")$";
    const int rc = regcomp(re, anchored.c_str(), REG_EXTENDED | REG_NOSUB);
    if (rc != 0) {
        char msg[256];
        regerror(rc, re, msg, sizeof msg);
        hl_register_error(0, "tidereapthr_new2: Bad %s expression '%s': %s.\n", what, expr, msg);
        return -1;
    }
    return 0;
}

} // namespace

void TidereapThr::closeSocket()
{
    if (fd >= 0)
        close(fd);
    fd = -1;
    in.clear();
}

bool TidereapThr::woken()
{
    std::lock_guard<std::mutex> lock(mu);
    return stopping || after_pending;
}

int TidereapThr::connectTo()
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* res = nullptr;
    const int gai = getaddrinfo(host.c_str(), port.c_str(), &hints, &res);
    if (gai != 0) {
        hl_register_error(0, "TidereapThr::connectTo: Cannot resolve '%s': %s.\n", host.c_str(), gai_strerror(gai));
        return -1;
    }
    int err = 0;
    for (addrinfo* a = res; a; a = a->ai_next) {
        fd = socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0) {
            err = errno;
            continue;
        }
        if (connect(fd, a->ai_addr, a->ai_addrlen) == 0) {
            freeaddrinfo(res);
            return 0;
        }
        err = errno;
        if (err == EINPROGRESS) {
            pollfd p[2] = {{fd, POLLOUT, 0}, {wake[0], POLLIN, 0}};
            const int n = poll(p, 2, kConnectTimeout_ms);
            if (n > 0 && (p[1].revents & POLLIN)) {
                closeSocket();
                freeaddrinfo(res);
                return kWoken;
            }
            socklen_t len = sizeof err;
            if (n > 0 && getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0) {
                freeaddrinfo(res);
                return 0;
            }
            if (n == 0)
                err = ETIMEDOUT;
        }
        closeSocket();
    }
    freeaddrinfo(res);
    hl_register_error(0, "TidereapThr::connectTo: Cannot connect to %s: %s.\n", ring.c_str(), strerror(err));
    return -1;
}

int TidereapThr::sendLine(const std::string& line)
{
    const std::string text = line + "\r\n";
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (n > 0) {
            done += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
            pollfd p = {fd, POLLOUT, 0};
            if (poll(&p, 1, kReplyTimeout_ms) > 0)
                continue;
        }
        hl_register_error(0, "TidereapThr::sendLine: Cannot send to %s: %s.\n", ring.c_str(),
                          n < 0 ? strerror(errno) : "closed");
        return -1;
    }
    return 0;
}

// Read what is there into in; 1 when bytes came, 0 on time-out, SESSION_WOKEN
// when woken, negative when the connection is gone.
int TidereapThr::fill(int timeout_ms)
{
    pollfd p[2] = {{fd, POLLIN, 0}, {wake[0], POLLIN, 0}};
    const int n = poll(p, 2, timeout_ms);
    if (n < 0 && errno != EINTR) {
        hl_register_error(0, "TidereapThr::fill: poll: %s.\n", strerror(errno));
        return -1;
    }
    if (n > 0 && (p[1].revents & POLLIN)) {
        char drain[64];
        while (read(wake[0], drain, sizeof drain) > 0) {
        }
        if (woken())
            return kWoken;
    }
    if (n <= 0 || !(p[0].revents & (POLLIN | POLLHUP | POLLERR)))
        return 0;
    char buf[65536];
    const ssize_t got = recv(fd, buf, sizeof buf, 0);
    if (got > 0) {
        in.append(buf, static_cast<size_t>(got));
        return 1;
    }
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return 0;
    if (got == 0 && !in.empty())
        hl_register_error(0, "TidereapThr::fill: %s closed the connection in the middle of a packet.\n", ring.c_str());
    else
        hl_register_error(0, "TidereapThr::fill: %s closed the connection%s%s.\n", ring.c_str(), got < 0 ? ": " : "",
                          got < 0 ? strerror(errno) : "");
    return -1;
}

int TidereapThr::readLine(std::string* line, int timeout_ms)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    for (;;) {
        const size_t eol = in.find('\n');
        if (eol != std::string::npos) {
            *line = in.substr(0, eol);
            if (!line->empty() && line->back() == '\r')
                line->pop_back();
            in.erase(0, eol + 1);
            return 0;
        }
        if (in.size() > 4096) {
            hl_register_error(0, "TidereapThr::readLine: %s sent a line longer than 4096 bytes.\n", ring.c_str());
            return -1;
        }
        const int left = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count());
        if (left <= 0) {
            hl_register_error(0, "TidereapThr::readLine: No answer from %s.\n", ring.c_str());
            return -1;
        }
        const int rc = fill(std::min(left, 1000));
        if (rc < 0)
            return rc;
    }
}

// One frame into frame, its bytes left at the front of in until the next
// call; 1 with a frame, 0 on time-out, negative on error or wake.
int TidereapThr::readFrame(SlFrame* frame, int timeout_ms)
{
    for (;;) {
        const int used = sl_next_frame(in.data(), in.size(), frame);
        if (used > 0)
            return used;
        if (used < 0) {
            hl_register_error(0, "TidereapThr::readFrame: Garbage from %s; reconnecting.\n", ring.c_str());
            return -1;
        }
        const int rc = fill(timeout_ms);
        if (rc <= 0)
            return rc;
    }
}

int TidereapThr::stationList(const char* level, std::vector<SlStationId>* stations)
{
    if (sendLine(std::string("INFO ") + level) < 0)
        return -1;
    std::string xml;
    MSRecord* msr = nullptr;
    for (;;) {
        SlFrame f;
        const int used = readFrame(&f, kReplyTimeout_ms);
        if (used == 0) {
            hl_register_error(0, "TidereapThr::stationList: No answer to INFO from %s.\n", ring.c_str());
            msr_free(&msr);
            return -1;
        }
        if (used < 0) {
            msr_free(&msr);
            return used;
        }
        const int type = f.type;
        if (type == SL_FRAME_INFO || type == SL_FRAME_INFO_LAST) {
            if (msr_parse(const_cast<char*>(f.record), kSlRecordBytes, &msr, kSlRecordBytes, 1, 0) == 0 &&
                msr->sampletype == 'a' && msr->numsamples > 0 && xml.size() < kMaxInfoBytes)
                xml.append(static_cast<const char*>(msr->datasamples), static_cast<size_t>(msr->numsamples));
        }
        in.erase(0, static_cast<size_t>(used));
        if (type == SL_FRAME_INFO)
            continue;
        if (type == SL_FRAME_DATA) {
            hl_register_error(0, "TidereapThr::stationList: Data from %s before any request.\n", ring.c_str());
            msr_free(&msr);
            return -1;
        }
        break;  // the last piece, or ERROR: no list, single-station mode
    }
    msr_free(&msr);
    *stations = sl_info_stations(xml, kMaxStations);
    return 0;
}

void TidereapThr::push(const Queued& q)
{
    std::lock_guard<std::mutex> lock(mu);
    if (stopping || generation != session_generation)
        return;  // asked for another start time meanwhile: the old stream is not wanted
    if (queue.size() >= queue_max) {
        queue.pop_front();
        stats.dropped_full++;
        full_since_log++;
        const double t = now_s();
        if (t - last_full_log >= 10.0) {
            hl_complain(0, "TidereapThr: Queue of %s full (%zu packets): %ld oldest dropped.\n", ring.c_str(),
                        queue_max, full_since_log);
            last_full_log = t;
            full_since_log = 0;
        }
    }
    queue.push_back(q);
    stats.packets++;
    cv.notify_one();
}

void TidereapThr::handleData(int seq, const char* record)
{
    char net[3], sta[6], loc[3], chan[4];
    if (sl_record_codes(record, net, sta, loc, chan) < 0)
        return;
    if (msr_parse(const_cast<char*>(record), kSlRecordBytes, &header, kSlRecordBytes, 0, 0) != 0 || !header) {
        hl_complain(0, "TidereapThr: Unreadable record header from %s; packet %06X dropped.\n", ring.c_str(), seq);
        return;
    }
    Queued q;
    q.seq = seq;
    pkt_srcname(net, sta, chan, loc, q.src, sizeof q.src);
    q.time = static_cast<double>(header->starttime) / HPTMODULUS;
    const double samprate = header->samprate;
    const double end = samprate > 0.0 ? q.time + static_cast<double>(header->samplecnt) / samprate : q.time;
    const std::string station = std::string(net) + "_" + sta;
    got_data = true;

    if (channels.size() >= kMaxChannels && !channels.count(q.src)) {
        hl_complain(0, "TidereapThr: More than %zu channels from %s; their state is started afresh.\n", kMaxChannels,
                    ring.c_str());
        channels.clear();
    }
    auto [it, fresh] = channels.try_emplace(q.src);
    ChannelState& c = it->second;
    if (fresh) {
        c.accepted = (!has_accept || regexec(&accept, q.src, 0, nullptr, 0) == 0) &&
                     !(has_reject && regexec(&reject, q.src, 0, nullptr, 0) == 0);
    }

    // sequence numbers count on modulo 2^24; half the circle back is "back"
    const auto known = station_seq.find(station);
    if (known != station_seq.end()) {
        const int d = (seq - known->second) & (kSlSeqModulus - 1);
        if (d == 0 || d >= kSlSeqModulus / 2) {
            const double half_sample = samprate > 0.0 ? 0.5 / samprate : 0.0;
            if (!fresh && q.time < c.last_end - half_sample) {
                std::lock_guard<std::mutex> lock(mu);
                stats.dropped_repeat++;
                return;
            }
            hl_complain(0, "TidereapThr: Sequence of %s at %s went back from %06X to %06X with new data: taken as a "
                        "restarted server.\n", station.c_str(), ring.c_str(), known->second, seq);
        }
    }
    if (known != station_seq.end())
        known->second = seq;
    else if (station_seq.size() < kMaxStations)
        station_seq.emplace(station, seq);
    uni_seq = seq;

    if (!(q.time >= 0.0 && q.time <= now_s() + kFuture_s)) {
        long dropped;
        {
            std::lock_guard<std::mutex> lock(mu);
            dropped = ++stats.dropped_time;
        }
        if (dropped <= 10 || dropped % 1000 == 0)
            hl_complain(0, "TidereapThr: Packet %06X of %s starts at %.0f, %s; dropped (%ld so far).\n", seq, q.src,
                        q.time, q.time < 0.0 ? "before 1970" : "more than a day ahead of the clock", dropped);
        return;
    }
    if (samprate > 0.0 && c.samprate > 0.0 && std::fabs(samprate - c.samprate) > 1e-6 * c.samprate)
        hl_complain(0, "TidereapThr: Sample rate of %s changed from %g to %g per second.\n", q.src, c.samprate,
                    samprate);
    if (samprate > 0.0)
        c.samprate = samprate;
    if (!c.accepted) {
        std::lock_guard<std::mutex> lock(mu);
        stats.dropped_rejected++;
        return;
    }
    c.last_end = std::max(c.last_end, end);
    memcpy(q.record.data(), record, kSlRecordBytes);
    push(q);
}

// Whether a station has a stream that the expressions take; true when its
// streams are not known.
bool TidereapThr::wanted(const SlStationId& s) const
{
    if (s.streams.empty())
        return true;
    for (const SlStreamId& st : s.streams) {
        char src[TIDEREAP_SRCNAME_SIZE];
        pkt_srcname(s.net.c_str(), s.sta.c_str(), st.chan.c_str(), st.loc.c_str(), src, sizeof src);
        if ((!has_accept || regexec(&accept, src, 0, nullptr, 0) == 0) &&
            !(has_reject && regexec(&reject, src, 0, nullptr, 0) == 0))
            return true;
    }
    return false;
}

// 1 when the server ended the stream, SESSION_WOKEN when stopped or asked
// for another start, negative when the connection failed.
int TidereapThr::session()
{
    {
        std::lock_guard<std::mutex> lock(mu);
        if (after_pending) {
            start_time = after_time;
            after_pending = false;
            station_seq.clear();
            channels.clear();
            uni_seq = -1;
        }
        session_generation = generation;
    }
    int rc = connectTo();
    if (rc < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    std::string line;
    if (sendLine("HELLO") < 0 || (rc = readLine(&line, kReplyTimeout_ms)) < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    if (sl_greeting_version(line) < 0) {
        hl_register_error(0, "TidereapThr::session: %s is not a SeedLink server: '%.60s'.\n", ring.c_str(),
                          line.c_str());
        return -1;
    }
    if ((rc = readLine(&line, kReplyTimeout_ms)) < 0)  // the organisation
        return rc == kWoken ? SESSION_WOKEN : -1;

    auto data_word = [this](int last_seq) {
        if (last_seq >= 0) {
            char buf[32];
            snprintf(buf, sizeof buf, "DATA %06X", (last_seq + 1) & (kSlSeqModulus - 1));
            return std::string(buf);
        }
        return start_time >= 0.0 ? "TIME " + sl_time_word(start_time) : std::string("DATA");
    };
    // the streams, to ask only for stations with a wanted channel; a server
    // that keeps them to itself may still list its stations
    std::vector<SlStationId> stations;
    if ((rc = stationList("STREAMS", &stations)) < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    if (stations.empty() && (rc = stationList("STATIONS", &stations)) < 0)
        return rc == kWoken ? SESSION_WOKEN : -1;
    const size_t listed = stations.size();
    std::erase_if(stations, [this](const SlStationId& s) { return !wanted(s); });
    if (listed > 0 && stations.empty()) {
        hl_register_error(0, "TidereapThr::session: None of the %zu stations of %s has a channel the expressions take.\n",
                          listed, ring.c_str());
        return -1;
    }
    if (stations.empty()) {
        // single-station mode: the command starts the stream at once
        if (sendLine(data_word(uni_seq)) < 0)
            return -1;
    } else {
        int accepted = 0;
        for (const SlStationId& s : stations) {
            const auto known = station_seq.find(s.net + "_" + s.sta);
            const std::string cmds[2] = {"STATION " + s.sta + " " + s.net,
                                         data_word(known == station_seq.end() ? -1 : known->second)};
            bool ok = true;
            for (const std::string& cmd : cmds) {
                if (sendLine(cmd) < 0 || (rc = readLine(&line, kReplyTimeout_ms)) < 0)
                    return rc == kWoken ? SESSION_WOKEN : -1;
                if (line != "OK") {
                    hl_complain(0, "TidereapThr: %s answered '%.40s' to '%s'; station skipped.\n", ring.c_str(),
                                line.c_str(), cmd.c_str());
                    ok = false;
                    break;
                }
            }
            accepted += ok;
        }
        if (accepted == 0) {
            hl_register_error(0, "TidereapThr::session: %s accepted none of its %zu stations.\n", ring.c_str(),
                              stations.size());
            return -1;
        }
        if (sendLine("END") < 0)
            return -1;
    }
    {
        std::lock_guard<std::mutex> lock(mu);
        stats.connects++;
    }
    double last_rx = now_s(), last_keepalive = last_rx;
    for (;;) {
        SlFrame f;
        const int used = readFrame(&f, 1000);
        if (used == kWoken)
            return SESSION_WOKEN;
        if (used < 0)
            return -1;
        const double t = now_s();
        if (used == 0) {
            if (t - last_rx > kNetTimeout_s) {
                hl_register_error(0, "TidereapThr::session: Nothing from %s for %.0f s.\n", ring.c_str(),
                                  kNetTimeout_s);
                return -1;
            }
            if (t - last_keepalive > kKeepalive_s) {
                if (sendLine("INFO ID") < 0)
                    return -1;
                last_keepalive = t;
            }
            continue;
        }
        last_rx = t;
        if (f.type == SL_FRAME_DATA)
            handleData(f.seq, f.record);
        in.erase(0, static_cast<size_t>(used));
        if (f.type == SL_FRAME_END)
            return SESSION_ENDED;
        if (f.type == SL_FRAME_ERROR) {
            hl_register_error(0, "TidereapThr::session: %s sent ERROR.\n", ring.c_str());
            return -1;
        }
    }
}

void TidereapThr::run()
{
    double backoff = kBackoffFirst_s;
    for (;;) {
        got_data = false;
        const int rc = session();
        closeSocket();
        {
            std::lock_guard<std::mutex> lock(mu);
            if (stopping)
                break;
            if (rc < 0)
                stats.failures++;
            if (after_pending)
                continue;  // a new start time: at once
        }
        if (got_data)
            backoff = kBackoffFirst_s;
        if (rc < 0) {
            hl_register_error(0, "TidereapThr: Retrying %s in %.1f s.\n", ring.c_str(), backoff);
            hl_clear_register(HL_CLEAR_PRINT);
        } else {
            hl_clear_register(HL_CLEAR_QUIET);
        }
        // wait out the back-off, or until woken
        pollfd p = {wake[0], POLLIN, 0};
        if (poll(&p, 1, static_cast<int>(backoff * 1000.0)) > 0) {
            char drain[64];
            while (read(wake[0], drain, sizeof drain) > 0) {
            }
        }
        backoff = std::min(backoff * 2.0, kBackoffMax_s);
    }
    msr_free(&header);
    hl_clear_register(HL_CLEAR_QUIET);
}

TidereapThr* tidereapthr_new2(const char* tidename, const char* accept, const char* reject, int queue_depth,
                              double after, double timeout)
{
    auto* r = new TidereapThr;
    r->ring = tidename ? tidename : "";
    if (split_ring(r->ring, &r->host, &r->port) < 0) {
        hl_register_error(0, "tidereapthr_new2: Bad ring name '%s': expected host:port.\n", r->ring.c_str());
        delete r;
        return nullptr;
    }
    if (accept && *accept) {
        if (compile(&r->accept, accept, "accept") < 0) {
            delete r;
            return nullptr;
        }
        r->has_accept = true;
    }
    if (reject && *reject) {
        if (compile(&r->reject, reject, "reject") < 0) {
            if (r->has_accept)
                regfree(&r->accept);
            delete r;
            return nullptr;
        }
        r->has_reject = true;
    }
    r->queue_max = static_cast<size_t>(std::clamp(queue_depth, TIDEREAP_QUEUE_MIN, TIDEREAP_QUEUE_MAX));
    r->wait_s = timeout >= 0.0 ? timeout : 0.5;
    r->after_pending = after >= 0.0;
    r->after_time = after;
    if (pipe2(r->wake, O_NONBLOCK | O_CLOEXEC) < 0) {
        hl_register_error(1, "tidereapthr_new2: pipe: %s.\n", strerror(errno));
        r->wake[0] = r->wake[1] = -1;
        TidereapThr* p = r;
        tidereapthr_free(&p);
        return nullptr;
    }
    try {
        r->thread = std::thread([r] { r->run(); });
    } catch (const std::system_error& e) {
        hl_register_error(1, "tidereapthr_new2: Cannot start the reader thread: %s.\n", e.what());
        TidereapThr* p = r;
        tidereapthr_free(&p);
        return nullptr;
    }
    return r;
}

int tidereapthr_get(TidereapThr* r, int* pktid, char* srcname, double* pkttime, char** packet, int* nbytes,
                    int* bufsize)
{
    if (!r) {
        hl_register_error(0, "tidereapthr_get: No reader.\n");
        return -1;
    }
    if (*bufsize < kSlRecordBytes || !*packet) {
        char* p = static_cast<char*>(realloc(*packet, kSlRecordBytes));
        if (!p) {
            hl_register_error(1, "tidereapthr_get: Out of memory.\n");
            return -1;
        }
        *packet = p;
        *bufsize = kSlRecordBytes;
    }
    std::unique_lock<std::mutex> lock(r->mu);
    r->cv.wait_for(lock, std::chrono::duration<double>(r->wait_s), [r] { return r->stopping || !r->queue.empty(); });
    if (r->stopping)
        return TIDEREAP_STOPPED;
    if (r->queue.empty())
        return TIDEREAP_NONE;
    const Queued& q = r->queue.front();
    *pktid = q.seq;
    snprintf(srcname, TIDEREAP_SRCNAME_SIZE, "%s", q.src);
    *pkttime = q.time;
    memcpy(*packet, q.record.data(), kSlRecordBytes);
    *nbytes = kSlRecordBytes;
    r->queue.pop_front();
    return TIDEREAP_PACKET;
}

int tidereapthr_after(TidereapThr* r, double time)
{
    if (!r) {
        hl_register_error(0, "tidereapthr_after: No reader.\n");
        return -1;
    }
    {
        std::lock_guard<std::mutex> lock(r->mu);
        r->after_time = time;
        r->after_pending = true;
        r->generation++;
        r->queue.clear();
    }
    const char c = 'a';
    if (write(r->wake[1], &c, 1) < 0 && errno != EAGAIN) {
        hl_register_error(1, "tidereapthr_after: Cannot wake the reader: %s.\n", strerror(errno));
        return -1;
    }
    return 0;
}

void tidereapthr_stop(TidereapThr* r)
{
    if (!r)
        return;
    {
        std::lock_guard<std::mutex> lock(r->mu);
        r->stopping = true;
    }
    r->cv.notify_all();
    if (r->wake[1] >= 0) {
        const char c = 's';
        (void)!write(r->wake[1], &c, 1);
    }
    if (r->thread.joinable() && r->thread.get_id() != std::this_thread::get_id())
        r->thread.join();
}

void tidereapthr_free(TidereapThr** reap)
{
    if (!reap || !*reap)
        return;
    TidereapThr* r = *reap;
    tidereapthr_stop(r);
    for (int& fd : r->wake)
        if (fd >= 0)
            close(fd);
    if (r->has_accept)
        regfree(&r->accept);
    if (r->has_reject)
        regfree(&r->reject);
    delete r;
    *reap = nullptr;
}

int tidereapthr_stats(TidereapThr* r, TidereapStats* stats)
{
    if (!r || !stats)
        return -1;
    std::lock_guard<std::mutex> lock(r->mu);
    *stats = r->stats;
    return 0;
}
