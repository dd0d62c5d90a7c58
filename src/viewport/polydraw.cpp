// Paths of polylines in plot-area pixels, with off-view runs dropped.
#include "viewport/polydraw.h"

#include "viewport/scaledata.h"
#include "viewport/viewport.h"

#include <QPainterPath>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

// What to do with a point by the zone of the previous point (row) and of
// this one (column).  Zones number the plane row by row from the top left,
// 4 being the view:
//   0 1 2
//   3 4 5
//   6 7 8
// S skip the point, only remember it; C emit it; L emit the previous point
// first, since the segment may cross the view.
enum Action : unsigned char { S, C, L };
constexpr Action zone_actions[9][9] = {
    {S, C, C, C, L, L, C, L, L},
    {C, S, C, L, L, L, L, L, L},
    {C, C, S, L, L, C, L, L, C},
    {C, L, L, S, L, L, C, L, L},
    {C, C, C, C, C, C, C, C, C},
    {L, L, C, L, L, S, L, L, C},
    {C, L, L, C, L, L, S, C, C},
    {L, L, L, L, L, L, C, S, C},
    {L, L, C, L, L, C, C, C, S},
};

int zoneOf(double x, double y)
{
    const int col = x < 0.0 ? 0 : (x > 1.0 ? 2 : 1);
    const int row = y < 0.0 ? 0 : (y > 1.0 ? 2 : 1);
    return 3 * row + col;
}

// Points to a path, or to the sink when there is one.
struct PathOut
{
    QPainterPath* path;
    VXPolyDrawSink* sink;
    void operator()(bool move, double x, double y)
    {
        if (sink) {
            if (move)
                sink->moveTo(x, y);
            else
                sink->lineTo(x, y);
        } else if (move) {
            path->moveTo(x, y);
        } else {
            path->lineTo(x, y);
        }
    }
};

// Points to the arrays of addRuns(), moved by the offset.  A run's count
// is set when it ends (close()), not per point.
struct RunsOut
{
    std::vector<QPointF>* points;
    std::vector<VXPolyDrawRun>* runs;
    double xoffset, yoffset;
    bool open = false;  // runs->back() is being filled
    void operator()(bool move, double x, double y)
    {
        if (move || !open) {
            close();
            runs->push_back({static_cast<uint32_t>(points->size()), 0});
            open = true;
        }
        points->push_back(QPointF(x + xoffset, y + yoffset));
    }
    void close()
    {
        if (open)
            runs->back().count = static_cast<uint32_t>(points->size() - runs->back().first);
        open = false;
    }
};

double* allocOrDie(long n, const char* what)
{
    double* p = static_cast<double*>(malloc(static_cast<size_t>(n) * sizeof(double)));
    if (!p) {
        fprintf(stderr, "VXPolyDraw::addPoints: malloc (%s,%ld) error.\n", what, n);
        exit(1);
    }
    return p;
}

} // namespace

VXPolyDraw::VXPolyDraw(VxViewport* viewport, int ignoretran, double xgain_in, double ygain_in, int xmode_in,
                       int ymode_in)
    : scale(new VXScaledata(viewport, ignoretran, xmode_in, ymode_in)), w(scale->w), h(scale->h), x_last(0.0),
      y_last(0.0), ret_last(0), zone_last(4), first(1), xgain(xgain_in), ygain(ygain_in), xmode(xmode_in),
      ymode(ymode_in)
{
}

VXPolyDraw::~VXPolyDraw()
{
    delete scale;
}

// The zone rule's memory between points, kept in locals while a loop of
// the pump runs (out writes memory, which would otherwise reload it).
struct VXPolyDraw::ZoneState
{
    double x_last, y_last;
    int ret_last, zone_last, first;
    bool move_pending;
};

VXPolyDraw::ZoneState VXPolyDraw::loadZone() const
{
    return {x_last, y_last, ret_last, zone_last, first, move_pending};
}

void VXPolyDraw::storeZone(const ZoneState& z)
{
    x_last = z.x_last;
    y_last = z.y_last;
    ret_last = z.ret_last;
    zone_last = z.zone_last;
    first = z.first;
    move_pending = z.move_pending;
}

// in line in the loops of the pump
template <class Out>
[[gnu::always_inline]] inline void VXPolyDraw::emitPoint(Out& out, ZoneState& z, int disposition, double x,
                                                         double y) const
{
    if (z.move_pending) {
        disposition = VXScaledata::disposition_moveTo;
        z.move_pending = false;
    }
    out(disposition == VXScaledata::disposition_moveTo, w * x, h * y);
}

// in line in the loops of the pump
template <class Out>
[[gnu::always_inline]] inline void VXPolyDraw::takePoint(Out& out, ZoneState& z, int ret, double x, double y,
                                                         int* start) const
{
    const int zone = zoneOf(x, y);
    if (*start)
        ret = VXScaledata::disposition_moveTo;
    if (*start || z.first) {
        *start = 0;
        z.first = 0;
        z.move_pending = false;
        emitPoint(out, z, ret, x, y);
    } else {
        switch (zone_actions[z.zone_last][zone]) {
        case S:
            // a line that begins here must still begin with a move when a
            // later point of it is emitted
            if (ret == VXScaledata::disposition_moveTo)
                z.move_pending = true;
            break;
        case L:
            emitPoint(out, z, z.ret_last, z.x_last, z.y_last);
            [[fallthrough]];
        case C:
            emitPoint(out, z, ret, x, y);
            break;
        }
    }
    z.x_last = x;
    z.y_last = y;
    z.zone_last = zone;
    z.ret_last = ret;
}

bool VXPolyDraw::linearPump() const
{
    // without a projection and on linear viewport scales the pump only
    // moves and scales each point (VXScaledata::place, normalise) and cuts
    // the line at points that can't be placed; its state between points
    // is then its start flag alone
    const VXScaledata& s = *scale;
    const bool plane = s.map_tran != VX_MAP_EDP && s.map_tran != VX_MAP_GLOBE && s.map_tran != VX_MAP_MERC;
    return plane && s.plxmode == 0 && s.plymode == 0 && s.vpxmode != VX_SCALE_LOG && s.vpymode != VX_SCALE_LOG &&
           s.w > 0 && s.h > 0 && s.ndelta == 0;
}

template <class Out>
void VXPolyDraw::addRunLinear(Out& out, int npts, const double* xpts, const double* ypts, int start)
{
    VXScaledata& s = *scale;
    const double xstart = s.xstart, xscale = s.xscale, ystart = s.ystart, yscale = s.yscale;
    int line_starts = s.start;  // in a register while out writes memory
    ZoneState z = loadZone();
    for (int i = 0; i < npts; i++) {
        const double xin = xpts[i] * xgain, yin = ypts[i] * ygain;
        const double x = (xin - xstart) * xscale, y = (yin - ystart) * yscale;
        if (xin == VX_NULL_VALUE || yin == VX_NULL_VALUE || !std::isfinite(x) || !std::isfinite(y) ||
            !std::isfinite(xin) || !std::isfinite(yin)) {
            line_starts = 1;  // the line breaks here
            continue;
        }
        const int ret = line_starts ? VXScaledata::disposition_moveTo : VXScaledata::disposition_lineTo;
        line_starts = 0;
        takePoint(out, z, ret, x, y, &start);
    }
    s.start = line_starts;
    storeZone(z);
}

template <class Out>
void VXPolyDraw::addRun(Out& out, int npts, const double* xpts, const double* ypts, int start)
{
    if (linearPump()) {
        addRunLinear(out, npts, xpts, ypts, start);
        return;
    }
    ZoneState z = loadZone();
    for (int i = 0; i < npts; i++) {
        scale->pushPoint(xpts[i] * xgain, ypts[i] * ygain);
        for (;;) {
            double x, y;
            const int ret = scale->popPoint(&x, &y);
            if (ret != VXScaledata::disposition_moveTo && ret != VXScaledata::disposition_lineTo)
                break;
            takePoint(out, z, ret, x, y, &start);
        }
    }
    storeZone(z);
}

QPainterPath* VXPolyDraw::addPoints(QPainterPath* path, int npts, double* xpts, double* ypts, int start,
                                    int subtract)
{
    if (!path || npts <= 0 || !xpts || !ypts)
        return path;
    if (!subtract) {
        PathOut out{path, sink};
        addRun(out, npts, xpts, ypts, start);
        return path;
    }
    QPainterPath temp;
    PathOut out{&temp, sink};
    addRun(out, npts, xpts, ypts, start);
    if (!temp.isEmpty())
        *path -= temp;
    return path;
}

QPainterPath* VXPolyDraw::addPoints(QPainterPath* path, int npts, double* xpts, double* ypts, double null_value,
                                    int start)
{
    if (!path || npts <= 0 || !xpts || !ypts)
        return path;
    int i = 0;
    while (i < npts) {
        if (xpts[i] == null_value || ypts[i] == null_value) {
            // every run after a gap begins a new line
            start = 1;
            i++;
            continue;
        }
        int j = i;
        while (j < npts && xpts[j] != null_value && ypts[j] != null_value)
            j++;
        addPoints(path, j - i, xpts + i, ypts + i, start, 0);
        i = j;
    }
    return path;
}

void VXPolyDraw::addRuns(std::vector<QPointF>* points, std::vector<VXPolyDrawRun>* runs, int npts,
                         const double* xpts, const double* ypts, int start, double xoffset, double yoffset)
{
    if (!points || !runs || npts <= 0 || !xpts || !ypts)
        return;
    if (start && linearPump() && addRunInside(points, runs, npts, xpts, ypts, xoffset, yoffset))
        return;
    RunsOut out{points, runs, xoffset, yoffset};
    try {
        addRun(out, npts, xpts, ypts, start);
    } catch (...) {
        out.close();
        throw;
    }
    out.close();
}

bool VXPolyDraw::addRunInside(std::vector<QPointF>* points, std::vector<VXPolyDrawRun>* runs, int npts,
                               const double* xpts, const double* ypts, double xoffset, double yoffset)
{
    // Every point of a line inside the view (zone 4 after zone 4) is
    // emitted as it comes, the first as a move: place them all in one
    // branch-free pass and keep them when none fell outside.  A point that
    // is null, not finite or outside leaves the line to the zone rule.
    VXScaledata& s = *scale;
    const double xstart = s.xstart, xscale = s.xscale, ystart = s.ystart, yscale = s.yscale;
    const size_t base = points->size();
    points->resize(base + static_cast<size_t>(npts));
    QPointF* out = points->data() + base;
    bool inside = true;
    double x = 0.0, y = 0.0;
    for (int i = 0; i < npts; i++) {
        const double xin = xpts[i] * xgain, yin = ypts[i] * ygain;
        x = (xin - xstart) * xscale;
        y = (yin - ystart) * yscale;
        inside &= xin != VX_NULL_VALUE && yin != VX_NULL_VALUE && x >= 0.0 && x <= 1.0 && y >= 0.0 && y <= 1.0;
        out[i] = QPointF(w * x + xoffset, h * y + yoffset);
    }
    if (!inside) {
        points->resize(base);
        return false;
    }
    runs->push_back({static_cast<uint32_t>(base), static_cast<uint32_t>(npts)});
    s.start = 0;
    ZoneState z = loadZone();
    z.x_last = x;
    z.y_last = y;
    z.zone_last = 4;
    z.ret_last = npts == 1 ? VXScaledata::disposition_moveTo : VXScaledata::disposition_lineTo;
    z.first = 0;
    z.move_pending = false;
    storeZone(z);
    return true;
}

QPainterPath* VXPolyDraw::addPoints(QPainterPath* path, QPainterPath* from, int start, int subtract)
{
    if (!from || from->isEmpty())
        return nullptr;
    const long n = from->elementCount();
    double* xpts = allocOrDie(n, "xpts");
    double* ypts = allocOrDie(n, "ypts");
    for (long i = 0; i < n; i++) {
        const QPainterPath::Element e = from->elementAt(static_cast<int>(i));
        xpts[i] = e.x;
        ypts[i] = e.y;
    }
    QPainterPath* ret = addPoints(path, static_cast<int>(n), xpts, ypts, start, subtract);
    free(ypts);
    free(xpts);
    return ret;
}
