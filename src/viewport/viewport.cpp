// The viewport: construction, display list and configuration keys.
#include "viewport/viewport.h"

#include "foundation/messages.h"
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"
#include "viewport/layer.h"
#include "viewport/logo.h"

#include <QBitmap>
#include <QCursor>
#include <QGridLayout>
#include <QPainter>
#include <QPixmap>
#include <QResizeEvent>

#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int VXViewport::viewport_next_instance = 0;

namespace {

// Every viewport alive, for removeItemEverywhere().  GUI thread only.
QList<VXViewport*>& liveViewports()
{
    static QList<VXViewport*> list;
    return list;
}

// Largest margin the parsers take; keeps plot size arithmetic far from
// integer overflow.
constexpr long max_margin = 1000000;

// Indices of the custom rows, per procedure.
enum { IX_X = 0, IX_Y = 1 };
enum { IX_LATR = 0, IX_LONR = 1, IX_LATL = 2, IX_LONL = 3 };
enum { IX_XLEFT = 0, IX_XRIGHT = 1, IX_YBOTTOM = 2, IX_YTOP = 3 };

VXViewport* viewportOf(void* object_ptr)
{
    return static_cast<VXViewport*>(static_cast<VXConfigure*>(object_ptr));
}

VxViewport* recordOf(char* paramRec)
{
    return reinterpret_cast<VxViewport*>(paramRec);
}

char* printf_dup(const char* format, ...) __attribute__((format(printf, 1, 2)));
char* printf_dup(const char* format, ...)
{
    char buffer[128];
    va_list ap;
    va_start(ap, format);
    vsnprintf(buffer, sizeof buffer, format, ap);
    va_end(ap);
    return strdup(buffer);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// A whole text as one finite number, blanks around allowed.
bool parseNumber(const char* s, double* value)
{
    if (!s)
        return false;
    char* end = nullptr;
    double v = fixed_strtod(s, &end);
    if (end == s)
        return false;
    while (*end && isBlank(*end))
        end++;
    if (*end || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

bool isEmptyText(const char* s)
{
    if (!s)
        return true;
    while (*s && isBlank(*s))
        s++;
    return *s == '\0';
}

void setChanged(HL_ConfigureSpec* spec)
{
    spec->specFlags |= HL_SPEC_CHANGED;
}

const char* const map_names[] = {"none", "edp", "globe", "merc", "geog"};
const char* const mode_names[] = {"lin", "log", "time"};

// --- display_width, display_height: read only ---
int parseDisplay(HL_ConfigureSpec* spec, HL_ClientData, const char*, char*, int, void*)
{
    hl_register_error(0, "viewport_parse_display: %s is read-only.\n", spec->name);
    return -1;
}

char* printDisplay(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    switch (offset) {
    case IX_X:
        return printf_dup("%d", vp->w);
    case IX_Y:
        return printf_dup("%d", vp->h);
    }
    return strdup("Illegal offset value");
}

// --- xtranslate, ytranslate ---
int parseTranslate(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                   void* object_ptr)
{
    VxViewport* vp = recordOf(paramRec);
    VXViewport* viewport = viewportOf(object_ptr);
    int& field = offset == IX_X ? vp->xoffset : vp->yoffset;
    bool changed = false;
    if (value && strcmp(value, "apply") == 0) {
        // fold the translation into the base view
        if (vp->map_tran == VX_MAP_MERC || vp->map_tran == VX_MAP_GEOG) {
            if (offset == IX_X) {
                vp->lonr = 0.5 * (vp->xleft + vp->xright);
            } else {
                double mid = 0.5 * (vp->ybottom + vp->ytop);
                vp->latr = vp->map_tran == VX_MAP_MERC ? VX_mercator_lat(mid) : mid;
            }
            field = 0;
            viewport->setScales();
        } else {
            if (offset == IX_X) {
                vp->spc_xleft = vp->xleft;
                vp->spc_xright = vp->xright;
            } else {
                vp->spc_ybottom = vp->ybottom;
                vp->spc_ytop = vp->ytop;
            }
            field = 0;
        }
        changed = true;
    } else {
        long v = 0;
        if (value && *value) {
            v = strtol(value, nullptr, 10);
            // atoi() semantics, without its overflow
            v = v > 1000000000L ? 1000000000L : (v < -1000000000L ? -1000000000L : v);
        }
        if (field != static_cast<int>(v)) {
            field = static_cast<int>(v);
            changed = true;
        }
    }
    if (changed) {
        setChanged(spec);
        viewport->translateAndGain();
        viewport->setStale();
    }
    return 0;
}

char* printTranslate(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    if (offset == IX_X)
        return printf_dup("%d", vp->xoffset);
    if (offset == IX_Y)
        return printf_dup("%d", vp->yoffset);
    return strdup("Illegal offset value");
}

// --- xgain, ygain ---
int parseGain(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset, void*)
{
    VxViewport* vp = recordOf(paramRec);
    double& field = offset == IX_X ? vp->xgain : vp->ygain;
    double v = 1.0;
    if (value && strcmp(value, "apply") == 0) {
        if (offset == IX_X) {
            vp->spc_xleft = vp->xleft;
            vp->spc_xright = vp->xright;
        } else {
            vp->spc_ybottom = vp->ybottom;
            vp->spc_ytop = vp->ytop;
        }
        setChanged(spec);
    } else if (value && *value) {
        v = fixed_strtod(value, nullptr);  // atof() semantics
        if (!std::isfinite(v)) {
            hl_register_error(0, "viewport_parse_gain: Unable to parse '%s' for %s.\n", value, spec->name);
            return -1;
        }
    }
    if (field != v) {
        field = v;
        setChanged(spec);
    }
    return 0;
}

char* printGain(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    if (offset == IX_X)
        return printf_dup("%.3f", vp->xgain);
    if (offset == IX_Y)
        return printf_dup("%.3f", vp->ygain);
    return strdup("Illegal offset value");
}

// --- map ---
int parseMap(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int, void*)
{
    VxViewport* vp = recordOf(paramRec);
    for (int i = 0; i < 5; i++) {
        if (value && strcmp(value, map_names[i]) == 0) {
            if (vp->map_tran != i) {
                vp->map_tran = i;
                setChanged(spec);
            }
            return 0;
        }
    }
    hl_register_error(0, "viewport_parse_tran: illegal value for map: '%s'\n", value ? value : "");
    return -1;
}

char* printMap(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    return strdup(vp->map_tran >= 0 && vp->map_tran < 5 ? map_names[vp->map_tran] : "none");
}

// --- latr, lonr, latl, lonl ---
int parseReference(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset, void*)
{
    static const char* const procs[] = {"viewport_parse_latr", "viewport_parse_lonr", "viewport_parse_latl",
                                        "viewport_parse_lonl"};
    static const char* const names[] = {"latr", "lonr", "latl", "lonl"};
    if (offset < 0 || offset > 3)
        return -1;
    if (!value || !*value)
        return 0;
    VxViewport* vp = recordOf(paramRec);
    double v = 0.0;
    if (!parseNumber(value, &v)) {
        hl_register_error(0, "%s: Unable to parse '%s' for %s.\n", procs[offset], value, names[offset]);
        return -1;
    }
    // keeps the reference off grid points and poles
    v += 0.0001;
    double* fields[] = {&vp->latr, &vp->lonr, &vp->latl, &vp->lonl};
    if (*fields[offset] != v) {
        *fields[offset] = v;
        setChanged(spec);
    }
    const bool plane = vp->map_tran == VX_MAP_EDP || vp->map_tran == VX_MAP_GLOBE;
    if (offset == IX_LATR && !plane && vp->spc_ybottom != VX_NULL_VALUE && vp->spc_ytop != VX_NULL_VALUE) {
        // the extent is taken as spc_ytop - spc_ytop: the y limits collapse
        // on the centre until setScales() computes them again
        double c = vp->map_tran == VX_MAP_MERC ? VX_mercator_y(vp->latr) : vp->latr;
        double extent = vp->spc_ytop - vp->spc_ytop;
        vp->spc_ybottom = c - 0.5 * extent;
        vp->spc_ytop = c + 0.5 * extent;
    } else if (offset == IX_LONR && !plane && vp->spc_xleft != VX_NULL_VALUE && vp->spc_xright != VX_NULL_VALUE) {
        double extent = vp->spc_xright - vp->spc_xleft;
        vp->spc_xleft = vp->lonr - 0.5 * extent;
        vp->spc_xright = vp->lonr + 0.5 * extent;
    }
    return 0;
}

char* printReference(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    switch (offset) {
    case IX_LATR:
        return printf_dup("%.3f", vp->latr);
    case IX_LONR:
        return printf_dup("%.3f", vp->lonr);
    case IX_LATL:
        return printf_dup("%.3f", vp->latl);
    case IX_LONL:
        return printf_dup("%.3f", vp->lonl);
    }
    return strdup("Illegal offset value");
}

// --- xmode, ymode ---
int parseMode(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset, void*)
{
    VxViewport* vp = recordOf(paramRec);
    int& field = offset == IX_X ? vp->xmode : vp->ymode;
    for (int i = 0; i < 3; i++) {
        if (value && strcmp(value, mode_names[i]) == 0) {
            if (field != i) {
                field = i;
                setChanged(spec);
            }
            return 0;
        }
    }
    hl_register_error(0, "viewport_parse_mode: illegal value for mode: '%s'\n", value ? value : "");
    return -1;
}

char* printMode(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    int mode = offset == IX_X ? vp->xmode : vp->ymode;
    if (offset != IX_X && offset != IX_Y)
        return strdup("Illegal offset value");
    return strdup(mode >= 0 && mode < 3 ? mode_names[mode] : "lin");
}

// --- margin ---
int parseMargin(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int, void*)
{
    static const char* const names[] = {"mleft", "mright", "mbottom", "mtop"};
    VxViewport* vp = recordOf(paramRec);
    int argc = 0;
    char** argv = nullptr;
    if (strcutlist(value ? value : "", &argc, &argv) < 0) {
        hl_register_error(0, "viewport_parse_margin: Cannot parse margin '%s'\n", value ? value : "");
        return -1;
    }
    if (argc > 4) {
        hl_register_error(0, "viewport_parse_margin: Unable to parse '%s' - too many arguments.\n", value);
        strfreewords(argc, argv);
        return -1;
    }
    int m[4] = {0, 0, 0, 0};
    for (int i = 0; i < argc; i++) {
        char* end = nullptr;
        long v = strtol(argv[i], &end, 0);
        if (end == argv[i] || *end || v > max_margin || v < -max_margin) {
            hl_register_error(0, "viewport_parse_margin: Unable to parse '%s' for %s.\n", argv[i], names[i]);
            strfreewords(argc, argv);
            return -1;
        }
        m[i] = static_cast<int>(v);
    }
    strfreewords(argc, argv);
    int* fields[] = {&vp->mleft, &vp->mright, &vp->mbottom, &vp->mtop};
    for (int i = 0; i < 4; i++) {
        if (*fields[i] != m[i]) {
            *fields[i] = m[i];
            setChanged(spec);
        }
    }
    return 0;
}

char* printMargin(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    return printf_dup("%d %d %d %d", vp->mleft, vp->mright, vp->mbottom, vp->mtop);
}

// --- xleft, xright, ybottom, ytop ---
int parseLimit(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
               void* object_ptr)
{
    if (offset < 0 || offset > 3)
        return -1;
    VxViewport* vp = recordOf(paramRec);
    const bool is_x = offset == IX_XLEFT || offset == IX_XRIGHT;
    double v = VX_NULL_VALUE;
    if (!isEmptyText(value)) {
        const int mode = is_x ? vp->xmode : vp->ymode;
        if (mode == VX_SCALE_TIME) {
            v = timeparse(value);
            if (v == HL_TIME_NULL) {
                hl_register_error(0, "viewport_parse_limit: Unable to parse time '%s' for %s.\n", value, spec->name);
                return -1;
            }
        } else if (!parseNumber(value, &v)) {
            hl_register_error(0, "viewport_parse_limit: Unable to parse '%s' for %s.\n", value, spec->name);
            return -1;
        }
        if (!is_x && vp->map_tran == VX_MAP_MERC)
            v = VX_mercator_y(v);
    }
    double* fields[] = {&vp->spc_xleft, &vp->spc_xright, &vp->spc_ybottom, &vp->spc_ytop};
    if (*fields[offset] != v) {
        *fields[offset] = v;
        setChanged(spec);
        VXViewport* viewport = viewportOf(object_ptr);
        viewport->translateAndGain();
        viewport->setStale();
    }
    return 0;
}

char* printLimit(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxViewport* vp = recordOf(paramRec);
    const double fields[] = {vp->spc_xleft, vp->spc_xright, vp->spc_ybottom, vp->spc_ytop};
    if (offset < 0 || offset > 3)
        return strdup("Illegal offset value");
    double v = fields[offset];
    if (offset >= IX_YBOTTOM && vp->map_tran == VX_MAP_MERC && v != VX_NULL_VALUE)
        v = VX_mercator_lat(v);
    return printf_dup("%.15e", v);
}

// Split value into exactly n finite numbers; the messages name the proc,
// the key and the roles of the numbers.
int parseNumbers(const char* proc, const char* key, const char* value, int n, const char* const* roles,
                 const char* need, double* out)
{
    int argc = 0;
    char** argv = nullptr;
    if (strcutlist(value, &argc, &argv) < 0) {
        hl_register_error(0, "%s: Cannot parse %s '%s'\n", proc, key, value);
        return -1;
    }
    if (argc != n) {
        hl_register_error(0, "%s: Unable to parse '%s' - %s\n", proc, value, need);
        strfreewords(argc, argv);
        return -1;
    }
    for (int i = 0; i < n; i++) {
        if (!parseNumber(argv[i], &out[i])) {
            hl_register_error(0, "%s: Unable to parse '%s' for %s.\n", proc, argv[i], roles[i]);
            strfreewords(argc, argv);
            return -1;
        }
    }
    strfreewords(argc, argv);
    return 0;
}

// --- zoom ---
int parseZoom(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int, void* object_ptr)
{
    static const char* const roles[] = {"xw", "yw", "factor", "factor"};
    if (isEmptyText(value))
        return 0;
    double v[4];
    if (parseNumbers("viewport_parse_zoom", "zoom", value, 4, roles,
                     "Need 4 arguments (xw, yw, xfactor, yfactor).", v) < 0)
        return -1;
    viewportOf(object_ptr)->zoom(v[0], v[1], v[2], v[3]);
    setChanged(spec);
    return 0;
}

// --- center ---
int parseCenter(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int, void* object_ptr)
{
    static const char* const roles[] = {"xwc", "ywc"};
    if (isEmptyText(value))
        return 0;
    double v[2];
    if (parseNumbers("viewport_parse_center", "center", value, 2, roles, "Need 2 arguments (xwc, ywc).", v) < 0)
        return -1;
    viewportOf(object_ptr)->center(v[0], v[1]);
    setChanged(spec);
    return 0;
}

// --- xrange ---
int parseXrange(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int, void* object_ptr)
{
    if (isEmptyText(value))
        return 0;
    double range = 0.0;
    if (!parseNumber(value, &range)) {
        hl_register_error(0, "viewport_parse_xrange: Unable to parse '%s' for xrange.\n", value);
        return -1;
    }
    VxViewport* vp = recordOf(paramRec);
    // the midpoint of the specified limits, or of the view when they are unset
    double mid = vp->spc_xleft != VX_NULL_VALUE && vp->spc_xright != VX_NULL_VALUE
                     ? 0.5 * (vp->spc_xleft + vp->spc_xright)
                     : 0.5 * (vp->xleft + vp->xright);
    double left = mid - 0.5 * range, right = mid + 0.5 * range;
    if (left != vp->spc_xleft || right != vp->spc_xright) {
        vp->spc_xleft = left;
        vp->spc_xright = right;
        setChanged(spec);
        VXViewport* viewport = viewportOf(object_ptr);
        viewport->translateAndGain();
        viewport->setStale();
    }
    return 0;
}

// --- default_event_interaction ---
int parseEventInteraction(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int, void*)
{
    if (!value || !*value)
        return 0;
    VxViewport* vp = recordOf(paramRec);
    int v = 0;
    if (strcmp(value, "nowheel") == 0) {
        v = 2;
    } else if (HL_ParseBoolean(value, &v) < 0) {
        hl_register_error(0, "viewport_parse_eventinteraction: VX_ParseBoolean(%s) error.\n", value);
        return -1;
    }
    if (vp->default_event_processing != v) {
        vp->default_event_processing = v;
        setChanged(spec);
    }
    return 0;
}

HL_CustomOption opt_display = {parseDisplay, printDisplay, nullptr};
HL_CustomOption opt_translate = {parseTranslate, printTranslate, nullptr};
HL_CustomOption opt_gain = {parseGain, printGain, nullptr};
HL_CustomOption opt_map = {parseMap, printMap, nullptr};
HL_CustomOption opt_reference = {parseReference, printReference, nullptr};
HL_CustomOption opt_mode = {parseMode, printMode, nullptr};
HL_CustomOption opt_margin = {parseMargin, printMargin, nullptr};
HL_CustomOption opt_limit = {parseLimit, printLimit, nullptr};
HL_CustomOption opt_zoom = {parseZoom, nullptr, nullptr};
HL_CustomOption opt_center = {parseCenter, nullptr, nullptr};
HL_CustomOption opt_xrange = {parseXrange, nullptr, nullptr};
HL_CustomOption opt_event = {parseEventInteraction, nullptr, nullptr};

#define VP_OFFSET(field) static_cast<int>(offsetof(VxViewport, field))

// The viewport's keys.  Rows are applied in this order at construction, so
// "map" precedes the reference point.
HL_ConfigureSpec viewport_specs[] = {
    {"int", "width", "0", VP_OFFSET(spc_w), 0, nullptr},
    {"int", "height", "0", VP_OFFSET(spc_h), 0, nullptr},
    {"custom", "display_width", nullptr, IX_X, HL_SPEC_EXPLICIT, &opt_display},
    {"custom", "display_height", nullptr, IX_Y, HL_SPEC_EXPLICIT, &opt_display},
    {"int", "mleft", "0", VP_OFFSET(mleft), 0, nullptr},
    {"int", "mright", "0", VP_OFFSET(mright), 0, nullptr},
    {"int", "mbottom", "0", VP_OFFSET(mbottom), 0, nullptr},
    {"int", "mtop", "0", VP_OFFSET(mtop), 0, nullptr},
    {"custom", "xtranslate", "0", IX_X, 0, &opt_translate},
    {"custom", "ytranslate", "0", IX_Y, 0, &opt_translate},
    {"custom", "xgain", "1.0", IX_X, 0, &opt_gain},
    {"custom", "ygain", "1.0", IX_Y, 0, &opt_gain},
    {"int", "xgain_anchor", "0", VP_OFFSET(xgain_anchor), 0, nullptr},
    {"int", "ygain_anchor", "0", VP_OFFSET(ygain_anchor), 0, nullptr},
    {"custom", "map", "none", 0, 0, &opt_map},
    {"custom", "latr", "0.0", IX_LATR, 0, &opt_reference},
    {"custom", "lonr", "0.0", IX_LONR, 0, &opt_reference},
    {"custom", "latl", "-999.0", IX_LATL, 0, &opt_reference},
    {"custom", "lonl", "0.0", IX_LONL, 0, &opt_reference},
    {"double", "range", "40.0", VP_OFFSET(range), 0, nullptr},
    {"double", "opacity", "1.0", VP_OFFSET(opacity), 0, nullptr},
    {"custom", "xmode", "lin", IX_X, 0, &opt_mode},
    {"custom", "ymode", "lin", IX_Y, 0, &opt_mode},
    {"custom", "margin", nullptr, 0, HL_SPEC_EXPLICIT, &opt_margin},
    {"custom", "xleft", nullptr, IX_XLEFT, 0, &opt_limit},
    {"custom", "xright", nullptr, IX_XRIGHT, 0, &opt_limit},
    {"custom", "ybottom", nullptr, IX_YBOTTOM, 0, &opt_limit},
    {"custom", "ytop", nullptr, IX_YTOP, 0, &opt_limit},
    {"boolean", "preserve_xscale", "0", VP_OFFSET(preserve_xscale), 0, nullptr},
    {"boolean", "preserve_yscale", "0", VP_OFFSET(preserve_yscale), 0, nullptr},
    {"double", "xscale_anchor", "0.5", VP_OFFSET(xscale_anchor), 0, nullptr},
    {"double", "yscale_anchor", "0.5", VP_OFFSET(yscale_anchor), 0, nullptr},
    {"custom", "zoom", nullptr, 0, 0, &opt_zoom},
    {"custom", "center", nullptr, 0, 0, &opt_center},
    {"double", "constant_aspect", "0.0", VP_OFFSET(constant_aspect), 0, nullptr},
    {"boolean", "center_yscale", "0", VP_OFFSET(center_yscale), 0, nullptr},
    {"custom", "xrange", nullptr, 0, 0, &opt_xrange},
    {"custom", "default_event_interaction", "1", 0, 0, &opt_event},
    {"boolean", "ml", "1", VP_OFFSET(make_logo), 0, nullptr},
    {"color", "fill", nullptr, VP_OFFSET(background), 0, nullptr},
    {"color", "fill_frame", nullptr, VP_OFFSET(background_frame), 0, nullptr},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef VP_OFFSET

} // namespace

VXViewport::VXViewport(QWidget* parent_widget, int make_parent_layout, int make_logo)
    : QWidget(parent_widget), VXViewportItem(this, this, QStringLiteral("VXViewport"), 0)
{
    vars.display_list.insert(0, this);
    vars.make_logo = make_logo;
    vars.parent = parent_widget;
    vars.debug = vxplot_debug;
    vars.cursor_opacity = 128;
    vars.viewport_name = QString::asprintf("vp%4.4d", viewport_next_instance);
    item_name = vars.viewport_name;
    viewport_next_instance++;
    liveViewports().append(this);
    VX_InstallMessageHandler();
    if (make_parent_layout && parent_widget && !parent_widget->layout()) {
        QGridLayout* grid = new QGridLayout(parent_widget);
        grid->setSpacing(0);
        grid->setContentsMargins(0, 0, 0, 0);
        grid->addWidget(this, 0, 0);
        vars.layout_parent = grid;
    }
    init();
}

void VXViewport::init()
{
    vars.xmin = vars.xmax = vars.ymin = vars.ymax = VX_NULL_VALUE;
    vars.spc_xleft = vars.spc_xright = vars.spc_ybottom = vars.spc_ytop = VX_NULL_VALUE;
    vars.xleft = vars.xright = vars.ybottom = vars.ytop = VX_NULL_VALUE;
    vars.xmode = vars.ymode = VX_SCALE_LIN;
    vars.qevent_state = 1;
    setDefaultCursor(0);
    // the table's "ml" default must not override what the constructor was
    // asked for
    const int make_logo = vars.make_logo;
    setConfigureSpecs(viewport_specs, reinterpret_cast<char*>(&vars), "VXViewport", static_cast<VXConfigure*>(this),
                      1);
    vars.make_logo = make_logo;
    vars.layout = new QGridLayout(this);
    vars.layout->setSpacing(0);
    vars.layout->setContentsMargins(0, 0, 0, 0);
    raise();
    setAutoFillBackground(false);
}

VXViewport::~VXViewport()
{
    liveViewports().removeAll(this);
    delete vars.resize_event;
    vars.resize_event = nullptr;
    VXLogo* logo = vars.logo;
    vars.logo = nullptr;
    delete logo;
    // the layers made for this viewport live and die with it
    QList<VXLayer*> own;
    for (VXLayer* layer : std::as_const(VXLayer::layers))
        if (layer && layer->viewport_parent == this)
            own.append(layer);
    for (VXViewportItem* item : std::as_const(vars.display_list)) {
        VXLayer* layer = dynamic_cast<VXLayer*>(item);
        if (layer && layer->viewport_parent == this && !own.contains(layer))
            own.append(layer);
    }
    for (VXLayer* layer : std::as_const(own))
        delete layer;
    // the other items belong to their makers: detach them
    for (VXViewportItem* item : std::as_const(vars.display_list))
        if (item != static_cast<VXViewportItem*>(this) && item->viewport_parent == this)
            item->viewport_parent = nullptr;
    vars.display_list.clear();
    vars.item_grab = nullptr;
}

void VXViewport::registerItem(VXViewportItem* item)
{
    if (!item || vars.display_list.contains(item))
        return;
    if (item->widget && item->widget != this && vars.layout)
        vars.layout->addWidget(item->widget, 0, 0, 1, 1);
    vars.display_list.append(item);
}

void VXViewport::deregisterItem(VXViewportItem* item)
{
    if (vars.display_list.isEmpty() || !vars.display_list.contains(item))
        return;
    if (item->widget && item->widget != this && vars.layout)
        vars.layout->removeWidget(item->widget);
    vars.display_list.removeOne(item);
    if (vars.item_grab == item)
        vars.item_grab = nullptr;
}

void VXViewport::removeItemEverywhere(VXViewportItem* item)
{
    for (VXViewport* vp : std::as_const(liveViewports())) {
        vp->vars.display_list.removeAll(item);
        if (vp->vars.item_grab == item)
            vp->vars.item_grab = nullptr;
    }
}

void VXViewport::removeItem(VXViewportItem* item)
{
    vars.display_list.removeOne(item);
}

void VXViewport::addItemAfter(VXViewportItem* item, VXViewportItem* after_item)
{
    qsizetype i = vars.display_list.indexOf(after_item);
    if (i < 0)
        return;
    vars.display_list.insert(i + 1, item);
}

void VXViewport::moveItemAfter(VXViewportItem* item, VXViewportItem* after_item)
{
    vars.display_list.removeOne(item);
    addItemAfter(item, after_item);
}

void VXViewport::moveItemToTop(VXViewportItem* item)
{
    vars.display_list.removeOne(item);
    vars.display_list.append(item);
}

void VXViewport::moveItemToBottom(VXViewportItem* item)
{
    vars.display_list.removeOne(item);
    vars.display_list.insert(0, item);
}

void VXViewport::showDisplayList(const char* prefix)
{
    if (prefix)
        printf("%s", prefix);
    printf("VXViewport::showDisplayList: ");
    for (qsizetype i = 0; i < vars.display_list.size(); i++) {
        VXViewportItem* item = vars.display_list[i];
        QString names;
        item->showNames(&names, nullptr);
        printf("%s0x%lx %s %d %d", i ? ", " : "", reinterpret_cast<unsigned long>(item), names.toUtf8().constData(),
               item->item_display_pvt, item->item_process_pvt);
    }
    printf("\n");
    fflush(stdout);
}

void VXViewport::setDefaultCursor(int force)
{
    static QCursor* cursor = nullptr;
    if (!cursor || force) {
        QPixmap pixmap(31, 31);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setPen(QColor(QString::asprintf("#%2.2x000000", vars.cursor_opacity)));
        painter.drawLine(0, 15, 30, 15);
        painter.drawLine(15, 0, 15, 30);
        painter.setPen(QColor(QString::asprintf("#%2.2xffffff", vars.cursor_opacity)));
        painter.drawLine(0, 14, 14, 14);
        painter.drawLine(16, 14, 30, 14);
        painter.drawLine(0, 16, 14, 16);
        painter.drawLine(16, 16, 30, 16);
        painter.drawLine(14, 0, 14, 13);
        painter.drawLine(14, 17, 14, 30);
        painter.drawLine(16, 0, 16, 13);
        painter.drawLine(16, 17, 16, 30);
        painter.end();
        delete cursor;
        cursor = new QCursor(pixmap, -1, -1);
    }
    setCursor(*cursor);
}
