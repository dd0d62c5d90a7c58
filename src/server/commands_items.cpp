// Commands that apply to any handle: itemhide, itemshow, itemsetname,
// setitemstale, update, totop, tobottom, setlayer, setlayervisibility,
// layertotop, layertobottom, getviewport, getgeometry, getscreen.  Plot items
// live inside a viewport and have no window, so each command first decides
// by the handle's type whether it acts on the item or on a widget.
#include "items/axes.h"
#include "items/polyline.h"
#include "items/polypoint.h"
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

enum class ItemAction { Hide, Show, SetName, SetStale };

// The shape shared by itemhide, itemshow, itemsetname and setitemstale:
// the viewport and the plot items act, the silent types and the items this
// server does not make are accepted and left alone.
int itemCommand(VX_GraphicsServer_command* command, VX_GraphicsServer_response* response, ItemAction action)
{
    if (VXViewportItem* vi = vx_as_viewport_item(command->target_type, command->target)) {
        switch (action) {
        case ItemAction::Hide: vi->hideItem(); break;
        case ItemAction::Show: vi->showItem(); break;
        case ItemAction::SetName: vi->setItemName(command->args[0]); break;
        case ItemAction::SetStale: vi->setItemStale(); break;
        }
    }
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_itemhide(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return itemCommand(command, response, ItemAction::Hide);
}

int VX_GraphicsServer_itemshow(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return itemCommand(command, response, ItemAction::Show);
}

int VX_GraphicsServer_itemsetname(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    return itemCommand(command, response, ItemAction::SetName);
}

int VX_GraphicsServer_setitemstale(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                   VX_GraphicsServer_response* response)
{
    return itemCommand(command, response, ItemAction::SetStale);
}

int VX_GraphicsServer_update(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                             VX_GraphicsServer_response* response)
{
    const int type = command->target_type;
    void* item = command->target;
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
int stackCommand(VX_GraphicsServer_command* command, VX_GraphicsServer_response* response, bool top)
{
    const int type = command->target_type;
    void* item = command->target;
    if (isPlotItem(type)) {
        VXViewportItem* vi = vx_as_viewport_item(type, item);
        if (VXViewport* vp = vi ? vi->getViewportParent() : nullptr)
            top ? vp->moveItemToTop(vi) : vp->moveItemToBottom(vi);
    } else if (auto* widget = qobject_cast<QWidget*>(vx_as_qobject(type, item))) {
        top ? widget->raise() : widget->lower();
    }
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_totop(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                            VX_GraphicsServer_response* response)
{
    return stackCommand(command, response, true);
}

int VX_GraphicsServer_tobottom(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    return stackCommand(command, response, false);
}

int VX_GraphicsServer_setlayer(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    // other types are accepted and answer an empty text
    QString name;
    if (VXViewportItem* vi = vx_as_viewport_item(command->target_type, command->target))
        name = vi->setLayer(command->args[0]);
    return vx_answer(response, name);
}

// The handle holds a layer name: no lookup in the handle table.
int VX_GraphicsServer_setlayervisibility(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                         VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_setlayervisibility";
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
    const int type = command->target_type;
    void* item = command->target;
    VXViewport* viewport = nullptr;
    switch (type) {
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

int VX_GraphicsServer_getgeometry(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                  VX_GraphicsServer_response* response)
{
    auto* widget = static_cast<QWidget*>(vx_as_qobject(command->target_type, command->target));
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

// polypoint VIEWPORT: a point set, configured afterwards.
int VX_GraphicsServer_polypoint(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    return vx_answer_new(server, command, response, VX_TYPE_POLYPOINT, new VXPolypoint(viewport), "VXPolypoint");
}

// extra_args: a VxPolypointGlyphCallback and the client's data; a null
// function registers nothing.
int VX_GraphicsServer_polypoint_callback(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                         VX_GraphicsServer_response* response)
{
    auto* polypoint = static_cast<VXPolypoint*>(command->target);
    if (auto fn = reinterpret_cast<VxPolypointGlyphCallback>(command->extra_args[0]))
        polypoint->setGlyphCallback(fn, command->extra_args[1]);
    return vx_answer(response, command->command);
}

} // namespace

namespace {

// The widget types that the item commands refuse; setitemstale lets the
// dockwidget through.
constexpr unsigned long long kNotItems =
    vx_types(VX_TYPE_FRAME, VX_TYPE_GRIDLAYOUT, VX_TYPE_FORMLAYOUT, VX_TYPE_SPLITTER, VX_TYPE_BUTTON,
             VX_TYPE_MENUBAR, VX_TYPE_MENU, VX_TYPE_LINEEDIT, VX_TYPE_FILEDIALOG, VX_TYPE_SPREADSHEET, VX_TYPE_TIMER,
             VX_TYPE_SCROLLAREA, VX_TYPE_CHECKBOX, VX_TYPE_COMBOBOX, VX_TYPE_LABEL, VX_TYPE_KVTREEVIEW,
             VX_TYPE_TABLEVIEW, VX_TYPE_DBTABLEVIEW, VX_TYPE_QKTABLEVIEW, VX_TYPE_QKEVENTSTABLEVIEW,
             VX_TYPE_QKORIGINSTABLEVIEW, VX_TYPE_COMMANDCONSOLE);
constexpr VX_GraphicsServer_checks kItemChecks = {
    .types = VX_TYPES_ANY & ~(kNotItems | vx_types(VX_TYPE_DOCKWIDGET)),
    .wrong_type = "{proc}: {type} object not a vxplot item.\n"};

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_items = {
    {"itemhide", VX_GraphicsServer_itemhide, "itemhide ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nitemhide $a", kItemChecks},
    {"itemshow", VX_GraphicsServer_itemshow, "itemshow ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nitemhide $a\nitemshow $a", kItemChecks},
    {"itemsetname", VX_GraphicsServer_itemsetname, "itemsetname ITEM name",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nitemsetname $a frame_axes",
     {.types = kItemChecks.types, .wrong_type = kItemChecks.wrong_type, .min_args = 1, .max_args = 1,
      .wrong_count = "{proc}: itemsetname needs 1 arguments.\n"}},
    {"setitemstale", VX_GraphicsServer_setitemstale, "setitemstale ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nsetitemstale $a",
     {.types = VX_TYPES_ANY & ~kNotItems, .wrong_type = kItemChecks.wrong_type}},
    {"update", VX_GraphicsServer_update, "update ITEM|WIDGET",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nsetitemstale $a\nupdate $a",
     {.types = VX_TYPES_ANY & ~vx_types(VX_TYPE_GRIDLAYOUT, VX_TYPE_FORMLAYOUT, VX_TYPE_TIMER),
      .wrong_type = "{proc}: cannot update {type} object.\n"}},
    // a failed look-up of totop is reported under the name of show
    {"totop", VX_GraphicsServer_totop, "totop ITEM|WIDGET",
     "w = mainwindow none\nv = viewport $w\na = axes $v\np = polyline $v\ntotop $a",
     {.types = VX_TYPES_ANY & ~vx_types(VX_TYPE_TIMER),
      .wrong_type = "VX_GraphicsServer_totop: cannot raise timer object.\n", .proc = "VX_GraphicsServer_show"}},
    {"tobottom", VX_GraphicsServer_tobottom, "tobottom ITEM|WIDGET",
     "w = mainwindow none\nv = viewport $w\na = axes $v\np = polyline $v\ntobottom $p",
     {.types = VX_TYPES_ANY & ~vx_types(VX_TYPE_TIMER), .wrong_type = "{proc}: cannot lower timer object.\n"}},
    {"setlayer", VX_GraphicsServer_setlayer, "setlayer ITEM layer",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nsetlayer $a back",
     {.types = VX_TYPES_ANY, .min_args = 1, .max_args = 1, .wrong_count = "{proc}: setlayer needs 1 arguments.\n"}},
    // the handle is a layer's name, not an entry of the handle table
    {"setlayervisibility", VX_GraphicsServer_setlayervisibility, "setlayervisibility LAYER 0|1",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nl = setlayer $a back\nsetlayervisibility $l 0",
     {.min_args = 1, .max_args = 1, .wrong_count = "{proc}: setlayervisibility needs 1 arguments.\n"}},
    {"layertotop", VX_GraphicsServer_layertotop, "layertotop LAYER",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nl = setlayer $a back\np = polyline $v\nlayertotop $l"},
    {"layertobottom", VX_GraphicsServer_layertobottom, "layertobottom LAYER",
     "w = mainwindow none\nv = viewport $w\na = axes $v\nl = setlayer $a back\nlayertobottom $l"},
    {"getviewport", VX_GraphicsServer_getviewport, "getviewport ITEM",
     "w = mainwindow none\nv = viewport $w\na = axes $v\ngetviewport $a",
     {.types = VX_TYPES_ANY & ~vx_types(VX_TYPE_FRAME, VX_TYPE_GRIDLAYOUT, VX_TYPE_BUTTON, VX_TYPE_MENUBAR,
                                        VX_TYPE_MENU, VX_TYPE_LINEEDIT, VX_TYPE_FILEDIALOG, VX_TYPE_SPREADSHEET,
                                        VX_TYPE_TIMER, VX_TYPE_CHECKBOX, VX_TYPE_COMBOBOX, VX_TYPE_LABEL),
      .wrong_type = "{proc}: {type} object has no viewport.\n", .min_args = 0, .max_args = 0,
      .wrong_count = "{proc}: setlayer needs 0 arguments.\n", .flags = VX_CheckCountFirst}},
    {"getgeometry", VX_GraphicsServer_getgeometry, "getgeometry WIDGET",
     "w = mainwindow none\ngeometry $w 10 10 320 200\ngetgeometry $w",
     {.types = VX_TYPES_WIDGET, .wrong_type = "{proc}: {type} object is not a widget.\n"}},
    {"polypoint", VX_GraphicsServer_polypoint, "polypoint VIEWPORT",
     "w = mainwindow none\nv = viewport $w\np = polypoint $v\nconfigure $p points \"1 1 A {f=red sz=20}\"",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = "{proc}: '{handle}' not a viewport.\n"}},
    {"polypoint_callback", VX_GraphicsServer_polypoint_callback, "polypoint_callback POLYPOINT (function, client data)", "",
     {.types = vx_types(VX_TYPE_POLYPOINT), .wrong_type = "{proc}: Item {handle} not a polypoint item.\n",
      .min_args = 2, .max_args = 2, .wrong_count = "{proc}: Need 2 callback arguments.\n",
      .flags = VX_CheckCountFirst | VX_CheckCountExtra}},
    {"getscreen", VX_GraphicsServer_getscreen, "getscreen none [screen]", "getscreen none 0",
     {.max_args = 1, .wrong_count = "{proc}: getscreen command must have 2 or 4 arguments.\n"}},
};
