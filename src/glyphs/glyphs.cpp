// VXGlyphs: the set of glyphs, its defaults, selection and event routing.
#include "glyphs/glyphs.h"

#include "glyphs/glyphsgc.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"

#include <QMouseEvent>
#include <QWheelEvent>

#include <cmath>

namespace {

VxGraphicsContext makeContext(const QString& gcname, const QColor& pen, const QColor& brush, double width,
                              const QFont* font)
{
    VXGraphicsContext scratch;
    if (pen.isValid())
        scratch.setGcItem(gcname + QStringLiteral(":color"), VX_GC_PEN_COLOR, pen, 0);
    scratch.setGcItem(gcname + QStringLiteral(":width"), VX_GC_PEN_WIDTHF, width, 0);
    if (brush.isValid())
        scratch.setGcItem(gcname + QStringLiteral(":fill"), VX_GC_BRUSH_COLOR, brush, 0);
    if (font)
        scratch.setGcItem(gcname + QStringLiteral(":font"), VX_GC_FONT, *font, 0);
    // the list outlives the scratch object
    return scratch.mapgc.value(gcname);
}

} // namespace

VXGlyphs::VXGlyphs(VXViewport* vp) : VXViewportItem(vp, nullptr, QStringLiteral("VXGlyphs"), 1)
{
    vars.shape_default = VXShape::getCircle();
    QFont font(QStringLiteral("Helvetica"));
    font.setPixelSize(12);
    vars.gc_label = makeContext(QStringLiteral("glyphs_label"), Qt::black, QColor(), 1.0, &font);
    vars.gc_label_background =
        makeContext(QStringLiteral("glyphs_label_background"), QColor(), QColor(255, 255, 255, 192), -1.0, nullptr);
    vars.gc_default = makeContext(QStringLiteral("glyphs_default"), Qt::black, QColor(), 1.0, nullptr);
}

VXGlyphs::~VXGlyphs()
{
    clearGlyphs();
}

VXGlyph* VXGlyphs::addGlyph()
{
    auto* g = new VXGlyph(this);
    g->vars.index = static_cast<int>(vars.glyphs.size());
    g->antialias = antialias;
    vars.glyphs.append(g);
    return g;
}

int VXGlyphs::removeGlyph(int index)
{
    if (index < 0 || index >= vars.glyphs.size())
        return -1;
    VXGlyph* g = vars.glyphs.takeAt(index);
    delete g;
    for (qsizetype i = index; i < vars.glyphs.size(); i++)
        vars.glyphs[i]->vars.index = static_cast<int>(i);
    if (vars.selection_index == index)
        vars.selection_index = -1;
    else if (vars.selection_index > index)
        vars.selection_index--;
    return 0;
}

void VXGlyphs::clearGlyphs()
{
    const QList<VXGlyph*> list = std::move(vars.glyphs);
    vars.glyphs.clear();
    vars.selection_index = -1;
    qDeleteAll(list);
}

int VXGlyphs::count() const
{
    return static_cast<int>(vars.glyphs.size());
}

VXGlyph* VXGlyphs::glyph(int index) const
{
    return index >= 0 && index < vars.glyphs.size() ? vars.glyphs.at(index) : nullptr;
}

int VXGlyphs::setShapeDefault(int symbol)
{
    VxShape* shape = nullptr;
    switch (symbol) {
    case VX_SYMBOL_POINT:
        shape = VXShape::getPoint();
        break;
    case VX_SYMBOL_CROSS:
        shape = VXShape::getCross();
        break;
    case VX_SYMBOL_X:
        shape = VXShape::getX();
        break;
    case VX_SYMBOL_TRIANGLE:
        shape = VXShape::getTriangle();
        break;
    case VX_SYMBOL_SQUARE:
        shape = VXShape::getSquare();
        break;
    case VX_SYMBOL_CIRCLE:
        shape = VXShape::getCircle();
        break;
    case VX_SYMBOL_STAR:
        shape = VXShape::getStar();
        break;
    case VX_SYMBOL_DIAMOND:
        shape = VXShape::getDiamond();
        break;
    default:
        hl_register_error(HL_SEVERITY_NORMAL, "VXGlyphs::setShapeDefault: Unrecognized symbol type %d.\n", symbol);
        return -1;
    }
    vars.shape_default = shape;
    setGlyphs();
    return 0;
}

void VXGlyphs::setSizeDefault(double size)
{
    vars.sizep_default = std::isfinite(size) ? size : 0.0;
}

void VXGlyphs::setXmodeDefault(int mode)
{
    vars.xmode_default = mode == 2 ? 2 : 0;
}

void VXGlyphs::setYmodeDefault(int mode)
{
    vars.ymode_default = mode == 2 ? 2 : 0;
}

void VXGlyphs::setShapeLabelAnchorDefault(int anchor)
{
    vars.shape_label_anchor_default = anchor;
}

void VXGlyphs::setLabelAnchorDefault(int anchor)
{
    vars.label_anchor_default = anchor;
}

void VXGlyphs::setInteractionMode(int mode)
{
    vars.interaction_mode = mode >= 0 && mode <= 4 ? mode : 0;
}

void VXGlyphs::setGraphicsContext(VXGlyphsGraphicsContext* ggc)
{
    vars.ggc = ggc;
}

void VXGlyphs::setClientData(HL_ClientData data, int type)
{
    vars.clientData = data;
    vars.clientData_type = type;
}

HL_ClientData VXGlyphs::getClientData(int* type) const
{
    if (type)
        *type = vars.clientData_type;
    return vars.clientData;
}

void VXGlyphs::addGlyphCallback(VxGlyphCallbackProc proc, void* client_data)
{
    vars.glyphCallbacks.append({std::move(proc), client_data});
}

void VXGlyphs::clearGlyphCallbacks()
{
    vars.glyphCallbacks.clear();
}

int VXGlyphs::runGlyphCallbacks(VXGlyph* glyph, VXEvent* event)
{
    const QList<VxGlyphCallback> list = vars.glyphCallbacks;
    for (const VxGlyphCallback& cb : list)
        if (cb.callback_proc && cb.callback_proc(glyph, event, cb.client_data) == 2)
            return 2;
    return 1;
}

QList<VXGlyph*> VXGlyphs::items(QEvent* event) const
{
    QList<VXGlyph*> found;
    auto* pe = dynamic_cast<QSinglePointEvent*>(event);
    if (!pe)
        return found;
    const QPointF pt = pe->position();
    VXGlyph* selected = selectedGlyph();
    if (selected && selected->contains(pt))
        found.append(selected);
    for (qsizetype i = vars.glyphs.size() - 1; i >= 0; i--) {
        VXGlyph* g = vars.glyphs.at(i);
        if (g != selected && g->contains(pt))
            found.append(g);
    }
    return found;
}

VXGlyph* VXGlyphs::findClosest(QEvent* event, int index) const
{
    auto* pe = dynamic_cast<QSinglePointEvent*>(event);
    return pe ? findClosest(pe->position(), index) : nullptr;
}

VXGlyph* VXGlyphs::findClosest(const QPointF& pt, int index) const
{
    if (index >= 0) {
        VXGlyph* g = glyph(index);
        return g && g->contains(pt) ? g : nullptr;
    }
    // the glyph drawn on top wins: the selected one, then the last
    VXGlyph* selected = selectedGlyph();
    if (selected && selected->contains(pt))
        return selected;
    for (qsizetype i = vars.glyphs.size() - 1; i >= 0; i--) {
        VXGlyph* g = vars.glyphs.at(i);
        if (g != selected && g->contains(pt))
            return g;
    }
    return nullptr;
}

VXGlyph* VXGlyphs::selectedGlyph() const
{
    return glyph(vars.selection_index);
}

void VXGlyphs::selectGlyph(int index)
{
    vars.selection_index = glyph(index) ? index : -1;
    redraw();
}

void VXGlyphs::updateCoding()
{
    if (!vars.ggc)
        return;
    for (VXGlyph* g : std::as_const(vars.glyphs))
        vars.ggc->updateCoding(g);
}

void VXGlyphs::setGlyphs()
{
    for (VXGlyph* g : std::as_const(vars.glyphs))
        g->setPathsStale();
}

void VXGlyphs::redraw()
{
    setItemStale();
    if (VXViewport* vp = getViewportParent())
        vp->update();
}

void VXGlyphs::setGlyphCursor(bool over)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !vars.auto_cursor)
        return;
    if (over)
        vp->setCursor(Qt::BlankCursor);
    else
        vp->setDefaultCursor(0);
}

int VXGlyphs::processEvent(int type, QEvent* event)
{
    if (vars.interaction_mode == 0)
        return 1;
    if (vars.interaction_mode == 4 && !vars.glyphCallbacks.isEmpty()) {
        // only the selected glyph, and only through the callbacks
        VXGlyph* selected = selectedGlyph();
        if (!selected || findClosest(event, vars.selection_index) != selected)
            return 1;
        VXEvent vxevent(type, event, nullptr);
        return runGlyphCallbacks(selected, &vxevent);
    }
    VXGlyph* selected = selectedGlyph();
    if (!dynamic_cast<QSinglePointEvent*>(event))
        // keys have no position: they go to the selected glyph
        return selected ? selected->processEvent(type, event) : 1;
    VXGlyph* g = findClosest(event, -1);
    if (selected && g != selected) {
        // the pointer left the selected glyph
        VXEvent leave(type, event, nullptr);
        leave.type = VX_EVENT_LEAVE;
        runGlyphCallbacks(selected, &leave);
        vars.selection_index = -1;
        setGlyphCursor(false);
        redraw();
    }
    return g ? g->processEvent(type, event) : 1;
}
