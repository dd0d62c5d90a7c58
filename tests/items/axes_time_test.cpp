// Time axes: round times over spans from a millisecond to decades, and the
// line of times over the line of dates.
#include "support/testsupport.h"

#include "items/axes.h"
#include "support/vptest.h"

#include <gtest/gtest.h>

#include <QImage>

#include <cmath>
#include <limits>
#include <set>
#include <vector>

using vptest::isColor;

namespace {

constexpr int kW = 600, kH = 200, kM = 50;
constexpr int kPlotW = kW - 2 * kM;

const QColor kRed(255, 0, 0), kBlue(0, 0, 255);

// Runs of columns holding colour c in rows y0..y1: one run per label.
std::vector<std::pair<int, int>> runs(const QImage& img, QColor c, int y0, int y1, int gap)
{
    std::vector<std::pair<int, int>> out;
    int last = -1000;
    for (int x = 0; x < img.width(); x++) {
        bool ink = false;
        for (int y = y0; y <= y1 && !ink; y++)
            ink = isColor(img.pixel(x, y), c);
        if (!ink)
            continue;
        if (x - last > gap)
            out.push_back({x, x});
        else
            out.back().second = x;
        last = x;
    }
    return out;
}

struct TimeScene { std::unique_ptr<VXViewport> vp; std::unique_ptr<VXAxes> axes; QImage image; };

TimeScene drawTime(double left, double right, const char* name = nullptr)
{
    TimeScene s;
    const QByteArray l = QByteArray::number(left, 'g', 17), r = QByteArray::number(right, 'g', 17);
    s.vp = vptest::makeViewport(kW, kH, {"margin", "50 50 50 50", "ybottom", "0", "ytop", "1"},
                                {"xleft", l.constData(), "xright", r.constData()});
    s.axes = std::make_unique<VXAxes>(s.vp.get());
    s.axes->setAntialias(false);
    vptest::configureAll(s.axes.get(), {"xformat", "time", "color_time_axis", "red", "color_numbers", "blue",
                                        "color_axes", "#00ff00", "linewidth_grids", "-1", "yformat", "none"});
    s.image = vptest::render(s.vp.get());
    if (name)
        vptest::keep(s.image, name);
    return s;
}

// The tics the scene's axis chooses for left to right: as many as labels
// of its number font fit the plot width.
int ticsOf(const TimeScene& s, double left, double right, double* first, double* incr)
{
    int tw = 0;
    VX_get_fontmetrics(&s.axes->vars.font_numbers, "000:00:00.000", &tw, nullptr, nullptr, nullptr);
    EXPECT_GT(tw, 0);
    return tw > 0 ? VX_axes_time_tics(int(0.1 + double(kPlotW) / tw), left, right, first, incr) : 0;
}

bool isRoundStep(double incr)
{
    static const double steps[] = {1e-6, 2e-6, 5e-6, 1e-5, 2e-5, 5e-5, 1e-4, 2e-4, 5e-4, 1e-3, 2e-3, 5e-3, 1e-2,
                                   2e-2, 5e-2, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800,
                                   3600, 7200, 10800, 21600, 43200, 86400, 172800, 432000, 864000, 2592000};
    for (double s : steps)
        if (std::fabs(incr - s) <= 1e-12 * s)
            return true;
    // whole multiples of 365 days beyond
    const double years = incr / 31536000.0;
    return years >= 1 && std::fabs(years - std::round(years)) < 1e-9;
}

} // namespace

TEST(AxesTimeTics, RoundTimesAtEverySpan)
{
    const double base = 1.6e9 + 12345.678;  // 2020-09-13, not round
    const struct { const char* name; double span; } cases[] = {
        {"1 ms", 1e-3}, {"7 ms", 7e-3}, {"1 s", 1},     {"45 s", 45},          {"10 min", 600},
        {"3 h", 10800}, {"2 days", 172800}, {"40 days", 40 * 86400.0}, {"1 year", 31536000},
        {"7 years", 7 * 31536000.0}, {"60 years", 60 * 31536000.0},
    };
    for (int n : {3, 8}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(c.name) + " n " + std::to_string(n));
            double first = 0, incr = 0;
            const int count = VX_axes_time_tics(n, base, base + c.span, &first, &incr);
            ASSERT_TRUE(count >= 1 && count <= n) << count;
            EXPECT_TRUE(isRoundStep(incr)) << incr;
            for (int i = 0; i < count; i++) {
                const double t = first + i * incr;
                EXPECT_TRUE(t >= base - 1e-9 * incr && t <= base + c.span + 1e-9 * incr) << t;
                const double q = t / incr;
                EXPECT_NEAR(q, std::round(q), 1e-6 * std::max(1.0, std::fabs(q)) ) << t;
            }
        }
    }
}

TEST(AxesTimeTics, ReversedAndBad)
{
    double first = 0, incr = 0;
    const int count = VX_axes_time_tics(5, 100.0, 0.0, &first, &incr);  // 0, 30, 60, 90
    EXPECT_TRUE(count >= 2 && count <= 5) << count;
    EXPECT_EQ(first, 0.0);
    EXPECT_LE(first + (count - 1) * incr, 100.0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (auto [left, right] : {std::pair(nan, 1.0), {1.0, 1.0}, {-1e308, 1e308}})
        EXPECT_EQ(VX_axes_time_tics(5, left, right, &first, &incr), 0) << left;
    EXPECT_EQ(VX_axes_time_tics(5, 0, 1, nullptr, &incr), 0);
    // the count is capped whatever is asked
    EXPECT_LE(VX_axes_time_tics(INT_MAX, 0, 1e9, &first, &incr), 1000);
}

TEST(AxesTimePaint, LinesAndLabelsAtRoundTimes)
{
    const double base = 1.6e9;
    const struct { const char* name; double left, right; } cases[] = {
        { "1 ms", base + 0.2, base + 0.201 },         { "1 s", base + 3.3, base + 4.3 },
        { "1 hour", base + 100, base + 3700 },        { "1 day", base, base + 86400 },
        { "1 year", base, base + 31536000 },          { "30 years", base, base + 30 * 31536000.0 },
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TimeScene s = drawTime(c.left, c.right, (std::string("axes_time_") + c.name).c_str());
        double first = 0, incr = 0;
        const int count = ticsOf(s, c.left, c.right, &first, &incr);
        ASSERT_GE(count, 1);
        auto column = [&](int i) {
            return kM + int(std::lround((first + i * incr - c.left) / (c.right - c.left) * kPlotW));
        };
        // a red line the whole height at every round time
        for (int i = 0; i < count; i++) {
            const int x = column(i);
            int red = 0;
            for (int xx = x - 1; xx <= x + 1; xx++)
                for (int y = kM + 5; y < kH - kM - 5; y++)
                    red += isColor(s.image.pixel(xx, y), kRed);
            EXPECT_GT(red, kH - 2 * kM - 20) << i;
        }
        // a time label under each line, a date label under each time
        const auto times = runs(s.image, kBlue, kH - kM + 8, kH - kM + 20, 8);
        const auto dates = runs(s.image, kBlue, kH - kM + 24, kH - 1, 8);
        EXPECT_EQ(std::make_pair(int(times.size()), int(dates.size())), std::make_pair(count, count));
        for (int i = 0; i < int(times.size()) && i < count; i++)
            EXPECT_NEAR(0.5 * (times[i].first + times[i].second), column(i), 4) << i;
    }
}

TEST(AxesTimePaint, SmallTimesArePlainSeconds)
{
    // around epoch zero: "%.3f" numbers and blank dates
    TimeScene s = drawTime(-2.0, 3.0, "axes_time_zero");
    EXPECT_FALSE(runs(s.image, kBlue, kH - kM + 8, kH - kM + 20, 8).empty());
    EXPECT_TRUE(runs(s.image, kBlue, kH - kM + 24, kH - 1, 8).empty());

    // shorter than a millisecond: still a label per step
    TimeScene t = drawTime(10.0, 10.0004, "axes_time_submilli");
    double first = 0, incr = 0;
    const int count = ticsOf(t, 10.0, 10.0004, &first, &incr);
    ASSERT_GE(count, 1);
    EXPECT_LT(incr, 1e-3);
    EXPECT_EQ(int(runs(t.image, kBlue, kH - kM + 8, kH - kM + 20, 8).size()), count);
}

TEST(AxesTimePaint, EmptyFormatsLeaveTheirLines)
{
    TimeScene s = drawTime(1.6e9, 1.6e9 + 3600);
    s.axes->configure("date_format", "", nullptr);
    QImage no_dates = vptest::render(s.vp.get());
    EXPECT_FALSE(runs(no_dates, kBlue, kH - kM + 8, kH - kM + 20, 8).empty());
    EXPECT_TRUE(runs(no_dates, kBlue, kH - kM + 24, kH - 1, 8).empty());
    s.axes->configure("time_format", "", "linewidth_time_axis", "-1", nullptr);
    QImage nothing = vptest::render(s.vp.get());
    EXPECT_TRUE(runs(nothing, kBlue, kH - kM + 1, kH - 1, 8).empty());
    EXPECT_TRUE(runs(nothing, kRed, kM + 5, kH - kM - 5, 1).empty());
}
