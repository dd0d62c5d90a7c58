// vxtt: travel times of seismic phases through the library's earth model.
//
//     vxtt --depth KM --deg D[,D...] [--phases P,S,...] [--elev KM]
//
// prints one arrival a line, "DEG DEPTH PHASE SECONDS", in the order of the
// distances given and by time within a distance.
#include "toolkit/base/errors.h"
#include "toolkit/geo/traveltime.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

const char* kUsage = "usage: vxtt --depth KM --deg D[,D...] [--phases P,S,...] [--elev KM]\n";

bool parse_number(const char* s, double* value)
{
    char* end = nullptr;
    errno = 0;
    *value = std::strtod(s, &end);
    return end != s && *end == '\0' && errno == 0 && std::isfinite(*value);
}

int usage(const char* why, const char* what)
{
    fprintf(stderr, "vxtt: %s '%s'.\n%s", why, what, kUsage);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    double depth = NAN, elev = 0.0;
    std::vector<double> degrees;
    std::string phases = "P,S";
    for (int i = 1; i < argc; i++) {
        const std::string opt = argv[i];
        if (opt == "-h" || opt == "--help") {
            fputs(kUsage, stdout);
            return 0;
        }
        if (i + 1 >= argc)
            return usage("Missing value of", argv[i]);
        const char* value = argv[++i];
        if (opt == "--depth") {
            if (!parse_number(value, &depth))
                return usage("Bad depth", value);
        } else if (opt == "--elev") {
            if (!parse_number(value, &elev))
                return usage("Bad elevation", value);
        } else if (opt == "--phases") {
            phases = value;
        } else if (opt == "--deg") {
            std::string list = value;
            size_t start = 0;
            while (start <= list.size()) {
                size_t end = list.find(',', start);
                if (end == std::string::npos)
                    end = list.size();
                const std::string word = list.substr(start, end - start);
                double d = 0.0;
                if (!parse_number(word.c_str(), &d))
                    return usage("Bad distance", word.c_str());
                degrees.push_back(d);
                start = end + 1;
            }
        } else {
            return usage("Unknown option", opt.c_str());
        }
    }
    if (std::isnan(depth) || degrees.empty()) {
        fputs(kUsage, stderr);
        return 2;
    }
    for (double deg : degrees) {
        TtArrival a[TT_MAX_ARRIVALS];
        const int n = tt_compute(depth, deg, elev, phases.c_str(), 0.0, 0.0, a, TT_MAX_ARRIVALS);
        if (n < 0) {
            fprintf(stderr, "vxtt: %s", hl_errlog_string(0));
            return 1;
        }
        for (int k = 0; k < n; k++)
            printf("%g %g %s %.2f\n", deg, depth, a[k].phase, a[k].time_s);
    }
    return 0;
}
