// Editing arrivals from the view: the undo queue and the edit modes.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"

namespace {
int notYet(const char* who)
{
    hl_register_error(0, "VXTraceview::%s: arrivals cannot be edited yet.\n", who);
    return -1;
}
}  // namespace

int VXTraceview::arrivalEditQueueUndo() { return notYet("arrivalEditQueueUndo"); }
int VXTraceview::arrivalEditQueueRedo() { return notYet("arrivalEditQueueRedo"); }
void VXTraceview::arrivalEditQueueClear() { arrival_edit_queue.clear(); }
void VXTraceview::arrivalEditQueueSetState(QString state) { arrival_edit_queue.setState(state); }
int VXTraceview::arrivalEditQueueGotoState(QString) { return notYet("arrivalEditQueueGotoState"); }
int VXTraceview::setEditMode(QString) { return notYet("setEditMode"); }
int VXTraceview::setAddArrivalsMode(QString) { return notYet("setAddArrivalsMode"); }
int VXTraceview::editSelectedArrivals(double, double, QString) { return notYet("editSelectedArrivals"); }
int VXTraceview::pasteCopyClipboard(QString, int) { return notYet("pasteCopyClipboard"); }
