// The command language against the same work done from C++, in one run:
//   TvCommands/line    "traces:BH.* gain *2" through processCommand
//   TvCommands/direct  resolveTracesExpressions("BH.*"), gain *= 2 on each
//                      trace and refresh(0), the setter the line calls
// over a view of 300 traces (150 of them BH channels).  The ratio of the two
// is what parsing costs scripted use.
#include <VX.h>

#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"
#include "waveform/tvcommands.h"

#include <benchmark/benchmark.h>

#include <QApplication>

#include <memory>

namespace {

struct Setup
{
    std::unique_ptr<VXViewport> vp;
    std::unique_ptr<VXTraceview> tv;

    Setup()
    {
        vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(1600, 1000);
        tv = std::make_unique<VXTraceview>(vp.get(), nullptr, 0, nullptr);
        tv->init();
        vp->setScales();
        for (int i = 0; i < 300; i++)
            tv->appendNewTrace(QStringLiteral("S%1 %2").arg(i / 2, 3, 10, QLatin1Char('0')).arg(i % 2 ? "BHZ" : "LHZ"));
        tv->setTimeWindow(0.0, 600.0);
    }

    // gains double each time: start again before they leave the doubles
    void resetGains()
    {
        for (VXTrace* t : std::as_const(tv->traces))
            t->vars.gain = 1.0;
    }
};

void BM_Line(benchmark::State& state)
{
    Setup s;
    const QString line = QStringLiteral("traces:BH.* gain *2");
    QString output;
    int i = 0;
    for (auto _ : state) {
        if (++i % 512 == 0)
            s.resetGains();
        if (s.tv->commands->processCommand(line, output) < 0)
            state.SkipWithError("the line failed");
    }
}

void BM_Direct(benchmark::State& state)
{
    Setup s;
    const QString expr = QStringLiteral("BH.*");
    int i = 0;
    for (auto _ : state) {
        if (++i % 512 == 0)
            s.resetGains();
        QList<VXTrace*> list;
        if (s.tv->resolveTracesExpressions(expr, 1, list, nullptr) < 0)
            state.SkipWithError("resolve failed");
        for (VXTrace* t : std::as_const(list))
            t->vars.gain = (t->vars.gain == 0.0 ? s.tv->vars.gain : t->vars.gain) * 2.0;
        s.tv->refresh(0);
        benchmark::DoNotOptimize(list.size());
    }
}

} // namespace

BENCHMARK(BM_Direct)->Name("TvCommands/direct")->Iterations(100000);
BENCHMARK(BM_Line)->Name("TvCommands/line")->Iterations(100000);

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
