// libFuzzer target for the time parsers and formatter.  Every input goes to
// timeparse(), timeparsez() and deltimeparsez(); parsed times are formatted
// and must read back to the same millisecond, and the input is also tried as
// a timeformat() format.
#include "toolkit/base/hltime.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kInputMax = 4096;

// Years 1 to 9999 print in the form timeparse() reads back.
constexpr double kRoundTripMin = -62135596800.0;   // 0001-01-01
constexpr double kRoundTripMax = 253402300799.0;   // 9999-12-31 23:59:59

void check_formatting(double epoch)
{
    if (!std::isfinite(epoch))
        return;
    char* text = timestring(epoch);
    if (text && epoch >= kRoundTripMin && epoch <= kRoundTripMax) {
        const double back = timeparse(text);
        if (back == HL_TIME_NULL || std::fabs(back - epoch) > 0.0006)
            std::abort();
    }
    std::free(text);
    std::free(timeformat(epoch, "%Y%j:%H:%M:%S.%s %D %G %b-%y"));
    int year = 0, doy = 0, hour = 0, minute = 0;
    double second = 0;
    timebreakdown(epoch, &year, &doy, &hour, &minute, &second);
    timejdate(epoch);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > kInputMax)
        size = kInputMax;
    char text[kInputMax + 1];
    std::memcpy(text, data, size);
    text[size] = '\0';

    const double epoch = timeparse(text);
    if (epoch != HL_TIME_NULL)
        check_formatting(epoch);

    double zoned = 0;
    if (timeparsez(text, &zoned) == 0)
        check_formatting(zoned);

    double seconds = 0;
    deltimeparsez(text, &seconds);

    std::free(timeformat(946728000.25, text));
    return 0;
}
