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

using Server = VX_GraphicsServer;
using Command = VX_GraphicsServer_command;
using Response = VX_GraphicsServer_response;

// The parent of a creating command: a main window stands for its central
// frame.
QWidget* parentOf(const Command* command)
{
    return vx_parent_widget(command->target_type, command->target);
}

int VX_GraphicsServer_button(Server* server, Command* command, Response* response)
{
    auto* button = new QPushButton(parentOf(command));
    return vx_answer_new(server, command, response, VX_TYPE_BUTTON, button, "QPushButton");
}

int VX_GraphicsServer_label(Server* server, Command* command, Response* response)
{
    auto* label = new QLabel(parentOf(command));
    return vx_answer_new(server, command, response, VX_TYPE_LABEL, label, "QLabel");
}

int VX_GraphicsServer_checkbox(Server* server, Command* command, Response* response)
{
    QWidget* parent = parentOf(command);
    QCheckBox* box;
    if (command->args.size() == 2)
        box = new QCheckBox(command->args[1], parent);
    else
        box = new QCheckBox(parent);
    if (!command->args.isEmpty())
        box->setCheckState(command->args[0] == QLatin1String("0") ? Qt::Unchecked : Qt::Checked);
    int ret = vx_answer_new(server, command, response, VX_TYPE_CHECKBOX, box, nullptr);
    const QByteArray h = vx_msg(response->handle);
    if (command->args.size() == 2)
        VX_TRACE("%s = new QCheckBox(%s,%s)", h.constData(), vx_msg(command->args[1]).constData(),
                 vx_msg(command->handle).constData());
    else
        VX_TRACE("%s = new QCheckBox(%s)", h.constData(), vx_msg(command->handle).constData());
    if (!command->args.isEmpty())
        VX_TRACE("%s->setCheckState(%s)", h.constData(), vx_msg(command->args[0]).constData());
    return ret;
}

int VX_GraphicsServer_combobox(Server* server, Command* command, Response* response)
{
    auto* box = new QComboBox(parentOf(command));
    return vx_answer_new(server, command, response, VX_TYPE_COMBOBOX, box, "QComboBox");
}

int VX_GraphicsServer_lineedit(Server* server, Command* command, Response* response)
{
    auto* edit = new QLineEdit(parentOf(command));
    return vx_answer_new(server, command, response, VX_TYPE_LINEEDIT, edit, "QLineEdit");
}

int VX_GraphicsServer_menubar(Server* server, Command* command, Response* response)
{
    auto* bar = new QMenuBar(parentOf(command));
    bar->setNativeMenuBar(false);
    if (command->target_type == VX_TYPE_MAINWINDOW)
        static_cast<VXMainWindow*>(command->target)->setMenuBar(bar);
    return vx_answer_new(server, command, response, VX_TYPE_MENUBAR, bar, "QMenuBar");
}

int VX_GraphicsServer_menu(Server* server, Command* command, Response* response)
{
    auto* menu = new QMenu(parentOf(command));
    return vx_answer_new(server, command, response, VX_TYPE_MENU, menu, "QMenu");
}

// The look-up of a timer's parent has its own wording, so the row leaves
// the handle to this proc.
int VX_GraphicsServer_timer(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_timer";
    int type = -1;
    void* item = VX_GraphicsServer_get_item(server, command->handle, &type, VX_ITEM_KEEP);
    if (!item)
        return vx_fail(server, response, "%s: VX_GraphicsServer_get_timer(%s) error.\n", proc,
                       vx_msg(command->handle).constData());
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: parent must be a frame or mainwindow.\n", proc);
    auto* timer = new QTimer(vx_parent_widget(type, item));
    return vx_answer_new(server, command, response, VX_TYPE_TIMER, timer, "QTimer");
}

int VX_GraphicsServer_filedialog(Server* server, Command* command, Response* response)
{
    QWidget* parent = parentOf(command);
    const QStringList& a = command->args;
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
    int ret = vx_answer_new(server, command, response, VX_TYPE_FILEDIALOG, dialog, nullptr);
    VX_TRACE("%s = new QFileDialog(%s, %s, %s, %s)", vx_msg(response->handle).constData(),
             vx_msg(command->handle).constData(), vx_msg(a[0]).constData(), vx_msg(a[1]).constData(),
             vx_msg(a[2]).constData());
    return ret;
}

// ---- text, state and values -----------------------------------------------

// Answer a query: the command's handle and one value.
int answerValue(Response* response, const Command* command, const QString& value)
{
    vx_answer(response, command->handle);
    response->return_params.append(value);
    return 0;
}

// button_text, label_text, checkbox_text: one argument sets, otherwise get.
int textOf(Command* command, Response* response)
{
    QObject* object = vx_as_qobject(command->target_type, command->target);
    auto* label = command->target_type == VX_TYPE_LABEL ? static_cast<QLabel*>(object) : nullptr;
    auto* button = label ? nullptr : static_cast<QAbstractButton*>(object);
    const QByteArray h = vx_msg(command->handle);
    if (command->args.size() == 1) {
        if (label)
            label->setText(command->args[0]);
        else
            button->setText(command->args[0]);
        VX_TRACE("%s->setText(%s)", h.constData(), vx_msg(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    QString text = label ? label->text() : button->text();
    VX_TRACE("%s->text(%s)", h.constData(), vx_msg(text).constData());
    return answerValue(response, command, text);
}

int VX_GraphicsServer_button_text(Server*, Command* c, Response* r) { return textOf(c, r); }
int VX_GraphicsServer_label_text(Server*, Command* c, Response* r) { return textOf(c, r); }
int VX_GraphicsServer_checkbox_text(Server*, Command* c, Response* r) { return textOf(c, r); }

int VX_GraphicsServer_label_selectable(Server* server, Command* command, Response* response)
{
    int on = 0;
    if (!vx_to_int("VX_GraphicsServer_label_selectable", "selectable", command->args[0], &on))
        return VX_GraphicsServer_error2(server, response);
    static_cast<QLabel*>(command->target)
        ->setTextInteractionFlags(on ? Qt::TextSelectableByMouse : Qt::NoTextInteraction);
    VX_TRACE("%s->setTextInteractionFlags(%s)", vx_msg(command->handle).constData(),
             on ? "Qt::TextSelectableByMouse" : "Qt::NoTextInteraction");
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_checkbox_state(Server*, Command* command, Response* response)
{
    auto* box = static_cast<QCheckBox*>(command->target);
    const QByteArray h = vx_msg(command->handle);
    if (command->args.size() == 1) {
        box->setCheckState(command->args[0] == QLatin1String("0") ? Qt::Unchecked : Qt::Checked);
        VX_TRACE("%s->setCheckState(%s)", h.constData(), vx_msg(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    QString state = box->checkState() == Qt::Unchecked ? QStringLiteral("0") : QStringLiteral("1");
    VX_TRACE("%s->checkState(%s)", h.constData(), vx_msg(state).constData());
    return answerValue(response, command, state);
}

int VX_GraphicsServer_combobox_clear(Server*, Command* command, Response* response)
{
    static_cast<QComboBox*>(command->target)->clear();
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_combobox_additems(Server*, Command* command, Response* response)
{
    static_cast<QComboBox*>(command->target)->addItems(command->args);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_combobox_index(Server* server, Command* command, Response* response)
{
    auto* box = static_cast<QComboBox*>(command->target);
    const QByteArray h = vx_msg(command->handle);
    if (command->args.size() == 1) {
        int index = 0;
        if (!vx_to_int("VX_GraphicsServer_combox_index", "index", command->args[0], &index))
            return VX_GraphicsServer_error2(server, response);
        VxSilentCallback silent(command->handle);
        box->setCurrentIndex(index);
        VX_TRACE("%s->setCurrentIndex(%s)", h.constData(), vx_msg(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    VX_TRACE("%s->currentIndex(%d)", h.constData(), box->currentIndex());
    return answerValue(response, command, QString::number(box->currentIndex()));
}

int VX_GraphicsServer_combobox_text(Server*, Command* command, Response* response)
{
    auto* box = static_cast<QComboBox*>(command->target);
    const QByteArray h = vx_msg(command->handle);
    if (command->args.size() == 1) {
        VxSilentCallback silent(command->handle);
        box->setCurrentText(command->args[0]);
        VX_TRACE("%s->setCurrentText(%s)", h.constData(), vx_msg(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    VX_TRACE("%s->currentText(%s)", h.constData(), vx_msg(box->currentText()).constData());
    return answerValue(response, command, box->currentText());
}

int VX_GraphicsServer_lineedit_text(Server*, Command* command, Response* response)
{
    auto* edit = static_cast<QLineEdit*>(command->target);
    const QByteArray h = vx_msg(command->handle);
    if (command->args.size() == 1) {
        {
            VxSilentCallback silent(command->handle);
            edit->setText(command->args[0]);
        }
        // the field grows to show the whole text
        int width = edit->fontMetrics().boundingRect(command->args[0]).width();
        edit->setMinimumSize(width, int(0.75 * edit->height()));
        VX_TRACE("%s->setText(%s)", h.constData(), vx_msg(command->args[0]).constData());
        return vx_answer(response, command->handle);
    }
    VX_TRACE("%s->text(%s)", h.constData(), vx_msg(edit->text()).constData());
    return answerValue(response, command, edit->text());
}

// The handle "root" stands for the whole application, so the row leaves
// the handle to this proc.
int VX_GraphicsServer_setstylesheet(Server* server, Command* command, Response* response)
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

// menubar_addmenu, menu_addmenu
int addMenu(Server* server, Command* command, Response* response)
{
    QMenu* menu = command->target_type == VX_TYPE_MENUBAR
                      ? static_cast<QMenuBar*>(command->target)->addMenu(command->args[0])
                      : static_cast<QMenu*>(command->target)->addMenu(command->args[0]);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_MENU, menu, handle);
    VX_TRACE("%s = %s->addMenu(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData(),
             vx_msg(command->args[0]).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_menubar_addmenu(Server* s, Command* c, Response* r) { return addMenu(s, c, r); }
int VX_GraphicsServer_menu_addmenu(Server* s, Command* c, Response* r) { return addMenu(s, c, r); }

enum class ActionParent { Menubar, Other };

// Enter a new action of the target menu, connect its callback and answer
// with its handle, also as the one return value.
int answerAction(Server* server, Command* command, Response* response, QAction* action, ActionParent parent)
{
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_ACTION, action, handle);
    vx_connect_callback(VX_TYPE_ACTION, action, handle);
    if (parent == ActionParent::Menubar)
        VX_TRACE("%s = new QAction(%s, %s)", vx_msg(handle).constData(), vx_msg(command->args[1]).constData(),
                 vx_msg(command->args[0]).constData());
    VX_TRACE("%s->addAction(%s)", vx_msg(command->handle).constData(), vx_msg(handle).constData());
    vx_answer(response, handle);
    response->return_params.append(handle);
    return 0;
}

int VX_GraphicsServer_menu_additem(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_menu_additem";
    auto* menu = static_cast<QMenu*>(command->target);
    int ptype = -1;
    void* pitem = vx_lookup(server, proc, command->args[0], &ptype);
    if (!pitem)
        return VX_GraphicsServer_error2(server, response);
    if (ptype == VX_TYPE_MENUBAR) {
        auto* action = new QAction(command->args[1], static_cast<QMenuBar*>(pitem));
        menu->addAction(action);
        return answerAction(server, command, response, action, ActionParent::Menubar);
    }
    if (ptype == VX_TYPE_VIEWPORT && vx_as_widget(ptype, pitem))
        return answerAction(server, command, response, menu->addAction(command->args[1]), ActionParent::Other);
    return vx_fail(server, response, "%s: menu_additem must have action parent menubar or viewport, not %s.\n", proc,
                   vx_type_word(ptype));
}

int VX_GraphicsServer_menu_addwidget(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_menu_addwidget";
    auto* menu = static_cast<QMenu*>(command->target);
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
    if (!vx_can_place(proc, static_cast<QCheckBox*>(witem), menu, command->args[1], command->handle))
        return VX_GraphicsServer_error2(server, response);
    auto* action = new QWidgetAction(static_cast<QMenuBar*>(pitem));
    action->setDefaultWidget(static_cast<QCheckBox*>(witem));
    menu->addAction(action);
    return answerAction(server, command, response, action, ActionParent::Other);
}

int VX_GraphicsServer_menu_addseparator(Server*, Command* command, Response* response)
{
    static_cast<QMenu*>(command->target)->addSeparator();
    return vx_answer(response, command->handle);
}

// 0 or 2 arguments: a count the row cannot say.
int VX_GraphicsServer_menu_popup(Server* server, Command* command, Response* response)
{
    if (command->args.size() != 0 && command->args.size() != 2)
        return vx_fail(server, response, "VX_GraphicsServer_menu_addmenu: menu_popup needs 0 or 2 arguments.\n");
    if (command->args.isEmpty())
        static_cast<QMenu*>(command->target)->exec(QCursor::pos());  // blocks in the popup's own loop
    return vx_answer(response, command->handle);
}

// ---- timers -----------------------------------------------------------------

QTimer* targetTimer(const Command* command)
{
    return static_cast<QTimer*>(command->target);
}

int VX_GraphicsServer_timer_setsingleshot(Server*, Command* command, Response* response)
{
    targetTimer(command)->setSingleShot(true);
    VX_TRACE("%s = set timer single shot", vx_msg(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_clearsingleshot(Server*, Command* command, Response* response)
{
    targetTimer(command)->setSingleShot(false);
    VX_TRACE("%s = clear timer single shot", vx_msg(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_setinterval(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_timer_setinterval";
    int ms = 0;
    if (!vx_to_int(proc, "interval", command->args[0], &ms))
        return VX_GraphicsServer_error2(server, response);
    if (ms < 0)
        return vx_fail(server, response, "%s: interval must not be negative, not %d.\n", proc, ms);
    targetTimer(command)->setInterval(ms);
    VX_TRACE("%s = set timer interval to %d", vx_msg(command->handle).constData(), ms);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_start(Server*, Command* command, Response* response)
{
    targetTimer(command)->start();
    VX_TRACE("%s = start timer", vx_msg(command->handle).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_timer_stop(Server*, Command* command, Response* response)
{
    targetTimer(command)->stop();
    VX_TRACE("%s = stop timer", vx_msg(command->handle).constData());
    return vx_answer(response, command->handle);
}

// ---- checks of the rows ---------------------------------------------------

constexpr unsigned long long kFrameOrMainwindow = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW);
const char* const kNotFrameOrMainwindow = "{proc}: parent must be a frame or mainwindow.\n";
const VX_GraphicsServer_checks kCreating = {.types = kFrameOrMainwindow, .wrong_type = kNotFrameOrMainwindow};
constexpr unsigned long long kTimer = vx_types(VX_TYPE_TIMER);
const char* const kNotTimer = "{proc}: item must be a timer.\n";

} // namespace

// Samples: "w = mainwindow none" makes mainwindow:1 with its frame frame:0.
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_widgets = {
    {"label", VX_GraphicsServer_label, "label FRAME|MAINWINDOW|SCROLLAREA", "w = mainwindow none\nlabel $w",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW, VX_TYPE_SCROLLAREA),
      .wrong_type = "{proc}: parent must be a frame or mainwindow or scrollarea.\n"}},
    {"label_text", VX_GraphicsServer_label_text, "label_text LABEL [text]",
     "w = mainwindow none\nl = label $w\nlabel_text $l Hello\nlabel_text $l",
     {.types = vx_types(VX_TYPE_LABEL), .wrong_type = "{proc}: label_text must have label item, not {type}.\n"}},
    {"label_selectable", VX_GraphicsServer_label_selectable, "label_selectable LABEL 0|1",
     "w = mainwindow none\nl = label $w\nlabel_selectable $l 1",
     {.types = vx_types(VX_TYPE_LABEL), .wrong_type = "{proc}: label_selectable must have label item, not {type}.\n", .min_args = 1, .max_args = 1,
      .wrong_count = "{proc}: Need one argument.\n"}},
    {"button", VX_GraphicsServer_button, "button FRAME|MAINWINDOW", "w = mainwindow none\nbutton $w",
     kCreating},
    {"button_text", VX_GraphicsServer_button_text, "button_text BUTTON [text]",
     "w = mainwindow none\nb = button $w\nbutton_text $b OK\nbutton_text $b",
     {.types = vx_types(VX_TYPE_BUTTON), .wrong_type = "{proc}: button_text must have button item, not {type}.\n"}},
    {"checkbox", VX_GraphicsServer_checkbox, "checkbox FRAME|MAINWINDOW [state [text]]",
     "w = mainwindow none\ncheckbox $w\ncheckbox $w 0\ncheckbox $w 1 Filter",
     {.types = kFrameOrMainwindow, .wrong_type = kNotFrameOrMainwindow, .max_args = 2,
      .wrong_count = "{proc}: checkbox needs 0, 1 or 2 arguments.\n"}},
    {"checkbox_text", VX_GraphicsServer_checkbox_text, "checkbox_text CHECKBOX [text]",
     "w = mainwindow none\nc = checkbox $w\ncheckbox_text $c Filter",
     {.types = vx_types(VX_TYPE_CHECKBOX), .wrong_type = "{proc}: checkbox_text must have checkbox item, not {type}.\n"}},
    {"checkbox_state", VX_GraphicsServer_checkbox_state, "checkbox_state CHECKBOX [0|1]",
     "w = mainwindow none\nc = checkbox $w\ncheckbox_state $c 1\ncheckbox_state $c",
     {.types = vx_types(VX_TYPE_CHECKBOX), .wrong_type = "{proc}: checkbox_state must have checkbox item, not {type}.\n", .proc = "VX_GraphicsServer_checkbox_text"}},
    {"combobox", VX_GraphicsServer_combobox, "combobox FRAME|MAINWINDOW", "w = mainwindow none\ncombobox $w",
     kCreating},
    {"combobox_clear", VX_GraphicsServer_combobox_clear, "combobox_clear COMBOBOX",
     "w = mainwindow none\nc = combobox $w\ncombobox_clear $c",
     {.types = vx_types(VX_TYPE_COMBOBOX), .wrong_type = "{proc}: combobox_clear must have combobox item, not {type}.\n"}},
    {"combobox_additems", VX_GraphicsServer_combobox_additems, "combobox_additems COMBOBOX item ...",
     "w = mainwindow none\nc = combobox $w\ncombobox_additems $c BHZ BHN BHE",
     {.types = vx_types(VX_TYPE_COMBOBOX), .wrong_type = "{proc}: combobox_additems must have combobox item, not {type}.\n"}},
    {"combobox_index", VX_GraphicsServer_combobox_index, "combobox_index COMBOBOX [index]",
     "w = mainwindow none\nc = combobox $w\ncombobox_additems $c a b\ncombobox_index $c 1\ncombobox_index $c",
     {.types = vx_types(VX_TYPE_COMBOBOX), .wrong_type = "{proc}: combobox_index must have combobox item, not {type}.\n"}},
    {"combobox_text", VX_GraphicsServer_combobox_text, "combobox_text COMBOBOX [text]",
     "w = mainwindow none\nc = combobox $w\ncombobox_additems $c a b\ncombobox_text $c b\ncombobox_text $c",
     {.types = vx_types(VX_TYPE_COMBOBOX), .wrong_type = "{proc}: combobox_text must have combobox item, not {type}.\n"}},
    {"menubar", VX_GraphicsServer_menubar, "menubar FRAME|MAINWINDOW", "w = mainwindow none\nmenubar $w",
     kCreating},
    {"menubar_addmenu", VX_GraphicsServer_menubar_addmenu, "menubar_addmenu MENUBAR title",
     "w = mainwindow none\nm = menubar $w\nmenubar_addmenu $m File",
     {.types = vx_types(VX_TYPE_MENUBAR), .wrong_type = "{proc}: menubar_addmenu must have menubar item, not {type}.\n", .min_args = 1, .max_args = 1,
      .wrong_count = "{proc}: menubar_addmenu needs 1 argument.\n"}},
    {"menu", VX_GraphicsServer_menu, "menu FRAME|MAINWINDOW|VIEWPORT", "w = mainwindow none\nmenu $w",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW, VX_TYPE_VIEWPORT),
      .wrong_type = "{proc}: parent must be a viewport, frame or mainwindow.\n"}},
    {"menu_additem", VX_GraphicsServer_menu_additem, "menu_additem MENU MENUBAR|VIEWPORT text",
     "w = mainwindow none\nm = menubar $w\nf = menubar_addmenu $m File\nmenu_additem $f $m Open",
     {.types = vx_types(VX_TYPE_MENU), .wrong_type = "{proc}: menu_addmenu must have menu item, not {type}.\n", .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: menu_additem needs 2 arguments.\n"}},
    {"menu_addwidget", VX_GraphicsServer_menu_addwidget, "menu_addwidget MENU MENUBAR CHECKBOX",
     "w = mainwindow none\nm = menubar $w\nf = menubar_addmenu $m View\nc = checkbox $w 1 Grid\n"
     "menu_addwidget $f $m $c",
     {.types = vx_types(VX_TYPE_MENU), .wrong_type = "{proc}: menu_addwidget must have menu item, not {type}.\n", .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: menu_addwidget needs 2 arguments.\n"}},
    {"menu_addmenu", VX_GraphicsServer_menu_addmenu, "menu_addmenu MENU title",
     "w = mainwindow none\nm = menubar $w\nf = menubar_addmenu $m File\nmenu_addmenu $f Recent",
     {.types = vx_types(VX_TYPE_MENU), .wrong_type = "{proc}: menu_addmenu must have menu item, not {type}.\n", .min_args = 1, .max_args = 1,
      .wrong_count = "{proc}: menu_addmenu needs 1 argument.\n"}},
    {"menu_addseparator", VX_GraphicsServer_menu_addseparator, "menu_addseparator MENU",
     "w = mainwindow none\nm = menu $w\nmenu_addseparator $m",
     {.types = vx_types(VX_TYPE_MENU), .wrong_type = "{proc}: menu_addseparator must have menu item, not {type}.\n"}},
    {"menu_popup", VX_GraphicsServer_menu_popup, "menu_popup MENU [x y] (without x y: modal at the cursor)",
     "w = mainwindow none\nm = menu $w\nmenu_popup $m 0 0",
     {.types = vx_types(VX_TYPE_MENU), .wrong_type = "{proc}: menu_popup must have menu item, not {type}.\n"}},
    {"lineedit", VX_GraphicsServer_lineedit, "lineedit FRAME|MAINWINDOW", "w = mainwindow none\nlineedit $w",
     kCreating},
    {"lineedit_text", VX_GraphicsServer_lineedit_text, "lineedit_text LINEEDIT [text]",
     "w = mainwindow none\ne = lineedit $w\nlineedit_text $e ANMO\nlineedit_text $e",
     {.types = vx_types(VX_TYPE_LINEEDIT), .wrong_type = "{proc}: lineedit_text must have lineedit item, not {type}.\n"}},
    {"setstylesheet", VX_GraphicsServer_setstylesheet, "setstylesheet root|WIDGET style",
     "w = mainwindow none\nb = button $w\nsetstylesheet $b \"color: red\""},
    {"filedialog", VX_GraphicsServer_filedialog,
     "filedialog FRAME|MAINWINDOW caption directory filter [save|open] (with the fourth: modal)",
     "w = mainwindow none\nfiledialog $w Open /tmp \"*.wfdisc\"",
     {.types = kFrameOrMainwindow, .wrong_type = kNotFrameOrMainwindow, .min_args = 3, .max_args = 4,
      .wrong_count = "{proc}: filedialog needs 3 or 4 arguments.\n"}},
    {"timer", VX_GraphicsServer_timer, "timer FRAME|MAINWINDOW", "w = mainwindow none\ntimer $w"},
    {"timer_setsingleshot", VX_GraphicsServer_timer_setsingleshot, "timer_setsingleshot TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_setsingleshot $t",
     {.types = kTimer, .wrong_type = kNotTimer, .proc = "VX_GraphicsServer_timer_setoneshot"}},
    {"timer_clearsingleshot", VX_GraphicsServer_timer_clearsingleshot, "timer_clearsingleshot TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_clearsingleshot $t",
     {.types = kTimer, .wrong_type = kNotTimer, .proc = "VX_GraphicsServer_timer_clearoneshot"}},
    {"timer_setinterval", VX_GraphicsServer_timer_setinterval, "timer_setinterval TIMER milliseconds",
     "w = mainwindow none\nt = timer $w\ntimer_setinterval $t 100",
     {.types = kTimer, .wrong_type = kNotTimer, .min_args = 1, .max_args = 1,
      .wrong_count = "{proc}: timer_setinterval needs 1 argument.\n"}},
    {"timer_start", VX_GraphicsServer_timer_start, "timer_start TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_start $t",
     {.types = kTimer, .wrong_type = kNotTimer}},
    {"timer_stop", VX_GraphicsServer_timer_stop, "timer_stop TIMER",
     "w = mainwindow none\nt = timer $w\ntimer_stop $t",
     {.types = kTimer, .wrong_type = kNotTimer}},
};
