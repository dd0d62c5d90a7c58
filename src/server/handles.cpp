// The handle table and the helpers of the handler pattern.
#include "items/axes.h"
#include "items/polyline.h"
#include "items/polypoint.h"
#include "items/text.h"
#include "items/taskbar.h"
#include "items/textpopup.h"
#include "map/mapitem.h"
#include "server/callbacks.h"
#include "server/graphicsserver.h"
#include "server/mainwindow.h"
#include "server/itemprocs.h"
#include "server/procs.h"
#include "server/toplevel.h"
#include "viewport/viewport.h"
#include "views/commandconsole.h"
#include "views/kvtreeview.h"
#include "views/tableview.h"
#include "waveform/traceview.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDockWidget>
#include <QFileDialog>
#include <QFormLayout>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QObject>
#include <QPushButton>
#include <QScrollArea>
#include <QSplitter>
#include <QTimer>

#include <cstdarg>
#include <cstdio>

thread_local char debug_line[16384];

namespace {

const char* const type_names[VX_TYPE_COUNT] = {
    "viewport",  "axes",        "text",       "polyline",    "polypoint",         "map",
    "mapevents", "textpopup",   "taskbar",    "frame",       "gridlayout",        "formlayout",
    "splitter",  "dockwidget",  "button",     "menubar",     "menu",              "lineedit",
    "action",    "filedialog",  "spreadsheet", "mainwindow", "timer",             "scrollarea",
    "datagrid",  "checkbox",    "combobox",   "dialog",      "label",             "kvtreeview",
    "tableview", "dbtableview", "qktableview", "qkeventstableview", "qkoriginstableview", "commandconsole",
    "traceview", "image"};

} // namespace

const char* VX_GraphicsServer_type_name(int type)
{
    return type >= 0 && type < VX_TYPE_COUNT ? type_names[type] : nullptr;
}

QByteArray vx_msg(const QString& s)
{
    return s.left(8191).toUtf8();
}

void* VX_GraphicsServer_get_item(VX_GraphicsServer* server, const QString& handle, int* type, int idelete)
{
    if (!server)
        return nullptr;
    std::lock_guard<std::mutex> lock(server->handles_mutex);
    auto it = server->handles.find(handle);
    if (it == server->handles.end()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_get_item: Handle '%s' not found.\n", vx_msg(handle).constData());
        return nullptr;
    }
    // A child destroyed with its parent leaves its handle behind; the guard
    // tells, and the handle answers as unknown rather than as a dangling pointer.
    if (it->widget && vx_as_qobject(it->type, it->widget) && it->guard.isNull()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_get_item: Handle '%s' not found: its object was destroyed.\n",
                          vx_msg(handle).constData());
        if (idelete)
            server->handles.erase(it);
        return nullptr;
    }
    void* widget = it->widget;
    if (type)
        *type = it->type;
    if (idelete)
        server->handles.erase(it);
    return widget;
}

int VX_GraphicsServer_set_object(VX_GraphicsServer* server, int type, void* widget, QObject* object, QString& handle)
{
    const char* name = VX_GraphicsServer_type_name(type);
    if (!server || !name) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_set_item: type not recognized.\n");
        return -1;
    }
    char buf[64];
    snprintf(buf, sizeof buf, "%s:%d", name, server->handle_instance);
    std::lock_guard<std::mutex> lock(server->handles_mutex);
    server->handle_instance++;
    handle = QString::fromLatin1(buf);
    VX_GraphicsServer_type entry;
    entry.type = type;
    entry.widget = widget;
    entry.guard = object;
    server->handles.insert(handle, entry);
    return 0;
}

int VX_GraphicsServer_set_item(VX_GraphicsServer* server, int type, void* widget, QString& handle)
{
    return VX_GraphicsServer_set_object(server, type, widget, vx_as_qobject(type, widget), handle);
}

QString VX_GraphicsServer_get_value(VX_GraphicsServer* server, void* value)
{
    if (!server)
        return QString();
    std::lock_guard<std::mutex> lock(server->handles_mutex);
    for (auto it = server->handles.cbegin(); it != server->handles.cend(); ++it) {
        if (it->widget != value)
            continue;
        // an address can be reused after its object was destroyed
        if (vx_as_qobject(it->type, it->widget) && it->guard.isNull())
            continue;
        return it.key();
    }
    return QString();
}

QObject* vx_as_qobject(int type, void* widget)
{
    if (!widget)
        return nullptr;
    switch (type) {
    case VX_TYPE_VIEWPORT: return static_cast<VXViewport*>(widget);
    case VX_TYPE_TEXTPOPUP: return static_cast<VXTextPopup*>(widget);
    case VX_TYPE_FRAME: return static_cast<QFrame*>(widget);
    case VX_TYPE_GRIDLAYOUT: return static_cast<QGridLayout*>(widget);
    case VX_TYPE_FORMLAYOUT: return static_cast<QFormLayout*>(widget);
    case VX_TYPE_SPLITTER: return static_cast<QSplitter*>(widget);
    case VX_TYPE_DOCKWIDGET: return static_cast<QDockWidget*>(widget);
    case VX_TYPE_BUTTON: return static_cast<QPushButton*>(widget);
    case VX_TYPE_MENUBAR: return static_cast<QMenuBar*>(widget);
    case VX_TYPE_MENU: return static_cast<QMenu*>(widget);
    case VX_TYPE_LINEEDIT: return static_cast<QLineEdit*>(widget);
    case VX_TYPE_ACTION: return static_cast<QAction*>(widget);
    case VX_TYPE_FILEDIALOG: return static_cast<QFileDialog*>(widget);
    case VX_TYPE_MAINWINDOW: return static_cast<VXMainWindow*>(widget);
    case VX_TYPE_TIMER: return static_cast<QTimer*>(widget);
    case VX_TYPE_SCROLLAREA: return static_cast<QScrollArea*>(widget);
    case VX_TYPE_CHECKBOX: return static_cast<QCheckBox*>(widget);
    case VX_TYPE_COMBOBOX: return static_cast<QComboBox*>(widget);
    case VX_TYPE_DIALOG: return static_cast<QDialog*>(widget);
    case VX_TYPE_LABEL: return static_cast<QLabel*>(widget);
    case VX_TYPE_COMMANDCONSOLE: return static_cast<VXCommandConsole*>(widget);
    case VX_TYPE_KVTREEVIEW: return static_cast<VXKvTreeview*>(widget);
    case VX_TYPE_TABLEVIEW: case VX_TYPE_DBTABLEVIEW: return static_cast<VXTableview*>(widget);
    default: return nullptr;
    }
}

void vx_destroy_object(int type, void* widget)
{
    if (!widget)
        return;
    if (type != VX_TYPE_ACTION && VX_GraphicsServer_callback_depth() > 0) {
        // A client callback is running and may be one of this object's own
        // signals, whose emitter still uses the object after the callback
        // returns: hide it now and destroy it when control is back in the
        // event loop.
        if (QObject* object = vx_as_qobject(type, widget)) {
            if (object->isWidgetType())
                static_cast<QWidget*>(object)->hide();
            object->disconnect();
            object->deleteLater();
            return;
        }
    }
    switch (type) {
    case VX_TYPE_VIEWPORT: delete static_cast<VXViewport*>(widget); break;
    case VX_TYPE_AXES: delete static_cast<VXAxes*>(widget); break;
    case VX_TYPE_TEXT: delete static_cast<VXText*>(widget); break;
    case VX_TYPE_POLYLINE: delete static_cast<VXPolyline*>(widget); break;
    case VX_TYPE_POLYPOINT: delete static_cast<VXPolypoint*>(widget); break;
    case VX_TYPE_MAP: delete static_cast<VXMap*>(widget); break;
    case VX_TYPE_TEXTPOPUP: delete static_cast<VXTextPopup*>(widget); break;
    case VX_TYPE_FRAME: delete static_cast<QFrame*>(widget); break;
    case VX_TYPE_GRIDLAYOUT: delete static_cast<QGridLayout*>(widget); break;
    case VX_TYPE_FORMLAYOUT: delete static_cast<QFormLayout*>(widget); break;
    case VX_TYPE_SPLITTER: delete static_cast<QSplitter*>(widget); break;
    case VX_TYPE_DOCKWIDGET: delete static_cast<QDockWidget*>(widget); break;
    case VX_TYPE_BUTTON: delete static_cast<QPushButton*>(widget); break;
    case VX_TYPE_MENUBAR: delete static_cast<QMenuBar*>(widget); break;
    case VX_TYPE_MENU: delete static_cast<QMenu*>(widget); break;
    case VX_TYPE_LINEEDIT: delete static_cast<QLineEdit*>(widget); break;
    case VX_TYPE_FILEDIALOG: delete static_cast<QFileDialog*>(widget); break;
    case VX_TYPE_MAINWINDOW: delete static_cast<VXMainWindow*>(widget); break;
    case VX_TYPE_TIMER: delete static_cast<QTimer*>(widget); break;
    case VX_TYPE_SCROLLAREA: delete static_cast<QScrollArea*>(widget); break;
    case VX_TYPE_CHECKBOX: delete static_cast<QCheckBox*>(widget); break;
    case VX_TYPE_COMBOBOX: delete static_cast<QComboBox*>(widget); break;
    case VX_TYPE_DIALOG: delete static_cast<QDialog*>(widget); break;
    case VX_TYPE_LABEL: delete static_cast<QLabel*>(widget); break;
    case VX_TYPE_COMMANDCONSOLE: delete static_cast<VXCommandConsole*>(widget); break;
    case VX_TYPE_KVTREEVIEW: delete static_cast<VXKvTreeview*>(widget); break;
    case VX_TYPE_TABLEVIEW: case VX_TYPE_DBTABLEVIEW: delete static_cast<VXTableview*>(widget); break;
    case VX_TYPE_ACTION:
    case VX_TYPE_TASKBAR:
    case VX_TYPE_TRACEVIEW:
        // the entry goes, the object stays: actions belong to their menus
        // and a trace view to its viewport
        break;
    default:
        break;
    }
}

VXViewportItem* vx_as_viewport_item(int type, void* item)
{
    if (!item)
        return nullptr;
    switch (type) {
    case VX_TYPE_VIEWPORT: return static_cast<VXViewport*>(item);
    case VX_TYPE_AXES: return static_cast<VXAxes*>(item);
    case VX_TYPE_TEXT: return static_cast<VXText*>(item);
    case VX_TYPE_POLYLINE: return static_cast<VXPolyline*>(item);
    case VX_TYPE_POLYPOINT: return static_cast<VXPolypoint*>(item);
    case VX_TYPE_MAP: return static_cast<VXMap*>(item);
    case VX_TYPE_TASKBAR: return static_cast<VXTaskbar*>(item);
    case VX_TYPE_TRACEVIEW: return static_cast<VXTraceview*>(item);
    default: return nullptr;
    }
}

HLConfigure* vx_as_configure(int type, void* item)
{
    if (!item)
        return nullptr;
    switch (type) {
    case VX_TYPE_VIEWPORT: return static_cast<VXViewport*>(item);
    case VX_TYPE_AXES: return static_cast<VXAxes*>(item);
    case VX_TYPE_TEXT: return static_cast<VXText*>(item);
    case VX_TYPE_POLYLINE: return static_cast<VXPolyline*>(item);
    case VX_TYPE_POLYPOINT: return static_cast<VXPolypoint*>(item);
    case VX_TYPE_MAP: return static_cast<VXMap*>(item);
    case VX_TYPE_TASKBAR: return static_cast<VXTaskbar*>(item);
    case VX_TYPE_TEXTPOPUP: return static_cast<VXTextPopup*>(item);
    case VX_TYPE_TRACEVIEW: return static_cast<VXTraceview*>(item);
    case VX_TYPE_COMMANDCONSOLE: return static_cast<VXCommandConsole*>(item);
    case VX_TYPE_KVTREEVIEW: return static_cast<VXKvTreeview*>(item);
    case VX_TYPE_TABLEVIEW: case VX_TYPE_DBTABLEVIEW: return static_cast<VXTableview*>(item);
    default: return nullptr;
    }
}

void* vx_lookup(VX_GraphicsServer* server, const char* proc, const QString& handle, int* type)
{
    void* item = VX_GraphicsServer_get_item(server, handle, type, VX_ITEM_KEEP);
    if (!item)
        hl_register_error(HL_SEVERITY_NORMAL, "%s: VX_GraphicsServer_get_item(%s) error.\n", proc, vx_msg(handle).constData());
    return item;
}

bool vx_to_int(const char* proc, const char* name, const QString& text, int* value, VxNumberWording wording)
{
    bool ok = false;
    int v = text.toInt(&ok, 10);
    if (!ok) {
        hl_register_error(HL_SEVERITY_NORMAL, wording == VxNumberWording::Short ? "%s: %s error '%s'.\n"
                                                               : "%s: %s conversion error '%s'.\n",
                          proc, name, vx_msg(text).constData());
        return false;
    }
    *value = v;
    return true;
}

bool vx_to_double(const char* proc, const char* name, const QString& text, double* value)
{
    bool ok = false;
    double v = text.toDouble(&ok);
    if (!ok) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: %s conversion error '%s'.\n", proc, name, vx_msg(text).constData());
        return false;
    }
    *value = v;
    return true;
}

int vx_answer_new(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                  VX_GraphicsServer_response* response, int type, void* item, const char* trace_class)
{
    QString handle;
    VX_GraphicsServer_set_item(server, type, item, handle);
    if (QObject* object = vx_as_qobject(type, item))
        vx_connect_callback(type, object, handle);
    if (trace_class)
        VX_TRACE("%s = new %s(%s)", vx_msg(handle).constData(), trace_class, vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int vx_fail(VX_GraphicsServer* server, VX_GraphicsServer_response* response, const char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    hl_register_verror(HL_SEVERITY_NORMAL, format, ap);
    va_end(ap);
    return VX_GraphicsServer_error2(server, response);
}

const char* vx_type_word(int type)
{
    const char* name = VX_GraphicsServer_type_name(type);
    return name ? name : "unknown";
}

int vx_answer(VX_GraphicsServer_response* response, const QString& handle)
{
    response->response = 0;
    response->handle = handle;
    response->return_params.clear();
    return 0;
}
