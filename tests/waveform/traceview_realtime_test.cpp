// The trace view's live sources: a SeedLink ring served by vxseedlinkd's
// server on a loopback port, and a database whose waveform rows another
// process appends to.
#include "mseedmake.h"
#include "server.h"
#include "waveform/pixelator_support.h"
#include "waveform/tvsupport.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkserver.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr double kT0 = 1700000000.0;  // first sample of the test data
constexpr double kRate = 20.0;

// One channel of the test file.
struct Channel { const char* sta; const char* chan; double start; size_t nsamp; };

// A view of 600 pixels on a window, with a ring or a database behind it.
class RealtimeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir_ = std::filesystem::temp_directory_path() /
               ("vx_tvrt_" + std::to_string(getpid()) + "_" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir_);
        vp_ = vptest::makeViewport(750, 400);
        tv_ = std::make_unique<VXTraceview>(vp_.get(), nullptr, 0, nullptr);
        tv_->init();
        vp_->setScales();
    }
    void TearDown() override
    {
        tv_.reset();  // stops the threads
        if (server_)
            server_->stop();
        vp_.reset();
        std::filesystem::remove_all(dir_);
    }

    // Pack the channels (Steim2, 512-byte records) into one file.
    std::string writeFile(const std::vector<Channel>& channels, const char* name = "data.mseed")
    {
        const std::string path = (dir_ / name).string();
        FILE* fp = fopen(path.c_str(), "wb");
        for (size_t c = 0; c < channels.size(); c++) {
            const Channel& ch = channels[c];
            std::vector<double> v = mseed_signal(ch.nsamp, static_cast<double>(c));
            // keyed by the trace's label: a ring's station names carry the network
            values_["XX_" + std::string(ch.sta) + " " + ch.chan] = v;
            starts_["XX_" + std::string(ch.sta) + " " + ch.chan] = ch.start;
            for (const MseedRecord& r :
                 mseed_pack("XX", ch.sta, "", ch.chan, ch.start, kRate, v, 'i', DE_STEIM2, 512, 1))
                fwrite(r.data(), 1, r.size(), fp);
        }
        fclose(fp);
        return path;
    }

    void startServer(const std::vector<Channel>& channels, SlServerOptions opt = {})
    {
        opt.bind = "127.0.0.1";
        opt.port = 0;
        if (opt.speed == 1.0)
            opt.speed = 0.0;
        server_ = std::make_unique<SlServer>(opt);
        std::string error;
        ASSERT_EQ(server_->loadFile(writeFile(channels), &error), 0) << error;
        ASSERT_EQ(server_->start(&error), 0) << error;
    }

    QString ring() const { return QStringLiteral("127.0.0.1:%1").arg(server_->port()); }

    // Show [t0, t0 + width] and paint once: real-time channels wait for it.
    void showWindow(double t0, double width)
    {
        ASSERT_EQ(tv_->setTimeWindow(t0, width), 0);
        vptest::render(vp_.get());
    }

    // Follow the ring from t0 (the server has released everything already).
    void follow(const char* stachan_accept = "", const char* stachan_reject = "", double from = kT0)
    {
        ASSERT_EQ(tv_->createTraces(ring(), Rsptr{-1, -1, -1, -1}, nullptr, QString(), QString(),
                                    QString::fromLatin1(stachan_accept), QString::fromLatin1(stachan_reject), 0),
                  0)
            << takeErrors();
        ASSERT_EQ(tv_->tideAfter(QString::number(from, 'f', 3)), 0) << takeErrors();
    }

    // Run the GUI thread's events (and paint now and then) until done()
    // holds; false when it did not within the deadline.
    bool runUntil(const std::function<bool()>& done, int deadline_ms = 60000)
    {
        QElapsedTimer timer;
        timer.start();
        int round = 0;
        while (!done()) {
            if (timer.elapsed() > deadline_ms)
                return false;
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
            if (++round % 10 == 0)
                vptest::render(vp_.get());
            usleep(5000);
        }
        return true;
    }

    // Samples folded into the trace's columns so far.
    long samples(const char* label)
    {
        VXTrace* t = tv_->getTrace(QString::fromLatin1(label));
        hl_clear_register(0);
        if (!t)
            return -1;
        pthread_mutex_lock(&t->tide_mutex);
        long n = 0;
        for (VxPixelatorSource* s : std::as_const(t->sources))
            for (long j = 0; j < s->segments.max(); j++)
                n += s->segments.get(j).nsamp_total;
        pthread_mutex_unlock(&t->tide_mutex);
        return n;
    }

    // The trace's columns by absolute column number on its grid, and the
    // reference: the file's samples of the channel from first_sample on,
    // folded at once on the same grid.
    using Columns = std::map<long, std::tuple<int, float, float>>;
    static Columns columnsOf(VXPixelator& p)
    {
        Columns out;
        for (VxPixelatorSource* s : std::as_const(p.sources))
            for (long j = 0; j < s->segments.max(); j++) {
                const VxPixelatorSegment& seg = s->segments.get(j);
                const long base = std::lround((seg.time_first_pixel - p.tstart) / p.dtperpixel);
                for (qsizetype i = 0; i < seg.pixels.size(); i++) {
                    const VxPixelatorPixel& px = seg.pixels[i];
                    if (px.npoints > 0)
                        out[base + i] = {px.npoints, px.min, px.max};
                }
            }
        return out;
    }
    void expectColumnsOfFile(const char* label, size_t first_sample = 0)
    {
        VXTrace* t = tv_->getTrace(QString::fromLatin1(label));
        ASSERT_NE(t, nullptr) << label;
        pthread_mutex_lock(&t->tide_mutex);
        TestPixelator ref;
        ref.setPixels(t->tleft, t->dtperpixel, t->npixels, 1, t->tbuffer);
        const Columns got = columnsOf(*t);
        pthread_mutex_unlock(&t->tide_mutex);
        const std::vector<double>& v = values_.at(label);
        std::vector<float> f(v.begin() + static_cast<long>(first_sample), v.end());
        ref.addSegment(ref.feed(), starts_.at(label) + first_sample / kRate, static_cast<int>(f.size()), 1.0 / kRate,
                       1.0, "V", f.data(), 0);
        const Columns want = columnsOf(ref);
        ASSERT_FALSE(want.empty());
        EXPECT_EQ(got.size(), want.size()) << label;
        EXPECT_TRUE(got == want) << label << ": columns differ from the file's";
    }

    std::filesystem::path dir_;
    std::unique_ptr<VXViewport> vp_;
    std::unique_ptr<VXTraceview> tv_;
    std::unique_ptr<SlServer> server_;
    std::map<std::string, std::vector<double>> values_;
    std::map<std::string, double> starts_;
};

const std::vector<Channel> kThree = {
    {"STA1", "BHZ", kT0, 4000}, {"STA1", "BHE", kT0, 4000}, {"STA2", "BHZ", kT0, 4000}};

} // namespace

TEST_F(RealtimeTest, ThreeChannelsBecomeThreeTracesWithTheColumnsOfTheFile)
{
    startServer(kThree);
    showWindow(kT0, 200.0);
    follow();
    ASSERT_TRUE(runUntil([&] {
        return samples("XX_STA1 BHZ") == 4000 && samples("XX_STA1 BHE") == 4000 && samples("XX_STA2 BHZ") == 4000;
    })) << samples("XX_STA1 BHZ") << " " << samples("XX_STA1 BHE") << " " << samples("XX_STA2 BHZ");
    EXPECT_EQ(tv_->numTraces(), 3);
    EXPECT_EQ(tv_->tideChannelState("XX_STA1_BHE"), "XX_STA1 BHE");
    for (const char* label : {"XX_STA1 BHZ", "XX_STA1 BHE", "XX_STA2 BHZ"})
        expectColumnsOfFile(label);
}

TEST_F(RealtimeTest, RejectedChannelIsStoredAsSkip)
{
    startServer(kThree);
    showWindow(kT0, 200.0);
    follow("", "XX_STA1_BHE");
    ASSERT_TRUE(runUntil([&] { return samples("XX_STA1 BHZ") == 4000 && samples("XX_STA2 BHZ") == 4000; }));
    ASSERT_TRUE(runUntil([&] { return tv_->tideChannelState("XX_STA1_BHE") == "skip"; }));
    EXPECT_EQ(tv_->numTraces(), 2);
    EXPECT_EQ(samples("XX_STA1 BHE"), -1);
    // accept by label: only STA2
    tv_->clearTraces();
    follow("XX_STA2 .*", "");
    ASSERT_TRUE(runUntil([&] { return samples("XX_STA2 BHZ") == 4000; }));
    EXPECT_EQ(tv_->tideChannelState("XX_STA1_BHZ"), "skip");
    EXPECT_EQ(tv_->numTraces(), 1);
}

TEST_F(RealtimeTest, PacketEndingHundredSecondsBeforeTheLeftEdgeIsDropped)
{
    // window from kT0 + 300: OLD ends at kT0 + 200, 100 s before it;
    // NEAR ends at kT0 + 250, inside the 100 s
    startServer({{"OLD", "BHZ", kT0, 4000}, {"NEAR", "BHZ", kT0 + 50.0, 4000}, {"NOW", "BHZ", kT0 + 300.0, 2000}});
    showWindow(kT0 + 300.0, 100.0);
    follow();
    ASSERT_TRUE(runUntil([&] { return samples("XX_NOW BHZ") == 2000; }));
    ASSERT_TRUE(runUntil([&] { return tv_->tideChannelState("XX_NEAR_BHZ") == "XX_NEAR BHZ"; }));
    EXPECT_EQ(tv_->tideChannelState("XX_OLD_BHZ"), "");
    EXPECT_EQ(samples("XX_OLD BHZ"), -1);
    EXPECT_EQ(tv_->numTraces(), 2);
    expectColumnsOfFile("XX_NOW BHZ");
}

TEST_F(RealtimeTest, CutAndRestoredMidStreamEverySampleOnce)
{
    SlServerOptions opt;
    opt.drop_after = 8;  // about a third of the records per connection
    opt.cut_mid_packet = true;
    startServer(kThree, opt);
    showWindow(kT0, 200.0);
    follow();
    ASSERT_TRUE(runUntil([&] {
        return samples("XX_STA1 BHZ") >= 4000 && samples("XX_STA1 BHE") >= 4000 && samples("XX_STA2 BHZ") >= 4000;
    }));
    // a little longer: a repeat would still come in now
    runUntil([] { return false; }, 1500);
    for (const char* label : {"XX_STA1 BHZ", "XX_STA1 BHE", "XX_STA2 BHZ"}) {
        EXPECT_EQ(samples(label), 4000) << label;
        expectColumnsOfFile(label);
    }
}

TEST_F(RealtimeTest, TideAfterRereadsFromTheGivenTime)
{
    startServer(kThree);
    showWindow(kT0, 200.0);
    follow();
    ASSERT_TRUE(runUntil([&] { return samples("XX_STA2 BHZ") == 4000; }));
    // bad forms leave everything as it was
    struct Bad { const char* arg; const char* message; };
    for (const Bad& b : {Bad{"nowish", "VXTraceview::tideAfter: Unrecognized argument 'nowish'.\n"},
                         Bad{"+xyz", "VXTraceview::tideAfter: Unable to parse time '+xyz'\n"},
                         Bad{"yesterday", "VXTraceview::tideAfter: Unable to parse time 'yesterday'\n"}}) {
        EXPECT_EQ(tv_->tideAfter(QString::fromLatin1(b.arg)), -1);
        EXPECT_EQ(takeErrors(), b.message);
    }
    EXPECT_EQ(samples("XX_STA2 BHZ"), 4000);
    // "+120" is 120 s after the left edge: records from about then come again
    ASSERT_EQ(tv_->tideAfter(QStringLiteral("+120")), 0);
    ASSERT_TRUE(runUntil([&] { return samples("XX_STA2 BHZ") > 0; }));
    runUntil([] { return false; }, 1500);
    const long n = samples("XX_STA2 BHZ");
    EXPECT_GT(n, 1000);   // about the last 80 s, from the record holding kT0 + 120
    EXPECT_LT(n, 2000);
    expectColumnsOfFile("XX_STA2 BHZ", static_cast<size_t>(4000 - n));
}

TEST_F(RealtimeTest, PaintingFollowingAndRereadingTogether)
{
    // a stream at 40 times real time while the view paints, moves and re-reads
    SlServerOptions opt;
    opt.speed = 40.0;
    startServer(kThree, opt);
    showWindow(kT0, 200.0);
    ASSERT_EQ(tv_->createTraces(ring(), Rsptr{-1, -1, -1, -1}, nullptr, QString(), QString(), QString(), QString(), 0),
              0);
    ASSERT_EQ(tv_->tideAfter(QString::number(kT0, 'f', 3)), 0);
    QElapsedTimer timer;
    timer.start();
    int rereads = 0;
    while (timer.elapsed() < 3000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        vptest::render(vp_.get());
        tv_->panX(0.5);
        if (timer.elapsed() > 1000 * (rereads + 1)) {
            ASSERT_EQ(tv_->tideAfter(QString::number(kT0, 'f', 3)), 0);
            rereads++;
        }
    }
    // back to the start: what was panned past comes again from the ring
    showWindow(kT0, 200.0);
    ASSERT_EQ(tv_->tideAfter(QString::number(kT0, 'f', 3)), 0);
    ASSERT_TRUE(runUntil([&] { return samples("XX_STA1 BHZ") == 4000 && samples("XX_STA2 BHZ") == 4000; }));
    expectColumnsOfFile("XX_STA1 BHZ");
}

#ifdef VXMSEED2DB_PATH
namespace {

// Index the miniSEED files under folder into db with vxmseed2db; its exit
// status.  A plain fork and exec: the thread sanitizer follows a fork, not
// the shared-memory child that QProcess starts.
int index(const std::string& db, const std::string& folder)
{
    const pid_t pid = fork();
    if (pid == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        execl(VXMSEED2DB_PATH, VXMSEED2DB_PATH, db.c_str(), folder.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace

TEST_F(RealtimeTest, WaveformRowsAppendedByAnotherProgramAppearInTheOpenView)
{
    const std::string db = (dir_ / "db").string();
    std::filesystem::create_directories(dir_ / "a");
    std::filesystem::create_directories(dir_ / "b");
    std::filesystem::rename(writeFile({{"STA1", "BHZ", kT0, 4000}}, "one.mseed"), dir_ / "a" / "one.mseed");
    ASSERT_EQ(index(db, (dir_ / "a").string()), 0);

    QKServer* server = tv_->openDatabase(QString::fromStdString(db));
    ASSERT_EQ(tv_->createTraces(server, QString(), QString()), 0) << takeErrors();
    showWindow(kT0, 200.0);
    ASSERT_EQ(tv_->numTraces(), 1);

    std::filesystem::rename(writeFile({{"STA2", "BHZ", kT0 + 20.0, 2000}}, "two.mseed"), dir_ / "b" / "two.mseed");
    ASSERT_EQ(index(db, (dir_ / "b").string()), 0);
    // no call of the view's: the server's notice brings the new channel in
    ASSERT_TRUE(runUntil([&] { return tv_->numTraces() == 2; }, 30000));
    ASSERT_TRUE(runUntil([&] { return samples("STA2 BHZ") == 2000; }, 30000)) << samples("STA2 BHZ");
    EXPECT_EQ(samples("STA1 BHZ"), 4000);
}
#endif
