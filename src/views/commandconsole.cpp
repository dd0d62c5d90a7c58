// VXCommandConsole: configuration, prompts, the command queue, output and
// file import.  Key, mouse and clipboard handling: commandconsole_input.cpp.
#include "views/commandconsole.h"

#include "toolkit/base/errors.h"

#include <QFile>
#include <QPalette>
#include <QPointer>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextStream>
#include <QTimer>

#include <cstddef>
#include <cstring>

namespace {

#define FIELD(type, key, def, field) \
    {type, key, def, static_cast<int>(offsetof(VxCommandConsole, field)), HL_SPEC_KEEP, nullptr}

HL_ConfigureSpec console_specs[] = {
    FIELD("font", "font", "courier,14", font),
    FIELD("color", "color_foreground", "blue", color_foreground),
    FIELD("color", "color_foreground_selection", "lightyellow", color_foreground_selection),
    FIELD("color", "color_background", "lightyellow", color_background),
    FIELD("color", "color_background_selection", "blue", color_background_selection),
    FIELD("color", "color_prompt", "orange", color_prompt),
    FIELD("color", "color_output", "black", color_output),
    FIELD("color", "color_erroroutput", "red", color_erroroutput),
    FIELD("string", "prompt", ">", prompt),
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

#undef FIELD

} // namespace

VXCommandConsole::VXCommandConsole(QWidget* parent) : QTextEdit(parent)
{
    // a trace view given this console runs its lines in the view's language
    commandconsole_install_traceview_link();
    setLineWrapMode(QTextEdit::NoWrap);
    setUndoRedoEnabled(false);
    setAcceptDrops(false);
    // colour and font keys take effect on the widget as soon as they are set
    addTypeParser("color", parseLookValue);
    addTypeParser("font", parseLookValue);
    setConfigureSpecs(console_specs, reinterpret_cast<char*>(&vars), "VXCommandConsole",
                      static_cast<VXConfigure*>(this), 1);
    look_ready = 1;
    applyLook();
    clear();
    showPrompt();
}

VXCommandConsole::~VXCommandConsole()
{
    releaseConfigureStrings();
}

int VXCommandConsole::parseLookValue(HL_ConfigureSpec* spec, const char* value, char* paramRec, void* object_ptr)
{
    int r = VXConfigure_ParseConfigValue(spec, value, paramRec, object_ptr);
    if (r == 0 && object_ptr) {
        auto* console = static_cast<VXCommandConsole*>(static_cast<VXConfigure*>(object_ptr));
        if (console->look_ready && (spec->specFlags & HL_SPEC_CHANGED))
            console->applyLook();
    }
    return r;
}

void VXCommandConsole::applyLook()
{
    QPalette p = palette();
    if (vars.color_background.color.isValid())
        p.setColor(QPalette::Base, vars.color_background.color);
    if (vars.color_foreground.color.isValid())
        p.setColor(QPalette::Text, vars.color_foreground.color);
    setPalette(p);
    if (!vars.font.invalid)
        setFont(vars.font.font);
    setCurrentCharFormat(colorFormat(vars.color_foreground, p.color(QPalette::Text)));
}

QTextCharFormat VXCommandConsole::colorFormat(const VX_Color& color, const QColor& fallback) const
{
    QTextCharFormat format;
    format.setForeground(color.color.isValid() ? color.color : fallback);
    return format;
}

int VXCommandConsole::documentEnd() const
{
    return document()->characterCount() - 1;
}

bool VXCommandConsole::editable(int position) const
{
    return prompt_open && position >= cursor_position && position <= documentEnd();
}

void VXCommandConsole::insertAt(int position, const QString& text, const QColor& color)
{
    QTextCursor c(document());
    c.setPosition(qBound(0, position, documentEnd()));
    QTextCharFormat format;
    format.setForeground(color);
    c.insertText(text, format);
}

void VXCommandConsole::showPrompt()
{
    const QColor text_color = palette().color(QPalette::Text);
    if (!last_newline)
        insertAt(documentEnd(), QStringLiteral("\n"), text_color);
    const int start = documentEnd();
    const QString prompt = vars.prompt ? QString::fromUtf8(vars.prompt) : QString();
    if (!prompt.isEmpty())
        insertAt(start, prompt, vars.color_prompt.color.isValid() ? vars.color_prompt.color : text_color);
    VxCommand command;
    command.position_prompt = start;
    command.prompt_length = documentEnd() - start;
    commands.append(command);
    cursor_position = documentEnd();
    prompt_open = 1;
    last_newline = 0;
    current_command_index = -1;
    original_command.clear();
    moveCursor(QTextCursor::End);
    setCurrentCharFormat(colorFormat(vars.color_foreground, text_color));
    setCommandEnd();
}

void VXCommandConsole::setCommandEnd()
{
    if (prompt_open && !commands.isEmpty())
        commands.last().position_command_end = documentEnd();
}

void VXCommandConsole::setCommand(const QString& text)
{
    if (!prompt_open)
        return;
    QString line = text;
    // the prompt line is one line; the command itself keeps its breaks
    line.replace(QLatin1String("\r\n"), QLatin1String(" "));
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    line.replace(QLatin1Char('\r'), QLatin1Char(' '));
    QTextCursor c(document());
    c.setPosition(cursor_position);
    c.setPosition(documentEnd(), QTextCursor::KeepAnchor);
    c.insertText(line, colorFormat(vars.color_foreground, palette().color(QPalette::Text)));
    moveCursor(QTextCursor::End);
    setCommandEnd();
}

QString VXCommandConsole::getCurrentCommand()
{
    if (!prompt_open)
        return QString();
    return getCommand(int(commands.size()) - 1);
}

int VXCommandConsole::commandCount() const
{
    return int(commands.size());
}

QString VXCommandConsole::getCommand(int index)
{
    if (index < 0 || index >= commands.size())
        return QString();
    const VxCommand& command = commands[index];
    const int end_of_text = documentEnd();
    int start = qBound(0, command.position_prompt + command.prompt_length, end_of_text);
    int end = index == commands.size() - 1 && prompt_open ? end_of_text : command.position_command_end;
    end = qBound(start, end, end_of_text);
    QTextCursor c(document());
    c.setPosition(start);
    c.setPosition(end, QTextCursor::KeepAnchor);
    QString text = c.selectedText();
    text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
    text.replace(QChar::LineSeparator, QLatin1Char('\n'));
    return text;
}

void VXCommandConsole::startCommand()
{
    if (!prompt_open)
        return;
    setCommandEnd();
    insertAt(documentEnd(), QStringLiteral("\n"), palette().color(QPalette::Text));
    prompt_open = 0;
    last_newline = 1;
    moveCursor(QTextCursor::End);
}

void VXCommandConsole::echoCommand(QString command)
{
    if (!prompt_open)
        showPrompt();
    setCommand(command);
    startCommand();
    showPrompt();
}

void VXCommandConsole::sendCommand(QString command, int echo_command, int echo_output)
{
    VxCommandQueue entry;
    entry.command = command;
    entry.echo_command = echo_command;
    entry.echo_output = echo_output;
    command_queue.append(entry);
    if (command_queue.size() == 1)
        processCommand();
}

void VXCommandConsole::processCommand()
{
    if (command_queue.isEmpty() || command_started)
        return;
    command_started = 1;
    const VxCommandQueue& entry = command_queue.first();
    if (entry.echo_command) {
        if (!prompt_open)
            showPrompt();
        setCommand(entry.command);
        startCommand();
    }
    // the callbacks run in the next turn of the event loop, so that the
    // display is repainted between the commands of a long queue
    QTimer::singleShot(0, this, [this] { finishCommand(); });
}

void VXCommandConsole::finishCommand()
{
    if (command_queue.isEmpty()) {
        command_started = 0;
        return;
    }
    const VxCommandQueue entry = command_queue.first();
    QPointer<VXCommandConsole> alive(this);
    commandCallback(entry.command);
    if (!alive)
        return;  // a callback destroyed the console
    command_queue.removeFirst();
    command_started = 0;
    // nobody is going to print this command's output and prompt
    if ((!entry.echo_output || command_callbacks.isEmpty()) && !prompt_open)
        showPrompt();
    processCommand();
}

void VXCommandConsole::commandCallback(const QString& command)
{
    // a callback may add or remove callbacks, or destroy the console
    const QList<VxCommandConsoleCommandCallback> callbacks = command_callbacks;
    QPointer<VXCommandConsole> alive(this);
    for (const VxCommandConsoleCommandCallback& cb : callbacks) {
        if (cb.callback_proc)
            cb.callback_proc(command, cb.client_data);
        if (!alive)
            return;
    }
}

void VXCommandConsole::setCommandCallback(VxCommandConsoleCallbackProc callback, HL_ClientData client_data)
{
    if (!callback)
        return;
    for (VxCommandConsoleCommandCallback& cb : command_callbacks) {
        if (cb.callback_proc == callback) {
            cb.client_data = client_data;
            return;
        }
    }
    VxCommandConsoleCommandCallback cb;
    cb.callback_proc = callback;
    cb.client_data = client_data;
    command_callbacks.append(cb);
}

void VXCommandConsole::removeCommandCallback(VxCommandConsoleCallbackProc callback)
{
    if (!callback) {
        command_callbacks.clear();
        return;
    }
    command_callbacks.removeIf(
        [callback](const VxCommandConsoleCommandCallback& cb) { return cb.callback_proc == callback; });
}

void VXCommandConsole::printLineOutput(QString text, QString prefix, int is_error, int finish)
{
    const QString out = prefix + text;
    const QColor text_color = palette().color(QPalette::Text);
    if (!out.isEmpty()) {
        const VX_Color& color = is_error ? vars.color_erroroutput : vars.color_output;
        const QColor c = color.color.isValid() ? color.color : text_color;
        if (prompt_open && !commands.isEmpty()) {
            // above the open prompt, on lines of their own; the line being
            // typed moves down with its prompt
            VxCommand& command = commands.last();
            QString lines = out;
            if (!lines.endsWith(QLatin1Char('\n')))
                lines += QLatin1Char('\n');
            const int before = documentEnd();
            insertAt(command.position_prompt, lines, c);
            const int delta = documentEnd() - before;
            command.position_prompt += delta;
            command.position_command_end += delta;
            cursor_position += delta;
            clearSelection();
        } else {
            insertAt(documentEnd(), out, c);
            last_newline = out.endsWith(QLatin1Char('\n')) ? 1 : 0;
        }
    }
    if (finish && !prompt_open)
        showPrompt();
    if (prompt_open)
        setCurrentCharFormat(colorFormat(vars.color_foreground, text_color));
    ensureCursorVisible();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

int VXCommandConsole::importFromFile(QString path, int echo)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        hl_register_error(0, "VXCommandConsole::importFromFile: file.open(%s) error.\n",
                          path.left(8191).toUtf8().constData());
        return -1;
    }
    // read it all first: a read that stops early still queues whole lines only
    QTextStream in(&file);
    QStringList lines;
    while (!in.atEnd())
        lines.append(in.readLine());
    for (const QString& line : lines)
        sendCommand(line, echo, 1);
    return int(lines.size());
}
