// The plane projections of HLMapTransform: round trips, the centre, the
// antipode, the far side and rim of the globe, longitude ranges.
#include "support/testsupport.h"

#include "map/projection/edpplane_p.h"
#include "map/projection/maptransform.h"
#include "map/projection/projections.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

constexpr double r2d = HLMapTransform::r2d;
constexpr double d2r = HLMapTransform::d2r;

// Great-circle distance in degrees.
double arcDegrees(double lat1, double lon1, double lat2, double lon2)
{
    const double a = std::sin(d2r * lat1) * std::sin(d2r * lat2)
                   + std::cos(d2r * lat1) * std::cos(d2r * lat2) * std::cos(d2r * (lon2 - lon1));
    return r2d * std::acos(std::clamp(a, -1.0, 1.0));
}

// Difference of two longitudes, modulo 360.
double lonDiff(double a, double b)
{
    return std::fabs(std::remainder(a - b, 360.0));
}

} // namespace

TEST(MapTransform, EdpRoundTripOverDenseGrid)
{
    int checked = 0;
    for (double latr = -89.5; latr <= 90.0; latr += 14.75) {
        for (double lonr = -179.0; lonr <= 180.0; lonr += 37.3) {
            HLMapTransform t(latr + 0.0001, lonr + 0.0001);
            for (double lat = -88.0; lat <= 88.0; lat += 8.0) {
                for (double lon = -180.0; lon <= 180.0; lon += 12.5) {
                    if (arcDegrees(t.latr, t.lonr, lat, lon) > 170.0)
                        continue;  // the antipode is ill-conditioned by nature
                    double dx, dy, la, lo;
                    t.edpLatlon2delxy(lat, lon, &dx, &dy);
                    t.edpDelxy2geopointat(dx, dy, &la, &lo);
                    ASSERT_NEAR(la, lat, 1e-9) << latr << " " << lonr << " " << lat << " " << lon;
                    ASSERT_LE(lonDiff(lo, lon), 1e-9) << latr << " " << lonr << " " << lat << " " << lon;
                    // the plane distance is the great-circle distance
                    ASSERT_NEAR(std::hypot(dx, dy), arcDegrees(t.latr, t.lonr, lat, lon), 1e-7);
                    checked++;
                }
            }
        }
    }
    EXPECT_GT(checked, 40000);
}

TEST(MapTransform, GlobeRoundTripOverNearSide)
{
    int checked = 0;
    for (double latr = -85.0; latr <= 90.0; latr += 17.0) {
        for (double lonr = -170.0; lonr <= 180.0; lonr += 41.0) {
            HLMapTransform t(latr + 0.0001, lonr + 0.0001);
            for (double lat = -88.0; lat <= 88.0; lat += 4.0) {
                for (double lon = -180.0; lon <= 180.0; lon += 7.5) {
                    const double arc = arcDegrees(t.latr, t.lonr, lat, lon);
                    if (arc > 85.0 || arc < 1e-6)
                        continue;
                    double dx, dy, la = -999.0, lo = -999.0;
                    ASSERT_EQ(t.globeLatlon2delxy(lat, lon, &dx, &dy), 0);
                    ASSERT_NEAR(std::hypot(dx, dy), r2d * std::sin(d2r * arc), 1e-7);
                    ASSERT_EQ(t.globeDelxy2geopointat(dx, dy, &la, &lo), 0);
                    ASSERT_NEAR(la, lat, 1e-9) << latr << " " << lonr << " " << lat << " " << lon;
                    ASSERT_LE(lonDiff(lo, lon), 1e-9) << latr << " " << lonr << " " << lat << " " << lon;
                    checked++;
                }
            }
        }
    }
    EXPECT_GT(checked, 20000);
}

TEST(MapTransform, CentreGivesReferencePointExactly)
{
    HLMapTransform t(12.3456, -98.7654);
    double lat = 0, lon = 0;
    t.edpDelxy2geopointat(0.0, 0.0, &lat, &lon);
    EXPECT_EQ(lat, 12.3456);
    EXPECT_EQ(lon, -98.7654);
    lat = lon = 0;
    EXPECT_EQ(t.globeDelxy2geopointat(0.0, 0.0, &lat, &lon), 0);
    EXPECT_EQ(lat, 12.3456);
    EXPECT_EQ(lon, -98.7654);
}

TEST(MapTransform, KnownPlanePositions)
{
    // tolerance 0: exactly; due east, the great circle bows off the parallel
    struct Case { const char* name; double latr, lonr, lat, lon, dx, dy, tolerance; } cases[] = {
        {"the centre", 12.3456, -98.7654, 12.3456, -98.7654, 0, 0, 0},
        {"due north", 0.0001, 0.0001, 10.0001, 0.0001, 0, 10, 1e-9},
        {"due east", 0.0001, 0.0001, 0.0001, 20.0001, 20, 0, 1e-4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double dx = 1, dy = 1;
        HLMapTransform(c.latr, c.lonr).edpLatlon2delxy(c.lat, c.lon, &dx, &dy);
        EXPECT_NEAR(dx, c.dx, c.tolerance);
        EXPECT_NEAR(dy, c.dy, c.tolerance);
    }
    // the antipode lies at distance 180
    double dx, dy;
    HLMapTransform(40.0001, 10.0001).edpLatlon2delxy(-40.0001, -169.9999, &dx, &dy);
    EXPECT_TRUE(std::isfinite(dx) && std::isfinite(dy));
    EXPECT_NEAR(std::hypot(dx, dy), 180.0, 1e-5);
}

TEST(MapTransform, GlobeRimAndFarSide)
{
    HLMapTransform t(0.0, 0.0);
    double dx, dy;
    // 90 degrees away: on the rim, still the near side
    EXPECT_EQ(t.globeLatlon2delxy(0.0, 90.0, &dx, &dy), 0);
    EXPECT_NEAR(std::hypot(dx, dy), r2d, 1e-9);
    // the antipode: far side, folded out to twice the rim
    EXPECT_EQ(t.globeLatlon2delxy(0.0, 180.0, &dx, &dy), -1);
    EXPECT_NEAR(std::hypot(dx, dy), 2.0 * r2d, 1e-6);
    // between the two: inside the ring
    EXPECT_EQ(t.globeLatlon2delxy(0.0, 135.0, &dx, &dy), -1);
    EXPECT_NEAR(std::hypot(dx, dy), r2d * (2.0 - std::sin(d2r * 135.0)), 1e-9);
}

TEST(MapTransform, GlobeInverseOutsideDiscLeavesOutputsUntouched)
{
    HLMapTransform t(10.0, 20.0);
    double lat = 123.0, lon = 456.0;
    EXPECT_EQ(t.globeDelxy2geopointat(r2d * (1.0 + 1e-12), 0.0, &lat, &lon), -1);
    EXPECT_EQ(lat, 123.0);
    EXPECT_EQ(lon, 456.0);
    EXPECT_EQ(t.globeDelxy2geopointat(0.0, -100.0, &lat, &lon), -1);
    EXPECT_EQ(t.globeDelxy2geopointat(NAN, 0.0, &lat, &lon), -1);
    EXPECT_EQ(lat, 123.0);
    // on the rim itself: the point 90 degrees east
    EXPECT_EQ(t.globeDelxy2geopointat(r2d, 0.0, &lat, &lon), 0);
    EXPECT_NEAR(arcDegrees(10.0, 20.0, lat, lon), 90.0, 1e-6);
}

TEST(MapTransform, InverseLongitudesStayInRangeForAnyReference)
{
    const double lonrs[] = {-1e6, -725.0, -180.0, -179.9999, 0.0, 179.9999, 180.0, 359.0, 721.5, 1e6, 1e300};
    for (double lonr : lonrs) {
        SCOPED_TRACE(lonr);
        HLMapTransform t(33.0, lonr);
        for (double dx = -180.0; dx <= 180.0; dx += 15.0) {
            for (double dy = -180.0; dy <= 180.0; dy += 15.0) {
                double lat, lon;
                t.edpDelxy2geopointat(dx, dy, &lat, &lon);
                ASSERT_GE(lon, -180.0);
                ASSERT_LE(lon, 180.0);
                ASSERT_GE(lat, -90.0);
                ASSERT_LE(lat, 90.0);
                if (t.globeDelxy2geopointat(dx * 0.3, dy * 0.3, &lat, &lon) == 0) {
                    ASSERT_GE(lon, -180.0);
                    ASSERT_LE(lon, 180.0);
                }
            }
        }
    }
}

TEST(MapTransform, PoleOnTheAxis)
{
    // from the north pole straight down the plane's y axis lies the south
    // pole, where x and y of the rotated vector vanish
    HLMapTransform t(90.0, 0.0);
    double lat, lon;
    t.edpDelxy2geopointat(0.0, 180.0, &lat, &lon);
    EXPECT_NEAR(lat, -90.0, 1e-9);
    EXPECT_GE(lon, -180.0);
    EXPECT_LE(lon, 180.0);
}

TEST(MapTransform, MercatorClampAndInverse)
{
    for (double lat : {90.0, 95.0})
        EXPECT_EQ(VX_mercator_y(lat), 100000.0) << lat;
    for (double lat : {-90.0, -95.0})
        EXPECT_EQ(VX_mercator_y(lat), -100000.0) << lat;
    EXPECT_NEAR(VX_mercator_y(0.0), 0.0, 1e-12);
    EXPECT_NEAR(VX_mercator_y(45.0), 50.49898671052621, 1e-12);
    // the inverse is not special-cased for the clamp value
    EXPECT_TRUE(std::isfinite(VX_mercator_lat(100000.0)));
    for (double lat = -85.0; lat <= 85.0; lat += 0.5)
        ASSERT_NEAR(VX_mercator_lat(VX_mercator_y(lat)), lat, 1e-9) << lat;
}

TEST(MapTransform, EdpPlaneOfManyPointsAgreesWithTheFormula)
{
    // centres as views set them (nudged off the lines), near both poles too
    const double centres[][2] = {{0.0001, 20.0001},  {20.0001, 30.0001}, {-37.5001, -150.0001},
                                 {89.9999, 0.0001},  {-89.9999, 179.9999}, {60.0001, 180.0001}};
    for (const auto& c : centres) {
        SCOPED_TRACE(testing::Message() << c[0] << " " << c[1]);
        HLMapTransform t(c[0], c[1]);
        // a grid with both poles and the date line, the centre and its antipode
        std::vector<double> lats, lons;
        for (double lat = -90.0; lat <= 90.0; lat += 2.5)
            for (double lon = -180.0; lon <= 180.0; lon += 5.0) {
                lats.push_back(lat);
                lons.push_back(lon);
            }
        lats.insert(lats.end(), {c[0], -c[0]});
        lons.insert(lons.end(), {c[1], c[1] + 180.0});
        const long n = static_cast<long>(lats.size());
        std::vector<double> slat(n), clat(n), slon(n), clon(n), delx(n), dely(n);
        for (long i = 0; i < n; i++) {
            slat[i] = std::sin(d2r * lats[i]);
            clat[i] = std::cos(d2r * lats[i]);
            slon[i] = std::sin(d2r * lons[i]);
            clon[i] = std::cos(d2r * lons[i]);
        }
        HLEdpPlane(c[0], c[1]).project(n, slat.data(), clat.data(), slon.data(), clon.data(), delx.data(),
                                       dely.data());
        for (long i = 0; i < n - 1; i++) {
            double x, y;
            t.edpLatlon2delxy(lats[i], lons[i], &x, &y);
            ASSERT_NEAR(delx[i], x, 1e-6) << lats[i] << " " << lons[i];
            ASSERT_NEAR(dely[i], y, 1e-6) << lats[i] << " " << lons[i];
        }
        EXPECT_NEAR(delx[n - 2], 0.0, 1e-6);
        EXPECT_NEAR(dely[n - 2], 0.0, 1e-6);
        // the antipode's direction is rounding noise; it lies on the rim
        EXPECT_NEAR(std::hypot(delx[n - 1], dely[n - 1]), 180.0, 1e-6);
    }
}
