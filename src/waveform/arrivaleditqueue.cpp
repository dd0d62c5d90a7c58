// The undo queue of arrival edits.
#include "waveform/tracearrival.h"

#include <QDateTime>

VxArrivalEdit::VxArrivalEdit(VXTrace* trace_, const QKArrival& before, const QKArrival& after)
    : arid(after.arid >= 0 ? after.arid : before.arid),
      timestamp(static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0),
      record_number(after.recno_arrival >= 0 ? after.recno_arrival : before.recno_arrival),
      trace(trace_),
      arrival_before(before),
      arrival_after(after)
{
}

void VxArrivalEditQueue::newEntry(VXTrace* trace, const QKArrival& before, const QKArrival& after)
{
    while (entries.size() > current_index + 1)
        entries.removeLast();
    VxArrivalEditQueueEntry entry;
    entry.edits.append(VxArrivalEdit(trace, before, after));
    entries.append(entry);
    current_index = static_cast<int>(entries.size()) - 1;
}

void VxArrivalEditQueue::appendEntry(VXTrace* trace, const QKArrival& before, const QKArrival& after)
{
    if (current_index < 0 || current_index >= entries.size()) {
        newEntry(trace, before, after);
        return;
    }
    entries[current_index].edits.append(VxArrivalEdit(trace, before, after));
}

void VxArrivalEditQueue::clear()
{
    current_index = -1;
    base_state.clear();
    entries.clear();
}

int VxArrivalEditQueue::findState(const QString& state) const
{
    for (int i = 0; i < entries.size(); i++) {
        if (entries[i].state == state)
            return i;
    }
    return -1;
}

void VxArrivalEditQueue::setState(const QString& state)
{
    if (base_state == state)
        base_state.clear();
    for (VxArrivalEditQueueEntry& e : entries) {
        if (e.state == state)
            e.state.clear();
    }
    if (current_index < 0)
        base_state = state;
    else
        entries[current_index].state = state;
}

void VxArrivalEditQueue::forgetTrace(VXTrace* trace)
{
    for (VxArrivalEditQueueEntry& e : entries) {
        for (VxArrivalEdit& edit : e.edits) {
            if (edit.trace == trace)
                edit.trace = nullptr;
        }
    }
}
