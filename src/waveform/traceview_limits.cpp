// VXTraceview: the limit on the number of traces, and the amplitude scale
// of one trace named by its index or label.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "waveform/trace.h"

int VXTraceview::checkTracesLimit(const char* who, qsizetype count)
{
    if (count < 0 || count > VX_TRACEVIEW_MAX_TRACES - traces.size()) {
        hl_register_error(HL_SEVERITY_NORMAL,
                          "VXTraceview::%s: a view holds at most %d traces: %lld are made, %lld more asked for.\n",
                          who, VX_TRACEVIEW_MAX_TRACES, static_cast<long long>(traces.size()),
                          static_cast<long long>(count));
        return -1;
    }
    return 0;
}

int VXTraceview::setAmpScale(int index, int ampscale_mode, double ybottom, double ytop, double abottom, double atop)
{
    if (index < 0 || index >= traces.size()) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAmpScale: trace index %d does not exist.\n", index);
        return -1;
    }
    traces.at(index)->setAmpScale(ampscale_mode, ybottom, ytop, abottom, atop);
    return 0;
}

int VXTraceview::setAmpScale(QString channel_label, int ampscale_mode, double ybottom, double ytop, double abottom,
                             double atop)
{
    VXTrace* trace = channel_label_hash.value(channel_label, nullptr);
    if (!trace) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::setAmpScale: trace channel_label '%s' does not exist.\n",
                          channel_label.toUtf8().constData());
        return -1;
    }
    trace->setAmpScale(ampscale_mode, ybottom, ytop, abottom, atop);
    return 0;
}
