// VXTraceview: the trace set, copy numbering, trace expressions and the
// sort orders.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"
#include "toolkit/geo/geo.h"
#include "waveform/trace.h"

#include <QStringList>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace {

// Split a label at its last ";": root and copy number when the rest is a
// whole decimal number, else the whole label and copy 0.
void parseLabel(const QString& label, QString& root, int& copy)
{
    const qsizetype i = label.lastIndexOf(QLatin1Char(';'));
    if (i >= 0) {
        const QString rest = label.mid(i + 1);
        bool ok = !rest.isEmpty();
        for (QChar c : rest)
            ok = ok && c.isDigit() && c.unicode() < 128;
        const int n = ok ? rest.toInt(&ok) : 0;
        if (ok) {
            root = label.left(i);
            copy = n;
            return;
        }
    }
    root = label;
    copy = 0;
}

// Station and channel of a label root "STA CHAN".
void splitRoot(const QString& root, QString& sta, QString& chan)
{
    const qsizetype blank = root.indexOf(QLatin1Char(' '));
    sta = blank < 0 ? root : root.left(blank);
    chan = blank < 0 ? QString() : root.mid(blank + 1);
}

bool isSelectedWord(const QString& s)
{
    return s == QLatin1String("selected") || s == QLatin1String("selected+");
}

} // namespace

int VXTraceview::appendNewTrace(QString channel_label)
{
    if (checkTracesLimit("appendNewTrace", 1) < 0)
        return -1;
    const qsizetype semi = channel_label.indexOf(QLatin1Char(';'));
    if (semi >= 0)
        channel_label.truncate(semi);
    auto* trace = new VXTrace(&defaults, this);
    // Every label of this root is the original's or one of its copies'
    // (roots hold no ';', and a copy goes with its original), so the
    // greatest copy number is found without walking all traces.
    int copy = 0;
    VXTrace* original = channel_label_hash.value(channel_label, nullptr);
    if (original) {
        copy = 1;
        for (VXTrace* c : std::as_const(original->copies))
            copy = std::max(copy, c->copy + 1);
    }
    QString label = channel_label;
    if (copy >= 1) {
        label = QStringLiteral("%1;%2").arg(channel_label).arg(copy);
        trace->copy = copy;
        trace->original = original;
        if (original)
            original->copies.append(trace);
    }
    splitRoot(channel_label, trace->sta, trace->chan);
    trace->setChannelLabel(label);
    trace->index = static_cast<int>(traces.size());
    trace->sort_order = static_cast<long>(traces.size());
    // the shared copy goes first, so that the append does not copy the list
    defaults.selection.traces.clear();
    traces.append(trace);
    defaults.selection.traces = traces;
    channel_label_hash.insert(label, trace);
    stachan_hash.insert(label, trace->index);
    return trace->index;
}

VXTrace* VXTraceview::getTrace(int index)
{
    if (index < 0 || index >= traces.size()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::getTrace: trace index %d does not exist.\n", index);
        return nullptr;
    }
    return traces.at(index);
}

VXTrace* VXTraceview::getTrace(QString channel_label)
{
    VXTrace* t = channel_label_hash.value(channel_label, nullptr);
    if (!t)
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::getTrace: trace channel_label '%s' does not exist.\n",
                          channel_label.toUtf8().constData());
    return t;
}

int VXTraceview::duplicateTrace(QString& channel_label)
{
    VXTrace* from = channel_label_hash.value(channel_label, nullptr);
    if (!from) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::duplicateTrace: channel_label %s does not exist.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    pthread_mutex_lock(&mutex_traces);
    const int index = appendNewTrace(channel_label);
    if (index < 0) {
        pthread_mutex_unlock(&mutex_traces);
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::duplicateTrace: appendNewTrace(%s) error.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    VXTrace* t = traces.at(index);
    const QString label = t->channel_label;
    const int copy = t->copy;
    VXTrace* original = t->original;
    const long order = t->sort_order;
    t->copyFrom(from);
    // what makes the copy itself stays its own
    t->channel_label = label;
    t->copy = copy;
    t->original = original;
    t->sort_order = order;
    pthread_mutex_unlock(&mutex_traces);
    channel_label = label;
    refresh(0);
    return index;
}

void VXTraceview::removeFromLists(VXTrace* trace)
{
    traces.removeAll(trace);
    traces_display_list.removeAll(trace);
    channel_label_hash.remove(trace->channel_label);
    if (last_trace_selected == trace)
        last_trace_selected = nullptr;
    arrival_edit_queue.forgetTrace(trace);  // undo writes records, it needs no trace
    if (trace->original)
        trace->original->copies.removeAll(trace);
    for (VXTrace* c : trace->copies)
        c->original = nullptr;
}

int VXTraceview::deleteTrace(int index)
{
    if (index < 0 || index >= traces.size()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::deleteTrace: trace index %d does not exist.\n", index);
        return -1;
    }
    pthread_mutex_lock(&mutex_traces);
    VXTrace* trace = traces.at(index);
    // A copy reads through its original's sources: the copies go with it.
    QList<VXTrace*> doomed = trace->copies;
    doomed.prepend(trace);
    for (VXTrace* t : doomed)
        removeFromLists(t);
    stachan_hash.clear();
    for (int i = 0; i < traces.size(); i++) {
        traces[i]->index = i;
        stachan_hash.insert(traces[i]->channel_label, i);
    }
    defaults.selection.traces = traces;
    defaults.selection.display_list = traces_display_list;
    traces_sorttab.clear();
    for (VXTrace* t : doomed)
        delete t;
    pthread_mutex_unlock(&mutex_traces);
    refresh(0);
    return 0;
}

int VXTraceview::deleteTrace(QString channel_label)
{
    VXTrace* t = channel_label_hash.value(channel_label, nullptr);
    if (!t) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::deleteTrace: trace channel_label '%s' does not exist.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    return deleteTrace(static_cast<int>(traces.indexOf(t)));
}

void VXTraceview::clearTraces()
{
    stopTides();  // no accumulate thread may hold a trace that goes now
    pthread_mutex_lock(&mutex_traces);
    const QList<VXTrace*> all = traces;
    traces.clear();
    traces_display_list.clear();
    traces_sorttab.clear();
    channel_label_hash.clear();
    stachan_hash.clear();
    last_trace_selected = nullptr;
    defaults.selection.traces.clear();
    defaults.selection.display_list.clear();
    defaults.selection.last_trace_selected = nullptr;
    qDeleteAll(all);
    pthread_mutex_unlock(&mutex_traces);
}

int VXTraceview::setTraces(QList<VXTrace*> list)
{
    if (list.size() != traces.size()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setTraces: %lld traces given, the view has %lld.\n",
                          static_cast<long long>(list.size()), static_cast<long long>(traces.size()));
        return -1;
    }
    traces = list;
    stachan_hash.clear();
    for (int i = 0; i < traces.size(); i++) {
        traces[i]->index = i;
        traces[i]->sort_order = i;
        stachan_hash.insert(traces[i]->channel_label, i);
    }
    defaults.selection.traces = traces;
    return 0;
}

// --- trace expressions

int VXTraceview::parseElement(const QString& element, QString& sta, QString& chan, QString& copy)
{
    const QByteArray e = element.toUtf8();
    if (element.count(QLatin1Char(':')) > 1) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::resolveTracesExpressions: expression %s error: contains more than one ':'.\n",
                          e.constData());
        return -1;
    }
    if (element.count(QLatin1Char(';')) > 1) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::resolveTracesExpression: expression %s error: contains more than one ';'.\n",
                          e.constData());
        return -1;
    }
    if (isSelectedWord(element.trimmed())) {
        hl_register_error(
            HL_SEVERITY_NORMAL,
            "VXTraceview::resolveTracesExpression: expression %s error: cannot be 'selected' or 'selected+'.\n",
            e.constData());
        return -1;
    }
    QString rest = element.trimmed();
    copy.clear();
    const qsizetype semi = rest.indexOf(QLatin1Char(';'));
    if (semi >= 0) {
        copy = rest.mid(semi + 1);
        rest.truncate(semi);
    }
    const qsizetype colon = rest.indexOf(QLatin1Char(':'));
    sta = colon >= 0 ? rest.left(colon) : rest;
    chan = colon >= 0 ? rest.mid(colon + 1) : QString();
    return 0;
}

int VXTraceview::matchLabel(const QString& sta_expression, const QString& chan_expression,
                            const QString& copy_expression, const QString& sta, const QString& chan, int copy)
{
    const QString copy_text = QString::number(copy);
    const struct
    {
        const QString& expr;
        const QString& value;
    } tests[] = {{sta_expression, sta}, {chan_expression, chan}, {copy_expression, copy_text}};
    for (const auto& t : tests) {
        if (t.expr.isEmpty() || t.expr == QLatin1String("*"))
            continue;
        const QByteArray v = t.value.toUtf8(), x = t.expr.toUtf8();
        const int m = strregmatch(v.constData(), x.constData(), &regex_hook);
        if (m < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::resolveTrace: strregmatch(%s,%s) error.\n",
                              v.constData(), x.constData());
            return -1;
        }
        if (m == 0)
            return 0;
    }
    return 1;
}

int VXTraceview::resolveTrace(const QString& sta_expression, const QString& chan_expression,
                              const QString& copy_expression, int copyok, VXTrace* trace)
{
    if (!copyok && trace->copy > 0)
        return 0;
    return matchLabel(sta_expression, chan_expression, copyok ? copy_expression : QString(), trace->sta, trace->chan,
                      trace->copy);
}

void VXTraceview::defaultSort(QList<VXTrace*>& list)
{
    std::stable_sort(list.begin(), list.end(), [](const VXTrace* a, const VXTrace* b) {
        if (a->sta != b->sta)
            return a->sta < b->sta;
        if (a->chan != b->chan)
            return a->chan < b->chan;
        return a->copy < b->copy;
    });
}

int VXTraceview::resolveTracesExpressions(QString expressions, int copyok, QList<VXTrace*>& out, int* all)
{
    const QString text = expressions.trimmed();
    QList<VXTrace*> result;
    int everything = 1;
    if (text.isEmpty() || text == QLatin1String("*")) {
        for (VXTrace* t : traces) {
            if (!copyok && t->copy > 0)
                everything = 0;
            else
                result.append(t);
        }
        defaultSort(result);
    } else if (isSelectedWord(text)) {
        for (VXTrace* t : traces)
            if (t->select_order >= 1)
                result.append(t);
        std::stable_sort(result.begin(), result.end(),
                         [](const VXTrace* a, const VXTrace* b) { return a->select_order < b->select_order; });
        everything = result.size() == traces.size();
        if (text == QLatin1String("selected")) {
            for (VXTrace* t : result)
                t->select_order = 0;
            defaults.selection.last_trace_selected = nullptr;
        }
    } else {
        const QStringList elements = text.split(QLatin1Char(','));
        // parse all first: a bad element leaves nothing half-done
        QList<QStringList> parsed;
        for (const QString& element : elements) {
            QString sta, chan, copy;
            if (parseElement(element, sta, chan, copy) < 0)
                return -1;
            parsed.append({sta, chan, copy});
        }
        for (const QStringList& p : parsed) {
            QList<VXTrace*> matched;
            for (VXTrace* t : traces) {
                if (result.contains(t))
                    continue;
                const int m = resolveTrace(p[0], p[1], p[2], copyok, t);
                if (m < 0)
                    return -1;
                if (m)
                    matched.append(t);
            }
            defaultSort(matched);
            result.append(matched);
        }
        everything = result.size() == traces.size();
    }
    out = result;
    if (all)
        *all = everything;
    return 0;
}

int VXTraceview::isMatchTracesExpressions(QString expressions, QString channel_label, int copyok)
{
    const QString text = expressions.trimmed();
    QString root, sta, chan;
    int copy;
    parseLabel(channel_label, root, copy);
    splitRoot(root, sta, chan);
    if (!copyok && copy > 0)
        return 0;
    if (text.isEmpty() || text == QLatin1String("*"))
        return 1;
    if (isSelectedWord(text))
        return 0;  // a channel without a trace is never selected
    for (const QString& element : text.split(QLatin1Char(','))) {
        QString s, c, n;
        if (parseElement(element, s, c, n) < 0)
            return -1;
        const int m = matchLabel(s, c, copyok ? n : QString(), sta, chan, copy);
        if (m != 0)
            return m;
    }
    return 0;
}

int VXTraceview::checkTracesExpressions(QString expressions, int selectedok)
{
    const QString text = expressions.trimmed();
    if (text.isEmpty() || text == QLatin1String("*"))
        return 0;
    if (isSelectedWord(text)) {
        if (selectedok)
            return 0;
        QString s, c, n;
        return parseElement(text, s, c, n);
    }
    for (const QString& element : text.split(QLatin1Char(','))) {
        QString s, c, n;
        if (parseElement(element, s, c, n) < 0)
            return -1;
        for (const QString& x : {s, c, n})
            if (!x.isEmpty() && x != QLatin1String("*") && strregmatch("", x.toUtf8().constData(), nullptr) < 0) {
                hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::resolveTrace: strregmatch(%s,%s) error.\n", "",
                                  x.toUtf8().constData());
                return -1;
            }
    }
    return 0;
}

// --- sort orders

int VXTraceview::naturalSort(int)
{
    QList<VXTrace*> list;
    if (resolveTracesExpressions(natural_sort_order_expr, 1, list, nullptr) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::naturalSort: resolveTracesExpressions() error.\n");
        return -1;
    }
    // traces that the expression leaves out follow in their present order
    for (VXTrace* t : traces)
        if (!list.contains(t))
            list.append(t);
    return setTraces(list);
}

int VXTraceview::setNaturalSortOrderExpr(QString expr)
{
    if (checkTracesExpressions(expr, 0) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::setNaturalSortOrderExpr: VXTraceview::checkTracesExpressions() error.\n");
        return -1;
    }
    natural_sort_order_expr = expr;
    pthread_mutex_lock(&mutex_traces);
    const int r = naturalSort(0);
    pthread_mutex_unlock(&mutex_traces);
    refresh(0);
    return r;
}

void VXTraceview::distanceSort()
{
    need_distance_sort = 0;
    const bool origin = defaults.olat != -999.0 && defaults.olon != -999.0;
    // rank of each trace in the natural order
    QList<VXTrace*> natural;
    if (resolveTracesExpressions(natural_sort_order_expr, 1, natural, nullptr) < 0) {
        hl_clear_register(HL_CLEAR_QUIET);
        natural.clear();
    }
    for (VXTrace* t : traces) {
        if (origin && t->lat != -999.0 && t->lon != -999.0) {
            double delta = 0.0, az = 0.0;
            geoarc(&delta, &az, defaults.olat * M_PI / 180.0, defaults.olon * M_PI / 180.0, t->lat * M_PI / 180.0,
                   t->lon * M_PI / 180.0);
            t->distance = delta * 180.0 / M_PI;
        } else {
            t->distance = 999.0;
        }
        const qsizetype rank = natural.indexOf(t);
        // distance in nano-degrees in the high digits, the natural rank in
        // the low six: equal distances keep the natural order.  Held to
        // 999 degrees so that the key stays within a long.
        const double d = std::clamp(t->distance, 0.0, 999.0);
        t->distance_sort_order =
            static_cast<long>(d * 1e9) * 1000000L + (rank < 0 ? 999999L : static_cast<long>(rank));
    }
}

void VXTraceview::makeTracesSorttab()
{
    if (need_distance_sort)
        distanceSort();
    traces_sorttab.clear();
    for (int i = 0; i < traces.size(); i++)
        traces_sorttab.append(i);
    // One key for all traces, so that the comparison is a strict weak
    // order: the distance order when every trace has one, else sort_order.
    bool by_distance = vars.auto_distance_sort;
    for (const VXTrace* t : traces)
        by_distance = by_distance && t->distance_sort_order >= 0;
    auto key = [&](const VXTrace* t) { return by_distance ? t->distance_sort_order : t->sort_order; };
    std::stable_sort(traces_sorttab.begin(), traces_sorttab.end(), [&](int ia, int ib) {
        const VXTrace* a = traces.at(ia);
        const VXTrace* b = traces.at(ib);
        const long ka = key(a), kb = key(b);
        if (ka != kb)
            return ka < kb;
        return strcmp(a->channel_label.toUtf8().constData(), b->channel_label.toUtf8().constData()) < 0;
    });
}
