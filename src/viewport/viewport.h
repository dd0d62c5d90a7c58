// The viewport: the widget through which every picture of the library goes.
//
// Three coordinate spaces meet here.  World coordinates are those of the
// data, longitude and latitude in degrees under a map.  Viewport coordinates
// are the linear space between xleft and xright, ybottom and ytop: world
// coordinates without a map, projected ones with a map, log10 steps in a
// logarithmic mode.  Pixels count from the widget's top left corner, x to the
// right and y down; the plot area is inset by the four margins.
//
// All view state lives in one record, VxViewport, so that the transforms
// also run as static functions on a copy of it, on any thread.  The member
// forms act on the widget's own record (vars).
//
// Painting is never synchronous: callers invalidate (setStale(),
// setItemStale()) and ask Qt for an update(); the paint event then walks the
// display list once, bottom item first.
//
// Results: 0 on success, -1 on failure.  Transforms fail quietly (a plot
// area under 3 pixels, a point behind the globe); parsers register a line.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "viewport/viewportitem.h"
#include "viewport/vxevent.h"
#include "vxplot_export.h"

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>

class QEnterEvent;
class QGridLayout;
class QKeyEvent;
class QMouseEvent;
class QWheelEvent;
class QPainterPath;
class QResizeEvent;
class QRubberBand;
class VXLogo;

// A coordinate that is not specified; compared exactly, never NaN.
inline constexpr double VX_NULL_VALUE = 2.12345e30;

// Map modes (map_tran) and scale modes (xmode, ymode).
enum {
    VX_MAP_NONE = 0,
    VX_MAP_EDP = 1,
    VX_MAP_GLOBE = 2,
    VX_MAP_MERC = 3,
    VX_MAP_GEOG = 4,
};
enum {
    VX_SCALE_LIN = 0,
    VX_SCALE_LOG = 1,
    VX_SCALE_TIME = 2,
};

// Paint callback: stale is 9 after a resize, 10 after a plain paint; event
// holds the size and the old size (equal unless this callback is the first
// to run after a resize).
typedef std::function<void(void* item, int stale, QResizeEvent* event, void* client_data)> VxViewportPaintCallbackProc;
typedef std::function<void(void* item, QResizeEvent* event, void* client_data)> VxViewportResizeCallbackProc;
typedef std::function<void(void* item, VXEvent* event, void* client_data)> VxViewportEventCallbackProc;

struct VxViewportPaintCallback
{
    VxViewportPaintCallbackProc callback_proc;
    void* item = nullptr;
    HL_ClientData client_data = nullptr;
    int stale = 0;  // 0 nothing to report, 9 resized, 10 painted
};

struct VxViewportResizeCallback
{
    VxViewportResizeCallbackProc callback_proc;
    void* item = nullptr;
    HL_ClientData client_data = nullptr;
};

struct VxViewportEventCallback
{
    VxViewportEventCallbackProc callback_proc;
    void* item = nullptr;
    HL_ClientData client_data = nullptr;
};

// The viewport's state.  Sizes in pixels; limits in viewport coordinates.
struct VxViewport
{
    int w = 0, h = 0;               // current widget size
    int spc_w = 0, spc_h = 0;       // size asked for; 0: the widget's
    int last_w = 0, last_h = 0;     // size at the last setScales
    int mleft = 0, mright = 0, mbottom = 0, mtop = 0;
    double opacity = 0.0;           // of the background fills, 0 to 1
    int preserve_xscale = 0;        // keep units per pixel when the width changes
    double xscale_anchor = 0.0;     // fraction of the plot width held fixed then
    int preserve_yscale = 0;
    double yscale_anchor = 0.0;
    int center_yscale = 0;          // constant_aspect changes y about its centre
    double constant_aspect = 0.0;   // > 0: x units per y unit held on screen
    double xleft = 0.0, xright = 0.0, ybottom = 0.0, ytop = 0.0;  // effective view
    double spc_xleft = 0.0, spc_xright = 0.0, spc_ybottom = 0.0, spc_ytop = 0.0;  // specified view
    int xoffset = 0, yoffset = 0;   // translation in pixels
    int xgain_anchor = 0, ygain_anchor = 0;  // pixel that stays fixed under gain
    double xgain = 0.0, ygain = 0.0;  // 1.0 is none; above 1 zooms out
    int xmode = 0, ymode = 0;       // VX_SCALE_
    double xmin = 0.0, xmax = 0.0, ymin = 0.0, ymax = 0.0;  // data bounds, fallback of the view
    int map_tran = 0;               // VX_MAP_
    double latr = 0.0, lonr = 0.0;  // projection reference point, degrees
    double range = 0.0;             // view width in degrees of the projected x axis
    double latl = 0.0, lonl = 0.0;  // second reference point, for clients
    double bblatmin = 0.0, bblatmax = 0.0, bblonmin = 0.0, bblonmax = 0.0;  // computeMapBB
    int qevent_state = 0;           // 1 idle, 2 pan, 3 box zoom in, 4 box zoom out, 5 reference drag
    QPointF mouse_start, mouse_start_wc;  // gesture start: pixels; world (x, y or lon, lat)
    QRubberBand* rubberband = nullptr;
    VXLogo* logo = nullptr;
    QResizeEvent* resize_event = nullptr;  // from a resize to the first paint callback
    int mouse_timer_event = 0, wheel_timer_event = 0;  // 1 while a coalesced pan, wheel zoom waits
    int default_event_processing = 0;  // 0 off, 1 all interactions, 2 all but the wheel
    QWidget* parent = nullptr;
    int make_logo = 0;
    VXViewportItem* item_grab = nullptr;  // takes every event while set; see grabEventStream()
    QGridLayout* layout = nullptr;         // stacks item widgets
    QGridLayout* layout_parent = nullptr;  // made in the parent, if any
    int debug = 0;
    int disable_layers = 0;         // draw layers without mask colour directly
    unsigned char cursor_opacity = 0;
    QString viewport_name;          // "vp0000"
    VX_Color background, background_frame;  // plot area, whole widget
    QList<VXViewportItem*> display_list;
    QList<VxViewportPaintCallback> paint_callbacks;
    QList<VxViewportEventCallback> event_callbacks;
    QList<VxViewportResizeCallback> resize_callbacks;
};

class VXPLOT_EXPORT VXViewport : public QWidget, public VXViewportItem, public VXConfigure
{
    Q_OBJECT

public:
    // With make_parent_layout the viewport fills a new grid layout of parent
    // (when parent has no layout yet).  make_logo asks for the splash logo
    // at the first paint large enough for it.
    VXViewport(QWidget* parent, int make_parent_layout, int make_logo);
    // Deletes the logo and the layers this viewport made; items still listed
    // are detached, not deleted.
    ~VXViewport() override;

    // --- display list (the viewport's own entry is at index 0) ---
    void registerItem(VXViewportItem* item);
    void deregisterItem(VXViewportItem* item);
    void removeItem(VXViewportItem* item);
    void addItemAfter(VXViewportItem* item, VXViewportItem* after_item);
    // Removes item first, so an unknown after_item leaves it out of the list.
    void moveItemAfter(VXViewportItem* item, VXViewportItem* after_item);
    void moveItemToTop(VXViewportItem* item);
    void moveItemToBottom(VXViewportItem* item);
    void showDisplayList(const char* prefix);
    // Take item out of the display list of every viewport and out of their
    // event grabs; for items going away (a layer shared by viewports sits in
    // the lists of all of them).
    static void removeItemEverywhere(VXViewportItem* item);

    // --- scales and transforms (viewport_coords.cpp) ---
    // Plot size and the linear scales of both axes.  -1 when the plot area
    // is under 3 pixels in either direction.  In a logarithmic mode with a
    // limit not above 0 the outputs of that axis are left as they were.
    int getScales(int* w, int* h, double* xstart, double* xend, double* xscale, double* ystart, double* yend,
                  double* yscale);
    static int getScales(const VxViewport* vp, int* w, int* h, double* xstart, double* xend, double* xscale,
                         double* ystart, double* yend, double* yscale);
    // World to pixel; no_map_tran skips the projection, no_pscale stops at
    // viewport coordinates.
    int getPcoords(double xcoord, double ycoord, double* x, double* y, int no_map_tran, int no_pscale);
    static int getPcoords(const VxViewport* vp, double xcoord, double ycoord, double* x, double* y, int no_map_tran,
                          int no_pscale);
    // Viewport coordinate to pixel, one axis.
    int getPcoordX(double xcoord, double* x);
    static int getPcoordX(const VxViewport* vp, double xcoord, double* x);
    int getPcoordY(double ycoord, double* y);
    static int getPcoordY(const VxViewport* vp, double ycoord, double* y);
    // Pixel to world; with vp_input x, y are fractions of the plot area,
    // y counted upwards.
    int getWcoords(double x, double y, double* xcoord, double* ycoord, int no_map_tran, int no_pscale, int vp_input);
    static int getWcoords(const VxViewport* vp, double x, double y, double* xcoord, double* ycoord, int no_map_tran,
                          int no_pscale, int vp_input);
    // Specified view, offset and gain to the effective view.
    int translateAndGain();
    static int translateAndGain(VxViewport* vp);
    // A closed geographic polygon as a path in plot-area pixels, repeated
    // over the 360 degree copies the view shows; lons (and, reversed, lats)
    // are modified.  np, sp: the view holds the north, south pole.  Null when
    // nothing is to be drawn.  The caller deletes the path.
    QPainterPath* wrapLongitudes(int n, double* lons, double* lats, int np, int sp);
    static QPainterPath* wrapLongitudes(VxViewport* vp, int n, double* lons, double* lats, int np, int sp);
    QPainterPath* wrapLongitudes(QPainterPath* path, int np, int sp);
    static QPainterPath* wrapLongitudes(VxViewport* vp, QPainterPath* path, int np, int sp);

    // Set the specified limits; VX_NULL_VALUE means no change.  A change
    // recomputes the view and invalidates all layers.
    void setWcoordsX(double xleft, double xright);
    void setWcoordsY(double ybottom, double ytop);
    // Bring the view up to date with the widget size; run by every paint.
    void setScales();
    // Outline of the view in world coordinates, nside points an edge; null
    // for an empty view.  *np, *sp: a pole lies in the view.
    QPainterPath* getWcoordsBB(int nside, int* np, int* sp);
    void computeMapBB();
    // Pull a projected point onto the rim of the edp (180) or globe (90)
    // disk.
    void limitBB(double* x, double* y);
    // Zoom about the world point xw, yw: a positive factor multiplies the
    // extent, a factor not above 0 gives the new extent itself (-factor).
    // Invalidates and asks for a repaint.
    void zoom(double xw, double yw, double xfactor, double yfactor);
    // Centre the view on a world point; the caller recomputes and repaints.
    void center(double xwc, double ywc);

    // --- pixel expressions and anchors (pixelexpr.cpp) ---
    // Evaluate "1.0v-2", "fleft+10", "0r" ... into pixels from the plot
    // area's left and bottom edges.  relative: a VXViewportItem* whose
    // getRelativeBox() "r" terms refer to, or null.
    int getPixels(const char* xstr, const char* ystr, double* xpixels, double* ypixels, void* relative);
    // A plain pixel count, rounded half away from zero.
    static int getPixels(const char* str, int* pixels);
    // One term, added to *xpixels (set, for an "r" term).
    int getXPixel(const char* xstr, double* xpixels, void* relative);
    int getYPixel(const char* ystr, double* ypixels, void* relative);
    // Fractions of a box at an anchor, from left (jx) and bottom (jy).
    static void parseAnchor(const char* anchor, double* jx, double* jy);
    static void parseAnchor(int anchor, double* jx, double* jy);

    // --- painting (viewport_paint.cpp) ---
    // Invalidate the layer of every listed item.
    void setStale();
    // The viewport as its own bottom item: the background fills.
    int drawViewportItem(QPainter* painter) override;
    void setPaintCallback(VxViewportPaintCallbackProc callback, void* item, HL_ClientData client_data);
    // Remove every record holding the same function: the same function
    // pointer, or for other callables the same callable type.
    void removePaintCallback(VxViewportPaintCallbackProc callback);
    void setResizeCallback(VxViewportResizeCallbackProc callback, void* item, HL_ClientData client_data);
    void setEventCallback(VxViewportEventCallbackProc callback, void* item, HL_ClientData client_data);
    QRectF boundingRect() const;
    // The default cursor: a thin cross, transparent at its centre.
    void setDefaultCursor(int force);

    // --- interaction (viewport_events.cpp) ---
    // Deliver an event of the given type (1 press ... 6 wheel): to the
    // grabbing item if any, else to the items from the top of the display
    // list down to the viewport's own entry, then to the event callbacks.
    // An item answering 2 consumes the event: nothing further sees it.  A
    // handler may add or delete items, or delete the viewport.  2 when
    // consumed, 1 when the callbacks ran, 0 when the viewport was deleted
    // on the way.
    int processevent_pvt(int type, QEvent* event);
    // Run the event callbacks, on a copy of the list, each with a fresh
    // VXEvent of event.
    void eventCallback(int type, QEvent* event);
    // The default interactions (pan, box zoom, reference drag, key and
    // wheel zoom), while default_event_processing is non-zero.  Always 1.
    int processEvent(int type, QEvent* event) override;
    // item takes every event until ungrabEventStream(); the event callbacks
    // still run.  An item that grabs must release.
    void grabEventStream(VXViewportItem* item);
    void ungrabEventStream();
    // Event-service notices (VXQKCallbackEvent) go to their receivers;
    // everything else to QWidget.
    bool event(QEvent* event) override;

    // --- drawing (viewport_draw.cpp) ---
    // Draw world coordinates clipped to the plot area: fill 0 an open line
    // with the pen, 1 a polygon with brush and pen, 2 the plot area outside
    // the polygon.  complete closes a line; ignoretran takes the points as
    // viewport coordinates.  VX_NULL_VALUE in a coordinate is a gap.  0, or
    // -1 when the scales fail or memory runs out.
    int polyDraw(QPainter* painter, int npts, double* xpts, double* ypts, int fill, int complete, int ignoretran);
    // Batch one clipped segment in normalised plot coordinates, or with
    // flush draw the batch.  w, h: the plot size, or both 0 to take it from
    // the state.
    void bufferDraws(QPainter* painter, int fill, int flush, int w, int h, double fx1, double fy1, double fx2,
                     double fy2);
    // Make room for fnpts + 1 points in the fill batch.  0; -1 out of memory.
    static int setFpoints(int fnpts, int* fpoints_size, QPointF** fpoints);
    // Text at x, y (pixels from the plot area's left and bottom edges) by the
    // anchor just ("c", "ne", ...; a last "b" anchors the background box).
    void drawText(QPainter* painter, VX_Font* font, double x, double y, const char* just, double angle,
                  const char* text, int show_not_symbol, int background_width, int background_height,
                  VX_Color* text_color, VX_Color* background_color, VX_Color* background_outline_color,
                  QPainterPath** path, double* xbb, double* ybb, int* wbb, int* hbb, int clip);
    // A time axis along the bottom: with width >= 0 a full-height line in
    // axis_color at each round time, then the times in time_format and
    // below them the dates in date_format (an empty format leaves its line
    // out).  Times up to 100000 s are not dates: they are written as plain
    // seconds "%.3f" with a blank date.  0; what getScales() answers when it
    // fails.  Defined with the axes item (items/axes_time.cpp).
    int drawXTimeAxis(QPainter* painter, VX_Font* font, VX_Color* axis_color, int width, int style,
                      VX_Color* text_color, char* time_format, char* date_format);
    // Index (*imin, -1 for none) and pixel distance of the shown point
    // nearest to the pixel x, y.  0; -1 when the scales fail.
    int findClosest(int npts, double* xpts, double* ypts, double x, double y, int* imin, double* dmin);
    // The first stage of polyDraw, for items that draw for themselves:
    // world (or viewport, with ignoretran) points to coordinates normalised
    // on the plot area (0 to 1, y up), map lines subdivided along their
    // curves.  Gaps become VX_NULL_VALUE when keep_gaps is set and are
    // dropped otherwise.  The arrays are malloc'd (free() them); 0, or -1
    // when the scales fail or memory runs out.
    static int normalizePoints(const VxViewport* vp, int npts, const double* xpts, const double* ypts, int ignoretran,
                               int keep_gaps, double** xout, double** yout, int* nout);

    VxViewport vars;
    double last_update_time = 0.0;  // epoch seconds of the last paint
    static int viewport_next_instance;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void init();
    // parts of processEvent (viewport_events.cpp)
    void pressIdle(const VXEvent& press, int qt_button);
    void keyIdle(const QString& text);
    void panTo(const VXEvent& move);
    void flushPan();
    void releasePan(const VXEvent& release);
    void releaseBox(const VXEvent& release);
    void fireWheel();
    int planeReference(QPointF pt, double* latr, double* lonr);
    // the events waiting for the pan and wheel timers
    std::unique_ptr<VXEvent> pan_pending, wheel_pending;
    void paintCallback();
    void resizeCallback();
    void makeLogo();
};

// Switch the map of viewport to another projection ("edp", "globe",
// "merc", "geog"), reconfiguring its view so that what is seen stays
// roughly where it was.  A null value does nothing; the current projection
// changes nothing.  0; -1 with a message and nothing changed for an
// unknown word.  (viewport_projection.cpp)
VXPLOT_EXPORT int map_parse_projection(VXViewport* viewport, const char* value);
