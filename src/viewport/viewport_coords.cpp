// Scales and the transforms between world, viewport and pixel coordinates;
// the view operations built on them (zoom, center, the map boxes).
#include "map/projection/longitude_p.h"
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <QPainterPath>

#include <climits>
#include <cmath>
#include <cstdlib>

namespace {

// Scales of one transform; the unit view stands in where a logarithmic
// axis with a limit not above 0 leaves them unset.
struct Scales
{
    int w = 0, h = 0;
    double xstart = 0.0, xend = 1.0, xscale = 1.0;
    double ystart = 0.0, yend = 1.0, yscale = 1.0;
};

int scalesOf(const VxViewport* vp, Scales* s)
{
    return VXViewport::getScales(vp, &s->w, &s->h, &s->xstart, &s->xend, &s->xscale, &s->ystart, &s->yend,
                                 &s->yscale);
}

bool isMap(int map_tran)
{
    return map_tran >= VX_MAP_EDP && map_tran <= VX_MAP_GEOG;
}

// Plot size in 64 bits: margins and sizes may be anything an int holds.
long long plotWidth(const VxViewport* vp)
{
    return static_cast<long long>(vp->w) - vp->mleft - vp->mright;
}

long long plotHeight(const VxViewport* vp)
{
    return static_cast<long long>(vp->h) - vp->mbottom - vp->mtop;
}

// Base limits of one axis from the specified value, the data bounds, or the
// fallback.
double baseLimit(double spc, double bound, double other_bound, double equal_step, bool low, bool log_mode)
{
    if (spc != VX_NULL_VALUE)
        return spc;
    if (bound != VX_NULL_VALUE) {
        if (bound == other_bound) {
            if (log_mode)
                return low ? 0.1 * bound : 10.0 * bound;
            return low ? bound - equal_step : bound + equal_step;
        }
        return bound;
    }
    if (log_mode)
        return low ? 0.1 : 10.0;
    return low ? -10.0 : 10.0;
}

// Gain about anchor a: a > 1 widens the interval.
void applyGain(double gain, double a, double* left, double* right, bool log_mode)
{
    if (log_mode) {
        if (a <= 0.0 || *left <= 0.0 || *right <= 0.0)
            return;
        double la = std::log10(a), ll = std::log10(*left), lr = std::log10(*right);
        *left = std::pow(10.0, la - (la - ll) * gain);
        *right = std::pow(10.0, la + (lr - la) * gain);
    } else {
        *left = a - (a - *left) * gain;
        *right = a + (*right - a) * gain;
    }
}

// Widen a view of one value: by 10 percent, or by 10 around 0.  A negative
// value reverses the axis.
void widenEqual(double* low, double* high)
{
    if (*low != *high || *low == VX_NULL_VALUE)
        return;
    if (*low == 0.0) {
        *low -= 10.0;
        *high += 10.0;
    } else {
        *low -= 0.1 * *low;
        *high += 0.1 * *high;
    }
}

// The new limits of one axis for zoom(): point p keeps its fractional
// position, the extent is scaled (factor > 0) or given (-factor).
bool zoomAxis(double p, double factor, bool log_mode, double left, double right, double* new_left,
              double* new_right)
{
    if (log_mode) {
        if (p <= 0.0 || left <= 0.0 || right <= 0.0)
            return false;
        p = std::log10(p);
        left = std::log10(left);
        right = std::log10(right);
    }
    double present = right - left;
    double t = present != 0.0 ? (p - left) / present : 0.5;
    double extent = factor > 0.0 ? factor * present : -factor;
    double l = p - t * extent, r = p + (1.0 - t) * extent;
    if (log_mode) {
        l = std::pow(10.0, l);
        r = std::pow(10.0, r);
    }
    if (!std::isfinite(l) || !std::isfinite(r))
        return false;
    *new_left = l;
    *new_right = r;
    return true;
}

// Add points of one polygon copy to path, in plot-area pixels.  start
// begins a new subpath; with subtract the polygon is cut out of path.
void addPolygonPoints(VxViewport* vp, QPainterPath* path, int n, const double* xs, const double* ys, int start,
                      int subtract)
{
    double* xn = nullptr;
    double* yn = nullptr;
    int nn = 0;
    if (VXViewport::normalizePoints(vp, n, xs, ys, 0, 1, &xn, &yn, &nn) < 0)
        return;
    const double w = static_cast<double>(plotWidth(vp)), h = static_cast<double>(plotHeight(vp));
    QPainterPath piece;
    QPainterPath* target = subtract ? &piece : path;
    bool move = start || target->elementCount() == 0;
    for (int i = 0; i < nn; i++) {
        if (xn[i] == VX_NULL_VALUE || yn[i] == VX_NULL_VALUE) {
            move = true;
            continue;
        }
        QPointF p(w * xn[i], h * (1.0 - yn[i]));
        if (move)
            target->moveTo(p);
        else
            target->lineTo(p);
        move = false;
    }
    free(xn);
    free(yn);
    if (subtract)
        *path -= piece;
}

} // namespace

int VXViewport::getScales(int* w, int* h, double* xstart, double* xend, double* xscale, double* ystart, double* yend,
                          double* yscale)
{
    return getScales(&vars, w, h, xstart, xend, xscale, ystart, yend, yscale);
}

int VXViewport::getScales(const VxViewport* vp, int* w, int* h, double* xstart, double* xend, double* xscale,
                          double* ystart, double* yend, double* yscale)
{
    const long long pw = plotWidth(vp), ph = plotHeight(vp);
    if (pw < 3 || ph < 3)
        return -1;
    // a view that is not a number has no scale either
    if (!std::isfinite(vp->xleft) || !std::isfinite(vp->xright) || !std::isfinite(vp->ybottom)
        || !std::isfinite(vp->ytop))
        return -1;
    *w = pw > INT_MAX ? INT_MAX : static_cast<int>(pw);
    *h = ph > INT_MAX ? INT_MAX : static_cast<int>(ph);
    if (vp->xmode != VX_SCALE_LOG) {
        *xstart = vp->xleft;
        *xend = vp->xright;
    } else {
        if (vp->xleft <= 0.0 || vp->xright <= 0.0)
            return 0;
        *xstart = std::log10(vp->xleft);
        *xend = std::log10(vp->xright);
    }
    *xscale = 1.0 / (*xend - *xstart);
    if (vp->ymode != VX_SCALE_LOG) {
        *ystart = vp->ybottom;
        *yend = vp->ytop;
    } else {
        if (vp->ybottom <= 0.0 || vp->ytop <= 0.0)
            return 0;
        *ystart = std::log10(vp->ybottom);
        *yend = std::log10(vp->ytop);
    }
    *yscale = 1.0 / (*yend - *ystart);
    return 0;
}

int VXViewport::getPcoords(double xcoord, double ycoord, double* x, double* y, int no_map_tran, int no_pscale)
{
    return getPcoords(&vars, xcoord, ycoord, x, y, no_map_tran, no_pscale);
}

int VXViewport::getPcoords(const VxViewport* vp, double xcoord, double ycoord, double* x, double* y, int no_map_tran,
                           int no_pscale)
{
    Scales s;
    if (!no_pscale && scalesOf(vp, &s) < 0)
        return -1;
    double xc = xcoord, yc = ycoord;
    if (!no_map_tran) {
        switch (vp->map_tran) {
        case VX_MAP_EDP:
            VX_geopointat2edp(vp->latr, vp->lonr, ycoord, xcoord, &xc, &yc);
            break;
        case VX_MAP_GLOBE:
            if (VX_geopointat2globe(vp->latr, vp->lonr, ycoord, xcoord, &xc, &yc) < 0)
                return -1;
            break;
        case VX_MAP_MERC:
            yc = VX_mercator_y(ycoord);
            break;
        default:
            break;
        }
    }
    if (vp->xmode == VX_SCALE_LOG && xc > 0.0)
        xc = std::log10(xc);
    if (vp->ymode == VX_SCALE_LOG && yc > 0.0)
        yc = std::log10(yc);
    if (no_pscale) {
        *x = xc;
        *y = yc;
    } else {
        *x = (xc - s.xstart) * s.xscale * s.w + vp->mleft;
        *y = (vp->mtop + s.h) - (yc - s.ystart) * s.yscale * s.h;
    }
    return 0;
}

int VXViewport::getPcoordX(double xcoord, double* x)
{
    return getPcoordX(&vars, xcoord, x);
}

int VXViewport::getPcoordX(const VxViewport* vp, double xcoord, double* x)
{
    Scales s;
    if (scalesOf(vp, &s) < 0)
        return -1;
    if (vp->xmode == VX_SCALE_LOG && xcoord > 0.0)
        xcoord = std::log10(xcoord);
    *x = (xcoord - s.xstart) * s.xscale * s.w + vp->mleft;
    return 0;
}

int VXViewport::getPcoordY(double ycoord, double* y)
{
    return getPcoordY(&vars, ycoord, y);
}

int VXViewport::getPcoordY(const VxViewport* vp, double ycoord, double* y)
{
    Scales s;
    if (scalesOf(vp, &s) < 0)
        return -1;
    if (vp->ymode == VX_SCALE_LOG && ycoord > 0.0)
        ycoord = std::log10(ycoord);
    *y = (vp->mtop + s.h) - (ycoord - s.ystart) * s.yscale * s.h;
    return 0;
}

int VXViewport::getWcoords(double x, double y, double* xcoord, double* ycoord, int no_map_tran, int no_pscale,
                           int vp_input)
{
    return getWcoords(&vars, x, y, xcoord, ycoord, no_map_tran, no_pscale, vp_input);
}

int VXViewport::getWcoords(const VxViewport* vp, double x, double y, double* xcoord, double* ycoord, int no_map_tran,
                           int no_pscale, int vp_input)
{
    double xc = x, yc = y;
    if (!no_pscale) {
        Scales s;
        if (scalesOf(vp, &s) < 0)
            return -1;
        if (vp_input) {
            xc = s.xstart + x * (s.xend - s.xstart);
            yc = s.ystart + y * (s.yend - s.ystart);
        } else {
            xc = s.xstart + ((x - vp->mleft) / s.w) / s.xscale;
            yc = s.ystart + (((vp->mtop + s.h) - y) / s.h) / s.yscale;
        }
        if (vp->xmode == VX_SCALE_LOG)
            xc = std::pow(10.0, xc);
        if (vp->ymode == VX_SCALE_LOG)
            yc = std::pow(10.0, yc);
    }
    if (no_map_tran) {
        *xcoord = xc;
        *ycoord = yc;
        return 0;
    }
    switch (vp->map_tran) {
    case VX_MAP_EDP:
        VX_edp2geopointat(vp->latr, vp->lonr, xc, yc, ycoord, xcoord);
        break;
    case VX_MAP_GLOBE:
        VX_globe2geopointat(vp->latr, vp->lonr, xc, yc, ycoord, xcoord);
        break;
    case VX_MAP_MERC:
        *xcoord = xc;
        *ycoord = VX_mercator_lat(yc);
        break;
    default:
        *xcoord = xc;
        *ycoord = yc;
        break;
    }
    return 0;
}

int VXViewport::translateAndGain()
{
    return translateAndGain(&vars);
}

int VXViewport::translateAndGain(VxViewport* vp)
{
    // the offset is measured at the scale of the view as it stands; a view
    // without a usable scale (not yet computed, not a number) measures it
    // on the unit view, so that the view can always be recomputed
    if (plotWidth(vp) < 3 || plotHeight(vp) < 3)
        return -1;
    Scales s;
    scalesOf(vp, &s);
    if (s.w == 0) {
        s.w = static_cast<int>(std::min<long long>(plotWidth(vp), INT_MAX));
        s.h = static_cast<int>(std::min<long long>(plotHeight(vp), INT_MAX));
    }
    double dxc = static_cast<double>(vp->xoffset) / s.w / s.xscale;
    double dyc = -static_cast<double>(vp->yoffset) / s.h / s.yscale;
    if (!std::isfinite(dxc))
        dxc = 0.0;
    if (!std::isfinite(dyc))
        dyc = 0.0;

    const bool xlog = vp->xmode == VX_SCALE_LOG, ylog = vp->ymode == VX_SCALE_LOG;
    double xl = baseLimit(vp->spc_xleft, vp->xmin, vp->xmax, 10.0, true, xlog);
    double xr = baseLimit(vp->spc_xright, vp->xmax, vp->xmin, 10.0, false, xlog);
    double yb = baseLimit(vp->spc_ybottom, vp->ymin, vp->ymax, 10.0, true, ylog);
    double yt = baseLimit(vp->spc_ytop, vp->ymax, vp->ymin, 10.0, false, ylog);
    if (xlog) {
        double shift = vp->xoffset ? std::pow(10.0, dxc) : 1.0;
        xl *= shift;
        xr *= shift;
    } else {
        xl += dxc;
        xr += dxc;
    }
    if (ylog) {
        double shift = vp->yoffset ? std::pow(10.0, dyc) : 1.0;
        yb *= shift;
        yt *= shift;
    } else {
        yb += dyc;
        yt += dyc;
    }
    vp->xleft = xl;
    vp->xright = xr;
    vp->ybottom = yb;
    vp->ytop = yt;

    if (vp->xgain != 1.0 || vp->ygain != 1.0) {
        // the anchor goes through the map transform: degrees in a map view
        double xa = 0.0, ya = 0.0;
        if (getWcoords(vp, vp->xgain_anchor, vp->ygain_anchor, &xa, &ya, 0, 0, 0) == 0) {
            if (vp->xgain != 1.0)
                applyGain(vp->xgain, xa, &vp->xleft, &vp->xright, xlog);
            if (vp->ygain != 1.0)
                applyGain(vp->ygain, ya, &vp->ybottom, &vp->ytop, ylog);
        }
    }
    return 0;
}

void VXViewport::setWcoordsX(double xleft, double xright)
{
    bool changed = false;
    if (xleft != VX_NULL_VALUE && xleft != vars.spc_xleft) {
        vars.spc_xleft = xleft;
        changed = true;
    }
    if (xright != VX_NULL_VALUE && xright != vars.spc_xright) {
        vars.spc_xright = xright;
        changed = true;
    }
    if (changed) {
        translateAndGain();
        setStale();
    }
}

void VXViewport::setWcoordsY(double ybottom, double ytop)
{
    bool changed = false;
    if (ybottom != VX_NULL_VALUE && ybottom != vars.spc_ybottom) {
        vars.spc_ybottom = ybottom;
        changed = true;
    }
    if (ytop != VX_NULL_VALUE && ytop != vars.spc_ytop) {
        vars.spc_ytop = ytop;
        changed = true;
    }
    if (changed) {
        translateAndGain();
        setStale();
    }
}

void VXViewport::setScales()
{
    VxViewport* vp = &vars;
    vp->w = vp->spc_w ? vp->spc_w : width();
    vp->h = vp->spc_h ? vp->spc_h : height();
    const long long pw = plotWidth(vp), ph = plotHeight(vp);
    const bool plot = pw >= 1 && ph >= 1;
    if (isMap(vp->map_tran)) {
        if (vp->preserve_xscale && vp->last_w)
            vp->range = static_cast<double>(vp->w) / vp->last_w * vp->range;
        double rangey = plot ? vp->range / (static_cast<double>(pw) / static_cast<double>(ph)) : vp->range;
        if (vp->map_tran == VX_MAP_EDP || vp->map_tran == VX_MAP_GLOBE) {
            vp->spc_xleft = -0.5 * vp->range;
            vp->spc_xright = 0.5 * vp->range;
            vp->spc_ybottom = -0.5 * rangey;
            vp->spc_ytop = 0.5 * rangey;
        } else {
            double cy = vp->map_tran == VX_MAP_MERC ? VX_mercator_y(vp->latr) : vp->latr;
            vp->spc_xleft = vp->lonr - 0.5 * vp->range;
            vp->spc_xright = vp->lonr + 0.5 * vp->range;
            vp->spc_ybottom = cy - 0.5 * rangey;
            vp->spc_ytop = cy + 0.5 * rangey;
        }
    } else {
        const bool have_view = vp->xleft != VX_NULL_VALUE && vp->ybottom != VX_NULL_VALUE;
        const long long last_pw = static_cast<long long>(vp->last_w) - vp->mleft - vp->mright;
        const long long last_ph = static_cast<long long>(vp->last_h) - vp->mbottom - vp->mtop;
        if (vp->preserve_xscale && vp->last_w && vp->w != vp->last_w && have_view && last_pw > 0 && pw > 0) {
            double anchor = vp->xleft * (1.0 - vp->xscale_anchor) + vp->xright * vp->xscale_anchor;
            double extent = (vp->xright - vp->xleft) / static_cast<double>(last_pw) * static_cast<double>(pw);
            vp->spc_xleft = anchor - vp->xscale_anchor * extent;
            vp->spc_xright = anchor + (1.0 - vp->xscale_anchor) * extent;
        }
        if (vp->preserve_yscale && vp->last_h && vp->h != vp->last_h && have_view && last_ph > 0 && ph > 0) {
            double anchor = vp->ybottom * (1.0 - vp->yscale_anchor) + vp->ytop * vp->yscale_anchor;
            double extent = (vp->ytop - vp->ybottom) / static_cast<double>(last_ph) * static_cast<double>(ph);
            vp->spc_ybottom = anchor - vp->yscale_anchor * extent;
            vp->spc_ytop = anchor + (1.0 - vp->yscale_anchor) * extent;
        }
        if (vp->constant_aspect > 0.0 && plot && vp->spc_xleft != VX_NULL_VALUE && vp->spc_xright != VX_NULL_VALUE
            && vp->spc_ybottom != VX_NULL_VALUE && vp->spc_ytop != VX_NULL_VALUE) {
            double yextent = (vp->spc_xright - vp->spc_xleft) / vp->constant_aspect
                             / (static_cast<double>(pw) / static_cast<double>(ph));
            if (vp->center_yscale) {
                double mid = 0.5 * (vp->spc_ybottom + vp->spc_ytop);
                vp->spc_ybottom = mid - 0.5 * yextent;
                vp->spc_ytop = mid + 0.5 * yextent;
            } else {
                vp->spc_ytop = vp->spc_ybottom + yextent;
            }
        }
    }
    vp->last_w = vp->w;
    vp->last_h = vp->h;
    translateAndGain();
    widenEqual(&vp->xleft, &vp->xright);
    widenEqual(&vp->ybottom, &vp->ytop);
}

void VXViewport::zoom(double xw, double yw, double xfactor, double yfactor)
{
    VxViewport* vp = &vars;
    if (isMap(vp->map_tran)) {
        double old_range = vp->range;
        double new_range = xfactor > 0.0 ? vp->range * xfactor : -xfactor;
        if (std::isfinite(new_range)) {
            double ratio = old_range != 0.0 ? new_range / old_range : 1.0;
            vp->range = new_range;
            if (vp->map_tran == VX_MAP_MERC || vp->map_tran == VX_MAP_GEOG) {
                // the point under the cursor stays in place
                vp->latr = yw + ratio * (vp->latr - yw);
                vp->lonr = xw + ratio * (vp->lonr - xw);
            }
        }
    } else {
        double l, r;
        if (zoomAxis(xw, xfactor, vp->xmode == VX_SCALE_LOG, vp->xleft, vp->xright, &l, &r)) {
            vp->spc_xleft = l;
            vp->spc_xright = r;
        }
        if (zoomAxis(yw, yfactor, vp->ymode == VX_SCALE_LOG, vp->ybottom, vp->ytop, &l, &r)) {
            vp->spc_ybottom = l;
            vp->spc_ytop = r;
        }
    }
    setScales();
    setStale();
    update();
}

void VXViewport::center(double xwc, double ywc)
{
    VxViewport* vp = &vars;
    const double xextent = vp->xright - vp->xleft, yextent = vp->ytop - vp->ybottom;
    switch (vp->map_tran) {
    case VX_MAP_EDP:
    case VX_MAP_GLOBE:
        vp->latr = ywc + 0.0001;
        vp->lonr = xwc + 0.0001;
        vp->spc_xleft = -0.5 * xextent;
        vp->spc_xright = 0.5 * xextent;
        vp->spc_ybottom = -0.5 * yextent;
        vp->spc_ytop = 0.5 * yextent;
        break;
    case VX_MAP_MERC: {
        vp->latr = ywc + 0.0001;
        vp->lonr = xwc + 0.0001;
        double cy = VX_mercator_y(ywc);
        vp->spc_xleft = xwc - 0.5 * xextent;
        vp->spc_xright = xwc + 0.5 * xextent;
        vp->spc_ybottom = cy - 0.5 * yextent;
        vp->spc_ytop = cy + 0.5 * yextent;
        break;
    }
    default:
        vp->spc_xleft = xwc - 0.5 * xextent;
        vp->spc_xright = xwc + 0.5 * xextent;
        vp->spc_ybottom = ywc - 0.5 * yextent;
        vp->spc_ytop = ywc + 0.5 * yextent;
        break;
    }
}

void VXViewport::limitBB(double* x, double* y)
{
    double radius;
    if (vars.map_tran == VX_MAP_EDP)
        radius = 180.0;
    else if (vars.map_tran == VX_MAP_GLOBE)
        radius = 90.0;
    else
        return;
    double r = std::sqrt(*x * *x + *y * *y);
    if (r > radius) {
        *x *= radius / r;
        *y *= radius / r;
    }
}

QPainterPath* VXViewport::getWcoordsBB(int nside, int* np, int* sp)
{
    VxViewport* vp = &vars;
    if (vp->xleft == vp->xright || vp->ybottom == vp->ytop)
        return nullptr;
    if (!std::isfinite(vp->xleft) || !std::isfinite(vp->xright) || !std::isfinite(vp->ybottom)
        || !std::isfinite(vp->ytop))
        return nullptr;
    nside = nside < 1 ? 1 : (nside > 100000 ? 100000 : nside);
    const double dx = (vp->xright - vp->xleft) / nside, dy = (vp->ytop - vp->ybottom) / nside;
    QPainterPath* path = new QPainterPath();
    auto add = [&](double x, double y) {
        limitBB(&x, &y);
        double lon = x, lat = y;
        getWcoords(x, y, &lon, &lat, 0, 1, 0);
        if (path->elementCount() == 0)
            path->moveTo(lon, lat);
        else
            path->lineTo(lon, lat);
    };
    for (int i = 0; i < nside; i++)
        add(vp->xleft + i * dx, vp->ybottom);
    for (int i = 0; i < nside; i++)
        add(vp->xright, vp->ybottom + i * dy);
    for (int i = 0; i < nside; i++)
        add(vp->xright - i * dx, vp->ytop);
    for (int i = 0; i < nside; i++)
        add(vp->xleft, vp->ytop - i * dy);
    path->closeSubpath();

    if (np)
        *np = 0;
    if (sp)
        *sp = 0;
    auto inView = [vp](double x, double y) {
        return x >= std::min(vp->xleft, vp->xright) && x <= std::max(vp->xleft, vp->xright)
               && y >= std::min(vp->ybottom, vp->ytop) && y <= std::max(vp->ybottom, vp->ytop);
    };
    double x = 0.0, y = 0.0;
    if (vp->map_tran == VX_MAP_EDP) {
        VX_geopointat2edp(vp->latr, vp->lonr, 90.0, 0.0, &x, &y);
        if (np && inView(x, y))
            *np = 1;
        VX_geopointat2edp(vp->latr, vp->lonr, -90.0, 0.0, &x, &y);
        if (sp && inView(x, y))
            *sp = 1;
    } else if (vp->map_tran == VX_MAP_GLOBE) {
        if (vp->latr >= 0.0) {
            if (np && VX_geopointat2globe(vp->latr, vp->lonr, 90.0, 0.0, &x, &y) == 0 && inView(x, y))
                *np = 1;
        } else {
            if (sp && VX_geopointat2globe(vp->latr, vp->lonr, -90.0, 0.0, &x, &y) == 0 && inView(x, y))
                *sp = 1;
        }
    }
    return path;
}

void VXViewport::computeMapBB()
{
    VxViewport* vp = &vars;
    if (vp->map_tran == VX_MAP_EDP || vp->map_tran == VX_MAP_GLOBE) {
        VX_delbox2llbox(vp->latr, vp->lonr, vp->xleft, vp->xright, vp->ybottom, vp->ytop,
                        vp->map_tran == VX_MAP_GLOBE ? 1 : 0, &vp->bblatmin, &vp->bblatmax, &vp->bblonmin,
                        &vp->bblonmax);
    } else {
        vp->bblatmin = vp->ybottom;
        vp->bblatmax = vp->ytop;
        vp->bblonmin = vp->xleft;
        vp->bblonmax = vp->xright;
    }
}

QPainterPath* VXViewport::wrapLongitudes(int n, double* lons, double* lats, int np, int sp)
{
    return wrapLongitudes(&vars, n, lons, lats, np, sp);
}

QPainterPath* VXViewport::wrapLongitudes(QPainterPath* path, int np, int sp)
{
    return wrapLongitudes(&vars, path, np, sp);
}

QPainterPath* VXViewport::wrapLongitudes(VxViewport* vp, int n, double* lons, double* lats, int np, int sp)
{
    // coordinates beyond this are not longitudes: no copy arithmetic on them
    constexpr double max_degrees = 1.0e7;
    constexpr int max_copies = 64;
    if (n < 1 || !lons || !lats)
        return nullptr;
    if (!std::isfinite(vp->xleft) || !std::isfinite(vp->xright) || std::fabs(vp->xleft) > max_degrees
        || std::fabs(vp->xright) > max_degrees)
        return nullptr;
    for (int i = 0; i < n; i++)
        if (!std::isfinite(lons[i]) || std::fabs(lons[i]) > max_degrees || !std::isfinite(lats[i]))
            return nullptr;

    // 1. unwrap: successive points less than 180 degrees apart
    double shift = 0.0;
    double minimum = lons[0], maximum = lons[0];
    for (int i = 1; i < n; i++) {
        double d = lons[i] + shift - lons[i - 1];
        shift -= 360.0 * map_lon_turns(d);
        lons[i] += shift;
        minimum = std::min(minimum, lons[i]);
        maximum = std::max(maximum, lons[i]);
    }
    // 2. an outline that does not come back to its start encircles a pole
    const bool wrapped = std::fabs(lons[0] - lons[n - 1]) > 0.1;
    if (lons[0] > lons[n - 1]) {
        for (int i = 0, j = n - 1; i < j; i++, j--) {
            std::swap(lons[i], lons[j]);
            std::swap(lats[i], lats[j]);
        }
    }
    // 3. the lowest copy whose maximum lies beyond xleft
    double k = std::floor((vp->xleft - maximum) / 360.0) + 1.0;
    if (k != 0.0) {
        for (int i = 0; i < n; i++)
            lons[i] += 360.0 * k;
        minimum += 360.0 * k;
        maximum += 360.0 * k;
    }
    // 4.
    const double first_lon = lons[0], first_lat = lats[0];
    QPainterPath* path = nullptr;
    int close_flag = 0;
    // 5. a closed outline with both poles in view cuts a hole in the plot
    if (!wrapped && np && sp) {
        path = new QPainterPath();
        path->addRect(0.0, 0.0, static_cast<double>(plotWidth(vp)), static_cast<double>(plotHeight(vp)));
        close_flag = 1;
    }
    // 6. one copy per 360 degrees the view shows
    for (int copy = 0; copy < max_copies && maximum >= vp->xleft && vp->xright >= minimum; copy++) {
        if (!path)
            path = new QPainterPath();
        // the copies of an outline around a pole are one chain
        addPolygonPoints(vp, path, n, lons, lats, wrapped && copy > 0 ? 0 : 1, close_flag);
        minimum += 360.0;
        maximum += 360.0;
        if (!(maximum >= vp->xleft && vp->xright >= minimum))
            break;
        for (int i = 0; i < n; i++)
            lons[i] += 360.0;
    }
    // 7. close over the pole in view
    if (path && wrapped && (np != 0) != (sp != 0)) {
        double lat = np ? 89.9999 : -89.9999;
        double xs[3] = {lons[n - 1], first_lon, first_lon};
        double ys[3] = {lat, lat, first_lat};
        addPolygonPoints(vp, path, 3, xs, ys, 0, 0);
    }
    return path;
}

QPainterPath* VXViewport::wrapLongitudes(VxViewport* vp, QPainterPath* path, int np, int sp)
{
    if (!path || path->elementCount() == 0)
        return nullptr;
    const long n = path->elementCount();
    double* lons = static_cast<double*>(malloc(n * sizeof(double)));
    if (!lons)
        hl_die(HL_SEVERITY_SYSTEM, "VXViewport::wrapLongitudes: malloc (lons,%ld) error.\n", n);
    double* lats = static_cast<double*>(malloc(n * sizeof(double)));
    if (!lats)
        hl_die(HL_SEVERITY_SYSTEM, "VXViewport::wrapLongitudes: malloc (lats,%ld) error.\n", n);
    for (long i = 0; i < n; i++) {
        const QPainterPath::Element& e = path->elementAt(static_cast<int>(i));
        lons[i] = e.x;
        lats[i] = e.y;
    }
    QPainterPath* result = wrapLongitudes(vp, static_cast<int>(n), lons, lats, np, sp);
    free(lons);
    free(lats);
    return result;
}
