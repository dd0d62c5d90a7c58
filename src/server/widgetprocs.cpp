// Helpers of the procedures that make and drive Qt widgets.
#include "server/mainwindow.h"
#include "server/widgetprocs.h"

#include <QFrame>

#include <cstdarg>

int vx_fail(VX_GraphicsServer* server, VX_GraphicsServer_response* response, const char* format, ...)
{
    va_list ap;
    va_start(ap, format);
    hl_register_verror(0, format, ap);
    va_end(ap);
    return VX_GraphicsServer_error2(server, response);
}

QWidget* vx_as_widget(int type, void* item)
{
    QObject* object = vx_as_qobject(type, item);
    return object && object->isWidgetType() ? static_cast<QWidget*>(object) : nullptr;
}

QWidget* vx_parent_widget(int type, void* item)
{
    if (type == VX_TYPE_MAINWINDOW) {
        // a main window stands for its central frame; if a client deleted
        // that frame, the window itself takes its place
        auto* window = static_cast<VXMainWindow*>(item);
        if (QFrame* frame = window->getToplevel())
            return frame;
        return window;
    }
    return vx_as_widget(type, item);
}

const char* vx_type_word(int type)
{
    const char* name = VX_GraphicsServer_type_name(type);
    return name ? name : "unknown";
}

bool vx_to_int_short(const char* proc, const char* name, const QString& text, int* value)
{
    bool ok = false;
    int v = text.toInt(&ok, 10);
    if (!ok) {
        hl_register_error(0, "%s: %s error '%s'.\n", proc, name, vx_msg(text).constData());
        return false;
    }
    *value = v;
    return true;
}

bool vx_is_placeable_widget(int type)
{
    switch (type) {
    case VX_TYPE_VIEWPORT: case VX_TYPE_FRAME: case VX_TYPE_SPLITTER: case VX_TYPE_BUTTON: case VX_TYPE_MENUBAR:
    case VX_TYPE_MENU: case VX_TYPE_LINEEDIT: case VX_TYPE_SPREADSHEET: case VX_TYPE_SCROLLAREA:
    case VX_TYPE_CHECKBOX: case VX_TYPE_COMBOBOX: case VX_TYPE_LABEL:
        return true;
    default:
        return type >= VX_TYPE_KVTREEVIEW && type <= VX_TYPE_COMMANDCONSOLE;
    }
}
