#include "toolkit/geo/geo.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <numbers>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;
constexpr double deg_per_rad = 180.0 / std::numbers::pi;

// WGS84 semi-major and semi-minor axes, km.
constexpr double wgs84_a_km = 6378.137;
constexpr double wgs84_b_km = 6356.752314245;

} // namespace

void geoarc(double* del, double* az, double lat1, double lon1, double lat2, double lon2)
{
    // the atan2 forms keep full precision for short arcs and near the
    // antipode, where acos and asin of a value close to 1 lose it
    const double s1 = std::sin(lat1), c1 = std::cos(lat1);
    const double s2 = std::sin(lat2), c2 = std::cos(lat2);
    const double dlon = lon2 - lon1;
    const double sd = std::sin(dlon), cd = std::cos(dlon);
    const double east = c2 * sd;                  // towards east at point 1
    const double north = c1 * s2 - s1 * c2 * cd;  // towards north at point 1
    const double along = s1 * s2 + c1 * c2 * cd;  // cosine of the distance
    if (del)
        *del = std::atan2(std::hypot(east, north), along);
    if (az) {
        double a = std::atan2(east, north);
        if (a < 0.0)
            a += two_pi;
        *az = a >= two_pi ? 0.0 : a;  // -tiny + 2 pi rounds to 2 pi
    }
}

void geopointat(double* lat, double* lon, double lat1, double lon1, double del, double az)
{
    // point 1 and the direction of az there as unit vectors; the point
    // wanted lies at angle del from point 1 in their plane
    const double s1 = std::sin(lat1), c1 = std::cos(lat1);
    const double sl = std::sin(lon1), cl = std::cos(lon1);
    const double p[3] = {c1 * cl, c1 * sl, s1};
    const double north[3] = {-s1 * cl, -s1 * sl, c1};
    const double east[3] = {-sl, cl, 0.0};
    const double sa = std::sin(az), ca = std::cos(az);
    const double sd = std::sin(del), cd = std::cos(del);
    double q[3];
    for (int i = 0; i < 3; i++)
        q[i] = p[i] * cd + (north[i] * ca + east[i] * sa) * sd;
    if (lat)
        *lat = std::atan2(q[2], std::hypot(q[0], q[1]));
    if (lon)
        *lon = std::atan2(q[1], q[0]);
}

double geokmtodegrees(double km, double lat_deg)
{
    const double phi = lat_deg / deg_per_rad;
    const double c = std::cos(phi), s = std::sin(phi);
    const double a2c = wgs84_a_km * wgs84_a_km * c, b2s = wgs84_b_km * wgs84_b_km * s;
    const double ac = wgs84_a_km * c, bs = wgs84_b_km * s;
    const double radius_km = std::sqrt((a2c * a2c + b2s * b2s) / (ac * ac + bs * bs));
    return km / radius_km * deg_per_rad;
}

// Flinn-Engdahl tables ------------------------------------------------------

namespace {

// Largest table file read; the full tables take a small part of it.
constexpr size_t max_table_bytes = 8u << 20;

struct Span
{
    double west = 0.0, east = 0.0;  // degrees, west < east
    int gr = 0;
    int line = 0;  // of regions.txt, for the overlap message
};

struct FeTables
{
    std::array<std::vector<Span>, 180> bands;  // by lat_south + 90, sorted by west
    std::unordered_map<int, int> seismic;      // gr -> sr
    std::unordered_map<int, std::string> names;  // sr -> name
};

// What the last load left: the tables, or why there are none.
struct FeState
{
    std::mutex mutex;
    bool attempted = false;
    std::shared_ptr<const FeTables> tables;
    std::string dir;                  // directory of the last load
    bool missing = false;             // no directory or no regions.txt in it
    std::vector<std::string> errors;  // lines the failed load registered
};

FeState& feState()
{
    static FeState state;
    return state;
}

// A failed load: collects the lines to register on every lookup.
struct LoadError
{
    std::vector<std::string>& lines;

    void add(const char* format, ...) __attribute__((format(printf, 2, 3)))
    {
        va_list ap, copy;
        va_start(ap, format);
        va_copy(copy, ap);
        int n = std::vsnprintf(nullptr, 0, format, copy);
        va_end(copy);
        std::string text(n > 0 ? static_cast<size_t>(n) : 0, '\0');
        if (n > 0)
            std::vsnprintf(text.data(), text.size() + 1, format, ap);
        va_end(ap);
        lines.push_back(std::move(text));
    }
};

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f' || c == '\n';
}

std::vector<std::string_view> fields(std::string_view line)
{
    std::vector<std::string_view> out;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && isBlank(line[i]))
            i++;
        size_t start = i;
        while (i < line.size() && !isBlank(line[i]))
            i++;
        if (i > start)
            out.push_back(line.substr(start, i - start));
    }
    return out;
}

bool parseInt(std::string_view text, int* value)
{
    auto r = std::from_chars(text.data(), text.data() + text.size(), *value);
    return r.ec == std::errc() && r.ptr == text.data() + text.size();
}

bool parseDegrees(std::string_view text, double* value)
{
    std::string copy(text);
    char* end = nullptr;
    *value = fixed_strtod(copy.c_str(), &end);
    return end == copy.c_str() + copy.size() && std::isfinite(*value);
}

// Call parse(line_number, text) for every line of dir/file that holds more
// than a comment, with the comment removed; parse returns an empty reason
// when the line is good.  *missing (when given) tells a file that is not
// there from one that cannot be read.
template <class Parse>
bool readTable(const std::string& dir, const char* file, LoadError& err, bool* missing, Parse parse)
{
    std::string path = dir + "/" + file;
    FILE* f = std::fopen(path.c_str(), "r");
    if (!f) {
        int error = errno;
        if (missing)
            *missing = error == ENOENT || error == ENOTDIR;
        if (!missing || !*missing)
            err.add("geo_load_tables: Cannot open '%s': %s.\n", path.c_str(), std::strerror(error));
        return false;
    }
    std::string text;
    char chunk[8192];
    size_t n = 0;
    while (text.size() <= max_table_bytes && (n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        text.append(chunk, n);
    bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) {
        err.add("geo_load_tables: Cannot read '%s'.\n", path.c_str());
        return false;
    }
    if (text.size() > max_table_bytes) {
        err.add("geo_load_tables: '%s' is larger than %zu bytes.\n", path.c_str(), max_table_bytes);
        return false;
    }

    std::string_view rest(text);
    for (int number = 1; !rest.empty(); number++) {
        size_t nl = rest.find('\n');
        std::string_view line = rest.substr(0, nl);
        rest = nl == std::string_view::npos ? std::string_view() : rest.substr(nl + 1);
        std::string reason;
        if (line.find('\0') != std::string_view::npos) {
            reason = "a NUL character";
        } else {
            line = line.substr(0, line.find('#'));
            if (fields(line).empty())
                continue;
            reason = parse(number, line);
        }
        if (!reason.empty()) {
            err.add("geo_load_tables: Bad line %d of '%s': %s.\n", number, path.c_str(), reason.c_str());
            return false;
        }
    }
    return true;
}

std::string parseRegionLine(FeTables& t, int number, std::string_view line)
{
    std::vector<std::string_view> v = fields(line);
    if (v.size() != 4)
        return "expected \"lat_south lon_west lon_east gr\"";
    Span span;
    int lat_south = 0;
    if (!parseInt(v[0], &lat_south) || lat_south < -90 || lat_south > 89)
        return "lat_south is not a whole number from -90 to 89";
    if (!parseDegrees(v[1], &span.west) || !parseDegrees(v[2], &span.east) || span.west < -180.0 ||
        span.east > 180.0 || span.west >= span.east)
        return "longitudes are not -180 <= lon_west < lon_east <= 180";
    if (!parseInt(v[3], &span.gr) || span.gr <= 0)
        return "gr is not a positive whole number";
    span.line = number;
    t.bands[static_cast<size_t>(lat_south + 90)].push_back(span);
    return {};
}

std::string parseSeismicLine(FeTables& t, std::string_view line)
{
    std::vector<std::string_view> v = fields(line);
    int gr = 0, sr = 0;
    if (v.size() != 2 || !parseInt(v[0], &gr) || !parseInt(v[1], &sr) || gr <= 0 || sr <= 0)
        return "expected \"gr sr\", two positive whole numbers";
    if (!t.seismic.emplace(gr, sr).second)
        return "geographic region " + std::to_string(gr) + " given twice";
    return {};
}

std::string parseNameLine(FeTables& t, std::string_view line)
{
    std::vector<std::string_view> v = fields(line);
    int sr = 0;
    if (v.size() < 2 || !parseInt(v[0], &sr) || sr <= 0)
        return "expected \"sr name\", a positive whole number and a name";
    // the name runs from its first word to the end of its last
    const char* first = v[1].data();
    const char* last = v.back().data() + v.back().size();
    if (!t.names.emplace(sr, std::string(first, static_cast<size_t>(last - first))).second)
        return "seismic region " + std::to_string(sr) + " given twice";
    return {};
}

// The directory the tables are read from; empty when neither variable is set.
std::string tableDirectory()
{
    const char* fe = std::getenv("VXPLOT_FEDATA");
    if (fe && *fe)
        return fe;
    const char* data = std::getenv("VXPLOT_DATADIR");
    if (data && *data)
        return std::string(data) + "/flinnengdahl";
    return {};
}

// Load the tables into state; the caller holds state.mutex.
bool loadLocked(FeState& state)
{
    state.attempted = true;
    state.tables.reset();
    state.errors.clear();
    state.missing = false;
    state.dir = tableDirectory();
    if (state.dir.empty()) {
        state.missing = true;
        return false;
    }
    LoadError err{state.errors};
    try {
        auto t = std::make_shared<FeTables>();
        bool ok = readTable(state.dir, "regions.txt", err, &state.missing,
                            [&](int n, std::string_view line) { return parseRegionLine(*t, n, line); });
        ok = ok && readTable(state.dir, "seisreg.txt", err, nullptr,
                             [&](int, std::string_view line) { return parseSeismicLine(*t, line); });
        ok = ok && readTable(state.dir, "names.txt", err, nullptr,
                             [&](int, std::string_view line) { return parseNameLine(*t, line); });
        if (!ok)
            return false;
        for (auto& band : t->bands) {
            std::sort(band.begin(), band.end(), [](const Span& a, const Span& b) { return a.west < b.west; });
            for (size_t i = 1; i < band.size(); i++) {
                if (band[i].west < band[i - 1].east) {
                    const Span& later = band[i].line > band[i - 1].line ? band[i] : band[i - 1];
                    const Span& earlier = &later == &band[i] ? band[i - 1] : band[i];
                    err.add("geo_load_tables: Bad line %d of '%s/regions.txt': span overlaps the one of line %d.\n",
                            later.line, state.dir.c_str(), earlier.line);
                    return false;
                }
            }
        }
        state.tables = std::move(t);
        return true;
    } catch (const std::bad_alloc&) {
        state.errors.clear();
        state.errors.emplace_back("geo_load_tables: Out of memory.\n");
        return false;
    }
}

// Register why there are no tables, as the failed load found it.
void registerLoadFailure(const FeState& state, const char* caller)
{
    for (const std::string& line : state.errors)
        hl_register_error(0, "%s", line.c_str());
    if (state.dir.empty())
        hl_register_error(0, "%s: No Flinn-Engdahl tables: neither VXPLOT_FEDATA nor VXPLOT_DATADIR is set.\n", caller);
    else if (state.missing)
        hl_register_error(0, "%s: No Flinn-Engdahl tables in '%s' (set VXPLOT_FEDATA).\n", caller, state.dir.c_str());
    else
        hl_register_error(0, "%s: Cannot load the Flinn-Engdahl tables from '%s'.\n", caller, state.dir.c_str());
}

// The tables, loading them at the first call; null with registered errors
// when there are none.  The shared pointer keeps them alive through a reload
// on another thread.
std::shared_ptr<const FeTables> acquireTables(const char* caller)
{
    FeState& state = feState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (!state.attempted)
        loadLocked(state);
    if (!state.tables)
        registerLoadFailure(state, caller);
    return state.tables;
}

} // namespace

int geo_reload_tables()
{
    FeState& state = feState();
    std::lock_guard<std::mutex> lock(state.mutex);
    if (loadLocked(state))
        return 0;
    registerLoadFailure(state, "geo_reload_tables");
    return -1;
}

int georegionnum(double lat, double lon)
{
    if (!std::isfinite(lat) || !std::isfinite(lon) || lat < -90.0 || lat > 90.0) {
        hl_register_error(0, "georegionnum: Bad position: latitude %g, longitude %g.\n", lat, lon);
        return -1;
    }
    std::shared_ptr<const FeTables> t = acquireTables("georegionnum");
    if (!t)
        return -1;
    double x = std::fmod(lon, 360.0);  // into [-180, 180)
    if (x >= 180.0)
        x -= 360.0;
    else if (x < -180.0)
        x += 360.0;
    int band = static_cast<int>(std::floor(lat));
    if (band > 89)
        band = 89;
    const std::vector<Span>& spans = t->bands[static_cast<size_t>(band + 90)];
    // the last span starting at or west of x is the only one that can hold it
    auto it = std::upper_bound(spans.begin(), spans.end(), x, [](double v, const Span& s) { return v < s.west; });
    if (it != spans.begin() && x < std::prev(it)->east)
        return std::prev(it)->gr;
    hl_register_error(0, "georegionnum: No region at latitude %g, longitude %g.\n", lat, lon);
    return -1;
}

int geoseisregion(int gr)
{
    std::shared_ptr<const FeTables> t = acquireTables("geoseisregion");
    if (!t)
        return -1;
    auto it = t->seismic.find(gr);
    if (it == t->seismic.end()) {
        hl_register_error(0, "geoseisregion: Unknown geographic region %d.\n", gr);
        return -1;
    }
    return it->second;
}

int geoseisregionname(int sr, char* name, size_t size)
{
    if (!name || size == 0) {
        hl_register_error(0, "geoseisregionname: Null or empty name buffer.\n");
        return -1;
    }
    std::shared_ptr<const FeTables> t = acquireTables("geoseisregionname");
    if (!t)
        return -1;
    auto it = t->names.find(sr);
    if (it == t->names.end()) {
        hl_register_error(0, "geoseisregionname: Unknown seismic region %d.\n", sr);
        return -1;
    }
    size_t n = std::min(it->second.size(), size - 1);
    std::memcpy(name, it->second.data(), n);
    name[n] = '\0';
    return 0;
}
