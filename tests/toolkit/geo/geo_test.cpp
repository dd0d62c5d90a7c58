// Great-circle geometry, kilometres to degrees, and the Flinn-Engdahl
// lookups on small tables written to a temporary directory.
#include "support/testsupport.h"
#include "toolkit/toolkit_support.h"
#include "toolkit/geo/geo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <numbers>
#include <string>
#include <string_view>

using namespace std::literals;

namespace {

constexpr double rad = std::numbers::pi / 180.0;

// Arc between two points given in degrees, in degrees.
double arcDeg(double lat1, double lon1, double lat2, double lon2)
{
    double del = 0.0;
    geoarc(&del, nullptr, lat1 * rad, lon1 * rad, lat2 * rad, lon2 * rad);
    return del / rad;
}

TEST(GeoTest, GeoarcKnownValues)
{
    // lon2: degrees; az: degrees
    struct Case { const char* name; double lat1, lon1, lat2, lon2; double del, az; } cases[] = {
        {"equator quarter east", 0, 0, 0, 90, 90, 90}, {"equator quarter west", 0, 0, 0, -90, 90, 270},
        {"to the north pole", 0, 0, 90, 0, 90, 0}, {"to the south pole", 0, 0, -90, 0, 90, 180},
        {"from the north pole", 90, 0, 0, 30, 90, 150}, {"coincident", 10, 20, 10, 20, 0, 0},
        {"sixty degrees", 0, 0, 45, 45, 60, 35.264389682754654}, {"across the date line", 0, 179, 0, -179, 2, 90},
        {"due south", 40, 10, 10, 10, 30, 180},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double del = -1, az = -1;
        geoarc(&del, &az, c.lat1 * rad, c.lon1 * rad, c.lat2 * rad, c.lon2 * rad);
        EXPECT_NEAR(del / rad, c.del, 1e-9);
        EXPECT_NEAR(az / rad, c.az, 1e-9);
        EXPECT_TRUE(az >= 0.0 && az < 2 * std::numbers::pi) << az;
    }
}

TEST(GeoTest, GeoarcAntipodeAndTinyArcs)
{
    double del = 0, az = -1;
    geoarc(&del, &az, 10 * rad, 20 * rad, -10 * rad, -160 * rad);
    EXPECT_NEAR(del, std::numbers::pi, 1e-12);
    EXPECT_TRUE(az >= 0.0 && az < 2 * std::numbers::pi);
    // arcs whose cosine rounds to 1 or -1 keep their precision
    EXPECT_NEAR(arcDeg(0, 0, 0, 1e-7), 1e-7, 1e-18);
    EXPECT_NEAR(arcDeg(30, 40, 30 + 1e-8, 40), 1e-8, 1e-14);  // 30 + 1e-8 rounds
    EXPECT_NEAR(arcDeg(0, 0, 0, 180 - 1e-7), 180 - 1e-7, 1e-12);
    geoarc(nullptr, nullptr, 0, 0, 1, 1);  // outputs optional
}

TEST(GeoTest, GeopointatKnownValues)
{
    // az: degrees; lon: degrees
    struct Case { const char* name; double lat1, lon1, del, az; double lat, lon; } cases[] = {
        {"east along the equator", 0, 0, 90, 90, 0, 90}, {"north to 45", 0, 0, 45, 0, 45, 0},
        {"west across the date line", 0, -179, 2, 270, 0, 179}, {"from the north pole", 90, 0, 90, 150, 0, 30},
        {"to the antipode", 0, 0, 180, 37, 0, 180}, {"no distance", -33, 151, 0, 200, -33, 151},
        {"sixty degrees", 0, 0, 60, 35.264389682754654, 45, 45},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double lat = 0, lon = 0;
        geopointat(&lat, &lon, c.lat1 * rad, c.lon1 * rad, c.del * rad, c.az * rad);
        EXPECT_NEAR(lat / rad, c.lat, 1e-9);
        // compare longitudes as a distance, so that 180 and -180 agree
        EXPECT_NEAR(arcDeg(c.lat, c.lon, lat / rad, lon / rad), 0.0, 1e-9);
        EXPECT_LE(std::fabs(lon), std::numbers::pi);
    }
}

TEST(GeoTest, RoundTripsOverAGrid)
{
    for (double lat1 = -80; lat1 <= 80; lat1 += 20) {
        for (double lon1 = -180; lon1 < 180; lon1 += 45) {
            for (double lat2 = -90; lat2 <= 90; lat2 += 15) {
                for (double lon2 = -170; lon2 <= 180; lon2 += 35) {
                    SCOPED_TRACE(::testing::Message() << lat1 << "," << lon1 << " to " << lat2 << "," << lon2);
                    double del = 0, az = 0, lat = 0, lon = 0;
                    geoarc(&del, &az, lat1 * rad, lon1 * rad, lat2 * rad, lon2 * rad);
                    ASSERT_TRUE(del >= 0.0 && del <= std::numbers::pi);
                    geopointat(&lat, &lon, lat1 * rad, lon1 * rad, del, az);
                    ASSERT_NEAR(arcDeg(lat / rad, lon / rad, lat2, lon2), 0.0, 1e-7);
                    // and the way back is as long
                    double back = 0;
                    geoarc(&back, nullptr, lat2 * rad, lon2 * rad, lat1 * rad, lon1 * rad);
                    ASSERT_NEAR(back, del, 1e-12);
                }
            }
        }
    }
}

TEST(GeoTest, GeokmtodegreesUsesWgs84Radius)
{
    EXPECT_NEAR(geokmtodegrees(111.2, 0.0), 1.0, 0.002);
    EXPECT_NEAR(geokmtodegrees(6378.137 * rad, 0.0), 1.0, 1e-12);         // equatorial radius
    EXPECT_NEAR(geokmtodegrees(6356.752314245 * rad, 90.0), 1.0, 1e-12);  // polar radius
    EXPECT_NEAR(geokmtodegrees(6356.752314245 * rad, -90.0), 1.0, 1e-12);
    double mid = geokmtodegrees(100.0, 45.0);
    EXPECT_GT(mid, geokmtodegrees(100.0, 0.0));
    EXPECT_LT(mid, geokmtodegrees(100.0, 90.0));
    EXPECT_EQ(geokmtodegrees(0.0, 30.0), 0.0);
    EXPECT_NEAR(geokmtodegrees(-200.0, 10.0), -geokmtodegrees(200.0, 10.0), 1e-15);
}

// ---- Flinn-Engdahl ------------------------------------------------------

const char* good_regions = "# lat_south lon_west lon_east gr\n"
                           "35 135 140 229\n"
                           "35 140 145 230   # east of the first\n"
                           "\n"
                           "35 -180 -170 231\n"
                           "-90 -180 180 1\n"
                           "89 -180 180 2\n"
                           "10 0.5 1.25 3\n";
const char* good_seisreg = "229 19\n230 19\n231 20\n1 50\n2 51\n3 52\n";
const char* good_names = "19 Japan region\n"
                         "20   Far  away   place  # comment\n"
                         "50 Antarctica\n"
                         "51 Arctic Ocean\n";

// The tables are looked for in a folder of the test's own.
struct FlinnEngdahlTest : ::testing::Test
{
    void SetUp() override
    {
        unsetenv("VXPLOT_DATADIR");
        setenv("VXPLOT_FEDATA", dir_.c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("VXPLOT_FEDATA");
        unsetenv("VXPLOT_DATADIR");
        geo_reload_tables();  // leaves no tables behind for the next test
    }
    void write(const std::string& file, std::string_view text, const std::string& dir = {})
    {
        Folder::write((dir.empty() ? dir_ : dir) + "/" + file, std::string(text));
    }
    void writeAll(const std::string& dir = {})
    {
        write("regions.txt", good_regions, dir);
        write("seisreg.txt", good_seisreg, dir);
        write("names.txt", good_names, dir);
    }
    Folder folder_;
    std::string dir_ = folder_.path();
};

TEST_F(FlinnEngdahlTest, RegionLookups)
{
    writeAll();
    ASSERT_EQ(geo_reload_tables(), 0) << hl_errlog_string(0);
    // gr -1: no region
    struct Case { const char* name; double lat, lon; int gr; } cases[] = {
        {"inside", 35.5, 137, 229}, {"west edge belongs", 35.0, 140.0, 230},
        {"just inside the east edge", 35.999, 139.999, 229}, {"south pole", -90, 0, 1}, {"north pole", 90, 10, 2},
        {"longitude past 180", 35.5, 185, 231}, {"longitude far west", 35.5, -535, 231}, {"minus 180", 89.5, -180, 2},
        {"plus 180", 89.5, 180, 2}, {"fractional span", 10.5, 1.0, 3}, {"east edge excluded", 35.5, 145, -1},
        {"band above", 36.5, 137, -1}, {"empty band", 0, 0, -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const int gr = georegionnum(c.lat, c.lon);
        EXPECT_EQ(gr < 0 ? -1 : gr, c.gr);
        const std::string log = takeErrors();
        EXPECT_TRUE(c.gr < 0 ? log.find("georegionnum: No region at") != std::string::npos : log.empty()) << log;
    }
    EXPECT_LT(georegionnum(91, 0), 0);
    EXPECT_LT(georegionnum(NAN, 0), 0);
    EXPECT_LT(georegionnum(0, INFINITY), 0);
}

TEST_F(FlinnEngdahlTest, SeismicRegionsAndNames)
{
    writeAll();
    ASSERT_EQ(geo_reload_tables(), 0) << hl_errlog_string(0);
    EXPECT_EQ(geoseisregion(229), 19);
    EXPECT_EQ(geoseisregion(231), 20);
    EXPECT_LT(geoseisregion(999), 0);
    EXPECT_EQ(takeErrors(), "geoseisregion: Unknown geographic region 999.\n");
    // size: of the buffer given
    const struct { int sr; size_t size; const char* name; } names[] = {
        {19, 64, "Japan region"}, {20, 64, "Far  away   place"}, {19, 6, "Japan"}, {77, 64, "(refused)"},
        {19, 0, "(refused)"}};
    for (const auto& n : names) {
        char name[64] = "";
        EXPECT_EQ(geoseisregionname(n.sr, name, n.size) < 0 ? "(refused)" : std::string(name), n.name) << n.sr;
    }
    EXPECT_LT(geoseisregionname(19, nullptr, 10), 0);
}

TEST_F(FlinnEngdahlTest, BadLinesFailTheLoad)
{
    struct Case { const char* name; const char* file; std::string_view text; int line; } cases[] = {
        {"three fields", "regions.txt", "35 135 140\n", 1}, {"latitude 90", "regions.txt", "# c\n90 0 10 1\n", 2},
        {"fractional latitude", "regions.txt", "35.5 0 10 1\n", 1},
        {"west not below east", "regions.txt", "35 140 135 1\n", 1},
        {"longitude past 180", "regions.txt", "35 170 181 1\n", 1}, {"zero region", "regions.txt", "35 0 10 0\n", 1},
        {"word for number", "regions.txt", "35 0 ten 1\n", 1},
        {"overlap", "regions.txt", "35 0 10 1\n\n35 5 15 2\n", 3},
        {"overlap out of order", "regions.txt", "35 5 15 2\n35 0 10 1\n", 2},
        {"duplicate gr", "seisreg.txt", "1 2\n1 3\n", 2}, {"negative sr", "seisreg.txt", "1 -2\n", 1},
        {"extra field", "seisreg.txt", "1 2 3\n", 1}, {"name missing", "names.txt", "5\n", 1},
        {"name after comment", "names.txt", "5 # Nowhere\n", 1}, {"number not first", "names.txt", "x Nowhere\n", 1},
        {"duplicate sr", "names.txt", "5 A\n6 B\n5 C\n", 3}, {"NUL in line", "names.txt", "5 A\n6 B\0C\n"sv, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        writeAll();
        write(c.file, c.text);
        EXPECT_LT(geo_reload_tables(), 0);
        std::string bad = "Bad line " + std::to_string(c.line) + " of '" + dir_ + "/" + c.file + "'";
        expectLogged(bad);
        // the lookups then fail with the same reason
        EXPECT_LT(georegionnum(35.5, 137), 0);
        EXPECT_NE(expectLogged(bad).find("georegionnum: Cannot load the Flinn-Engdahl tables from '" + dir_ + "'.\n"),
                  std::string::npos);
    }
}

TEST_F(FlinnEngdahlTest, MissingTables)
{
    std::string nowhere = dir_ + "/nowhere";
    setenv("VXPLOT_FEDATA", nowhere.c_str(), 1);
    EXPECT_LT(geo_reload_tables(), 0);
    takeErrors();
    EXPECT_LT(georegionnum(0, 0), 0);
    EXPECT_EQ(takeErrors(), "georegionnum: No Flinn-Engdahl tables in '" + nowhere + "' (set VXPLOT_FEDATA).\n");
    EXPECT_LT(geoseisregion(1), 0);
    EXPECT_EQ(takeErrors(), "geoseisregion: No Flinn-Engdahl tables in '" + nowhere + "' (set VXPLOT_FEDATA).\n");
    // regions present but a second table missing is a load failure
    write("regions.txt", good_regions);
    write("seisreg.txt", good_seisreg);
    setenv("VXPLOT_FEDATA", dir_.c_str(), 1);
    EXPECT_LT(geo_reload_tables(), 0);
    expectLogged("Cannot open '" + dir_ + "/names.txt'");
    unsetenv("VXPLOT_FEDATA");
    EXPECT_LT(geo_reload_tables(), 0);
    takeErrors();
    char name[16];
    EXPECT_LT(geoseisregionname(19, name, sizeof name), 0);
    expectLogged("neither VXPLOT_FEDATA nor VXPLOT_DATADIR");
}

TEST_F(FlinnEngdahlTest, DataDirectoryFallback)
{
    writeAll(dir_ + "/flinnengdahl");
    unsetenv("VXPLOT_FEDATA");
    setenv("VXPLOT_DATADIR", dir_.c_str(), 1);
    ASSERT_EQ(geo_reload_tables(), 0) << hl_errlog_string(0);
    EXPECT_EQ(georegionnum(35.5, 142), 230);
    // VXPLOT_FEDATA comes first
    std::string other = dir_ + "/other";
    writeAll(other);
    write("regions.txt", "35 135 145 300\n", other);
    setenv("VXPLOT_FEDATA", other.c_str(), 1);
    ASSERT_EQ(geo_reload_tables(), 0) << hl_errlog_string(0);
    EXPECT_EQ(georegionnum(35.5, 142), 300);
}

} // namespace
