// The trace view's words: traceview, traceview_gettaskbar,
// traceview_createtraces_qkserver, traceview_setcommandconsole,
// traceview_sendcommand, and traceview_opendatabase.
#include "items/taskbar.h"
#include "server/commands.h"
#include "server/procs.h"
#include "viewport/viewport.h"
#include "views/commandconsole.h"
#include "waveform/traceview.h"

namespace {

using Server = VX_GraphicsServer;
using Command = VX_GraphicsServer_command;
using Response = VX_GraphicsServer_response;

// A command console named by an argument: "" for none (*console null, true),
// else a handle of a console; false with the message registered.
bool consoleArgument(Server* server, const char* proc, const QString& handle, VXCommandConsole** console)
{
    *console = nullptr;
    if (handle.isEmpty())
        return true;
    int type = -1;
    void* item = VX_GraphicsServer_get_item(server, handle, &type, VX_ITEM_KEEP);
    if (!item || type != VX_TYPE_COMMANDCONSOLE) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s: '%s' not a commandconsole.\n", proc, vx_msg(handle).constData());
        return false;
    }
    *console = static_cast<VXCommandConsole*>(item);
    return true;
}

int VX_GraphicsServer_traceview(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_traceview";
    auto* viewport = static_cast<VXViewport*>(command->target);
    VXCommandConsole* console = nullptr;
    if (!consoleArgument(server, proc, command->args[0], &console))
        return VX_GraphicsServer_error2(server, response);
    int make_taskbar = 0;
    if (!vx_to_int(proc, "make_taskbar", command->args[1], &make_taskbar))
        return VX_GraphicsServer_error2(server, response);
    VXViewport* second = nullptr;
    if (!command->args[2].isEmpty()) {
        int type = -1;
        void* item = VX_GraphicsServer_get_item(server, command->args[2], &type, VX_ITEM_KEEP);
        if (!item || type != VX_TYPE_VIEWPORT)
            return vx_fail(server, response, "%s: '%s' not a viewport.\n", proc, vx_msg(command->args[2]).constData());
        second = static_cast<VXViewport*>(item);
    }
    auto* traceview = new VXTraceview(viewport, console, make_taskbar, second);
    traceview->init();
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_TRACEVIEW, traceview, handle);
    VX_TRACE("%s = new VXTraceview(%s, %s, %d, %s)", vx_msg(handle).constData(), vx_msg(command->handle).constData(),
             vx_msg(command->args[0]).constData(), make_taskbar, vx_msg(command->args[2]).constData());
    return vx_answer(response, handle);
}

// The view's task bar under a handle of its own, registered at the first
// request; a second request answers the same handle.
int VX_GraphicsServer_traceview_gettaskbar(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_traceview_gettaskbar";
    auto* traceview = static_cast<VXTraceview*>(command->target);
    VXTaskbar* taskbar = traceview->getTaskbar();
    if (!taskbar)
        return vx_fail(server, response, "%s: traceview %s has no taskbar.\n", proc, vx_msg(command->handle).constData());
    QString handle = VX_GraphicsServer_get_value(server, taskbar);
    if (handle.isEmpty()) {
        if (VX_GraphicsServer_set_object(server, VX_TYPE_TASKBAR, taskbar, nullptr, handle) < 0)
            return VX_GraphicsServer_error2(server, response);
        VX_TRACE("%s = %s->getTaskbar()", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    }
    return vx_answer(response, handle);
}

// extra_args: the event server (QKServer*) of a database and the accepted
// channels as a C string, a comma list of "sta:chan" regular expressions
// ("" for all).  The view makes a trace of each accepted channel of the
// database's waveform rows that it does not show yet.
int VX_GraphicsServer_traceview_createtraces_qkserver(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_traceview_createtraces_qkserver";
    auto* qkserver = static_cast<QKServer*>(command->extra_args[0]);
    const auto* accept = static_cast<const char*>(command->extra_args[1]);
    if (!qkserver || !accept)
        return vx_fail(server, response, "%s: traceview needs qkserver and stachan_accept pointers.\n", proc);
    auto* traceview = static_cast<VXTraceview*>(command->target);
    const QString stachan_accept = QString::fromUtf8(accept);
    if (traceview->createTraces(qkserver, stachan_accept, QString()) < 0)
        return vx_fail(server, response, "%s: VXTraceview::createTraces() error.\n", proc);
    traceview->stachan_accept = stachan_accept;
    VX_TRACE("%s->createTraces(%p, %s)", vx_msg(command->handle).constData(), static_cast<void*>(qkserver),
             vx_msg(stachan_accept).constData());
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_traceview_setcommandconsole(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_traceview_setcommandconsole";
    int type = -1;
    void* item = VX_GraphicsServer_get_item(server, command->args[0], &type, VX_ITEM_KEEP);
    if (!item || type != VX_TYPE_COMMANDCONSOLE)
        return vx_fail(server, response, "%s: must be commandconsole item.\n", proc);
    static_cast<VXTraceview*>(command->target)->setCommandConsole(static_cast<VXCommandConsole*>(item));
    return vx_answer(response, command->handle);
}

// A line of the trace view's language; the reply is the handle, with the
// output in the parameters when asked for (and always on failure).
int VX_GraphicsServer_traceview_sendcommand(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_traceview_sendcommand";
    const qsizetype n = command->args.size();
    int provide_output = 0, flag = 1, nofeedback = -1;
    if (n > 1 && !vx_to_int(proc, "provide_output", command->args[1], &provide_output))
        return VX_GraphicsServer_error2(server, response);
    if (n > 2 && !vx_to_int(proc, "provide_output", command->args[2], &flag))
        return VX_GraphicsServer_error2(server, response);
    if (n > 3 && !vx_to_int(proc, "nofeedback", command->args[3], &nofeedback))
        return VX_GraphicsServer_error2(server, response);
    auto* traceview = static_cast<VXTraceview*>(command->target);
    QString output;
    const int status = traceview->sendCommand(command->args[0], &output, flag, nofeedback);
    VX_TRACE("%s->sendCommand(%s, &output, %d, %d)", vx_msg(command->handle).constData(),
             vx_msg(command->args[0]).constData(), flag, nofeedback);
    if (status < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "%s", output.toUtf8().constData());
        const int r = VX_GraphicsServer_error2(server, response);
        if (!output.isEmpty())
            response->return_params.append(output);
        return r;
    }
    const int r = vx_answer(response, command->handle);
    if (provide_output && !output.isEmpty())
        response->return_params.append(output);
    return r;
}

// Our own word: open the event server of a database by its path (the view
// keeps it open while it lives) and make the traces of its waveform rows.
int VX_GraphicsServer_traceview_opendatabase(Server* server, Command* command, Response* response)
{
    const char* proc = "VX_GraphicsServer_traceview_opendatabase";
    auto* traceview = static_cast<VXTraceview*>(command->target);
    const qsizetype n = command->args.size();
    const QString path = command->args[0];
    if (path.isEmpty())
        return vx_fail(server, response, "%s: No database path.\n", proc);
    const QString accept = n > 1 ? command->args[1] : QString();
    const QString reject = n > 2 ? command->args[2] : QString();
    if (traceview->createTraces(traceview->openDatabase(path), accept, reject) < 0)
        return VX_GraphicsServer_error2(server, response);
    VX_TRACE("%s->createTraces(%s->openDatabase(%s), %s, %s)", vx_msg(command->handle).constData(),
             vx_msg(command->handle).constData(), vx_msg(path).constData(), vx_msg(accept).constData(),
             vx_msg(reject).constData());
    return vx_answer(response, command->handle);
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_traceview = {
    {"traceview", VX_GraphicsServer_traceview, "traceview VIEWPORT commandconsole|'' make_taskbar viewport|''",
     "w = mainwindow none\nv = viewport $w\ntraceview $v '' 0 ''",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = "{proc}: '{handle}' not a viewport.\n", .min_args = 3,
      .max_args = 3, .wrong_count = "{proc}: traceview needs 3 arguments.\n"}},
    {"traceview_gettaskbar", VX_GraphicsServer_traceview_gettaskbar, "traceview_gettaskbar TRACEVIEW",
     "w = mainwindow none\nv = viewport $w\nt = traceview $v '' 1 ''\ntraceview_gettaskbar $t",
     {.types = vx_types(VX_TYPE_TRACEVIEW), .wrong_type = "{proc}: must be traceview item parent.\n"}},
    {"traceview_createtraces_qkserver", VX_GraphicsServer_traceview_createtraces_qkserver,
     "traceview_createtraces_qkserver TRACEVIEW (extra: QKServer*, stachan_accept char*)", "",
     {.types = vx_types(VX_TYPE_TRACEVIEW), .wrong_type = "{proc}: must be traceview item parent.\n", .min_args = 2,
      .max_args = 2, .wrong_count = "{proc}: traceview needs qkserver and stachan_accept pointers.\n",
      .flags = VX_CheckCountExtra}},
    {"traceview_setcommandconsole", VX_GraphicsServer_traceview_setcommandconsole,
     "traceview_setcommandconsole TRACEVIEW COMMANDCONSOLE",
     "w = mainwindow none\nv = viewport $w\nt = traceview $v '' 0 ''\nc = commandconsole $w\n"
     "traceview_setcommandconsole $t $c",
     {.types = vx_types(VX_TYPE_TRACEVIEW), .wrong_type = "{proc}: must be traceview item parent.\n", .min_args = 1,
      .max_args = 1, .wrong_count = "{proc}: setcommandconsole needs 1 arguments.\n"}},
    {"traceview_sendcommand", VX_GraphicsServer_traceview_sendcommand,
     "traceview_sendcommand TRACEVIEW command [provide_output [flag [nofeedback]]]",
     "w = mainwindow none\nv = viewport $w\nt = traceview $v '' 0 ''\ntraceview_sendcommand $t '' 1 0 1",
     {.types = vx_types(VX_TYPE_TRACEVIEW), .wrong_type = "{proc}: must be traceview item parent.\n", .min_args = 1,
      .max_args = 4, .wrong_count = "{proc}: sendcommand needs 1, 2, 3, or 4 arguments.\n"}},
    {"traceview_opendatabase", VX_GraphicsServer_traceview_opendatabase,
     "traceview_opendatabase TRACEVIEW path [stachan_accept [stachan_reject]]",
     "w = mainwindow none\nv = viewport $w\nt = traceview $v '' 0 ''\ntraceview_opendatabase $t /tmp/vxsh_no_database",
     {.types = vx_types(VX_TYPE_TRACEVIEW), .wrong_type = "{proc}: must be traceview item parent.\n", .min_args = 1,
      .max_args = 3, .wrong_count = "{proc}: opendatabase needs 1, 2 or 3 arguments.\n"}},
};
