// Commands that apply to any handle: showing and hiding.
#include "server/procs.h"

#include <QWidget>

namespace {

// Class word of a plot item type, for the refusal of widget commands.
const char* plotItemClass(int type)
{
    switch (type) {
    case VX_TYPE_AXES: return "VXAxes";
    case VX_TYPE_TEXT: return "VXText";
    case VX_TYPE_POLYLINE: return "VXPolyline";
    case VX_TYPE_POLYPOINT: return "VXPolypoint";
    case VX_TYPE_MAP: return "VXMap";
    case VX_TYPE_MAPEVENTS: return "VXMapevents";
    case VX_TYPE_TEXTPOPUP: return "VXTextpopup";
    case VX_TYPE_TASKBAR: return "VXTaskbar";
    case VX_TYPE_IMAGE: return "VXImage";
    case VX_TYPE_DATAGRID: return "VXDatagrid";
    case VX_TYPE_TRACEVIEW: return "VXTraceview";
    case VX_TYPE_ACTION: return "QAction";
    default: return nullptr;
    }
}

// show and hide: word is "show" or "hide".
int showOrHide(VX_GraphicsServer* server, VX_GraphicsServer_command* command, VX_GraphicsServer_response* response,
               bool show)
{
    const char* proc = show ? "VX_GraphicsServer_show" : "VX_GraphicsServer_hide";
    const int type = command->target_type;
    if (const char* cls = plotItemClass(type)) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: Need to use %s for %s item.\n", proc, show ? "itemshow" : "itemhide", cls);
        return VX_GraphicsServer_error2(server, response);
    }
    if (type == VX_TYPE_GRIDLAYOUT || type == VX_TYPE_FORMLAYOUT || type == VX_TYPE_TIMER) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: cannot %s %s object.\n", proc, show ? "show" : "hide",
                          VX_GraphicsServer_type_name(type));
        return VX_GraphicsServer_error2(server, response);
    }
    auto* widget = qobject_cast<QWidget*>(vx_as_qobject(type, command->target));
    if (widget)
        widget->setVisible(show);
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_show(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    return showOrHide(server, command, response, true);
}

int VX_GraphicsServer_hide(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    return showOrHide(server, command, response, false);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_common = {
    {"hide", VX_GraphicsServer_hide, "hide WIDGET", "w = mainwindow none\nhide $w", {.types = VX_TYPES_ANY}},
    {"show", VX_GraphicsServer_show, "show WIDGET", "w = mainwindow none\nshow $w", {.types = VX_TYPES_ANY}},
};
