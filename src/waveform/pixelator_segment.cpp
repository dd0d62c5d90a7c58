// VXPixelator: samples folded into the columns of a segment.
#include "toolkit/base/errors.h"
#include "toolkit/waveio/wfgap.h"
#include "waveform/pixelator.h"
#include "waveform/pixelator_services_p.h"
#include "waveform/samplecache_p.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

void set_segtype(VxPixelatorSegment& seg, const char* segtype)
{
    pixelator_copy_text(seg.segtype, sizeof seg.segtype, segtype);
}

// A column begun with one sample.
inline VxPixelatorPixel start_pixel(float v)
{
    VxPixelatorPixel px;
    px.npoints = 1;
    px.min = px.max = v;
    return px;
}

// One more sample into a begun column; NaN never enters the extremes.
inline void add_to_pixel(VxPixelatorPixel& px, float v)
{
    px.npoints++;
    if (std::isnan(px.min)) {
        px.min = px.max = v;
        return;
    }
    if (v < px.min)
        px.min = v;
    if (v > px.max)
        px.max = v;
}

} // namespace

QList<std::pair<int, int>> VXPixelator::ungapTraceDataArray(int nsamp, const float* data) const
{
    QList<std::pair<int, int>> pairs;
    if (!data || nsamp < 1)
        return pairs;
    float gap = 0.0f;
    wffill_gap(&gap, 1);
    // runs of good samples are found a chunk at a time; only the markers
    // themselves are stepped over one by one (NaN differs from the marker:
    // it is a sample)
    long i = 0;
    while (i < nsamp) {
        while (i < nsamp && data[i] == gap)
            i++;
        if (i >= nsamp)
            break;
        const long end = vx_next_gap(data, i, nsamp);
        pairs.append({static_cast<int>(i), static_cast<int>(end)});
        i = end;
    }
    return pairs;
}

int VXPixelator::addSegment(VxPixelatorSource* source, double t0, int nsamp, double dt, double calib,
                            const char* segtype, const float* datain, int accumulate)
{
    if (npixels_total < 1 || !(dtperpixel > 0.0) || nsamp < 1 || !source || !datain)
        return 0;
    if (!std::isfinite(t0) || !std::isfinite(dt) || !(dt > 0.0)) {
        hl_register_error(0, "VXPixelator::addSegment: Bad start time %g or sample interval %g.\n", t0, dt);
        return -1;
    }
    char code[8];
    pixelator_copy_text(code, sizeof code, segtype);

    // Append only to a segment that the samples continue at the same grid,
    // interval (1%), calibration (1%) and segment type.
    bool append = accumulate && source->segments.max() > 0 && std::fabs(t0 - source->next_time) < 0.1 * dt;
    if (append) {
        const VxPixelatorSegment& last = source->segments.get(source->segments.max() - 1);
        if (last.dtperpixel != dtperpixel || std::fabs(dt - last.dtdata) > 0.01 * last.dtdata ||
            std::fabs(calib - last.calib) > 0.01 * last.calib || strcmp(code, last.segtype) != 0)
            append = false;
    }

    // Filtering works on a copy; only the first packet of a new real-time
    // segment carries the filter's state (appending packets pass none).
    const float* data = datain;
    float* copy = nullptr;
    if (!filter_string.isEmpty() && filter_string != "none") {
        copy = static_cast<float*>(malloc(sizeof(float) * static_cast<size_t>(nsamp)));
        if (!copy) {
            hl_clear_register(0);
            return 0;
        }
        memcpy(copy, datain, sizeof(float) * static_cast<size_t>(nsamp));
        Hook** hookptr = nullptr;
        if (accumulate && !append) {
            pixelator_release_hook(&source->filter_hook);
            source->filter_hook = nullptr;
            hookptr = &source->filter_hook;
        }
        int size = nsamp;
        if (pixelator_filter(&t0, &nsamp, &dt, &copy, &size, filter_string, hookptr) < 0 || nsamp < 1 ||
            !(dt > 0.0) || !copy) {
            hl_clear_register(0);
            free(copy);
            return 0;
        }
        data = copy;
    }

    if (!accumulate) {
        reduceBulk(source, t0, nsamp, dt, calib, code, data, nullptr, 0);
        free(copy);
        return 0;
    }

    // The real-time path, sample by sample.  Samples outside the buffer,
    // which may run one buffer width past tend for a feed ahead of the view,
    // are not taken; a hole of more columns than the buffer has ends the
    // segment and the next sample begins a new one.
    const double tlo = tstart;
    const double thi = tend + (tend - tstart);
    VxPixelatorSegment seg;
    if (append)
        seg = source->segments.pop();
    auto begin_segment = [&](VxPixelatorSegment& s) {
        s.source = source;
        s.calib = calib;
        s.dtdata = dt;
        s.dtperpixel = dtperpixel;
        set_segtype(s, code);
    };
    begin_segment(seg);

    VxPixelatorPixel px;
    long last = -1;
    if (append && !seg.pixels.isEmpty()) {
        last = seg.pixels.size() - 1;
        px = seg.pixels.last();
    }
    bool first = true;
    // close the column being built: an appended segment's first close
    // overwrites its final column, every other close pushes and counts
    auto close_column = [&](bool count) {
        if (append && first) {
            if (seg.pixels.isEmpty())
                seg.pixels.append(px);
            else
                seg.pixels.last() = px;
            first = false;
        } else {
            seg.pixels.append(px);
            if (count)
                seg.npixels_used++;
        }
    };
    auto store_segment = [&]() {
        if (px.npoints != 0)
            close_column(false);
        if (!seg.pixels.isEmpty())
            source->segments.push(std::move(seg));
    };

    for (int i = 0; i < nsamp; i++) {
        const double t = t0 + i * dt;
        source->next_time = t + dt;
        if (!std::isfinite(t) || t < tlo || t > thi)
            continue;
        const float v = data[i];
        if (px.npoints == 0) {
            px = start_pixel(v);
            last = 0;
            seg.time_first_pixel = t;
            seg.nsamp_total++;
            continue;
        }
        const long col = vx_pixel_index(t, seg.time_first_pixel, seg.dtperpixel);
        if (col <= last) {
            add_to_pixel(px, v);
            last = col;  // a sample out of order moves it back
            seg.nsamp_total++;
            continue;
        }
        if (col - last - 1 > npixels_total) {
            store_segment();
            seg = VxPixelatorSegment();
            begin_segment(seg);
            append = false;
            first = true;
            px = start_pixel(v);
            last = 0;
            seg.time_first_pixel = t;
            seg.nsamp_total++;
            continue;
        }
        close_column(true);
        VxPixelatorPixel hole;
        hole.npoints = -1;
        for (long c = last + 1; c < col; c++) {
            seg.pixels.append(hole);
            seg.npixels_used++;
        }
        px = start_pixel(v);
        last = col;
        seg.nsamp_total++;
    }
    // the final column: overwritten when an appended segment gained no new
    // column, else pushed without counting
    store_segment();
    free(copy);
    return 0;
}

void VXPixelator::reduceBulk(VxPixelatorSource* source, double t0, long nsamp, double dt, double calib,
                             const char* segtype, const float* data, const VxSampleIndex* index, long offset)
{
    // The columns are those of the sample-by-sample rule with column 0 at the
    // first sample: sample i lies in column c(i) = column of (t0 + i * dt)
    // against t0, which never decreases with i.  Only columns meeting the
    // buffer [tstart, tend] are built, so the segment's column 0 is the first
    // of them and time_first_pixel moves to its left edge.
    auto col = [&](long i) { return vx_pixel_index(t0 + i * dt, t0, dtperpixel); };
    const long jlo = std::max(0L, vx_pixel_index(tstart, t0, dtperpixel));
    // the buffer has npixels_total + 1 columns at most, whatever rounding of
    // far times says
    const long jhi = std::min(vx_pixel_index(tend, t0, dtperpixel), jlo + npixels_total);
    if (jhi < jlo || col(nsamp - 1) < jlo || col(0) > jhi)
        return;
    // first sample at or after column jlo, first sample past column jhi
    auto first_at = [&](long c) {
        long lo = 0, hi = nsamp;
        while (lo < hi) {
            const long mid = lo + (hi - lo) / 2;
            if (col(mid) < c)
                lo = mid + 1;
            else
                hi = mid;
        }
        return lo;
    };
    const long ifirst = first_at(jlo);
    const long iend = first_at(jhi + 1);
    if (ifirst >= iend)
        return;
    const long cfirst = col(ifirst);
    const long clast = col(iend - 1);

    VxPixelatorSegment seg;
    seg.source = source;
    seg.calib = calib;
    seg.dtdata = dt;
    seg.dtperpixel = dtperpixel;
    set_segtype(seg, segtype);
    seg.time_first_pixel = cfirst == 0 ? t0 : t0 + cfirst * dtperpixel;
    seg.nsamp_total = static_cast<int>(iend - ifirst);
    seg.npixels_used = static_cast<int>(clast - cfirst);
    seg.pixels.resize(clast - cfirst + 1);
    VxPixelatorPixel* out = seg.pixels.data();

    const double per = dtperpixel / dt;  // samples per column, for the first guess of a column's end
    long i = ifirst;
    for (long c = cfirst; c <= clast; c++) {
        // e: the first sample past column c, guessed, then settled by the rule
        const double guess = std::ceil((c + 1) * per);
        long e = iend;
        if (c != clast && guess < static_cast<double>(iend))
            e = guess > static_cast<double>(i) ? static_cast<long>(guess) : i;
        while (e > i && col(e - 1) > c)
            e--;
        while (e < iend && col(e) <= c)
            e++;
        VxPixelatorPixel& px = out[c - cfirst];
        if (e == i) {
            px.npoints = -1;  // a hole: no sample fell here
        } else if (index) {
            index->reduce(offset + i, offset + e, px);
        } else {
            vx_fold_samples(data, i, e, px);
        }
        i = e;
    }
    source->next_time = t0 + (nsamp - 1) * dt + dt;
    source->segments.push(std::move(seg));
}
