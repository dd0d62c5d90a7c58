// Seismic moment tensors: principal axes and the focal-sphere contours that
// a focal-mechanism symbol ("beachball") is drawn from.
//
// Input convention.  A tensor is given as six values in the order
//
//     Mrr, Mtt, Mpp, Mrt, Mrp, Mtp
//
// in the spherical frame r, t, p = up, south, east at the source (the
// Harvard / Global CMT convention).  Internally it is turned into the frame
// x, y, z = north, east, down:
//
//     Mxx = Mtt   Myy = Mpp   Mzz = Mrr
//     Mxy = -Mtp  Mxz = Mrt   Myz = -Mrp
//
// Only the pattern matters, so the scale of the six values is free (they
// are normalised by their largest magnitude).
//
// Polarity.  A ray leaving the source in the unit direction n sees a
// compressional (up) first motion when n.M.n > 0 and a dilatational one when
// it is negative; the nodal surface n.M.n = 0 separates the two.  For a
// double couple it is the pair of nodal planes; for a general tensor it is
// an elliptic cone about the axis whose eigenvalue has the sign the other
// two don't share.
//
// Projection.  Rays are drawn on the lower hemisphere in Lambert's
// equal-area azimuthal projection onto the unit disc: a ray at angle i from
// the downward vertical and azimuth az (clockwise from north) lands at
// radius r = sqrt(2) sin(i / 2) = sqrt(1 - cos i), at x = r sin(az) (east),
// y = r cos(az) (north).  The horizon is the unit circle.  y grows to the
// north, so a screen drawing negates it.
#pragma once

#include "vxplot_export.h"

#include <vector>

// A resolved tensor.  Made by hlmoment_create(), freed by hlmoment_destroy().
struct HLMoment
{
    double m[3][3] = {};       // normalised tensor, frame north, east, down
    double values[3] = {};     // eigenvalues, largest first: T, B, P
    double axes[3][3] = {};    // axes[k] the unit eigenvector of values[k]
    double scale = 0.0;        // largest magnitude of the six input values
};

// A point of the unit disc, x east and y north.
struct HLMomentPoint
{
    double x = 0.0;
    double y = 0.0;
};

// One closed contour of the projected focal sphere.  The compressional part
// of the disc is the union, under the even-odd rule, of the contours of a
// result, where a contour with circle 1 also brings the unit circle in before
// its points (at most one contour of a result has it).
struct HLMomentCurve
{
    int circle = 0;
    std::vector<HLMomentPoint> points;
};

// Resolve the six values (see above) into *moment.  0 on success; -1 with a
// registered error, *moment untouched, when tensor or moment is null, a value
// is not finite, or all six are zero.
VXPLOT_EXPORT int hlmoment_create(const double* tensor, HLMoment** moment);

// Free a tensor made by hlmoment_create().  Null-safe.
VXPLOT_EXPORT void hlmoment_destroy(HLMoment* moment);

// The contours of the compressional region on the lower hemisphere, in
// curves[0] and curves[1] (cleared first), each a closed polygon without the
// closing point repeated.  A pure explosion (no negative eigenvalue) gives
// the unit circle itself; a pure implosion gives no points at all; a
// deviatoric or mixed tensor gives the two caps about its odd axis as seen
// on the lower hemisphere (with the circle flag when they are the
// dilatational part).  Returns the number of contours with points (0 to 2);
// -1 with a registered error for a null argument.
VXPLOT_EXPORT int hlmoment_compute_bb_points(const HLMoment* moment, HLMomentCurve curves[2]);

// Empty both contours.  Null-safe.
VXPLOT_EXPORT void hlmoment_clear_bb_points(HLMomentCurve curves[2]);

// n.M.n for the unit direction n (north, east, down) of the normalised
// tensor: positive compressional, negative dilatational.
VXPLOT_EXPORT double hlmoment_polarity(const HLMoment* moment, const double n[3]);

// The ray of the lower hemisphere that projects to the disc point x, y
// (x east, y north), as a unit vector north, east, down.  -1 when the point
// lies outside the unit disc; 0 otherwise.
VXPLOT_EXPORT int hlmoment_disc_to_ray(double x, double y, double n[3]);

// Eigenvalues and unit eigenvectors of the symmetric 3x3 matrix a, by cyclic
// Jacobi rotations, sorted largest value first; vectors[k] belongs to
// values[k] and the three form a right-handed orthonormal frame.  The input
// is not changed.  0 on success; -1 when a value is not finite.
VXPLOT_EXPORT int hlmoment_eigen_symmetric(const double a[3][3], double values[3], double vectors[3][3]);
