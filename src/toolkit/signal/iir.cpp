#include "toolkit/signal/iir_p.h"

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

void wf_biquad_run(const WfBiquad& c, WfBiquadState& s, float* x, long n)
{
    if (n <= 0)
        return;
    if (!s.primed)
        wf_biquad_prime(c, s, x[0]);
    // locals, so that the compiler keeps the recursion in registers
    const double b0 = c.b0, b1 = c.b1, b2 = c.b2, a1 = c.a1, a2 = c.a2;
    double z1 = s.z1, z2 = s.z2;
    for (long i = 0; i < n; i++) {
        const double in = x[i];
        const double y = b0 * in + z1;
        z1 = b1 * in - a1 * y + z2;
        z2 = b2 * in - a2 * y;
        x[i] = static_cast<float>(y);
    }
    s.z1 = z1;
    s.z2 = z2;
}
