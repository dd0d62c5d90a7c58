// A line or filled polygon in world or viewport coordinates.
//
// The points come from one source at a time, each set by its key:
//   vector    "handle" or "handle:index" of a toolkit point set (hlvector.h);
//             a two-component set takes the index as its component
//   vector2   "handle:component" of a two-component set
//   thistory  the handle of a history
//   points    text, one "x y" entry per line (or per ',' or ';')
//   qlist     a QList<VX_XY>* as pointer text ("0x..."); copied
//   plpath    a VXPolylinePath* as pointer text; the item takes it over
//   trace     a record of a "Trace4.x" trace table, "%ld %ld %ld %ld"
//   test      any value: the built-in test curve
//   grid      reserved: a grid handle is accepted and draws nothing
// A new source replaces the points of the old one.  The path is rebuilt at
// each draw; under merc and geog maps longitudes repeat across the view.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "glyphs/graphicscontext.h"
#include "toolkit/store/recordstore.h"
#include "viewport/viewportitem.h"
#include "vxplot_export.h"

#include <QList>
#include <QString>

class QPainter;
class QPainterPath;
class VXViewport;

// A prepared path in degrees (x longitude, y latitude), and whether it
// encloses the north (np) and south (sp) poles.
struct VXPolylinePath
{
    QPainterPath* path = nullptr;  // owned
    int np = 0, sp = 0;
    ~VXPolylinePath();
};

// Coordinate modes of the input (xmode, ymode).
enum {
    VX_POLYLINE_WORLD = 0,     // world coordinates
    VX_POLYLINE_VIEWPORT = 2,  // fractions of the plot area, x from the left, y from the bottom
};

struct VxPolyline
{
    int linewidth = 1;             // pixels
    int linestyle = 1;             // Qt::PenStyle
    double xmin = 0.0, xmax = 0.0, ymin = 0.0, ymax = 0.0;  // bounds of the points, gaps left out
    double gap_value = 2.12345e30; // input value meaning "no point"
    int npts = 0;
    double* xpts = nullptr;        // malloc'd, owned
    double* ypts = nullptr;
    int xpts_size = 0, ypts_size = 0;
    char* vechandle = nullptr;     // text of the vector source, owned
    char* thandle = nullptr;       // text of the history source, owned
    VXPolylinePath* plpath = nullptr;  // owned
    double xgain = 1.0, ygain = 1.0;   // input multipliers
    int xmode = 0, ymode = 0;      // VX_POLYLINE_WORLD or VX_POLYLINE_VIEWPORT
    VX_Color fill;                 // polygon fill; unset for a line
    VX_Color outline;              // line colour
    VX_Color fill_black;           // globe: the space around the disc
    VxGraphicsContext gc;          // when not empty, drawn instead of the colours
};

class VXPLOT_EXPORT VXPolyline : public VXViewportItem, public VXConfigure
{
public:
    // An item with no widget, registered with master when one is given.
    explicit VXPolyline(VXViewport* master);
    ~VXPolyline() override;

    // Install the configuration table and its defaults.
    void init();

    void setGc(VxGraphicsContext gc);
    // Reserved grid source: 0.
    int setSourceHlgrid(QString handle);

    // The sources, as the keys set them.  0; -1 after registering an error.
    int setSourceVector(const char* text);
    int setSourceVector2(const char* text);
    int setSourceHistory(const char* handle);
    // Takes path over (deleting the present one); null only clears.
    int setSourcePath(VXPolylinePath* path);
    int setSourceQList(const QList<VX_XY>* list);
    // Bad entries are dropped with a registered line each, the good ones
    // stay, and the result is then -1.
    int setSourcePoints(const char* text);
    int setSourceTest();
    // The samples of a trace row (time + i / samprate, value), or of every
    // row of its bundle when the table has one, with a gap point between
    // rows; gap_value becomes the waveform gap marker.
    int setSourceTrace(Rsptr trace);

    // Draw the source; 0 when there is nothing to draw, 1 when drawn.
    int draw(QPainter* painter);
    int drawViewportItem(QPainter* painter) override;
    // Polylines are always processed: nothing to do.
    void setVisibility() override;

    VxPolyline vars;

    // Free the points and forget the path.
    void clearPoints();
    // Take over malloc'd arrays of n points (freeing the old ones) and
    // update the bounds.
    void adoptPoints(int n, double* x, double* y, int x_size, int y_size);
};
