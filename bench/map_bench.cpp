// A pan frame of a world map against the same frame from the layers'
// caches, in the same run:
//   full: a 1600x1000 geog world map (the "vector" defaults: land and water
//         filled, coasts and borders as lines, from coasts.vector.xmd) and
//         its 30 degree graticule, panned by one degree each frame, so
//         every layer redraws;
//   blit: the same map with nothing changed, so each layer's cached image
//         and the graticule's are composited and nothing is drawn.
// The graticule weighs much in the full frame, so the same pair is also run
// with it hidden (layers only).  The ratios full / blit are printed after
// the table.  Build in Release.
#include <VX.h>

#include "map/mapitem.h"
#include "viewport/viewport.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>

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

void BM_PanFrameFull(benchmark::State& state)
{
    World& w = world();
    if (!w.ok) {
        state.SkipWithError("coasts.vector.xmd not built");
        return;
    }
    showGraticule(w, state.range(0));
    int step = 0;
    for (auto _ : state) {
        const char* lonr = (step++ & 1) ? "1.0" : "0.0";
        w.map->configure("lonr", lonr, nullptr);
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
}
BENCHMARK(BM_PanFrameFull)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PanFrameBlit(benchmark::State& state)
{
    World& w = world();
    if (!w.ok) {
        state.SkipWithError("coasts.vector.xmd not built");
        return;
    }
    showGraticule(w, state.range(0));
    w.map->configure("lonr", "0.5", nullptr);
    render(w);  // fill the caches once
    for (auto _ : state) {
        render(w);
        benchmark::DoNotOptimize(w.frame.constBits());
    }
}
BENCHMARK(BM_PanFrameBlit)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                seconds[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
    std::map<std::string, double> seconds;
};

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto& t = reporter.seconds;
    auto ratio = [&](const char* full, const char* blit, const char* what) {
        if (t.count(full) && t.count(blit) && t[blit] > 0)
            printf("%s: full %.2f ms, blit %.2f ms, %.2fx (goal at most 5x)\n", what, t[full], t[blit],
                   t[full] / t[blit]);
    };
    ratio("BM_PanFrameFull/1/real_time", "BM_PanFrameBlit/1/real_time", "pan frame with graticule");
    ratio("BM_PanFrameFull/0/real_time", "BM_PanFrameBlit/0/real_time", "pan frame, layers only");
    // the map and its viewport go before the application
    world().map.reset();
    world().viewport.reset();
    benchmark::Shutdown();
    return 0;
}
