// libFuzzer target for the miniSEED path of the sample loader: the input is
// the bytes from a row's first record on.  The window is that record's own
// grid, so that its samples and the records after it are decoded.  The
// reader must never read past the input nor write past the window.
#include "toolkit/base/errors.h"
#include "toolkit/waveio/wfgap.h"
#include "toolkit/waveio/wfmseed_p.h"

#include <libmseed.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {
constexpr size_t kInputMax = 1 << 20;
constexpr long kWindow = 4096;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > kInputMax)
        return 0;
    // a copy of exactly size bytes, so that any read past it is caught
    std::vector<char> bytes(data, data + size);
    WfMseedWindow window;
    window.time = 0.0;
    window.samprate = 1.0;
    MSRecord* msr = nullptr;
    if (size > 0 && msr_parse(bytes.data(), static_cast<int>(size), &msr, -1, 0, 0) == 0 && msr &&
        msr->samprate > 0.0) {
        window.time = static_cast<double>(msr->starttime) / HPTMODULUS;
        window.samprate = msr->samprate;
    }
    msr_free(&msr);
    window.first = data && size > 0 ? data[size - 1] % 16 : 0;  // sometimes a window that begins later
    window.count = kWindow;
    std::vector<float> out(static_cast<size_t>(kWindow));
    wffill_gap(out.data(), static_cast<int>(kWindow));
    WfMseedFault fault;
    const int n = wfmseed_read(bytes.data(), bytes.size(), window, out.data(), &fault, "fuzz");
    if (n > kWindow || (n < 0 && fault.offset >= size + 1))
        abort();
    hl_clear_register(0);
    return 0;
}
