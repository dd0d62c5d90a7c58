// The arrivals and detections shown on the traces: selection and clipboard.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"

#include <algorithm>

QList<long> VXTraceview::getSelectedArrivals()
{
    QList<long> arids;
    for (auto it = arrivals_hash.cbegin(); it != arrivals_hash.cend(); ++it) {
        for (const VxTraceArrival& a : it.value()) {
            if (a.selected) {
                arids.append(it.key());
                break;
            }
        }
    }
    if (temp_selection_arid >= 0 && !arids.contains(temp_selection_arid))
        arids.append(temp_selection_arid);
    return arids;
}

QList<VxTraceArrival> VXTraceview::getClipboard()
{
    QList<VxTraceArrival> clip;
    for (auto it = arrivals_hash.cbegin(); it != arrivals_hash.cend(); ++it) {
        if (!it.value().isEmpty() && it.value().first().in_clipboard)
            clip.append(it.value().first());
    }
    std::sort(clip.begin(), clip.end(),
              [](const VxTraceArrival& a, const VxTraceArrival& b) { return a.time < b.time; });
    return clip;
}

// Selection, clipboard and tags come with the arrival display.
namespace {
int notYet(const char* who)
{
    hl_register_error(0, "VXTraceview::%s: arrivals are not shown yet.\n", who);
    return -1;
}
}  // namespace

int VXTraceview::setSelectedArrival(long, QString) { return notYet("setSelectedArrival"); }
int VXTraceview::setSelectedArrival(long) { return notYet("setSelectedArrival"); }
int VXTraceview::clearSelectedArrival(long) { return notYet("clearSelectedArrival"); }
void VXTraceview::clearSelectedArrivals() {}
bool VXTraceview::arrivalIsSelected(long) { return false; }
void VXTraceview::setCopyClipboard() {}
void VXTraceview::clearCopyClipboard() {}
bool VXTraceview::arrivalIsInClipboard(long) { return false; }
int VXTraceview::setTags(long, QString, int) { return notYet("setTags"); }
int VXTraceview::setSelectedArrivalsTags(QString, int) { return notYet("setSelectedArrivalsTags"); }
int VXTraceview::setAssociatedArrivalsTags(int) { return notYet("setAssociatedArrivalsTags"); }
void VXTraceview::clearAllTags() {}
void VXTraceview::clearSelectedArrivalsTags() {}
void VXTraceview::clearTags(long) {}
QStringList VXTraceview::getArrivalTags(long) { return {}; }
void VXTraceview::outputSelectedArrivals(QString& output) { output.clear(); }
void VXTraceview::outputTaggedArrivals(QString& output) { output.clear(); }
