// The item that shows a trace view's image of its traces.
//
// It sits in the display list right under the view.  At rest it draws
// into the view's layer, so that the labels and axes are drawn over the
// image in one pixmap.  While a drag lasts it is in no layer: the view's
// QImage is its own cache, and it is copied onto the widget at the drag's
// shift at every paint.  At its turn of a paint it
//   - repaints the image when the view's layer is about to be drawn
//     without skip_render (the view's labels then follow the new layout),
//   - copies the image to the plot at the drag's shifts,
//   - slides the axes' layer with the image while a drag lasts (the axes
//     have a layer of their own then), so that a drag move in time draws
//     nothing but the overlays that follow the pointer.
// Owned by its view, which deletes it.
#pragma once

#include "viewport/viewportitem.h"

class VXTraceview;

class VXTraceviewImage : public VXViewportItem
{
public:
    // Registered in the view's viewport, right under the view.
    explicit VXTraceviewImage(VXTraceview* view);

    // Shown and processed as the view and its layer are.
    void setVisibility() override;
    int drawViewportItem(QPainter* painter) override;

private:
    // Whether the view's layer has its members drawn in this paint.
    bool viewDrawn();
    // The shift and the clip of the axes' layer for this paint.
    void slideAxes();

    VXTraceview* view;
};
