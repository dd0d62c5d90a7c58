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

struct Session
{
    QString window, viewport, axes;
    Session()
    {
        window = vx_send("mainwindow", "none", {"0"}).handle;
        viewport = vx_send("viewport", window).handle;
        axes = vx_send("axes", viewport).handle;
    }
    ~Session()
    {
        vx_send("delete", axes);
        vx_send("delete", viewport);
        vx_send("delete", window);
    }
};

template <typename T>
T* itemOf(const QString& handle)
{
    return static_cast<T*>(VX_GraphicsServer_get_item(vx_test_server(), handle, nullptr, 0));
}

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
    Session s;
    VXViewportItem* item = axesItem(s.axes);
    ASSERT_TRUE(item->isShown());
    for (const char* word : {"itemhide", "itemshow"}) {
        Reply r = vx_send(word, s.axes);
        EXPECT_EQ(r.code, 0);
        EXPECT_EQ(r.handle, word);
        EXPECT_EQ(item->isShown(), word == QString("itemshow"));
    }
    EXPECT_EQ(vx_send("itemsetname", s.axes, {"left"}).code, 0);
    EXPECT_EQ(item->getItemName(), "left");
    Reply r = vx_send("itemsetname", s.axes, {"a", "b"});
    EXPECT_NE(r.code, 0);
    EXPECT_TRUE(r.handle.contains("VX_GraphicsServer_itemsetname: itemsetname needs 1 arguments.\n"))
        << r.handle.toStdString();
    EXPECT_EQ(item->getItemName(), "left");
}

TEST(ItemCommands, WidgetTypesAreRefusedAndSilentTypesAccepted)
{
    Session s;
    QString frame = itemOf<VXMainWindow>(s.window)->tl_handle;
    struct Case { const char* name; const char* word; QString handle; int code; const char* text; };
    const Case cases[] = {
        {"hide frame", "itemhide", frame, -1, "VX_GraphicsServer_itemhide: frame object not a vxplot item.\n"},
        {"show frame", "itemshow", frame, -1, "VX_GraphicsServer_itemshow: frame object not a vxplot item.\n"},
        {"name frame", "itemsetname", frame, -1, "VX_GraphicsServer_itemsetname: frame object not a vxplot item.\n"},
        {"stale frame", "setitemstale", frame, -1, "VX_GraphicsServer_setitemstale: frame object not a vxplot item.\n"},
        {"hide mainwindow", "itemhide", s.window, 0, ""},
        {"stale mainwindow", "setitemstale", s.window, 0, ""},
        {"stale viewport", "setitemstale", s.viewport, 0, ""},
        {"hide unknown", "itemhide", "axes:999999", -1,
         "VX_GraphicsServer_itemhide: VX_GraphicsServer_get_item(axes:999999) error.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Reply r = vx_send(c.word, c.handle, {"x"});
        if (c.code == 0) {
            EXPECT_EQ(r.code, 0);
            EXPECT_EQ(r.handle, c.word);
        } else {
            EXPECT_NE(r.code, 0);
            EXPECT_TRUE(r.handle.contains(c.text)) << r.handle.toStdString();
        }
    }
}

TEST(ItemCommands, TotopAndTobottomRestackWidgets)
{
    Session s;
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
}

TEST(ItemCommands, TotopAndUpdateOfPlotItemsAndWidgets)
{
    Session s;
    EXPECT_EQ(vx_send("totop", s.axes).code, 0);
    EXPECT_EQ(vx_send("tobottom", s.axes).code, 0);
    Reply r = vx_send("totop", "axes:999999");
    EXPECT_TRUE(r.handle.contains("VX_GraphicsServer_show: VX_GraphicsServer_get_item(axes:999999) error.\n"))
        << r.handle.toStdString();
    for (const QString& h : {s.axes, s.viewport, s.window})
        EXPECT_EQ(vx_send("update", h).handle, "update");
}

TEST(ItemCommands, GetgeometryAnswersGlobalThenLocalGeometry)
{
    Session s;
    ASSERT_EQ(vx_send("geometry", s.window, {"10", "20", "320", "200"}).code, 0);
    Reply r = vx_send("getgeometry", s.window);
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
    struct Case { const char* name; QStringList args; int code; QString first; const char* text; };
    const Case cases[] = {
        {"none", {}, 0, "0", ""},
        {"beyond", {"99"}, 0, QString::number(last), ""},
        {"negative", {"-3"}, 0, "0", ""},
        {"bad", {"x"}, -1, "", "VX_GraphicsServer_getscreen: screen conversion error 'x'.\n"},
        {"two", {"0", "1"}, -1, "", "VX_GraphicsServer_getscreen: getscreen command must have 2 or 4 arguments.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Reply r = vx_send("getscreen", "none", c.args);
        if (c.code == 0) {
            ASSERT_EQ(r.code, 0);
            ASSERT_EQ(r.params.size(), 5);
            EXPECT_EQ(r.params[0], c.first);
        } else {
            EXPECT_NE(r.code, 0);
            EXPECT_TRUE(r.handle.contains(c.text)) << r.handle.toStdString();
        }
    }
}

TEST(LayerCommands, SetlayerAnswersTheFullNameOnceAndChecksItsCount)
{
    Session s;
    VXViewportItem* item = axesItem(s.axes);
    Reply r = vx_send("setlayer", s.axes, {"back"});
    ASSERT_EQ(r.code, 0);
    EXPECT_TRUE(r.handle.startsWith("back:")) << qPrintable(r.handle);
    EXPECT_EQ(item->getFullLayerName("back"), r.handle);
    EXPECT_EQ(VXLayer::getLayer(r.handle), item->getLayer());
    // the same name again changes nothing and answers an empty text
    EXPECT_EQ(vx_send("setlayer", s.axes, {"back"}).handle, "");

    r = vx_send("setlayer", s.axes, {});
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(r.handle, "VX_GraphicsServer_setlayer: setlayer needs 1 arguments.\n");

    // other types are accepted and nothing happens
    QString button = vx_send("button", s.window, {"b"}).handle;
    r = vx_send("setlayer", button, {"back"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "");
    vx_send("delete", button);
}

TEST(LayerCommands, VisibilityTakesAnIntegerForALayerName)
{
    Session s;
    const QString layer = vx_send("setlayer", s.axes, {"back"}).handle;
    Reply r = vx_send("setlayervisibility", layer, {"0"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "setlayervisibility");
    EXPECT_EQ(VXLayer::getLayer(layer)->visibility, 0);

    struct Case { const char* name; QStringList args; const char* text; };
    const Case cases[] = {
        {"no argument", {}, "VX_GraphicsServer_setlayervisibility: setlayervisibility needs 1 arguments.\n"},
        {"two arguments", {"1", "1"}, "VX_GraphicsServer_setlayervisibility: setlayervisibility needs 1 arguments.\n"},
        {"not a number", {"on"}, "VX_GraphicsServer_setlayervisibility: visibility conversion error 'on'.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        r = vx_send("setlayervisibility", layer, c.args);
        EXPECT_NE(r.code, 0);
        EXPECT_EQ(r.handle, c.text);
        EXPECT_EQ(VXLayer::getLayer(layer)->visibility, 0);
    }
}

TEST(LayerCommands, LayertotopAndBottomRestackTheLayer)
{
    Session s;
    const QString layer = vx_send("setlayer", s.axes, {"back"}).handle;
    const QString line = vx_send("polyline", s.viewport).handle;
    auto* vp = itemOf<VXViewport>(s.viewport);
    VXLayer* l = VXLayer::getLayer(layer);
    ASSERT_NE(l, nullptr);

    Reply r = vx_send("layertotop", layer);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "layertotop");
    EXPECT_EQ(vp->vars.display_list.last(), l);
    r = vx_send("layertobottom", layer);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(vp->vars.display_list.first(), l);

    for (const char* word : {"layertotop", "layertobottom"}) {
        SCOPED_TRACE(word);
        r = vx_send(word, "nolayer:nowhere");
        EXPECT_NE(r.code, 0);
        EXPECT_EQ(r.handle, QString("VX_GraphicsServer_%1: cannot find layer 'nolayer:nowhere'.\n").arg(word));
    }
    vx_send("delete", line);
}

TEST(GetViewport, AnswersTheViewportHandleOfItemsAndRefusesWidgets)
{
    Session s;
    EXPECT_EQ(vx_send("getviewport", s.axes).handle, s.viewport);
    EXPECT_EQ(vx_send("getviewport", s.viewport).handle, s.viewport);

    QString frame = vx_send("frame", s.window).handle;
    struct Case { const char* name; QString handle; QStringList args; const char* text; };
    const Case cases[] = {
        {"arguments", s.axes, {"x"}, "VX_GraphicsServer_getviewport: setlayer needs 0 arguments.\n"},
        {"a frame", frame, {}, "VX_GraphicsServer_getviewport: frame object has no viewport.\n"},
        {"a main window", s.window, {}, "VX_GraphicsServer_getviewport: Cannot find viewport.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Reply r = vx_send("getviewport", c.handle, c.args);
        EXPECT_NE(r.code, 0);
        EXPECT_EQ(r.handle, c.text);
    }
    vx_send("delete", frame);
}

TEST(GetViewport, RegistersAViewportMadeOutsideTheServerOnce)
{
    Session s;
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
