#include "shell.h"

#include <VX.h>

#include "server/callbacks.h"

#include <QApplication>
#include <QGuiApplication>
#include <QPushButton>
#include <QWidget>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <unistd.h>

ShellState& shellState()
{
    static ShellState state;
    return state;
}

namespace {

// ---- events: callbacks of the session reported on standard output --------
//
// Callbacks run on the Qt thread; they only queue their lines.  The client
// thread prints the queue after each response and while it waits in @wait,
// so that the transcript of a script is the same from run to run.

struct EventQueue
{
    std::mutex mutex;
    std::condition_variable changed;
    QStringList lines;             // not yet printed
    QHash<QString, int> counts;    // events reported per handle
};

EventQueue& events()
{
    static EventQueue queue;
    return queue;
}

void queueLine(const QString& line)
{
    std::lock_guard<std::mutex> lock(events().mutex);
    events().lines.append(line);
}

// Print what the callbacks have queued; client thread only.
void flushEvents()
{
    QStringList lines;
    {
        std::lock_guard<std::mutex> lock(events().mutex);
        lines.swap(events().lines);
    }
    for (const QString& line : lines)
        printf("%s\n", line.toUtf8().constData());
    fflush(stdout);
}

// What @callback binds to a handle: an optional statement run on the Qt
// thread on the n-th event (every event with n 0).
struct Binding
{
    VX_GraphicsServer* server = nullptr;
    QString handle;      // the handle bound
    int on_event = 0;
    QString word;        // empty: report only
    QString target;
    QStringList args;
};

void runAction(const Binding& b)
{
    if (b.word == QLatin1String("@click")) {
        int type = -1;
        void* item = VX_GraphicsServer_get_item(b.server, b.target, &type, 0);
        if (item && type == VX_TYPE_BUTTON)
            static_cast<QAbstractButton*>(static_cast<QPushButton*>(item))->click();
        else
            queueLine(QStringLiteral("1\t") + VXCommandScript::escapeField(
                QStringLiteral("@click: '%1' is not a button.\n").arg(b.target)));
        hl_clear_register(0);
        return;
    }
    VX_GraphicsServer_response* response = nullptr;
    VX_GraphicsServer_send2(b.server, 1, &response, b.word, b.target, &b.args, nullptr);
    queueLine(VXCommandScript::formatResponse(response));
    delete response;
    hl_clear_register(0);
}

// @run: the line typed in a console is a statement of the shell's
// language, run on the Qt thread; its response goes back into the console
// (and onto standard output).  Without @run the console only gets its
// prompt back.
void runConsoleLine(const Binding& b, const QString& handle, const QString& text)
{
    int type = -1;
    auto* console = static_cast<VXCommandConsole*>(VX_GraphicsServer_get_item(b.server, handle, &type, 0));
    if (!console || type != VX_TYPE_COMMANDCONSOLE) {
        hl_clear_register(0);
        return;
    }
    if (b.word != QLatin1String("@run") || text.trimmed().isEmpty()) {
        console->printLineOutput(QString(), QString(), 0, 1);
        return;
    }
    // the console's own variables: a handle bound there stays known
    static VXCommandScript* script = new VXCommandScript;
    qsizetype pos = 0;
    int line = 1;
    VX_ScriptStatement st;
    const int r = script->next(text, &pos, &line, &st);
    QString out;
    bool error = false;
    if (r != VXCommandScript::Statement || st.directive) {
        error = true;
        out = r == VXCommandScript::Statement ? QStringLiteral("directives are not run from a console")
                                              : QString::fromUtf8(hl_errlog_string(0)).trimmed();
    } else {
        VX_GraphicsServer_response* response = nullptr;
        error = script->run(b.server, st, &response, 1) < 0;
        out = VXCommandScript::formatResponse(response);
        delete response;
    }
    hl_clear_register(0);
    queueLine(out);
    console->printLineOutput(out, QString(), error ? 1 : 0, 1);
}

// Queue the event line of a binding, run its action when its turn has
// come, and count the event.  Qt thread.
void reportEvent(const Binding* b, const QString& handle, int type, const QStringList& params,
                 const QString& console_line = QString())
{
    QString line = QStringLiteral("event\t") + VXCommandScript::escapeField(handle) + QLatin1Char('\t') +
                   QString::fromLatin1(VX_GraphicsServer_type_name(type));
    for (const QString& p : params)
        line += QLatin1Char('\t') + VXCommandScript::escapeField(p);
    queueLine(line);
    int n;
    {
        std::lock_guard<std::mutex> lock(events().mutex);
        n = events().counts.value(handle) + 1;
    }
    if (b->word == QLatin1String("@run"))
        runConsoleLine(*b, handle, console_line);
    else if (!b->word.isEmpty() && (b->on_event == 0 || b->on_event == n))
        runAction(*b);
    // counted after the action, so that @wait also waits for its lines
    {
        std::lock_guard<std::mutex> lock(events().mutex);
        events().counts[handle] = n;
    }
    events().changed.notify_all();
}

QVariant shellCallback(void*, QString handle, QStringList params, int type, HL_ClientData client_data)
{
    reportEvent(static_cast<const Binding*>(client_data), handle, type, params);
    return QVariant();
}

// Events of a viewport that its items left over: the event's name, its
// pixel and world position, the buttons held and the key.  Moves with no
// button held are left out: they would bury everything else.
void shellViewportCallback(void* item, VXEvent* e, void* client_data)
{
    const auto* b = static_cast<const Binding*>(client_data);
    if (!e || (e->type == VX_EVENT_MOVE && e->button == 0))
        return;
    auto* viewport = static_cast<VXViewport*>(item);
    double wx = 0.0, wy = 0.0;
    QString world;
    if (viewport && viewport->getWcoords(e->pt.x(), e->pt.y(), &wx, &wy, 0, 0, 0) == 0)
        world = QString::asprintf("%.10g %.10g", wx, wy);
    const char* name = VXEvent::typeName(e->type);
    reportEvent(b, b->handle, VX_TYPE_VIEWPORT,
                {QString::fromLatin1(name ? name : "unknown"),
                 QString::asprintf("%g %g", e->pt.x(), e->pt.y()), world, QString::number(e->button), e->key});
}

// A line the user finished in a console.
void shellConsoleCallback(QString command, HL_ClientData client_data)
{
    const auto* b = static_cast<const Binding*>(client_data);
    reportEvent(b, b->handle, VX_TYPE_COMMANDCONSOLE, {command}, command);
}

void shellErrlog(const char* line)
{
    QString text = QString::fromUtf8(line);
    if (text.endsWith(QLatin1Char('\n')))
        text.chop(1);
    queueLine(QStringLiteral("log\t") + VXCommandScript::escapeField(text));
}

struct Runner
{
    VX_GraphicsServer* server;
    VXCommandScript script;
    VX_GraphicsServer_response* response = nullptr;
    bool exec_sent = false;
    bool quit_sent = false;
    bool stop = false;  // a failure ended the script
    QString source;     // file name for messages

    void fail(int line, const char* text)
    {
        fprintf(stderr, "vxsh: %s:%d: %s", source.toLocal8Bit().constData(), line, text);
        if (!*text || text[strlen(text) - 1] != '\n')
            fputc('\n', stderr);
        fflush(stderr);
        ShellOptions& opt = shellState().options;
        if (!opt.keep_going && !opt.interactive) {
            shellState().status = 1;
            stop = true;
        }
    }

    void directive(const VX_ScriptStatement& st)
    {
        ShellOptions& opt = shellState().options;
        const QString& d = st.command;
        if (d == QLatin1String("echo")) {
            printf("%s\n", st.args.join(QLatin1Char(' ')).toUtf8().constData());
            fflush(stdout);
        } else if (d == QLatin1String("sleep") && st.args.size() == 1) {
            bool ok = false;
            int ms = st.args[0].toInt(&ok);
            if (!ok || ms < 0 || ms > 3600000)
                return fail(st.line, "@sleep takes milliseconds from 0 to 3600000");
            usleep(static_cast<useconds_t>(ms) * 1000);
        } else if (d == QLatin1String("snapshot") && st.args.size() == 1) {
            std::lock_guard<std::mutex> lock(shellState().mutex);
            shellState().snapshot = st.args[0];
        } else if (d == QLatin1String("keepgoing") && st.args.size() == 1) {
            int value = 0;
            if (HL_ParseBoolean(st.args[0].toUtf8().constData(), &value) < 0)
                return fail(st.line, "@keepgoing takes on or off");
            opt.keep_going = value != 0;
        } else if (d == QLatin1String("set") && st.args.size() == 2) {
            script.variables.insert(st.args[0], st.args[1]);
        } else if (d == QLatin1String("callback") && (st.args.size() == 1 || st.args.size() >= 3)) {
            bindCallback(st);
        } else if (d == QLatin1String("wait") && st.args.size() == 2) {
            waitEvents(st);
        } else if (d == QLatin1String("errlog") && st.args.size() == 1) {
            int on = 0;
            if (HL_ParseBoolean(st.args[0].toUtf8().constData(), &on) < 0)
                return fail(st.line, "@errlog takes on or off");
            QList<void*> extra{on ? reinterpret_cast<void*>(&shellErrlog) : nullptr};
            sendAndReport(st.line, QStringLiteral("errlog_callback"), QStringLiteral("none"), extra);
        } else {
            QByteArray msg = "unknown directive or wrong arguments: @" + d.toUtf8();
            fail(st.line, msg.constData());
        }
    }

    // Send a command with raw pointers and print its response like any other.
    void sendAndReport(int line, const QString& word, const QString& handle, const QList<void*>& extra)
    {
        int ret = VX_GraphicsServer_send_extra(server, 0, &response, word, handle, extra);
        if (!shellState().options.quiet && response) {
            printf("%s\n", VXCommandScript::formatResponse(response).toUtf8().constData());
            fflush(stdout);
        }
        flushEvents();
        if (ret < 0) {
            fail(line, hl_errlog_string(0));
            hl_clear_register(0);
        }
    }

    // @callback HANDLE [N|every WORD [TARGET [ARGS...]]], or for a console
    // @callback CONSOLE every @run
    void bindCallback(const VX_ScriptStatement& st)
    {
        // bindings live as long as the session: a callback may fire until the end
        static QList<Binding*>* bindings = new QList<Binding*>;
        auto* b = new Binding;
        b->server = server;
        if (st.args.size() >= 3) {
            bool ok = true;
            b->on_event = st.args[1] == QLatin1String("every") ? 0 : st.args[1].toInt(&ok);
            if (!ok || b->on_event < 0 || (b->on_event == 0 && st.args[1] != QLatin1String("every"))) {
                delete b;
                return fail(st.line, "@callback: the event number must be a positive integer or 'every'");
            }
            b->word = st.args[2];
            b->target = st.args.size() > 3 ? st.args[3] : QStringLiteral("none");
            b->args = st.args.mid(4);
        }
        b->handle = st.args[0];
        if (b->word == QLatin1String("@run") && st.args[1] != QLatin1String("every")) {
            delete b;
            return fail(st.line, "@callback: @run runs on every line: write 'every @run'");
        }
        bindings->append(b);
        // viewports and consoles have callbacks of their own kinds
        int type = -1;
        VX_GraphicsServer_get_item(server, b->handle, &type, 0);
        hl_clear_register(0);
        if (type == VX_TYPE_VIEWPORT) {
            QList<void*> extra{reinterpret_cast<void*>(&shellViewportCallback), b};
            sendAndReport(st.line, QStringLiteral("viewport_callback"), b->handle, extra);
        } else if (type == VX_TYPE_COMMANDCONSOLE) {
            QList<void*> extra{reinterpret_cast<void*>(&shellConsoleCallback), b};
            sendAndReport(st.line, QStringLiteral("commandconsole_callback"), b->handle, extra);
        } else {
            QList<void*> extra{reinterpret_cast<void*>(&shellCallback), b};
            sendAndReport(st.line, QStringLiteral("qt_callback"), b->handle, extra);
        }
    }

    // @wait HANDLE N: until HANDLE has reported N events in all
    void waitEvents(const VX_ScriptStatement& st)
    {
        bool ok = false;
        int n = st.args[1].toInt(&ok);
        if (!ok || n < 0)
            return fail(st.line, "@wait takes a handle and a count of events");
        const QString& handle = st.args[0];
        bool reached;
        {
            std::unique_lock<std::mutex> lock(events().mutex);
            reached = events().changed.wait_for(lock, std::chrono::seconds(60),
                                                [&] { return events().counts.value(handle) >= n; });
        }
        flushEvents();
        if (!reached)
            fail(st.line, "@wait: the events did not come within 60 seconds");
    }

    void command(const VX_ScriptStatement& st)
    {
        if (st.command == QLatin1String("quit"))
            shellState().ending = true;
        int ret = script.run(server, st, &response, 0);
        if (!shellState().options.quiet) {
            printf("%s\n", VXCommandScript::formatResponse(response).toUtf8().constData());
            fflush(stdout);
        }
        flushEvents();
        if (ret < 0) {
            fail(st.line, hl_errlog_string(0));
            hl_clear_register(0);
            return;
        }
        if (st.command == QLatin1String("exec"))
            exec_sent = true;
        if (st.command == QLatin1String("quit"))
            quit_sent = true;
    }

    // Run all complete statements of text; returns how much was consumed.
    qsizetype runText(const QString& text, int* line, bool at_end)
    {
        qsizetype pos = 0;
        while (!stop && !quit_sent) {
            VX_ScriptStatement st;
            qsizetype before = pos;
            int r = script.next(text, &pos, line, &st);
            if (r == VXCommandScript::End)
                break;
            if (r == VXCommandScript::Incomplete) {
                if (at_end) {
                    fail(*line, "unterminated quote or continuation at the end of the script");
                    return text.size();
                }
                return before;
            }
            if (r == VXCommandScript::Error) {
                fail(st.line ? st.line : *line, hl_errlog_string(0));
                hl_clear_register(0);
                continue;
            }
            if (st.directive)
                directive(st);
            else
                command(st);
        }
        return stop || quit_sent ? text.size() : pos;
    }

    void runStream(FILE* in)
    {
        QString pending;
        int line = 1;
        bool interactive = shellState().options.interactive;
        char buf[65536];
        for (;;) {
            if (interactive) {
                fputs(pending.isEmpty() ? "vxsh> " : "....> ", stderr);
                fflush(stderr);
            }
            if (!fgets(buf, sizeof buf, in))
                break;
            pending += QString::fromUtf8(buf);
            if (!pending.endsWith(QLatin1Char('\n')) && !feof(in))
                continue;  // a line longer than the buffer
            qsizetype used = runText(pending, &line, false);
            pending.remove(0, used);
            if (stop || quit_sent)
                return;
        }
        runText(pending, &line, true);
    }
};

} // namespace

void shellClient(VX_GraphicsServer* server, int, char**)
{
    ShellOptions& opt = shellState().options;
    Runner runner;
    runner.server = server;

    if (!opt.inline_script.isEmpty()) {
        runner.source = QStringLiteral("-c");
        int line = 1;
        runner.runText(opt.inline_script, &line, true);
    }
    for (const QString& file : opt.files) {
        if (runner.stop || runner.quit_sent)
            break;
        runner.source = file == QLatin1String("-") ? QStringLiteral("stdin") : file;
        FILE* in = file == QLatin1String("-") ? stdin : fopen(file.toLocal8Bit().constData(), "r");
        if (!in) {
            fprintf(stderr, "vxsh: cannot open '%s': %s\n", file.toLocal8Bit().constData(), strerror(errno));
            shellState().status = 1;
            break;
        }
        runner.runStream(in);
        if (in != stdin)
            fclose(in);
    }

    bool snapshot;
    {
        std::lock_guard<std::mutex> lock(shellState().mutex);
        snapshot = !shellState().snapshot.isEmpty();
    }
    bool offscreen = QGuiApplication::platformName() == QLatin1String("offscreen");
    bool wait = opt.wait == 1 || (opt.wait < 0 && runner.exec_sent && !snapshot && !offscreen && !runner.stop);
    if (!wait && !runner.quit_sent) {
        shellState().ending = true;
        QStringList none;
        VX_GraphicsServer_send2(server, 0, &runner.response, QStringLiteral("quit"), QStringLiteral("none"), &none,
                                nullptr);
    }
    flushEvents();
    shellState().finished = true;
    // The main thread writes the snapshot and ends the process; returning
    // from here would end it at once with status 0.
    for (;;)
        pause();
}

