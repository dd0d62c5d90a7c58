// The clippers alone: outcodes, Cohen-Sutherland lines and the four
// Sutherland-Hodgman polygon passes on the unit square.
#include "viewport/clipping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

TEST(ClipOutcode, Table)
{
    struct Case { const char* name; double x, y; int code; } cases[] = {
        {"inside", 0.5, 0.5, 0},         {"corners are inside", 1, 0, 0}, {"above", 0.5, 1.1, 8},
        {"below", 0.5, -0.1, 4},         {"right", 1.1, 0.5, 2},          {"left", -0.1, 0.5, 1},
        {"above right", 2, 2, 10},       {"above left", -2, 2, 9},        {"below right", 2, -2, 6},
        {"below left", -2, -2, 5},
    };
    for (const auto& c : cases)
        EXPECT_EQ(VX_ClipOutcode(c.x, c.y), c.code) << c.name;
}

TEST(ClipLine, Table)
{
    struct Case { const char* name; double x0, y0, x1, y1; int accepted; double cx0, cy0, cx1, cy1; } cases[] = {
        {"inside", 0.2, 0.2, 0.8, 0.6, 1, 0.2, 0.2, 0.8, 0.6},
        {"out through the left", 0.5, 0.5, -0.5, 0.5, 1, 0.5, 0.5, 0, 0.5},
        {"out through the right", 0.5, 0.5, 1.5, 1.0, 1, 0.5, 0.5, 1, 0.75},
        {"out through the top", 0.5, 0.5, 0.5, 2.5, 1, 0.5, 0.5, 0.5, 1},
        {"out through the bottom", 0.25, 0.5, 0.75, -0.5, 1, 0.25, 0.5, 0.5, 0},
        {"in from the left", -1, 0, 1, 1, 1, 0, 0.5, 1, 1},
        {"across both sides", -1, 0.5, 2, 0.5, 1, 0, 0.5, 1, 0.5},
        {"corner to corner outside", -1, -1, 2, 2, 1, 0, 0, 1, 1},
        {"one side only", -1, 0.2, -0.5, 0.9, 0, 0, 0, 0, 0},
        {"above on both ends", 0.1, 1.5, 0.9, 1.2, 0, 0, 0, 0, 0},
        {"past a corner", -0.5, 0.7, 0.3, 1.5, 0, 0, 0, 0, 0},
        {"far outside on a diagonal", -1e10, 1e10 + 1, 1e10, 1 - 1e10, 1, 0, 1, 1, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        double x0 = c.x0, y0 = c.y0, x1 = c.x1, y1 = c.y1;
        int r = VX_ClipLine(&x0, &y0, VX_ClipOutcode(x0, y0), &x1, &y1, VX_ClipOutcode(x1, y1));
        EXPECT_EQ(r, c.accepted);
        if (!r)
            continue;
        EXPECT_NEAR(x0, c.cx0, 1e-5);
        EXPECT_NEAR(y0, c.cy0, 1e-5);
        EXPECT_NEAR(x1, c.cx1, 1e-5);
        EXPECT_NEAR(y1, c.cy1, 1e-5);
        // whatever is accepted lies in the square
        EXPECT_EQ(VX_ClipOutcode(x0, y0) | VX_ClipOutcode(x1, y1), 0);
    }
}

TEST(ClipPolygon, OnePass)
{
    // a triangle poking out of the left edge
    std::vector<double> x = {-0.5, 0.5, 0.5}, y = {0.5, 0.0, 1.0}, xo, yo;
    ASSERT_EQ(VX_ClipPolygonEdge(VX_CLIP_EDGE_LEFT, x, y, xo, yo), 4);
    EXPECT_EQ(xo, (std::vector<double>{0.0, 0.0, 0.5, 0.5}));
    EXPECT_EQ(yo, (std::vector<double>{0.75, 0.25, 0.0, 1.0}));
    // the same against the right edge is untouched
    ASSERT_EQ(VX_ClipPolygonEdge(VX_CLIP_EDGE_RIGHT, x, y, xo, yo), 3);
    EXPECT_EQ(xo, x);
    // a run along one outside line passes as it is
    x = {-1, -1, 0.5};
    y = {0.2, 0.8, 0.5};
    ASSERT_EQ(VX_ClipPolygonEdge(VX_CLIP_EDGE_LEFT, x, y, xo, yo), 4);
    EXPECT_EQ(std::make_pair(xo[1], yo[1]), std::make_pair(-1.0, 0.8));
    // everything outside: nothing
    x = {-1, -2, -1.5};
    y = {0, 1, 2};
    EXPECT_EQ(VX_ClipPolygonEdge(VX_CLIP_EDGE_LEFT, x, y, xo, yo), 0);
    std::vector<double> none;
    EXPECT_EQ(VX_ClipPolygonEdge(VX_CLIP_EDGE_TOP, none, none, xo, yo), 0);
}

TEST(ClipPolygon, FourPasses)
{
    // count: -1: some
    struct Case { const char* name; std::vector<double> x, y; int count; } cases[] = {
        {"inside", {0.2, 0.8, 0.5}, {0.2, 0.2, 0.8}, 3},
        {"outside", {2, 3, 2.5}, {2, 2, 3}, 0},
        {"outside beside the square", {-2, -1, -1.5}, {0.2, 0.2, 0.8}, 0},
        {"around the square", {-1, 2, 2, -1}, {-1, -1, 2, 2}, -1},
        {"across it", {-1, 2, 2, -1}, {0.25, 0.25, 0.75, 0.75}, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<double> x = c.x, y = c.y;
        int n = VX_ClipPolygon(x, y);
        EXPECT_TRUE(c.count >= 0 ? n == c.count : n > 0) << n;
        EXPECT_EQ(std::make_pair(static_cast<int>(x.size()), static_cast<int>(y.size())), std::make_pair(n, n));
    }
    // across the square: the band's rectangle once clamped; the points
    // left outside by the equal-coordinate rule lie on the band's lines
    std::vector<double> x = {-1, 2, 2, -1}, y = {0.25, 0.25, 0.75, 0.75};
    ASSERT_GT(VX_ClipPolygon(x, y), 0);
    for (size_t i = 0; i < x.size(); i++) {
        const double cx = std::min(1.0, std::max(0.0, x[i]));
        EXPECT_TRUE(cx == 0 || cx == 1) << x[i];
        EXPECT_TRUE(y[i] == 0.25 || y[i] == 0.75) << y[i];
    }
    // a surrounding polygon leaves its outside corners for the caller's clamp
    x = {-1, 2, 2, -1};
    y = {-1, -1, 2, 2};
    ASSERT_GT(VX_ClipPolygon(x, y), 0);
    bool outside = false;
    for (size_t i = 0; i < x.size(); i++)
        outside = outside || x[i] < 0 || x[i] > 1 || y[i] < 0 || y[i] > 1;
    EXPECT_TRUE(outside);
}
