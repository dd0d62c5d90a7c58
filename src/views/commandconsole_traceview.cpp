// The link between a command console and a trace view: lines typed or
// queued in the console run in the view's language, their output (or the
// error text, as error output) is printed beneath them with the next
// prompt, and the view's command files go through the console's queue and
// history.  Installed into VXTraceview::console_link by the first console.
#include "views/commandconsole.h"

#include "toolkit/base/errors.h"
#include "waveform/traceview.h"

#include <QPointer>

#include <memory>

namespace {

// A line the console runs, for the view in client_data.
void ccCommandCallback(QString command, HL_ClientData client_data)
{
    auto* traceview = static_cast<VXTraceview*>(client_data);
    VXCommandConsole* console = traceview->command_console;
    if (!console)
        return;
    if (command.trimmed().isEmpty() || !traceview->command_processor) {
        console->printLineOutput(QString(), QString(), 0, 1);
        return;
    }
    hl_clear_register(HL_CLEAR_QUIET);
    QString output;
    if (traceview->command_processor(command, output) < 0) {
        const QString text = QString::fromUtf8(hl_errlog_string(0));
        hl_clear_register(HL_CLEAR_QUIET);
        console->printLineOutput(text, QString(), 1, 1);
        return;
    }
    console->printLineOutput(output, QString(), 0, 1);
    traceview->callback(QStringLiteral("%1 %2%3").arg(QStringLiteral("type command\ncommand"), command,
                                                      QStringLiteral("\n")));
}

void linkConsole(VXTraceview* traceview, VXCommandConsole* cc)
{
    QPointer<VXCommandConsole> console(cc);
    traceview->console_command = [console](const QString& command) {
        if (!console) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::sendCommand: the command console is gone.\n");
            return -1;
        }
        console->sendCommand(command, 1, 1);
        return 0;
    };
    traceview->console_import = [console](const QString& path) {
        if (!console) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::importCommands: the command console is gone.\n");
            return -1;
        }
        return console->importFromFile(path, 1) < 0 ? -1 : 0;
    };
    traceview->console_history = [console]() {
        QStringList history;
        if (console)
            for (int i = 0; i < console->commandCount(); i++)
                history.append(console->getCommand(i));
        return history;
    };
    cc->setCommandCallback(ccCommandCallback, traceview);
    // let go of the view when it is destroyed or given another console; a
    // console serving another view by now keeps that one
    traceview->console_link_guard = std::shared_ptr<void>(nullptr, [console, traceview](void*) {
        if (!console)
            return;
        for (const VxCommandConsoleCommandCallback& cb : std::as_const(console->command_callbacks))
            if (cb.callback_proc == ccCommandCallback && cb.client_data == traceview) {
                console->removeCommandCallback(ccCommandCallback);
                break;
            }
    });
}

} // namespace

void commandconsole_install_traceview_link()
{
    VXTraceview::console_link = linkConsole;
}
