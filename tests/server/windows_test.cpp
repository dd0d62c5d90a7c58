// Windows, containers and layouts made by command, sent directly on the test thread.
#include "support/serversupport.h"

#include "server/callbacks.h"
#include "server/procs.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QDialog>
#include <QDockWidget>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>

#include <gtest/gtest.h>

namespace {

// One of every container, for the error rows: {w} main window, {f} its
// frame, {b} button, {g} grid, {l} form layout, {s} splitter, {d} dock
// widget, {a} scroll area, {t} timer, {e} line edit.
struct Fixture : Handles
{
    Fixture()
    {
        h["w"] = vx_send("mainwindow", "none").handle;
        h["f"] = object<VXMainWindow>(h["w"])->tl_handle;
        h["b"] = vx_send("button", h["w"]).handle;
        h["g"] = vx_send("gridlayout", h["f"]).handle;
        h["l"] = vx_send("formlayout", h["w"]).handle;
        h["s"] = vx_send("splitter", h["w"]).handle;
        QString inner = vx_send("frame", h["w"]).handle;
        h["d"] = vx_send("dockwidget", h["w"], {inner, "Tools"}).handle;
        h["a"] = vx_send("scrollarea", h["w"]).handle;
        h["t"] = vx_send("timer", h["w"]).handle;
        h["e"] = vx_send("lineedit", h["w"]).handle;
    }
    ~Fixture() { vx_send("delete", h["w"]); }
};

using Layouts = WindowTest;
using Placing = WindowTest;

} // namespace

TEST(WindowCommandErrors, ExactTextsAndNothingMade)
{
    Fixture fx;
    expectRefusals({
        {"getframe of a frame", "mainwindow_getframe", "{f}", {}, "VX_GraphicsServer_mainwindow_getframe: item must be mainwindow.\n"},
        {"adjustsize of a button", "mainwindow_adjustsize", "{b}", {}, "VX_GraphicsServer_mainwindow_adjustsize: item must be mainwindow.\n"},
        {"adddockwidget count", "mainwindow_adddockwidget", "{w}", {"{d}"}, "VX_GraphicsServer_mainwindow_adddockwidget: Need 2 arguments.\n"},
        {"adddockwidget target", "mainwindow_adddockwidget", "{f}", {"{d}", "left"}, "VX_GraphicsServer_mainwindow_adddockwidget: item must be mainwindow.\n"},
        {"adddockwidget not a dock", "mainwindow_adddockwidget", "{w}", {"{b}", "left"}, "VX_GraphicsServer_mainwindow_adddockwidget: item must be dockwidget.\n"},
        {"adddockwidget unknown dock", "mainwindow_adddockwidget", "{w}", {"button:99999", "left"}, "VX_GraphicsServer_get_item: Handle 'button:99999' not found.\nVX_GraphicsServer_mainwindow_adddockwidget: VX_GraphicsServer_get_item(button:99999) error.\n"},
        {"resizedocks nothing", "mainwindow_resizedocks", "{w}", {}, "VX_GraphicsServer_mainwindow_resizedocks: Need 3 arguments.\n"},
        {"resizedocks unequal", "mainwindow_resizedocks", "{w}", {"vertical", "{d}"}, "VX_GraphicsServer_mainwindow_resizedocks: dockwidgets list must be same size as sizes list.\n"},
        {"resizedocks not a dock", "mainwindow_resizedocks", "{w}", {"vertical", "{b}", "100"}, "VX_GraphicsServer_mainwindow_resizedocks: item must be dockwidget.\n"},
        {"resizedocks size", "mainwindow_resizedocks", "{w}", {"vertical", "{d}", "wide"}, "VX_GraphicsServer_mainwindow_resizedocks: size error 'wide'.\n"},
        {"window_title count", "window_title", "{w}", {}, "VX_GraphicsServer_window_title: window_title needs 1 arguments.\n"},
        {"window_title target", "window_title", "{b}", {"x"}, "VX_GraphicsServer_window_title: item must be frame, mainwindow or dialog.\n"},
        {"frame parent", "frame", "{b}", {}, "VX_GraphicsServer_frame: parent must be another frame or dialog or mainwindow or splitter.\n"},
        {"frame unknown parent", "frame", "button:99999", {}, "VX_GraphicsServer_get_item: Handle 'button:99999' not found.\nVX_GraphicsServer_frame: VX_GraphicsServer_get_item(button:99999) error.\n"},
        {"cleareventtransparency", "frame_cleareventtransparency", "{w}", {}, "VX_GraphicsServer_frame_cleareventtransparency: item must be a frame.\n"},
        {"setmodality target", "frame_setmodality", "{g}", {"application"}, "VX_GraphicsServer_frame_setmodality: item must be a frame.\n"},
        {"gridlayout parent", "gridlayout", "{b}", {}, "VX_GraphicsServer_gridlayout: parent must be one of frame, dialog, mainwindow, scrollarea, kvtreeview, tableview, dbtableview, qktableview, commandconsole or traceview.\n"},
        {"grid spacing target", "gridlayout_spacing", "{f}", {"1", "2"}, "VX_GraphicsServer_gridlayout_spacing: gridlayout_spacing must have gridlayout item, not frame.\n"},
        {"grid spacing count", "gridlayout_spacing", "{g}", {"1"}, "VX_GraphicsServer_gridlayout_spacing: girdlayout_spacing needs 2 arguments.\n"},
        {"grid spacing v", "gridlayout_spacing", "{g}", {"1", "2.5"}, "VX_GraphicsServer_gridlayout_spacing: vspacing error '2.5'.\n"},
        {"grid margins bottom", "gridlayout_margins", "{g}", {"1", "2", "3", "z"}, "VX_GraphicsServer_gridlayout_margins: bottom error 'z'.\n"},
        {"grid margins target", "gridlayout_margins", "{l}", {"1", "2", "3", "4"}, "VX_GraphicsServer_gridlayout_margins: gridlayout_margins must have gridlayout item, not formlayout.\n"},
        {"addwidget target", "gridlayout_addwidget", "{l}", {"{b}", "0", "0", "1", "1"}, "VX_GraphicsServer_gridlayout_addwidget: addwidget must have gridlayout item, not formlayout.\n"},
        {"addwidget count", "gridlayout_addwidget", "{g}", {"{b}", "0", "0", "1"}, "VX_GraphicsServer_gridlayout_addwidget: addwidget needs 5 arguments.\n"},
        {"addwidget fromrow", "gridlayout_addwidget", "{g}", {"{b}", "r", "0", "1", "1"}, "VX_GraphicsServer_gridlayout_addwidget: fromrow error 'r'.\n"},
        {"addwidget columnspan", "gridlayout_addwidget", "{g}", {"{b}", "0", "0", "1", ""}, "VX_GraphicsServer_gridlayout_addwidget: columnspan error ''.\n"},
        {"addwidget timer", "gridlayout_addwidget", "{g}", {"{t}", "0", "0", "1", "1"}, "VX_GraphicsServer_gridlayout_addwidget: addwidget widget must be frame, button, menubar, menu, spreadsheet, splitter, or viewport.\n"},
        {"addwidget itself", "gridlayout_addwidget", "{g}", {"{g}", "0", "0", "1", "1"}, "VX_GraphicsServer_gridlayout_addwidget: layout {g} already has a parent.\n"},
        {"addwidget unknown", "gridlayout_addwidget", "{g}", {"button:99999", "0", "0", "1", "1"}, "VX_GraphicsServer_get_item: Handle 'button:99999' not found.\nVX_GraphicsServer_gridlayout_addwidget: VX_GraphicsServer_get_item(button:99999) error.\n"},
        {"columnstretch count", "gridlayout_columnstretch", "{g}", {"0"}, "VX_GraphicsServer_gridlayout_columnstretch: columnstretch needs 2 arguments.\n"},
        {"rowstretch target", "gridlayout_rowstretch", "{b}", {"0", "1"}, "VX_GraphicsServer_gridlayout_rowstretch: rowstretch must have gridlayout item, not button.\n"},
        {"columnwidth column", "gridlayout_columnwidth", "{g}", {"c", "1"}, "VX_GraphicsServer_gridlayout_columnwidth: column error 'c'.\n"},
        {"rowheight height", "gridlayout_rowheight", "{g}", {"0", "h"}, "VX_GraphicsServer_gridlayout_rowheight: height error 'h'.\n"},
        {"rowstretch stretch", "gridlayout_rowstretch", "{g}", {"0", "s"}, "VX_GraphicsServer_gridlayout_rowstretch: stretch error 's'.\n"},
        {"formlayout parent", "formlayout", "{b}", {}, "VX_GraphicsServer_formlayout: parent must be a frame or mainwindow or dialog.\n"},
        {"addrow target", "formlayout_addrow", "{g}", {"Name", "{e}"}, "VX_GraphicsServer_formlayout_addrow: addrow must have formlayout item, not gridlayout.\n"},
        {"addrow count", "formlayout_addrow", "{l}", {"Name"}, "VX_GraphicsServer_formlayout_addrow: addrow needs 2 arguments.\n"},
        {"form spacing count", "formlayout_spacing", "{l}", {"1"}, "VX_GraphicsServer_formlayout_spacing: girdlayout_spacing needs 2 arguments.\n"},
        {"form spacing target", "formlayout_spacing", "{g}", {"1", "1"}, "VX_GraphicsServer_formlayout_spacing: formlayout_spacing must have formlayout item, not gridlayout.\n"},
        {"form margins left", "formlayout_margins", "{l}", {"q", "2", "3", "4"}, "VX_GraphicsServer_formlayout_margins: left error 'q'.\n"},
        {"splitter parent", "splitter", "{b}", {}, "VX_GraphicsServer_splitter: parent must be a frame or dialog or mainwindow.\n"},
        {"splitter addwidget target", "splitter_addwidget", "{g}", {"{b}", "0"}, "VX_GraphicsServer_splitter_addwidget: addwidget must have splitter item, not gridlayout.\n"},
        {"splitter addwidget widget", "splitter_addwidget", "{s}", {"{t}", "0"}, "VX_GraphicsServer_splitter_addwidget: addwidget widget must be frame, button, menubar, menu, spreadsheet, splitter, scrollarea or viewport.\n"},
        {"splitter addwidget count", "splitter_addwidget", "{s}", {"{b}"}, "VX_GraphicsServer_splitter_addwidget: addwidget needs 2 arguments.\n"},
        {"splitter addwidget index", "splitter_addwidget", "{s}", {"{b}", "i"}, "VX_GraphicsServer_splitter_addwidget: index error 'i'.\n"},
        {"splitter stretch count", "splitter_stretch", "{s}", {"0"}, "VX_GraphicsServer_splitter_stretch: stretch needs 2 arguments.\n"},
        {"splitter stretch factor", "splitter_stretch", "{s}", {"0", "f"}, "VX_GraphicsServer_splitter_stretch: factor error 'f'.\n"},
        {"setsizes empty splitter", "splitter_setsizes", "{s}", {"1"}, "VX_GraphicsServer_splitter_setsizes: setsizes needs 0 arguments.\n"},
        {"setsizes target", "splitter_setsizes", "{f}", {}, "VX_GraphicsServer_splitter_setsizes: setsizes must have splitter item, not frame.\n"},
        {"dockwidget parent", "dockwidget", "{f}", {"{b}", "T"}, "VX_GraphicsServer_dockwidget: parent must be a mainwindow.\n"},
        {"dockwidget count", "dockwidget", "{w}", {"{b}"}, "VX_GraphicsServer_dockwidget: dockwidget needs 2 arguments.\n"},
        {"dockwidget widget", "dockwidget", "{w}", {"{t}", "T"}, "VX_GraphicsServer_dockwidget: dockwidget parent must be frame, button, menubar, menu, spreadsheet, splitter, or viewport.\n"},
        {"setfloating target", "dockwidget_setfloating", "{w}", {"1"}, "VX_GraphicsServer_dockwidget_setfloating: parent must be a dockwidget.\n"},
        {"setfloating count", "dockwidget_setfloating", "{d}", {}, "VX_GraphicsServer_dockwidget_setfloating: setfloating needs 1 arguments.\n"},
        {"scrollarea parent", "scrollarea", "{b}", {}, "VX_GraphicsServer_scrollarea: parent must be a frame or mainwindow.\n"},
        {"scrollarea widget target", "scrollarea_widget", "{b}", {"{f}"}, "VX_GraphicsServer_scrollarea_widget: item must be a scrollarea.\n"},
        {"scrollarea widget count", "scrollarea_widget", "{a}", {}, "VX_GraphicsServer_scrollarea_widget: Need widget argument.\n"},
        {"widgetresizable count", "scrollarea_widgetresizable", "{a}", {}, "VX_GraphicsServer_scrollarea_widgetresizable: Need one argument.\n"},
        {"widgetresizable ans", "scrollarea_widgetresizable", "{a}", {"yes"}, "VX_GraphicsServer_scrollarea_widgetresizable: ans error 'yes'.\n"},
        {"scrollbar count", "scrollarea_scrollbar", "{a}", {"1"}, "VX_GraphicsServer_scrollarea_scrollbar: need two arguments.\n"},
        {"scrollbar isvertical", "scrollarea_scrollbar", "{a}", {"v", "1"}, "VX_GraphicsServer_scrollarea_scrollbar: isvertical error 'v'.\n"},
    }, fx);
}

// Their replies are in the layouts transcript; here, what they do.
TEST(WindowCommands, SuccessfulCommandsReachTheWidgets)
{
    Fixture fx;
    const QStringList sends[] = {
        {"window_title", "{w}", "Stations"}, {"mainwindow_adddockwidget", "{w}", "{d}", "right"},
        {"gridlayout_spacing", "{g}", "3", "4"}, {"gridlayout_columnstretch", "{g}", "1", "2"},
        {"frame_setmodality", "{f}", "window"}, {"scrollarea_scrollbar", "{a}", "0", "0"},
        {"scrollarea_widget", "{a}", "{al}"}, {"scrollarea_widgetresizable", "{a}", "1"},
    };
    fx.h["al"] = vx_send("label", fx.h["a"]).handle;
    for (const QStringList& c : sends)
        EXPECT_EQ(vx_send(c[0], fx.fill(c[1]), fx.fill(c.mid(2))).code, 0) << c.join(' ').toStdString();
    // the replies not in the transcript
    EXPECT_EQ(vx_send("mainwindow_adjustsize", fx.h["w"]).handle, fx.h["w"]);
    EXPECT_EQ(vx_send("frame_seteventtransparency", fx.h["f"]).handle, fx.h["f"]);
    auto* window = object<VXMainWindow>(fx.h["w"]);
    EXPECT_EQ(window->windowTitle(), "Stations");
    EXPECT_EQ(window->dockWidgetArea(object<QDockWidget>(fx.h["d"])), Qt::RightDockWidgetArea);
    auto* grid = object<QGridLayout>(fx.h["g"]);
    EXPECT_EQ(grid->horizontalSpacing(), 3);
    EXPECT_EQ(grid->verticalSpacing(), 4);
    EXPECT_EQ(grid->columnStretch(1), 2);
    EXPECT_EQ(object<QFrame>(fx.h["f"])->windowModality(), Qt::WindowModal);
    EXPECT_TRUE(object<QFrame>(fx.h["f"])->testAttribute(Qt::WA_TransparentForMouseEvents));
    auto* area = object<QScrollArea>(fx.h["a"]);
    EXPECT_EQ(area->horizontalScrollBarPolicy(), Qt::ScrollBarAlwaysOff);
    EXPECT_EQ(area->widget(), object<QLabel>(fx.h["al"])) << "a label made in a scroll area goes inside";
    EXPECT_TRUE(area->widgetResizable());
}

TEST_F(Layouts, TwoByTwoGridPlacesButtonsByRowAndColumnAndTakesAFormLayout)
{
    auto* window = object<VXMainWindow>(w);
    QString g = vx_send("gridlayout", window->tl_handle).handle;
    QString b[2][2];
    for (int row = 0; row < 2; row++)
        for (int col = 0; col < 2; col++) {
            b[row][col] = vx_send("button", w).handle;
            vx_send("button_text", b[row][col], {QString("r%1c%2").arg(row).arg(col)});
        }
    // added out of order: the row and column arguments decide, not the order
    for (int i = 3; i >= 0; i--) {
        const QString row = QString::number(i / 2), col = QString::number(i % 2);
        ASSERT_EQ(vx_send("gridlayout_addwidget", g, {b[i / 2][i % 2], row, col, "1", "1"}).code, 0);
    }
    window->resize(300, 200);
    window->show();
    window->getToplevel()->layout()->activate();
    QRect r[2][2];
    for (int row = 0; row < 2; row++)
        for (int col = 0; col < 2; col++)
            r[row][col] = object<QPushButton>(b[row][col])->geometry();
    QRect frame = window->getToplevel()->rect();
    // spacing and margins 0: the columns tile the frame's width; buttons
    // keep their height, so the rows sit one below the other
    EXPECT_EQ(r[0][0].left(), frame.left());
    EXPECT_EQ(r[0][1].left(), r[0][0].right() + 1);
    EXPECT_EQ(r[0][1].top(), r[0][0].top());
    EXPECT_EQ(r[1][0].left(), r[0][0].left());
    EXPECT_GT(r[1][0].top(), r[0][0].bottom());
    EXPECT_EQ(r[1][1].left(), r[0][1].left());
    EXPECT_EQ(r[1][1].top(), r[1][0].top());
    EXPECT_EQ(r[1][1].right(), frame.right());
    EXPECT_EQ(object<QGridLayout>(g)->itemAtPosition(1, 0)->widget(), object<QPushButton>(b[1][0]));
    // a form layout nests in the grid, below the buttons
    QString form = vx_send("formlayout", w).handle;  // the frame has its grid already
    QString edit = vx_send("lineedit", w).handle;
    ASSERT_EQ(vx_send("formlayout_addrow", form, {"Station:", edit}).code, 0);
    Reply nested = vx_send("gridlayout_addwidget", g, {form, "2", "0", "1", "2"});
    ASSERT_EQ(nested.code, 0) << nested.handle.toStdString();
    EXPECT_EQ(nested.handle, g);
    auto* grid = object<QGridLayout>(g);
    auto* inner = object<QFormLayout>(form);
    EXPECT_EQ(inner->parent(), grid);
    EXPECT_EQ(grid->itemAtPosition(2, 1)->layout(), inner);
    EXPECT_EQ(window->getToplevel()->layout(), grid);
    // a layout nested once cannot be nested again
    QString g2 = vx_send("gridlayout", window->tl_handle).handle;
    EXPECT_EQ(vx_send("gridlayout_addwidget", g2, {form, "0", "0", "1", "1"}).handle,
              QString("VX_GraphicsServer_gridlayout_addwidget: layout %1 already has a parent.\n").arg(form));
}

TEST_F(Layouts, SplitterSizesMustMatchItsChildren)
{
    Handles h;
    QString s = h["s"] = vx_send("splitter", w, {"vertical"}).handle;
    auto* splitter = object<QSplitter>(s);
    EXPECT_EQ(splitter->orientation(), Qt::Vertical);
    for (int i = 0; i < 2; i++)
        ASSERT_EQ(vx_send("splitter_addwidget", s, {vx_send("button", w).handle, "0"}).code, 0);
    ASSERT_EQ(splitter->count(), 2);
    expectRefusals({
        {"three sizes", "splitter_setsizes", "{s}", {"10", "20", "30"}, "VX_GraphicsServer_splitter_setsizes: setsizes needs 2 arguments.\n"},
        {"one size", "splitter_setsizes", "{s}", {"10"}, "VX_GraphicsServer_splitter_setsizes: setsizes needs 2 arguments.\n"},
        {"bad size", "splitter_setsizes", "{s}", {"10", "x"}, "VX_GraphicsServer_splitter_setsizes: index size error 'x'.\n"},
    }, h);
    EXPECT_EQ(vx_send("splitter_setsizes", s, {"100", "300"}).code, 0);
    EXPECT_EQ(vx_send("splitter_stretch", s, {"1", "3"}).code, 0);
    // a frame made in a splitter is one more child
    QString f = vx_send("frame", s).handle;
    EXPECT_EQ(object<QFrame>(f)->parentWidget(), splitter);
    EXPECT_EQ(vx_send("splitter_setsizes", s, {"1", "2"}).handle,
              "VX_GraphicsServer_splitter_setsizes: setsizes needs 3 arguments.\n");
}

TEST(Frames, TopLevelsCloseWindowTitleAndParents)
{
    VX_GraphicsServer* server = vx_test_server();
    const QString saved = server->toplevel_name;
    server->toplevel_name = "Review";
    for (QString word : {"mainwindow", "frame"}) {
        SCOPED_TRACE(word.toStdString());
        server->first_toplevel = 1;
        // the first top level ends the session on close, later ones only with a single argument 1
        const QStringList made = {vx_send(word, "none").handle, vx_send(word, "none").handle,
                                  vx_send(word, "none", {"1"}).handle, vx_send(word, "none", {"1", "2"}).handle};
        const int close_window[] = {1, 0, 1, 0};
        for (int i = 0; i < 4; i++) {
            const int got = word == "frame" ? object<VXTopLevel>(made[i])->close_window
                                            : object<VXMainWindow>(made[i])->close_window;
            EXPECT_EQ(got, close_window[i]) << i;
        }
        EXPECT_EQ(server->first_toplevel, 0);
        auto* first = object<QWidget>(made[0]);
        EXPECT_EQ(first->windowTitle(), "Review");
        for (const QString& h : made)
            vx_send("delete", h);
    }
    // a main window inside a frame: no title, and no Qt parent of its own
    Reply top = vx_send("mainwindow", "none");
    auto* window = object<VXMainWindow>(top.handle);
    auto* inner = object<VXMainWindow>(vx_send("mainwindow", window->tl_handle).handle);
    EXPECT_EQ(inner->windowTitle(), "");
    EXPECT_EQ(inner->parent_widget, window->getToplevel());
    EXPECT_EQ(inner->parentWidget(), nullptr);
    // a frame is its own top level; frames go in frames and dialogs, dialogs take the title
    Reply frame = vx_send("frame", "none");
    auto* outer = object<VXTopLevel>(frame.handle);
    EXPECT_EQ(outer->getToplevel(), outer);
    Reply child = vx_send("frame", frame.handle);
    EXPECT_EQ(object<QFrame>(child.handle)->parentWidget(), outer);
    Reply dialog = vx_send("dialog", frame.handle);
    EXPECT_EQ(object<QDialog>(dialog.handle)->windowTitle(), "Review");
    EXPECT_EQ(vx_send("window_title", dialog.handle, {"Picks"}).code, 0);
    EXPECT_EQ(object<QDialog>(dialog.handle)->windowTitle(), "Picks");
    Reply in_dialog = vx_send("frame", dialog.handle);
    EXPECT_EQ(object<QFrame>(in_dialog.handle)->parentWidget(), object<QDialog>(dialog.handle));
    server->toplevel_name = saved;
    vx_send("delete", top.handle);
    vx_send("delete", frame.handle);
}

namespace {

int close_calls = 0;
void onClose(void*, QCloseEvent*, void* data)
{
    close_calls += *static_cast<int*>(data);
}

} // namespace

TEST(Frames, ClosingEndsTheSessionOnlyWithCloseWindow)
{
    VX_GraphicsServer* server = vx_test_server();
    int saved = server->state;
    server->state = VX_STATE_RUNNING;
    Reply quiet = vx_send("frame", "none", {"0"});
    Reply ending = vx_send("mainwindow", "none", {"1"});
    static int weight = 5;
    close_calls = 0;
    object<VXMainWindow>(ending.handle)->setCloseCallback(onClose, &weight);
    object<VXTopLevel>(quiet.handle)->setCloseCallback(onClose, &weight);

    object<VXTopLevel>(quiet.handle)->show();
    object<VXTopLevel>(quiet.handle)->close();
    EXPECT_EQ(server->state.load(), VX_STATE_RUNNING);
    EXPECT_EQ(close_calls, 0);

    object<VXMainWindow>(ending.handle)->show();
    object<VXMainWindow>(ending.handle)->close();
    EXPECT_EQ(server->state.load(), VX_STATE_QUIT);
    EXPECT_EQ(close_calls, 5);
    // a removed callback is not called again
    object<VXMainWindow>(ending.handle)->removeCloseCallback(onClose);
    object<VXMainWindow>(ending.handle)->show();
    object<VXMainWindow>(ending.handle)->close();
    EXPECT_EQ(close_calls, 5);
    server->state = saved;
    vx_send("delete", quiet.handle);
    vx_send("delete", ending.handle);
}

TEST(Frames, AParentlessWindowRaisesItselfOnceAfterItsFirstPaint)
{
    Reply top = vx_send("mainwindow", "none");
    auto* window = object<VXMainWindow>(top.handle);
    Reply inner = vx_send("mainwindow", window->tl_handle);
    auto* child = object<VXMainWindow>(inner.handle);
    EXPECT_EQ(window->first, 1);
    window->resize(100, 80);
    child->resize(100, 80);
    window->grab();  // paints
    child->grab();
    EXPECT_EQ(window->first, 1);  // the raise waits for the event loop
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    EXPECT_EQ(window->first, 0);
    EXPECT_EQ(child->first, 1);  // a window with a parent never raises itself
    vx_send("delete", inner.handle);
    vx_send("delete", top.handle);
}

// A widget placed inside itself or one of its descendants would make a
// parent cycle, on which Qt loops for ever: the placing commands refuse it
// and leave the widgets where they were.  (Main windows and their docks
// never have a Qt parent, so they cannot close a cycle.)
TEST_F(Placing, AWidgetNeverGoesInsideItsOwnDescendantNorLeavesAHole)
{
    Handles h;
    h["f"] = object<VXMainWindow>(w)->tl_handle;
    h["a"] = vx_send("scrollarea", h["f"]).handle;
    h["g"] = vx_send("gridlayout", h["f"]).handle;
    h["s"] = vx_send("splitter", w).handle;
    auto* frame = object<QFrame>(h["f"]);
    QWidget* frame_parent = frame->parentWidget();
    expectRefusals({
        {"scroll area in its own frame", "scrollarea_widget", "{a}", {"{f}"}, "VX_GraphicsServer_scrollarea_widget: {f} cannot be placed inside {a}, which it contains.\n"},
        {"frame into the grid that lays it out", "gridlayout_addwidget", "{g}", {"{f}", "0", "0", "1", "1"}, "VX_GraphicsServer_gridlayout_addwidget: {f} cannot be placed inside {g}, which it contains.\n"},
        {"splitter's ancestor into it", "splitter_addwidget", "{s}", {"{f}", "0"}, "VX_GraphicsServer_splitter_addwidget: {f} cannot be placed inside {s}, which it contains.\n"},
    }, h);
    EXPECT_EQ(frame->parentWidget(), frame_parent);
    EXPECT_EQ(object<QScrollArea>(h["a"])->widget(), nullptr);
    EXPECT_EQ(object<QSplitter>(h["s"])->count(), 0);
    EXPECT_EQ(vx_send("show", w).code, 0);  // would loop for ever on a cycle
    // a second grid made on the frame is only the frame's child: a button
    // laid out in it and then deleted leaves an empty item there, which must
    // go before the grid is nested into the frame's own layout
    const QString outer = h["g"];
    const QString inner = vx_send("gridlayout", h["f"]).handle;
    const QString b = vx_send("button", h["f"]).handle;
    ASSERT_EQ(vx_send("gridlayout_addwidget", inner, {b, "0", "0", "1", "1"}).code, 0);
    vx_send("delete", b);
    ASSERT_EQ(vx_send("gridlayout_addwidget", outer, {inner, "0", "0", "1", "1"}).code, 0);
    EXPECT_EQ(object<QGridLayout>(inner)->count(), 0);
    EXPECT_EQ(vx_send("show", w).code, 0);  // read the dead item before
}

