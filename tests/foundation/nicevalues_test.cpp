// Tick label texts and nice tick positions.
#include "support/testsupport.h"

#include "foundation/nicevalues.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

TEST(NiceNumber, Texts)
{
    struct Case { const char* name; double number; const char* format; const char* text; } cases[] = {
        {"auto zero", 0.0, "auto", "0"}, {"auto negative zero", -0.0, "auto", "0"}, {"auto one", 1.0, "auto", "1"},
        {"auto hundred keeps its zeros", 100.0, "auto", "100"}, {"auto fraction", -2.5, "auto", "-2.5"},
        {"auto sum of tenths", 0.1 + 0.2, "auto", "0.3"}, {"auto just under round", 2.9999999999999, "auto", "3"},
        {"auto small", 0.000123, "auto", "0.000123"}, {"auto below ten decimals", 1e-12, "auto", "0"},
        {"auto tiny negative", -1e-12, "auto", "0"},
        {"auto sixteen digits", 1234567890123456.0, "auto", "1234567890123000"},
        {"auto sixteen digits negative", -1234567890123456.0, "auto", "-1234567890123000"},
        {"auto thirteen digits with decimals", 1234567.123456789, "auto", "1234567.123456"},
        {"none", 1.5, "none", ""}, {"fixed", 1234.5678, "%.2f", "1234.57"},
        {"fixed with text", 0.5, "x=%g s", "x=0.5 s"}, {"percent sign", 2.5, "%.1f%%", "2.5%"},
        {"exponent", 12.0, "%e", "1.200000e+01"}, {"long double spelling", 0.25, "%lf", "0.250000"},
        {"int half up", 2.5, "%5d", "    3"}, {"int half away from zero", -2.5, "%5d", "   -3"},
        {"int below half", 3.49, "%d", "3"}, {"int minus half", -0.5, "%d", "-1"}, {"int flags", 7.0, "%+03d", "+07"},
        {"int long", 12.0, "%ld", "12"}, {"int beyond int", 1e20, "%d", "2147483647"},
        {"int below int", -1e20, "%d", "-2147483648"}, {"int NaN", std::nan(""), "%d", "0"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char text[VX_NICE_NUMBER_SIZE];
        strcpy(text, "junk");
        EXPECT_EQ(VX_nice_number(c.number, c.format, text), 0) << takeErrors();
        EXPECT_STREQ(text, c.text);
        EXPECT_EQ(takeErrors(), "");
    }
}

TEST(NiceNumber, BadFormatsAreNeverUsed)
{
    const char* cases[] = {
        "%s",        "%n",        "%f %f",  "%d %d", "%*d",   "%Lf",  "%.1f km/d", "%x",  "plain",
        "",          "%",         "%1$f",   "%.9999f", "%hd", "%d%n", "%p",        "%c",  "%5.*f",
        "%f%s",      "%lf%",      "%llf",   "%i",  // "%i" does not end in "d", so it takes a double
    };
    for (const char* format : cases) {
        SCOPED_TRACE(format);
        char text[VX_NICE_NUMBER_SIZE];
        strcpy(text, "junk");
        EXPECT_EQ(VX_nice_number(1.5, format, text), -1);
        EXPECT_STREQ(text, "");
        EXPECT_EQ(takeErrors(), std::string("VX_nice_number: Bad format '") + format + "'.\n");
    }
}

TEST(NiceNumber, TextMustFitTheBuffer)
{
    char text[8];
    strcpy(text, "junk");
    EXPECT_EQ(VX_nice_number(1234.5, "%f", text, sizeof text), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(takeErrors(), "VX_nice_number: Text of 1234.5 does not fit in 8 bytes.\n");
    EXPECT_EQ(VX_nice_number(1234.5, "auto", text, sizeof text), 0);
    EXPECT_STREQ(text, "1234.5");
    EXPECT_EQ(VX_nice_number(12345678.0, "auto", text, sizeof text), -1) << "needs 9 bytes";
    EXPECT_STREQ(text, "");
    takeErrors();
    // the three-argument form writes at most VX_NICE_NUMBER_SIZE bytes
    char big[VX_NICE_NUMBER_SIZE + 16];
    memset(big, 'x', sizeof big);
    EXPECT_EQ(VX_nice_number(1e300, "auto", big), -1);
    EXPECT_EQ(big[0], '\0');
    for (size_t i = VX_NICE_NUMBER_SIZE; i < sizeof big; i++)
        EXPECT_EQ(big[i], 'x');
    EXPECT_EQ(VX_nice_number(1e300, "%g", big), 0);
    EXPECT_STREQ(big, "1e+300");
    takeErrors();
}

TEST(NiceNumber, NullArguments)
{
    char text[16] = "junk";
    EXPECT_EQ(VX_nice_number(1.0, nullptr, text), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(VX_nice_number(1.0, "auto", nullptr), -1);
    EXPECT_EQ(VX_nice_number(1.0, "auto", text, 0), -1);
    EXPECT_EQ(takeErrors(), "VX_nice_number: No format.\nVX_nice_number: No room for the text.\n"
                            "VX_nice_number: No room for the text.\n");
}

namespace {

struct Ticks
{
    double start_big = -7.0;
    int n_big = -7;
    double incr_big = 0.0;
    double start_sml = -7.0;
    int n_sml = -7;
    double incr_sml = 0.0;
};

int niceTicks(double start, double end, double width, double minbigwidth, Ticks* t)
{
    return VX_get_nice_fvals(start, end, width, minbigwidth, &t->start_big, &t->n_big, &t->incr_big, &t->start_sml,
                             &t->n_sml, &t->incr_sml);
}

// Doubles that should be equal up to the rounding of repeated steps.
void expectClose(double got, double want, const char* what)
{
    double tolerance = 1e-9 * std::max(1e-300, std::fabs(want));
    EXPECT_NEAR(got, want, tolerance) << what;
}

} // namespace

TEST(NiceTicks, Layouts)
{
    // incr_*_in: caller minima
    struct Case {
        const char* name; double start, end, width, minbigwidth; double incr_big_in, incr_sml_in; Ticks want;
    } cases[] = {
        {"unit steps", 0, 10, 100, 10, 0, 0, {0, 11, 1, 0, 101, 0.1}},
        {"minbigwidth from width", 0, 10, 100, 0, 0, 0, {0, 11, 1, 0, 101, 0.1}},
        {"fives", 2, 32, 100, 25, 0, 0, {5, 6, 5, 2, 31, 1}},
        {"two and a halfs", 0, 12, 100, 25, 0, 0, {0, 5, 2.5, 0, 25, 0.5}},
        {"not on a tick", 0.3, 7.75, 200, 50, 0, 0, {1, 7, 1, 0.3, 75, 0.1}},
        {"negative", -10, -1, 90, 10, 0, 0, {-10, 10, 1, -10, 91, 0.1}},
        {"across zero", -2.5, 2.5, 100, 20, 0, 0, {-2, 5, 1, -2.5, 51, 0.1}},
        {"reversed", 10, 0, 100, 10, 0, 0, {10, 11, -1, 10, 101, -0.1}},
        {"reversed negative", -1, -11, 100, 10, 0, 0, {-1, 11, -1, -1, 101, -0.1}},
        {"reversed not on a tick", 7.75, 0.25, 200, 50, 0, 0, {7, 7, -1, 7.7, 75, -0.1}},
        {"tiny", 0, 1.055e-12, 100, 10, 0, 0, {0, 11, 1e-13, 0, 106, 1e-14}},
        {"huge", 0, 1.055e300, 100, 10, 0, 0, {0, 11, 1e299, 0, 106, 1e298}},
        {"no width: ten ticks", 0, 10, 0, 0, 0, 0, {0, 11, 1, 0, 101, 0.1}},
        {"caller minimum kept", 0, 10, 100, 10, 2, 0, {0, 6, 2, 0, 51, 0.2}},
        {"caller minima kept", 0, 10, 100, 10, 2, 0.5, {0, 6, 2, 0, 21, 0.5}},
        {"caller minimum too small", 0, 10, 100, 10, 0.5, 0.01, {0, 11, 1, 0, 101, 0.1}},
        {"negative caller increments ignored", 0, 10, 100, 10, -3, -1, {0, 11, 1, 0, 101, 0.1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Ticks t;
        t.incr_big = c.incr_big_in;
        t.incr_sml = c.incr_sml_in;
        ASSERT_EQ(niceTicks(c.start, c.end, c.width, c.minbigwidth, &t), 1);
        expectClose(t.start_big, c.want.start_big, "start_big");
        EXPECT_EQ(t.n_big, c.want.n_big);
        expectClose(t.incr_big, c.want.incr_big, "incr_big");
        expectClose(t.start_sml, c.want.start_sml, "start_sml");
        EXPECT_EQ(t.n_sml, c.want.n_sml);
        expectClose(t.incr_sml, c.want.incr_sml, "incr_sml");
    }
}

TEST(NiceTicks, TicksLieInsideTheRange)
{
    struct Case { const char* name; double start, end; } cases[] = {
        {"up", -3.7, 123.4}, {"down", 123.4, -3.7}, {"small up", 1e-7, 3e-7}, {"far from zero", 1e6 + 0.3, 1e6 + 5.9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Ticks t;
        ASSERT_EQ(niceTicks(c.start, c.end, 600, 60, &t), 1);
        double lo = std::min(c.start, c.end), hi = std::max(c.start, c.end);
        double span = hi - lo;
        for (int pass = 0; pass < 2; pass++) {
            double first = pass ? t.start_sml : t.start_big;
            double incr = pass ? t.incr_sml : t.incr_big;
            int n = pass ? t.n_sml : t.n_big;
            ASSERT_GT(n, 1);
            EXPECT_EQ(incr > 0, c.end > c.start);
            double last = first + (n - 1) * incr;
            EXPECT_GE(std::min(first, last), lo - 1e-9 * span);
            EXPECT_LE(std::max(first, last), hi + 1e-9 * span);
            // one more step leaves the range: nothing was left out
            double beyond = last + incr;
            EXPECT_TRUE(beyond > hi || beyond < lo);
        }
    }
}

TEST(NiceTicks, NothingToDoLeavesTheOutputs)
{
    struct Case { const char* name; double start, end, width, minbigwidth; } cases[] = {
        {"zero window", 5, 5, 100, 10}, {"NaN start", std::nan(""), 5, 100, 10}, {"infinite end", 0, HUGE_VAL, 100, 10},
        {"window overflows", -1e308, 1e308, 100, 10}, {"narrower than one tick", 0, 10, 5, 10},
        {"NaN width", 0, 10, std::nan(""), 10}, {"window underflows the search", 0, 1e-300, 100, 10},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Ticks t;
        t.incr_big = 3.0;
        t.incr_sml = 4.0;
        EXPECT_EQ(niceTicks(c.start, c.end, c.width, c.minbigwidth, &t), 0);
        EXPECT_EQ(t.start_big, -7.0);
        EXPECT_EQ(t.n_big, -7);
        EXPECT_EQ(t.incr_big, 3.0);
        EXPECT_EQ(t.start_sml, -7.0);
        EXPECT_EQ(t.n_sml, -7);
        EXPECT_EQ(t.incr_sml, 4.0);
    }
}

TEST(NiceTicks, TickCountsAreCapped)
{
    Ticks t;
    t.incr_big = 2.0;
    t.incr_sml = 1e-9;  // a caller's small increment is kept as it is
    EXPECT_EQ(niceTicks(0, 10, 100, 10, &t), 0);
    EXPECT_EQ(t.n_sml, -7);
    EXPECT_EQ(t.incr_sml, 1e-9);
    Ticks wide;
    EXPECT_EQ(niceTicks(0, 1, 1e9, 1, &wide), 0) << "a million small ticks";
    EXPECT_EQ(wide.n_big, -7);
    Ticks fits;
    EXPECT_EQ(niceTicks(0, 1.00003, 1e8, 4e4, &fits), 1);
    EXPECT_EQ(fits.n_big, 4001);
    EXPECT_EQ(fits.n_sml, 20001);
}

TEST(NiceTicks, NullOutputIsAnError)
{
    double d = 0.0;
    int n = 0;
    EXPECT_EQ(VX_get_nice_fvals(0, 1, 100, 10, &d, &n, &d, &d, nullptr, &d), -1);
    EXPECT_EQ(takeErrors(), "VX_get_nice_fvals: Null output.\n");
}
