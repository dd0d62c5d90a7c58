// Frames of a pan of a world map against the same frame from the layers'
// caches, in the same run.  The map: 1600x1000 geog (the "vector" defaults:
// land and water filled, coasts and borders as lines, from
// coasts.vector.xmd) with its 30 degree graticule.  A pan is driven as a
// user drives it, by mouse events: press, moves, release.
//   drag:  the frames of a drag of 8 pixels a frame in one direction, 150
//          frames a gesture: mostly frames composed from the layers' pan
//          pictures, with the pictures drawn anew at the first frame and
//          whenever the drag leaves their margin (every 50 frames);
//   shift: only frames composed from the pan pictures (a drag to and fro
//          within the margin);
//   first: the first frame of a gesture, which draws the pan pictures;
//   end:   the frame after the release, which draws every layer afresh;
//   redraw: a view changed by a key (lonr), every layer drawn;
//   blit:  the same map with nothing changed, so each layer's cached image
//          and the graticule's are composited and nothing is drawn.
// The graticule weighs much in a drawn frame, so drag, redraw and blit are
// also run with it hidden (layers only).  Ratios against the blit are
// printed after the table, of real time and of the process's CPU time (the
// steadier measure on a busy machine).  Build in Release.
#include <VX.h>

#include "map/mapitem.h"
#include "viewport/viewport.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

namespace {

constexpr int frame_w = 1600, frame_h = 1000;

struct World
{
    std::unique_ptr<VXViewport> viewport;
    std::unique_ptr<VXMap> map;
    QImage frame{frame_w, frame_h, QImage::Format_ARGB32_Premultiplied};
    bool ok = false;
};

World& world()
{
    static World w = [] {
        World x;
        char* path = HLMapData::checkInputFile("coasts.vector.xmd", nullptr, nullptr, nullptr);
        hl_clear_register(0);
        if (!path)
            return x;
        free(path);
        x.viewport = std::make_unique<VXViewport>(nullptr, 0, 0);
        x.viewport->resize(frame_w, frame_h);
        x.viewport->configure("map", "geog", "lonr", "0", "latr", "0", "range", "360", "fill", "#e0e0ff", nullptr);
        x.map = std::make_unique<VXMap>(x.viewport.get(), 0, 1, nullptr);
        x.ok = x.map->setDefaults() == 0;
        hl_clear_register(0);
        return x;
    }();
    return w;
}

void render(World& w)
{
    w.viewport->render(&w.frame, QPoint(), QRegion(), QWidget::DrawChildren);
}

// Frames with the graticule shown or hidden (range(0): 1 shown).
void showGraticule(World& w, bool shown)
{
    shown ? w.map->vars.grids->showItem() : w.map->vars.grids->hideItem();
}

// Milliseconds of real time, and the CPU time of the whole process: Qt
// hands parts of large fills and copies to its thread pool.
void frameTimes(benchmark::internal::Benchmark* b)
{
    b->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}

bool ready(World& w, benchmark::State& state)
{
    if (!w.ok) {
        state.SkipWithError("coasts.vector.xmd not built");
        return false;
    }
    return true;
}

// --- the pan gesture, as mouse events reach the viewport ---

constexpr QPointF centre(frame_w / 2, frame_h / 2);
constexpr int step_px = 8;              // pointer travel per frame
constexpr int frames_per_gesture = 150; // 1200 pixels: three quarters of the width

void mouse(World& w, QEvent::Type type, QPointF pos, Qt::MouseButton button, Qt::MouseButtons held)
{
    QMouseEvent e(type, pos, pos, button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(w.viewport.get(), &e);
}

// Back to the starting view, button down at the centre, frame drawn.
void beginGesture(World& w)
{
    w.map->configure("lonr", "0.0", "latr", "0.0", nullptr);
    render(w);
    mouse(w, QEvent::MouseButtonPress, centre, Qt::LeftButton, Qt::LeftButton);
}

// The pointer to pos and the coalesced pan run, as one pass of the event
// loop does.
void moveTo(World& w, QPointF pos)
{
    mouse(w, QEvent::MouseMove, pos, Qt::NoButton, Qt::LeftButton);
    QCoreApplication::processEvents();
}

void endGesture(World& w, QPointF pos)
{
    mouse(w, QEvent::MouseButtonRelease, pos, Qt::LeftButton, Qt::NoButton);
}

void BM_PanDrag(benchmark::State& state)
{
    World& w = world();
    if (!ready(w, state))
        return;
    showGraticule(w, state.range(0));
    beginGesture(w);
    int frame = 0;
    for (auto _ : state) {
        if (frame == frames_per_gesture) {
            state.PauseTiming();
            endGesture(w, centre - QPointF(frame * step_px, 0));
            beginGesture(w);
            frame = 0;
            state.ResumeTiming();
        }
        frame++;
        moveTo(w, centre - QPointF(frame * step_px, 0));
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
    endGesture(w, centre);
}
BENCHMARK(BM_PanDrag)->Arg(1)->Arg(0)->Iterations(2 * frames_per_gesture)->Apply(frameTimes);

void BM_PanShift(benchmark::State& state)
{
    World& w = world();
    if (!ready(w, state))
        return;
    showGraticule(w, 1);
    beginGesture(w);
    moveTo(w, centre);
    render(w);  // draws the pan pictures
    int frame = 0;
    for (auto _ : state) {
        // to and fro over 200 pixels, well inside the 400 pixel margin
        const int k = frame++ % 50;
        moveTo(w, centre - QPointF((k < 25 ? k : 50 - k) * step_px, step_px));
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
    endGesture(w, centre);
}
BENCHMARK(BM_PanShift)->Apply(frameTimes);

void BM_PanFirst(benchmark::State& state)
{
    World& w = world();
    if (!ready(w, state))
        return;
    showGraticule(w, 1);
    for (auto _ : state) {
        state.PauseTiming();
        beginGesture(w);
        state.ResumeTiming();
        moveTo(w, centre - QPointF(step_px, 0));
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
        state.PauseTiming();
        endGesture(w, centre - QPointF(step_px, 0));
        render(w);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_PanFirst)->Iterations(8)->Apply(frameTimes);

void BM_PanEnd(benchmark::State& state)
{
    World& w = world();
    if (!ready(w, state))
        return;
    showGraticule(w, 1);
    for (auto _ : state) {
        state.PauseTiming();
        beginGesture(w);
        moveTo(w, centre - QPointF(40, 16));
        render(w);
        state.ResumeTiming();
        endGesture(w, centre - QPointF(40, 16));
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
}
BENCHMARK(BM_PanEnd)->Iterations(8)->Apply(frameTimes);

void BM_RedrawFrame(benchmark::State& state)
{
    World& w = world();
    if (!ready(w, state))
        return;
    showGraticule(w, state.range(0));
    int step = 0;
    for (auto _ : state) {
        const char* lonr = (step++ & 1) ? "1.0" : "0.0";
        w.map->configure("lonr", lonr, nullptr);
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
}
BENCHMARK(BM_RedrawFrame)->Arg(1)->Arg(0)->Apply(frameTimes);

void BM_PanFrameBlit(benchmark::State& state)
{
    World& w = world();
    if (!ready(w, state))
        return;
    showGraticule(w, state.range(0));
    w.map->configure("lonr", "0.5", nullptr);
    render(w);  // fill the caches once
    for (auto _ : state) {
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
}
BENCHMARK(BM_PanFrameBlit)->Arg(1)->Arg(0)->Apply(frameTimes);

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                // "BM_PanDrag/1/iterations:300/process_time/real_time": "BM_PanDrag/1"
                std::string name = run.benchmark_name();
                name = name.substr(0, name.find("/iterations:"));
                name = name.substr(0, name.find("/process_time"));
                real[name] = run.GetAdjustedRealTime();
                cpu[name] = run.GetAdjustedCPUTime();
            }
    }
    std::map<std::string, double> real, cpu;
};

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto& r = reporter.real;
    auto& c = reporter.cpu;
    auto ratio = [&](const char* frame, const char* blit, const char* what) {
        if (r.count(frame) && r.count(blit) && r[blit] > 0 && c[blit] > 0)
            printf("%-34s real %7.2f ms = %6.2fx blit (%.2f ms); cpu %7.2f ms = %6.2fx blit (%.2f ms)\n", what,
                   r[frame], r[frame] / r[blit], r[blit], c[frame], c[frame] / c[blit], c[blit]);
    };
    printf("goal: a pan frame at most 5x the blit\n");
    ratio("BM_PanDrag/1", "BM_PanFrameBlit/1", "pan frame (drag, with graticule)");
    ratio("BM_PanDrag/0", "BM_PanFrameBlit/0", "pan frame (drag, layers only)");
    ratio("BM_PanShift", "BM_PanFrameBlit/1", "shifted frame only");
    ratio("BM_PanFirst", "BM_PanFrameBlit/1", "first frame of a pan");
    ratio("BM_PanEnd", "BM_PanFrameBlit/1", "frame at the end of a pan");
    ratio("BM_RedrawFrame/1", "BM_PanFrameBlit/1", "redrawn frame (with graticule)");
    ratio("BM_RedrawFrame/0", "BM_PanFrameBlit/0", "redrawn frame (layers only)");
    // the map and its viewport go before the application
    world().map.reset();
    world().viewport.reset();
    benchmark::Shutdown();
    return 0;
}
