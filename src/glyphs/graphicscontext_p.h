// Internal helpers shared by the graphics context sources; not installed.
#pragma once

#include "glyphs/graphicscontext.h"

#include <QString>

namespace vxgc {

// What value points to (VxGraphicsContextItemParams::value_kind).
enum ValueKind {
    KIND_NONE = 0,
    KIND_INT = 1,
    KIND_DOUBLE = 2,
    KIND_COLOR = 3,
    KIND_FONT = 4,
};

// The kind of value an item type holds; -1 for a type that doesn't exist.
int kindOfType(int type);

// Free value and codings of params and zero them (name kept).
void releaseParams(VxGraphicsContextItemParams& params);

// Give params type and a fresh value of its kind (the value of the kind's
// zero); false for an unknown type.
bool initParams(VxGraphicsContextItemParams& params, int type);

// Store a coding of coding_type (codings: 1 or 3 of them) with its
// coding_out; the previous coding is freed.
void storeCoding(VxGraphicsContextItemParams& params, int coding_type, const VxGraphicsContextCoding* codings);

// The value of the item without registering anything: a pointer to an int,
// double, QColor or QFont as *kind says (null for KIND_NONE).  *ok becomes
// false when a coded value could not be computed; the plain value is given.
const void* evaluate(const VxGraphicsContextItemRaw& raw, int* kind, bool* ok);

// The whole of field as a finite number (white space around allowed).
bool parseNumber(const QString& field, double* value);

// The colour of three HSL codings at input, through the colour text
// "%f,%f,%f"; false when it doesn't parse.
bool colorAt(const VxGraphicsContextCoding* codings, double input, QColor* color);

} // namespace vxgc

namespace vxgc {

// A colour text as the setters take it: one part is a plain colour (*coded
// false, *plain set), three parts separated by ";" are HSL codings (*coded
// true, codings set, *plain the colour at the first input).  false with
// errors registered under the name who, outputs untouched.
bool parseColorText(const QString& text, const char* who, QColor* plain, VxGraphicsContextCoding codings[3],
                    bool* coded);

} // namespace vxgc
