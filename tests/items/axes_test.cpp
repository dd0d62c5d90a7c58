// The axes item: its keys, its tic generators, and what it paints.
#include "support/configsupport.h"
#include "support/testsupport.h"

#include "items/axes.h"
#include "support/vptest.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

using vptest::isColor;
using vptest::makeViewport;
using vptest::render;

namespace {

// A 400 by 300 viewport with margins of 60, the plot 280 by 180 pixels.
constexpr int kW = 400, kH = 300, kM = 60;
constexpr int kPlotW = kW - 2 * kM, kPlotH = kH - 2 * kM;

// Pixel column of a fraction of the plot width, row of a fraction of its
// height (from the bottom).
int colOf(double fx)
{
    return kM + int(std::lround(fx * kPlotW));
}
int rowOf(double fy)
{
    return kH - kM - int(std::lround(fy * kPlotH));
}

// Pixels of about colour c inside r.
int inkIn(const QImage& img, QRect r, QColor c)
{
    int n = 0;
    r &= img.rect();
    for (int y = r.top(); y <= r.bottom(); y++)
        for (int x = r.left(); x <= r.right(); x++)
            n += isColor(img.pixel(x, y), c);
    return n;
}

// Pixels of about colour c in columns x-1..x+1 and rows y0..y1.
int inkNear(const QImage& img, int x, int y0, int y1, QColor c)
{
    return inkIn(img, QRect(QPoint(x - 1, std::min(y0, y1)), QPoint(x + 1, std::max(y0, y1))), c);
}

// Pixels of about colour c in rows y-1..y+1 and columns x0..x1.
int inkAcross(const QImage& img, int y, int x0, int x1, QColor c)
{
    return inkIn(img, QRect(QPoint(x0, y - 1), QPoint(x1, y + 1)), c);
}

// Bounding box of pixels of about colour c inside r.
QRect boxOf(const QImage& img, QColor c, QRect r)
{
    QRect box;
    r &= img.rect();
    for (int y = r.top(); y <= r.bottom(); y++)
        for (int x = r.left(); x <= r.right(); x++)
            if (isColor(img.pixel(x, y), c))
                box |= QRect(x, y, 1, 1);
    return box;
}

// The big (or with small the small) tics of x 0 to 10 across the plot.
std::vector<VX_AxisTic> xTics(bool small = false, double start = 0, double end = 10)
{
    std::vector<VX_AxisTic> tics;
    VX_axes_linear_tics(start, end, kPlotW, 200, 0, 0, small ? nullptr : &tics, small ? &tics : nullptr);
    EXPECT_GE(tics.size(), 2u);
    return tics;
}

const QColor kRed(255, 0, 0), kGreen(0, 255, 0), kBlue(0, 0, 255), kBlack(0, 0, 0);

struct Scene { std::unique_ptr<VXViewport> vp; std::unique_ptr<VXAxes> axes; QImage image; };

// Axes in their own colours (box and tics red, numbers blue, labels black,
// grids off) over the view (by default 0 to 10 by 0 to 5), rendered; extra
// key pairs last; kept as name.
Scene draw(std::vector<const char*> keys = {}, const char* name = nullptr,
           std::initializer_list<const char*> view = {"xleft", "0", "xright", "10", "ybottom", "0", "ytop", "5"})
{
    Scene s;
    s.vp = makeViewport(kW, kH, {"margin", "60 60 60 60"}, view);
    s.axes = std::make_unique<VXAxes>(s.vp.get());
    s.axes->setAntialias(false);
    keys.insert(keys.begin(), {"color_axes", "red", "color_numbers", "blue", "linewidth_grids", "-1"});
    vptest::configureAll(s.axes.get(), keys);
    s.image = render(s.vp.get());
    if (name)
        vptest::keep(s.image, name);
    return s;
}

} // namespace

// --- keys ---

TEST(AxesKeys, DefaultsAfterConstruction)
{
    // the other widths, lengths and grid colours are read by CustomFamilies
    VXAxes axes(nullptr);
    const VxAxes& v = axes.vars;
    EXPECT_EQ(std::tie(v.ywidth_sml, v.ywidth_sml_grids, v.style, v.mindx, v.mindy), std::make_tuple(0, -1, int(Qt::SolidLine), 200, 100));
    EXPECT_EQ(v.yticlength_sml, 5.0);
    EXPECT_STREQ(v.x_format, "auto");
    EXPECT_STREQ(v.axis_style, "nsew");
    EXPECT_STREQ(v.tic_style, "nisieiwi");
    EXPECT_STREQ(v.x_time_format, "%T");
    EXPECT_STREQ(v.x_date_format, "%G");
    EXPECT_EQ(v.color_grids_y_small.color, QColor("lightgray"));
    EXPECT_EQ(std::make_pair(v.font_numbers.font.pixelSize(), v.font_supers.font.pixelSize()), std::make_pair(12, 8));
}

TEST(AxesKeys, CustomFamilies)
{
    // ret: 0 or negative; error: expected in the register; holds: after the call
    struct Case { const char *name, *key, *value; int ret; const char* error; std::function<bool(const VxAxes&)> holds; };
    using V = const VxAxes&;
    const Case cases[] = {
        {"width both", "linewidth_tics", "3", 0, "", [](V v) { return v.xwidth_big == 3 && v.ywidth_big == 3; }},
        {"width hex", "linewidth_tics", "0x10", 0, "", [](V v) { return v.xwidth_big == 16; }},
        {"width empty is off", "linewidth_tics_small", "", 0, "", [](V v) { return v.xwidth_sml == -1 && v.ywidth_sml == -1; }},
        {"width bad", "linewidth_tics", "abc", -1, "axes_parse_linewidth: Illegal linewidth value abc", [](V v) { return v.xwidth_big == 1; }},
        {"width trailing", "linewidth_grids", "2x", -1, "axes_parse_linewidth: Illegal linewidth value 2x", [](V v) { return v.xwidth_big_grids == 1; }},
        {"width too big", "linewidth_grids", "99999999999", -1, "Illegal linewidth value", [](V v) { return v.xwidth_big_grids == 1; }},
        {"width x only", "linewidth_tics_x", "2", 0, "", [](V v) { return v.xwidth_big == 2 && v.ywidth_big == 1; }},
        {"width y small", "linewidth_tics_y_small", "4", 0, "", [](V v) { return v.ywidth_sml == 4 && v.xwidth_sml == 0; }},
        {"grid small both", "linewidth_grids_small", "2", 0, "", [](V v) { return v.xwidth_sml_grids == 2 && v.ywidth_sml_grids == 2; }},
        {"grid y", "linewidth_grids_y", "-1", 0, "", [](V v) { return v.ywidth_big_grids == -1 && v.xwidth_big_grids == 1; }},
        {"length both", "length_tics", "7.5", 0, "", [](V v) { return v.xticlength_big == 7.5 && v.yticlength_big == 7.5; }},
        {"length bad", "length_tics", "x", -1, "Illegal ticlength value x", [](V v) { return v.xticlength_big == 10.0; }},
        {"length small bad", "length_tics_small", "x", -1, "Illegal ticlengthidth value x", [](V v) { return v.xticlength_sml == 5.0; }},
        {"length not finite", "length_tics_x", "inf", -1, "Illegal ticlength value inf", [](V v) { return v.xticlength_big == 10.0; }},
        {"length y small", "length_tics_y_small", "8", 0, "", [](V v) { return v.yticlength_sml == 8.0 && v.xticlength_sml == 5.0; }},
        {"grid colour both", "color_grids", "red", 0, "", [](V v) { return v.color_grids_x.color == Qt::red && v.color_grids_y.color == Qt::red; }},
        {"grid colour small", "color_grids_small", "#0000ff", 0, "", [](V v) { return v.color_grids_x_small.color == Qt::blue && v.color_grids_y_small.color == Qt::blue; }},
        {"grid colour bad keeps", "color_grids_x", "nosuchcolour", -1, "axes_parse_colorgrids: VX_ParseColor() error.", [](V v) { return v.color_grids_x.color == QColor("gray"); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        VXAxes axes(nullptr);
        takeErrors();
        const int ret = axes.configure(c.key, c.value, nullptr);
        const std::string errors = takeErrors();
        EXPECT_EQ(ret < 0 ? -1 : ret, c.ret) << errors;
        EXPECT_NE(errors.find(c.error), std::string::npos) << errors;
        EXPECT_TRUE(c.holds(axes.vars));
    }
}

TEST(AxesKeys, PrintedValues)
{
    VXAxes axes(nullptr);
    ASSERT_EQ(
        axes.configure("linewidth_tics_y", "6", "length_tics_x_small", "2.5", "color_grids_y", "red", nullptr), 0);
    const struct { const char *key, *text; } rows[] = {
        {"linewidth_tics_y", "6"},      {"length_tics_x_small", "2.5"}, {"color_grids_y", "red"},
        {"linewidth_grids_small", "-1"}};
    for (const auto& r : rows)
        EXPECT_EQ(configText(axes, r.key), r.text) << r.key;
}

// --- generators ---

TEST(AxesTics, LinearAtTheirValues)
{
    struct Case { const char* name; double start, end; double first_big, last_big; };
    const Case cases[] = {
        {"0 to 10", 0, 10, 0, 10},                  {"reversed", 10, 0, 10, 0},
        {"negative", -7, -3, -7, -3},               {"offset", 1000.5, 1003.7, 1000.5, 1003.5},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<VX_AxisTic> big, small;
        ASSERT_EQ(VX_axes_linear_tics(c.start, c.end, 300, 50, 0, 0, &big, &small), 1);
        ASSERT_GE(big.size(), 2u);
        EXPECT_NEAR(big.front().value, c.first_big, 1e-9);
        EXPECT_NEAR(big.back().value, c.last_big, 1e-9);
        EXPECT_GT(small.size(), big.size());
        for (const auto* list : {&big, &small})
            for (const VX_AxisTic& t : *list) {
                EXPECT_NEAR(t.fx, (t.value - c.start) / (c.end - c.start), 1e-9);
                EXPECT_TRUE(t.fx >= -1e-5 && t.fx <= 1.00001) << t.fx;
            }
    }
}

TEST(AxesTics, ZeroIsWrittenAsZero)
{
    std::vector<VX_AxisTic> big;
    ASSERT_EQ(VX_axes_linear_tics(-0.3, 0.7, 500, 50, 0, 0, &big, nullptr), 1);
    EXPECT_TRUE(std::any_of(big.begin(), big.end(), [](const VX_AxisTic& t) { return t.value == 0.0; }));
}

TEST(AxesTics, LinearBadRangesGiveNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const struct { const char* name; double start, end; } cases[] = {
        {"empty", 3, 3}, {"nan", nan, 1}, {"inf", 0, inf}, {"overflowing", -1.7e308, 1.7e308}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<VX_AxisTic> big = {{1, 1}}, small = {{1, 1}};
        EXPECT_EQ(VX_axes_linear_tics(c.start, c.end, 300, 50, 0, 0, &big, &small), 0);
        EXPECT_TRUE(big.empty() && small.empty());
    }
}

TEST(AxesTics, LinearExtremeRangesStayBounded)
{
    const struct { const char* name; double start, end; double incr; } cases[] = {
        {"huge", -1e300, 1e300, 0}, {"tiny", 1.0, 1.0 + 1e-13, 0}, {"tiny far", 1e15, 1e15 + 1, 0},
        {"fixed tiny increment", 0, 1e6, 1e-9}, {"denormal", 0, 1e-310, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<VX_AxisTic> big, small;
        VX_axes_linear_tics(c.start, c.end, 1000, 10, c.incr, c.incr, &big, &small);
        EXPECT_LE(big.size(), size_t(VX_AXES_MAX_TICS));
        EXPECT_LE(small.size(), size_t(VX_AXES_MAX_TICS));
    }
}

TEST(AxesTics, LogDecades)
{
    // end: log10 limits
    struct Case { const char* name; double start, end; std::vector<double> big; size_t n_small; };
    const Case cases[] = {
        {"1 to 1000", 0, 3, {0, 1, 2, 3}, 28},
        {"1000 to 1", 3, 0, {3, 2, 1, 0}, 28},
        {"inside one decade", 0.2, 0.8, {}, 5},  // 2, 3, 4, 5, 6 at 0.30 ... 0.78
        {"below one", -2.5, -0.5, {-2, -1}, 18},
        {"below one reversed", -0.5, -2.5, {-1, -2}, 18},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<VX_AxisTic> big, small;
        ASSERT_EQ(VX_axes_log_tics(c.start, c.end, &big, &small), 1);
        ASSERT_EQ(big.size(), c.big.size());
        for (size_t i = 0; i < big.size(); i++) {
            EXPECT_EQ(big[i].value, c.big[i]);
            EXPECT_NEAR(big[i].fx, (c.big[i] - c.start) / (c.end - c.start), 1e-12);
        }
        for (const VX_AxisTic& t : small) {
            EXPECT_TRUE(t.fx >= 0.0 && t.fx <= 1.0) << t.fx;
            // every small tic is a whole multiple of its decade
            const double v = std::pow(10.0, t.value), decade = std::pow(10.0, std::floor(t.value + 1e-9));
            EXPECT_NEAR(v / decade, std::round(v / decade), 1e-6);
        }
        EXPECT_EQ(small.size(), c.n_small);
    }
}

TEST(AxesTics, LogBadRangesGiveNothing)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    std::vector<VX_AxisTic> big, small;
    for (auto [start, end] : {std::pair(nan, 2.0), {2.0, 2.0}, {0.0, 1e300}})
        EXPECT_EQ(VX_axes_log_tics(start, end, &big, &small), 0) << start << " " << end;
    EXPECT_TRUE(big.empty() && small.empty());
    // the widest view of doubles
    ASSERT_EQ(VX_axes_log_tics(-323, 308, &big, &small), 1);
    EXPECT_EQ(big.size(), 632u);
}

// --- painting ---

TEST(AxesPaint, TicsAtTheirValues)
{
    // outward tics on the south side only, no box
    Scene s = draw({"axis_style", "", "tic_style", "so", "linewidth_tics_small", "-1"}, "axes_tics_south");
    const std::vector<VX_AxisTic> big = xTics();
    ASSERT_GE(big.size(), 2u);
    const int bottom = rowOf(0);
    for (const VX_AxisTic& t : big)
        EXPECT_GE(inkNear(s.image, colOf(t.fx), bottom + 2, bottom + 8, kRed), 5) << t.value;
    // between two tics there is no red, and nothing points inward
    EXPECT_EQ(inkNear(s.image, colOf(0.5 * (big[0].fx + big[1].fx)), bottom + 2, bottom + 8, kRed), 0);
    EXPECT_EQ(boxOf(s.image, kRed, QRect(0, 0, kW, bottom - 1)), QRect());
    EXPECT_EQ(s.axes->vars.tic_style_south, 'o');
}

TEST(AxesPaint, NumbersUnderTheirTics)
{
    Scene s = draw({}, "axes_numbers");
    const std::vector<VX_AxisTic> big = xTics();
    const int bottom = rowOf(0);
    for (const VX_AxisTic& t : big) {
        SCOPED_TRACE(t.value);
        const int x = colOf(t.fx);
        const QRect ink = boxOf(s.image, kBlue, QRect(x - 10, bottom + 7, 21, 30));
        EXPECT_NEAR(ink.center().x(), x, 4);
        EXPECT_LE(ink.top(), bottom + 12);  // "bottom-8" below the box
    }
    // the last number, at the very right limit, is there
    EXPECT_FALSE(boxOf(s.image, kBlue, QRect(colOf(1.0) - 3, bottom, 6, 30)).isEmpty());
    // and y numbers end left of the box
    const QRect ynum = boxOf(s.image, kBlue, QRect(0, 0, kM + 10, bottom - 10));
    ASSERT_FALSE(ynum.isEmpty());
    EXPECT_LE(ynum.right(), kM - 6);
}

TEST(AxesPaint, OpenBox)
{
    Scene s = draw({"axis_style", "sw", "tic_style", "", "xformat", "none", "yformat", "none"}, "axes_open_box");
    const int mid_x = colOf(0.5), mid_y = rowOf(0.5);
    EXPECT_GT(inkAcross(s.image, rowOf(0), mid_x - 5, mid_x + 5, kRed), 5);  // south
    EXPECT_GT(inkNear(s.image, colOf(0), mid_y - 5, mid_y + 5, kRed), 5);    // west
    EXPECT_EQ(inkAcross(s.image, rowOf(1), mid_x - 5, mid_x + 5, kRed), 0);  // north
    EXPECT_EQ(inkNear(s.image, colOf(1), mid_y - 5, mid_y + 5, kRed), 0);    // east
}

TEST(AxesPaint, BoxCornersMeet)
{
    Scene s = draw({"tic_style", "", "xformat", "none", "yformat", "none", "linewidth_box", "5"}, "axes_thick_box");
    // the corners are filled: a thick box reaches out half its width
    for (QPoint p : {QPoint(colOf(0) - 2, rowOf(0) + 2), QPoint(colOf(1) + 2, rowOf(1) - 2),
                     QPoint(colOf(0) - 2, rowOf(1) - 2), QPoint(colOf(1) + 2, rowOf(0) + 2)}) {
        SCOPED_TRACE(p.x());
        EXPECT_TRUE(isColor(s.image.pixel(p), kRed));
    }
}

TEST(AxesPaint, NoneFormatKeepsTheLabel)
{
    Scene s = draw({"xformat", "none", "xlabel", "Distance", "color_labels", "#000000"}, "axes_none_format");
    const int bottom = rowOf(0);
    EXPECT_EQ(boxOf(s.image, kBlue, QRect(kM, bottom + 2, kPlotW, kM - 2)), QRect());
    const QRect label = boxOf(s.image, kBlack, QRect(0, bottom + 2, kW, kM - 2));
    EXPECT_NEAR(label.center().x(), kW / 2, 8);
    EXPECT_GE(label.bottom(), kH - 14);  // 10 pixels up from the widget's bottom

    // without visible tics the label goes as well
    s.axes->configure("xvisible_tics", "0", nullptr);
    const QImage again = render(s.vp.get());
    EXPECT_EQ(boxOf(again, kBlack, QRect(0, bottom + 2, kW, kM - 2)), QRect());
}

TEST(AxesPaint, GridsWithoutVisibleGrids)
{
    Scene s = draw({"linewidth_grids", "1", "color_grids", "#00ff00", "tic_style", "", "axis_style", ""}, "axes_grid");
    EXPECT_EQ(s.axes->vars.xvisible_grids, 0);
    const std::vector<VX_AxisTic> big = xTics();
    for (const VX_AxisTic& t : big)
        EXPECT_GT(inkNear(s.image, colOf(t.fx), rowOf(0.9), rowOf(0.1), kGreen), kPlotH / 2) << t.value;
    // small grid lines are off by default ...
    EXPECT_EQ(vptest::countColor(s.image, QColor("lightgray")), 0);
    // ... and on with a width
    s.axes->configure("linewidth_grids_small", "1", "color_grids_small", "#0000ff", nullptr);
    const QImage small = render(s.vp.get());
    vptest::keep(small, "axes_grid_small");
    const std::vector<VX_AxisTic> sml = xTics(true);
    int drawn = 0;
    for (const VX_AxisTic& t : sml)
        drawn += inkNear(small, colOf(t.fx), rowOf(0.9), rowOf(0.1), kBlue) > kPlotH / 2;
    EXPECT_GE(drawn, int(sml.size() - big.size()));
}

TEST(AxesPaint, ReversedAxis)
{
    Scene s = draw({"axis_style", "", "tic_style", "so", "linewidth_tics_small", "-1"}, "axes_reversed",
                   {"xleft", "10", "xright", "0", "ybottom", "0", "ytop", "5"});
    const std::vector<VX_AxisTic> big = xTics(false, 10, 0);
    EXPECT_EQ(big.front().value, 10.0);
    for (const VX_AxisTic& t : big) {
        SCOPED_TRACE(t.value);
        EXPECT_NEAR(t.fx, (10.0 - t.value) / 10.0, 1e-12);
        EXPECT_GE(inkNear(s.image, colOf(t.fx), rowOf(0) + 2, rowOf(0) + 8, kRed), 5);
    }
}

TEST(AxesPaint, LogDecades)
{
    Scene s = draw({"axis_style", "", "tic_style", "so", "linewidth_tics_small", "-1"}, "axes_log",
                   {"xmode", "log", "xleft", "1", "xright", "1000", "ybottom", "0", "ytop", "5"});
    const int bottom = rowOf(0);
    for (int n = 0; n <= 3; n++) {
        SCOPED_TRACE(n);
        const int x = colOf(n / 3.0);
        EXPECT_GE(inkNear(s.image, x, bottom + 2, bottom + 8, kRed), 5);
        // "10" under each decade, its exponent up to its right
        const QRect ten = boxOf(s.image, kBlue, QRect(x - 6, bottom + 1, 13, 30));
        EXPECT_NEAR(ten.center().x(), x, 3);
        const QRect exponent = boxOf(s.image, kBlue, QRect(x + 8, bottom + 1, 20, 30));
        ASSERT_FALSE(exponent.isEmpty());
        EXPECT_LT(exponent.top(), ten.top());
        EXPECT_LT(exponent.bottom(), ten.bottom());
    }
    // no tic at 500 (fx = log10(500) / 3), which is a small tic only
    EXPECT_EQ(inkNear(s.image, colOf(std::log10(500.0) / 3), bottom + 2, bottom + 8, kRed), 0);
}

TEST(AxesPaint, EdpShowsCurvedGridOnly)
{
    Scene s = draw({"linewidth_grids", "1", "color_grids", "#00ff00", "axis_style", "", "mindx", "40", "mindy", "40"},
                   "axes_edp",
                   {"map", "edp", "xleft", "-60", "xright", "60", "ybottom", "-40", "ytop", "40"});
    EXPECT_GT(vptest::countColor(s.image, kGreen), 200);
    // no tics and no numbers
    EXPECT_EQ(boxOf(s.image, kRed, QRect(0, 0, kW, kH)) | boxOf(s.image, kBlue, QRect(0, 0, kW, kH)), QRect());
    // the grid lines are curves: many green pixels lie in neither a mostly
    // green column nor a mostly green row
    std::vector<int> per_col(kW), per_row(kH);
    for (int y = 0; y < kH; y++)
        for (int x = 0; x < kW; x++)
            if (isColor(s.image.pixel(x, y), kGreen)) {
                per_col[x]++;
                per_row[y]++;
            }
    int scattered = 0;
    for (int y = 0; y < kH; y++)
        for (int x = 0; x < kW; x++)
            if (isColor(s.image.pixel(x, y), kGreen) && per_col[x] < kPlotH / 3 && per_row[y] < kPlotW / 3)
                scattered++;
    EXPECT_GT(scattered, 100);
    EXPECT_LT(vptest::inkOutside(s.image, QRect(kM - 1, kM - 1, kPlotW + 2, kPlotH + 2)), 1);
}

TEST(AxesPaint, DrawNeedsAViewAndAPlot)
{
    VXAxes orphan(nullptr);
    QImage img = vptest::blank(50, 50);
    QPainter p(&img);
    EXPECT_EQ(orphan.draw(&p), 0);
    p.end();

    auto tiny = makeViewport(2, 2, {"xleft", "0", "xright", "1", "ybottom", "0", "ytop", "1"});
    VXAxes axes(tiny.get());
    QImage small = vptest::blank(2, 2);
    QPainter p2(&small);
    EXPECT_EQ(axes.draw(&p2), 0);
}

TEST(AxesPaint, ExtremeViewsDrawAndEnd)
{
    const struct { const char* name; std::initializer_list<const char*> view; } cases[] = {
        {"huge", {"xleft", "-1e300", "xright", "1e300", "ybottom", "-1e300", "ytop", "1e300"}},
        {"tiny", {"xleft", "1", "xright", "1.0000000000001", "ybottom", "0", "ytop", "1e-300"}},
        {"reversed", {"xleft", "5", "xright", "-5", "ybottom", "3", "ytop", "-3"}},
        {"log wide", {"xmode", "log", "ymode", "log", "xleft", "1e-300", "xright", "1e300", "ybottom", "1e300", "ytop", "1e-300"}},
        {"log bad", {"xmode", "log", "xleft", "-1", "xright", "10", "ybottom", "0", "ytop", "1"}},
        {"time", {"xleft", "0", "xright", "1e12", "ybottom", "0", "ytop", "1"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scene s = draw({"xincrement", "1e-300", "yincrement_small", "1e-300"}, nullptr, c.view);
        // the box is always there
        EXPECT_GT(inkAcross(s.image, rowOf(1), colOf(0.4), colOf(0.6), kRed), 5);
    }
}
