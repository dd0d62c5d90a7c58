#include "server/commandscript.h"

#include "server/graphicsserver.h"
#include "toolkit/base/errors.h"

namespace {

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\r');
}

bool isNameStart(QChar c)
{
    return c.isLetter() || c == QLatin1Char('_');
}

bool isNameChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}

bool isKeyChar(QChar c)
{
    return c.isLetterOrNumber() || c == QLatin1Char('_') || c == QLatin1Char('.') || c == QLatin1Char('-');
}

struct Token
{
    QString text;
    bool quoted = false;     // any part of it was quoted
    qsizetype eq = -1;       // position of a configuration pair's '=' in text
    bool bare_equals = false;  // the token is a lone unquoted '='
};

} // namespace

bool VXCommandScript::expandVariable(const QString& text, qsizetype* pos, QString* out, QString* error) const
{
    const qsizetype n = text.size();
    qsizetype i = *pos + 1;  // past the '$'
    QString name;
    if (i < n && text[i] == QLatin1Char('{')) {
        // the name ends within a bounded distance, so a text full of
        // unclosed braces costs linear time
        qsizetype close = i + 1;
        while (close < n && close - i <= kMaxNameLength && text[close] != QLatin1Char('}'))
            close++;
        if (close >= n || text[close] != QLatin1Char('}')) {
            *error = QStringLiteral("unterminated '${'");
            return false;
        }
        name = text.mid(i + 1, close - i - 1);
        i = close + 1;
    } else if (i < n && isNameStart(text[i])) {
        while (i < n && isNameChar(text[i]) && name.size() < kMaxNameLength)
            name += text[i++];
    } else {
        *out += QLatin1Char('$');  // a dollar without a name stands for itself
        *pos = i;
        return true;
    }
    auto it = variables.constFind(name);
    if (it == variables.constEnd()) {
        *error = QStringLiteral("unknown variable '$%1'").arg(name.left(kMaxNameLength));
        return false;
    }
    *out += *it;
    *pos = i;
    return true;
}

int VXCommandScript::next(const QString& text, qsizetype* pos, int* line, VX_ScriptStatement* st)
{
    const qsizetype n = text.size();
    qsizetype i = *pos;
    int ln = *line;

    int first_line = ln;
    QList<Token> tokens;
    QString error;
    bool incomplete = false;

    // A statement made of continuations alone is a blank line: read on.
    for (;;) {
        // skip blank lines and comment lines
        for (;;) {
            while (i < n && isBlank(text[i]))
                i++;
            if (i < n && text[i] == QLatin1Char('#')) {
                while (i < n && text[i] != QLatin1Char('\n'))
                    i++;
            }
            if (i < n && text[i] == QLatin1Char('\n')) {
                i++;
                ln++;
                continue;
            }
            break;
        }
        if (i >= n) {
            *pos = i;
            *line = ln;
            return End;
        }

        first_line = ln;

        // read tokens up to the end of the statement's line
        while (i < n && text[i] != QLatin1Char('\n') && error.isEmpty() && !incomplete) {
            if (isBlank(text[i])) {
                i++;
                continue;
            }
            if (text[i] == QLatin1Char('\\') && i + 1 < n && text[i + 1] == QLatin1Char('\n')) {
                i += 2;
                ln++;
                continue;
            }
            if (text[i] == QLatin1Char('\\') && i + 1 == n) {
                incomplete = true;
                break;
            }
            Token tok;
            bool key_possible = true;  // everything so far unquoted key characters
            while (i < n && !isBlank(text[i]) && text[i] != QLatin1Char('\n')) {
                QChar c = text[i];
                if (c == QLatin1Char('\'')) {
                    qsizetype close = text.indexOf(QLatin1Char('\''), i + 1);
                    if (close < 0) {
                        incomplete = true;
                        break;
                    }
                    QString part = text.mid(i + 1, close - i - 1);
                    ln += static_cast<int>(part.count(QLatin1Char('\n')));
                    tok.text += part;
                    tok.quoted = true;
                    key_possible = false;
                    i = close + 1;
                } else if (c == QLatin1Char('"')) {
                    i++;
                    bool closed = false;
                    while (i < n) {
                        QChar d = text[i];
                        if (d == QLatin1Char('"')) {
                            closed = true;
                            i++;
                            break;
                        }
                        if (d == QLatin1Char('\\') && i + 1 < n) {
                            QChar e = text[i + 1];
                            if (e == QLatin1Char('n'))
                                tok.text += QLatin1Char('\n');
                            else if (e == QLatin1Char('t'))
                                tok.text += QLatin1Char('\t');
                            else if (e == QLatin1Char('"') || e == QLatin1Char('\\') || e == QLatin1Char('$'))
                                tok.text += e;
                            else if (e == QLatin1Char('\n'))
                                ln++;  // an escaped new line is dropped
                            else {
                                tok.text += d;
                                tok.text += e;
                            }
                            i += 2;
                            continue;
                        }
                        if (d == QLatin1Char('$')) {
                            if (!expandVariable(text, &i, &tok.text, &error))
                                break;
                            continue;
                        }
                        if (d == QLatin1Char('\n'))
                            ln++;
                        tok.text += d;
                        i++;
                    }
                    if (!error.isEmpty())
                        break;
                    if (!closed) {
                        incomplete = true;
                        break;
                    }
                    tok.quoted = true;
                    key_possible = false;
                } else if (c == QLatin1Char('\\') && i + 1 < n && text[i + 1] != QLatin1Char('\n')) {
                    tok.text += text[i + 1];
                    key_possible = false;
                    i += 2;
                } else if (c == QLatin1Char('\\')) {
                    break;  // a continuation: ends the token
                } else if (c == QLatin1Char('$')) {
                    if (!expandVariable(text, &i, &tok.text, &error))
                        break;
                    key_possible = false;
                } else if (c == QLatin1Char('=') && key_possible && tok.eq < 0) {
                    if (tok.text.isEmpty()) {
                        tok.bare_equals = true;
                    } else {
                        tok.eq = tok.text.size();
                    }
                    tok.text += c;
                    key_possible = false;
                    i++;
                } else {
                    if (!isKeyChar(c))
                        key_possible = false;
                    tok.text += c;
                    i++;
                }
            }
            if (incomplete || !error.isEmpty())
                break;
            if (tok.bare_equals && tok.text.size() > 1)
                tok.bare_equals = false;
            tokens.append(tok);
        }
        if (!tokens.isEmpty() || incomplete || !error.isEmpty())
            break;
        if (i < n && text[i] == QLatin1Char('\n')) {
            i++;
            ln++;
        }
    }

    if (incomplete) {
        *line = first_line;
        return Incomplete;  // *pos stays at the statement's start
    }
    // move past the end of the statement's line
    if (!error.isEmpty()) {
        while (i < n && text[i] != QLatin1Char('\n'))
            i++;
    }
    if (i < n && text[i] == QLatin1Char('\n')) {
        i++;
        ln++;
    }
    *pos = i;
    *line = ln;
    *st = VX_ScriptStatement();
    st->line = first_line;
    if (!error.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXCommandScript: line %d: %s.\n", first_line, error.toUtf8().constData());
        return Error;
    }

    int k = 0;
    if (tokens.size() >= 2 && tokens[1].bare_equals && !tokens[0].quoted && !tokens[0].text.isEmpty() &&
        isNameStart(tokens[0].text[0])) {
        for (QChar c : tokens[0].text) {
            if (!isNameChar(c)) {
                hl_register_error(HL_SEVERITY_NORMAL, "VXCommandScript: line %d: bad variable name '%s'.\n", first_line,
                                  tokens[0].text.toUtf8().constData());
                return Error;
            }
        }
        st->bind = tokens[0].text;
        k = 2;
        if (tokens.size() < 3) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXCommandScript: line %d: '%s =' needs a command.\n", first_line,
                              st->bind.toUtf8().constData());
            return Error;
        }
    }
    const Token& word = tokens[k];
    if (word.eq >= 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXCommandScript: line %d: a statement begins with a command word, not '%s'.\n",
                          first_line, word.text.left(200).toUtf8().constData());
        return Error;
    }
    st->command = word.text;
    if (!word.quoted && st->command.startsWith(QLatin1Char('@'))) {
        st->directive = true;
        st->command = st->command.mid(1);
        if (!st->bind.isEmpty()) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXCommandScript: line %d: a directive answers no handle to bind.\n", first_line);
            return Error;
        }
        for (int j = k + 1; j < tokens.size(); j++)
            st->args.append(tokens[j].text);
        return Statement;
    }
    int j = k + 1;
    if (j < tokens.size() && tokens[j].eq < 0) {
        st->handle = tokens[j].text;
        j++;
    } else {
        st->handle = QStringLiteral("none");
    }
    for (; j < tokens.size(); j++) {
        const Token& t = tokens[j];
        if (t.eq >= 0)
            st->config_lines.append(t.text.left(t.eq) + QLatin1Char(' ') + t.text.mid(t.eq + 1));
        else
            st->args.append(t.text);
    }
    return Statement;
}

int VXCommandScript::run(VX_GraphicsServer* server, const VX_ScriptStatement& st,
                         VX_GraphicsServer_response** response, int direct)
{
    int ret = VX_GraphicsServer_send2(server, direct, response, st.command, st.handle, &st.args, &st.config_lines);
    if (ret == 0 && *response) {
        variables.insert(QStringLiteral("_"), (*response)->handle);
        if (!st.bind.isEmpty())
            variables.insert(st.bind, (*response)->handle);
    }
    return ret;
}

QString VXCommandScript::escapeField(const QString& field)
{
    QString out;
    out.reserve(field.size());
    for (QChar c : field) {
        if (c == QLatin1Char('\\'))
            out += QLatin1String("\\\\");
        else if (c == QLatin1Char('\t'))
            out += QLatin1String("\\t");
        else if (c == QLatin1Char('\n'))
            out += QLatin1String("\\n");
        else if (c == QLatin1Char('\r'))
            out += QLatin1String("\\r");
        else
            out += c;
    }
    return out;
}

QString VXCommandScript::formatResponse(const VX_GraphicsServer_response* response)
{
    if (!response)
        return QStringLiteral("1\tno response");
    QString out = QString::number(response->response) + QLatin1Char('\t') + escapeField(response->handle);
    for (const QString& p : response->return_params)
        out += QLatin1Char('\t') + escapeField(p);
    return out;
}
