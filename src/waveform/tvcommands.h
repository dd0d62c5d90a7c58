// VXTraceviewCommands: the trace view's command language.
//
// Everything a user can do to a trace view has a text form, one line each:
//
//     object[:subset] [action] [arguments...]
//
// Words are split at white space and never quoted; an argument that needs
// blanks (a time, a filter) is joined again from the remaining words.  The
// subset is a trace expression of the view ("traces:AAK,ANMO:BH. gain *2");
// "traces:" with nothing after the colon is the same as no subset.  The
// same lines come from the console, task bar buttons, menus, hot keys,
// parameter files, saved command files and client programs.
//
// Before a line is parsed its first word is looked up among the aliases (an
// alias stands for one or more lines, the line's remaining words appended
// to each); aliases nest, and an alias that comes back to itself, nesting
// deeper than max_alias_depth or a line expanding to more than
// max_expanded_lines lines fail with a message.  Then the words "%time_left"
// ("%time_start"), "%time_right" ("%time_end"), "%time_window" and
// "%time_middle" are replaced by the view's time window in "%.6lf", except
// in the values given to "alias" and "hotkey", which are kept as typed and
// expanded at each use.
//
// Output is text (help, echo, listings, event descriptions); failures
// register their lines in the error register ("Class::method: ...") and
// leave the view as it was.  Lines longer than max_command_chars are refused
// unread.  GUI thread only.
#pragma once

#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

class VXEvent;
class VXTrace;
class VXTraceview;
class VXTraceviewCommands;

// Usage and help line of one object and action: both literal, printed by "help".
struct VxTraceviewCommandsSpec
{
    QString usage;
    QString help;
};

// An object word and its handler: the handler gets the whole line and
// writes its output text; 0 or above on success, -1 with lines registered.
struct VxTraceviewCommandsObjectsSpec
{
    QString object_name;
    std::function<int(VXTraceviewCommands*, QString, QString&)> proc;
};

// A rewriter of one word of a line, by the state of the view.
struct VxTraceviewCommandSubstituteParams
{
    std::function<void(VXTraceview*, QString&)> proc;
};

class VXPLOT_EXPORT VXTraceviewCommands
{
public:
    // The language of traceview (not owned; it must outlive this object).
    explicit VXTraceviewCommands(VXTraceview* traceview);
    ~VXTraceviewCommands();
    VXTraceviewCommands(const VXTraceviewCommands&) = delete;
    VXTraceviewCommands& operator=(const VXTraceviewCommands&) = delete;

    // Run one line (with its aliases); its output text, lines of all the
    // lines an alias stands for, goes into output.  0 or above; -1 with the
    // reason registered, output then holding what ran before the failure.
    int processCommand(QString command, QString& output);

    // For a key press that has a hot key: the hot key's line with the
    // pointer's position put in ("%xw", "%dxw", "%yw", "%dyw") into
    // command, and 1.  0 for other events and keys (command untouched).
    int processHotkeys(VXEvent* event, QString& command);

    // The handlers, one per object ("?" and "help" share one).
    int processHelpObject(QString command, QString& output);
    int processEchoObject(QString command, QString& output);
    int processQuitObject(QString command, QString& output);
    int processAliasObject(QString command, QString& output);
    int processUnaliasObject(QString command, QString& output);
    int processAliasesObject(QString command, QString& output);
    int processHotkeyObject(QString command, QString& output);
    int processUnhotkeyObject(QString command, QString& output);
    int processHotkeysObject(QString command, QString& output);
    int processMainObject(QString command, QString& output);
    int processDisplayObject(QString command, QString& output);
    int processTracesObject(QString command, QString& output);
    int processArrivalsObject(QString command, QString& output);
    int processDetectionsObject(QString command, QString& output);
    int processEventObject(QString command, QString& output);
    int processOriginObject(QString command, QString& output);

    // The usage and help lines of every object and action, in the order
    // "help" prints them.
    static const QList<VxTraceviewCommandsSpec>& specs();
    // What "help" prints: each usage padded with blanks to the longest,
    // four blanks, its help text, a newline.
    static QString helpText();
    // The object words, in table order.
    static QStringList objectNames();

    static constexpr int max_command_chars = 65536;  // longer lines are refused
    static constexpr int max_alias_depth = 32;       // aliases inside aliases
    static constexpr int max_expanded_lines = 10000; // lines one line may expand to

    VXTraceview* traceview = nullptr;
    QHash<QString, VxTraceviewCommandsObjectsSpec*> objectsHash;
    QHash<QString, VxTraceviewCommandsSpec*> commandsHash;
    QList<VxTraceviewCommandSubstituteParams*> substitutions;
    QString object_name, object_subset, action;
    QStringList params;
    QHash<QString, QList<QString>> aliases;
    QHash<QString, QString> hotkeys;

private:
    // Register "usage: ..." for the current object and action (every usage
    // of the object when the action has none of its own).
    void printUsage();
    // Split word into object_name and object_subset; -1 for a syntax error
    // or an unknown object.
    int parseObject(QString word);
    // The lines command stands for: 1 when its first word is an alias, 0
    // for the line itself.
    int processAlias(QString command, QStringList& commands);
    // Replace the "%time_*" words (not in "alias" and "hotkey" lines).
    void substitute(QString& command);
    void substituteHotkeysCommand(VXEvent* event, QString& command);
    int runLine(const QString& command, QString& output);
    // Walk the expansion of alias name without running it: -1 with the
    // reason registered for a cycle, too deep a nesting or too many lines,
    // so that such an alias fails before any of its lines has run.
    int checkAlias(const QString& name, QStringList& stack, int& lines);

    // Shared checks of the handlers below.  who: "processTracesObject".
    int needAction(const char* who, const QStringList& words);
    int wrongCount(const char* who);
    int noSubset(const char* who);
    // "arrivals show [word]" and "detections show [word]" on the resolved traces
    int showOnTraces(const char* who, const QStringList& words,
                     const std::function<void(VXTrace*, const QString&)>& show);
    // "event show x" and "origin show x": show(x), after the checks both share
    int processShowAction(const char* who, const char* object, const QString& command,
                          const std::function<int(const QString&)>& show);
    // Resolve object_subset ("*" when empty); -1 with the usage registered.
    int resolve(const char* who, int copyok, QList<VXTrace*>& list, int* all);

    int displayTime(const QStringList& words, bool right);
    int tracesGain(const QStringList& words);
    int tracesOrder(const QStringList& words, bool show_word);
    int tracesZoom(const QStringList& words);
    int tracesStart(const QStringList& words);
    int tracesColor(const QStringList& words, bool background);
    int tracesFilter(const QStringList& words);
    int tracesScale(const QStringList& words);
    int tracesUnits(const QStringList& words);
    int tracesConfigure(const QStringList& words);

    QStringList alias_stack;  // aliases being expanded, outermost first
    int expanded_lines = 0;   // lines run for the current top-level line
};

// Split a line at white space, dropping empty words.
VXPLOT_EXPORT QStringList traceview_command_words(const QString& command);

// The reference page of the language (Markdown), built from the same table
// "help" prints.
VXPLOT_EXPORT QString traceview_commands_reference();
