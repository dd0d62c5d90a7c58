// VXPolyline: building and drawing the path.
#include "items/polyline.h"

#include "viewport/polydraw.h"
#include "viewport/viewport.h"

#include <QPainter>
#include <QPainterPath>
#include <QVarLengthArray>
#include <QTransform>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// Radius of the globe disc in its projected units.
constexpr double globe_radius = 57.29577951308232;

} // namespace

VXPolyline::VXPolyline(VXViewport* master) : VXViewportItem(master, nullptr, QStringLiteral("VXPolyline"), 1)
{
    init();
}

VXPolyline::~VXPolyline()
{
    releaseConfigureStrings();
    clearPoints();
    delete vars.plpath;
    free(vars.vechandle);
    free(vars.thandle);
}

void VXPolyline::setGc(VxGraphicsContext gc)
{
    vars.gc = gc;
}

void VXPolyline::setVisibility()
{
}

namespace {

// Strokes the points of VXPolyDraw, shifted by an offset, as polylines
// of at most a thousand points: Qt strokes polylines much faster than the
// same points as one long path, and short ones fastest.
class PolylineStroker : public VXPolyDrawSink
{
public:
    PolylineStroker(QPainter* painter, QPointF offset) : painter(painter), offset(offset) {}
    ~PolylineStroker() override { flush(); }
    void moveTo(double x, double y) override
    {
        flush();
        run.clear();
        run.append(QPointF(x + offset.x(), y + offset.y()));
    }
    void lineTo(double x, double y) override
    {
        if (run.size() == batch) {
            // the next batch continues the line from the last point
            const QPointF last = run.last();
            flush();
            run.clear();
            run.append(last);
        }
        run.append(QPointF(x + offset.x(), y + offset.y()));
    }
    void flush()
    {
        if (run.size() > 1)
            painter->drawPolyline(run.data(), static_cast<int>(run.size()));
    }

private:
    static constexpr int batch = 1000;
    QPainter* painter;
    QPointF offset;
    QVarLengthArray<QPointF, batch> run;
};

} // namespace

int VXPolyline::drawViewportItem(QPainter* painter)
{
    return draw(painter);
}

int VXPolyline::draw(QPainter* painter)
{
    VXViewport* vp = getViewportParent();
    if (!painter || !vp)
        return 0;
    if (vars.npts < 1 && !vars.plpath)
        return 0;
    int w, h;
    double xstart, xend, xscale, ystart, yend, yscale;
    if (vp->getScales(&w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale) < 0)
        return 0;
    VxViewport* state = &vp->vars;
    const int map = state->map_tran;
    const bool wrap = map == VX_MAP_MERC || map == VX_MAP_GEOG;
    // viewport-mode input counts y from the bottom; the point pump's
    // normalised y counts from the top
    const bool flip_y = vars.ymode == VX_POLYLINE_VIEWPORT;

    painter->save();
    if (vars.gc && !vars.gc->isEmpty()) {
        QPen pen;
        QBrush brush;
        VXGraphicsContext::makeGcPenBrush(vars.gc, &pen, &brush);
        VXGraphicsContext::drawGcPainter(vars.gc, &pen, &brush, painter);
    } else {
        painter->setPen(Qt::NoPen);
        painter->setBrush(Qt::NoBrush);
        if (vars.fill.color.isValid())
            VX_setup_fill(painter, &vars.fill);
        if (vars.outline.color.isValid())
            VX_setup_line(painter, &vars.outline, vars.linewidth, vars.linestyle, -1, -1);
    }
    painter->setRenderHint(QPainter::Antialiasing, antialias);
    painter->setClipRect(state->mleft, state->mtop, w, h, Qt::IntersectClip);
    QPainterPath* path = nullptr;
    if (vars.plpath && vars.plpath->path) {
        QPainterPath source = *vars.plpath->path;
        if (flip_y)
            source = QTransform(1, 0, 0, -1, 0, 1).map(source);
        if (wrap) {
            path = vp->wrapLongitudes(&source, vars.plpath->np, vars.plpath->sp);
        } else {
            VXPolyDraw pd(state, 0, vars.xgain, vars.ygain, vars.xmode, vars.ymode);
            path = pd.addPoints(new QPainterPath(), &source, 0, 0);
        }
    } else if (vars.npts > 0 && vars.xpts && vars.ypts) {
        const int n = vars.npts;
        double* x = vars.xpts;
        double* y = vars.ypts;
        std::vector<double> xcopy, ycopy;
        if (flip_y || wrap) {
            // wrapLongitudes rewrites its input, and flipping must not touch
            // the item's own points
            xcopy.assign(x, x + n);
            ycopy.assign(y, y + n);
            if (flip_y)
                for (double& v : ycopy)
                    if (v != vars.gap_value)
                        v = 1.0 - v;
            x = xcopy.data();
            y = ycopy.data();
        }
        if (wrap) {
            path = vp->wrapLongitudes(n, x, y, 0, 0);
        } else {
            VXPolyDraw pd(state, 0, vars.xgain, vars.ygain, vars.xmode, vars.ymode);
            // a line without fill is stroked while the points are pumped,
            // with no path in between; a painter that is not translated
            // spares Qt a mapping of every point
            std::unique_ptr<PolylineStroker> stroker;
            if (painter->brush().style() == Qt::NoBrush) {
                stroker = std::make_unique<PolylineStroker>(painter, QPointF(state->mleft, state->mtop));
                pd.sink = stroker.get();
            }
            auto* empty = new QPainterPath();
            if (!stroker)
                empty->reserve(n + 1);  // one growth instead of twenty for long traces
            if (vars.gap_value == VX_NULL_VALUE)
                path = pd.addPoints(empty, n, x, y, 0, 0);
            else
                path = pd.addPoints(empty, n, x, y, vars.gap_value, 0);
        }
    }
    if (!path) {
        painter->restore();
        return 0;
    }
    if (!path->isEmpty()) {
        painter->translate(state->mleft, state->mtop);
        painter->drawPath(*path);
    }
    painter->restore();
    delete path;

    if (map == VX_MAP_GLOBE && vars.fill_black.color.isValid()) {
        // black out the space around the disc
        double rx[361], ry[361];
        for (int i = 0; i < 360; i++) {
            rx[i] = globe_radius * sin(i * M_PI / 180.0);
            ry[i] = globe_radius * cos(i * M_PI / 180.0);
        }
        rx[360] = rx[0];
        ry[360] = ry[0];
        painter->save();
        VX_setup_fill(painter, &vars.fill_black);
        painter->setOpacity(1.0);
        state->map_tran = VX_MAP_NONE;
        vp->polyDraw(painter, 361, rx, ry, 2, 0, 0);
        state->map_tran = map;
        painter->restore();
    }
    return 1;
}
