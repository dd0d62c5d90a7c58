// Geography on a spherical earth, and Flinn-Engdahl region lookups.
//
// Angles are in radians, except for the region lookups and
// geokmtodegrees(), which take degrees.  Azimuths are measured clockwise
// from north, in [0, 2 pi).
//
// Flinn-Engdahl tables
// --------------------
// The region lookups read three plain-text tables from a data directory:
// the directory named by the environment variable "VXPLOT_FEDATA", else
// "$VXPLOT_DATADIR/flinnengdahl".  The tables are loaded at the first lookup
// (once, whichever thread comes first) and kept; geo_reload_tables() loads
// them again.  A failed load is kept too: every lookup then fails with the
// reason, until a reload succeeds.
//
// In every table a '#' starts a comment that runs to the end of the line,
// blank lines are ignored, and fields are separated by white space.  Numbers
// use "." as the decimal point.  A line that does not fit its table fails
// the whole load with an error naming the file and the line.
//
//   regions.txt   "lat_south lon_west lon_east gr": the geographic region
//                 gr (a positive integer) covers latitudes from lat_south
//                 up to lat_south + 1 and longitudes from lon_west up to
//                 lon_east, in degrees.  lat_south is a whole number from
//                 -90 to 89; -180 <= lon_west < lon_east <= 180.  The spans
//                 of one band must not overlap; gaps are allowed (a point
//                 in a gap has no region).  A region across the 180th
//                 meridian is written as two spans.  Latitude 90 belongs to
//                 the band from 89.
//   seisreg.txt   "gr sr": the geographic region gr lies in the seismic
//                 region sr (a positive integer).  Each gr at most once.
//   names.txt     "sr name...": the name of the seismic region sr, the rest
//                 of the line with the white space around it removed.  Each
//                 sr at most once; the name is not empty.
//
// Example regions.txt line: "35 135 140 229" puts latitudes 35 to 36 and
// longitudes 135 to 140 in geographic region 229.
#pragma once

#include "vxplot_export.h"

#include <cstddef>

// Great-circle distance *del (radians of arc, 0 to pi) and azimuth *az from
// point 1 to point 2.  For coincident points *del and *az are 0; for
// antipodal points *del is pi and *az is some azimuth.  Either output may be
// null.
VXPLOT_EXPORT void geoarc(double* del, double* az, double lat1, double lon1, double lat2, double lon2);

// The point *lat, *lon (in (-pi, pi]) at distance del along azimuth az from
// point 1.  At a pole, az is measured from the meridian lon1.  Either output
// may be null.
VXPLOT_EXPORT void geopointat(double* lat, double* lon, double lat1, double lon1, double del, double az);

// Degrees of arc spanned by km kilometres at the geodetic latitude lat_deg
// (degrees), using the WGS84 ellipsoid's geocentric radius there.
VXPLOT_EXPORT double geokmtodegrees(double km, double lat_deg);

// Flinn-Engdahl geographic region number at lat, lon (degrees; any
// longitude, latitude from -90 to 90).  Negative with a registered error
// when the tables are not loaded, the position is bad, or no region covers
// it.
VXPLOT_EXPORT int georegionnum(double lat, double lon);

// Seismic region number of the geographic region gr; negative with a
// registered error for an unknown region or without tables.
VXPLOT_EXPORT int geoseisregion(int gr);

// Copy the name of the seismic region sr into name, cut to fit size bytes
// with its NUL.  0 on success; negative with a registered error for an
// unknown region, without tables, or for a null name or size 0.
VXPLOT_EXPORT int geoseisregionname(int sr, char* name, size_t size);

// Load the Flinn-Engdahl tables again from the data directory as it is
// named now.  0 on success; negative with registered errors on failure, after
// which the lookups fail until a reload succeeds.
VXPLOT_EXPORT int geo_reload_tables();
