// The pan picture of an item: what the item draws over its plot area
// widened by a margin on every side, from which the frames of a pan are
// composed.
//
// While the viewport's pan gesture runs (qevent_state 2) on a flat map
// (geog, merc, or no projection) with linear scales, the view moves by
// whole pixels only, so a frame is the picture copied at the pan's offset;
// the item draws again only when the offset leaves the margin.  When the
// gesture ends the item draws itself afresh as always, so the picture that
// stays on screen is exactly that of the new view, and the pan picture's
// memory is given back.  A change of the item's content during a gesture
// shows when the gesture ends, or when the offset next leaves the margin.
//
// Used by items that sit in a VXLayer (the map layers and the map's
// graticule): the layer's pixmap is cleared at every pan frame, and the
// item refills it with one copy of the picture instead of drawing.
#pragma once

#include <QColor>
#include <QImage>

#include <functional>

class QPainter;
class VXViewport;
struct VxViewport;

struct VxLayerPan
{
    QImage image;                  // premultiplied ARGB, device pixel ratio as the layers'
    int drawn = 0;                 // result of the item's draw into the picture
    int plot_w = 0, plot_h = 0;    // plot size when drawn, logical pixels
    int mleft = 0, mtop = 0;       // plot origin in the widget when drawn
    int margin_x = 0, margin_y = 0;  // logical pixels around the plot on each side
    int map_tran = 0, ratio = 1;
    double xleft = 0.0, ytop = 0.0;  // view when drawn
    double dx = 0.0, dy = 0.0;     // world units per pixel when drawn
    QColor mask_color;             // pixels of this colour are made transparent; invalid: none
};

class VXLayerPan
{
public:
    // True while v's pan gesture runs in a view that moves by whole pixels:
    // a flat map or no projection, linear scales on both axes.
    static bool panning(const VxViewport& v);

    // Compose the item's pan frame onto painter, clipped to the plot area:
    // the picture at the present offset, drawn anew first (by draw, with a
    // painter on the picture and the viewport's view widened by the margin)
    // when it does not cover the present view.  The result is draw's last
    // result (1 when something was drawn); -1 when no picture can be made
    // (plot too small, picture too large): the caller draws directly.
    int compose(QPainter* painter, VXViewport* viewport, bool antialias, const std::function<int(QPainter*)>& draw);

    // Give the picture's memory back; the next pan frame draws anew.
    void clear();
    // Key out a colour of the picture as a VXLayer's mask colour does at
    // composition (null: none); a change draws the picture anew.
    void setMaskColor(const QColor* color);

    VxLayerPan vars;

private:
    bool covers(const VxViewport& v, double* shift_x, double* shift_y) const;
    int render(VXViewport* viewport, bool antialias, const std::function<int(QPainter*)>& draw);
};
