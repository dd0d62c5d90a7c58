// Polylines as QPainterPaths in plot-area pixels, kept short.
//
// VXPolyDraw pumps world points through a VXScaledata and adds what can be
// seen to a path: points whose run stays outside the view on one side are
// dropped by a nine-zone rule (no clipping: the painter clips).  The path's
// coordinates are pixels from the plot area's top left corner; translate by
// mleft, mtop when painting.
//
// One object serves one drawing pass of one view.  Successive addPoints
// calls continue each other: the first point of a call joins the last one
// of the call before unless start is set.
#pragma once

#include "vxplot_export.h"

#include <QPointF>

#include <cstdint>
#include <vector>

class QPainterPath;
class VXScaledata;
struct VxViewport;

// Takes the points of VXPolyDraw in place of a path, for callers that
// stroke them at once: a long path costs more to build than to draw.
class VXPLOT_EXPORT VXPolyDrawSink
{
public:
    virtual ~VXPolyDrawSink() = default;
    virtual void moveTo(double x, double y) = 0;
    virtual void lineTo(double x, double y) = 0;
};

// A line that VXPolyDraw::addRuns() made: its first point in the points
// array, and how many.
struct VXPolyDrawRun
{
    uint32_t first, count;
};

class VXPLOT_EXPORT VXPolyDraw
{
public:
    // ignoretran, xmode, ymode as for VXScaledata; input is multiplied by
    // xgain, ygain first.
    VXPolyDraw(VxViewport* viewport, int ignoretran, double xgain, double ygain, int xmode, int ymode);
    ~VXPolyDraw();
    VXPolyDraw(const VXPolyDraw&) = delete;
    VXPolyDraw& operator=(const VXPolyDraw&) = delete;

    // Add npts points to path and return it (null for a null path).  start
    // forces a moveTo at the first point.  With subtract the points form a
    // path of their own, which is then removed from path.
    QPainterPath* addPoints(QPainterPath* path, int npts, double* xpts, double* ypts, int start, int subtract);
    // The same with gaps: points whose x or y equals null_value are left
    // out, and each run after a gap begins with a moveTo.
    QPainterPath* addPoints(QPainterPath* path, int npts, double* xpts, double* ypts, double null_value,
                            int start);
    // The points of every element of from (world coordinates); null when
    // from is empty.
    QPainterPath* addPoints(QPainterPath* path, QPainterPath* from, int start, int subtract);
    // Add npts points as addPoints() does, but as plot-area pixels moved
    // by xoffset, yoffset (mleft, mtop give the viewport's pixels)
    // appended to points, each line begun being a new run appended to
    // runs; the sink is not used.  With no projection and linear scales
    // this makes no call per point.  Run indices are 32-bit: the caller
    // keeps points below 2^32.  Growing the vectors may throw
    // std::bad_alloc.
    void addRuns(std::vector<QPointF>* points, std::vector<VXPolyDrawRun>* runs, int npts, const double* xpts,
                 const double* ypts, int start, double xoffset = 0.0, double yoffset = 0.0);
    // Whether a call with start set draws as it would on a fresh object:
    // true when the pump only scales points (no projection, linear
    // scales), since a start then overrides all it remembers.  A
    // projecting pump carries its last point over; use a new object.
    bool startsAnew() const { return linearPump(); }

    VXScaledata* scale;  // owned
    int w, h;            // plot size
    double x_last, y_last;  // last point seen, normalised
    int ret_last;           // its disposition
    int zone_last;          // its zone, 0 to 8
    int first;              // 1 until a point was emitted
    double xgain, ygain;
    int xmode, ymode;
    // When set, points go to the sink and the path given to addPoints()
    // stays as it is.  Not owned.
    VXPolyDrawSink* sink = nullptr;

private:
    // Where points go: Out is called as out(move, x, y) with plot-area
    // pixels (polydraw.cpp has the path or sink and the runs).
    template <class Out>
    void addRun(Out& out, int npts, const double* xpts, const double* ypts, int start);
    struct ZoneState;  // x_last to move_pending, in locals
    ZoneState loadZone() const;
    void storeZone(const ZoneState& z);
    template <class Out>
    void emitPoint(Out& out, ZoneState& z, int disposition, double x, double y) const;
    // One normalised point out of the pump, with its disposition, through
    // the nine-zone rule; *start forces a move and is cleared.
    template <class Out>
    void takePoint(Out& out, ZoneState& z, int ret, double x, double y, int* start) const;
    // Whether the pump only scales points (no projection, linear scales),
    // so that addRunLinear() may do its work in line.
    bool linearPump() const;
    template <class Out>
    void addRunLinear(Out& out, int npts, const double* xpts, const double* ypts, int start);
    // addRuns() of a line that starts anew and lies inside the view: one
    // run without the zone rule; false, with nothing added, otherwise
    bool addRunInside(std::vector<QPointF>* points, std::vector<VXPolyDrawRun>* runs, int npts, const double* xpts,
                      const double* ypts, double xoffset, double yoffset);

    // A point that begins a line was skipped: the next point emitted has to
    // begin the line in its place.
    bool move_pending = false;
};
