// VXAxes: meridians and parallels, the grid of the edp and globe maps.
#include "items/axes.h"

#include "foundation/nicevalues.h"
#include "viewport/viewport.h"

#include <algorithm>
#include <cmath>

namespace {

// Most lines of one family; more would only blacken the map.
constexpr int max_map_lines = 2000;

} // namespace

void VXAxes::drawMapLines(QPainter* painter, int yaxis, int size, double big_incr, double small_incr, int mind,
                          int small)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !painter)
        return;
    vp->computeMapBB();
    const double lo = yaxis ? vp->vars.bblatmin : vp->vars.bblonmin;
    const double hi = yaxis ? vp->vars.bblatmax : vp->vars.bblonmax;
    if (!std::isfinite(lo) || !std::isfinite(hi))
        return;
    double start_big = 0, start_sml = 0, ib = std::isfinite(big_incr) ? big_incr : 0.0;
    double is = std::isfinite(small_incr) ? small_incr : 0.0;
    int n_big = 0, n_sml = 0;
    if (VX_get_nice_fvals(lo, hi, size, mind, &start_big, &n_big, &ib, &start_sml, &n_sml, &is) != 1)
        return;
    const double first = small ? start_sml : start_big;
    const double incr = small ? is : ib;
    const int n = std::clamp(small ? n_sml : n_big, 0, max_map_lines);

    // a meridian runs pole to pole in steps of a degree, a parallel around
    // the globe
    const int npts = yaxis ? 361 : 181;
    double lons[361], lats[361];
    for (int i = 0; i < n; i++) {
        const double value = first + i * incr;
        for (int j = 0; j < npts; j++) {
            if (yaxis) {
                lons[j] = -180.0 + j;
                lats[j] = value;
            } else {
                lons[j] = value;
                lats[j] = -90.0 + j;
            }
        }
        vp->polyDraw(painter, npts, lons, lats, 0, 0, 0);
    }
}
