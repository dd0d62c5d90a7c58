// The commands that apply to any handle: hiding, naming, staleness,
// stacking, repainting, geometry and screens.
#include "support/serversupport.h"

#include "server/procs.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

#include <gtest/gtest.h>

namespace {

VXViewportItem* axesItem(const QString& handle)
{
    int type = -1;
    void* p = VX_GraphicsServer_get_item(vx_test_server(), handle, &type, 0);
    EXPECT_EQ(type, VX_TYPE_AXES);
    return static_cast<VXAxes*>(p);
}

} // namespace

TEST(ItemCommands, HideShowAndNameThePlotItem)
{
    PlotSession s;
    VXViewportItem* item = axesItem(s.axes);
    ASSERT_TRUE(item->isShown());
    for (const char* word : {"itemhide", "itemshow"}) {
        Reply r = vx_send(word, s.axes);
        EXPECT_EQ(r.handle, word);
        EXPECT_EQ(item->isShown(), word == QString("itemshow"));
    }
    EXPECT_EQ(vx_send("itemsetname", s.axes, {"left"}).code, 0);
    EXPECT_EQ(vx_send("itemsetname", s.axes, {"a", "b"}).code, 1);
    EXPECT_EQ(item->getItemName(), "left");
}

TEST(ItemCommands, ExactRefusals)
{
    PlotSession s;
    Handles h;
    h["a"] = s.axes;
    h["v"] = s.viewport;
    h["w"] = s.window;
    h["f"] = itemOf<VXMainWindow>(s.window)->tl_handle;
    h["l"] = vx_send("setlayer", s.axes, {"back"}).handle;
    expectRefusals({
        {"hide frame", "itemhide", "{f}", {}, "VX_GraphicsServer_itemhide: frame object not a vxplot item.\n"},
        {"show frame", "itemshow", "{f}", {}, "VX_GraphicsServer_itemshow: frame object not a vxplot item.\n"},
        {"name frame", "itemsetname", "{f}", {"x"}, "VX_GraphicsServer_itemsetname: frame object not a vxplot item.\n"},
        {"name count", "itemsetname", "{a}", {"a", "b"}, "VX_GraphicsServer_itemsetname: itemsetname needs 1 arguments.\n"},
        {"stale frame", "setitemstale", "{f}", {}, "VX_GraphicsServer_setitemstale: frame object not a vxplot item.\n"},
        {"hide unknown", "itemhide", "axes:999999", {}, "VX_GraphicsServer_get_item: Handle 'axes:999999' not found.\nVX_GraphicsServer_itemhide: VX_GraphicsServer_get_item(axes:999999) error.\n"},
        {"screen number", "getscreen", "none", {"x"}, "VX_GraphicsServer_getscreen: screen conversion error 'x'.\n"},
        {"screen count", "getscreen", "none", {"0", "1"}, "VX_GraphicsServer_getscreen: getscreen command must have 2 or 4 arguments.\n"},
        {"setlayer count", "setlayer", "{a}", {}, "VX_GraphicsServer_setlayer: setlayer needs 1 arguments.\n"},
        {"visibility none", "setlayervisibility", "{l}", {}, "VX_GraphicsServer_setlayervisibility: setlayervisibility needs 1 arguments.\n"},
        {"visibility two", "setlayervisibility", "{l}", {"1", "1"}, "VX_GraphicsServer_setlayervisibility: setlayervisibility needs 1 arguments.\n"},
        {"visibility number", "setlayervisibility", "{l}", {"on"}, "VX_GraphicsServer_setlayervisibility: visibility conversion error 'on'.\n"},
        {"layertotop unknown", "layertotop", "nolayer:nowhere", {}, "VX_GraphicsServer_layertotop: cannot find layer 'nolayer:nowhere'.\n"},
        {"layertobottom unknown", "layertobottom", "nolayer:nowhere", {}, "VX_GraphicsServer_layertobottom: cannot find layer 'nolayer:nowhere'.\n"},
        {"getviewport arguments", "getviewport", "{a}", {"x"}, "VX_GraphicsServer_getviewport: setlayer needs 0 arguments.\n"},
        {"getviewport frame", "getviewport", "{f}", {}, "VX_GraphicsServer_getviewport: frame object has no viewport.\n"},
        {"getviewport window", "getviewport", "{w}", {}, "VX_GraphicsServer_getviewport: Cannot find viewport.\n"},
    }, h);
    // the silent types are accepted and left alone
    for (const char* word : {"itemhide", "setitemstale"})
        EXPECT_EQ(vx_send(word, s.window).handle, word);
    EXPECT_EQ(vx_send("setitemstale", s.viewport).handle, "setitemstale");
    EXPECT_EQ(VXLayer::getLayer(h["l"])->visibility, 1);
}

TEST(ItemCommands, TotopTobottomUpdateAndGetgeometry)
{
    PlotSession s;
    QString second = vx_send("viewport", s.window).handle;
    auto* first = itemOf<VXViewport>(s.viewport);
    auto* other = itemOf<VXViewport>(second);
    QObject* parent = first->parent();
    ASSERT_EQ(parent, other->parent());
    EXPECT_EQ(vx_send("totop", s.viewport).handle, "totop");
    EXPECT_GT(parent->children().indexOf(first), parent->children().indexOf(other));
    EXPECT_EQ(vx_send("tobottom", s.viewport).handle, "tobottom");
    EXPECT_LT(parent->children().indexOf(first), parent->children().indexOf(other));
    vx_send("delete", second);
    // plot items too, and update of any of them
    EXPECT_EQ(vx_send("totop", s.axes).code, 0);
    EXPECT_EQ(vx_send("tobottom", s.axes).code, 0);
    Reply r = vx_send("totop", "axes:999999");
    EXPECT_TRUE(r.handle.contains("VX_GraphicsServer_show: VX_GraphicsServer_get_item(axes:999999) error.\n"))
        << r.handle.toStdString();
    for (const QString& h : {s.axes, s.viewport, s.window})
        EXPECT_EQ(vx_send("update", h).handle, "update");
    // getgeometry answers the global, then the local geometry
    ASSERT_EQ(vx_send("geometry", s.window, {"10", "20", "320", "200"}).code, 0);
    r = vx_send("getgeometry", s.window);
    ASSERT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "getgeometry");
    EXPECT_EQ(r.params, (QStringList{"10", "20", "10", "20", "320", "200"}));
    r = vx_send("getgeometry", s.axes);
    EXPECT_NE(r.code, 0);
}

TEST(ItemCommands, GetscreenClampsTheNumber)
{
    const int last = int(QGuiApplication::screens().size()) - 1;
    ASSERT_GE(last, 0);
    struct Case { const char* name; QStringList args; QString first; };
    const Case cases[] = {{"none", {}, "0"}, {"beyond", {"99"}, QString::number(last)}, {"negative", {"-3"}, "0"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Reply r = vx_send("getscreen", "none", c.args);
        ASSERT_EQ(r.code, 0);
        ASSERT_EQ(r.params.size(), 5);
        EXPECT_EQ(r.params[0], c.first);
    }
}

TEST(LayerCommands, SetlayerVisibilityAndRestackingOfALayer)
{
    PlotSession s;
    VXViewportItem* item = axesItem(s.axes);
    const QString layer = vx_send("setlayer", s.axes, {"back"}).handle;
    EXPECT_TRUE(layer.startsWith("back:")) << qPrintable(layer);
    EXPECT_EQ(item->getFullLayerName("back"), layer);
    VXLayer* l = VXLayer::getLayer(layer);
    ASSERT_NE(l, nullptr);
    EXPECT_EQ(l, item->getLayer());
    // the same name again changes nothing and answers an empty text
    EXPECT_EQ(vx_send("setlayer", s.axes, {"back"}).handle, "");
    // other types are accepted and nothing happens
    QString button = vx_send("button", s.window, {"b"}).handle;
    Reply r = vx_send("setlayer", button, {"back"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "");
    vx_send("delete", button);

    // setlayervisibility takes an integer for a layer's full name
    const QString line = vx_send("polyline", s.viewport).handle;
    auto* vp = itemOf<VXViewport>(s.viewport);
    EXPECT_EQ(vx_send("setlayervisibility", layer, {"0"}).handle, "setlayervisibility");
    EXPECT_EQ(l->visibility, 0);
    EXPECT_EQ(vx_send("layertotop", layer).handle, "layertotop");
    EXPECT_EQ(vp->vars.display_list.last(), l);
    EXPECT_EQ(vx_send("layertobottom", layer).code, 0);
    EXPECT_EQ(vp->vars.display_list.first(), l);
    vx_send("delete", line);
}

// the handle of an item's viewport; a viewport made outside the server is
// entered in the table once
TEST(GetViewport, AnswersTheViewportHandleOfItems)
{
    PlotSession s;
    EXPECT_EQ(vx_send("getviewport", s.axes).handle, s.viewport);
    EXPECT_EQ(vx_send("getviewport", s.viewport).handle, s.viewport);
    auto* parent = itemOf<QWidget>(s.window);
    auto* vp = new VXViewport(parent, 1, 1);
    auto* axes = new VXAxes(vp);
    QString axes_handle;
    ASSERT_EQ(VX_GraphicsServer_set_item(vx_test_server(), VX_TYPE_AXES, axes, axes_handle), 0);

    Reply first = vx_send("getviewport", axes_handle);
    ASSERT_EQ(first.code, 0);
    EXPECT_TRUE(first.handle.startsWith("viewport:")) << qPrintable(first.handle);
    EXPECT_EQ(vx_send("getviewport", axes_handle).handle, first.handle);
    EXPECT_EQ(itemOf<VXViewport>(first.handle), vp);
    vx_send("delete", axes_handle);
    vx_send("delete", first.handle);
}
