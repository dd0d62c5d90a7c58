// One member of a map's stack of layers: a viewport item bound to a named
// VXLayer (the paint cache) that draws a raster from a grid file, vectors
// from a vector file, filled vectors over a water background, or a veil of
// shade that is clear about the centre of the map.
//
// A layer is made by its map (VXMap::makeMaplayer) from a definition text
// and is never in the display list by itself: the map places it at every
// paint.  Its map data file is checked when the definition is applied but
// opened only at the first draw; a file that fails to open then turns the
// layer off for good, with one non-blocking message box.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "map/mapdata.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>

#include <memory>

class QImage;
class QPainter;
class VXLayerPan;
class VXMap;
class VXViewport;

// type values.
enum {
    VX_MAPLAYER_GRID = 5,
    VX_MAPLAYER_VECTOR = 6,
    VX_MAPLAYER_VECTOR_FILL = 7,
    VX_MAPLAYER_SHADE = 8,
};

struct VxMapLayer
{
    int type = 0;                   // VX_MAPLAYER_, 0 before a definition
    double opacity = 1.0;           // 0 to 1; at or below 0 nothing is drawn
    double gamma = 1.0, lightmin = 0.0;  // raster lightness shaping
    int antialias = 1;
    VXMapData* mapdata = nullptr;   // owned; null until first drawn
    int nodata = 0;                 // 1 once opening the file failed; never retried
    VXMap* map = nullptr;           // owner
    double shade_lonl = 0.0, shade_latl = 0.0;  // point of full light
    QImage* shade_image = nullptr;  // wraps shade_image_buf, ARGB32
    unsigned char* shade_image_buf = nullptr;
    size_t shade_image_buf_size = 0;
    int shade_width = 0, shade_height = 0;
    double shade_xmin = 0.0, shade_xmax = 0.0, shade_ymin = 0.0, shade_ymax = 0.0;
    double shade_dx = 0.0, shade_dy = 0.0;
    int shade_tran = 0;
    double shade_latr = 0.0, shade_lonr = 0.0;
    double linewidth = -1.0;        // default outline width; negative: none
    QString mapdata_source;         // path found when the definition was applied
    QList<int> allowed_projections; // "shade": VX_MAP_ values it draws in
    VX_Color outline_color, fill_color, background_color, transparent_color;
    QHash<int, VxMapLayerLevel> levels;       // keyed from 1
    QList<QList<QString>> map_resolutions;    // per resolution index: words to draw
};

class VXPLOT_EXPORT VXMapLayer : public VXViewportItem, public VXConfigure
{
public:
    // An item of viewport, not registered in its display list.  A null map
    // throws the text "VXMapLayer::VXMapLayer: Need non-NULL VXMap pointer.".
    // The only key is "definition".
    VXMapLayer(VXViewport* viewport, VXMap* map);
    ~VXMapLayer() override;

    // Clip to the plot area and draw().  A frame of a pan on a flat map is
    // composed from the layer's pan picture (drawn over the view widened by
    // a margin) shifted by the pan's offset; the layer draws again when the
    // offset leaves the margin and when the pan ends.
    int drawViewportItem(QPainter* painter) override;
    void setVisibility() override {}
    // Clip to the plot area and draw(), whatever the gesture.
    int drawClipped(QPainter* painter);

    // Draw the layer; 0 when it draws nothing (no map or viewport, opacity
    // at or below 0, a shade outside its projections), else 1.
    int draw(QPainter* painter);

    // A width list "w" or "w:ppd,w:ppd,w..." (ppd: pixels per degree from
    // which the width holds) into out, which is cleared first.  0; -1 with
    // a registered message.
    static int parseLinewidths(QString text, QList<VxMapLayerLevelLinewidth>& out);

    // The shade image of width by height pixels over the world window of
    // projection tran about latr, lonr, fully lit at latl, lonl.  Owned by
    // the layer and reused; null for an empty size or when memory runs out.
    QImage* drawShadeImage(int width, int height, int tran, double xleft, double xright, double ybottom,
                           double ytop, double lonr, double latr, double lonl, double latl);

    // Apply a definition text ("definition &Arr{...}").  All keys are read
    // and checked before anything changes.  0 (also for a null value); -1
    // with the messages registered and the layer as it was.
    int parseDefinition(const char* value);

    VxMapLayer vars;

private:
    void fillShadeImage();
    void clear();

    std::unique_ptr<VXLayerPan> pan;  // while a pan runs; null otherwise
};
