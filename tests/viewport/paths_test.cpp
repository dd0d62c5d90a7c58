// Path building: the nine-zone rule, continuation, gaps, subtraction, and
// the subdivision of map lines to about a pixel.
#include "support/testsupport.h"

#include "viewport/polydraw.h"
#include "viewport/scaledata.h"
#include "support/vptest.h"

#include <gtest/gtest.h>

#include <QPainterPath>

#include <cmath>
#include <limits>
#include <vector>

namespace {

// type: QPainterPath::ElementType: 0 move, 1 line
struct El { int type; double x, y; };

std::vector<El> elementsOf(const QPainterPath& p)
{
    std::vector<El> out;
    for (int i = 0; i < p.elementCount(); i++) {
        const QPainterPath::Element e = p.elementAt(i);
        out.push_back({static_cast<int>(e.type), e.x, e.y});
    }
    return out;
}

void expectElements(const QPainterPath& p, const std::vector<El>& expected)
{
    const std::vector<El> got = elementsOf(p);
    ASSERT_EQ(got.size(), expected.size());
    for (size_t i = 0; i < got.size(); i++) {
        EXPECT_EQ(got[i].type, expected[i].type) << "element " << i;
        EXPECT_NEAR(got[i].x, expected[i].x, 1e-9) << "element " << i;
        EXPECT_NEAR(got[i].y, expected[i].y, 1e-9) << "element " << i;
    }
}

// 100 x 100 pixels, world 0 to 100 both ways: pixel x = world x, pixel
// y = 100 - world y.
std::unique_ptr<VXViewport> linearView()
{
    return vptest::makeViewport(100, 100, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
}

// One drawing pass into path; add() returns what addPoints returned.
struct Pass
{
    VXPolyDraw pd;
    QPainterPath path;
    explicit Pass(VXViewport* vp, double xgain = 1.0, double ygain = 1.0, int xmode = 0, int ymode = 0)
        : pd(&vp->vars, 0, xgain, ygain, xmode, ymode) {}
    QPainterPath* add(std::vector<double> x, std::vector<double> y, int start = 0, int subtract = 0)
    {
        return pd.addPoints(&path, static_cast<int>(x.size()), x.data(), y.data(), start, subtract);
    }
};

// The path of the points through a fresh pass with no gains; with
// null_value, through the form that takes that value as a gap.
QPainterPath pathOf(VXViewport* vp, std::vector<double> x, std::vector<double> y, const double* null_value = nullptr)
{
    Pass p(vp);
    const int n = static_cast<int>(x.size());
    if (null_value)
        EXPECT_EQ(p.pd.addPoints(&p.path, n, x.data(), y.data(), *null_value, 0), &p.path);
    else
        EXPECT_EQ(p.add(x, y), &p.path);
    return p.path;
}

constexpr int M = 0, L = 1;

} // namespace

TEST(PathZones, ZoneRuleAndGapsTable)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case { const char* name; std::vector<double> x, y; std::vector<El> expected; };
    const Case cases[] = {
        {"a run in one outer zone keeps only its first point", {-10, -20, -30, -40}, {50, 60, 70, 80}, {{M, -10, 50}}},
        {"zone 0 to zone 8 keeps both ends", {-10, 110}, {110, -10}, {{M, -10, -10}, {L, 110, 110}}},
        {"entering the view restores the last skipped point", {-10, -20, -30, 50}, {50, 50, 50, 50},
         {{M, -10, 50}, {L, -30, 50}, {L, 50, 50}}},
        {"a run along the top is skipped", {10, 20, 30, 40}, {110, 120, 110, 130}, {{M, 10, -10}}},
        {"moving along one side emits without the previous point", {-10, 50, 110}, {110, 110, 110},
         {{M, -10, -10}, {L, 50, -10}, {L, 110, -10}}},
        {"inside points are all kept", {10, 20, 30, 40, 50}, {10, 20, 30, 40, 50},
         {{M, 10, 90}, {L, 20, 80}, {L, 30, 70}, {L, 40, 60}, {L, 50, 50}}},
        {"leaving the view keeps the first point outside", {50, 150, 160, 170}, {50, 50, 50, 50}, {{M, 50, 50}, {L, 150, 50}}},
        {"returning into the view restores the exit run's end", {50, 150, 160, 50}, {50, 50, 50, 50},
         {{M, 50, 50}, {L, 150, 50}, {L, 160, 50}, {L, 50, 50}}},
        {"a corner-cutting step restores its start", {-10, -20, 50}, {50, 60, 150},
         {{M, -10, 50}, {L, -20, 40}, {L, 50, -50}}},
        {"sentinel splits the line", {10, 20, VX_NULL_VALUE, 30, 40}, {10, 20, 30, 30, 40},
         {{M, 10, 90}, {L, 20, 80}, {M, 30, 70}, {L, 40, 60}}},
        {"NaN and infinity split the line", {10, 20, nan, 30, 40, INFINITY, 50, 60}, {10, 20, 25, 30, 40, 0, 50, 60},
         {{M, 10, 90}, {L, 20, 80}, {M, 30, 70}, {L, 40, 60}, {M, 50, 50}, {L, 60, 40}}},
        // after the gap the line begins with a skipped point outside the
        // view; the first point emitted takes over its move, so that no line
        // bridges the gap (Qt merges the two moves)
        {"a gap before an outer run", {-5, VX_NULL_VALUE, -10, -20, 50}, {50, 0, 50, 50, 50}, {{M, -20, 50}, {L, 50, 50}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectElements(pathOf(linearView().get(), c.x, c.y), c.expected);
    }
}

TEST(PathZones, GainsAndInputModes)
{
    auto vp = linearView();
    Pass gains(vp.get(), 2.0, 0.5), modes(vp.get(), 1.0, 1.0, 1, 2);  // modes: pixels in x, normalised in y
    gains.add({10, 20}, {40, 80});
    expectElements(gains.path, {{M, 20, 80}, {L, 40, 60}});
    modes.add({10, 20}, {0.25, 0.5});
    expectElements(modes.path, {{M, 10, 25}, {L, 20, 50}});
}

TEST(PathContinuation, CallsContinueUnlessStartIsSet)
{
    auto vp = linearView();
    Pass p(vp.get());
    p.add({10, 20}, {10, 20});
    p.add({30, 40}, {30, 40});
    p.add({50, 60}, {50, 60}, 1);
    expectElements(p.path, {{M, 10, 90}, {L, 20, 80}, {L, 30, 70}, {L, 40, 60}, {M, 50, 50}, {L, 60, 40}});
    // a skipped predecessor carries over to the next call
    Pass q(vp.get());
    q.add({50, 150, 160}, {50, 50, 50});
    q.add({50}, {60});
    expectElements(q.path, {{M, 50, 50}, {L, 150, 50}, {L, 160, 50}, {L, 50, 40}});
}

// Points in viewport units on linear scales take a short way past the
// point pump; pixel input goes through the pump.  Both must make the same
// path, gaps, outer runs and continuation across calls included.
TEST(PathContinuation, ViewportUnitsAndPixelsMakeTheSamePath)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto vp = linearView();
    // world x, y; in pixels x stays and y is 100 - y
    const std::vector<std::vector<double>> xs = {{-10, -20, -30, 50, 150, 160}, {nan, 40, 50}, {-10, 110, 50}};
    const std::vector<std::vector<double>> ys = {{50, 60, 70, 50, 50, 40}, {10, 20, 30}, {110, -10, 50}};
    Pass world(vp.get()), pixels(vp.get(), 1.0, 1.0, 1, 1);
    for (size_t k = 0; k < xs.size(); k++) {
        std::vector<double> py;
        for (double v : ys[k])
            py.push_back(100.0 - v);
        world.add(xs[k], ys[k], k == 2 ? 1 : 0);
        pixels.add(xs[k], py, k == 2 ? 1 : 0);
    }
    ASSERT_GT(world.path.elementCount(), 5);
    expectElements(world.path, elementsOf(pixels.path));
}

// addRuns() places a line that lies inside the view in one pass; the runs,
// and the state a continuing call starts from, are those of the point-by-
// point pump (which world units take and pixel units never do).
TEST(PathContinuation, RunsInsideTheViewMatchThePointPump)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto vp = linearView();
    struct Call { std::vector<double> x, y; int start; };
    const std::vector<Call> calls = {
        {{10, 20, 30}, {10, 20, 30}, 1},            // inside
        {{40, 150, 160, 50}, {40, 50, 60, 50}, 0},  // continues, leaves and comes back
        {{20, nan, 30, 40}, {20, 30, 40, 50}, 1},   // a gap
        {{60}, {60}, 1},                            // one point
        {{70, 80}, {70, 80}, 0},                    // continues from it
        {{-5, 50, 60}, {50, 50, 60}, 1},            // starts outside
    };
    VXPolyDraw world(&vp->vars, 0, 1.0, 1.0, 0, 0), pixels(&vp->vars, 0, 1.0, 1.0, 1, 1);
    std::vector<QPointF> wpoints, ppoints;
    std::vector<VXPolyDrawRun> wruns, pruns;
    for (Call c : calls) {
        const int n = static_cast<int>(c.x.size());
        world.addRuns(&wpoints, &wruns, n, c.x.data(), c.y.data(), c.start, 0.0, 0.0);
        for (double& v : c.y)
            v = 100.0 - v;
        pixels.addRuns(&ppoints, &pruns, n, c.x.data(), c.y.data(), c.start, 0.0, 0.0);
    }
    ASSERT_EQ(wruns.size(), pruns.size());
    ASSERT_GT(wpoints.size(), 10u);
    for (size_t r = 0; r < wruns.size(); r++) {
        ASSERT_EQ(wruns[r].count, pruns[r].count) << "run " << r;
        for (uint32_t i = 0; i < wruns[r].count; i++) {
            EXPECT_NEAR(wpoints[wruns[r].first + i].x(), ppoints[pruns[r].first + i].x(), 1e-9) << "run " << r;
            EXPECT_NEAR(wpoints[wruns[r].first + i].y(), ppoints[pruns[r].first + i].y(), 1e-9) << "run " << r;
        }
    }
}

TEST(PathGaps, LogAxisBreaksAtNonPositiveValues)
{
    auto vp = vptest::makeViewport(100, 100, {"xleft", "0", "xright", "100", "ymode", "log", "ybottom", "1", "ytop", "100"});
    expectElements(pathOf(vp.get(), {10, 20, 30, 40, 50}, {10, 100, -5, 0, 10}), {{M, 10, 50}, {L, 20, 0}, {M, 50, 50}});
}

TEST(PathGaps, NullValueForm)
{
    auto vp = linearView();
    Pass p(vp.get());
    p.path.moveTo(1, 2);
    double x[] = {-1, -1, 5}, y[] = {3, 4, -1};
    EXPECT_EQ(p.pd.addPoints(&p.path, 3, x, y, -1.0, 0), &p.path);
    expectElements(p.path, {{M, 1, 2}});
    const double minus_one = -1.0;
    expectElements(pathOf(vp.get(), {10, 15, -1, 20, 30, 40, 50, 55}, {10, 15, 0, 20, 30, -1, 50, 55}, &minus_one),
                   {{M, 10, 90}, {L, 15, 85}, {M, 20, 80}, {L, 30, 70}, {M, 50, 50}, {L, 55, 45}});
}

TEST(PathForms, PathInputAndSubtraction)
{
    auto vp = linearView();
    Pass p(vp.get()), none(vp.get()), half(vp.get());
    QPainterPath from;
    EXPECT_EQ(p.pd.addPoints(&p.path, &from, 0, 0), nullptr);
    from.moveTo(10, 10);
    from.lineTo(20, 30);
    EXPECT_EQ(p.pd.addPoints(&p.path, &from, 0, 0), &p.path);
    expectElements(p.path, {{M, 10, 90}, {L, 20, 70}});
    // nothing to subtract: the path is left as it was
    none.path.addRect(0, 0, 100, 100);
    const QPainterPath before = none.path;
    none.add({VX_NULL_VALUE, NAN}, {1, 2}, 0, 1);
    EXPECT_EQ(none.path, before);
    // the left half removed
    half.path.addRect(0, 0, 100, 100);
    half.add({-10, 50, 50, -10, -10}, {-10, -10, 110, 110, -10}, 1, 1);
    EXPECT_FALSE(half.path.contains(QPointF(25, 50)));
    EXPECT_TRUE(half.path.contains(QPointF(75, 50)));
}

TEST(PathScaledata, DispositionsAndNoInput)
{
    auto vp = linearView();
    VXScaledata s(&vp->vars, 0, 0, 0);
    double x = -1, y = -1;
    EXPECT_EQ(s.popPoint(&x, &y), VXScaledata::disposition_noInput);
    s.pushPoint(25, 75);
    EXPECT_EQ(s.popPoint(&x, &y), VXScaledata::disposition_moveTo);
    EXPECT_DOUBLE_EQ(x, 0.25);
    EXPECT_DOUBLE_EQ(y, 0.25);
    EXPECT_EQ(s.popPoint(&x, &y), VXScaledata::disposition_noInput);
    s.pushPoint(50, 50);
    EXPECT_EQ(s.popPoint(&x, &y), VXScaledata::disposition_lineTo);
    s.pushPoint(VX_NULL_VALUE, 50);
    EXPECT_EQ(s.popPoint(&x, &y), VXScaledata::disposition_notUsed);
    s.pushPoint(50, 50);
    EXPECT_EQ(s.popPoint(&x, &y), VXScaledata::disposition_moveTo);
}

TEST(PathScaledata, ViewWithoutScalesDropsEverything)
{
    auto vp = vptest::makeViewport(2, 2, {"xleft", "0", "xright", "100", "ybottom", "0", "ytop", "100"});
    EXPECT_TRUE(pathOf(vp.get(), {10, 20}, {10, 20}).isEmpty());
}

namespace {

// Segment lengths, in pixels, of every line element of path.
std::vector<double> segmentLengths(const QPainterPath& p)
{
    std::vector<double> out;
    for (int i = 1; i < p.elementCount(); i++) {
        const QPainterPath::Element a = p.elementAt(i - 1), b = p.elementAt(i);
        if (b.type == QPainterPath::LineToElement)
            out.push_back(std::hypot(b.x - a.x, b.y - a.y));
    }
    return out;
}

} // namespace

TEST(PathSubdivision, MapLinesAreCutToAboutAPixel)
{
    struct Case { const char *name, *map, *lonr; double lat0, lon0, lat1, lon1; int min_elements, max_elements; };
    // 200 pixels over 40 degrees: 0.2 degrees a pixel
    const Case cases[] = {
        {"edp along the equator", "edp", "0", 0.0, -10.0, 0.0, 10.0, 95, 106},
        {"edp along a meridian", "edp", "0", -15.0, 0.0, 15.0, 0.0, 145, 156},
        {"globe along the equator", "globe", "0", 0.0, -10.0, 0.0, 10.0, 95, 106},
        {"a short step is not cut", "edp", "0", 0.0, 0.0, 0.0, 0.1, 2, 2},
        {"the short way across the date line", "edp", "180", 0.0, 170.0, 0.0, -170.0, 95, 106},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = vptest::makeViewport(200, 200, {"map", c.map, "latr", "0", "lonr", c.lonr, "range", "40"});
        Pass p(vp.get());
        p.add({c.lon0, c.lon1}, {c.lat0, c.lat1});
        const QPainterPath& path = p.path;
        EXPECT_TRUE(path.elementCount() >= c.min_elements && path.elementCount() <= c.max_elements) << path.elementCount();
        for (double len : segmentLengths(path))
            ASSERT_LT(len, 1.6);
        // the last element is the end point itself
        double px = 0, py = 0;
        ASSERT_EQ(VXViewport::getPcoords(&vp->vars, c.lon1, c.lat1, &px, &py, 0, 0), 0);
        const QPainterPath::Element last = path.elementAt(path.elementCount() - 1);
        EXPECT_NEAR(last.x, px - vp->vars.mleft, 1e-6);
        EXPECT_NEAR(last.y, py - vp->vars.mtop, 1e-6);
    }
}

TEST(PathSubdivision, HardPointsStayBoundedAndFinite)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case { const char* name; const char* map; const char* range; std::vector<double> lon, lat; };
    const Case cases[] = {
        {"poles", "edp", "40", {0, 0, 90, 0}, {90, -90, 90, -90}},
        {"date line back and forth", "edp", "40", {179.9, -179.9, 179.9, -179.9}, {0, 0, 10, -10}},
        {"antipode", "edp", "40", {0.0001, 180.0001, 0.0001}, {0.0001, -0.0001, 0.0001}},
        {"antipode on the globe", "globe", "40", {0.0001, 180.0001, 0.0001}, {0.0001, -0.0001, 0.0001}},
        {"the globe's reference point itself", "globe", "40", {10, 0.0001, -10}, {0, 0.0001, 0}},
        {"NaN, infinity, sentinel", "edp", "40", {nan, 10, INFINITY, VX_NULL_VALUE, 20, 1e300},
         {0, nan, 0, 0, VX_NULL_VALUE, 0}},
        {"huge longitudes", "edp", "40", {1e30, -1e30, 1e15}, {0, 10, 20}},
        {"zoomed far in", "edp", "1e-9", {-180, 180, 0}, {-80, 80, 0}},
        {"zoomed far in on the globe", "globe", "1e-9", {-170, 170, 0.0002}, {-80, 80, 0.0002}},
        {"mercator poles", "merc", "40", {0, 10, 20}, {90, -90, 95}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = vptest::makeViewport(200, 200, {"map", c.map, "latr", "0", "lonr", "0", "range", c.range});
        Pass p(vp.get());
        p.add(c.lon, c.lat);
        const QPainterPath& path = p.path;
        // at most a few pieces per plot pixel per step
        EXPECT_LE(path.elementCount(), static_cast<int>(c.lon.size()) * (4 * 400 + 16 + 2));
        for (int i = 0; i < path.elementCount(); i++)
            ASSERT_TRUE(std::isfinite(path.elementAt(i).x) && std::isfinite(path.elementAt(i).y)) << i;
    }
}
