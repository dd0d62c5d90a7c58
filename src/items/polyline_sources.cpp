// The point sources of VXPolyline and its configuration table.
#include "items/polyline.h"

#include "items/itemvalues_p.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hlvector.h"
#include "toolkit/base/strings.h"

#include <QPainterPath>

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using vxitems::parseNumber;
using vxitems::parsePointer;

// Longest "x y" entry of the points source, in bytes.
constexpr size_t max_entry = 8191;
// Characters that end an entry of the points source.
constexpr const char* entry_delimiters = "\n\r,;";

enum {
    opt_vector,
    opt_vector2,
    opt_thistory,
    opt_plpath,
    opt_qlist,
    opt_points,
    opt_test,
    opt_trace,
    opt_grid,
    opt_xgain,
    opt_ygain,
    opt_xmode,
    opt_ymode,
};

VXPolyline* polylineOf(void* object_ptr)
{
    return static_cast<VXPolyline*>(static_cast<VXConfigure*>(object_ptr));
}

char* replaceText(char* old, const char* text)
{
    free(old);
    return text ? strdup(text) : nullptr;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VXPolyline* p = polylineOf(object_ptr);
    VxPolyline* vars = reinterpret_cast<VxPolyline*>(paramRec);
    const char* text = value ? value : "";
    int ret = 0;
    switch (offset) {
    case opt_vector:
        ret = p->setSourceVector(text);
        break;
    case opt_vector2:
        ret = p->setSourceVector2(text);
        break;
    case opt_thistory:
        ret = p->setSourceHistory(text);
        break;
    case opt_plpath:
    case opt_qlist: {
        void* ptr = nullptr;
        if (!parsePointer(value, &ptr)) {
            hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_pointer: bad pointer value '%s'.\n", text);
            return -1;
        }
        ret = offset == opt_plpath ? p->setSourcePath(static_cast<VXPolylinePath*>(ptr))
                                   : p->setSourceQList(static_cast<const QList<VX_XY>*>(ptr));
        break;
    }
    case opt_points:
        ret = p->setSourcePoints(text);
        break;
    case opt_test:
        ret = p->setSourceTest();
        break;
    case opt_trace: {
        Rsptr trace{};
        if (rsptr_parse(text, &trace) != 0) {
            p->clearPoints();
            hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_trace: Cannot parse Rsptr '%s'.\n", text);
            return -1;
        }
        ret = p->setSourceTrace(trace);
        break;
    }
    case opt_grid:
        ret = p->setSourceHlgrid(QString::fromUtf8(text));
        break;
    case opt_xgain:
    case opt_ygain: {
        double gain = 0.0;
        if (!parseNumber(text, &gain)) {
            hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_gain: strtod(%s) error.\n", text);
            return -1;
        }
        double* field = offset == opt_xgain ? &vars->xgain : &vars->ygain;
        if (*field != gain)
            spec->specFlags |= HL_SPEC_CHANGED;
        *field = gain;
        return 0;
    }
    case opt_xmode:
    case opt_ymode: {
        int mode;
        if (!*text || !strcmp(text, "world"))
            mode = VX_POLYLINE_WORLD;
        else if (!strcmp(text, "viewport"))
            mode = VX_POLYLINE_VIEWPORT;
        else {
            hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_mode: unrecognized mode value '%s'.\n", text);
            return -1;
        }
        int* field = offset == opt_xmode ? &vars->xmode : &vars->ymode;
        if (*field != mode)
            spec->specFlags |= HL_SPEC_CHANGED;
        *field = mode;
        return 0;
    }
    default:
        return -1;
    }
    if (ret < 0)
        return -1;
    // a source always counts as a change: the points behind a handle may
    // have moved on
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxPolyline* vars = reinterpret_cast<const VxPolyline*>(paramRec);
    char buf[64];
    switch (offset) {
    case opt_vector:
    case opt_vector2:
        return strdup(vars->vechandle ? vars->vechandle : "");
    case opt_thistory:
        return strdup(vars->thandle ? vars->thandle : "");
    case opt_plpath:
    case opt_qlist:
    case opt_points:
    case opt_test:
    case opt_trace:
    case opt_grid:
        return strdup("");
    case opt_xgain:
    case opt_ygain:
        snprintf(buf, sizeof(buf), "%.17g", offset == opt_xgain ? vars->xgain : vars->ygain);
        return strdup(buf);
    case opt_xmode:
    case opt_ymode:
        return strdup((offset == opt_xmode ? vars->xmode : vars->ymode) == VX_POLYLINE_VIEWPORT ? "viewport"
                                                                                               : "world");
    default:
        return strdup("Illegal offset value");
    }
}

HL_CustomOption opt_polyline = {parseOption, printOption, nullptr};

#define CUSTOM(key, def, index) {"custom", key, def, index, 0, &opt_polyline}
#define FIELD(type, key, def, field) {type, key, def, static_cast<int>(offsetof(VxPolyline, field)), 0, nullptr}

HL_ConfigureSpec polyline_specs[] = {
    CUSTOM("vector", nullptr, opt_vector),
    CUSTOM("vector2", nullptr, opt_vector2),
    CUSTOM("thistory", nullptr, opt_thistory),
    CUSTOM("plpath", nullptr, opt_plpath),
    CUSTOM("qlist", nullptr, opt_qlist),
    CUSTOM("points", nullptr, opt_points),
    CUSTOM("trace", nullptr, opt_trace),
    CUSTOM("test", nullptr, opt_test),
    CUSTOM("grid", nullptr, opt_grid),
    FIELD("color", "color_fill", nullptr, fill),
    FIELD("color", "color_outline", nullptr, outline),
    FIELD("color", "fill_black", "black", fill_black),
    FIELD("int", "linewidth", "1", linewidth),
    FIELD("double", "gap_value", "2.12345e30", gap_value),
    CUSTOM("xgain", "1.0", opt_xgain),
    CUSTOM("ygain", "1.0", opt_ygain),
    CUSTOM("xmode", "world", opt_xmode),
    CUSTOM("ymode", "world", opt_ymode),
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef CUSTOM
#undef FIELD

// The test curve: flat up to x 1, then a decaying sine.
int test_get_points(int n, double** xpts, double** ypts)
{
    double* x = static_cast<double*>(malloc(n * sizeof(double)));
    double* y = static_cast<double*>(malloc(n * sizeof(double)));
    if (!x || !y) {
        free(x);
        free(y);
        return -1;
    }
    for (int i = 0; i < n; i++) {
        x[i] = i * 0.01;
        y[i] = x[i] <= 1.0 ? 0.0 : (1.0 / x[i]) * sin((x[i] - 1.0) * 2.0 * M_PI);
    }
    *xpts = x;
    *ypts = y;
    return 0;
}

// One "x y" entry into *x, *y; false with a registered line.
bool parsePoint(const char* entry, double* x, double* y)
{
    char* end = nullptr;
    *x = fixed_strtod(entry, &end);
    if (end == entry || (*end != '\0' && *end != ' ' && *end != '\t')) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_point: error parsing x '%s'.\n", entry);
        return false;
    }
    const char* s = end;
    while (*s == ' ' || *s == '\t')
        s++;
    if (*s == '\0') {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_point: Not enough fields.\n");
        return false;
    }
    *y = fixed_strtod(s, &end);
    const char* rest = end;
    while (*rest == ' ' || *rest == '\t')
        rest++;
    if (end == s || *rest != '\0') {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_point: error parsing y '%s'.\n", s);
        return false;
    }
    return true;
}

bool blank(const char* s)
{
    for (; *s; s++)
        if (*s != ' ' && *s != '\t')
            return false;
    return true;
}

} // namespace

VXPolylinePath::~VXPolylinePath()
{
    delete path;
}

void VXPolyline::init()
{
    setConfigureSpecs(polyline_specs, reinterpret_cast<char*>(&vars), "VXPolyline", static_cast<VXConfigure*>(this),
                      1);
}

void VXPolyline::clearPoints()
{
    free(vars.xpts);
    free(vars.ypts);
    vars.xpts = nullptr;
    vars.ypts = nullptr;
    vars.npts = 0;
    vars.xpts_size = vars.ypts_size = 0;
}

void VXPolyline::adoptPoints(int n, double* x, double* y, int x_size, int y_size)
{
    clearPoints();
    delete vars.plpath;
    vars.plpath = nullptr;
    vars.xpts = x;
    vars.ypts = y;
    vars.npts = n;
    vars.xpts_size = x_size;
    vars.ypts_size = y_size;
    bool first = true;
    for (int i = 0; i < n; i++) {
        if (x[i] == vars.gap_value || y[i] == vars.gap_value || !std::isfinite(x[i]) || !std::isfinite(y[i]))
            continue;
        if (first) {
            vars.xmin = vars.xmax = x[i];
            vars.ymin = vars.ymax = y[i];
            first = false;
        }
        vars.xmin = std::min(vars.xmin, x[i]);
        vars.xmax = std::max(vars.xmax, x[i]);
        vars.ymin = std::min(vars.ymin, y[i]);
        vars.ymax = std::max(vars.ymax, y[i]);
    }
}

int VXPolyline::setSourceVector(const char* text)
{
    if (!text)
        text = "";
    const char* colon = strchr(text, ':');
    const std::string handle(text, colon ? static_cast<size_t>(colon - text) : strlen(text));
    if (hlvector_get_vector(handle.c_str()) < 0) {
        if (hlvector2_get_vector(handle.c_str()) == 0) {
            hl_clear_register(0);
            return setSourceVector2(text);
        }
        hl_register_error(HL_SEVERITY_NORMAL,
                          "polyline_parse_vector: Cannot find hlvector or hlvector2 corresponding to handle '%s'.\n",
                          handle.c_str());
        return -1;
    }
    double *x = nullptr, *y = nullptr;
    int n = 0, xs = 0, ys = 0;
    if (hlvector_get_points(handle.c_str(), &x, &y, &n, &xs, &ys) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_vector: hlvector_get_points(%s) error.\n",
                          handle.c_str());
        return -1;
    }
    adoptPoints(n, x, y, xs, ys);
    vars.vechandle = replaceText(vars.vechandle, text);
    return 0;
}

int VXPolyline::setSourceVector2(const char* text)
{
    if (!text)
        text = "";
    const char* colon = strchr(text, ':');
    const std::string handle(text, colon ? static_cast<size_t>(colon - text) : strlen(text));
    int component = 0;
    if (colon) {
        char* end = nullptr;
        errno = 0;
        const long c = strtol(colon + 1, &end, 10);
        if (end == colon + 1 || *end != '\0' || errno == ERANGE || c < 0 || c > 1000) {
            hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_vector2: bad component '%s'.\n", colon + 1);
            return -1;
        }
        component = static_cast<int>(c);
    }
    double *x = nullptr, *y = nullptr;
    int n = 0, xs = 0, ys = 0;
    if (hlvector2_get_points(handle.c_str(), component, &x, &y, &n, &xs, &ys) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_vector2: hlvector2_get_points(%s) error.\n", text);
        return -1;
    }
    adoptPoints(n, x, y, xs, ys);
    vars.vechandle = replaceText(vars.vechandle, text);
    return 0;
}

int VXPolyline::setSourceHistory(const char* handle)
{
    double *x = nullptr, *y = nullptr;
    int n = 0, xs = 0, ys = 0;
    if (hlhistory_get_points(handle, &x, &y, &n, &xs, &ys) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_thistory: hlhistory_get_points(%s) error.\n",
                          handle ? handle : "");
        return -1;
    }
    adoptPoints(n, x, y, xs, ys);
    vars.thandle = replaceText(vars.thandle, handle);
    return 0;
}

int VXPolyline::setSourcePath(VXPolylinePath* path)
{
    // the same path again is kept, not deleted under its new owner
    if (path != vars.plpath)
        delete vars.plpath;
    vars.plpath = path;
    clearPoints();
    return 0;
}

int VXPolyline::setSourceQList(const QList<VX_XY>* list)
{
    clearPoints();
    delete vars.plpath;
    vars.plpath = nullptr;
    if (!list || list->isEmpty())
        return 0;
    const qsizetype n = list->size();
    if (n > HLVECTOR_MAX_POINTS) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_qlist: too many points (%lld).\n",
                          static_cast<long long>(n));
        return -1;
    }
    double* x = static_cast<double*>(malloc(n * sizeof(double)));
    double* y = static_cast<double*>(malloc(n * sizeof(double)));
    if (!x || !y) {
        free(x);
        free(y);
        hl_register_error(HL_SEVERITY_SYSTEM, "polyline_parse_qlist: malloc error.\n");
        return -1;
    }
    for (qsizetype i = 0; i < n; i++) {
        x[i] = list->at(i).x;
        y[i] = list->at(i).y;
    }
    adoptPoints(static_cast<int>(n), x, y, static_cast<int>(n), static_cast<int>(n));
    return 0;
}

int VXPolyline::setSourcePoints(const char* text)
{
    clearPoints();
    delete vars.plpath;
    vars.plpath = nullptr;
    if (!text)
        return 0;
    const size_t length = strlen(text);
    // no more points than entries, no more entries than half the text
    const size_t cap = length / 2 + 1;
    if (cap > static_cast<size_t>(HLVECTOR_MAX_POINTS)) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_point: text too long.\n");
        return -1;
    }
    char* copy = strdup(text);
    double* x = static_cast<double*>(malloc(cap * sizeof(double)));
    double* y = static_cast<double*>(malloc(cap * sizeof(double)));
    if (!copy || !x || !y) {
        free(copy);
        free(x);
        free(y);
        hl_register_error(HL_SEVERITY_SYSTEM, "polyline_parse_point: malloc error.\n");
        return -1;
    }
    int n = 0, bad = 0;
    char* save = nullptr;
    for (char* entry = strtok_r(copy, entry_delimiters, &save); entry;
         entry = strtok_r(nullptr, entry_delimiters, &save)) {
        if (blank(entry))
            continue;
        if (strlen(entry) > max_entry) {
            hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_point: entry longer than %zu characters.\n",
                              max_entry);
            bad++;
            continue;
        }
        if (parsePoint(entry, &x[n], &y[n]))
            n++;
        else
            bad++;
    }
    free(copy);
    if (n == 0) {
        free(x);
        free(y);
        x = y = nullptr;
    }
    adoptPoints(n, x, y, n, n);
    return bad ? -1 : 0;
}

int VXPolyline::setSourceTest()
{
    constexpr int n = 1000;
    double *x = nullptr, *y = nullptr;
    if (test_get_points(n, &x, &y) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "polyline_parse_test: test_get_points() error.\n");
        return -1;
    }
    adoptPoints(n, x, y, n, n);
    return 0;
}

int VXPolyline::setSourceHlgrid(QString)
{
    return 0;
}
