// Many geographic points to the equidistant plane of one centre at once.
//
// The points come as the sines and cosines of their latitudes and
// longitudes, one array each: those stay with the data whatever the centre,
// so a change of view costs only project().  project() gives what
// HLMapTransform::edpLatlon2delxy() gives, point for point, arranged so that
// the compiler vectorises the loop: no calls and no branches in it, one
// square root per point, and the distance from the centre taken as the arc
// tangent of the two components of the point in the centre's frame (sine
// and cosine of the distance) rather than as twice the arc sine of the half
// chord.  The arc tangent is a rational approximation good to a few units
// in the last place.  The two agree to 1e-7 degrees except within about
// 1e-4 degrees of the antipode, where the arc sine of a half chord near 1
// loses digits that this form keeps, and at the antipode itself, whose
// direction on the plane is rounding noise in either.
#pragma once

class HLEdpPlane
{
public:
    // The centre latr, lonr in degrees.
    HLEdpPlane(double latr, double lonr);

    // delx[i], dely[i] (degrees east and north of the centre on the plane)
    // of the n points whose latitudes have sines slat and cosines clat and
    // whose longitudes have sines slon and cosines clon.  The centre itself
    // gives 0, 0; its exact antipode 0, 180.  Outputs must not overlap the
    // inputs.
    void project(long n, const double* slat, const double* clat, const double* slon, const double* clon,
                 double* delx, double* dely) const;

    // Sine and cosine of the centre's latitude and longitude.
    double slatr, clatr, slonr, clonr;
};
