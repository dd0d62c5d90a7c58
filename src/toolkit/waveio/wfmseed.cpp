#include "toolkit/waveio/wfmseed_p.h"

#include "toolkit/base/errors.h"
#include "toolkit/waveio/wfgap.h"

#include <libmseed.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <mutex>

namespace {

// libmseed 2 keeps process-wide state while it unpacks (the source name its
// messages carry), so records are decoded by one thread at a time.
std::mutex g_unpack_mutex;

// Frees the record structure on every way out.
struct RecordHolder
{
    MSRecord* msr = nullptr;
    ~RecordHolder() { msr_free(&msr); }
};

bool same_stream(const MSRecord* a, const char* net, const char* sta, const char* loc, const char* chan)
{
    return strcmp(a->network, net) == 0 && strcmp(a->station, sta) == 0 && strcmp(a->location, loc) == 0 &&
           strcmp(a->channel, chan) == 0;
}

// Copy the decoded samples of a record into the window, leaving slots that
// an earlier record filled.  Returns the number of slots filled.
template <typename T>
long place(const T* samples, int64_t n, long index0, const WfMseedWindow& w, float* out)
{
    const long lo = std::max<long>(index0, w.first);
    const long hi = std::min<long>(index0 + static_cast<long>(n), w.first + w.count);
    long filled = 0;
    for (long i = lo; i < hi; i++) {
        float& slot = out[i - w.first];
        if (slot == WF_GAP_VALUE) {
            slot = static_cast<float>(samples[i - index0]);
            filled++;
        }
    }
    return filled;
}

}  // namespace

bool wfmseed_samples_fit(const MSRecord* msr)
{
    if (!msr || msr->reclen < MINRECLEN || msr->samplecnt < 0)
        return false;
    const size_t reclen = static_cast<size_t>(msr->reclen);
    const size_t data_offset = msr->fsdh ? msr->fsdh->data_offset : 0;
    size_t sample_size = 0;
    if (msr->encoding == DE_INT16)
        sample_size = 2;
    else if (msr->encoding == DE_INT32 || msr->encoding == DE_FLOAT32)
        sample_size = 4;
    else if (msr->encoding == DE_FLOAT64)
        sample_size = 8;
    else if (msr->encoding == DE_ASCII)
        sample_size = 1;
    return data_offset >= 48 && data_offset < reclen &&
           static_cast<uint64_t>(msr->samplecnt) * sample_size <= reclen - data_offset;
}

int wfmseed_read(const char* bytes, size_t size, const WfMseedWindow& window, float* out, WfMseedFault* fault,
                 const char* name)
{
    if (!name)
        name = "(miniSEED data)";
    std::lock_guard<std::mutex> lock(g_unpack_mutex);
    RecordHolder holder;
    char net[11] = "", sta[11] = "", loc[11] = "", chan[11] = "";
    const long end_index = window.first + window.count;
    const bool host_big = ms_bigendianhost() != 0;
    long written = 0;
    size_t offset = 0;
    while (offset < size && written < window.count) {
        fault->offset = offset;
        const int avail = static_cast<int>(std::min<size_t>(size - offset, MAXRECLEN));
        // libmseed reads the record and never writes to it; its prototype
        // just lacks the const
        char* record = const_cast<char*>(bytes + offset);
        const int rc = msr_parse(record, avail, &holder.msr, -1, 0, 0);
        if (rc > 0) {
            hl_register_error(0, "wfmseed_read: File '%s': the miniSEED record at byte %zu is cut off.\n", name,
                              offset);
            return -1;
        }
        MSRecord* msr = holder.msr;
        if (rc < 0 || !msr || msr->reclen < MINRECLEN || msr->reclen > avail) {
            hl_register_error(0, "wfmseed_read: File '%s': no miniSEED record at byte %zu: %s.\n", name, offset,
                              rc < 0 ? ms_errorstr(rc) : "bad record length");
            return -1;
        }
        const size_t reclen = static_cast<size_t>(msr->reclen);
        if (offset == 0) {
            strcpy(net, msr->network);
            strcpy(sta, msr->station);
            strcpy(loc, msr->location);
            strcpy(chan, msr->channel);
        } else if (!same_stream(msr, net, sta, loc, chan)) {
            offset += reclen;  // a record of another channel of the same file
            continue;
        }
        const double rate = msr->samprate;
        if (msr->samplecnt <= 0 || !(rate > 0.0) ||
            std::fabs(rate - window.samprate) > 1e-4 * window.samprate) {
            offset += reclen;  // no samples, or not on this row's grid
            continue;
        }
        const double start = static_cast<double>(msr->starttime) / HPTMODULUS;
        const double index = std::nearbyint((start - window.time) * window.samprate);
        if (!std::isfinite(index) || index >= static_cast<double>(end_index))
            break;  // records of a stream come in time order: the window is done
        const long index0 = static_cast<long>(std::max(index, -1e15));
        if (index0 + msr->samplecnt <= window.first) {
            offset += reclen;  // wholly before the window: the header was enough
            continue;
        }
        if (msr->encoding != DE_STEIM1 && msr->encoding != DE_STEIM2 && msr->encoding != DE_INT16 &&
            msr->encoding != DE_INT32 && msr->encoding != DE_FLOAT32 && msr->encoding != DE_FLOAT64) {
            hl_register_error(0, "wfmseed_read: File '%s': the record at byte %zu has encoding %d (%s), not samples.\n",
                              name, offset, msr->encoding, ms_encodingstr(msr->encoding));
            return -1;
        }
        if (!wfmseed_samples_fit(msr)) {
            hl_register_error(0,
                              "wfmseed_read: File '%s': the record at byte %zu claims %lld samples that do not fit "
                              "in its %zu bytes.\n",
                              name, offset, static_cast<long long>(msr->samplecnt), reclen);
            return -1;
        }
        // the data's byte order is the record's own (blockette 1000)
        const int swap = (msr->byteorder == 1) != host_big ? 1 : 0;
        const int64_t n = msr_unpack_data(msr, swap, 0);
        if (n < 0 || !msr->datasamples || n > msr->samplecnt) {
            hl_register_error(0, "wfmseed_read: File '%s': cannot decode the samples of the record at byte %zu.\n",
                              name, offset);
            return -1;
        }
        switch (msr->sampletype) {
        case 'i':
            written += place(static_cast<const int32_t*>(msr->datasamples), n, index0, window, out);
            break;
        case 'f':
            written += place(static_cast<const float*>(msr->datasamples), n, index0, window, out);
            break;
        case 'd':
            written += place(static_cast<const double*>(msr->datasamples), n, index0, window, out);
            break;
        default:
            hl_register_error(0, "wfmseed_read: File '%s': the record at byte %zu holds no numbers.\n", name, offset);
            return -1;
        }
        offset += reclen;
    }
    return static_cast<int>(written);
}
