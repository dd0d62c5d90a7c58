// Travel times of P and S together per call, against one evaluation of the
// model's velocity at a depth.  The tables of the source depth are built
// before the timing starts, as a trace view lays out its traces for one
// origin.
#include "toolkit/geo/traveltime.h"

#include <benchmark/benchmark.h>

namespace {

void BM_ModelVelocity(benchmark::State& state)
{
    double depth = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tt_model_velocity('P', depth));
        depth = depth < 2800.0 ? depth + 13.7 : 0.0;
    }
}
BENCHMARK(BM_ModelVelocity);

void BM_TravelTimesPandS(benchmark::State& state)
{
    TtArrival a[TT_MAX_ARRIVALS];
    tt_compute(35.0, 10.0, 0.0, "P,S", 5.0, 3.0, a, TT_MAX_ARRIVALS);
    double deg = 1.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tt_compute(35.0, deg, 0.1, "P,S", 5.0, 3.0, a, TT_MAX_ARRIVALS));
        deg = deg < 170.0 ? deg + 1.37 : 1.0;
    }
}
BENCHMARK(BM_TravelTimesPandS);

// The same through the calls the trace view makes, mutex and all.
void BM_TtpCallsPandS(benchmark::State& state)
{
    TtArrival a[TT_MAX_ARRIVALS];
    double lon = 1.0;
    for (auto _ : state) {
        ttp_grab_mutex();
        ttp_set_phases("P,S");
        ttp_set_event_depth(35.0);
        benchmark::DoNotOptimize(ttp_compute(0.0, 0.0, 10.0, lon, 0.1, 5.0, 3.0, a, TT_MAX_ARRIVALS));
        ttp_release_mutex();
        lon = lon < 170.0 ? lon + 1.37 : 1.0;
    }
}
BENCHMARK(BM_TtpCallsPandS);

// A new source depth: the price of the tables of a depth, paid once.
void BM_NewSourceDepth(benchmark::State& state)
{
    TtArrival a[TT_MAX_ARRIVALS];
    double depth = 1.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tt_compute(depth, 40.0, 0.0, "P,S", 5.0, 3.0, a, TT_MAX_ARRIVALS));
        depth += 0.25;  // never one of the cached depths
        if (depth > 600.0)
            depth = 1.0 + 1e-6 * state.iterations();
    }
}
BENCHMARK(BM_NewSourceDepth)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
