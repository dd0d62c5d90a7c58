// Cohen-Sutherland and Sutherland-Hodgman on the unit square.
#include "viewport/clipping.h"

#include <cstddef>

namespace {

// Moving an end onto a boundary can leave it a rounding error outside;
// a few rounds settle any segment.
constexpr int max_rounds = 8;

bool inside(int edge, double x, double y)
{
    switch (edge) {
    case VX_CLIP_EDGE_LEFT:
        return x >= 0.0;
    case VX_CLIP_EDGE_BOTTOM:
        return y >= 0.0;
    case VX_CLIP_EDGE_RIGHT:
        return x <= 1.0;
    default:
        return y <= 1.0;
    }
}

// Where the segment from (px, py) to (cx, cy) crosses the edge; the
// coordinates across the edge differ (the caller tests that first).
void crossing(int edge, double px, double py, double cx, double cy, double* x, double* y)
{
    switch (edge) {
    case VX_CLIP_EDGE_LEFT:
    case VX_CLIP_EDGE_RIGHT: {
        double at = edge == VX_CLIP_EDGE_LEFT ? 0.0 : 1.0;
        *x = at;
        *y = py + (cy - py) * (at - px) / (cx - px);
        break;
    }
    default: {
        double at = edge == VX_CLIP_EDGE_BOTTOM ? 0.0 : 1.0;
        *x = px + (cx - px) * (at - py) / (cy - py);
        *y = at;
        break;
    }
    }
}

} // namespace

int VX_ClipOutcode(double x, double y)
{
    int code = 0;
    if (y > 1.0)
        code = VX_CLIP_ABOVE;
    else if (y < 0.0)
        code = VX_CLIP_BELOW;
    if (x > 1.0)
        code += VX_CLIP_RIGHT;
    else if (x < 0.0)
        code += VX_CLIP_LEFT;
    return code;
}

int VX_ClipLine(double* x0, double* y0, int c0, double* x1, double* y1, int c1)
{
    for (int round = 0; round < max_rounds; round++) {
        if (c0 & c1)
            return 0;
        if (!(c0 | c1))
            return 1;
        const bool move_end = c1 != 0;
        const int c = move_end ? c1 : c0;
        const double ax = *x0, ay = *y0, bx = *x1, by = *y1;
        double x, y;
        // the other end lies on the inner side of the boundary tested, so
        // the difference divided by is never 0
        if (c & VX_CLIP_ABOVE) {
            x = ax + (bx - ax) * (1.0 - ay) / (by - ay);
            y = 1.0;
        } else if (c & VX_CLIP_BELOW) {
            x = ax + (bx - ax) * (0.0 - ay) / (by - ay);
            y = 0.0;
        } else if (c & VX_CLIP_RIGHT) {
            y = ay + (by - ay) * (1.0 - ax) / (bx - ax);
            x = 1.0;
        } else {
            y = ay + (by - ay) * (0.0 - ax) / (bx - ax);
            x = 0.0;
        }
        if (move_end) {
            *x1 = x;
            *y1 = y;
            c1 = VX_ClipOutcode(x, y);
        } else {
            *x0 = x;
            *y0 = y;
            c0 = VX_ClipOutcode(x, y);
        }
    }
    return (c0 | c1) == 0 ? 1 : 0;
}

int VX_ClipPolygonEdge(int edge, const std::vector<double>& x, const std::vector<double>& y,
                       std::vector<double>& xout, std::vector<double>& yout)
{
    xout.clear();
    yout.clear();
    const size_t n = x.size() < y.size() ? x.size() : y.size();
    if (n == 0)
        return 0;
    xout.reserve(2 * n);
    yout.reserve(2 * n);
    const bool across_x = edge == VX_CLIP_EDGE_LEFT || edge == VX_CLIP_EDGE_RIGHT;
    double px = x[n - 1], py = y[n - 1];
    for (size_t i = 0; i < n; i++) {
        const double cx = x[i], cy = y[i];
        const bool cin = inside(edge, cx, cy), pin = inside(edge, px, py);
        const bool same = across_x ? cx == px : cy == py;
        if (same || (cin && pin)) {
            xout.push_back(cx);
            yout.push_back(cy);
        } else if (!cin && pin) {
            double ix, iy;
            crossing(edge, px, py, cx, cy, &ix, &iy);
            xout.push_back(ix);
            yout.push_back(iy);
        } else if (cin && !pin) {
            double ix, iy;
            crossing(edge, px, py, cx, cy, &ix, &iy);
            xout.push_back(ix);
            yout.push_back(iy);
            xout.push_back(cx);
            yout.push_back(cy);
        }
        px = cx;
        py = cy;
    }
    return static_cast<int>(xout.size());
}

int VX_ClipPolygon(std::vector<double>& x, std::vector<double>& y)
{
    std::vector<double> xo, yo;
    for (int edge = VX_CLIP_EDGE_LEFT; edge <= VX_CLIP_EDGE_TOP; edge++) {
        if (VX_ClipPolygonEdge(edge, x, y, xo, yo) == 0) {
            x.clear();
            y.clear();
            return 0;
        }
        x.swap(xo);
        y.swap(yo);
    }
    return static_cast<int>(x.size());
}
