// Values of plot items' keys written as text: pointers and numbers.
// Private to the library.
#pragma once

#include "toolkit/base/strings.h"

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace vxitems {

// A pointer written as text ("0x55d0c0", or "0"/"" for null); false for
// other text.
inline bool parsePointer(const char* value, void** ptr)
{
    if (!value || !*value) {
        *ptr = nullptr;
        return true;
    }
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = strtoull(value, &end, 0);
    if (end == value || *end != '\0' || errno == ERANGE)
        return false;
    *ptr = reinterpret_cast<void*>(static_cast<uintptr_t>(v));
    return true;
}

// A finite number with nothing after it but blanks.
inline bool parseNumber(const char* value, double* number)
{
    if (!value)
        return false;
    char* end = nullptr;
    const double v = fixed_strtod(value, &end);
    if (end == value || !std::isfinite(v))
        return false;
    while (*end == ' ' || *end == '\t')
        end++;
    if (*end != '\0')
        return false;
    *number = v;
    return true;
}

} // namespace vxitems
