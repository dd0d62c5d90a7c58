// The equidistant and orthographic plane projections about one centre.
#include "map/projection/maptransform.h"

#include "map/projection/longitude_p.h"

#include <cmath>

namespace {

// A longitude in [-180, 180].
double wrapLongitude(double lon)
{
    return map_lon_near(lon, 0.0);
}

} // namespace

HLMapTransform::HLMapTransform(double latr_deg, double lonr_deg)
    : latr(latr_deg), lonr(lonr_deg), clat(std::cos(latr_deg * d2r)), slat(std::sin(latr_deg * d2r))
{
}

void HLMapTransform::edpDelxy2geopointat(double delx, double dely, double* lat, double* lon)
{
    const double del = std::sqrt(delx * delx + dely * dely);
    if (del == 0.0) {
        *lat = latr;
        *lon = wrapLongitude(lonr);
        return;
    }
    const double sazi = delx / del, cazi = dely / del;
    const double sdel = std::sin(d2r * del), cdel = std::cos(d2r * del);
    const double x = slat * (sdel * cazi) - clat * cdel;
    const double y = -sdel * sazi;
    const double z = clat * (sdel * cazi) + slat * cdel;
    double la, lo;
    if (x == 0.0 && y == 0.0) {
        lo = 0.0;
        la = (z > 0.0 ? 1.0 : (z < 0.0 ? -1.0 : 0.0)) * M_PI / 2.0;
    } else {
        lo = std::atan2(y, x);
        la = std::atan2(z, std::sqrt(x * x + y * y));
    }
    *lat = la * r2d;
    *lon = wrapLongitude(lo * r2d + 180.0 + lonr);
}

int HLMapTransform::globeDelxy2geopointat(double delx, double dely, double* lat, double* lon)
{
    const double del = std::sqrt(delx * delx + dely * dely);
    if (del == 0.0) {
        *lat = latr;
        *lon = wrapLongitude(lonr);
        return 0;
    }
    const double s = d2r * del;
    if (!(s <= 1.0))
        return -1;
    const double scale = r2d * std::asin(s) / del;
    edpDelxy2geopointat(delx * scale, dely * scale, lat, lon);
    return 0;
}

void HLMapTransform::edpLatlon2delxy(double lat, double lon, double* delx, double* dely)
{
    const double slat2 = std::sin(d2r * lat), clat2 = std::cos(d2r * lat);
    const double arg = d2r * (lon - lonr);
    // the chord from the centre to the point, in the centre's frame: it
    // keeps its precision for small distances
    const double y2 = clat2 * std::sin(arg);
    const double x = clat2 * std::cos(arg) - clat;
    const double z = slat2 - slat;
    const double xpp = x * clat + z * slat;
    const double ypp = y2;
    const double zpp = -x * slat + z * clat;
    const double s2 = ypp * ypp + zpp * zpp;
    double half_chord = 0.5 * std::sqrt(xpp * xpp + s2);
    // rounding can lift the chord of the antipode a little above 2
    if (half_chord > 1.0)
        half_chord = 1.0;
    const double del = r2d * 2.0 * std::asin(half_chord);
    if (ypp == 0.0 && zpp == 0.0) {
        *delx = 0.0;
        *dely = del;
    } else {
        const double r = std::sqrt(s2);
        *delx = del * ypp / r;
        *dely = del * zpp / r;
    }
}

int HLMapTransform::globeLatlon2delxy(double lat, double lon, double* delx, double* dely)
{
    edpLatlon2delxy(lat, lon, delx, dely);
    const double del = std::sqrt(*delx * *delx + *dely * *dely);
    const double q = del <= 90.0 ? std::sin(d2r * del) : 2.0 - std::sin(d2r * del);
    const double scale = r2d * q / del;
    *delx *= scale;
    *dely *= scale;
    return del > 90.0 ? -1 : 0;
}
