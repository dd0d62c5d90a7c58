// Time parsing, formatting, calendar helpers and time-axis ticks.
#include "toolkit/base/hltime.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <set>
#include <string>
#include <vector>

namespace {

// timeformat()/timestring() result as a std::string; "<null>" for null.
std::string take(char* text)
{
    if (!text)
        return "<null>";
    std::string s(text);
    std::free(text);
    return s;
}

constexpr double kNoon2000 = 946728000;     // 2000-01-01 12:00:00
constexpr double kDay366of2000 = 978220800;  // 2000-12-31
constexpr double kDay366of2004 = 1104451200;

struct TextCase { const char* name; const char* text; double expected; };

struct StringCase { const char* name; double epoch; const char* expected; };

}  // namespace

TEST(TimeParse, AcceptsEveryForm)
{
    const TextCase cases[] = {
        {"year-day with time", "2000001:12:00:00", kNoon2000}, {"year-day alone", "2000001", 946684800},
        {"year-day hours only", "2000001:12", kNoon2000}, {"year-day hours minutes", "2000001:12:30", kNoon2000 + 1800},
        {"year-day blank and fraction", "2000001 12:00:00.25", kNoon2000 + 0.25},
        {"surrounding blanks", " \t2000001:12:00:00 \n", kNoon2000}, {"ISO with Z", "2000-01-01T12:00:00Z", kNoon2000},
        {"ISO blank and fraction", "2000-01-01 12:00:00.5", kNoon2000 + 0.5},
        {"ISO date only", "2000-01-01", 946684800}, {"ISO without seconds", "2000-01-01T12:00", kNoon2000},
        {"ISO with UTC", "2000-01-01 12:00:00 UTC", kNoon2000}, {"ISO with gmt", "2000-01-01 12:00:00 gmt", kNoon2000},
        {"slashes year first", "2000/01/01 12:00:00", kNoon2000}, {"ISO ordinal", "2000-001T12:00:00", kNoon2000},
        {"month/day/year with time", "1/1/2000 12:00", kNoon2000},
        {"month/day/year after February 29", "3/1/2000", 951868800}, {"bare epoch", "946728000.5", kNoon2000 + 0.5},
        {"negative epoch", "-12.5", -12.5}, {"epoch with exponent", "1e9", 1e9}, {"signed epoch", "+5", 5},
        {"eight digits are an epoch", "20000101", 20000101}, {"six digits are an epoch", "200001", 200001},
        {"day 366 of 2000", "2000366", kDay366of2000}, {"day 366 of 2004 ISO ordinal", "2004-366", kDay366of2004},
        {"February 29 of 2000", "2000-02-29", 951782400}, {"before 1970", "1969-12-31 23:59:58.5", -1.5},
        {"1900 is not a leap year", "1900-03-01", -2203891200},
        {"leap second runs into the next day", "2000-01-01 23:59:60", 946771200},
        {"year zero", "0000-01-01", -62167219200}, {"negative year", "-0001-01-01", -62198755200},
        {"far future", "2100-01-01", 4102444800}, {"largest year", "99999-12-31 23:59:59", 3093527980799},
        {"smallest year", "-9999-01-01", -377705116800}, {"largest epoch", "1e13", 1e13},
        {"smallest epoch", "-1e13", -1e13},
    };
    for (const TextCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(timeparse(c.text), c.expected) << c.text;
    }
}

TEST(TimeParse, RejectsBadText)
{
    const char* bad[] = {
        "", "   ", "abc", "2000-13-01", "2000-00-10", "2000-02-30", "2001-02-29", "1999366", "1999-366",
        "2000367", "2000000", "2000-01-01 24:00", "2000-01-01 12:60", "2000-01-01 12:00:61", "2000-01-01T",
        "2000-01-01 12:", "2000-01-01 12:00:00.", "2000-01-01 12:00:00 x", "2000-01-01x", "2000-1",
        "2000001:", "2000001:12:00:00:00", "1e14", "-2e13", "1e999", "nan", "inf", "1e", "--5", ".", "1.2.3",
        "100000-01-01", "-10000-01-01", "99999999999999999999-01-01", "13/1/2000", "1/32/2000", "1/1/00",
        "2000-01-01 12:00:00+05:00", "2000-01-01 12:00:00 Europe/Berlin", "2000-01-01Z", "12:00:00",
        "2000-01-01 12:00:00 Z Z",
    };
    for (const char* text : bad) {
        SCOPED_TRACE(text);
        EXPECT_EQ(timeparse(text), HL_TIME_NULL);
    }
    EXPECT_EQ(timeparse(nullptr), HL_TIME_NULL);
}

TEST(TimeRoundTrip, KnownStandardStrings)
{
    const StringCase cases[] = {
        {"noon 2000", kNoon2000, "2000-01-01 12:00:00.000"}, {"before the epoch", -1.5, "1969-12-31 23:59:58.500"},
        {"day 366 of 2000", kDay366of2000, "2000-12-31 00:00:00.000"},
        {"day 366 of 2004", kDay366of2004 + 0.125, "2004-12-31 00:00:00.125"},
        {"1900-03-01", -2203891200, "1900-03-01 00:00:00.000"}, {"year zero", -62167219200, "0000-01-01 00:00:00.000"},
        {"negative year", -62198755200, "-0001-01-01 00:00:00.000"},
        {"last millisecond of 9999", 253402300799.999, "9999-12-31 23:59:59.999"},
    };
    for (const StringCase& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string text = take(timestring(c.epoch));
        EXPECT_EQ(text, c.expected);
        EXPECT_NEAR(timeparse(text.c_str()), c.epoch, 1e-6);
    }
}

TEST(TimeRoundTrip, SweepAgreesWithQtCalendar)
{
    // From 1700 to 2300 in steps that visit every day of year and time of day.
    for (double t = -8.5e9; t < 1.05e10; t += 86400.0 * 37 + 3661.123) {
        SCOPED_TRACE(t);
        const std::string text = take(timestring(t));
        const double back = timeparse(text.c_str());
        ASSERT_NEAR(back, std::floor(t * 1000 + 0.5) / 1000, 1e-5) << text;
        EXPECT_EQ(take(timestring(back)), text);
        const qint64 whole = qint64(std::floor(t));
        const QString qt = QDateTime::fromSecsSinceEpoch(whole, Qt::UTC).toString("yyyy-MM-dd hh:mm:ss");
        EXPECT_EQ(take(timeformat(double(whole), "%Y-%m-%d %H:%M:%S")), qt.toStdString());
    }
}

TEST(TimeParseZone, ZonesAndOffsets)
{
    const TextCase cases[] = {
        {"no zone is UTC", "2000-01-01 12:00:00", kNoon2000}, {"Z", "2000-01-01T12:00:00Z", kNoon2000},
        {"UTC", "2000-01-01 12:00:00 UTC", kNoon2000},
        {"Los Angeles winter", "2000-01-01 12:00:00 America/Los_Angeles", 946756800},
        {"Los Angeles summer", "2000-07-01 12:00:00 America/Los_Angeles", 962478000},
        {"Los Angeles morning after the spring change", "2000-04-02 08:00 America/Los_Angeles", 954687600},
        {"Berlin", "2000-01-01 12:00:00 Europe/Berlin", kNoon2000 - 3600},
        {"New York, month/day/year", "1/1/2000 12:00 America/New_York", kNoon2000 + 5 * 3600},
        {"year-day form", "2000001 12:00:00 Asia/Kolkata", kNoon2000 - 19800},
        {"zone after a bare date", "2000-01-01 Europe/Berlin", 946684800 - 3600},
        {"offset with colon", "2000-01-01T12:00:00+05:30", kNoon2000 - 19800},
        {"offset without colon", "2000-01-01T12:00:00+0530", kNoon2000 - 19800},
        {"hours only offset after blank", "2000-01-01 12:00:00 -08", kNoon2000 + 8 * 3600},
        {"attached negative offset", "2000-01-01 12:00-08:00", kNoon2000 + 8 * 3600},
        {"fraction kept with a zone", "2000-01-01 12:00:00.25 Europe/Berlin", kNoon2000 - 3600 + 0.25},
        {"bare epoch", "946728000", kNoon2000},
    };
    for (const TextCase& c : cases) {
        SCOPED_TRACE(c.name);
        double epoch = 0;
        ASSERT_EQ(timeparsez(c.text, &epoch), 0) << c.text;
        EXPECT_EQ(epoch, c.expected);
    }
}

TEST(TimeParseZone, RejectsBadZones)
{
    const char* bad[] = {
        "2000-01-01 12:00:00 Mars/Olympus", "2000-01-01 12:00:00 +24:00", "2000-01-01 12:00:00 +05:61",
        "2000-01-01 12:00:00 +5", "2000-01-01 12:00:00 +05:3", "2000-01-01+05:00", "946728000 UTC",
        "2000-01-01 12:00:00America/Los_Angeles", "2000-01-01 12:00:00 ../../etc/passwd", "",
        "2000-01-01 12:00:00 Europe/Berlin x", "2000-01-01 12:00:00 Europe/Berlin/", "2000-02-30 12:00:00 UTC",
    };
    for (const char* text : bad) {
        SCOPED_TRACE(text);
        double epoch = 123;
        EXPECT_EQ(timeparsez(text, &epoch), -1);
        EXPECT_EQ(epoch, 123);  // untouched on failure
    }
    double epoch = 0;
    EXPECT_EQ(timeparsez(nullptr, &epoch), -1);
    EXPECT_EQ(timeparsez("2000-01-01", nullptr), -1);
}

TEST(DeltaTimeParse, Intervals)
{
    const TextCase cases[] = {
        {"bare seconds", "90", 90}, {"bare fraction", "0.5", 0.5}, {"minutes:seconds", "1:30", 90},
        {"minutes:seconds with fraction", "1:30.5", 90.5}, {"large first field", "90:00", 5400},
        {"h:m:s", "1:00:00", 3600}, {"d:h:m:s", "1:00:00:00", 86400}, {"seconds unit", "90s", 90},
        {"minutes unit", "5m", 300}, {"hours unit", "2h", 7200}, {"days unit", "1d", 86400},
        {"weeks unit", "1w", 604800}, {"fractional hours", "1.5h", 5400}, {"compound", "1d2h30m", 95400},
        {"compound with blanks", " 1d 2h ", 93600}, {"negative", "-5m", -300}, {"negative colon form", "-1:30", -90},
        {"plus sign", "+2h", 7200}, {"word sec", "10 sec", 10}, {"word min", "5 min", 300},
        {"word hour", "1hour", 3600}, {"word hours", "2 hours", 7200}, {"word day", "1 day", 86400},
        {"word days", "3days", 259200}, {"upper case", "2H", 7200},
    };
    for (const TextCase& c : cases) {
        SCOPED_TRACE(c.name);
        double seconds = -1;
        ASSERT_EQ(deltimeparsez(c.text, &seconds), 0) << c.text;
        EXPECT_EQ(seconds, c.expected);
    }
}

TEST(DeltaTimeParse, RejectsBadText)
{
    const char* bad[] = {
        "", "  ", "-", "abc", "5x", "5 parsecs", "1:60", "1:2:3:4:5", "1:", ":30", "1h30", "1.5:30",
        "1..5", "--5", "5m-", "1e3", "1:24:00:00", "- 5m", "99999999999999999999d", "1 2", "h",
    };
    for (const char* text : bad) {
        SCOPED_TRACE(text);
        double seconds = 7;
        EXPECT_EQ(deltimeparsez(text, &seconds), -1);
        EXPECT_EQ(seconds, 7);
    }
    double seconds = 0;
    EXPECT_EQ(deltimeparsez(nullptr, &seconds), -1);
    EXPECT_EQ(deltimeparsez("5m", nullptr), -1);
}

TEST(TimeFormat, FormatsInUse)
{
    struct Case { const char* name; double epoch; const char* format; const char* expected; };
    const double t = kNoon2000 + 0.25;
    const Case cases[] = {
        {"date", t, "%D", "01/01/00"}, {"time", t, "%T", "12:00:00"},
        {"ISO week year before the first Monday", t, "%G", "1999"}, {"year and day", t, "%Y%j:%T", "2000001:12:00:00"},
        {"year and day with milliseconds", t, "%Y%j:%H:%M:%S.%s", "2000001:12:00:00.250"},
        {"first of the month", t, "%m/1/%Y", "01/1/2000"}, {"two-digit year", t, "%y", "00"},
        {"month and year", t, "%b-%y", "Jan-00"}, {"month and day", t, "%b-%d", "Jan-01"},
        {"hours and minutes", t, "%H:%M", "12:00"}, {"clock", t, "%H:%M:%S", "12:00:00"},
        {"clock with milliseconds", t, "%H:%M:%S.%s", "12:00:00.250"}, {"year", t, "%Y", "2000"},
        {"ISO date", t, "%Y-%m-%d", "2000-01-01"}, {"C locale names", t, "%a %A %B", "Sat Saturday January"},
        {"zone is UTC", t, "%Z %z", "UTC +0000"}, {"day 366", kDay366of2000, "%Y%j", "2000366"},
        {"before the epoch", -1.5, "%Y-%m-%d %T.%s", "1969-12-31 23:59:58.500"},
        {"year before 1000", -30610224000, "%Y-%m-%d", "1000-01-01"}, {"literal percent", t, "%%s 100%%", "%s 100%"},
        {"unfinished conversion stays", t, "abc%", "abc%"}, {"plain text", t, "plain", "plain"},
        {"empty format", t, "", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(take(timeformat(c.epoch, c.format)), c.expected);
    }
}

TEST(TimeFormat, RoundsToMillisecondsWithCarry)
{
    const StringCase cases[] = {
        {"into the next minute", 59.9996, "1970-01-01 00:01:00.000"},
        {"stays in the minute", 59.9994, "1970-01-01 00:00:59.999"},
        {"into the next day", 86399.9996, "1970-01-02 00:00:00.000"},
        {"into the next year", 978307199.9995, "2001-01-01 00:00:00.000"},
        {"to zero from below", -0.0004, "1970-01-01 00:00:00.000"},
        {"back across the epoch", -0.0006, "1969-12-31 23:59:59.999"},
    };
    for (const StringCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(take(timeformat(c.epoch, "%Y-%m-%d %H:%M:%S.%s")), c.expected);
    }
}

TEST(TimeFormat, NullForBadArguments)
{
    EXPECT_EQ(timejdate(NAN), 0);
    EXPECT_EQ(timeformat(0, nullptr), nullptr);
    for (double bad : {double(NAN), double(INFINITY), 2e13})
        EXPECT_EQ(timeformat(bad, "%Y"), nullptr) << bad;
    EXPECT_EQ(timestring(NAN), nullptr);
    EXPECT_EQ(timeformat(0, "%100000c"), nullptr);  // beyond the output cap
}

TEST(TimeCalendar, NowAndJdate)
{
    EXPECT_NEAR(timenow(), double(std::time(nullptr)), 5.0);
    EXPECT_EQ((std::vector{timejdate(kNoon2000), timejdate(kDay366of2000), timejdate(kDay366of2004 + 86399.5),
                           timejdate(-1.5)}), (std::vector{2000001, 2000366, 2004366, 1969365}));
}

TEST(TimeCalendar, DayNumberToDate)
{
    struct Case { const char* name; int doy, year; int result, month, day; };
    const Case cases[] = {
        {"first day", 1, 2000, 0, 1, 1}, {"leap day", 60, 2000, 0, 2, 29}, {"no leap day", 60, 1999, 0, 3, 1},
        {"day 366", 366, 2000, 0, 12, 31}, {"last day of a common year", 365, 1900, 0, 12, 31},
        {"day 366 of 1900", 366, 1900, -1, 0, 0}, {"day 366 of 1999", 366, 1999, -1, 0, 0},
        {"day 0", 0, 2000, -1, 0, 0}, {"negative day", -5, 2000, -1, 0, 0}, {"day 366 of 2400", 366, 2400, 0, 12, 31},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int month = 0, day = 0;
        EXPECT_EQ(timedaynum2date(c.doy, c.year, &month, &day), c.result);
        EXPECT_EQ((std::vector{month, day}), (std::vector{c.month, c.day}));
    }
    EXPECT_EQ(timedaynum2date(32, 2000, nullptr, nullptr), 0);
}

TEST(TimeCalendar, Breakdown)
{
    struct Case { const char* name; double epoch; int year, month, day, doy, hour, minute; double second; };
    const Case cases[] = {
        {"noon 2000", kNoon2000 + 0.25, 2000, 1, 1, 1, 12, 0, 0.25},
        {"before the epoch", -1.5, 1969, 12, 31, 365, 23, 59, 58.5},
        {"leap day", 951782400 + 3661.5, 2000, 2, 29, 60, 1, 1, 1.5},
        {"day 366 of 2004", kDay366of2004 + 86399, 2004, 12, 31, 366, 23, 59, 59},
        {"not rounded", 59.9996, 1970, 1, 1, 1, 0, 0, 59.9996},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int year = 0, month = 0, day = 0, doy = 0, hour = 0, minute = 0;
        double second = 0;
        ASSERT_EQ(timebreakdown2(c.epoch, &year, &month, &day, &doy, &hour, &minute, &second), 0);
        EXPECT_EQ((std::vector{year, month, day, doy, hour, minute}),
                  (std::vector{c.year, c.month, c.day, c.doy, c.hour, c.minute}));
        EXPECT_NEAR(second, c.second, 1e-6);
        int doy_only = 0;
        ASSERT_EQ(timebreakdown(c.epoch, nullptr, &doy_only, nullptr, nullptr, nullptr), 0);
        EXPECT_EQ(doy_only, c.doy);
    }
    EXPECT_EQ(timebreakdown(NAN, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(timebreakdown(1.5e13, nullptr, nullptr, nullptr, nullptr, nullptr), -1);
}

namespace {

// The round increments a time axis may use.
std::set<double> round_steps()
{
    std::set<double> s;
    for (double decade = 1e-6; decade < 0.9; decade *= 10)
        for (double m : {1.0, 2.0, 5.0})
            s.insert(m * decade);
    for (double v : {1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400,
                     172800, 432000, 864000, 2592000})
        s.insert(v);
    for (double decade = 1; decade < 1e6; decade *= 10)
        for (double m : {1.0, 2.0, 5.0})
            s.insert(31536000 * m * decade);
    return s;
}

// Multiples of step in [lo, hi], counted apart from the code under test.
int multiples_in(double lo, double hi, double step)
{
    const double tol = 1e-9 + 1e-15 * std::max(std::fabs(lo), std::fabs(hi)) / step;
    return int(std::floor(hi / step + tol) - std::ceil(lo / step - tol) + 1);
}

bool is_round_step(const std::set<double>& steps, double incr)
{
    for (double s : steps)
        if (std::fabs(s - incr) <= 1e-9 * s)
            return true;
    return false;
}

}  // namespace

TEST(TimeTicks, RoundStepsAndCountsOverManySpans)
{
    const std::set<double> steps = round_steps();
    const double spans[] = {1e-3, 2.5e-3, 0.07, 1, 7, 61, 599, 3600, 4000, 86400, 3 * 86400, 20 * 86400,
                            100 * 86400, 365.25 * 86400, 3 * 31536000, 50 * 31557600.0};
    const double origins[] = {0, kNoon2000 + 0.123, -1e9 - 0.5, 4102444800};
    for (int n : {1, 3, 5, 10, 25}) {
        for (double origin : origins) {
            for (double span : spans) {
                for (bool reversed : {false, true}) {
                    SCOPED_TRACE(testing::Message() << "n " << n << " origin " << origin << " span " << span
                                                    << (reversed ? " reversed" : ""));
                    const double lo = origin, hi = origin + span;
                    double start = 0, incr = 0;
                    ASSERT_EQ(reversed ? nicetimeticks(n, &start, &incr, hi, lo)
                                       : nicetimeticks(n, &start, &incr, lo, hi),
                              0);
                    EXPECT_TRUE(is_round_step(steps, incr)) << incr;
                    const double tol = 1e-6 * incr + 1e-15 * std::fabs(origin);
                    EXPECT_GE(start, lo - tol);
                    EXPECT_LT(start - incr, lo - tol);  // the first multiple, not a later one
                    const double k = start / incr;
                    EXPECT_NEAR(k, std::round(k), 1e-6 + 4e-15 * std::fabs(k));
                    int count = 0;
                    for (double t = start; t <= hi + tol && count <= n + 1; t = start + count * incr)
                        ++count;
                    EXPECT_LE(count, n);
                    // At least one tick whenever some round step gives from 1 to n.
                    bool possible = false;
                    for (double s : steps) {
                        const int m = multiples_in(lo, hi, s);
                        possible = possible || (m >= 1 && m <= n);
                    }
                    if (possible) {
                        EXPECT_GE(count, 1);
                    }
                }
            }
        }
    }
}

TEST(TimeTicks, ChosenSteps)
{
    struct Case { const char* name; int n; double xstart, xend; double start, incr; };
    const Case cases[] = {
        {"a minute in sevenths", 7, 0, 60, 0, 10}, {"a minute in sixths", 6, 0, 60, 0, 15},
        {"reversed minute", 7, 60, 0, 0, 10},
        {"a second in fifths", 5, kNoon2000 + 0.3, kNoon2000 + 1.3, kNoon2000 + 0.4, 0.2},
        {"half a millisecond", 5, 0, 5e-4, 0, 2e-4}, {"one tick where possible", 1, 44, 46, 45, 5},
        {"one tick past a step with none", 1, 365 * 86400.0, 385 * 86400.0, 365 * 86400.0, 365 * 86400.0},
        {"a day in hours", 4, 0, 86400, 0, 43200},
        {"fifty years in decades", 6, 0, 50 * 31536000.0, 0, 10 * 31536000.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double start = 0, incr = 0;
        ASSERT_EQ(nicetimeticks(c.n, &start, &incr, c.xstart, c.xend), 0);
        EXPECT_NEAR(incr, c.incr, 1e-9 * c.incr);
        EXPECT_NEAR(start, c.start, 1e-6);
    }
}

TEST(TimeTicks, RejectsBadArguments)
{
    double start = 0, incr = 0;
    const struct { int n; double xstart, xend; } bad[] = {{0, 0, 10}, {5, 10, 10}, {5, NAN, 10}, {5, 0, INFINITY},
                                                            {5, -1.7e308, 1.7e308}};
    for (const auto& b : bad)
        EXPECT_EQ(nicetimeticks(b.n, &start, &incr, b.xstart, b.xend), -1) << b.n << " " << b.xstart << " " << b.xend;
    EXPECT_EQ(nicetimeticks(5, nullptr, &incr, 0, 10), -1);
    EXPECT_EQ(nicetimeticks(5, &start, nullptr, 0, 10), -1);
}
