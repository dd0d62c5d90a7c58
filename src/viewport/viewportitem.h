// The contract of everything drawn inside a viewport.
//
// An item is drawn by the viewport's paint loop through a painter that
// getPainter() makes for it: a painter on the viewport widget for an item in
// no layer, a painter on the layer's pixmap for an item in a stale layer, and
// none at all (the item is skipped) for an item in a clean layer.  Events
// reach items from the top of the display list downwards.
//
// Items are owned by whoever made them (the command server, a compound
// item); the viewport only lists them.  A destroyed item leaves the display
// list of its viewport and its layer by itself.
#pragma once

#include "vxplot_export.h"

#include <QPointer>
#include <QString>

class QEvent;
class QObject;
class QPainter;
class QWidget;
class VXLayer;
class VXViewport;

class VXPLOT_EXPORT VXViewportItem
{
public:
    // master may be null.  widget is the item's own child widget, or null for
    // items that draw straight into the viewport; with both set the widget
    // gets mouse tracking.  With register_item and master set the item is
    // appended to master's display list.
    VXViewportItem(VXViewport* master, QWidget* widget, QString class_name, int register_item);
    // Leaves the display list (unless the item was never registered, or its
    // viewport is gone) and its layer.
    virtual ~VXViewportItem();

    VXViewportItem(const VXViewportItem&) = delete;
    VXViewportItem& operator=(const VXViewportItem&) = delete;

    // Offer an event of the given type (1 press ... 10 paint); 2 means the
    // item consumed it.  The default answers 1.
    virtual int processEvent(int type, QEvent* event);
    // Draw with painter; non-zero when something was drawn.  The default
    // draws nothing and answers 0.
    virtual int drawViewportItem(QPainter* painter);
    // Called at the start of the item's turn in every paint, before its
    // flags are looked at.  The default does nothing.
    virtual void setVisibility();
    // The box, in pixels from the plot area's left and bottom edges, that
    // "r" terms of pixel expressions refer to when this item is given as
    // their relative item: x, y of the box corner, w, h its size.  0 with
    // the box set; the default has no box and answers -1.
    virtual int getRelativeBox(double* x, double* y, double* w, double* h);

    // Join the layer name (short or full form; see getFullLayerName()),
    // creating the layer when none of that name exists, and put the layer's
    // list entry right behind this item.  Returns the full layer name; the
    // empty string for an empty name (the item leaves its layer) and for the
    // name the item already has (nothing changes).
    QString setLayer(QString name);
    // A name holding ":" is already full; any other becomes
    // "name:viewport_name".
    QString getFullLayerName(QString name);
    // The item's layer, or null when it has none or the layer is gone.
    VXLayer* getLayer();
    bool hasLayer();
    QString getLayerName();
    // Leave the layer (if it still exists) and forget the name.
    void removeLayer();
    // Invalidate the item's layer; nothing for an item in no layer, which is
    // drawn at every paint anyway.  The caller asks the viewport for a
    // repaint (update()).
    void setItemStale();

    void setItemName(QString name);
    QString getItemName();
    void setAntialias(bool antialias);
    VXViewport* getViewportParent();
    void showItem();
    void hideItem();
    bool isShown();
    void processItem();
    void ignoreItem();
    // Move the item to the display list of vp.
    void moveViewport(VXViewport* vp);
    // Append "class: name" to *string (with "NULL" for empty parts); with
    // lname also given, set it to the layer name or "NULL".
    void showNames(QString* string, QString* lname);
    // The painter for this item's turn of the paint loop, or null when the
    // item's layer is clean and the item is to be skipped.  *lname (when
    // given) receives the layer name when the painter draws into a layer,
    // else it is cleared.  The caller deletes the painter right after the
    // draw.
    QPainter* getPainter(QString* lname);

    int order = 0;                  // creation sequence number
    int item_process_pvt = 1;       // takes part in paint loop and event delivery
    int item_display_pvt = 1;       // shown
    QWidget* widget = nullptr;      // own child widget, or null
    VXViewport* viewport_parent = nullptr;
    QString layer_name;             // as the caller gave it; empty for no layer
    QString class_name;
    QString item_name;
    bool antialias = true;
    static int next_order;
    int noderegister = 1;           // 1: never registered, so never deregistered

private:
    // Becomes null when the viewport is destroyed, so that an item that
    // outlives its viewport does not reach into it.
    QPointer<QObject> viewport_guard;
};
