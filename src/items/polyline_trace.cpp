// The trace source of VXPolyline: the samples of a row of a "Trace4.x"
// trace table, or of every row of its bundle, as one line with a gap
// between rows.
#include "items/polyline.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hlvector.h"
#include "toolkit/base/lists.h"
#include "toolkit/store/recordstore.h"
#include "toolkit/waveio/wfgap.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// True when the table of db has a field of that name.
bool hasField(Rsptr db, const char* name)
{
    Tbl* fields = nullptr;
    if (rsquery(db, RS_TABLE_FIELDS, &fields) != 0 || !fields)
        return false;
    bool found = false;
    for (long i = 0; i < seqcount(fields) && !found; i++)
        found = !strcmp(static_cast<const char*>(seqget(fields, i)), name);
    seqfree(fields, nullptr);
    return found;
}

} // namespace

int VXPolyline::setSourceTrace(Rsptr trace)
{
    clearPoints();
    delete vars.plpath;
    vars.plpath = nullptr;

    long first = trace.record, last = trace.record + 1;
    if (hasField(trace, "bundle")) {
        Rsptr bundle{};
        if (rsgetv(trace, nullptr, "bundle", &bundle, nullptr) != 0 || rsget_range(bundle, &first, &last) != 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXPolyline::setSourceTrace: rsgetv() error.\n");
            return -1;
        }
    }
    if (last <= first)
        return 0;

    // count first, so that one allocation holds every row and the breaks
    long long total = 0;
    Rsptr row = trace;
    for (row.record = first; row.record < last; row.record++) {
        long nsamp = 0;
        if (rsgetv(row, nullptr, "nsamp", &nsamp, nullptr) != 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXPolyline::setSourceTrace: rsgetv() error.\n");
            return -1;
        }
        total += std::max(nsamp, 0L) + (row.record > first ? 1 : 0);
    }
    if (total > HLVECTOR_MAX_POINTS) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXPolyline::setSourceTrace: too many samples (%lld).\n", total);
        return -1;
    }
    if (total == 0)
        return 0;

    float gap = 0.0f;
    wffill_gap(&gap, 1);
    vars.gap_value = gap;

    const size_t bytes = static_cast<size_t>(total) * sizeof(double);
    double* x = static_cast<double*>(malloc(bytes));
    double* y = static_cast<double*>(malloc(bytes));
    if (!x || !y) {
        free(x);
        free(y);
        hl_register_error(HL_SEVERITY_SYSTEM, "VXPolyline::setSourceTrace: malloc error.\n");
        return -1;
    }
    long long n = 0;
    for (row.record = first; row.record < last; row.record++) {
        double samprate = 0.0, time = 0.0;
        long nsamp = 0;
        const float* data = nullptr;
        if (rsgetv(row, nullptr, "samprate", &samprate, "nsamp", &nsamp, "time", &time, "data", &data, nullptr) != 0) {
            free(x);
            free(y);
            hl_register_error(HL_SEVERITY_NORMAL, "VXPolyline::setSourceTrace: rsgetv() error.\n");
            return -1;
        }
        if (nsamp > 0 && !data) {
            free(x);
            free(y);
            hl_register_error(HL_SEVERITY_NORMAL, "VXPolyline::setSourceTrace: NULL data.\n");
            return -1;
        }
        // a rate that cannot space the samples would stack them on one time
        if (nsamp > 1 && !(samprate > 0.0 && std::isfinite(samprate))) {
            free(x);
            free(y);
            hl_register_error(HL_SEVERITY_NORMAL, "VXPolyline::setSourceTrace: bad samprate %g.\n", samprate);
            return -1;
        }
        if (row.record > first && n < total) {
            x[n] = vars.gap_value;
            y[n] = vars.gap_value;
            n++;
        }
        // nsamp cannot have grown since the count: the store's rows are
        // only changed on this thread; still, never write past the arrays
        for (long i = 0; i < nsamp && n < total; i++, n++) {
            x[n] = time + (samprate > 0.0 ? i / samprate : 0.0);
            y[n] = data[i];
        }
    }
    adoptPoints(static_cast<int>(n), x, y, static_cast<int>(total), static_cast<int>(total));
    return 0;
}
