// VXTraceviewCommands: the objects display, arrivals, detections, event and
// origin.
//
// Every handler checks its words completely before it changes anything, and
// resolves a trace subset last ("selected" consumes the selection), so that
// a refused line leaves the view as it was.
#include "waveform/tvcommands.h"

#include "foundation/values.h"
#include "toolkit/base/errors.h"
#include "toolkit/events/qkserver.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview.h"
#include "waveform/tvcommands_p.h"

#include <cmath>
#include <functional>

using namespace tvcommands;

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
        // the real-time sources re-read from t (the view takes the same
        // forms); a view without them has nothing to re-read
        return traceview->tideAfter(text) < 0 ? -1 : 0;
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
        return showOnTraces(who, words, [](VXTrace* t, const QString& word) { t->showArrivals(word); });
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
    return showOnTraces(who, words, [](VXTrace* t, const QString& word) { t->showDetections(word); });
}

// "arrivals[:traces] show [word]" and its detections twin: the word (a
// toggle when none) to each trace of the subset, then a repaint.
int VXTraceviewCommands::showOnTraces(const char* who, const QStringList& words,
                                      const std::function<void(VXTrace*, const QString&)>& show)
{
    if (words.size() > 3)
        return wrongCount(who);
    const QString word = words.size() == 3 ? words[2] : QStringLiteral("toggle");
    if (!isSwitchWord(word)) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceviewCommands::%s: Unable to parse boolean from '%s'.\n", who,
                          msg(word).constData());
        return -1;
    }
    QList<VXTrace*> list;
    if (resolve(who, 1, list, nullptr) < 0)
        return -1;
    for (VXTrace* t : std::as_const(list))
        show(t, word);
    traceview->refresh(0);
    return 0;
}

// The one action of "event" and "origin": show, with one word naming what.
int VXTraceviewCommands::processShowAction(const char* who, const char* object, const QString& command,
                                           const std::function<int(const QString&)>& show)
{
    if (noSubset(who) < 0)
        return -1;
    const QStringList words = traceview_command_words(command);
    if (needAction(who, words) < 0)
        return -1;
    if (action != QLatin1String("show")) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::%s: Unrecognized action '%s' for object '%s'.\n", who,
                          msg(action).constData(), object);
        return -1;
    }
    if (words.size() < 3) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceviewCommands::%s: Need %s_string argument for object '%s' action 'show'.\n", who,
                          object, object);
        printUsage();
        return -1;
    }
    if (words.size() > 3)
        return wrongCount(who);
    return show(words[2]) < 0 ? -1 : 0;
}

int VXTraceviewCommands::processEventObject(QString command, QString& output)
{
    return processShowAction("processEventObject", "event", command,
                             [&](const QString& word) { return traceview->getEvent(word, output); });
}

int VXTraceviewCommands::processOriginObject(QString command, QString& output)
{
    return processShowAction("processOriginObject", "origin", command,
                             [&](const QString& word) { return traceview->getOrigin(word, output, 1); });
}
