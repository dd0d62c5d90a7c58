// Map data drawing against its baselines, in the same run:
//   (a) a 1600x1000 geog world raster from a grid .xmd (int16 heights,
//       compressed tiles, cache warm) on 1, 2 and 16 fill threads, against
//       a plain loop that writes as many pixels from a precomputed table;
//   (b) the 1:50m coastlines of coasts.vector.xmd drawn as lines on a world
//       edp view by VXMapData::drawVector, against the same points,
//       projected beforehand, drawn as bare QPainter polylines: redrawn in
//       the same view (what was projected is kept), and drawn in a view
//       that changed since the last draw (everything projected again);
//   (c) the points of (b) projected to the edp plane by the array kernel
//       from their sines and cosines, against the point formula
//       (HLMapTransform::edpLatlon2delxy) from their degrees.
// The ratios are printed after the table (of the medians when the runs are
// repeated), each naming its clock: real (wall) time for the threaded
// rasters, whose work is done on pool threads and not on the timing
// thread, the timing thread's CPU time for everything else.  Build in
// Release.
#include <VX.h>

#include "map/mapdata.h"
#include "map/projection/edpplane_p.h"
#include "map/projection/maptransform.h"
#include "viewport/viewport.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>

#include <arpa/inet.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int image_w = 1600, image_h = 1000;

// A global 0.1 degree grid of smooth heights, as a file in memory.
const QByteArray& gridFile()
{
    static const QByteArray bytes = [] {
        const long nlon = 3600, nlat = 1800;
        std::vector<int16_t> z(nlon * nlat);
        for (long j = 0; j < nlat; j++)
            for (long i = 0; i < nlon; i++)
                z[j * nlon + i] = static_cast<int16_t>(3000.0 * std::sin(i * 0.004) * std::cos(j * 0.006));
        HLMapDataWriter writer;
        HLMapDataWriterGrid g;
        g.resolution = "6m";
        g.lon_start = -179.95;
        g.dlon = 0.1;
        g.lat_start = 89.95;
        g.dlat = -0.1;
        g.nlon = nlon;
        g.nlat = nlat;
        g.pixels = reinterpret_cast<const unsigned char*>(z.data());
        writer.addGrid(g);
        return writer.bytes();
    }();
    return bytes;
}

void BM_GridImage(benchmark::State& state)
{
    const QByteArray& bytes = gridFile();
    VXMapData md(static_cast<int>(state.range(0)));
    md.setInputBuffer(reinterpret_cast<const unsigned char*>(bytes.constData()), bytes.size(), "bench");
    md.setResolution(0);
    md.drawImage(image_w, image_h, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1.0, 0.0);  // inflate the tiles once
    for (auto _ : state)
        benchmark::DoNotOptimize(md.drawImage(image_w, image_h, VX_MAP_GEOG, -180, 180, -90, 90, 0, 0, 1.0, 0.0));
}
BENCHMARK(BM_GridImage)->Arg(1)->Arg(2)->Arg(16)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_PlainTableLoop(benchmark::State& state)
{
    vxmapdata_make_cpt();
    const long n = static_cast<long>(image_w) * image_h;
    std::vector<int16_t> z(n);
    for (long i = 0; i < n; i++)
        z[i] = static_cast<int16_t>(3000.0 * std::sin(i * 0.004));
    std::vector<unsigned int> out(n);
    for (auto _ : state) {
        memset(out.data(), 0, n * 4);
        for (long i = 0; i < n; i++)
            out[i] = vxmapdata_cpt[std::clamp(z[i] - vxmapdata_ecpt, 0, vxmapdata_ncpt - 1)];
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_PlainTableLoop)->Unit(benchmark::kMillisecond)->UseRealTime();

struct Coasts
{
    std::unique_ptr<VXMapData> md;
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXViewport> moved;  // the same view turned a little
};

std::unique_ptr<VXViewport> edpView(const char* lonr)
{
    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(1000, 1000);
    vp->configure("map", "edp", "range", "360", "lonr", lonr, "latr", "0", nullptr);
    vp->setScales();
    vp->computeMapBB();
    return vp;
}

Coasts& coasts()
{
    static Coasts c = [] {
        Coasts c;
        char* path = HLMapData::checkInputFile("coasts.vector.xmd", nullptr, nullptr, nullptr);
        if (!path)
            return c;
        c.md = std::make_unique<VXMapData>(QString::fromLocal8Bit(path), 1);
        free(path);
        c.md->setResolution(1);
        c.vp = edpView("20");
        c.moved = edpView("20.01");
        return c;
    }();
    return c;
}

void BM_CoastsDrawVector(benchmark::State& state)
{
    Coasts& c = coasts();
    if (!c.md) {
        state.SkipWithError("coasts.vector.xmd not built");
        return;
    }
    QImage image(1000, 1000, QImage::Format_ARGB32_Premultiplied);
    VX_Color outline, none;
    VX_ParseColor("black", outline);
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        c.md->drawVector(painter, &c.vp->vars, {}, {}, 1.0, outline, none, none);
    }
}
BENCHMARK(BM_CoastsDrawVector)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CoastsDrawVectorChangedView(benchmark::State& state)
{
    Coasts& c = coasts();
    if (!c.md) {
        state.SkipWithError("coasts.vector.xmd not built");
        return;
    }
    QImage image(1000, 1000, QImage::Format_ARGB32_Premultiplied);
    VX_Color outline, none;
    VX_ParseColor("black", outline);
    bool flip = false;
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        flip = !flip;
        c.md->drawVector(painter, flip ? &c.moved->vars : &c.vp->vars, {}, {}, 1.0, outline, none, none);
    }
}
BENCHMARK(BM_CoastsDrawVectorChangedView)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CoastsBarePolylines(benchmark::State& state)
{
    Coasts& c = coasts();
    if (!c.md) {
        state.SkipWithError("coasts.vector.xmd not built");
        return;
    }
    // every segment's points projected to pixels outside the loop
    std::vector<std::vector<QPointF>> lines;
    const HLMapDataResolution& res = c.md->frame.resolutions[1];
    const HLMapDataVectorTile& tile = static_cast<HLMapDataVector*>(res.data)->tiles[0];
    HLMapTransform t(0, 20);
    const VxViewport& v = c.vp->vars;
    for (long s = 0; s < tile.nsegments; s++) {
        const HLMapDataVectorSegment& seg = tile.segments[s];
        std::vector<QPointF> pts(seg.npts);
        for (long i = 0; i < seg.npts; i++) {
            const double lon = static_cast<int>(ntohl(static_cast<uint32_t>(seg.pts[i].lon_microdegrees))) * 1e-6;
            const double lat = static_cast<int>(ntohl(static_cast<uint32_t>(seg.pts[i].lat_microdegrees))) * 1e-6;
            double dx, dy, px, py;
            t.edpLatlon2delxy(lat, lon, &dx, &dy);
            c.vp->getPcoords(dx, dy, &px, &py, 1, 0);
            pts[i] = QPointF(px, py);
        }
        lines.push_back(std::move(pts));
    }
    QImage image(1000, 1000, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setClipRect(v.mleft, v.mtop, v.w - v.mleft - v.mright, v.h - v.mtop - v.mbottom);
        painter.setRenderHint(QPainter::Antialiasing, false);
        painter.setPen(QPen(Qt::black, 1.0, Qt::SolidLine, Qt::SquareCap, Qt::RoundJoin));
        for (const auto& l : lines)
            painter.drawPolyline(l.data(), static_cast<int>(l.size()));
    }
}
BENCHMARK(BM_CoastsBarePolylines)->Unit(benchmark::kMillisecond)->UseRealTime();

// The points of the 1:50m coastlines in degrees, with their sines and
// cosines.
struct CoastPoints
{
    std::vector<double> lat, lon, slat, clat, slon, clon;
};

const CoastPoints& coastPoints()
{
    static const CoastPoints p = [] {
        CoastPoints p;
        Coasts& c = coasts();
        if (!c.md)
            return p;
        const HLMapDataVectorTile& tile = static_cast<HLMapDataVector*>(c.md->frame.resolutions[1].data)->tiles[0];
        for (long s = 0; s < tile.nsegments; s++)
            for (long i = 0; i < tile.segments[s].npts; i++) {
                const HLMapDataXY& xy = tile.segments[s].pts[i];
                p.lon.push_back(static_cast<int>(ntohl(static_cast<uint32_t>(xy.lon_microdegrees))) * 1e-6);
                p.lat.push_back(static_cast<int>(ntohl(static_cast<uint32_t>(xy.lat_microdegrees))) * 1e-6);
                p.slat.push_back(std::sin(HLMapTransform::d2r * p.lat.back()));
                p.clat.push_back(std::cos(HLMapTransform::d2r * p.lat.back()));
                p.slon.push_back(std::sin(HLMapTransform::d2r * p.lon.back()));
                p.clon.push_back(std::cos(HLMapTransform::d2r * p.lon.back()));
            }
        return p;
    }();
    return p;
}

void BM_EdpPlaneKernel(benchmark::State& state)
{
    const CoastPoints& p = coastPoints();
    const long n = static_cast<long>(p.lat.size());
    std::vector<double> x(n), y(n);
    const HLEdpPlane plane(0.0001, 20.0001);
    for (auto _ : state) {
        plane.project(n, p.slat.data(), p.clat.data(), p.slon.data(), p.clon.data(), x.data(), y.data());
        benchmark::DoNotOptimize(x.data());
        benchmark::DoNotOptimize(y.data());
    }
}
BENCHMARK(BM_EdpPlaneKernel)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_EdpPointFormula(benchmark::State& state)
{
    const CoastPoints& p = coastPoints();
    const long n = static_cast<long>(p.lat.size());
    std::vector<double> x(n), y(n);
    HLMapTransform t(0.0001, 20.0001);
    for (auto _ : state) {
        for (long i = 0; i < n; i++)
            t.edpLatlon2delxy(p.lat[i], p.lon[i], &x[i], &y[i]);
        benchmark::DoNotOptimize(x.data());
        benchmark::DoNotOptimize(y.data());
    }
}
BENCHMARK(BM_EdpPointFormula)->Unit(benchmark::kMillisecond)->UseRealTime();

class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const Times t{run.GetAdjustedCPUTime(), run.GetAdjustedRealTime()};
            if (run.run_type == Run::RT_Iteration)
                seconds[run.benchmark_name()] = t;
            else if (run.aggregate_name == "median")
                medians[run.run_name.str()] = t;
        }
    }
    struct Times
    {
        double cpu = 0.0, real = 0.0;
    };
    std::map<std::string, Times> seconds;
    std::map<std::string, Times> medians;  // with --benchmark_repetitions
};

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    gridFile();
    coasts();
    coastPoints();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    // the medians of repeated runs when there are any (a loaded machine:
    // --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true)
    // a ratio whose benchmarks were filtered out is not printed
    enum Clock { cpu, real };
    auto ratio = [&](const char* what, const char* a, const char* b, Clock clock, const char* goal) {
        auto& t = reporter.medians.empty() ? reporter.seconds : reporter.medians;
        if (!t.count(a) || !t.count(b))
            return;
        const double ta = clock == cpu ? t[a].cpu : t[a].real, tb = clock == cpu ? t[b].cpu : t[b].real;
        printf("%s, %s time: %.2fx%s\n", what, clock == cpu ? "CPU" : "real", tb > 0 ? ta / tb : 0.0, goal);
    };
    const char* plain = "BM_PlainTableLoop/real_time";
    ratio("(a) BM_GridImage/1 / plain table loop", "BM_GridImage/1/real_time", plain, cpu,
          " (goal at most 3x on one thread)");
    ratio("(a) BM_GridImage/1 / plain table loop", "BM_GridImage/1/real_time", plain, real, "");
    ratio("(a) BM_GridImage/2 / plain table loop", "BM_GridImage/2/real_time", plain, real, "");
    ratio("(a) BM_GridImage/16 / plain table loop", "BM_GridImage/16/real_time", plain, real, "");
    ratio("(b) coastlines drawVector, redrawn / bare polylines", "BM_CoastsDrawVector/real_time",
          "BM_CoastsBarePolylines/real_time", cpu, " (goal at most 1.5x)");
    ratio("(b) coastlines drawVector, view changed / bare polylines", "BM_CoastsDrawVectorChangedView/real_time",
          "BM_CoastsBarePolylines/real_time", cpu, " (goal at most 1.5x)");
    ratio("(c) edp array kernel / point formula", "BM_EdpPlaneKernel/real_time", "BM_EdpPointFormula/real_time", cpu,
          "");
    benchmark::Shutdown();
    return 0;
}
