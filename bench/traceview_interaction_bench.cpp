// Dragging a trace view of 100 channels of an hour at 100 Hz (generated in
// memory), 1600 by 1000 pixels at a ten-minute window, shown on the
// offscreen platform.  Each pass of the loop sends mouse moves and lets
// the event loop paint:
//   TraceviewInteraction/full_repaint  baseline: the view repainted with its
//                                      traces drawn again (layout, paths, image)
//   TraceviewInteraction/pan_repaint   the window moved a pixel and repainted,
//                                      as a drag without the cached image would
//   TraceviewInteraction/drag_move     a middle-button drag move: the cached image slides
//   TraceviewInteraction/drag_burst    three moves in one pass: still one paint
// The counter "paints" is paints per pass.
#include <VX.h>

#include "traceview_channels.h"

#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QMouseEvent>

#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr int nchannels = 100;
constexpr int nsamples = 3600 * 100;
constexpr double window_s = 600.0;
constexpr int passes = 1000;

struct Setup
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTraceview> tv;
    std::vector<std::unique_ptr<MemoryReader>> readers;
    long paints = 0;

    Setup()
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(1600, 1000);
        tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
        tv->init();
        vp->setScales();
        bench_add_generated_channels(tv.get(), readers, QStringLiteral("traceview_interaction_bench_"), nchannels, nsamples);
        tv->setTimeWindow(1200.0, window_s);
        vp->setPaintCallback([this](void*, int, QResizeEvent*, void*) { paints++; }, nullptr, nullptr);
        vp->show();
        loop();
    }

    void loop()
    {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }

    void mouse(QEvent::Type type, QPointF pos, Qt::MouseButton b, Qt::MouseButtons held)
    {
        QMouseEvent e(type, pos, QPointF(vp->mapToGlobal(pos.toPoint())), b, held, Qt::NoModifier);
        QCoreApplication::sendEvent(vp.get(), &e);
    }
};

// made at first use, gone before the application (its viewport is shown)
std::unique_ptr<Setup> the_setup;

Setup& setup()
{
    if (!the_setup)
        the_setup = std::make_unique<Setup>();
    return *the_setup;
}

void report(benchmark::State& state, long paints)
{
    state.counters["paints"] = benchmark::Counter(static_cast<double>(paints) / static_cast<double>(state.iterations()));
}

void TraceviewInteraction_full_repaint(benchmark::State& state)
{
    Setup& s = setup();
    const long before = s.paints;
    for (auto _ : state) {
        s.tv->refresh(0);
        s.loop();
    }
    report(state, s.paints - before);
}

void TraceviewInteraction_pan_repaint(benchmark::State& state)
{
    Setup& s = setup();
    const long before = s.paints;
    double dt = window_s / 1440.0;
    for (auto _ : state) {
        s.tv->panX(dt);
        dt = -dt;
        s.loop();
    }
    report(state, s.paints - before);
}

void drag(benchmark::State& state, int moves_per_pass)
{
    Setup& s = setup();
    const QPointF start(800, 500);
    s.mouse(QEvent::MouseButtonPress, start, Qt::MiddleButton, Qt::MiddleButton);
    s.loop();
    const long before = s.paints;
    int i = 0;
    for (auto _ : state) {
        for (int k = 0; k < moves_per_pass; k++, i++)
            s.mouse(QEvent::MouseMove, start + QPointF(i % 200 - 100, 0), Qt::NoButton, Qt::MiddleButton);
        s.loop();
    }
    report(state, s.paints - before);
    s.mouse(QEvent::MouseButtonRelease, start, Qt::MiddleButton, Qt::NoButton);
    s.loop();
}

void TraceviewInteraction_drag_move(benchmark::State& state)
{
    drag(state, 1);
}

void TraceviewInteraction_drag_burst(benchmark::State& state)
{
    drag(state, 3);
}

// the floor: a paint with every layer clean (composition and flush only)
void TraceviewInteraction_paint_clean(benchmark::State& state)
{
    Setup& s = setup();
    const long before = s.paints;
    for (auto _ : state) {
        s.vp->update();
        s.loop();
    }
    report(state, s.paints - before);
}

void TraceviewInteraction_drag_move_no_crosshairs(benchmark::State& state)
{
    Setup& s = setup();
    s.tv->configure("show_crosshairs", "no", nullptr);
    drag(state, 1);
    s.tv->configure("show_crosshairs", "yes", nullptr);
}

// the share of the 100 trace labels, drawn again with the slid image
void TraceviewInteraction_drag_move_no_labels(benchmark::State& state)
{
    Setup& s = setup();
    s.tv->configure("trace_label_visible", "no", "ampscale_visible", "no", nullptr);
    s.tv->refresh(0);
    s.loop();
    drag(state, 1);
    s.tv->configure("trace_label_visible", "yes", "ampscale_visible", "yes", nullptr);
    s.tv->refresh(0);
    s.loop();
}

BENCHMARK(TraceviewInteraction_drag_move_no_labels)->Unit(benchmark::kMicrosecond)->Iterations(passes);
BENCHMARK(TraceviewInteraction_paint_clean)->Unit(benchmark::kMicrosecond)->Iterations(passes);
BENCHMARK(TraceviewInteraction_drag_move_no_crosshairs)->Unit(benchmark::kMicrosecond)->Iterations(passes);
BENCHMARK(TraceviewInteraction_full_repaint)->Unit(benchmark::kMicrosecond)->Iterations(passes);
BENCHMARK(TraceviewInteraction_pan_repaint)->Unit(benchmark::kMicrosecond)->Iterations(passes);
BENCHMARK(TraceviewInteraction_drag_move)->Unit(benchmark::kMicrosecond)->Iterations(passes);
BENCHMARK(TraceviewInteraction_drag_burst)->Unit(benchmark::kMicrosecond)->Iterations(passes);

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    the_setup.reset();
    return 0;
}
