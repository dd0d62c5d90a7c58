// The SeedLink path: decoding records through pktDecode against libmseed's
// msr_unpack alone, and packets per second through a loopback connection to
// vxseedlinkd's server (500 channels at 100 Hz, sent as fast as it can).
#include "mseedmake.h"
#include "server.h"

#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/tidereap.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr double kT0 = 1700000000.0;

// 200 full 512-byte Steim2 records of a 100 Hz channel.
const std::vector<MseedRecord>& records()
{
    static const std::vector<MseedRecord> r = [] {
        std::vector<MseedRecord> all = mseed_pack("XX", "S0001", "", "HHZ", kT0, 100.0, mseed_signal(60000, 0.3),
                                                  'i', DE_STEIM2, 512, 1);
        all.resize(std::min<size_t>(all.size(), 200));
        return all;
    }();
    return r;
}

// Baseline: libmseed alone.
void BM_MsrUnpack(benchmark::State& state)
{
    std::vector<MseedRecord> recs = records();
    MSRecord* msr = nullptr;
    long samples = 0;
    for (auto _ : state) {
        for (MseedRecord& r : recs) {
            msr_unpack(r.data(), 512, &msr, 1, 0);
            samples += msr->numsamples;
        }
    }
    msr_free(&msr);
    state.SetItemsProcessed(state.iterations() * static_cast<long>(recs.size()));
    state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(BM_MsrUnpack);

void BM_PktDecode(benchmark::State& state)
{
    const std::vector<MseedRecord>& recs = records();
    long samples = 0;
    for (auto _ : state) {
        for (const MseedRecord& r : recs) {
            Packet* pkt = nullptr;
            pktDecode("XX_S0001_HHZ", kT0, r.data(), 512, &pkt);
            samples += pkt->channels[0].nsamp;
            pktFree(&pkt);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(recs.size()));
    state.counters["samples"] = static_cast<double>(samples);
}
BENCHMARK(BM_PktDecode);

// 500 channels at 100 Hz for 60 s, all released before the clock starts;
// each iteration a new reader takes every packet and decodes it.
void BM_Loopback500Channels(benchmark::State& state)
{
    constexpr double kDuration_s = 60.0;
    SlServerOptions opt;
    opt.bind = "127.0.0.1";
    opt.port = 0;
    opt.speed = 0.0;
    SlServer server(opt);
    SlSynthOptions synth;
    synth.stations = 500;
    synth.nchan = 1;
    synth.samprate = 100.0;
    synth.start = kT0;
    synth.duration = kDuration_s;
    std::string error;
    if (server.addSynthetic(synth, &error) < 0 || server.start(&error) < 0) {
        state.SkipWithError(error.c_str());
        return;
    }
    const long expected = 500 * static_cast<long>(kDuration_s);  // one record a second per channel
    while (server.released() < expected)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const std::string ring = "127.0.0.1:" + std::to_string(server.port());
    long packets = 0;
    for (auto _ : state) {
        TidereapThr* reap = tidereapthr_new2(ring.c_str(), nullptr, nullptr, 65536, kT0, -1.0);
        char src[TIDEREAP_SRCNAME_SIZE];
        char* buf = nullptr;
        int bufsize = 0, nbytes = 0, seq = 0;
        double t = 0.0;
        long got = 0;
        while (got < expected) {
            const int rc = tidereapthr_get(reap, &seq, src, &t, &buf, &nbytes, &bufsize);
            if (rc != TIDEREAP_PACKET)
                break;
            Packet* pkt = nullptr;
            if (pktDecode(src, t, buf, nbytes, &pkt) > 0)
                got++;
            pktFree(&pkt);
        }
        tidereapthr_free(&reap);
        free(buf);
        packets += got;
        if (got < expected)
            state.SkipWithError("not every packet arrived");
    }
    server.stop();
    state.SetItemsProcessed(packets);
    // data seconds per wall second is packets/s over the 500 packets a
    // second that real time brings
    state.counters["packets_per_s"] = benchmark::Counter(static_cast<double>(packets), benchmark::Counter::kIsRate);
    state.counters["x_realtime"] =
        benchmark::Counter(static_cast<double>(packets) / 500.0, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Loopback500Channels)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
