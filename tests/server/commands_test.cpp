// The session's own commands and the handle table, sent directly on the test thread.
#include "support/serversupport.h"

#include "server/procs.h"

#include <QAction>
#include <QFrame>
#include <QPointer>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

QString h(const char* type, int n)
{
    return QStringLiteral("%1:%2").arg(QLatin1String(type)).arg(n);
}

} // namespace

TEST(HandleTable, MainwindowRegistersItsFrameFirst)
{
    int n = vx_next_instance();
    Reply r = vx_send("mainwindow", "none");
    ASSERT_EQ(r.ret, 0);
    EXPECT_EQ(r.handle, h("mainwindow", n + 1));
    EXPECT_TRUE(r.params.isEmpty());
    int type = -1;
    auto* window = static_cast<VXMainWindow*>(VX_GraphicsServer_get_item(vx_test_server(), r.handle, &type, 0));
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(type, VX_TYPE_MAINWINDOW);
    EXPECT_EQ(window->tl_handle, h("frame", n));
    EXPECT_EQ(VX_GraphicsServer_get_item(vx_test_server(), h("frame", n), &type, 0), window->getToplevel());
    EXPECT_EQ(type, VX_TYPE_FRAME);
    EXPECT_EQ(window->centralWidget(), window->getToplevel());
    EXPECT_EQ(VX_GraphicsServer_get_value(vx_test_server(), window), r.handle);
    EXPECT_EQ(vx_next_instance(), n + 2);
}

TEST(HandleTable, NumbersAreNeverReusedAndDeletedEntriesGo)
{
    int n = vx_next_instance();
    Reply a = vx_send("mainwindow", "none");
    Reply d1 = vx_send("delete", a.handle);
    EXPECT_EQ(d1.code, 0);
    EXPECT_EQ(d1.handle, "delete");
    Reply b = vx_send("mainwindow", "none");
    EXPECT_EQ(a.handle, h("mainwindow", n + 1));
    EXPECT_EQ(b.handle, h("mainwindow", n + 3));
    // a deleted entry is gone: a second delete reports both lines
    Reply d2 = vx_send("delete", a.handle);
    EXPECT_EQ(d2.handle, QString("VX_GraphicsServer_get_item: Handle '%1' not found.\n"
                                 "VX_GraphicsServer_delete: VX_GraphicsServer_get_item(%1) error.\n")
                             .arg(a.handle));
    vx_send("delete", b.handle);
    // the entries of actions and trace views go, but their objects stay
    static int object = 5;
    QString handle;
    VX_GraphicsServer_set_item(vx_test_server(), VX_TYPE_TRACEVIEW, &object, handle);
    EXPECT_EQ(vx_send("delete", handle).code, 0);
    EXPECT_EQ(object, 5);
    EXPECT_EQ(VX_GraphicsServer_get_item(vx_test_server(), handle, nullptr, 0), nullptr);
    hl_clear_register(0);

    QAction action("Open");
    QPointer<QAction> guard(&action);
    VX_GraphicsServer_set_item(vx_test_server(), VX_TYPE_ACTION, &action, handle);
    EXPECT_EQ(vx_send("delete", handle).code, 0);
    EXPECT_FALSE(guard.isNull());
    EXPECT_EQ(VX_GraphicsServer_get_item(vx_test_server(), handle, nullptr, 0), nullptr);
}

TEST(HandleTable, HandleFormatsOfEveryTypeAndNoneOfAnUnknownType)
{
    // the table of formats, through set_item with a plain non-Qt pointer
    static int dummy;
    const char* names[] = {"viewport", "axes", "text", "polyline", "polypoint", "map", "mapevents", "textpopup",
                           "taskbar", "frame", "gridlayout", "formlayout", "splitter", "dockwidget", "button",
                           "menubar", "menu", "lineedit", "action", "filedialog", "spreadsheet", "mainwindow",
                           "timer", "scrollarea", "datagrid", "checkbox", "combobox", "dialog", "label",
                           "kvtreeview", "tableview", "dbtableview", "qktableview", "qkeventstableview",
                           "qkoriginstableview", "commandconsole", "traceview", "image"};
    for (int type = 0; type < VX_TYPE_COUNT; type++) {
        if (vx_as_qobject(type, &dummy))
            continue;  // Qt objects: entered with their own class, their formats checked by their commands
        SCOPED_TRACE(names[type]);
        int n = vx_next_instance();
        QString handle;
        ASSERT_EQ(VX_GraphicsServer_set_item(vx_test_server(), type, &dummy, handle), 0);
        EXPECT_EQ(handle, h(names[type], n));
        int got = -1;
        EXPECT_EQ(VX_GraphicsServer_get_item(vx_test_server(), handle, &got, 1), &dummy);
        EXPECT_EQ(got, type);
    }
    // unknown types are refused
    QString unchanged = "unchanged";
    const int n = vx_next_instance();
    EXPECT_EQ(VX_GraphicsServer_set_item(vx_test_server(), 38, nullptr, unchanged), -1);
    EXPECT_EQ(VX_GraphicsServer_set_item(vx_test_server(), -1, nullptr, unchanged), -1);
    EXPECT_EQ(takeErrors(), "VX_GraphicsServer_set_item: type not recognized.\nVX_GraphicsServer_set_item: type not recognized.\n");
    EXPECT_EQ(unchanged, "unchanged");
    EXPECT_EQ(vx_next_instance(), n);
}

TEST(HandleTable, ChildrenOfADeletedWindowAnswerAsDestroyed)
{
    for (const char* top : {"mainwindow", "frame"}) {
        SCOPED_TRACE(top);
        Reply w = vx_send(top, "none");
        QString frame = top == QString("frame") ? w.handle : itemOf<VXMainWindow>(w.handle)->tl_handle;
        QStringList children = {vx_send("button", frame).handle, vx_send("gridlayout", frame).handle};
        if (frame != w.handle)
            children << frame;
        ASSERT_EQ(vx_send("delete", w.handle).code, 0);
        // the handles stay behind, but are never dangling pointers
        for (const QString& child : children) {
            Reply r = vx_send("show", child);
            EXPECT_EQ(r.handle, QString("VX_GraphicsServer_get_item: Handle '%1' not found: its object was destroyed.\n"
                                        "VX_GraphicsServer_show: VX_GraphicsServer_get_item(%1) error.\n")
                                    .arg(child));
        }
    }
}

TEST(CommandErrors, ExactTextsAndNothingMade)
{
    Handles h;
    h["w"] = vx_send("mainwindow", "none").handle;
    h["f"] = itemOf<VXMainWindow>(h["w"])->tl_handle;
    expectRefusals({
        {"unknown word", "bogus", "none", {}, "VX_GraphicsServer_process: Unrecognized command 'bogus'.\n"},
        {"unknown word keeps case", "MainWindow", "none", {}, "VX_GraphicsServer_process: Unrecognized command 'MainWindow'.\n"},
        {"empty word", "", "none", {}, "VX_GraphicsServer_process: Unrecognized command ''.\n"},
        {"mainwindow unknown parent", "mainwindow", "frame:99999", {}, "VX_GraphicsServer_get_item: Handle 'frame:99999' not found.\nVX_GraphicsServer_mainwindow: VX_GraphicsServer_get_item(frame:99999) error.\n"},
        {"mainwindow bad close_window", "mainwindow", "none", {"yes"}, "VX_GraphicsServer_mainwindow: close_window conversion error 'yes'.\n"},
        {"mainwindow close_window not decimal", "mainwindow", "{f}", {"0x1"}, "VX_GraphicsServer_mainwindow: close_window conversion error '0x1'.\n"},
        {"delete unknown", "delete", "viewport:123456", {}, "VX_GraphicsServer_get_item: Handle 'viewport:123456' not found.\nVX_GraphicsServer_delete: VX_GraphicsServer_get_item(viewport:123456) error.\n"},
        {"show unknown", "show", "none", {}, "VX_GraphicsServer_get_item: Handle 'none' not found.\nVX_GraphicsServer_show: VX_GraphicsServer_get_item(none) error.\n"},
    }, h);
    vx_send("delete", h["w"]);
}

TEST(CommandErrors, SenderAddsItsLineAndAStaleRegisterTravelsWithTheNextError)
{
    VX_GraphicsServer_response* response = nullptr;
    QStringList none;
    hl_clear_register(0);
    EXPECT_EQ(VX_GraphicsServer_send(vx_test_server(), 0, &response, "nosuch", "none", &none, nullptr), -1);
    EXPECT_STREQ(hl_errlog_string(0), "VX_GraphicsServer_send_pvt: nosuch none, response error:\n"
                                      "VX_GraphicsServer_process: Unrecognized command 'nosuch'.\n\n");
    ASSERT_NE(response, nullptr);
    EXPECT_EQ(response->response, 1);
    hl_clear_register(0);
    delete response;
    // a stale register travels with the next error
    hl_register_error(0, "left over: from before.\n");
    Reply r = vx_send("bogus2", "none");
    EXPECT_EQ(r.handle, "left over: from before.\nVX_GraphicsServer_process: Unrecognized command 'bogus2'.\n");
}

TEST(Quit, DirectQuitSetsStateAndAnswersTheHandle)
{
    VX_GraphicsServer* s = vx_test_server();
    int saved = s->state;
    Reply r = vx_send("quit", "none");
    EXPECT_EQ(r.handle, "none");
    EXPECT_EQ(s->state.load(), VX_STATE_QUIT);
    s->state = saved;
}

TEST(CommandTable, EveryRowHasAProcUsageAndUniqueWord)
{
    QSet<QString> words;
    for (const VX_GraphicsServer_command_row& row : VX_GraphicsServer_commands()) {
        SCOPED_TRACE(row.command);
        EXPECT_NE(row.proc, nullptr);
        EXPECT_TRUE(QString(row.usage).startsWith(row.command));
        EXPECT_FALSE(words.contains(row.command));
        words.insert(row.command);
        EXPECT_EQ(VX_GraphicsServer_find_command(row.command), &row);
    }
    for (const char* word : {"mainwindow", "delete", "exec", "quit"})
        EXPECT_TRUE(words.contains(word)) << word;
}

TEST(Geometry, ShowsHidesSizesPlacesAndLimitsWidgets)
{
    Reply w = vx_send("mainwindow", "none");
    QWidget* window = itemOf<VXMainWindow>(w.handle);
    EXPECT_EQ(vx_send("show", w.handle).handle, "show");
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(vx_send("hide", w.handle).handle, "hide");
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(vx_send("geometry", w.handle, {"640", "480"}).handle, "geometry");
    EXPECT_EQ(window->size(), QSize(640, 480));
    vx_send("geometry", w.handle, {"5", "6", "300", "200"});
    EXPECT_EQ(window->geometry(), QRect(5, 6, 300, 200));
    vx_send("position", w.handle, {"30", "40"});
    EXPECT_EQ(window->pos(), QPoint(30, 40));
    vx_send("minimumsize", w.handle, {"0", "150"});
    EXPECT_EQ(window->minimumHeight(), 150);
    vx_send("maximumsize", w.handle, {"900", "0"});
    EXPECT_EQ(window->maximumWidth(), 900);
    vx_send("geometry_fixed", w.handle, {"1", "2", "320", "240"});
    EXPECT_EQ(window->minimumSize(), QSize(320, 240));
    EXPECT_EQ(window->maximumSize(), QSize(320, 240));
    EXPECT_EQ(window->pos(), QPoint(1, 2));
    vx_send("delete", w.handle);
}

TEST(Geometry, ExactRefusalsAlsoOfShowAndHide)
{
    Handles h;
    h["w"] = vx_send("mainwindow", "none").handle;
    static int item;
    VX_GraphicsServer_set_item(vx_test_server(), VX_TYPE_AXES, &item, h["x"]);
    QTimer timer;
    VX_GraphicsServer_set_item(vx_test_server(), VX_TYPE_TIMER, &timer, h["t"]);
    expectRefusals({
        {"three numbers", "geometry", "{w}", {"1", "2", "3"}, "VX_GraphicsServer_geometry: geometry command must have 2 or 4 arguments.\n"},
        {"bad number", "geometry", "{w}", {"1", "x"}, "VX_GraphicsServer_geometry: gemeometry conversion error 'x'.\n"},
        {"fixed count", "geometry_fixed", "{w}", {"1"}, "VX_GraphicsServer_fixed_geometry: geometry command must have 2 or 4 arguments.\n"},
        {"position count", "position", "{w}", {"1"}, "VX_GraphicsServer_position: position command must have 2.\n"},
        {"position number", "position", "{w}", {"a", "1"}, "VX_GraphicsServer_position: gemeometry conversion error 'a'.\n"},
        {"maximum count", "maximumsize", "{w}", {}, "VX_GraphicsServer_maximumsize: maximumsize command must have 2 arguments.\n"},
        {"minimum height", "minimumsize", "{w}", {"1", "h"}, "VX_GraphicsServer_minimumsize: height conversion error 'h'.\n"},
        {"unknown handle", "geometry", "frame:424242", {"1", "2"}, "VX_GraphicsServer_get_item: Handle 'frame:424242' not found.\nVX_GraphicsServer_geometry: VX_GraphicsServer_get_item(frame:424242) error.\n"},
        {"plot item", "geometry", "{x}", {"1", "2"}, "VX_GraphicsServer_geometry: axes object is not a widget.\n"},
        {"hide plot item", "hide", "{x}", {}, "VX_GraphicsServer_hide: Need to use itemhide for VXAxes item.\n"},
        {"show plot item", "show", "{x}", {}, "VX_GraphicsServer_show: Need to use itemshow for VXAxes item.\n"},
        {"hide timer", "hide", "{t}", {}, "VX_GraphicsServer_hide: cannot hide timer object.\n"},
    }, h);
    for (const char* entry : {"x", "t"})
        VX_GraphicsServer_get_item(vx_test_server(), h[entry], nullptr, 1);
    vx_send("delete", h["w"]);
}

TEST(HandleTable, MainWindowWhoseCentralFrameWasDeletedStillTakesChildren)
{
    Reply w = vx_send("mainwindow", "none");
    auto* window = itemOf<VXMainWindow>(w.handle);
    ASSERT_EQ(vx_send("delete", window->tl_handle).code, 0);
    EXPECT_EQ(window->getToplevel(), nullptr);
    Reply f = vx_send("frame", w.handle);
    ASSERT_EQ(f.code, 0) << f.handle.toStdString();
    EXPECT_EQ(itemOf<QFrame>(f.handle)->parentWidget(), window);
    EXPECT_EQ(vx_send("mainwindow_adjustsize", w.handle).code, 0);
    vx_send("delete", w.handle);
}
