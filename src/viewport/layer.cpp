// Layers: the pixmap cache of the paint loop.
#include "viewport/layer.h"

#include "viewport/viewport.h"

#include <QBitmap>
#include <QColor>
#include <QPainter>
#include <QPixmap>

QHash<QString, VXLayer*> VXLayer::layers;
int VXLayer::ratio = 0;

VXLayer::VXLayer(VXViewport* master, QString name) : VXViewportItem(master, nullptr, QStringLiteral("VXLayer"), 1)
{
    item_name = name;
    antialias = false;
    if (!name.isEmpty()) {
        VXLayer* old = layers.value(name, nullptr);
        if (old && old != this)
            delete old;  // its destructor leaves the table
        layers.insert(name, this);
    }
}

VXLayer::~VXLayer()
{
    // Members keep their layer name and find a later layer of that name;
    // until one exists they draw directly.
    auto it = layers.find(item_name);
    if (it != layers.end() && it.value() == this)
        layers.erase(it);
    delete pixmap;
    pixmap = nullptr;
}

VXLayer* VXLayer::getLayer(QString name)
{
    if (name.isEmpty())
        return nullptr;
    return layers.value(name, nullptr);
}

void VXLayer::setLayerVisibility(QString name, int visibility_)
{
    VXLayer* layer = getLayer(name);
    if (!layer || layer->visibility == visibility_)
        return;
    layer->visibility = visibility_;
    layer->setStale();
}

int VXLayer::getRatio()
{
    return ratio;
}

void VXLayer::setRatio(QWidget* widget)
{
    if (ratio >= 1 || !widget)
        return;
    // the paint device answers for the screen the widget is on
    ratio = static_cast<int>(widget->devicePixelRatio());
    if (ratio < 1)
        ratio = 1;
}

void VXLayer::setLayerSize(int width, int height, int* lstale)
{
    if (pixmap && !pixmap->isNull() && w == width && h == height) {
        if (lstale)
            *lstale = 0;
        return;
    }
    const int r = ratio > 0 ? ratio : 1;
    delete pixmap;
    pixmap = new QPixmap(width * r, height * r);
    pixmap->setDevicePixelRatio(r);
    pixmap->fill(Qt::transparent);
    if (lstale)
        *lstale = 1;
    w = width;
    h = height;
}

void VXLayer::clearLayer()
{
    if (pixmap && !pixmap->isNull())
        pixmap->fill(Qt::transparent);
}

void VXLayer::setStale()
{
    stale = 1;
    clearLayer();
}

void VXLayer::maskColorTransparent()
{
    mask_color = nullptr;
}

void VXLayer::maskColorTransparent(QColor* color)
{
    mask_color = color;
}

QColor* VXLayer::getMaskColor()
{
    return mask_color;
}

void VXLayer::setShift(int xshift_, int yshift_)
{
    xshift = xshift_;
    yshift = yshift_;
}

void VXLayer::setShiftClip(const QRegion& clip)
{
    shift_clip = clip;
}

QPixmap* VXLayer::getPixmap()
{
    return pixmap;
}

bool VXLayer::membersDrawn(int width, int height)
{
    VXViewport* vp = getViewportParent();
    if (vp && vp->vars.disable_layers && !mask_color)
        return true;
    const int r = ratio > 0 ? ratio : 1;
    if (width < 1 || height < 1 || width > 32767 / r || height > 32767 / r)
        return true;  // drawn straight onto the widget
    return stale != 0 || !pixmap || pixmap->isNull() || w != width || h != height;
}

void VXLayer::setVisibility()
{
    item_process_pvt = 0;
    item_display_pvt = 0;
    for (VXViewportItem* item : std::as_const(display_list)) {
        if (item->item_process_pvt)
            item_process_pvt = 1;
        if (item->item_display_pvt)
            item_display_pvt = 1;
    }
}

int VXLayer::drawViewportItem(QPainter* painter)
{
    if (!painter || !pixmap || pixmap->isNull() || visibility == 0)
        return 0;
    VXViewport* vp = getViewportParent();
    if (vp && vp->vars.disable_layers && !mask_color)
        return 0;
    if (stale && mask_color)
        pixmap->setMask(pixmap->createMaskFromColor(*mask_color, Qt::MaskInColor));
    if (xshift == 0 && yshift == 0) {
        painter->drawPixmap(0, 0, *pixmap);
    } else {
        if (!shift_clip.isEmpty()) {
            painter->setClipRegion(shift_clip, Qt::ReplaceClip);
        } else if (vp) {
            const VxViewport& v = vp->vars;
            painter->setClipRect(v.mleft, v.mtop, v.w - v.mleft - v.mright, v.h - v.mbottom - v.mtop,
                                 Qt::ReplaceClip);
        }
        painter->drawPixmap(xshift, yshift, *pixmap);
    }
    stale = 0;
    return 1;
}

void VXLayer::addItem(VXViewportItem* item)
{
    display_list.append(item);
}

void VXLayer::removeItem(VXViewportItem* item)
{
    display_list.removeOne(item);
}
