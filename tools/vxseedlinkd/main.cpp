// vxseedlinkd: a SeedLink server for tests and demonstrations.
#include "server.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace {

const char* kUsage =
    "Usage: vxseedlinkd [options] file.mseed ...\n"
    "       vxseedlinkd [options] --synthetic\n"
    "Serves miniSEED files, or generated channels, as a live SeedLink stream.\n"
    "  --port N          port to listen on (18000; 0 picks a free one)\n"
    "  --bind ADDR       IPv4 address to listen on (0.0.0.0)\n"
    "  --speed X         playback speed: 1 real time, 10 ten times faster, 0 all at once (1)\n"
    "  --buffer N        released packets kept for DATA, FETCH and TIME (200000)\n"
    "  --synthetic       generated channels instead of files\n"
    "  --network NN      network code of generated channels (XX)\n"
    "  --stations N      generated stations S0001... (3)\n"
    "  --channels N      channels per generated station, 1 to 3 (3)\n"
    "  --samprate HZ     samples per second of generated channels (100)\n"
    "  --start EPOCH     first generated sample, epoch seconds (now)\n"
    "  --duration S      seconds of generated data (no end; required with --speed 0)\n"
    "  --history S       release the first S seconds of data at once (generated data then\n"
    "                    starts S seconds ago unless --start is given), then play on\n"
    "  --seed N          seed of the generated signals (1)\n"
    "  --v4              offer SeedLink protocol version 4 besides 3.1\n"
    "  --drop-after N    close each connection after N packets (tests)\n"
    "  --cut-mid-packet  with --drop-after: send half of the next packet first\n"
    "  --garbage-after N send garbage after N packets, then close (tests)\n"
    "  --no-station-list answer INFO STATIONS and STREAMS with ERROR (tests)\n"
    "  --wrong-length-after N  after N packets of a connection send one whose record\n"
    "                    claims 4096 bytes (tests)\n"
    "  --seq-back-after N  after N packets of a connection go back 3 packets and send\n"
    "                    them again, once (tests)\n"
    "The port listened on is printed as \"vxseedlinkd: listening on port N\".\n";

int fail(const std::string& what)
{
    fprintf(stderr, "vxseedlinkd: %s\n%s", what.c_str(), kUsage);
    return 2;
}

bool number(const char* s, double* v)
{
    char* end = nullptr;
    *v = strtod(s, &end);
    return end != s && *end == '\0';
}

} // namespace

int main(int argc, char** argv)
{
    SlServerOptions opt;
    SlSynthOptions synth;
    bool synthetic = false;
    std::vector<std::string> files;
    for (int i = 1; i < argc; i++) {
        const std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            fputs(kUsage, stdout);
            return 0;
        }
        if (a == "--synthetic") {
            synthetic = true;
            continue;
        }
        if (a == "--no-station-list") {
            opt.refuse_station_list = true;
            continue;
        }
        if (a == "--v4") {
            opt.offer_v4 = true;
            continue;
        }
        if (a == "--cut-mid-packet") {
            opt.cut_mid_packet = true;
            continue;
        }
        if (a.rfind("--", 0) != 0) {
            files.push_back(a);
            continue;
        }
        if (i + 1 >= argc)
            return fail("option " + a + " needs a value");
        const char* v = argv[++i];
        double x = 0.0;
        if (a == "--bind") {
            opt.bind = v;
        } else if (a == "--network") {
            synth.network = v;
        } else if (!number(v, &x)) {
            return fail("option " + a + " needs a number, not '" + v + "'");
        } else if (a == "--port" && x >= 0 && x <= 65535) {
            opt.port = static_cast<int>(x);
        } else if (a == "--speed" && x >= 0) {
            opt.speed = x;
        } else if (a == "--buffer" && x >= 1) {
            opt.buffer_packets = static_cast<size_t>(x);
        } else if (a == "--stations") {
            synth.stations = static_cast<int>(x);
        } else if (a == "--channels") {
            synth.nchan = static_cast<int>(x);
        } else if (a == "--samprate") {
            synth.samprate = x;
        } else if (a == "--start") {
            synth.start = x;
        } else if (a == "--duration") {
            synth.duration = x;
        } else if (a == "--history" && x >= 0) {
            opt.history = x;
        } else if (a == "--seed" && x >= 0) {
            synth.seed = static_cast<uint64_t>(x);
        } else if (a == "--drop-after" && x >= 0) {
            opt.drop_after = static_cast<long>(x);
        } else if (a == "--garbage-after" && x >= 0) {
            opt.garbage_after = static_cast<long>(x);
        } else if (a == "--wrong-length-after" && x >= 0) {
            opt.wrong_length_after = static_cast<long>(x);
        } else if (a == "--seq-back-after" && x >= 0) {
            opt.seq_back_after = static_cast<long>(x);
        } else {
            return fail("unknown option or bad value: " + a + " " + v);
        }
    }
    if (synthetic == !files.empty())
        return fail(synthetic ? "give files or --synthetic, not both" : "nothing to serve");

    // the signals are taken by sigwait below, on this thread only
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);

    if (opt.history > 0.0 && synth.start < 0.0) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        synth.start = static_cast<double>(now.tv_sec) - opt.history;
    }
    SlServer server(opt);
    std::string error;
    if (synthetic && server.addSynthetic(synth, &error) < 0)
        return fail(error);
    for (const std::string& f : files)
        if (server.loadFile(f, &error) < 0) {
            fprintf(stderr, "vxseedlinkd: %s\n", error.c_str());
            return 1;
        }
    if (server.start(&error) < 0) {
        fprintf(stderr, "vxseedlinkd: %s\n", error.c_str());
        return 1;
    }
    printf("vxseedlinkd: listening on port %d\n", server.port());
    fflush(stdout);
    int sig = 0;
    sigwait(&set, &sig);
    server.stop();
    return 0;
}
