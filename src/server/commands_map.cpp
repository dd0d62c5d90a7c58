// The map commands: map, map_setdefaults, map_gettaskbar.
#include "items/taskbar.h"
#include "map/mapitem.h"
#include "server/procs.h"
#include "viewport/viewport.h"

namespace {

int VX_GraphicsServer_map(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                          VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    VXMap* map = nullptr;
    try {
        map = new VXMap(viewport, 1, 1, nullptr);
    } catch (const char* e) {
        return vx_fail(server, response, "VX_GraphicsServer_map: %s\n", e);
    }
    return vx_answer_new(server, command, response, VX_TYPE_MAP, map, "VXMap");
}

int VX_GraphicsServer_map_setdefaults(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                      VX_GraphicsServer_response* response)
{
    auto* map = static_cast<VXMap*>(command->target);
    VX_TRACE("%s->setDefaults()", vx_msg(command->handle).constData());
    if (map->setDefaults() < 0)
        return VX_GraphicsServer_error2(server, response);
    return vx_answer(response, command->handle);
}

// The map's task bar under a handle of its own, registered at the first
// request; a second request answers the same handle.
int VX_GraphicsServer_map_gettaskbar(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                     VX_GraphicsServer_response* response)
{
    auto* map = static_cast<VXMap*>(command->target);
    VXTaskbar* taskbar = map->getTaskbar();
    if (!taskbar)
        return vx_fail(server, response, "VX_GraphicsServer_map_gettaskbar: map %s has no taskbar.\n",
                       vx_msg(command->handle).constData());
    QString handle = VX_GraphicsServer_get_value(server, taskbar);
    if (handle.isEmpty() && VX_GraphicsServer_set_object(server, VX_TYPE_TASKBAR, taskbar, nullptr, handle) < 0)
        return VX_GraphicsServer_error2(server, response);
    return vx_answer(response, handle);
}

const char* const kNotMap = "{proc}: Item {handle} not a map item.\n";

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_map = {
    {"map", VX_GraphicsServer_map, "map VIEWPORT", "w = mainwindow none\nv = viewport $w\nmap $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = "{proc}: '{handle}' not a viewport.\n"}},
    {"map_setdefaults", VX_GraphicsServer_map_setdefaults, "map_setdefaults MAP",
     "w = mainwindow none\nv = viewport $w\nm = map $v\nmap_setdefaults $m",
     {.types = vx_types(VX_TYPE_MAP), .wrong_type = kNotMap}},
    {"map_gettaskbar", VX_GraphicsServer_map_gettaskbar, "map_gettaskbar MAP",
     "w = mainwindow none\nv = viewport $w\nm = map $v\nmap_setdefaults $m\nmap_gettaskbar $m",
     {.types = vx_types(VX_TYPE_MAP), .wrong_type = kNotMap}},
};
