// VXPixelator: reading trace records of the record store (type 0).
#include "toolkit/base/errors.h"
#include "waveform/pixelator.h"
#include "waveform/pixelator_services_p.h"

#include <climits>

void VXPixelator::addDbtrace(VxPixelatorSource* source)
{
    if (npixels_total < 1 || !(dtperpixel > 0.0))
        return;
    Rsptr db = source->db;
    long count = 0;
    if (rsquery(db, RS_RECORD_COUNT, &count) < 0) {
        hl_clear_register(0);
        return;
    }
    if (db.record < 0 || db.record >= count)
        return;
    long is = db.record, ie = db.record + 1;
    if (pixelator_has_field(db, "bundle")) {
        Rsptr bundle{};
        if (rsgetv(db, nullptr, "bundle", &bundle, nullptr) < 0 || rsget_range(bundle, &is, &ie) < 0) {
            hl_clear_register(0);
            return;
        }
        if (ie <= is)
            return;
        db = bundle;
    }
    for (long r = is; r < ie; r++) {
        db.record = r;
        double samprate = 0.0, time = 0.0, calib = 0.0;
        long nsamp = 0;
        const float* data = nullptr;
        char segtype[RS_STRSZ] = {0};
        if (rsgetv(db, nullptr, "samprate", &samprate, "nsamp", &nsamp, "time", &time, "data", &data, "calib",
                   &calib, "segtype", segtype, nullptr) < 0) {
            hl_clear_register(0);
            return;
        }
        // the store keeps no more than an int of samples in a row; a count
        // beyond it is a bad row
        if (!data || nsamp < 1 || nsamp > INT_MAX || !(samprate > 0.0))
            continue;
        const double dt = 1.0 / samprate;
        const double stime = time - toffset;
        for (const auto& [a, b] : ungapTraceDataArray(static_cast<int>(nsamp), data)) {
            if (addSegment(source, stime + a * dt, b - a, dt, calib, segtype, data + a, 0) < 0)
                hl_clear_register(0);
        }
    }
    setStats();
}
