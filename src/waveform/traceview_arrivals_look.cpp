// VXTraceview: how arrivals look: the phase filter, the colour classes and
// their drawing order, the status line, the menus of the view, and the
// fill of every trace's overlays at a full paint.
//
// The look of a display mode comes from the arrays "main_display" and
// "edit_display" of the display-parameter document: for a colour class
// (arrival_normal, arrival_defining, detection, predicted_arrival, ...) the
// keys color_<class>_outline, color_<class>_text, color_<class>_fill and
// linewidth_<class>, and the status line arrival_status_line.  The look is
// read again whenever the document's text changes.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"
#include "toolkit/base/strings.h"
#include "toolkit/params/kv.h"
#include "toolkit/store/recordstore.h"
#include "waveform/trace.h"
#include "waveform/traceviewqkclient.h"

#include <QRegularExpression>

#include <cstdarg>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

VxRegexHook::~VxRegexHook()
{
    strregfree(&hook);
}

namespace {

// A value given in double quotes in the document keeps them: take them off.
QString unquote(QString s)
{
    s = s.trimmed();
    if (s.size() >= 2 && s.startsWith(QLatin1Char('"')) && s.endsWith(QLatin1Char('"')))
        s = s.mid(1, s.size() - 2);
    return s;
}

// The colour classes and the other arrival keys of one mode's array.
void readLook(Kv* mode, VxTraceviewArrivalLook& look)
{
    Tbl* keys = kvkeys(mode);
    if (!keys) {
        hl_clear_register(HL_CLEAR_QUIET);
        return;
    }
    static const QRegularExpression color_key(QStringLiteral("^color_(.+)_(outline|text|fill)$"));
    static const QRegularExpression width_key(QStringLiteral("^linewidth_(.+)$"));
    for (long i = 0; i < seqcount(keys); i++) {
        const char* key = static_cast<const char*>(seqget(keys, i));
        const QString k = QString::fromUtf8(key);
        void* value = nullptr;
        if (kvget(mode, key, &value) != KV_KIND_STRING)
            continue;
        const QString text = unquote(QString::fromUtf8(static_cast<const char*>(value)));
        if (const QRegularExpressionMatch m = color_key.match(k); m.hasMatch()) {
            VX_Color c;
            // an empty or unreadable colour stays unset: nothing is drawn in it
            if (!text.isEmpty() && VX_ParseColor(text, c) < 0) {
                hl_clear_register(HL_CLEAR_QUIET);
                continue;
            }
            VxArrivalGlyph& g = look.glyphs[m.captured(1)];
            const QString part = m.captured(2);
            (part == QLatin1String("outline") ? g.color_outline
             : part == QLatin1String("text")  ? g.color_text
                                              : g.color_fill) = c;
        } else if (const QRegularExpressionMatch w = width_key.match(k); w.hasMatch()) {
            bool ok = false;
            const double lw = text.toDouble(&ok);
            if (ok)
                look.glyphs[w.captured(1)].linewidth = lw;
        } else if (k == QLatin1String("arrival_select_expr")) {
            look.arrival_select_expr = text;
        } else if (k == QLatin1String("arrival_reject_expr")) {
            look.arrival_reject_expr = text;
        }
    }
    seqfree(keys, nullptr);
    look.color_arrival_deltime_fill = look.glyphs.value(QStringLiteral("arrival_deltime")).color_fill;
}

// Flags, width and precision of a conversion from format[i] on; the index
// of the character after them, or -1 when a width or precision has more
// than three digits (a line of a status bar needs no more, and a larger
// one would only make printf work for nothing).
qsizetype skipConversionFlags(const QByteArray& format, qsizetype i)
{
    int digits = 0;
    // (a NUL is no flag, though strchr() finds the terminator)
    while (i < format.size() && format[i] != '\0' && strchr("-+ #0123456789.", format[i])) {
        digits = format[i] >= '0' && format[i] <= '9' ? digits + 1 : 0;
        if (digits > 3)
            return -1;
        i++;
    }
    return i;
}

// The conversion of one argument's format: 'l' an integer, 'd' a real, 's'
// text; 0 when the format is not one conversion (with flags, width and
// precision) amid plain text.
char conversionKind(const QByteArray& format)
{
    // printf stops at a NUL byte, while the checks below would read past it
    // (strchr() matches the terminator itself)
    if (format.contains('\0'))
        return 0;
    char kind = 0;
    for (qsizetype i = 0; i < format.size(); i++) {
        if (format[i] != '%')
            continue;
        if (i + 1 < format.size() && format[i + 1] == '%') {
            i++;
            continue;
        }
        if (kind)
            return 0;
        qsizetype j = skipConversionFlags(format, i + 1);
        if (j < 0)
            return 0;
        while (j < format.size() && (format[j] == 'l' || format[j] == 'h'))
            j++;
        if (j >= format.size())
            return 0;
        const char c = format[j];
        if (strchr("diouxX", c))
            kind = 'l';
        else if (strchr("feEgGaA", c))
            kind = 'd';
        else if (c == 's')
            kind = 's';
        else
            return 0;
        i = j;
    }
    return kind;
}

// A real as a long: truncated, held to the range of long, 0 for NaN.
long toLong(double d)
{
    if (!(d == d))
        return 0;
    if (d >= 9.2e18)
        return LONG_MAX;
    if (d <= -9.2e18)
        return LONG_MIN;
    return static_cast<long>(d);
}

// printf into text; false when it fails.
bool printTo(QByteArray& text, const char* format, ...) __attribute__((format(printf, 2, 3)));
bool printTo(QByteArray& text, const char* format, ...)
{
    char buffer[RS_STRSZ];
    va_list ap;
    va_start(ap, format);
    const int n = vsnprintf(buffer, sizeof buffer, format, ap);
    va_end(ap);
    if (n < 0)
        return false;
    text = QByteArray(buffer);
    return true;
}

// The integer conversion of format made to take a long: "%d" becomes "%ld".
QByteArray longFormat(const QByteArray& format)
{
    static const QRegularExpression conv(QStringLiteral("%([-+ #0-9.]*)[lh]*([diouxX])"));
    return QString::fromLatin1(format).replace(conv, QStringLiteral("%\\1l\\2")).toLatin1();
}

} // namespace

// --- the look of the current mode

const VxTraceviewArrivalLook& VXTraceview::arrivalLook()
{
    if (arrival_looks_text != display_parameters.text) {
        arrival_looks_text = display_parameters.text;
        arrival_looks[0] = VxTraceviewArrivalLook();
        arrival_looks[1] = VxTraceviewArrivalLook();
        Kv* kv = nullptr;
        Kv* top = nullptr;
        const QByteArray bytes = display_parameters.text.toUtf8();
        if (kvcompile(bytes.constData(), &kv) == 0 &&
            kvparam(kv, "traceview_display_parameters", KV_ARR, 1, &top) == 0) {
            const char* names[2] = {"main_display", "edit_display"};
            for (int i = 0; i < 2; i++) {
                Kv* mode = nullptr;
                if (kvparam(top, names[i], KV_ARR, 0, &mode) < 0 || !mode)
                    continue;
                readLook(mode, arrival_looks[i]);
                if (parseArrivalStatusParameters(mode, arrival_looks[i].status_format,
                                                 arrival_looks[i].status_arguments) < 0)
                    hl_clear_register(1);  // no status line in that mode; logged
            }
        }
        kvfree(kv);
        hl_clear_register(HL_CLEAR_QUIET);
    }
    return arrival_looks[edit_mode == 1 ? 1 : 0];
}

int VXTraceview::parseArrivalStatusParameters(Kv* kv, QString& format, QList<QPair<QString, QString>>& arguments)
{
    Kv* line = nullptr;
    if (kvparam(kv, "arrival_status_line", KV_ARR, 0, &line) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::parseArrivalStatusParams: kvparam(arrival_status_line) error.\n");
        return -1;
    }
    if (!line) {
        format.clear();
        arguments.clear();
        return 0;
    }
    char* f = nullptr;
    if (kvparam(line, "format", KV_STRING, 1, &f) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::parseArrivalStatusParams: kvparam(arrival_status_line:format) error.\n");
        return -1;
    }
    const QString new_format = unquote(QString::fromUtf8(f));
    free(f);
    Kv* tbl = nullptr;
    if (kvparam(line, "arguments", KV_TBL, 1, &tbl) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::parseArrivalStatusParams: kvparam(arrival_status_line:arguments) error.\n");
        return -1;
    }
    QList<QPair<QString, QString>> new_arguments;
    const long n = kvcount(tbl);
    for (long i = 0; i < n; i++) {
        void* value = nullptr;
        // a row is an expression, blanks, and the format of its value
        const QString row = kvgetindex(tbl, i, &value) == KV_KIND_STRING
                                ? QString::fromUtf8(static_cast<const char*>(value)).trimmed()
                                : QString();
        const qsizetype blank = row.lastIndexOf(QRegularExpression(QStringLiteral("[ \t]")));
        if (blank <= 0 || blank == row.size() - 1) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceview::parseArrivalStatusParams: Unable to parse arrival_status_line:arguments.\n");
            return -1;
        }
        new_arguments.append({row.left(blank).trimmed(), row.mid(blank + 1)});
    }
    format = new_format;
    arguments = new_arguments;
    return 0;
}

int VXTraceview::parseArrivalStatusMsg(VXTraceviewQKClient* client, Rsptr db, const QString& format,
                                       const QList<QPair<QString, QString>>& arguments, QString& message)
{
    const QByteArray f = format.toUtf8();
    QByteArray out;
    int next = 0;
    for (qsizetype i = 0; i < f.size(); i++) {
        if (f[i] != '%') {
            out.append(f[i]);
            continue;
        }
        if (i + 1 < f.size() && f[i + 1] == '%') {
            out.append('%');
            i++;
            continue;
        }
        const qsizetype j = skipConversionFlags(f, i + 1);
        // every conversion of the line takes text
        if (j < 0 || j >= f.size() || f[j] != 's') {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseArrivalStatusMsg: Illegal format '%s'.\n",
                              f.constData());
            return -1;
        }
        if (next >= arguments.size()) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceview::parseArrivalStatusMsg: Too few arguments to match format '%s'\n.",
                              f.constData());
            return -1;
        }
        const QByteArray expression = arguments.at(next).first.toUtf8();
        const QByteArray value_format = arguments.at(next).second.toUtf8();
        next++;
        const char kind = conversionKind(value_format);
        if (!kind) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseArrivalStatusMsg: Illegal format '%s'.\n",
                              value_format.constData());
            return -1;
        }
        // timeformat(t, format) is the expression language's epoch2str()
        QByteArray expr = expression;
        expr.replace("timeformat(", "epoch2str(");
        union {
            long l;
            double d;
            char s[RS_STRSZ];
        } value;
        int type = 0;
        if (!client || client->getValueFromRsptr(db, expr.constData(), &type, &value) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceview::parseArrivalStatusMsg: QKClient::getValueFromRsptr() error.\n");
            return -1;
        }
        // the value printed with its own format, a number converted to
        // the kind the format asks for
        QByteArray text;
        bool ok = false;
        if (kind == 's') {
            if (type == 1)
                ok = printTo(text, "%ld", value.l) && printTo(text, value_format.constData(), text.constData());
            else if (type == 2)
                ok = printTo(text, "%.15g", value.d) && printTo(text, value_format.constData(), text.constData());
            else
                ok = printTo(text, value_format.constData(), value.s);
        } else if (kind == 'l') {
            const long v = type == 1 ? value.l : type == 2 ? toLong(value.d) : strtol(value.s, nullptr, 10);
            ok = printTo(text, longFormat(value_format).constData(), v);
        } else {
            const double v = type == 1 ? static_cast<double>(value.l) : type == 2 ? value.d : strtod(value.s, nullptr);
            ok = printTo(text, value_format.constData(), v);
        }
        if (!ok) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseArrivalStatusMsg: sprintf() error.\n");
            return -1;
        }
        // the line's own conversion (width, precision) on the value's text
        QByteArray placed;
        if (!printTo(placed, f.mid(i, j - i + 1).constData(), text.constData())) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::parseArrivalStatusMsg: sprintf() error.\n");
            return -1;
        }
        out.append(placed);
        i = j;
    }
    message = QString::fromUtf8(out);
    return 0;
}

// --- the phase filter and the colour classes

int VXTraceview::getArrivalShow(const char* phase)
{
    if (!phase)
        return 0;
    // "del" marks a deleted arrival: its row stays for undo
    if (!strcmp(phase, "del"))
        return 0;
    const VxTraceviewArrivalLook& look = arrivalLook();
    const QString select = look.arrival_select_expr.isEmpty() ? display_parameters.arrival_select_expr
                                                               : look.arrival_select_expr;
    const QString reject = look.arrival_reject_expr.isEmpty() ? display_parameters.arrival_reject_expr
                                                               : look.arrival_reject_expr;
    const struct
    {
        const QString& expr;
        VxRegexHook& hook;
        int hide_when;
    } filters[] = {{select, arrival_select_hook, 0}, {reject, arrival_reject_hook, 1}};
    for (const auto& f : filters) {
        if (f.expr.isEmpty())
            continue;
        const QByteArray e = f.expr.toUtf8();
        const int m = strregmatch(phase, e.constData(), &f.hook.hook);
        if (m < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::getArrivalShow: strregmatch(%s) error.\n",
                              e.constData());
            return -1;
        }
        if (m == f.hide_when)
            return 0;
    }
    return 1;
}

namespace {

const QKAssociation* findAssociation(const Table<QKAssociation>& table, long arid)
{
    for (long i = 0; i < table.max(); i++)
        if (table.get(i).arid == arid)
            return &table.get(i);
    return nullptr;
}

bool hasStamag(const Table<QKStamag>& table, long arid)
{
    for (long i = 0; i < table.max(); i++)
        if (table.get(i).arid == arid)
            return true;
    return false;
}

} // namespace

long VXTraceview::getArrivalColors(long arid, int associated, VX_Color& outline, VX_Color& text, VX_Color& fill,
                                   double& linewidth)
{
    const VxTraceviewArrivalLook& look = arrivalLook();
    const bool in_force = vars.show_associations && current_associations.max() > 0;
    const QKAssociation* assoc = in_force ? findAssociation(current_associations, arid) : nullptr;
    const char* name;
    long order = 0;
    if (edit_mode != 1) {
        if (assoc) {
            name = assoc->defining ? "arrival_defining" : "arrival_nondefining";
            order = assoc->defining ? 2 : 0;
        } else if (in_force && hasStamag(current_stamags, arid)) {
            name = "arrival_magnitude";
        } else {
            name = associated ? "arrival_normal" : "arrival_nonassociated";
        }
    } else if (arrivalIsSelected(arid)) {
        name = "arrival_selected";
        order = 1;
    } else {
        const QStringList tags = getArrivalTags(arid);
        if (!tags.isEmpty()) {
            // the first tag decides: "defining" or any other
            const bool defining = tags.first() == QLatin1String("defining");
            name = defining ? "arrival_defining_tag" : "arrival_nondefining_tag";
            order = defining ? 2 : 1;
        } else if (assoc) {
            name = assoc->defining ? "arrival_defining" : "arrival_nondefining";
            order = assoc->defining ? 2 : 1;
        } else {
            name = associated ? "arrival_normal" : "arrival_nonassociated";
        }
    }
    const VxArrivalGlyph g = look.glyphs.value(QString::fromLatin1(name));
    outline = g.color_outline;
    text = g.color_text;
    fill = g.color_fill;
    linewidth = g.linewidth;
    return order;
}

long VXTraceview::getArrivalColors(const QKArrival& arrival, int associated, VX_Color& outline, VX_Color& text,
                                   VX_Color& fill, double& linewidth)
{
    return getArrivalColors(arrival.arid, associated, outline, text, fill, linewidth);
}

void VXTraceview::getDetectionColors(VX_Color& outline, VX_Color& text, VX_Color& fill, double& linewidth)
{
    const VxArrivalGlyph g = arrivalLook().glyphs.value(QStringLiteral("detection"));
    outline = g.color_outline;
    text = g.color_text;
    fill = g.color_fill;
    linewidth = g.linewidth;
}

void VXTraceview::getPredictedArrivalColors(VX_Color& outline, VX_Color& text, VX_Color& fill, double& linewidth)
{
    const VxArrivalGlyph g = arrivalLook().glyphs.value(QStringLiteral("predicted_arrival"));
    outline = g.color_outline;
    text = g.color_text;
    fill = g.color_fill;
    linewidth = g.linewidth;
}

int VXTraceview::getArrivalResidual(long arid, double& residual)
{
    const QKAssociation* found = findAssociation(current_associations, arid);
    VXTraceviewQKClient* client = selected_ev.qkclient;
    if (!found || !client)
        return 0;
    QKAssociation assoc = *found;
    Rsptr row;
    double timeres = -999.0;
    if (client->getRsptr(&assoc, &row, nullptr, nullptr, nullptr) < 0 ||
        rsgetv(row, nullptr, "timeres", &timeres, nullptr) < 0) {
        hl_clear_register(HL_CLEAR_QUIET);
        return 0;
    }
    // -999.0 is the null residual of the assoc table
    if (timeres == -999.0)
        return 0;
    residual = timeres;
    return 1;
}

// --- the view's menus and the overlays of a paint

const VxTraceArrivalMenus& VXTraceview::viewArrivalsMenus()
{
    if (arrivals_menus_parsed != vars.arrivals_menus) {
        arrivals_menus_parsed = vars.arrivals_menus;
        arrivals_menus.clear();
        if (!vars.arrivals_menus.isEmpty() && traces.size() > 0 &&
            traces.first()->parseArrivalsMenus(vars.arrivals_menus, arrivals_menus) < 0)
            hl_clear_register(1);  // logged once; no menus
    }
    return arrivals_menus;
}

void VXTraceview::clearArrivalsHash()
{
    arrivals_hash_existing = arrivals_hash;
    arrivals_hash.clear();
    arrivals_tags_hash_existing = arrivals_tags_hash;
    arrival_coords.clear();
}

void VXTraceview::drawOverlays()
{
    // While a pick is dragged its glyph holds the pointer and the drag moves
    // the glyphs itself: rebuilding them would free the grabbed glyph and
    // put the picks back where the database has them until the release.
    if (arrivals_state != 1)
        return;
    clearArrivalsHash();
    for (VXTrace* t : std::as_const(traces)) {
        if (!traces_display_list.contains(t)) {
            t->hideOverlays();
            continue;
        }
        // a fault of one overlay is logged and the others are drawn
        if (t->drawArrivals() < 0)
            hl_clear_register(1);
        if (t->drawResiduals() < 0)
            hl_clear_register(1);
        if (t->drawDetections() < 0)
            hl_clear_register(1);
        if (t->drawPredictedArrivals() < 0)
            hl_clear_register(1);
    }
}
