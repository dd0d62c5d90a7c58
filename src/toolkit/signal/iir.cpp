#include "toolkit/signal/iir_p.h"

#include <algorithm>
#include <cmath>

void wf_butterworth_sections(bool high_pass, int order, double corner_hz, double dt_s,
                             std::vector<WfBiquad>& sections)
{
    // prewarped corner of the analogue prototype, in units of 2 / dt
    const double k = std::tan(M_PI * corner_hz * dt_s);
    const double k2 = k * k;
    // conjugate pole pairs of the normalised prototype, damping 2 sin(theta)
    for (int i = 0; i < order / 2; i++) {
        const double d = 2.0 * std::sin(M_PI * (2 * i + 1) / (2.0 * order));
        const double norm = 1.0 + d * k + k2;
        WfBiquad c{};
        if (high_pass) {
            c.b0 = 1.0 / norm;
            c.b1 = -2.0 / norm;
        } else {
            c.b0 = k2 / norm;
            c.b1 = 2.0 * k2 / norm;
        }
        c.b2 = c.b0;
        c.a1 = 2.0 * (k2 - 1.0) / norm;
        c.a2 = (1.0 - d * k + k2) / norm;
        sections.push_back(c);
    }
    if (order % 2) {
        // the real pole at -1
        WfBiquad c{};
        c.b0 = high_pass ? 1.0 / (1.0 + k) : k / (1.0 + k);
        c.b1 = high_pass ? -c.b0 : c.b0;
        c.a1 = (k - 1.0) / (k + 1.0);
        sections.push_back(c);
    }
}

void wf_biquad_prime(const WfBiquad& c, WfBiquadState& s, double x0)
{
    // the gain at zero frequency; a high-pass section has 0
    const double g = (c.b0 + c.b1 + c.b2) / (1.0 + c.a1 + c.a2);
    const double y0 = g * x0;
    s.z2 = c.b2 * x0 - c.a2 * y0;
    s.z1 = c.b1 * x0 - c.a1 * y0 + s.z2;
    s.primed = true;
}

namespace {

// The recursion over samples [1, n) of m sections (kM of them when kM is
// not 0: a count known to the compiler keeps the state in registers);
// returns where it stopped.
template <bool kStop, int kM>
long run_block(const WfBiquad* c, WfBiquadState* s, int m, float* x, long n, float gap)
{
    constexpr int kLocal = 16;
    if (kM)
        m = kM;
    double z1[kLocal], z2[kLocal];
    for (int k = 0; k < m; k++) {
        z1[k] = s[k].z1;
        z2[k] = s[k].z2;
    }
    long i = 1;
    for (; i < n; i++) {
        const float f = x[i];
        // one test in the common case: the marker is far above any sample
        if (kStop && !(std::fabs(f) < gap) && (f == gap || f != f))
            break;
        double v = f;
        for (int k = 0; k < (kM ? kM : m); k++) {
            const double y = c[k].b0 * v + z1[k];
            z1[k] = c[k].b1 * v - c[k].a1 * y + z2[k];
            z2[k] = c[k].b2 * v - c[k].a2 * y;
            v = y;
        }
        x[i] = static_cast<float>(v);
    }
    for (int k = 0; k < m; k++) {
        s[k].z1 = z1[k];
        s[k].z2 = z2[k];
    }
    return i;
}

template <bool kStop>
long run_any(const WfBiquad* c, WfBiquadState* s, int m, float* x, long n, float gap)
{
    switch (m) {
    case 1: return run_block<kStop, 1>(c, s, m, x, n, gap);
    case 2: return run_block<kStop, 2>(c, s, m, x, n, gap);
    case 3: return run_block<kStop, 3>(c, s, m, x, n, gap);
    case 4: return run_block<kStop, 4>(c, s, m, x, n, gap);
    case 5: return run_block<kStop, 5>(c, s, m, x, n, gap);
    case 6: return run_block<kStop, 6>(c, s, m, x, n, gap);
    case 8: return run_block<kStop, 8>(c, s, m, x, n, gap);
    default: return run_block<kStop, 0>(c, s, m, x, n, gap);
    }
}

} // namespace

long wf_cascade_run(const WfBiquad* c, WfBiquadState* s, int nsec, float* x, long n, bool stop_at_gap, float gap)
{
    if (n <= 0)
        return 0;
    if (nsec <= 0) {
        long i = 1;
        while (stop_at_gap && i < n && !(x[i] == gap || x[i] != x[i]))
            i++;
        return stop_at_gap ? i : n;
    }
    // the first sample primes the sections that start afresh, in order
    double in = x[0];
    for (int k = 0; k < nsec; k++) {
        if (!s[k].primed)
            wf_biquad_prime(c[k], s[k], in);
        const double y = c[k].b0 * in + s[k].z1;
        s[k].z1 = c[k].b1 * in - c[k].a1 * y + s[k].z2;
        s[k].z2 = c[k].b2 * in - c[k].a2 * y;
        in = y;
    }
    x[0] = static_cast<float>(in);
    // blocks of sections with their state in locals; the first block finds
    // the end of the run, the others filter up to it
    constexpr int kLocal = 16;
    long end = n;
    for (int k0 = 0; k0 < nsec; k0 += kLocal) {
        const int m = std::min(kLocal, nsec - k0);
        if (k0 == 0 && stop_at_gap)
            end = run_any<true>(c, s, m, x, n, gap);
        else
            run_any<false>(c + k0, s + k0, m, x, end, gap);
    }
    return end;
}
