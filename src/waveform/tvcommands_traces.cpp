// VXTraceviewCommands: the traces object.
//
// Each action checks its words completely before it changes anything, and
// resolves the trace subset last ("selected" consumes the selection), so
// that a refused line leaves the view and its traces as they were.
#include "waveform/tvcommands.h"

#include "foundation/values.h"
#include "toolkit/base/errors.h"
#include "toolkit/events/qkserver.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"
#include "waveform/tvcommands_p.h"

#include <cmath>

using namespace tvcommands;

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
    auto overflow = [&text]() {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::processTracesObject: gain '%s' out of range.\n",
                          msg(text).constData());
        return -1;
    };
    if (object_subset.isEmpty()) {
        const double gain = apply(traceview->vars.gain);
        if (!std::isfinite(gain))
            return overflow();
        traceview->vars.gain = gain;
    } else {
        QList<VXTrace*> list;
        if (resolve("processTracesObject", 1, list, nullptr) < 0)
            return -1;
        // a trace without a gain of its own starts from the view's
        auto old = [this](const VXTrace* t) { return t->vars.gain == 0.0 ? traceview->vars.gain : t->vars.gain; };
        for (const VXTrace* t : std::as_const(list))
            if (!std::isfinite(apply(old(t))))
                return overflow();
        for (VXTrace* t : std::as_const(list))
            t->vars.gain = apply(old(t));
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
        for (const VXTrace* t : std::as_const(list))
            if (!std::isfinite(t->vars.stretch_height * factor)) {
                hl_register_error(HL_SEVERITY_NORMAL,
                                  "VXTraceviewCommands::processTracesObject: stretch '%s' out of range.\n",
                                  msg(words[2]).constData());
                return -1;
            }
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

