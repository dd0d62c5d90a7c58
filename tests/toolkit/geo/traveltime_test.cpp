// Travel times through the earth model: published ak135 times, the closed
// form of a homogeneous sphere, station elevation, the ttp_ calls and bad
// input.
#include "toolkit/toolkit_support.h"
#include "toolkit/geo/traveltime.h"
#include "toolkit/geo/traveltime_p.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

// The first arrival of the phases, or NaN.
double first_time(double depth_km, double distance_deg, const char* phases, double elev_km = 0.0,
                  TtArrival* arrival = nullptr)
{
    TtArrival a[TT_MAX_ARRIVALS];
    const int n = tt_compute(depth_km, distance_deg, elev_km, phases, 5.0, 3.0, a, TT_MAX_ARRIVALS);
    EXPECT_GT(n, 0) << hl_errlog_string(0);
    if (n <= 0)
        return NAN;
    if (arrival)
        *arrival = a[0];
    return a[0].time_s;
}

} // namespace

// Published ak135 times: the tables of P, S, PcP and PKIKP of Kennett, Engdahl and
// Buland (1995), "Constraints on seismic velocities in the Earth from
// traveltimes", Geophys. J. Int. 122, 108-124, as distributed with the
// model ("AK135 tables", B. L. N. Kennett, Research School of Earth
// Sciences, ANU), minutes and seconds written here in seconds.  At 120
// degrees the first P and S are diffracted along the core.
TEST(TravelTime, MatchesPublishedAk135Tables)
{
    struct Case { const char* phase; double depth_km, distance_deg, time_s; };
    const Case cases[] = {
        {"P", 0, 10, 144.90},    {"P", 0, 30, 370.27},    {"P", 0, 60, 608.34},    {"P", 0, 90, 781.40},
        {"P", 0, 120, 915.96},   {"P", 35, 10, 141.12},   {"P", 35, 30, 365.24},   {"P", 35, 60, 603.01},
        {"P", 35, 90, 775.83},   {"P", 35, 120, 910.37},  {"P", 250, 10, 138.51},  {"P", 250, 30, 345.50},
        {"P", 250, 60, 580.37},  {"P", 250, 90, 751.15},  {"P", 250, 120, 885.53}, {"S", 0, 10, 257.80},
        {"S", 0, 30, 669.14},    {"S", 0, 60, 1101.89},   {"S", 0, 90, 1435.44},   {"S", 35, 10, 252.05},
        {"S", 35, 30, 660.83},   {"S", 35, 60, 1093.11},  {"S", 35, 90, 1426.22},  {"S", 250, 10, 250.93},
        {"S", 250, 30, 624.59},  {"S", 250, 60, 1052.69}, {"S", 250, 90, 1382.16}, {"S", 0, 120, 1689.67},
        {"PcP", 0, 30, 552.58},  {"PcP", 0, 60, 654.46},  {"PcP", 35, 30, 546.88}, {"PcP", 35, 60, 648.85},
        {"PKIKP", 0, 130, 1151.67}, {"PKIKP", 0, 150, 1187.48}, {"PKIKP", 0, 170, 1209.64},
        {"PKIKP", 0, 180, 1212.53}, {"PKIKP", 35, 130, 1145.94}, {"PKIKP", 35, 170, 1203.89},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.phase) + " from " + std::to_string(c.depth_km) + " km at " +
                     std::to_string(c.distance_deg) + " degrees");
        EXPECT_NEAR(first_time(c.depth_km, c.distance_deg, c.phase), c.time_s, 0.5);
    }
}

// In a sphere of one velocity the rays are straight: the time is the
// chord from the source to the station over the velocity.
TEST(TravelTime, HomogeneousSphereGivesTheChord)
{
    const std::string path = std::string(VX_TEST_BINARY_DIR) + "/homogeneous.model";
    {
        std::ofstream out(path);
        out << "# one velocity down to the inner core\nname uniform\nradius_km 6371\ncmb_km 5000\nicb_km 6000\n"
               "0 6.0 3.5 3.0\n5000 6.0 3.5 3.0\n5000 6.0 0 3.0\n6000 6.0 0 3.0\n6000 6.0 3.5 3.0\n"
               "6371 6.0 3.5 3.0\n";
    }
    ASSERT_EQ(tt_set_model(path.c_str()), 0) << hl_errlog_string(0);
    for (double depth : {0.0, 35.0, 250.0}) {
        for (double deg : {10.0, 30.0, 60.0, 90.0, 120.0}) {
            SCOPED_TRACE(std::to_string(depth) + " km, " + std::to_string(deg) + " degrees");
            const double r = 6371.0, rs = r - depth, d = deg * M_PI / 180.0;
            const double chord = std::sqrt(r * r + rs * rs - 2.0 * r * rs * std::cos(d));
            EXPECT_NEAR(first_time(depth, deg, "P"), chord / 6.0, 1e-3);
            EXPECT_NEAR(first_time(depth, deg, "S"), chord / 3.5, 1e-3);
        }
    }
    EXPECT_NEAR(tt_model_velocity('S', 100.0), 3.5, 1e-12);
    ASSERT_EQ(tt_set_model(nullptr), 0) << hl_errlog_string(0);
    EXPECT_NEAR(tt_model_velocity('P', 100.0), 8.045 + 0.005 * (100.0 - 77.5) / (120.0 - 77.5), 1e-3);
    remove(path.c_str());
}

TEST(TravelTime, StationElevationAddsTheVerticalSlowness)
{
    for (const char* phase : {"P", "S"}) {
        SCOPED_TRACE(phase);
        TtArrival a{};
        const double t0 = first_time(35.0, 60.0, phase, 0.0, &a);
        const double t1 = first_time(35.0, 60.0, phase, 1.5);
        const double v = phase[0] == 'P' ? 5.0 : 3.0, p_km = a.slowness_s_deg / (6371.0 * M_PI / 180.0);
        EXPECT_NEAR(t1 - t0, 1.5 * std::sqrt(1.0 / (v * v) - p_km * p_km), 1e-6);
        EXPECT_NEAR(a.emergence_deg, std::asin(p_km * v) * 180.0 / M_PI, 1e-9);
    }
}

TEST(TravelTime, ServiceCallsAsTheTraceViewMakesThem)
{
    TtArrival a[TT_MAX_ARRIVALS];
    ttp_grab_mutex();
    EXPECT_EQ(ttp_set_phases("P"), 1);
    EXPECT_EQ(ttp_set_event_depth(35.0), 0);
    ASSERT_EQ(ttp_compute(0.0, 10.0, 0.0, 70.0, 0.0, 5.0, 3.0, a, TT_MAX_ARRIVALS), 1) << hl_errlog_string(0);
    EXPECT_STREQ(a[0].phase, "P");
    EXPECT_NEAR(a[0].time_s, 603.01, 0.5);
    // beyond the core shadow: Pdiff first, then the PKP that aligns
    const int n = ttp_compute(0.0, 0.0, 0.0, 130.0, 0.0, 5.0, 3.0, a, TT_MAX_ARRIVALS);
    ASSERT_GE(n, 2);
    EXPECT_EQ(std::string(a[0].phase) + " " + a[1].phase, "Pdiff PKPdf");
    // in the gap before PKPdf, PKiKP is the second
    ASSERT_EQ(ttp_compute(0.0, 0.0, 0.0, 110.0, 0.0, 5.0, 3.0, a, TT_MAX_ARRIVALS), 2);
    EXPECT_EQ(std::string(a[0].phase) + " " + a[1].phase, "Pdiff PKiKP");
    // several phases, sorted by time, each once
    EXPECT_EQ(ttp_set_phases("S, pP,sP P PcP ScS"), 6);
    ASSERT_EQ(ttp_set_event_depth(250.0), 0);
    const int m = ttp_compute(0.0, 0.0, 60.0, 0.0, 0.0, 5.0, 3.0, a, TT_MAX_ARRIVALS);
    const char* order[] = {"P", "PcP", "pP", "sP", "S", "ScS"};
    ASSERT_EQ(m, 6);
    for (int i = 0; i < m; i++) {
        EXPECT_STREQ(a[i].phase, order[i]);
        EXPECT_GT(a[i].takeoff_deg, 0.0);
        EXPECT_TRUE(i == 0 || a[i].time_s > a[i - 1].time_s) << a[i].time_s;
    }
    EXPECT_GT(a[2].takeoff_deg, 90.0);  // pP leaves upwards
    EXPECT_LT(a[0].takeoff_deg, 90.0);
    // bad settings are refused and the old ones kept
    EXPECT_LT(ttp_set_phases("P,Pn"), 0);
    expectLogged("ttp_set_phases: Unknown phase 'Pn'.");
    EXPECT_LT(ttp_set_event_depth(3000.0), 0);
    expectLogged("ttp_set_event_depth: Depth 3000 km is below the mantle");
    EXPECT_EQ(ttp_compute(0.0, 0.0, 60.0, 0.0, 0.0, 5.0, 3.0, a, TT_MAX_ARRIVALS), 6);
    ttp_release_mutex();
}

TEST(TravelTime, BadInputIsRefused)
{
    struct Case { const char* name; double depth_km, distance_deg; const char* phases; const char* message; };
    const Case cases[] = {
        {"source below the model's mantle", 2900.0, 30.0, "P", "Depth 2900 km is below the mantle of model ak135"},
        {"source in the core", 6000.0, 30.0, "P", "below the mantle"},
        {"source above the surface", -1.0, 30.0, "P", "Depth -1 km is above the surface"},
        {"depth not a number", NAN, 30.0, "P", "above the surface"},
        {"distance past 180", 10.0, 181.0, "P", "Bad distance 181"},
        {"unknown phase", 10.0, 30.0, "P,PKKP", "Unknown phase 'PKKP'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TtArrival a[TT_MAX_ARRIVALS];
        EXPECT_LT(tt_compute(c.depth_km, c.distance_deg, 0.0, c.phases, 5.0, 3.0, a, TT_MAX_ARRIVALS), 0);
        EXPECT_EQ(expectLogged(c.message).rfind("tt_compute: ", 0), 0u);
    }
    // a model that does not read leaves the one in use
    const std::string path = std::string(VX_TEST_BINARY_DIR) + "/broken.model";
    // rows after the same head
    const struct { const char* rows; const char* message; } models[] = {
        {"0 6 3 3\n10 six 3 3\n", "Expected a row of depth, vp, vs and density at line 6"},
        {"0 6 3 3\n10 6 3 3\n5 6 3 3\n", "Depth decreases at line 7"},
        {"0 6 3 3\n40 6 0 3\n", "Bad velocity at line 6"}, {"0 6 3 3\n90 6 3 3\n", "do not reach the centre"},
    };
    for (const auto& m : models) {
        SCOPED_TRACE(m.message);
        std::ofstream(path) << "name x\nradius_km 100\ncmb_km 50\nicb_km 80\n" << m.rows;
        EXPECT_LT(tt_set_model(path.c_str()), 0);
        expectLogged(m.message);
    }
    EXPECT_NEAR(first_time(35.0, 30.0, "P"), 365.24, 0.5);
    remove(path.c_str());
}
