#include "foundation/nicevalues.h"

#include "toolkit/base/errors.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <locale.h>
#include <string>

namespace {

// ---------------------------------------------------------------- ticks

// Number of ticks first, first + incr, ... not beyond end (upward when up,
// downward otherwise), or -1 when there would be more than the cap.
long tickCount(double first, double end, double incr, bool up)
{
    double span = up ? end - first : first - end;
    if (span < 0.0)
        return 0;
    double steps = std::floor(span / incr);
    if (!(steps <= VX_NICE_MAX_TICKS))
        return -1;
    long n = static_cast<long>(steps) + 1;
    // the division may land one off the exact test of each position
    auto inside = [&](long k) {
        double v = up ? first + static_cast<double>(k) * incr : first - static_cast<double>(k) * incr;
        return up ? v <= end : v >= end;
    };
    while (n > 0 && !inside(n - 1))
        n--;
    while (n < VX_NICE_MAX_TICKS + 1 && inside(n))
        n++;
    return n > VX_NICE_MAX_TICKS ? -1 : n;
}

// First tick at or after start going upward, as a multiple of incr.
double firstUp(double start, double incr)
{
    double k = std::floor(start / incr + 0.99999);
    if (start < 0.0) {
        k -= 1.0;
        if (k * incr < start)
            k += 1.0;
    }
    return k * incr;
}

// First tick at or before start going downward.
double firstDown(double start, double incr)
{
    double k = std::floor(start / incr + 1e-5);
    if (start < 0.0) {
        k += 1.0;
        if (k * incr > start)
            k -= 1.0;
    }
    return k * incr;
}

// A caller's increment is a minimum only when it is a positive number.
double callerMinimum(double incr)
{
    return (std::isfinite(incr) && incr > 0.0) ? incr : 0.0;
}

// ---------------------------------------------------------------- numbers

// The "C" locale, so that numbers are written with "." whatever the
// process locale is.  Null if it cannot be made.
locale_t cLocale()
{
    static locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return c;
}

// Switches the calling thread to the "C" locale for its lifetime.
class CLocaleScope
{
public:
    CLocaleScope()
    {
        if (locale_t c = cLocale())
            previous = uselocale(c);
    }
    ~CLocaleScope()
    {
        if (previous)
            uselocale(previous);
    }
    CLocaleScope(const CLocaleScope&) = delete;
    CLocaleScope& operator=(const CLocaleScope&) = delete;

private:
    locale_t previous = static_cast<locale_t>(0);
};

// Length modifier of a checked conversion.
enum class Length { None, L, LL };

// True when format holds exactly one conversion, "%%" aside, and it is an
// integer one (d, i) when integer is set, else a floating one.  Flags from
// "-+ #0'", width and precision of at most three digits each; no "*", no
// "$"; length modifier "l" or (integers only) "ll".
bool checkFormat(const char* format, bool integer, Length* length)
{
    int conversions = 0;
    for (const char* p = format; *p; p++) {
        if (*p != '%')
            continue;
        p++;
        if (*p == '%')
            continue;
        while (*p && strchr("-+ #0'", *p))
            p++;
        for (int digits = 0; isdigit(static_cast<unsigned char>(*p)); p++)
            if (++digits > 3)
                return false;
        if (*p == '.') {
            p++;
            for (int digits = 0; isdigit(static_cast<unsigned char>(*p)); p++)
                if (++digits > 3)
                    return false;
        }
        Length len = Length::None;
        if (*p == 'l') {
            p++;
            len = Length::L;
            if (*p == 'l') {
                p++;
                len = Length::LL;
            }
        }
        char c = *p;
        if (c == '\0')
            return false;
        if (integer) {
            if (c != 'd' && c != 'i')
                return false;
        } else if (!strchr("fFeEgGaA", c) || len == Length::LL) {
            return false;
        }
        *length = len;
        conversions++;
    }
    return conversions == 1;
}

// The number rounded half away from zero, within the range of int.
int roundedInt(double number)
{
    if (std::isnan(number))
        return 0;
    double r = std::round(number);
    if (r >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (r <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(r);
}

// The "auto" text: digits past the 13th become zeros, trailing zeros and
// point go.
std::string autoText(double number)
{
    // nudges values just under a round number over it
    double v = number * 1.00000000000001;
    if (std::isinf(v) && std::isfinite(number))
        v = number;
    char raw[400];  // "%20.10lf" of the largest double takes 320 bytes
    {
        CLocaleScope c;
        snprintf(raw, sizeof raw, "%20.10lf", v);
    }
    std::string out;
    int digits = 0;
    for (const char* p = raw; *p; p++) {
        char ch = *p;
        if (ch == ' ')
            continue;
        if (ch == '-' || ch == '.') {
            out += ch;
        } else if (isdigit(static_cast<unsigned char>(ch))) {
            out += digits < 13 ? ch : '0';
            digits++;
        } else {
            hl_complain(0, "Got char '%c'\n", ch);
        }
    }
    if (out.find('.') != std::string::npos) {
        while (!out.empty() && out.back() == '0')
            out.pop_back();
        if (!out.empty() && out.back() == '.')
            out.pop_back();
    }
    // a negative number that rounds to nothing is plain "0"
    if (out.empty() || out == "-" || out == "-0")
        out = "0";
    return out;
}

} // namespace

int VX_get_nice_fvals(double start, double end, double width, double minbigwidth, double* start_big, int* n_big,
                      double* incr_big, double* start_sml, int* n_sml, double* incr_sml)
{
    if (!start_big || !n_big || !incr_big || !start_sml || !n_sml || !incr_sml) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_get_nice_fvals: Null output.\n");
        return -1;
    }
    double window = std::fabs(end - start);
    if (window == 0.0 || !std::isfinite(window))  // also NaN and infinite ends
        return 0;

    if (!(minbigwidth > 0.0))
        minbigwidth = width / 10.0;
    double maxvals = 10.0;  // no width to go by: aim at ten large ticks
    if (minbigwidth > 0.0) {
        double ratio = width / minbigwidth;
        if (!(ratio >= 1.0))
            return 0;
        maxvals = std::trunc(std::min(ratio, static_cast<double>(VX_NICE_MAX_TICKS)));
    }

    double refincr = window / maxvals;
    // below this the power-of-ten search would underflow to zero
    if (!(refincr >= 1e-290))
        return 0;
    double fvar = 1.0;
    while (fvar > refincr)
        fvar *= 0.1;
    while (refincr >= fvar)
        fvar *= 10.0;

    double candidate;
    double small_part;
    if (0.5 * fvar < refincr) {
        candidate = 0.5 * fvar;
        small_part = 0.2;
    } else if (0.25 * fvar < refincr) {
        candidate = 0.25 * fvar;
        small_part = 0.2;
    } else {
        candidate = 0.1 * fvar;
        small_part = 0.1;
    }

    double ib = callerMinimum(*incr_big);
    double is = callerMinimum(*incr_sml);
    if (candidate > ib) {
        ib = candidate;
        is = small_part * ib;
    } else if (is == 0.0) {
        is = 0.1 * ib;
    }
    if (!std::isfinite(ib) || !std::isfinite(is) || ib <= 0.0 || is <= 0.0)
        return 0;

    bool up = end > start;
    double sb = up ? firstUp(start, ib) : firstDown(start, ib);
    double ss = up ? firstUp(start, is) : firstDown(start, is);
    long nb = tickCount(sb, end, ib, up);
    long ns = tickCount(ss, end, is, up);
    if (nb < 0 || ns < 0)
        return 0;

    *start_big = sb;
    *n_big = static_cast<int>(nb);
    *incr_big = up ? ib : -ib;
    *start_sml = ss;
    *n_sml = static_cast<int>(ns);
    *incr_sml = up ? is : -is;
    return 1;
}

int VX_nice_number(double number, const char* format, char* string, size_t size)
{
    if (!string || size == 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_nice_number: No room for the text.\n");
        return -1;
    }
    string[0] = '\0';
    if (!format) {
        hl_register_error(HL_SEVERITY_NORMAL, "VX_nice_number: No format.\n");
        return -1;
    }
    if (strcmp(format, "none") == 0)
        return 0;

    std::string text;
    int n = 0;
    if (strcmp(format, "auto") == 0) {
        text = autoText(number);
        n = static_cast<int>(text.size());
        if (text.size() < size)
            memcpy(string, text.c_str(), text.size() + 1);
    } else {
        size_t flen = strlen(format);
        bool integer = flen > 0 && format[flen - 1] == 'd';
        Length length = Length::None;
        if (!checkFormat(format, integer, &length)) {
            hl_register_error(HL_SEVERITY_NORMAL, "VX_nice_number: Bad format '%s'.\n", format);
            return -1;
        }
        CLocaleScope c;
        if (!integer)
            n = snprintf(string, size, format, number);
        else if (length == Length::None)
            n = snprintf(string, size, format, roundedInt(number));
        else if (length == Length::L)
            n = snprintf(string, size, format, static_cast<long>(roundedInt(number)));
        else
            n = snprintf(string, size, format, static_cast<long long>(roundedInt(number)));
    }
    if (n < 0 || static_cast<size_t>(n) >= size) {
        string[0] = '\0';
        hl_register_error(HL_SEVERITY_NORMAL, "VX_nice_number: Text of %g does not fit in %zu bytes.\n", number,
                          size);
        return -1;
    }
    return 0;
}

int VX_nice_number(double number, const char* format, char* string)
{
    return VX_nice_number(number, format, string, VX_NICE_NUMBER_SIZE);
}
