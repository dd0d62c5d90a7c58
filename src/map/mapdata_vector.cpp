// VXMapData: the vector kernel and the spherical point-in-polygon test.
#include "map/mapdata.h"
#include "map/projection/edpplane_p.h"
#include "map/projection/longitude_p.h"
#include "map/projection/maptransform.h"
#include "map/projection/projections.h"

#include "foundation/messages.h"
#include "toolkit/base/errors.h"
#include "viewport/polydraw.h"
#include "viewport/viewport.h"

#include <QDebug>
#include <QPainter>
#include <QPainterPath>

#include <arpa/inet.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <unordered_map>
#include <vector>

namespace {

// The width of a level's lines at pixels_per_degree; -1.0 for none.
double getLinewidth(const VxMapLayerLevel& level, double pixels_per_degree)
{
    double width = -1.0;
    for (const VxMapLayerLevelLinewidth& row : level.linewidths) {
        if (row.pixels_per_degree_min > pixels_per_degree)
            break;
        width = row.linewidth;
    }
    return width;
}

double wrap180(double lon)
{
    while (lon > 180.0)
        lon -= 360.0;
    while (lon < -180.0)
        lon += 360.0;
    return lon;
}

// One point of a segment in microdegrees, in host order.
inline void readPoint(const HLMapDataXY* p, bool network, int* lon, int* lat)
{
    uint32_t a, b;
    memcpy(&a, &p->lon_microdegrees, 4);
    memcpy(&b, &p->lat_microdegrees, 4);
    if (network) {
        a = ntohl(a);
        b = ntohl(b);
    }
    *lon = static_cast<int>(a);
    *lat = static_cast<int>(b);
}

// Longest polyline handed to the painter: longer runs go in pieces that
// share their end points.
constexpr int kPolylineBatch = 1000;

// The view a projected segment belongs to: everything of the viewport that
// places a point.
struct ViewKey
{
    int tran = -1, xmode = 0, ymode = 0;
    int w = 0, h = 0, mleft = 0, mright = 0, mtop = 0, mbottom = 0;
    double latr = 0.0, lonr = 0.0, xleft = 0.0, xright = 0.0, ybottom = 0.0, ytop = 0.0;

    explicit ViewKey(const VxViewport* vp = nullptr)
    {
        if (!vp)
            return;
        tran = vp->map_tran;
        xmode = vp->xmode;
        ymode = vp->ymode;
        w = vp->w;
        h = vp->h;
        mleft = vp->mleft;
        mright = vp->mright;
        mtop = vp->mtop;
        mbottom = vp->mbottom;
        latr = vp->latr;
        lonr = vp->lonr;
        xleft = vp->xleft;
        xright = vp->xright;
        ybottom = vp->ybottom;
        ytop = vp->ytop;
    }
    bool operator==(const ViewKey& o) const
    {
        return tran == o.tran && xmode == o.xmode && ymode == o.ymode && w == o.w && h == o.h && mleft == o.mleft &&
               mright == o.mright && mtop == o.mtop && mbottom == o.mbottom && latr == o.latr && lonr == o.lonr &&
               xleft == o.xleft && xright == o.xright && ybottom == o.ybottom && ytop == o.ytop;
    }
};

// A run of points to stroke: its first point in the cache's array, and
// how many.
using Run = VXPolyDrawRun;

// A segment's place, size and end points: whether the data under what was
// kept of it is still the same.
struct Fingerprint
{
    const HLMapDataXY* pts = nullptr;
    long npts = -1;
    HLMapDataXY first{}, last{};

    bool same(const HLMapDataVectorSegment* seg) const
    {
        return pts == seg->pts && npts == seg->npts &&
               (npts < 1 || (memcmp(&first, seg->pts, sizeof first) == 0 &&
                             memcmp(&last, seg->pts + npts - 1, sizeof last) == 0));
    }
    void take(const HLMapDataVectorSegment* seg)
    {
        pts = seg->pts;
        npts = seg->npts;
        if (npts > 0) {
            memcpy(&first, seg->pts, sizeof first);
            memcpy(&last, seg->pts + npts - 1, sizeof last);
        }
    }
};

// What one segment became in the cached view.
struct SegmentGeometry : Fingerprint
{
    bool runs_made = false;  // the lines of an azimuthal view
    size_t first_run = 0, nruns = 0;
    bool path_made = false;  // a rectilinear view's path, or an azimuthal view's area
    QPainterPath path;
};

// Where the sines and cosines of a segment's points begin.
struct TrigAt : Fingerprint
{
    size_t at = 0;
};

// Stroke runs as polylines: a line of the map needs no path, and Qt
// strokes polylines faster.
void drawRuns(QPainter& painter, const QPointF* points, const Run* runs, size_t nruns)
{
    for (size_t r = 0; r < nruns; r++) {
        const QPointF* p = points + runs[r].first;
        const long count = runs[r].count;
        for (long i = 0; i < count - 1; i += kPolylineBatch - 1)
            painter.drawPolyline(p + i, static_cast<int>(std::min<long>(kPolylineBatch, count - i)));
    }
}

// Sines and cosines of the latitudes and longitudes of points, one array
// each: they stay with the data whatever the view.
struct PointTrig
{
    std::vector<double> slat, clat, slon, clon;

    size_t size() const { return slat.size(); }
    void clear()
    {
        slat.clear();
        clat.clear();
        slon.clear();
        clon.clear();
    }
    // Those of the n points at lons, lats (degrees), added at the end.
    void append(long n, const double* lons, const double* lats)
    {
        for (long i = 0; i < n; i++) {
            slat.push_back(std::sin(HLMapTransform::d2r * lats[i]));
            clat.push_back(std::cos(HLMapTransform::d2r * lats[i]));
            slon.push_back(std::sin(HLMapTransform::d2r * lons[i]));
            clon.push_back(std::cos(HLMapTransform::d2r * lons[i]));
        }
    }
};

// What edpVertices() and edpCut() need of the view, made once per drawing.
struct EdpView
{
    explicit EdpView(const VxViewport* vp) : tran(vp->latr, vp->lonr), plane(vp->latr, vp->lonr)
    {
        int pw = 0, ph = 0;
        double xstart, xend, xscale, ystart, yend, yscale;
        scaled = VXViewport::getScales(vp, &pw, &ph, &xstart, &xend, &xscale, &ystart, &yend, &yscale) == 0;
        pixel = pw > 0 ? (xend - xstart) / pw : 0.0;
        const long long cap = 4LL * (static_cast<long long>(pw) + ph) + 16;
        max_pieces = static_cast<int>(std::min<long long>(cap, 1 << 16));
    }
    HLMapTransform tran;
    HLEdpPlane plane;
    bool scaled = false;
    double pixel = 0.0;           // plane units per pixel
    int max_pieces = 0;           // cap of the pieces of a step
};

// The points of a line in an edp view, in degrees from the centre, as the
// point pump of the view places them (VXScaledata), in two steps.
// edpVertices() places the vertices from their kept sines and cosines into
// vx, vy and returns the index of the first step longer than a pixel (npts
// when none), or -1 when a point would not be placed (the caller then lets
// the pump do all).  Only then does edpCut() need the input in degrees,
// lons and lats: it cuts each long step into pieces of about a pixel,
// interpolated in longitude and latitude, into xs, ys; false as above.
long edpVertices(EdpView& view, long npts, const PointTrig& trig, size_t at, std::vector<double>* vx,
                 std::vector<double>* vy)
{
    if (!view.scaled)
        return -1;
    vx->resize(static_cast<size_t>(npts));
    vy->resize(static_cast<size_t>(npts));
    double* const px = vx->data();
    double* const py = vy->data();
    view.plane.project(npts, trig.slat.data() + at, trig.clat.data() + at, trig.slon.data() + at,
                       trig.clon.data() + at, px, py);
    if (npts > 0 && !(std::isfinite(px[0]) && std::isfinite(py[0])))
        return -1;
    const double pixel = view.pixel;
    if (!(pixel > 0.0 && std::isfinite(pixel)))
        return npts;
    const double pixel2 = pixel * pixel;
    for (long i = 1; i < npts; i++) {
        const double dxp = px[i] - px[i - 1], dyp = py[i] - py[i - 1];
        const double d2 = dxp * dxp + dyp * dyp;
        if (!(d2 <= pixel2)) {
            // a point that can't be placed, or maybe a long step
            if (!std::isfinite(d2))
                return -1;
            if (std::trunc(std::sqrt(d2) / pixel + 0.5) >= 2.0)
                return i;
        }
    }
    return npts;
}

bool edpCut(EdpView& view, long npts, const double* lons, const double* lats, long first_long,
            const std::vector<double>& vx, const std::vector<double>& vy, std::vector<double>* xs,
            std::vector<double>* ys)
{
    const double* const px = vx.data();
    const double* const py = vy.data();
    const double pixel = view.pixel;
    xs->assign(px, px + first_long);
    ys->assign(py, py + first_long);
    for (long i = first_long; i < npts; i++) {
        const double dxp = px[i] - px[i - 1], dyp = py[i] - py[i - 1];
        const double d2 = dxp * dxp + dyp * dyp;
        if (!std::isfinite(d2))
            return false;
        const double pieces = d2 <= pixel * pixel ? 0.0 : std::trunc(std::sqrt(d2) / pixel + 0.5);
        if (pieces >= 2.0) {
            const int n = pieces > view.max_pieces ? view.max_pieces : static_cast<int>(pieces);
            const double dlon = map_lon_near(lons[i] - lons[i - 1], 0.0) / n, dlat = (lats[i] - lats[i - 1]) / n;
            for (int k = 1; k < n; k++) {
                double xi, yi;
                view.tran.edpLatlon2delxy(lats[i - 1] + dlat * k, lons[i - 1] + dlon * k, &xi, &yi);
                if (!std::isfinite(xi) || !std::isfinite(yi))
                    return false;
                xs->push_back(xi);
                ys->push_back(yi);
            }
        }
        xs->push_back(px[i]);
        ys->push_back(py[i]);
    }
    return true;
}

} // namespace

// Projected segments of one view, by segment.  The points of every run
// live in one array.
struct VXMapData::VectorCache
{
    ViewKey view;
    std::unordered_map<const HLMapDataVectorSegment*, SegmentGeometry> segments;
    std::vector<QPointF> points;
    std::vector<Run> runs;
    // sines and cosines of the points of segments drawn in edp, kept over
    // changes of the view: where a segment's begin in trig
    std::unordered_map<const HLMapDataVectorSegment*, TrigAt> trig_at;
    PointTrig trig;
    std::vector<double> xs, ys;  // scratch of a projected line
    std::vector<double> vx, vy;  // ... and of its vertices

    // What belongs to the view is dropped; the entries of the segments
    // stay, to be filled again without being made again.
    void nextView()
    {
        for (auto& [seg, geo] : segments) {
            geo.runs_made = false;
            if (geo.path_made) {
                geo.path = QPainterPath();
                geo.path_made = false;
            }
        }
        points.clear();
        runs.clear();
    }
    // What belongs to the view, all freed.
    void clear()
    {
        segments.clear();
        points.clear();
        runs.clear();
    }
    // ... and to the data.
    void clearAll()
    {
        clear();
        trig_at.clear();
        trig.clear();
    }
};

void VXMapData::dropVectorCache()
{
    delete vector_cache;
    vector_cache = nullptr;
}

int VXMapData::isInside(double lat, double lon, long npts, const double* lats, const double* lons)
{
    int crossings = 0;
    for (long i = 0; i < npts; i++) {
        double lat1 = lats[i], lon1 = lons[i];
        double lat2 = lats[(i + 1) % npts], lon2 = lons[(i + 1) % npts];
        if (lat > lat1 && lat > lat2)
            continue;
        while (lon2 - lon1 > 180.0)
            lon2 -= 360.0;
        while (lon2 - lon1 < -180.0)
            lon2 += 360.0;
        while (lon1 - lon > 180.0) {
            lon1 -= 360.0;
            lon2 -= 360.0;
        }
        while (lon1 - lon < -180.0) {
            lon1 += 360.0;
            lon2 += 360.0;
        }
        if (lon1 == lon2)
            continue;
        if (lon1 > lon2) {
            std::swap(lon1, lon2);
            std::swap(lat1, lat2);
        }
        if (lon < lon1 || lon > lon2)
            continue;
        if ((lat1 >= lat && lat > lat2) || (lat > lat1 && lat2 >= lat)) {
            if (lat1 + (lon - lon1) * (lat2 - lat1) / (lon2 - lon1) >= lat)
                crossings++;
        } else {
            crossings++;  // the edge lies wholly above the point
        }
    }
    return crossings % 2;
}

void VXMapData::drawVector(QPainter& painter, VxViewport* vp, QHash<int, VxMapLayerLevel> levels,
                           QList<QList<QString>> map_resolutions, double linewidth, VX_Color& outline,
                           VX_Color& water, VX_Color& land)
{
    if (!vp || resolution < 0 || resolution >= frame.nresolutions)
        return;
    // the resolutions that the layer names for the selected index
    QList<int> selected;
    if (resolution < map_resolutions.size()) {
        const QList<QString>& words = map_resolutions[resolution];
        for (long k = 0; k < frame.nresolutions; k++)
            if (words.contains(QString::fromUtf8(frame.resolutions[k].resolution)))
                selected.append(static_cast<int>(k));
    }
    if (selected.isEmpty())
        selected.append(resolution);
    if (vxplot_debug)
        for (int k : selected)
            qDebug() << "found" << k << frame.resolutions[k].resolution;

    const int W = vp->w - vp->mleft - vp->mright, H = vp->h - vp->mtop - vp->mbottom;
    const double pixels_per_degree = W / (vp->xright - vp->xleft);
    QHash<int, double> level_width;
    for (auto it = levels.cbegin(); it != levels.cend(); ++it)
        level_width.insert(it.key(), getLinewidth(it.value(), pixels_per_degree));

    const bool rectilinear = vp->map_tran != VX_MAP_EDP && vp->map_tran != VX_MAP_GLOBE;
    // latitude window of the view: the plot's own in the rectilinear
    // projections, computeMapBB's in the azimuthal ones (none computed yet:
    // no culling)
    double bblatmin = vp->bblatmin, bblatmax = vp->bblatmax;
    bool cull = bblatmin != bblatmax;
    if (rectilinear) {
        bblatmin = std::min(vp->ybottom, vp->ytop);
        bblatmax = std::max(vp->ybottom, vp->ytop);
        cull = true;
    }
    const double alat = -vp->latr, alon = wrap180(180.0 + vp->lonr);

    // the projected segments of an earlier draw serve while the view stays
    if (!vector_cache)
        vector_cache = new (std::nothrow) VectorCache;
    if (!vector_cache) {
        hl_register_error(1, "VXMapData::drawVector: Out of memory.\n");
        return;
    }
    if (!(vector_cache->view == ViewKey(vp))) {
        vector_cache->nextView();
        vector_cache->view = ViewKey(vp);
    }

    // the cached geometry of a segment, emptied when the data under it changed
    auto geometry = [&](const HLMapDataVectorSegment* seg) -> SegmentGeometry* {
        try {
            auto [it, fresh] = vector_cache->segments.try_emplace(seg);
            if (!fresh && !it->second.same(seg)) {
                // other data at the same place: nothing kept is sure
                vector_cache->clearAll();
                it = vector_cache->segments.try_emplace(seg).first;
            }
            if (it->second.npts < 0)
                it->second.take(seg);
            return &it->second;
        } catch (const std::bad_alloc&) {
            hl_register_error(1, "VXMapData::drawVector: Out of memory.\n");
            return nullptr;
        }
    };
    // the points of a segment in degrees into xplt, yplt
    auto readPoints = [&](const HLMapDataVectorSegment* seg, bool network) -> int {
        const long npts = seg->npts;
        const long need = std::max(npts + 2, 10L);
        if (need > nplt) {
            double* x = static_cast<double*>(realloc(xplt, need * sizeof(double)));
            if (!x) {
                hl_register_error(1, "VXMapData::VXdrawVector: realloc(xplt,%ld) error.\n", need);
                return -1;
            }
            xplt = x;
            double* y = static_cast<double*>(realloc(yplt, need * sizeof(double)));
            if (!y) {
                hl_register_error(1, "VXMapData::VXdrawVector: realloc(yplt,%ld) error.\n", need);
                return -1;
            }
            yplt = y;
            nplt = need;
        }
        if (rectilinear) {
            long turns = 0;  // microdegrees added to keep steps within half a turn
            long last = 0;
            for (long i = 0; i < npts; i++) {
                int lon, lat;
                readPoint(seg->pts + i, network, &lon, &lat);
                long l = lon;
                if (network) {
                    if (i > 0) {
                        while (l + turns - last > 180000000L)
                            turns -= 360000000L;
                        while (l + turns - last < -180000000L)
                            turns += 360000000L;
                    }
                    l += turns;
                    last = l;
                }
                xplt[i] = l * 1e-6;
                yplt[i] = lat * 1e-6;
            }
        } else {
            for (long i = 0; i < npts; i++) {
                int lon, lat;
                readPoint(seg->pts + i, network, &lon, &lat);
                xplt[i] = wrap180(lon * 1e-6);
                yplt[i] = lat * 1e-6;
            }
        }
        return 0;
    };
    // the lines of a segment in an azimuthal view, as runs of the cache
    std::unique_ptr<EdpView> edp_view;  // made at the first line of an edp view
    std::unique_ptr<VXPolyDraw> plane_pump;  // pumps the plane points of edpVertices()
    auto makeRuns = [&](const HLMapDataVectorSegment* seg, bool network, SegmentGeometry* geo) -> int {
        // the points in degrees are read only when needed: for new sines
        // and cosines, a long step, or the pump
        bool have_points = false;
        auto points = [&] {
            if (!have_points && readPoints(seg, network) == 0)
                have_points = true;
            return have_points;
        };
        const size_t first_run = vector_cache->runs.size();
        try {
            VectorCache& c = *vector_cache;
            const long npts = seg->npts;
            // in edp the points are placed here from their kept sines and
            // cosines, and pumped as plane points
            const std::vector<double>* xs = nullptr;
            const std::vector<double>* ys = nullptr;
            if (vp->map_tran == VX_MAP_EDP) {
                auto [at, fresh] = c.trig_at.try_emplace(seg);
                if (!fresh && !at->second.same(seg)) {
                    // other data at the same place since: no sine kept is sure
                    c.trig_at.clear();
                    c.trig.clear();
                    at = c.trig_at.try_emplace(seg).first;
                    fresh = true;
                }
                if (fresh) {
                    if (!points()) {
                        c.trig_at.erase(at);
                        return -1;
                    }
                    at->second.take(seg);
                    at->second.at = c.trig.size();
                    c.trig.append(npts, xplt, yplt);
                }
                if (!edp_view)
                    edp_view = std::make_unique<EdpView>(vp);
                const long first_long = edpVertices(*edp_view, npts, c.trig, at->second.at, &c.vx, &c.vy);
                if (first_long == npts) {
                    xs = &c.vx;
                    ys = &c.vy;
                } else if (first_long > 0) {
                    if (!points())
                        return -1;
                    if (edpCut(*edp_view, npts, xplt, yplt, first_long, c.vx, c.vy, &c.xs, &c.ys)) {
                        xs = &c.xs;
                        ys = &c.ys;
                    }
                }
                if (xs && xs->size() > static_cast<size_t>(INT_MAX))
                    xs = ys = nullptr;
            }
            if (!xs && !points())
                return -1;
            // a path builder per segment where its pump would carry the last
            // point over to the next call
            if (xs) {
                if (!plane_pump || !plane_pump->startsAnew())
                    plane_pump = std::make_unique<VXPolyDraw>(vp, 1, 1.0, 1.0, 0, 0);
                plane_pump->addRuns(&c.points, &c.runs, static_cast<int>(xs->size()), xs->data(), ys->data(), 1,
                                    vp->mleft, vp->mtop);
            } else {
                VXPolyDraw polydraw(vp, 0, 1.0, 1.0, 0, 0);
                polydraw.addRuns(&c.points, &c.runs, static_cast<int>(npts), xplt, yplt, 1, vp->mleft, vp->mtop);
            }
        } catch (const std::bad_alloc&) {
            vector_cache->clearAll();
            hl_register_error(1, "VXMapData::drawVector: Out of memory.\n");
            return -1;
        }
        geo->first_run = first_run;
        geo->nruns = vector_cache->runs.size() - first_run;
        geo->runs_made = true;
        return 0;
    };
    // the path of a segment: its lines wrapped at the edges of a
    // rectilinear view, or the area of an azimuthal one
    auto makePath = [&](const HLMapDataVectorSegment* seg, bool network, bool fill, SegmentGeometry* geo) -> int {
        if (readPoints(seg, network) < 0)
            return -1;
        const long npts = seg->npts;
        QPainterPath path;
        if (rectilinear) {
            const int sp = seg->latmin < -80000000 ? 1 : 0;
            if (QPainterPath* wrapped = VXViewport::wrapLongitudes(vp, static_cast<int>(npts), xplt, yplt, 0, sp)) {
                path = *wrapped;
                delete wrapped;
            }
        } else if (fill) {
            if (isInside(alat, alon, npts, yplt, xplt)) {
                // the area holds the antipode: it covers the outside of its
                // projected outline, the odd-even rule cuts it (a line
                // alone is not framed)
                path.moveTo(0, 0);
                path.lineTo(W, 0);
                path.lineTo(W, H);
                path.lineTo(0, H);
                path.lineTo(0, 0);
            }
            VXPolyDraw polydraw(vp, 0, 1.0, 1.0, 0, 0);
            polydraw.addPoints(&path, static_cast<int>(npts), xplt, yplt, 1, 0);
        }
        geo->path = path;
        geo->path_made = true;
        return 0;
    };
    // the lines of a rectilinear view: the path's pieces as runs, unless
    // it has curves (then the path is stroked)
    auto runsOfPath = [&](const HLMapDataVectorSegment* seg, bool network, SegmentGeometry* geo) -> int {
        if (!geo->path_made && makePath(seg, network, false, geo) < 0)
            return -1;
        const QPainterPath& path = geo->path;
        for (int i = 0; i < path.elementCount(); i++)
            if (path.elementAt(i).type == QPainterPath::CurveToElement)
                return 0;
        const size_t first_run = vector_cache->runs.size();
        try {
            std::vector<QPointF>& points = vector_cache->points;
            std::vector<Run>& runs = vector_cache->runs;
            for (int i = 0; i < path.elementCount(); i++) {
                const QPainterPath::Element e = path.elementAt(i);
                if (e.type == QPainterPath::MoveToElement || runs.size() == first_run)
                    runs.push_back({static_cast<uint32_t>(points.size()), 0});
                runs.back().count++;
                points.push_back(QPointF(e.x + vp->mleft, e.y + vp->mtop));
            }
        } catch (const std::bad_alloc&) {
            vector_cache->clear();
            hl_register_error(1, "VXMapData::drawVector: Out of memory.\n");
            return -1;
        }
        geo->first_run = first_run;
        geo->nruns = vector_cache->runs.size() - first_run;
        geo->runs_made = true;
        return 0;
    };

    // areas are drawn in plot-area pixels; lines are kept in the
    // viewport's, so that a painter without a transform of its own strokes
    // them with none
    painter.save();
    const QTransform viewport_pixels = painter.worldTransform();
    QTransform plot_pixels = viewport_pixels;
    plot_pixels.translate(vp->mleft, vp->mtop);
    painter.setWorldTransform(plot_pixels);
    painter.setClipRect(0, 0, W, H);
    bool in_plot_pixels = true;
    auto use = [&](bool plot) {
        if (plot != in_plot_pixels)
            painter.setWorldTransform(plot ? plot_pixels : viewport_pixels);
        in_plot_pixels = plot;
    };
    // the pen of the lines, made again only when it changes
    const VX_Color* pen_colour = nullptr;
    double pen_width = 0.0;
    auto setupLine = [&](const VX_Color* colour, double width) {
        if (colour == pen_colour && width == pen_width)
            return;
        VX_setup_line(&painter, colour, width, 1, 128, -1);
        pen_colour = colour;
        pen_width = width;
    };

    for (int s = static_cast<int>(selected.size()) - 1; s >= 0; s--) {
        const int k = selected[s];
        HLMapDataResolution* res = &frame.resolutions[k];
        if (res->map_type != HL_MAPDATA_VECTOR)
            continue;
        const bool network = res->data_type == HL_MAPDATA_VECTOR_NET;
        HLMapDataVector* vec = static_cast<HLMapDataVector*>(res->data);
        for (long t = 0; t < res->ntiles; t++) {
            HLMapDataVectorTile* tile = &vec->tiles[t];
            for (long n = 0; n < tile->nsegments; n++) {
                HLMapDataVectorSegment* seg = &tile->segments[tile->fill ? n : tile->nsegments - 1 - n];
                auto level = levels.constFind(seg->level);
                const bool has_level = level != levels.constEnd();
                if (has_level && (k < level->index_min || level->pixels_per_degree_min > pixels_per_degree))
                    continue;
                double latmin = seg->latmin * 1e-6, latmax = seg->latmax * 1e-6;
                if (vp->map_tran == VX_MAP_MERC) {
                    latmin = VX_mercator_y(latmin);
                    latmax = VX_mercator_y(latmax);
                }
                if (cull && (latmin > bblatmax || latmax < bblatmin))
                    continue;
                bool line = false;
                if (!levels.isEmpty()) {
                    if (has_level) {
                        // the level's own colour, else the layer's
                        const VX_Color* colour = level->outline.color.isValid() ? &level->outline : &outline;
                        const double width = level_width.value(seg->level, -1.0);
                        if (colour->color.isValid() && width >= 0.0) {
                            setupLine(colour, width);
                            line = true;
                        }
                    }
                } else if (outline.color.isValid() && linewidth >= 0.0) {
                    setupLine(&outline, linewidth);
                    line = true;
                }
                if (!line) {
                    painter.setPen(Qt::NoPen);
                    pen_colour = nullptr;
                }
                bool fill = false;
                if (seg->fill && seg->level % 2 == 0 && water.color.isValid()) {
                    VX_setup_fill(&painter, &water);
                    pen_colour = nullptr;
                    fill = true;
                    line = false;
                } else if (seg->fill && seg->level % 2 != 0 && land.color.isValid()) {
                    VX_setup_fill(&painter, &land);
                    pen_colour = nullptr;
                    fill = true;
                    line = false;
                } else {
                    painter.setBrush(Qt::NoBrush);
                }
                if (!line && !fill)
                    continue;
                if (seg->npts < 1)
                    continue;
                SegmentGeometry* geo = geometry(seg);
                if (!geo)
                    continue;
                if (!fill && !geo->runs_made &&
                    (rectilinear ? runsOfPath(seg, network, geo) : makeRuns(seg, network, geo)) < 0) {
                    painter.restore();
                    return;
                }
                if (!fill && geo->runs_made) {
                    use(false);
                    drawRuns(painter, vector_cache->points.data(), vector_cache->runs.data() + geo->first_run,
                             geo->nruns);
                    continue;
                }
                if (!geo->path_made && makePath(seg, network, fill, geo) < 0) {
                    painter.restore();
                    return;
                }
                use(true);
                painter.drawPath(geo->path);
            }
        }
    }
    painter.restore();
}
