// VXAxes: tic generators, tic marks and grid lines.
#include "items/axes.h"

#include "foundation/nicevalues.h"
#include "viewport/viewport.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Limits of a tic along its axis: a tic a hair outside the view still
// counts, so that a tic at either end of the view is drawn.
constexpr double fx_low = -1e-5;
constexpr double fx_high = 1.00001;

// Pens wider than this are cut, as they would only flood the plot.
constexpr int max_pen_width = 1000;

int penWidth(int width)
{
    return std::min(width, max_pen_width);
}

// Tic lengths as fractions of the plot are cut, so that a wild length does
// not reach the painter as an astronomic coordinate.
double lengthFraction(double pixels, int side)
{
    if (side <= 0 || !std::isfinite(pixels))
        return 0.0;
    return std::clamp(pixels / side, -4.0, 4.0);
}

} // namespace

int VX_axes_linear_tics(double start, double end, int width, int mind, double incr_big, double incr_sml,
                        std::vector<VX_AxisTic>* big, std::vector<VX_AxisTic>* small)
{
    if (big)
        big->clear();
    if (small)
        small->clear();
    if (!std::isfinite(start) || !std::isfinite(end) || start == end || !std::isfinite(end - start))
        return 0;
    const double scale = 1.0 / (end - start);
    if (!std::isfinite(scale) || scale == 0.0)
        return 0;
    double start_big = 0, start_sml = 0;
    int n_big = 0, n_sml = 0;
    double ib = std::isfinite(incr_big) ? incr_big : 0.0;
    double is = std::isfinite(incr_sml) ? incr_sml : 0.0;
    if (VX_get_nice_fvals(start, end, width, mind, &start_big, &n_big, &ib, &start_sml, &n_sml, &is) != 1)
        return 0;
    const auto walk = [&](double first, int n, double incr, std::vector<VX_AxisTic>* out) {
        if (!out)
            return;
        n = std::clamp(n, 0, VX_AXES_MAX_TICS);
        for (int i = 0; i < n; i++) {
            double value = first + i * incr;
            // the tic at zero is not a rounding residue
            if (std::fabs(value) < 1e-9 * std::fabs(incr))
                value = 0.0;
            const double fx = (value - start) * scale;
            if (fx < fx_low)
                continue;
            if (fx > fx_high)
                break;
            out->push_back({value, fx});
        }
    };
    walk(start_big, n_big, ib, big);
    walk(start_sml, n_sml, is, small);
    return 1;
}

int VX_axes_log_tics(double start, double end, std::vector<VX_AxisTic>* big, std::vector<VX_AxisTic>* small)
{
    if (big)
        big->clear();
    if (small)
        small->clear();
    // log10 of a double lies within +-324: wider limits are not a view
    if (!std::isfinite(start) || !std::isfinite(end) || start == end || std::fabs(start) > 1000.0
        || std::fabs(end) > 1000.0)
        return 0;
    const double scale = 1.0 / (end - start);
    if (!std::isfinite(scale))
        return 0;
    const bool up = scale > 0.0;
    const int dir = up ? 1 : -1;
    // every loop below covers the decades of the view and a few more
    const int max_decades = int(std::fabs(end - start)) + 4;

    if (small) {
        // from one decade before the view; on a reversed axis the values
        // fall, from 10^n down to 0.2 * 10^n
        int n = up ? int(std::trunc(start - 0.001)) - 1 : int(std::trunc(start + 0.001)) + 1;
        bool done = false;
        for (int d = 0; d <= max_decades && !done; d++, n += dir) {
            for (int k = 1; k <= 9; k++) {
                const double exponent = up ? n + std::log10(double(k)) : n - 1 + std::log10(double(11 - k));
                const double fx = (exponent - start) * scale;
                if (fx < 0.0)
                    continue;
                if (fx > 1.0) {
                    done = true;
                    break;
                }
                small->push_back({exponent, fx});
            }
        }
    }
    if (big) {
        int n = up ? int(std::trunc(start - 0.001)) : int(std::trunc(start + 0.001));
        for (int d = 0; d <= max_decades; d++, n += dir) {
            const double fx = (n - start) * scale;
            // a decade before the view: move on towards it
            if (fx < fx_low)
                continue;
            if (fx > fx_high)
                break;
            big->push_back({double(n), fx});
        }
    }
    return 1;
}

void VXAxes::drawTics(int w, int h, QPainter* painter)
{
    const char* s = vars.tic_style ? vars.tic_style : "";
    const size_t len = strlen(s);
    for (size_t i = 0; i + 1 < len; i += 2) {
        const char side = s[i], style_letter = s[i + 1];
        if (style_letter != 'c' && style_letter != 'i' && style_letter != 'o')
            return;
        if (side != 'n' && side != 's' && side != 'e' && side != 'w')
            return;
        const bool xaxis = side == 'n' || side == 's';
        const double big_len = xaxis ? lengthFraction(vars.xticlength_big, h) : lengthFraction(vars.yticlength_big, w);
        const double sml_len = xaxis ? lengthFraction(vars.xticlength_sml, h) : lengthFraction(vars.yticlength_sml, w);
        // offset of the tic's start from the box line and its extent
        const auto shape = [style_letter](double length, double* offset, double* extent) {
            switch (style_letter) {
            case 'c':
                *offset = -0.5 * length;
                *extent = length;
                break;
            case 'i':
                *offset = 0.0;
                *extent = -length;
                break;
            default:
                *offset = 0.0;
                *extent = length;
                break;
            }
        };
        double bo = 0, be = 0, so = 0, se = 0;
        shape(big_len, &bo, &be);
        shape(sml_len, &so, &se);
        double b0, b1, s0, s1;
        if (side == 'n' || side == 'e') {
            b0 = 1.0 + bo;
            b1 = 1.0 + bo + be;
            s0 = 1.0 + so;
            s1 = 1.0 + so + se;
        } else {
            b0 = bo;
            b1 = bo - be;
            s0 = so;
            s1 = so - se;
        }
        switch (side) {
        case 'n':
            vars.tic_style_north = style_letter;
            break;
        case 's':
            vars.tic_style_south = style_letter;
            break;
        case 'e':
            vars.tic_style_east = style_letter;
            break;
        default:
            vars.tic_style_west = style_letter;
            break;
        }
        if (xaxis)
            drawXaxisStuff(painter, &vars.foreground_axes, vars.xwidth_big, vars.style, vars.xincr_num, b0, b1,
                           &vars.foreground_axes, vars.xwidth_sml, vars.style, vars.xincr_sml, s0, s1, vars.mindx);
        else
            drawYaxisStuff(painter, &vars.foreground_axes, vars.ywidth_big, vars.style, vars.yincr_num, b0, b1,
                           &vars.foreground_axes, vars.ywidth_sml, vars.style, vars.yincr_sml, s0, s1, vars.mindy);
    }
}

void VXAxes::drawXaxisStuff(QPainter* painter, VX_Color* big_color, int big_width, int big_style, double big_incr,
                            double big_y0, double big_y1, VX_Color* small_color, int small_width, int small_style,
                            double small_incr, double small_y0, double small_y1, int mindx)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !painter)
        return;
    int w = 0, h = 0;
    double xstart = 0, xend = 0, xscale = 0, ystart = 0, yend = 0, yscale = 0;
    if (vp->getScales(&w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale) < 0)
        return;
    const int map = vp->vars.map_tran;
    if (map == VX_MAP_EDP || map == VX_MAP_GLOBE) {
        if (small_width >= 0) {
            VX_setup_line(painter, small_color, penWidth(small_width), small_style, -1, -1);
            drawMapLines(painter, 0, w, big_incr, small_incr, mindx, 1);
        }
        if (big_width >= 0) {
            VX_setup_line(painter, big_color, penWidth(big_width), big_style, -1, -1);
            drawMapLines(painter, 0, w, big_incr, small_incr, mindx, 0);
        }
        return;
    }
    std::vector<VX_AxisTic> big, small;
    if (vp->vars.xmode == VX_SCALE_LOG) {
        // a logarithmic axis whose limits are not positive has no scale
        if (vp->vars.xleft <= 0.0 || vp->vars.xright <= 0.0)
            return;
        VX_axes_log_tics(xstart, xend, &big, &small);
    } else {
        VX_axes_linear_tics(xstart, xend, w, mindx, big_incr, small_incr, &big, &small);
    }
    const auto family = [&](const std::vector<VX_AxisTic>& tics, VX_Color* color, int width, int style, double y0,
                            double y1) {
        if (width < 0 || tics.empty())
            return;
        VX_setup_line(painter, color, penWidth(width), style, -1, -1);
        for (const VX_AxisTic& t : tics)
            vp->bufferDraws(painter, 0, 0, w, h, t.fx, y0, t.fx, y1);
        vp->bufferDraws(painter, 0, 1, w, h, 0, 0, 0, 0);
    };
    family(small, small_color, small_width, small_style, small_y0, small_y1);
    family(big, big_color, big_width, big_style, big_y0, big_y1);
}

void VXAxes::drawYaxisStuff(QPainter* painter, VX_Color* big_color, int big_width, int big_style, double big_incr,
                            double big_x0, double big_x1, VX_Color* small_color, int small_width, int small_style,
                            double small_incr, double small_x0, double small_x1, int mindy)
{
    VXViewport* vp = getViewportParent();
    if (!vp || !painter)
        return;
    int w = 0, h = 0;
    double xstart = 0, xend = 0, xscale = 0, ystart = 0, yend = 0, yscale = 0;
    if (vp->getScales(&w, &h, &xstart, &xend, &xscale, &ystart, &yend, &yscale) < 0)
        return;
    const int map = vp->vars.map_tran;
    if (map == VX_MAP_EDP || map == VX_MAP_GLOBE) {
        if (small_width >= 0) {
            VX_setup_line(painter, small_color, penWidth(small_width), small_style, -1, -1);
            drawMapLines(painter, 1, h, big_incr, small_incr, mindy, 1);
        }
        if (big_width >= 0) {
            VX_setup_line(painter, big_color, penWidth(big_width), big_style, -1, -1);
            drawMapLines(painter, 1, h, big_incr, small_incr, mindy, 0);
        }
        return;
    }
    std::vector<VX_AxisTic> big, small;
    if (vp->vars.ymode == VX_SCALE_LOG) {
        if (vp->vars.ybottom <= 0.0 || vp->vars.ytop <= 0.0)
            return;
        VX_axes_log_tics(ystart, yend, &big, &small);
    } else {
        VX_axes_linear_tics(ystart, yend, h, mindy, big_incr, small_incr, &big, &small);
    }
    const auto family = [&](const std::vector<VX_AxisTic>& tics, VX_Color* color, int width, int style, double x0,
                            double x1) {
        if (width < 0 || tics.empty())
            return;
        VX_setup_line(painter, color, penWidth(width), style, -1, -1);
        for (const VX_AxisTic& t : tics)
            vp->bufferDraws(painter, 0, 0, w, h, x0, t.fx, x1, t.fx);
        vp->bufferDraws(painter, 0, 1, w, h, 0, 0, 0, 0);
    };
    family(small, small_color, small_width, small_style, small_x0, small_x1);
    family(big, big_color, big_width, big_style, big_x0, big_x1);
}
