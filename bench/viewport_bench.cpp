// The two promises of the viewport, measured against their baselines in the
// same run:
//   (a) a repaint of a viewport whose clean layer holds an item of 10^6
//       points (one pixmap copy) against the full paint of that item;
//   (b) polyDraw of 10^6 points through clipping and batching against a
//       bare QPainter::drawPolyline of the same points in pixels;
//   (c) a VXPolyline of the same points drawn by the item (path rebuilt,
//       gaps looked for, pen set up) against the same bare drawPolyline.
// The ratios are printed after the table.  Build in Release.
#include <VX.h>

#include "items/polyline.h"
#include "viewport/viewport.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int npoints = 1000000;
constexpr int width = 800, height = 600;

// A dense trace: a decaying wave with noise across the whole view, with a
// few excursions out of it so that clipping has work to do.
struct Trace
{
    std::vector<double> x, y;
    Trace()
    {
        x.resize(npoints);
        y.resize(npoints);
        unsigned seed = 12345;
        for (int i = 0; i < npoints; i++) {
            seed = seed * 1103515245u + 12345u;
            const double noise = ((seed >> 16) & 0x7fff) / 32767.0 - 0.5;
            x[i] = 100.0 * i / npoints;
            y[i] = 4.0 * std::sin(i * 0.002) * std::exp(-x[i] / 80.0) + noise;
            if (i % 100000 < 200)
                y[i] *= 3.0;  // out of the view and back
        }
    }
};

const Trace& trace()
{
    static Trace t;
    return t;
}

std::unique_ptr<VXViewport> makeViewport()
{
    auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
    vp->resize(width, height);
    vp->configure("margin", "40 20 30 20", "xleft", "0", "xright", "100", "ybottom", "-6", "ytop", "6", "fill",
                  "white", "fill_frame", "lightgray", nullptr);
    vp->setScales();
    return vp;
}

// The heavy item: all points through polyDraw.
class TraceItem : public VXViewportItem
{
public:
    explicit TraceItem(VXViewport* vp) : VXViewportItem(vp, nullptr, "TraceItem", 1) { antialias = false; }
    int drawViewportItem(QPainter* painter) override
    {
        painter->setPen(QPen(Qt::darkBlue, 1));
        const Trace& t = trace();
        getViewportParent()->polyDraw(painter, npoints, const_cast<double*>(t.x.data()),
                                      const_cast<double*>(t.y.data()), 0, 0, 0);
        return 1;
    }
};

void repaint(VXViewport* vp, QImage* image)
{
    vp->render(image, QPoint(), QRegion(), QWidget::DrawChildren);
}

void BM_FullPaint(benchmark::State& state)
{
    auto vp = makeViewport();
    TraceItem item(vp.get());
    item.setLayer("trace");
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        item.setItemStale();
        repaint(vp.get(), &image);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_FullPaint)->Unit(benchmark::kMillisecond);

void BM_CleanLayerRepaint(benchmark::State& state)
{
    auto vp = makeViewport();
    TraceItem item(vp.get());
    item.setLayer("trace");
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    repaint(vp.get(), &image);
    for (auto _ : state) {
        repaint(vp.get(), &image);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_CleanLayerRepaint)->Unit(benchmark::kMillisecond);

void BM_PolyDraw(benchmark::State& state)
{
    auto vp = makeViewport();
    const Trace& t = trace();
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setPen(QPen(Qt::darkBlue, 1));
        vp->polyDraw(&painter, npoints, const_cast<double*>(t.x.data()), const_cast<double*>(t.y.data()), 0, 0, 0);
    }
}
BENCHMARK(BM_PolyDraw)->Unit(benchmark::kMillisecond);

void BM_BarePolyline(benchmark::State& state)
{
    // the same points in pixels, converted outside the loop, clipped by Qt
    auto vp = makeViewport();
    const Trace& t = trace();
    std::vector<QPointF> points(npoints);
    for (int i = 0; i < npoints; i++) {
        double px, py;
        vp->getPcoords(t.x[i], t.y[i], &px, &py, 1, 0);
        points[i] = QPointF(px, py);
    }
    const VxViewport& v = vp->vars;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setClipRect(v.mleft, v.mtop, v.w - v.mleft - v.mright, v.h - v.mtop - v.mbottom);
        painter.setPen(QPen(Qt::darkBlue, 1));
        painter.drawPolyline(points.data(), npoints);
    }
}
BENCHMARK(BM_BarePolyline)->Unit(benchmark::kMillisecond);

void BM_PolylineItem(benchmark::State& state)
{
    auto vp = makeViewport();
    const Trace& t = trace();
    QList<VX_XY> points(npoints);
    for (int i = 0; i < npoints; i++)
        points[i] = VX_XY{t.x[i], t.y[i]};
    VXPolyline line(vp.get());
    line.setAntialias(false);
    line.configure("color_outline", "darkblue", nullptr);
    line.setSourceQList(&points);
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    for (auto _ : state) {
        image.fill(Qt::white);
        QPainter painter(&image);
        line.draw(&painter);
    }
}
BENCHMARK(BM_PolylineItem)->Unit(benchmark::kMillisecond);

// Console output plus the real time of each benchmark, for the ratios.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration) {
                seconds[run.benchmark_name()] = run.GetAdjustedRealTime();
                cpu_seconds[run.benchmark_name()] = run.GetAdjustedCPUTime();
            }
    }
    std::map<std::string, double> seconds, cpu_seconds;
};

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    trace();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    // wall and processor time: on a shared machine the second is steadier
    auto ratio = [](std::map<std::string, double>& t, const char* a, const char* b) {
        return t.count(a) && t.count(b) && t[b] > 0 ? t[a] / t[b] : 0.0;
    };
    printf("(a) full paint / clean-layer repaint: %.1fx wall, %.1fx cpu (goal at least 50x)\n",
           ratio(reporter.seconds, "BM_FullPaint", "BM_CleanLayerRepaint"),
           ratio(reporter.cpu_seconds, "BM_FullPaint", "BM_CleanLayerRepaint"));
    printf("(b) polyDraw / bare drawPolyline: %.2fx wall, %.2fx cpu (goal at most 1.5x)\n",
           ratio(reporter.seconds, "BM_PolyDraw", "BM_BarePolyline"),
           ratio(reporter.cpu_seconds, "BM_PolyDraw", "BM_BarePolyline"));
    printf("(c) VXPolyline / bare drawPolyline: %.2fx wall, %.2fx cpu (goal at most 1.5x)\n",
           ratio(reporter.seconds, "BM_PolylineItem", "BM_BarePolyline"),
           ratio(reporter.cpu_seconds, "BM_PolylineItem", "BM_BarePolyline"));
    benchmark::Shutdown();
    return 0;
}
