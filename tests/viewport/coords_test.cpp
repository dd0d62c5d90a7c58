// World, viewport and pixel coordinates: the transforms both ways in every
// scale and map mode, the effective view, resizing, zoom and centre, the
// map boxes, and the configuration keys of the view.
#include "support/configsupport.h"
#include "support/vptest.h"

#include "map/projection/projections.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QPainterPath>

#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <utility>

using vptest::makeViewport;

namespace {

// A state of w by h pixels with margins of 5 and the view given.
VxViewport record(int w, int h, double xl, double xr, double yb, double yt, int xmode = 0, int ymode = 0,
                  int map_tran = 0)
{
    VxViewport vp;
    std::tie(vp.w, vp.h, vp.xmode, vp.ymode, vp.map_tran) = std::make_tuple(w, h, xmode, ymode, map_tran);
    vp.mleft = vp.mright = vp.mbottom = vp.mtop = 5;
    std::tie(vp.xleft, vp.xright, vp.ybottom, vp.ytop) = std::tie(xl, xr, yb, yt);
    std::tie(vp.spc_xleft, vp.spc_xright, vp.spc_ybottom, vp.spc_ytop) = std::tie(xl, xr, yb, yt);
    vp.xgain = vp.ygain = 1.0;
    vp.xmin = vp.xmax = vp.ymin = vp.ymax = VX_NULL_VALUE;
    return vp;
}

// Each (got, expected) pair within tol; a tolerance of 0 asks for equality
// to 4 ulps.
void expectAll(std::initializer_list<std::pair<double, double>> pairs, double tol = 0)
{
    for (size_t i = 0; i < pairs.size(); i++) {
        const auto [got, want] = pairs.begin()[i];
        if (tol == 0)
            EXPECT_DOUBLE_EQ(got, want) << "value " << i;
        else
            EXPECT_NEAR(got, want, tol) << "value " << i;
    }
}

// The effective view (or with spc the specified one) is xl..xr by yb..yt.
void expectView(const VxViewport& v, double xl, double xr, double yb, double yt, double tol = 0, bool spc = false)
{
    if (spc)
        expectAll({{v.spc_xleft, xl}, {v.spc_xright, xr}, {v.spc_ybottom, yb}, {v.spc_ytop, yt}}, tol);
    else
        expectAll({{v.xleft, xl}, {v.xright, xr}, {v.ybottom, yb}, {v.ytop, yt}}, tol);
}

} // namespace

TEST(ViewportCoordinates, WorldToPixelAndBack)
{
    // plot area 100 by 50 pixels from (5, 5)
    const VxViewport lin = record(110, 60, 0, 10, 0, 5);
    struct Case { const char* name; VxViewport vp; double wx, wy, px, py; } cases[] = {
        {"lin lower left", lin, 0, 0, 5, 55},         {"lin upper right", lin, 10, 5, 105, 5},
        {"lin inside", lin, 2.5, 1, 30, 45},          {"lin outside", lin, -10, 10, -95, -45},
        {"lin reversed x", record(110, 60, 10, 0, 0, 5), 10, 0, 5, 55},
        {"log x", record(110, 60, 1, 1000, 0, 5, 1), 10, 2.5, 5 + 100.0 / 3, 30},
        {"log y", record(110, 60, 0, 10, 1, 100, 0, 1), 5, 10, 55, 30},
        {"time x", record(110, 60, 946684800, 946684900, 0, 5, 2), 946684850, 0, 55, 55},
        {"edp on the equator", record(110, 60, -20, 20, -10, 10, 0, 0, 1), 10, 0, 80, 30},
        {"edp on the meridian", record(110, 60, -20, 20, -10, 10, 0, 0, 1), 0, 5, 55, 17.5},
        {"globe on the equator", record(110, 60, -20, 20, -10, 10, 0, 0, 2), 10, 0, 5 + (9.949307700452986 + 20) * 2.5, 30},
        {"merc at 45", record(110, 60, -180, 180, -90, 90, 0, 0, 3), 0, 45, 55, 55 - (50.49898671052621 + 90) / 180 * 50},
        {"geog", record(110, 60, -180, 180, -90, 90, 0, 0, 4), 90, 45, 80, 17.5},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        double x = 0, y = 0, wx = 0, wy = 0;
        ASSERT_EQ(VXViewport::getPcoords(&c.vp, c.wx, c.wy, &x, &y, 0, 0), 0);
        expectAll({{x, c.px}, {y, c.py}}, 1e-9);
        ASSERT_EQ(VXViewport::getWcoords(&c.vp, x, y, &wx, &wy, 0, 0, 0), 0);
        expectAll({{wx, c.wx}, {wy, c.wy}}, 1e-6);
    }
}

TEST(ViewportCoordinates, SpecialForms)
{
    VxViewport lin = record(110, 60, 0, 10, 0, 5);
    double x = 0, y = 0;
    // no_pscale stops at viewport coordinates; no_map_tran skips the map
    VxViewport merc = record(110, 60, -180, 180, -90, 90, 0, 0, 3);
    ASSERT_EQ(VXViewport::getPcoords(&merc, 10, 45, &x, &y, 0, 1), 0);
    EXPECT_DOUBLE_EQ(x, 10);
    EXPECT_NEAR(y, 50.49898671052621, 1e-9);
    ASSERT_EQ(VXViewport::getPcoords(&merc, 10, 45, &x, &y, 1, 1), 0);
    EXPECT_DOUBLE_EQ(y, 45);
    // a non-positive value on a log axis stays as it is
    VxViewport logx = record(110, 60, 1, 1000, 0, 5, 1);
    ASSERT_EQ(VXViewport::getPcoords(&logx, -1, 0, &x, &y, 0, 0), 0);
    EXPECT_NEAR(x, 5 - 100.0 / 3, 1e-9);
    // one axis at a time, from viewport coordinates
    ASSERT_EQ(VXViewport::getPcoordX(&lin, 5, &x), 0);
    EXPECT_DOUBLE_EQ(x, 55);
    ASSERT_EQ(VXViewport::getPcoordY(&lin, 5, &y), 0);
    EXPECT_DOUBLE_EQ(y, 5);
    ASSERT_EQ(VXViewport::getPcoordX(&logx, 100, &x), 0);
    EXPECT_NEAR(x, 5 + 200.0 / 3, 1e-9);
    // fractions of the plot area, y upwards
    ASSERT_EQ(VXViewport::getWcoords(&lin, 0.25, 0.8, &x, &y, 0, 0, 1), 0);
    expectAll({{x, 2.5}, {y, 4}});
    // a point behind the globe fails
    VxViewport globe = record(110, 60, -20, 20, -10, 10, 0, 0, 2);
    EXPECT_EQ(VXViewport::getPcoords(&globe, 170, 0, &x, &y, 0, 0), -1);
}

TEST(ViewportCoordinates, PlotAreaOfThreePixelsIsTheSmallest)
{
    struct Case { const char* name; int w, h, result; } cases[] = {
        {"2 wide", 12, 60, -1}, {"2 high", 60, 12, -1}, {"3 by 3", 13, 13, 0}, {"nothing", 0, 0, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VxViewport vp = record(c.w, c.h, 0, 10, 0, 5);
        double x = 0, y = 0;
        EXPECT_EQ(VXViewport::getPcoords(&vp, 1, 1, &x, &y, 0, 0), c.result);
        EXPECT_EQ(VXViewport::getWcoords(&vp, 1, 1, &x, &y, 0, 0, 0), c.result);
        EXPECT_EQ(VXViewport::translateAndGain(&vp), c.result);
    }
}

TEST(ViewportCoordinates, LogAxisWithNonPositiveLimitKeepsOldScales)
{
    VxViewport vp = record(110, 60, -1, 100, 0, 5, 1);
    int w = 0, h = 0;
    double xs = 7, xe = 8, xsc = 9, ys = 7, ye = 8, ysc = 9;
    EXPECT_EQ(VXViewport::getScales(&vp, &w, &h, &xs, &xe, &xsc, &ys, &ye, &ysc), 0);
    EXPECT_EQ(std::make_tuple(xs, xsc, ys), std::make_tuple(7.0, 9.0, 7.0));  // y is not reached either
    // a non-positive y limit leaves only the y outputs
    vp = record(110, 60, 1, 100, 0, 5, 0, 1);
    EXPECT_EQ(VXViewport::getScales(&vp, &w, &h, &xs, &xe, &xsc, &ys, &ye, &ysc), 0);
    EXPECT_EQ(std::make_tuple(xs, ys, w, h), std::make_tuple(1.0, 7.0, 100, 50));
}

TEST(ViewportView, TranslateAndGain)
{
    const double N = VX_NULL_VALUE;
    struct Case { const char* name; VxViewport vp; double xmin, xmax, xoffset, yoffset, xgain, xl, xr, yb, yt; } cases[] = {
        {"nothing specified", record(110, 60, N, N, N, N), N, N, 0, 0, 1, -10, 10, -10, 10},
        {"nothing specified, log", record(110, 60, N, N, N, N, 1, 1), N, N, 0, 0, 1, 0.1, 10, 0.1, 10},
        {"plain", record(110, 60, 0, 10, 0, 5), N, N, 0, 0, 1, 0, 10, 0, 5},
        // data bounds where nothing is specified; a single value widens
        {"data bounds", record(110, 60, N, N, N, N), 5, 5, 0, 0, 1, -5, 15, 1, 3},
        {"data bounds, log", record(110, 60, N, N, 1, 10, 1, 1), 5, 5, 0, 0, 1, 0.5, 50, 1, 10},
        // offsets: x moves the view right, y moves it down, a pixel's worth each
        {"offsets", record(110, 60, 0, 10, 0, 5), N, N, 10, 5, 1, 1, 11, -0.5, 4.5},
        {"offset on a log axis multiplies", record(110, 60, 1, 100, 0, 5, 1), N, N, 50, 0, 1, 10, 1000, 0, 5},
        // gain about the pixel of the plot's left edge
        {"gain", record(110, 60, 0, 10, 0, 5), N, N, 0, 0, 2, 0, 20, 0, 5},
        {"gain on a log axis", record(110, 60, 1, 100, 0, 5, 1), N, N, 0, 0, 2, 1, 10000, 0, 5},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        c.vp.xmin = c.xmin;
        c.vp.xmax = c.xmax;
        if (c.xmin != N && c.vp.spc_ybottom == N) {
            c.vp.ymin = 1;
            c.vp.ymax = 3;
        }
        c.vp.xoffset = c.xoffset;
        c.vp.yoffset = c.yoffset;
        c.vp.xgain = c.xgain;
        c.vp.xgain_anchor = 5;
        const double spc_xleft = c.vp.spc_xleft;
        ASSERT_EQ(VXViewport::translateAndGain(&c.vp), 0);
        expectView(c.vp, c.xl, c.xr, c.yb, c.yt, c.xoffset || c.xgain != 1 ? (c.vp.xmode ? 1e-9 : 0) : 0);
        EXPECT_EQ(c.vp.spc_xleft, spc_xleft);  // the specified view is not touched
    }
}

TEST(ViewportView, SetScalesWidensSingleValues)
{
    struct Case { const char *name, *value; double low, high; } cases[] = {
        {"negative value reverses", "-5", -4.5, -5.5}, {"positive", "5", 4.5, 5.5},
        {"zero", "0", -10, 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = makeViewport(110, 60, {"xleft", c.value, "xright", c.value, "ybottom", c.value, "ytop", c.value});
        expectView(vp->vars, c.low, c.high, c.low, c.high);
    }
}

TEST(ViewportView, DefaultViewAndSize)
{
    auto vp = makeViewport(110, 60);
    EXPECT_EQ(QSize(vp->vars.w, vp->vars.h), QSize(110, 60));
    expectView(vp->vars, -10, 10, -10, 10);
    EXPECT_EQ(std::make_pair(vp->vars.viewport_name.left(2), vp->vars.viewport_name.size()), std::make_pair(QString("vp"), qsizetype(6)));
    // a configured size replaces the widget's
    ASSERT_EQ(vp->configure("width", "200", "height", "100", nullptr), 0);
    vp->setScales();
    EXPECT_EQ(vp->vars.w, 200);
    EXPECT_EQ(configText(vp, "display_width") + " " + configText(vp, "display_height"), "200 100");
    EXPECT_LT(vp->configure("display_width", "5", nullptr), 0);
    takeErrors();
}

TEST(ViewportView, PreserveScaleAndAspect)
{
    auto vp = makeViewport(110, 60, {"margin", "5 5 5 5", "xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5",
                                     "preserve_xscale", "1", "preserve_yscale", "1", "yscale_anchor", "0"});
    vp->resize(210, 110);
    vp->setScales();
    // 10 units per 100 pixels kept, about the middle in x, the bottom in y
    expectView(vp->vars, -5, 15, 0, 10);

    const auto aspect = {"margin", "5 5 5 5", "xleft", "0", "xright", "10", "ybottom", "0", "ytop", "1",
                         "constant_aspect", "1"};
    vp = makeViewport(110, 60, aspect);
    expectView(vp->vars, 0, 10, 0, 5);
    vp = makeViewport(110, 60, aspect, {"center_yscale", "1"});
    expectView(vp->vars, 0, 10, -2, 3);
}

TEST(ViewportView, MapViewsFromRange)
{
    struct Case { const char *name, *map; double xl, xr, yb, yt; } cases[] = {
        {"edp about the origin", "edp", -20, 20, -10, 10},
        {"globe about the origin", "globe", -20, 20, -10, 10},
        {"geog about the reference", "geog", -10.0 + 0.0001, 30.0 + 0.0001, 20.0001 - 10, 20.0001 + 10},
        {"merc about the ordinate", "merc", -10.0 + 0.0001, 30.0 + 0.0001, VX_mercator_y(20.0001) - 10, VX_mercator_y(20.0001) + 10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = makeViewport(110, 60, {"margin", "5 5 5 5", "map", c.map, "range", "40", "lonr", "10", "latr", "20"});
        expectView(vp->vars, c.xl, c.xr, c.yb, c.yt, 1e-9);
    }
}

TEST(ViewportView, Zoom)
{
    // an absolute extent: -3 gives exactly 3, the point keeps its place
    auto vp = makeViewport(110, 60, {"margin", "5 5 5 5", "xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5"});
    vp->zoom(2.5, 1, -3, -2);
    expectView(vp->vars, 1.75, 4.75, 0.6, 2.6, 1e-12);
    EXPECT_NEAR(vp->vars.xright - vp->vars.xleft, 3.0, 1e-12);
    vp->zoom(3.25, 1.6, 2, 0.5);
    expectView(vp->vars, 0.25, 6.25, 1.1, 2.1, 1e-12);

    auto logvp = makeViewport(110, 60, {"xmode", "log", "xleft", "1", "xright", "100"});
    logvp->zoom(10, 0, 0.5, 1);
    expectAll({{logvp->vars.xleft, std::pow(10.0, 0.5)}, {logvp->vars.xright, std::pow(10.0, 1.5)}}, 1e-9);

    // edp: only the range changes
    auto edp = makeViewport(110, 60, {"map", "edp", "range", "40", "latr", "10", "lonr", "20"});
    edp->zoom(50, 50, 0.5, 0.5);
    expectAll({{edp->vars.range, 20}, {edp->vars.latr, 10.0001}, {edp->vars.lonr, 20.0001}});
    edp->zoom(0, 0, -90, 1);
    EXPECT_DOUBLE_EQ(edp->vars.range, 90);

    // geog: the point under the cursor stays
    auto geog = makeViewport(110, 60, {"map", "geog", "range", "40", "latr", "0", "lonr", "0"});
    geog->zoom(10, 10, 0.5, 0.5);
    EXPECT_DOUBLE_EQ(geog->vars.range, 20);
    expectAll({{geog->vars.lonr, 5.00005}, {geog->vars.latr, 5.00005}}, 1e-12);
}

TEST(ViewportView, Center)
{
    auto vp = makeViewport(110, 60, {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5"});
    vp->center(20, 7);
    expectView(vp->vars, 15, 25, 4.5, 9.5, 0, true);
    EXPECT_DOUBLE_EQ(vp->vars.xleft, 0);  // center neither recomputes nor invalidates

    auto edp = makeViewport(110, 60, {"map", "edp", "range", "40"});
    edp->center(30, 40);
    expectAll({{edp->vars.latr, 40.0001}, {edp->vars.lonr, 30.0001}});
    expectAll({{edp->vars.spc_xleft, -20}, {edp->vars.spc_xright, 20}}, 1e-9);

    auto merc = makeViewport(110, 60, {"map", "merc", "range", "40"});
    const double yextent = merc->vars.ytop - merc->vars.ybottom;
    merc->center(30, 40);
    EXPECT_NEAR(merc->vars.spc_xleft, 10, 1e-9);
    EXPECT_NEAR(0.5 * (merc->vars.spc_ybottom + merc->vars.spc_ytop), VX_mercator_y(40), 1e-9);
    EXPECT_NEAR(merc->vars.spc_ytop - merc->vars.spc_ybottom, yextent, 1e-9);
}

TEST(ViewportMapBox, OutlineOfTheView)
{
    auto vp = makeViewport(110, 60, {"margin", "5 5 5 5", "xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5"});
    int np = -1, sp = -1;
    std::unique_ptr<QPainterPath> path(vp->getWcoordsBB(2, &np, &sp));
    ASSERT_TRUE(path);
    EXPECT_EQ(path->elementCount(), 9);  // 8 points, closed
    // from the origin along the bottom to the right
    EXPECT_EQ(std::make_tuple(path->elementAt(0).x, path->elementAt(0).y, path->elementAt(1).x), std::make_tuple(0.0, 0.0, 5.0));
    EXPECT_EQ(path->boundingRect(), QRectF(0, 0, 10, 5));
    EXPECT_EQ(std::make_pair(np, sp), std::make_pair(0, 0));

    // which poles a map view holds; every outline point of the first is
    // a geographic position near the view
    struct Case { const char *name, *map, *range, *latr; int np, sp; } cases[] = {
        {"edp about a high latitude: the north pole only", "edp", "40", "85", 1, 0},
        {"a wide edp view: both", "edp", "800", "0", 1, 1},
        {"the globe tests the reference's hemisphere only", "globe", "400", "-10", 0, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto map = makeViewport(110, 60, {"margin", "5 5 5 5", "map", c.map, "range", c.range, "latr", c.latr});
        path.reset(map->getWcoordsBB(10, &np, &sp));
        ASSERT_TRUE(path);
        EXPECT_EQ(std::make_pair(np, sp), std::make_pair(c.np, c.sp));
        for (int i = 0; i < path->elementCount() && c.latr[0] == '8'; i++)
            EXPECT_GT(path->elementAt(i).y, 60.0) << i;
    }

    // an empty view has no outline
    VxViewport copy = vp->vars;
    vp->vars.xright = vp->vars.xleft;
    EXPECT_EQ(vp->getWcoordsBB(4, &np, &sp), nullptr);
    vp->vars = copy;
}

TEST(ViewportMapBox, ComputeMapBBOfAPlaneView)
{
    auto edp = makeViewport(110, 60, {"margin", "5 5 5 5", "map", "edp", "range", "40", "lonr", "10", "latr", "0"});
    edp->computeMapBB();
    double latmn, latmx, lonmn, lonmx;
    VX_delbox2llbox(edp->vars.latr, edp->vars.lonr, -20, 20, -10, 10, 0, &latmn, &latmx, &lonmn, &lonmx);
    expectAll({{edp->vars.bblatmin, latmn}, {edp->vars.bblonmax, lonmx}});
    EXPECT_TRUE(edp->vars.bblonmin < 0 && edp->vars.bblonmax > 20);
    // a flat map's box is its limits
    auto geog = makeViewport(110, 60, {"xleft", "-10", "xright", "30", "ybottom", "-5", "ytop", "25", "map", "geog"});
    geog->computeMapBB();
    EXPECT_EQ(QRectF(QPointF(geog->vars.bblonmin, geog->vars.bblatmin), QPointF(geog->vars.bblonmax, geog->vars.bblatmax)),
              QRectF(QPointF(geog->vars.xleft, geog->vars.ybottom), QPointF(geog->vars.xright, geog->vars.ytop)));
}

TEST(ViewportMapBox, WrapLongitudes)
{
    // a world view: plot 100 by 50, x -180 to 180, y -90 to 90
    auto vp = makeViewport(110, 60, {"margin", "5 5 5 5", "map", "geog", "range", "360", "lonr", "0", "latr", "0"});
    // a circle of latitude 70 around the north pole
    std::vector<double> lons, lats;
    for (int lon = -170; lon <= 170; lon += 10) {
        lons.push_back(lon);
        lats.push_back(70);
    }
    auto minY = [](const QPainterPath& p) {
        double m = 1e30;
        for (int i = 0; i < p.elementCount(); i++)
            m = std::min(m, p.elementAt(i).y);
        return m;
    };
    std::vector<double> lo = lons, la = lats;
    std::unique_ptr<QPainterPath> path(vp->wrapLongitudes(static_cast<int>(lo.size()), lo.data(), la.data(), 1, 0));
    ASSERT_TRUE(path);
    // closed over the pole at 89.9999: a pixel row just below the top edge
    EXPECT_TRUE(minY(*path) >= 0.0 && minY(*path) < 0.01) << minY(*path);
    EXPECT_TRUE(path->contains(QPointF(50, 2)));   // near the pole
    EXPECT_FALSE(path->contains(QPointF(50, 25)));  // the equator
    // without the pole in view there is no closing run
    lo = lons;
    la = lats;
    path.reset(vp->wrapLongitudes(static_cast<int>(lo.size()), lo.data(), la.data(), 0, 0));
    ASSERT_TRUE(path);
    EXPECT_NEAR(minY(*path), 50 * (1 - 160.0 / 180.0), 1e-3);

    // a closed outline with both poles in view cuts a hole in the plot area
    std::vector<double> sqlon = {-20, 20, 20, -20, -20}, sqlat = {-20, -20, 20, 20, -20};
    path.reset(vp->wrapLongitudes(5, sqlon.data(), sqlat.data(), 1, 1));
    ASSERT_TRUE(path);
    EXPECT_FALSE(path->contains(QPointF(50, 25)));
    EXPECT_TRUE(path->contains(QPointF(10, 10)));

    // a view of two turns shows two copies
    auto twice = makeViewport(110, 60, {"margin", "5 5 5 5", "map", "geog", "range", "720", "lonr", "180"});
    sqlon = {-20, 20, 20, -20, -20};
    sqlat = {-20, -20, 20, 20, -20};
    path.reset(twice->wrapLongitudes(5, sqlon.data(), sqlat.data(), 0, 0));
    ASSERT_TRUE(path);
    // copies at 0 and 360 degrees: pixels 25 and 75
    EXPECT_TRUE(path->contains(QPointF(25, 25)));
    EXPECT_TRUE(path->contains(QPointF(75, 25)));
    EXPECT_FALSE(path->contains(QPointF(50, 25)));

    // junk is refused, not looped over
    std::vector<double> bad = {0, NAN, 10}, badlat = {0, 0, 0};
    EXPECT_EQ(vp->wrapLongitudes(3, bad.data(), badlat.data(), 0, 0), nullptr);
    std::vector<double> huge = {0, 1e29, 10};
    EXPECT_EQ(vp->wrapLongitudes(3, huge.data(), badlat.data(), 0, 0), nullptr);
    // the path form
    QPainterPath outline;
    outline.moveTo(-20, -20);
    outline.lineTo(20, -20);
    outline.lineTo(20, 20);
    outline.lineTo(-20, -20);
    path.reset(vp->wrapLongitudes(&outline, 0, 0));
    ASSERT_TRUE(path);
    QPainterPath empty;
    EXPECT_EQ(vp->wrapLongitudes(&empty, 0, 0), nullptr);
}

TEST(ViewportConfiguration, KeysAndPrinters)
{
    auto vp = makeViewport(110, 60);
    ASSERT_EQ(vp->configure("margin", "1 2 3 0x10", nullptr), 0);
    EXPECT_EQ(std::tie(vp->vars.mleft, vp->vars.mright, vp->vars.mbottom, vp->vars.mtop), std::make_tuple(1, 2, 3, 16));
    EXPECT_EQ(configText(vp, "margin"), "1 2 3 16");
    ASSERT_EQ(vp->configure("margin", "7", nullptr), 0);
    EXPECT_EQ(configText(vp, "margin"), "7 0 0 0");

    ASSERT_EQ(vp->configure("xleft", "2", "xright", "4.5", nullptr), 0);
    EXPECT_EQ(configText(vp, "xleft"), "2.000000000000000e+00");
    // a limit recomputes the view at once
    EXPECT_EQ(std::make_pair(vp->vars.spc_xright, vp->vars.xright), std::make_pair(4.5, 4.5));
    ASSERT_EQ(vp->configure("xleft", "", nullptr), 0);
    EXPECT_EQ(vp->vars.spc_xleft, VX_NULL_VALUE);

    ASSERT_EQ(vp->configure("latr", "10", "lonr", "-20", "latl", "1", "lonl", "2", "xgain", "2", nullptr), 0);
    EXPECT_DOUBLE_EQ(vp->vars.latr, 10.0001);
    EXPECT_EQ(configText(vp, "latr") + " " + configText(vp, "lonr") + " " + configText(vp, "xgain"), "10.000 -20.000 2.000");
    ASSERT_EQ(vp->configure("xgain", "", nullptr), 0);
    EXPECT_EQ(vp->vars.xgain, 1.0);
    ASSERT_EQ(vp->configure("map", "globe", "xmode", "log", "ymode", "time", nullptr), 0);
    EXPECT_EQ(configText(vp, "map") + " " + configText(vp, "xmode"), "globe log");
    EXPECT_EQ(vp->vars.ymode, 2);
    ASSERT_EQ(vp->configure("default_event_interaction", "nowheel", nullptr), 0);
    EXPECT_EQ(vp->vars.default_event_processing, 2);
    ASSERT_EQ(vp->configure("default_event_interaction", "no", nullptr), 0);
    EXPECT_EQ(vp->vars.default_event_processing, 0);
    ASSERT_EQ(vp->configure("fill", "red", "fill_frame", "#00ff00", "opacity", "0.5", nullptr), 0);
    EXPECT_EQ(std::make_pair(vp->vars.background.color, vp->vars.opacity), std::make_pair(QColor(Qt::red), 0.5));
}

TEST(ViewportConfiguration, Refusals)
{
    struct Case { const char* name; const char* key; const char* value; const char* message; } cases[] = {
        {"mode", "xmode", "bogus", "viewport_parse_mode: illegal value for mode: 'bogus'\n"},
        {"map", "map", "mars", "viewport_parse_tran: illegal value for map: 'mars'\n"},
        {"latr", "latr", "north", "viewport_parse_latr: Unable to parse 'north' for latr.\n"},
        {"lonr", "lonr", "12x", "viewport_parse_lonr: Unable to parse '12x' for lonr.\n"},
        {"latl", "latl", "x", "viewport_parse_latl: Unable to parse 'x' for latl.\n"},
        {"lonl", "lonl", "y", "viewport_parse_lonl: Unable to parse 'y' for lonl.\n"},
        {"margin too many", "margin", "1 2 3 4 5", "viewport_parse_margin: Unable to parse '1 2 3 4 5' - too many arguments.\n"},
        {"margin word", "margin", "1 x", "viewport_parse_margin: Unable to parse 'x' for mright.\n"},
        {"margin top", "margin", "1 2 3 4q", "viewport_parse_margin: Unable to parse '4q' for mtop.\n"},
        {"zoom count", "zoom", "1 2 3", "viewport_parse_zoom: Unable to parse '1 2 3' - Need 4 arguments (xw, yw, xfactor, yfactor).\n"},
        {"zoom xw", "zoom", "a 2 3 4", "viewport_parse_zoom: Unable to parse 'a' for xw.\n"},
        {"zoom yw", "zoom", "1 b 3 4", "viewport_parse_zoom: Unable to parse 'b' for yw.\n"},
        {"zoom factor", "zoom", "1 2 3 d", "viewport_parse_zoom: Unable to parse 'd' for factor.\n"},
        {"center count", "center", "1", "viewport_parse_center: Unable to parse '1' - Need 2 arguments (xwc, ywc).\n"},
        {"center xwc", "center", "x 1", "viewport_parse_center: Unable to parse 'x' for xwc.\n"},
        {"center ywc", "center", "1 y", "viewport_parse_center: Unable to parse 'y' for ywc.\n"},
        {"xrange", "xrange", "wide", "viewport_parse_xrange: Unable to parse 'wide' for xrange.\n"},
        {"event interaction", "default_event_interaction", "maybe", "viewport_parse_eventinteraction: VX_ParseBoolean(maybe) error.\n"},
    };
    auto vp = makeViewport(110, 60, {"margin", "1 2 3 4", "xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5"});
    const VxViewport before = vp->vars;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        takeErrors();
        EXPECT_LT(vp->configure(c.key, c.value, nullptr), 0);
        std::string errors = takeErrors();
        EXPECT_EQ(errors.find(c.message), 0u) << errors;
        // the state is as it was
        auto kept = [](const VxViewport& v) {
            return std::make_tuple(v.mleft, v.mtop, v.spc_xleft, v.spc_xright, v.map_tran, v.xmode, v.latr,
                                   v.default_event_processing);
        };
        EXPECT_EQ(kept(vp->vars), kept(before));
    }
}

TEST(ViewportConfiguration, ViewKeys)
{
    // xrange about the middle of the specified limits
    auto vp = makeViewport(110, 60, {"xleft", "0", "xright", "10"});
    ASSERT_EQ(vp->configure("xrange", "4", nullptr), 0);
    expectAll({{vp->vars.spc_xleft, 3}, {vp->vars.spc_xright, 7}, {vp->vars.xleft, 3}});

    // zoom and center keys run the operations
    ASSERT_EQ(vp->configure("zoom", "5 0 0.5 1", nullptr), 0);
    expectAll({{vp->vars.xleft, 4}, {vp->vars.xright, 6}});
    ASSERT_EQ(vp->configure("center", "100 0", nullptr), 0);
    EXPECT_DOUBLE_EQ(vp->vars.spc_xleft, 99);
    ASSERT_EQ(vp->configure("zoom", "", "center", "", nullptr), 0);

    // apply folds the translation into the specified limits
    auto pan = makeViewport(110, 60, {"margin", "5 5 5 5", "xleft", "0", "xright", "10"});
    ASSERT_EQ(pan->configure("xtranslate", "10", nullptr), 0);
    EXPECT_DOUBLE_EQ(pan->vars.xleft, 1);
    EXPECT_EQ(configText(pan, "xtranslate"), "10");
    ASSERT_EQ(pan->configure("xtranslate", "apply", nullptr), 0);
    EXPECT_EQ(pan->vars.xoffset, 0);
    expectAll({{pan->vars.spc_xleft, 1}, {pan->vars.xleft, 1}});

    // time limits
    auto t = makeViewport(110, 60, {"xmode", "time", "xleft", "2000-01-01T00:00:00", "xright", "2000-01-01 00:01:40"});
    EXPECT_EQ(std::make_pair(t->vars.xleft, t->vars.xright), std::make_pair(946684800.0, 946684900.0));
    EXPECT_LT(t->configure("xleft", "yesterday", nullptr), 0);
    takeErrors();

    // merc limits in y are latitudes outside, Mercator degrees inside
    auto merc = makeViewport(110, 60, {"map", "merc"});
    ASSERT_EQ(merc->configure("ytop", "45", nullptr), 0);
    EXPECT_NEAR(merc->vars.spc_ytop, 50.49898671052621, 1e-9);
    EXPECT_EQ(configText(merc, "ytop").substr(0, 8), "4.500000");

    // latr recentres specified y limits outside edp and globe; the extent is
    // taken as 0, so they collapse to the centre
    auto geog = makeViewport(110, 60, {"ybottom", "-5", "ytop", "5", "map", "geog"});
    ASSERT_EQ(geog->configure("latr", "20", nullptr), 0);
    expectAll({{geog->vars.spc_ybottom, 20.0001}, {geog->vars.spc_ytop, 20.0001}});
    ASSERT_EQ(geog->configure("xleft", "-10", "xright", "10", "lonr", "30", nullptr), 0);
    expectAll({{geog->vars.spc_xleft, 20.0001}, {geog->vars.spc_xright, 40.0001}});
}

TEST(ViewportConfiguration, SetWcoords)
{
    auto vp = makeViewport(110, 60, {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5"});
    vp->setWcoordsX(VX_NULL_VALUE, 20);
    expectAll({{vp->vars.spc_xleft, 0}, {vp->vars.xright, 20}});
    vp->setWcoordsY(-5, VX_NULL_VALUE);
    expectAll({{vp->vars.ybottom, -5}, {vp->vars.ytop, 5}});
}
