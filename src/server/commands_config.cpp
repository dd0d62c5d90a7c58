// Configuration of any handle by key and value pairs or by parameter text.
#include "server/itemprocs.h"
#include "server/procs.h"
#include "toolkit/params/hlconfigure.h"

#include <cstdlib>
#include <cstring>

namespace {

// Common checks of both commands: 1 configurable (set *target), 0 a silent
// type, -1 registered as "<proc>: <type> object not a vxplot item.\n".
int vx_config_target(const char* proc, int type, void* item, HLConfigure** target)
{
    *target = nullptr;
    switch (type) {
    case VX_TYPE_ACTION: case VX_TYPE_MAINWINDOW: case VX_TYPE_DIALOG:
        return 0;
    default:
        break;
    }
    *target = vx_as_configure(type, item);
    if (*target)
        return 1;
    if ((type >= VX_TYPE_FRAME && type <= VX_TYPE_LABEL) || type < 0 || type >= VX_TYPE_COUNT) {
        const char* name = VX_GraphicsServer_type_name(type);
        hl_register_error(HL_SEVERITY_NORMAL, "%s: %s object not a vxplot item.\n", proc, name ? name : "unknown");
        return -1;
    }
    // a configurable type whose class this server does not make
    return -2;
}

int VX_GraphicsServer_configure(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_configure";
    const int type = command->target_type;
    void* item = command->target;
    HLConfigure* target = nullptr;
    int kind = vx_config_target(proc, type, item, &target);
    if (kind == -1)
        return VX_GraphicsServer_error2(server, response);
    int ret = kind == -2 ? -1 : 0;
    if (target) {
        for (const VX_GraphicsServer_config_arg& pair : command->config_args) {
            char* key = strdup(pair.key.toUtf8().constData());
            char* value = strdup(pair.value.toUtf8().constData());
            ret = key && value ? target->configure(key, value, nullptr) : -1;
            free(key);
            free(value);
            if (ret < 0)
                break;
        }
    }
    // the reasons go to the log; the answer only tells that the item failed
    hl_clear_register(HL_CLEAR_PRINT);
    if (ret < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_configure: configure(%s) error.\n", vx_msg(command->handle).constData());
        return VX_GraphicsServer_error2(server, response);
    }
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_configure_kvstring(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                         VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_configure_kvstring";
    const int type = command->target_type;
    void* item = command->target;
    const QByteArray text = command->args[0].toUtf8();
    Kv* kv = nullptr;
    if (kvcompile_source(text.constData(), size_t(text.size()), nullptr, &kv) < 0 || !kv) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_configure_kvstring: kvcompile() error.\n");
        return VX_GraphicsServer_error2(server, response);
    }
    HLConfigure* target = nullptr;
    int kind = vx_config_target(proc, type, item, &target);
    if (kind == -1) {
        kvfree(kv);
        return VX_GraphicsServer_error2(server, response);
    }
    int ret = kind == -2 ? -1 : 0;
    if (target)
        ret = target->configure(kv);
    hl_clear_register(HL_CLEAR_PRINT);
    kvfree(kv);
    if (ret < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_configure_kvstring: configure(%s) error.\n",
                          vx_msg(command->handle).constData());
        return VX_GraphicsServer_error2(server, response);
    }
    return vx_answer(response, command->command);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_config = {
    {"configure", VX_GraphicsServer_configure, "configure ITEM key=value...",
     "w = mainwindow none\nv = viewport $w\nconfigure $v xleft=0 xright=10", {.types = VX_TYPES_ANY}},
    {"configure_kvstring", VX_GraphicsServer_configure_kvstring, "configure_kvstring ITEM 'parameter text'",
     "w = mainwindow none\nv = viewport $w\nconfigure_kvstring $v 'xleft 0\nxright 10\n'",
     {.types = VX_TYPES_ANY, .min_args = 1, .max_args = 1, .wrong_count = "{proc}: Need 1 kvstring argument.\n"}},
};
