// The reference page of the trace view's command language, made from the
// table that "help" prints.
#include "waveform/tvcommands.h"

QString traceview_commands_reference()
{
    QString page = QStringLiteral(
        "# The trace view's command language\n"
        "\n"
        "<!-- Made by traceview_commands_reference() from the table that `help` prints;\n"
        "     the test TvCommands.ReferencePageMatchesTheTable compares the two\n"
        "     (VX_REGENERATE=1 rewrites this file). -->\n"
        "\n"
        "Everything that can be done to a trace view can be typed in its command\n"
        "console, bound to a button, a menu entry or a hot key, kept in a command\n"
        "file, or sent by a client program (`traceview_sendcommand`). A line is\n"
        "\n"
        "    object[:subset] [action] [arguments...]\n"
        "\n"
        "Words are split at white space and never quoted; an argument that needs\n"
        "blanks (a time, a filter) is the rest of the line. The subset is a trace\n"
        "expression: a comma list of `sta:chan;copy` regular expressions, `*`,\n"
        "`selected` or `selected+`; `traces:` with nothing after the colon means\n"
        "all traces.\n"
        "\n"
        "- **Aliases.** `alias name line1\\nline2` stores lines (separated by the two\n"
        "  characters `\\n`); a line starting with `name` runs them, with the rest of\n"
        "  the line appended to each. Aliases may use other aliases; one that comes\n"
        "  back to itself, or nests deeper than %1, fails.\n"
        "- **Time words.** `%time_left` (`%time_start`), `%time_right` (`%time_end`),\n"
        "  `%time_window` and `%time_middle` are replaced by the view's time window,\n"
        "  in seconds with six decimals, except inside `alias` and `hotkey` values,\n"
        "  which keep them for each use.\n"
        "- **Hot keys.** `hotkey control-z line` binds a key; names are\n"
        "  `nomodifier-`, `shift-`, `control-` or `controlshift-` and the key\n"
        "  (`nomodifier-` may be left out). In the line `%xw` and `%dxw` are the\n"
        "  pointer's time and its offset from the left edge, `%yw` and `%dyw` its\n"
        "  height and its distance below the top of the window.\n"
        "- **Command files.** `main export file` writes the console's history,\n"
        "  `main import file` runs a file's lines one by one.\n"
        "- **Filters.** A filter given for all traces is held by the view and clears\n"
        "  the traces' own filters; one given for a subset is held by those traces.\n"
        "\n"
        "Lines longer than %2 characters are refused.\n"
        "\n"
        "## Commands\n")
                       .arg(VXTraceviewCommands::max_alias_depth)
                       .arg(VXTraceviewCommands::max_command_chars);
    QString object;
    for (const VxTraceviewCommandsSpec& s : VXTraceviewCommands::specs()) {
        QString first = traceview_command_words(s.usage).value(0);
        first.truncate(first.indexOf(QLatin1Char('[')) > 0 ? first.indexOf(QLatin1Char('[')) : first.size());
        if (first != object) {
            object = first;
            page += QStringLiteral("\n### %1\n\n").arg(object);
        }
        page += QStringLiteral("- `%1`  \n  %2\n").arg(s.usage, s.help);
    }
    return page;
}
