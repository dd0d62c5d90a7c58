// The two map-plane projections, their inverses, the geographic box of a
// plane box, and the Mercator ordinate.
//
// Both planes are centred on the point latr, lonr.  delx and dely are the
// east and north offsets on the plane, in degrees:
//   equidistant ("edp"): the distance from the centre on the plane is the
//     great-circle distance in degrees, in the direction of the azimuth;
//   orthographic ("globe"): the plane distance is 57.29577951308232 times
//     the sine of the great-circle distance, so that the globe's rim lies at
//     that radius; points beyond 90 degrees are behind the globe.
// All angles and distances are in degrees.  Computed longitudes lie in
// (-180, 180] unless told otherwise.  Outputs must not be null unless told
// otherwise.
#pragma once

#include "vxplot_export.h"

// Geographic position of the plane point delx, dely, equidistant.
VXPLOT_EXPORT void VX_edp2geopointat(double latr, double lonr, double delx, double dely, double* lat, double* lon);

// Centre *latr, *lonr (longitude in [0, 360)) that puts the point lat, lon
// at the plane position delx, dely, equidistant.
VXPLOT_EXPORT void VX_edp2latlonr(double lat, double lon, double delx, double dely, double* latr, double* lonr);

// Geographic position of the plane point delx, dely, orthographic; points
// off the globe are taken to its rim.
VXPLOT_EXPORT void VX_globe2geopointat(double latr, double lonr, double delx, double dely, double* lat,
                                       double* lon);

// Centre that puts the point lat, lon at the plane position delx, dely,
// orthographic.
VXPLOT_EXPORT void VX_globe2latlonr(double lat, double lon, double delx, double dely, double* latr, double* lonr);

// Plane position of lat, lon, equidistant.
VXPLOT_EXPORT void VX_geopointat2edp(double latr, double lonr, double lat, double lon, double* delx, double* dely);

// The same, with *north the direction of north at the point on the plane,
// clockwise from the plane's up, in degrees.
VXPLOT_EXPORT void VX_geopointat2edp2(double latr, double lonr, double lat, double lon, double* delx, double* dely,
                                      double* north);

// Plane position of lat, lon, orthographic.  0; -1 with the outputs
// untouched when the point is behind the globe.
VXPLOT_EXPORT int VX_geopointat2globe(double latr, double lonr, double lat, double lon, double* delx,
                                      double* dely);

// The same, with the direction of north at the point (north may be null),
// and the azimuth from the centre and the distance dip of the point, both
// stored (when not null) even if the point is behind the globe.  -1 with
// delx, dely and north untouched when the point, or the point a little
// north of it that gives the direction, is behind the globe.
VXPLOT_EXPORT int VX_geopointat2globe2(double latr, double lonr, double lat, double lon, double* delx, double* dely,
                                       double* north, double* azimuth, double* dip);

// The Mercator ordinate of a latitude, in degrees (+-100000 at the poles),
// and its inverse.  merc views have longitude in x and this in y.
VXPLOT_EXPORT double VX_mercator_y(double lat);
VXPLOT_EXPORT double VX_mercator_lat(double y);

// Geographic bounding box of the plane box xdelmn..xdelmx, ydelmn..ydelmx
// around the centre xlatc, xlonc, equidistant or (globe non-zero)
// orthographic.  Each edge is sampled in 10 steps.  A box that holds a pole
// spans longitudes 0 to 360; otherwise the longitudes are unwrapped around
// xlonc and may lie outside 0 to 360.
VXPLOT_EXPORT void VX_delbox2llbox(double xlatc, double xlonc, double xdelmn, double xdelmx, double ydelmn,
                                   double ydelmx, int globe, double* xlatmn, double* xlatmx, double* xlonmn,
                                   double* xlonmx);
