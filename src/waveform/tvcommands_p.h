// Helpers shared by the handlers of the trace view's command language.
#pragma once

#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cmath>

namespace tvcommands {

inline QByteArray msg(const QString& s)
{
    return s.toUtf8();
}

// The words from index from on, joined with single blanks.
inline QString rest(const QStringList& words, int from)
{
    return words.mid(from).join(QLatin1Char(' '));
}

// A finite number, the whole word.
inline bool toNumber(const QString& word, double* value)
{
    bool ok = false;
    const double v = word.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

// "toggle" or a boolean word.
inline bool isSwitchWord(const QString& word)
{
    int value = 0;
    return word == QLatin1String("toggle") || HL_ParseBoolean(word.toUtf8().constData(), &value) == 0;
}

// A time relative to now ("now", "now+1:00", "now-5m"), to base ("+1:00",
// "-10") or absolute.  false when it does not parse.
inline bool parseTimeArgument(const QString& text, double base, double* t)
{
    QString s = text.trimmed();
    bool relative_to_now = false;
    if (s.startsWith(QLatin1String("now"))) {
        relative_to_now = true;
        base = timenow();
        s = s.mid(3).trimmed();
        if (s.isEmpty()) {
            *t = base;
            return true;
        }
    }
    if (s.startsWith(QLatin1Char('+')) || s.startsWith(QLatin1Char('-'))) {
        double dt = 0.0;
        if (deltimeparsez(s.toUtf8().constData(), &dt) < 0 || !std::isfinite(dt))
            return false;
        *t = base + dt;
        return std::isfinite(*t);
    }
    if (relative_to_now)
        return false;  // "now" and more without a sign
    double epoch = 0.0;
    if (timeparsez(s.toUtf8().constData(), &epoch) < 0 || !std::isfinite(epoch))
        return false;
    *t = epoch;
    return true;
}

} // namespace tvcommands
