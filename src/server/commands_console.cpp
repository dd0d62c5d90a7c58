// The command console's words: commandconsole, commandconsole_sendcommand,
// commandconsole_printlineoutput, commandconsole_importfromfile,
// commandconsole_getcommand, commandconsole_callback.
#include "server/commands.h"
#include "server/widgetprocs.h"
#include "views/commandconsole.h"

namespace {

using Server = VX_GraphicsServer;
using Command = VX_GraphicsServer_command;
using Response = VX_GraphicsServer_response;

VXCommandConsole* targetConsole(const Command* command)
{
    return static_cast<VXCommandConsole*>(command->target);
}

int VX_GraphicsServer_commandconsole(Server* server, Command* command, Response* response)
{
    auto* console = new VXCommandConsole(vx_parent_widget(command->target_type, command->target));
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_COMMANDCONSOLE, console, handle);
    VX_TRACE("%s = new VXCommandConsole(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_commandconsole_sendcommand(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_sendcommand";
    VXCommandConsole* console = targetConsole(command);
    const qsizetype n = command->args.size();
    int echo_command = 1, echo_output = 1;
    if (n > 1 && !vx_to_int(proc, "echo_command", command->args[1], &echo_command))
        return VX_GraphicsServer_error2(server, response);
    if (n > 2 && !vx_to_int(proc, "echo_output", command->args[2], &echo_output))
        return VX_GraphicsServer_error2(server, response);
    console->sendCommand(command->args[0], echo_command, echo_output);
    VX_TRACE("%s->sendCommand(%s, %d, %d)", vx_msg(command->handle).constData(), vx_msg(command->args[0]).constData(),
             echo_command, echo_output);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_commandconsole_printlineoutput(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_printlineoutput";
    VXCommandConsole* console = targetConsole(command);
    int error_output = 0, output_done = 0;
    if (!vx_to_int(proc, "error_output_flag", command->args[2], &error_output) ||
        !vx_to_int(proc, "output_done_flag", command->args[3], &output_done))
        return VX_GraphicsServer_error2(server, response);
    console->printLineOutput(command->args[0], command->args[1], error_output, output_done);
    VX_TRACE("%s->printLineOutput(%s, %s, %d, %d)", vx_msg(command->handle).constData(), vx_msg(command->args[0]).constData(),
             vx_msg(command->args[1]).constData(), error_output, output_done);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_commandconsole_importfromfile(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_commandconsole_importfromfile";
    VXCommandConsole* console = targetConsole(command);
    const qsizetype n = command->args.size();
    int echo = 1;
    if (n > 1 && !vx_to_int(proc, "echo", command->args[1], &echo))
        return VX_GraphicsServer_error2(server, response);
    if (console->importFromFile(command->args[0], echo) < 0)
        return vx_fail(server, response, "%s: VXCommandConsole::importFromFile(%s) error.\n", proc,
                       vx_msg(command->args[0]).constData());
    VX_TRACE("%s->importFromFile(%s, %d)", vx_msg(command->handle).constData(), vx_msg(command->args[0]).constData(), echo);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_commandconsole_getcommand(Server* server, Command* command, Response* response)
{
    VXCommandConsole* console = targetConsole(command);
    int index = 0;
    // the conversion message carries the import word's name
    if (!vx_to_int("VX_GraphicsServer_commandconsole_importfromfile", "command_index", command->args[0], &index))
        return VX_GraphicsServer_error2(server, response);
    const QString text = console->getCommand(index);
    vx_answer(response, command->handle);
    response->return_params.append(text);
    return 0;
}

int VX_GraphicsServer_commandconsole_callback(Server*, Command* command, Response* response)
{
    VXCommandConsole* console = targetConsole(command);
    auto callback = reinterpret_cast<VxCommandConsoleCallbackProc>(command->extra_args[0]);
    // a null function silences the console's callbacks
    if (callback)
        console->setCommandCallback(callback, command->extra_args[1]);
    else
        console->removeCommandCallback(nullptr);
    VX_TRACE("%s->setCommandCallback(%p, %p)", vx_msg(command->handle).constData(), command->extra_args[0],
             command->extra_args[1]);
    return vx_answer(response, command->command);
}

} // namespace

namespace {
constexpr unsigned long long kConsole = vx_types(VX_TYPE_COMMANDCONSOLE);
const char* const kNotConsole = "{proc}: must be commandconsole item parent.\n";
} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_console = {
    {"commandconsole", VX_GraphicsServer_commandconsole, "commandconsole FRAME|MAINWINDOW",
     "w = mainwindow none\ncommandconsole $w",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW),
      .wrong_type = "{proc}: parent must be a frame or mainwindow.\n"}},
    {"commandconsole_sendcommand", VX_GraphicsServer_commandconsole_sendcommand,
     "commandconsole_sendcommand COMMANDCONSOLE command [echo_command [echo_output]]",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_sendcommand $c 'echo hello' 1 0",
     {.types = kConsole, .wrong_type = kNotConsole, .min_args = 1, .max_args = 3,
      .wrong_count = "{proc}: sendcommand needs 1, 2, or 3 arguments.\n"}},
    {"commandconsole_printlineoutput", VX_GraphicsServer_commandconsole_printlineoutput,
     "commandconsole_printlineoutput COMMANDCONSOLE line prefix error_output_flag output_done_flag",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_printlineoutput $c 'all done' '' 0 1",
     {.types = kConsole, .wrong_type = kNotConsole, .min_args = 4, .max_args = 4,
      .wrong_count = "{proc}: printlineoutput needs 4 arguments.\n"}},
    {"commandconsole_importfromfile", VX_GraphicsServer_commandconsole_importfromfile,
     "commandconsole_importfromfile COMMANDCONSOLE file [echo]",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_importfromfile $c /dev/null 1",
     {.types = kConsole, .wrong_type = kNotConsole, .min_args = 1, .max_args = 2,
      .wrong_count = "{proc}: importfromfile needs 1 or 2 arguments.\n"}},
    {"commandconsole_getcommand", VX_GraphicsServer_commandconsole_getcommand,
     "commandconsole_getcommand COMMANDCONSOLE command_index",
     "w = mainwindow none\nc = commandconsole $w\ncommandconsole_getcommand $c 0",
     {.types = kConsole, .wrong_type = kNotConsole, .min_args = 1, .max_args = 1,
      .wrong_count = "{proc}: getcommand needs 1 argument.\n"}},
    {"commandconsole_callback", VX_GraphicsServer_commandconsole_callback,
     "commandconsole_callback COMMANDCONSOLE (extra: function, client data)",
     "w = mainwindow none\nc = commandconsole $w\n@callback $c every @run",
     {.types = kConsole, .wrong_type = kNotConsole, .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: callback needs 2 arguments.\n", .flags = VX_CheckCountExtra}},
};
