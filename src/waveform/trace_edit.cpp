// Editing the arrivals of a trace through its event client.
#include "waveform/trace.h"

#include "toolkit/base/errors.h"

long VXTrace::addArrival(double, int&)
{
    hl_register_error(0, "VXTrace::addArrival: arrivals cannot be edited yet.\n");
    return -1;
}

long VXTrace::editArrival(long, double, double, QString, int&)
{
    hl_register_error(0, "VXTrace::editArrival: arrivals cannot be edited yet.\n");
    return -1;
}

long VXTrace::editArrival(const QKArrival&)
{
    hl_register_error(0, "VXTrace::editArrival: arrivals cannot be edited yet.\n");
    return -1;
}
