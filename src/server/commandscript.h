// The text form of server commands, as the command shell reads it.
//
// One statement a line:
//
//     # a comment line
//     w = mainwindow none            (bind the answered handle to $w)
//     frame $w 0                     (word, target handle, positional arguments)
//     configure $v xmin=0 xmax=10    (key=value tokens are configuration pairs)
//     configure $v title="A title"   (quotes keep blanks; they may span lines)
//     @echo text                     (a directive of the shell, see below)
//
// Tokens are separated by blanks.  Double quotes allow the escapes \" \\ \n
// \t \$ and expand variables; single quotes take everything literally; both
// may span lines, which carries multi-line parameter text.  $name and
// ${name} expand to a bound handle, $_ to the handle of the last successful
// response.  A token is a configuration pair when it begins with a key of
// letters, digits, '_', '.' or '-' followed by an unquoted '='; quote the
// whole token ("a=b") to pass it as a positional argument.  A statement
// with a word and no handle targets "none".  A backslash at the end of a
// line joins the next line.
//
// Directives: "@echo words..." prints the words; "@sleep ms" waits;
// "@snapshot file.png" names the image the shell writes at the end;
// "@keepgoing on|off" sets whether a failed command stops the script;
// "@set name value" binds a variable.  The command shell adds "@callback",
// "@wait" and "@errlog", which report callbacks as event lines.
#pragma once

#include "vxplot_export.h"

#include <QHash>
#include <QString>
#include <QStringList>

struct VX_GraphicsServer;
struct VX_GraphicsServer_response;

struct VXPLOT_EXPORT VX_ScriptStatement
{
    int line = 0;              // line number of the statement's first line
    bool directive = false;    // an @ directive; command holds its name without '@'
    QString bind;              // variable to bind the answered handle to, or empty
    QString command;           // the command word
    QString handle;            // the target handle
    QStringList args;          // positional arguments
    QStringList config_lines;  // configuration pairs as "key value" lines
};

class VXPLOT_EXPORT VXCommandScript
{
public:
    enum { Statement = 1, End = 0, Error = -1, Incomplete = -2 };

    // Parse the statement that starts at *pos in text.  Statement: st is
    // filled and *pos moved past it; End: only blanks and comments remain;
    // Incomplete: a quote or continuation is still open at the end of the
    // text (more lines are needed); Error: registered, st->line set and *pos
    // moved past the bad statement.  line is the number of the line at *pos and is moved
    // along.  Variables expand with the values bound at the time of the call.
    int next(const QString& text, qsizetype* pos, int* line, VX_ScriptStatement* st);

    // Send a command statement to the server with VX_GraphicsServer_send2
    // and bind its handle on success.  Returns send2's result.
    int run(VX_GraphicsServer* server, const VX_ScriptStatement& st, VX_GraphicsServer_response** response,
            int direct);

    // Bound variables, by name without '$'.
    QHash<QString, QString> variables;

    // The machine-readable form of a response, one line without the new
    // line: fields separated by tabs, code first, then the handle (or the
    // error text), then the return parameters; backslash, tab, new line and
    // carriage return inside fields are written \\ \t \n \r.
    static QString formatResponse(const VX_GraphicsServer_response* response);
    static QString escapeField(const QString& field);

private:
    static constexpr qsizetype kMaxNameLength = 256;

    // Expand the reference at text[*pos] == '$' into *out and move *pos past
    // it; false with *error set for an unknown or unterminated name.
    bool expandVariable(const QString& text, qsizetype* pos, QString* out, QString* error) const;
};
