// Nice tick positions along an axis, and numbers written for tick labels.
#pragma once

#include "vxplot_export.h"

#include <cstddef>

// Most ticks of either kind VX_get_nice_fvals() lays out.
inline constexpr int VX_NICE_MAX_TICKS = 100000;

// Large and small tick positions for the data range start to end drawn over
// width pixels, with large ticks at least minbigwidth pixels apart (width/10
// when minbigwidth is not positive).  Increments are 1, 2.5 or 5 times a
// power of ten for large ticks; small ticks divide them by 5 or 10.
//
// *incr_big and *incr_sml are in and out: positive values passed in are
// minima that a smaller nice increment does not replace (a zero or negative
// one means "no minimum").  Out: the first tick *start_big and the count
// *n_big of ticks from it up to end, and the same for small ticks.  When end
// is below start the ticks run downward and both increments come out
// negative.  When width is not positive, ten large ticks are aimed at.
//
// Returns 1 when the ticks were laid out, 0 when there is nothing to do (an
// empty, infinite or NaN range, too narrow a width, or more than
// VX_NICE_MAX_TICKS ticks of either kind) with the outputs untouched, and -1
// with a registered error when an output pointer is null.
VXPLOT_EXPORT int VX_get_nice_fvals(double start, double end, double width, double minbigwidth, double* start_big,
                                    int* n_big, double* incr_big, double* start_sml, int* n_sml, double* incr_sml);

// Write number as text into string, which holds size bytes with its NUL.
//
// format:
//   "none"  an empty string;
//   "auto"  the shortest plain decimal form of up to 13 significant digits
//           (later digits become "0"), trailing zeros and point removed;
//           values a hair under a round number come out round; 0 is "0";
//   a printf format ending in "d": one integer conversion (%d or %i, with
//           flags, width and precision), given the number rounded half away
//           from zero and limited to the range of int (NaN gives 0);
//   any other printf format: one floating conversion (%f %F %e %E %g %G %a
//           %A, "l" allowed), given the number.
// Numbers are written with "." as the decimal point whatever the locale.
// A format that does not hold exactly one such conversion ("%s", "%n",
// "%*d", "%f %f", "%Lf") is never used.
//
// Returns 0; -1 with a registered error and an empty string (when string
// is not null and size is not 0) for a bad or null format, a null string or
// size 0, or a text that does not fit.
VXPLOT_EXPORT int VX_nice_number(double number, const char* format, char* string, size_t size);

// The same into a buffer of at least VX_NICE_NUMBER_SIZE bytes.
inline constexpr size_t VX_NICE_NUMBER_SIZE = 64;
VXPLOT_EXPORT int VX_nice_number(double number, const char* format, char* string);
