// The session's own commands: mainwindow, delete, exec, quit.
#include "server/mainwindow.h"
#include "server/procs.h"

#include <QApplication>
#include <QFrame>

namespace {

int VX_GraphicsServer_mainwindow(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                 VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_mainwindow";
    auto* parent = static_cast<QFrame*>(command->target);  // null for "none"
    int close_window = server->first_toplevel ? 1 : 0;
    if (command->args.size() == 1 && !vx_to_int(proc, "close_window", command->args[0], &close_window))
        return VX_GraphicsServer_error2(server, response);

    auto* window = new VXMainWindow(server, parent, close_window);
    if (!parent && !server->toplevel_name.isEmpty())
        window->setWindowTitle(server->toplevel_name);
    server->first_toplevel = 0;
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_MAINWINDOW, window, handle);
    VX_TRACE("%s = new QFrame(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_delete(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                             VX_GraphicsServer_response* response)
{
    int type = -1;
    void* item = VX_GraphicsServer_get_item(server, command->handle, &type, VX_ITEM_REMOVE);
    if (!item) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_GraphicsServer_delete: VX_GraphicsServer_get_item(%s) error.\n",
                          vx_msg(command->handle).constData());
        return VX_GraphicsServer_error2(server, response);
    }
    vx_destroy_object(type, item);
    return vx_answer(response, command->command);
}

// Direct path only: the queue path takes exec in the main loop.
int VX_GraphicsServer_exec(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    server->state = VX_STATE_RUNNING;
    if (!server->in_qt_exec) {
        server->in_qt_exec = true;
        QApplication::exec();
        server->in_qt_exec = false;
    }
    return vx_answer(response, command->command);
}

// Direct path only, as from a callback on the Qt thread.
int VX_GraphicsServer_quit(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    VX_GraphicsServer_request_quit(server);
    return vx_answer(response, command->handle);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_core = {
    {"mainwindow", VX_GraphicsServer_mainwindow, "mainwindow none|FRAME [close_window]", "mainwindow none",
     {.types = vx_types(VX_TYPE_FRAME), .wrong_type = "{proc}: parent must be frame.\n", .flags = VX_CheckNoneTarget}},
    {"delete", VX_GraphicsServer_delete, "delete HANDLE", "w = mainwindow none\ndelete $w"},
    {"exec", VX_GraphicsServer_exec, "exec", "exec"},
    {"quit", VX_GraphicsServer_quit, "quit", "quit"},
};
