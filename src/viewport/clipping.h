// Clipping to the unit square, the normalised plot area (x to the right,
// y upwards, (0, 0) at the lower left corner).
//
// Lines go through a Cohen-Sutherland clipper, filled polygons through four
// Sutherland-Hodgman passes.  Pure functions on doubles: no state, no
// allocation but the output vectors.
#pragma once

#include "vxplot_export.h"

#include <vector>

// Outcode bits: 8 above (y > 1), 4 below (y < 0), 2 right (x > 1), 1 left
// (x < 0).
enum {
    VX_CLIP_ABOVE = 8,
    VX_CLIP_BELOW = 4,
    VX_CLIP_RIGHT = 2,
    VX_CLIP_LEFT = 1,
};

// The boundaries of the polygon passes, in the order they run.
enum {
    VX_CLIP_EDGE_LEFT = 0,    // x = 0, inside is x >= 0
    VX_CLIP_EDGE_BOTTOM = 1,  // y = 0, inside is y >= 0
    VX_CLIP_EDGE_RIGHT = 2,   // x = 1, inside is x <= 1
    VX_CLIP_EDGE_TOP = 3,     // y = 1, inside is y <= 1
};

// The outcode of a point.
VXPLOT_EXPORT int VX_ClipOutcode(double x, double y);

// Clip the segment from (x0, y0) to (x1, y1), whose outcodes are c0 and
// c1, to the unit square.  An end with a non-zero code is moved onto the
// boundary, bits tested in the order 8, 4, 2, 1, the end (x1, y1) first.
// 1 when a part is left (the ends moved onto it), 0 when the segment lies
// outside.
VXPLOT_EXPORT int VX_ClipLine(double* x0, double* y0, int c0, double* x1, double* y1, int c1);

// One Sutherland-Hodgman pass against edge (VX_CLIP_EDGE_...): the points
// of x, y (the last one closing to the first) replace xout, yout, which
// get at most twice as many.  A point whose coordinate across the edge
// equals the previous point's passes as it is, inside or not: runs along an
// outer line survive, to be clamped by the caller.  Returns the number of
// points written.
VXPLOT_EXPORT int VX_ClipPolygonEdge(int edge, const std::vector<double>& x, const std::vector<double>& y,
                                     std::vector<double>& xout, std::vector<double>& yout);

// The four passes, left, bottom, right, top, in place.  Returns the number
// of points left; 0 as soon as a pass leaves none (the vectors then hold no
// points).
VXPLOT_EXPORT int VX_ClipPolygon(std::vector<double>& x, std::vector<double>& y);
