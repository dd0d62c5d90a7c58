// vxgen: write a deterministic CSS 3.0 sample database of a regional
// network, its events and synthetic waveforms.
#include "generator.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kDefaultStart = "2024-01-15 00:00:00";
constexpr double kMaxSamples = 5e8;  // over all channels: 2 GB of samples

void usage(FILE* out)
{
    fprintf(out,
            "Usage: vxgen [options] OUTBASE\n"
            "Writes a CSS 3.0 database OUTBASE.site, .sitechan, .affiliation, .event, .origin,\n"
            ".origerr, .netmag, .stamag, .arrival, .assoc, .lastid, .wfdisc (old files of these\n"
            "tables are replaced) and s4 waveform files wf/STA.YYYYDDD.w beside it: a regional\n"
            "network in southern California, its local events and synthetic seismograms.\n"
            "The same options give the same files, byte for byte.\n"
            "\n"
            "  --seed N       random seed, 0 to 2^64-1 (1)\n"
            "  --stations N   stations, 1 to %d (12)\n"
            "  --events N     events, 0 to 1000 (5)\n"
            "  --start TIME   time of the first sample (\"%s\")\n"
            "  --hours H      length of the recording, over 0 to 168 (1)\n"
            "  --samprate R   samples per second, 1 to 200 (40)\n"
            "  -h, --help     this text\n"
            "Exit status: 0 written, 1 failed to write, 2 bad arguments.\n",
            vxgen_station_count(), kDefaultStart);
}

int bad(const char* format, const char* a, const char* b = "")
{
    fputs("vxgen: ", stderr);
    fprintf(stderr, format, a, b);
    fputs("\nTry 'vxgen --help'.\n", stderr);
    return 2;
}

bool parse_long(const char* text, long lo, long hi, long* value)
{
    if (!text || !*text)
        return false;
    char* end = nullptr;
    errno = 0;
    const long v = strtol(text, &end, 10);
    if (errno || *end || v < lo || v > hi)
        return false;
    *value = v;
    return true;
}

bool parse_double(const char* text, double lo, double hi, bool lo_open, double* value)
{
    if (!text || !*text)
        return false;
    char* end = nullptr;
    errno = 0;
    const double v = strtod(text, &end);
    if (errno || *end || !std::isfinite(v) || v > hi || v < lo || (lo_open && v == lo))
        return false;
    *value = v;
    return true;
}

bool parse_seed(const char* text, uint64_t* value)
{
    if (!text || !*text || strspn(text, "0123456789") != strlen(text))
        return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = strtoull(text, &end, 10);
    if (errno || *end)
        return false;
    *value = v;
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    VxgenOptions opt;
    opt.start = timeparse(kDefaultStart);
    for (int i = 1; i < argc; i++) {
        const char* a = argv[i];
        if (!strcmp(a, "-h") || !strcmp(a, "--help")) {
            usage(stdout);
            return 0;
        }
        if (a[0] != '-' || !a[1]) {
            if (!opt.outbase.empty())
                return bad("more than one OUTBASE: '%s' and '%s'", opt.outbase.c_str(), a);
            opt.outbase = a;
            continue;
        }
        // "--name value" or "--name=value"
        std::string name = a;
        const char* value = nullptr;
        const size_t eq = name.find('=');
        if (eq != std::string::npos) {
            value = a + eq + 1;
            name.resize(eq);
        } else if (i + 1 < argc) {
            value = argv[++i];
        }
        const bool known = name == "--seed" || name == "--stations" || name == "--events" || name == "--start" ||
                           name == "--hours" || name == "--samprate";
        if (!known)
            return bad("unknown option '%s'%s", a);
        if (!value)
            return bad("%s needs a value%s", name.c_str());
        long n = 0;
        if (name == "--seed") {
            if (!parse_seed(value, &opt.seed))
                return bad("bad seed '%s'%s", value);
        } else if (name == "--stations") {
            if (!parse_long(value, 1, vxgen_station_count(), &n))
                return bad("bad number of stations '%s' (1 to 20)%s", value);
            opt.stations = static_cast<int>(n);
        } else if (name == "--events") {
            if (!parse_long(value, 0, 1000, &n))
                return bad("bad number of events '%s' (0 to 1000)%s", value);
            opt.events = static_cast<int>(n);
        } else if (name == "--start") {
            const double t = timeparse(value);
            if (t == HL_TIME_NULL || t < 0.0 || t > 4102444800.0)
                return bad("bad start time '%s' (1970 to 2100)%s", value);
            opt.start = t;
        } else if (name == "--hours") {
            if (!parse_double(value, 0.0, 168.0, true, &opt.hours))
                return bad("bad number of hours '%s' (over 0, at most 168)%s", value);
        } else if (!parse_double(value, 1.0, 200.0, false, &opt.samprate)) {
            return bad("bad sample rate '%s' (1 to 200)%s", value);
        }
    }
    if (opt.outbase.empty())
        return bad("no OUTBASE given%s%s", "");
    if (opt.hours * 3600.0 * opt.samprate < 1.0)
        return bad("the recording is shorter than one sample%s%s", "");
    if (opt.hours * 3600.0 * opt.samprate * 3.0 * opt.stations > kMaxSamples)
        return bad("too many samples: at most %s over all channels%s", "500000000");
    if (vxgen_write(opt) < 0) {
        fprintf(stderr, "vxgen: cannot write %s:\n%s", opt.outbase.c_str(), hl_errlog_string(0));
        return 1;
    }
    return 0;
}
