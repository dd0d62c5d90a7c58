// A trace view of 100 channels of an hour at 100 Hz (generated in memory),
// 1600 by 1000 pixels, at a ten-minute window.  Against a repaint with
// nothing changed (Traceview/steady: layout and paths only, every trace's
// grid unchanged), in the same run:
//   Traceview/overlay  a repaint that blits the cached image and draws the labels
//   Traceview/overlay_layer_clean  a repaint with the view's layer clean
//   Traceview/pan10    a pan by a tenth of the window, the sample cache warm
//   Traceview/zoom2    a zoom by 2 in, then out, the sample cache warm
#include <VX.h>

#include "waveform/pixelator_support.h"

#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>

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
        unsigned seed = 7;
        for (int c = 0; c < nchannels; c++) {
            std::vector<float> s(nsamples);
            for (int i = 0; i < nsamples; i++) {
                seed = seed * 1103515245u + 12345u;
                s[i] = static_cast<float>(500.0 * std::sin(i * (0.01 + 0.0003 * c)) + ((seed >> 16) % 200) - 100.0);
            }
            readers.push_back(std::make_unique<MemoryReader>());
            readers.back()->addRow(0.0, 100.0, std::move(s));
            readers.back()->rows.last().rec.key = QStringLiteral("traceview_bench_%1").arg(c);
            const int index = tv->appendNewTrace(QStringLiteral("S%1 BHZ").arg(c, 3, 10, QLatin1Char('0')));
            tv->getTrace(index)->setReader(readers.back().get(), 0, -1);
        }
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

BENCHMARK(Traceview_steady)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_overlay)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_overlay_layer_clean)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_pan10)->Unit(benchmark::kMillisecond);
BENCHMARK(Traceview_zoom2)->Unit(benchmark::kMillisecond);

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
