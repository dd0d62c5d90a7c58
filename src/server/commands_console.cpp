// The command console's words: commandconsole, commandconsole_sendcommand,
// commandconsole_printlineoutput, commandconsole_importfromfile,
// commandconsole_getcommand, commandconsole_callback.
#include "server/commands.h"
#include "server/widgetprocs.h"
#include "views/commandconsole.h"

namespace {

typedef VX_GraphicsServer S;
typedef VX_GraphicsServer_command C;
typedef VX_GraphicsServer_response R;

QByteArray H(const QString& s)
{
    return vx_msg(s);
}

// The console behind the command's handle; null after registering the
// lookup's line or "<proc>: must be commandconsole item parent.\n".
VXCommandConsole* consoleTarget(S* server, C* command, const char* proc)
{
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return nullptr;
    if (type != VX_TYPE_COMMANDCONSOLE) {
        hl_register_error(0, "%s: must be commandconsole item parent.\n", proc);
        return nullptr;
    }
    return static_cast<VXCommandConsole*>(item);
}

int VX_GraphicsServer_commandconsole(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    QWidget* parent = type == VX_TYPE_FRAME || type == VX_TYPE_MAINWINDOW ? vx_parent_widget(type, item) : nullptr;
    if (!parent)
        return vx_fail(server, response, "%s: parent must be a frame or mainwindow.\n", proc);
    auto* console = new VXCommandConsole(parent);
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_COMMANDCONSOLE, console, handle);
    VX_TRACE("%s = new VXCommandConsole(%s)", H(handle).constData(), H(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_commandconsole_sendcommand(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_sendcommand";
    VXCommandConsole* console = consoleTarget(server, command, proc);
    if (!console)
        return VX_GraphicsServer_error2(server, response);
    const qsizetype n = command->args.size();
    if (n < 1 || n > 3)
        return vx_fail(server, response, "%s: sendcommand needs 1, 2, or 3 arguments.\n", proc);
    int echo_command = 1, echo_output = 1;
    if (n > 1 && !vx_to_int(proc, "echo_command", command->args[1], &echo_command))
        return VX_GraphicsServer_error2(server, response);
    if (n > 2 && !vx_to_int(proc, "echo_output", command->args[2], &echo_output))
        return VX_GraphicsServer_error2(server, response);
    console->sendCommand(command->args[0], echo_command, echo_output);
    VX_TRACE("%s->sendCommand(%s, %d, %d)", H(command->handle).constData(), H(command->args[0]).constData(),
             echo_command, echo_output);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_commandconsole_printlineoutput(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_printlineoutput";
    VXCommandConsole* console = consoleTarget(server, command, proc);
    if (!console)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 4)
        return vx_fail(server, response, "%s: printlineoutput needs 4 arguments.\n", proc);
    int error_output = 0, output_done = 0;
    if (!vx_to_int(proc, "error_output_flag", command->args[2], &error_output) ||
        !vx_to_int(proc, "output_done_flag", command->args[3], &output_done))
        return VX_GraphicsServer_error2(server, response);
    console->printLineOutput(command->args[0], command->args[1], error_output, output_done);
    VX_TRACE("%s->printLineOutput(%s, %s, %d, %d)", H(command->handle).constData(), H(command->args[0]).constData(),
             H(command->args[1]).constData(), error_output, output_done);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_commandconsole_importfromfile(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_importfromfile";
    VXCommandConsole* console = consoleTarget(server, command, proc);
    if (!console)
        return VX_GraphicsServer_error2(server, response);
    const qsizetype n = command->args.size();
    if (n < 1 || n > 2)
        return vx_fail(server, response, "%s: importfromfile needs 1 or 2 arguments.\n", proc);
    int echo = 1;
    if (n > 1 && !vx_to_int(proc, "echo", command->args[1], &echo))
        return VX_GraphicsServer_error2(server, response);
    if (console->importFromFile(command->args[0], echo) < 0)
        return vx_fail(server, response, "%s: VXCommandConsole::importFromFile(%s) error.\n", proc,
                       H(command->args[0]).constData());
    VX_TRACE("%s->importFromFile(%s, %d)", H(command->handle).constData(), H(command->args[0]).constData(), echo);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_commandconsole_getcommand(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_getcommand";
    VXCommandConsole* console = consoleTarget(server, command, proc);
    if (!console)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "%s: getcommand needs 1 argument.\n", proc);
    int index = 0;
    // the conversion message has always carried the import word's name
    if (!vx_to_int("VX_GraphicsServer_commandconsole_importfromfile", "command_index", command->args[0], &index))
        return VX_GraphicsServer_error2(server, response);
    const QString text = console->getCommand(index);
    vx_answer(response, command->handle);
    response->return_params.append(text);
    return 0;
}

int VX_GraphicsServer_commandconsole_callback(S* server, C* command, R* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_callback";
    VXCommandConsole* console = consoleTarget(server, command, proc);
    if (!console)
        return VX_GraphicsServer_error2(server, response);
    if (command->extra_args.size() != 2)
        return vx_fail(server, response, "%s: callback needs 2 arguments.\n", proc);
    auto callback = reinterpret_cast<VxCommandConsoleCallbackProc>(command->extra_args[0]);
    // a null function silences the console's callbacks
    if (callback)
        console->setCommandCallback(callback, command->extra_args[1]);
    else
        console->removeCommandCallback(nullptr);
    VX_TRACE("%s->setCommandCallback(%p, %p)", H(command->handle).constData(), command->extra_args[0],
             command->extra_args[1]);
    return vx_answer(response, command->command);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_console = {
    {"commandconsole", VX_GraphicsServer_commandconsole, "commandconsole FRAME|MAINWINDOW",
     "w = mainwindow none\ncommandconsole $w"},
    {"commandconsole_sendcommand", VX_GraphicsServer_commandconsole_sendcommand,
     "commandconsole_sendcommand COMMANDCONSOLE command [echo_command [echo_output]]",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_sendcommand $c 'echo hello' 1 0"},
    {"commandconsole_printlineoutput", VX_GraphicsServer_commandconsole_printlineoutput,
     "commandconsole_printlineoutput COMMANDCONSOLE line prefix error_output_flag output_done_flag",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_printlineoutput $c 'all done' '' 0 1"},
    {"commandconsole_importfromfile", VX_GraphicsServer_commandconsole_importfromfile,
     "commandconsole_importfromfile COMMANDCONSOLE file [echo]",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_importfromfile $c /dev/null 1"},
    {"commandconsole_getcommand", VX_GraphicsServer_commandconsole_getcommand,
     "commandconsole_getcommand COMMANDCONSOLE command_index",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_getcommand $c 0"},
    {"commandconsole_callback", VX_GraphicsServer_commandconsole_callback,
     "commandconsole_callback COMMANDCONSOLE (extra: function, client data)",
     "w = mainwindow none\nc = commandconsole $w\n@callback $c every @run"},
};
