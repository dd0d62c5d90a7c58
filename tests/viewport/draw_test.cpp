// Primitive drawing: polyDraw through clipping and batching, fills and
// their complement, map curves, text placement and point picking.
#include "support/vptest.h"

#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QPainterPath>

#include <cmath>
#include <cstdlib>
#include <tuple>
#include <utility>
#include <vector>

using vptest::countColor;
using vptest::inkBox;
using vptest::inkOutside;
using vptest::makeViewport;
using vptest::RecordingDevice;

namespace {

VX_Font font(const char* description)
{
    VX_Font f;
    EXPECT_EQ(VX_ParseFont(description, f), 1);
    return f;
}

VX_Color color(const char* name)
{
    VX_Color c;
    VX_ParseColor(name, c);
    return c;
}

// 120 by 100 pixels, margins of 10: the plot area spans x 10 to 110 and
// y 10 to 90; the view 0 to 10 by 0 to 8, so one unit is 10 pixels.
std::unique_ptr<VXViewport> plotViewport(std::initializer_list<const char*> extra = {})
{
    return makeViewport(120, 100, {"margin", "10 10 10 10", "xleft", "0", "xright", "10", "ybottom", "0", "ytop", "8"},
                        extra);
}

// The pixels a line may touch: the plot area and its closing edge.
const QRect plot_pixels(10, 10, 101, 81);

// polyDraw onto a white image with a red brush and the pen given.
QImage drawLine(VXViewport* vp, std::vector<double> x, std::vector<double> y, int fill = 0, int complete = 0,
                const QPen& pen = QPen(Qt::black, 1))
{
    QImage image = vptest::blank(120, 100);
    QPainter painter(&image);
    painter.setPen(pen);
    painter.setBrush(Qt::red);
    EXPECT_EQ(vp->polyDraw(&painter, static_cast<int>(x.size()), x.data(), y.data(), fill, complete, 0), 0);
    return image;
}

RecordingDevice* record(VXViewport* vp, std::vector<double> x, std::vector<double> y, int fill = 0, int complete = 0,
                        int ignoretran = 0)
{
    static RecordingDevice* device = nullptr;
    delete device;
    device = new RecordingDevice(120, 100);
    QPainter painter(device);
    EXPECT_EQ(vp->polyDraw(&painter, static_cast<int>(x.size()), x.data(), y.data(), fill, complete, ignoretran), 0);
    return device;
}

const double G = VX_NULL_VALUE;

} // namespace

TEST(PolyDraw, LinesAreClippedAtEveryEdge)
{
    struct Case { const char* name; std::vector<double> x, y; bool ink; } cases[] = {
        {"through the left edge", {5, -5}, {4, 2}, true},
        {"through the right edge", {5, 15}, {4, 6}, true},
        {"through the top edge", {5, 7}, {4, 20}, true},
        {"through the bottom edge", {5, 3}, {4, -6}, true},
        {"through a corner", {-5, 15}, {-4, 12}, true},
        {"across the whole view", {-100, 100}, {-50, 60}, true},
        {"both ends outside on one side", {-5, -1}, {1, 7}, false},
        {"outside, crossing no edge of the view", {-5, 2}, {6, 12}, false},
        {"far away", {1e12, -1e12}, {1e12, 1e12}, false},
        {"a zigzag in and out", {-1, 5, 11, 5, -1}, {4, 9, 4, -1, 4}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plotViewport();
        QImage image = drawLine(vp.get(), c.x, c.y);
        EXPECT_EQ(inkOutside(image, plot_pixels), 0);
        EXPECT_EQ(!inkBox(image).isEmpty(), c.ink);
    }
}

TEST(PolyDraw, ClippedLineEndsOnTheEdge)
{
    auto vp = plotViewport();
    QImage image = drawLine(vp.get(), {5, -5}, {4, 4});
    vptest::keep(image, "vp_clip_left");
    // from the left edge to x = 5 units, on row 50
    EXPECT_EQ(inkBox(image), QRect(QPoint(10, 50), QPoint(60, 50)));
    // the same line through the recorder: one segment, ends in pixels
    RecordingDevice* d = record(vp.get(), {5, -5}, {4, 4});
    ASSERT_EQ(d->engine.lines, 1);
}

TEST(PolyDraw, GapBreaksTheLine)
{
    auto vp = plotViewport();
    QImage image = drawLine(vp.get(), {1, 4, G, 6, 9}, {4, 4, 4, 4, 4});
    EXPECT_EQ(std::make_tuple(image.pixelColor(30, 50), image.pixelColor(55, 50), image.pixelColor(80, 50)),
              std::make_tuple(QColor(Qt::black), QColor(Qt::white), QColor(Qt::black)));
    RecordingDevice* d = record(vp.get(), {1, 2, 4, G, 6, NAN, 7, 9}, {4, 5, 4, 0, 4, 1, 5, 4});
    EXPECT_EQ(d->engine.lines, 1);            // the part of 2 points
    ASSERT_EQ(d->engine.polylines.size(), 1u);  // the part of 3
    EXPECT_EQ(d->engine.polylines[0].size(), 3u);
}

TEST(PolyDraw, ClosingALine)
{
    // points: in the one polyline drawn
    struct Case { const char* name; std::vector<double> x, y; int complete; size_t points; } cases[] = {
        {"last repeats the first: one more", {1, 5, 3, 1}, {1, 1, 5, 1}, 1, 5},
        {"open triangle: two more", {1, 5, 3}, {1, 1, 5}, 1, 5},
        {"last but one repeats the first: none", {1, 5, 1, 3}, {1, 1, 1, 5}, 1, 4},
        {"without complete a triangle stays open", {1, 5, 3}, {1, 1, 5}, 0, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plotViewport();
        RecordingDevice* d = record(vp.get(), c.x, c.y, 0, c.complete);
        ASSERT_EQ(d->engine.polylines.size(), 1u);
        EXPECT_EQ(d->engine.polylines[0].size(), c.points);
    }
}

TEST(PolyDraw, BatchesOfAThousandPoints)
{
    auto vp = plotViewport();
    // 1001 connected segments, all in view
    std::vector<double> x, y;
    for (int i = 0; i <= 1001; i++) {
        x.push_back(1 + 8.0 * i / 1001);
        y.push_back(i % 2 ? 3 : 5);
    }
    RecordingDevice* d = record(vp.get(), x, y);
    ASSERT_EQ(d->engine.polylines.size(), 2u);
    EXPECT_EQ(std::make_pair(d->engine.polylines[0].size(), d->engine.polylines[1].size()), std::make_pair(1000ul, 3ul));
    EXPECT_EQ(d->engine.polylines[1].front(), d->engine.polylines[0].back());
    EXPECT_EQ(d->engine.lines, 0);
    // identical successive points are dropped before Qt sees them
    std::vector<double> dx(500, 2.0), dy(501, 3.0);
    dx.push_back(4);
    d = record(vp.get(), dx, dy);
    EXPECT_EQ(d->engine.lines, 1);
    EXPECT_TRUE(d->engine.polylines.empty());
}

TEST(PolyDraw, LogarithmicAxisWithNonPositiveValues)
{
    auto vp = plotViewport({"xmode", "log", "xleft", "1", "xright", "100"});
    // from x = -1 (far left) to x = 10 (the middle)
    QImage image = drawLine(vp.get(), {-1, 10}, {4, 4});
    EXPECT_EQ(inkBox(image), QRect(QPoint(10, 50), QPoint(60, 50)));
}

TEST(PolyDraw, MapLinesFollowTheirCurve)
{
    // a parallel on an equidistant map bends; on a plate carree it is straight
    auto edp = makeViewport(120, 100, {"margin", "10 10 10 10", "map", "edp", "range", "120", "latr", "30"});
    RecordingDevice* d = record(edp.get(), {-40, 40}, {40, 40});
    ASSERT_EQ(d->engine.polylines.size(), 1u);
    const auto& line = d->engine.polylines[0];
    EXPECT_GT(line.size(), 20u);
    // a parallel north of the centre bends round the pole: its middle lies
    // below its ends (y grows downwards)
    EXPECT_GT(line[line.size() / 2].y(), line.front().y() + 1);
    EXPECT_NEAR(line.front().y(), line.back().y(), 1e-3);
    auto geog = makeViewport(120, 100, {"margin", "10 10 10 10", "map", "geog", "range", "120"});
    d = record(geog.get(), {-40, 40}, {40, 40});
    EXPECT_EQ(d->engine.lines, 1);
    // ignoretran takes the points as viewport coordinates
    d = record(edp.get(), {-40, 40}, {10, 10}, 0, 0, 1);
    EXPECT_EQ(d->engine.lines, 1);
}

TEST(PolyDraw, Fills)
{
    const QRect plot(10, 10, 100, 80);
    const QColor red(Qt::red);
    // red_in_plot -1: some but not all; hole: left white inside the plot
    struct Case { const char* name; std::vector<double> x, y; int fill, red_in_plot; QRect hole; } cases[] = {
        {"square inside", {2, 6, 6, 2}, {2, 2, 6, 6}, 1, -1, QRect()},
        {"entirely outside", {-20, -12, -12, -20}, {2, 2, 6, 6}, 1, 0, QRect()},
        {"surrounding the plot area", {-50, 50, 50, -50}, {-50, -50, 50, 50}, 1, 100 * 80, QRect()},
        {"half outside", {-5, 5, 5, -5}, {2, 2, 6, 6}, 1, -1, QRect()},
        {"a gap is skipped", {2, 6, G, 6, 2}, {2, 2, 4, 6, 6}, 1, -1, QRect()},
        {"complement of nothing", {G}, {G}, 2, 100 * 80, QRect()},
        // the square spans pixels 30 to 70 both ways
        {"complement of a square", {2, 6, 6, 2, 2}, {2, 2, 6, 6, 2}, 2, 100 * 80 - 40 * 40, QRect(30, 30, 40, 40)},
        {"complement of a surrounding polygon", {-50, 50, 50, -50, -50}, {-50, -50, 50, 50, -50}, 2, 0, QRect()},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        const QImage image = drawLine(plotViewport().get(), c.x, c.y, c.fill, 0, Qt::NoPen);
        vptest::keep(image, "vp_fill");
        const int n = countColor(image, red, plot);
        if (c.red_in_plot >= 0)
            EXPECT_EQ(n, c.red_in_plot);
        else
            EXPECT_TRUE(n > 0 && n < 100 * 80) << n;
        EXPECT_EQ(countColor(image, red) - n, 0) << "paint outside the plot area";
        if (!c.hole.isEmpty()) {
            EXPECT_EQ(countColor(image, Qt::white, c.hole), c.hole.width() * c.hole.height());
        }
    }
}

TEST(PolyDraw, FillFrameWalk)
{
    // segments that leave the frame and come back are joined along it,
    // clockwise on the screen
    // two segments, normalised: the first from the centre out, the second back in to the centre
    struct Case { const char* name; double x2, y2, x3, y3; std::vector<QPointF> expected; } cases[] = {
        {"left to right", 0, 0.5, 1, 0.25, {{60, 50}, {10, 50}, {10, 10}, {110, 10}, {110, 70}, {60, 50}}},
        {"right to bottom", 1, 0.5, 0.5, 0, {{60, 50}, {110, 50}, {110, 90}, {60, 90}, {60, 50}}},
        {"top to left", 0.5, 1, 0, 0.5, {{60, 50}, {60, 10}, {110, 10}, {110, 90}, {10, 90}, {10, 50}, {60, 50}}},
        {"bottom to top", 0.25, 0, 0.75, 1, {{60, 50}, {35, 90}, {10, 90}, {10, 10}, {85, 10}, {60, 50}}},
        {"start on no edge adds nothing", 0, 0.5, 0.25, 0.25, {{60, 50}, {10, 50}, {60, 50}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = plotViewport();
        RecordingDevice device(120, 100);
        QPainter painter(&device);
        vp->bufferDraws(&painter, 1, 0, 100, 80, 0.5, 0.5, c.x2, c.y2);
        vp->bufferDraws(&painter, 1, 0, 100, 80, c.x3, c.y3, 0.5, 0.5);
        vp->bufferDraws(&painter, 1, 1, 100, 80, 0, 0, 0, 0);
        painter.end();
        ASSERT_EQ(device.engine.polygons.size(), 1u);
        EXPECT_EQ(device.engine.polygons[0], c.expected);
    }
}

TEST(PolyDraw, PainterStateIsKept)
{
    auto vp = plotViewport();
    QImage image = vptest::blank(120, 100);
    QPainter painter(&image);
    painter.setPen(QPen(Qt::black, 3));
    std::vector<double> x = {-5, 15}, y = {4, 4};
    ASSERT_EQ(vp->polyDraw(&painter, 2, x.data(), y.data(), 0, 0, 0), 0);
    EXPECT_FALSE(painter.hasClipping());
    EXPECT_EQ(painter.pen().width(), 3);
    // a wide pen on the plot area's edge is not cut by the drawing's own clip
    std::vector<double> ex = {10, 10}, ey = {1, 7};
    ASSERT_EQ(vp->polyDraw(&painter, 2, ex.data(), ey.data(), 0, 0, 0), 0);
    painter.end();
    EXPECT_EQ(std::make_pair(image.pixelColor(111, 50), image.pixelColor(109, 50)),
              std::make_pair(QColor(Qt::black), QColor(Qt::black)));
    // a clip of the caller's stays in force
    image.fill(Qt::white);
    painter.begin(&image);
    painter.setPen(QPen(Qt::black, 1));
    painter.setClipRect(0, 0, 60, 100);
    ASSERT_EQ(vp->polyDraw(&painter, 2, x.data(), y.data(), 0, 0, 0), 0);
    EXPECT_TRUE(painter.hasClipping());
    painter.end();
    EXPECT_EQ(inkBox(image).right(), 59);
}

TEST(PolyDraw, Refusals)
{
    auto tiny = makeViewport(12, 12, {"margin", "5 5 5 5"});
    QImage image = vptest::blank(12, 12);
    QPainter painter(&image);
    double x[] = {0, 1}, y[] = {0, 1};
    EXPECT_EQ(tiny->polyDraw(&painter, 2, x, y, 0, 0, 0), -1);
    auto vp = plotViewport();
    EXPECT_EQ(vp->polyDraw(&painter, 0, x, y, 0, 0, 0), 0);
    EXPECT_EQ(vp->polyDraw(&painter, -5, x, y, 1, 0, 0), 0);
}

TEST(PolyDraw, FillPointsGrow)
{
    QPointF* points = nullptr;
    int size = 0;
    // (points asked for, room after): a thousand at least, doubling
    const std::pair<int, int> steps[] = {{0, 1000}, {999, 1000}, {1000, 2000}, {5000, 8000}};
    for (auto [asked, room] : steps) {
        ASSERT_EQ(VXViewport::setFpoints(asked, &size, &points), 0);
        EXPECT_EQ(size, room) << asked;
    }
    points[5000] = QPointF(1, 2);
    free(points);
}

TEST(DrawText, Anchors)
{
    VX_Font font = ::font("DejaVu Sans,24");
    VX_Color black = color("black"), yellow = color("yellow");
    auto vp = makeViewport(300, 200);
    const QFontMetrics metrics(font.font);
    const int wt = metrics.boundingRect("HIH").width(), wb = 10 + wt, hb = 10 + metrics.ascent();
    // fx, fy: the fraction of the ink or box at the anchor, (100, 100) in the widget
    struct Case { const char* name; const char* just; bool box; double fx, fy; } cases[] = {
        {"centre on the tight text height", "c", false, 0.5, 0.5}, {"south west of the text", "sw", false, 0.0, 1.0},
        {"north east of the text", "ne", false, 1.0, 0.0},         {"centre of the box", "cb", true, 0.5, 0.5},
        {"north east of the box", "neb", true, 1.0, 0.0},          {"south of the box", "sb", true, 0.5, 1.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QImage image = vptest::blank(300, 200);
        QPainter painter(&image);
        double xbb = 0, ybb = 0;
        int w = 0, h = 0;
        // (100, 100) from the bottom left is (100, 100) in a 200 high widget
        vp->drawText(&painter, &font, 100, 100, c.just, 0, "HIH", 0, 0, 0, &black, c.box ? &yellow : nullptr, nullptr,
                     nullptr, &xbb, &ybb, &w, &h, 0);
        painter.end();
        vptest::keep(image, "vp_text");
        QRect r = inkBox(image, Qt::white);
        if (c.box) {
            EXPECT_EQ(r.size(), QSize(wb, hb));
        }
        // a box is placed to the pixel; text ink carries the glyphs' side
        // bearings
        const double slack = c.box ? 1.0 : 3.0;
        EXPECT_NEAR(r.left() + c.fx * r.width(), 100, slack);
        EXPECT_NEAR(r.top() + c.fy * r.height(), 100, slack);
        EXPECT_EQ(QPointF(xbb, ybb), QPointF(100, 100));
        EXPECT_EQ(QSize(w, h), QSize(wb, hb));
    }
}

TEST(DrawText, BoxOutlineAndNotSymbol)
{
    VX_Font font = ::font("DejaVu Sans,20");
    VX_Color blue = color("blue"), outline = color("#00ff00");
    auto vp = makeViewport(300, 200);
    QImage image = vptest::blank(300, 200);
    QPainter painter(&image);
    QPainterPath* path = nullptr;
    int w = 0, h = 0;
    vp->drawText(&painter, &font, 150, 100, "cb", 0, "not", 1, 80, 40, &blue, nullptr, &outline, &path, nullptr,
                 nullptr, &w, &h, 1);
    painter.end();
    vptest::keep(image, "vp_text_box");
    // the given box size replaces the measured one
    EXPECT_EQ(QSize(w, h), QSize(80, 40));
    ASSERT_TRUE(path);
    EXPECT_EQ(path->boundingRect(), QRectF(110, 80, 80, 40));
    delete path;
    EXPECT_GT(countColor(image, QColor(0, 255, 0)), 200);  // the outline
    EXPECT_GT(countColor(image, Qt::blue), 10);           // the text
    // the stroke crosses the box: reddish pixels near its centre
    int reddish = 0;
    for (int x = 140; x < 160; x++)
        for (int y = 90; y < 110; y++) {
            QColor p = image.pixelColor(x, y);
            if (p.red() > 200 && p.green() < 150 && p.blue() < 150)
                reddish++;
        }
    EXPECT_GT(reddish, 5);
}

TEST(DrawText, RotatedAndRefused)
{
    VX_Font font = ::font("DejaVu Sans,20");
    VX_Color black = color("black");
    auto vp = makeViewport(300, 200);
    QImage image = vptest::blank(300, 200);
    QPainter painter(&image);
    vp->drawText(&painter, &font, 150, 100, "c", 90, "rotated", 0, 0, 0, &black, nullptr, nullptr, nullptr, nullptr,
                 nullptr, nullptr, nullptr, 0);
    QRect r = inkBox(image);
    EXPECT_GT(r.height(), 2 * r.width());
    EXPECT_NEAR(r.center().x(), 150, 3);
    EXPECT_NEAR(r.center().y(), 100, 3);
    // nothing for an empty text, a missing or unset font
    image.fill(Qt::white);
    VX_Font unset;
    const std::pair<VX_Font*, const char*> refused[] = {{&font, ""}, {nullptr, "x"}, {&unset, "x"}};
    for (auto [f, text] : refused)
        vp->drawText(&painter, f, 150, 100, "c", 0, text, 0, 0, 0, &black, nullptr, nullptr, nullptr, nullptr, nullptr,
                     nullptr, nullptr, 0);
    painter.end();
    EXPECT_TRUE(inkBox(image).isEmpty());
}

TEST(FindClosest, Picks)
{
    auto vp = plotViewport();
    struct Case { const char* name; std::vector<double> x, y; double px, py; int index; double distance; } cases[] = {
        {"nearest", {1, 5, 9}, {4, 4, 4}, 62, 50, 1, 2},
        {"a tie keeps the first", {3, 7}, {4, 4}, 60, 50, 0, 20},
        {"gaps are passed over", {G, 5, 9}, {4, G, 4}, 60, 50, 2, 40},
        {"out of view cannot be picked", {-1, 9}, {4, 4}, 10, 50, 1, 90},
        {"all gaps", {G, G}, {G, 1}, 60, 50, -1, -7},
        {"nothing", {}, {}, 60, 50, -1, -7},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<double> x = c.x, y = c.y;
        int imin = 99;
        double dmin = -7;
        EXPECT_EQ(vp->findClosest(static_cast<int>(x.size()), x.data(), y.data(), c.px, c.py, &imin, &dmin), 0);
        EXPECT_EQ(imin, c.index);
        EXPECT_DOUBLE_EQ(dmin, c.distance);
    }
    // a log axis passes over values not above 0
    auto logvp = plotViewport({"xmode", "log", "xleft", "1", "xright", "100"});
    double x[] = {0, 10}, y[] = {4, 4};
    int imin = 99;
    double dmin = 0;
    ASSERT_EQ(logvp->findClosest(2, x, y, 10, 50, &imin, &dmin), 0);
    EXPECT_EQ(imin, 1);
    // a point behind the globe ends the search
    auto globe = makeViewport(120, 100, {"map", "globe", "range", "200"});
    double gx[] = {0, 170}, gy[] = {0, 0};
    EXPECT_EQ(globe->findClosest(2, gx, gy, 50, 50, &imin, &dmin), -1);
    auto tiny = makeViewport(2, 2);
    EXPECT_EQ(tiny->findClosest(2, x, y, 1, 1, &imin, &dmin), -1);
}
