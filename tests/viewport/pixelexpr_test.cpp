// Pixel expressions ("1.0v-2", "fleft+10", "0r") and anchors.
#include "support/vptest.h"

#include "viewport/pixelexpr.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>


namespace {

// 120 by 70 pixels, margins left 10, right 10, bottom 5, top 15: a plot
// area of 100 by 50; the view 0 to 10 by 0 to 5.
VxViewport frame(int xmode = 0)
{
    VxViewport vp;
    std::tie(vp.w, vp.h, vp.mleft, vp.mright, vp.mbottom, vp.mtop) = std::make_tuple(120, 70, 10, 10, 5, 15);
    std::tie(vp.xleft, vp.xright, vp.ybottom, vp.ytop) = std::make_tuple(xmode == 1 ? 1 : 0, xmode == 1 ? 100 : 10, 0, 5);
    vp.xmode = xmode;
    return vp;
}

// An item whose box "r" terms refer to.
class BoxItem : public VXViewportItem
{
public:
    BoxItem() : VXViewportItem(nullptr, nullptr, "BoxItem", 0) {}
    int getRelativeBox(double* x, double* y, double* w, double* h) override
    {
        std::tie(*x, *y, *w, *h) = std::make_tuple(20, 7, 30, 9);
        return 0;
    }
};

} // namespace

TEST(PixelExpression, Values)
{
    const VX_PixelBox box{20, 7, 30, 9};
    struct Case { const char* name; int axis; const char* text; bool relative; double expected; } cases[] = {
        {"right edge", 0, "right", false, 100}, {"frame right", 0, "fright", false, 110},
        {"left edge", 0, "left", false, 0}, {"frame left", 0, "fleft", false, -10},
        {"two short of the right", 0, "1.0v-2", false, 98}, {"half width", 0, "0.5v", false, 50},
        {"inside the widget edge", 0, "fleft+10", false, 0}, {"data value", 0, "2.5d", false, 25},
        {"negative data value", 0, "-2.5d", false, -25}, {"left of the relative box", 0, "-1r-1", true, -11},
        {"relative origin", 0, "0r", true, 20}, {"relative far side", 0, "1r+2", true, 52},
        {"relative resets the sum", 0, "40+0r", true, 20}, {"relative missing keeps the sum", 0, "7+5r", false, 7},
        {"blanks are skipped", 0, " 1 2 ", false, 12}, {"leading plus", 0, "+10", false, 10},
        {"leading minus", 0, "-3", false, -3}, {"empty", 0, "", false, 0},
        {"rounded down", 0, "1.4", false, 1}, {"rounded half away from zero", 0, "1.5", false, 2},
        {"negative half away from zero", 0, "-1.5", false, -2}, {"sum of many", 0, "right-10-2+0.1v", false, 98},
        {"top edge", 1, "top", false, 50}, {"frame top", 1, "ftop", false, 65},
        {"bottom edge", 1, "bottom", false, 0}, {"frame bottom", 1, "fbottom", false, -5},
        {"y data value", 1, "2.5d", false, 25}, {"y fraction", 1, "1.0v-2", false, 48},
        {"y relative origin", 1, "0r", true, 7}, {"y relative top", 1, "1r", true, 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VxViewport vp = frame();
        double pixels = -99;
        EXPECT_EQ(VX_PixelExpression(&vp, c.axis, c.text, strlen(c.text), c.relative ? &box : nullptr, &pixels), 0)
            << takeErrors();
        EXPECT_DOUBLE_EQ(pixels, c.expected);
    }
}

TEST(PixelExpression, LogarithmicDataValues)
{
    VxViewport vp = frame(1);
    double pixels = 0;
    ASSERT_EQ(VX_PixelExpression(&vp, 0, "10d", 3, nullptr, &pixels), 0);
    EXPECT_DOUBLE_EQ(pixels, 50);
    takeErrors();
    EXPECT_EQ(VX_PixelExpression(&vp, 0, "0d", 2, nullptr, &pixels), -1);
    EXPECT_EQ(takeErrors(), "VXViewport::getXPixel: Cannot take the logarithm of 0d\n"
                            "VXViewport::getPixels: Unable to evaluate '0d'.\n");
}

TEST(PixelExpression, Refusals)
{
    struct Case { const char* name; int axis; const char* text; const char* first_line; } cases[] = {
        {"centimetres", 0, "12c", "VXViewport::getPixels: 12c not implemented\n"},
        {"inches", 1, "1i", "VXViewport::getPixels: 1i not implemented\n"},
        {"millimetres", 0, "3m", "VXViewport::getPixels: 3m not implemented\n"},
        {"points", 0, "9p", "VXViewport::getPixels: 9p not implemented\n"},
        {"a y word on the x axis", 0, "top", "VXViewport::getPixels: top not implemented\n"},
        {"trailing text", 0, "12q", "VXViewport::getPixels: Cannot recognize 12q\n"},
        {"a word", 1, "abx", "VXViewport::getPixels: Cannot recognize abx\n"},
        {"a bad fraction", 0, "xv", "VXViewport::getXPixel: Cannot recognize xv\n"},
        {"a bare suffix", 1, "d", "VXViewport::getYPixel: Cannot recognize d\n"},
        {"an exponent is split at its sign", 0, "1e-5d", "VXViewport::getPixels: Cannot recognize 1e\n"},
        {"a signed word", 0, "right-fleft", "VXViewport::getPixels: Cannot recognize -fleft\n"},
        {"not a number", 0, "nan", "VXViewport::getPixels: Cannot recognize nan\n"},
        {"two signs", 1, "1--2", "VXViewport::getPixels: Cannot recognize -\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VxViewport vp = frame();
        double pixels = 0;
        takeErrors();
        EXPECT_EQ(VX_PixelExpression(&vp, c.axis, c.text, strlen(c.text), nullptr, &pixels), -1);
        std::string errors = takeErrors();
        EXPECT_EQ(errors.find(c.first_line), 0u) << errors;
        // and the expression's own line closes the trace
        std::string last = std::string("VXViewport::getPixels: Unable to evaluate '") + c.text + "'.\n";
        EXPECT_GE(errors.size(), last.size());
        EXPECT_EQ(errors.substr(errors.size() - std::min(errors.size(), last.size())), last);
    }
}

TEST(PixelExpression, TooSmallPlotFailsQuietly)
{
    VxViewport vp = frame();
    vp.w = 22;  // a plot width of 2
    double pixels = 5;
    takeErrors();
    EXPECT_EQ(VX_PixelExpression(&vp, 0, "10", 2, nullptr, &pixels), -1);
    EXPECT_EQ(hl_error_count(), 0);
    vp.w = 23;
    EXPECT_EQ(VX_PixelExpression(&vp, 0, "right", 5, nullptr, &pixels), 0);
    EXPECT_EQ(pixels, 3);
}

TEST(PixelExpression, ReadsNoFurtherThanItsLength)
{
    VxViewport vp = frame();
    // not terminated: a reader past the end trips the address sanitizer
    std::vector<char> text = {'1', '.', '0', 'v', '-', '2'};
    double pixels = 0;
    ASSERT_EQ(VX_PixelExpression(&vp, 0, text.data(), text.size(), nullptr, &pixels), 0);
    EXPECT_EQ(pixels, 98);
    ASSERT_EQ(VX_PixelExpression(&vp, 0, text.data(), 3, nullptr, &pixels), 0);  // "1.0"
    EXPECT_EQ(pixels, 1);
    std::vector<char> unit = {'1', '2', 'c'};
    int count = 0;
    EXPECT_EQ(VX_PixelCount(unit.data(), unit.size(), &count), -1);
    EXPECT_EQ(VX_PixelCount(unit.data(), 2, &count), 0);
    EXPECT_EQ(count, 12);
    takeErrors();
}

TEST(PixelCount, Table)
{
    struct Case { const char* name; const char* text; int result; int pixels; } cases[] = {
        {"null", nullptr, 0, 0},                 {"empty", "", 0, 0},
        {"integer", "7", 0, 7},                  {"half up", "2.5", 0, 3},
        {"half down", "-2.5", 0, -3},            {"capped", "1e12", 0, 1000000000},
        {"capped low", "-1e12", 0, -1000000000}, {"trailing blank", "12 ", -1, 0},
        {"infinite", "1e99999", -1, 0},          {"unit", "4p", -1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        int pixels = -99;
        EXPECT_EQ(VXViewport::getPixels(c.text, &pixels), c.result);
        EXPECT_EQ(pixels, c.pixels);
        takeErrors();
    }
}

TEST(PixelExpression, ViewportMembers)
{
    auto vp = vptest::makeViewport(120, 70, {"margin", "10 10 5 15", "xleft", "0", "xright", "10"});
    BoxItem box;
    double x = -1, y = -1;
    ASSERT_EQ(vp->getPixels("1.0v-2", "0r", &x, &y, &box), 0);
    EXPECT_EQ(QPointF(x, y), QPointF(98, 7));
    ASSERT_EQ(vp->getPixels("-1r-1", "ftop", &x, &y, nullptr), 0);
    EXPECT_EQ(QPointF(x, y), QPointF(-1, 65));
    // an item without a box leaves "r" terms alone
    VXViewportItem plain(nullptr, nullptr, "Plain", 0);
    ASSERT_EQ(vp->getPixels("3+0r", "0", &x, &y, &plain), 0);
    EXPECT_EQ(x, 3);
    // terms accumulate into what the caller has
    x = 5;
    ASSERT_EQ(vp->getXPixel("right", &x, nullptr), 0);
    EXPECT_EQ(x, 105);
    y = 1;
    ASSERT_EQ(vp->getYPixel("0.5v", &y, nullptr), 0);
    EXPECT_EQ(y, 26);
    // one bad string fails the pair
    EXPECT_EQ(vp->getPixels("1", "2c", &x, &y, nullptr), -1);
    EXPECT_EQ(x, 1);
    takeErrors();
}

TEST(Anchor, Names)
{
    struct Case { const char* name; const char* anchor; double jx, jy; } cases[] = {
        {"centre", "c", 0.5, 0.5},        {"east", "e", 1.0, 0.5},         {"west", "w", 0.0, 0.5},
        {"north", "n", 0.5, 1.0},         {"north east", "ne", 1.0, 1.0},  {"north west", "nw", 0.0, 1.0},
        {"south", "s", 0.5, 0.0},         {"south east", "se", 1.0, 0.0},  {"south west", "sw", 0.0, 0.0},
        {"box suffix", "neb", 1.0, 1.0},  {"centre box", "cb", 0.5, 0.5},  {"only letters count", "east", 1.0, 0.5},
        {"unknown", "x", 0.0, 0.0},       {"empty", "", 0.0, 0.0},         {"null", nullptr, 0.0, 0.0},
        {"upper case", "N", 0.0, 0.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        double jx = -1, jy = -1;
        VXViewport::parseAnchor(c.anchor, &jx, &jy);
        EXPECT_EQ(std::make_pair(jx, jy), std::make_pair(c.jx, c.jy));
    }
}

TEST(Anchor, Numbers)
{
    // 0 to 8 round from the south west; out of range is the centre
    const std::tuple<int, double, double> cases[] = {{0, 0, 0},   {1, 0.5, 0}, {2, 1, 0},     {3, 1, 0.5},
                                                     {4, 0.5, 0.5}, {5, 1, 1}, {6, 0.5, 1},   {7, 0, 1},
                                                     {8, 0, 0.5}, {-1, 0.5, 0.5}, {9, 0.5, 0.5}, {1000, 0.5, 0.5}};
    for (auto [i, ex, ey] : cases) {
        double jx = -1, jy = -1;
        VXViewport::parseAnchor(i, &jx, &jy);
        EXPECT_EQ(std::make_pair(jx, jy), std::make_pair(ex, ey)) << i;
    }
}
