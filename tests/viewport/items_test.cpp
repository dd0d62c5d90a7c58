// Items and layers of a viewport: the display list, layer membership and
// names, lifetimes, and the logo item.
#include "support/vptest.h"

#include "viewport/logo.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

#include <QGridLayout>
#include <QPushButton>

#include <string>
#include <utility>

using vptest::makeViewport;

namespace {

VXViewportItem* item(VXViewport* vp, const char* name)
{
    auto* i = new VXViewportItem(vp, nullptr, "TestItem", 1);
    i->setItemName(name);
    return i;
}

// The display list as item names, the viewport's own entry as "vp".
std::string names(VXViewport* vp)
{
    std::string s;
    for (VXViewportItem* i : vp->vars.display_list) {
        if (!s.empty())
            s += ",";
        s += i == static_cast<VXViewportItem*>(vp) ? std::string("vp") : i->getItemName().toStdString();
    }
    return s;
}

} // namespace

TEST(DisplayList, Order)
{
    auto vp = makeViewport(100, 80);
    std::unique_ptr<VXViewportItem> a(item(vp.get(), "a")), b(item(vp.get(), "b")), c(item(vp.get(), "c"));
    EXPECT_EQ(names(vp.get()), "vp,a,b,c");
    EXPECT_EQ(a->noderegister, 0);
    EXPECT_LT(a->order, b->order);
    vp->registerItem(a.get());  // already listed: nothing
    EXPECT_EQ(names(vp.get()), "vp,a,b,c");
    vp->moveItemToTop(a.get());
    EXPECT_EQ(names(vp.get()), "vp,b,c,a");
    vp->moveItemAfter(a.get(), b.get());
    EXPECT_EQ(names(vp.get()), "vp,b,a,c");
    // beneath the background entry
    vp->moveItemToBottom(c.get());
    EXPECT_EQ(names(vp.get()), "c,vp,b,a");
    VXViewportItem stranger(nullptr, nullptr, "Stranger", 1);
    EXPECT_EQ(stranger.noderegister, 1);
    vp->addItemAfter(&stranger, c.get());
    stranger.setItemName("s");
    EXPECT_EQ(names(vp.get()), "c,s,vp,b,a");
    vp->removeItem(&stranger);
    // an unknown place to move after takes the item out of the list
    vp->moveItemAfter(b.get(), &stranger);
    EXPECT_EQ(names(vp.get()), "c,vp,a");
    vp->addItemAfter(b.get(), &stranger);
    EXPECT_EQ(names(vp.get()), "c,vp,a");
    // a destroyed item leaves the list
    a.reset();
    EXPECT_EQ(names(vp.get()), "c,vp");
    vp->deregisterItem(c.get());
    EXPECT_EQ(names(vp.get()), "vp");
}

TEST(DisplayList, MovingBetweenViewports)
{
    auto one = makeViewport(100, 80);
    auto two = makeViewport(100, 80);
    std::unique_ptr<VXViewportItem> a(item(one.get(), "a"));
    a->moveViewport(two.get());
    EXPECT_EQ(names(one.get()) + "|" + names(two.get()), "vp|vp,a");
    EXPECT_EQ(a->getViewportParent(), two.get());
    a->moveViewport(two.get());
    EXPECT_EQ(names(two.get()), "vp,a");
}

TEST(DisplayList, ItemWidgetsStackInTheLayout)
{
    auto vp = makeViewport(100, 80);
    QPushButton* button = new QPushButton(vp.get());
    {
        VXViewportItem with_widget(vp.get(), button, "Button", 1);
        EXPECT_TRUE(button->hasMouseTracking());
        EXPECT_GE(vp->vars.layout->indexOf(button), 0);
    }
    EXPECT_LT(vp->vars.layout->indexOf(button), 0);
}

TEST(DisplayList, ItemsOutliveTheirViewport)
{
    auto vp = makeViewport(100, 80);
    std::unique_ptr<VXViewportItem> a(item(vp.get(), "a")), b(item(vp.get(), "b"));
    b->setLayer("gone");
    vp->removeItem(a.get());  // not listed, yet still its viewport's
    vp.reset();
    EXPECT_EQ(a->getViewportParent(), nullptr);
    EXPECT_EQ(b->getLayer(), nullptr);
    a->setItemStale();
    b->setItemStale();
    a.reset();  // must not reach into the dead viewport
    b.reset();
}

TEST(DisplayList, ShowNames)
{
    auto vp = makeViewport(100, 80);
    VXViewportItem a(vp.get(), nullptr, "TestItem", 1);
    QString s, lname;
    a.showNames(&s, &lname);
    EXPECT_EQ(std::make_pair(s, lname), std::make_pair(QString("TestItem: NULL"), QString("NULL")));
    a.setItemName("curve");
    a.setLayer("top");
    s.clear();
    a.showNames(&s, &lname);
    EXPECT_EQ(std::make_pair(s, lname), std::make_pair(QString("TestItem: curve"), QString("top")));
    VXViewportItem anonymous(nullptr, nullptr, "", 0);
    s = "x ";
    anonymous.showNames(&s, nullptr);
    EXPECT_EQ(s, "x NULL: NULL");

    std::string out = vptest::captureStdout([&] { vp->showDisplayList("before "); });
    EXPECT_EQ(out.rfind("before VXViewport::showDisplayList: 0x", 0), 0u) << out;
    EXPECT_NE(out.find(" VXViewport: " + vp->vars.viewport_name.toStdString() + " 1 1, 0x"), std::string::npos)
        << out;
    EXPECT_NE(out.find(" TestItem: curve 1 1, 0x"), std::string::npos) << out;
    EXPECT_NE(out.find(" VXLayer: top:" + vp->vars.viewport_name.toStdString() + " 1 1\n"), std::string::npos) << out;
}

TEST(Layers, NamesAndMembership)
{
    auto vp = makeViewport(100, 80);
    const QString suffix = ":" + vp->vars.viewport_name;
    VXViewportItem a(vp.get(), nullptr, "TestItem", 1), b(vp.get(), nullptr, "TestItem", 1);
    EXPECT_FALSE(a.hasLayer());
    EXPECT_EQ(a.getLayer(), nullptr);
    EXPECT_EQ(a.getFullLayerName("grid"), "grid" + suffix);
    EXPECT_EQ(a.getFullLayerName("shared:name"), "shared:name");

    EXPECT_EQ(a.setLayer("grid"), "grid" + suffix);
    VXLayer* layer = a.getLayer();
    ASSERT_TRUE(layer);
    EXPECT_EQ(layer->item_name, "grid" + suffix);
    EXPECT_EQ(layer->getPixmap(), nullptr);
    EXPECT_EQ(VXLayer::getLayer("grid" + suffix), layer);
    EXPECT_EQ(VXLayer::getLayer(""), nullptr);
    // the name it has: nothing, and not a lookup
    EXPECT_EQ(a.setLayer("grid"), "");
    EXPECT_EQ(a.getLayer(), layer);
    // joining an existing layer answers its name
    EXPECT_EQ(b.setLayer("grid" + suffix), "grid" + suffix);
    EXPECT_EQ(b.getLayerName(), "grid" + suffix);
    EXPECT_EQ(std::make_pair(b.getLayer(), layer->display_list.size()), std::make_pair(layer, qsizetype(2)));
    // an empty name leaves
    EXPECT_EQ(b.setLayer(""), "");
    EXPECT_FALSE(b.hasLayer());
    EXPECT_EQ(layer->display_list.size(), 1);
    a.removeLayer();
    EXPECT_EQ(layer->display_list.size(), 0);
    EXPECT_EQ(a.getLayerName(), "");
}

TEST(Layers, SecondLayerOfANameReplacesTheFirst)
{
    auto vp = makeViewport(100, 80);
    VXViewportItem a(vp.get(), nullptr, "TestItem", 1);
    QString full = a.setLayer("same");
    VXLayer* first = a.getLayer();
    ASSERT_TRUE(first);
    const qsizetype listed = vp->vars.display_list.size();
    VXLayer* second = new VXLayer(vp.get(), full);
    // the first is gone from the list and the table
    EXPECT_EQ(vp->vars.display_list.size(), listed);
    EXPECT_FALSE(vp->vars.display_list.contains(first));
    // the member finds the new layer by name, though not in its list
    EXPECT_EQ(a.getLayer(), second);
    EXPECT_TRUE(second->display_list.isEmpty());
    a.setItemStale();
    EXPECT_EQ(second->stale, 1);
}

TEST(Layers, SharedAcrossViewports)
{
    auto one = makeViewport(100, 80);
    auto two = makeViewport(100, 80);
    VXViewportItem a(one.get(), nullptr, "TestItem", 1), b(two.get(), nullptr, "TestItem", 1);
    EXPECT_EQ(a.setLayer("common:layer"), "common:layer");
    EXPECT_EQ(b.setLayer("common:layer"), "common:layer");
    EXPECT_EQ(a.getLayer(), b.getLayer());
    // a layer ends with the viewport it was made in
    one.reset();
    EXPECT_EQ(b.getLayer(), nullptr);
    EXPECT_EQ(VXLayer::getLayer("common:layer"), nullptr);
}

TEST(Layers, StateAndSize)
{
    auto vp = makeViewport(100, 80);
    VXLayer layer(vp.get(), "state:test");
    int lstale = -1;
    layer.setLayerSize(30, 20, &lstale);
    EXPECT_EQ(lstale, 1);
    ASSERT_TRUE(layer.getPixmap());
    EXPECT_EQ(layer.getPixmap()->width(), 30 * (VXLayer::getRatio() > 0 ? VXLayer::getRatio() : 1));
    QPixmap* kept = layer.getPixmap();
    layer.setLayerSize(30, 20, &lstale);
    EXPECT_EQ(std::make_pair(lstale, layer.getPixmap()), std::make_pair(0, kept));
    layer.getPixmap()->fill(Qt::red);
    layer.setStale();
    EXPECT_EQ(layer.stale, 1);
    EXPECT_EQ(layer.getPixmap()->toImage().pixelColor(3, 3).alpha(), 0);
    layer.setShift(3, 4);
    EXPECT_EQ(std::make_pair(layer.xshift, layer.stale), std::make_pair(3, 1));
    // a layer without members is neither shown nor processed
    layer.setVisibility();
    EXPECT_EQ(std::make_pair(layer.item_display_pvt, layer.item_process_pvt), std::make_pair(0, 0));
}

TEST(Logo, UnknownPictureThrows)
{
    auto vp = makeViewport(300, 200);
    const qsizetype listed = vp->vars.display_list.size();
    takeErrors();
    bool thrown = false;
    try {
        VXLogo logo(vp.get(), "no such picture");
    } catch (const char* text) {
        thrown = true;
        EXPECT_STREQ(text, "Exception");
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(takeErrors(), "get_logo: error.\n");
    // the half-made item left the display list
    EXPECT_EQ(vp->vars.display_list.size(), listed);
}

TEST(Logo, Anchors)
{
    // y: expected top left corner
    struct Case { const char* name; const char* anchor; int x, y; } cases[] = {
        {"south east", "se", 300 - 120 - 10, 200 - 40 - 10}, {"north west", "nw", 10, 10}, {"north", "n", 90, 10},
        {"east", "e", 170, 80}, {"centre", "c", 90, 80}, {"south west", "sw", 10, 150},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto vp = makeViewport(300, 200);
        VXLogo logo(vp.get(), VX_LOGO_NAME);
        ASSERT_EQ(logo.pictureSize(), QSize(120, 40));
        ASSERT_EQ(logo.configure("anchor", c.anchor, nullptr), 0);
        QImage image = vptest::render(vp.get(), Qt::black);
        vptest::keep(image, "vp_logo_anchor");
        QRect ink = vptest::inkBox(image, Qt::black);
        // the rounded corners are transparent: the box is the picture's
        // within a pixel or two
        EXPECT_NEAR(ink.left(), c.x, 1);
        EXPECT_NEAR(ink.top(), c.y, 1);
        EXPECT_NEAR(ink.right(), c.x + 119, 1);
        EXPECT_NEAR(ink.bottom(), c.y + 39, 1);
    }
}

TEST(DisplayList, DebugTrace)
{
    class Box : public VXViewportItem
    {
    public:
        explicit Box(VXViewport* vp) : VXViewportItem(vp, nullptr, "Box", 1) {}
        int drawViewportItem(QPainter* painter) override
        {
            painter->fillRect(0, 0, 5, 5, Qt::red);
            return 1;
        }
    };
    auto vp = makeViewport(100, 80);
    Box box(vp.get());
    box.setItemName("b");
    box.setLayer("lay");
    vp->vars.debug = 1;
    const std::string name = vp->vars.viewport_name.toStdString();
    std::string out = vptest::captureStdout([&] { vptest::render(vp.get()); });
    EXPECT_EQ(out.rfind("VXViewport::paintEvent: ", 0), 0u) << out;
    EXPECT_NE(out.find("\nDrawing VXViewport: " + name + " 0 100x80\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\nDrawing Box: b 100x80 to lay\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\nDrawing VXLayer: lay:" + name + " 100x80\nDrawing done\n"), std::string::npos) << out;
    // a clean layer: its member is not drawn, so not traced
    out = vptest::captureStdout([&] { vptest::render(vp.get()); });
    EXPECT_EQ(out.find("Drawing Box"), std::string::npos) << out;
    vp->vars.debug = 0;
}
