// The cost of a command's round trip through the queues before exec, against
// its baseline in the same run: a bare ping-pong of two threads over two
// queues, which is the least any queued command can cost.
//
//   build/release/bench/server_bench
#include <VX.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <thread>

namespace {

VX_GraphicsServer* server = nullptr;
QString window;

void BM_QueuePingPong(benchmark::State& state)
{
    Mtqueue* to = mtqueue_create(10, 1, 0);
    Mtqueue* back = mtqueue_create(10, 1, 0);
    std::thread echo([to, back] {
        void* v = nullptr;
        while (mtqueue_pop(to, &v) == 1 && v)
            mtqueue_push(back, v);
    });
    static int token;
    for (auto _ : state) {
        void* v = nullptr;
        mtqueue_push(to, &token);
        mtqueue_pop(back, &v);
        benchmark::DoNotOptimize(v);
    }
    mtqueue_push(to, nullptr);
    echo.join();
    mtqueue_destroy(to, nullptr);
    mtqueue_destroy(back, nullptr);
}
BENCHMARK(BM_QueuePingPong)->UseRealTime();

void BM_CommandRoundTripBeforeExec(benchmark::State& state)
{
    VX_GraphicsServer_response* response = nullptr;
    const QStringList none;
    for (auto _ : state) {
        if (VX_GraphicsServer_send(server, 0, &response, QStringLiteral("hide"), window, &none, nullptr) < 0) {
            state.SkipWithError("hide failed");
            break;
        }
    }
    delete response;
}
BENCHMARK(BM_CommandRoundTripBeforeExec)->UseRealTime();

void BM_UnknownWordRoundTrip(benchmark::State& state)
{
    VX_GraphicsServer_response* response = nullptr;
    const QStringList none;
    for (auto _ : state) {
        VX_GraphicsServer_send(server, 0, &response, QStringLiteral("nosuchword"), QStringLiteral("none"), &none,
                               nullptr);
        hl_clear_register(0);
    }
    delete response;
}
BENCHMARK(BM_UnknownWordRoundTrip)->UseRealTime();

void client(VX_GraphicsServer* s, int, char**)
{
    server = s;
    VX_GraphicsServer_response* response = nullptr;
    const QStringList none;
    if (VX_GraphicsServer_send(s, 0, &response, QStringLiteral("mainwindow"), QStringLiteral("none"), &none,
                               nullptr) < 0) {
        fprintf(stderr, "server_bench: %s", hl_errlog_string(0));
        _exit(1);
    }
    window = response->handle;
    delete response;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fflush(stdout);
    _exit(0);
}

} // namespace

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    benchmark::Initialize(&argc, argv);
    VX_GraphicsServer_create(argc, argv, "bench", client, 1);
    return 1;  // the client ends the process
}
