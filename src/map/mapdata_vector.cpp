// VXMapData: the vector kernel and the spherical point-in-polygon test.
#include "map/mapdata.h"
#include "map/projection/projections.h"

#include "foundation/messages.h"
#include "toolkit/base/errors.h"
#include "viewport/polydraw.h"
#include "viewport/viewport.h"

#include <QDebug>
#include <QPainter>
#include <QPainterPath>
#include <QVarLengthArray>

#include <arpa/inet.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

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

// Strokes the points of a VXPolyDraw as polylines while they are pumped: a
// line of the map needs no path, and Qt strokes polylines faster.
class LineStroker : public VXPolyDrawSink
{
public:
    explicit LineStroker(QPainter* painter) : painter(painter) {}
    ~LineStroker() override { flush(); }
    void moveTo(double x, double y) override
    {
        flush();
        run.clear();
        run.append(QPointF(x, y));
    }
    void lineTo(double x, double y) override
    {
        if (run.size() == batch) {
            const QPointF last = run.last();
            flush();
            run.clear();
            run.append(last);
        }
        run.append(QPointF(x, y));
    }
    void flush()
    {
        if (run.size() > 1)
            painter->drawPolyline(run.data(), static_cast<int>(run.size()));
    }

private:
    static constexpr int batch = 1000;
    QPainter* painter;
    QVarLengthArray<QPointF, batch> run;
};

} // namespace

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

    painter.save();
    painter.translate(vp->mleft, vp->mtop);
    painter.setClipRect(0, 0, W, H);

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
                            VX_setup_line(&painter, colour, width, 1, 128, -1);
                            line = true;
                        }
                    }
                } else if (outline.color.isValid() && linewidth >= 0.0) {
                    VX_setup_line(&painter, &outline, linewidth, 1, 128, -1);
                    line = true;
                }
                if (!line)
                    painter.setPen(Qt::NoPen);
                bool fill = false;
                if (seg->fill && seg->level % 2 == 0 && water.color.isValid()) {
                    VX_setup_fill(&painter, &water);
                    fill = true;
                    line = false;
                } else if (seg->fill && seg->level % 2 != 0 && land.color.isValid()) {
                    VX_setup_fill(&painter, &land);
                    fill = true;
                    line = false;
                } else {
                    painter.setBrush(Qt::NoBrush);
                }
                if (!line && !fill)
                    continue;
                const long npts = seg->npts;
                if (npts < 1)
                    continue;
                const long need = std::max(npts + 2, 10L);
                if (need > nplt) {
                    double* x = static_cast<double*>(realloc(xplt, need * sizeof(double)));
                    if (!x) {
                        hl_register_error(1, "VXMapData::VXdrawVector: realloc(xplt,%ld) error.\n", need);
                        painter.restore();
                        return;
                    }
                    xplt = x;
                    double* y = static_cast<double*>(realloc(yplt, need * sizeof(double)));
                    if (!y) {
                        hl_register_error(1, "VXMapData::VXdrawVector: realloc(yplt,%ld) error.\n", need);
                        painter.restore();
                        return;
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
                    const int sp = seg->latmin < -80000000 ? 1 : 0;
                    QPainterPath* path =
                        VXViewport::wrapLongitudes(vp, static_cast<int>(npts), xplt, yplt, 0, sp);
                    if (path) {
                        painter.drawPath(*path);
                        delete path;
                    }
                } else {
                    for (long i = 0; i < npts; i++) {
                        int lon, lat;
                        readPoint(seg->pts + i, network, &lon, &lat);
                        xplt[i] = wrap180(lon * 1e-6);
                        yplt[i] = lat * 1e-6;
                    }
                    // a path builder per segment: it carries the last point
                    // of its pump over to the next call
                    VXPolyDraw polydraw(vp, 0, 1.0, 1.0, 0, 0);
                    if (!fill) {
                        LineStroker stroker(&painter);
                        polydraw.sink = &stroker;
                        QPainterPath unused;
                        polydraw.addPoints(&unused, static_cast<int>(npts), xplt, yplt, 1, 0);
                        continue;
                    }
                    QPainterPath path;
                    if (isInside(alat, alon, npts, yplt, xplt)) {
                        // the area holds the antipode: it covers the outside
                        // of its projected outline, the odd-even rule cuts it
                        // (a line alone is not framed)
                        path.moveTo(0, 0);
                        path.lineTo(W, 0);
                        path.lineTo(W, H);
                        path.lineTo(0, H);
                        path.lineTo(0, 0);
                    }
                    polydraw.addPoints(&path, static_cast<int>(npts), xplt, yplt, 1, 0);
                    painter.drawPath(path);
                }
            }
        }
    }
    painter.restore();
}
