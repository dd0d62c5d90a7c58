// VXPixelator: sources, the grid, statistics and trimming.
#include "waveform/pixelator.h"

#include "toolkit/base/errors.h"
#include "waveform/pixelator_services_p.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

pthread_mutex_t g_read_mutex = PTHREAD_MUTEX_INITIALIZER;

} // namespace

bool pixelator_has_field(Rsptr db, const char* field)
{
    Tbl* fields = nullptr;
    if (rsquery(db, RS_TABLE_FIELDS, &fields) < 0 || !fields)
        return false;
    bool found = false;
    for (long i = 0; i < seqcount(fields) && !found; i++)
        found = strcmp(static_cast<const char*>(seqget(fields, i)), field) == 0;
    seqfree(fields, nullptr);
    return found;
}

void pixelator_copy_text(char* buffer, size_t size, const char* text)
{
    const size_t n = text ? strnlen(text, size - 1) : 0;
    if (n)
        memcpy(buffer, text, n);
    memset(buffer + n, 0, size - n);
}

VxPixelatorSegment& pixelator_segment_at(Table<VxPixelatorSegment>& segments, long i)
{
    // Table hands out const references; its elements themselves are not const
    return const_cast<VxPixelatorSegment&>(segments.get(i));
}

long vx_pixel_index(double t, double t0, double dtperpixel)
{
    double x = (t - t0) / dtperpixel;
    if (!(x > -1e15))
        x = -1e15;
    else if (x > 1e15)
        x = 1e15;
    if (x >= 0.0)
        return static_cast<long>(x);
    return static_cast<long>(x - 1.0);
}

VXPixelatorReader::~VXPixelatorReader() = default;

int VXPixelatorReader::loadPieces(const VxPixelatorRecord& row, double t0, double t1, float** data, double* ts,
                                  double* te, long* nsamp, Sink sink, void* context)
{
    free(*data);
    *data = nullptr;
    const int ret = load(row, t0, t1, data, ts, te, nsamp);
    if (ret < 0 || !sink || !*data)
        return ret;
    constexpr long piece = 32768;
    for (long first = 0; first < *nsamp; first += piece)
        sink(*data + first, first, std::min(piece, *nsamp - first), *nsamp, context);
    return ret;
}

double VXPixelatorReader::sampleTime(const VxPixelatorRecord& row, long i)
{
    return row.time + static_cast<double>(i) / row.samprate;
}

long VXPixelatorReader::firstIndexAt(const VxPixelatorRecord& row, double t)
{
    const double x = std::ceil((t - row.time) * row.samprate - 1e-3);
    if (!(x > 0.0))
        return 0;
    if (x >= static_cast<double>(row.nsamp))
        return row.nsamp;
    return static_cast<long>(x);
}

VxPixelatorSource::VxPixelatorSource(VXTrace* owner, Rsptr dbptr, int free)
    : type(0), free_when_done(free), db(dbptr), trace(owner)
{
}

VxPixelatorSource::VxPixelatorSource(VXTrace* owner, VXTraceviewQKClient* client, int calib_from_db, int free)
    : type(1), free_when_done(free), trace(owner)
{
    ev.qkclient = client;
    ev.calib_from_db = calib_from_db;
    ev.free_when_done = free;
}

VxPixelatorSource::VxPixelatorSource(VXTrace* owner, const VxTraceviewTIDE& t, int calib_from_db)
    : type(2), tide(t), trace(owner)
{
    tide.calib_from_db = calib_from_db;
}

VXPixelator::VXPixelator()
{
    // The trace that owns the pixelator may initialise the mutex again with
    // its own attributes; a static initialiser keeps a bare pixelator usable.
    tide_mutex = PTHREAD_MUTEX_INITIALIZER;
}

VXPixelator::~VXPixelator()
{
    clearAllocations();
    for (VxPixelatorSource* source : owned_) {
        if (source->filter_hook)
            pixelator_release_hook(&source->filter_hook);
        delete source;
    }
    pthread_mutex_destroy(&tide_mutex);
}

pthread_mutex_t* VXPixelator::readMutex()
{
    return &g_read_mutex;
}

int VXPixelator::setPixels(double tl, double dtpp, int np, int force, double tbuf)
{
    if (!std::isfinite(tl) || !std::isfinite(dtpp) || !std::isfinite(tbuf) || np < 0) {
        hl_register_error(0, "VXPixelator::setPixels: Bad grid: tleft %g, dtperpixel %g, npixels %d, tbuffer %g.\n",
                          tl, dtpp, np, tbuf);
        return -1;
    }
    long n = 0;
    if (dtpp > 0.0)
        n = vx_pixel_index(tbuf, 0.0, dtpp);
    const long total = static_cast<long>(np) + n;
    if (total > max_pixels_total || total < 0) {
        hl_register_error(0, "VXPixelator::setPixels: %ld columns asked for, at most %d.\n", total,
                          max_pixels_total);
        return -1;
    }
    const double start = tl - static_cast<double>(n) * dtpp;
    if (!std::isfinite(start) || !std::isfinite(start + 2.0 * total * dtpp)) {
        hl_register_error(0, "VXPixelator::setPixels: Bad grid: tleft %g, dtperpixel %g, npixels %d, tbuffer %g.\n",
                          tl, dtpp, np, tbuf);
        return -1;
    }
    if (!force && dtpp == dtperpixel && total == npixels_total && start == tstart)
        return 0;
    tleft = tl;
    tstart = start;
    npixels = np;
    npixels_total = static_cast<int>(total);
    dtperpixel = dtpp;
    tbuffer = tbuf;
    tend = tstart + npixels_total * dtperpixel;
    pixelate();
    return 1;
}

int VXPixelator::setDbtrace(Rsptr dbtrace, int index, int free_when_done)
{
    const char* schema = nullptr;
    if (rsquery(dbtrace, RS_SCHEMA_NAME, &schema) < 0 || !schema ||
        (strcmp(schema, "Trace4.0") != 0 && strcmp(schema, "Trace4.1") != 0)) {
        hl_register_error(0, "VXPixelator::setDbtrace: Input database schema '%s' not 'Trace4.0' or 'Trace4.1'",
                          schema ? schema : "");
        throw "Exception";
    }
    long count = 0;
    if (rsquery(dbtrace, RS_RECORD_COUNT, &count) < 0 || dbtrace.record < 0 || dbtrace.record >= count) {
        hl_register_error(0, "VXPixelator::setDbtrace: Input database record %ld outside range", dbtrace.record);
        throw "Exception";
    }
    if (!pixelator_has_field(dbtrace, "bundle")) {
        const char* table = nullptr;
        if (rsquery(dbtrace, RS_TABLE_NAME, &table) < 0 || !table) {
            hl_register_error(0, "VXPixelator::setDbtrace: Input database table not grouped or set to 'trace'");
            throw "Exception";
        }
        if (strcmp(table, "trace") != 0) {
            hl_register_error(0, "VXPixelator::setDbtrace: Input database table '%s' not grouped or set to 'trace'",
                              table);
            throw "Exception";
        }
    }
    auto* source = new VxPixelatorSource(static_cast<VXTrace*>(nullptr), dbtrace, free_when_done);
    source->trace = nullptr;
    owned_.append(source);
    if (index >= 0 && index < sources.size())
        sources[index] = source;
    else
        sources.append(source);
    pixelate();
    return static_cast<int>(sources.size()) - 1;
}

int VXPixelator::setQk(VXTraceviewQKClient* ev_client, int calib_from_db, int index, int free_when_done)
{
    auto* source = new VxPixelatorSource(static_cast<VXTrace*>(nullptr), ev_client, calib_from_db, free_when_done);
    source->ev.reader = pixelator_qk_reader(ev_client);
    owned_.append(source);
    if (index >= 0 && index < sources.size()) {
        sources[index] = source;
    } else {
        sources.append(source);
        index = static_cast<int>(sources.size()) - 1;
    }
    pixelate();
    return index;
}

int VXPixelator::setReader(VXPixelatorReader* reader, int calib_from_db, int index)
{
    auto* source = new VxPixelatorSource(static_cast<VXTrace*>(nullptr), static_cast<VXTraceviewQKClient*>(nullptr),
                                         calib_from_db, 0);
    source->ev.reader = reader;
    owned_.append(source);
    if (index >= 0 && index < sources.size()) {
        sources[index] = source;
    } else {
        sources.append(source);
        index = static_cast<int>(sources.size()) - 1;
    }
    pixelate();
    return index;
}

VxTraceviewTIDE* VXPixelator::setTIDE(VxTraceviewTIDE t, int& index, int calib_from_db)
{
    auto* source = new VxPixelatorSource(static_cast<VXTrace*>(nullptr), t, calib_from_db);
    source->tide.source = source;
    owned_.append(source);
    if (index >= 0 && index < sources.size()) {
        sources[index] = source;
    } else {
        sources.append(source);
        index = static_cast<int>(sources.size()) - 1;
    }
    return &source->tide;
}

void VXPixelator::appendTraceSources(VxTraceviewQK ev)
{
    for (VxPixelatorSource* source : sources)
        if (source->type == 1 && ev.qkclient && source->ev.qkclient == ev.qkclient)
            return;
    if (setQk(ev.qkclient, ev.calib_from_db, -1, ev.free_when_done) < 0) {
        hl_register_error(0, "VXPixelator::appendTraceSources: setQk() error.\n");
        throw "Exception";
    }
}

VxTraceviewTIDE* VXPixelator::appendTraceSources(VxTraceviewTIDE t)
{
    for (VxPixelatorSource* source : sources)
        if (source->type == 2 && t.tidereap && source->tide.tidereap == t.tidereap)
            return &source->tide;
    int index = -1;
    VxTraceviewTIDE* result = setTIDE(t, index, t.calib_from_db);
    if (!result) {
        hl_register_error(0, "VXPixelator::appendTraceSources: setTIDE() error.\n");
        throw "Exception";
    }
    return result;
}

void VXPixelator::getUtilization(int& nsamp, int& npix) const
{
    nsamp = nsamp_total;
    npix = npixels_used;
}

void VXPixelator::clearAllocations()
{
    for (void* p : allocations)
        free(p);
    allocations.clear();
}

void VXPixelator::removeSegment(VxPixelatorSource* source, int i)
{
    if (!source || i < 0 || i >= source->segments.max())
        return;
    source->segments.del(i);
}

void VXPixelator::copyFrom(VXPixelator* input)
{
    tstart = input->tstart;
    tend = input->tend;
    tleft = input->tleft;
    dtperpixel = input->dtperpixel;
    npixels = input->npixels;
    npixels_total = input->npixels_total;
    tbuffer = input->tbuffer;
    amin = input->amin;
    amax = input->amax;
    npixels_used = input->npixels_used;
    nsamp_total = input->nsamp_total;
    // shared with input, which keeps them: the copy must not outlive it
    sources = input->sources;
}

void VXPixelator::pixelate()
{
    clearDbSegments();
    if (npixels_total < 1)
        return;
    pthread_mutex_lock(&g_read_mutex);
    for (VxPixelatorSource* source : sources) {
        if (source->type == 0)
            addDbtrace(source);
        else if (source->type == 1)
            addQk(source);
    }
    pthread_mutex_unlock(&g_read_mutex);
}

void VXPixelator::clearDbSegments()
{
    for (VxPixelatorSource* source : sources)
        if (source->type != 2)
            source->segments.clear();
    setStats();
}

void VXPixelator::trimSegments(double t)
{
    for (VxPixelatorSource* source : sources) {
        if (source->type != 2)
            continue;
        for (long j = 0; j < source->segments.max();) {
            const VxPixelatorSegment& seg = source->segments.get(j);
            const long i = vx_pixel_index(t, seg.time_first_pixel, seg.dtperpixel);
            if (i >= seg.pixels.size()) {
                source->segments.del(j);  // the next one moves into j
                continue;
            }
            // a segment that straddles t stays whole: memory falls by whole segments
            j++;
        }
    }
}

void VXPixelator::setStats()
{
    amin = -1.0;
    amax = 1.0;
    npixels_used = 0;
    nsamp_total = 0;
    tleft = tstart + tbuffer;
    bool first_source = true;
    for (VxPixelatorSource* source : sources) {
        source->amin = -1.0;
        source->amax = 1.0;
        source->npixels_used = 0;
        source->nsamp_total = 0;
        for (long j = 0; j < source->segments.max(); j++) {
            VxPixelatorSegment& seg = pixelator_segment_at(source->segments, j);
            const QVector<VxPixelatorPixel>& pixels = seg.pixels;
            seg.amin = -1.0;
            seg.amax = 1.0;
            bool seen = false;
            long i = vx_pixel_index(tleft, seg.time_first_pixel, seg.dtperpixel);
            if (i < 0)
                i = 0;
            for (; i < pixels.size(); i++) {
                const VxPixelatorPixel& px = pixels[i];
                // a column of NaN only has no extremes to give
                if (px.npoints <= 0 || std::isnan(px.min))
                    continue;
                if (seg.time_first_pixel + i * seg.dtperpixel < tleft)
                    continue;
                if (!seen) {
                    seg.amin = px.min;
                    seg.amax = px.max;
                    seen = true;
                } else {
                    if (px.min < seg.amin)
                        seg.amin = px.min;
                    if (px.max > seg.amax)
                        seg.amax = px.max;
                }
            }
            if (j == 0) {
                source->amin = seg.amin;
                source->amax = seg.amax;
            } else {
                source->amin = std::min(source->amin, seg.amin);
                source->amax = std::max(source->amax, seg.amax);
            }
            source->npixels_used += seg.npixels_used;
            source->nsamp_total += seg.nsamp_total;
        }
        if (first_source) {
            amin = source->amin;
            amax = source->amax;
            first_source = false;
        } else {
            amin = std::min(amin, source->amin);
            amax = std::max(amax, source->amax);
        }
        npixels_used += source->npixels_used;
        nsamp_total += source->nsamp_total;
    }
}
