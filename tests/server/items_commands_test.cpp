// The commands that apply to any handle: hiding, naming, staleness,
// stacking, repainting, geometry and screens.
#include "support/testsupport.h"

#include "server/procs.h"
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

TEST(ItemCommands, HideAndShowToggleThePlotItem)
{
    Session s;
    VXViewportItem* item = axesItem(s.axes);
    ASSERT_TRUE(item->isShown());
    Reply r = vx_send("itemhide", s.axes);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "itemhide");
    EXPECT_FALSE(item->isShown());
    r = vx_send("itemshow", s.axes);
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.handle, "itemshow");
    EXPECT_TRUE(item->isShown());
}

TEST(ItemCommands, SetNameNamesTheItemAndChecksItsCount)
{
    Session s;
    VXViewportItem* item = axesItem(s.axes);
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
        Reply r = vx_send(c.word, c.handle, c.word == QString("itemsetname") ? QStringList{"x"} : QStringList{});
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

TEST(ItemCommands, TotopOfAPlotItemAndItsLookupWording)
{
    Session s;
    EXPECT_EQ(vx_send("totop", s.axes).code, 0);
    EXPECT_EQ(vx_send("tobottom", s.axes).code, 0);
    Reply r = vx_send("totop", "axes:999999");
    EXPECT_TRUE(r.handle.contains("VX_GraphicsServer_show: VX_GraphicsServer_get_item(axes:999999) error.\n"))
        << r.handle.toStdString();
}

TEST(ItemCommands, UpdateAcceptsItemsAndWidgets)
{
    Session s;
    EXPECT_EQ(vx_send("update", s.axes).handle, "update");
    EXPECT_EQ(vx_send("update", s.viewport).handle, "update");
    EXPECT_EQ(vx_send("update", s.window).handle, "update");
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
