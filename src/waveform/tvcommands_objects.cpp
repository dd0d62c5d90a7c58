// VXTraceviewCommands: the objects that act on the view: display, traces,
// arrivals, detections, event and origin.
//
// Every handler checks its words completely before it changes anything, and
// resolves a trace subset last ("selected" consumes the selection), so that
// a refused line leaves the view as it was.
#include "waveform/tvcommands.h"

#include "foundation/values.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"
#include "toolkit/events/qkserver.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"

#include <cmath>

namespace {

QByteArray msg(const QString& s)
{
    return s.toUtf8();
}

QString rest(const QStringList& words, int from)
{
    return words.mid(from).join(QLatin1Char(' '));
}

// A finite number, the whole word.
bool toNumber(const QString& word, double* value)
{
    bool ok = false;
    const double v = word.toDouble(&ok);
    if (!ok || !std::isfinite(v))
        return false;
    *value = v;
    return true;
}

// "toggle" or a boolean word.
bool isSwitchWord(const QString& word)
{
    int value = 0;
    return word == QLatin1String("toggle") || HL_ParseBoolean(word.toUtf8().constData(), &value) == 0;
}

// A time relative to now ("now", "now+1:00", "now-5m"), to base ("+1:00",
// "-10") or absolute.  false when it does not parse.
bool parseTimeArgument(const QString& text, double base, double* t)
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

} // namespace

int VXTraceviewCommands::resolve(const char* who, int copyok, QList<VXTrace*>& list, int* all)
{
    list.clear();
    const QString expr = object_subset.isEmpty() ? QStringLiteral("*") : object_subset;
    if (traceview->resolveTracesExpressions(expr, copyok, list, all) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::%s: resolveTracesExpressions() error for objects '%s' action '%s'.\n",
                          who, msg(object_name).constData(), msg(action).constData());
        printUsage();
        return -1;
    }
    return 0;
}

// --- display

int VXTraceviewCommands::displayTime(const QStringList& words, bool right)
{
    const QString text = rest(words, 2);
    const double twin = traceview->tright - traceview->tleft;
    // a relative time moves the edge it names
    const double base = right ? traceview->tright : traceview->tleft;
    double t = 0.0;
    if (!parseTimeArgument(text, base, &t)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processDisplayObject: Unable to parse time '%s'\n",
                          msg(text).constData());
        return -1;
    }
    return traceview->setTimeWindow(right ? t - twin : t, twin) < 0 ? -1 : 0;
}

int VXTraceviewCommands::processDisplayObject(QString command, QString&)
{
    const char* who = "processDisplayObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    const qsizetype n = words.size() - 2;
    auto is = [this](const char* word) { return action == QLatin1String(word); };
    auto unknownArgument = [this]() {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processDisplayObject: Unknown argument for object 'display' action "
                          "'%s'.\n",
                          msg(action).constData());
        return -1;
    };

    if (is("reset")) {
        if (n > 0)
            return unknownArgument();
        if (traceview->selected_ev.qkserver && traceview->selected_ev.qkserver->reset(0) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processDisplayObject: reset error.\n");
            return -1;
        }
        return 0;
    }
    if (is("refresh")) {
        if (n > 1 || (n == 1 && words[2] != QLatin1String("full")))
            return unknownArgument();
        traceview->refresh(n == 1 ? 1 : 0);
        return 0;
    }
    if (is("time_left") || is("time_start") || is("time_right") || is("time_end")) {
        if (n < 1)
            return wrongCount(who);
        return displayTime(words, is("time_right") || is("time_end"));
    }
    if (is("time_window")) {
        if (n < 1)
            return wrongCount(who);
        const QString text = rest(words, 2);
        double twin = 0.0;
        if (deltimeparsez(text.toUtf8().constData(), &twin) < 0 || !(twin > 0.0) || !std::isfinite(twin)) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceviewCommands::processDisplayObject: Unable to parse time window '%s'\n",
                              msg(text).constData());
            return -1;
        }
        return traceview->setTimeWindow(traceview->tleft, twin) < 0 ? -1 : 0;
    }
    if (is("time_zoom")) {
        if (n < 1)
            return wrongCount(who);
        double factor = 0.0;
        if (!toNumber(words[2], &factor) || !(factor > 0.0)) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceviewCommands::processDisplayObject: Unable to parse zoom factor '%s'\n",
                              msg(words[2]).constData());
            return -1;
        }
        double twin = traceview->tright - traceview->tleft;
        double tleft = traceview->tleft;
        if (n > 1) {
            const QString text = rest(words, 3);
            double anchor = 0.0;
            if (timeparsez(text.toUtf8().constData(), &anchor) < 0 || !std::isfinite(anchor)) {
                hl_register_error(HL_SEVERITY_NORMAL,
                                  "VXTraceviewCommands::processDisplayObject: Unable to parse time '%s'\n",
                                  msg(text).constData());
                return -1;
            }
            const double rel = twin > 0.0 ? (anchor - tleft) / twin : 0.0;
            twin *= factor;
            tleft = anchor - rel * twin;
        } else {
            twin *= factor;
        }
        return traceview->setTimeWindow(tleft, twin) < 0 ? -1 : 0;
    }
    if (is("palign") || is("show_pred") || is("batch")) {
        if (n > 1)
            return wrongCount(who);
        const QString word = n == 1 ? words[2] : QStringLiteral("toggle");
        int r;
        if (is("palign"))
            r = traceview->setPalign(word);
        else if (is("show_pred"))
            r = traceview->setShowPredictedArrivals(word);
        else
            r = traceview->setBatch(word);
        return r < 0 ? -1 : 0;
    }
    if (is("linewidth")) {
        if (n != 1)
            return wrongCount(who);
        double width = 0.0;
        if (!toNumber(words[2], &width)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processDisplayObject: cannot parse '%s'\n",
                              msg(words[2]).constData());
            return -1;
        }
        // both looks, so that the width holds in and out of edit mode
        traceview->display_parameters.main_display.linewidth = width;
        traceview->display_parameters.edit_display.linewidth = width;
        traceview->refresh(0);
        return 0;
    }
    if (is("tideafter")) {
        const QString text = rest(words, 2);
        double t = 0.0;
        if (!text.isEmpty() && !parseTimeArgument(text, traceview->tleft, &t)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processDisplayObject: Unable to parse time '%s'\n",
                              msg(text).constData());
            return -1;
        }
        // The real-time sources re-read from t through the view's tideAfter
        // once the view has real-time sources; without them there is
        // nothing to re-read.
        return 0;
    }
    if (is("clear_traces")) {
        if (n > 0)
            return unknownArgument();
        traceview->clearTraces();
        traceview->refresh(0);
        return 0;
    }
    hl_register_error(HL_SEVERITY_NORMAL,
                      "VXTraceviewCommands::processDisplayObject: Unrecognized action '%s' for object 'display'.\n",
                      msg(action).constData());
    return -1;
}

// --- traces

int VXTraceviewCommands::tracesGain(const QStringList& words)
{
    QString text = words[2];
    int op = 0;  // 0 set, 1 multiply, 2 divide
    if (text.startsWith(QLatin1Char('*')))
        op = 1;
    else if (text.startsWith(QLatin1Char('/')))
        op = 2;
    double value = 0.0;
    if (!toNumber(op ? text.mid(1) : text, &value) || (op == 2 && value == 0.0)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                          msg(text).constData());
        return -1;
    }
    auto apply = [op, value](double old) { return op == 1 ? old * value : op == 2 ? old / value : value; };
    if (object_subset.isEmpty()) {
        traceview->vars.gain = apply(traceview->vars.gain);
    } else {
        QList<VXTrace*> list;
        if (resolve("processTracesObject", 1, list, nullptr) < 0)
            return -1;
        for (VXTrace* t : std::as_const(list)) {
            // a trace without a gain of its own starts from the view's
            const double old = t->vars.gain == 0.0 ? traceview->vars.gain : t->vars.gain;
            t->vars.gain = apply(old);
        }
    }
    traceview->refresh(0);
    return 0;
}

int VXTraceviewCommands::tracesOrder(const QStringList&, bool)
{
    QList<VXTrace*> list;
    if (resolve("processTracesObject", 1, list, nullptr) < 0)
        return -1;
    for (VXTrace* t : std::as_const(traceview->traces)) {
        t->sort_order = 99999999;
        t->vars.visible = 0;
    }
    for (int i = 0; i < list.size(); i++) {
        list[i]->sort_order = i;
        list[i]->vars.visible = 1;
    }
    traceview->zoomY(0.0, 1e-6);
    traceview->refresh(0);
    return 0;
}

int VXTraceviewCommands::tracesZoom(const QStringList& words)
{
    const qsizetype n = words.size() - 2;
    if (n == 0) {
        QList<VXTrace*> list;
        if (resolve("processTracesObject", 1, list, nullptr) < 0)
            return -1;
        if (list.isEmpty())
            return 0;
        traceview->layoutTraces();
        return traceview->zoomY(list.first(), list.last()) < 0 ? -1 : 0;
    }
    double a = 0.0, b = 0.0;
    if (!toNumber(words[2], &a) || (n == 2 && !toNumber(words[3], &b))) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                          msg(rest(words, 2)).constData());
        return -1;
    }
    if (n == 1)
        return traceview->zoomY(-1.0, a) < 0 ? -1 : 0;
    bool ia = false, ib = false;
    const int first = words[2].toInt(&ia), number = words[3].toInt(&ib);
    traceview->layoutTraces();
    if (ia && ib) {
        // the first index and how many traces from it
        if (number < 1) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                              msg(words[3]).constData());
            return -1;
        }
        return traceview->zoomY(first, first + number - 1) < 0 ? -1 : 0;
    }
    // a factor about first_y
    return traceview->zoomY(b, a) < 0 ? -1 : 0;
}

int VXTraceviewCommands::tracesStart(const QStringList& words)
{
    if (words.size() == 2) {
        QList<VXTrace*> list;
        if (resolve("processTracesObject", 1, list, nullptr) < 0)
            return -1;
        if (list.isEmpty())
            return 0;
        traceview->layoutTraces();
        return traceview->panY(list.first()) < 0 ? -1 : 0;
    }
    const QString& word = words[2];
    double value = 0.0;
    if (!toNumber(word, &value)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                          msg(word).constData());
        return -1;
    }
    if (word.startsWith(QLatin1Char('+')) || word.startsWith(QLatin1Char('-'))) {
        VXViewport* vp = traceview->getViewportParent();
        return traceview->panY((vp ? vp->vars.ytop : 1.0) + value) < 0 ? -1 : 0;
    }
    bool is_int = false;
    const int index = word.toInt(&is_int);
    if (is_int) {
        traceview->layoutTraces();
        return traceview->panY(index) < 0 ? -1 : 0;
    }
    return traceview->panY(value) < 0 ? -1 : 0;
}

int VXTraceviewCommands::tracesColor(const QStringList& words, bool background)
{
    VX_Color color;
    if (words.size() > 2) {
        const QString text = rest(words, 2);
        if (VX_ParseColor(text, color) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: Cannot parse color '%s'\n",
                              msg(text).constData());
            return -1;
        }
    }
    QList<VXTrace*> list;
    if (resolve("processTracesObject", 1, list, nullptr) < 0)
        return -1;
    for (VXTrace* t : std::as_const(list)) {
        VX_Color& field = background ? t->vars.color_background : t->vars.color_foreground;
        if (color.color_name.isEmpty())
            VX_ClearColor(field);
        else
            VX_CopyColor(color, field);
    }
    traceview->refresh(0);
    return 0;
}

int VXTraceviewCommands::tracesFilter(const QStringList& words)
{
    const char* who = "processTracesObject";
    if (words.size() < 3) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processTracesObject: Need filter string for objects 'traces' action "
                          "'filter'.\n");
        printUsage();
        return -1;
    }
    int from = 2;
    double tpad = 0.0;
    bool have_tpad = false;
    if (words[2] == QLatin1String("TPAD")) {
        if (words.size() < 4 || !toNumber(words[3], &tpad) || tpad < 0.0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                              msg(words.value(3)).constData());
            return -1;
        }
        if (words.size() < 5)
            return wrongCount(who);
        have_tpad = true;
        from = 4;
    }
    const QString text = rest(words, from);
    QString filter_string, filter_label;
    if (traceview->processFilterString(text, filter_string, filter_label) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: processFilterString(%s) error.\n",
                          msg(text).constData());
        return -1;
    }
    QList<VXTrace*> list;
    int all = 0;
    if (resolve(who, 1, list, &all) < 0)
        return -1;
    if (all) {
        // the view holds a filter for every trace: no per-trace filter stays behind
        traceview->vars.filter_string = text;
        if (have_tpad)
            traceview->vars.filter_tpad = tpad;
        for (VXTrace* t : std::as_const(traceview->traces)) {
            t->vars.filter_string.clear();
            t->vars.filter_label.clear();
        }
    } else {
        // the trace's own filter, taken by its next build
        for (VXTrace* t : std::as_const(list)) {
            t->vars.filter_string = filter_string;
            t->vars.filter_label = filter_label;
            if (have_tpad)
                t->vars.filter_tpad = tpad;
        }
    }
    traceview->refresh(1);
    return 0;
}

int VXTraceviewCommands::tracesUnits(const QStringList& words)
{
    const QString word = words.value(2, QStringLiteral("source"));
    if (word != QLatin1String("source") && word != QLatin1String("counts") && word != QLatin1String("sm")) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: Unrecognized units '%s'\n",
                          msg(word).constData());
        return -1;
    }
    if (object_subset.isEmpty()) {
        traceview->vars.units = word;
    } else {
        QList<VXTrace*> list;
        if (resolve("processTracesObject", 1, list, nullptr) < 0)
            return -1;
        for (VXTrace* t : std::as_const(list)) {
            t->vars.units = word;
            t->vars.units_scale = 1.0;
        }
    }
    traceview->refresh(1);
    return 0;
}

int VXTraceviewCommands::tracesScale(const QStringList& words)
{
    const char* who = "processTracesObject";
    if (words.size() < 3)
        return wrongCount(who);
    const QString word = words[2];
    const qsizetype comma = word.indexOf(QLatin1Char(','));
    const QString mode = comma < 0 ? word : word.left(comma);
    double gain = 0.0;
    if (comma >= 0 && !toNumber(word.mid(comma + 1), &gain)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                          msg(word).constData());
        return -1;
    }
    static const char* const modes[] = {"fixed", "auto", "auto0", "autop", "auton"};
    bool known = false;
    for (const char* m : modes)
        known = known || mode == QLatin1String(m);
    if (!known) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processTracesObject: Unrecognized ampscale_mode '%s'\n",
                          msg(mode).constData());
        return -1;
    }
    double abottom = 0.0, atop = 0.0;
    if (mode == QLatin1String("fixed")) {
        if (words.size() != 5)
            return wrongCount(who);
        if (!toNumber(words[3], &abottom) || !toNumber(words[4], &atop)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                              msg(rest(words, 3)).constData());
            return -1;
        }
    } else if (words.size() != 3) {
        return wrongCount(who);
    }
    QList<VXTrace*> list;
    if (resolve(who, 1, list, nullptr) < 0)
        return -1;
    bool changed = false;
    if (gain != 0.0 && object_subset.isEmpty()) {
        traceview->vars.gain = gain;
        changed = true;
    }
    for (VXTrace* t : std::as_const(list)) {
        if (t->setScale(mode, abottom, atop) > 0)
            changed = true;
        if (gain != 0.0 && !object_subset.isEmpty()) {
            t->vars.gain = gain;
            changed = true;
        }
    }
    if (changed)
        traceview->refresh(0);
    return 0;
}

int VXTraceviewCommands::tracesConfigure(const QStringList& words)
{
    const QByteArray key = words[2].toUtf8();
    const QByteArray value = rest(words, 3).toUtf8();
    QList<VXTrace*> list;
    if (!object_subset.isEmpty() && resolve("processTracesObject", 1, list, nullptr) < 0)
        return -1;
    int r = 0;
    if (object_subset.isEmpty()) {
        r = traceview->configure(key.constData(), value.constData(), nullptr);
    } else {
        for (VXTrace* t : std::as_const(list))
            if ((r = t->configure(key.constData(), value.constData(), nullptr)) < 0)
                break;
    }
    if (r < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: 'configure' error.\n%s %s\n",
                          key.constData(), value.constData());
        return -1;
    }
    traceview->refresh(1);
    return 0;
}

int VXTraceviewCommands::processTracesObject(QString command, QString&)
{
    const char* who = "processTracesObject";
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    const qsizetype n = words.size() - 2;
    auto is = [this](const char* word) { return action == QLatin1String(word); };
    const QString word = n > 0 ? words[2] : QStringLiteral("toggle");

    // actions on the view as a whole
    if (is("maximum") || is("minimum_pixels")) {
        if (noSubset(who) < 0)
            return -1;
        if (n != 1)
            return wrongCount(who);
        bool ok = false;
        const int value = words[2].toInt(&ok);
        if (!ok) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                              msg(words[2]).constData());
            return -1;
        }
        (is("maximum") ? traceview->vars.max_traces : traceview->vars.min_pixels_traces) = value;
        traceview->refresh(0);
        return 0;
    }
    if (is("fit") || is("sta") || is("std") || is("stad") || is("stw") || is("auto_distance_sort")) {
        if (noSubset(who) < 0)
            return -1;
        if (n > 1)
            return wrongCount(who);
        if (is("fit")) {
            if (n == 0)
                return traceview->zoomY(-1.0, 1e-6) < 0 ? -1 : 0;
            return traceview->setAutoTracesFit(word) < 0 ? -1 : 0;
        }
        if (is("auto_distance_sort"))
            return traceview->setAutoDistanceSort(word) < 0 ? -1 : 0;
        int r;
        if (is("sta"))
            r = traceview->setShowTracesWithArrivals(word);
        else if (is("std"))
            r = traceview->setShowTracesWithDetections(word);
        else if (is("stad"))
            r = traceview->setShowTracesWithArrivalsOrDetections(word);
        else
            r = traceview->setShowTracesWithWaveforms(word);
        if (r < 0)
            return -1;
        traceview->autoTracesFit();
        traceview->refresh(1);
        return 0;
    }

    // actions on a subset of the traces
    if (is("gain")) {
        if (n != 1)
            return wrongCount(who);
        return tracesGain(words);
    }
    if (is("select") || is("show")) {
        if (n > 1)
            return wrongCount(who);
        if (is("show") && n == 0)
            return tracesOrder(words, true);
        if (!isSwitchWord(word)) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceviewCommands::processTracesObject: Unable to parse boolean from '%s'.\n",
                              msg(word).constData());
            return -1;
        }
        QList<VXTrace*> list;
        if (resolve(who, 1, list, nullptr) < 0)
            return -1;
        bool changed = false;
        for (VXTrace* t : std::as_const(list))
            if ((is("select") ? t->selectTrace(word) : t->showTrace(word)) > 0)
                changed = true;
        if (changed)
            traceview->refresh(0);
        return 0;
    }
    if (is("configure")) {
        if (n < 2)
            return wrongCount(who);
        return tracesConfigure(words);
    }
    if (is("dup")) {
        if (n != 0)
            return wrongCount(who);
        QList<VXTrace*> list;
        if (resolve(who, 0, list, nullptr) < 0)
            return -1;
        for (VXTrace* t : std::as_const(list)) {
            QString label = t->channel_label;
            if (traceview->duplicateTrace(label) < 0)
                return -1;
        }
        traceview->refresh(1);
        return 0;
    }
    if (is("order")) {
        if (n != 0)
            return wrongCount(who);
        return tracesOrder(words, false);
    }
    if (is("zoom")) {
        if (n > 2)
            return wrongCount(who);
        return tracesZoom(words);
    }
    if (is("start")) {
        if (n > 1)
            return wrongCount(who);
        return tracesStart(words);
    }
    if (is("stretch")) {
        if (n != 1)
            return wrongCount(who);
        double factor = 0.0;
        if (!toNumber(words[2], &factor) || !(factor > 0.0)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                              msg(words[2]).constData());
            return -1;
        }
        QList<VXTrace*> list;
        if (resolve(who, 1, list, nullptr) < 0)
            return -1;
        for (VXTrace* t : std::as_const(list))
            t->vars.stretch_height *= factor;
        traceview->refresh(0);
        return 0;
    }
    if (is("color") || is("color_background"))
        return tracesColor(words, is("color_background"));
    if (is("linewidth")) {
        if (n > 1)
            return wrongCount(who);
        double width = -1.0;  // no word: the view's width again
        if (n == 1 && (!toNumber(words[2], &width) || width < 0.0)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: cannot parse '%s'\n",
                              msg(words[2]).constData());
            return -1;
        }
        QList<VXTrace*> list;
        if (resolve(who, 1, list, nullptr) < 0)
            return -1;
        for (VXTrace* t : std::as_const(list))
            t->vars.linewidth = width;
        traceview->refresh(0);
        return 0;
    }
    if (is("filter"))
        return tracesFilter(words);
    if (is("units")) {
        if (n > 1)
            return wrongCount(who);
        return tracesUnits(words);
    }
    if (is("scale"))
        return tracesScale(words);
    hl_register_error(HL_SEVERITY_NORMAL,
                      "VXTraceviewCommands::processTracesObject: Unrecognized action '%s' for object 'traces'.\n",
                      msg(action).constData());
    return -1;
}

// --- arrivals, detections, events and origins

int VXTraceviewCommands::processArrivalsObject(QString command, QString& output)
{
    const char* who = "processArrivalsObject";
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    const qsizetype n = words.size() - 2;
    auto is = [this](const char* word) { return action == QLatin1String(word); };

    if (is("show")) {
        if (n > 1)
            return wrongCount(who);
        const QString word = n == 1 ? words[2] : QStringLiteral("toggle");
        if (!isSwitchWord(word)) {
            hl_register_error(HL_SEVERITY_NORMAL,
                              "VXTraceviewCommands::processArrivalsObject: Unable to parse boolean from '%s'.\n",
                              msg(word).constData());
            return -1;
        }
        QList<VXTrace*> list;
        if (resolve(who, 1, list, nullptr) < 0)
            return -1;
        for (VXTrace* t : std::as_const(list))
            t->showArrivals(word);
        traceview->refresh(0);
        return 0;
    }
    static const char* const known[] = {"edit_mode", "add_mode", "copy",   "paste",  "edit_queue",
                                        "phase",     "default_phase", "tag", "output", "select"};
    bool is_known = false;
    for (const char* k : known)
        is_known = is_known || is(k);
    if (!is_known) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processArrivalsObject: Unrecognized action '%s' for object 'arrivals'.\n",
                          msg(action).constData());
        return -1;
    }
    if (!object_subset.isEmpty()) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processArrivalsObject: object_subset argument not allowed for object "
                          "'arrivals' action '%s'.\n",
                          msg(action).constData());
        return -1;
    }
    if (is("edit_mode") || is("add_mode")) {
        if (n != 1)
            return wrongCount(who);
        return (is("edit_mode") ? traceview->setEditMode(words[2]) : traceview->setAddArrivalsMode(words[2])) < 0 ? -1
                                                                                                                   : 0;
    }
    if (is("select")) {
        if (n == 1 && words[2] == QLatin1String("clear")) {
            traceview->clearSelectedArrivals();
            traceview->refresh(0);
            return 0;
        }
        if (n != 2)
            return wrongCount(who);
        bool ok = false;
        const long arid = words[2].toLong(&ok);
        if (!ok) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processArrivalsObject: cannot parse '%s'\n",
                              msg(words[2]).constData());
            return -1;
        }
        if (traceview->setSelectedArrival(arid, words[3]) < 0)
            return -1;
        traceview->refresh(0);
        return 0;
    }
    if (is("copy")) {
        if (n > 1 || (n == 1 && words[2] != QLatin1String("clear")))
            return wrongCount(who);
        if (n == 1)
            traceview->clearCopyClipboard();
        else
            traceview->setCopyClipboard();
        traceview->refresh(0);
        return 0;
    }
    if (is("paste")) {
        const int dont_paste_tags = n > 0 && words[2] == QLatin1String("dont_paste_tags") ? 1 : 0;
        const QString time_string = rest(words, 2 + dont_paste_tags);
        if (time_string.isEmpty())
            return wrongCount(who);
        return traceview->pasteCopyClipboard(time_string, dont_paste_tags) < 0 ? -1 : 0;
    }
    if (is("phase") || is("default_phase")) {
        if (n != 1)
            return wrongCount(who);
        if (is("default_phase")) {
            traceview->vars.default_phase = words[2];
            return 0;
        }
        return traceview->editSelectedArrivals(-2e30, -2e30, words[2]) < 0 ? -1 : 0;
    }
    if (is("tag")) {
        if (n != 1)
            return wrongCount(who);
        const QString& tag = words[2];
        int r = 0;
        if (tag == QLatin1String("clear"))
            traceview->clearSelectedArrivalsTags();
        else if (tag == QLatin1String("clear_all"))
            traceview->clearAllTags();
        else if (tag == QLatin1String("associated"))
            r = traceview->setAssociatedArrivalsTags(1);
        else
            r = traceview->setSelectedArrivalsTags(tag, 1);
        if (r < 0)
            return -1;
        traceview->refresh(0);
        return 0;
    }
    if (is("output")) {
        if (n != 1)
            return wrongCount(who);
        if (words[2] == QLatin1String("tagged"))
            traceview->outputTaggedArrivals(output);
        else if (words[2] == QLatin1String("selected"))
            traceview->outputSelectedArrivals(output);
        else
            return wrongCount(who);
        return 0;
    }
    // edit_queue {clear | undo [all|number] | redo [all|number] | setstate name | gotostate name}
    if (n < 1)
        return wrongCount(who);
    const QString& verb = words[2];
    if (verb == QLatin1String("clear")) {
        if (n != 1)
            return wrongCount(who);
        traceview->arrivalEditQueueClear();
        return 0;
    }
    if (verb == QLatin1String("undo") || verb == QLatin1String("redo")) {
        if (n > 2)
            return wrongCount(who);
        long count = 1;
        if (n == 2) {
            bool ok = false;
            count = words[3] == QLatin1String("all") ? traceview->arrival_edit_queue.entries.size() + 1L
                                                     : words[3].toLong(&ok);
            if (words[3] != QLatin1String("all") && (!ok || count < 0)) {
                hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processArrivalsObject: cannot parse '%s'\n",
                                  msg(words[3]).constData());
                return -1;
            }
        }
        const bool undo = verb == QLatin1String("undo");
        for (long i = 0; i < count; i++)
            if ((undo ? traceview->arrivalEditQueueUndo() : traceview->arrivalEditQueueRedo()) < 0)
                return -1;
        traceview->refresh(0);
        return 0;
    }
    if (verb == QLatin1String("setstate") || verb == QLatin1String("gotostate")) {
        if (n != 2)
            return wrongCount(who);
        if (verb == QLatin1String("setstate")) {
            traceview->arrivalEditQueueSetState(words[3]);
            return 0;
        }
        return traceview->arrivalEditQueueGotoState(words[3]) < 0 ? -1 : 0;
    }
    return wrongCount(who);
}

int VXTraceviewCommands::processDetectionsObject(QString command, QString&)
{
    const char* who = "processDetectionsObject";
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    if (action != QLatin1String("show")) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processDetectionsObject: Unrecognized action '%s' for object "
                          "'detections'.\n",
                          msg(action).constData());
        return -1;
    }
    if (words.size() > 3)
        return wrongCount(who);
    const QString word = words.size() == 3 ? words[2] : QStringLiteral("toggle");
    if (!isSwitchWord(word)) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processDetectionsObject: Unable to parse boolean from '%s'.\n",
                          msg(word).constData());
        return -1;
    }
    QList<VXTrace*> list;
    if (resolve(who, 1, list, nullptr) < 0)
        return -1;
    for (VXTrace* t : std::as_const(list))
        t->showDetections(word);
    traceview->refresh(0);
    return 0;
}

int VXTraceviewCommands::processEventObject(QString command, QString& output)
{
    const char* who = "processEventObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    if (action != QLatin1String("show")) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processEventObject: Unrecognized action '%s' for object 'event'.\n",
                          msg(action).constData());
        return -1;
    }
    if (words.size() < 3) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processEventObject: Need event_string argument for object 'event' "
                          "action 'show'.\n");
        printUsage();
        return -1;
    }
    if (words.size() > 3)
        return wrongCount(who);
    return traceview->getEvent(words[2], output) < 0 ? -1 : 0;
}

int VXTraceviewCommands::processOriginObject(QString command, QString& output)
{
    const char* who = "processOriginObject";
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    if (action != QLatin1String("show")) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processOriginObject: Unrecognized action '%s' for object 'origin'.\n",
                          msg(action).constData());
        return -1;
    }
    if (words.size() < 3) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::processOriginObject: Need origin_string argument for object 'origin' "
                          "action 'show'.\n");
        printUsage();
        return -1;
    }
    if (words.size() > 3)
        return wrongCount(who);
    return traceview->getOrigin(words[2], output, 1) < 0 ? -1 : 0;
}
