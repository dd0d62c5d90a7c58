// Graphics contexts: setting items from values and texts, and applying
// items to pens, brushes and painters.
#include "glyphs/graphicscontext.h"

#include "glyphs/graphicscontext_p.h"
#include "toolkit/base/errors.h"

#include <QByteArray>
#include <QPainter>
#include <QPainterPath>

#include <climits>
#include <cmath>
#include <utility>

namespace {

// Widths beyond this many pixels are drawn at this width: the stroker's
// work grows with the width and no symbol needs more.
constexpr double max_pen_width = 1000.0;

struct StyleWord
{
    const char* word;
    int value;
};

constexpr StyleWord line_styles[] = {
    {"SolidLine", Qt::SolidLine},     {"DashLine", Qt::DashLine},
    {"DotLine", Qt::DotLine},         {"DashDotLine", Qt::DashDotLine},
    {"DashDotDotLine", Qt::DashDotDotLine},
};
constexpr StyleWord join_styles[] = {
    {"MiterJoin", Qt::MiterJoin},
    {"BevelJoin", Qt::BevelJoin},
    {"RoundJoin", Qt::RoundJoin},
    {"SvgMiterJoin", Qt::SvgMiterJoin},
};
constexpr StyleWord cap_styles[] = {
    {"FlatCap", Qt::FlatCap},
    {"SquareCap", Qt::SquareCap},
    {"RoundCap", Qt::RoundCap},
};

template <size_t N>
bool findWord(const StyleWord (&words)[N], const QString& text, int* value)
{
    QString t = text.trimmed();
    for (const StyleWord& w : words) {
        if (t.compare(QLatin1String(w.word), Qt::CaseInsensitive) == 0) {
            *value = w.value;
            return true;
        }
    }
    return false;
}

template <size_t N>
bool knownValue(const StyleWord (&words)[N], int value)
{
    for (const StyleWord& w : words)
        if (w.value == value)
            return true;
    return false;
}

// Whether an integer value suits an item type.
bool validInt(int type, int v)
{
    switch (type) {
    case VX_GC_PEN_STYLE:
        return v >= Qt::NoPen && v <= Qt::CustomDashLine;
    case VX_GC_PEN_JOIN:
        return knownValue(join_styles, v);
    case VX_GC_PEN_CAP:
        return knownValue(cap_styles, v);
    case VX_GC_SYMBOL:
        return v >= 0 && v < VX_SYMBOL_COUNT;
    default:
        return true;
    }
}

// Parameters of type from a number; form names the C++ type for messages.
bool numberParams(int type, double v, const char* form, VxGraphicsContextItemParams& p)
{
    int kind = vxgc::kindOfType(type);
    if (kind == vxgc::KIND_NONE) {
        vxgc::initParams(p, type);  // no pen, no brush: the number is not used
        return true;
    }
    if (kind != vxgc::KIND_INT && kind != vxgc::KIND_DOUBLE) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Unrecognized type %d for %s param.\n",
                          type, form);
        return false;
    }
    if (!std::isfinite(v) || (kind == vxgc::KIND_INT && (std::nearbyint(v) < INT_MIN || std::nearbyint(v) > INT_MAX)) ||
        (kind == vxgc::KIND_INT && !validInt(type, static_cast<int>(std::nearbyint(v))))) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Bad value %g for type %d.\n", v, type);
        return false;
    }
    vxgc::initParams(p, type);
    if (kind == vxgc::KIND_INT)
        *static_cast<int*>(p.value) = static_cast<int>(std::nearbyint(v));
    else
        *static_cast<double*>(p.value) = v;
    return true;
}

double numberOf(const void* value, int kind)
{
    if (!value)
        return 0.0;
    if (kind == vxgc::KIND_INT)
        return *static_cast<const int*>(value);
    if (kind == vxgc::KIND_DOUBLE)
        return *static_cast<const double*>(value);
    return 0.0;
}

bool isPenType(int type)
{
    switch (type) {
    case VX_GC_NO_PEN:
    case VX_GC_PEN_COLOR:
    case VX_GC_PEN_STYLE:
    case VX_GC_PEN_JOIN:
    case VX_GC_PEN_CAP:
    case VX_GC_PEN_WIDTH:
    case VX_GC_PEN_WIDTHF:
    case VX_GC_DASH_PHASE0:
    case VX_GC_DASH_PHASE1:
        return true;
    default:
        return false;
    }
}

bool isBrushType(int type)
{
    return type == VX_GC_NO_BRUSH || type == VX_GC_BRUSH_COLOR;
}

// Apply a pen item.  *hidden becomes true for a negative width and false
// for a width that is not negative; the pen then has style none.
void applyPen(const VxGraphicsContextItem& item, QPen* pen, bool* hidden)
{
    if (!item || !item->item || !pen)
        return;
    const int type = item->item->type;
    int kind = 0;
    bool ok = true;
    const void* value = vxgc::evaluate(*item, &kind, &ok);
    auto visible = [&] {
        if (pen->style() == Qt::NoPen)
            pen->setStyle(Qt::SolidLine);
    };
    switch (type) {
    case VX_GC_NO_PEN:
        pen->setStyle(Qt::NoPen);
        break;
    case VX_GC_PEN_COLOR:
        if (kind == vxgc::KIND_COLOR && value) {
            visible();
            pen->setColor(*static_cast<const QColor*>(value));
        }
        break;
    case VX_GC_PEN_STYLE:
        pen->setStyle(static_cast<Qt::PenStyle>(static_cast<int>(numberOf(value, kind))));
        break;
    case VX_GC_PEN_JOIN:
        pen->setJoinStyle(static_cast<Qt::PenJoinStyle>(static_cast<int>(numberOf(value, kind))));
        break;
    case VX_GC_PEN_CAP:
        pen->setCapStyle(static_cast<Qt::PenCapStyle>(static_cast<int>(numberOf(value, kind))));
        break;
    case VX_GC_PEN_WIDTH:
    case VX_GC_PEN_WIDTHF:
    case VX_GC_DASH_PHASE0:
    case VX_GC_DASH_PHASE1: {
        double w = numberOf(value, kind);
        if (w < 0.0) {
            *hidden = true;
            pen->setStyle(Qt::NoPen);
            break;
        }
        *hidden = false;
        w = std::min(w, max_pen_width);
        visible();
        pen->setCosmetic(true);
        if (type == VX_GC_PEN_WIDTH)
            pen->setWidth(static_cast<int>(std::lround(w)));
        else
            pen->setWidthF(w);
        if (type == VX_GC_DASH_PHASE0 || type == VX_GC_DASH_PHASE1) {
            pen->setDashPattern({2.0, 2.0});
            pen->setDashOffset(type == VX_GC_DASH_PHASE0 ? 0.0 : 2.0);
            pen->setCapStyle(Qt::FlatCap);
        }
        break;
    }
    default:
        break;
    }
}

void applyBrush(const VxGraphicsContextItem& item, QBrush* brush)
{
    if (!item || !item->item || !brush)
        return;
    if (item->item->type == VX_GC_NO_BRUSH) {
        brush->setStyle(Qt::NoBrush);
        return;
    }
    int kind = 0;
    bool ok = true;
    const void* value = vxgc::evaluate(*item, &kind, &ok);
    if (kind != vxgc::KIND_COLOR || !value)
        return;
    if (brush->style() == Qt::NoBrush)
        brush->setStyle(Qt::SolidPattern);
    brush->setColor(*static_cast<const QColor*>(value));
}

// Opacity and font items on the painter.
void applyPainterOnly(const VxGraphicsContextItem& item, QPainter* painter)
{
    if (!item || !item->item)
        return;
    int type = item->item->type;
    if (type != VX_GC_OPACITY && type != VX_GC_FONT)
        return;
    int kind = 0;
    bool ok = true;
    const void* value = vxgc::evaluate(*item, &kind, &ok);
    if (type == VX_GC_OPACITY && (kind == vxgc::KIND_DOUBLE || kind == vxgc::KIND_INT))
        painter->setOpacity(std::clamp(numberOf(value, kind), 0.0, 1.0));
    else if (type == VX_GC_FONT && kind == vxgc::KIND_FONT && value)
        painter->setFont(*static_cast<const QFont*>(value));
}

} // namespace

// ---------------------------------------------------------------------------
// setting items

VxGraphicsContextItem VXGraphicsContext::storeItem(const QString& name, VxGraphicsContextItemParams& params,
                                                   int replace)
{
    int created = 0;
    VxGraphicsContextItem item = get_item(name, 1, replace, &created);
    if (!item) {
        QByteArray n8 = name.toUtf8();
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: get_item(%s) error.\n",
                          n8.constData());
        return nullptr;
    }
    if (created || replace) {
        params.name = item->item->name;
        // in place: every item sharing these parameters sees the new value
        *item->item = std::move(params);
    }
    return item;
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, int param, int replace)
{
    VxGraphicsContextItemParams p;
    if (!numberParams(type, param, "int", p))
        return nullptr;
    return storeItem(name, p, replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, long param, int replace)
{
    VxGraphicsContextItemParams p;
    if (!numberParams(type, static_cast<double>(param), "long", p))
        return nullptr;
    return storeItem(name, p, replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, double param, int replace)
{
    VxGraphicsContextItemParams p;
    if (!numberParams(type, param, "double", p))
        return nullptr;
    return storeItem(name, p, replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, const QColor& param, int replace)
{
    if (type != VX_GC_PEN_COLOR && type != VX_GC_BRUSH_COLOR) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Unrecognized type %d for QColor param.\n",
                          type);
        return nullptr;
    }
    if (!param.isValid()) {
        QByteArray n8 = name.toUtf8();
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: invalid colour for '%s'.\n",
                          n8.constData());
        return nullptr;
    }
    VxGraphicsContextItemParams p;
    vxgc::initParams(p, type);
    *static_cast<QColor*>(p.value) = param;
    return storeItem(name, p, replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, const QFont& param, int replace)
{
    if (type != VX_GC_FONT) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Unrecognized type %d for QFont param.\n",
                          type);
        return nullptr;
    }
    VxGraphicsContextItemParams p;
    vxgc::initParams(p, type);
    *static_cast<QFont*>(p.value) = param;
    return storeItem(name, p, replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, Qt::PenJoinStyle param,
                                                   int replace)
{
    if (type != VX_GC_PEN_JOIN) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXGraphicsContext::setGcItem: Unrecognized type %d for Qt::PenJoinStyle param.\n", type);
        return nullptr;
    }
    return setGcItem(name, type, static_cast<int>(param), replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, Qt::PenStyle param, int replace)
{
    if (type != VX_GC_PEN_STYLE) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXGraphicsContext::setGcItem: Unrecognized type %d for Qt::PenStyle param.\n", type);
        return nullptr;
    }
    return setGcItem(name, type, static_cast<int>(param), replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, std::nullptr_t, int replace)
{
    if (type != VX_GC_NO_PEN && type != VX_GC_NO_BRUSH) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Unrecognized type %d for NULL param.\n",
                          type);
        return nullptr;
    }
    VxGraphicsContextItemParams p;
    vxgc::initParams(p, type);
    return storeItem(name, p, replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, const char* param, int replace)
{
    if (!param)
        return setGcItem(name, type, nullptr, replace);
    return setGcItem(name, type, QString::fromUtf8(param), replace);
}

VxGraphicsContextItem VXGraphicsContext::setGcItem(const QString& name, int type, const QString& text, int replace)
{
    QByteArray t8 = text.toUtf8();
    const char* t = t8.constData();
    VxGraphicsContextItemParams p;
    switch (type) {
    case VX_GC_PEN_COLOR:
    case VX_GC_BRUSH_COLOR: {
        QColor plain;
        VxGraphicsContextCoding codings[3];
        bool coded = false;
        if (!vxgc::parseColorText(text, "VXGraphicsContext::setGcItem", &plain, codings, &coded))
            return nullptr;
        vxgc::initParams(p, type);
        *static_cast<QColor*>(p.value) = plain;
        if (coded)
            vxgc::storeCoding(p, VX_GC_CODING_COLOR, codings);
        break;
    }
    case VX_GC_PEN_STYLE:
    case VX_GC_PEN_JOIN:
    case VX_GC_PEN_CAP: {
        int v = 0;
        bool found = type == VX_GC_PEN_STYLE  ? findWord(line_styles, text, &v)
                     : type == VX_GC_PEN_JOIN ? findWord(join_styles, text, &v)
                                              : findWord(cap_styles, text, &v);
        if (!found) {
            const char* what = type == VX_GC_PEN_STYLE  ? "linestyle"
                               : type == VX_GC_PEN_JOIN ? "joinstyle"
                                                        : "capstyle";
            hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Unrecognized %s %s.\n", what, t);
            return nullptr;
        }
        vxgc::initParams(p, type);
        *static_cast<int*>(p.value) = v;
        break;
    }
    case VX_GC_PEN_WIDTHF:
    case VX_GC_OPACITY:
    case VX_GC_SCALAR:
    case VX_GC_DASH_PHASE0:
    case VX_GC_DASH_PHASE1: {
        const bool dash = type == VX_GC_DASH_PHASE0 || type == VX_GC_DASH_PHASE1;
        qsizetype colons = text.count(QLatin1Char(':'));
        if (!dash && colons == 0) {
            double v = 0.0;
            if (!vxgc::parseNumber(text, &v)) {
                hl_register_error(HL_SEVERITY_NORMAL,
                                  "VXGraphicsContext::setGcItem: strtod error for '%s' in '%s' - strtod() error.\n", t,
                                  t);
                return nullptr;
            }
            vxgc::initParams(p, type);
            *static_cast<double*>(p.value) = v;
            break;
        }
        if (!dash && colons != 1 && colons != 3) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXGraphicsContext::setGcItem: parse error for '%s' - only 0 or 1 ':' characters "
                              "allowed.\n",
                              t);
            return nullptr;
        }
        VxGraphicsContextCoding coding;
        if (vxgraphicscontext_parse_coding(text, &coding) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: parseScalarCoding(%s) error.\n", t);
            return nullptr;
        }
        vxgc::initParams(p, type);
        // the plain value, used while no input is given, is the first point's
        *static_cast<double*>(p.value) = vxgraphicscontext_apply_coding(coding, coding.in_0);
        vxgc::storeCoding(p, VX_GC_CODING_SCALAR, &coding);
        break;
    }
    default:
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::setGcItem: Unrecognized type %d for char * param.\n",
                          type);
        return nullptr;
    }
    return storeItem(name, p, replace);
}

// ---------------------------------------------------------------------------
// applying items

void VXGraphicsContext::drawGcItem(const VxGraphicsContextItem& item, QPen* pen, QBrush* brush)
{
    if (!item || !item->item)
        return;
    bool hidden = false;
    if (isPenType(item->item->type))
        applyPen(item, pen, &hidden);
    else if (isBrushType(item->item->type))
        applyBrush(item, brush);
}

void VXGraphicsContext::drawGcItem(const VxGraphicsContextItem& item, QPainter* painter)
{
    if (!item || !item->item || !painter)
        return;
    int type = item->item->type;
    if (isPenType(type)) {
        QPen pen = painter->pen();
        bool hidden = false;
        applyPen(item, &pen, &hidden);
        painter->setPen(pen);
    } else if (isBrushType(type)) {
        QBrush brush = painter->brush();
        applyBrush(item, &brush);
        painter->setBrush(brush);
    } else {
        applyPainterOnly(item, painter);
    }
}

int VXGraphicsContext::drawGcItem(const QString& name, QPen* pen, QBrush* brush)
{
    VxGraphicsContextItem item = get_item(name, 0, 0);
    if (!item) {
        QByteArray n8 = name.toUtf8();
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::drawGcItem: get_item(%s) error.\n", n8.constData());
        return -1;
    }
    drawGcItem(item, pen, brush);
    return 0;
}

int VXGraphicsContext::drawGcItem(const QString& name, QPainter* painter)
{
    VxGraphicsContextItem item = get_item(name, 0, 0);
    if (!item) {
        QByteArray n8 = name.toUtf8();
        hl_register_error(HL_SEVERITY_NORMAL, "VXGraphicsContext::drawGcItem: get_item(%s) error.\n", n8.constData());
        return -1;
    }
    drawGcItem(item, painter);
    return 0;
}

void VXGraphicsContext::makeGcPenBrush(const VxGraphicsContext& gc, QPen* pen, QBrush* brush)
{
    if (pen)
        *pen = QPen(Qt::NoPen);
    if (brush)
        *brush = QBrush();
    if (!gc)
        return;
    if (pen) {
        bool hidden = false;
        for (const VxGraphicsContextItem& item : *gc)
            if (item && item->item && isPenType(item->item->type))
                applyPen(item, pen, &hidden);
        if (hidden)
            pen->setStyle(Qt::NoPen);
    }
    if (brush)
        for (const VxGraphicsContextItem& item : *gc)
            if (item && item->item && isBrushType(item->item->type))
                applyBrush(item, brush);
}

void VXGraphicsContext::drawGc(const VxGraphicsContext& gc, QPainter* painter)
{
    if (!gc || !painter)
        return;
    for (const VxGraphicsContextItem& item : *gc)
        drawGcItem(item, painter);
}

void VXGraphicsContext::drawGcPainter(const VxGraphicsContext& gc, QPainter* painter)
{
    drawGcPainter(gc, nullptr, nullptr, painter);
}

void VXGraphicsContext::drawGcPainter(const VxGraphicsContext& gc, const QPen* pen, const QBrush* brush,
                                      QPainter* painter)
{
    if (!painter)
        return;
    QPen made_pen;
    QBrush made_brush;
    if (!pen || !brush)
        makeGcPenBrush(gc, &made_pen, &made_brush);
    painter->setPen(pen ? *pen : made_pen);
    painter->setBrush(brush ? *brush : made_brush);
    if (!gc)
        return;
    for (const VxGraphicsContextItem& item : *gc)
        applyPainterOnly(item, painter);
}

void VXGraphicsContext::drawPainterPath(const VxGraphicsContext& gc, QPainter* painter, const QPainterPath& path)
{
    if (!painter || !gc)
        return;
    painter->save();
    drawGcPainter(gc, painter);
    painter->drawPath(path);
    painter->restore();
}
