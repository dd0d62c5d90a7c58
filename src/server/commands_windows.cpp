// Windows, containers and layouts: frames, dialogs, grid and form layouts,
// splitters, dock widgets, scroll areas and the main window's own commands.
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

typedef VX_GraphicsServer S;
typedef VX_GraphicsServer_command C;
typedef VX_GraphicsServer_response R;

#define LOOKUP(proc)                                               \
    int type = -1;                                                 \
    void* item = vx_lookup(server, proc, command->handle, &type);  \
    if (!item)                                                     \
        return VX_GraphicsServer_error2(server, response)

QByteArray H(const QString& s)
{
    return vx_msg(s);
}

// ---- main window --------------------------------------------------------

int VX_GraphicsServer_mainwindow_getframe(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow_getframe";
    LOOKUP(proc);
    if (type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: item must be mainwindow.\n", proc);
    return vx_answer(response, static_cast<VXMainWindow*>(item)->tl_handle);
}

int VX_GraphicsServer_mainwindow_adjustsize(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow_adjustsize";
    LOOKUP(proc);
    if (type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: item must be mainwindow.\n", proc);
    vx_parent_widget(type, item)->adjustSize();
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_mainwindow_adddockwidget(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow_adddockwidget";
    LOOKUP(proc);
    if (type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: item must be mainwindow.\n", proc);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: Need 2 arguments.\n", proc);
    int dock_type = -1;
    void* dock = vx_lookup(server, proc, command->args[0], &dock_type);
    if (!dock)
        return VX_GraphicsServer_error2(server, response);
    if (dock_type != VX_TYPE_DOCKWIDGET)
        return vx_fail(server, response, "%s: item must be dockwidget.\n", proc);
    static const struct { const char* word; Qt::DockWidgetArea area; } areas[] = {
        {"left", Qt::LeftDockWidgetArea}, {"right", Qt::RightDockWidgetArea},
        {"top", Qt::TopDockWidgetArea}, {"bottom", Qt::BottomDockWidgetArea}};
    const QString& word = command->args[1];
    for (const auto& a : areas) {
        if (word != QLatin1String(a.word))
            continue;
        static_cast<VXMainWindow*>(item)->addDockWidget(a.area, static_cast<QDockWidget*>(dock));
        VX_TRACE("%s->addDockWidget(%s, %s)", H(command->handle).constData(), H(command->args[0]).constData(),
                 H(word).constData());
        return vx_answer(response, command->handle);
    }
    return vx_fail(server, response, "%s: area must be one of left, right, top or bottom, not '%s'.\n", proc,
                   H(word).constData());
}

// The docks, sizes and orientation come as pointers in extra_args (a
// QStringList* of handles, a QList<int>* of sizes, a char* orientation) or,
// from the command shell, as text: orientation, then handle and size pairs.
int VX_GraphicsServer_mainwindow_resizedocks(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow_resizedocks";
    LOOKUP(proc);
    if (type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: item must be mainwindow.\n", proc);
    QStringList handles;
    QList<int> sizes;
    QString orientation;
    if (command->extra_args.isEmpty() && !command->args.isEmpty()) {
        orientation = command->args[0];
        for (qsizetype i = 1; i + 1 < command->args.size(); i += 2) {
            int size = 0;
            if (!vx_to_int_short(proc, "size", command->args[i + 1], &size))
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
    static_cast<VXMainWindow*>(item)->resizeDocks(docks, sizes, o);
    if (vxplot_debug) {
        QStringList sz;
        for (int s : sizes)
            sz.append(QString::number(s));
        VX_TRACE("%s->resizeDocks({%s}, {%s}, %s)", H(command->handle).constData(),
                 H(handles.join(QLatin1String(", "))).constData(), H(sz.join(QLatin1String(", "))).constData(),
                 o == Qt::Horizontal ? "Qt::Horizontal" : "Qt::Vertical");
    }
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_window_title(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_window_title";
    LOOKUP(proc);
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW && type != VX_TYPE_DIALOG)
        return vx_fail(server, response, "%s: item must be frame, mainwindow or dialog.\n", proc);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: window_title needs 1 arguments.\n", proc);
    vx_as_widget(type, item)->setWindowTitle(command->args[0]);
    return vx_answer(response, command->command);
}

// ---- frames and dialogs -------------------------------------------------

int VX_GraphicsServer_frame(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_frame";
    QFrame* frame = nullptr;
    if (command->handle == QLatin1String("none")) {
        int close_window = server->first_toplevel ? 1 : 0;
        if (command->args.size() == 1 && !vx_to_int(proc, "close_window", command->args[0], &close_window))
            return VX_GraphicsServer_error2(server, response);
        frame = new VXTopLevel(server, nullptr, close_window);
        server->first_toplevel = 0;
        if (!server->toplevel_name.isEmpty())
            frame->setWindowTitle(server->toplevel_name);
    } else {
        LOOKUP(proc);
        if (type != VX_TYPE_FRAME && type != VX_TYPE_SPLITTER && type != VX_TYPE_DIALOG && type != VX_TYPE_MAINWINDOW)
            return vx_fail(server, response,
                           "%s: parent must be another frame or dialog or mainwindow or splitter.\n", proc);
        frame = new QFrame(vx_parent_widget(type, item));
    }
    frame->setAutoFillBackground(false);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_FRAME, frame, handle);
    VX_TRACE("%s = new QFrame(%s)", H(handle).constData(), H(command->handle).constData());
    return vx_answer(response, handle);
}

int frameTransparency(S* server, C* command, R* response, const char* proc, bool on)
{
    LOOKUP(proc);
    if (type != VX_TYPE_FRAME)
        return vx_fail(server, response, "%s: item must be a frame.\n", proc);
    static_cast<QFrame*>(item)->setAttribute(Qt::WA_TransparentForMouseEvents, on);
    VX_TRACE("%s = %s event transparency", H(command->handle).constData(), on ? "set" : "clear");
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_frame_seteventtransparency(S* server, C* command, R* response)
{
    return frameTransparency(server, command, response, "VX_GraphicsServer_frame_seteventtransparency", true);
}

int VX_GraphicsServer_frame_cleareventtransparency(S* server, C* command, R* response)
{
    return frameTransparency(server, command, response, "VX_GraphicsServer_frame_cleareventtransparency", false);
}

int VX_GraphicsServer_frame_setmodality(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_frame_setmodality";
    LOOKUP(proc);
    if (type != VX_TYPE_FRAME)
        return vx_fail(server, response, "%s: item must be a frame.\n", proc);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: Need modality argument.\n", proc);
    Qt::WindowModality m = Qt::NonModal;
    const char* text = "Qt::NonModal";
    if (command->args[0] == QLatin1String("application"))
        m = Qt::ApplicationModal, text = "Qt::ApplicationModal";
    else if (command->args[0] == QLatin1String("window"))
        m = Qt::WindowModal, text = "Qt::WindowModal";
    static_cast<QFrame*>(item)->setWindowModality(m);
    VX_TRACE("%s = setWindowModality(%s)", H(command->handle).constData(), text);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_dialog(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_dialog";
    QWidget* parent = nullptr;
    if (command->handle != QLatin1String("none")) {
        LOOKUP(proc);
        if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW)
            return vx_fail(server, response, "%s: parent must be 'none', or mainwindow or frame.\n", proc);
        parent = vx_parent_widget(type, item);
    }
    auto* dialog = new QDialog(parent);
    dialog->setAutoFillBackground(false);
    if (!server->toplevel_name.isEmpty())
        dialog->setWindowTitle(server->toplevel_name);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_DIALOG, dialog, handle);
    VX_TRACE("%s = new QDialog(%s)", H(handle).constData(), H(command->handle).constData());
    return vx_answer(response, handle);
}

// ---- grid and form layouts ----------------------------------------------

int VX_GraphicsServer_gridlayout(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_gridlayout";
    LOOKUP(proc);
    QWidget* parent = nullptr;
    if (type == VX_TYPE_FRAME || type == VX_TYPE_MAINWINDOW || type == VX_TYPE_SCROLLAREA ||
        type == VX_TYPE_DIALOG || (type >= VX_TYPE_KVTREEVIEW && type <= VX_TYPE_COMMANDCONSOLE))
        parent = vx_as_widget(type, item);  // a main window gets the layout on the window itself
    if (!parent)
        return vx_fail(server, response,
                       "%s: parent must be one of frame, dialog, mainwindow, scrollarea, kvtreeview, tableview, "
                       "dbtableview, qktableview, commandconsole or traceview.\n",
                       proc);
    auto* layout = new QGridLayout(parent);
    layout->setSpacing(0);
    layout->setContentsMargins(0, 0, 0, 0);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_GRIDLAYOUT, layout, handle);
    VX_TRACE("%s = new QGridLayout(%s)", H(handle).constData(), H(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_formlayout(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_formlayout";
    LOOKUP(proc);
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW && type != VX_TYPE_DIALOG)
        return vx_fail(server, response, "%s: parent must be a frame or mainwindow or dialog.\n", proc);
    auto* layout = new QFormLayout(vx_parent_widget(type, item));
    layout->setHorizontalSpacing(10);
    layout->setContentsMargins(0, 0, 0, 0);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_FORMLAYOUT, layout, handle);
    VX_TRACE("%s = new QFormLayout(%s)", H(handle).constData(), H(command->handle).constData());
    return vx_answer(response, handle);
}

// Look up a layout target of the given type; the type message is
// "<proc>: <word> must have <layout> item, not <type>.\n".
void* layoutTarget(S* server, C* command, const char* proc, const char* word, int want)
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

// Convert the arguments of a layout command into values; count_word names
// the command in the count message.
bool layoutInts(C* command, const char* proc, const char* count_word, std::initializer_list<const char*> names,
                int* values)
{
    if (command->args.size() != qsizetype(names.size())) {
        hl_register_error(0, "%s: %s needs %d arguments.\n", proc, count_word, int(names.size()));
        return false;
    }
    int i = 0;
    for (const char* name : names) {
        if (!vx_to_int_short(proc, name, command->args[i], &values[i]))
            return false;
        i++;
    }
    return true;
}

// gridlayout_spacing, formlayout_spacing, gridlayout_margins, formlayout_margins
int layoutSpacingOrMargins(S* server, C* command, R* response, int want, bool margins)
{
    const bool grid = want == VX_TYPE_GRIDLAYOUT;
    QByteArray word = QByteArray(grid ? "gridlayout" : "formlayout") + (margins ? "_margins" : "_spacing");
    QByteArray proc = "VX_GraphicsServer_" + word;
    void* item = layoutTarget(server, command, proc.constData(), word.constData(), want);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    int v[4];
    const char* count_word = margins ? "girdlayout_margins" : "girdlayout_spacing";
    bool ok = margins ? layoutInts(command, proc.constData(), count_word, {"left", "top", "right", "bottom"}, v)
                      : layoutInts(command, proc.constData(), count_word, {"hspacing", "vspacing"}, v);
    if (!ok)
        return VX_GraphicsServer_error2(server, response);
    QLayout* layout = grid ? static_cast<QLayout*>(static_cast<QGridLayout*>(item))
                           : static_cast<QLayout*>(static_cast<QFormLayout*>(item));
    const QByteArray h = H(command->handle);
    if (margins) {
        layout->setContentsMargins(v[0], v[1], v[2], v[3]);
        VX_TRACE("%s->setContentsMargins(%d, %d, %d %d)", h.constData(), v[0], v[1], v[2], v[3]);
    } else {
        if (grid) {
            static_cast<QGridLayout*>(item)->setHorizontalSpacing(v[0]);
            static_cast<QGridLayout*>(item)->setVerticalSpacing(v[1]);
        } else {
            static_cast<QFormLayout*>(item)->setHorizontalSpacing(v[0]);
            static_cast<QFormLayout*>(item)->setVerticalSpacing(v[1]);
        }
        VX_TRACE("%s->setHorizontalSpacing(%d)", h.constData(), v[0]);
        VX_TRACE("%s->setVerticalSpacing(%d)", h.constData(), v[1]);
    }
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_gridlayout_spacing(S* s, C* c, R* r) { return layoutSpacingOrMargins(s, c, r, VX_TYPE_GRIDLAYOUT, false); }
int VX_GraphicsServer_gridlayout_margins(S* s, C* c, R* r) { return layoutSpacingOrMargins(s, c, r, VX_TYPE_GRIDLAYOUT, true); }
int VX_GraphicsServer_formlayout_spacing(S* s, C* c, R* r) { return layoutSpacingOrMargins(s, c, r, VX_TYPE_FORMLAYOUT, false); }
int VX_GraphicsServer_formlayout_margins(S* s, C* c, R* r) { return layoutSpacingOrMargins(s, c, r, VX_TYPE_FORMLAYOUT, true); }

int VX_GraphicsServer_gridlayout_addwidget(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_gridlayout_addwidget";
    auto* grid = static_cast<QGridLayout*>(layoutTarget(server, command, proc, "addwidget", VX_TYPE_GRIDLAYOUT));
    if (!grid)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 5)
        return vx_fail(server, response, "%s: addwidget needs 5 arguments.\n", proc);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[0], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    int v[4];
    const char* names[] = {"fromrow", "fromcolumn", "rowspan", "columnspan"};
    for (int i = 0; i < 4; i++)
        if (!vx_to_int_short(proc, names[i], command->args[i + 1], &v[i]))
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
                           H(command->args[0]).constData());
        inner->setParent(nullptr);
        grid->addLayout(inner, v[0], v[1], v[2], v[3]);
    } else {
        QWidget* w = vx_is_placeable_widget(wtype) ? vx_as_widget(wtype, witem) : nullptr;
        if (!w)
            return vx_fail(server, response,
                           "%s: addwidget widget must be frame, button, menubar, menu, spreadsheet, splitter, or "
                           "viewport.\n",
                           proc);
        grid->addWidget(w, v[0], v[1], v[2], v[3]);
    }
    VX_TRACE("%s->addWidget(%s, %d, %d, %d, %d)", H(command->handle).constData(), H(command->args[0]).constData(),
             v[0], v[1], v[2], v[3]);
    return vx_answer(response, command->handle);
}

// gridlayout_columnstretch, _rowstretch, _columnwidth, _rowheight
int gridPair(S* server, C* command, R* response, const char* what)
{
    QByteArray word = what;
    QByteArray proc = "VX_GraphicsServer_gridlayout_" + word;
    auto* grid = static_cast<QGridLayout*>(layoutTarget(server, command, proc.constData(), what, VX_TYPE_GRIDLAYOUT));
    if (!grid)
        return VX_GraphicsServer_error2(server, response);
    const bool column = word.startsWith("column");
    const char* second = word.endsWith("stretch") ? "stretch" : column ? "width" : "height";
    int v[2];
    if (!layoutInts(command, proc.constData(), what, {column ? "column" : "row", second}, v))
        return VX_GraphicsServer_error2(server, response);
    const char* call;
    if (word == "columnstretch")
        grid->setColumnStretch(v[0], v[1]), call = "setColumnStretch";
    else if (word == "rowstretch")
        grid->setRowStretch(v[0], v[1]), call = "setRowStretch";
    else if (word == "columnwidth")
        grid->setColumnMinimumWidth(v[0], v[1]), call = "setColumnMinimumWidth";
    else
        grid->setRowMinimumHeight(v[0], v[1]), call = "setRowMinimumHeight";
    VX_TRACE("%s->%s(%d, %d)", H(command->handle).constData(), call, v[0], v[1]);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_gridlayout_columnstretch(S* s, C* c, R* r) { return gridPair(s, c, r, "columnstretch"); }
int VX_GraphicsServer_gridlayout_rowstretch(S* s, C* c, R* r) { return gridPair(s, c, r, "rowstretch"); }
int VX_GraphicsServer_gridlayout_columnwidth(S* s, C* c, R* r) { return gridPair(s, c, r, "columnwidth"); }
int VX_GraphicsServer_gridlayout_rowheight(S* s, C* c, R* r) { return gridPair(s, c, r, "rowheight"); }

int VX_GraphicsServer_formlayout_addrow(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_formlayout_addrow";
    auto* form = static_cast<QFormLayout*>(layoutTarget(server, command, proc, "addrow", VX_TYPE_FORMLAYOUT));
    if (!form)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: addrow needs 2 arguments.\n", proc);
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
    form->addRow(command->args[0], vx_as_widget(wtype, witem));
    VX_TRACE("%s->addRow(%s, %s)", H(command->handle).constData(), H(command->args[0]).constData(),
             H(command->args[1]).constData());
    return vx_answer(response, command->handle);
}

// ---- splitters ------------------------------------------------------------

int VX_GraphicsServer_splitter(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_splitter";
    LOOKUP(proc);
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW && type != VX_TYPE_DIALOG)
        return vx_fail(server, response, "%s: parent must be a frame or dialog or mainwindow.\n", proc);
    const bool vertical = !command->args.isEmpty() && command->args[0] == QLatin1String("vertical");
    auto* splitter = new QSplitter(vertical ? Qt::Vertical : Qt::Horizontal, vx_parent_widget(type, item));
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_SPLITTER, splitter, handle);
    VX_TRACE("%s = new QSplitter(%s, %s)", H(handle).constData(), vertical ? "Qt::Vertical" : "Qt::Horizontal",
             H(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_splitter_addwidget(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_splitter_addwidget";
    auto* splitter = static_cast<QSplitter*>(layoutTarget(server, command, proc, "addwidget", VX_TYPE_SPLITTER));
    if (!splitter)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: addwidget needs 2 arguments.\n", proc);
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
    if (!vx_to_int_short(proc, "index", command->args[1], &index))
        return VX_GraphicsServer_error2(server, response);
    splitter->insertWidget(index, w);
    VX_TRACE("%s->addWidget(%s, %d)", H(command->handle).constData(), H(command->args[0]).constData(), index);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_splitter_stretch(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_splitter_stretch";
    auto* splitter = static_cast<QSplitter*>(layoutTarget(server, command, proc, "stretch", VX_TYPE_SPLITTER));
    if (!splitter)
        return VX_GraphicsServer_error2(server, response);
    int v[2];
    if (!layoutInts(command, proc, "stretch", {"index", "factor"}, v))
        return VX_GraphicsServer_error2(server, response);
    splitter->setStretchFactor(v[0], v[1]);
    VX_TRACE("%s->setStretchFactor(%d, 1)", H(command->handle).constData(), v[0]);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_splitter_setsizes(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_splitter_setsizes";
    auto* splitter = static_cast<QSplitter*>(layoutTarget(server, command, proc, "setsizes", VX_TYPE_SPLITTER));
    if (!splitter)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != splitter->count())
        return vx_fail(server, response, "%s: setsizes needs %d arguments.\n", proc, int(splitter->count()));
    QList<int> sizes;
    for (const QString& a : command->args) {
        int size = 0;
        if (!vx_to_int_short(proc, "index size", a, &size))
            return VX_GraphicsServer_error2(server, response);
        sizes.append(size);
    }
    splitter->setSizes(sizes);
    VX_TRACE("%s->setSizes()", H(command->handle).constData());
    return vx_answer(response, command->handle);
}

// ---- dock widgets and scroll areas --------------------------------------

int VX_GraphicsServer_dockwidget(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_dockwidget";
    LOOKUP(proc);
    if (type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: parent must be a mainwindow.\n", proc);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: dockwidget needs 2 arguments.\n", proc);
    int wtype = -1;
    void* witem = vx_lookup(server, proc, command->args[0], &wtype);
    if (!witem)
        return VX_GraphicsServer_error2(server, response);
    QWidget* w = vx_is_placeable_widget(wtype) || wtype == VX_TYPE_MAINWINDOW ? vx_as_widget(wtype, witem) : nullptr;
    if (!w || w == item)
        return vx_fail(server, response,
                       "%s: dockwidget parent must be frame, button, menubar, menu, spreadsheet, splitter, or "
                       "viewport.\n",
                       proc);
    auto* window = static_cast<VXMainWindow*>(item);
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
    VX_TRACE("new QDockWidget(%s, %s)", H(command->args[1]).constData(), H(command->handle).constData());
    VX_TRACE("%s->setWidget(%s)", H(handle).constData(), H(command->args[0]).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_dockwidget_setfloating(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_dockwidget_setfloating";
    LOOKUP(proc);
    if (type != VX_TYPE_DOCKWIDGET)
        return vx_fail(server, response, "%s: parent must be a dockwidget.\n", proc);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: setfloating needs 1 arguments.\n", proc);
    int value = 0;
    if (!vx_to_int_short(proc, "floating", command->args[0], &value))
        return VX_GraphicsServer_error2(server, response);
    static_cast<QDockWidget*>(item)->setFloating(value != 0);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_scrollarea(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_scrollarea";
    LOOKUP(proc);
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "%s: parent must be a frame or mainwindow.\n", proc);
    auto* area = new QScrollArea(vx_parent_widget(type, item));
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_SCROLLAREA, area, handle);
    VX_TRACE("%s = new QScrollArea(%s)", H(handle).constData(), H(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_scrollarea_widget(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_scrollarea_widget";
    LOOKUP(proc);
    if (type != VX_TYPE_SCROLLAREA)
        return vx_fail(server, response, "%s: item must be a scrollarea.\n", proc);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: Need widget argument.\n", proc);
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
    static_cast<QScrollArea*>(item)->setWidget(w);
    VX_TRACE("%s->setWidget(%s)", H(command->handle).constData(), H(command->args[0]).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_scrollarea_widgetresizable(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_scrollarea_widgetresizable";
    LOOKUP(proc);
    if (type != VX_TYPE_SCROLLAREA)
        return vx_fail(server, response, "%s: item must be a scrollarea.\n", proc);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: Need one argument.\n", proc);
    int value = 0;
    if (!vx_to_int_short(proc, "ans", command->args[0], &value))
        return VX_GraphicsServer_error2(server, response);
    static_cast<QScrollArea*>(item)->setWidgetResizable(value != 0);
    VX_TRACE("%s->setWidgetResizable(%s)", H(command->handle).constData(), value ? "true" : "false");
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_scrollarea_scrollbar(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_scrollarea_scrollbar";
    LOOKUP(proc);
    if (type != VX_TYPE_SCROLLAREA)
        return vx_fail(server, response, "%s: item must be a scrollarea.\n", proc);
    if (command->args.size() != 2)
        return vx_fail(server, response, "%s: need two arguments.\n", proc);
    int vertical = 0, ans = 0;
    if (!vx_to_int_short(proc, "isvertical", command->args[0], &vertical) ||
        !vx_to_int_short(proc, "ans", command->args[1], &ans))
        return VX_GraphicsServer_error2(server, response);
    auto* area = static_cast<QScrollArea*>(item);
    QScrollBar* bar = vertical ? area->verticalScrollBar() : area->horizontalScrollBar();
    Qt::ScrollBarPolicy policy = ans ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff;
    bar->setEnabled(ans != 0);
    if (vertical)
        area->setVerticalScrollBarPolicy(policy);
    else
        area->setHorizontalScrollBarPolicy(policy);
    const QByteArray h = H(command->handle);
    const char* which = vertical ? "Vertical" : "Horizontal";
    VX_TRACE("%s->%s()->setEnabled(%s)", h.constData(), vertical ? "verticalScrollBar" : "horizontalScrollBar",
             ans ? "true" : "false");
    VX_TRACE("%s->set%sScrollBarPolicy(%s)", h.constData(), which,
             ans ? "Qt::ScrollBarAsNeeded" : "Qt::ScrollBarAlwaysOff");
    return vx_answer(response, command->handle);
}

#undef LOOKUP

} // namespace

// Samples: "w = mainwindow none" makes mainwindow:1 with its frame frame:0.
extern const std::vector<VX_GraphicsServer_command_row> vx_commands_windows = {
    {"mainwindow_getframe", VX_GraphicsServer_mainwindow_getframe, "mainwindow_getframe MAINWINDOW",
     "w = mainwindow none\nmainwindow_getframe $w"},
    {"mainwindow_adjustsize", VX_GraphicsServer_mainwindow_adjustsize, "mainwindow_adjustsize MAINWINDOW",
     "w = mainwindow none\nmainwindow_adjustsize $w"},
    {"mainwindow_adddockwidget", VX_GraphicsServer_mainwindow_adddockwidget,
     "mainwindow_adddockwidget MAINWINDOW DOCKWIDGET left|right|top|bottom",
     "w = mainwindow none\nf = frame $w\nd = dockwidget $w $f Tools\nmainwindow_adddockwidget $w $d left"},
    {"mainwindow_resizedocks", VX_GraphicsServer_mainwindow_resizedocks,
     "mainwindow_resizedocks MAINWINDOW horizontal|vertical DOCKWIDGET SIZE ... (or extra: QStringList*, QList<int>*, "
     "char*)",
     "w = mainwindow none\nf = frame $w\nd = dockwidget $w $f Tools\nmainwindow_adddockwidget $w $d left\n"
     "mainwindow_resizedocks $w horizontal $d 120"},
    {"window_title", VX_GraphicsServer_window_title, "window_title FRAME|MAINWINDOW|DIALOG title",
     "w = mainwindow none\nwindow_title $w \"A title\""},
    {"frame", VX_GraphicsServer_frame, "frame none|FRAME|SPLITTER|MAINWINDOW|DIALOG [close_window]",
     "w = mainwindow none\nframe $w\nframe none 0"},
    {"frame_seteventtransparency", VX_GraphicsServer_frame_seteventtransparency, "frame_seteventtransparency FRAME",
     "w = mainwindow none\nf = frame $w\nframe_seteventtransparency $f"},
    {"frame_cleareventtransparency", VX_GraphicsServer_frame_cleareventtransparency,
     "frame_cleareventtransparency FRAME", "w = mainwindow none\nf = frame $w\nframe_cleareventtransparency $f"},
    {"frame_setmodality", VX_GraphicsServer_frame_setmodality, "frame_setmodality FRAME application|window|none",
     "f = frame none\nframe_setmodality $f window"},
    {"dialog", VX_GraphicsServer_dialog, "dialog none|FRAME|MAINWINDOW", "w = mainwindow none\ndialog $w\ndialog none"},
    {"gridlayout", VX_GraphicsServer_gridlayout, "gridlayout FRAME|MAINWINDOW|SCROLLAREA|DIALOG",
     "w = mainwindow none\ngridlayout frame:0"},
    {"gridlayout_spacing", VX_GraphicsServer_gridlayout_spacing, "gridlayout_spacing GRIDLAYOUT hspacing vspacing",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_spacing $g 4 2"},
    {"gridlayout_margins", VX_GraphicsServer_gridlayout_margins,
     "gridlayout_margins GRIDLAYOUT left top right bottom",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_margins $g 1 2 3 4"},
    {"gridlayout_addwidget", VX_GraphicsServer_gridlayout_addwidget,
     "gridlayout_addwidget GRIDLAYOUT WIDGET|LAYOUT fromrow fromcolumn rowspan columnspan",
     "w = mainwindow none\ng = gridlayout frame:0\nb = button $w\ngridlayout_addwidget $g $b 0 0 1 1"},
    {"gridlayout_columnstretch", VX_GraphicsServer_gridlayout_columnstretch,
     "gridlayout_columnstretch GRIDLAYOUT column stretch",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_columnstretch $g 0 1"},
    {"gridlayout_rowstretch", VX_GraphicsServer_gridlayout_rowstretch, "gridlayout_rowstretch GRIDLAYOUT row stretch",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_rowstretch $g 0 1"},
    {"gridlayout_columnwidth", VX_GraphicsServer_gridlayout_columnwidth,
     "gridlayout_columnwidth GRIDLAYOUT column width",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_columnwidth $g 0 50"},
    {"gridlayout_rowheight", VX_GraphicsServer_gridlayout_rowheight, "gridlayout_rowheight GRIDLAYOUT row height",
     "w = mainwindow none\ng = gridlayout frame:0\ngridlayout_rowheight $g 0 20"},
    {"formlayout", VX_GraphicsServer_formlayout, "formlayout FRAME|MAINWINDOW|DIALOG",
     "w = mainwindow none\nformlayout $w"},
    {"formlayout_addrow", VX_GraphicsServer_formlayout_addrow, "formlayout_addrow FORMLAYOUT label WIDGET",
     "w = mainwindow none\nl = formlayout $w\ne = lineedit $w\nformlayout_addrow $l Name: $e"},
    {"formlayout_spacing", VX_GraphicsServer_formlayout_spacing, "formlayout_spacing FORMLAYOUT hspacing vspacing",
     "w = mainwindow none\nl = formlayout $w\nformlayout_spacing $l 8 4"},
    {"formlayout_margins", VX_GraphicsServer_formlayout_margins,
     "formlayout_margins FORMLAYOUT left top right bottom",
     "w = mainwindow none\nl = formlayout $w\nformlayout_margins $l 2 2 2 2"},
    {"splitter", VX_GraphicsServer_splitter, "splitter FRAME|MAINWINDOW|DIALOG [vertical]",
     "w = mainwindow none\nsplitter $w vertical"},
    {"splitter_addwidget", VX_GraphicsServer_splitter_addwidget, "splitter_addwidget SPLITTER WIDGET index",
     "w = mainwindow none\ns = splitter $w\nb = button $w\nsplitter_addwidget $s $b 0"},
    {"splitter_stretch", VX_GraphicsServer_splitter_stretch, "splitter_stretch SPLITTER index factor",
     "w = mainwindow none\ns = splitter $w\nb = button $w\nsplitter_addwidget $s $b 0\nsplitter_stretch $s 0 1"},
    {"splitter_setsizes", VX_GraphicsServer_splitter_setsizes, "splitter_setsizes SPLITTER size ... (one per child)",
     "w = mainwindow none\ns = splitter $w\nb = button $w\nsplitter_addwidget $s $b 0\nsplitter_setsizes $s 100"},
    {"dockwidget", VX_GraphicsServer_dockwidget, "dockwidget MAINWINDOW WIDGET title",
     "w = mainwindow none\nf = frame $w\ndockwidget $w $f Tools"},
    {"dockwidget_setfloating", VX_GraphicsServer_dockwidget_setfloating, "dockwidget_setfloating DOCKWIDGET 0|1",
     "w = mainwindow none\nf = frame $w\nd = dockwidget $w $f Tools\ndockwidget_setfloating $d 0"},
    {"scrollarea", VX_GraphicsServer_scrollarea, "scrollarea FRAME|MAINWINDOW", "w = mainwindow none\nscrollarea $w"},
    {"scrollarea_widget", VX_GraphicsServer_scrollarea_widget, "scrollarea_widget SCROLLAREA WIDGET",
     "w = mainwindow none\na = scrollarea $w\nf = frame $w\nscrollarea_widget $a $f"},
    {"scrollarea_widgetresizable", VX_GraphicsServer_scrollarea_widgetresizable,
     "scrollarea_widgetresizable SCROLLAREA 0|1", "w = mainwindow none\na = scrollarea $w\nscrollarea_widgetresizable $a 1"},
    {"scrollarea_scrollbar", VX_GraphicsServer_scrollarea_scrollbar, "scrollarea_scrollbar SCROLLAREA isvertical ans",
     "w = mainwindow none\na = scrollarea $w\nscrollarea_scrollbar $a 1 0"},
};
