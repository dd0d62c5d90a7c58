// VXDbTableview's column keys: column_names and column_definitions, and the
// checked printf formatting of cell values.
#include "views/dbtableview.h"

#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"
#include "toolkit/base/strings.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

enum { IX_COLUMN_NAMES = 0, IX_COLUMN_DEFINITIONS = 1 };

// Keys of a column definition besides source, in the order they are read.
const char* const optional_keys[] = {"sort", "label", "text_template", "format", "alignment"};

int parseColumns(HL_ConfigureSpec* spec, HL_ClientData, const char* value, char*, int offset, void* object_ptr)
{
    VXDbTableview* view = static_cast<VXDbTableview*>(object_ptr);
    const int ret = offset == IX_COLUMN_NAMES ? view->parseColumnNames(value) : view->parseColumnDefinitions(value);
    if (ret < 0)
        return -1;
    spec->specFlags |= HL_SPEC_CHANGED;
    return 0;
}

char* printColumns(HL_ConfigureSpec*, HL_ClientData, char*, int offset, void* object_ptr)
{
    const VXDbTableview* view = static_cast<VXDbTableview*>(object_ptr);
    QString text;
    if (offset == IX_COLUMN_NAMES) {
        text = QStringLiteral("column_names &Tbl{\n");
        for (const QString& name : view->collist)
            text += QStringLiteral("    @Literal ") + name + QLatin1Char('\n');
    } else {
        text = QStringLiteral("column_definitions &Arr{\n");
        for (auto it = view->colhash.constBegin(); it != view->colhash.constEnd(); ++it) {
            text += QStringLiteral("    ") + it.key() + QStringLiteral(" &Arr{\n");
            for (auto f = it.value().constBegin(); f != it.value().constEnd(); ++f)
                text += QStringLiteral("        @Literal ") + f.key() + QLatin1Char(' ') + f.value() + QLatin1Char('\n');
            text += QStringLiteral("    }\n");
        }
    }
    text += QStringLiteral("}\n");
    return strdup(text.toUtf8().constData());
}

HL_CustomOption opt_columns = {parseColumns, printColumns, nullptr};

HL_ConfigureSpec dbtableview_specs[] = {
    {"custom", "column_names", nullptr, IX_COLUMN_NAMES, 0, &opt_columns},
    {"custom", "column_definitions", nullptr, IX_COLUMN_DEFINITIONS, 0, &opt_columns},
    {"end", nullptr, nullptr, 0, 0, nullptr},
};

// Split on ";" outside single or double quotes (a backslash escapes inside
// quotes, as in expressions).
QStringList splitParts(const QString& text)
{
    QStringList parts;
    QString part;
    QChar quote;
    for (qsizetype i = 0; i < text.size(); i++) {
        const QChar c = text[i];
        if (!quote.isNull()) {
            part += c;
            if (c == QLatin1Char('\\') && i + 1 < text.size())
                part += text[++i];
            else if (c == quote)
                quote = QChar();
        } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            quote = c;
            part += c;
        } else if (c == QLatin1Char(';')) {
            parts.append(part);
            part.clear();
        } else {
            part += c;
        }
    }
    parts.append(part);
    return parts;
}

// The one conversion of a format.
struct Conversion
{
    int count = 0;      // conversions found: 0 or 1 for a good format
    qsizetype start = -1;
    qsizetype end = -1; // one past the conversion letter
    char letter = 0;
    QString spec;       // flags, width and precision, without length letters
};

// Scan format; false for anything but text, "%%" and at most one safe
// conversion.
bool scanFormat(const QString& format, Conversion* conv)
{
    const QByteArray f = format.toUtf8();
    const qsizetype n = f.size();
    for (qsizetype i = 0; i < n; i++) {
        if (f[i] != '%')
            continue;
        if (i + 1 < n && f[i + 1] == '%') {
            i++;
            continue;
        }
        const qsizetype start = i++;
        QString spec;
        while (i < n && strchr("-+ #0", f[i]))
            spec += QLatin1Char(f[i++]);
        int digits = 0;
        while (i < n && f[i] >= '0' && f[i] <= '9' && digits < 4) {
            spec += QLatin1Char(f[i++]);
            digits++;
        }
        if (digits > 3)
            return false;
        if (i < n && f[i] == '.') {
            spec += QLatin1Char(f[i++]);
            digits = 0;
            while (i < n && f[i] >= '0' && f[i] <= '9' && digits < 4) {
                spec += QLatin1Char(f[i++]);
                digits++;
            }
            if (digits > 3)
                return false;
        }
        // length letters are dropped: the value is passed at its own width
        int length = 0;
        while (i < n && (f[i] == 'l' || f[i] == 'h') && length < 2) {
            i++;
            length++;
        }
        if (i >= n || !strchr("diouxXceEfFgGaAs", f[i]) || f[i] == '\0')
            return false;
        if (++conv->count > 1)
            return false;
        conv->start = start;
        conv->end = i + 1;
        conv->letter = f[i];
        conv->spec = spec;
    }
    return true;
}

QString defaultText(const Rsvalue& value, int kind)
{
    switch (kind) {
    case RSEX_BOOLEAN:
        return value.i ? QStringLiteral("true") : QStringLiteral("false");
    case RSEX_INTEGER:
        return QString::asprintf("%ld", value.i);
    case RSEX_REAL:
        return QString::asprintf("%.6lf", value.d);
    case RSEX_TIME:
        return QString::asprintf("%lf", value.d);
    case RSEX_STRING:
        return QString::fromUtf8(value.s, static_cast<qsizetype>(strnlen(value.s, sizeof value.s)));
    default:
        return QString();
    }
}

long asLong(const Rsvalue& value, int kind)
{
    switch (kind) {
    case RSEX_BOOLEAN:
    case RSEX_INTEGER:
        return value.i;
    case RSEX_REAL:
    case RSEX_TIME: {
        const double d = value.d;
        if (!std::isfinite(d))
            return 0;
        if (d >= static_cast<double>(LONG_MAX))
            return LONG_MAX;
        if (d <= static_cast<double>(LONG_MIN))
            return LONG_MIN;
        return static_cast<long>(d);
    }
    case RSEX_STRING:
        return strtol(value.s, nullptr, 0);
    default:
        return 0;
    }
}

double asDouble(const Rsvalue& value, int kind)
{
    switch (kind) {
    case RSEX_BOOLEAN:
    case RSEX_INTEGER:
        return static_cast<double>(value.i);
    case RSEX_REAL:
    case RSEX_TIME:
        return value.d;
    case RSEX_STRING:
        return fixed_strtod(value.s, nullptr);
    default:
        return 0.0;
    }
}

// snprintf of one value through a checked format, sized first.
template <typename T>
QString printOne(const QByteArray& format, T v)
{
    const int n = snprintf(nullptr, 0, format.constData(), v);
    if (n < 0)
        return QString();
    std::vector<char> buffer(static_cast<size_t>(n) + 1);
    snprintf(buffer.data(), buffer.size(), format.constData(), v);
    return QString::fromUtf8(buffer.data(), n);
}

}  // namespace

void VXDbTableview::registerColumnKeys()
{
    setConfigureSpecs(dbtableview_specs, reinterpret_cast<char*>(&params), "VXDbTableview", this, 0);
}

int VX_DbFormatIsSafe(const QString& format)
{
    Conversion conv;
    return scanFormat(format, &conv) ? 1 : 0;
}

QString VX_DbFormatValue(const Rsvalue& value, int kind, const QString& format)
{
    Conversion conv;
    if (format.isEmpty() || !scanFormat(format, &conv))
        return defaultText(value, kind);
    QByteArray f = format.toUtf8();
    if (conv.count == 0) {
        // text only: "%%" stands for "%"
        return QString::fromUtf8(f).replace(QStringLiteral("%%"), QStringLiteral("%"));
    }
    // the conversion rewritten at the width of the value passed
    QByteArray c = "%" + conv.spec.toLatin1();
    const QByteArray head = f.left(conv.start);
    const QByteArray tail = f.mid(conv.end);
    switch (conv.letter) {
    case 'd': case 'i': case 'o': case 'u': case 'x': case 'X':
        return printOne(head + c + "l" + conv.letter + tail, asLong(value, kind));
    case 'c':
        return printOne(head + c + "c" + tail, static_cast<int>(static_cast<unsigned char>(asLong(value, kind))));
    case 's': {
        const QByteArray text = defaultText(value, kind).toUtf8();
        return printOne(head + c + "s" + tail, text.constData());
    }
    default:
        return printOne(head + c + conv.letter + tail, asDouble(value, kind));
    }
}

VxDbColumn VX_DbColumn(const QHash<QString, QString>& definition)
{
    VxDbColumn col;
    col.source = splitParts(definition.value(QStringLiteral("source")));
    col.sort = definition.value(QStringLiteral("sort"));
    col.label = definition.value(QStringLiteral("label"));
    col.text_template = definition.value(QStringLiteral("text_template"));
    const QString format = definition.value(QStringLiteral("format"));
    if (!format.isEmpty())
        col.format = format.split(QLatin1Char(';'));
    col.alignment = definition.value(QStringLiteral("alignment"));
    return col;
}

int VXDbTableview::parseColumnNames(const char* value)
{
    const char* text = value ? value : "";
    Kv* kv = nullptr;
    if (kvcompile(text, &kv) < 0) {
        hl_register_error(0, "tableview_parse_coltbl: kvcompile(%s) error.\n", text);
        return -1;
    }
    Tbl* rows = nullptr;
    if (kvparam(kv, "column_names", KV_TBL_STRINGS, 1, &rows) < 0) {
        kvfree(kv);
        hl_register_error(0, "tableview_parse_coltbl: kvparam(column_names) error.\n");
        return -1;
    }
    QStringList names;
    for (long i = 0; i < seqcount(rows) && names.size() < VX_TABLEVIEW_MAX_COLUMNS; i++) {
        const QString row = QString::fromUtf8(static_cast<const char*>(seqget(rows, i))).trimmed();
        if (!row.isEmpty() && !row.startsWith(QLatin1Char('#')))
            names.append(row);
    }
    seqfree(rows, free);
    kvfree(kv);
    collist = names;
    setTable();
    return 0;
}

int VXDbTableview::parseColumnDefinitions(const char* value)
{
    const char* text = value ? value : "";
    Kv* kv = nullptr;
    if (kvcompile(text, &kv) < 0) {
        hl_register_error(0, "tableview_parse_colarr: kvcompile(%s) error.\n", text);
        return -1;
    }
    Kv* arr = nullptr;
    if (kvparam(kv, "column_definitions", KV_ARR, 1, &arr) < 0) {
        kvfree(kv);
        hl_register_error(0, "tableview_parse_colarr: kvparam(column_definitions) error.\n");
        return -1;
    }
    // definitions are checked on the first record of a view that has one
    long count = 0;
    const bool check = rsquery(db, RS_RECORD_COUNT, &count) == 0 && count > 0;
    Rsptr first = db;
    first.field = RS_ALL;
    first.record = 0;

    QHash<QString, QHash<QString, QString>> columns;
    Tbl* names = kvkeys(arr);
    const long n = seqcount(names);
    auto fail = [&]() {
        seqfree(names, nullptr);
        kvfree(kv);
        return -1;
    };
    for (long i = 0; i < n && i < VX_TABLEVIEW_MAX_COLUMNS; i++) {
        const char* name = static_cast<const char*>(seqget(names, i));
        Kv* block = nullptr;
        if (kvparam(arr, name, KV_ARR, 1, &block) < 0) {
            hl_register_error(0, "tableview_parse_colarr: kvparam(column_definitions:%s) error.\n", name);
            return fail();
        }
        QHash<QString, QString> definition;
        char* source = nullptr;
        if (kvparam(block, "source", KV_STRING, 1, &source) < 0) {
            hl_register_error(0, "tableview_parse_colarr: kvparam(column_definitions:%s:source) error.\n", name);
            return fail();
        }
        definition.insert(QStringLiteral("source"), QString::fromUtf8(source));
        free(source);
        if (check) {
            for (const QString& part : splitParts(definition.value(QStringLiteral("source")))) {
                const QByteArray expr = part.trimmed().toUtf8();
                Rsvalue result;
                if (rsex_evalstr(first, expr.constData(), RSEX_ANY, &result) < 0) {
                    hl_register_error(0, "tableview_parse_colarr: column_definitions:%s:source: rse_eval(%s) error.\n",
                                      name, expr.constData());
                    return fail();
                }
            }
        }
        for (const char* key : optional_keys) {
            char* v = nullptr;
            if (kvparam(block, key, KV_STRING, 0, &v) < 0) {
                hl_register_error(0, "tableview_parse_colarr: kvparam(column_definitions:%s:%s) error.\n", name, key);
                return fail();
            }
            if (!v)
                continue;
            const QString s = QString::fromUtf8(v);
            free(v);
            if (strcmp(key, "format") == 0) {
                for (const QString& f : s.split(QLatin1Char(';')))
                    if (!VX_DbFormatIsSafe(f)) {
                        hl_register_error(0, "tableview_parse_colarr: kvparam(column_definitions:%s:format) error.\n",
                                          name);
                        return fail();
                    }
            }
            if (strcmp(key, "sort") == 0 && check && !s.trimmed().isEmpty()) {
                const QByteArray keys_text = s.toUtf8();
                Tbl* keys = strcutwhite(keys_text.constData());
                Rsptr sorted = keys ? rssort(db, keys, 0, "vxdbtableview_check") : rsinvalid();
                seqfree(keys, free);
                if (rsisinvalid(sorted)) {
                    hl_register_error(0, "tableview_parse_colarr: column_definitions:%s:sort: rssort(%s) error.\n",
                                      name, keys_text.constData());
                    return fail();
                }
                rsfree(sorted);
            }
            definition.insert(QString::fromLatin1(key), s);
        }
        columns.insert(QString::fromUtf8(name), definition);
    }
    seqfree(names, nullptr);
    kvfree(kv);
    colhash = columns;
    setTable();
    return 0;
}
