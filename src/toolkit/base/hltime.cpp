#include "toolkit/base/hltime.h"

#include <QByteArray>
#include <QDateTime>
#include <QTimeZone>

#include <locale.h>
#include <time.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kYearMin = -9999;
constexpr int64_t kYearMax = 99999;
constexpr double kEpochLimit = 1.0e13;
constexpr size_t kFormatOutputMax = 65536;
constexpr size_t kZoneNameMax = 64;

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_alpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool ascii_iequal(std::string_view a, const char* b)
{
    const size_t n = std::strlen(b);
    if (a.size() != n)
        return false;
    for (size_t i = 0; i < n; ++i)
        if ((a[i] >= 'A' && a[i] <= 'Z' ? char(a[i] - 'A' + 'a') : a[i]) != b[i])
            return false;
    return true;
}

// ---- Calendar: proleptic Gregorian, astronomical year numbering (year 0 is 1 BC).

bool is_leap(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }
int days_in_year(int64_t y) { return is_leap(y) ? 366 : 365; }

int days_in_month(int64_t y, int m)
{
    static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && is_leap(y) ? 29 : days[m - 1];
}

int64_t floor_div(int64_t a, int64_t b)
{
    int64_t q = a / b;
    if (a % b != 0 && ((a < 0) != (b < 0)))
        --q;
    return q;
}

// Days from 1970-01-01 to y-m-d; exact for any year in the int64 range that
// the callers allow.
int64_t days_from_civil(int64_t y, int m, int d)
{
    y -= m <= 2;
    const int64_t era = floor_div(y, 400);
    const int64_t yoe = y - era * 400;                                  // [0, 399]
    const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;  // [0, 365], March first
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;           // [0, 146096]
    return era * 146097 + doe - 719468;
}

void civil_from_days(int64_t z, int64_t* y, int* m, int* d)
{
    z += 719468;
    const int64_t era = floor_div(z, 146097);
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    *d = int(doy - (153 * mp + 2) / 5 + 1);
    *m = int(mp < 10 ? mp + 3 : mp - 9);
    *y = yoe + era * 400 + (*m <= 2);
}

struct Fields
{
    int64_t year = 1970;
    int month = 1, day = 1, doy = 1;
    int hour = 0, minute = 0, second = 0;
    int wday = 4;  // 0 is Sunday
};

Fields split_seconds(int64_t seconds)
{
    Fields f;
    const int64_t days = floor_div(seconds, kSecondsPerDay);
    const int sod = int(seconds - days * kSecondsPerDay);
    civil_from_days(days, &f.year, &f.month, &f.day);
    f.doy = int(days - days_from_civil(f.year, 1, 1)) + 1;
    f.hour = sod / 3600;
    f.minute = sod / 60 % 60;
    f.second = sod % 60;
    f.wday = int((days % 7 + 11) % 7);  // 1970-01-01 was a Thursday
    return f;
}

bool epoch_in_range(double epoch) { return std::isfinite(epoch) && std::fabs(epoch) <= kEpochLimit; }

// ---- Text cursor over [p, end); nothing reads past end.

struct Cursor
{
    const char* p;
    const char* end;

    bool done() const { return p >= end; }
    char peek() const { return p < end ? *p : '\0'; }
    bool eat(char c)
    {
        if (p < end && *p == c) {
            ++p;
            return true;
        }
        return false;
    }
    // Skip blanks; true when there were any.
    bool skip_blanks()
    {
        const char* start = p;
        while (p < end && is_blank(*p))
            ++p;
        return p != start;
    }
    // Read a run of digits and return its length, counted up to 100.
    // *value holds the run when it has at most 18 digits.
    int digits(int64_t* value)
    {
        int64_t v = 0;
        int n = 0;
        for (; p < end && is_digit(*p); ++p) {
            if (n < 18)
                v = v * 10 + (*p - '0');
            n = std::min(n + 1, 100);
        }
        *value = v;
        return n;
    }
};

Cursor trimmed(const char* text)
{
    const char* b = text;
    const char* e = text + std::strlen(text);
    while (b < e && is_blank(*b))
        ++b;
    while (e > b && is_blank(e[-1]))
        --e;
    return {b, e};
}

// Digits after a decimal point.  The first nine count; later ones are
// checked and dropped, which loses less than a nanosecond.
bool read_fraction(Cursor& c, double* fraction)
{
    const char* start = c.p;
    int64_t num = 0, den = 1;
    for (; !c.done() && is_digit(c.peek()); ++c.p)
        if (den < 1000000000) {
            num = num * 10 + (c.peek() - '0');
            den *= 10;
        }
    if (c.p == start)
        return false;
    *fraction = double(num) / double(den);
    return true;
}

// ---- Absolute times

// "H[:M[:S[.f]]]": seconds of the day and their fraction.  A second of 60
// (a leap second) runs into the next minute.
bool parse_clock(Cursor& c, int64_t* seconds, double* fraction)
{
    int64_t h = 0, m = 0, s = 0;
    *fraction = 0;
    int n = c.digits(&h);
    if (n < 1 || n > 2 || h > 23)
        return false;
    if (c.eat(':')) {
        n = c.digits(&m);
        if (n < 1 || n > 2 || m > 59)
            return false;
        if (c.eat(':')) {
            n = c.digits(&s);
            if (n < 1 || n > 2 || s > 60)
                return false;
            if (c.eat('.') && !read_fraction(c, fraction))
                return false;
        }
    }
    *seconds = h * 3600 + m * 60 + s;
    return true;
}

// A date and, when one follows, a time of day.  *whole is the wall-clock
// reading in seconds counted as if it were UTC.  On return the cursor stands
// after the last field read, before any zone.
bool parse_datetime(Cursor& c, int64_t* whole, double* fraction, bool* has_time)
{
    const bool negative = c.eat('-');
    int64_t a = 0, b = 0, d = 0;
    const int na = c.digits(&a);
    int64_t year = 0, month = 0, day = 0, doy = 0;
    bool ordinal = false;
    bool compact = false;

    if (!negative && na == 7 && c.peek() != '-' && c.peek() != '/') {
        year = a / 1000;  // yyyyddd
        doy = a % 1000;
        ordinal = compact = true;
    } else if (c.eat('-')) {
        if (na < 4 || na > 5)
            return false;
        year = negative ? -a : a;
        const int nb = c.digits(&b);
        if (nb == 3 && c.peek() != '-') {
            doy = b;
            ordinal = true;
        } else if (nb >= 1 && nb <= 2 && c.eat('-')) {
            const int nd = c.digits(&d);
            if (nd < 1 || nd > 2)
                return false;
            month = b;
            day = d;
        } else {
            return false;
        }
    } else if (c.eat('/')) {
        const int nb = c.digits(&b);
        if (nb < 1 || nb > 2 || !c.eat('/'))
            return false;
        const int nd = c.digits(&d);
        if (na >= 4 && na <= 5 && nd >= 1 && nd <= 2) {
            year = negative ? -a : a;  // y/m/d
            month = b;
            day = d;
        } else if (!negative && na >= 1 && na <= 2 && nd >= 4 && nd <= 5) {
            month = a;  // m/d/y
            day = b;
            year = d;
        } else {
            return false;
        }
    } else {
        return false;
    }

    if (year < kYearMin || year > kYearMax)
        return false;
    int64_t days = 0;
    if (ordinal) {
        if (doy < 1 || doy > days_in_year(year))
            return false;
        days = days_from_civil(year, 1, 1) + doy - 1;
    } else {
        if (month < 1 || month > 12 || day < 1 || day > days_in_month(year, int(month)))
            return false;
        days = days_from_civil(year, int(month), int(day));
    }

    int64_t sod = 0;
    *fraction = 0;
    *has_time = false;
    const char* mark = c.p;
    bool want_time = c.eat('T') || c.eat('t') || (compact && c.eat(':'));
    if (!want_time) {
        want_time = c.skip_blanks() && is_digit(c.peek());
        if (!want_time)
            c.p = mark;  // the blanks belong to a zone
    }
    if (want_time) {
        if (!parse_clock(c, &sod, fraction))
            return false;
        *has_time = true;
    }
    *whole = days * kSecondsPerDay + sod;
    return true;
}

// The whole text is "[+-]digits[.digits][e[+-]digits]" or "[+-].digits...".
// *compact tells a plain run of exactly seven digits (a year and day).
bool is_bare_number(std::string_view s, bool* compact)
{
    size_t i = 0;
    const size_t n = s.size();
    const bool sign = n > 0 && (s[0] == '+' || s[0] == '-');
    if (sign)
        ++i;
    size_t int_digits = 0, frac_digits = 0;
    for (; i < n && is_digit(s[i]); ++i)
        ++int_digits;
    const bool point = i < n && s[i] == '.';
    if (point)
        for (++i; i < n && is_digit(s[i]); ++i)
            ++frac_digits;
    if (int_digits + frac_digits == 0)
        return false;
    const bool exponent = i < n && (s[i] == 'e' || s[i] == 'E');
    if (exponent) {
        ++i;
        if (i < n && (s[i] == '+' || s[i] == '-'))
            ++i;
        size_t exp_digits = 0;
        for (; i < n && is_digit(s[i]); ++i)
            ++exp_digits;
        if (exp_digits == 0)
            return false;
    }
    if (i != n)
        return false;
    *compact = !sign && !point && !exponent && int_digits == 7;
    return true;
}

// Locale-free conversion of text that is_bare_number() accepted.
bool parse_epoch_number(std::string_view s, double* value)
{
    const char* first = s.data();
    const char* last = first + s.size();
    if (*first == '+')
        ++first;
    double v = 0;
    const auto r = std::from_chars(first, last, v);
    if (r.ec != std::errc() || r.ptr != last || !epoch_in_range(v))
        return false;
    *value = v;
    return true;
}

// "+05:30", "+0530", "-08": seconds east of UTC.
bool parse_offset(std::string_view z, int64_t* offset)
{
    if (z.size() < 3 || (z[0] != '+' && z[0] != '-') || !is_digit(z[1]) || !is_digit(z[2]))
        return false;
    const int64_t h = (z[1] - '0') * 10 + (z[2] - '0');
    std::string_view rest = z.substr(3);
    if (!rest.empty() && rest[0] == ':' && rest.size() == 3)
        rest = rest.substr(1);
    int64_t m = 0;
    if (rest.size() == 2 && is_digit(rest[0]) && is_digit(rest[1]))
        m = (rest[0] - '0') * 10 + (rest[1] - '0');
    else if (!rest.empty())
        return false;
    if (h > 23 || m > 59)
        return false;
    *offset = (z[0] == '-' ? -1 : 1) * (h * 3600 + m * 60);
    return true;
}

// tzdata names are letters, digits and "/_+-" and start with a letter; no
// dots, so the name can never climb out of the zone directory.
bool is_zone_name(std::string_view z)
{
    if (z.empty() || z.size() > kZoneNameMax || !is_alpha(z[0]))
        return false;
    for (char c : z)
        if (!is_alpha(c) && !is_digit(c) && c != '/' && c != '_' && c != '+' && c != '-')
            return false;
    return true;
}

// Offset east of UTC of a named zone at a wall-clock reading of that zone
// (counted as if UTC).  A reading that falls in a daylight-saving gap gets
// the offset in force after the change.
bool named_zone_offset(std::string_view name, int64_t local, int64_t* offset)
{
    const QTimeZone tz(QByteArray(name.data(), qsizetype(name.size())));
    if (!tz.isValid())
        return false;
    const auto offset_at = [&tz](int64_t utc) {
        return int64_t(tz.offsetFromUtc(QDateTime::fromSecsSinceEpoch(utc, Qt::UTC)));
    };
    const int64_t guess = offset_at(local);
    *offset = offset_at(local - guess);
    return true;
}

int parse_time(const char* text, bool any_zone, double* epoch)
{
    if (!text)
        return -1;
    Cursor c = trimmed(text);
    if (c.done())
        return -1;
    const std::string_view all(c.p, size_t(c.end - c.p));
    bool compact = false;
    if (is_bare_number(all, &compact) && !compact)
        return parse_epoch_number(all, epoch) ? 0 : -1;

    int64_t whole = 0;
    double fraction = 0;
    bool has_time = false;
    if (!parse_datetime(c, &whole, &fraction, &has_time))
        return -1;
    const bool blanks = c.skip_blanks();
    int64_t offset = 0;
    if (!c.done()) {
        // A zone may touch a time ("12:00Z", "12:00+05:30"), but after a
        // bare date it needs a blank.
        if (!blanks && !has_time)
            return -1;
        const std::string_view zone(c.p, size_t(c.end - c.p));
        if (ascii_iequal(zone, "z") || ascii_iequal(zone, "utc") || ascii_iequal(zone, "gmt"))
            offset = 0;
        else if (!any_zone)
            return -1;
        else if (zone[0] == '+' || zone[0] == '-') {
            if (!parse_offset(zone, &offset))
                return -1;
        } else if (!blanks || !is_zone_name(zone) || !named_zone_offset(zone, whole, &offset)) {
            return -1;
        }
    }
    *epoch = double(whole - offset) + fraction;
    return 0;
}

// ---- Intervals

// "digits[.digits]" or ".digits", locale-free.
bool read_number(Cursor& c, double* value)
{
    const char* start = c.p;
    while (!c.done() && is_digit(c.peek()))
        ++c.p;
    if (c.eat('.'))
        while (!c.done() && is_digit(c.peek()))
            ++c.p;
    if (c.p == start)
        return false;
    const auto r = std::from_chars(start, c.p, *value);
    return r.ec == std::errc() && r.ptr == c.p;
}

// "m:s", "h:m:s" or "d:h:m:s"; the first field is unbounded, the others
// must stay below 60, 60 and 24, and only the seconds take a fraction.
bool parse_colon_interval(Cursor c, double* value)
{
    static const int64_t scale[4] = {1, 60, 3600, kSecondsPerDay};
    static const int64_t limit[4] = {60, 60, 24, 0};
    int64_t fields[4] = {};
    int count = 0;
    double fraction = 0;
    for (;;) {
        if (count == 4)
            return false;
        int64_t v = 0;
        const int n = c.digits(&v);
        if (n < 1 || n > (count == 0 ? 12 : 2))
            return false;
        fields[count++] = v;
        if (c.eat(':'))
            continue;
        if (c.eat('.') && !read_fraction(c, &fraction))
            return false;
        break;
    }
    if (!c.done() || count < 2)
        return false;
    int64_t total = 0;
    for (int i = 0; i < count; ++i) {
        const int64_t v = fields[count - 1 - i];
        if (i < count - 1 && v >= limit[i])
            return false;
        total += v * scale[i];
    }
    *value = double(total) + fraction;
    return true;
}

double unit_seconds(std::string_view word)
{
    static const struct
    {
        const char* word;
        double seconds;
    } units[] = {
        {"s", 1},          {"sec", 1},        {"secs", 1},       {"second", 1},     {"seconds", 1},
        {"m", 60},         {"min", 60},       {"mins", 60},      {"minute", 60},    {"minutes", 60},
        {"h", 3600},       {"hr", 3600},      {"hrs", 3600},     {"hour", 3600},    {"hours", 3600},
        {"d", 86400},      {"day", 86400},    {"days", 86400},   {"w", 604800},     {"wk", 604800},
        {"week", 604800},  {"weeks", 604800},
    };
    for (const auto& u : units)
        if (ascii_iequal(word, u.word))
            return u.seconds;
    return 0;
}

// "90", "1.5h", "1d2h30m", "5 min": a bare number is seconds; otherwise
// every number carries a unit.
bool parse_unit_interval(Cursor c, double* value)
{
    double total = 0;
    int terms = 0;
    while (!c.done()) {
        double v = 0;
        if (!read_number(c, &v))
            return false;
        c.skip_blanks();
        const char* w = c.p;
        while (!c.done() && is_alpha(c.peek()))
            ++c.p;
        const std::string_view word(w, size_t(c.p - w));
        if (word.empty()) {  // a bare number, alone
            if (terms > 0 || !c.done())
                return false;
            *value = v;
            return true;
        }
        const double scale = unit_seconds(word);
        if (scale == 0)
            return false;
        total += v * scale;
        ++terms;
        c.skip_blanks();
    }
    *value = total;
    return true;
}

// ---- Formatting

locale_t c_locale()
{
    static const locale_t loc = newlocale(LC_ALL_MASK, "C", locale_t(0));
    return loc;
}

void append_number(std::string* out, int64_t v, int width)
{
    char buf[32];
    if (v < 0)
        std::snprintf(buf, sizeof buf, "-%0*lld", width, static_cast<long long>(-v));
    else
        std::snprintf(buf, sizeof buf, "%0*lld", width, static_cast<long long>(v));
    out->append(buf);
}

}  // namespace

double timenow()
{
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since_epoch).count();
}

double timeparse(const char* text)
{
    double epoch = 0;
    return parse_time(text, false, &epoch) == 0 ? epoch : HL_TIME_NULL;
}

int timeparsez(const char* text, double* epoch)
{
    double value = 0;
    if (!epoch || parse_time(text, true, &value) != 0)
        return -1;
    *epoch = value;
    return 0;
}

int deltimeparsez(const char* text, double* seconds)
{
    if (!text || !seconds)
        return -1;
    Cursor c = trimmed(text);
    const bool negative = c.eat('-');
    if (!negative)
        c.eat('+');
    if (c.done())
        return -1;
    const bool colon = std::memchr(c.p, ':', size_t(c.end - c.p)) != nullptr;
    double v = 0;
    if (!(colon ? parse_colon_interval(c, &v) : parse_unit_interval(c, &v)))
        return -1;
    if (!epoch_in_range(v))
        return -1;
    *seconds = negative ? -v : v;
    return 0;
}

char* timeformat(double epoch, const char* format)
{
    if (!format || !epoch_in_range(epoch))
        return nullptr;
    const int64_t ms_total = int64_t(std::floor(epoch * 1000.0 + 0.5));
    const int64_t whole = floor_div(ms_total, 1000);
    const int64_t ms = ms_total - whole * 1000;
    const Fields f = split_seconds(whole);

    struct tm tm = {};
    tm.tm_year = int(f.year - 1900);
    tm.tm_mon = f.month - 1;
    tm.tm_mday = f.day;
    tm.tm_yday = f.doy - 1;
    tm.tm_wday = f.wday;
    tm.tm_hour = f.hour;
    tm.tm_min = f.minute;
    tm.tm_sec = f.second;
#ifdef __GLIBC__
    tm.tm_gmtoff = 0;
    tm.tm_zone = "UTC";
#endif

    // %s, %j and %Y go into the format as literal text; strftime does the
    // rest.  The leading 'x' keeps its output non-empty, since it returns 0
    // both for empty output and for a full buffer.
    std::string spec = "x";
    const char* p = format;
    while (*p) {
        if (*p != '%') {
            spec += *p++;
            continue;
        }
        const char* q = p + 1;
        while (*q && std::strchr("_-0^#", *q))
            ++q;
        while (is_digit(*q))
            ++q;
        if (*q == 'E' || *q == 'O')
            ++q;
        switch (*q) {
        case 's':
            append_number(&spec, ms, 3);
            break;
        case 'j':
            append_number(&spec, f.doy, 3);
            break;
        case 'Y':
            append_number(&spec, f.year, 4);
            break;
        case '\0':  // an unfinished conversion at the end stays as text
            spec += "%%";
            spec.append(p + 1, q);
            p = q;
            continue;
        default:
            spec.append(p, q + 1);
            break;
        }
        p = q + 1;
    }

    size_t size = std::min(spec.size() * 2 + 64, kFormatOutputMax);
    std::string buf;
    for (;;) {
        buf.assign(size, '\0');
        const size_t n = c_locale() ? strftime_l(buf.data(), size, spec.c_str(), &tm, c_locale())
                                    : strftime(buf.data(), size, spec.c_str(), &tm);
        if (n > 0) {
            char* out = static_cast<char*>(std::malloc(n));
            if (!out)
                return nullptr;
            std::memcpy(out, buf.data() + 1, n - 1);
            out[n - 1] = '\0';
            return out;
        }
        if (size >= kFormatOutputMax)
            return nullptr;
        size = std::min(size * 2, kFormatOutputMax);
    }
}

char* timestring(double epoch)
{
    return timeformat(epoch, "%Y-%m-%d %H:%M:%S.%s");
}

int timejdate(double epoch)
{
    int year = 0, doy = 0;
    if (timebreakdown(epoch, &year, &doy, nullptr, nullptr, nullptr) != 0)
        return 0;
    return year * 1000 + doy;
}

int timedaynum2date(int doy, int year, int* month, int* day)
{
    if (doy < 1 || doy > days_in_year(year))
        return -1;
    int m = 1;
    int rest = doy;
    while (rest > days_in_month(year, m))
        rest -= days_in_month(year, m++);
    if (month)
        *month = m;
    if (day)
        *day = rest;
    return 0;
}

int timebreakdown(double epoch, int* year, int* doy, int* hour, int* minute, double* second)
{
    return timebreakdown2(epoch, year, nullptr, nullptr, doy, hour, minute, second);
}

int timebreakdown2(double epoch, int* year, int* month, int* day, int* doy, int* hour, int* minute, double* second)
{
    if (!epoch_in_range(epoch))
        return -1;
    const double whole = std::floor(epoch);
    const Fields f = split_seconds(int64_t(whole));
    if (year)
        *year = int(f.year);
    if (month)
        *month = f.month;
    if (day)
        *day = f.day;
    if (doy)
        *doy = f.doy;
    if (hour)
        *hour = f.hour;
    if (minute)
        *minute = f.minute;
    if (second)
        *second = f.second + (epoch - whole);
    return 0;
}

int nicetimeticks(int n, double* start, double* incr, double xstart, double xend)
{
    if (n < 1 || !start || !incr || !std::isfinite(xstart) || !std::isfinite(xend) || xstart == xend)
        return -1;
    const double lo = std::min(xstart, xend);
    const double hi = std::max(xstart, xend);
    if (!std::isfinite(hi - lo))
        return -1;

    static const double steps[] = {
        1e-6, 2e-6, 5e-6, 1e-5, 2e-5, 5e-5, 1e-4, 2e-4, 5e-4, 1e-3, 2e-3, 5e-3, 1e-2, 2e-2, 5e-2, 0.1, 0.2, 0.5,
        1, 2, 5, 10, 15, 30,                       // seconds
        60, 120, 300, 600, 900, 1800,              // minutes
        3600, 7200, 10800, 21600, 43200,           // hours
        86400, 172800, 432000, 864000, 2592000,    // days
        31536000,                                  // a year of 365 days
    };
    constexpr int fixed = int(sizeof steps / sizeof steps[0]);
    constexpr double year = 31536000;
    static const double mantissa[3] = {2, 5, 10};

    // Multiples of the step within [lo, hi], allowing for the rounding of
    // the quotients so that a limit on a tick counts.
    const auto first_last = [lo, hi](double step, double* first, double* last) {
        const double a = lo / step, b = hi / step;
        *first = std::ceil(a - (1e-9 + 4e-16 * std::fabs(a)));
        *last = std::floor(b + (1e-9 + 4e-16 * std::fabs(b)));
    };
    const double reach = std::max({hi - lo, std::fabs(lo), std::fabs(hi)});
    double chosen = 0, empty = 0;
    double decade = 1;
    // Past a step larger than every value in sight, no later step can put a
    // tick in the range that this one did not.
    for (int i = 0; i < 2000; ++i) {
        double step = 0;
        if (i < fixed) {
            step = steps[i];
        } else {
            step = year * mantissa[(i - fixed) % 3] * decade;
            if ((i - fixed) % 3 == 2)
                decade *= 10;
        }
        if (!std::isfinite(step))
            break;
        double first = 0, last = 0;
        first_last(step, &first, &last);
        const double count = last - first + 1;
        if (count >= 1 && count <= n) {
            chosen = step;
            break;
        }
        if (count < 1 && empty == 0)
            empty = step;
        if (step > reach)
            break;
    }
    if (chosen == 0)
        chosen = empty;
    if (chosen == 0)
        return -1;
    double first = 0, last = 0;
    first_last(chosen, &first, &last);
    *start = first * chosen;
    *incr = chosen;
    return 0;
}
