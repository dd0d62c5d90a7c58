// A trace view of 100 channels of an hour at 100 Hz (generated in memory),
// 1600 by 1000 pixels, at a ten-minute window.  Against a repaint with
// nothing changed (Traceview/steady: layout and paths only, every trace's
// grid unchanged), in the same run:
//   Traceview/overlay  the pointer moved over the plot: the crosshairs and
//                      the status line drawn again, the traces' image and the
//                      view's layer taken from their caches
//   Traceview/overlay_labels  a repaint from the cached image with the
//                      labels and axes drawn again (skip_render)
//   Traceview/overlay_layer_clean  a repaint with every layer clean
//   Traceview/pan10    a pan by a tenth of the window, the sample cache warm
//   Traceview/zoom2    a zoom by 2 in, then out, the sample cache warm
//
// A database of 300 channels (100 stations, three components) of an hour at
// 20 Hz as s4 files, written by this program into a temporary folder:
//   Traceview300/first_paint  a new view of the database, its traces made
//       through its event server, painted once at the whole hour with the
//       sample cache empty; against
//   Traceview300/loader_alone  reading and decoding every wfdisc row once
//       with wfload_scratch(), nothing else.
//   TraceviewDay/first_paint, TraceviewDay/loader_alone  the same for 100
//       channels of a day at 100 Hz (3.5 GB of s4 files, written at the
//       first use, or kept in the folder VX_BENCH_DAY_DIR names), one
//       iteration each.
//   Traceview300/memory  what the view keeps per trace (the trace and its
//       pixel columns, sample cache excluded) at the whole hour and at a
//       tenth of it, against the bytes of a trace's samples as floats.
#include <VX.h>

#include "traceview_channels.h"

#include "toolkit/base/errors.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfload.h"
#include "items/polypoint.h"
#include "items/text.h"
#include "viewport/viewport.h"
#include "waveform/samplecache_p.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QtEndian>

#include <unistd.h>

#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr int nchannels = 100;
constexpr int nsamples = 3600 * 100;
constexpr double window_s = 600.0;

struct Setup
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTraceview> tv;
    std::vector<std::unique_ptr<MemoryReader>> readers;
    QImage image{1600, 1000, QImage::Format_ARGB32_Premultiplied};

    Setup()
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(1600, 1000);
        tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
        tv->init();
        vp->setScales();
        bench_add_generated_channels(tv.get(), readers, QStringLiteral("traceview_bench_"), nchannels, nsamples);
        tv->setTimeWindow(1200.0, window_s);
        paint();
    }

    void paint()
    {
        vp->render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
};

Setup& setup()
{
    static Setup s;
    return s;
}

void Traceview_steady(benchmark::State& state)
{
    Setup& s = setup();
    for (auto _ : state) {
        s.tv->refresh(0);
        s.paint();
    }
}

void Traceview_overlay(benchmark::State& state)
{
    Setup& s = setup();
    s.paint();
    int i = 0;
    for (auto _ : state) {
        const QPointF pos(400 + i++ % 200, 500);
        QMouseEvent move(QEvent::MouseMove, pos, pos, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(s.vp.get(), &move);
        s.paint();
    }
    // the overlays gone again, for the cases after this one
    for (VXViewportItem* item : {static_cast<VXViewportItem*>(s.tv->crosshairs1),
                                 static_cast<VXViewportItem*>(s.tv->crosshairs2),
                                 static_cast<VXViewportItem*>(s.tv->coordinates_text)}) {
        item->hideItem();
        item->setItemStale();
    }
}

void Traceview_overlay_labels(benchmark::State& state)
{
    Setup& s = setup();
    s.paint();
    for (auto _ : state) {
        s.tv->skip_render = 1;
        s.tv->setItemStale();
        s.paint();
    }
    s.tv->skip_render = 0;
}

// What a crosshair move costs the view: its layer is clean, so the paint
// blits the layer's pixmap and the view draws nothing.
void Traceview_overlay_layer_clean(benchmark::State& state)
{
    Setup& s = setup();
    s.paint();
    for (auto _ : state)
        s.paint();
}

void Traceview_pan10(benchmark::State& state)
{
    Setup& s = setup();
    double dt = 0.1 * window_s;
    for (auto _ : state) {
        s.tv->panX(dt);
        dt = -dt;
        s.paint();
    }
}

void Traceview_zoom2(benchmark::State& state)
{
    Setup& s = setup();
    double factor = 2.0;
    for (auto _ : state) {
        s.tv->zoomX(-2e30, factor);
        factor = 1.0 / factor;
        s.paint();
    }
}

// --- 300 channels of a database

constexpr int db_stations = 100;
constexpr double db_samprate = 20.0;
constexpr long db_nsamp = 3600L * 20L;
constexpr double db_start = 1.7e9;

struct Database
{
    QTemporaryDir temporary;
    QString folder;
    QString base;
    bool ok = false;
    long channels = 0;
    long nsamp = 0;

    // stations of ncomp components each (BHZ, BHN, BHE), n samples at rate,
    // in a temporary folder, or in the folder the environment variable
    // keep_in names when it is set: written there once and read again by
    // later runs, so that a run measures files that sit clean in the page
    // cache rather than files still being written back
    Database(int stations, int ncomp, long n, double rate, const char* keep_in = nullptr)
        : channels(long(stations) * ncomp), nsamp(n)
    {
        const QByteArray kept = keep_in ? qgetenv(keep_in) : QByteArray();
        folder = kept.isEmpty() ? temporary.path() : QString::fromLocal8Bit(kept);
        base = folder + "/db";
        if (!kept.isEmpty() && QFile::exists(base + ".done")) {
            ok = true;
            return;
        }
        QDir().mkpath(folder);
        QDir dir(folder);
        Rsptr db = rsopen(base.toUtf8().constData(), "css3.0", RS_WRITE | RS_NOSYNC);
        if (rsisinvalid(db))
            return;
        Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "rsSCRATCH");
        Rsptr site = rslookup(db, nullptr, "site", nullptr, "rsSCRATCH");
        const char* chans[] = {"BHZ", "BHN", "BHE"};
        long wfid = 1;
        unsigned seed = 11;
        std::vector<uchar> bytes(static_cast<size_t>(n) * 4);
        for (int st = 0; st < stations; st++) {
            const QString sta = QStringLiteral("S%1").arg(st, 3, 10, QLatin1Char('0'));
            const QString dfile = sta + ".w";
            QFile file(dir.path() + "/" + dfile);
            if (!file.open(QIODevice::WriteOnly))
                return;
            // stations on a line east of the origin, for the distance sort
            rsputv(site, nullptr, "sta", sta.toLatin1().constData(), "ondate", 1970001L, "offdate", -1L, "lat", 0.0,
                   "lon", 0.1 * st, "elev", 0.0, nullptr);
            if (rsaddrecord(site) < 0)
                return;
            for (int c = 0; c < ncomp; c++) {
                // a sine by rotation, two multiplications a sample, so that a
                // day of 100 channels is written in seconds
                const double w = 0.02 + 0.0001 * st + 0.003 * c;
                const double cw = std::cos(w), sw = std::sin(w);
                double re = 1.0, im = 0.0;
                for (long i = 0; i < n; i++) {
                    if ((i & 4095) == 0) {
                        re = std::cos(i * w);
                        im = std::sin(i * w);
                    }
                    seed = seed * 1103515245u + 12345u;
                    const double v = 800.0 * im + ((seed >> 16) % 300);
                    qToBigEndian<qint32>(static_cast<qint32>(v), bytes.data() + 4 * i);
                    const double next = re * cw - im * sw;
                    im = re * sw + im * cw;
                    re = next;
                }
                const long foff = static_cast<long>(file.pos());
                file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<qint64>(bytes.size()));
                rsputv(wf, nullptr, "sta", sta.toLatin1().constData(), "chan", chans[c], "time", db_start, "endtime",
                       db_start + (n - 1) / rate, "nsamp", n, "samprate", rate, "calib",
                       1.0, "calper", 1.0, "segtype", "V", "datatype", "s4", "dir", ".", "dfile",
                       dfile.toLatin1().constData(), "foff", foff, "wfid", wfid++, "jdate", 2023318L, nullptr);
                if (rsaddrecord(wf) < 0)
                    return;
            }
        }
        rsclose(db);
        // written back now, so that no case pays for the writing of the
        // files while it reads them
        ::sync();
        ok = true;
        if (!kept.isEmpty()) {
            QFile done(base + ".done");
            ok = done.open(QIODevice::WriteOnly);
        }
    }
};

Database& database()
{
    static Database d(db_stations, 3, db_nsamp, db_samprate);
    return d;
}

// 100 channels of a day at 100 Hz: 3.5 GB of s4 files
Database& day_database()
{
    static Database d(100, 1, 86400L * 100L, 100.0, "VX_BENCH_DAY_DIR");
    return d;
}

// A view of the whole database, its traces made, not painted yet.
struct DatabaseView
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTraceview> tv;
    QImage image{1600, 1000, QImage::Format_ARGB32_Premultiplied};

    explicit DatabaseView(const QString& base)
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(1600, 1000);
        tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
        tv->init();
        vp->setScales();
        tv->createTraces(tv->openDatabase(base), QString(), QString());
    }
    void paint()
    {
        vp->render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
    // what the view keeps for its traces: the traces and their columns
    double bytesPerTrace() const
    {
        size_t bytes = 0;
        for (VXTrace* t : std::as_const(tv->traces)) {
            bytes += sizeof(VXTrace);
            for (VxPixelatorSource* source : std::as_const(t->sources))
                for (long j = 0; j < source->segments.max(); j++)
                    bytes += sizeof(VxPixelatorSegment) +
                             source->segments.get(j).pixels.capacity() * sizeof(VxPixelatorPixel);
        }
        return tv->traces.isEmpty() ? 0.0 : static_cast<double>(bytes) / tv->traces.size();
    }
};

void first_paint(benchmark::State& state, Database& d)
{
    if (!d.ok) {
        state.SkipWithError("no database");
        return;
    }
    int traces = 0;
    for (auto _ : state) {
        state.PauseTiming();
        VxSampleCache::instance().clear();
        auto view = std::make_unique<DatabaseView>(d.base);
        traces = view->tv->numTraces();
        state.ResumeTiming();
        view->paint();
        state.PauseTiming();
        view.reset();
        state.ResumeTiming();
    }
    if (traces != d.channels)
        state.SkipWithError("the view did not make every trace");
    state.counters["traces"] = traces;
    state.SetBytesProcessed(state.iterations() * d.channels * d.nsamp * 4);
}

void loader_alone(benchmark::State& state, Database& d)
{
    if (!d.ok) {
        state.SkipWithError("no database");
        return;
    }
    long total = 0;
    for (auto _ : state) {
        Rsptr db = rsopen(d.base.toUtf8().constData(), "css3.0", RS_READ);
        Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
        long count = 0;
        rsquery(wf, RS_RECORD_COUNT, &count);
        total = 0;
        for (long r = 0; r < count; r++) {
            wf.record = r;
            rsload_scratch(wf);
            float* data = nullptr;
            double ts = 0.0, te = 0.0;
            long n = 0;
            if (wfload_scratch(db, 0, &data, nullptr, &ts, &te, 0.0, 0.0, &n) < 0)
                state.SkipWithError(hl_errlog_string(0));
            benchmark::DoNotOptimize(data);
            free(data);
            total += n;
        }
        rsclose(db);
    }
    if (total != d.channels * d.nsamp)
        state.SkipWithError("not every sample was read");
    state.SetBytesProcessed(state.iterations() * d.channels * d.nsamp * 4);
}

void Traceview300_first_paint(benchmark::State& state)
{
    first_paint(state, database());
}

void Traceview300_loader_alone(benchmark::State& state)
{
    loader_alone(state, database());
}

// The same at 100 channels of a day at 100 Hz (the view's whole-day window).
void TraceviewDay_first_paint(benchmark::State& state)
{
    first_paint(state, day_database());
}

void TraceviewDay_loader_alone(benchmark::State& state)
{
    loader_alone(state, day_database());
}

void Traceview300_memory(benchmark::State& state)
{
    Database& d = database();
    if (!d.ok) {
        state.SkipWithError("no database");
        return;
    }
    double whole = 0.0, tenth = 0.0;
    for (auto _ : state) {
        DatabaseView view(d.base);
        view.paint();
        whole = view.bytesPerTrace();
        view.tv->setTimeWindow(db_start + 1800.0, 360.0);
        view.paint();
        tenth = view.bytesPerTrace();
    }
    const double samples = db_nsamp * sizeof(float);
    state.counters["bytes_per_trace_hour"] = whole;
    state.counters["bytes_per_trace_6min"] = tenth;
    state.counters["sample_bytes_per_trace"] = samples;
    state.counters["hour_over_samples"] = whole / samples;
    state.counters["hour_over_6min"] = tenth > 0.0 ? whole / tenth : 0.0;
}

BENCHMARK(Traceview_steady)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_overlay)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_overlay_labels)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_overlay_layer_clean)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_pan10)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_zoom2)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview300_first_paint)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Traceview300_loader_alone)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(Traceview300_memory)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(TraceviewDay_first_paint)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(TraceviewDay_loader_alone)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
