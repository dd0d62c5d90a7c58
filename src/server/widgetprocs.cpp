// Helpers of the procedures that make and drive Qt widgets.
#include "server/mainwindow.h"
#include "server/widgetprocs.h"

#include <QFrame>
#include <QLayout>


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

bool vx_can_place(const char* proc, const QWidget* widget, const QWidget* into, const QString& what,
                  const QString& where)
{
    // not QWidget::isAncestorOf, which stops at the window's edge
    for (const QWidget* w = into; w; w = w->parentWidget()) {
        if (w == widget) {
            hl_register_error(HL_SEVERITY_NORMAL, "%s: %s cannot be placed inside %s, which it contains.\n", proc,
                              vx_msg(what).constData(), vx_msg(where).constData());
            return false;
        }
    }
    return true;
}

bool vx_can_place_layout(const char* proc, const QLayout* layout, const QWidget* into, const QString& what,
                         const QString& where)
{
    for (int i = 0; i < layout->count(); i++) {
        QLayoutItem* entry = layout->itemAt(i);
        if (QWidget* w = entry->widget(); w && !vx_can_place(proc, w, into, what, where))
            return false;
        if (QLayout* inner = entry->layout(); inner && !vx_can_place_layout(proc, inner, into, what, where))
            return false;
    }
    return true;
}
