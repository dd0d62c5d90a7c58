// libFuzzer target for the gzip path of the sample loader: the input is a
// file's content; its last two bytes choose the offset of the range read.
// The range must never be longer than asked for.
#include "toolkit/base/errors.h"
#include "toolkit/waveio/wfgzip_p.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {
constexpr size_t kInputMax = 1 << 20;
constexpr size_t kLength = 1 << 16;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > kInputMax)
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    const uint64_t offset = size >= 2 ? (uint64_t(data[size - 2]) << 8 | data[size - 1]) : 0;
    std::vector<unsigned char> out;
    uint64_t inflated = 0;
    const int rc = wfgzip_range(bytes.data(), bytes.size(), offset, kLength, &out, &inflated, "fuzz");
    if (out.size() > kLength || (!out.empty() && inflated < offset + out.size()))
        abort();
    // a failure says why
    if (rc < 0 && hl_error_count() == 0)
        abort();
    hl_clear_register(0);
    return 0;
}
