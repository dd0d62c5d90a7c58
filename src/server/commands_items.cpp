// Commands that apply to any handle: itemhide, itemshow, itemsetname,
// setitemstale, update, totop, tobottom, setlayer, setlayervisibility,
// layertotop, layertobottom, getviewport, getgeometry, getscreen.  Plot items
// live inside a viewport and have no window, so each command first decides
// by the handle's type whether it acts on the item or on a widget.
#include "items/axes.h"
#include "items/polyline.h"
#include "items/text.h"
#include "server/itemprocs.h"
#include "server/procs.h"
#include "server/widgetprocs.h"
#include "viewport/layer.h"
#include "viewport/viewport.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace {

// True for the plot items that are drawn by a viewport (not the viewport).
bool isPlotItem(int type)
{
    return (type >= VX_TYPE_AXES && type <= VX_TYPE_TASKBAR) || type == VX_TYPE_DATAGRID ||
           type == VX_TYPE_TRACEVIEW || type == VX_TYPE_IMAGE;
}

// The widget types that the item commands refuse; setitemstale lets the
// dockwidget through.
bool isRejectedByItemCommand(int type, bool accept_dockwidget)
{
    switch (type) {
    case VX_TYPE_DOCKWIDGET: return !accept_dockwidget;
    case VX_TYPE_FRAME: case VX_TYPE_GRIDLAYOUT: case VX_TYPE_FORMLAYOUT: case VX_TYPE_SPLITTER:
    case VX_TYPE_BUTTON: case VX_TYPE_MENUBAR: case VX_TYPE_MENU: case VX_TYPE_LINEEDIT:
    case VX_TYPE_FILEDIALOG: case VX_TYPE_SPREADSHEET: case VX_TYPE_TIMER: case VX_TYPE_SCROLLAREA:
    case VX_TYPE_CHECKBOX: case VX_TYPE_COMBOBOX: case VX_TYPE_LABEL:
    case VX_TYPE_KVTREEVIEW: case VX_TYPE_TABLEVIEW: case VX_TYPE_DBTABLEVIEW: case VX_TYPE_QKTABLEVIEW:
    case VX_TYPE_QKEVENTSTABLEVIEW: case VX_TYPE_QKORIGINSTABLEVIEW: case VX_TYPE_COMMANDCONSOLE:
        return true;
    default: return false;
    }
}

enum class ItemAction { Hide, Show, SetName, SetStale };

// The shape shared by itemhide, itemshow, itemsetname and setitemstale:
// the viewport and the plot items act, the silent types and the items this
// server does not make are accepted and left alone.
int itemCommand(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                VX_GraphicsServer_response* response, const char* proc, ItemAction action)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (isRejectedByItemCommand(type, action == ItemAction::SetStale))
        return vx_fail(server, response, "%s: %s object not a vxplot item.\n", proc, vx_type_word(type));
    if (action == ItemAction::SetName && command->args.size() != 1)
        return vx_fail(server, response, "VX_GraphicsServer_itemsetname: itemsetname needs 1 arguments.\n");
    if (VXViewportItem* vi = vx_as_viewport_item(type, item)) {
        switch (action) {
        case ItemAction::Hide: vi->hideItem(); break;
        case ItemAction::Show: vi->showItem(); break;
        case ItemAction::SetName: vi->setItemName(command->args[0]); break;
        case ItemAction::SetStale: vi->setItemStale(); break;
        }
    }
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_itemhide(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return itemCommand(server, command, response, "VX_GraphicsServer_itemhide", ItemAction::Hide);
}

int VX_GraphicsServer_itemshow(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return itemCommand(server, command, response, "VX_GraphicsServer_itemshow", ItemAction::Show);
}

int VX_GraphicsServer_itemsetname(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    return itemCommand(server, command, response, "VX_GraphicsServer_itemsetname", ItemAction::SetName);
}

int VX_GraphicsServer_setitemstale(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                   VX_GraphicsServer_response* response)
{
    return itemCommand(server, command, response, "VX_GraphicsServer_setitemstale", ItemAction::SetStale);
}

int VX_GraphicsServer_update(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                             VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_update";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (type == VX_TYPE_GRIDLAYOUT || type == VX_TYPE_FORMLAYOUT || type == VX_TYPE_TIMER)
        return vx_fail(server, response, "VX_GraphicsServer_update: cannot update %s object.\n", vx_type_word(type));
    if (isPlotItem(type)) {
        VXViewportItem* vi = vx_as_viewport_item(type, item);
        if (VXViewport* vp = vi ? vi->getViewportParent() : nullptr)
            vp->update();
    } else if (auto* widget = qobject_cast<QWidget*>(vx_as_qobject(type, item))) {
        widget->update();
    }
    return vx_answer(response, command->command);
}

// totop and tobottom: a plot item moves in its viewport's display list, a
// widget among its siblings.
int stackCommand(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                 VX_GraphicsServer_response* response, bool top)
{
    // the lookup failure of totop has always been reported under show
    int type = -1;
    void* item = vx_lookup(server, top ? "VX_GraphicsServer_show" : "VX_GraphicsServer_tobottom", command->handle,
                           &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (type == VX_TYPE_TIMER)
        return vx_fail(server, response, top ? "VX_GraphicsServer_totop: cannot raise timer object.\n"
                                             : "VX_GraphicsServer_tobottom: cannot lower timer object.\n");
    if (isPlotItem(type)) {
        VXViewportItem* vi = vx_as_viewport_item(type, item);
        if (VXViewport* vp = vi ? vi->getViewportParent() : nullptr)
            top ? vp->moveItemToTop(vi) : vp->moveItemToBottom(vi);
    } else if (auto* widget = qobject_cast<QWidget*>(vx_as_qobject(type, item))) {
        top ? widget->raise() : widget->lower();
    }
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_totop(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                            VX_GraphicsServer_response* response)
{
    return stackCommand(server, command, response, true);
}

int VX_GraphicsServer_tobottom(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return stackCommand(server, command, response, false);
}

int VX_GraphicsServer_setlayer(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_setlayer";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "VX_GraphicsServer_setlayer: setlayer needs 1 arguments.\n");
    // other types are accepted and answer an empty text
    QString name;
    if (VXViewportItem* vi = vx_as_viewport_item(type, item))
        name = vi->setLayer(command->args[0]);
    return vx_answer(response, name);
}

// The handle holds a layer name: no lookup in the handle table.
int VX_GraphicsServer_setlayervisibility(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                         VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_setlayervisibility";
    if (command->args.size() != 1)
        return vx_fail(server, response, "VX_GraphicsServer_setlayervisibility: setlayervisibility needs 1 arguments.\n");
    int visibility = 0;
    if (!vx_to_int(proc, "visibility", command->args[0], &visibility))
        return VX_GraphicsServer_error2(server, response);
    VXLayer::setLayerVisibility(command->handle, visibility);
    return vx_answer(response, command->command);
}

// layertotop, layertobottom: the layer is itself an item of its viewport's
// display list.
int layerStackCommand(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                      VX_GraphicsServer_response* response, bool top)
{
    VXLayer* layer = VXLayer::getLayer(command->handle);
    if (!layer)
        return vx_fail(server, response, "VX_GraphicsServer_%s: cannot find layer '%s'.\n",
                       top ? "layertotop" : "layertobottom", qPrintable(command->handle));
    if (VXViewport* vp = layer->getViewportParent())
        top ? vp->moveItemToTop(layer) : vp->moveItemToBottom(layer);
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_layertotop(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                 VX_GraphicsServer_response* response)
{
    return layerStackCommand(server, command, response, true);
}

int VX_GraphicsServer_layertobottom(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                    VX_GraphicsServer_response* response)
{
    return layerStackCommand(server, command, response, false);
}

// The viewport of an item, registered the first time a client asks for it
// when it was made by a composite item rather than by command.
int VX_GraphicsServer_getviewport(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_getviewport";
    if (!command->args.isEmpty())
        return vx_fail(server, response, "VX_GraphicsServer_getviewport: setlayer needs 0 arguments.\n");
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    VXViewport* viewport = nullptr;
    switch (type) {
    case VX_TYPE_FRAME: case VX_TYPE_GRIDLAYOUT: case VX_TYPE_BUTTON: case VX_TYPE_MENUBAR: case VX_TYPE_MENU:
    case VX_TYPE_LINEEDIT: case VX_TYPE_FILEDIALOG: case VX_TYPE_SPREADSHEET: case VX_TYPE_TIMER:
    case VX_TYPE_CHECKBOX: case VX_TYPE_COMBOBOX: case VX_TYPE_LABEL:
        return vx_fail(server, response, "VX_GraphicsServer_getviewport: %s object has no viewport.\n",
                       vx_type_word(type));
    case VX_TYPE_VIEWPORT:
        viewport = static_cast<VXViewport*>(vx_as_viewport_item(type, item));
        break;
    default:
        if (isPlotItem(type))
            if (VXViewportItem* vi = vx_as_viewport_item(type, item))
                viewport = vi->getViewportParent();
        break;
    }
    if (!viewport)
        return vx_fail(server, response, "VX_GraphicsServer_getviewport: Cannot find viewport.\n");
    QString handle = VX_GraphicsServer_get_value(server, viewport);
    if (handle.isEmpty() && VX_GraphicsServer_set_object(server, VX_TYPE_VIEWPORT, viewport, viewport, handle) < 0)
        return VX_GraphicsServer_error2(server, response);
    return vx_answer(response, handle);
}

int VX_GraphicsServer_getgeometry(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_getgeometry";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    auto* widget = qobject_cast<QWidget*>(vx_as_qobject(type, item));
    if (!widget)
        return vx_fail(server, response, "%s: %s object is not a widget.\n", proc, vx_type_word(type));
    const QRect g = widget->geometry();
    QPoint global = g.topLeft();
    if (auto* parent = qobject_cast<QWidget*>(widget->parent()))
        global = parent->mapToGlobal(global);
    vx_answer(response, command->command);
    for (int v : {global.x(), global.y(), g.x(), g.y(), g.width(), g.height()})
        response->return_params << QString::number(v);
    return 0;
}

int VX_GraphicsServer_getscreen(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_getscreen";
    if (command->args.size() > 1)
        return vx_fail(server, response, "VX_GraphicsServer_getscreen: getscreen command must have 2 or 4 arguments.\n");
    int number = 0;
    if (command->args.size() == 1 && !vx_to_int(proc, "screen", command->args[0], &number))
        return VX_GraphicsServer_error2(server, response);
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (screens.isEmpty())
        return vx_fail(server, response, "VX_GraphicsServer_getscreen: no screen.\n");
    if (number >= screens.size())
        number = int(screens.size()) - 1;
    if (number < 0)
        number = 0;
    const QRect g = screens[number]->availableGeometry();
    vx_answer(response, command->command);
    for (int v : {number, g.x(), g.y(), g.width(), g.height()})
        response->return_params << QString::number(v);
    return 0;
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_items = {
    {"itemhide", VX_GraphicsServer_itemhide, "itemhide ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nitemhide $a"},
    {"itemshow", VX_GraphicsServer_itemshow, "itemshow ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nitemhide $a\nitemshow $a"},
    {"itemsetname", VX_GraphicsServer_itemsetname, "itemsetname ITEM name",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nitemsetname $a frame_axes"},
    {"setitemstale", VX_GraphicsServer_setitemstale, "setitemstale ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nsetitemstale $a"},
    {"update", VX_GraphicsServer_update, "update ITEM|WIDGET",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nsetitemstale $a\nupdate $a"},
    {"totop", VX_GraphicsServer_totop, "totop ITEM|WIDGET",
     "w = mainwindow none\nv = viewport $w\na = axes $v\np = polyline $v\ntotop $a"},
    {"tobottom", VX_GraphicsServer_tobottom, "tobottom ITEM|WIDGET",
     "w = mainwindow none\nv = viewport $w\na = axes $v\np = polyline $v\ntobottom $p"},
    {"setlayer", VX_GraphicsServer_setlayer, "setlayer ITEM layer",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nsetlayer $a back"},
    {"setlayervisibility", VX_GraphicsServer_setlayervisibility, "setlayervisibility LAYER 0|1",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nl = setlayer $a back\nsetlayervisibility $l 0"},
    {"layertotop", VX_GraphicsServer_layertotop, "layertotop LAYER",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nl = setlayer $a back\np = polyline $v\nlayertotop $l"},
    {"layertobottom", VX_GraphicsServer_layertobottom, "layertobottom LAYER",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nl = setlayer $a back\nlayertobottom $l"},
    {"getviewport", VX_GraphicsServer_getviewport, "getviewport ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\ngetviewport $a"},
    {"getgeometry", VX_GraphicsServer_getgeometry, "getgeometry WIDGET",
     "w = mainwindow none\ngeometry $w 10 10 320 200\ngetgeometry $w"},
    {"getscreen", VX_GraphicsServer_getscreen, "getscreen none [screen]", "getscreen none 0"},
};
