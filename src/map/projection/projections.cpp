#include "map/projection/projections.h"

#include "map/projection/longitude_p.h"

#include "toolkit/geo/geo.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double deg2rad = 0.017453292519943295;
constexpr double rad2deg = 57.29577951308232;
constexpr double half_pi = 1.5707963267948966;
// the globe's radius on the plane, in plane degrees
constexpr double globe_radius = 57.29577951308232;
// step north that gives the direction of north at a point, radians
constexpr double north_step = 0.001;

// Distance (radians of arc) and azimuth of a plane offset, equidistant.
void edpArc(double delx, double dely, double* del, double* az)
{
    *del = std::sqrt(delx * delx + dely * dely) * deg2rad;
    *az = std::atan2(delx, dely);
}

// The same, orthographic: off the globe counts as its rim.
void globeArc(double delx, double dely, double* del, double* az)
{
    *del = std::asin(std::min(1.0, std::sqrt(delx * delx + dely * dely) * deg2rad));
    *az = std::atan2(delx, dely);
}

void planeToGeo(double latr, double lonr, double del, double az, double* lat, double* lon)
{
    double la = 0.0, lo = 0.0;
    geopointat(&la, &lo, latr * deg2rad, lonr * deg2rad, del, az);
    *lat = la * rad2deg;
    *lon = lo * rad2deg;
}

// Centre that puts lat, lon at distance del (radians) along azimuth az
// from it: the spherical triangle of the pole, the centre and the point.
void solveCentre(double lat, double lon, double del, double az, double* latr, double* lonr)
{
    double la = std::clamp(lat * deg2rad, -(half_pi - 0.001), half_pi - 0.001);
    double colat = half_pi - la;
    double sinB = std::clamp(std::sin(az) * std::sin(del) / std::sin(colat), -1.0, 1.0);
    double B = std::asin(sinB);  // longitude of the point east of the centre
    double lon_c = lon * deg2rad - B;
    // Napier's analogies for the side from the pole to the centre.  The
    // cosine form is 0/0 for a point due south of the centre (az - B near
    // pi); the sine form is then exact, and 0/0 only where the cosine form
    // is well conditioned.
    double half_diff = (az - B) / 2.0;
    double cAmB = std::cos(half_diff);
    double sAmB = std::sin(half_diff);
    double t = 0.0;
    if (std::fabs(cAmB) >= std::fabs(sAmB))
        t = std::tan((colat + del) / 2.0) * std::cos((az + B) / 2.0) / cAmB;
    else
        t = std::tan((colat - del) / 2.0) * std::sin((az + B) / 2.0) / sAmB;
    double lat_c = half_pi - 2.0 * std::atan(t);
    *latr = lat_c * rad2deg;
    *lonr = map_lon_from(lon_c * rad2deg, 0.0);
}

// Plane offset of a point at distance r (plane degrees) along azimuth az.
void planeOffset(double r, double az, double* delx, double* dely)
{
    *delx = r * std::sin(az);
    *dely = r * std::cos(az);
}

} // namespace

void VX_edp2geopointat(double latr, double lonr, double delx, double dely, double* lat, double* lon)
{
    if (delx == 0.0 && dely == 0.0) {
        *lat = latr;
        *lon = lonr;
        return;
    }
    double del = 0.0, az = 0.0;
    edpArc(delx, dely, &del, &az);
    planeToGeo(latr, lonr, del, az, lat, lon);
}

void VX_globe2geopointat(double latr, double lonr, double delx, double dely, double* lat, double* lon)
{
    if (delx == 0.0 && dely == 0.0) {
        *lat = latr;
        *lon = lonr;
        return;
    }
    double del = 0.0, az = 0.0;
    globeArc(delx, dely, &del, &az);
    planeToGeo(latr, lonr, del, az, lat, lon);
}

void VX_edp2latlonr(double lat, double lon, double delx, double dely, double* latr, double* lonr)
{
    if (delx == 0.0 && dely == 0.0) {
        *latr = lat;
        *lonr = lon;
        return;
    }
    double del = 0.0, az = 0.0;
    edpArc(delx, dely, &del, &az);
    solveCentre(lat, lon, del, az, latr, lonr);
}

void VX_globe2latlonr(double lat, double lon, double delx, double dely, double* latr, double* lonr)
{
    if (delx == 0.0 && dely == 0.0) {
        *latr = lat;
        *lonr = lon;
        return;
    }
    double del = 0.0, az = 0.0;
    globeArc(delx, dely, &del, &az);
    solveCentre(lat, lon, del, az, latr, lonr);
}

void VX_geopointat2edp(double latr, double lonr, double lat, double lon, double* delx, double* dely)
{
    if (latr == lat && lonr == lon) {
        *delx = 0.0;
        *dely = 0.0;
        return;
    }
    double del = 0.0, az = 0.0;
    geoarc(&del, &az, latr * deg2rad, lonr * deg2rad, lat * deg2rad, lon * deg2rad);
    planeOffset(del * rad2deg, az, delx, dely);
}

void VX_geopointat2edp2(double latr, double lonr, double lat, double lon, double* delx, double* dely,
                        double* north)
{
    double x = 0.0, y = 0.0, xn = 0.0, yn = 0.0;
    VX_geopointat2edp(latr, lonr, lat, lon, &x, &y);
    VX_geopointat2edp(latr, lonr, lat + north_step * rad2deg, lon, &xn, &yn);
    *delx = x;
    *dely = y;
    *north = std::atan2(xn - x, yn - y) * rad2deg;
}

int VX_geopointat2globe(double latr, double lonr, double lat, double lon, double* delx, double* dely)
{
    double del = 0.0, az = 0.0;
    geoarc(&del, &az, latr * deg2rad, lonr * deg2rad, lat * deg2rad, lon * deg2rad);
    if (!(del <= half_pi))
        return -1;
    planeOffset(globe_radius * std::sin(del), az, delx, dely);
    return 0;
}

int VX_geopointat2globe2(double latr, double lonr, double lat, double lon, double* delx, double* dely,
                         double* north, double* azimuth, double* dip)
{
    double del = 0.0, az = 0.0;
    geoarc(&del, &az, latr * deg2rad, lonr * deg2rad, lat * deg2rad, lon * deg2rad);
    if (azimuth)
        *azimuth = az * rad2deg;
    if (dip)
        *dip = del * rad2deg;
    if (!(del <= half_pi))
        return -1;
    double x = 0.0, y = 0.0;
    planeOffset(globe_radius * std::sin(del), az, &x, &y);
    if (north) {
        double xn = 0.0, yn = 0.0;
        if (VX_geopointat2globe(latr, lonr, lat + north_step * rad2deg, lon, &xn, &yn) < 0)
            return -1;
        *north = std::atan2(xn - x, yn - y) * rad2deg;
    }
    *delx = x;
    *dely = y;
    return 0;
}

void VX_delbox2llbox(double xlatc, double xlonc, double xdelmn, double xdelmx, double ydelmn, double ydelmx,
                     int globe, double* xlatmn, double* xlatmx, double* xlonmn, double* xlonmx)
{
    constexpr int steps = 10;
    auto toGeo = [&](double x, double y, double* lat, double* lon) {
        if (globe)
            VX_globe2geopointat(xlatc, xlonc, x, y, lat, lon);
        else
            VX_edp2geopointat(xlatc, xlonc, x, y, lat, lon);
    };
    // least (or greatest) latitude along the edge at plane height y
    auto edgeLatitude = [&](double y, bool least) {
        double best = least ? 90.0 : -90.0;
        for (int i = 0; i <= steps; i++) {
            double lat = 0.0, lon = 0.0;
            toGeo(xdelmn + (xdelmx - xdelmn) * i / steps, y, &lat, &lon);
            best = least ? std::min(best, lat) : std::max(best, lat);
        }
        return best;
    };

    double radius = 90.0;
    double ymax = xlatc + ydelmx;
    double ymin = xlatc + ydelmn;
    if (globe) {
        radius = globe_radius;
        double px = 0.0, py = 0.0;
        ymax = (VX_geopointat2globe(xlatc, xlonc, 90.0, 0.0, &px, &py) == 0 && ydelmx >= py) ? radius : ydelmx;
        ymin = (VX_geopointat2globe(xlatc, xlonc, -90.0, 0.0, &px, &py) == 0 && py >= ydelmn) ? -radius : ydelmn;
    }

    if (ymax >= radius) {
        *xlatmx = 90.0;
        *xlonmn = 0.0;
        *xlonmx = 360.0;
        *xlatmn = ymin <= -radius ? -90.0 : edgeLatitude(ydelmn, true);
        return;
    }
    if (ymin <= -radius) {
        *xlatmn = -90.0;
        *xlonmn = 0.0;
        *xlonmx = 360.0;
        *xlatmx = edgeLatitude(ydelmx, false);
        return;
    }

    // round the edge: bottom, right, top, left, from the lower left corner
    const double cx[5] = {xdelmn, xdelmx, xdelmx, xdelmn, xdelmn};
    const double cy[5] = {ydelmn, ydelmn, ydelmx, ydelmx, ydelmn};
    double latmn = 0.0, latmx = 0.0, lonmn = 0.0, lonmx = 0.0;
    bool first = true;
    for (int side = 0; side < 4; side++) {
        for (int i = (side == 0 ? 0 : 1); i <= steps; i++) {
            double x = cx[side] + (cx[side + 1] - cx[side]) * i / steps;
            double y = cy[side] + (cy[side + 1] - cy[side]) * i / steps;
            double lat = 0.0, lon = 0.0;
            toGeo(x, y, &lat, &lon);
            if (x < -0.0001)
                lon = map_lon_at_most(lon, xlonc);
            else if (x > 0.0001)
                lon = map_lon_at_least(lon, xlonc);
            else
                lon = map_lon_near(lon, xlonc);
            if (first) {
                latmn = latmx = lat;
                lonmn = lonmx = lon;
                first = false;
            } else {
                latmn = std::min(latmn, lat);
                latmx = std::max(latmx, lat);
                lonmn = std::min(lonmn, lon);
                lonmx = std::max(lonmx, lon);
            }
        }
    }
    *xlatmn = latmn;
    *xlatmx = latmx;
    *xlonmn = lonmn;
    *xlonmx = lonmx;
}

double VX_mercator_y(double lat)
{
    if (lat >= 90.0)
        return 100000.0;
    if (lat <= -90.0)
        return -100000.0;
    return 180.0 * std::log(std::tan((M_PI / 2.0) * lat / 180.0 + M_PI / 4.0)) / M_PI;
}

double VX_mercator_lat(double y)
{
    return 180.0 * (2.0 * (std::atan(std::exp(M_PI * y / 180.0)) - M_PI / 4.0)) / M_PI;
}
