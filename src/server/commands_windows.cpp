// Windows, containers and layouts: frames, dialogs, grid and form layouts,
// splitters, dock widgets, scroll areas and the main window's own commands.
// The rows check each command's target and argument count; the procs find
// the target in command->target.
#include "server/mainwindow.h"
#include "server/toplevel.h"
#include "server/widgetprocs.h"

#include <QDialog>
#include <QDockWidget>
#include <QFormLayout>
#include <QFrame>
#include <QGridLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QSplitter>

namespace {

using Server = VX_GraphicsServer;
using Command = VX_GraphicsServer_command;
using Response = VX_GraphicsServer_response;

// ---- main window --------------------------------------------------------

VXMainWindow* targetWindow(const Command* command)
{
    return static_cast<VXMainWindow*>(command->target);
}

int VX_GraphicsServer_mainwindow_getframe(Server*, Command* command, Response* response)
{
    return vx_answer(response, targetWindow(command)->tl_handle);
}

int VX_GraphicsServer_mainwindow_adjustsize(Server*, Command* command, Response* response)
{
    vx_parent_widget(command->target_type, command->target)->adjustSize();
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_mainwindow_adddockwidget(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow_adddockwidget";
    int dock_type = -1;
    void* dock = vx_lookup(server, proc, command->args[0], &dock_type);
    if (!dock)
        return VX_GraphicsServer_error2(server, response);
    if (dock_type != VX_TYPE_DOCKWIDGET)
        return vx_fail(server, response, "%s: item must be dockwidget.\n", proc);
    if (!vx_can_place(proc, static_cast<QDockWidget*>(dock), targetWindow(command), command->args[0],
                      command->handle))
        return VX_GraphicsServer_error2(server, response);
    static const struct { const char* word; Qt::DockWidgetArea area; } areas[] = {
        {"left", Qt::LeftDockWidgetArea}, {"right", Qt::RightDockWidgetArea},
        {"top", Qt::TopDockWidgetArea}, {"bottom", Qt::BottomDockWidgetArea}};
    const QString& word = command->args[1];
    for (const auto& a : areas) {
        if (word != QLatin1String(a.word))
            continue;
        targetWindow(command)->addDockWidget(a.area, static_cast<QDockWidget*>(dock));
        VX_TRACE("%s->addDockWidget(%s, %s)", vx_msg(command->handle).constData(),
                 vx_msg(command->args[0]).constData(), vx_msg(word).constData());
        return vx_answer(response, command->handle);
    }
    return vx_fail(server, response, "%s: area must be one of left, right, top or bottom, not '%s'.\n", proc,
                   vx_msg(word).constData());
}

// The docks, sizes and orientation come as pointers in extra_args (a
// QStringList* of handles, a QList<int>* of sizes, a char* orientation) or,
// from the command shell, as text: orientation, then handle and size pairs.
int VX_GraphicsServer_mainwindow_resizedocks(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow_resizedocks";
    QStringList handles;
    QList<int> sizes;
    QString orientation;
    if (command->extra_args.isEmpty() && !command->args.isEmpty()) {
        orientation = command->args[0];
        for (qsizetype i = 1; i + 1 < command->args.size(); i += 2) {
            int size = 0;
            if (!vx_to_int(proc, "size", command->args[i + 1], &size, VxNumberWording::Short))
                return VX_GraphicsServer_error2(server, response);
            handles.append(command->args[i]);
            sizes.append(size);
        }
        if (command->args.size() % 2 == 0)
            return vx_fail(server, response, "%s: dockwidgets list must be same size as sizes list.\n", proc);
    } else {
        if (command->extra_args.size() != 3 || !command->extra_args[0] || !command->extra_args[1] ||
            !command->extra_args[2])
            return vx_fail(server, response, "%s: Need 3 arguments.\n", proc);
        handles = *static_cast<const QStringList*>(command->extra_args[0]);
        sizes = *static_cast<const QList<int>*>(command->extra_args[1]);
        orientation = QString::fromUtf8(static_cast<const char*>(command->extra_args[2]));
    }
    Qt::Orientation o;
    if (orientation == QLatin1String("horizontal"))
        o = Qt::Horizontal;
    else if (orientation == QLatin1String("vertical"))
        o = Qt::Vertical;
    else
        return vx_fail(server, response,
                       "%s: orientation argument must be one of 'horizonal' or 'vertical'.\n", proc);
    if (handles.size() != sizes.size())
        return vx_fail(server, response, "%s: dockwidgets list must be same size as sizes list.\n", proc);
    QList<QDockWidget*> docks;
    for (const QString& h : handles) {
        int t = -1;
        void* dock = vx_lookup(server, proc, h, &t);
        if (!dock)
            return VX_GraphicsServer_error2(server, response);
        if (t != VX_TYPE_DOCKWIDGET)
            return vx_fail(server, response, "%s: item must be dockwidget.\n", proc);
        docks.append(static_cast<QDockWidget*>(dock));
    }
    targetWindow(command)->resizeDocks(docks, sizes, o);
    if (vxplot_debug) {
        QStringList sz;
        for (int s : sizes)
            sz.append(QString::number(s));
        VX_TRACE("%s->resizeDocks({%s}, {%s}, %s)", vx_msg(command->handle).constData(),
                 vx_msg(handles.join(QLatin1String(", "))).constData(),
                 vx_msg(sz.join(QLatin1String(", "))).constData(),
                 o == Qt::Horizontal ? "Qt::Horizontal" : "Qt::Vertical");
    }
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_window_title(Server*, Command* command, Response* response)
{
    vx_as_widget(command->target_type, command->target)->setWindowTitle(command->args[0]);
    return vx_answer(response, command->command);
}

// ---- frames and dialogs -------------------------------------------------

int VX_GraphicsServer_frame(Server* server, Command* command, Response* response)
{
    QFrame* frame = nullptr;
    if (!command->target) {  // "none": a top-level window
        int close_window = server->first_toplevel ? 1 : 0;
        if (command->args.size() == 1 &&
            !vx_to_int("VX_GraphicsServer_frame", "close_window", command->args[0], &close_window))
            return VX_GraphicsServer_error2(server, response);
        frame = new VXTopLevel(server, nullptr, close_window);
        server->first_toplevel = 0;
        if (!server->toplevel_name.isEmpty())
            frame->setWindowTitle(server->toplevel_name);
    } else {
        frame = new QFrame(vx_parent_widget(command->target_type, command->target));
    }
    frame->setAutoFillBackground(false);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_FRAME, frame, handle);
    VX_TRACE("%s = new QFrame(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int frameTransparency(Command* command, Response* response, bool on)
{
    static_cast<QFrame*>(command->target)->setAttribute(Qt::WA_TransparentForMouseEvents, on);
    VX_TRACE("%s = %s event transparency", vx_msg(command->handle).constData(), on ? "set" : "clear");
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_frame_seteventtransparency(Server*, Command* command, Response* response)
{
    return frameTransparency(command, response, true);
}

int VX_GraphicsServer_frame_cleareventtransparency(Server*, Command* command, Response* response)
{
    return frameTransparency(command, response, false);
}

int VX_GraphicsServer_frame_setmodality(Server*, Command* command, Response* response)
{
    Qt::WindowModality m = Qt::NonModal;
    const char* text = "Qt::NonModal";
    if (command->args[0] == QLatin1String("application"))
        m = Qt::ApplicationModal, text = "Qt::ApplicationModal";
    else if (command->args[0] == QLatin1String("window"))
        m = Qt::WindowModal, text = "Qt::WindowModal";
    static_cast<QFrame*>(command->target)->setWindowModality(m);
    VX_TRACE("%s = setWindowModality(%s)", vx_msg(command->handle).constData(), text);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_dialog(Server* server, Command* command, Response* response)
{
    QWidget* parent = command->target ? vx_parent_widget(command->target_type, command->target) : nullptr;
    auto* dialog = new QDialog(parent);
    dialog->setAutoFillBackground(false);
    if (!server->toplevel_name.isEmpty())
        dialog->setWindowTitle(server->toplevel_name);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_DIALOG, dialog, handle);
    VX_TRACE("%s = new QDialog(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

// ---- grid and form layouts ----------------------------------------------

int VX_GraphicsServer_gridlayout(Server* server, Command* command, Response* response)
{
    // a main window gets the layout on the window itself
    QWidget* parent = vx_as_widget(command->target_type, command->target);
    if (!parent) {  // a view type whose class this server does not make
        vx_refuse_target(command);
        return VX_GraphicsServer_error2(server, response);
    }
    auto* layout = new QGridLayout(parent);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_GRIDLAYOUT, layout, handle);
    VX_TRACE("%s = new QGridLayout(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_formlayout(Server* server, Command* command, Response* response)
{
    auto* layout = new QFormLayout(vx_parent_widget(command->target_type, command->target));
    layout->setHorizontalSpacing(10);
    layout->setContentsMargins(0, 0, 0, 0);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_FORMLAYOUT, layout, handle);
    VX_TRACE("%s = new QFormLayout(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

// Convert the arguments of a layout command (their number is checked).
bool layoutInts(const Command* command, const char* proc, std::initializer_list<const char*> names, int* values)
{
    int i = 0;
    for (const char* name : names) {
        if (!vx_to_int(proc, name, command->args[i], &values[i], VxNumberWording::Short))
            return false;
        i++;
    }
    return true;
}

enum class LayoutSetting { Spacing, Margins };

// gridlayout_spacing, formlayout_spacing, gridlayout_margins, formlayout_margins
int layoutSpacingOrMargins(Server* server, Command* command, Response* response, LayoutSetting setting)
{
    const bool grid = command->target_type == VX_TYPE_GRIDLAYOUT;
    const bool margins = setting == LayoutSetting::Margins;
    const QByteArray proc = "VX_GraphicsServer_" + command->command.toLatin1();
    int v[4];
    bool ok = margins ? layoutInts(command, proc.constData(), {"left", "top", "right", "bottom"}, v)
                      : layoutInts(command, proc.constData(), {"hspacing", "vspacing"}, v);
    if (!ok)
        return VX_GraphicsServer_error2(server, response);
    auto* layout = static_cast<QLayout*>(vx_as_qobject(command->target_type, command->target));
    const QByteArray h = vx_msg(command->handle);
    if (margins) {
        layout->setContentsMargins(v[0], v[1], v[2], v[3]);
        VX_TRACE("%s->setContentsMargins(%d, %d, %d %d)", h.constData(), v[0], v[1], v[2], v[3]);
    } else {
        if (grid) {
            static_cast<QGridLayout*>(layout)->setHorizontalSpacing(v[0]);
            static_cast<QGridLayout*>(layout)->setVerticalSpacing(v[1]);
        } else {
            static_cast<QFormLayout*>(layout)->setHorizontalSpacing(v[0]);
            static_cast<QFormLayout*>(layout)->setVerticalSpacing(v[1]);
        }
        VX_TRACE("%s->setHorizontalSpacing(%d)", h.constData(), v[0]);
        VX_TRACE("%s->setVerticalSpacing(%d)", h.constData(), v[1]);
    }
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_gridlayout_spacing(Server* s, Command* c, Response* r)
{
    return layoutSpacingOrMargins(s, c, r, LayoutSetting::Spacing);
}
int VX_GraphicsServer_gridlayout_margins(Server* s, Command* c, Response* r)
{
    return layoutSpacingOrMargins(s, c, r, LayoutSetting::Margins);
}
int VX_GraphicsServer_formlayout_spacing(Server* s, Command* c, Response* r)
{
    return layoutSpacingOrMargins(s, c, r, LayoutSetting::Spacing);
}
int VX_GraphicsServer_formlayout_margins(Server* s, Command* c, Response* r)
{
    return layoutSpacingOrMargins(s, c, r, LayoutSetting::Margins);
}

// Drop the items of layout (and of the layouts in it) whose widget is gone.
// A layout made on a widget that has a layout already is not that widget's
// layout: its widgets are the widget's children, but the widget tells only
// its own layout when one of them is deleted or taken away, so this layout
// keeps an item without a widget, which Qt reads as soon as the layout is
// nested into a live one.
static void dropDeadItems(QLayout* layout)
{
    for (int i = layout->count() - 1; i >= 0; i--) {
        QLayoutItem* item = layout->itemAt(i);
        if (!item)
            continue;
        if (QLayout* inner = item->layout())
            dropDeadItems(inner);
        else if (!item->spacerItem() && !item->widget())
            delete layout->takeAt(i);
    }
}

int VX_GraphicsServer_gridlayout_addwidget(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_gridlayout_addwidget";
    auto* grid = static_cast<QGridLayout*>(command->target);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[0], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    int v[4];
    const char* names[] = {"fromrow", "fromcolumn", "rowspan", "columnspan"};
    for (int i = 0; i < 4; i++)
        if (!vx_to_int(proc, names[i], command->args[i + 1], &v[i], VxNumberWording::Short))
            return VX_GraphicsServer_error2(server, response);
    if (wtype == VX_TYPE_GRIDLAYOUT || wtype == VX_TYPE_FORMLAYOUT) {
        // A layout made on a widget that has a layout already is only the
        // widget's child; it is taken from the widget and nested here.  One
        // that lays out a widget, or is nested already, stays where it is.
        auto* inner = static_cast<QLayout*>(vx_as_qobject(wtype, witem));
        QObject* owner = inner->parent();
        if (inner == grid || (owner && !owner->isWidgetType()) ||
            (owner && static_cast<QWidget*>(owner)->layout() == inner))
            return vx_fail(server, response, "%s: layout %s already has a parent.\n", proc,
                           vx_msg(command->args[0]).constData());
        // a layout that holds this grid, however deep, would close a loop
        // of parents that Qt never leaves
        for (QObject* up = grid->parent(); up && !up->isWidgetType(); up = up->parent())
            if (up == inner)
                return vx_fail(server, response, "%s: %s cannot be placed inside %s, which it contains.\n", proc,
                               vx_msg(command->args[0]).constData(), vx_msg(command->handle).constData());
        if (!vx_can_place_layout(proc, inner, grid->parentWidget(), command->args[0], command->handle))
            return VX_GraphicsServer_error2(server, response);
        inner->setParent(nullptr);
        dropDeadItems(inner);
        grid->addLayout(inner, v[0], v[1], v[2], v[3]);
    } else {
        QWidget* w = vx_is_placeable_widget(wtype) ? vx_as_widget(wtype, witem) : nullptr;
        if (!w)
            return vx_fail(server, response,
                           "%s: addwidget widget must be frame, button, menubar, menu, spreadsheet, splitter, or "
                           "viewport.\n",
                           proc);
        if (!vx_can_place(proc, w, grid->parentWidget(), command->args[0], command->handle))
            return VX_GraphicsServer_error2(server, response);
        grid->addWidget(w, v[0], v[1], v[2], v[3]);
    }
    VX_TRACE("%s->addWidget(%s, %d, %d, %d, %d)", vx_msg(command->handle).constData(),
             vx_msg(command->args[0]).constData(), v[0], v[1], v[2], v[3]);
    return vx_answer(response, command->handle);
}

enum class GridPair { ColumnStretch, RowStretch, ColumnWidth, RowHeight };

// gridlayout_columnstretch, _rowstretch, _columnwidth, _rowheight
int gridPair(Server* server, Command* command, Response* response, GridPair what)
{
    static const struct { const char* first; const char* second; const char* call; } pairs[] = {
        {"column", "stretch", "setColumnStretch"}, {"row", "stretch", "setRowStretch"},
        {"column", "width", "setColumnMinimumWidth"}, {"row", "height", "setRowMinimumHeight"}};
    const auto& pair = pairs[int(what)];
    const QByteArray proc = "VX_GraphicsServer_" + command->command.toLatin1();
    auto* grid = static_cast<QGridLayout*>(command->target);
    int v[2];
    if (!layoutInts(command, proc.constData(), {pair.first, pair.second}, v))
        return VX_GraphicsServer_error2(server, response);
    switch (what) {
    case GridPair::ColumnStretch: grid->setColumnStretch(v[0], v[1]); break;
    case GridPair::RowStretch: grid->setRowStretch(v[0], v[1]); break;
    case GridPair::ColumnWidth: grid->setColumnMinimumWidth(v[0], v[1]); break;
    case GridPair::RowHeight: grid->setRowMinimumHeight(v[0], v[1]); break;
    }
    VX_TRACE("%s->%s(%d, %d)", vx_msg(command->handle).constData(), pair.call, v[0], v[1]);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_gridlayout_columnstretch(Server* s, Command* c, Response* r)
{
    return gridPair(s, c, r, GridPair::ColumnStretch);
}
int VX_GraphicsServer_gridlayout_rowstretch(Server* s, Command* c, Response* r)
{
    return gridPair(s, c, r, GridPair::RowStretch);
}
int VX_GraphicsServer_gridlayout_columnwidth(Server* s, Command* c, Response* r)
{
    return gridPair(s, c, r, GridPair::ColumnWidth);
}
int VX_GraphicsServer_gridlayout_rowheight(Server* s, Command* c, Response* r)
{
    return gridPair(s, c, r, GridPair::RowHeight);
}

int VX_GraphicsServer_formlayout_addrow(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_formlayout_addrow";
    auto* form = static_cast<QFormLayout*>(command->target);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[1], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    switch (wtype) {
    case VX_TYPE_BUTTON: case VX_TYPE_MENUBAR: case VX_TYPE_LINEEDIT: case VX_TYPE_CHECKBOX: case VX_TYPE_COMBOBOX:
    case VX_TYPE_LABEL:
        break;
    default:
        return vx_fail(server, response, "%s: addrow widget must be button, menubar or lineedit.\n", proc);
    }
    QWidget* w = vx_as_widget(wtype, witem);
    if (!vx_can_place(proc, w, form->parentWidget(), command->args[1], command->handle))
        return VX_GraphicsServer_error2(server, response);
    form->addRow(command->args[0], w);
    VX_TRACE("%s->addRow(%s, %s)", vx_msg(command->handle).constData(), vx_msg(command->args[0]).constData(),
             vx_msg(command->args[1]).constData());
    return vx_answer(response, command->handle);
}

// ---- splitters ------------------------------------------------------------

int VX_GraphicsServer_splitter(Server* server, Command* command, Response* response)
{
    const bool vertical = !command->args.isEmpty() && command->args[0] == QLatin1String("vertical");
    auto* splitter = new QSplitter(vertical ? Qt::Vertical : Qt::Horizontal,
                                   vx_parent_widget(command->target_type, command->target));
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_SPLITTER, splitter, handle);
    VX_TRACE("%s = new QSplitter(%s, %s)", vx_msg(handle).constData(), vertical ? "Qt::Vertical" : "Qt::Horizontal",
             vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_splitter_addwidget(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_splitter_addwidget";
    auto* splitter = static_cast<QSplitter*>(command->target);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[0], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    QWidget* w = vx_is_placeable_widget(wtype) ? vx_as_widget(wtype, witem) : nullptr;
    if (!w || w == splitter)
        return vx_fail(server, response,
                       "%s: addwidget widget must be frame, button, menubar, menu, spreadsheet, splitter, scrollarea "
                       "or viewport.\n",
                       proc);
    int index = 0;
    if (!vx_to_int(proc, "index", command->args[1], &index, VxNumberWording::Short))
        return VX_GraphicsServer_error2(server, response);
    if (!vx_can_place(proc, w, splitter, command->args[0], command->handle))
        return VX_GraphicsServer_error2(server, response);
    splitter->insertWidget(index, w);
    VX_TRACE("%s->addWidget(%s, %d)", vx_msg(command->handle).constData(), vx_msg(command->args[0]).constData(),
             index);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_splitter_stretch(Server* server, Command* command, Response* response)
{
    int v[2];
    if (!layoutInts(command, "VX_GraphicsServer_splitter_stretch", {"index", "factor"}, v))
        return VX_GraphicsServer_error2(server, response);
    static_cast<QSplitter*>(command->target)->setStretchFactor(v[0], v[1]);
    VX_TRACE("%s->setStretchFactor(%d, 1)", vx_msg(command->handle).constData(), v[0]);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_splitter_setsizes(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_splitter_setsizes";
    auto* splitter = static_cast<QSplitter*>(command->target);
    if (command->args.size() != splitter->count())
        return vx_fail(server, response, "%s: setsizes needs %d arguments.\n", proc, int(splitter->count()));
    QList<int> sizes;
    for (const QString& a : command->args) {
        int size = 0;
        if (!vx_to_int(proc, "index size", a, &size, VxNumberWording::Short))
            return VX_GraphicsServer_error2(server, response);
        sizes.append(size);
    }
    splitter->setSizes(sizes);
    VX_TRACE("%s->setSizes()", vx_msg(command->handle).constData());
    return vx_answer(response, command->handle);
}

// ---- dock widgets and scroll areas --------------------------------------

int VX_GraphicsServer_dockwidget(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_dockwidget";
    auto* window = targetWindow(command);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[0], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    QWidget* w = vx_is_placeable_widget(wtype) || wtype == VX_TYPE_MAINWINDOW ? vx_as_widget(wtype, witem) : nullptr;
    if (!w || w == window)
        return vx_fail(server, response,
                       "%s: dockwidget parent must be frame, button, menubar, menu, spreadsheet, splitter, or "
                       "viewport.\n",
                       proc);
    if (!vx_can_place(proc, w, window, command->args[0], command->handle))
        return VX_GraphicsServer_error2(server, response);
    auto* dock = new QDockWidget(command->args[1], window);
    dock->setWidget(w);
    // a floating dock becomes a real window with a frame
    QObject::connect(dock, &QDockWidget::topLevelChanged, dock, [dock](bool top) {
        if (top) {
            dock->setWindowFlags(Qt::Window);
            dock->show();
        }
    });
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_DOCKWIDGET, dock, handle);
    VX_TRACE("new QDockWidget(%s, %s)", vx_msg(command->args[1]).constData(), vx_msg(command->handle).constData());
    VX_TRACE("%s->setWidget(%s)", vx_msg(handle).constData(), vx_msg(command->args[0]).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_dockwidget_setfloating(Server* server, Command* command, Response* response)
{
    int value = 0;
    if (!vx_to_int("VX_GraphicsServer_dockwidget_setfloating", "floating", command->args[0], &value,
                   VxNumberWording::Short))
        return VX_GraphicsServer_error2(server, response);
    static_cast<QDockWidget*>(command->target)->setFloating(value != 0);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_scrollarea(Server* server, Command* command, Response* response)
{
    auto* area = new QScrollArea(vx_parent_widget(command->target_type, command->target));
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_SCROLLAREA, area, handle);
    VX_TRACE("%s = new QScrollArea(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_scrollarea_widget(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_scrollarea_widget";
    auto* area = static_cast<QScrollArea*>(command->target);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[0], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    QWidget* w = nullptr;
    switch (wtype) {
    case VX_TYPE_VIEWPORT: case VX_TYPE_FRAME: case VX_TYPE_SPLITTER: case VX_TYPE_BUTTON: case VX_TYPE_MENUBAR:
    case VX_TYPE_MENU: case VX_TYPE_LINEEDIT: case VX_TYPE_SPREADSHEET: case VX_TYPE_CHECKBOX: case VX_TYPE_COMBOBOX:
    case VX_TYPE_LABEL:
        w = vx_as_widget(wtype, witem);
        break;
    default:
        break;
    }
    if (!w)
        return vx_fail(server, response,
                       "%s: widget must be frame, button, menubar, menu, spreadsheet, splitter or viewport.\n", proc);
    if (!vx_can_place(proc, w, area, command->args[0], command->handle))
        return VX_GraphicsServer_error2(server, response);
    area->setWidget(w);
    VX_TRACE("%s->setWidget(%s)", vx_msg(command->handle).constData(), vx_msg(command->args[0]).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_scrollarea_widgetresizable(Server* server, Command* command, Response* response)
{
    int value = 0;
    if (!vx_to_int("VX_GraphicsServer_scrollarea_widgetresizable", "ans", command->args[0], &value,
                   VxNumberWording::Short))
        return VX_GraphicsServer_error2(server, response);
    static_cast<QScrollArea*>(command->target)->setWidgetResizable(value != 0);
    VX_TRACE("%s->setWidgetResizable(%s)", vx_msg(command->handle).constData(), value ? "true" : "false");
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_scrollarea_scrollbar(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_scrollarea_scrollbar";
    int vertical = 0, ans = 0;
    if (!vx_to_int(proc, "isvertical", command->args[0], &vertical, VxNumberWording::Short) ||
        !vx_to_int(proc, "ans", command->args[1], &ans, VxNumberWording::Short))
        return VX_GraphicsServer_error2(server, response);
    auto* area = static_cast<QScrollArea*>(command->target);
    QScrollBar* bar = vertical ? area->verticalScrollBar() : area->horizontalScrollBar();
    Qt::ScrollBarPolicy policy = ans ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff;
    bar->setEnabled(ans != 0);
    if (vertical)
        area->setVerticalScrollBarPolicy(policy);
    else
        area->setHorizontalScrollBarPolicy(policy);
    const QByteArray h = vx_msg(command->handle);
    const char* which = vertical ? "Vertical" : "Horizontal";
    VX_TRACE("%s->%s()->setEnabled(%s)", h.constData(), vertical ? "verticalScrollBar" : "horizontalScrollBar",
             ans ? "true" : "false");
    VX_TRACE("%s->set%sScrollBarPolicy(%s)", h.constData(), which,
             ans ? "Qt::ScrollBarAsNeeded" : "Qt::ScrollBarAlwaysOff");
    return vx_answer(response, command->handle);
}

// ---- checks of the rows ---------------------------------------------------

// Exactly n arguments, with the message for another number.
constexpr VX_GraphicsServer_checks exactly(unsigned long long types, const char* wrong_type, int n,
                                           const char* wrong_count)
{
    return {.types = types, .wrong_type = wrong_type, .min_args = n, .max_args = n, .wrong_count = wrong_count};
}

constexpr unsigned long long kMainwindow = vx_types(VX_TYPE_MAINWINDOW);
constexpr unsigned long long kGrid = vx_types(VX_TYPE_GRIDLAYOUT);
constexpr unsigned long long kForm = vx_types(VX_TYPE_FORMLAYOUT);
constexpr unsigned long long kSplitter = vx_types(VX_TYPE_SPLITTER);
constexpr unsigned long long kScrollarea = vx_types(VX_TYPE_SCROLLAREA);
constexpr unsigned long long kFrame = vx_types(VX_TYPE_FRAME);
const char* const kNotMainwindow = "{proc}: item must be mainwindow.\n";
const char* const kNotFrame = "{proc}: item must be a frame.\n";
const char* const kNotScrollarea = "{proc}: item must be a scrollarea.\n";

} // namespace

// Samples: "w = mainwindow none" makes mainwindow:1 with its frame frame:0.
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_windows = {
    {"mainwindow_getframe", VX_GraphicsServer_mainwindow_getframe, "mainwindow_getframe MAINWINDOW",
     "w = mainwindow none\nmainwindow_getframe $w",
     {.types = kMainwindow, .wrong_type = kNotMainwindow}},
    {"mainwindow_adjustsize", VX_GraphicsServer_mainwindow_adjustsize, "mainwindow_adjustsize MAINWINDOW",
     "w = mainwindow none\nmainwindow_adjustsize $w",
     {.types = kMainwindow, .wrong_type = kNotMainwindow}},
    {"mainwindow_adddockwidget", VX_GraphicsServer_mainwindow_adddockwidget,
     "mainwindow_adddockwidget MAINWINDOW DOCKWIDGET left|right|top|bottom",
     "w = mainwindow none\nf = frame $w\nd = dockwidget $w $f Tools\nmainwindow_adddockwidget $w $d left",
     exactly(kMainwindow, kNotMainwindow, 2, "{proc}: Need 2 arguments.\n")},
    {"mainwindow_resizedocks", VX_GraphicsServer_mainwindow_resizedocks,
     "mainwindow_resizedocks MAINWINDOW horizontal|vertical DOCKWIDGET SIZE ... (or extra: QStringList*, QList<int>*, "
     "char*)",
     "w = mainwindow none\nf = frame $w\nd = dockwidget $w $f Tools\nmainwindow_adddockwidget $w $d left\n"
     "mainwindow_resizedocks $w horizontal $d 120",
     {.types = kMainwindow, .wrong_type = kNotMainwindow}},
    {"window_title", VX_GraphicsServer_window_title, "window_title FRAME|MAINWINDOW|DIALOG title",
     "w = mainwindow none\nwindow_title $w \"A title\"",
     exactly(vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW, VX_TYPE_DIALOG),
             "{proc}: item must be frame, mainwindow or dialog.\n", 1, "{proc}: window_title needs 1 arguments.\n")},
    {"frame", VX_GraphicsServer_frame, "frame none|FRAME|SPLITTER|MAINWINDOW|DIALOG [close_window]",
     "w = mainwindow none\nframe $w\nframe none 0",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_SPLITTER, VX_TYPE_DIALOG, VX_TYPE_MAINWINDOW),
      .wrong_type = "{proc}: parent must be another frame or dialog or mainwindow or splitter.\n",
      .flags = VX_CheckNoneTarget}},
    {"frame_seteventtransparency", VX_GraphicsServer_frame_seteventtransparency, "frame_seteventtransparency FRAME",
     "w = mainwindow none\nf = frame $w\nframe_seteventtransparency $f",
     {.types = kFrame, .wrong_type = kNotFrame}},
    {"frame_cleareventtransparency", VX_GraphicsServer_frame_cleareventtransparency,
     "frame_cleareventtransparency FRAME", "w = mainwindow none\nf = frame $w\nframe_cleareventtransparency $f",
     {.types = kFrame, .wrong_type = kNotFrame}},
    {"frame_setmodality", VX_GraphicsServer_frame_setmodality, "frame_setmodality FRAME application|window|none",
     "f = frame none\nframe_setmodality $f window",
     exactly(kFrame, kNotFrame, 1, "{proc}: Need modality argument.\n")},
    {"dialog", VX_GraphicsServer_dialog, "dialog none|FRAME|MAINWINDOW", "w = mainwindow none\ndialog $w\ndialog none",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW),
      .wrong_type = "{proc}: parent must be 'none', or mainwindow or frame.\n", .flags = VX_CheckNoneTarget}},
    {"gridlayout", VX_GraphicsServer_gridlayout, "gridlayout FRAME|MAINWINDOW|SCROLLAREA|DIALOG",
     "w = mainwindow none\ngridlayout frame:0",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW, VX_TYPE_SCROLLAREA, VX_TYPE_DIALOG, VX_TYPE_KVTREEVIEW,
                         VX_TYPE_TABLEVIEW, VX_TYPE_DBTABLEVIEW, VX_TYPE_QKTABLEVIEW, VX_TYPE_QKEVENTSTABLEVIEW,
                         VX_TYPE_QKORIGINSTABLEVIEW, VX_TYPE_COMMANDCONSOLE),
      .wrong_type = "{proc}: parent must be one of frame, dialog, mainwindow, scrollarea, kvtreeview, tableview, "
                    "dbtableview, qktableview, commandconsole or traceview.\n"}},
    {"gridlayout_spacing", VX_GraphicsServer_gridlayout_spacing, "gridlayout_spacing GRIDLAYOUT hspacing vspacing",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_spacing $g 4 2",
     exactly(kGrid, "{proc}: gridlayout_spacing must have gridlayout item, not {type}.\n", 2, "{proc}: girdlayout_spacing needs 2 arguments.\n")},
    {"gridlayout_margins", VX_GraphicsServer_gridlayout_margins,
     "gridlayout_margins GRIDLAYOUT left top right bottom",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_margins $g 1 2 3 4",
     exactly(kGrid, "{proc}: gridlayout_margins must have gridlayout item, not {type}.\n", 4, "{proc}: girdlayout_margins needs 4 arguments.\n")},
    {"gridlayout_addwidget", VX_GraphicsServer_gridlayout_addwidget,
     "gridlayout_addwidget GRIDLAYOUT WIDGET|LAYOUT fromrow fromcolumn rowspan columnspan",
     "w = mainwindow none\ng = gridlayout frame:0\nb = button $w\ngridlayout_addwidget $g $b 0 0 1 1",
     exactly(kGrid, "{proc}: addwidget must have gridlayout item, not {type}.\n", 5, "{proc}: addwidget needs 5 arguments.\n")},
    {"gridlayout_columnstretch", VX_GraphicsServer_gridlayout_columnstretch,
     "gridlayout_columnstretch GRIDLAYOUT column stretch",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_columnstretch $g 0 1",
     exactly(kGrid, "{proc}: columnstretch must have gridlayout item, not {type}.\n", 2, "{proc}: columnstretch needs 2 arguments.\n")},
    {"gridlayout_rowstretch", VX_GraphicsServer_gridlayout_rowstretch, "gridlayout_rowstretch GRIDLAYOUT row stretch",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_rowstretch $g 0 1",
     exactly(kGrid, "{proc}: rowstretch must have gridlayout item, not {type}.\n", 2, "{proc}: rowstretch needs 2 arguments.\n")},
    {"gridlayout_columnwidth", VX_GraphicsServer_gridlayout_columnwidth,
     "gridlayout_columnwidth GRIDLAYOUT column width",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_columnwidth $g 0 50",
     exactly(kGrid, "{proc}: columnwidth must have gridlayout item, not {type}.\n", 2, "{proc}: columnwidth needs 2 arguments.\n")},
    {"gridlayout_rowheight", VX_GraphicsServer_gridlayout_rowheight, "gridlayout_rowheight GRIDLAYOUT row height",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_rowheight $g 0 20",
     exactly(kGrid, "{proc}: rowheight must have gridlayout item, not {type}.\n", 2, "{proc}: rowheight needs 2 arguments.\n")},
    {"formlayout", VX_GraphicsServer_formlayout, "formlayout FRAME|MAINWINDOW|DIALOG",
     "w = mainwindow none\nformlayout $w",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW, VX_TYPE_DIALOG),
      .wrong_type = "{proc}: parent must be a frame or mainwindow or dialog.\n"}},
    {"formlayout_addrow", VX_GraphicsServer_formlayout_addrow, "formlayout_addrow FORMLAYOUT label WIDGET",
     "w = mainwindow none\nl = formlayout $w\ne = lineedit $w\nformlayout_addrow $l Name: $e",
     exactly(kForm, "{proc}: addrow must have formlayout item, not {type}.\n", 2, "{proc}: addrow needs 2 arguments.\n")},
    {"formlayout_spacing", VX_GraphicsServer_formlayout_spacing, "formlayout_spacing FORMLAYOUT hspacing vspacing",
     "w = mainwindow none\nl = formlayout $w\nformlayout_spacing $l 8 4",
     exactly(kForm, "{proc}: formlayout_spacing must have formlayout item, not {type}.\n", 2, "{proc}: girdlayout_spacing needs 2 arguments.\n")},
    {"formlayout_margins", VX_GraphicsServer_formlayout_margins,
     "formlayout_margins FORMLAYOUT left top right bottom",
     "w = mainwindow none\nl = formlayout $w\nformlayout_margins $l 2 2 2 2",
     exactly(kForm, "{proc}: formlayout_margins must have formlayout item, not {type}.\n", 4, "{proc}: girdlayout_margins needs 4 arguments.\n")},
    {"splitter", VX_GraphicsServer_splitter, "splitter FRAME|MAINWINDOW|DIALOG [vertical]",
     "w = mainwindow none\nsplitter $w vertical",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW, VX_TYPE_DIALOG),
      .wrong_type = "{proc}: parent must be a frame or dialog or mainwindow.\n"}},
    {"splitter_addwidget", VX_GraphicsServer_splitter_addwidget, "splitter_addwidget SPLITTER WIDGET index",
     "w = mainwindow none\ns = splitter $w\nb = button $w\nsplitter_addwidget $s $b 0",
     exactly(kSplitter, "{proc}: addwidget must have splitter item, not {type}.\n", 2, "{proc}: addwidget needs 2 arguments.\n")},
    {"splitter_stretch", VX_GraphicsServer_splitter_stretch, "splitter_stretch SPLITTER index factor",
     "w = mainwindow none\ns = splitter $w\nb = button $w\nsplitter_addwidget $s $b 0\nsplitter_stretch $s 0 1",
     exactly(kSplitter, "{proc}: stretch must have splitter item, not {type}.\n", 2, "{proc}: stretch needs 2 arguments.\n")},
    {"splitter_setsizes", VX_GraphicsServer_splitter_setsizes, "splitter_setsizes SPLITTER size ... (one per child)",
     "w = mainwindow none\ns = splitter $w\nb = button $w\nsplitter_addwidget $s $b 0\nsplitter_setsizes $s 100",
     {.types = kSplitter, .wrong_type = "{proc}: setsizes must have splitter item, not {type}.\n"}},
    {"dockwidget", VX_GraphicsServer_dockwidget, "dockwidget MAINWINDOW WIDGET title",
     "w = mainwindow none\nf = frame $w\ndockwidget $w $f Tools",
     exactly(kMainwindow, "{proc}: parent must be a mainwindow.\n", 2, "{proc}: dockwidget needs 2 arguments.\n")},
    {"dockwidget_setfloating", VX_GraphicsServer_dockwidget_setfloating, "dockwidget_setfloating DOCKWIDGET 0|1",
     "w = mainwindow none\nf = frame $w\nd = dockwidget $w $f Tools\ndockwidget_setfloating $d 0",
     exactly(vx_types(VX_TYPE_DOCKWIDGET), "{proc}: parent must be a dockwidget.\n", 1,
             "{proc}: setfloating needs 1 arguments.\n")},
    {"scrollarea", VX_GraphicsServer_scrollarea, "scrollarea FRAME|MAINWINDOW", "w = mainwindow none\nscrollarea $w",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW), .wrong_type = "{proc}: parent must be a frame or mainwindow.\n"}},
    {"scrollarea_widget", VX_GraphicsServer_scrollarea_widget, "scrollarea_widget SCROLLAREA WIDGET",
     "w = mainwindow none\na = scrollarea $w\nf = frame $w\nscrollarea_widget $a $f",
     exactly(kScrollarea, kNotScrollarea, 1, "{proc}: Need widget argument.\n")},
    {"scrollarea_widgetresizable", VX_GraphicsServer_scrollarea_widgetresizable,
     "scrollarea_widgetresizable SCROLLAREA 0|1", "w = mainwindow none\na = scrollarea $w\nscrollarea_widgetresizable $a 1",
     exactly(kScrollarea, kNotScrollarea, 1, "{proc}: Need one argument.\n")},
    {"scrollarea_scrollbar", VX_GraphicsServer_scrollarea_scrollbar, "scrollarea_scrollbar SCROLLAREA isvertical ans",
     "w = mainwindow none\na = scrollarea $w\nscrollarea_scrollbar $a 1 0",
     exactly(kScrollarea, kNotScrollarea, 2, "{proc}: need two arguments.\n")},
};
