// The pixelator's calls into the filter service and the event service.
//
// TODO(services): the filter service (wffilter_pkt2, release_hook) and the
// event client's waveform calls (getWfdiscs, getWfdiscPath, getRsptr,
// rsextfile_scratch, wfload_scratch, wfload_error) are being written
// alongside this code.  Until they are in the tree, these three functions
// are the only place that needs them: a filter other than "none" fails (so
// its batch is dropped, as any filter failure drops it) and a client gives
// no reader (its source shows no columns).
#include "waveform/pixelator_services_p.h"

#include "toolkit/base/errors.h"

int pixelator_filter(double*, int*, double*, float**, int*, const QString& filter, Hook**)
{
    hl_register_error(0, "pixelator_filter: No filter service to run '%s'.\n", filter.toUtf8().constData());
    return -1;
}

void pixelator_release_hook(Hook** hook)
{
    if (hook)
        *hook = nullptr;
}

VXPixelatorReader* pixelator_qk_reader(VXTraceviewQKClient*)
{
    return nullptr;
}
