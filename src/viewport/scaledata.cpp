// World points to normalised plot coordinates, one at a time.
#include "viewport/scaledata.h"

#include "map/projection/longitude_p.h"
#include "map/projection/maptransform.h"
#include "map/projection/projections.h"
#include "viewport/viewport.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double no_value = -9e8;

// Pieces a single step may be cut into: enough for about a pixel along
// any line that crosses the view, never unbounded on a zoomed-in view.
constexpr int pieces_per_plot_pixel = 4;
constexpr int max_pieces_cap = 1 << 16;

double normalise(double v, int mode, double start, double scale, int size)
{
    switch (mode) {
    case 1:
        return v / size;
    case 2:
        return v;
    default:
        return (v - start) * scale;
    }
}

} // namespace

VXScaledata::VXScaledata(VxViewport* viewport, int ignoretran, int xmode, int ymode)
    : vp(viewport), map_tran(ignoretran ? 0 : viewport->map_tran), plxmode(xmode), plymode(ymode),
      vpxmode(viewport->xmode), vpymode(viewport->ymode), w(0), h(0), xstart(0.0), xend(1.0), xscale(1.0),
      ystart(1.0), yend(0.0), yscale(-1.0), tran(nullptr), xp_last(no_value), yp_last(no_value), xpt(0.0),
      ypt(0.0), xptp(0.0), yptp(0.0), xinput(no_value), yinput(no_value), xpts_last(0.0), ypts_last(0.0),
      start(1), ndelta(0), idelta(0), delx(0.0), dely(0.0)
{
    int pw = 0, ph = 0;
    double xs = 0.0, xe = 1.0, xsc = 1.0, ys = 0.0, ye = 1.0, ysc = 1.0;
    if (VXViewport::getScales(viewport, &pw, &ph, &xs, &xe, &xsc, &ys, &ye, &ysc) == 0 && std::isfinite(xsc)
        && std::isfinite(ysc)) {
        scaled = true;
        w = pw;
        h = ph;
        xstart = xs;
        xend = xe;
        xscale = xsc;
        ystart = ye;
        yend = ys;
        yscale = -ysc;
    }
    if (map_tran == VX_MAP_EDP || map_tran == VX_MAP_GLOBE) {
        tran = new HLMapTransform(viewport->latr, viewport->lonr);
        pixel = w > 0 ? (xend - xstart) / w : 0.0;
        const long long cap = pieces_per_plot_pixel * (static_cast<long long>(w) + h) + 16;
        max_pieces = static_cast<int>(std::min<long long>(cap, max_pieces_cap));
    }
}

VXScaledata::~VXScaledata()
{
    delete tran;
}

int VXScaledata::pushPoint(double x, double y)
{
    xinput = x;
    yinput = y;
    pending = true;
    return 0;
}

bool VXScaledata::place(double x, double y)
{
    switch (map_tran) {
    case VX_MAP_EDP:
        tran->edpLatlon2delxy(y, x, &xptp, &yptp);
        break;
    case VX_MAP_GLOBE:
        // the far side is folded outward and still drawn through
        tran->globeLatlon2delxy(y, x, &xptp, &yptp);
        break;
    case VX_MAP_MERC:
        xptp = x;
        yptp = VX_mercator_y(y);
        break;
    default:
        xptp = x;
        yptp = y;
        break;
    }
    xpt = normalise(xptp, plxmode, xstart, xscale, w);
    ypt = normalise(yptp, plymode, ystart, yscale, h);
    return std::isfinite(xpt) && std::isfinite(ypt);
}

int VXScaledata::finish(double* x, double* y, int disposition)
{
    *x = xpt;
    *y = ypt;
    xp_last = xptp;
    yp_last = yptp;
    xpts_last = xinput;
    ypts_last = yinput;
    have_last = true;
    start = 0;
    pending = false;
    xinput = yinput = no_value;
    return disposition;
}

int VXScaledata::popPoint(double* x, double* y)
{
    if (ndelta > 1) {
        // a subdivision in progress: the next intermediate point, skipping
        // any that can't be placed, then the end of the step
        while (idelta < ndelta) {
            const double xi = xpts_last + delx * idelta;
            const double yi = ypts_last + dely * idelta;
            idelta++;
            if (place(xi, yi)) {
                *x = xpt;
                *y = ypt;
                return disposition_lineTo;
            }
        }
        ndelta = idelta = 0;
        xpt = xpt_end;
        ypt = ypt_end;
        xptp = xptp_end;
        yptp = yptp_end;
        return finish(x, y, disposition_lineTo);
    }

    if (!pending)
        return disposition_noInput;
    double xin = xinput, yin = yinput;
    const bool xlog = vpxmode == VX_SCALE_LOG && plxmode != 1 && plxmode != 2;
    const bool ylog = vpymode == VX_SCALE_LOG && plymode != 1 && plymode != 2;
    if (xlog)
        xin = xin > 0.0 ? std::log10(xin) : VX_NULL_VALUE;
    if (ylog)
        yin = yin > 0.0 ? std::log10(yin) : VX_NULL_VALUE;
    if (xin == VX_NULL_VALUE || yin == VX_NULL_VALUE || !std::isfinite(xin) || !std::isfinite(yin) || !scaled
        || !place(xin, yin)) {
        // the line breaks here; a map line starts afresh after the gap
        start = 1;
        have_last = false;
        xp_last = yp_last = no_value;
        pending = false;
        xinput = yinput = no_value;
        return disposition_notUsed;
    }
    xinput = xin;
    yinput = yin;

    if (map_tran != VX_MAP_EDP && map_tran != VX_MAP_GLOBE)
        return finish(x, y, start ? disposition_moveTo : disposition_lineTo);
    if (!have_last || start)
        return finish(x, y, disposition_moveTo);

    const double dxp = xptp - xp_last, dyp = yptp - yp_last;
    const double d2 = dxp * dxp + dyp * dyp;
    if (!(pixel > 0.0) || !std::isfinite(pixel) || d2 <= pixel * pixel)
        return finish(x, y, disposition_lineTo);
    const double pieces = std::trunc(std::sqrt(d2) / pixel + 0.5);
    if (!(pieces >= 2.0))
        return finish(x, y, disposition_lineTo);
    ndelta = pieces > max_pieces ? max_pieces : static_cast<int>(pieces);
    delx = map_lon_near(xinput - xpts_last, 0.0) / ndelta;
    dely = (yinput - ypts_last) / ndelta;
    idelta = 1;
    xpt_end = xpt;
    ypt_end = ypt;
    xptp_end = xptp;
    yptp_end = yptp;
    return popPoint(x, y);
}
