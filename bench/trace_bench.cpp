// A trace of 4,000 columns: building its path and drawing it
// (Trace/makePath_draw), against a bare QPainter::drawLines of one line per
// column from the same columns (Trace/drawLines baseline), in the same run.
// Both paint into the same 4,000 by 300 image with a one-pixel pen, no
// antialiasing.
#include <VX.h>

#include "viewport/viewport.h"
#include "waveform/trace.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QLineF>
#include <QPainter>

#include <cmath>
#include <memory>
#include <vector>

namespace {

constexpr int ncolumns = 4000;
constexpr int samples_per_column = 10;

class BenchTrace : public VXTrace
{
public:
    using VXTrace::VXTrace;
    using VXPixelator::addSegment;
    using VXPixelator::setStats;
};

struct Setup
{
    std::unique_ptr<VXViewport> vp;
    VxTraceviewDefaults d;
    std::unique_ptr<BenchTrace> trace;
    QImage image{ncolumns, 300, QImage::Format_ARGB32_Premultiplied};

    Setup()
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(ncolumns, 300);
        vp->configure("mleft", "0", "mright", "0", "mtop", "0", "mbottom", "0", "xleft", "0", "xright", "1",
                      "ybottom", "0", "ytop", "1", nullptr);
        vp->setScales();
        d.viewport = vp.get();
        d.tleft = 0.0;
        d.dtperpixel = 1.0;
        d.npixels = ncolumns;
        VX_ParseColor("black", d.color_foreground);
        trace = std::make_unique<BenchTrace>(&d);
        trace->configure("ampscale_mode", "auto", nullptr);
        trace->setPixels(d.tleft, d.dtperpixel, d.npixels, 1, 0.0);
        VxTraceviewTIDE tide;
        int index = -1;
        VxPixelatorSource* source = trace->setTIDE(tide, index, 0)->source;
        // a noisy, slowly beating signal: busy columns that overlap and some that don't
        std::vector<float> samples(ncolumns * samples_per_column);
        unsigned seed = 1;
        for (size_t i = 0; i < samples.size(); i++) {
            seed = seed * 1103515245u + 12345u;
            samples[i] = static_cast<float>(1000.0 * std::sin(i * 0.003) * std::sin(i * 0.0001) +
                                            50.0 * ((seed >> 16) % 100 / 50.0 - 1.0));
        }
        trace->addSegment(source, 0.0, static_cast<int>(samples.size()), 1.0 / samples_per_column, 1.0, "V",
                          samples.data(), 0);
        trace->setStats();
    }
};

Setup& setup()
{
    static Setup s;
    return s;
}

void Trace_makePath_draw(benchmark::State& state)
{
    Setup& s = setup();
    QList<double> end_points;
    for (auto _ : state) {
        s.image.fill(Qt::white);
        QPainter painter(&s.image);
        const QPainterPath path = s.trace->makePath(end_points, 0);
        s.trace->drawPath(&painter, path);
        painter.end();
        benchmark::DoNotOptimize(s.image.constBits());
    }
    state.counters["elements"] = s.trace->makePath(end_points, 0).elementCount();
}

// The baseline: one vertical line per column, from the same columns, with
// the same scale, drawn in one call.
void Trace_drawLines(benchmark::State& state)
{
    Setup& s = setup();
    const VxPixelatorSegment& seg = s.trace->sources.first()->segments.get(0);
    const double amin = s.trace->amin, amax = s.trace->amax;
    std::vector<QLineF> lines;
    lines.reserve(ncolumns);
    for (auto _ : state) {
        s.image.fill(Qt::white);
        QPainter painter(&s.image);
        painter.setPen(QPen(Qt::black, 1.0));
        lines.clear();
        const double yscale = 300.0 / (amax - amin);
        for (int i = 0; i < seg.pixels.size() && i < ncolumns; i++) {
            const VxPixelatorPixel& c = seg.pixels[i];
            if (c.npoints < 1)
                continue;
            lines.emplace_back(i, (amax - c.max) * yscale, i, (amax - c.min) * yscale);
        }
        painter.drawLines(lines.data(), static_cast<int>(lines.size()));
        painter.end();
        benchmark::DoNotOptimize(s.image.constBits());
    }
}

BENCHMARK(Trace_drawLines)->Unit(benchmark::kMicrosecond);
BENCHMARK(Trace_makePath_draw)->Unit(benchmark::kMicrosecond);

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
