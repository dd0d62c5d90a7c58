// The arrivals and detections shown on the traces: selection and clipboard.
#include "waveform/traceview.h"

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
