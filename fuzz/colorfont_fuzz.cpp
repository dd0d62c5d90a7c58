// Colour and font texts, tick label formats and tick layouts on arbitrary
// input.  The whole input is parsed as a colour and as a font, twice each so
// that the unchanged path runs too; its first line is a tick label format
// and the numbers of its second line feed the label and the tick layout.
#include <VX.h>

#include "foundation/nicevalues.h"
#include "foundation/values.h"
#include "toolkit/base/strings.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t max_input = 8192;

void checkColor(const QString& text)
{
    VX_Color color;
    int first = VX_ParseColor(text, color);
    if (first < -1 || first > 1)
        abort();
    if (first < 0 && (color.color.isValid() || !color.color_name.isEmpty()))
        abort();  // a bad text leaves the colour unset
    int second = VX_ParseColor(text, color);
    if (second != (first < 0 ? -1 : 0))
        abort();
}

void checkFont(const QString& text)
{
    VX_Font font;
    int first = VX_ParseFont(text, font);
    if (first < -1 || first > 1)
        abort();
    if (first < 0 && !font.invalid)
        abort();  // fields untouched: still unset
    int second = VX_ParseFont(text, font);
    if (second != (first < 0 ? -1 : 0) || !font.font_name.isEmpty())
        abort();
}

void checkNumber(double number, const char* format)
{
    char text[VX_NICE_NUMBER_SIZE + 1];
    text[VX_NICE_NUMBER_SIZE] = 'x';
    int r = VX_nice_number(number, format, text);
    if ((r != 0 && r != -1) || text[VX_NICE_NUMBER_SIZE] != 'x' || memchr(text, '\0', VX_NICE_NUMBER_SIZE) == nullptr)
        abort();
    if (r < 0 && text[0] != '\0')
        abort();

    // a small buffer: never written past
    char small[9];
    small[8] = 'y';
    r = VX_nice_number(number, format, small, 8);
    if ((r != 0 && r != -1) || small[8] != 'y' || memchr(small, '\0', 8) == nullptr)
        abort();
}

void checkTicks(double start, double end, double width, double minbigwidth)
{
    double start_big = 0, incr_big = 0, start_sml = 0, incr_sml = 0;
    int n_big = -1, n_sml = -1;
    int r = VX_get_nice_fvals(start, end, width, minbigwidth, &start_big, &n_big, &incr_big, &start_sml, &n_sml,
                              &incr_sml);
    if (r == 1 && (n_big < 0 || n_sml < 0 || n_big > VX_NICE_MAX_TICKS || n_sml > VX_NICE_MAX_TICKS))
        abort();
    if (r == 0 && (n_big != -1 || n_sml != -1))
        abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > max_input)
        size = max_input;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    QString text = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));

    checkColor(text);
    checkFont(text);

    // the format stops at the first new line (or NUL)
    std::string format(bytes.c_str());
    size_t nl = format.find('\n');
    std::string rest = nl == std::string::npos ? std::string() : format.substr(nl + 1);
    if (nl != std::string::npos)
        format.resize(nl);

    double values[4] = {0.0, -2.5, 1e300, NAN};
    const char* s = rest.c_str();
    for (double& v : values) {
        char* end = nullptr;
        double parsed = fixed_strtod(s, &end);
        if (end == s)
            break;
        v = parsed;
        s = end;
    }
    for (double v : values)
        checkNumber(v, format.c_str());
    checkTicks(values[0], values[1], values[2], values[3]);
    checkTicks(values[1], values[0], 600.0, values[3]);

    hl_clear_register(0);
    return 0;
}
