// VXMap: the frames of a pan, composed by the map from one picture per
// cache group instead of being drawn by the layers into their caches.
#include "map/mapitem.h"

#include "items/axes.h"
#include "map/mapitem_pan_p.h"
#include "map/maplayer.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <QPainter>
#include <QSet>

bool VXMap::drawPanFrame(QPainter* painter)
{
    VXViewport* viewport = getViewportParent();
    if (!viewport || !painter)
        return false;
    const QList<VXViewportItem*> order = layerOrder();

    // A cache that also holds items other than this map's layers is
    // composited by the paint loop, so the whole frame is left to it.
    QSet<const VXViewportItem*> own;
    for (VXMapLayer* layer : std::as_const(vars.maplayer_definitions))
        own.insert(layer);
    for (VXViewportItem* item : order)
        if (auto* l = dynamic_cast<VXLayer*>(item))
            for (const VXViewportItem* member : std::as_const(l->display_list))
                if (!own.contains(member))
                    return false;

    if (!pan)
        pan = std::make_unique<PanPictures>();
    std::unordered_map<const void*, PanPictures::Slot> pictures;
    // what reaches the screen, bottom first: each cache where the paint
    // loop composites it, each layer without a cache where it draws
    for (VXViewportItem* item : order) {
        auto* cache = dynamic_cast<VXLayer*>(item);
        auto* layer = dynamic_cast<VXMapLayer*>(item);
        if (layer && layer->getLayer())
            continue;  // drawn into its cache's picture
        QList<VXMapLayer*> members;
        if (cache) {
            for (VXViewportItem* other : order)
                if (auto* m = dynamic_cast<VXMapLayer*>(other); m && m->getLayer() == cache)
                    members.append(m);
        } else if (layer) {
            members.append(layer);
        }
        if (members.isEmpty())
            continue;
        PanPictures::Slot slot;
        if (auto kept = pan->pictures.find(item); kept != pan->pictures.end() && kept->second.members == members &&
                                               kept->second.layer == cache)
            slot = std::move(kept->second);
        slot.layer = cache;
        slot.members = members;
        if (cache && cache->visibility == 0) {
            pictures.emplace(item, std::move(slot));
            continue;
        }
        slot.picture.setMaskColor(cache ? cache->getMaskColor() : nullptr);
        auto draw_members = [&members](QPainter* p) {
            int drawn = 0;
            for (VXMapLayer* m : std::as_const(members)) {
                // as the paint loop's painter for each item
                p->save();
                p->setRenderHint(QPainter::Antialiasing, m->antialias);
                if (m->drawClipped(p))
                    drawn = 1;
                p->restore();
            }
            return drawn;
        };
        painter->save();
        // no picture can be made (a plot of tens of thousands of pixels):
        // the layers draw straight onto the frame
        if (slot.picture.compose(painter, viewport, false, draw_members) < 0)
            draw_members(painter);
        painter->restore();
        pictures.emplace(item, std::move(slot));
    }
    // pictures of groups no longer shown are given back
    pan->pictures = std::move(pictures);

    if (VXAxes* grids = vars.grids) {
        viewport->removeItem(grids);
        VXLayer* l = grids->getLayer();
        if (l)
            viewport->removeItem(l);
        if (grids->item_display_pvt && grids->item_process_pvt && (!l || l->visibility)) {
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing, grids->antialias);
            grids->draw(painter);  // its grid lines from a picture of their own
            painter->restore();
        }
    }
    return true;
}
