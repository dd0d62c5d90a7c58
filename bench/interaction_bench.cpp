// Input under load: an 800 by 600 viewport showing a polyline of 10^6
// points receives bursts of wheel and drag events.  The coalescing keeps
// the repaints to one zoom per wheel delay and at most one pan per pass of
// the event loop; the counters report the repaints and the zooms and pans
// applied, and the manual time is the delivery of the events alone.  The
// baseline is one full repaint of the same view, which every uncoalesced
// event would cost.  Build in Release.
#include <VX.h>

#include "items/polyline.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QTest>
#include <QWheelEvent>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr int npoints = 1000000;
constexpr int width = 800, height = 600;
constexpr int burst = 1000;

// The viewport, its line and a paint counter, shown on the offscreen
// screen so that update() leads to real paints.
struct Scene
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXPolyline> line;
    long paints = 0;

    Scene()
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(width, height);
        reset();
        line = std::make_unique<VXPolyline>(vp.get());
        line->setAntialias(false);
        line->configure("color_outline", "darkblue", nullptr);
        double* x = static_cast<double*>(malloc(npoints * sizeof(double)));
        double* y = static_cast<double*>(malloc(npoints * sizeof(double)));
        unsigned seed = 12345;
        for (int i = 0; i < npoints; i++) {
            seed = seed * 1103515245u + 12345u;
            x[i] = 100.0 * i / npoints;
            y[i] = 4.0 * std::sin(i * 0.002) + (((seed >> 16) & 0x7fff) / 32767.0 - 0.5);
        }
        line->adoptPoints(npoints, x, y, npoints, npoints);
        vp->setPaintCallback([this](void*, int, QResizeEvent*, void*) { paints++; }, nullptr, nullptr);
        vp->show();
        if (!QTest::qWaitForWindowExposed(vp.get()))
            fprintf(stderr, "interaction_bench: the viewport was not exposed\n");
        drain();
    }

    void reset()
    {
        vp->configure("margin", "40 20 30 20", "xleft", "0", "xright", "100", "ybottom", "-6", "ytop", "6",
                      "fill", "white", nullptr);
        vp->setScales();
    }

    // Run the event loop until the timers and the paint they ask for are
    // done.
    void drain()
    {
        for (int i = 0; i < 100 && (vp->vars.wheel_timer_event || vp->vars.mouse_timer_event); i++)
            QTest::qWait(5);
        QTest::qWait(20);
    }

    void send(QEvent* e) { QCoreApplication::sendEvent(vp.get(), e); }

    void mouse(QEvent::Type type, QPointF p, Qt::MouseButton b, Qt::MouseButtons held)
    {
        QMouseEvent e(type, p, QPointF(vp->mapToGlobal(p.toPoint())), b, held, Qt::NoModifier);
        send(&e);
    }
};

Scene& scene()
{
    static Scene s;
    return s;
}

// 1000 wheel steps in one go, then the loop: one zoom, one repaint.
void BM_WheelBurst(benchmark::State& state)
{
    Scene& s = scene();
    long paints = 0, zooms = 0, bursts = 0;
    double seconds = 0.0;
    for (auto _ : state) {
        s.reset();
        s.drain();
        const long before = s.paints;
        const double extent = s.vp->vars.xright - s.vp->vars.xleft;
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < burst; i++) {
            const QPointF p(100 + (i * 7) % 600, 100 + (i * 13) % 400);
            QWheelEvent e(p, p, QPoint(), QPoint(0, i % 2 ? 120 : -120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
            s.send(&e);
        }
        state.SetIterationTime(t.nsecsElapsed() * 1e-9);
        seconds += t.nsecsElapsed() * 1e-9;
        s.drain();
        paints += s.paints - before;
        zooms += s.vp->vars.xright - s.vp->vars.xleft != extent;
        bursts++;
    }
    state.counters["repaints_per_burst"] = static_cast<double>(paints) / bursts;
    state.counters["zooms_per_burst"] = static_cast<double>(zooms) / bursts;
    state.counters["us_per_event"] = seconds * 1e6 / (static_cast<double>(burst) * bursts);
}
BENCHMARK(BM_WheelBurst)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(10);

// Press, 1000 drag moves with a pass of the event loop after every
// range(0) moves, release, then the loop: at most one repaint per pass.
void BM_PanBurst(benchmark::State& state)
{
    Scene& s = scene();
    const int every = static_cast<int>(state.range(0));
    long paints = 0, passes = 0, pans = 0, bursts = 0;
    double seconds = 0.0;
    for (auto _ : state) {
        s.reset();
        s.drain();
        const long before = s.paints;
        qint64 ns = 0;
        QElapsedTimer t;
        t.start();
        s.mouse(QEvent::MouseButtonPress, QPointF(400, 300), Qt::LeftButton, Qt::LeftButton);
        int last_offset = s.vp->vars.xoffset;
        for (int i = 1; i <= burst; i++) {
            s.mouse(QEvent::MouseMove, QPointF(400 + (i % 200), 300 + (i % 50)), Qt::NoButton, Qt::LeftButton);
            if (i % every == 0) {
                ns += t.nsecsElapsed();
                QCoreApplication::processEvents();
                passes++;
                pans += s.vp->vars.xoffset != last_offset;
                last_offset = s.vp->vars.xoffset;
                t.restart();
            }
        }
        s.mouse(QEvent::MouseButtonRelease, QPointF(400 + (burst % 200), 300), Qt::LeftButton, Qt::NoButton);
        ns += t.nsecsElapsed();
        state.SetIterationTime(ns * 1e-9);
        seconds += ns * 1e-9;
        s.drain();
        passes++;  // the drain
        paints += s.paints - before;
        bursts++;
    }
    state.counters["repaints_per_burst"] = static_cast<double>(paints) / bursts;
    state.counters["loop_passes_per_burst"] = static_cast<double>(passes) / bursts;
    state.counters["pans_per_burst"] = static_cast<double>(pans) / bursts;
    state.counters["us_per_event"] = seconds * 1e6 / (static_cast<double>(burst + 2) * bursts);
}
BENCHMARK(BM_PanBurst)->Arg(burst)->Arg(100)->Arg(20)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(3);

// The baseline: one synchronous full repaint of the view.
void BM_FullRepaint(benchmark::State& state)
{
    Scene& s = scene();
    for (auto _ : state) {
        s.vp->setStale();
        s.vp->repaint();
    }
}
BENCHMARK(BM_FullRepaint)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    scene();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
