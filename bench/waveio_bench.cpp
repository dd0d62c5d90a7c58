// Sample loading, each against a baseline in the same run:
//  - one hour of a day-long "s4" channel at 100 Hz through wfload_scratch()
//    against a bare byte swap of the same mapped bytes into floats;
//  - one day of Steim-2 records through wfload_scratch() against libmseed's
//    own ms_readtraces() on the same file.
#include "mseedmake.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/filemap.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfload.h"

#include <benchmark/benchmark.h>

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr double kStart = 1.7e9;
constexpr double kRate = 100.0;
constexpr long kDay = 86400L * 100L;
constexpr long kHour = 3600L * 100L;

struct Fixture
{
    std::string dir;
    Rsptr db{};
    std::string s4_path, sd_path;
    Filemap* s4_map = nullptr;
    const unsigned char* s4_bytes = nullptr;

    Fixture()
    {
        char templ[] = "/tmp/vxplot_waveio_bench_XXXXXX";
        dir = mkdtemp(templ);
        const std::vector<double> day = mseed_signal(static_cast<size_t>(kDay), 0.5);
        std::string s4(static_cast<size_t>(kDay) * 4, '\0');
        for (long i = 0; i < kDay; i++) {
            const uint32_t u = static_cast<uint32_t>(static_cast<int32_t>(day[static_cast<size_t>(i)]));
            const uint32_t be = __builtin_bswap32(u);
            memcpy(&s4[static_cast<size_t>(i) * 4], &be, 4);
        }
        s4_path = dir + "/day.s4";
        std::ofstream(s4_path, std::ios::binary) << s4;
        std::string sd;
        for (const std::string& r : mseed_pack("XX", "STA", "", "HHZ", kStart, kRate, day, 'i', DE_STEIM2, 4096, 1))
            sd += r;
        sd_path = dir + "/day.mseed";
        std::ofstream(sd_path, std::ios::binary) << sd;
        db = rsopen((dir + "/db").c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
        const void* data = nullptr;
        size_t size = 0;
        s4_map = filemap_open(s4_path.c_str(), 0, &data, &size);
        s4_bytes = static_cast<const unsigned char*>(data);
    }
    ~Fixture()
    {
        filemap_close(s4_map);
        rsclose(db);
        std::filesystem::remove_all(dir);
    }
    void row(const char* datatype, const char* dfile)
    {
        Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, "rsSCRATCH");
        rsputv(wf, nullptr, "sta", "STA", "chan", "HHZ", "time", kStart, "nsamp", kDay, "samprate", kRate, "datatype",
               datatype, "dir", ".", "dfile", dfile, "foff", 0L, nullptr);
    }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

// The hour from 12:00 of the day.
constexpr double kT0 = kStart + 12 * 3600.0;
constexpr double kT1 = kT0 + 3600.0;

void BM_LoadHourS4(benchmark::State& state)
{
    Fixture& f = fixture();
    f.row("s4", "day.s4");
    for (auto _ : state) {
        float* data = nullptr;
        double ts = 0, te = 0;
        long n = 0;
        if (wfload_scratch(f.db, 0, &data, nullptr, &ts, &te, kT0, kT1, &n) != kHour)
            state.SkipWithError(hl_errlog_string(0));
        benchmark::DoNotOptimize(data);
        free(data);
    }
}

void BM_ByteSwapHourBaseline(benchmark::State& state)
{
    Fixture& f = fixture();
    const unsigned char* bytes = f.s4_bytes + 12L * kHour * 4;
    for (auto _ : state) {
        float* data = static_cast<float*>(malloc(kHour * sizeof(float)));
        for (long i = 0; i < kHour; i++) {
            uint32_t u;
            memcpy(&u, bytes + 4 * i, 4);
            data[i] = static_cast<float>(static_cast<int32_t>(__builtin_bswap32(u)));
        }
        benchmark::DoNotOptimize(data);
        free(data);
    }
}

void BM_LoadDaySteim2(benchmark::State& state)
{
    Fixture& f = fixture();
    f.row("sd", "day.mseed");
    for (auto _ : state) {
        float* data = nullptr;
        double ts = 0, te = 0;
        long n = 0;
        if (wfload_scratch(f.db, 0, &data, nullptr, &ts, &te, 0.0, 0.0, &n) != kDay)
            state.SkipWithError(hl_errlog_string(0));
        benchmark::DoNotOptimize(data);
        free(data);
    }
}

void BM_MsReadTracesDayBaseline(benchmark::State& state)
{
    Fixture& f = fixture();
    for (auto _ : state) {
        MSTraceGroup* group = nullptr;
        if (ms_readtraces(&group, f.sd_path.c_str(), 0, -1.0, -1.0, 0, 1, 1, 0) != MS_NOERROR ||
            group->numtraces != 1 || group->traces->numsamples != kDay)
            state.SkipWithError("ms_readtraces failed");
        benchmark::DoNotOptimize(group);
        mst_freegroup(&group);
    }
}

BENCHMARK(BM_LoadHourS4)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ByteSwapHourBaseline)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoadDaySteim2)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MsReadTracesDayBaseline)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    // Fix glibc's thresholds: freeing the large blocks of one benchmark
    // would otherwise move them, and a figure would depend on the order the
    // benchmarks run in (the growing realloc() of ms_readtraces() copies its
    // buffer far more often once the mmap threshold has moved).  Sample
    // arrays come from the heap and freed memory stays with the process in
    // every benchmark, as in a long-running viewer.
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024);
    mallopt(M_TRIM_THRESHOLD, 512 * 1024 * 1024);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
