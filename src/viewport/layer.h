// Layers: off-screen pixmaps shared by items, the viewport's paint cache.
//
// A layer is itself an item of the display list.  Its member items draw
// into its pixmap, and its own list entry, which always sits right behind
// the member that joined last, composites the pixmap onto the viewport.
// While the layer is clean its members are skipped entirely, so a repaint
// of an unchanged view costs one drawPixmap per layer.
//
// Layer states (stale): 0 up to date, members are skipped; 1 invalid, the
// pixmap has been cleared; 2 members are drawing into it in this pass.
//
// Layers are known process-wide by their full name, "short:vp0000" or any
// name with a colon given by the caller; a second layer made under a name
// replaces (deletes) the first.  A layer lives as long as its viewport,
// which deletes it.
#pragma once

#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QRegion>
#include <QString>

class QColor;
class QPixmap;

class VXPLOT_EXPORT VXLayer : public VXViewportItem
{
public:
    // A registered item of master with class name "VXLayer", item name name
    // and no antialiasing.  A non-empty name is entered in the process-wide
    // table, deleting a layer already held under that name.
    VXLayer(VXViewport* master, QString name);
    // Leaves the table (when it holds this layer) and frees the pixmap.
    ~VXLayer() override;

    using VXViewportItem::getLayer;
    // The layer of that full name; null for an empty or unknown name.
    static VXLayer* getLayer(QString name);
    // Switch a layer on or off; a change invalidates it.
    static void setLayerVisibility(QString name, int visibility);
    // Device pixel ratio used for all layer pixmaps; 0 until first known.
    static int getRatio();

    // Make sure the pixmap is width by height logical pixels; *lstale
    // becomes 1 when it was (re)made and cleared, 0 when it was kept.
    void setLayerSize(int width, int height, int* lstale);
    // Fill the pixmap, if any, with transparency.
    void clearLayer();
    // Mark the content invalid and clear the pixmap at once.
    void setStale();
    // Use the pixmap's own alpha (no mask colour).
    void maskColorTransparent();
    // Make pixels of mask_color transparent at composition; not owned.
    void maskColorTransparent(QColor* mask_color);
    QColor* getMaskColor();
    // Shift in pixels at which the pixmap is composited.  Nothing is
    // invalidated: the caller asks for the repaint.
    void setShift(int xshift, int yshift);
    // Widget pixels that a shifted pixmap may cover; an empty region (the
    // default) means the plot area.  Nothing is invalidated.
    void setShiftClip(const QRegion& clip);
    QPixmap* getPixmap();
    // Whether the members draw at the next paint of a viewport of width by
    // height logical pixels, rather than being skipped for a clean pixmap:
    // the layer is stale, bypassed (disable_layers), or its pixmap is still
    // to be made at that size.  The test getPainter() makes.
    bool membersDrawn(int width, int height);

    // A layer is shown (processed) when at least one member is.
    void setVisibility() override;
    // Composite the pixmap; 0 when there is nothing to show.
    int drawViewportItem(QPainter* painter) override;

    int stale = 0;
    static QHash<QString, VXLayer*> layers;
    static int ratio;
    int xshift = 0, yshift = 0;
    QRegion shift_clip;  // empty: the plot area
    int w = -1, h = -1;
    QPixmap* pixmap = nullptr;
    QColor* mask_color = nullptr;
    QList<VXViewportItem*> display_list;
    int visibility = 1;

protected:
    friend class VXViewportItem;
    // Learn the device pixel ratio from widget, once per process.
    static void setRatio(QWidget* widget);
    void addItem(VXViewportItem* item);
    void removeItem(VXViewportItem* item);
};
