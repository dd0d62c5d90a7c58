// The SeedLink reader against vxseedlinkd's server on a loopback port.
#include "mseedmake.h"
#include "server.h"

#include "support/testsupport.h"
#include "toolkit/toolkit_support.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/slproto_p.h"
#include "toolkit/seedlink/tidereap.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr double kT0 = 1700000000.0;  // first sample of the test data
constexpr double kRate = 20.0;
constexpr size_t kSamples = 4000;     // per channel: 200 s, some 30 records

std::mutex g_log_mu;
std::vector<std::string> g_log;

void capture(const char* line)
{
    std::lock_guard<std::mutex> lock(g_log_mu);
    g_log.emplace_back(line);
}

bool logged(const std::string& part)
{
    std::lock_guard<std::mutex> lock(g_log_mu);
    for (const std::string& l : g_log)
        if (l.find(part) != std::string::npos)
            return true;
    return false;
}

void clearLog()
{
    std::lock_guard<std::mutex> lock(g_log_mu);
    g_log.clear();
}

// Steim-2 records of n samples of the test signal, integers.
std::vector<MseedRecord> pack(const char* sta, double time, size_t n, int reclen = 512, double rate = kRate)
{
    return mseed_pack("XX", sta, "", "BHZ", time, rate, mseed_signal(n, 0), 'i', DE_STEIM2, reclen, 1);
}

// A loopback TCP socket on a free port, listening when asked.
int loopbackSocket(bool listening, int* port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || (listening && listen(fd, 4) != 0))
        return -1;
    getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
    *port = ntohs(a.sin_port);
    return fd;
}

// What tidereapthr_get hands out, its buffer freed at the end.
struct Take
{
    char src[TIDEREAP_SRCNAME_SIZE];
    char* buf = nullptr;
    int bufsize = 0, nbytes = 0, seq = 0;
    double t = 0.0;
    int from(TidereapThr* reap) { return tidereapthr_get(reap, &seq, src, &t, &buf, &nbytes, &bufsize); }
    ~Take() { free(buf); }
};

// The samples of a channel as delivered: first sample time to values.
using Delivered = std::map<std::string, std::map<double, std::vector<double>>>;

class SeedlinkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        clearLog();
        errlog_set(HL_ERRLOG_CALLBACK, 0, reinterpret_cast<void*>(&capture));
    }
    void TearDown() override
    {
        tidereapthr_free(&reap_);
        if (server_)
            server_->stop();
        errlog_set(HL_ERRLOG_CALLBACK, 0, nullptr);
    }

    // Three channels of two stations in one file; STA2's samples are floats
    // in 4096-byte records, which the server repacks.
    std::string writeFile()
    {
        std::string bytes;
        const char* rows[3][3] = {{"STA1", "BHZ", "i"}, {"STA1", "BHE", "i"}, {"STA2", "BHZ", "f"}};
        for (int c = 0; c < 3; c++) {
            const bool is_float = rows[c][2][0] == 'f';
            values_[std::string("XX_") + rows[c][0] + "_" + rows[c][1]] = mseed_signal(kSamples, c);
            for (const MseedRecord& r :
                 mseed_pack("XX", rows[c][0], "", rows[c][1], kT0, kRate, mseed_signal(kSamples, c),
                            is_float ? 'f' : 'i', is_float ? DE_FLOAT32 : DE_STEIM2, is_float ? 4096 : 512, 1))
                bytes += r;
        }
        return folder_.write(folder_.path() + "/three.mseed", bytes);
    }

    // The server tool on a loopback port, sending as fast as it can
    // synthetic channels when synth is given, else the file at path or that
    // of writeFile().
    void startServer(SlServerOptions opt = {}, std::string path = {}, const SlSynthOptions* synth = nullptr)
    {
        opt.bind = "127.0.0.1";
        opt.port = 0;
        opt.speed = 0.0;
        server_ = std::make_unique<SlServer>(opt);
        std::string error;
        const int loaded = synth ? server_->addSynthetic(*synth, &error)
                                 : server_->loadFile(path.empty() ? writeFile() : path, &error);
        ASSERT_EQ(loaded, 0) << error;
        ASSERT_EQ(server_->start(&error), 0) << error;
    }

    std::string ring() const { return "127.0.0.1:" + std::to_string(server_->port()); }

    // Start the reader on ring (the server's by default) from kT0.
    bool startReader(const char* accept = nullptr, const char* reject = nullptr, std::string at = {},
              int queue = 10)
    {
        reap_ = tidereapthr_new2((at.empty() ? ring() : at).c_str(), accept, reject, queue, kT0, -1.0);
        return reap_ != nullptr;
    }

    TidereapStats stats()
    {
        TidereapStats st;
        EXPECT_EQ(tidereapthr_stats(reap_, &st), 0);
        return st;
    }

    // Take packets until every channel has want samples or nothing comes
    // for a while; decodes each into delivered.
    void collect(size_t want, Delivered* delivered, int channels = 3)
    {
        Take take;
        int idle = 0;
        std::map<std::string, size_t> counts;
        size_t complete = 0;
        while (idle < 40 && complete < static_cast<size_t>(channels)) {  // at most 40 empty waits of 0.5 s
            const int rc = take.from(reap_);
            ASSERT_NE(rc, TIDEREAP_STOPPED);
            if (rc != TIDEREAP_PACKET) {
                idle++;
                continue;
            }
            idle = 0;
            Packet* pkt = nullptr;
            ASSERT_GT(pktDecode(take.src, take.t, take.buf, take.nbytes, &pkt), 0) << hl_errlog_string(0);
            for (const PktChan& c : pkt->channels) {
                std::vector<double> v(static_cast<size_t>(c.nsamp));
                for (int i = 0; i < c.nsamp; i++)
                    v[static_cast<size_t>(i)] = c.isfloat ? reinterpret_cast<const float*>(c.data)[i] : c.data[i];
                auto& slot = (*delivered)[c.cuser1][c.time];
                EXPECT_TRUE(slot.empty()) << "delivered twice: " << c.cuser1 << " at " << c.time;
                slot = v;
                size_t& n = counts[c.cuser1];
                complete += n < want && n + v.size() >= want;
                n += v.size();
            }
            pktFree(&pkt);
        }
    }

    // The delivered samples of a channel joined in time order; fails on a
    // gap or an overlap.
    std::vector<double> joined(const Delivered& d, const std::string& name)
    {
        std::vector<double> all;
        double next = -1.0;
        for (const auto& [time, v] : d.at(name)) {
            if (next >= 0.0) {
                EXPECT_NEAR(time, next, 1e-3) << name << ": gap or overlap";
            }
            all.insert(all.end(), v.begin(), v.end());
            next = time + static_cast<double>(v.size()) / kRate;
        }
        return all;
    }

    // Collect the whole file and expect every channel's samples exactly.
    void expectTheFile()
    {
        Delivered d;
        collect(kSamples, &d);
        ASSERT_EQ(d.size(), 3u);
        for (const auto& [name, v] : values_) {
            SCOPED_TRACE(name);
            ASSERT_TRUE(d.count(name));
            EXPECT_EQ(joined(d, name), v);
            EXPECT_EQ(d.at(name).begin()->first, kT0);
        }
    }

    Folder folder_;
    std::map<std::string, std::vector<double>> values_;
    std::unique_ptr<SlServer> server_;
    TidereapThr* reap_ = nullptr;
};

TEST_F(SeedlinkTest, ThreeChannelsArriveEqualToTheFile)
{
    startServer();
    ASSERT_TRUE(startReader()) << hl_errlog_string(0);
    expectTheFile();
}

TEST_F(SeedlinkTest, AcceptAndRejectExpressionsChooseChannels)
{
    startServer();
    ASSERT_TRUE(startReader("XX_STA1_.*", ".*_BHE"));
    Delivered d;
    collect(kSamples, &d, 1);
    ASSERT_EQ(d.size(), 1u);
    EXPECT_TRUE(d.count("XX_STA1_BHZ"));
    // STA2 has no channel the expressions take: the reader does not ask for
    // it, so only STA1's BHE records come and are refused
    // the BHE records may still be on their way when BHZ is complete: wait
    // (at most 10 s) for the reader to have refused them all
    const auto bhe = mseed_pack("XX", "STA1", "", "BHE", kT0, kRate, values_.at("XX_STA1_BHE"), 'i', DE_STEIM2, 512, 1);
    for (int i = 0; i < 1000 && stats().dropped_rejected < static_cast<long>(bhe.size()); i++)
        usleep(10000);
    EXPECT_EQ(stats().dropped_rejected, static_cast<long>(bhe.size()));
}

// Faults of the server tool, in both protocol versions: each is reported
// through the log, the reader reconnects where the stream broke (or drops
// the repeats), and every sample of the file arrives exactly once: the
// queue takes each released packet once.
TEST_F(SeedlinkTest, ServerFaultsAreReportedAndEverySampleArrivesOnce)
{
    // message4: in version 4 when it differs
    const struct { const char* name; long SlServerOptions::*fault; long after; const char *message, *message4;
        bool reconnects; } cases[] = {
        {"closed mid-record", &SlServerOptions::drop_after, 7, "closed the connection in the middle of a packet",
         nullptr, true},
        {"garbage", &SlServerOptions::garbage_after, 12, "Garbage from ", "sl_next_frame4: Unexpected bytes", true},
        {"record of a wrong length", &SlServerOptions::wrong_length_after, 12,
         "sl_next_frame: Record of 4096 bytes where SeedLink carries 512.", nullptr, true},
        {"sequence going back", &SlServerOptions::seq_back_after, 9, "packets already delivered are dropped", nullptr,
         false},
    };
    for (const auto& c : cases) {
        for (int version : {3, 4}) {
            SCOPED_TRACE(std::string(c.name) + ", version " + std::to_string(version));
            SlServerOptions opt;
            opt.offer_v4 = version == 4;
            opt.*c.fault = c.after;
            opt.cut_mid_packet = c.fault == &SlServerOptions::drop_after;
            startServer(opt);
            ASSERT_TRUE(startReader());
            expectTheFile();
            const TidereapStats st = stats();
            EXPECT_EQ((std::vector<long>{st.protocol, st.packets, st.dropped_full}),
                      (std::vector<long>{version, server_->released(), 0}));
            EXPECT_TRUE(logged(version == 4 && c.message4 ? c.message4 : c.message));
            EXPECT_EQ(st.failures > 0, c.reconnects);
            EXPECT_EQ(logged("Retrying " + ring()), c.reconnects);
            tidereapthr_free(&reap_);
            server_->stop();
            clearLog();
        }
    }
}

TEST_F(SeedlinkTest, WithoutAStationListTheSingleStationModeResumesToo)
{
    SlServerOptions opt;
    opt.drop_after = 20;
    opt.refuse_station_list = true;
    startServer(opt);
    ASSERT_TRUE(startReader());
    expectTheFile();
}

TEST_F(SeedlinkTest, AfterReadsAgainFromTheGivenTime)
{
    startServer();
    ASSERT_TRUE(startReader("XX_STA1_BHZ"));
    Delivered d;
    collect(kSamples, &d, 1);
    const double from = kT0 + 100.0;
    ASSERT_EQ(tidereapthr_after(reap_, from), 0);
    Delivered again;
    collect(kSamples / 2, &again, 1);
    ASSERT_EQ(again.size(), 1u);
    const auto& m = again.at("XX_STA1_BHZ");
    const double first = m.begin()->first;
    EXPECT_LE(first, from);
    EXPECT_GT(first + static_cast<double>(m.begin()->second.size()) / kRate, from);
    // from there on, the file's samples
    const std::vector<double> got = joined(again, "XX_STA1_BHZ");
    const size_t k0 = static_cast<size_t>(std::llround((first - kT0) * kRate));
    const std::vector<double>& v = values_.at("XX_STA1_BHZ");
    EXPECT_EQ(got, std::vector<double>(v.begin() + static_cast<long>(k0), v.end()));
}

TEST_F(SeedlinkTest, RateChangesAndFuturePacketsAreReported)
{
    std::string bytes;
    const double future = std::floor(std::chrono::duration<double>(
                                         std::chrono::system_clock::now().time_since_epoch()).count()) + 10 * 86400.0;
    const struct { const char* sta; double time, rate; } parts[] = {
        {"STA3", kT0, 20.0}, {"STA3", kT0 + 200.0, 40.0}, {"STA4", future, 20.0}
    };
    for (const auto& p : parts)
        for (const MseedRecord& r : pack(p.sta, p.time, 400, 512, p.rate))
            bytes += r;
    startServer({}, folder_.write(folder_.path() + "/odd.mseed", bytes));
    ASSERT_TRUE(startReader());
    Delivered d;
    collect(800, &d, 1);
    ASSERT_EQ(d.size(), 1u);  // STA3's both parts; STA4's packets are dropped
    EXPECT_TRUE(logged("Sample rate of XX_STA3_BHZ changed from 20 to 40 per second."));
    // STA4 is another station: its packets may still be on their way
    const char* dropped = "more than a day ahead of the clock; dropped";
    for (int i = 0; i < 500 && !(stats().dropped_time > 0 && logged(dropped)); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_GT(stats().dropped_time, 0);
    EXPECT_TRUE(logged(dropped));
}

TEST_F(SeedlinkTest, TenThousandChannelsArrive)
{
    SlSynthOptions synth;
    synth.stations = 3334;
    synth.samprate = 10.0;
    synth.start = kT0;
    synth.duration = 2.0;
    startServer({}, {}, &synth);
    // 20004 packets at once: a queue that holds them all
    ASSERT_TRUE(startReader(nullptr, nullptr, {}, TIDEREAP_QUEUE_MAX));
    Delivered d;
    collect(20, &d, 3334 * 3);
    EXPECT_EQ(d.size(), 3334u * 3);
    EXPECT_EQ(stats().dropped_full, 0);
}

// A server by hand: no station list, then the given frames, then the end.
class FakeServer
{
public:
    explicit FakeServer(std::string frames) : frames_(std::move(frames))
    {
        fd_ = loopbackSocket(true, &port_);
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeServer()
    {
        shutdown(fd_, SHUT_RDWR);
        thread_.join();
        close(fd_);
    }
    std::string ring() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    void serve()
    {
        const int c = accept(fd_, nullptr, nullptr);
        if (c < 0)
            return;
        std::string in;
        char buf[512];
        ssize_t n;
        while ((n = recv(c, buf, sizeof buf, 0)) > 0) {
            in.append(buf, static_cast<size_t>(n));
            size_t eol;
            while ((eol = in.find('\n')) != std::string::npos) {
                const std::string line = in.substr(0, eol);
                in.erase(0, eol + 1);
                std::string reply = "ERROR\r\n";
                if (line.rfind("HELLO", 0) == 0)
                    reply = "SeedLink v3.1 (by hand)\r\ntests\r\n";
                else if (line.rfind("TIME", 0) == 0 || line.rfind("DATA", 0) == 0)
                    reply = frames_;
                send(c, reply.data(), reply.size(), MSG_NOSIGNAL);
                if (reply == frames_) {
                    close(c);
                    return;
                }
            }
        }
        close(c);
    }

    std::string frames_;
    int fd_ = -1;
    int port_ = 0;
    std::thread thread_;
};

TEST_F(SeedlinkTest, SequenceGoingBackDropsRepeatsAndKeepsNewData)
{
    const auto recs = pack("STA", kT0, 1200);
    ASSERT_GE(recs.size(), 3u);
    auto frame = [&recs](const char* seq, size_t k) { return std::string("SL") + seq + recs[k]; };
    // 5, 6, then 6 again and 3 (data already had), then 2 with new data:
    // the server was restarted
    FakeServer fake(frame("000005", 0) + frame("000006", 1) + frame("000006", 1) + frame("000003", 0) +
                    frame("000002", 2));
    ASSERT_TRUE(startReader(nullptr, nullptr, fake.ring()));
    Packet* pkt = nullptr;
    size_t want = 0;
    for (size_t k = 0; k < 3; k++) {
        ASSERT_EQ(pktDecode("", 0.0, recs[k].data(), 512, &pkt), PKT_WAVEFORM);
        want += static_cast<size_t>(pkt->channels[0].nsamp);
        pktFree(&pkt);
    }
    Delivered d;
    collect(want, &d, 1);
    ASSERT_EQ(d.size(), 1u);
    EXPECT_EQ(d.at("XX_STA_BHZ").size(), 3u);
    EXPECT_EQ(stats().dropped_repeat, 2);
    EXPECT_TRUE(logged("went back from 000006 to 000002 with new data: taken as a restarted server"));
}

TEST_F(SeedlinkTest, PacketsFromBefore1970AreDroppedWithAMessage)
{
    const auto old = pack("STA", -10.0 * 365 * 86400.0, 100);  // 1960
    const auto now = pack("STA", kT0, 100);
    ASSERT_EQ(old.size(), 1u);
    ASSERT_EQ(now.size(), 1u);
    FakeServer fake("SL000001" + old[0] + "SL000002" + now[0]);
    ASSERT_TRUE(startReader(nullptr, nullptr, fake.ring()));
    Delivered d;
    collect(100, &d, 1);
    ASSERT_EQ(d.size(), 1u);
    ASSERT_EQ(d.at("XX_STA_BHZ").size(), 1u);
    EXPECT_EQ(d.at("XX_STA_BHZ").begin()->first, kT0);
    EXPECT_EQ(stats().dropped_time, 1);
    EXPECT_TRUE(logged("Packet 000001 of XX_STA_BHZ starts at -315360000, before 1970; dropped (1 so far)."));
}

TEST_F(SeedlinkTest, RefusedConnectionIsRetriedAndStopIsPrompt)
{
    // a port nobody listens on
    int port = 0;
    const int s = loopbackSocket(false, &port);
    ASSERT_GE(s, 0);
    close(s);
    const std::string ring = "127.0.0.1:" + std::to_string(port);
    reap_ = tidereapthr_new2(ring.c_str(), nullptr, nullptr, 10, -1.0, 0.2);
    ASSERT_NE(reap_, nullptr);
    Take take;
    for (int i = 0; i < 50 && !logged("Cannot connect to " + ring); i++)
        EXPECT_EQ(take.from(reap_), TIDEREAP_NONE);
    EXPECT_TRUE(logged("Cannot connect to " + ring + ": Connection refused."));
    tidereapthr_stop(reap_);
    EXPECT_EQ(take.from(reap_), TIDEREAP_STOPPED);
}

TEST_F(SeedlinkTest, StopJoinsAReaderWaitingOnASilentServer)
{
    // a listening socket that never answers: the reader waits for the greeting
    int port = 0;
    const int s = loopbackSocket(true, &port);
    ASSERT_GE(s, 0);
    reap_ = tidereapthr_new2(("127.0.0.1:" + std::to_string(port)).c_str(), nullptr, nullptr, 10, -1.0, 0.2);
    ASSERT_NE(reap_, nullptr);
    Take take;
    EXPECT_EQ(take.from(reap_), TIDEREAP_NONE);
    tidereapthr_free(&reap_);  // returns although the reader is inside its wait for the greeting
    EXPECT_EQ(reap_, nullptr);
    EXPECT_FALSE(logged("No answer from"));
    close(s);
}

TEST(SeedlinkDecode, SampleTypesComeOutAsIntOrFloat)
{
    const struct { const char* name; char type; int encoding, result, isfloat; } cases[] = {
        {"steim2", 'i', DE_STEIM2, PKT_WAVEFORM, 0}, {"int32", 'i', DE_INT32, PKT_WAVEFORM, 0},
        {"float32", 'f', DE_FLOAT32, PKT_WAVEFORM_FLOAT, 1},
        {"float64 narrowed", 'd', DE_FLOAT64, PKT_WAVEFORM_FLOAT, 1},
    };
    const std::vector<double> v = mseed_signal(50, 0.5);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto recs = mseed_pack("XX", "STA", "00", "BHZ", kT0, kRate, v, c.type, c.encoding, 512, 1);
        ASSERT_EQ(recs.size(), 1u);
        Packet* pkt = nullptr;
        ASSERT_EQ(pktDecode("XX_STA_BHZ_00", kT0, recs[0].data(), 512, &pkt), c.result);
        ASSERT_EQ(pkt->channels.size(), 1u);
        const PktChan& ch = pkt->channels[0];
        EXPECT_EQ(std::string(ch.cuser1) + " " + ch.segtype, "XX_STA_BHZ_00 V");
        EXPECT_EQ((std::vector{ch.time, ch.samprate, double(ch.isfloat)}),
                  (std::vector{kT0, kRate, double(c.isfloat)}));
        ASSERT_EQ(ch.nsamp, 50);
        for (int i = 0; i < ch.nsamp; i++)
            EXPECT_EQ(ch.isfloat ? reinterpret_cast<const float*>(ch.data)[i] : ch.data[i], v[static_cast<size_t>(i)]);
        pktFree(&pkt);
        EXPECT_EQ(pkt, nullptr);
    }
}

TEST(SeedlinkInput, BadNamesAndBytesGiveClearErrors)
{
    struct Case { const char* name; const char* ring; const char* accept; const char* message; } cases[] = {
        {"no port", "host:", nullptr, "tidereapthr_new2: Bad ring name 'host:': expected host:port.\n"},
        {"port too big", "host:70000", nullptr, "tidereapthr_new2: Bad ring name 'host:70000': expected host:port.\n"},
        {"bad expression", "host:18000", "XX_(", "tidereapthr_new2: Bad accept expression 'XX_('"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(tidereapthr_new2(c.ring, c.accept, nullptr, 10, -1.0, -1.0), nullptr);
        expectLogged(c.message);
    }
    const std::string junk(520, 'x');
    Packet* pkt = nullptr;
    EXPECT_LT(pktDecode("x", 0.0, junk.data(), 512, &pkt), 0);
    EXPECT_EQ(pkt, nullptr);
    expectLogged("pktDecode: Not a miniSEED record");

    // a 4096-byte record in a SeedLink frame
    const auto big = pack("S", kT0, 200, 4096);
    ASSERT_FALSE(big.empty());
    const std::string frame = "SL000001" + big[0].substr(0, 512);
    SlFrame f;
    EXPECT_LT(sl_next_frame(frame.data(), frame.size(), &f), 0);
    EXPECT_EQ(takeErrors(), "sl_next_frame: Record of 4096 bytes where SeedLink carries 512.\n");
}

TEST(SeedlinkInput, Version4FramesAreTakenOrSkippedWhole)
{
    const auto rec = pack("S", kT0, 100);
    const auto big = pack("S", kT0, 2000, 4096);
    ASSERT_FALSE(rec.empty());
    ASSERT_FALSE(big.empty());
    const std::string json = "{\"software\":\"x\"}";
    const struct { const char* name; std::string bytes; int used, type; int64_t seq; const char* message; } cases[] = {
        {"data record", sl4_header('2', 'D', 512, 1ull << 40, "XX_S") + rec[0], 17 + 4 + 512, SL_FRAME_DATA,
         int64_t(1) << 40, ""},
        {"INFO reply", sl4_header('J', 'I', static_cast<uint32_t>(json.size()), 0, "") + json,
         17 + static_cast<int>(json.size()), SL_FRAME_OTHER, 0, ""},
        {"record of 4096 bytes", sl4_header('2', 'D', 4096, 7, "XX_S") + big[0], 17 + 4 + 4096, SL_FRAME_OTHER, 7,
         ""},
        {"half a packet", (sl4_header('2', 'D', 512, 1, "XX_S") + rec[0]).substr(0, 300), 0, 0, -1, ""},
        {"error line", "ERROR UNSUPPORTED not here\r\n", 28, SL_FRAME_ERROR, -1, ""},
        {"too long", sl4_header('2', 'D', 1u << 30, 1, "XX_S"), -1, 0, -1, "sl_next_frame4: Packet of 1073741824 bytes"},
        {"version 3 header", "SL000001" + rec[0], -1, 0, -1, "sl_next_frame4: Unexpected bytes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SlFrame f;
        EXPECT_EQ(sl_next_frame4(c.bytes.data(), c.bytes.size(), &f), c.used);
        EXPECT_EQ((std::vector<int64_t>{f.type, f.seq}), (std::vector<int64_t>{c.type, c.seq}));
        expectLogged(c.message);
    }
    EXPECT_TRUE(sl_greeting_offers_v4("SeedLink v4.0 (x) :: SLPROTO:3.1 SLPROTO:4.0 CAP"));
    EXPECT_FALSE(sl_greeting_offers_v4("SeedLink v3.1 (x) :: SLPROTO:3.1 CAP SLPROTO:4.0x"));
    EXPECT_FALSE(sl_greeting_offers_v4("SeedLink v4.0 SLPROTO:4.0"));  // not among the capabilities
}

} // namespace
