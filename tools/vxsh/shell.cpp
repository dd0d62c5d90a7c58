#include "shell.h"

#include <VX.h>

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPixmap>
#include <QWidget>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

ShellState& shellState()
{
    static ShellState state;
    return state;
}

namespace {

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
        } else {
            QByteArray msg = "unknown directive or wrong arguments: @" + d.toUtf8();
            fail(st.line, msg.constData());
        }
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
    fflush(stdout);
    shellState().finished = true;
    // The main thread writes the snapshot and ends the process; returning
    // from here would end it at once with status 0.
    for (;;)
        pause();
}

int shellSnapshot(VX_GraphicsServer* server, const QString& path)
{
    // the session's top-level windows in the order of their handles
    QList<QPair<int, QWidget*>> windows;
    {
        std::lock_guard<std::mutex> lock(server->handles_mutex);
        for (auto it = server->handles.cbegin(); it != server->handles.cend(); ++it) {
            auto* w = qobject_cast<QWidget*>(it->guard.data());
            if (!w || !w->isWindow() || (it->type != VX_TYPE_MAINWINDOW && it->type != VX_TYPE_FRAME))
                continue;
            int number = it.key().section(QLatin1Char(':'), 1).toInt();
            windows.append({number, w});
        }
    }
    std::sort(windows.begin(), windows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    if (windows.isEmpty()) {
        hl_register_error(0, "snapshot: The session has no window to write to '%s'.\n", path.toLocal8Bit().constData());
        return -1;
    }
    for (auto& [number, w] : windows)
        if (!w->isVisible())
            w->show();
    for (int i = 0; i < 5; i++) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
    QFileInfo info(path);
    int written = 0;
    for (int i = 0; i < windows.size(); i++) {
        QString name = path;
        if (i > 0) {
            QString suffix = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
            QString stem = suffix.isEmpty() ? path : path.left(path.size() - suffix.size());
            name = stem + QLatin1Char('-') + QString::number(i + 1) + suffix;
        }
        QPixmap image = windows[i].second->grab();
        if (!image.save(name, "PNG")) {
            hl_register_error(0, "snapshot: Cannot write '%s'.\n", name.toLocal8Bit().constData());
            return -1;
        }
        written++;
    }
    return written;
}
