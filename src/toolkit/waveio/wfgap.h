// The value that marks missing samples in waveform arrays.
//
// Loaders fill gaps with it and displays leave it out, so that a trace
// with holes is drawn as separate strokes.  It is a float (samples are
// floats) far outside any real amplitude.
#pragma once

#include "vxplot_export.h"

// The gap marker.
constexpr float WF_GAP_VALUE = 2.12345e30f;

// Write the gap marker into the n floats at value (n 1 reads the marker).
VXPLOT_EXPORT void wffill_gap(float* value, int n);
