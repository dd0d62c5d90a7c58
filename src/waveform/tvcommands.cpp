// VXTraceviewCommands: lines, aliases, substitutions, hot keys, and the
// objects that do not touch the traces (help, echo, quit, alias, unalias,
// aliases, hotkey, unhotkey, hotkeys, main).  The display, traces, arrivals,
// detections, event and origin objects are in tvcommands_objects.cpp.
#include "waveform/tvcommands.h"

#include "toolkit/base/errors.h"
#include "viewport/viewport.h"
#include "viewport/vxevent.h"
#include "waveform/traceview.h"
#include "waveform/tvcommands_p.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

using namespace tvcommands;

namespace {

// The usage and help lines, in the order "help" prints them.  Both are the
// language's own texts, kept exactly as users know them.
const VxTraceviewCommandsSpec spec_table[] = {
    {"?",
     "display help"},
    {"help",
     "display help"},
    {"echo",
     "echo with substitutions"},
    {"quit",
     "exit program"},
    {"alias name [substitution_string]",
     "make a command alias"},
    {"unalias name",
     "remove a command alias"},
    {"aliases",
     "show all aliases"},
    {"hotkey name [substitution_string]",
     "make a hot key assignment"},
    {"unhotkey name",
     "remove a hot key assignment"},
    {"hotkeys",
     "show all hot key assignments"},
    {"main import file_name",
     "import commands"},
    {"main export file_name",
     "export commands"},
    {"display reset",
     "reset database"},
    {"display refresh ['full']",
     "refresh display"},
    {"display time_left {'now'|time_string|'+'time_string|'-'time_string}",
     "set display time at the left edge of the display"},
    {"display time_right {'now'|time_string|'+'time_string|'-'time_string}",
     "set display time at the right edge of the display"},
    {"display time_window time_string",
     "set display time window duration"},
    {"display time_zoom factor [time_anchor]",
     "zoom display time window by factor so that time_anchor is in the same relative position"},
    {"display palign  [{'yes'|'no'|'toggle'}]",
     "enable/disable display P-arrival alignment"},
    {"display show_pred  [{'yes'|'no'|'toggle'}]",
     "enable/disable show display predicted arrivals"},
    {"display batch  [{'yes'|'no'|'toggle'}]",
     "enable/disable batch mode"},
    {"display tideafter [{'+'string|'-'string|time}]",
     "reset read time for tide sources"},
    {"display clear_traces",
     "clear all trace pixelation buffers"},
    {"traces maximum number",
     "set maximum number of traces to display in the vertical window"},
    {"traces minimum_pixels number",
     "set minimum vertical height of traces"},
    {"traces fit [{'auto'|'toggle'|'yes'|'no']",
     "fit traces to vertical window subject to maximum and minimum_pixels"},
    {"traces sta [{'yes'|'no'|'toggle'}]",
     "enable/disable show only traces with arrivals"},
    {"traces std [{'yes'|'no'|'toggle'}]",
     "enable/disable show only traces with detections"},
    {"traces stad [{'yes'|'no'}]",
     "enable/disable show only traces with arrivals and/or detections"},
    {"traces stw [{'yes'|'no'}]",
     "show only traces with waveforms"},
    {"traces auto_distance_sort [{'yes'|'no'|'toggle'}]",
     "enable/disable automatic trace sorting by distance from event"},
    {"traces[:trace_exprs] gain {gain|'*'gain_factor|'/'gain_factor}",
     "set trace gains"},
    {"traces[:trace_exprs] select [{'yes'|'no'|'toggle'}]",
     "select/deselect traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] configure key value",
     "configure traceview or trace objects"},
    {"traces[:trace_exprs] dup",
     "duplicate traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] show [{'yes'|'no'|'toggle'}]",
     "show/hide traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] order",
     "order and show traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] zoom [{first_index number|number|factor [first_y]}]",
     "zoom traces to first and last labels that match trace_exprs or to the specified indexes"},
    {"traces[:trace_exprs] start [first_index]",
     "pan traces to begin at first label that matches trace_exprs or to the specified index"},
    {"traces[:trace_exprs] stretch factor",
     "stretch vertical heights of traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] color [color_string]",
     "set foreground color of traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] color_background [color_string]",
     "set background color of traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] linewidth [linewidth]",
     "set linewidth of traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] filter ['TPAD 'time_pad ]filter_string ['#' filter_label]",
     "set filter of traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] units [{'source'|'counts'|'sm'}]",
     "set units of traces whose labels match trace_exprs"},
    {"traces[:trace_exprs] scale [{'fixed'[,gain] abottom atop|'auto'[,gain]|'auto0'[,gain]|'autop[,gain]'|'auton'[,gain]}]",
     "set vertical scale factor of traces whose labels match trace_exprs"},
    {"arrivals edit_mode {'yes'|'no'|'toggle'}",
     "enable/disable arrivals edit mode"},
    {"arrivals select {'clear'|arid {'yes'|'no'|'toggle'}}",
     "clear selected arrivals or enable/disable selected arrival"},
    {"arrivals add_mode {'yes'|'no'|'toggle'}",
     "enable/disable interactive add arrivals mode"},
    {"arrivals copy ['clear']",
     "copy selected arrivals into clipboard or clear clipboard"},
    {"arrivals paste ['dont_paste_tags'] time_string",
     "paste arrivals in clipboard"},
    {"arrivals phase phase_string",
     "set selected arrivals phase to phase_string"},
    {"arrivals default_phase phase_string",
     "set default phase_string for new arrivals"},
    {"arrivals tag {'clear'|'clear_all'|'associated'|tag_string}",
     "add tag tag_string to selected arrivals or clear selected arrivals tags or clear all arrivals tags"},
    {"arrivals output {'tagged'|'selected'}}",
     "output a list of arids and association status for tagged or selected arrivals"},
    {"arrivals edit_queue clear",
     "clear edit queue"},
    {"arrivals edit_queue undo ['all'|number]",
     "undo edits"},
    {"arrivals edit_queue redo ['all'|number]",
     "redo edits"},
    {"arrivals edit_queue setstate name",
     "set edit queue state"},
    {"arrivals edit_queue gotostate name",
     "go to edit queue state"},
    {"arrivals[:trace_exprs] show [{'yes'|'no'|'toggle'}]",
     "show/hide arrivals that match arrival_exprs"},
    {"detections[:trace_exprs] show [{'yes'|'no'|'toggle'}]",
     "show/hide detections that match detection_exprs"},
    {"event show {index|'+'incr|'-'incr|'e'evid|'noev'|'dw'|'mostrecent'|'lastmodified'}",
     "show event"},
    {"origin show {index|'+'incr|'-'incr|'o'orid|'pref'}",
     "show origin"},
};

using Handler = int (VXTraceviewCommands::*)(QString, QString&);

struct ObjectRow
{
    const char* name;
    Handler handler;
};

const ObjectRow object_table[] = {
    {"?", &VXTraceviewCommands::processHelpObject},
    {"help", &VXTraceviewCommands::processHelpObject},
    {"echo", &VXTraceviewCommands::processEchoObject},
    {"quit", &VXTraceviewCommands::processQuitObject},
    {"alias", &VXTraceviewCommands::processAliasObject},
    {"unalias", &VXTraceviewCommands::processUnaliasObject},
    {"aliases", &VXTraceviewCommands::processAliasesObject},
    {"hotkey", &VXTraceviewCommands::processHotkeyObject},
    {"unhotkey", &VXTraceviewCommands::processUnhotkeyObject},
    {"hotkeys", &VXTraceviewCommands::processHotkeysObject},
    {"main", &VXTraceviewCommands::processMainObject},
    {"display", &VXTraceviewCommands::processDisplayObject},
    {"traces", &VXTraceviewCommands::processTracesObject},
    {"arrivals", &VXTraceviewCommands::processArrivalsObject},
    {"detections", &VXTraceviewCommands::processDetectionsObject},
    {"event", &VXTraceviewCommands::processEventObject},
    {"origin", &VXTraceviewCommands::processOriginObject},
};

QString timeText(double t)
{
    return QString::asprintf("%.6lf", t);
}

// word with every text of names replaced by value(view), value computed only when used
template <typename F>
void replaceTime(QString& word, std::initializer_list<QLatin1String> names, VXTraceview* view, F value)
{
    for (QLatin1String name : names)
        if (word.contains(name))
            word.replace(name, timeText(value(view)));
}

struct Tables
{
    QList<VxTraceviewCommandsSpec> specs;
    QList<VxTraceviewCommandsObjectsSpec> objects;
    QList<VxTraceviewCommandSubstituteParams> substitutions;
    QStringList spec_keys;  // "object action" or "object", one per row of the table

    Tables()
    {
        for (const VxTraceviewCommandsSpec& s : spec_table) {
            specs.append(s);
            // the key: the usage's first word cut at "[" and ":", and its second word
            const QStringList words = traceview_command_words(s.usage);
            QString object = words.value(0);
            for (QChar c : {QLatin1Char('['), QLatin1Char(':')}) {
                const qsizetype i = object.indexOf(c, 1);
                if (i > 0)
                    object.truncate(i);
            }
            spec_keys.append(words.size() > 1 ? object + QLatin1Char(' ') + words[1] : object);
        }
        for (const ObjectRow& row : object_table) {
            const Handler handler = row.handler;
            objects.append({QString::fromLatin1(row.name),
                            [handler](VXTraceviewCommands* c, QString line, QString& out) {
                                return (c->*handler)(std::move(line), out);
                            }});
        }
        substitutions.append({[](VXTraceview* v, QString& w) {
            replaceTime(w, {QLatin1String("%time_start"), QLatin1String("%time_left")}, v,
                        [](VXTraceview* tv) { return tv->tleft; });
        }});
        substitutions.append({[](VXTraceview* v, QString& w) {
            replaceTime(w, {QLatin1String("%time_window")}, v,
                        [](VXTraceview* tv) { return tv->tright - tv->tleft; });
        }});
        substitutions.append({[](VXTraceview* v, QString& w) {
            replaceTime(w, {QLatin1String("%time_end"), QLatin1String("%time_right")}, v,
                        [](VXTraceview* tv) { return tv->tright; });
        }});
        substitutions.append({[](VXTraceview* v, QString& w) {
            replaceTime(w, {QLatin1String("%time_middle")}, v,
                        [](VXTraceview* tv) { return 0.5 * (tv->tleft + tv->tright); });
        }});
    }
};

Tables& tables()
{
    static Tables t;
    return t;
}

} // namespace

QStringList traceview_command_words(const QString& command)
{
    QStringList words;
    const qsizetype n = command.size();
    qsizetype i = 0;
    while (i < n) {
        while (i < n && command[i].isSpace())
            i++;
        const qsizetype start = i;
        while (i < n && !command[i].isSpace())
            i++;
        if (i > start)
            words.append(command.mid(start, i - start));
    }
    return words;
}

VXTraceviewCommands::VXTraceviewCommands(VXTraceview* traceview_) : traceview(traceview_)
{
    Tables& t = tables();
    for (VxTraceviewCommandsObjectsSpec& o : t.objects)
        objectsHash.insert(o.object_name, &o);
    for (qsizetype i = 0; i < t.specs.size(); i++)
        if (!commandsHash.contains(t.spec_keys[i]))
            commandsHash.insert(t.spec_keys[i], &t.specs[i]);
    for (VxTraceviewCommandSubstituteParams& s : t.substitutions)
        substitutions.append(&s);
}

VXTraceviewCommands::~VXTraceviewCommands() = default;

const QList<VxTraceviewCommandsSpec>& VXTraceviewCommands::specs()
{
    return tables().specs;
}

QStringList VXTraceviewCommands::objectNames()
{
    QStringList names;
    for (const ObjectRow& row : object_table)
        names.append(QString::fromLatin1(row.name));
    return names;
}

QString VXTraceviewCommands::helpText()
{
    const QList<VxTraceviewCommandsSpec>& all = specs();
    qsizetype width = 0;
    for (const VxTraceviewCommandsSpec& s : all)
        width = std::max(width, s.usage.size());
    QString text;
    for (const VxTraceviewCommandsSpec& s : all)
        text += s.usage.leftJustified(width) + QLatin1String("    ") + s.help + QLatin1Char('\n');
    return text;
}

// --- lines and aliases

int VXTraceviewCommands::processCommand(QString command, QString& output)
{
    output.clear();
    if (command.size() > max_command_chars) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processCommand: Command of %lld characters is longer than %d.\n",
                          static_cast<long long>(command.size()), max_command_chars);
        return -1;
    }
    // a line may run lines again (a command file); each keeps its own count
    const QStringList saved_stack = std::exchange(alias_stack, {});
    const int saved_lines = std::exchange(expanded_lines, 0);
    const int r = runLine(command, output);
    alias_stack = saved_stack;
    expanded_lines = saved_lines;
    return r < 0 ? -1 : r;
}

int VXTraceviewCommands::runLine(const QString& command, QString& output)
{
    QStringList lines;
    const int is_alias = processAlias(command, lines);
    if (is_alias) {
        const QString name = traceview_command_words(command).value(0);
        if (alias_stack.isEmpty()) {
            QStringList stack;
            int count = 0;
            if (checkAlias(name, stack, count) < 0)
                return -1;
        }
        // checked again as the lines run: a line may redefine an alias
        if (alias_stack.contains(name)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processAlias: Alias '%s' expands into itself.\n",
                              msg(name).constData());
            return -1;
        }
        if (alias_stack.size() >= max_alias_depth) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceviewCommands::processAlias: Aliases nested deeper than %d at '%s'.\n",
                              max_alias_depth, msg(name).constData());
            return -1;
        }
        alias_stack.append(name);
        for (const QString& line : std::as_const(lines)) {
            if (++expanded_lines > max_expanded_lines) {
                hl_register_error(HL_SEVERITY_NORMAL,
                                  "VXTraceviewCommands::processAlias: Alias '%s' expands to more than %d lines.\n",
                                  msg(name).constData(), max_expanded_lines);
                alias_stack.removeLast();
                return -1;
            }
            if (runLine(line, output) < 0) {
                alias_stack.removeLast();
                return -1;
            }
        }
        alias_stack.removeLast();
        return 0;
    }

    QString line = command;
    // the substitutions only run on lines that can hold them
    if (line.contains(QLatin1Char('%')))
        substitute(line);
    const QStringList words = traceview_command_words(line);
    if (words.isEmpty())
        return 0;
    if (parseObject(words[0]) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processCommand: Unrecognized command '%s'.\n",
                          msg(line).constData());
        return -1;
    }
    QString text;
    if (objectsHash.value(object_name)->proc(this, line, text) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processCommand: Error for command '%s'.\n",
                          msg(line).constData());
        return -1;
    }
    output += text;
    return 0;
}

int VXTraceviewCommands::checkAlias(const QString& name, QStringList& stack, int& lines)
{
    if (stack.contains(name)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processAlias: Alias '%s' expands into itself.\n",
                          msg(name).constData());
        return -1;
    }
    if (stack.size() >= max_alias_depth) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processAlias: Aliases nested deeper than %d at '%s'.\n",
                          max_alias_depth, msg(name).constData());
        return -1;
    }
    stack.append(name);
    for (const QString& line : aliases.value(name)) {
        if (++lines > max_expanded_lines) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceviewCommands::processAlias: Alias '%s' expands to more than %d lines.\n",
                              msg(stack.first()).constData(), max_expanded_lines);
            return -1;
        }
        const QString first = traceview_command_words(line).value(0);
        if (aliases.contains(first) && checkAlias(first, stack, lines) < 0)
            return -1;
    }
    stack.removeLast();
    return 0;
}

int VXTraceviewCommands::processAlias(QString command, QStringList& commands)
{
    commands.clear();
    QStringList words = traceview_command_words(command);
    const auto it = words.isEmpty() ? aliases.constEnd() : aliases.constFind(words[0]);
    if (it == aliases.constEnd()) {
        commands.append(command);
        return 0;
    }
    // the words after the alias are appended to each of its lines
    words.removeFirst();
    for (const QString& line : it.value())
        commands.append(words.isEmpty() ? line : line + QLatin1Char(' ') + words.join(QLatin1Char(' ')));
    return 1;
}

int VXTraceviewCommands::parseObject(QString word)
{
    object_name.clear();
    object_subset.clear();
    const qsizetype colon = word.indexOf(QLatin1Char(':'));
    if (colon == 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::parseObject: Syntax error.\n");
        return -1;
    }
    const QString name = colon < 0 ? word : word.left(colon);
    if (!objectsHash.contains(name)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::parseObject: Unrecognized object '%s'.\n",
                          msg(name).constData());
        return -1;
    }
    object_name = name;
    if (colon > 0)
        object_subset = word.mid(colon + 1);
    return 0;
}

void VXTraceviewCommands::substitute(QString& command)
{
    QStringList words = traceview_command_words(command);
    if (words.isEmpty())
        return;
    // the values of aliases and hot keys are expanded when they are used
    if (words[0] == QLatin1String("hotkey") || words[0] == QLatin1String("alias"))
        return;
    bool changed = false;
    for (QString& word : words) {
        if (!word.contains(QLatin1String("%time_")))
            continue;
        for (VxTraceviewCommandSubstituteParams* s : std::as_const(substitutions))
            s->proc(traceview, word);
        changed = true;
    }
    if (changed)
        command = words.join(QLatin1Char(' '));
}

void VXTraceviewCommands::printUsage()
{
    const QList<VxTraceviewCommandsSpec>& all = specs();
    const QStringList& keys = tables().spec_keys;
    const QString key = object_name + QLatin1Char(' ') + action;
    bool any = false;
    for (qsizetype i = 0; i < all.size(); i++) {
        if (keys[i] == key) {
            hl_register_error(HL_SEVERITY_NORMAL, "usage: %s\n", msg(all[i].usage).constData());
            any = true;
        }
    }
    if (any)
        return;
    for (qsizetype i = 0; i < all.size(); i++)
        if (keys[i] == object_name || keys[i].startsWith(object_name + QLatin1Char(' ')))
            hl_register_error(HL_SEVERITY_NORMAL, "usage: %s\n", msg(all[i].usage).constData());
}

int VXTraceviewCommands::needAction(const char* who, const QStringList& words)
{
    if (words.size() > 1) {
        action = words[1];
        return 0;
    }
    action.clear();
    hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::%s: Need action argument for object '%s'.\n", who,
                      msg(object_name).constData());
    printUsage();
    return -1;
}

int VXTraceviewCommands::wrongCount(const char* who)
{
    hl_register_error(HL_SEVERITY_NORMAL,
                      "VXTraceviewCommands::%s: Wrong number of arguments for object '%s' action '%s'.\n", who,
                      msg(object_name).constData(), msg(action).constData());
    printUsage();
    return -1;
}

int VXTraceviewCommands::noSubset(const char* who)
{
    if (object_subset.isEmpty())
        return 0;
    hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::%s: Unknown object '%s' arguments.\n", who,
                      msg(object_name + QLatin1Char(':') + object_subset).constData());
    return -1;
}

// --- hot keys

int VXTraceviewCommands::processHotkeys(VXEvent* event, QString& command)
{
    if (!event || event->type != VX_EVENT_KEY_PRESS || event->key.isEmpty())
        return 0;
    const bool shift = event->modifiers & Qt::ShiftModifier;
    const bool control = event->modifiers & Qt::ControlModifier;
    const char* prefix = control ? (shift ? "controlshift-" : "control-") : (shift ? "shift-" : "nomodifier-");
    const QString name = QLatin1String(prefix) + event->key;
    auto it = hotkeys.constFind(name);
    if (it == hotkeys.constEnd() && !shift && !control)
        it = hotkeys.constFind(event->key);
    // letter keys arrive in lower case: "control-Z" names the same key as "control-z"
    for (auto k = hotkeys.constBegin(); it == hotkeys.constEnd() && k != hotkeys.constEnd(); ++k)
        if (k.key().compare(name, Qt::CaseInsensitive) == 0 ||
            (!shift && !control && k.key().compare(event->key, Qt::CaseInsensitive) == 0))
            it = k;
    if (it == hotkeys.constEnd())
        return 0;
    command = it.value();
    substituteHotkeysCommand(event, command);
    return 1;
}

void VXTraceviewCommands::substituteHotkeysCommand(VXEvent* event, QString& command)
{
    VXViewport* vp = traceview->getViewportParent();
    double xw = 0.0, yw = 0.0, ytop = 1.0;
    if (vp) {
        vp->getWcoords(event->pt.x(), event->pt.y(), &xw, &yw, 0, 0, 0);
        ytop = vp->vars.ytop;
    }
    command.replace(QLatin1String("%dxw"), QString::asprintf("%.6lf", xw - traceview->tleft));
    command.replace(QLatin1String("%xw"), QString::asprintf("%.6lf", xw));
    command.replace(QLatin1String("%dyw"), QString::number(ytop - yw, 'g', 6));
    command.replace(QLatin1String("%yw"), QString::number(yw, 'g', 6));
}

// --- simple objects

int VXTraceviewCommands::processHelpObject(QString command, QString& output)
{
    const QStringList words = traceview_command_words(command);
    if (words.size() > 1 || !object_subset.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processHelpObject: Unknown object '%s' arguments.\n",
                          msg(words.value(0)).constData());
        return -1;
    }
    output = helpText();
    return 0;
}

int VXTraceviewCommands::processEchoObject(QString command, QString& output)
{
    if (noSubset("processEchoObject") < 0)
        return -1;
    output = rest(traceview_command_words(command), 1) + QLatin1Char('\n');
    return 0;
}

int VXTraceviewCommands::processQuitObject(QString command, QString& output)
{
    output.clear();
    if (noSubset("processQuitObject") < 0)
        return -1;
    if (traceview_command_words(command).size() > 1) {
        action = traceview_command_words(command).value(1);
        return wrongCount("processQuitObject");
    }
    // leaves the event loop of whoever runs it; the program ends there
    QCoreApplication::quit();
    return 0;
}

int VXTraceviewCommands::processAliasObject(QString command, QString& output)
{
    const char* who = "processAliasObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    if (words.size() < 2) {
        action.clear();
        return wrongCount(who);
    }
    action = words[1];
    if (words.size() == 2) {
        const auto it = aliases.constFind(words[1]);
        if (it == aliases.constEnd()) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processAliasObject: Unknown alias '%s'.\n",
                              msg(words[1]).constData());
            return -1;
        }
        for (const QString& line : it.value())
            output += line + QLatin1Char('\n');
        return 0;
    }
    // lines are separated by the two characters backslash and n
    QList<QString> lines;
    for (const QString& line : rest(words, 2).split(QLatin1String("\\n"))) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty())
            lines.append(trimmed);
    }
    aliases.insert(words[1], lines);
    return 0;
}

int VXTraceviewCommands::processUnaliasObject(QString command, QString&)
{
    const char* who = "processUnaliasObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    action = words.value(1);
    if (words.size() != 2)
        return wrongCount(who);
    if (!aliases.remove(words[1])) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processUnaliasObject: Unknown alias '%s'.\n",
                          msg(words[1]).constData());
        return -1;
    }
    return 0;
}

int VXTraceviewCommands::processAliasesObject(QString command, QString& output)
{
    const char* who = "processAliasesObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    action = words.value(1);
    if (words.size() != 1)
        return wrongCount(who);
    // by name, so that the listing is the same every time
    QStringList names = aliases.keys();
    names.sort();
    for (const QString& name : std::as_const(names)) {
        output += name + QLatin1Char('\n');
        for (const QString& line : aliases.value(name))
            output += QLatin1String("    ") + line + QLatin1Char('\n');
    }
    return 0;
}

int VXTraceviewCommands::processHotkeyObject(QString command, QString& output)
{
    const char* who = "processHotkeyObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    action = words.value(1);
    if (words.size() < 2)
        return wrongCount(who);
    if (words.size() == 2) {
        const auto it = hotkeys.constFind(words[1]);
        if (it == hotkeys.constEnd()) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processHotkeyObject: Unknown alias '%s'.\n",
                              msg(words[1]).constData());
            return -1;
        }
        output = it.value() + QLatin1Char('\n');
        return 0;
    }
    hotkeys.insert(words[1], rest(words, 2));
    return 0;
}

int VXTraceviewCommands::processUnhotkeyObject(QString command, QString&)
{
    const char* who = "processUnhotkeyObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    action = words.value(1);
    if (words.size() != 2)
        return wrongCount(who);
    if (!hotkeys.remove(words[1])) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processUnhotkeyObject: Unknown hotkey '%s'.\n",
                          msg(words[1]).constData());
        return -1;
    }
    return 0;
}

int VXTraceviewCommands::processHotkeysObject(QString command, QString& output)
{
    const char* who = "processHotkeysObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    action = words.value(1);
    if (words.size() != 1)
        return wrongCount(who);
    QStringList names = hotkeys.keys();
    names.sort();
    for (const QString& name : std::as_const(names))
        output += name + QLatin1Char('\n') + QLatin1String("    ") + hotkeys.value(name) + QLatin1Char('\n');
    return 0;
}

int VXTraceviewCommands::processMainObject(QString command, QString&)
{
    const char* who = "processMainObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    const bool import = action == QLatin1String("import");
    if (!import && action != QLatin1String("export")) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processMainObject: Unrecognized action '%s' for object 'main'.\n",
                          msg(action).constData());
        return -1;
    }
    if (words.size() < 3)
        return wrongCount(who);
    const QString file = rest(words, 2);  // a name with blanks comes back whole
    if (import ? traceview->importCommands(file) < 0 : traceview->exportCommands(file) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_TraceviewCommand::processMainObject: %s(%s) error\n",
                          import ? "importCommands" : "exportCommands", msg(file).constData());
        return -1;
    }
    return 0;
}
