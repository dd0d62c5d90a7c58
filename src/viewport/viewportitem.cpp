// Items of a viewport: registration, layer membership and the painter
// factory of the paint loop.
#include "viewport/viewportitem.h"

#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <QPainter>
#include <QPixmap>
#include <QWidget>

int VXViewportItem::next_order = 0;

VXViewportItem::VXViewportItem(VXViewport* master, QWidget* widget_, QString class_name_, int register_item)
    : widget(widget_), viewport_parent(master), class_name(std::move(class_name_))
{
    order = next_order++;
    viewport_guard = master;
    if (widget && master)
        widget->setMouseTracking(true);
    if (register_item && master) {
        master->registerItem(this);
        noderegister = 0;
    } else {
        noderegister = 1;
    }
}

VXViewportItem::~VXViewportItem()
{
    // a viewport that is already gone has nulled the guard
    if (!noderegister && viewport_parent && viewport_guard)
        viewport_parent->deregisterItem(this);
    // entries another viewport may hold (a shared layer, an item placed
    // with addItemAfter) must not outlive the item
    VXViewport::removeItemEverywhere(this);
    removeLayer();
}

int VXViewportItem::processEvent(int /*type*/, QEvent* /*event*/)
{
    return 1;
}

int VXViewportItem::drawViewportItem(QPainter* /*painter*/)
{
    return 0;
}

void VXViewportItem::setVisibility()
{
}

int VXViewportItem::getRelativeBox(double* /*x*/, double* /*y*/, double* /*w*/, double* /*h*/)
{
    return -1;
}

QString VXViewportItem::getFullLayerName(QString name)
{
    if (name.contains(QLatin1Char(':')))
        return name;
    if (!viewport_parent || !viewport_guard)
        return name;
    return name + QLatin1Char(':') + viewport_parent->vars.viewport_name;
}

QString VXViewportItem::setLayer(QString name)
{
    if (name.isEmpty()) {
        removeLayer();
        return QString();
    }
    if (!layer_name.isEmpty() && name == layer_name)
        return QString();
    removeLayer();
    layer_name = name;
    QString full = getFullLayerName(name);
    VXLayer* layer = VXLayer::getLayer(full);
    if (!viewport_parent || !viewport_guard) {
        // no viewport to make the layer in: the item draws directly until
        // a layer of this name appears
        return full;
    }
    QString result;
    if (!layer) {
        layer = new VXLayer(viewport_parent, full);
        result = full;
    } else {
        result = layer->item_name;
    }
    layer->addItem(this);
    viewport_parent->moveItemAfter(layer, this);
    return result;
}

VXLayer* VXViewportItem::getLayer()
{
    if (layer_name.isEmpty())
        return nullptr;
    return VXLayer::getLayer(getFullLayerName(layer_name));
}

bool VXViewportItem::hasLayer()
{
    return !layer_name.isEmpty();
}

QString VXViewportItem::getLayerName()
{
    return layer_name;
}

void VXViewportItem::removeLayer()
{
    if (VXLayer* layer = getLayer())
        layer->removeItem(this);
    layer_name.clear();
}

void VXViewportItem::setItemStale()
{
    if (VXLayer* layer = getLayer())
        layer->setStale();
}

void VXViewportItem::setItemName(QString name)
{
    item_name = std::move(name);
}

QString VXViewportItem::getItemName()
{
    return item_name;
}

void VXViewportItem::setAntialias(bool on)
{
    antialias = on;
}

VXViewport* VXViewportItem::getViewportParent()
{
    return viewport_guard ? viewport_parent : nullptr;
}

void VXViewportItem::showItem()
{
    item_display_pvt = 1;
}

void VXViewportItem::hideItem()
{
    item_display_pvt = 0;
}

bool VXViewportItem::isShown()
{
    return item_display_pvt != 0;
}

void VXViewportItem::processItem()
{
    item_process_pvt = 1;
}

void VXViewportItem::ignoreItem()
{
    item_process_pvt = 0;
}

void VXViewportItem::moveViewport(VXViewport* vp)
{
    if (vp == viewport_parent && viewport_guard)
        return;
    if (viewport_parent && viewport_guard)
        viewport_parent->deregisterItem(this);
    if (vp) {
        vp->registerItem(this);
        noderegister = 0;
    }
    viewport_parent = vp;
    viewport_guard = vp;
}

void VXViewportItem::showNames(QString* string, QString* lname)
{
    if (!string)
        return;
    string->append(class_name.isEmpty() ? QStringLiteral("NULL") : class_name);
    string->append(QStringLiteral(": "));
    string->append(item_name.isEmpty() ? QStringLiteral("NULL") : item_name);
    if (lname)
        *lname = layer_name.isEmpty() ? QStringLiteral("NULL") : layer_name;
}

QPainter* VXViewportItem::getPainter(QString* lname)
{
    if (lname)
        lname->clear();
    VXViewport* vp = getViewportParent();
    if (!vp)
        return nullptr;
    QPainter* painter = nullptr;
    VXLayer* layer = getLayer();
    if (!layer || (vp->vars.disable_layers && !layer->getMaskColor())) {
        painter = new QPainter(vp);
    } else {
        QWidget* source = widget ? widget : static_cast<QWidget*>(vp);
        VXLayer::setRatio(source);
        int width = source->width(), height = source->height();
        const int r = VXLayer::ratio > 0 ? VXLayer::ratio : 1;
        if (width < 1 || height < 1 || width > 32767 / r || height > 32767 / r) {
            // no pixmap can hold this: draw straight onto the widget
            painter = new QPainter(vp);
        } else {
            int lstale = 0;
            layer->setLayerSize(width, height, &lstale);
            if (!lstale && layer->stale == 0)
                return nullptr;  // the layer is clean: skip the item
            if (!lstale && layer->stale == 1)
                layer->clearLayer();
            layer->stale = 2;
            painter = new QPainter(layer->pixmap);
            if (lname)
                *lname = layer_name;
        }
    }
    if (antialias)
        painter->setRenderHint(QPainter::Antialiasing, true);
    return painter;
}
