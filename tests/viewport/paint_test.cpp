// The paint cycle: background fills, layer caching, masks and shifts, the
// logo, and the paint and resize callbacks.
#include "support/vptest.h"

#include "viewport/logo.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QResizeEvent>

#include <cmath>
#include <tuple>
#include <vector>

using vptest::countColor;
using vptest::inkBox;
using vptest::makeViewport;
using vptest::render;

namespace {

// An item that fills a rectangle and counts its draws and its turns.
class CountingItem : public VXViewportItem
{
public:
    CountingItem(VXViewport* vp, QRect rect, QColor color) : VXViewportItem(vp, nullptr, "CountingItem", 1), r(rect), c(color)
    {
        antialias = false;
    }
    int drawViewportItem(QPainter* painter) override
    {
        draws++;
        painter->fillRect(r, c);
        return 1;
    }
    void setVisibility() override { turns++; }
    QRect r;
    QColor c;
    int draws = 0;
    int turns = 0;
};

const QColor red(255, 0, 0), blue(0, 0, 255), green(0, 255, 0), black(0, 0, 0), white(255, 255, 255);

} // namespace

TEST(ViewportPaint, BackgroundFillsAndMargins)
{
    // plot area from (10, 15), 70 by 60
    auto vp = makeViewport(100, 80, {"margin", "10 20 5 15", "fill", "red", "fill_frame", "blue"});
    QImage image = render(vp.get());
    vptest::keep(image, "vp_fills");
    const QRect plot(10, 15, 70, 60);
    EXPECT_EQ(countColor(image, red, plot), 70 * 60);
    EXPECT_EQ(countColor(image, red), 70 * 60);
    EXPECT_EQ(countColor(image, blue), 100 * 80 - 70 * 60);
    EXPECT_EQ(std::make_pair(image.pixelColor(9, 15), image.pixelColor(80, 74)), std::make_pair(blue, blue));
}

TEST(ViewportPaint, FillCases)
{
    struct Case { const char* name; std::initializer_list<const char*> config; int red_pixels, blue_pixels; };
    const Case cases[] = {
        {"no fill paints nothing", {"margin", "10 10 10 10"}, 0, 0},
        {"opacity 0 paints nothing", {"margin", "10 10 10 10", "fill", "red", "fill_frame", "blue", "opacity", "0"}, 0, 0},
        {"plot area of nothing keeps the frame", {"margin", "60 60 0 0", "fill", "red", "fill_frame", "blue"}, 0, 100 * 80},
        {"only the plot area", {"margin", "10 10 10 10", "fill", "red"}, 80 * 60, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = makeViewport(100, 80, c.config);
        QImage image = render(vp.get());
        EXPECT_EQ(countColor(image, red), c.red_pixels);
        EXPECT_EQ(countColor(image, blue), c.blue_pixels);
        EXPECT_EQ(countColor(image, white), 100 * 80 - c.red_pixels - c.blue_pixels);
    }
    // half opacity blends the frame with what lies below
    auto vp = makeViewport(100, 80, {"fill_frame", "blue", "opacity", "0.5"});
    QImage image = render(vp.get());
    QColor blended = image.pixelColor(5, 5);
    EXPECT_NEAR(blended.red(), 127, 2);
    EXPECT_EQ(blended.blue(), 255);
}

TEST(ViewportLayers, CleanLayerIsNotRedrawn)
{
    auto vp = makeViewport(100, 80, {"fill", "white"});
    CountingItem cached(vp.get(), QRect(10, 10, 20, 20), red);
    EXPECT_EQ(cached.setLayer("data"), "data:" + vp->vars.viewport_name);
    CountingItem direct(vp.get(), QRect(50, 10, 20, 20), blue);

    QImage first = render(vp.get());
    QImage second = render(vp.get());
    EXPECT_EQ(std::make_pair(cached.draws, direct.draws), std::make_pair(1, 2));
    // the cached picture is shown both times
    EXPECT_EQ(std::make_tuple(countColor(first, red), countColor(second, red), countColor(second, blue)),
              std::make_tuple(400, 400, 400));

    cached.setItemStale();
    render(vp.get());
    EXPECT_EQ(cached.draws, 2);
    // setItemStale on an item without a layer changes nothing
    direct.setItemStale();
    render(vp.get());
    EXPECT_EQ(std::make_pair(cached.draws, direct.draws), std::make_pair(2, 4));
    // the whole viewport invalidates all layers
    vp->setStale();
    render(vp.get());
    EXPECT_EQ(cached.draws, 3);
    // a new size makes a new pixmap
    vp->resize(120, 80);
    EXPECT_EQ(countColor(render(vp.get()), red), 400);
    EXPECT_EQ(cached.draws, 4);
}

TEST(ViewportLayers, MembersShareOnePixmap)
{
    auto vp = makeViewport(100, 80);
    CountingItem a(vp.get(), QRect(0, 0, 10, 10), red);
    CountingItem b(vp.get(), QRect(20, 0, 10, 10), green);
    a.setLayer("shared");
    b.setLayer("shared");
    VXLayer* layer = a.getLayer();
    ASSERT_TRUE(layer);
    EXPECT_EQ(layer, b.getLayer());
    EXPECT_EQ(layer->display_list.size(), 2);
    // the layer's entry lies right behind the member that joined last
    const auto& list = vp->vars.display_list;
    EXPECT_EQ(list.indexOf(layer), list.indexOf(&b) + 1);
    QImage image = render(vp.get());
    EXPECT_EQ(std::make_pair(countColor(image, red), countColor(image, green)), std::make_pair(100, 100));
    // invalidating the layer redraws both
    b.setItemStale();
    render(vp.get());
    EXPECT_EQ(std::make_pair(a.draws, b.draws), std::make_pair(2, 2));
    // an item added later lies above the layer
    CountingItem top(vp.get(), QRect(0, 0, 30, 10), blue);
    image = render(vp.get());
    EXPECT_EQ(std::make_pair(countColor(image, red), countColor(image, blue)), std::make_pair(0, 300));
}

TEST(ViewportLayers, HiddenMembersHideTheLayer)
{
    auto vp = makeViewport(100, 80);
    CountingItem item(vp.get(), QRect(10, 10, 20, 20), red);
    item.setLayer("hidden");
    render(vp.get());
    item.hideItem();
    QImage image = render(vp.get());
    // not composited: the old content is not shown either
    EXPECT_EQ(countColor(image, red), 0);
    // drawn once; the hidden member still had its turn
    EXPECT_EQ(std::make_pair(item.draws, item.turns), std::make_pair(1, 2));
    item.showItem();
    image = render(vp.get());
    EXPECT_EQ(countColor(image, red), 400);
    // a member that is ignored takes no part either
    CountingItem loose(vp.get(), QRect(50, 50, 5, 5), green);
    loose.ignoreItem();
    render(vp.get());
    EXPECT_EQ(std::make_pair(loose.draws, loose.turns), std::make_pair(0, 1));
}

TEST(ViewportLayers, LayerVisibility)
{
    auto vp = makeViewport(100, 80);
    CountingItem item(vp.get(), QRect(10, 10, 20, 20), red);
    QString full = item.setLayer("vis");
    render(vp.get());
    // an unchanged value invalidates nothing
    VXLayer::setLayerVisibility(full, 1);
    render(vp.get());
    EXPECT_EQ(item.draws, 1);
    VXLayer::setLayerVisibility(full, 0);
    QImage image = render(vp.get());
    EXPECT_EQ(countColor(image, red), 0);
    VXLayer::setLayerVisibility(full, 1);
    EXPECT_EQ(countColor(render(vp.get()), red), 400);
    EXPECT_EQ(item.draws, 3);
    // unknown names are ignored
    VXLayer::setLayerVisibility("no such layer", 0);
    VXLayer::setLayerVisibility("", 0);
}

TEST(ViewportLayers, MaskColour)
{
    auto vp = makeViewport(100, 80, {"fill", "blue"});
    CountingItem white_box(vp.get(), QRect(0, 0, 40, 40), white);
    CountingItem black_box(vp.get(), QRect(10, 10, 10, 10), black);
    white_box.setLayer("masked");
    black_box.setLayer("masked");
    QColor mask = white;
    white_box.getLayer()->maskColorTransparent(&mask);
    EXPECT_EQ(white_box.getLayer()->getMaskColor(), &mask);
    QImage image = render(vp.get());
    vptest::keep(image, "vp_mask");
    // white turned transparent: the background shows through it
    EXPECT_EQ(std::make_pair(countColor(image, white), countColor(image, black)), std::make_pair(0, 100));
    EXPECT_EQ(image.pixel(30, 30), blue.rgba());
    // a clean layer keeps its mask on the next paint
    image = render(vp.get());
    EXPECT_EQ(std::make_pair(countColor(image, white), countColor(image, black)), std::make_pair(0, 100));
    white_box.getLayer()->maskColorTransparent();
    white_box.setItemStale();
    image = render(vp.get());
    EXPECT_EQ(countColor(image, white), 40 * 40 - 100);
}

TEST(ViewportLayers, ShiftIsClippedToThePlotArea)
{
    auto vp = makeViewport(100, 80, {"margin", "10 10 10 10", "fill_frame", "blue"});
    // fills the plot area exactly
    CountingItem item(vp.get(), QRect(10, 10, 80, 60), red);
    item.setLayer("shifted");
    QImage image = render(vp.get());
    EXPECT_EQ(countColor(image, red), 80 * 60);
    item.getLayer()->setShift(15, -5);
    image = render(vp.get());
    vptest::keep(image, "vp_shift");
    // nothing was redrawn; the copy moved and stayed inside the plot area
    EXPECT_EQ(item.draws, 1);
    EXPECT_EQ(inkBox(image, blue), QRect(25, 10, 65, 55));
    EXPECT_EQ(countColor(image, red), 65 * 55);
    item.getLayer()->setShift(0, 0);
    EXPECT_EQ(countColor(render(vp.get()), red), 80 * 60);
}

TEST(ViewportLayers, DisabledLayersDrawDirectly)
{
    auto vp = makeViewport(100, 80);
    CountingItem plain(vp.get(), QRect(0, 0, 10, 10), red);
    CountingItem masked(vp.get(), QRect(20, 0, 10, 10), green);
    plain.setLayer("plain");
    masked.setLayer("masked");
    QColor mask = white;
    masked.getLayer()->maskColorTransparent(&mask);
    vp->vars.disable_layers = 1;
    render(vp.get());
    QImage image = render(vp.get());
    // a layer with a mask colour stays in force
    EXPECT_EQ(std::make_pair(plain.draws, masked.draws), std::make_pair(2, 1));
    EXPECT_EQ(std::make_pair(countColor(image, red), countColor(image, green)), std::make_pair(100, 100));
}

TEST(ViewportLogo, MadeWhenThereIsRoom)
{
    struct Case { const char* name; int w, h; bool logo; } cases[] = {
        {"100 by 50 is too small", 100, 50, false}, {"101 by 50 is too low", 101, 50, false},
        {"101 by 51", 101, 51, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VXViewport vp(nullptr, 0, 1);
        vp.resize(c.w, c.h);
        render(&vp);
        EXPECT_EQ(vp.vars.logo != nullptr, c.logo);
    }
}

TEST(ViewportLogo, StaysOnTop)
{
    VXViewport vp(nullptr, 0, 1);
    vp.resize(300, 200);
    render(&vp);
    ASSERT_TRUE(vp.vars.logo);
    EXPECT_EQ(vp.vars.display_list.last(), static_cast<VXViewportItem*>(vp.vars.logo));
    // an item added afterwards goes beneath the logo at the next paint
    CountingItem late(&vp, QRect(0, 0, 300, 200), red);
    EXPECT_EQ(vp.vars.display_list.last(), &late);
    QImage image = render(&vp);
    vptest::keep(image, "vp_logo");
    EXPECT_EQ(vp.vars.display_list.last(), static_cast<VXViewportItem*>(vp.vars.logo));
    EXPECT_EQ(late.draws, 1);
    // south east, 10 pixels in, at half opacity over the red item
    const QSize logo = vp.vars.logo->pictureSize();
    QRect ink = inkBox(image, red);
    EXPECT_EQ(ink.bottomRight(), QPoint(300 - 10 - 1, 200 - 10 - 1));
    EXPECT_TRUE(ink.width() <= logo.width() && ink.width() > logo.width() - 5) << ink.width();
    // clearing make_logo keeps the one that exists
    vp.configure("ml", "0", nullptr);
    render(&vp);
    EXPECT_TRUE(vp.vars.logo);
}

namespace {

struct PaintCall { int stale; QSize size, old_size; };
std::vector<PaintCall> paint_calls;
std::vector<QSize> resize_calls;

void recordPaint(void*, int stale, QResizeEvent* event, void*)
{
    paint_calls.push_back({stale, event->size(), event->oldSize()});
}

void otherPaint(void*, int, QResizeEvent*, void*)
{
}

void recordResize(void*, QResizeEvent* event, void*)
{
    resize_calls.push_back(event->oldSize());
}

} // namespace

TEST(ViewportCallbacks, PaintAndResize)
{
    auto vp = makeViewport(100, 80);
    paint_calls.clear();
    resize_calls.clear();
    vp->setPaintCallback(recordPaint, nullptr, nullptr);
    vp->setPaintCallback(recordPaint, nullptr, nullptr);
    vp->setResizeCallback(recordResize, nullptr, nullptr);
    // showing delivers the first resize, from no size at all
    vp->show();
    QCoreApplication::processEvents();
    render(vp.get());
    ASSERT_EQ(resize_calls.size(), 1u);
    EXPECT_EQ(resize_calls[0], QSize(-1, -1));
    ASSERT_GE(paint_calls.size(), 2u);
    EXPECT_EQ(std::tie(paint_calls[0].stale, paint_calls[0].old_size), std::make_tuple(9, QSize(-1, -1)));

    paint_calls.clear();
    resize_calls.clear();
    render(vp.get());
    ASSERT_EQ(paint_calls.size(), 2u);
    EXPECT_EQ(std::make_pair(paint_calls[0].stale, paint_calls[1].stale), std::make_pair(10, 10));
    EXPECT_EQ(paint_calls[0].size, paint_calls[0].old_size);

    // a resize: resize callbacks at once, paint callbacks with 9 at the next
    // paint; the first one sees the true old size
    paint_calls.clear();
    vp->resize(140, 90);
    ASSERT_EQ(resize_calls.size(), 1u);
    EXPECT_EQ(resize_calls[0], QSize(100, 80));
    EXPECT_TRUE(paint_calls.empty());
    render(vp.get());
    ASSERT_EQ(paint_calls.size(), 2u);
    EXPECT_EQ(std::tie(paint_calls[0].stale, paint_calls[0].size, paint_calls[0].old_size),
              std::make_tuple(9, QSize(140, 90), QSize(100, 80)));
    EXPECT_EQ(std::tie(paint_calls[1].stale, paint_calls[1].old_size), std::make_tuple(9, QSize(140, 90)));
    // back to 10 at the paint after
    paint_calls.clear();
    render(vp.get());
    EXPECT_EQ(paint_calls[0].stale, 10);

    // the same size again does nothing
    CountingItem item(vp.get(), QRect(0, 0, 5, 5), red);
    item.setLayer("r");
    render(vp.get());
    resize_calls.clear();
    QResizeEvent same(QSize(140, 90), QSize(140, 90));
    QCoreApplication::sendEvent(vp.get(), &same);
    EXPECT_TRUE(resize_calls.empty());
    render(vp.get());
    EXPECT_EQ(item.draws, 1);

    // removal by function
    vp->setPaintCallback(otherPaint, nullptr, nullptr);
    vp->removePaintCallback(recordPaint);
    EXPECT_EQ(vp->vars.paint_callbacks.size(), 1);
    paint_calls.clear();
    render(vp.get());
    EXPECT_TRUE(paint_calls.empty());
    vp->hide();
}

TEST(ViewportPaint, DegenerateViewsPaint)
{
    // an item that draws a line through the view at every paint
    class LineItem : public VXViewportItem
    {
    public:
        explicit LineItem(VXViewport* vp) : VXViewportItem(vp, nullptr, "LineItem", 1) {}
        int drawViewportItem(QPainter* painter) override
        {
            double x[] = {0, 1, VX_NULL_VALUE, NAN, 1e300, -1e300}, y[] = {0, 1, 2, 3, -1e300, 1e300};
            result = getViewportParent()->polyDraw(painter, 6, x, y, 0, 1, 0);
            getViewportParent()->polyDraw(painter, 6, x, y, 1, 0, 0);
            return 1;
        }
        int result = 99;
    };
    struct Case { const char* name; int w, h; std::initializer_list<const char*> config; int result; } cases[] = {
        {"zero size", 0, 0, {}, -1}, {"one pixel", 1, 1, {}, -1},
        {"margins larger than the widget", 50, 50, {"margin", "40 40 40 40"}, -1},
        {"equal limits", 50, 50, {"xleft", "3", "xright", "3"}, 0},
        {"log of non-positive limits", 50, 50, {"xmode", "log", "xleft", "-1", "xright", "0"}, 0},
        {"globe far side", 50, 50, {"map", "globe", "latr", "0", "lonr", "180"}, 0},
        {"tiny edp range", 50, 50, {"map", "edp", "range", "1e-9"}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = makeViewport(c.w, c.h, c.config);
        LineItem item(vp.get());
        if (c.w == 0) {
            vp->grab();  // nothing to paint: only no crash
            continue;
        }
        render(vp.get());
        EXPECT_EQ(item.result, c.result);
    }
}
