// Latitude and longitude to the planes of the two azimuthal map projections
// and back, about one reference point.
//
// World coordinates of a map viewport by its map mode (VxViewport::map_tran):
//   none   plain x, y;
//   edp    delx, dely: degrees east and north of the reference point on the
//          equidistant polar plane (the distance from the centre is the
//          great-circle distance);
//   globe  delx, dely on the orthographic plane: the visible hemisphere is
//          the disc of radius 57.29577951308232;
//   merc   longitude, Mercator y (VX_mercator_y(), in degrees of the scale
//          of the equator);
//   geog   longitude, latitude.
//
// HLMapTransform keeps the sine and cosine of the reference latitude, so
// that per-pixel and per-point callers pay for them once.  It owns nothing
// and is made on the spot by whoever needs one.  All angles are degrees.
#pragma once

#include "vxplot_export.h"

class VXPLOT_EXPORT HLMapTransform
{
public:
    static constexpr double d2r = 0.017453292519943295;
    static constexpr double r2d = 57.29577951308232;

    HLMapTransform(double latr, double lonr);

    // Plane point to geographic point, equidistant.  The centre gives
    // exactly latr, lonr.  *lon lies in [-180, 180].
    void edpDelxy2geopointat(double delx, double dely, double* lat, double* lon);
    // Geographic point to plane point, equidistant; the antipode lies at
    // distance 180.
    void edpLatlon2delxy(double lat, double lon, double* delx, double* dely);
    // Plane point to geographic point, orthographic.  0; -1 with *lat, *lon
    // untouched when the point lies outside the disc of radius r2d.
    int globeDelxy2geopointat(double delx, double dely, double* lat, double* lon);
    // Geographic point to plane point, orthographic.  0; -1 when the point
    // lies on the far side: it is then folded outward into the ring between
    // r2d and 2 * r2d, so that lines can still be drawn through it.  The
    // reference point itself gives NaN.
    int globeLatlon2delxy(double lat, double lon, double* delx, double* dely);

    double latr, lonr;  // reference point, degrees
    double clat, slat;  // cosine and sine of latr
};
