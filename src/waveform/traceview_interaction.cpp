// The pointer and the keys on a trace view; selecting events and origins.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"

int VXTraceview::getEvent(QString, QString& output)
{
    output.clear();
    hl_register_error(0, "VXTraceview::getEvent: events cannot be selected yet.\n");
    return -1;
}

int VXTraceview::getOrigin(QString, QString& output, int)
{
    output.clear();
    hl_register_error(0, "VXTraceview::getOrigin: origins cannot be selected yet.\n");
    return -1;
}

int VXTraceview::setInteraction(QString)
{
    hl_register_error(0, "VXTraceview::setInteraction: not available yet.\n");
    return -1;
}
