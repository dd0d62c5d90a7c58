// Arrivals on traces: what one shown arrival carries, the glyph colours of
// a colour class, the arrival menus, and the undo queue of arrival edits.
//
// An arrival shown on a trace is a point of the trace's "arrivals" point
// set; VxTraceArrival keeps the record beside the point.  The view keys
// its arrivals by arid (an arid may show on several traces).
//
// Every edit of an arrival is written to the database at once; the queue
// keeps the record before and after each edit so that undo can write the
// "before" record back.  Edits made by one user action share one entry.
#pragma once

#include "foundation/values.h"
#include "toolkit/events/qkrecords.h"
#include "vxplot_export.h"

#include <QHash>
#include <QList>
#include <QString>

class VXTrace;

// No residual: the value of VxTraceArrival::residual when the arrival has none.
constexpr double kVxNoResidual = 2.12345e30;

// One arrival shown on one trace.
struct VxTraceArrival
{
    VXTrace* trace = nullptr;  // owner
    QKArrival arrival;         // the record
    VX_XYL point;              // the glyph
    VX_XYL point_residual;
    VX_XYL point_deltime;
    int index = -1;            // place in the trace's point list
    int index_arrivals_hash = -1;  // place in the hash entry of its arid
    int index_residual = -1;
    int index_deltime = -1;
    long order = 0;            // drawing order by colour class: higher drawn later
    long arid = -1;
    double time = 0.0;
    double residual = kVxNoResidual;
    double deltime = 0.0;
    double linewidth_deltime = 1.0;
    int selected = 0;
    int in_clipboard = 0;
    QString status_msg;        // text for the status line
    VX_Color status_text;
    VX_Color status_fill;
    QString gc;                // glyph settings in point syntax
};

// The glyph colours of one colour class of a display mode.
struct VxArrivalGlyph
{
    VX_Color color_outline;
    VX_Color color_fill;
    VX_Color color_text;
    double linewidth = 1.0;
};

struct VxTraceArrivalMenuItem
{
    QString label;
    QString command;  // a line of the trace view's command language
};

// The menus of the three mouse buttons: keys "left", "middle", "right".
using VxTraceArrivalMenus = QHash<QString, QList<VxTraceArrivalMenuItem>>;

// One change to one arrival.
struct VxArrivalEdit
{
    VxArrivalEdit() = default;
    VxArrivalEdit(VXTrace* trace, const QKArrival& before, const QKArrival& after);

    long arid = -1;
    double timestamp = 0.0;    // when it was made, epoch seconds
    long record_number = -1;   // row in the store
    VXTrace* trace = nullptr;  // the trace that holds it; may be gone, see VxArrivalEditQueue
    QKArrival arrival_before;
    QKArrival arrival_after;
};

// All edits of one user action, with an optional name for this point.
struct VxArrivalEditQueueEntry
{
    QString state;
    QList<VxArrivalEdit> edits;
};

// The undo queue.  current_index is the last entry applied, -1 at the
// base; entries past it can be redone until a new entry cuts them off.
class VXPLOT_EXPORT VxArrivalEditQueue
{
public:
    // A new entry of one edit; drops the entries past current_index first.
    void newEntry(VXTrace* trace, const QKArrival& before, const QKArrival& after);
    // Add an edit to the entry at current_index (a new entry when there is none).
    void appendEntry(VXTrace* trace, const QKArrival& before, const QKArrival& after);
    void clear();
    // The index of the entry named state, -1 when none.
    int findState(const QString& state) const;
    // Name the current place state, taking the name off wherever it was.
    void setState(const QString& state);
    // Forget trace: its edits keep their records but no longer point at it.
    void forgetTrace(VXTrace* trace);

    int current_index = -1;
    QString base_state;
    QList<VxArrivalEditQueueEntry> entries;
};
