// Regional travel times in a flat, layered earth.
#include "support/testsupport.h"

#include "toolkit/base/errors.h"
#include "toolkit/geo/traveltime.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

double first_arrival(char phase, double distance_km, double depth_km)
{
    TtArrival a{};
    EXPECT_EQ(tt_first_arrival(phase, distance_km, depth_km, &a), 0);
    return a.time_s;
}

} // namespace

// Reference times worked out by hand from the layer thicknesses and
// velocities: x/v for a direct ray at the surface, x/v_k plus the intercept
// sum of h_i sqrt(1/v_i^2 - 1/v_k^2) over the legs for a head wave.
TEST(TravelTime, DefaultModelMatchesHandWorkedTimes)
{
    const struct
    {
        const char* name;
        char phase;
        double distance_km, depth_km, time_s;
        int refractor;
    } cases[] = {
        {"surface source, direct", 'P', 10.0, 0.0, 10.0 / 5.5, -1},
        {"surface source, head wave on the middle crust", 'P', 100.0, 0.0, 16.848399, 1},
        {"surface source, Pn", 'P', 500.0, 0.0, 69.931533, 3}, {"surface source, Sn", 'S', 500.0, 0.0, 120.981552, 3},
        {"straight up from 5 km", 'P', 0.0, 5.0, 5.0 / 5.5, -1},
        {"straight up from 20 km", 'P', 0.0, 20.0, 5.5 / 5.5 + 10.5 / 6.3 + 4.0 / 6.7, -1},
        {"Pn from the lower crust", 'P', 300.0, 20.0, 42.293071, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TtArrival a{};
        ASSERT_EQ(tt_first_arrival(c.phase, c.distance_km, c.depth_km, &a), 0);
        EXPECT_NEAR(a.time_s, c.time_s, 1e-5);
        EXPECT_EQ(a.refractor, c.refractor);
    }
}

TEST(TravelTime, DirectRayInAHalfSpaceIsAStraightLine)
{
    const TtLayer halfspace[] = {{0.0, 6.0, 3.5}};
    for (double depth : {0.5, 10.0, 33.0}) {
        for (double x : {0.0, 1.0, 25.0, 400.0}) {
            SCOPED_TRACE(std::to_string(depth) + " km deep, " + std::to_string(x) + " km away");
            TtArrival a{};
            ASSERT_EQ(tt_layered_first_arrival(halfspace, 1, 'S', x, depth, &a), 0);
            EXPECT_NEAR(a.time_s, std::hypot(x, depth) / 3.5, 1e-6);
            EXPECT_NEAR(a.slowness_s_km, x / std::hypot(x, depth) / 3.5, 1e-6);
        }
    }
}

TEST(TravelTime, SlowerLayerBelowCarriesNoHeadWave)
{
    // a low-velocity zone under a fast lid: only the direct ray arrives
    const TtLayer lvz[] = {{0.0, 6.0, 3.5}, {10.0, 5.0, 2.9}};
    TtArrival a{};
    ASSERT_EQ(tt_layered_first_arrival(lvz, 2, 'P', 200.0, 2.0, &a), 0);
    EXPECT_EQ(a.refractor, -1);
    EXPECT_NEAR(a.time_s, std::hypot(200.0, 2.0) / 6.0, 1e-6);
}

TEST(TravelTime, FirstArrivalsGrowWithDistanceAtTheirSlowness)
{
    for (double depth : {0.0, 8.0, 25.0}) {
        SCOPED_TRACE(depth);
        double last_t = -1.0;
        for (double x = 0.0; x <= 600.0; x += 1.0) {
            TtArrival a{};
            ASSERT_EQ(tt_first_arrival('P', x, depth, &a), 0);
            if (x > 0.0) {
                EXPECT_GT(a.time_s, last_t) << x;
                EXPECT_LE(a.time_s - last_t, 1.0 / 5.5 + 1e-9) << x;  // never slower than the slowest layer
            }
            EXPECT_GE(a.time_s, std::hypot(x, depth) / 7.8 - 1e-9) << x;  // never faster than the mantle
            EXPECT_GT(first_arrival('S', x, depth), a.time_s - 1e-12) << x;
            last_t = a.time_s;
            // the slowness is the slope of the travel-time curve, away from
            // the distances where another branch takes over
            if (x >= 1.0) {
                const double h = 0.01;
                TtArrival lo{}, hi{};
                ASSERT_EQ(tt_first_arrival('P', x - h, depth, &lo), 0);
                ASSERT_EQ(tt_first_arrival('P', x + h, depth, &hi), 0);
                if (lo.refractor == a.refractor && hi.refractor == a.refractor) {
                    EXPECT_NEAR((hi.time_s - lo.time_s) / (2 * h), a.slowness_s_km, 1e-4) << x;
                }
            }
        }
    }
}

TEST(TravelTime, BadArgumentsFailWithAMessage)
{
    const TtLayer no_surface[] = {{1.0, 6.0, 3.5}};
    const TtLayer not_rising[] = {{0.0, 6.0, 3.5}, {0.0, 7.0, 4.0}};
    const TtLayer zero_speed[] = {{0.0, 0.0, 3.5}};
    int n = 0;
    const TtLayer* model = tt_default_model(&n);
    const struct
    {
        const char* name;
        const TtLayer* layers;
        int nlayers;
        char phase;
        double distance_km, depth_km;
    } cases[] = {
        {"unknown phase", model, n, 'X', 10.0, 5.0}, {"negative distance", model, n, 'P', -1.0, 5.0},
        {"distance not a number", model, n, 'P', NAN, 5.0}, {"too deep", model, n, 'P', 10.0, 800.0},
        {"no layers", model, 0, 'P', 10.0, 5.0}, {"null model", nullptr, 1, 'P', 10.0, 5.0},
        {"first layer below the surface", no_surface, 1, 'P', 10.0, 5.0},
        {"tops not rising", not_rising, 2, 'P', 10.0, 5.0}, {"zero velocity", zero_speed, 1, 'P', 10.0, 5.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        TtArrival a{-7.0, 0, 0, 0, 0};
        EXPECT_LT(tt_layered_first_arrival(c.layers, c.nlayers, c.phase, c.distance_km, c.depth_km, &a), 0);
        EXPECT_EQ(a.time_s, -7.0);  // untouched
        EXPECT_EQ(hl_error_count(), 1);
    }
    hl_clear_register(0);
}
