// Path building of a million points: linear view, edp map, and a bare
// QPainterPath of precomputed pixels as the baseline in the same run.
#include <VX.h>

#include "viewport/polydraw.h"
#include "viewport/viewport.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QPainterPath>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr int npts = 1000000;

struct Data
{
    std::vector<double> x, y;
};

// A wiggly line across the middle of the view, x from x0 to x1.
Data makeLine(double x0, double x1, double yc, double amp)
{
    Data d;
    d.x.resize(npts);
    d.y.resize(npts);
    for (int i = 0; i < npts; i++) {
        d.x[i] = x0 + (x1 - x0) * i / (npts - 1);
        d.y[i] = yc + amp * std::sin(i * 0.001);
    }
    return d;
}

std::unique_ptr<VXViewport> makeView(std::initializer_list<const char*> config)
{
    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(800, 600);
    const std::vector<const char*> pairs(config);
    for (size_t i = 0; i + 1 < pairs.size(); i += 2)
        vp->configure(pairs[i], pairs[i + 1], nullptr);
    vp->setScales();
    return vp;
}

void BM_PathLinear(benchmark::State& state)
{
    auto vp = makeView({"xleft", "0", "xright", "1000", "ybottom", "-1", "ytop", "1"});
    Data d = makeLine(0.0, 1000.0, 0.0, 0.9);
    for (auto _ : state) {
        VXPolyDraw pd(&vp->vars, 0, 1.0, 1.0, 0, 0);
        QPainterPath path;
        pd.addPoints(&path, npts, d.x.data(), d.y.data(), 0, 0);
        benchmark::DoNotOptimize(path.elementCount());
    }
    state.SetItemsProcessed(state.iterations() * npts);
}
BENCHMARK(BM_PathLinear)->Unit(benchmark::kMillisecond);

void BM_PathEdp(benchmark::State& state)
{
    auto vp = makeView({"map", "edp", "latr", "20", "lonr", "10", "range", "40"});
    Data d = makeLine(-8.0, 28.0, 20.0, 10.0);
    for (auto _ : state) {
        VXPolyDraw pd(&vp->vars, 0, 1.0, 1.0, 0, 0);
        QPainterPath path;
        pd.addPoints(&path, npts, d.x.data(), d.y.data(), 0, 0);
        benchmark::DoNotOptimize(path.elementCount());
    }
    state.SetItemsProcessed(state.iterations() * npts);
}
BENCHMARK(BM_PathEdp)->Unit(benchmark::kMillisecond);

void BM_BarePath(benchmark::State& state)
{
    Data d = makeLine(0.0, 800.0, 300.0, 270.0);
    for (auto _ : state) {
        QPainterPath path;
        path.moveTo(d.x[0], d.y[0]);
        for (int i = 1; i < npts; i++)
            path.lineTo(d.x[i], d.y[i]);
        benchmark::DoNotOptimize(path.elementCount());
    }
    state.SetItemsProcessed(state.iterations() * npts);
}
BENCHMARK(BM_BarePath)->Unit(benchmark::kMillisecond);

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
