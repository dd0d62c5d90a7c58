// Switching a running map between projections: which keys each transition
// sets and where the view ends up.
#include "support/testsupport.h"

#include "map/projection/maptransform.h"
#include "support/vptest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr double keep = 1e300;  // a field the row doesn't check

struct SwitchCase
{
    const char* name;
    std::vector<const char*> config;  // key, value pairs, in order
    const char* to;
    int map_tran;
    double xleft, xright, ybottom, ytop;  // spc_ fields afterwards
    double latr, lonr;
};

void expectField(const char* what, double actual, double expected)
{
    if (expected == keep)
        return;
    if (expected == VX_NULL_VALUE)
        EXPECT_EQ(actual, VX_NULL_VALUE) << what;
    else
        EXPECT_NEAR(actual, expected, 2e-4) << what;
}

} // namespace

TEST(ProjectionSwitch, TransitionTable)
{
    // 400 x 300 pixels without margins: aspect 4/3, so a view 40 wide is
    // 30 high.  A map view follows range and the (nudged) reference point:
    // geog x -19.9999 to 20.0001, y -9.9999 to 20.0001; merc the same about
    // M(5.0001); edp -20 to 20, -15 to 15 about 30.0001, 10.0001.
    const double M30 = VX_mercator_y(30.0001);
    const std::vector<const char*> geog = {"map", "geog", "latr", "5", "lonr", "0", "range", "40"};
    const std::vector<const char*> merc = {"map", "merc", "latr", "5", "lonr", "0", "range", "40"};
    const std::vector<const char*> none = {"xleft", "-20", "xright", "20", "ybottom", "-10", "ytop", "20"};
    const std::vector<const char*> edp = {"map", "edp", "latr", "30", "lonr", "10", "range", "40"};
    std::vector<const char*> globe = edp;
    globe[1] = "globe";
    const SwitchCase cases[] = {
        // the lower edge is latc minus the top; both pass through the
        // inverse Mercator formula, then through the parser's forward one
        {"geog to merc", geog, "merc", VX_MAP_MERC, -19.9999, 20.0001, 5.0001 - 20.0001, 20.0001, keep, keep},
        {"none to merc", none, "merc", VX_MAP_MERC, -20, 20, 5.0 - 20.0, 20.0, keep, keep},
        {"geog to edp recentres", geog, "edp", VX_MAP_EDP, -20, 20, -15, 15, 5.0002, 0.0002},
        {"none to globe recentres", none, "globe", VX_MAP_GLOBE, -20, 20, -15, 15, 5.0001, 0.0001},
        {"merc to edp recentres", merc, "edp", VX_MAP_EDP, -20, 20, -15, 15, 5.0002, 0.0002},
        {"merc to geog centres", merc, "geog", VX_MAP_GEOG, -19.9999, 20.0001, 5.0001 - 15, 5.0001 + 15, keep, keep},
        {"none to geog centres", none, "geog", VX_MAP_GEOG, -20, 20, -10, 20, keep, keep},
        {"edp to merc", edp, "merc", VX_MAP_MERC, -9.9999, 30.0001, M30 - 15, M30 + 15, 30.0001, 10.0001},
        {"globe to merc", globe, "merc", VX_MAP_MERC, -9.9999, 30.0001, M30 - 15, M30 + 15, keep, keep},
        // the lower edge comes out at -half whatever latr
        {"edp to geog", edp, "geog", VX_MAP_GEOG, -9.9999, 30.0001, -15, 45.0001, keep, keep},
        {"globe to geog", globe, "geog", VX_MAP_GEOG, -9.9999, 30.0001, -15, 45.0001, keep, keep},
        {"edp to globe keeps the plane view", edp, "globe", VX_MAP_GLOBE, -20, 20, -15, 15, 30.0001, 10.0001},
        {"globe to edp keeps the plane view", globe, "edp", VX_MAP_EDP, -20, 20, -15, 15, 30.0001, 10.0001},
        {"no ranges: map alone", {}, "merc", VX_MAP_MERC, VX_NULL_VALUE, VX_NULL_VALUE, VX_NULL_VALUE, VX_NULL_VALUE, keep, keep},
        {"no ranges to edp: map alone", {}, "edp", VX_MAP_EDP, VX_NULL_VALUE, VX_NULL_VALUE, VX_NULL_VALUE, VX_NULL_VALUE, 0.0001, 0.0001},
    };
    for (const SwitchCase& c : cases) {
        SCOPED_TRACE(c.name);
        // a view that was never laid out has no ranges
        auto vp = std::make_unique<VXViewport>(nullptr, 0, 0);
        vp->resize(400, 300);
        vptest::configureAll(vp.get(), c.config);
        if (!c.config.empty())
            vp->setScales();
        ASSERT_EQ(map_parse_projection(vp.get(), c.to), 0) << takeErrors();
        EXPECT_EQ(vp->vars.map_tran, c.map_tran);
        expectField("xleft", vp->vars.spc_xleft, c.xleft);
        expectField("xright", vp->vars.spc_xright, c.xright);
        expectField("ybottom", vp->vars.spc_ybottom, c.ybottom);
        expectField("ytop", vp->vars.spc_ytop, c.ytop);
        expectField("latr", vp->vars.latr, c.latr);
        expectField("lonr", vp->vars.lonr, c.lonr);
    }
}

TEST(ProjectionSwitch, UnknownWordFailsAndChangesNothing)
{
    auto vp = vptest::makeViewport(400, 300, {"map", "geog", "range", "40"});
    takeErrors();
    const double xleft = vp->vars.spc_xleft;
    const char* words[] = {"mercator", "none", "", "EDP", "globe "};
    for (const char* w : words) {
        SCOPED_TRACE(w);
        EXPECT_EQ(map_parse_projection(vp.get(), w), -1);
        EXPECT_EQ(takeErrors(), std::string("map_parse_projection: projection '") + w + "' not recognized.\n");
        EXPECT_EQ(std::make_pair(vp->vars.map_tran, vp->vars.spc_xleft), std::make_pair(int(VX_MAP_GEOG), xleft));
    }
}

TEST(ProjectionSwitch, CurrentProjectionOrNullChangesNothing)
{
    // a view whose aspect differs from the widget's: any transition would
    // move its y limits
    auto vp = vptest::makeViewport(400, 300, {"xleft", "-20", "xright", "20", "ybottom", "0", "ytop", "10"});
    ASSERT_EQ(vp->configure("map", "geog", nullptr), 0);
    EXPECT_EQ(map_parse_projection(vp.get(), "geog"), 0);
    EXPECT_EQ(map_parse_projection(vp.get(), nullptr), 0);
    EXPECT_EQ(std::make_tuple(vp->vars.map_tran, vp->vars.spc_ybottom, vp->vars.spc_ytop),
              std::make_tuple(int(VX_MAP_GEOG), 0.0, 10.0));
    EXPECT_EQ(takeErrors(), "");
}

TEST(ProjectionSwitch, RoundTripThroughThePlaneKeepsTheCentre)
{
    auto vp = vptest::makeViewport(400, 400, {"map", "geog", "latr", "40", "lonr", "120", "range", "40"});
    ASSERT_EQ(map_parse_projection(vp.get(), "edp"), 0);
    vp->setScales();
    double lon = 0, lat = 0;
    ASSERT_EQ(vp->getWcoords(200.0, 200.0, &lon, &lat, 0, 0, 0), 0);
    EXPECT_NEAR(lon, 120.0, 0.01);
    EXPECT_NEAR(lat, 40.0, 0.01);
    ASSERT_EQ(map_parse_projection(vp.get(), "geog"), 0);
    EXPECT_NEAR(vp->vars.spc_xleft, 100.0, 0.01);
    EXPECT_NEAR(vp->vars.spc_xright, 140.0, 0.01);
    EXPECT_NEAR(vp->vars.spc_ytop, 60.0, 0.01);
}
