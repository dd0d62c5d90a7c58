// A terminal-like text console: a prompt, the line the user edits, the
// output printed beneath it, and the history held in the text itself.
//
// The console runs nothing by itself.  A finished line (typed, queued by
// program with sendCommand(), or read from a file by importFromFile()) goes
// to every registered command callback; results come back through
// printLineOutput(), whose finish flag brings the next prompt.  Queued
// commands run one per turn of the event loop, so a long file never blocks
// the display, and a command never starts while another one is waiting.
//
// Text before the start of the current line (old prompts, commands and
// output) cannot be edited; the mouse selects in it and the context menu
// copies from it.
//
// Configuration keys (class "VXCommandConsole"): font, color_foreground,
// color_foreground_selection, color_background, color_background_selection,
// color_prompt, color_output, color_erroroutput, prompt.  GUI thread only.
#pragma once

#include "foundation/configure.h"
#include "foundation/values.h"
#include "vxplot_export.h"

#include <QList>
#include <QString>
#include <QTextCharFormat>
#include <QTextEdit>

class QContextMenuEvent;
class QEnterEvent;
class QInputMethodEvent;
class QKeyEvent;
class QMenu;
class QMouseEvent;

// The console's configurable values.
struct VxCommandConsole
{
    VX_Font font;
    VX_Color color_foreground;            // typed text
    VX_Color color_foreground_selection;  // text of a mouse selection
    VX_Color color_background;            // the widget's base
    VX_Color color_background_selection;  // background of a mouse selection
    VX_Color color_prompt;
    VX_Color color_output;
    VX_Color color_erroroutput;
    char* prompt = nullptr;               // owned; null shows no prompt text
};

// One prompt and its command line, as positions in the document.
struct VxCommand
{
    int position_prompt = 0;       // first character of the prompt
    int prompt_length = 0;         // characters of the prompt
    int position_command_end = 0;  // one past the last character of the command
};

// A command waiting to run.
struct VxCommandQueue
{
    QString command;
    int echo_command = 1;  // show the command on the prompt line before it runs
    int echo_output = 1;   // the callbacks print the output and the next prompt
};

// What a command callback is called with: the command text and the client
// data given with it.  Runs on the GUI thread, inside the console's turn of
// the event loop; it may queue further commands and print output.
typedef void (*VxCommandConsoleCallbackProc)(QString command, HL_ClientData client_data);

struct VxCommandConsoleCommandCallback
{
    VxCommandConsoleCallbackProc callback_proc = nullptr;
    HL_ClientData client_data = nullptr;
};

// Let trace views attach consoles (VXTraceview::setCommandConsole): typed
// and queued lines then run in the view's language.  Done by the first
// console made; more calls change nothing.
VXPLOT_EXPORT void commandconsole_install_traceview_link();

class VXPLOT_EXPORT VXCommandConsole : public QTextEdit, public VXConfigure
{
    Q_OBJECT
public:
    // An empty console with its first prompt.
    explicit VXCommandConsole(QWidget* parent = nullptr);
    ~VXCommandConsole() override;

    // Queue command.  With echo_command the command is written on the
    // prompt line before it runs; with echo_output the callbacks are
    // expected to print its output and the next prompt, otherwise the
    // console shows the next prompt itself.  The queue starts at once when
    // it was empty; each command then runs in its own turn of the event loop.
    void sendCommand(QString command, int echo_command, int echo_output);

    // Queue every line of the text file path, in order, with echo_command
    // echo and echo_output 1.  The number of lines queued; -1 with a
    // registered error when the file cannot be opened (nothing is queued).
    int importFromFile(QString path, int echo);

    // Call callback with client_data for every command that runs, after the
    // callbacks registered before it.  A function registered again keeps its
    // place and takes the new client data.  A null function is ignored.
    void setCommandCallback(VxCommandConsoleCallbackProc callback, HL_ClientData client_data);
    // Stop calling callback; null stops every callback.
    void removeCommandCallback(VxCommandConsoleCallbackProc callback);

    // Print prefix and text as output (in color_erroroutput when is_error,
    // else color_output); with finish the next prompt follows, on a line of
    // its own.  Empty text with finish only shows the prompt.  While a
    // prompt is open the output goes in above it and the line being typed
    // stays.
    void printLineOutput(QString text, QString prefix, int is_error, int finish);

    // The command text of prompt index (0 the first prompt of the console,
    // commandCount() - 1 the line being typed); empty for other indexes.
    QString getCommand(int index);
    int commandCount() const;

    // Write command on the prompt line, end the line and show a new prompt,
    // without running anything: a command done elsewhere joins the history.
    void echoCommand(QString command);

    // The menu of the context menu event: "&Cut", "&Copy", "&Paste",
    // "Delete", each calling its action.  The caller owns it.
    QMenu* createContextMenu();

    // Mouse selection in the old text (none when empty), and the actions on
    // it.  Cut, paste and delete change only the current line.
    QString selectedText() const;
    void cutAction();
    void copyAction();
    void pasteAction();
    // Delete the selection inside the current line; with Qt::Key_Backspace
    // or Qt::Key_Delete the character before or after the text cursor when
    // nothing is selected.  Never crosses the start of the current line.
    void deleteAction(int key = 0);

    // Stop the mouse selection.
    void clearSelection();

    VxCommandConsole vars;
    QList<VxCommand> commands;
    QList<VxCommandQueue> command_queue;
    int cursor_position = 0;           // first editable position: the end of the last prompt
    int selection_in_progress = 0;     // a left button drag is selecting
    int selection_command_index = -1;  // the command holding the start of the mouse selection
    int current_command_index = -1;    // history walk: the command shown, -1 when not walking
    int last_newline = 1;              // the document ends with a new line
    QList<VxCommandConsoleCommandCallback> command_callbacks;
    QString original_command;          // the typed line, kept while the history is walked

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    // A double click selects like a press instead of moving the text cursor.
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    // Composed text goes into the current line only.
    void inputMethodEvent(QInputMethodEvent* event) override;

private:
    // Apply colours and font to the widget; the parsers call it after a
    // change of a "color" or "font" key.
    void applyLook();
    static int parseLookValue(HL_ConfigureSpec* spec, const char* value, char* paramRec, void* object_ptr);

    void showPrompt();
    void setCommandEnd();
    // Replace the text of the current line.
    void setCommand(const QString& text);
    QString getCurrentCommand();
    // End the current line: the prompt closes until the next showPrompt().
    void startCommand();
    void processCommand();
    // The second half of processCommand, one event-loop turn later.
    void finishCommand();
    void commandCallback(const QString& command);
    int findCommand(int position) const;
    void setSelection(int from, int to);
    // Insert text at position in format; the positions of the open prompt
    // move along when it lies at or after position.
    void insertAt(int position, const QString& text, const QColor& color);
    int documentEnd() const;
    bool editable(int position) const;
    QTextCharFormat colorFormat(const VX_Color& color, const QColor& fallback) const;

    int prompt_open = 0;            // the last prompt waits for a command
    int command_started = 0;        // the head of the queue is running
    int selection_anchor = -1;      // document position where the mouse selection began
    int selection_start = -1;       // the selection: [selection_start, selection_end)
    int selection_end = -1;
    int look_ready = 0;             // the widget is built: key changes apply at once
};
