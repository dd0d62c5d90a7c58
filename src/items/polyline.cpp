// VXPolyline: building and drawing the path.
#include "items/polyline.h"

#include "viewport/polydraw.h"
#include "viewport/viewport.h"

#include <QPainter>
#include <QPainterPath>
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
            if (vars.gap_value == VX_NULL_VALUE)
                path = pd.addPoints(new QPainterPath(), n, x, y, 0, 0);
            else
                path = pd.addPoints(new QPainterPath(), n, x, y, vars.gap_value, 0);
        }
    }
    if (!path)
        return 0;

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
    painter->translate(state->mleft, state->mtop);
    painter->setClipRect(0, 0, w, h, Qt::IntersectClip);
    painter->drawPath(*path);
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
