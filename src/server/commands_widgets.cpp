// Plain widgets made by command: labels, buttons, check boxes, combo boxes,
// line edits, menus, timers, file dialogs and style sheets.  Their signals
// reach the client through the callbacks of callbacks.cpp.
#include "server/callbacks.h"
#include "server/mainwindow.h"
#include "server/widgetprocs.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCursor>
#include <QFileDialog>
#include <QFontMetrics>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QScrollArea>
#include <QTimer>
#include <QWidgetAction>

namespace {

typedef VX_GraphicsServer S;
typedef VX_GraphicsServer_command C;
typedef VX_GraphicsServer_response R;

QByteArray H(const QString& s)
{
    return vx_msg(s);
}

// Look up the target and require one type; the type message reads
// "<proc>: <word> must have <type> item, not <actual>.\n".
void* typedTarget(S* server, C* command, const char* proc, const char* word, int want)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (item && type != want) {
        hl_register_error(0, "%s: %s must have %s item, not %s.\n", proc, word, vx_type_word(want),
                          vx_type_word(type));
        return nullptr;
    }
    return item;
}

// The parent of a creating command: frame or mainwindow (its central
// frame), or one more type.  Null after registering message.
QWidget* creatingParent(S* server, C* command, const char* proc, int extra_type, const char* message)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return nullptr;
    QWidget* parent = nullptr;
    if (type == VX_TYPE_FRAME || type == VX_TYPE_MAINWINDOW || (extra_type >= 0 && type == extra_type))
        parent = vx_parent_widget(type, item);
    if (!parent)
        hl_register_error(0, "%s: %s\n", proc, message);
    return parent;
}

// Register a new object, connect its signals, trace and answer.
int made(S* server, C* command, R* response, int type, QObject* object, void* item, const char* trace_class)
{
    QString handle;
    VX_GraphicsServer_set_item(server, type, item, handle);
    vx_connect_callback(type, object, handle);
    if (trace_class)
        VX_TRACE("%s = new %s(%s)", H(handle).constData(), trace_class, H(command->handle).constData());
    return vx_answer(response, handle);
}

const char* const kFrameOrMainwindow = "parent must be a frame or mainwindow.";

int VX_GraphicsServer_button(S* server, C* command, R* response)
{
    QWidget* parent = creatingParent(server, command, "VX_GraphicsServer_button", -1, kFrameOrMainwindow);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* button = new QPushButton(parent);
    return made(server, command, response, VX_TYPE_BUTTON, button, button, "QPushButton");
}

int VX_GraphicsServer_label(S* server, C* command, R* response)
{
    QWidget* parent = creatingParent(server, command, "VX_GraphicsServer_label", VX_TYPE_SCROLLAREA,
                                     "parent must be a frame or mainwindow or scrollarea.");
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* label = new QLabel(parent);
    return made(server, command, response, VX_TYPE_LABEL, label, label, "QLabel");
}

int VX_GraphicsServer_checkbox(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_checkbox";
    QWidget* parent = creatingParent(server, command, proc, -1, kFrameOrMainwindow);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() > 2)
        return vx_fail(server, response, "%s: checkbox needs 0, 1 or 2 arguments.\n", proc);
    QCheckBox* box;
    if (command->args.size() == 2)
        box = new QCheckBox(command->args[1], parent);
    else
        box = new QCheckBox(parent);
    if (!command->args.isEmpty())
        box->setCheckState(command->args[0] == QLatin1String("0") ? Qt::Unchecked : Qt::Checked);
    int ret = made(server, command, response, VX_TYPE_CHECKBOX, box, box, nullptr);
    const QByteArray h = H(response->handle);
    if (command->args.size() == 2)
        VX_TRACE("%s = new QCheckBox(%s,%s)", h.constData(), H(command->args[1]).constData(),
                 H(command->handle).constData());
    else
        VX_TRACE("%s = new QCheckBox(%s)", h.constData(), H(command->handle).constData());
    if (!command->args.isEmpty())
        VX_TRACE("%s->setCheckState(%s)", h.constData(), H(command->args[0]).constData());
    return ret;
}

int VX_GraphicsServer_combobox(S* server, C* command, R* response)
{
    QWidget* parent = creatingParent(server, command, "VX_GraphicsServer_combobox", -1, kFrameOrMainwindow);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* box = new QComboBox(parent);
    return made(server, command, response, VX_TYPE_COMBOBOX, box, box, "QComboBox");
}

int VX_GraphicsServer_lineedit(S* server, C* command, R* response)
{
    QWidget* parent = creatingParent(server, command, "VX_GraphicsServer_lineedit", -1, kFrameOrMainwindow);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* edit = new QLineEdit(parent);
    return made(server, command, response, VX_TYPE_LINEEDIT, edit, edit, "QLineEdit");
}

int VX_GraphicsServer_menubar(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_menubar";
    QWidget* parent = creatingParent(server, command, proc, -1, kFrameOrMainwindow);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* bar = new QMenuBar(parent);
    bar->setNativeMenuBar(false);
    int type = -1;
    void* item = VX_GraphicsServer_get_item(server, command->handle, &type, 0);
    if (type == VX_TYPE_MAINWINDOW)
        static_cast<VXMainWindow*>(item)->setMenuBar(bar);
    return made(server, command, response, VX_TYPE_MENUBAR, bar, bar, "QMenuBar");
}

int VX_GraphicsServer_menu(S* server, C* command, R* response)
{
    QWidget* parent = creatingParent(server, command, "VX_GraphicsServer_menu", VX_TYPE_VIEWPORT,
                                     "parent must be a viewport, frame or mainwindow.");
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    auto* menu = new QMenu(parent);
    return made(server, command, response, VX_TYPE_MENU, menu, menu, "QMenu");
}

int VX_GraphicsServer_timer(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_timer";
    int type = -1;
    void* item = VX_GraphicsServer_get_item(server, command->handle, &type, 0);
    if (!item)
        return vx_fail(server, response, "%s: VX_GraphicsServer_get_timer(%s) error.\n", proc,
                       H(command->handle).constData());
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: parent must be a frame or mainwindow.\n", proc);
    auto* timer = new QTimer(vx_parent_widget(type, item));
    return made(server, command, response, VX_TYPE_TIMER, timer, timer, "QTimer");
}

int VX_GraphicsServer_filedialog(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_filedialog";
    QWidget* parent = creatingParent(server, command, proc, -1, kFrameOrMainwindow);
    if (!parent)
        return VX_GraphicsServer_error2(server, response);
    const QStringList& a = command->args;
    if (a.size() != 3 && a.size() != 4)
        return vx_fail(server, response, "%s: filedialog needs 3 or 4 arguments.\n", proc);
    if (a.size() == 4) {
        // modal: runs its own event loop until the user answers
        QStringList names;
        if (a[3] == QLatin1String("save"))
            names.append(QFileDialog::getSaveFileName(parent, a[0], a[1], a[2]));
        else
            names = QFileDialog::getOpenFileNames(parent, a[0], a[1], a[2]);
        vx_answer(response, QStringLiteral("none"));
        response->return_params = names;
        return 0;
    }
    auto* dialog = new QFileDialog(parent, a[0], a[1], a[2]);
    dialog->show();
    dialog->setFileMode(QFileDialog::ExistingFiles);
    dialog->setDirectory(a[1]);
    dialog->update();
    int ret = made(server, command, response, VX_TYPE_FILEDIALOG, dialog, dialog, nullptr);
    VX_TRACE("%s = new QFileDialog(%s, %s, %s, %s)", H(response->handle).constData(), H(command->handle).constData(),
             H(a[0]).constData(), H(a[1]).constData(), H(a[2]).constData());
    return ret;
}

// ---- text, state and values -----------------------------------------------

// button_text, label_text, checkbox_text: one argument sets, otherwise get.
int textOf(S* server, C* command, R* response, const char* word, int want)
{
    QByteArray proc = QByteArray("VX_GraphicsServer_") + word;
    void* item = typedTarget(server, command, proc.constData(), word, want);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    QObject* object = vx_as_qobject(want, item);
    const QByteArray h = H(command->handle);
    if (command->args.size() == 1) {
        if (want == VX_TYPE_LABEL)
            static_cast<QLabel*>(object)->setText(command->args[0]);
        else
            static_cast<QAbstractButton*>(object)->setText(command->args[0]);
        VX_TRACE("%s->setText(%s)", h.constData(), H(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    QString text = want == VX_TYPE_LABEL ? static_cast<QLabel*>(object)->text()
                                         : static_cast<QAbstractButton*>(object)->text();
    VX_TRACE("%s->text(%s)", h.constData(), H(text).constData());
    vx_answer(response, command->handle);
    response->return_params.append(text);
    return 0;
}

int VX_GraphicsServer_button_text(S* s, C* c, R* r) { return textOf(s, c, r, "button_text", VX_TYPE_BUTTON); }
int VX_GraphicsServer_label_text(S* s, C* c, R* r) { return textOf(s, c, r, "label_text", VX_TYPE_LABEL); }
int VX_GraphicsServer_checkbox_text(S* s, C* c, R* r) { return textOf(s, c, r, "checkbox_text", VX_TYPE_CHECKBOX); }

int VX_GraphicsServer_label_selectable(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_label_selectable";
    auto* label = static_cast<QLabel*>(typedTarget(server, command, proc, "label_selectable", VX_TYPE_LABEL));
    if (!label)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: Need one argument.\n", proc);
    int on = 0;
    if (!vx_to_int(proc, "selectable", command->args[0], &on))
        return VX_GraphicsServer_error2(server, response);
    label->setTextInteractionFlags(on ? Qt::TextSelectableByMouse : Qt::NoTextInteraction);
    VX_TRACE("%s->setTextInteractionFlags(%s)", H(command->handle).constData(),
             on ? "Qt::TextSelectableByMouse" : "Qt::NoTextInteraction");
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_checkbox_state(S* server, C* command, R* response)
{
    // the proc name of the messages is the text command's, as clients know it
    auto* box = static_cast<QCheckBox*>(
        typedTarget(server, command, "VX_GraphicsServer_checkbox_text", "checkbox_state", VX_TYPE_CHECKBOX));
    if (!box)
        return VX_GraphicsServer_error2(server, response);
    const QByteArray h = H(command->handle);
    if (command->args.size() == 1) {
        box->setCheckState(command->args[0] == QLatin1String("0") ? Qt::Unchecked : Qt::Checked);
        VX_TRACE("%s->setCheckState(%s)", h.constData(), H(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    QString state = box->checkState() == Qt::Unchecked ? QStringLiteral("0") : QStringLiteral("1");
    VX_TRACE("%s->checkState(%s)", h.constData(), H(state).constData());
    vx_answer(response, command->handle);
    response->return_params.append(state);
    return 0;
}

int VX_GraphicsServer_combobox_clear(S* server, C* command, R* response)
{
    auto* box = static_cast<QComboBox*>(typedTarget(server, command, "VX_GraphicsServer_combobox_clear",
                                                    "combobox_clear", VX_TYPE_COMBOBOX));
    if (!box)
        return VX_GraphicsServer_error2(server, response);
    box->clear();
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_combobox_additems(S* server, C* command, R* response)
{
    auto* box = static_cast<QComboBox*>(typedTarget(server, command, "VX_GraphicsServer_combobox_additems",
                                                    "combobox_additems", VX_TYPE_COMBOBOX));
    if (!box)
        return VX_GraphicsServer_error2(server, response);
    box->addItems(command->args);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_combobox_index(S* server, C* command, R* response)
{
    auto* box = static_cast<QComboBox*>(typedTarget(server, command, "VX_GraphicsServer_combobox_index",
                                                    "combobox_index", VX_TYPE_COMBOBOX));
    if (!box)
        return VX_GraphicsServer_error2(server, response);
    const QByteArray h = H(command->handle);
    if (command->args.size() == 1) {
        int index = 0;
        if (!vx_to_int("VX_GraphicsServer_combox_index", "index", command->args[0], &index))
            return VX_GraphicsServer_error2(server, response);
        VxSilentCallback silent(command->handle);
        box->setCurrentIndex(index);
        VX_TRACE("%s->setCurrentIndex(%s)", h.constData(), H(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    VX_TRACE("%s->currentIndex(%d)", h.constData(), box->currentIndex());
    vx_answer(response, command->handle);
    response->return_params.append(QString::number(box->currentIndex()));
    return 0;
}

int VX_GraphicsServer_combobox_text(S* server, C* command, R* response)
{
    auto* box = static_cast<QComboBox*>(typedTarget(server, command, "VX_GraphicsServer_combobox_text",
                                                    "combobox_text", VX_TYPE_COMBOBOX));
    if (!box)
        return VX_GraphicsServer_error2(server, response);
    const QByteArray h = H(command->handle);
    if (command->args.size() == 1) {
        VxSilentCallback silent(command->handle);
        box->setCurrentText(command->args[0]);
        VX_TRACE("%s->setCurrentText(%s)", h.constData(), H(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    VX_TRACE("%s->currentText(%s)", h.constData(), H(box->currentText()).constData());
    vx_answer(response, command->handle);
    response->return_params.append(box->currentText());
    return 0;
}

int VX_GraphicsServer_lineedit_text(S* server, C* command, R* response)
{
    auto* edit = static_cast<QLineEdit*>(typedTarget(server, command, "VX_GraphicsServer_lineedit_text",
                                                     "lineedit_text", VX_TYPE_LINEEDIT));
    if (!edit)
        return VX_GraphicsServer_error2(server, response);
    const QByteArray h = H(command->handle);
    if (command->args.size() == 1) {
        {
            VxSilentCallback silent(command->handle);
            edit->setText(command->args[0]);
        }
        // the field grows to show the whole text
        int width = edit->fontMetrics().boundingRect(command->args[0]).width();
        edit->setMinimumSize(width, int(0.75 * edit->height()));
        VX_TRACE("%s->setText(%s)", h.constData(), H(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    VX_TRACE("%s->text(%s)", h.constData(), H(edit->text()).constData());
    vx_answer(response, command->handle);
    response->return_params.append(edit->text());
    return 0;
}

int VX_GraphicsServer_setstylesheet(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_setstylesheet";
    QWidget* widget = nullptr;
    if (command->handle != QLatin1String("root")) {
        int type = -1;
        void* item = vx_lookup(server, proc, command->handle, &type);
        if (!item)
            return VX_GraphicsServer_error2(server, response);
        widget = vx_as_widget(type, item);
        if (!widget)
            return vx_fail(server, response, "%s: %s object is not a widget.\n", proc, vx_type_word(type));
    }
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: setstylesheet needs 1 argument.\n", proc);
    if (widget)
        widget->setStyleSheet(command->args[0]);
    else
        qApp->setStyleSheet(command->args[0]);
    return vx_answer(response, command->command);
}

// ---- menus ------------------------------------------------------------------

int addMenu(S* server, C* command, R* response, const char* word, int want)
{
    QByteArray proc = QByteArray("VX_GraphicsServer_") + word;
    void* item = typedTarget(server, command, proc.constData(), word, want);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: %s needs 1 argument.\n", proc.constData(), word);
    QMenu* menu = want == VX_TYPE_MENUBAR ? static_cast<QMenuBar*>(item)->addMenu(command->args[0])
                                          : static_cast<QMenu*>(item)->addMenu(command->args[0]);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_MENU, menu, handle);
    VX_TRACE("%s = %s->addMenu(%s)", H(handle).constData(), H(command->handle).constData(),
             H(command->args[0]).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_menubar_addmenu(S* s, C* c, R* r) { return addMenu(s, c, r, "menubar_addmenu", VX_TYPE_MENUBAR); }
int VX_GraphicsServer_menu_addmenu(S* s, C* c, R* r) { return addMenu(s, c, r, "menu_addmenu", VX_TYPE_MENU); }

int VX_GraphicsServer_menu_additem(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_menu_additem";
    auto* menu = static_cast<QMenu*>(typedTarget(server, command, proc, "menu_addmenu", VX_TYPE_MENU));
    if (!menu)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: menu_additem needs 2 arguments.\n", proc);
    int ptype = -1;
    void* pitem = vx_lookup(server, proc, command->args[0], &ptype);
    if (!pitem)
        return VX_GraphicsServer_error2(server, response);
    QAction* action = nullptr;
    if (ptype == VX_TYPE_MENUBAR) {
        action = new QAction(command->args[1], static_cast<QMenuBar*>(pitem));
        menu->addAction(action);
    } else if (ptype == VX_TYPE_VIEWPORT && vx_as_widget(ptype, pitem)) {
        action = menu->addAction(command->args[1]);
    } else {
        return vx_fail(server, response, "%s: menu_additem must have action parent menubar or viewport, not %s.\n",
                       proc, vx_type_word(ptype));
    }
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_ACTION, action, handle);
    vx_connect_callback(VX_TYPE_ACTION, action, handle);
    if (ptype == VX_TYPE_MENUBAR)
        VX_TRACE("%s = new QAction(%s, %s)", H(handle).constData(), H(command->args[1]).constData(),
                 H(command->args[0]).constData());
    VX_TRACE("%s->addAction(%s)", H(command->handle).constData(), H(handle).constData());
    vx_answer(response, handle);
    response->return_params.append(handle);
    return 0;
}

int VX_GraphicsServer_menu_addwidget(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_menu_addwidget";
    auto* menu = static_cast<QMenu*>(typedTarget(server, command, proc, "menu_addwidget", VX_TYPE_MENU));
    if (!menu)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: menu_addwidget needs 2 arguments.\n", proc);
    int ptype = -1, wtype = -1;
    void* pitem = vx_lookup(server, proc, command->args[0], &ptype);
    if (!pitem)
        return VX_GraphicsServer_error2(server, response);
    if (ptype != VX_TYPE_MENUBAR)
        return vx_fail(server, response, "%s: menu_addwidget must have action parent menubar, not %s.\n", proc,
                       vx_type_word(ptype));
    void* witem = vx_lookup(server, proc, command->args[1], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    if (wtype != VX_TYPE_CHECKBOX)
        return vx_fail(server, response, "%s: menu_addwidget must have action widget checkbox, not %s.\n", proc,
                       vx_type_word(wtype));
    auto* action = new QWidgetAction(static_cast<QMenuBar*>(pitem));
    action->setDefaultWidget(static_cast<QCheckBox*>(witem));
    menu->addAction(action);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_ACTION, action, handle);
    vx_connect_callback(VX_TYPE_ACTION, action, handle);
    VX_TRACE("%s->addAction(%s)", H(command->handle).constData(), H(handle).constData());
    vx_answer(response, handle);
    response->return_params.append(handle);
    return 0;
}

int VX_GraphicsServer_menu_addseparator(S* server, C* command, R* response)
{
    auto* menu = static_cast<QMenu*>(typedTarget(server, command, "VX_GraphicsServer_menu_addseparator",
                                                 "menu_addseparator", VX_TYPE_MENU));
    if (!menu)
        return VX_GraphicsServer_error2(server, response);
    menu->addSeparator();
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_menu_popup(S* server, C* command, R* response)
{
    auto* menu = static_cast<QMenu*>(
        typedTarget(server, command, "VX_GraphicsServer_menu_popup", "menu_popup", VX_TYPE_MENU));
    if (!menu)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 0 && command->args.size() != 2)
        return vx_fail(server, response, "VX_GraphicsServer_menu_addmenu: menu_popup needs 0 or 2 arguments.\n");
    if (command->args.isEmpty())
        menu->exec(QCursor::pos());  // blocks in the popup's own loop
    return vx_answer(response, command->handle);
}

// ---- timers -----------------------------------------------------------------

QTimer* timerTarget(S* server, C* command, const char* proc)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (item && type != VX_TYPE_TIMER) {
        hl_register_error(0, "%s: item must be a timer.\n", proc);
        return nullptr;
    }
    return static_cast<QTimer*>(item);
}

int VX_GraphicsServer_timer_setsingleshot(S* server, C* command, R* response)
{
    QTimer* timer = timerTarget(server, command, "VX_GraphicsServer_timer_setoneshot");
    if (!timer)
        return VX_GraphicsServer_error2(server, response);
    timer->setSingleShot(true);
    VX_TRACE("%s = set timer single shot", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_clearsingleshot(S* server, C* command, R* response)
{
    QTimer* timer = timerTarget(server, command, "VX_GraphicsServer_timer_clearoneshot");
    if (!timer)
        return VX_GraphicsServer_error2(server, response);
    timer->setSingleShot(false);
    VX_TRACE("%s = clear timer single shot", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_setinterval(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_timer_setinterval";
    QTimer* timer = timerTarget(server, command, proc);
    if (!timer)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: timer_setinterval needs 1 argument.\n", proc);
    int ms = 0;
    if (!vx_to_int(proc, "interval", command->args[0], &ms))
        return VX_GraphicsServer_error2(server, response);
    if (ms < 0)
        return vx_fail(server, response, "%s: interval must not be negative, not %d.\n", proc, ms);
    timer->setInterval(ms);
    VX_TRACE("%s = set timer interval to %d", H(command->handle).constData(), ms);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_start(S* server, C* command, R* response)
{
    QTimer* timer = timerTarget(server, command, "VX_GraphicsServer_timer_start");
    if (!timer)
        return VX_GraphicsServer_error2(server, response);
    timer->start();
    VX_TRACE("%s = start timer", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_stop(S* server, C* command, R* response)
{
    QTimer* timer = timerTarget(server, command, "VX_GraphicsServer_timer_stop");
    if (!timer)
        return VX_GraphicsServer_error2(server, response);
    timer->stop();
    VX_TRACE("%s = stop timer", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

} // namespace

// Samples: "w = mainwindow none" makes mainwindow:1 with its frame frame:0.
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_widgets = {
    {"label", VX_GraphicsServer_label, "label FRAME|MAINWINDOW|SCROLLAREA", "w = mainwindow none\nlabel $w"},
    {"label_text", VX_GraphicsServer_label_text, "label_text LABEL [text]",
     "w = mainwindow none\nl = label $w\nlabel_text $l Hello\nlabel_text $l"},
    {"label_selectable", VX_GraphicsServer_label_selectable, "label_selectable LABEL 0|1",
     "w = mainwindow none\nl = label $w\nlabel_selectable $l 1"},
    {"button", VX_GraphicsServer_button, "button FRAME|MAINWINDOW", "w = mainwindow none\nbutton $w"},
    {"button_text", VX_GraphicsServer_button_text, "button_text BUTTON [text]",
     "w = mainwindow none\nb = button $w\nbutton_text $b OK\nbutton_text $b"},
    {"checkbox", VX_GraphicsServer_checkbox, "checkbox FRAME|MAINWINDOW [state [text]]",
     "w = mainwindow none\ncheckbox $w\ncheckbox $w 0\ncheckbox $w 1 Filter"},
    {"checkbox_text", VX_GraphicsServer_checkbox_text, "checkbox_text CHECKBOX [text]",
     "w = mainwindow none\nc = checkbox $w\ncheckbox_text $c Filter"},
    {"checkbox_state", VX_GraphicsServer_checkbox_state, "checkbox_state CHECKBOX [0|1]",
     "w = mainwindow none\nc = checkbox $w\ncheckbox_state $c 1\ncheckbox_state $c"},
    {"combobox", VX_GraphicsServer_combobox, "combobox FRAME|MAINWINDOW", "w = mainwindow none\ncombobox $w"},
    {"combobox_clear", VX_GraphicsServer_combobox_clear, "combobox_clear COMBOBOX",
     "w = mainwindow none\nc = combobox $w\ncombobox_clear $c"},
    {"combobox_additems", VX_GraphicsServer_combobox_additems, "combobox_additems COMBOBOX item ...",
     "w = mainwindow none\nc = combobox $w\ncombobox_additems $c BHZ BHN BHE"},
    {"combobox_index", VX_GraphicsServer_combobox_index, "combobox_index COMBOBOX [index]",
     "w = mainwindow none\nc = combobox $w\ncombobox_additems $c a b\ncombobox_index $c 1\ncombobox_index $c"},
    {"combobox_text", VX_GraphicsServer_combobox_text, "combobox_text COMBOBOX [text]",
     "w = mainwindow none\nc = combobox $w\ncombobox_additems $c a b\ncombobox_text $c b\ncombobox_text $c"},
    {"menubar", VX_GraphicsServer_menubar, "menubar FRAME|MAINWINDOW", "w = mainwindow none\nmenubar $w"},
    {"menubar_addmenu", VX_GraphicsServer_menubar_addmenu, "menubar_addmenu MENUBAR title",
     "w = mainwindow none\nm = menubar $w\nmenubar_addmenu $m File"},
    {"menu", VX_GraphicsServer_menu, "menu FRAME|MAINWINDOW|VIEWPORT", "w = mainwindow none\nmenu $w"},
    {"menu_additem", VX_GraphicsServer_menu_additem, "menu_additem MENU MENUBAR|VIEWPORT text",
     "w = mainwindow none\nm = menubar $w\nf = menubar_addmenu $m File\nmenu_additem $f $m Open"},
    {"menu_addwidget", VX_GraphicsServer_menu_addwidget, "menu_addwidget MENU MENUBAR CHECKBOX",
     "w = mainwindow none\nm = menubar $w\nf = menubar_addmenu $m View\nc = checkbox $w 1 Grid\n"
     "menu_addwidget $f $m $c"},
    {"menu_addmenu", VX_GraphicsServer_menu_addmenu, "menu_addmenu MENU title",
     "w = mainwindow none\nm = menubar $w\nf = menubar_addmenu $m File\nmenu_addmenu $f Recent"},
    {"menu_addseparator", VX_GraphicsServer_menu_addseparator, "menu_addseparator MENU",
     "w = mainwindow none\nm = menu $w\nmenu_addseparator $m"},
    {"menu_popup", VX_GraphicsServer_menu_popup, "menu_popup MENU [x y] (without x y: modal at the cursor)",
     "w = mainwindow none\nm = menu $w\nmenu_popup $m 0 0"},
    {"lineedit", VX_GraphicsServer_lineedit, "lineedit FRAME|MAINWINDOW", "w = mainwindow none\nlineedit $w"},
    {"lineedit_text", VX_GraphicsServer_lineedit_text, "lineedit_text LINEEDIT [text]",
     "w = mainwindow none\ne = lineedit $w\nlineedit_text $e ANMO\nlineedit_text $e"},
    {"setstylesheet", VX_GraphicsServer_setstylesheet, "setstylesheet root|WIDGET style",
     "w = mainwindow none\nb = button $w\nsetstylesheet $b \"color: red\""},
    {"filedialog", VX_GraphicsServer_filedialog,
     "filedialog FRAME|MAINWINDOW caption directory filter [save|open] (with the fourth: modal)",
     "w = mainwindow none\nfiledialog $w Open /tmp \"*.wfdisc\""},
    {"timer", VX_GraphicsServer_timer, "timer FRAME|MAINWINDOW", "w = mainwindow none\ntimer $w"},
    {"timer_setsingleshot", VX_GraphicsServer_timer_setsingleshot, "timer_setsingleshot TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_setsingleshot $t"},
    {"timer_clearsingleshot", VX_GraphicsServer_timer_clearsingleshot, "timer_clearsingleshot TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_clearsingleshot $t"},
    {"timer_setinterval", VX_GraphicsServer_timer_setinterval, "timer_setinterval TIMER milliseconds",
     "w = mainwindow none\nt = timer $w\ntimer_setinterval $t 100"},
    {"timer_start", VX_GraphicsServer_timer_start, "timer_start TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_start $t"},
    {"timer_stop", VX_GraphicsServer_timer_stop, "timer_stop TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_stop $t"},
};
