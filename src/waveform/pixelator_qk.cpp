// VXPixelator: reading waveform rows behind the event service (type 1).
//
// Two roads lead from a row to columns.  The plain one loads the samples of
// the row that fall in the buffer, reduces them and frees them
// (getTraceQk).  The cached one keeps the decoded samples of the whole row
// in the process's sample cache with their min/max index and reduces the
// buffer's part from memory, so that moving the grid over data already
// seen reads nothing.  Both give the same columns, bit for bit: the cached
// road picks the samples a reader returns for the window (those whose time
// lies in the window, by VXPixelatorReader's rules)
// and folds them in the same order.  The cached road is taken while the
// cache's budget is not 0 and the row's samples fit in a quarter of it.
#include "toolkit/base/errors.h"
#include "toolkit/waveio/wfgap.h"
#include "waveform/pixelator.h"
#include "waveform/pixelator_services_p.h"
#include "waveform/samplecache_p.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

void pixelator_find_good_seg(const float* data, long nsamp, long start, float bad_value, long* is, long* ie)
{
    *is = -10;
    *ie = -10;
    long i = start;
    while (i < nsamp && data[i] == bad_value)
        i++;
    if (i >= nsamp)
        return;
    *is = i;
    if (bad_value == WF_GAP_VALUE) {
        i = vx_next_gap(data, i, nsamp);  // the usual marker: a chunk at a time
    } else {
        while (i < nsamp && data[i] != bad_value)
            i++;
    }
    *ie = i - 1;
}

namespace {

// The most samples of one row the pixelator takes: what an int counts in
// bytes.
constexpr long max_row_samples = INT_MAX / 4;

bool row_fits_cache(const VxPixelatorRecord& row, double t0, double t1, size_t budget)
{
    // the window's samples three times over (a window's width kept on each
    // side) or the whole row, with about 0.3 floats of index each, within a
    // quarter of the budget
    if (budget == 0 || row.nsamp < 1 || row.nsamp > max_row_samples || !(row.samprate > 0.0) ||
        !std::isfinite(row.time) || !std::isfinite(row.endtime))
        return false;
    const double seconds = std::min(t1, row.endtime) - std::max(t0, row.time);
    const double samples = std::min(static_cast<double>(row.nsamp), 3.0 * (std::max(0.0, seconds) * row.samprate + 2.0));
    return samples * 4.0 * 1.3 <= static_cast<double>(budget / 4);
}

} // namespace

void VXPixelator::addQk(VxPixelatorSource* source)
{
    if (npixels_total < 1 || !(dtperpixel > 0.0))
        return;
    const double t0 = tstart + toffset;
    const double t1 = t0 + dtperpixel * npixels_total;
    VXPixelatorReader* reader = source->ev.reader;
    if (!reader)
        return;
    QList<VxPixelatorRecord> rows;
    if (reader->getWfdiscs(pixelatorStation(), pixelatorChannel(), t0, t1, source->ev.calib_from_db, rows) < 0) {
        hl_clear_register(0);
        return;
    }
    // rows whose samples the cache can hold go the cached road, the others
    // the plain one
    const size_t budget = VxSampleCache::instance().budget();
    QList<VxPixelatorRecord> plain;
    QList<VxPixelatorRecord> cached;
    for (const VxPixelatorRecord& row : rows)
        (row_fits_cache(row, t0, t1, budget) ? cached : plain).append(row);
    if (!cached.isEmpty()) {
        source->ev.ev_sc_wfdiscs = cached;
        addCached(source, t0, t1);
    }
    source->ev.ev_sc_wfdiscs = plain;
    if (!plain.isEmpty()) {
        QList<VxPixelatorTrace> traces;
        if (getTraceQk(source, t0, t1, 3, traces) < 0) {
            hl_clear_register(0);
            clearAllocations();
            source->ev.ev_sc_wfdiscs = rows;
            setStats();
            return;
        }
        for (const VxPixelatorTrace& trace : traces) {
            if (!trace.data)
                continue;
            for (const VxPixelatorTraceSegment& run : trace.segments) {
                if (run.data_type != 4)
                    continue;
                const float* data = trace.data + run.samp0;
                double stime = trace.tstart + run.samp0 * trace.dt;
                stime -= toffset;
                for (const auto& [a, b] : ungapTraceDataArray(run.nsamp, data))
                    if (addSegment(source, stime + a * trace.dt, b - a, trace.dt, trace.calib, trace.data_type, data + a,
                                   0) < 0)
                        hl_clear_register(0);
            }
        }
    }
    source->ev.ev_sc_wfdiscs = rows;
    setStats();
    clearAllocations();
}

namespace {

// An entry's index and runs made from the pieces of its load, while each
// piece is still in the processor's cache, instead of in two more passes
// over the samples once they are all in memory.
struct PieceIndexer
{
    VxCachedRecord* record = nullptr;
    VxGapRuns runs;
    long total = -1;  // the count the pieces were indexed for; -1 when the index is not usable
    long next = 0;    // the first sample of the piece to come

    static void sink(const float* samples, long first, long count, long total, void* context)
    {
        auto* self = static_cast<PieceIndexer*>(context);
        if (first == 0) {
            self->total = self->record->index.begin(total) < 0 ? -1 : total;
            self->runs = VxGapRuns();
            self->next = 0;
        }
        // pieces out of order or of another count leave the index to be
        // built again from the whole
        if (self->total != total || first != self->next) {
            self->total = -1;
            return;
        }
        const bool has_gap = self->record->index.addPiece(samples, first, count);
        self->runs.addPiece(samples, first, count, has_gap);
        self->next = first + count;
    }

    // true when the pieces indexed are the n samples of the entry
    bool complete(long n) const { return total == n && next == n && n > 0; }
};

// Load the row's samples [lo, hi) through the reader; the count it gave in
// *got.  With indexer, the pieces go through it as they are read.  Negative
// on failure.
int load_range(VXPixelatorReader* reader, const VxPixelatorRecord& row, long lo, long hi, VxSampleArray& out,
               long* got, PieceIndexer* indexer = nullptr)
{
    // with the pieces, the samples go into out's array when it has one
    float* data = indexer ? out.release() : nullptr;
    double ts = 0.0, te = 0.0;
    long n = 0;
    const double t0 = VXPixelatorReader::sampleTime(row, lo), t1 = VXPixelatorReader::sampleTime(row, hi);
    const int ret = indexer ? reader->loadPieces(row, t0, t1, &data, &ts, &te, &n, &PieceIndexer::sink, indexer)
                            : reader->load(row, t0, t1, &data, &ts, &te, &n);
    if (ret < 0 || (ts == 0.0 && te == 0.0) || n < 0 || n > hi - lo) {
        free(data);
        return -1;
    }
    // the reader's array is kept as it is when the entry starts with it
    const bool had = data != nullptr;
    if (!out.take(data, static_cast<size_t>(n)))
        return -1;
    *got = had ? n : 0;
    return 0;
}

} // namespace

void VXPixelator::addCached(VxPixelatorSource* source, double t0, double t1)
{
    // A row's entry holds a range of its samples: what was asked for, with
    // a window's width on either side so that a pan or a zoom out by 2
    // stays inside.  A request outside it loads only the samples missing
    // from the entry and makes a new entry of the union.
    VxSampleCache& cache = VxSampleCache::instance();
    VXPixelatorReader* reader = source->ev.reader;
    const size_t most = cache.budget() / 4;
    for (const VxPixelatorRecord& row : source->ev.ev_sc_wfdiscs) {
        if (t0 != 0.0 && t0 > row.endtime)
            continue;
        if (t1 != 0.0 && t1 < row.time)
            continue;
        if (row.file_state <= 0)
            continue;
        const double dt = 1.0 / row.samprate;
        const long nrow = row.nsamp;
        // the window as the plain road asks the reader for it, and the
        // samples the reader gives for it
        const double a = (t0 != 0.0 && row.time < t0) ? t0 : row.time;
        const double b = ((t1 != 0.0 && row.endtime > t1) ? t1 : row.endtime) + 0.1 * dt;
        const long i0 = VXPixelatorReader::firstIndexAt(row, a);
        const long i1 = VXPixelatorReader::firstIndexAt(row, b);
        if (i1 <= i0)
            continue;
        std::shared_ptr<const VxCachedRecord> rec = cache.find(row.key);
        if (!rec || i0 < rec->base || i1 > rec->covered) {
            const long width = i1 - i0;
            const long lo = std::max(0L, i0 - width), hi = std::min(nrow, i1 + width);
            std::shared_ptr<VxCachedRecord> made = cache.newRecord();
            made->key = row.key;
            bool join = rec && rec->base <= hi && rec->covered >= lo &&
                        static_cast<double>(std::max(hi, rec->covered) - std::min(lo, rec->base)) * 5.2 <=
                            static_cast<double>(most);
            long got = 0;
            int ret = 0;
            if (join) {
                // only what the entry lacks is read
                made->base = std::min(lo, rec->base);
                if (made->base < rec->base) {
                    ret = load_range(reader, row, made->base, rec->base, made->samples, &got);
                    join = ret == 0 && got == rec->base - made->base;
                }
                if (join) {
                    if (!made->samples.append(rec->samples.data(), rec->samples.size()))
                        ret = -1;
                    // an entry that the reader gave fewer samples than asked
                    // ends where the row's samples end: nothing follows it
                    const bool ended = rec->base + static_cast<long>(rec->samples.size()) < rec->covered;
                    made->covered = ended ? rec->covered : std::max(hi, rec->covered);
                    if (ret == 0 && !ended && hi > rec->covered)
                        ret = load_range(reader, row, rec->covered, hi, made->samples, &got);
                }
            }
            PieceIndexer indexer;
            if (!join && ret == 0) {
                // into the memory of a row evicted earlier, when there is one
                const size_t room = sizeof(VxCachedRecord) + static_cast<size_t>(hi - lo) * sizeof(float) +
                                    VxSampleIndex::bytesFor(hi - lo);
                if (std::shared_ptr<VxCachedRecord> spare = cache.makeRoom(room)) {
                    spare->key = made->key;
                    made = std::move(spare);
                } else {
                    made->samples.clear();
                }
                made->base = lo;
                made->covered = hi;
                indexer.record = made.get();
                ret = load_range(reader, row, lo, hi, made->samples, &got, &indexer);
            }
            if (ret < 0) {
                // as the plain road: a failed read ends the reading
                hl_clear_register(0);
                return;
            }
            const long size = static_cast<long>(made->samples.size());
            if (indexer.record && indexer.complete(size)) {
                made->index.finish(made->samples.data());
                indexer.runs.finish(size);
                made->runs = std::move(indexer.runs.runs);
            } else {
                made->index.build(made->samples.data(), size);
                made->runs = ungapTraceDataArray(static_cast<int>(size), made->samples.data());
            }
            rec = cache.insert(std::move(made));
        }
        // the window's samples that the entry holds, in entry indices
        const long e0 = i0 - rec->base;
        const long e1 = std::min(i1 - rec->base, static_cast<long>(rec->samples.size()));
        if (e1 <= e0)
            continue;
        // times as the plain road makes them: the window's first sample,
        // then the run's first sample within it
        const double tw = VXPixelatorReader::sampleTime(row, i0);
        for (const auto& [ra, rb] : rec->runs) {
            const long s = std::max<long>(ra, e0);
            const long e = std::min<long>(rb, e1);
            if (e <= s)
                continue;
            double stime = tw + (s - e0) * dt;
            stime -= toffset;
            if (filter_string.isEmpty() || filter_string == "none") {
                reduceBulk(source, stime + 0 * dt, e - s, dt, row.calib, row.segtype, rec->samples.data() + s,
                           &rec->index, s);
            } else if (addSegment(source, stime + 0 * dt, static_cast<int>(e - s), dt, row.calib, row.segtype,
                                  rec->samples.data() + s, 0) < 0) {
                hl_clear_register(0);
            }
        }
    }
}

int VXPixelator::getTraceQk(VxPixelatorSource* source, double ts, double te, int read_flags,
                            QList<VxPixelatorTrace>& traces)
{
    float bad_value = 0.0f;
    wffill_gap(&bad_value, 1);
    traces.clear();
    VXPixelatorReader* reader = source->ev.reader;
    if (!reader) {
        hl_register_error(0, "VXPixelator::getTraceQk: No waveform reader.\n");
        return -1;
    }
    for (const VxPixelatorRecord& row : source->ev.ev_sc_wfdiscs) {
        if (ts != 0.0 && ts > row.endtime)
            continue;
        if (te != 0.0 && te < row.time)
            continue;
        VxPixelatorTrace trace;
        trace.db = row;
        trace.tstart = (ts != 0.0 && row.time < ts) ? ts : row.time;
        trace.tend = (te != 0.0 && row.endtime > te) ? te : row.endtime;
        trace.calib = row.calib;
        trace.calper = row.calper;
        trace.nsamp = row.nsamp;
        pixelator_copy_text(trace.data_type, sizeof trace.data_type, row.segtype);
        // a row without a usable rate or times has no samples to give
        trace.dt = row.samprate > 0.0 ? 1.0 / row.samprate : 0.0;
        const bool usable = trace.dt > 0.0 && std::isfinite(trace.dt) && std::isfinite(row.time) &&
                            std::isfinite(row.endtime);
        const int nsamp = static_cast<int>(std::clamp<long>(row.nsamp, 0, INT_MAX));
        trace.segments.append({0, nsamp, 1});
        if (read_flags == 0 || !usable) {
            trace.segments.append({0, nsamp, 1});
            traces.append(trace);
            continue;
        }
        if (row.file_state <= 0) {
            trace.segments.append({0, nsamp, 2});
            traces.append(trace);
            continue;
        }
        if (read_flags == 1) {
            trace.segments.append({0, nsamp, 1});
            traces.append(trace);
            continue;
        }
        float* data = nullptr;
        double rts = 0.0, rte = 0.0;
        long n = 0;
        const int ret = reader->load(row, trace.tstart, trace.tend + 0.1 * trace.dt, &data, &rts, &rte, &n);
        if (ret < 0) {
            hl_register_error(0, "VXPixelator::getTraceQk: wfload() returns %d.", ret);
            free(data);
            return -1;
        }
        if (rts == 0.0 && rte == 0.0) {
            hl_register_error(0, "VXPixelator::getTraceQk: wfload() problem with data.\n");
            free(data);
            return -1;
        }
        if (n > max_row_samples || n < 0) {
            hl_register_error(0, "VXPixelator::getTraceQk: %ld samples in one row, at most %ld.\n", n,
                              max_row_samples);
            free(data);
            return -1;
        }
        trace.tstart = rts;
        trace.tend = rte;
        trace.nsamp = n;
        long start = 0;
        if (data) {
            for (;;) {
                long is = 0, ie = 0;
                pixelator_find_good_seg(data, n, start, bad_value, &is, &ie);
                if (is < 0)
                    break;
                if (is > start)
                    trace.segments.append({static_cast<int>(start), static_cast<int>(is - start), 3});
                trace.segments.append({static_cast<int>(is), static_cast<int>(ie - is + 1), 4});
                start = ie + 1;
                if (ie >= n - 1)
                    break;
            }
        }
        if (start != 0 && start < n)
            trace.segments.append({static_cast<int>(start), static_cast<int>(n - start), 3});
        else if (start == 0)
            trace.segments.append({0, static_cast<int>(n), 3});
        if (n >= 1 && data) {
            trace.data = data;
            trace.data_size = static_cast<int>(n * 4);
            allocations.append(data);
        } else {
            free(data);
        }
        traces.append(trace);
    }
    return static_cast<int>(traces.size());
}
