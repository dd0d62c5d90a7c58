// Record store benchmarks: opening and counting a 100,000-row origin table,
// and sorting it by time, against reading the same file line by line with
// no parsing.  The figures end with the ratios of the store to that bare
// read.  Build in Release.
#include <VX.h>

#include "toolkit/store/recordstore.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

namespace {

constexpr long kRows = 100000;

// A folder with db.origin of kRows records, made once.
const std::string& database()
{
    static std::string base = [] {
        char templ[] = "/tmp/vxplot_rsbench_XXXXXX";
        std::string dir = mkdtemp(templ);
        std::string base = dir + "/db";
        FILE* f = fopen((base + ".origin").c_str(), "w");
        unsigned seed = 12345;
        for (long i = 0; i < kRows; i++) {
            seed = seed * 1103515245u + 12345u;
            const double time = 1.0e9 + (seed % 400000000u) + (seed % 1000u) / 1000.0;
            const double lat = static_cast<double>(seed % 18000u) / 100.0 - 90.0;
            const double lon = static_cast<double>((seed >> 8) % 36000u) / 100.0 - 180.0;
            fprintf(f,
                    "%9.4f %9.4f %9.4f %17.5f %8ld %8ld %8ld %4ld %4ld %4ld %8ld %8ld %-7.7s %9.4f %-1.1s %7.2f %8ld "
                    "%7.2f %8ld %7.2f %8ld %-15.15s %-15.15s %8ld %-17.17s\n",
                    lat, lon, 10.0, time, i + 1, i + 1, 2011031L, 12L, 10L, -1L, 543L, 36L, "qb", -999.0, "f", 4.5,
                    3L, -999.0, -1L, 3.21, 4L, "locsat:iasp91", "analyst", -1L, "2011-01-31T120000");
        }
        fclose(f);
        return base;
    }();
    return base;
}

void BM_BareReadLines(benchmark::State& state)
{
    const std::string file = database() + ".origin";
    for (auto _ : state) {
        FILE* f = fopen(file.c_str(), "r");
        char line[1024];
        long n = 0;
        while (fgets(line, sizeof line, f))
            n++;
        fclose(f);
        if (n != kRows)
            state.SkipWithError("wrong line count");
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_BareReadLines)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_OpenCount(benchmark::State& state)
{
    for (auto _ : state) {
        Rsptr db = rsopen(database().c_str(), "css3.0", RS_READ);
        long n = 0;
        rsquery(rslookup(db, nullptr, "origin", nullptr, nullptr), RS_RECORD_COUNT, &n);
        if (n != kRows)
            state.SkipWithError("wrong record count");
        rsclose(db);
    }
}
BENCHMARK(BM_OpenCount)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_OpenCountSortByTime(benchmark::State& state)
{
    Tbl* keys = strcutwhite("time");
    for (auto _ : state) {
        Rsptr db = rsopen(database().c_str(), "css3.0", RS_READ);
        Rsptr origin = rslookup(db, nullptr, "origin", nullptr, nullptr);
        long n = 0;
        rsquery(origin, RS_RECORD_COUNT, &n);
        Rsptr sorted = rssort(origin, keys, 0, "bytime");
        if (n != kRows || rsisinvalid(sorted))
            state.SkipWithError("sort failed");
        rsfree(sorted);
        rsclose(db);
    }
    seqfree(keys, free);
}
BENCHMARK(BM_OpenCountSortByTime)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SortByTime(benchmark::State& state)
{
    Tbl* keys = strcutwhite("time");
    Rsptr db = rsopen(database().c_str(), "css3.0", RS_READ);
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, nullptr);
    long n = 0;
    rsquery(origin, RS_RECORD_COUNT, &n);
    for (auto _ : state) {
        Rsptr sorted = rssort(origin, keys, 0, "bytime");
        rsfree(sorted);
    }
    rsclose(db);
    seqfree(keys, free);
}
BENCHMARK(BM_SortByTime)->Unit(benchmark::kMillisecond)->UseRealTime();

// Keeps the real time per iteration of every run and prints the ratios.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& r : runs)
            if (r.run_type == Run::RT_Iteration && r.iterations > 0)
                ms_[r.benchmark_name()] = r.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const double bare = ms_["BM_BareReadLines/real_time"];
        if (bare <= 0)
            return;
        for (const char* name :
             {"BM_OpenCount/real_time", "BM_OpenCountSortByTime/real_time", "BM_SortByTime/real_time"})
            if (ms_.count(name))
                printf("%-36s %8.2f ms  %5.2f x the bare read\n", name, ms_[name], ms_[name] / bare);
    }

private:
    std::map<std::string, double> ms_;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::filesystem::remove_all(std::filesystem::path(database()).parent_path());
    return 0;
}
