// A trace view following a SeedLink ring: 500 channels at 100 Hz, released
// by vxseedlinkd's server all at once and sent as fast as it can, into a
// view of the 500 traces painting once a second; against decoding the same
// kind of records (one second of a 100 Hz channel each) with libmseed alone.
//
// Figures: x_realtime, data seconds taken in per wall second (all channels
// together, so 1.0 is the rate of the live network); events_ms_max and
// paint_ms_max, the longest round of events (new channels become traces
// there) and the longest paint on the GUI thread.
#include "mseedmake.h"
#include "server.h"

#include "toolkit/base/errors.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QThread>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr double kT0 = 1700000000.0;
constexpr int kChannels = 500;
constexpr double kRate = 100.0;
constexpr double kDuration_s = 120.0;

// Baseline: the records of every channel, one per second, unpacked by
// libmseed.
void BM_LibmseedDecode(benchmark::State& state)
{
    std::vector<MseedRecord> recs;
    std::vector<int32_t> one(100);
    std::vector<double> v(100);
    for (int c = 0; c < kChannels; c++)
        for (int s = 0; s < static_cast<int>(kDuration_s); s += 12) {  // a tenth of the seconds, to keep it small
            sl_synth_samples(1, c, static_cast<int64_t>(s) * 100, 100, kRate, one.data());
            std::copy(one.begin(), one.end(), v.begin());
            for (MseedRecord& r : mseed_pack("XX", "S0001", "", "HHZ", kT0 + s, kRate, v, 'i', DE_STEIM2, 512, 1))
                recs.push_back(std::move(r));
        }
    MSRecord* msr = nullptr;
    long samples = 0;
    for (auto _ : state)
        for (MseedRecord& r : recs) {
            msr_unpack(r.data(), 512, &msr, 1, 0);
            samples += msr->numsamples;
        }
    msr_free(&msr);
    state.counters["x_realtime"] =
        benchmark::Counter(static_cast<double>(samples) / (kChannels * kRate), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_LibmseedDecode)->Unit(benchmark::kMillisecond)->UseRealTime();

long samplesIn(VXTraceview& tv)
{
    long n = 0;
    for (int i = 0; i < tv.numTraces(); i++) {
        VXTrace* t = tv.traces.at(i);
        pthread_mutex_lock(&t->tide_mutex);
        for (VxPixelatorSource* s : std::as_const(t->sources))
            for (long j = 0; j < s->segments.max(); j++)
                n += s->segments.get(j).nsamp_total;
        pthread_mutex_unlock(&t->tide_mutex);
    }
    return n;
}

void BM_TraceviewFollows500Channels(benchmark::State& state)
{
    SlServerOptions opt;
    opt.bind = "127.0.0.1";
    opt.port = 0;
    opt.speed = 0.0;
    SlServer server(opt);
    SlSynthOptions synth;
    synth.stations = kChannels;
    synth.nchan = 1;
    synth.samprate = kRate;
    synth.start = kT0;
    synth.duration = kDuration_s;
    std::string error;
    if (server.addSynthetic(synth, &error) < 0 || server.start(&error) < 0) {
        state.SkipWithError(error.c_str());
        return;
    }
    const long expected_packets = kChannels * static_cast<long>(kDuration_s);
    while (server.released() < expected_packets)
        QThread::msleep(10);
    const long expected = expected_packets * static_cast<long>(kRate);
    const QString ring = QStringLiteral("127.0.0.1:%1").arg(server.port());

    double seconds = 0.0, longest_ms = 0.0, longest_paint_ms = 0.0;
    long taken = 0;
    for (auto _ : state) {
        VXViewport vp(nullptr, 0, 0);
        vp.resize(1200, 900);
        vp.setScales();
        VXTraceview tv(&vp, nullptr, 0, nullptr);
        tv.init();
        tv.setTimeWindow(kT0, kDuration_s);
        QImage image(vp.size(), QImage::Format_ARGB32_Premultiplied);
        auto paint = [&] {
            QPainter p(&image);
            vp.render(&p);
        };
        paint();
        QElapsedTimer clock, block;
        clock.start();
        tv.createTraces(ring, Rsptr{-1, -1, -1, -1}, nullptr, QString(), QString(), QString(), QString(), 0);
        tv.tideAfter(QString::number(kT0, 'f', 3));
        qint64 last_paint = 0, last_growth = 0;
        long n = 0, before = 0;
        // until every sample is in, or nothing more came for 5 s
        while ((n = samplesIn(tv)) < expected && clock.elapsed() - last_growth < 5000) {
            if (n > before) {
                before = n;
                last_growth = clock.elapsed();
            }
            block.start();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
            longest_ms = std::max(longest_ms, block.nsecsElapsed() / 1e6);
            if (clock.elapsed() - last_paint >= 1000) {
                last_paint = clock.elapsed();
                block.start();
                paint();
                longest_paint_ms = std::max(longest_paint_ms, block.nsecsElapsed() / 1e6);
            }
            QThread::msleep(20);
        }
        seconds += n < expected ? last_growth / 1e3 : clock.nsecsElapsed() / 1e9;
        taken += n;
        if (n < expected)
            state.SkipWithError("not every sample arrived");
        state.SetIterationTime(clock.nsecsElapsed() / 1e9);
        hl_clear_register(0);
    }
    server.stop();
    state.counters["x_realtime"] = static_cast<double>(taken) / (kChannels * kRate) / seconds;
    state.counters["events_ms_max"] = longest_ms;
    state.counters["paint_ms_max"] = longest_paint_ms;
    state.counters["samples"] = static_cast<double>(taken);
}
BENCHMARK(BM_TraceviewFollows500Channels)->Iterations(1)->Unit(benchmark::kMillisecond)->UseManualTime();

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
