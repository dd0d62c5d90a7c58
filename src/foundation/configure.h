// The configuration base of every configurable object of the library, and
// parameter text re-keying.
//
// VXConfigure is HLConfigure with the library's own value types: rows of
// type "color" hold a VX_Color and rows of type "font" a VX_Font, parsed
// with VX_ParseColor() and VX_ParseFont().  A row whose colour or font text
// parses to the value it already has is left unflagged (no
// HL_SPEC_CHANGED).
#pragma once

#include "foundation/values.h"
#include "toolkit/params/hlconfigure.h"
#include "vxplot_export.h"

#include <QString>

class VXPLOT_EXPORT VXConfigure : public HLConfigure
{
public:
    // Registers VXConfigure_ParseConfigValue and VXConfigure_PrintConfigValue
    // for "color" and "font".
    VXConfigure();
    ~VXConfigure() override;
};

// Type parser of "color" and "font" rows.  0 on success (HL_SPEC_CHANGED set
// when the value changed), -1 with a registered error for a bad text, and
// HL_TYPE_NOT_HANDLED for any other type word.  A "font" row with
// HL_SPEC_KEEP ignores an empty or null value; without it an empty value
// unsets the font.
VXPLOT_EXPORT int VXConfigure_ParseConfigValue(HL_ConfigureSpec* spec, const char* value, char* paramRec,
                                               void* object_ptr);

// Printer of "color" and "font" rows: the colour's text, or the font's text
// (rebuilt from its fields as "family,size,weight,italic" when the text was
// not kept); "" when unset.  Allocated; null for other type words.
VXPLOT_EXPORT char* VXConfigure_PrintConfigValue(HL_ConfigureSpec* spec, char* paramRec, void* object_ptr);

// Compile kvstring, look up input_key and give new parameter text with the
// entry under output_key: "out &Arr{\n...}\n" for an &Arr (and for the whole
// document when input_key is empty), "out value\n" for a string (in literal
// form when the value needs it), "out &Tbl{\n...}\n" for an &Tbl.  Allocated
// (free() it); null with a registered error on failure, among them
// "VX_make_kvstring: kvget(%s) error - key not found.\n".
VXPLOT_EXPORT char* VX_make_kvstring(const QString& kvstring, const QString& input_key, const QString& output_key);
