// The filter service over 10^7 samples against a plain loop over the same
// Butterworth sections: what the gap checks, the run splitting and the
// service's bookkeeping cost.
#include "toolkit/signal/iir_p.h"
#include "toolkit/signal/wffilter.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

constexpr int kSamples = 10000000;
constexpr double kDt = 0.01;

std::vector<float> noise()
{
    std::mt19937 rng(7);
    std::normal_distribution<float> n(0.0f, 1000.0f);
    std::vector<float> x(kSamples);
    for (float& v : x)
        v = n(rng);
    return x;
}

// Baseline: the sections of "BW 1 4 2 4", sample by sample through all of
// them, state in double, no gap checks.
void BM_PlainBiquadLoop(benchmark::State& state)
{
    std::vector<WfBiquad> sos;
    wf_butterworth_sections(true, 4, 1.0, kDt, sos);
    wf_butterworth_sections(false, 4, 2.0, kDt, sos);
    std::vector<float> x = noise();
    for (auto _ : state) {
        double z1[8] = {}, z2[8] = {};
        const size_t ns = sos.size();
        for (float& v : x) {
            double in = v;
            for (size_t k = 0; k < ns; k++) {
                const WfBiquad& c = sos[k];
                const double y = c.b0 * in + z1[k];
                z1[k] = c.b1 * in - c.a1 * y + z2[k];
                z2[k] = c.b2 * in - c.a2 * y;
                in = y;
            }
            v = static_cast<float>(in);
        }
        benchmark::DoNotOptimize(x.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kSamples);
}
BENCHMARK(BM_PlainBiquadLoop)->Unit(benchmark::kMillisecond);

void BM_FilterService(benchmark::State& state)
{
    const std::vector<float> x = noise();
    float* data = static_cast<float*>(malloc(sizeof(float) * kSamples));
    std::copy(x.begin(), x.end(), data);
    for (auto _ : state) {
        double t = 0.0, dt = kDt;
        int n = kSamples, size = kSamples;
        if (wffilter_pkt2(&t, &n, &dt, &data, &size, "BW 1 4 2 4", nullptr) < 0)
            state.SkipWithError("wffilter_pkt2 failed");
        benchmark::DoNotOptimize(data);
        benchmark::ClobberMemory();
    }
    free(data);
    state.SetItemsProcessed(state.iterations() * kSamples);
}
BENCHMARK(BM_FilterService)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
