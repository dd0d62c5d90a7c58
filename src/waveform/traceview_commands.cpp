// VXTraceview: commands sent to the view, the language and its console,
// command files, and aliases and hot keys read from parameter text.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"
#include "toolkit/params/kv.h"
#include "waveform/tvcommands.h"

#include <QFile>
#include <QSaveFile>

void (*VXTraceview::console_link)(VXTraceview*, VXCommandConsole*) = nullptr;

void VXTraceview::attachCommands()
{
    if (!commands) {
        commands = std::make_shared<VXTraceviewCommands>(this);
        VXTraceviewCommands* language = commands.get();
        command_processor = [language](const QString& command, QString& output) {
            return language->processCommand(command, output);
        };
        process_hotkeys = [language](VXEvent* event, QString& command) {
            return language->processHotkeys(event, command);
        };
    }
    setCommandConsole(command_console);
}

void VXTraceview::setCommandConsole(VXCommandConsole* cc)
{
    // the old console lets go of the view first
    console_link_guard.reset();
    console_command = nullptr;
    console_import = nullptr;
    console_history = nullptr;
    command_console = cc;
    if (cc && console_link)
        console_link(this, cc);
}

int VXTraceview::importCommands(QString path)
{
    if (console_import)
        return console_import(path) < 0 ? -1 : 0;
    // without a console the lines run at once; a file may import another,
    // but not without end
    constexpr int max_import_depth = 8;
    if (import_depth >= max_import_depth) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::importCommands: Command files nested deeper than %d at '%s'.\n",
                          max_import_depth, path.toUtf8().constData());
        return -1;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::importCommands: file.open(%s) error.\n",
                          path.toUtf8().constData());
        return -1;
    }
    if (!command_processor) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::importCommands: no command language.\n");
        return -1;
    }
    import_depth++;
    int status = 0;
    while (!file.atEnd() && status == 0) {
        // a line longer than the language takes is refused by it, unread
        const QString line =
            QString::fromUtf8(file.readLine(VXTraceviewCommands::max_command_chars + 2)).trimmed();
        QString output;
        if (line.isEmpty())
            continue;
        if (command_processor(line, output) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::importCommands: '%s' failed.\n",
                              line.left(200).toUtf8().constData());
            status = -1;
        }
    }
    import_depth--;
    return status;
}

int VXTraceview::exportCommands(QString path)
{
    if (!command_console || !console_history) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::exportCommands: Can only export commands from an attached CommandConsole.\n");
        return -1;
    }
    QStringList lines;
    for (const QString& command : console_history()) {
        const QString line = command.trimmed();
        const QStringList words = traceview_command_words(line);
        if (words.isEmpty() || words[0] == QLatin1String("main") || words[0].startsWith(QLatin1String("main:")))
            continue;
        lines.append(line);
    }
    if (lines.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::exportCommands: No commands in the queue.\n");
        return -1;
    }
    // written whole or not at all
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::exportCommands: file.open(%s) error.\n",
                          path.toUtf8().constData());
        return -1;
    }
    file.write((lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
    if (!file.commit()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::exportCommands: file.open(%s) error.\n",
                          path.toUtf8().constData());
        return -1;
    }
    return 0;
}

int VXTraceview::sendCommand(QString command, QString* output, int send_to_cc, int nofeedback_)
{
    if (nofeedback_ >= 0)
        nofeedback = nofeedback_;
    if (command_console && send_to_cc && console_command)
        return console_command(command);
    if (command.isEmpty()) {
        if (output)
            output->clear();
        return 0;
    }
    hl_clear_register(HL_CLEAR_QUIET);
    QString text;
    int r = -1;
    if (command_processor)
        r = command_processor(command, text);
    else
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::sendCommand: no command language for '%s'.\n",
                          command.toUtf8().constData());
    if (r < 0) {
        if (output)
            *output = QString::fromUtf8(hl_errlog_string(0));
        hl_clear_register(HL_CLEAR_QUIET);
        return -1;
    }
    if (output)
        *output = text;
    callback(QStringLiteral("%1 %2%3").arg(QStringLiteral("type command\ncommand"), command, QStringLiteral("\n")));
    return 0;
}

// Send "word key value" for every entry of one array of a document,
// without client messages; the nofeedback in force before is restored.
int VXTraceview::sendEntries(const char* who, const char* word, QString text)
{
    const QByteArray bytes = text.toUtf8();
    Kv* kv = nullptr;
    if (kvcompile(bytes.constData(), &kv) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: kvcompile(%s) error.\n", who, bytes.constData());
        return -1;
    }
    Kv* arr = nullptr;
    if (kvparam(kv, word[0] == 'a' ? "aliases" : "hotkeys", KV_ARR, 1, &arr) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: kvparam(%s) error.\n", who,
                          word[0] == 'a' ? "aliases" : "hotkeys");
        kvfree(kv);
        return -1;
    }
    Tbl* keys = kvkeys(arr);
    const int saved = nofeedback;
    int status = 0;
    for (long i = 0; keys && i < seqcount(keys) && status == 0; i++) {
        const char* key = static_cast<const char*>(seqget(keys, i));
        void* value = nullptr;
        const int kind = kvget(arr, key, &value);
        QString text_value;
        if (kind == KV_KIND_STRING) {
            text_value = QString::fromUtf8(static_cast<const char*>(value));
        } else if (kind == KV_KIND_TBL && word[0] == 'a') {
            // rows joined by the two characters backslash and n
            Kv* tbl = static_cast<Kv*>(value);
            QStringList rows;
            for (long r = 0; r < kvcount(tbl); r++) {
                void* row = nullptr;
                if (kvgetindex(tbl, r, &row) != KV_KIND_STRING) {
                    hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: kvparam(%s) error.\n", who, key);
                    status = -1;
                    break;
                }
                rows.append(QString::fromUtf8(static_cast<const char*>(row)));
            }
            text_value = rows.join(QStringLiteral("\\n"));
        } else if (kind == KV_KIND_NOTFOUND || kind < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: kvget(%s) error.\n", who, key);
            status = -1;
        } else {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::%s: Illegal kv type for alias %s.\n", who, key);
            status = -1;
        }
        if (status < 0)
            break;
        QString output;
        if (sendCommand(QStringLiteral("%1 %2 %3").arg(QString::fromLatin1(word), QString::fromUtf8(key), text_value),
                        &output, 0, 1) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "%s", output.toUtf8().constData());
            status = -1;
        }
    }
    nofeedback = saved;
    seqfree(keys, nullptr);
    kvfree(kv);
    return status;
}

int VXTraceview::parseAliases(QString text)
{
    return sendEntries("parseAliases", "alias", text);
}

int VXTraceview::parseHotkeys(QString text)
{
    return sendEntries("parseHotkeys", "hotkey", text);
}
