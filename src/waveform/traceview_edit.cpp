// Editing arrivals from the view: the undo queue, the edit modes, group
// edits and pasting the clipboard.
//
// Undo and redo write whole records back (VXTrace::editArrival(QKArrival)),
// so they are edits of the database like any other; the queue only lives in
// memory.  An entry that changes one arrival twice is undone from its last
// edit back to its first, so that the oldest "before" record is the one
// left in the database; redo goes forward in the order of making.
#include "waveform/traceview.h"

#include "items/axes.h"
#include "items/polypoint.h"
#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"
#include "waveform/trace.h"
#include "waveform/traceviewqkclient.h"

#include <cstring>

namespace {

constexpr double kNoValue = -2e30;

const char* const kCrossLight = "#a0ffffff";
const char* const kCrossRed = "#a0ff0000";
const char* const kCrossDark = "#a0000000";
const char* const kAxisColor = "#80808080";  // the time axis as init() sets it

}  // namespace

VXTrace* VXTraceview::liveTrace(VXTrace* trace, const QKArrival& arrival)
{
    // compare the pointer only: a trace deleted since the edit is not touched
    if (trace && traces.contains(trace))
        return trace;
    char sta[RS_STRSZ] = "", chan[RS_STRSZ] = "";
    for (VXTrace* t : traces) {
        VxPixelatorSource* s = t->editSource();
        if (!s)
            continue;
        Rsptr row;
        QKArrival copy = arrival;
        if (!sta[0] && (s->ev.qkclient->getRsptr(&copy, &row) < 0 ||
                        rsgetv(row, nullptr, "sta", sta, "chan", chan, nullptr) < 0))
            return nullptr;
        if (t->sta == QLatin1String(sta) && (t->chan == QLatin1String(chan) || !strcmp(chan, "-")))
            return t;
    }
    return nullptr;
}

int VXTraceview::arrivalEditQueueUndo()
{
    VxArrivalEditQueue& q = arrival_edit_queue;
    if (q.current_index < 0 || q.current_index >= q.entries.size())
        return 0;
    const QList<VxArrivalEdit> edits = q.entries[q.current_index].edits;
    for (qsizetype i = edits.size() - 1; i >= 0; i--) {
        const VxArrivalEdit& e = edits[i];
        VXTrace* trace = liveTrace(e.trace, e.arrival_before);
        if (!trace) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueUndo: No trace left to write arrival %ld.\n", e.arid);
            return -1;
        }
        if (trace->editArrival(e.arrival_before) < 0) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueUndo: Cannot write arrival %ld back.\n", e.arid);
            return -1;
        }
    }
    q.current_index = std::max(-1, q.current_index - 1);
    refresh(0);
    return 0;
}

int VXTraceview::arrivalEditQueueRedo()
{
    VxArrivalEditQueue& q = arrival_edit_queue;
    if (q.current_index + 1 >= q.entries.size())
        return 0;
    const QList<VxArrivalEdit> edits = q.entries[q.current_index + 1].edits;
    for (const VxArrivalEdit& e : edits) {
        VXTrace* trace = liveTrace(e.trace, e.arrival_after);
        if (!trace) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueRedo: No trace left to write arrival %ld.\n", e.arid);
            return -1;
        }
        if (trace->editArrival(e.arrival_after) < 0) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueRedo: Cannot write arrival %ld again.\n", e.arid);
            return -1;
        }
    }
    q.current_index++;
    refresh(0);
    return 0;
}

void VXTraceview::arrivalEditQueueClear()
{
    arrival_edit_queue.clear();
}

void VXTraceview::arrivalEditQueueSetState(QString state)
{
    arrival_edit_queue.setState(state);
}

int VXTraceview::arrivalEditQueueGotoState(QString state)
{
    VxArrivalEditQueue& q = arrival_edit_queue;
    int target;
    if (!state.isEmpty() && state == q.base_state) {
        target = -1;
    } else {
        target = q.findState(state);
        if (target < 0) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueGotoState: No state '%s' in the edit queue.\n",
                              state.toUtf8().constData());
            return -1;
        }
    }
    while (q.current_index > target) {
        if (arrivalEditQueueUndo() < 0) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueGotoState: arrivalEditQueueUndo() error.\n");
            return -1;
        }
    }
    while (q.current_index < target) {
        if (arrivalEditQueueRedo() < 0) {
            hl_register_error(0, "VXTraceview::arrivalEditQueueGotoState: arrivalEditQueueRedo() error.\n");
            return -1;
        }
    }
    return 0;
}

int VXTraceview::setEditMode(QString word)
{
    int want;
    if (word == QLatin1String("toggle")) {
        want = edit_mode ? 0 : 1;
    } else if (HL_ParseBoolean(word.toUtf8().constData(), &want) < 0) {
        hl_register_error(0, "VXTraceview::setEditMode: Unable to parse boolean from '%s'.\n",
                          word.toUtf8().constData());
        return -1;
    }
    if (want && vars.disable_edits) {
        if (word == QLatin1String("toggle"))
            hl_register_error(0, "VXTraceview::setEditMode: edit mode disabled - cannot toggle on.\n");
        else
            hl_register_error(0, "VXTraceview::setEditMode: edit mode disabled - cannot turn on.\n");
        return -1;
    }
    edit_mode = want ? 1 : 0;
    const VX_Color& grid = edit_mode ? display_parameters.edit_display.color_time_grids
                                     : display_parameters.main_display.color_time_grids;
    const QByteArray axis = grid.color.isValid() ? grid.color_name.toUtf8() : QByteArray(kAxisColor);
    if (axes)
        axes->configure("color_time_axis", axis.constData(), nullptr);
    if (edit_mode && interaction_mode == 11) {
        if (crosshairs1)
            crosshairs1->configure("color_outline", kCrossLight, nullptr);
        if (crosshairs2)
            crosshairs2->configure("color_outline", kCrossRed, nullptr);
    } else if (!edit_mode) {
        if (crosshairs2)
            crosshairs2->configure("color_outline", kCrossDark, nullptr);
    }
    refresh(0);
    return 0;
}

int VXTraceview::setAddArrivalsMode(QString word)
{
    int want;
    if (word == QLatin1String("toggle")) {
        want = interaction_mode == 11 ? 0 : 1;
    } else if (HL_ParseBoolean(word.toUtf8().constData(), &want) < 0) {
        hl_register_error(0, "VXTraceview::setAddArrivalsMode: Unable to parse boolean from '%s'.\n",
                          word.toUtf8().constData());
        return -1;
    }
    if (want) {
        if (edit_mode != 1) {
            hl_register_error(0, "VXTraceview::setAddArrivalsMode: Unable to enable add_arrivals mode.\n");
            return -1;
        }
        interaction_mode = 11;
        if (crosshairs2)
            crosshairs2->configure("color_outline", kCrossRed, nullptr);
    } else {
        interaction_mode = 0;
        if (crosshairs2)
            crosshairs2->configure("color_outline", kCrossDark, nullptr);
    }
    refresh(0);
    return 0;
}

int VXTraceview::editSelectedArrivals(double time_delta, double deltime, QString phase)
{
    const QList<long> selected = getSelectedArrivals();
    int queue_counter = 0;
    int done = 0;
    for (long arid : selected) {
        VXTrace* trace = nullptr;
        for (const VxTraceArrival& a : arrivals_hash.value(arid))
            if (a.trace && traces.contains(a.trace) && a.trace->editSource()) {
                trace = a.trace;
                break;
            }
        if (!trace) {
            hl_register_error(0, "VXTraceview::editSelectedArrivals: Arrival %ld is not on a trace.\n", arid);
            refresh(0);
            return -1;
        }
        // a failure stops the group; what was written stays
        if (trace->shiftArrival(arid, time_delta, deltime, phase, queue_counter) < 0) {
            hl_register_error(0, "VXTraceview::editSelectedArrivals: editArrival() error.\n");
            refresh(0);
            return -1;
        }
        done++;
    }
    refresh(0);
    return done;
}

int VXTraceview::pasteCopyClipboard(QString time_string, int dont_paste_tags)
{
    double time = 0.0;
    const QByteArray text = time_string.toUtf8();
    if (timeparsez(text.constData(), &time) < 0) {
        hl_register_error(0, "VXTraceview::pasteCopyClipboard: Unable to parse time '%s'\n", text.constData());
        return -1;
    }
    QList<VxTraceArrival> clip = getClipboard();  // earliest first
    if (clip.isEmpty())
        return 0;
    const double earliest = clip.first().time;
    int queue_counter = 0;
    int done = 0;
    for (VxTraceArrival& a : clip) {
        if (!a.trace || !traces.contains(a.trace)) {
            hl_register_error(0, "VXTraceview::pasteCopyClipboard: The trace of arrival %ld is gone.\n", a.arid);
            refresh(0);
            return -1;
        }
        const long arid = a.trace->addArrival(a, time + (a.time - earliest), queue_counter);
        if (arid < 0) {
            hl_register_error(0, "VXTraceview::pasteCopyClipboard: addArrival() error.\n");
            refresh(0);
            return -1;
        }
        if (!dont_paste_tags)
            for (const QString& tag : getArrivalTags(a.arid))
                setTags(arid, tag, 1);
        done++;
    }
    hl_clear_register(HL_CLEAR_QUIET);  // tags of arrivals not shown yet are not an error
    refresh(0);
    return done;
}

long VXTraceview::addArrivalAt(double x, double y)
{
    if (interaction_mode != 11 || edit_mode != 1) {
        hl_register_error(0, "VXTraceview::addArrivalAt: Not in add_arrivals mode.\n");
        return -1;
    }
    VXTrace* trace = getTrace(y, nullptr);
    if (!trace) {
        hl_register_error(0, "VXTraceview::addArrivalAt: No trace at the pointer.\n");
        return -1;
    }
    int queue_counter = 0;
    const long arid = trace->addArrival(x + trace->toffset, queue_counter);
    if (arid < 0) {
        hl_register_error(0, "VXTraceview::addArrivalAt: addArrival() error.\n");
        return -1;
    }
    refresh(0);
    return arid;
}
