// Pixel expressions and anchors: the program-wide way to give a position.
//
// An expression is a sum of terms, blanks ignored, each "+" or "-" starting
// a new term: "1.0v-2" is two pixels short of the right edge of the plot
// area, "fleft+10" ten pixels inside the widget's left edge, "0.5d" the
// data value 0.5, "-1r-1" one pixel left of the relative item's box.
// Results are pixels from the plot area's left edge (x) and bottom edge
// (y, positive upwards).
//
// Terms of the x axis (the y axis reads top, ftop, bottom, fbottom):
//   right    + plot width        fright  + widget width - mleft
//   left     + 0                 fleft   - mleft
//   <n>d     the data value n    <n>v    n plot widths
//   <n>r     sets the result to box.x + n * box.w of the relative item
//   <n>      a plain pixel count, rounded half away from zero; counts
//            ending in "c", "i", "m" or "p" (physical units) are refused
//
// The functions here work on a copy of a viewport's state and need no
// widget; VXViewport::getPixels() and its kin call them.  They read no
// further than the given length.
#pragma once

#include "vxplot_export.h"

#include <cstddef>

struct VxViewport;

// The box of the item that "r" terms refer to, in the units of the result.
struct VX_PixelBox
{
    double x = 0.0, y = 0.0, w = 0.0, h = 0.0;
};

// Evaluate the expression text[0, length) for axis 0 (x) or 1 (y) and set
// *pixels.  relative may be null: "r" terms then leave the value as it is.
// 0; -1 when the scales fail (plot area under 3 pixels; nothing registered)
// or a term is bad (registered; *pixels holds what was summed before it).
VXPLOT_EXPORT int VX_PixelExpression(const VxViewport* vp, int axis, const char* text, size_t length,
                                     const VX_PixelBox* relative, double* pixels);

// Evaluate one term and add it to *pixels (set it, for an "r" term).  0 or
// -1 as above.
VXPLOT_EXPORT int VX_PixelTerm(const VxViewport* vp, int axis, const char* term, size_t length,
                               const VX_PixelBox* relative, double* pixels);

// A plain pixel count: *pixels = 0, then the number rounded half away from
// zero and cut to +-1e9.  An empty text is 0.  -1 with a registered line for
// physical units ("12c") and for text that is not a number.
VXPLOT_EXPORT int VX_PixelCount(const char* text, size_t length, int* pixels);

// Fractions of a box at an anchor: jx from its left, jy from its bottom.
// "c" centre, "n", "ne", "e", "se", "s", "sw", "w", "nw"; anything else is
// the lower left corner.  Only the first letter counts, and for "n" and "s"
// the second.
VXPLOT_EXPORT void VX_AnchorFractions(const char* anchor, double* jx, double* jy);

// The anchors by number: 0 to 8 are "sw", "s", "se", "e", "c", "ne", "n",
// "nw", "w"; any other number is "c".
VXPLOT_EXPORT const char* VX_AnchorName(int anchor);
