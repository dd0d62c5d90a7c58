// The checked printf formats of database table cells on arbitrary input.
// The first line is the format; the rest of the input is the value, as
// text and as the number it starts with.  Every result kind is formatted;
// a format found unsafe must give the kind's default form.
#include <VX.h>

#include "toolkit/base/strings.h"
#include "views/dbtableview.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t max_input = 8192;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    std::string format(bytes.c_str());
    size_t nl = format.find('\n');
    std::string rest = nl == std::string::npos ? std::string() : format.substr(nl + 1);
    if (nl != std::string::npos)
        format.resize(nl);
    const QString qformat = QString::fromUtf8(format.data(), static_cast<qsizetype>(format.size()));
    const int safe = VX_DbFormatIsSafe(qformat);
    if (safe != 0 && safe != 1)
        abort();

    const double number = fixed_strtod(rest.c_str(), nullptr);
    for (int kind = RSEX_BOOLEAN; kind <= RSEX_STRING; kind++) {
        Rsvalue v;
        memset(&v, 0, sizeof v);
        if (kind == RSEX_STRING)
            snprintf(v.s, sizeof v.s, "%s", rest.c_str());
        else if (kind == RSEX_REAL || kind == RSEX_TIME)
            v.d = number;
        else
            v.i = kind == RSEX_BOOLEAN ? (number != 0.0) : static_cast<long>(rest.size()) - 100;
        const QString text = VX_DbFormatValue(v, kind, qformat);
        if (!safe && text != VX_DbFormatValue(v, kind, QString()))
            abort();
    }
    hl_clear_register(0);
    return 0;
}
