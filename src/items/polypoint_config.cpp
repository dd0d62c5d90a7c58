// The configuration table of VXPolypoint: sources, the modify_point family
// and the default keys.
#include "items/polypoint.h"

#include "glyphs/glyph.h"
#include "items/itemvalues_p.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hlvector.h"
#include "toolkit/base/strings.h"

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using vxitems::parseNumber;
using vxitems::parsePointer;

enum {
    opt_vector,
    opt_vxxy,
    opt_points,
    opt_vxxyl,
    opt_symbol,
    opt_points_free,
    opt_modify_point,
    opt_modify_point_xy,
    opt_modify_point_x,
    opt_modify_point_y,
    opt_modify_point_gc,
    opt_color_fill,
    opt_color_fill_node,
    opt_color_text,
    opt_color_outline_text,
    opt_color_fill_text,
    opt_color_outline,
    opt_font,
    opt_linewidth,
    opt_linewidth_node,
    opt_opacity,
    opt_linestylec1,
    opt_linestylec2,
    opt_linestyle,
    opt_joinstyle,
    opt_capstyle,
    opt_size,
    opt_xmode,
    opt_ymode,
    opt_xgain,
    opt_ygain,
    opt_label_anchor,
    opt_shape_label_anchor,
    opt_interaction,
    opt_selection_size,
    opt_selection_opacity,
};

// The default keys that set one item of the contexts: item name, type,
// and the field keeping the text for the printer.
struct GcKey
{
    int option;
    const char* item;
    int type;
    QString VxPolypoint::*name;
};

const GcKey gc_keys[] = {
    {opt_color_fill, "default:color_fill", VX_GC_BRUSH_COLOR, &VxPolypoint::color_fill_name_default},
    {opt_color_fill_node, "defaultbb:color_fill_node", VX_GC_BRUSH_COLOR, &VxPolypoint::color_fill_node_name_default},
    {opt_color_text, "defaultlabel:color_text", VX_GC_PEN_COLOR, &VxPolypoint::color_text_name_default},
    {opt_color_outline_text, "defaultlabelbackground:color_outline_text", VX_GC_PEN_COLOR,
     &VxPolypoint::color_outline_text_name_default},
    {opt_color_fill_text, "defaultlabelbackground:color_fill_text", VX_GC_BRUSH_COLOR,
     &VxPolypoint::color_fill_text_name_default},
    {opt_color_outline, "default:color_outline", VX_GC_PEN_COLOR, &VxPolypoint::color_outline_name_default},
    {opt_font, "defaultlabel:font", VX_GC_FONT, &VxPolypoint::font_name_default},
    {opt_linewidth, "default:linewidth", VX_GC_PEN_WIDTHF, &VxPolypoint::linewidth_name_default},
    {opt_linewidth_node, "defaultbb:linewidth_node", VX_GC_PEN_WIDTHF, &VxPolypoint::linewidth_node_name_default},
    {opt_opacity, "default:opacity", VX_GC_OPACITY, &VxPolypoint::opacity_name_default},
    {opt_linestyle, "default:linestyle", VX_GC_PEN_STYLE, &VxPolypoint::linestyle_name_default},
    {opt_joinstyle, "default:joinstyle", VX_GC_PEN_JOIN, &VxPolypoint::joinstyle_name_default},
    {opt_capstyle, "default:capstyle", VX_GC_PEN_CAP, &VxPolypoint::capstyle_name_default},
};

const char* const anchor_words[][2] = {
    {"c", "c"}, {"sw", "sw"}, {"sc", "s"}, {"s", "s"}, {"se", "se"}, {"ec", "e"}, {"e", "e"},
    {"ne", "ne"}, {"nc", "n"}, {"n", "n"}, {"nw", "nw"}, {"wc", "w"}, {"w", "w"},
};

VXPolypoint* polypointOf(void* object_ptr)
{
    return static_cast<VXPolypoint*>(static_cast<VXConfigure*>(object_ptr));
}

// The anchor number of VX_AnchorName() for an anchor word; -1 for others.
int anchorNumber(const char* word)
{
    static const char* const names[] = {"sw", "s", "se", "e", "c", "ne", "n", "nw", "w"};
    for (const auto& pair : anchor_words)
        if (!strcmp(word, pair[0]))
            for (int i = 0; i < 9; i++)
                if (!strcmp(pair[1], names[i]))
                    return i;
    return -1;
}

// Set one item of the defaults from text; the text is kept for the
// printer.  0, or -1 with the context's line registered and nothing changed.
int setGcKey(VXPolypoint* p, const GcKey& key, const char* text)
{
    const QString value = QString::fromUtf8(text);
    const QString name = QString::fromLatin1(key.item);
    VxGraphicsContextItem item;
    if (key.type == VX_GC_FONT) {
        VX_Font font;
        if (VX_ParseFont(value, font) < 0)
            return -1;
        item = p->gc.setGcItem(name, VX_GC_FONT, font.font, 1);
    } else if (value.isEmpty() && (key.type == VX_GC_BRUSH_COLOR || key.type == VX_GC_PEN_COLOR)) {
        // an empty colour unsets: no fill, or no line
        item = p->gc.setGcItem(name, key.type == VX_GC_BRUSH_COLOR ? VX_GC_NO_BRUSH : VX_GC_NO_PEN, nullptr, 1);
    } else {
        item = p->gc.setGcItem(name, key.type, value, 1);
    }
    if (!item)
        return -1;
    p->vars.*key.name = value;
    if (key.option == opt_linewidth || key.option == opt_linewidth_node || key.option == opt_opacity) {
        double v = 0.0;
        if (VXGraphicsContext::getValue(item, &v) == 0) {
            double& field = key.option == opt_linewidth ? p->vars.linewidth_value_default
                            : key.option == opt_linewidth_node ? p->vars.linewidth_node_value_default
                                                               : p->vars.opacity_value_default;
            field = v;
        } else {
            hl_clear_register(0);
        }
    }
    return 0;
}

// The modify_point family: "index ..." entries.  want names the fields
// after the index: 'a' x y label, 'b' x y, 'x' x, 'y' y, 'g' attributes.
int modifyPoint(VXPolypoint* p, const char* parser, const char* text, char want)
{
    const char* s = text;
    while (*s == ' ' || *s == '\t')
        s++;
    char* end = nullptr;
    errno = 0;
    const long index = strtol(s, &end, 10);
    if (end == s || (*end != '\0' && *end != ' ' && *end != '\t') || errno == ERANGE) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: error parsing '%s'.\n", parser, text);
        return -1;
    }
    const char* rest = end;
    VX_XYL point;
    if (want == 'a' || want == 'b') {
        int ignored = 0;
        if (polypoint_parse_point(text, point, &ignored, want == 'a') < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "%s: error parsing '%s'.\n", parser, text);
            return -1;
        }
    } else if (want == 'x' || want == 'y') {
        double v = 0.0;
        if (!parseNumber(rest, &v)) {
            hl_register_error(HL_SEVERITY_NORMAL, "%s: error parsing '%s'.\n", parser, text);
            return -1;
        }
        point.x = point.y = v;
    }
    if (index < 0 || index >= p->count()) {
        if (want == 'x')
            hl_register_error(HL_SEVERITY_NORMAL, "%s: index %ld out of range.\n", parser, index);
        else
            hl_register_error(HL_SEVERITY_NORMAL, "%s: index out of range.\n", parser);
        return -1;
    }
    VXGlyph* g = p->glyph(static_cast<int>(index));
    double x = 0.0, y = 0.0;
    g->getPosition(&x, &y);
    switch (want) {
    case 'a':
        if (p->parseLabel(point.label, g, 0) < 0)
            return -1;
        g->setPosition(point.x, point.y);
        break;
    case 'b': g->setPosition(point.x, point.y); break;
    case 'x': g->setPosition(point.x, y); break;
    case 'y': g->setPosition(x, point.y); break;
    case 'g':
        if (p->parseLabel(QString::fromUtf8(rest).trimmed(), g, 1) < 0)
            return -1;
        break;
    }
    return 0;
}

// Entries of the points text, one a line; all or none are added.
int addPointsText(VXPolypoint* p, const char* text)
{
    QList<VX_XYL> points;
    const QList<QByteArray> lines = QByteArray(text).split('\n');
    for (QByteArray line : lines) {
        if (line.endsWith('\r'))
            line.chop(1);
        if (line.trimmed().isEmpty())
            continue;
        if (points.size() >= VX_POLYPOINT_MAX_POINTS) {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_points: too many points.\n");
            return -1;
        }
        VX_XYL point;
        if (polypoint_parse_point(line.constData(), point, nullptr, 1) < 0)
            return -1;
        points.append(point);
    }
    return p->addPoints(points);
}

int addVector(VXPolypoint* p, const char* text)
{
    double *x = nullptr, *y = nullptr;
    int n = 0, xs = 0, ys = 0;
    if (hlvector_get_points(text, &x, &y, &n, &xs, &ys) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "polypoint_parse_vector: Cannot find hlvector corresponding to handle '%s'.\n", text);
        return -1;
    }
    QList<VX_XYL> points;
    if (n > VX_POLYPOINT_MAX_POINTS) {
        free(x);
        free(y);
        hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_vector: too many points (%d).\n", n);
        return -1;
    }
    points.reserve(n);
    for (int i = 0; i < n; i++) {
        VX_XYL point;
        point.x = x[i];
        point.y = y[i];
        points.append(point);
    }
    free(x);
    free(y);
    if (p->addPoints(points) < 0)
        return -1;
    free(p->vars.vechandle);
    p->vars.vechandle = strdup(text);
    return 0;
}

int parseOption(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char* paramRec, int offset,
                void* object_ptr)
{
    VXPolypoint* p = polypointOf(object_ptr);
    VxPolypoint* vars = reinterpret_cast<VxPolypoint*>(paramRec);
    const char* text = value ? value : "";
    int ret = 0;
    switch (offset) {
    case opt_vector:
        ret = addVector(p, text);
        break;
    case opt_vxxy:
    case opt_vxxyl: {
        void* ptr = nullptr;
        if (!parsePointer(value, &ptr)) {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_%s: bad pointer value '%s'.\n",
                              offset == opt_vxxy ? "vxxy" : "vxxyl", text);
            return -1;
        }
        if (!ptr)
            break;
        QList<VX_XYL> points;
        if (offset == opt_vxxy) {
            const auto* list = static_cast<const QList<VX_XY>*>(ptr);
            for (const VX_XY& xy : *list) {
                VX_XYL point;
                point.x = xy.x;
                point.y = xy.y;
                points.append(point);
            }
        } else {
            points = *static_cast<const QList<VX_XYL>*>(ptr);
        }
        ret = p->addPoints(points);
        break;
    }
    case opt_points:
        ret = addPointsText(p, text);
        break;
    case opt_points_free:
        p->clearPoints();
        break;
    case opt_symbol: {
        const QString word = QString::fromUtf8(text);
        const int symbol = polypoint_symbol_number(word);
        if (symbol < 0 || word == QLatin1String("vl") || word == QLatin1String("hl")) {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_symbol: Unrecognized symbol '%s'.\n", text);
            return -1;
        }
        vars->symbol_default = symbol;
        if (symbol < VX_SYMBOL_BEACHBALL)
            vars->points->setShapeDefault(symbol);
        break;
    }
    case opt_modify_point:
        ret = modifyPoint(p, "polypoint_parse_modify_point", text, 'a');
        break;
    case opt_modify_point_xy:
        ret = modifyPoint(p, "polypoint_parse_modify_point_xy", text, 'b');
        break;
    case opt_modify_point_x:
        ret = modifyPoint(p, "polypoint_parse_modify_point_x", text, 'x');
        break;
    case opt_modify_point_y:
        ret = modifyPoint(p, "polypoint_parse_modify_point_y", text, 'y');
        break;
    case opt_modify_point_gc:
        ret = modifyPoint(p, "polypoint_parse_modify_point_gc", text, 'g');
        break;
    case opt_linestylec1:
    case opt_linestylec2:
        // kept for the printer: the dash phases draw with their own styles
        (offset == opt_linestylec1 ? vars->linestylec1_name_default : vars->linestylec2_name_default) =
            QString::fromUtf8(text);
        break;
    case opt_size:
    case opt_xgain:
    case opt_ygain:
    case opt_selection_size:
    case opt_selection_opacity: {
        double v = 0.0;
        if (!parseNumber(text, &v)) {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_double: strtod(%s) error.\n", text);
            return -1;
        }
        double* field = offset == opt_size          ? &vars->size_default
                        : offset == opt_xgain       ? &vars->xgain
                        : offset == opt_ygain       ? &vars->ygain
                        : offset == opt_selection_size ? &vars->selection_size_increase_factor
                                                    : &vars->selection_opacity_reduction_factor;
        *field = v;
        break;
    }
    case opt_xmode:
    case opt_ymode: {
        int mode;
        if (!strcmp(text, "world"))
            mode = 0;
        else if (!strcmp(text, "viewport"))
            mode = 2;
        else {
            if (offset == opt_xmode)
                hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_xmode: unrecognized xmode value '%s'.\n", text);
            else
                hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_ymode: unrecognized ymode value '%s'.\n", text);
            return -1;
        }
        (offset == opt_xmode ? vars->xmode : vars->ymode) = mode;
        break;
    }
    case opt_label_anchor:
    case opt_shape_label_anchor: {
        const int anchor = anchorNumber(text);
        if (anchor < 0) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "polypoint_parse_label_anchor: unrecognized label_anchor value '%s'.\n", text);
            return -1;
        }
        (offset == opt_label_anchor ? vars->label_anchor : vars->shape_label_anchor) = anchor;
        break;
    }
    case opt_interaction: {
        int mode;
        if (!strcmp(text, "none"))
            mode = 0;
        else if (!strcmp(text, "show"))
            mode = 1;
        else if (!strcmp(text, "move"))
            mode = 3;
        else {
            hl_register_error(HL_SEVERITY_NORMAL, "polypoint_parse_interaction: Unrecognized interaction mode '%s'.\n",
                              text);
            return -1;
        }
        vars->interaction_mode = mode;
        break;
    }
    default: {
        const GcKey* key = nullptr;
        for (const GcKey& k : gc_keys)
            if (k.option == offset)
                key = &k;
        if (!key)
            return -1;
        ret = setGcKey(p, *key, text);
        break;
    }
    }
    if (ret < 0)
        return -1;
    p->setGlyphs();
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

char* printOption(HL_ConfigureSpec*, HL_ClientData, char* paramRec, int offset, void*)
{
    const VxPolypoint* vars = reinterpret_cast<const VxPolypoint*>(paramRec);
    char buf[64];
    auto number = [&](double v) {
        snprintf(buf, sizeof(buf), "%.17g", v);
        return strdup(buf);
    };
    static const char* const names[] = {"sw", "s", "se", "e", "c", "ne", "n", "nw", "w"};
    switch (offset) {
    case opt_vector:
        return strdup(vars->vechandle ? vars->vechandle : "");
    case opt_symbol: {
        static const char* const symbols[] = {"default", "point",  "cross", "x",       "triangle",
                                              "square",  "circle", "star",  "diamond", "beachball"};
        if (vars->symbol_default == VX_POLYPOINT_SYMBOL_VLINE)
            return strdup("vertical_line");
        if (vars->symbol_default == VX_POLYPOINT_SYMBOL_HLINE)
            return strdup("horizontal_line");
        return strdup(vars->symbol_default >= 0 && vars->symbol_default <= 9 ? symbols[vars->symbol_default] : "");
    }
    case opt_linestylec1:
        return strdup(vars->linestylec1_name_default.toUtf8().constData());
    case opt_linestylec2:
        return strdup(vars->linestylec2_name_default.toUtf8().constData());
    case opt_size: return number(vars->size_default);
    case opt_xgain: return number(vars->xgain);
    case opt_ygain: return number(vars->ygain);
    case opt_selection_size: return number(vars->selection_size_increase_factor);
    case opt_selection_opacity: return number(vars->selection_opacity_reduction_factor);
    case opt_xmode: return strdup(vars->xmode == 2 ? "viewport" : "world");
    case opt_ymode: return strdup(vars->ymode == 2 ? "viewport" : "world");
    case opt_label_anchor: return strdup(names[vars->label_anchor]);
    case opt_shape_label_anchor: return strdup(names[vars->shape_label_anchor]);
    case opt_interaction:
        return strdup(vars->interaction_mode == 1 ? "show" : vars->interaction_mode == 3 ? "move" : "none");
    default:
        for (const GcKey& k : gc_keys)
            if (k.option == offset)
                return strdup((vars->*k.name).toUtf8().constData());
        // sources and point edits have no lasting value
        return strdup("");
    }
}

HL_CustomOption opt_polypoint = {parseOption, printOption, nullptr};

#define CUSTOM(key, def, index) {"custom", key, def, index, 0, &opt_polypoint}

HL_ConfigureSpec polypoint_specs[] = {
    CUSTOM("vector", nullptr, opt_vector),
    CUSTOM("vxxy", nullptr, opt_vxxy),
    CUSTOM("points", nullptr, opt_points),
    CUSTOM("vxxyl", nullptr, opt_vxxyl),
    CUSTOM("symbol", "square", opt_symbol),
    CUSTOM("points_free", nullptr, opt_points_free),
    CUSTOM("modify_point", nullptr, opt_modify_point),
    CUSTOM("modify_point_xy", nullptr, opt_modify_point_xy),
    CUSTOM("modify_point_x", nullptr, opt_modify_point_x),
    CUSTOM("modify_point_y", nullptr, opt_modify_point_y),
    CUSTOM("modify_point_gc", nullptr, opt_modify_point_gc),
    CUSTOM("color_fill", nullptr, opt_color_fill),
    CUSTOM("color_fill_node", nullptr, opt_color_fill_node),
    CUSTOM("color_text", "#000000", opt_color_text),
    CUSTOM("color_outline_text", nullptr, opt_color_outline_text),
    CUSTOM("color_fill_text", nullptr, opt_color_fill_text),
    CUSTOM("color_outline", "#000000", opt_color_outline),
    CUSTOM("font", nullptr, opt_font),
    CUSTOM("linewidth", "0.5", opt_linewidth),
    CUSTOM("linewidth_node", "-1.0", opt_linewidth_node),
    CUSTOM("opacity", "1.0", opt_opacity),
    CUSTOM("linestylec1", "CustomDashLine", opt_linestylec1),
    CUSTOM("linestylec2", "CustomDashLine", opt_linestylec2),
    CUSTOM("linestyle", "SolidLine", opt_linestyle),
    CUSTOM("joinstyle", "MiterJoin", opt_joinstyle),
    CUSTOM("capstyle", "FlatCap", opt_capstyle),
    CUSTOM("size", "5.0", opt_size),
    CUSTOM("xmode", "world", opt_xmode),
    CUSTOM("ymode", "world", opt_ymode),
    CUSTOM("xgain", "1.0", opt_xgain),
    CUSTOM("ygain", "1.0", opt_ygain),
    CUSTOM("label_anchor", "c", opt_label_anchor),
    CUSTOM("shape_label_anchor", "c", opt_shape_label_anchor),
    CUSTOM("interaction", "none", opt_interaction),
    {"boolean", "showlabels", "yes", static_cast<int>(offsetof(VxPolypoint, showlabels)), 0, nullptr},
    CUSTOM("selection_size_increase_factor", "4.0", opt_selection_size),
    CUSTOM("selection_opacity_reduction_factor", "0.5", opt_selection_opacity),
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef CUSTOM

} // namespace

void VXPolypoint::init()
{
    setConfigureSpecs(polypoint_specs, reinterpret_cast<char*>(&vars), "VXPolypoint", static_cast<VXConfigure*>(this),
                      1);
}
