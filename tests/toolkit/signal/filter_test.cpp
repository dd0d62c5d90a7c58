// The filter service: gains against the Butterworth formula, streams given
// packet by packet against the same samples at once, gaps, and bad texts.
#include "toolkit/toolkit_support.h"
#include "toolkit/signal/wffilter.h"
#include "toolkit/waveio/wfgap.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

// One call of the service on a copy of x[from, from + n) starting at t (the
// copy is malloc'ed as the service may reallocate it); its answer in *ret.
std::vector<float> runFilter(const std::vector<float>& x, size_t from, size_t n, double t, double dt,
                             const char* filter, Hook** hook, int* ret)
{
    int nsamp = static_cast<int>(n), size = nsamp;
    float* data = static_cast<float*>(malloc(n * sizeof(float)));
    memcpy(data, x.data() + from, n * sizeof(float));
    *ret = wffilter_pkt2(&t, &nsamp, &dt, &data, &size, filter, hook);
    std::vector<float> y(data, data + nsamp);
    free(data);
    return y;
}

// x filtered in one call from time 0.
std::vector<float> filtered(const std::vector<float>& x, double dt, const char* filter, Hook** hook = nullptr)
{
    int ret = -1;
    std::vector<float> y = runFilter(x, 0, x.size(), 0.0, dt, filter, hook, &ret);
    EXPECT_EQ(ret, 0) << hl_errlog_string(0);
    return y;
}

// Amplitude of the sine of f_hz in y[from..], over a whole number of cycles.
double amplitude(const std::vector<float>& y, double dt, double f_hz, size_t from)
{
    const size_t per_cycle = static_cast<size_t>(std::lround(1.0 / (f_hz * dt)));
    const size_t n = (y.size() - from) / per_cycle * per_cycle;
    double s = 0.0, c = 0.0;
    for (size_t i = 0; i < n; i++) {
        const double w = 2.0 * M_PI * f_hz * static_cast<double>(from + i) * dt;
        s += y[from + i] * std::sin(w);
        c += y[from + i] * std::cos(w);
    }
    return 2.0 / static_cast<double>(n) * std::hypot(s, c);
}

// Butterworth gain of one side; warped: in the bilinear transform's
// frequency tan(pi f dt), which the prewarped design matches exactly.
double butterworth(bool high, int order, double fc, double f, double dt, bool warped)
{
    if (fc <= 0.0)
        return 1.0;
    double r = warped ? std::tan(M_PI * f * dt) / std::tan(M_PI * fc * dt) : f / fc;
    if (high)
        r = 1.0 / r;
    return 1.0 / std::sqrt(1.0 + std::pow(r, 2.0 * order));
}

} // namespace

TEST(Filter, SineGainMatchesButterworthFormula)
{
    struct Case { const char* filter; double lo, hi; int olo, ohi; double fs, f; };
    const Case cases[] = {
        // band-pass "BW 1 4 2 4": at the corners and one octave out
        {"BW 1 4 2 4", 1, 2, 4, 4, 100, 1.0}, {"BW 1 4 2 4", 1, 2, 4, 4, 100, 2.0},
        {"BW 1 4 2 4", 1, 2, 4, 4, 100, 0.5}, {"BW 1 4 2 4", 1, 2, 4, 4, 100, 4.0},
        // a low-pass of odd order, a high-pass of order 1
        {"BW 0 0 5 3", 0, 5, 0, 3, 100, 5.0}, {"BW 0 0 5 3", 0, 5, 0, 3, 100, 10.0},
        {"BW 0 0 5 3", 0, 5, 0, 3, 100, 2.5}, {"BW 2 1 0 0", 2, 0, 1, 0, 100, 2.0},
        {"BW 2 1 0 0", 2, 0, 1, 0, 100, 1.0}, {"BW 2 1 0 0", 2, 0, 1, 0, 100, 4.0},
        // fast sampling, where the analogue formula itself holds to 1%
        {"bw 1 4 2 4", 1, 2, 4, 4, 1000, 1.0}, {"bw 1 4 2 4", 1, 2, 4, 4, 1000, 0.5},
        {"bw 1 4 2 4", 1, 2, 4, 4, 1000, 4.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.filter) + " at " + std::to_string(c.f) + " Hz, fs " + std::to_string(c.fs));
        const double dt = 1.0 / c.fs;
        std::vector<float> x(static_cast<size_t>(90.0 * c.fs));
        for (size_t i = 0; i < x.size(); i++)
            x[i] = static_cast<float>(std::sin(2.0 * M_PI * c.f * static_cast<double>(i) * dt));
        const double gain = amplitude(filtered(x, dt, c.filter), dt, c.f, x.size() / 2);
        for (bool warped : {true, false}) {
            if (!warped && c.fs < 1000)
                continue;
            const double expect = butterworth(true, c.olo, c.lo, c.f, dt, warped) *
                                  butterworth(false, c.ohi, c.hi, c.f, dt, warped);
            EXPECT_NEAR(gain / expect, 1.0, 0.01) << "gain " << gain << " expected " << expect;
        }
    }
}

TEST(Filter, PacketByPacketEqualsAllAtOnce)
{
    std::mt19937 rng(15);
    std::normal_distribution<float> noise(0.0f, 100.0f);
    std::vector<float> x(20000);
    for (size_t i = 0; i < x.size(); i++)
        x[i] = 3000.0f + noise(rng);
    x[7000] = WF_GAP_VALUE;  // gaps inside and at packet edges
    x[7001] = std::nanf("");
    x[12345] = WF_GAP_VALUE;
    const double dt = 0.01;
    for (const char* filter : {"BW 1 4 2 4", "DEMEAN; BW 0.5 2 0 0", "BW 0 0 10 5"}) {
        SCOPED_TRACE(filter);
        Hook* whole_hook = nullptr;
        const std::vector<float> whole = filtered(x, dt, filter, &whole_hook);
        release_hook(&whole_hook);

        Hook* hook = nullptr;
        std::uniform_int_distribution<int> len(1, 700);
        size_t i = 0;
        int packets = 0;
        while (i < x.size()) {
            const size_t n = std::min(x.size() - i, static_cast<size_t>(packets % 5 == 0 ? 1 : len(rng)));
            int ret = -1;
            const std::vector<float> part = runFilter(x, i, n, static_cast<double>(i) * dt, dt, filter, &hook, &ret);
            ASSERT_EQ(ret, 0) << hl_errlog_string(0);
            ASSERT_NE(hook, nullptr);
            ASSERT_EQ(part.size(), n);
            for (size_t k = 0; k < n; k++) {
                if (std::isnan(whole[i + k]))
                    EXPECT_TRUE(std::isnan(part[k]));
                else
                    ASSERT_FLOAT_EQ(part[k], whole[i + k]) << "sample " << i + k;
            }
            i += n;
            packets++;
        }
        release_hook(&hook);
        EXPECT_EQ(hook, nullptr);
    }
}

TEST(Filter, GapsAndTimeBreaksRestartTheFilter)
{
    const double dt = 0.01;
    std::vector<float> a(3000), b(3000);
    for (size_t i = 0; i < a.size(); i++) {
        a[i] = static_cast<float>(500.0 + 40.0 * std::sin(0.37 * static_cast<double>(i)));
        b[i] = static_cast<float>(-80.0 + 25.0 * std::cos(0.11 * static_cast<double>(i)));
    }
    // a, a gap, b: the part after the gap is b filtered alone
    std::vector<float> x = a;
    x.push_back(WF_GAP_VALUE);
    x.insert(x.end(), b.begin(), b.end());
    const std::vector<float> y = filtered(x, dt, "BW 1 4 2 4");
    const std::vector<float> ya = filtered(a, dt, "BW 1 4 2 4"), yb = filtered(b, dt, "BW 1 4 2 4");
    EXPECT_EQ(y[a.size()], WF_GAP_VALUE);
    for (size_t i = 0; i < a.size(); i++)
        ASSERT_FLOAT_EQ(y[i], ya[i]);
    for (size_t i = 0; i < b.size(); i++)
        ASSERT_FLOAT_EQ(y[a.size() + 1 + i], yb[i]);

    // the same through a hook, with b a second packet starting 10 s late
    Hook* hook = nullptr;
    filtered(a, dt, "BW 1 4 2 4", &hook);
    int ret = -1;
    const std::vector<float> late = runFilter(b, 0, b.size(), 40.0, dt, "BW 1 4 2 4", &hook, &ret);
    ASSERT_EQ(ret, 0);
    ASSERT_EQ(late.size(), b.size());
    for (size_t i = 0; i < b.size(); i++)
        ASSERT_FLOAT_EQ(late[i], yb[i]);
    release_hook(&hook);

    // the bulk path removes the mean of each run between gaps
    const std::vector<float> dm = filtered(x, dt, "DEMEAN");
    EXPECT_NEAR(std::accumulate(dm.begin(), dm.begin() + 3000, 0.0) / 3000.0, 0.0, 1e-3);
    EXPECT_NEAR(std::accumulate(dm.begin() + 3001, dm.end(), 0.0) / 3000.0, 0.0, 1e-3);
    EXPECT_NEAR(dm[0], a[0] - 500.0, 1.0);
}

TEST(Filter, TextsAndTheirMessages)
{
    // stages: what wffilter_parse answers; message: a part of the registered line when negative
    struct Case { const char* text; int stages; const char* message; };
    const Case cases[] = {
        {"", 0, ""}, {"none", 0, ""}, {"  NONE ", 0, ""}, {"BW 1 4 2 4", 1, ""}, {"BW 0 0 2 4", 1, ""},
        {"BW 1 4 0 0", 1, ""}, {"demean ; BW 1 4 2 4;", 2, ""}, {"DEMEAN;none;;BW 0.1 2 1e1 3", 2, ""},
        {"BX 1 4 2 4", -1, "Unknown word 'BX' in 'BX 1 4 2 4'"},
        {"BW 1 4 2 4; LOWPASS 3", -1, "Unknown word 'LOWPASS'"},
        {"BW 1 4 2", -1, "'BW 1 4 2' needs four numbers"},
        {"BW 1 4 2 4 5", -1, "Extra word '5' in 'BW 1 4 2 4 5'"},
        {"BW one 4 2 4", -1, "Bad corner 'one'"}, {"BW 1 4 -2 4", -1, "Bad corner '-2'"},
        {"BW 1 4 nan 4", -1, "Bad corner 'nan'"}, {"BW 1 4.5 2 4", -1, "Bad order '4.5'"},
        {"BW 1 11 2 4", -1, "Bad order '11'"}, {"BW 1 0 2 4", -1, "Bad order '0'"},
        {"BW 0 0 0 0", -1, "has no corner"}, {"BW 3 4 2 4", -1, "Lower corner '3' in 'BW 3 4 2 4'"},
        {"DEMEAN now", -1, "Extra word 'now'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(wffilter_parse(nullptr, c.text), c.stages);
        if (c.stages < 0)
            EXPECT_EQ(expectLogged(c.message).rfind("wffilter_parse: ", 0), 0u);
        else
            EXPECT_EQ(hl_error_count(), 0);
    }
}

TEST(Filter, RefusesWhatItCannotRun)
{
    // a corner above Nyquist: refused when the interval is known, samples
    // and hook untouched
    std::vector<float> x = {1.0f, 2.0f, 3.0f};
    Hook* hook = nullptr;
    ASSERT_GE(wffilter_parse(&hook, "BW 1 4 2 4"), 1);
    Hook* before = hook;
    struct Case { const char* filter; double dt; const char* message; };
    const Case cases[] = {
        {"BW 1 4 60 4", 0.01, "Corner '60' of 'BW 1 4 60 4' is not below the Nyquist frequency 50 Hz"},
        {"BW 50 2 0 0", 0.01, "Corner '50'"}, {"BW 1 4 2 4", 0.0, "Bad sample interval"},
        {"BW 1 4 2 4", -1.0, "Bad sample interval"}, {"BW 1 4 2 4;FOO", 0.01, "Unknown word 'FOO'"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.filter);
        int ret = 0;
        EXPECT_EQ(runFilter(x, 0, 3, 0.0, c.dt, c.filter, &hook, &ret), x);
        EXPECT_LT(ret, 0);
        expectLogged(c.message);
        EXPECT_EQ(hook, before);
    }
    release_hook(&hook);
    release_hook(&hook);  // twice: nothing
    release_hook(nullptr);
}
