// VXGlyph: setting a glyph up (shape, contexts, size, coding inputs) and its
// share of the interaction.
#include "glyphs/glyph.h"

#include "glyphs/glyphs.h"
#include "glyphs/glyphsgc.h"
#include "glyphs/graphicscontext_p.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"

#include <QMouseEvent>
#include <QSet>

#include <cmath>
#include <utility>

namespace {

// The static shape of a symbol number; null for the others.
VxShape* staticShape(int symbol)
{
    switch (symbol) {
    case VX_SYMBOL_POINT:
        return VXShape::getPoint();
    case VX_SYMBOL_CROSS:
        return VXShape::getCross();
    case VX_SYMBOL_X:
        return VXShape::getX();
    case VX_SYMBOL_TRIANGLE:
        return VXShape::getTriangle();
    case VX_SYMBOL_SQUARE:
        return VXShape::getSquare();
    case VX_SYMBOL_CIRCLE:
        return VXShape::getCircle();
    case VX_SYMBOL_STAR:
        return VXShape::getStar();
    case VX_SYMBOL_DIAMOND:
        return VXShape::getDiamond();
    default:
        return nullptr;
    }
}

int symbolOf(const VxGraphicsContextItem& item)
{
    if (!item || !item->item || item->item->value_kind != vxgc::KIND_INT || !item->item->value)
        return VX_SYMBOL_DEFAULT;
    return *static_cast<const int*>(item->item->value);
}

} // namespace

VXGlyph::VXGlyph(VXGlyphs* glyphs)
    : VXViewportItem(glyphs ? glyphs->getViewportParent() : nullptr, nullptr, QStringLiteral("VXGlyph"), 0)
{
    vars.glyphs = glyphs;
}

VXGlyph::~VXGlyph()
{
    VXViewport* vp = getViewportParent();
    if (vp && vp->vars.item_grab == this)
        vp->ungrabEventStream();
    delete vars.label_path;
}

// ---------------------------------------------------------------------------
// setting up

// Shape of a symbol number; *shape null means the set's default shape.
// false with the error registered.
static bool resolveShape(VXGlyphs* glyphs, int symbol, const double* tensor, VxShape** shape,
                         std::shared_ptr<VxShape>* hold)
{
    *shape = nullptr;
    hold->reset();
    if (symbol == VX_SYMBOL_DEFAULT) {
        if (!glyphs) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXGlyph::setGlyph: default symbol needs parent VXGlyphs.\n");
            return false;
        }
        if (!glyphs->vars.shape_default) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXGlyph::setGlyph: default symbol not defined in parent VXGlyphs.\n");
            return false;
        }
        return true;
    }
    if (symbol == VX_SYMBOL_BEACHBALL) {
        // an unresolvable tensor draws the default shape
        *hold = VXShape::getBeachballShared(tensor);
        *shape = hold->get();
        return true;
    }
    *shape = staticShape(symbol);
    if (!*shape) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGlyph::setGlyph: Unrecognized symbol type.\n");
        return false;
    }
    return true;
}

int VXGlyph::install(VxShape* shape, std::shared_ptr<VxShape> hold, const QList<VxGraphicsContext>& gcs,
                     const char* who)
{
    VxShape* drawn = shape ? shape : (vars.glyphs ? vars.glyphs->vars.shape_default : nullptr);
    const qsizetype npaths = drawn ? drawn->paths.size() : 1;
    if (gcs.size() < npaths) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "%s: Need at least one graphics context to go with shape paths (%lld paths, %lld "
                          "contexts).\n",
                          who, static_cast<long long>(npaths), static_cast<long long>(gcs.size()));
        return -1;
    }
    vars.shape = shape;
    vars.shape_hold = std::move(hold);
    vars.gcs = gcs;
    setPathsStale();
    return 0;
}

int VXGlyph::setGlyph(int symbol, const QList<VxGraphicsContext>& gcs, const double* tensor)
{
    VxShape* shape = nullptr;
    std::shared_ptr<VxShape> hold;
    if (!resolveShape(vars.glyphs, symbol, tensor, &shape, &hold))
        return -1;
    if (install(shape, std::move(hold), gcs, "VXGlyph::setGlyph") < 0)
        return -1;
    vars.symbol = VXGraphicsContext::getSymbol(symbol);
    vars.gcindex = -1;
    vars.freegc = 1;
    return 0;
}

int VXGlyph::setGlyph(VxShape* shape, const QList<VxGraphicsContext>& gcs)
{
    if (!shape) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGlyph::setGlyph: Unrecognized symbol type.\n");
        return -1;
    }
    if (install(shape, nullptr, gcs, "VXGlyph::setGlyph") < 0)
        return -1;
    vars.symbol = VXGraphicsContext::getSymbol(VX_SYMBOL_SHAPE);
    vars.gcindex = -1;
    vars.freegc = 1;
    return 0;
}

int VXGlyph::setGlyph(const QString& definition, const double* tensor)
{
    VXGlyphsGraphicsContext* ggc = vars.glyphs ? vars.glyphs->vars.ggc : nullptr;
    const int gcindex = ggc ? ggc->getGcIndex(definition) : -1;
    if (gcindex < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGlyph::setGlyph: Cannot find definition '%s'.\n",
                          definition.toUtf8().constData());
        return -1;
    }
    return takeStyle(gcindex, tensor, false, "VXGlyph::setGlyph");
}

int VXGlyph::setGlyphIndex(int gcindex, const double* tensor)
{
    return takeStyle(gcindex, tensor, false, "VXGlyph::setGlyphIndex");
}

int VXGlyph::restyle()
{
    return takeStyle(vars.gcindex, nullptr, true, "VXGlyph::restyle");
}

int VXGlyph::takeStyle(int gcindex, const double* tensor, bool keep_shape, const char* who)
{
    VXGlyphsGraphicsContext* ggc = vars.glyphs ? vars.glyphs->vars.ggc : nullptr;
    if (!ggc || gcindex < 0 || gcindex >= ggc->gc_definitions_list.size()) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: Unrecognized definition %d.\n", who, gcindex);
        return -1;
    }
    const VxGlyphsDefinition& def = ggc->gc_definitions_list.at(gcindex);
    const int symbol = symbolOf(def.symbol);
    VxShape* shape = vars.shape;
    std::shared_ptr<VxShape> hold = vars.shape_hold;
    if (!keep_shape || symbol != symbolOf(vars.symbol)) {
        if (!resolveShape(vars.glyphs, symbol, tensor, &shape, &hold))
            return -1;
    }

    // Items fed by coding inputs become the glyph's own records over the
    // style's parameters; everything else is the style's, shared as is.
    QSet<qint64> coded;
    for (const QList<VxGlyphsCodingSlot>& uses : def.coding_slots)
        for (const VxGlyphsCodingSlot& s : uses)
            coded.insert((static_cast<qint64>(s.gc) << 32) | static_cast<quint32>(s.gci));
    QList<VxGraphicsContext> gcs;
    gcs.reserve(def.glyph_gcs.size());
    for (int i = 0; i < def.glyph_gcs.size(); i++) {
        const VxGraphicsContext& gc = def.glyph_gcs.at(i);
        VxGraphicsContext mine = gc;
        for (int j = 0; gc && j < gc->size(); j++) {
            if (!coded.contains((static_cast<qint64>(i) << 32) | static_cast<quint32>(j)))
                continue;
            if (mine == gc)
                mine = std::make_shared<QList<VxGraphicsContextItem>>(*gc);
            (*mine)[j] = VXGraphicsContext::shareItem(gc->at(j));
        }
        gcs.append(mine);
    }
    VxGraphicsContextItem size = def.glyph_size;
    if (size && coded.contains((static_cast<qint64>(-1) << 32) | 0u))
        size = VXGraphicsContext::shareItem(size);

    if (install(shape, std::move(hold), gcs, who) < 0)
        return -1;
    vars.symbol = def.symbol;
    vars.size = size;
    vars.gcindex = gcindex;
    vars.gc_generation = def.generation;
    vars.freegc = 0;
    return 0;
}

void VXGlyph::setPosition(double xw, double yw)
{
    vars.xw = xw;
    vars.yw = yw;
}

void VXGlyph::getPosition(double* xw, double* yw) const
{
    if (xw)
        *xw = vars.xw;
    if (yw)
        *yw = vars.yw;
}

void VXGlyph::setSize(double size)
{
    auto params = std::make_shared<VxGraphicsContextItemParams>();
    vxgc::initParams(*params, VX_GC_SCALAR);
    *static_cast<double*>(params->value) = std::isfinite(size) ? size : 0.0;
    params->name = QStringLiteral("glyph:size");
    auto item = std::make_shared<VxGraphicsContextItemRaw>();
    item->item = std::move(params);
    vars.size = std::move(item);
}

double VXGlyph::getSize() const
{
    const VxGraphicsContextItem& item = vars.size;
    if (!item || !item->item)
        return 0.0;
    // a coded size without its input yet takes the default
    if (item->item->coding_type != VX_GC_CODING_NONE && item->coding_input == VX_GC_NO_INPUT)
        return 0.0;
    int kind = 0;
    bool ok = true;
    const void* value = vxgc::evaluate(*item, &kind, &ok);
    if (!value)
        return 0.0;
    double v = kind == vxgc::KIND_DOUBLE ? *static_cast<const double*>(value)
               : kind == vxgc::KIND_INT  ? *static_cast<const int*>(value)
                                         : 0.0;
    return std::isfinite(v) ? v : 0.0;
}

void VXGlyph::setOpacity(double opacity)
{
    vars.opacity = std::isfinite(opacity) ? opacity : 1.0;
}

void VXGlyph::setLabel(const QString& label, int visible_label)
{
    vars.label = label;
    vars.visible_label = visible_label;
}

int VXGlyph::setCodingValue(const QString& name, double value)
{
    VXGlyphsGraphicsContext* ggc = vars.glyphs ? vars.glyphs->vars.ggc : nullptr;
    if (ggc && !ggc->isCurrent(this) && vars.gcindex >= 0) {
        // made before its style changed: the items it has, by name
        const QList<VxGraphicsContextItem> items = ggc->codedItemsByName(this, name);
        for (const VxGraphicsContextItem& item : items)
            VXGraphicsContext::setCodingInput(item, value);
        if (!items.isEmpty()) {
            setPathsStale();
            return 0;
        }
    }
    const int coding = ggc ? ggc->getCodingIndex(vars.gcindex, name) : -1;
    if (coding < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXGlyph::setCodingValue: Unknown coding '%s'.\n",
                          name.toUtf8().constData());
        return -1;
    }
    ggc->setCoding(vars.gcindex, coding, value, this);
    return 0;
}

double VXGlyph::getCodingValue(const QString& name) const
{
    VXGlyphsGraphicsContext* ggc = vars.glyphs ? vars.glyphs->vars.ggc : nullptr;
    if (!ggc || vars.gcindex < 0)
        return VX_NULL_VALUE;
    if (!ggc->isCurrent(this)) {
        for (const VxGraphicsContextItem& item : ggc->codedItemsByName(this, name))
            if (item->coding_input != VX_GC_NO_INPUT)
                return item->coding_input;
        return VX_NULL_VALUE;
    }
    const int coding = ggc->getCodingIndex(vars.gcindex, name);
    double value = VX_NULL_VALUE;
    if (coding >= 0)
        ggc->getCoding(vars.gcindex, coding, &value, const_cast<VXGlyph*>(this));
    return value;
}

void VXGlyph::setClientData(HL_ClientData data, int type)
{
    vars.clientData = data;
    vars.clientData_type = type;
}

HL_ClientData VXGlyph::getClientData(int* type) const
{
    if (type)
        *type = vars.clientData_type;
    return vars.clientData;
}

int VXGlyph::getIndex() const
{
    return vars.index;
}

int VXGlyph::getQEventState() const
{
    return vars.qevent_state;
}

void VXGlyph::clearGcs()
{
    vars.gcs.clear();
    vars.paths.clear();
    setPathsStale();
}

QString VXGlyph::showPaths() const
{
    QString text;
    for (qsizetype i = 0; i < vars.paths.size(); i++) {
        const VxPath& p = vars.paths.at(i);
        text += QStringLiteral("part %1: elements %2 pen %3 width %4 brush %5\n")
                    .arg(i)
                    .arg(p.path ? p.path->elementCount() : 0)
                    .arg(p.pen.style() == Qt::NoPen ? QStringLiteral("none") : p.pen.color().name(QColor::HexArgb))
                    .arg(p.pen.widthF())
                    .arg(p.brush.style() == Qt::NoBrush ? QStringLiteral("none")
                                                        : p.brush.color().name(QColor::HexArgb));
    }
    return text;
}

VxGraphicsContextItem VXGlyph::getGraphicsContextItem(int gc, int item) const
{
    if (gc < 0 || gc >= vars.gcs.size() || !vars.gcs.at(gc))
        return nullptr;
    const QList<VxGraphicsContextItem>& list = *vars.gcs.at(gc);
    return item >= 0 && item < list.size() ? list.at(item) : nullptr;
}

void VXGlyph::setPathsStale()
{
    vars.paths_stale = 1;
}

void VXGlyph::setVisibility()
{
}

// ---------------------------------------------------------------------------
// interaction

bool VXGlyph::contains(QEvent* event) const
{
    auto* pe = dynamic_cast<QSinglePointEvent*>(event);
    return pe && contains(pe->position());
}

bool VXGlyph::contains(const QPointF& pt) const
{
    if (vars.skip || !vars.hit_rect.contains(pt))
        return false;
    return vars.shape_path.contains(pt) || (vars.label_path && vars.label_path->contains(pt));
}

int VXGlyph::processEvent(int type, QEvent* event)
{
    VXGlyphs* set = vars.glyphs;
    if (!set || set->vars.interaction_mode == 0)
        return 1;
    if (!set->vars.glyphCallbacks.isEmpty()) {
        if (set->vars.selection_index < 0) {
            // the first event on a glyph: the callbacks see it enter
            set->vars.selection_index = vars.index;
            VXEvent enter(type, event, nullptr);
            enter.type = VX_EVENT_ENTER;
            set->runGlyphCallbacks(this, &enter);
            set->redraw();
        }
        VXEvent vxevent(type, event, nullptr);
        if (set->runGlyphCallbacks(this, &vxevent) == 2)
            return 2;
    }
    switch (set->vars.interaction_mode) {
    case 1:
    case 2:
        return processEventShow(type, event);
    case 3:
        return processEventMove(type, event);
    default:
        return 1;
    }
}

int VXGlyph::processEventShow(int type, QEvent*)
{
    VXGlyphs* set = vars.glyphs;
    if (!set || set->vars.interaction_mode == 0 || set->vars.interaction_mode == 4)
        return 1;
    if (vars.qevent_state == 1 && type == VX_EVENT_MOVE && set->vars.selection_index != vars.index) {
        set->vars.selection_index = vars.index;
        set->setGlyphCursor(true);
        set->redraw();
    }
    return 1;
}

int VXGlyph::processEventMove(int type, QEvent* event)
{
    VXGlyphs* set = vars.glyphs;
    auto* me = dynamic_cast<QMouseEvent*>(event);
    if (!set || !me)
        return 1;
    VXViewport* vp = getViewportParent();
    if (vars.qevent_state == 1) {
        if (type == VX_EVENT_PRESS) {
            vars.qevent_state = 2;
            if (vp)
                vp->grabEventStream(this);
            set->vars.selection_index = vars.index;
            set->setGlyphCursor(true);
            set->redraw();
            return 2;
        }
        if (type == VX_EVENT_MOVE && set->vars.selection_index != vars.index) {
            set->vars.selection_index = vars.index;
            set->setGlyphCursor(true);
            set->redraw();
        }
        return 1;
    }
    if (type == VX_EVENT_MOVE && vp) {
        const QPointF pt = me->position();
        double x = 0.0, y = 0.0;
        bool ok;
        if (set->vars.xmode_default == 2 || set->vars.ymode_default == 2) {
            int w = 0, h = 0;
            double xs, xe, xsc, ys, ye, ysc;
            ok = vp->getScales(&w, &h, &xs, &xe, &xsc, &ys, &ye, &ysc) == 0;
            double wx = 0.0, wy = 0.0;
            const bool world = vp->getWcoords(pt.x(), pt.y(), &wx, &wy, 0, 0, 0) == 0;
            if (ok) {
                x = set->vars.xmode_default == 2 ? (pt.x() - vp->vars.mleft) / w / set->vars.xgain : wx;
                y = set->vars.ymode_default == 2 ? (vp->vars.mtop + h - pt.y()) / h / set->vars.ygain : wy;
                ok = (set->vars.xmode_default == 2 && set->vars.ymode_default == 2) || world;
            }
        } else {
            ok = vp->getWcoords(pt.x(), pt.y(), &x, &y, 0, 0, 0) == 0;
        }
        if (ok && std::isfinite(x) && std::isfinite(y)) {
            vars.xw = x;
            vars.yw = y;
        }
        set->setGlyphCursor(true);
        set->redraw();
        return 2;
    }
    if (type == VX_EVENT_RELEASE) {
        vars.qevent_state = 1;
        if (vp && vp->vars.item_grab == this)
            vp->ungrabEventStream();
        set->vars.selection_index = -1;
        set->setGlyphCursor(false);
        set->redraw();
        return 2;
    }
    return 1;
}
