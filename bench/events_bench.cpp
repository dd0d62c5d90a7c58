// Event server benchmarks on a database of 100,000 events of one origin
// each: the first published list, and the refresh after one appended
// origin, against the record store's own opening and sorting of the same
// origin table by time (the baseline).  Then the time from a change of a
// table file to the client's callback, with inotify and with polling at
// the default interval.  Build in Release.
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkserver.h"
#include "toolkit/base/lists.h"
#include "toolkit/store/recordstore.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace {

constexpr long kRows = 100000;

// CPU time of the whole process (all threads, the server's included), s.
double processCpu()
{
    struct timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

// Reports the process CPU time per iteration as the counter "proc_cpu_ms":
// on a loaded machine wall times mostly measure waiting.
struct CpuCounter
{
    benchmark::State& state;
    double total = 0.0;
    double start = 0.0;
    void begin() { start = processCpu(); }
    void end() { total += processCpu() - start; }
    ~CpuCounter()
    {
        state.counters["proc_cpu_ms"] = 1000.0 * total / static_cast<double>(std::max<int64_t>(1, state.iterations()));
    }
};

std::string folder()
{
    char templ[] = "/tmp/vxplot_evbench_XXXXXX";
    return mkdtemp(templ);
}

void writeOrigin(FILE* f, long orid, long evid, double time)
{
    fprintf(f,
            "%9.4f %9.4f %9.4f %17.5f %8ld %8ld %8ld %4ld %4ld %4ld %8ld %8ld %-7.7s %9.4f %-1.1s %7.2f %8ld "
            "%7.2f %8ld %7.2f %8ld %-15.15s %-15.15s %8ld %-17.17s\n",
            34.0 + (orid % 100) / 100.0, -118.0 + (orid % 77) / 77.0, 10.0, time, orid, evid, 2011031L, 12L, 10L, -1L,
            543L, 36L, "eq", -999.0, "f", 4.5, 3L, -999.0, -1L, 3.21, 4L, "locsat:iasp91", "analyst", -1L,
            "2011-01-31T120000");
}

// db.event and db.origin of kRows events, made once.
const std::string& database()
{
    static std::string base = [] {
        std::string base = folder() + "/db";
        FILE* o = fopen((base + ".origin").c_str(), "w");
        FILE* e = fopen((base + ".event").c_str(), "w");
        unsigned seed = 12345;
        for (long i = 1; i <= kRows; i++) {
            seed = seed * 1103515245u + 12345u;
            writeOrigin(o, i, i, 1.0e9 + (seed % 400000000u) + (seed % 1000u) / 1000.0);
            fprintf(e, "%8ld %-15.15s %8ld %-15.15s %8ld %-17.17s\n", i, "-", i, "bench", -1L, "2011-01-31T120000");
        }
        fclose(o);
        fclose(e);
        return base;
    }();
    return base;
}

void BM_StoreOpenAndSort(benchmark::State& state)
{
    const std::string& base = database();
    CpuCounter cpu{state};
    for (auto _ : state) {
        cpu.begin();
        Rsptr db = rsopen(base.c_str(), "css3.0", RS_READ);
        Rsptr origin = rslookup(db, nullptr, "origin", nullptr, nullptr);
        Tbl* keys = seqnew(1);
        seqpush(keys, const_cast<char*>("time"));
        Rsptr sorted = rssort(origin, keys, 0, nullptr);
        long n = 0;
        rsquery(sorted, RS_RECORD_COUNT, &n);
        if (n != kRows)
            state.SkipWithError("wrong count");
        seqfree(keys, nullptr);
        rsclose(db);
        cpu.end();
    }
}

void BM_FirstSnapshot(benchmark::State& state)
{
    const std::string& base = database();
    CpuCounter cpu{state};
    for (auto _ : state) {
        cpu.begin();
        {
            QKServer server(base, 0, 0);
            server.refresh(1);  // the first check has run when this returns
            if (server.getEvents()->max() != kRows)
                state.SkipWithError("wrong count");
            cpu.end();
            state.PauseTiming();  // the server's end is not part of it
        }
        state.ResumeTiming();
    }
}

void BM_RefreshAfterOneAppendedOrigin(benchmark::State& state)
{
    // a copy of the database, to which origins are appended
    const std::string base = folder() + "/db";
    const std::string& from = database();
    if (system(("cp " + from + ".origin " + base + ".origin && cp " + from + ".event " + base + ".event").c_str()))
        state.SkipWithError("copy failed");
    QKServer server(base, 0, 0);
    server.refresh(1);
    long orid = kRows;
    CpuCounter cpu{state};
    for (auto _ : state) {
        state.PauseTiming();
        FILE* f = fopen((base + ".origin").c_str(), "a");
        ++orid;
        writeOrigin(f, orid, 1 + orid % kRows, 1.5e9);  // a new location of an existing event
        fclose(f);
        state.ResumeTiming();
        cpu.begin();
        server.refresh(1);
        cpu.end();
    }
    if (server.getEvents()->max() != kRows)
        state.SkipWithError("wrong count");
}

// A client that notes the moment of its first notice.
class Stopwatch : public QKClient
{
public:
    explicit Stopwatch(QKServer* server) : QKClient(server) { listen(); }
    ~Stopwatch() override { unregister(); }
    void responseCallback(QKResponse) override
    {
        std::lock_guard<std::mutex> lock(m);
        if (!heard) {
            heard = true;
            when = std::chrono::steady_clock::now();
            cv.notify_all();
        }
    }
    std::mutex m;
    std::condition_variable cv;
    bool heard = false;
    std::chrono::steady_clock::time_point when;
};

void changeToCallback(benchmark::State& state, int flags)
{
    const std::string base = folder() + "/db";
    {
        FILE* f = fopen((base + ".origin").c_str(), "w");
        writeOrigin(f, 1, 1, 1.0e9);
        fclose(f);
    }
    QKServer server(base, 1, 0, 1000, flags);
    Stopwatch client(&server);
    server.refresh(1);
    long orid = 1;
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> lock(client.m);
            client.heard = false;
        }
        FILE* f = fopen((base + ".origin").c_str(), "a");
        const auto start = std::chrono::steady_clock::now();
        ++orid;
        writeOrigin(f, orid, orid, 1.0e9 + static_cast<double>(orid));
        fclose(f);
        std::unique_lock<std::mutex> lock(client.m);
        client.cv.wait(lock, [&] { return client.heard; });
        state.SetIterationTime(std::chrono::duration<double>(client.when - start).count());
    }
}

void BM_ChangeToCallbackInotify(benchmark::State& state)
{
    changeToCallback(state, 0);
}

void BM_ChangeToCallbackPolling(benchmark::State& state)
{
    changeToCallback(state, QK_NO_INOTIFY);
}

}  // namespace

BENCHMARK(BM_StoreOpenAndSort)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FirstSnapshot)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RefreshAfterOneAppendedOrigin)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeToCallbackInotify)->UseManualTime()->Iterations(50)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ChangeToCallbackPolling)->UseManualTime()->Iterations(8)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
