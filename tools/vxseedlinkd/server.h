// vxseedlinkd's server: miniSEED records played out as a live SeedLink
// stream to any number of clients: protocol version 3, and version 4 when
// offered (SLPROTO 4.0: "SE" packets, "STATION NET_STA", DATA with decimal
// sequence numbers and ISO times, INFO answered with a short JSON packet).
//
// Records come from miniSEED files (kept byte for byte when they are 512
// bytes long, repacked into 512-byte records otherwise) or from generated
// channels.  A playback clock releases each record when the clock passes
// its last sample, at real-time speed or a speed factor (0: everything at
// once); a released record gets the next sequence number and stays in a
// bounded buffer, from which DATA, FETCH and TIME serve earlier packets.
//
// Commands: HELLO, STATION, SELECT, DATA, FETCH, TIME, END, INFO (ID,
// STATIONS, STREAMS), BYE.  For tests a connection can be cut after a
// number of packets, in the middle of a packet, or turned to garbage, and
// can send a record of a wrong length or repeat packets already sent.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct SlServerOptions
{
    std::string bind = "0.0.0.0";
    int port = 18000;              // 0: a free port, see SlServer::port()
    double speed = 1.0;            // playback speed; 0 releases everything at once
    size_t buffer_packets = 200000;  // released packets kept for DATA, FETCH and TIME
    long drop_after = 0;           // close a connection after this many packets; 0 never
    bool cut_mid_packet = false;   // with drop_after: send half of the next packet first
    long garbage_after = 0;        // send garbage after this many packets, then close; 0 never
    bool refuse_station_list = false;  // answer INFO STATIONS and STREAMS with ERROR, as some servers do
    long wrong_length_after = 0;   // after this many packets send one whose record claims 4096 bytes; 0 never
    long seq_back_after = 0;       // after this many packets go back 3 and send those again, once; 0 never
    bool offer_v4 = false;         // offer protocol version 4 (SLPROTO:4.0) besides 3.1
    double history = 0.0;          // seconds of data released at once at the start; the clock runs on from there
};

// Generated channels: every station has the first nchan of BHZ, BHN, BHE
// (HHZ, HHN, HHE above 80 Hz).
struct SlSynthOptions
{
    std::string network = "XX";
    int stations = 3;
    int nchan = 3;
    double samprate = 100.0;
    double start = -1.0;     // epoch of the first sample; negative: now
    double duration = -1.0;  // seconds; negative: without end
    uint64_t seed = 1;
};

// A record ready to send.
struct SlRecord
{
    std::string net, sta, loc, chan;
    double start = 0.0, end = 0.0;  // first sample, and time after the last
    std::array<char, 512> bytes{};
};

// The samples of generated channel number channel, from sample k0 on: a
// few sines and a little noise, the same for the same arguments.
void sl_synth_samples(uint64_t seed, int channel, int64_t k0, int n, double samprate, int32_t* out);

class SlServer
{
public:
    explicit SlServer(const SlServerOptions& opt);
    ~SlServer();
    SlServer(const SlServer&) = delete;
    SlServer& operator=(const SlServer&) = delete;

    // Before start(): records of miniSEED files.  0, or negative with a
    // message in *error.
    int loadFile(const std::string& path, std::string* error);
    // Before start(): generated channels.  0 or negative.
    int addSynthetic(const SlSynthOptions& synth, std::string* error);

    // Listen and start playing.  0, or negative with a message.
    int start(std::string* error);
    // The port listened on.
    int port() const { return port_; }
    // Stop playing, close every connection and join all threads.
    void stop();

    // Packets released so far (the next sequence number).
    long released() const;

private:
    struct Client
    {
        int fd = -1;
        std::thread thread;
        std::atomic<bool> done{false};
    };
    void acceptLoop();
    void playLoop();
    void serve(Client* c);
    void release(SlRecord&& rec);
    bool generate(double clock);
    std::string infoXml(const std::string& level) const;

    SlServerOptions opt_;
    std::vector<SlRecord> pending_;  // by end time, not yet released
    size_t next_pending_ = 0;
    std::vector<SlSynthOptions> synth_;
    std::vector<int64_t> synth_next_;  // next sample of each generated channel
    int synth_channels_ = 0;

    mutable std::mutex mu_;
    std::condition_variable cv_;
    std::deque<std::pair<long, SlRecord>> ring_;  // (sequence, record)
    long next_seq_ = 0;
    struct Station
    {
        std::string net, sta;
        std::vector<std::pair<std::string, std::string>> streams;  // (loc, chan)
    };
    std::vector<Station> stations_;  // known before start(), in order of appearance
    void addStream(const std::string& net, const std::string& sta, const std::string& loc, const std::string& chan);
    bool stopping_ = false;

    int listen_fd_ = -1;
    int port_ = 0;
    int wake_[2] = {-1, -1};
    std::thread accept_thread_, play_thread_;
    std::list<Client> clients_;
};
