// VXAxes: the table of keys, their custom parsers, and the drawing order.
#include "items/axes.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "viewport/layerpan_p.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {

void setChanged(HL_ConfigureSpec* spec)
{
    spec->specFlags |= HL_SPEC_CHANGED;
}

bool isBlank(const char* value)
{
    if (!value)
        return true;
    for (const char* p = value; *p; p++)
        if (*p != ' ' && *p != '\t' && *p != '\n' && *p != '\r')
            return false;
    return true;
}

// The fields each selector of the width family sets; a null second field
// means the key sets one axis only.
struct WidthFields
{
    size_t first;
    size_t second;
    bool both;
};

const WidthFields width_fields[] = {
    {offsetof(VxAxes, xwidth_big), offsetof(VxAxes, ywidth_big), true},              // linewidth_tics
    {offsetof(VxAxes, xwidth_sml), offsetof(VxAxes, ywidth_sml), true},              // linewidth_tics_small
    {offsetof(VxAxes, xwidth_big), 0, false},                                        // linewidth_tics_x
    {offsetof(VxAxes, ywidth_big), 0, false},                                        // linewidth_tics_y
    {offsetof(VxAxes, xwidth_sml), 0, false},                                        // linewidth_tics_x_small
    {offsetof(VxAxes, ywidth_sml), 0, false},                                        // linewidth_tics_y_small
    {offsetof(VxAxes, xwidth_big_grids), offsetof(VxAxes, ywidth_big_grids), true},  // linewidth_grids
    {offsetof(VxAxes, xwidth_sml_grids), offsetof(VxAxes, ywidth_sml_grids), true},  // linewidth_grids_small
    {offsetof(VxAxes, xwidth_big_grids), 0, false},                                  // linewidth_grids_x
    {offsetof(VxAxes, ywidth_big_grids), 0, false},                                  // linewidth_grids_y
    {offsetof(VxAxes, xwidth_sml_grids), 0, false},                                  // linewidth_grids_x_small
    {offsetof(VxAxes, ywidth_sml_grids), 0, false},                                  // linewidth_grids_y_small
};
constexpr int n_width_fields = int(sizeof width_fields / sizeof width_fields[0]);

struct LengthFields
{
    size_t first;
    size_t second;
    bool both;
};

const LengthFields length_fields[] = {
    {offsetof(VxAxes, xticlength_big), offsetof(VxAxes, yticlength_big), true},  // length_tics
    {offsetof(VxAxes, xticlength_sml), offsetof(VxAxes, yticlength_sml), true},  // length_tics_small
    {offsetof(VxAxes, xticlength_big), 0, false},                                // length_tics_x
    {offsetof(VxAxes, yticlength_big), 0, false},                                // length_tics_y
    {offsetof(VxAxes, xticlength_sml), 0, false},                                // length_tics_x_small
    {offsetof(VxAxes, yticlength_sml), 0, false},                                // length_tics_y_small
};
constexpr int n_length_fields = int(sizeof length_fields / sizeof length_fields[0]);

struct ColorFields
{
    size_t first;
    size_t second;
    bool both;
};

const ColorFields color_fields[] = {
    {offsetof(VxAxes, color_grids_x), offsetof(VxAxes, color_grids_y), true},              // color_grids
    {offsetof(VxAxes, color_grids_x_small), offsetof(VxAxes, color_grids_y_small), true},  // color_grids_small
    {offsetof(VxAxes, color_grids_x), 0, false},                                           // color_grids_x
    {offsetof(VxAxes, color_grids_y), 0, false},                                           // color_grids_y
    {offsetof(VxAxes, color_grids_x_small), 0, false},                                     // color_grids_x_small
    {offsetof(VxAxes, color_grids_y_small), 0, false},                                     // color_grids_y_small
};
constexpr int n_color_fields = int(sizeof color_fields / sizeof color_fields[0]);

template <typename T>
T* fieldAt(char* paramRec, size_t offset)
{
    return reinterpret_cast<T*>(paramRec + offset);
}

// A width: strtol base 0 over the whole text; empty or absent text is -1.
int axes_parse_linewidth(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                         void*)
{
    if (offset < 0 || offset >= n_width_fields) {
        hl_register_error(0, "axes_parse_linewidth: Illegal offset value %d\n", offset);
        return -1;
    }
    long width = -1;
    if (!isBlank(value)) {
        char* end = nullptr;
        errno = 0;
        width = strtol(value, &end, 0);
        while (end && (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r'))
            end++;
        if (end == value || !end || *end != '\0' || errno == ERANGE || width < INT_MIN || width > INT_MAX) {
            hl_register_error(0, "axes_parse_linewidth: Illegal linewidth value %s\n", value);
            return -1;
        }
    }
    const WidthFields& f = width_fields[offset];
    int* a = fieldAt<int>(paramRec, f.first);
    int* b = f.both ? fieldAt<int>(paramRec, f.second) : nullptr;
    if (*a != int(width) || (b && *b != int(width)))
        setChanged(spec);
    *a = int(width);
    if (b)
        *b = int(width);
    return 0;
}

char* axes_print_linewidth(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    if (offset < 0 || offset >= n_width_fields)
        return strdup("Illegal offset value");
    char text[32];
    snprintf(text, sizeof text, "%d", *fieldAt<int>(paramRec, width_fields[offset].first));
    return strdup(text);
}

// A tic length in pixels; empty text leaves the length as it is.
int axes_parse_ticlength(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                         void*)
{
    if (offset < 0 || offset >= n_length_fields) {
        hl_register_error(0, "axes_parse_ticlength: Illegal offset value %d\n", offset);
        return -1;
    }
    if (isBlank(value))
        return 0;
    char* end = nullptr;
    const double length = fixed_strtod(value, &end);
    while (end && (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r'))
        end++;
    if (end == value || !end || *end != '\0' || !std::isfinite(length)) {
        // the small-tics key has its own wording
        if (offset == 1)
            hl_register_error(0, "axes_parse_ticlength: Illegal ticlengthidth value %s\n", value);
        else
            hl_register_error(0, "axes_parse_ticlength: Illegal ticlength value %s\n", value);
        return -1;
    }
    const LengthFields& f = length_fields[offset];
    double* a = fieldAt<double>(paramRec, f.first);
    double* b = f.both ? fieldAt<double>(paramRec, f.second) : nullptr;
    if (*a != length || (b && *b != length))
        setChanged(spec);
    *a = length;
    if (b)
        *b = length;
    return 0;
}

char* axes_print_ticlength(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    if (offset < 0 || offset >= n_length_fields)
        return strdup("Illegal offset value");
    char text[40];
    snprintf(text, sizeof text, "%.15g", *fieldAt<double>(paramRec, length_fields[offset].first));
    return strdup(text);
}

// A grid colour; a bad text leaves the colours as they were.
int axes_parse_colorgrids(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                          void*)
{
    if (offset < 0 || offset >= n_color_fields) {
        hl_register_error(0, "axes_parse_colorgrids: Illegal offset value %d\n", offset);
        return -1;
    }
    const ColorFields& f = color_fields[offset];
    VX_Color* a = fieldAt<VX_Color>(paramRec, f.first);
    VX_Color* b = f.both ? fieldAt<VX_Color>(paramRec, f.second) : nullptr;
    VX_Color parsed = *a;
    if (VX_ParseColor(QString::fromUtf8(value ? value : ""), parsed) < 0) {
        hl_register_error(0, "axes_parse_colorgrids: VX_ParseColor() error.\n");
        return -1;
    }
    if (VX_Strcmp(parsed.color_name, a->color_name) != 0 || parsed.color != a->color
        || (b && (VX_Strcmp(parsed.color_name, b->color_name) != 0 || parsed.color != b->color)))
        setChanged(spec);
    *a = parsed;
    if (b)
        *b = parsed;
    return 0;
}

char* axes_print_colorgrids(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    if (offset < 0 || offset >= n_color_fields)
        return strdup("Illegal offset value");
    return strdup(fieldAt<VX_Color>(paramRec, color_fields[offset].first)->color_name.toUtf8().constData());
}

HL_CustomOption opt_linewidth = {axes_parse_linewidth, axes_print_linewidth, nullptr};
HL_CustomOption opt_ticlength = {axes_parse_ticlength, axes_print_ticlength, nullptr};
HL_CustomOption opt_colorgrids = {axes_parse_colorgrids, axes_print_colorgrids, nullptr};

#define AX_OFFSET(field) static_cast<int>(offsetof(VxAxes, field))

// Rows are applied in this order at construction: the keys of both axes
// come before those of one axis.
HL_ConfigureSpec axes_specs[] = {
    {"boolean", "xvisible_tics", "1", AX_OFFSET(xvisible_tics), 0, nullptr},
    {"boolean", "yvisible_tics", "1", AX_OFFSET(yvisible_tics), 0, nullptr},
    {"color", "color_labels", "black", AX_OFFSET(foreground_labels), 0, nullptr},
    {"color", "color_numbers", "black", AX_OFFSET(foreground_numbers), 0, nullptr},
    {"color", "color_axes", "black", AX_OFFSET(foreground_axes), 0, nullptr},
    {"font", "font_labels", "Helvetica,16", AX_OFFSET(font_labels), 0, nullptr},
    {"font", "font_numbers", "Helvetica,12", AX_OFFSET(font_numbers), 0, nullptr},
    {"font", "font_numbers_superscripts", "Helvetica,8", AX_OFFSET(font_supers), 0, nullptr},
    {"int", "linewidth_box", "1", AX_OFFSET(boxwidth), 0, nullptr},
    {"int", "linewidth_time_axis", "1", AX_OFFSET(xtimewidth), 0, nullptr},
    {"color", "color_time_axis", "black", AX_OFFSET(x_time_axes), 0, nullptr},
    {"custom", "linewidth_tics", "1", 0, 0, &opt_linewidth},
    {"custom", "linewidth_tics_small", "0", 1, 0, &opt_linewidth},
    {"custom", "length_tics", "10", 0, 0, &opt_ticlength},
    {"custom", "length_tics_small", "5", 1, 0, &opt_ticlength},
    {"custom", "linewidth_tics_x", "1", 2, 0, &opt_linewidth},
    {"custom", "linewidth_tics_y", "1", 3, 0, &opt_linewidth},
    {"custom", "linewidth_tics_x_small", "0", 4, 0, &opt_linewidth},
    {"custom", "linewidth_tics_y_small", "0", 5, 0, &opt_linewidth},
    {"custom", "length_tics_x", "10", 2, 0, &opt_ticlength},
    {"custom", "length_tics_y", "10", 3, 0, &opt_ticlength},
    {"custom", "length_tics_x_small", "5", 4, 0, &opt_ticlength},
    {"custom", "length_tics_y_small", "5", 5, 0, &opt_ticlength},
    {"int", "mindx", "200", AX_OFFSET(mindx), 0, nullptr},
    {"int", "mindy", "100", AX_OFFSET(mindy), 0, nullptr},
    {"double", "xincrement", "0.0", AX_OFFSET(xincr_num), 0, nullptr},
    {"double", "xincrement_small", "0.0", AX_OFFSET(xincr_sml), 0, nullptr},
    {"double", "yincrement", "0.0", AX_OFFSET(yincr_num), 0, nullptr},
    {"double", "yincrement_small", "0.0", AX_OFFSET(yincr_sml), 0, nullptr},
    {"string", "xlabel", "", AX_OFFSET(x_label), 0, nullptr},
    {"string", "ylabel", "", AX_OFFSET(y_label), 0, nullptr},
    {"string", "xformat", "auto", AX_OFFSET(x_format), 0, nullptr},
    {"string", "yformat", "auto", AX_OFFSET(y_format), 0, nullptr},
    {"string", "axis_style", "nsew", AX_OFFSET(axis_style), 0, nullptr},
    {"string", "tic_style", "nisieiwi", AX_OFFSET(tic_style), 0, nullptr},
    {"string", "time_format", "%T", AX_OFFSET(x_time_format), 0, nullptr},
    {"string", "date_format", "%G", AX_OFFSET(x_date_format), 0, nullptr},
    {"boolean", "xvisible_grids", "0", AX_OFFSET(xvisible_grids), 0, nullptr},
    {"boolean", "yvisible_grids", "0", AX_OFFSET(yvisible_grids), 0, nullptr},
    {"custom", "color_grids", "gray", 0, 0, &opt_colorgrids},
    {"custom", "color_grids_small", nullptr, 1, 0, &opt_colorgrids},
    {"custom", "color_grids_x", "gray", 2, 0, &opt_colorgrids},
    {"custom", "color_grids_y", "gray", 3, 0, &opt_colorgrids},
    {"custom", "color_grids_x_small", "lightgray", 4, 0, &opt_colorgrids},
    {"custom", "color_grids_y_small", "lightgray", 5, 0, &opt_colorgrids},
    {"custom", "linewidth_grids", "1", 6, 0, &opt_linewidth},
    {"custom", "linewidth_grids_small", "-1", 7, 0, &opt_linewidth},
    {"custom", "linewidth_grids_x", "1", 8, 0, &opt_linewidth},
    {"custom", "linewidth_grids_y", "1", 9, 0, &opt_linewidth},
    {"custom", "linewidth_grids_x_small", "-1", 10, 0, &opt_linewidth},
    {"custom", "linewidth_grids_y_small", "-1", 11, 0, &opt_linewidth},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef AX_OFFSET

} // namespace

VXAxes::VXAxes(VXViewport* master) : VXViewportItem(master, nullptr, QStringLiteral("VXAxes"), 1)
{
    init();
}

VXAxes::~VXAxes()
{
    releaseConfigureStrings();
}

void VXAxes::init()
{
    vars.xwidth_big = vars.ywidth_big = 1;
    vars.xwidth_sml = vars.ywidth_sml = 0;
    vars.xticlength_big = vars.yticlength_big = 10.0;
    vars.xticlength_sml = vars.yticlength_sml = 5.0;
    vars.style = int(Qt::SolidLine);
    setConfigureSpecs(axes_specs, reinterpret_cast<char*>(&vars), "VXAxes", static_cast<VXConfigure*>(this), 1);
}

int VXAxes::processEvent(int, QEvent*)
{
    return 1;
}

int VXAxes::drawViewportItem(QPainter* painter)
{
    return draw(painter);
}

void VXAxes::setVisibility() {}

int VXAxes::draw(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !painter)
        return 0;
    int w = 0, h = 0;
    double xstart = 0, xend = 0, xscale = 0, ystart = 0, yend = 0, yscale = 0;
    if (vp->getScales(&w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale) < 0)
        return 0;
    const bool map = vp->vars.map_tran == VX_MAP_EDP || vp->vars.map_tran == VX_MAP_GLOBE;

    drawGrids(painter);
    drawBox(w, h, painter);
    if (!map)
        drawTics(w, h, painter);

    drawXLabel(painter);
    if (!map) {
        if (vars.x_format && strcmp(vars.x_format, "time") == 0)
            vp->drawXTimeAxis(painter, &vars.font_numbers, &vars.x_time_axes, vars.xtimewidth, 1,
                              &vars.foreground_numbers, vars.x_time_format, vars.x_date_format);
        else
            drawXTicLabels(painter, w, xstart, xscale);
    }
    drawYLabel(painter);
    if (!map)
        drawYTicLabels(painter, h, ystart, yscale);
    return 1;
}

void VXAxes::drawGrids(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    const int tran = vp->vars.map_tran;
    // the graticule of a flat map is the costly part of a pan frame; the
    // box, tics and labels stay where they are and are drawn as always
    if ((tran == VX_MAP_GEOG || tran == VX_MAP_MERC) && VXLayerPan::panning(vp->vars)) {
        if (!grid_pan)
            grid_pan = std::make_unique<VXLayerPan>();
        auto lines = [this](QPainter* p) {
            if (!drawGridLinesInStrips(p))
                drawGridLines(p);
            return 1;
        };
        if (grid_pan->compose(painter, vp, antialias, lines) >= 0)
            return;
    }
    grid_pan.reset();
    drawGridLines(painter);
}

void VXAxes::drawGridLines(QPainter* painter)
{
    drawGridLinesX(painter);
    drawGridLinesY(painter);
}

void VXAxes::drawGridLinesX(QPainter* painter)
{
    // a grid line is a tic across the whole plot
    drawXaxisStuff(painter, &vars.color_grids_x, vars.xwidth_big_grids, vars.style, vars.xincr_num, 0.0, 1.0,
                   &vars.color_grids_x_small, vars.xwidth_sml_grids, vars.style, vars.xincr_sml, 0.0, 1.0,
                   vars.mindx);
}

void VXAxes::drawGridLinesY(QPainter* painter)
{
    drawYaxisStuff(painter, &vars.color_grids_y, vars.ywidth_big_grids, vars.style, vars.yincr_num, 0.0, 1.0,
                   &vars.color_grids_y_small, vars.ywidth_sml_grids, vars.style, vars.yincr_sml, 0.0, 1.0,
                   vars.mindy);
}

void VXAxes::drawBox(int w, int h, QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!vp || vars.boxwidth < 0 || w <= 0 || h <= 0)
        return;
    const char* sides = vars.axis_style ? vars.axis_style : "";
    VX_setup_line(painter, &vars.foreground_axes, vars.boxwidth, vars.style, -1, -1);
    // half a line outward, so that the sides meet at the corners
    const double dx = 0.5 * vars.boxwidth / w, dy = 0.5 * vars.boxwidth / h;
    struct Side
    {
        char letter;
        double x1, y1, x2, y2;
    };
    const Side all[] = {
        {'n', -dx, 1.0 + dy, 1.0 + dx, 1.0 + dy},
        {'s', -dx, -dy, 1.0 + dx, -dy},
        {'e', 1.0 + dx, -dy, 1.0 + dx, 1.0 + dy},
        {'w', -dx, -dy, -dx, 1.0 + dy},
    };
    for (const Side& s : all) {
        if (!strchr(sides, s.letter))
            continue;
        vp->bufferDraws(painter, 0, 0, w, h, s.x1, s.y1, s.x2, s.y2);
        vp->bufferDraws(painter, 0, 1, w, h, 0, 0, 0, 0);
    }
}
