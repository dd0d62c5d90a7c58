// The equidistant and orthographic map planes, plane boxes to geographic
// boxes, and longitude wrapping.
#include "support/testsupport.h"

#include "map/projection/longitude_p.h"
#include "map/projection/projections.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

namespace {

constexpr double rad = std::numbers::pi / 180.0;
constexpr double globe_radius = 57.29577951308232;

// Great-circle distance between two points, degrees.
double arcDeg(double lat1, double lon1, double lat2, double lon2)
{
    double del = 0.0;
    geoarc(&del, nullptr, lat1 * rad, lon1 * rad, lat2 * rad, lon2 * rad);
    return del / rad;
}

struct Projection
{
    const char* name;
    void (*toGeo)(double, double, double, double, double*, double*);
    void (*centre)(double, double, double, double, double*, double*);
    // plane position, false when the point cannot be shown
    bool (*toPlane)(double, double, double, double, double*, double*);
    double max_del;  // farthest distance a round trip is checked at
};

bool edpPlane(double latr, double lonr, double lat, double lon, double* x, double* y)
{
    VX_geopointat2edp(latr, lonr, lat, lon, x, y);
    return true;
}

bool globePlane(double latr, double lonr, double lat, double lon, double* x, double* y)
{
    return VX_geopointat2globe(latr, lonr, lat, lon, x, y) == 0;
}

// Near the far point (equidistant) or the rim (orthographic) the inverse
// loses digits, so round trips stay a little inside.
const Projection projections[] = {
    {"equidistant", VX_edp2geopointat, VX_edp2latlonr, edpPlane, 170.0},
    {"orthographic", VX_globe2geopointat, VX_globe2latlonr, globePlane, 80.0},
};

} // namespace

TEST(MapPlanes, GeographicRoundTripsOverTheSphere)
{
    for (const Projection& p : projections) {
        SCOPED_TRACE(p.name);
        int checked = 0;
        for (double latr = -80; latr <= 80; latr += 20) {
            for (double lonr = -170; lonr <= 190; lonr += 40) {
                for (double lat = -85; lat <= 85; lat += 17) {
                    for (double lon = -180; lon < 180; lon += 30) {
                        if (arcDeg(latr, lonr, lat, lon) > p.max_del)
                            continue;
                        double x = 0, y = 0, lat2 = 0, lon2 = 0;
                        ASSERT_TRUE(p.toPlane(latr, lonr, lat, lon, &x, &y));
                        p.toGeo(latr, lonr, x, y, &lat2, &lon2);
                        ASSERT_LT(arcDeg(lat, lon, lat2, lon2), 1e-9)
                            << "centre " << latr << "," << lonr << " point " << lat << "," << lon;
                        checked++;
                    }
                }
            }
        }
        EXPECT_GT(checked, 1000);
    }
}

TEST(MapPlanes, PlaneRoundTrips)
{
    for (const Projection& p : projections) {
        SCOPED_TRACE(p.name);
        double reach = p.toPlane == globePlane ? 50.0 : 150.0;
        for (double latr = -60; latr <= 60; latr += 30) {
            for (double x = -reach; x <= reach; x += reach / 5) {
                for (double y = -reach; y <= reach; y += reach / 5) {
                    if (std::hypot(x, y) > reach)
                        continue;
                    double lat = 0, lon = 0, x2 = 0, y2 = 0;
                    p.toGeo(latr, 20.0, x, y, &lat, &lon);
                    ASSERT_TRUE(p.toPlane(latr, 20.0, lat, lon, &x2, &y2));
                    ASSERT_NEAR(x2, x, 1e-9) << latr << " " << x << "," << y;
                    ASSERT_NEAR(y2, y, 1e-9) << latr << " " << x << "," << y;
                }
            }
        }
    }
}

TEST(MapPlanes, KnownPlanePositions)
{
    double x = 0, y = 0;
    VX_geopointat2edp(0, 0, 0, 30, &x, &y);
    EXPECT_NEAR(x, 30, 1e-9);
    EXPECT_NEAR(y, 0, 1e-9);
    VX_geopointat2edp(0, 0, -40, 0, &x, &y);
    EXPECT_NEAR(x, 0, 1e-9);
    EXPECT_NEAR(y, -40, 1e-9);
    VX_geopointat2edp(12.5, 33, 12.5, 33, &x, &y);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 0.0);
    ASSERT_EQ(VX_geopointat2globe(0, 0, 0, 30, &x, &y), 0);
    EXPECT_NEAR(x, globe_radius * 0.5, 1e-9);
    EXPECT_NEAR(y, 0, 1e-9);
    ASSERT_EQ(VX_geopointat2globe(0, 0, 90, 0, &x, &y), 0);
    EXPECT_NEAR(x, 0, 1e-9);
    EXPECT_NEAR(y, globe_radius, 1e-9);
    // off the globe is taken to its rim
    double lat = 0, lon = 0;
    VX_globe2geopointat(0, 0, 2 * globe_radius, 0, &lat, &lon);
    EXPECT_NEAR(lat, 0, 1e-9);
    EXPECT_NEAR(lon, 90, 1e-9);
    VX_edp2geopointat(10, 20, 0, 0, &lat, &lon);
    EXPECT_EQ(lat, 10.0);
    EXPECT_EQ(lon, 20.0);
}

TEST(MapPlanes, CentreSolvesPutThePointWhereAsked)
{
    // every request here has a centre that does not lie across a pole
    const double lats[] = {-45, -30, 0, 30, 45};
    const double lons[] = {0, 100, -150};
    const double offsets[][2] = {{10, 0},  {0, 10},  {-20, 15}, {30, -25}, {-5, -5},
                                 {0, -40}, {35, 0},  {-35, 0},  {0, 40},   {1e-7, -30}};
    for (const Projection& p : projections) {
        SCOPED_TRACE(p.name);
        for (double lat : lats) {
            for (double lon : lons) {
                for (const auto& o : offsets) {
                    double latr = 0, lonr = 0, x = 0, y = 0;
                    p.centre(lat, lon, o[0], o[1], &latr, &lonr);
                    EXPECT_GE(lonr, 0.0);
                    EXPECT_LT(lonr, 360.0);
                    ASSERT_TRUE(p.toPlane(latr, lonr, lat, lon, &x, &y));
                    EXPECT_NEAR(x, o[0], 1e-8) << lat << "," << lon << " at " << o[0] << "," << o[1];
                    EXPECT_NEAR(y, o[1], 1e-8) << lat << "," << lon << " at " << o[0] << "," << o[1];
                }
            }
        }
        // due north and due south of the centre, near a pole
        for (double dely : {-10.0, 10.0}) {
            double latr = 0, lonr = 0, x = 0, y = 0;
            p.centre(75, 20, 0, dely, &latr, &lonr);
            double del = p.toPlane == globePlane ? std::asin(dely * rad) / rad : dely;
            EXPECT_NEAR(latr, 75 - del, 1e-9);
            EXPECT_NEAR(lonr, 20, 1e-9);
            ASSERT_TRUE(p.toPlane(latr, lonr, 75, 20, &x, &y));
            EXPECT_NEAR(x, 0, 1e-8);
            EXPECT_NEAR(y, dely, 1e-8);
        }
        double latr = 0, lonr = 0;
        p.centre(12, -34, 0, 0, &latr, &lonr);
        EXPECT_EQ(latr, 12.0);
        EXPECT_EQ(lonr, -34.0);
    }
}

TEST(MapPlanes, FarSideOfTheGlobe)
{
    struct Case { const char* name; double latr, lonr, lat, lon; } cases[] = {
        {"antipode", 0, 0, 0, 180}, {"just past the rim", 0, 0, 0, 91}, {"behind the pole", 60, 0, 20, 180},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double x = -5, y = -5, north = -5, azimuth = -5, dip = -5;
        EXPECT_EQ(VX_geopointat2globe(c.latr, c.lonr, c.lat, c.lon, &x, &y), -1);
        EXPECT_EQ(x, -5.0);
        EXPECT_EQ(y, -5.0);
        EXPECT_EQ(VX_geopointat2globe2(c.latr, c.lonr, c.lat, c.lon, &x, &y, &north, &azimuth, &dip), -1);
        EXPECT_EQ(x, -5.0);
        EXPECT_EQ(y, -5.0);
        EXPECT_EQ(north, -5.0);
        // azimuth and distance are given all the same
        EXPECT_NEAR(dip, arcDeg(c.latr, c.lonr, c.lat, c.lon), 1e-9);
        EXPECT_GE(azimuth, 0.0);
    }
    double x = 0, y = 0, azimuth = 0, dip = 0;
    EXPECT_EQ(VX_geopointat2globe2(0, 0, 0, 89, &x, &y, nullptr, &azimuth, &dip), 0);
    EXPECT_NEAR(x, globe_radius * std::sin(89 * rad), 1e-9);
    EXPECT_NEAR(azimuth, 90, 1e-9);
    EXPECT_NEAR(dip, 89, 1e-9);
    // the point that gives north is behind the rim, so the point is refused
    double north = -5;
    x = -5;
    EXPECT_EQ(VX_geopointat2globe2(0, 0, 89.99, 0, &x, &y, &north, nullptr, nullptr), -1);
    EXPECT_EQ(x, -5.0);
    EXPECT_EQ(north, -5.0);
}

TEST(MapPlanes, NorthDirection)
{
    // north: degrees clockwise from the plane's up
    struct Case { const char* name; double latr, lonr, lat, lon; double north; double tolerance; } cases[] = {
        {"on the central meridian", 0, 0, 30, 0, 0, 1e-9}, {"below the centre", 20, 10, -10, 10, 0, 1e-9},
        // the equator is the plane's x axis and meridians cross it upright
        {"on the equator", 0, 0, 0, 40, 0, 0.1},
        // around a pole, north points to the plane's origin
        {"pole centred, east", 90, 0, 45, 90, 0, 0}, {"pole centred, south-west", 90, 0, 30, -135, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double x = 0, y = 0, north = 0;
        VX_geopointat2edp2(c.latr, c.lonr, c.lat, c.lon, &x, &y, &north);
        double want = c.tolerance > 0 ? c.north : std::atan2(-x, -y) / rad;
        EXPECT_NEAR(north, want, c.tolerance > 0 ? c.tolerance : 1e-3);
        double gx = 0, gy = 0, gnorth = 0;
        ASSERT_EQ(VX_geopointat2globe2(c.latr, c.lonr, c.lat, c.lon, &gx, &gy, &gnorth, nullptr, nullptr), 0);
        want = c.tolerance > 0 ? c.north : std::atan2(-gx, -gy) / rad;
        EXPECT_NEAR(gnorth, want, c.tolerance > 0 ? c.tolerance : 1e-3);
    }
    // meridians lean in towards the north pole on either side of the centre
    double x = 0, y = 0, east = 0, west = 0;
    VX_geopointat2edp2(40, 0, 40, 30, &x, &y, &east);
    VX_geopointat2edp2(40, 0, 40, -30, &x, &y, &west);
    EXPECT_LT(east, -1.0);
    EXPECT_GT(west, 1.0);
    EXPECT_NEAR(east, -west, 1e-9);
}

namespace {

struct Box { double latmn, latmx, lonmn, lonmx; };

Box llbox(double latc, double lonc, double xmn, double xmx, double ymn, double ymx, int globe)
{
    Box b{-1, -1, -1, -1};
    VX_delbox2llbox(latc, lonc, xmn, xmx, ymn, ymx, globe, &b.latmn, &b.latmx, &b.lonmn, &b.lonmx);
    return b;
}

// Latitude reached from latc at distance d (degrees) along azimuth az.
double latitudeAt(double latc, double d, double az)
{
    return std::asin(std::sin(latc * rad) * std::cos(d * rad) +
                     std::cos(latc * rad) * std::sin(d * rad) * std::cos(az * rad)) /
           rad;
}

} // namespace

TEST(PlaneBoxes, BoxesHoldingAPoleSpanAllLongitudes)
{
    const double corner = latitudeAt(80, std::sqrt(800.0), 135);  // about 54
    // latmn/latmx NaN: only checked to lie in -90..90
    struct Case { const char* name; double latc, lonc, xmn, xmx, ymn, ymx; int globe; double latmn, latmx; } cases[] = {
        {"north, equidistant", 80, 0, -20, 20, -20, 20, 0, corner, 90},
        {"south, equidistant", -80, 50, -20, 20, -20, 20, 0, -90, -corner},
        {"narrow box", 85, 30, -1, 1, -1, 6, 0, NAN, 90}, {"both poles", 0, 0, -100, 100, -100, 100, 0, -90, 90},
        {"north, globe", 60, 10, -30, 30, -10, 40, 1, NAN, 90},
        {"south, globe", -60, 10, -30, 30, -40, 10, 1, -90, NAN}, {"whole globe", 0, 0, -60, 60, -60, 60, 1, -90, 90},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Box b = llbox(c.latc, c.lonc, c.xmn, c.xmx, c.ymn, c.ymx, c.globe);
        EXPECT_EQ(b.lonmn, 0.0);
        EXPECT_EQ(b.lonmx, 360.0);
        if (std::isnan(c.latmn)) {
            EXPECT_GT(b.latmn, -90.0);
            EXPECT_LT(b.latmn, c.latc);
        } else {
            EXPECT_NEAR(b.latmn, c.latmn, 1e-9);
        }
        if (std::isnan(c.latmx)) {
            EXPECT_LT(b.latmx, 90.0);
            EXPECT_GT(b.latmx, c.latc);
        } else {
            EXPECT_NEAR(b.latmx, c.latmx, 1e-9);
        }
    }
}

TEST(PlaneBoxes, BoxAcrossTheDateLine)
{
    // corner of a 10-degree box on the equator: longitude offset
    const double d = std::sqrt(200.0) * rad;
    const double dlon = std::atan2(std::sin(45 * rad) * std::sin(d), std::cos(d)) / rad;  // about 10.15
    struct Case {
        const char* name; double lonc;
    } cases[] = {{"centre 180", 180}, {"centre -180", -180}, {"centre 175", 175}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Box b = llbox(0, c.lonc, -10, 10, -10, 10, 0);
        EXPECT_NEAR(b.latmn, -10, 1e-9);
        EXPECT_NEAR(b.latmx, 10, 1e-9);
        EXPECT_NEAR(b.lonmn, c.lonc - dlon, 1e-9);
        EXPECT_NEAR(b.lonmx, c.lonc + dlon, 1e-9);
    }
    Box g = llbox(0, 180, -10, 10, -10, 10, 1);
    EXPECT_LT(g.lonmn, 180.0);
    EXPECT_GT(g.lonmn, 165.0);
    EXPECT_GT(g.lonmx, 180.0);
    EXPECT_LT(g.lonmx, 195.0);
    EXPECT_NEAR(g.lonmx - 180, 180 - g.lonmn, 1e-9);
}

TEST(PlaneBoxes, OrdinaryBox)
{
    Box b = llbox(45, 10, -10, 10, -10, 5, 0);
    // lowest at the bottom corners, highest at the middle of the top edge
    EXPECT_NEAR(b.latmn, latitudeAt(45, std::sqrt(200.0), 135), 1e-9);
    EXPECT_NEAR(b.latmx, 50, 1e-9);
    EXPECT_LT(b.lonmn, 0.0);
    EXPECT_GT(b.lonmx, 20.0);
    EXPECT_NEAR(b.lonmn + b.lonmx, 20.0, 1e-9);
}

TEST(Longitudes, WholeTurns)
{
    struct Case { const char* name; double lon, ref, near, at_most, at_least; } cases[] = {
        {"within reach", 170.0, 0.0, 170.0, -190.0, 170.0},
        {"both ends of the half turn stay", -180.0, 0.0, -180.0, -180.0, 180.0},
        {"one turn east", 350.0, 0.0, -10.0, -10.0, 350.0}, {"far out", 1261.0, 0.0, -179.0, -179.0, 1261.0},
        {"far west of the reference", -700.0, 100.0, 20.0, -700.0, 380.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_DOUBLE_EQ(map_lon_near(c.lon, c.ref), c.near);
        EXPECT_DOUBLE_EQ(map_lon_at_most(c.lon, c.ref), c.at_most);
        EXPECT_DOUBLE_EQ(map_lon_at_least(c.lon, c.ref), c.at_least);
    }
    EXPECT_EQ(map_lon_from(-1e-300, 0.0), 0.0) << "a tiny negative must not round to 360";
    EXPECT_DOUBLE_EQ(map_lon_from(-10.0, 0.0), 350.0);
    EXPECT_DOUBLE_EQ(map_lon_from(725.0, 0.0), 5.0);
}
