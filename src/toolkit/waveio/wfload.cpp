#include "toolkit/waveio/wfload.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/filemap.h"
#include "toolkit/waveio/wfformat_p.h"
#include "toolkit/waveio/wfgap.h"
#include "toolkit/waveio/wfgzip_p.h"
#include "toolkit/waveio/wfmseed_p.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The last failure of this thread, for wfload_error().
thread_local int t_last_code = 0;
thread_local std::string t_last_message;

// The most a gzip file holding miniSEED is inflated for one load.
constexpr size_t kGzipMseedMax = size_t(1) << 30;

// The largest nsamp a row may hold: 2^40 samples, centuries at 100 Hz.
constexpr long kNsampMax = 1L << 40;

// Rows are named in messages by station, channel and time.
struct Row
{
    char sta[RS_STRSZ] = "";
    char chan[RS_STRSZ] = "";
    char datatype[RS_STRSZ] = "";
    double time = 0.0;
    double samprate = 0.0;
    long nsamp = 0;
    long foff = 0;
    char label[96] = "";
};

int fail(int code, const Row& row, const char* file, const char* format, ...) __attribute__((format(printf, 4, 5)));

int fail(int code, const Row& row, const char* file, const char* format, ...)
{
    char what[1536];
    va_list ap;
    va_start(ap, format);
    vsnprintf(what, sizeof what, format, ap);
    va_end(ap);
    char line[2048];
    if (file)
        snprintf(line, sizeof line, "wfload_scratch: wfdisc row %s, file '%s': %s.\n", row.label, file, what);
    else
        snprintf(line, sizeof line, "wfload_scratch: wfdisc row %s: %s.\n", row.label, what);
    hl_register_error(code == WFLOAD_ERR_MEMORY ? HL_SEVERITY_SYSTEM : HL_SEVERITY_NORMAL, "%s", line);
    t_last_code = code;
    t_last_message = line;
    return code;
}

// The last waveform file this thread mapped, kept mapped: trace views load
// many rows of one file (the channels of a station, the segments of a day)
// one after the other, and a fresh map would fault its pages in again each
// time.  Pages come in as they are touched, so only the bytes of a window
// are read.  A file that changed (another inode, size or time) is mapped
// again.
struct FileCache
{
    std::string path;
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = -1;
    struct timespec mtime = {};
    Filemap* map = nullptr;
    const unsigned char* bytes = nullptr;
    size_t length = 0;
    ~FileCache() { filemap_close(map); }
};
thread_local FileCache t_file;

// Map path through the thread's cache: 0 with *bytes and *size, or -1 with
// a registered error.  Valid until the next call on this thread.
int map_file(const char* path, const unsigned char** bytes, size_t* size)
{
    struct stat st;
    if (stat(path, &st) != 0) {
        hl_register_error(0, "wfload_scratch: Cannot open '%s': %s.\n", path, strerror(errno));
        return -1;
    }
    FileCache& c = t_file;
    if (!c.map || c.path != path || c.dev != st.st_dev || c.ino != st.st_ino || c.size != st.st_size ||
        c.mtime.tv_sec != st.st_mtim.tv_sec || c.mtime.tv_nsec != st.st_mtim.tv_nsec) {
        const void* data = nullptr;
        size_t length = 0;
        Filemap* map = filemap_open(path, 0, &data, &length);
        if (!map)
            return -1;
        filemap_close(c.map);
        c.path = path;
        c.dev = st.st_dev;
        c.ino = st.st_ino;
        c.size = st.st_size;
        c.mtime = st.st_mtim;
        c.map = map;
        c.bytes = static_cast<const unsigned char*>(data);
        c.length = length;
    }
    *bytes = c.bytes;
    *size = c.length;
    return 0;
}

// Index of the first sample at or after t, clamped to [0, nsamp].
long index_at(const Row& row, double t)
{
    const double x = std::ceil((t - row.time) * row.samprate - 1e-3);
    if (!(x > 0.0))
        return 0;
    if (x >= static_cast<double>(row.nsamp))
        return row.nsamp;
    return static_cast<long>(x);
}

bool ends_with_gz(const char* name)
{
    const size_t n = strlen(name);
    return n > 3 && strcmp(name + n - 3, ".gz") == 0;
}

}  // namespace

const char* wfload_strerror(int code)
{
    switch (code) {
    case WFLOAD_ERR_ARGS: return "bad arguments";
    case WFLOAD_ERR_ROW: return "a field of the wfdisc row is out of range";
    case WFLOAD_ERR_DATATYPE: return "unknown sample format (datatype)";
    case WFLOAD_ERR_FILE: return "the waveform file cannot be read";
    case WFLOAD_ERR_RANGE: return "foff or nsamp past the end of the file";
    case WFLOAD_ERR_CORRUPT: return "corrupt samples in the waveform file";
    case WFLOAD_ERR_MEMORY: return "out of memory";
    default: return code >= 0 ? "no error" : "unknown error";
    }
}

int wfload_error(int code, int /*flags*/)
{
    if (code == t_last_code && !t_last_message.empty())
        hl_complain(0, "wfload: %s: %s", wfload_strerror(code), t_last_message.c_str());
    else
        hl_complain(0, "wfload: %s.\n", wfload_strerror(code));
    return 0;
}

int wfload_scratch(Rsptr db, int flags, float** data, const char* filename, double* ts, double* te, double t0,
                   double t1, long* nsamp_out)
{
    // nothing is written to the outputs on failure
    float* out = nullptr;
    const int ret =
        wfload_scratch_pieces(db, flags, data ? &out : nullptr, filename, ts, te, t0, t1, nsamp_out, nullptr, nullptr);
    if (ret >= 0 && data)
        *data = out;
    return ret;
}

int wfload_scratch_pieces(Rsptr db, int /*flags*/, float** data, const char* filename, double* ts, double* te,
                          double t0, double t1, long* nsamp_out, WfSampleSink sink, void* context)
{
    Row row;
    snprintf(row.label, sizeof row.label, "(unread)");
    if (!data || !ts || !te)
        return fail(WFLOAD_ERR_ARGS, row, nullptr, "null output pointer");
    // the caller's array is ours from here: freed unless the samples go into it
    struct Reuse
    {
        float* array;
        ~Reuse() { free(array); }
    } reuse{*data};
    *data = nullptr;
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
    if (rsisinvalid(wf))
        return fail(WFLOAD_ERR_ARGS, row, nullptr, "the database has no wfdisc table");
    wf.record = RS_SCRATCH;
    if (rsgetv(wf, nullptr, "sta", row.sta, "chan", row.chan, "time", &row.time, "nsamp", &row.nsamp, "samprate",
               &row.samprate, "datatype", row.datatype, "foff", &row.foff, nullptr) < 0)
        return fail(WFLOAD_ERR_ROW, row, nullptr, "cannot read the fields of the scratch row");
    snprintf(row.label, sizeof row.label, "%.6s %.8s %.5f", row.sta, row.chan, row.time);

    // the row itself
    if (!std::isfinite(row.time) || row.time <= -9999999999.0)
        return fail(WFLOAD_ERR_ROW, row, nullptr, "field time is null");
    if (!(row.samprate > 0.0) || !std::isfinite(row.samprate))
        return fail(WFLOAD_ERR_ROW, row, nullptr, "field samprate %g is not a positive rate", row.samprate);
    // a count this large cannot be true and would overflow byte offsets
    if (row.nsamp < 0 || row.nsamp > kNsampMax)
        return fail(WFLOAD_ERR_ROW, row, nullptr, "field nsamp %ld is not a sample count", row.nsamp);
    if (row.foff < 0)
        return fail(WFLOAD_ERR_ROW, row, nullptr, "field foff %ld is not a byte offset", row.foff);
    const WfFormat* format = wfformat_find(row.datatype);
    if (!format)
        return fail(WFLOAD_ERR_DATATYPE, row, nullptr, "field datatype '%s' is not one of %s", row.datatype,
                    wfformat_codes());

    // the file
    char path[RS_STRSZ];
    bool gzip = false;
    if (filename) {
        if (strlen(filename) >= sizeof path)
            return fail(WFLOAD_ERR_FILE, row, nullptr, "file name of %zu characters is too long", strlen(filename));
        strcpy(path, filename);
        gzip = ends_with_gz(path);
    } else {
        const int found = rsextfile_scratch(wf, "wfdisc", path);
        if (found < 0)
            return fail(WFLOAD_ERR_ROW, row, nullptr, "fields dir and dfile do not name a file");
        if (found == 0)
            return fail(WFLOAD_ERR_FILE, row, path, "field dfile: no such file, nor with .gz added");
        gzip = found == 2;
    }
    struct
    {
        const unsigned char* bytes = nullptr;
        size_t size = 0;
    } m;
    if (map_file(path, &m.bytes, &m.size) < 0)
        return fail(WFLOAD_ERR_FILE, row, path, "field dfile: cannot map the file");
    const uint64_t foff = static_cast<uint64_t>(row.foff);
    const uint64_t width = static_cast<uint64_t>(format->bytes);
    if (!gzip) {
        if (foff > m.size || (format->kind == WF_FORMAT_MSEED && foff == m.size && row.nsamp > 0))
            return fail(WFLOAD_ERR_RANGE, row, path, "field foff %ld is past the end of the file (%zu bytes)",
                        row.foff, m.size);
        if (format->kind != WF_FORMAT_MSEED && static_cast<uint64_t>(row.nsamp) > (m.size - foff) / width)
            return fail(WFLOAD_ERR_RANGE, row, path,
                        "field nsamp %ld overruns the file: %ld samples of %d bytes from byte %ld need %llu bytes, "
                        "the file has %zu",
                        row.nsamp, row.nsamp, format->bytes, row.foff,
                        static_cast<unsigned long long>(foff + static_cast<uint64_t>(row.nsamp) * width), m.size);
    }

    // the window
    long i0 = 0, i1 = row.nsamp;
    if (t0 != 0.0 || t1 != 0.0) {
        i0 = index_at(row, t0);
        i1 = index_at(row, t1);
    }
    const long n = i1 > i0 ? i1 - i0 : 0;
    if (n == 0) {
        *data = nullptr;
        *ts = *te = t0;
        if (nsamp_out)
            *nsamp_out = 0;
        return 0;
    }
    if (n > WFLOAD_SAMPLES_MAX)
        return fail(WFLOAD_ERR_MEMORY, row, path, "a window of %ld samples is more than the %ld one load may hold", n,
                    WFLOAD_SAMPLES_MAX);
    float* out = static_cast<float*>(reuse.array ? realloc(reuse.array, static_cast<size_t>(n) * sizeof(float))
                                                 : malloc(static_cast<size_t>(n) * sizeof(float)));
    if (!out)
        return fail(WFLOAD_ERR_MEMORY, row, path, "cannot allocate %ld samples", n);
    reuse.array = nullptr;

    std::vector<unsigned char> inflated;
    bool by_pieces = false;  // the sink has had the pieces as they were decoded
    if (format->kind == WF_FORMAT_MSEED) {
        const char* bytes = reinterpret_cast<const char*>(m.bytes) + foff;
        size_t size = m.size - foff;
        if (gzip) {
            uint64_t total = 0;
            if (wfgzip_range(m.bytes, m.size, foff, kGzipMseedMax, &inflated, &total, path) < 0) {
                free(out);
                return fail(WFLOAD_ERR_CORRUPT, row, path, "cannot inflate the miniSEED records");
            }
            if (inflated.empty()) {
                free(out);
                return fail(WFLOAD_ERR_RANGE, row, path, "field foff %ld is past the end of the inflated data (%llu bytes)",
                            row.foff, static_cast<unsigned long long>(total));
            }
            bytes = reinterpret_cast<const char*>(inflated.data());
            size = inflated.size();
        }
        wffill_gap(out, static_cast<int>(n));
        WfMseedWindow window;
        window.time = row.time;
        window.samprate = row.samprate;
        window.first = i0;
        window.count = n;
        WfMseedFault fault;
        if (wfmseed_read(bytes, size, window, out, &fault, path) < 0) {
            free(out);
            return fail(WFLOAD_ERR_CORRUPT, row, path, "field foff %ld: corrupt miniSEED record at byte %llu", row.foff,
                        static_cast<unsigned long long>(foff + fault.offset));
        }
    } else {
        const size_t length = static_cast<size_t>(n) * static_cast<size_t>(width);
        const unsigned char* bytes = m.bytes + foff + static_cast<uint64_t>(i0) * width;
        if (gzip) {
            uint64_t total = 0;
            if (wfgzip_range(m.bytes, m.size, foff + static_cast<uint64_t>(i0) * width, length, &inflated, &total,
                             path) < 0) {
                free(out);
                return fail(WFLOAD_ERR_CORRUPT, row, path, "cannot inflate samples %ld to %ld", i0, i1 - 1);
            }
            if (inflated.size() < length) {
                free(out);
                if (total <= foff)
                    return fail(WFLOAD_ERR_RANGE, row, path,
                                "field foff %ld is past the end of the inflated data (%llu bytes)", row.foff,
                                static_cast<unsigned long long>(total));
                return fail(WFLOAD_ERR_RANGE, row, path,
                            "field nsamp %ld overruns the inflated data: sample %ld ends after its %llu bytes",
                            row.nsamp, i1 - 1, static_cast<unsigned long long>(total));
            }
            bytes = inflated.data();
        }
        // a piece at a time, so that the sink reads each piece from the
        // cache right after it is written; the pieces are decoded as the
        // whole would be
        by_pieces = sink && format->kind == WF_FORMAT_BINARY;
        const long piece = by_pieces ? WFLOAD_PIECE_SAMPLES : n;
        for (long first = 0; first < n; first += piece) {
            const long count = std::min(piece, n - first);
            size_t bad = 0;
            if (wfformat_decode(format, bytes + static_cast<size_t>(first) * width, static_cast<size_t>(count),
                                out + first, &bad) < 0) {
                free(out);
                return fail(WFLOAD_ERR_CORRUPT, row, path, "sample %ld of datatype %s is not a number",
                            i0 + first + static_cast<long>(bad), format->code);
            }
            if (by_pieces)
                sink(out + first, first, count, n, context);
        }
    }
    // formats decoded whole are handed on after
    if (sink && !by_pieces) {
        for (long first = 0; first < n; first += WFLOAD_PIECE_SAMPLES)
            sink(out + first, first, std::min(WFLOAD_PIECE_SAMPLES, n - first), n, context);
    }
    *data = out;
    *ts = row.time + static_cast<double>(i0) / row.samprate;
    *te = row.time + static_cast<double>(i1 - 1) / row.samprate;
    if (nsamp_out)
        *nsamp_out = n;
    return static_cast<int>(n);
}
