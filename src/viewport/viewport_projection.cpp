// Switching a running map from one projection to another.
#include "map/projection/projections.h"
#include "toolkit/base/errors.h"
#include "viewport/viewport.h"

#include <cstdio>
#include <cstring>

namespace {

const char* const projection_names[] = {"none", "edp", "globe", "merc", "geog"};

bool isPlane(int map_tran)
{
    return map_tran == VX_MAP_EDP || map_tran == VX_MAP_GLOBE;
}

// A number as the viewport's parsers read it.
struct Number
{
    char text[64];
    explicit Number(double v) { snprintf(text, sizeof text, "%f", v); }
};

// The world point at the centre of the plot area; the middle of the view
// when the scales can't say.
void viewCentre(VXViewport* viewport, double W, double H, double* lonc, double* latc)
{
    const VxViewport* vp = &viewport->vars;
    const double px = vp->mleft + 0.5 * W, py = vp->mtop + 0.5 * H;
    if (viewport->getWcoords(px, py, lonc, latc, 0, 0, 0) == 0)
        return;
    *lonc = 0.5 * (vp->xleft + vp->xright);
    const double mid = 0.5 * (vp->ybottom + vp->ytop);
    *latc = vp->map_tran == VX_MAP_MERC ? VX_mercator_lat(mid) : mid;
}

} // namespace

int map_parse_projection(VXViewport* viewport, const char* value)
{
    if (!value || !viewport)
        return 0;
    int to = -1;
    for (int i = VX_MAP_EDP; i <= VX_MAP_GEOG; i++)
        if (strcmp(value, projection_names[i]) == 0)
            to = i;
    if (to < 0) {
        hl_register_error(0, "map_parse_projection: projection '%s' not recognized.\n", value);
        return -1;
    }
    VxViewport* vp = &viewport->vars;
    const int from = vp->map_tran;
    if (from == to)
        return 0;

    const char* map = projection_names[to];
    const double W = static_cast<double>(vp->w) - vp->mleft - vp->mright;
    const double H = static_cast<double>(vp->h) - vp->mbottom - vp->mtop;
    const double aspect = W / H;
    // without ranges, or without a plot area to take the aspect from,
    // only the projection changes
    const bool no_view = vp->xleft == VX_NULL_VALUE || !(W > 0.0) || !(H > 0.0);

    int ret;
    if (no_view || (isPlane(to) && isPlane(from))) {
        ret = viewport->configure("map", map, nullptr);
    } else if (isPlane(to)) {
        double lonc = 0.0, latc = 0.0;
        viewCentre(viewport, W, H, &lonc, &latc);
        const double xleft = vp->xleft - lonc;
        const double xright = -xleft;
        const double ytop = xright / aspect;
        const double ybottom = -ytop;
        ret = viewport->configure("map", map, "lonr", Number(lonc).text, "latr", Number(latc).text, "xleft",
                                  Number(xleft).text, "xright", Number(xright).text, "ybottom",
                                  Number(ybottom).text, "ytop", Number(ytop).text, nullptr);
    } else if (to == VX_MAP_MERC && isPlane(from)) {
        const double xleft = vp->xleft + vp->lonr, xright = vp->xright + vp->lonr;
        const double half = 0.5 * (xright - xleft) / aspect;
        const double top = VX_mercator_y(vp->latr) + half;
        const double bottom = 2.0 * VX_mercator_y(vp->latr) - top;
        ret = viewport->configure("map", map, "xleft", Number(xleft).text, "xright", Number(xright).text,
                                  "ybottom", Number(VX_mercator_lat(bottom)).text, "ytop",
                                  Number(VX_mercator_lat(top)).text, nullptr);
    } else if (to == VX_MAP_MERC) {
        // from none or geog: the lower edge is taken from the top, and a
        // plain latitude goes through the inverse Mercator formula; an
        // off-centre map jumps here
        const double latc = 0.5 * (vp->ytop + vp->ybottom);
        const double half = 0.5 * (vp->xright - vp->xleft) / aspect;
        const double top = latc + half;
        const double bottom = latc - top;
        ret = viewport->configure("map", map, "ybottom", Number(VX_mercator_lat(bottom)).text, "ytop",
                                  Number(VX_mercator_lat(top)).text, nullptr);
    } else if (isPlane(from)) {
        // to geog; the lower edge again comes out at -half whatever latr
        const double xleft = vp->xleft + vp->lonr, xright = vp->xright + vp->lonr;
        const double top = vp->latr + 0.5 * (xright - xleft) / aspect;
        const double bottom = vp->latr - top;
        ret = viewport->configure("map", map, "xleft", Number(xleft).text, "xright", Number(xright).text,
                                  "ybottom", Number(bottom).text, "ytop", Number(top).text, nullptr);
    } else {
        // to geog from none or merc: centred on the view
        double latc = 0.5 * (vp->ytop + vp->ybottom);
        if (from == VX_MAP_MERC)
            latc = VX_mercator_lat(latc);
        const double half = 0.5 * (vp->xright - vp->xleft) / aspect;
        ret = viewport->configure("map", map, "ybottom", Number(latc - half).text, "ytop",
                                  Number(latc + half).text, nullptr);
    }
    viewport->setStale();
    viewport->update();
    if (ret < 0) {
        hl_register_error(0, "map_parse_projection: Unable to set projection '%s'.\n", value);
        return -1;
    }
    return 0;
}
