// Widgets, menus, timers and client callbacks, sent directly on the test thread.
#include "support/serversupport.h"

#include "server/callbacks.h"
#include "server/procs.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QEventLoop>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

namespace {

// What the callbacks saw.
struct Call
{
    void* item;
    QString handle;
    QStringList params;
    int type;
};

struct Recorder
{
    QList<Call> calls;
    std::function<void(const Call&)> then;  // run inside the callback
};

QVariant record(void* item, QString handle, QStringList params, int type, HL_ClientData data)
{
    auto* r = static_cast<Recorder*>(data);
    r->calls.append({item, handle, params, type});
    if (r->then)
        r->then(r->calls.last());
    return QVariant();
}

Reply bind(const QString& handle, Recorder* recorder)
{
    return sendExtra("qt_callback", handle, {reinterpret_cast<void*>(&record), recorder});
}

// Run the event loop until done() holds; a safety cap ends a hung test.
void runUntil(const std::function<bool()>& done)
{
    QEventLoop loop;
    QTimer poll, cap;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done())
            loop.quit();
    });
    QObject::connect(&cap, &QTimer::timeout, &loop, [&] {
        ADD_FAILURE() << "the condition never held";
        loop.quit();
    });
    poll.start(1);
    cap.start(30000);
    if (!done())
        loop.exec();
}

using WidgetCommandErrors = WindowTest;
using Widgets = WindowTest;
using Menus = WindowTest;
using Callbacks = WindowTest;

} // namespace

TEST_F(WidgetCommandErrors, ExactTextsAndNothingMade)
{
    Handles h;
    h["w"] = w;
    h["b"] = vx_send("button", h["w"]).handle;
    h["l"] = vx_send("label", h["w"]).handle;
    h["c"] = vx_send("combobox", h["w"]).handle;
    h["e"] = vx_send("lineedit", h["w"]).handle;
    h["x"] = vx_send("checkbox", h["w"]).handle;
    h["mb"] = vx_send("menubar", h["w"]).handle;
    h["m"] = vx_send("menubar_addmenu", h["mb"], {"File"}).handle;
    h["t"] = vx_send("timer", h["w"]).handle;
    h["g"] = vx_send("gridlayout", object<VXMainWindow>(h["w"])->tl_handle).handle;
    h["f"] = vx_send("frame", h["w"]).handle;
    expectRefusals({
        {"button parent", "button", "{b}", {}, "VX_GraphicsServer_button: parent must be a frame or mainwindow.\n"},
        {"button unknown parent", "button", "button:99999", {}, "VX_GraphicsServer_get_item: Handle 'button:99999' not found.\nVX_GraphicsServer_button: VX_GraphicsServer_get_item(button:99999) error.\n"},
        {"label parent", "label", "{t}", {}, "VX_GraphicsServer_label: parent must be a frame or mainwindow or scrollarea.\n"},
        {"checkbox parent", "checkbox", "{g}", {}, "VX_GraphicsServer_checkbox: parent must be a frame or mainwindow.\n"},
        {"combobox parent", "combobox", "{t}", {}, "VX_GraphicsServer_combobox: parent must be a frame or mainwindow.\n"},
        {"lineedit parent", "lineedit", "{c}", {}, "VX_GraphicsServer_lineedit: parent must be a frame or mainwindow.\n"},
        {"menubar parent", "menubar", "{mb}", {}, "VX_GraphicsServer_menubar: parent must be a frame or mainwindow.\n"},
        {"menu parent", "menu", "{b}", {}, "VX_GraphicsServer_menu: parent must be a viewport, frame or mainwindow.\n"},
        {"timer lookup", "timer", "button:99999", {}, "VX_GraphicsServer_get_item: Handle 'button:99999' not found.\nVX_GraphicsServer_timer: VX_GraphicsServer_get_timer(button:99999) error.\n"},
        {"timer parent", "timer", "{t}", {}, "VX_GraphicsServer_timer: parent must be a frame or mainwindow.\n"},
        {"filedialog count", "filedialog", "{w}", {"a", "b"}, "VX_GraphicsServer_filedialog: filedialog needs 3 or 4 arguments.\n"},
        {"filedialog parent", "filedialog", "{b}", {"a", "b", "c"}, "VX_GraphicsServer_filedialog: parent must be a frame or mainwindow.\n"},
        {"button_text target", "button_text", "{l}", {"x"}, "VX_GraphicsServer_button_text: button_text must have button item, not label.\n"},
        {"label_text target", "label_text", "{b}", {}, "VX_GraphicsServer_label_text: label_text must have label item, not button.\n"},
        {"checkbox_text target", "checkbox_text", "{b}", {}, "VX_GraphicsServer_checkbox_text: checkbox_text must have checkbox item, not button.\n"},
        {"checkbox_state target", "checkbox_state", "{b}", {"1"}, "VX_GraphicsServer_checkbox_text: checkbox_state must have checkbox item, not button.\n"},
        {"label_selectable number", "label_selectable", "{l}", {"yes"}, "VX_GraphicsServer_label_selectable: selectable conversion error 'yes'.\n"},
        {"label_selectable target", "label_selectable", "{b}", {"1"}, "VX_GraphicsServer_label_selectable: label_selectable must have label item, not button.\n"},
        {"combobox_clear target", "combobox_clear", "{e}", {}, "VX_GraphicsServer_combobox_clear: combobox_clear must have combobox item, not lineedit.\n"},
        {"combobox_additems target", "combobox_additems", "{b}", {"a"}, "VX_GraphicsServer_combobox_additems: combobox_additems must have combobox item, not button.\n"},
        {"combobox_index target", "combobox_index", "{e}", {"1"}, "VX_GraphicsServer_combobox_index: combobox_index must have combobox item, not lineedit.\n"},
        {"combobox_text target", "combobox_text", "{e}", {}, "VX_GraphicsServer_combobox_text: combobox_text must have combobox item, not lineedit.\n"},
        {"lineedit_text target", "lineedit_text", "{c}", {"x"}, "VX_GraphicsServer_lineedit_text: lineedit_text must have lineedit item, not combobox.\n"},
        {"menubar_addmenu count", "menubar_addmenu", "{mb}", {}, "VX_GraphicsServer_menubar_addmenu: menubar_addmenu needs 1 argument.\n"},
        {"menubar_addmenu target", "menubar_addmenu", "{m}", {"X"}, "VX_GraphicsServer_menubar_addmenu: menubar_addmenu must have menubar item, not menu.\n"},
        {"menu_addmenu count", "menu_addmenu", "{m}", {}, "VX_GraphicsServer_menu_addmenu: menu_addmenu needs 1 argument.\n"},
        {"menu_additem target", "menu_additem", "{mb}", {"{mb}", "Open"}, "VX_GraphicsServer_menu_additem: menu_addmenu must have menu item, not menubar.\n"},
        {"menu_additem count", "menu_additem", "{m}", {"{mb}"}, "VX_GraphicsServer_menu_additem: menu_additem needs 2 arguments.\n"},
        {"menu_addwidget parent", "menu_addwidget", "{m}", {"{f}", "{x}"}, "VX_GraphicsServer_menu_addwidget: menu_addwidget must have action parent menubar, not frame.\n"},
        {"menu_addwidget widget", "menu_addwidget", "{m}", {"{mb}", "{b}"}, "VX_GraphicsServer_menu_addwidget: menu_addwidget must have action widget checkbox, not button.\n"},
        {"menu_addwidget count", "menu_addwidget", "{m}", {"{mb}"}, "VX_GraphicsServer_menu_addwidget: menu_addwidget needs 2 arguments.\n"},
        {"menu_addseparator target", "menu_addseparator", "{b}", {}, "VX_GraphicsServer_menu_addseparator: menu_addseparator must have menu item, not button.\n"},
        {"setstylesheet count", "setstylesheet", "{w}", {}, "VX_GraphicsServer_setstylesheet: setstylesheet needs 1 argument.\n"},
        {"setstylesheet layout", "setstylesheet", "{g}", {"color: red"}, "VX_GraphicsServer_setstylesheet: gridlayout object is not a widget.\n"},
        {"setsingleshot target", "timer_setsingleshot", "{b}", {}, "VX_GraphicsServer_timer_setoneshot: item must be a timer.\n"},
        {"setinterval count", "timer_setinterval", "{t}", {}, "VX_GraphicsServer_timer_setinterval: timer_setinterval needs 1 argument.\n"},
        {"setinterval negative", "timer_setinterval", "{t}", {"-5"}, "VX_GraphicsServer_timer_setinterval: interval must not be negative, not -5.\n"},
        {"timer_start target", "timer_start", "{l}", {}, "VX_GraphicsServer_timer_start: item must be a timer.\n"},
        {"timer_stop target", "timer_stop", "{l}", {}, "VX_GraphicsServer_timer_stop: item must be a timer.\n"},
        {"qt_callback label", "qt_callback", "{l}", {}, "VX_GraphicsServer_qt_callback: object {l} not appropriate.\n"},
        {"qt_callback count", "qt_callback", "{b}", {}, "VX_GraphicsServer_qt_callback: qt_callback needs 2 arguments.\n"},
        {"errlog_callback count", "errlog_callback", "none", {}, "VX_GraphicsServer_errlog_callback: Need 1 callback argument.\n"},
    }, h);
    EXPECT_FALSE(VX_GraphicsServer_callbacks().contains(h["b"]));
}

// The replies of the setters and getters are in the widgets transcript;
// here, what they do to the Qt widgets.
TEST_F(Widgets, SettersReachTheWidgets)
{
    QString unchecked = vx_send("checkbox", w, {"0"}).handle;
    EXPECT_EQ(object<QCheckBox>(unchecked)->checkState(), Qt::Unchecked);
    QString checked = vx_send("checkbox", w, {"yes", "Filter"}).handle;
    EXPECT_EQ(object<QCheckBox>(checked)->checkState(), Qt::Checked);
    EXPECT_EQ(vx_send("checkbox_text", checked).params, QStringList{"Filter"});

    QString c = vx_send("combobox", w).handle;
    vx_send("combobox_additems", c, {"BHZ", "BHN", "BHE"});
    vx_send("combobox_clear", c);
    EXPECT_EQ(object<QComboBox>(c)->count(), 0);

    QString e = vx_send("lineedit", w).handle;
    auto* edit = object<QLineEdit>(e);
    edit->resize(20, 40);
    const QString long_text = "a rather long station description that needs room";
    vx_send("lineedit_text", e, {long_text});
    EXPECT_GE(edit->minimumWidth(), edit->fontMetrics().boundingRect(long_text).width());
    EXPECT_EQ(edit->minimumHeight(), 30);

    QString l = vx_send("label", w).handle;
    vx_send("label_selectable", l, {"1"});
    EXPECT_EQ(object<QLabel>(l)->textInteractionFlags(), Qt::TextSelectableByMouse);

    QString b = vx_send("button", w).handle;
    EXPECT_EQ(vx_send("button_text", b, {"Apply"}).handle, b);
    EXPECT_EQ(vx_send("button_text", b).params, QStringList{"Apply"});
    EXPECT_EQ(vx_send("setstylesheet", b, {"color: red"}).handle, "setstylesheet");
    EXPECT_EQ(object<QPushButton>(b)->styleSheet(), "color: red");
}

TEST_F(Menus, BarMenusItemsAndWidgets)
{
    QString mb = vx_send("menubar", w).handle;
    auto* window = object<VXMainWindow>(w);
    EXPECT_EQ(window->menuBar(), object<QMenuBar>(mb));
    EXPECT_FALSE(object<QMenuBar>(mb)->isNativeMenuBar());
    QString file = vx_send("menubar_addmenu", mb, {"File"}).handle;
    ASSERT_TRUE(file.startsWith("menu:"));
    Reply item = vx_send("menu_additem", file, {mb, "Open"});
    ASSERT_EQ(item.code, 0);
    EXPECT_TRUE(item.handle.startsWith("action:"));
    EXPECT_EQ(item.params, QStringList{item.handle});
    QString recent = vx_send("menu_addmenu", file, {"Recent"}).handle;
    EXPECT_EQ(object<QMenu>(recent)->title(), "Recent");
    EXPECT_EQ(vx_send("menu_addseparator", file).code, 0);
    QString box = vx_send("checkbox", w, {"1", "Grid"}).handle;
    Reply wa = vx_send("menu_addwidget", file, {mb, box});
    ASSERT_EQ(wa.code, 0);
    EXPECT_EQ(object<QMenu>(file)->actions().size(), 4);

    Recorder rec;
    ASSERT_EQ(bind(item.handle, &rec).code, 0);
    object<QAction>(item.handle)->trigger();
    ASSERT_EQ(rec.calls.size(), 1);
    EXPECT_EQ(rec.calls[0].params, QStringList{"Open"});
    EXPECT_EQ(rec.calls[0].type, VX_TYPE_ACTION);
    // delete leaves the action alive: it belongs to its menu
    vx_send("delete", item.handle);
    EXPECT_EQ(object<QMenu>(file)->actions().size(), 4);
}

TEST_F(Callbacks, TimerCallbackCountsAndStopsItsTimer)
{
    QString t = vx_send("timer", w).handle;
    vx_send("timer_setinterval", t, {"1"});
    Recorder rec;
    rec.then = [&](const Call& call) {
        if (rec.calls.size() == 3) {
            EXPECT_EQ(vx_send("timer_stop", call.handle).ret, 0);  // at once, from the callback
        }
    };
    ASSERT_EQ(bind(t, &rec).handle, t);
    auto* timer = object<QTimer>(t);
    ASSERT_EQ(vx_send("timer_start", t).code, 0);
    runUntil([&] { return !timer->isActive(); });
    ASSERT_EQ(rec.calls.size(), 3);
    for (const Call& c : rec.calls) {
        EXPECT_EQ(c.handle, t);
        EXPECT_EQ(c.params, QStringList{t});
        EXPECT_EQ(c.type, VX_TYPE_TIMER);
        EXPECT_EQ(c.item, timer);
    }
}

TEST_F(Callbacks, ButtonClickedFromATimerCallbackReachesTheClient)
{
    QString b = vx_send("button", w).handle;
    vx_send("button_text", b, {"Locate"});
    QString t = vx_send("timer", w).handle;
    vx_send("timer_setsingleshot", t);
    vx_send("timer_setinterval", t, {"0"});
    Recorder clicks, ticks;
    ticks.then = [&](const Call&) { object<QPushButton>(b)->click(); };
    bind(b, &clicks);
    bind(t, &ticks);
    vx_send("timer_start", t);
    runUntil([&] { return !clicks.calls.isEmpty(); });
    ASSERT_EQ(ticks.calls.size(), 1);
    ASSERT_EQ(clicks.calls.size(), 1);
    EXPECT_EQ(clicks.calls[0].handle, b);
    EXPECT_EQ(clicks.calls[0].params, QStringList{"Locate"});
    EXPECT_EQ(clicks.calls[0].type, VX_TYPE_BUTTON);
    EXPECT_EQ(clicks.calls[0].item, object<QPushButton>(b));
}

TEST_F(Callbacks, ClientSetsAreSilentUserChangesAreNot)
{
    QString c = vx_send("combobox", w).handle;
    vx_send("combobox_additems", c, {"a", "b", "c"});
    QString e = vx_send("lineedit", w).handle;
    QString x = vx_send("checkbox", w).handle;
    Recorder combo, edit, box;
    bind(c, &combo);
    bind(e, &edit);
    bind(x, &box);
    vx_send("combobox_index", c, {"1"});
    vx_send("combobox_text", c, {"c"});
    vx_send("lineedit_text", e, {"ANMO"});
    EXPECT_TRUE(combo.calls.isEmpty());
    EXPECT_TRUE(edit.calls.isEmpty());
    EXPECT_EQ(object<QComboBox>(c)->currentText(), "c");
    // the callbacks are back in place after the silent sets
    object<QComboBox>(c)->setCurrentIndex(0);
    ASSERT_EQ(combo.calls.size(), 1);
    EXPECT_EQ(combo.calls[0].params, (QStringList{"0", "a"}));
    object<QLineEdit>(e)->insert("!");
    ASSERT_EQ(edit.calls.size(), 1);
    EXPECT_EQ(edit.calls[0].params, (QStringList{"ANMO!", "textchanged"}));
    emit object<QLineEdit>(e)->editingFinished();
    ASSERT_EQ(edit.calls.size(), 2);
    EXPECT_EQ(edit.calls[1].params, (QStringList{"ANMO!", "editingfinished"}));
    object<QCheckBox>(x)->click();
    ASSERT_EQ(box.calls.size(), 1);
    EXPECT_EQ(box.calls[0].params, QStringList{"1"});
    // checkbox_state is not one of the silent sets
    vx_send("checkbox_state", x, {"0"});
    ASSERT_EQ(box.calls.size(), 2);
    EXPECT_EQ(box.calls[1].params, QStringList{"0"});
}

TEST_F(Callbacks, WidgetDeletedWhileItsCallbackIsPendingAndTheLastRegistrationWins)
{
    // a click queued for a button deleted before it is delivered
    QString b = vx_send("button", w).handle;
    Recorder rec;
    bind(b, &rec);
    QMetaObject::invokeMethod(object<QPushButton>(b), "click", Qt::QueuedConnection);
    ASSERT_EQ(vx_send("delete", b).code, 0);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
    EXPECT_TRUE(rec.calls.isEmpty());

    // a button whose own callback deletes it
    QString self = vx_send("button", w).handle;
    QPointer<QPushButton> guard = object<QPushButton>(self);
    Recorder deleter;
    deleter.then = [&](const Call& call) { vx_send("delete", call.handle); };
    bind(self, &deleter);
    guard->click();
    EXPECT_EQ(deleter.calls.size(), 1);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(guard.isNull());
    EXPECT_EQ(vx_send("button_text", self).code, 1);

    // a timer deleted from its own timeout
    QString t = vx_send("timer", w).handle;
    QPointer<QTimer> tguard = object<QTimer>(t);
    vx_send("timer_setinterval", t, {"0"});
    bind(t, &deleter);
    vx_send("timer_start", t);
    runUntil([&] { return deleter.calls.size() == 2; });
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(tguard.isNull());
    // the last registration wins, and a null callback means silence
    const QString last = vx_send("button", w).handle;
    Recorder first, second;
    bind(last, &first);
    bind(last, &second);
    object<QPushButton>(last)->click();
    EXPECT_EQ(first.calls.size(), 0);
    EXPECT_EQ(second.calls.size(), 1);
    EXPECT_EQ(sendExtra("qt_callback", last, {nullptr, nullptr}).code, 0);
    object<QPushButton>(last)->click();
    EXPECT_EQ(second.calls.size(), 1);
}

// The save dialog and the popup menu each block in a loop of their own, in
// which a timer's callback closes them.
TEST_F(Callbacks, ModalDialogAndPopupMenuClosedByATimerCallback)
{
    const QString m = vx_send("menu", w).handle;
    vx_send("menu_additem", m, {vx_send("menubar", w).handle, "Zoom"});
    const struct {
        const char* word; QString target; QStringList args; QWidget* (*open)(); QString handle; QStringList params;
    } cases[] = {  // a cancelled dialog answers an empty name
        {"filedialog", w, {"Save picks", "/tmp", "*.txt", "save"}, QApplication::activeModalWidget, "none", {""}},
        {"menu_popup", m, {}, QApplication::activePopupWidget, m, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.word);
        const QString t = vx_send("timer", w).handle;
        vx_send("timer_setinterval", t, {"5"});
        Recorder closer;
        int closed = 0;
        closer.then = [&](const Call& call) {
            if (QWidget* open = c.open()) {
                open->close();
                closed++;
                vx_send("timer_stop", call.handle);
            }
        };
        bind(t, &closer);
        vx_send("timer_start", t);
        Reply r = vx_send(c.word, c.target, c.args);
        EXPECT_EQ(r.handle, c.handle);
        EXPECT_EQ(r.params, c.params);
        EXPECT_EQ(closed, 1);
    }
}

TEST_F(Callbacks, FileDialogObjectReportsItsSelection)
{
    Reply d = vx_send("filedialog", w, {"Open", "/tmp", "*"});
    ASSERT_EQ(d.code, 0);
    ASSERT_TRUE(d.handle.startsWith("filedialog:"));
    auto* dialog = object<QFileDialog>(d.handle);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(dialog->fileMode(), QFileDialog::ExistingFiles);
    Recorder rec;
    bind(d.handle, &rec);
    emit dialog->filesSelected({dialog->directory().absolutePath()});
    emit dialog->filesSelected({"/tmp/a.wfdisc", "/tmp/b.wfdisc"});
    ASSERT_EQ(rec.calls.size(), 2);
    EXPECT_TRUE(rec.calls[0].params.isEmpty());
    EXPECT_EQ(rec.calls[1].params, (QStringList{"/tmp/a.wfdisc", "/tmp/b.wfdisc"}));
    vx_send("delete", d.handle);
}

namespace {

QStringList log_lines;
void logLine(const char* line)
{
    log_lines.append(QString::fromUtf8(line));
}

} // namespace

TEST_F(Callbacks, ErrlogCallbackReceivesTheLog)
{
    log_lines.clear();
    Reply r = sendExtra("errlog_callback", "none", {reinterpret_cast<void*>(&logLine)});
    EXPECT_EQ(r.handle, "errlog_callback");
    hl_complain(0, "station %s: no response.\n", "ANMO");
    sendExtra("errlog_callback", "none", {nullptr});
    hl_complain(0, "after: to standard error.\n");
    EXPECT_EQ(log_lines, QStringList{"station ANMO: no response.\n"});
}
