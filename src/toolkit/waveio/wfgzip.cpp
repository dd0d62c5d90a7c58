#include "toolkit/waveio/wfgzip_p.h"

#include "toolkit/base/errors.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>

namespace {

// Closes the inflate stream on every way out.
struct Inflater
{
    z_stream z{};
    bool open = false;
    ~Inflater()
    {
        if (open)
            inflateEnd(&z);
    }
};

constexpr size_t kChunk = 1 << 16;
constexpr size_t kInputStep = 1u << 30;  // avail_in is 32 bits wide

}  // namespace

int wfgzip_range(const unsigned char* bytes, size_t size, uint64_t offset, size_t length,
                 std::vector<unsigned char>* out, uint64_t* inflated, const char* name)
{
    if (!name)
        name = "(gzip data)";
    out->clear();
    if (inflated)
        *inflated = 0;
    if (size < 2 || bytes[0] != 0x1f || bytes[1] != 0x8b) {
        hl_register_error(0, "wfgzip_range: File '%s' is not gzip data.\n", name);
        return -1;
    }
    Inflater in;
    // 16 + MAX_WBITS: gzip framing, with its header and check sum
    if (inflateInit2(&in.z, 16 + MAX_WBITS) != Z_OK) {
        hl_register_error(1, "wfgzip_range: Cannot start inflating '%s'.\n", name);
        return -1;
    }
    in.open = true;

    const uint64_t end = offset + length;
    std::vector<unsigned char> chunk(kChunk);
    uint64_t position = 0;  // inflated bytes so far
    size_t used = 0;        // compressed bytes handed to zlib so far
    out->reserve(std::min<size_t>(length, size_t(16) << 20));
    while (position < end) {
        if (in.z.avail_in == 0 && used < size) {
            const size_t step = std::min(size - used, kInputStep);
            in.z.next_in = const_cast<Bytef*>(bytes + used);
            in.z.avail_in = static_cast<uInt>(step);
            used += step;
        }
        in.z.next_out = chunk.data();
        in.z.avail_out = static_cast<uInt>(chunk.size());
        const int rc = inflate(&in.z, Z_NO_FLUSH);
        const size_t got = chunk.size() - in.z.avail_out;
        if (got > 0) {
            // keep the part of this chunk that lies inside the range
            const uint64_t lo = std::max(position, offset);
            const uint64_t hi = std::min(position + got, end);
            if (lo < hi)
                out->insert(out->end(), chunk.begin() + static_cast<ptrdiff_t>(lo - position),
                            chunk.begin() + static_cast<ptrdiff_t>(hi - position));
            position += got;
        }
        if (rc == Z_STREAM_END) {
            const size_t left = in.z.avail_in + (size - used);
            const unsigned char* next = in.z.next_in;
            if (left >= 2 && next[0] == 0x1f && next[1] == 0x8b) {
                inflateReset(&in.z);  // another member follows
                continue;
            }
            break;  // the data end here; trailing bytes that are not gzip are ignored
        }
        if (rc == Z_BUF_ERROR && in.z.avail_in == 0 && used >= size) {
            if (inflated)
                *inflated = position;
            hl_register_error(0, "wfgzip_range: File '%s' ends early: the gzip data stop after %llu inflated bytes.\n",
                              name, static_cast<unsigned long long>(position));
            return -1;
        }
        if (rc != Z_OK && rc != Z_BUF_ERROR) {
            if (inflated)
                *inflated = position;
            hl_register_error(0, "wfgzip_range: File '%s' is corrupt after %llu inflated bytes: %s.\n", name,
                              static_cast<unsigned long long>(position), in.z.msg ? in.z.msg : "bad gzip data");
            return -1;
        }
    }
    if (inflated)
        *inflated = position;
    return 0;
}
