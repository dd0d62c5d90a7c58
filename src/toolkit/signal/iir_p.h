// Butterworth sections for the filter service: design by the bilinear
// transform and the recursion that runs them.
//
// A filter is a cascade of second-order sections (a first-order section is
// a second-order one with b2 = a2 = 0), each run in transposed direct form
// II with its state in double precision.  Private to the library.
#pragma once

#include "vxplot_export.h"

#include <vector>

// Coefficients of one section, a0 normalised to 1:
// y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2].
struct WfBiquad
{
    double b0, b1, b2, a1, a2;
};

// The state of one section between samples.
struct WfBiquadState
{
    double z1 = 0.0;
    double z2 = 0.0;
    bool primed = false;  // false: the next input starts the section afresh
};

// Appends the sections of a Butterworth low-pass (high_pass false) or
// high-pass (high_pass true) of the given order (1 or more) at corner_hz,
// for samples dt_s apart, to sections.  The corner is prewarped, so the
// gain at f is exactly 1 / sqrt(1 + (tan(pi f dt) / tan(pi fc dt))^(2 order))
// for the low-pass, and that with the ratio inverted for the high-pass.
// The caller checks 0 < corner_hz < 0.5 / dt_s.
VXPLOT_EXPORT void wf_butterworth_sections(bool high_pass, int order, double corner_hz, double dt_s,
                                           std::vector<WfBiquad>& sections);

// Sets the state so that a constant input x0 gives a constant output from
// the first sample on: the section starts as if it had always seen x0.
void wf_biquad_prime(const WfBiquad& c, WfBiquadState& s, double x0);

// Runs the cascade of nsec sections over the n samples in place, each
// sample through all of them in turn (the sections' recursions then overlap
// in the processor); a section that is not primed is primed with its first
// input, x[0], which must be a number.  With stop_at_gap, the run ends
// before the first sample equal to gap or NaN.  Returns the number of
// samples filtered.
long wf_cascade_run(const WfBiquad* c, WfBiquadState* s, int nsec, float* x, long n, bool stop_at_gap, float gap);
