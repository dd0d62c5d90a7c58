// The configuration engine: typed fields of a plain record set by name from
// text.
//
// An object keeps its values in a record and describes them in a static
// table of HL_ConfigureSpec rows ended by a row of type "end".  It registers
// the table with setConfigureSpecs(); from then on every key of the table
// can be set from text, by key and value (configure(key, value, ...,
// nullptr)), from a parameter document (configure(Kv*)) or from parameter
// text (configureText()).  An object may register several tables, also
// tables of another object's class over that object's record: a key then
// reaches every table that has it, in the order of registration.
//
// Row types and what they hold in the record at offset:
//   "boolean", "int"  an int; booleans through HL_ParseBoolean ("1", "0",
//                     "yes", "no", "true", "false", "on", "off", ...)
//   "double"          a double; "." as decimal point whatever the locale,
//                     trailing text refused
//   "string"          a char* owned by the record (start it null); a null
//                     value stores null
//   "ptr"             a pointer set by code only; configuring it fails
//   "custom"          the row's HL_CustomOption parses and prints; offset is
//                     an index the procedures switch on
//   other words       ("color", "font") go to the parser registered for
//                     the word with addTypeParser()
//
// Flags of a row (specFlags):
//   HL_SPEC_KEEP (1)      an empty or null value keeps the present value
//   HL_SPEC_EXPLICIT (8)  no default is applied: the row takes a value only
//                         when a key, document or text sets it
//   HL_SPEC_CHANGED (16)  cleared before each parse of the row and set by the
//                         parser when the value really changed; tables are
//                         shared by all objects of a class, so read it right
//                         after the configure call of interest
//
// Failures register a line naming the key (and the value for a bad value)
// and leave that key's fields as they were.  Objects are configured from
// one thread at a time.
#pragma once

#include "toolkit/params/kv.h"
#include "vxplot_export.h"

#include <cstdarg>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Client data handed back to callbacks untouched.
typedef void* HL_ClientData;

struct HL_ConfigureSpec;

// Bits of HL_ConfigureSpec::specFlags.
enum {
    HL_SPEC_KEEP = 1,
    HL_SPEC_EXPLICIT = 8,
    HL_SPEC_CHANGED = 16,
};

// Answer of an HL_TypeParserProc that does not handle the row's type: the
// engine then tries its built-in types.
inline constexpr int HL_TYPE_NOT_HANDLED = 3;

// Parse value (possibly null) into the fields that offset selects in
// paramRec.  0 on success, setting HL_SPEC_CHANGED in the row's specFlags when
// something changed; -1 after registering an error, fields untouched.
typedef int HL_OptionParseProc(HL_ConfigureSpec* spec, HL_ClientData clientData, const char* value,
                               char* paramRec, int offset, void* object_ptr);

// The present value of the fields that offset selects, as an allocated text
// (strdup; the caller frees it).  An unknown offset gives
// "Illegal offset value".
typedef char* HL_OptionPrintProc(HL_ConfigureSpec* spec, HL_ClientData clientData, char* paramRec, int offset,
                                 void* object_ptr);

// Parse value into the field at spec->offset of paramRec for a type word.
// 0 on success (HL_SPEC_CHANGED set on a change), -1 after registering an
// error, HL_TYPE_NOT_HANDLED for a type this parser does not know.
typedef int HL_TypeParserProc(HL_ConfigureSpec* spec, const char* value, char* paramRec, void* object_ptr);

// The present value of the field at spec->offset for a type word, as an
// allocated text; null when the parser cannot print it.
typedef char* HL_TypePrintProc(HL_ConfigureSpec* spec, char* paramRec, void* object_ptr);

// Parse and print procedures of a "custom" row.
struct HL_CustomOption
{
    HL_OptionParseProc* parseProc;
    HL_OptionPrintProc* printProc;
    HL_ClientData clientData;
};

// One row of an object's table; the table is a static, writable array ended
// by a row of type "end" (or a null type).
struct HL_ConfigureSpec
{
    const char* type;           // "boolean", "int", "double", "string", "color", "font", "ptr", "custom", "end"
    const char* name;           // the key
    const char* defValue;       // default text, or null for none
    int offset;                 // bytes into the record; for "custom" an index for the procedures
    int specFlags;              // HL_SPEC_ bits
    HL_CustomOption* customPtr; // "custom" rows only
};

// One registered table.
struct HLConfigureSpecs
{
    HL_ConfigureSpec* configureSpec;
    char* paramRec;                 // the record the offsets point into
    HL_TypeParserProc* typeParser;  // tried before the registered type parsers when set; null by default
    const char* class_name;         // a text that outlives the object (a literal)
    void* object_ptr;               // handed to the parsers
};

class VXPLOT_EXPORT HLConfigure
{
public:
    HLConfigure();
    // Calls releaseConfigureStrings().
    virtual ~HLConfigure();

    // Free the "string" fields of the records this object registered first
    // (a record registered again on another object is freed by the first
    // one only) and set them null; later calls do nothing.  The destructor
    // runs it, when the derived object's members are already gone: a class
    // that deletes its record in its own destructor (a record held by
    // pointer) calls it before that.
    void releaseConfigureStrings();

    HLConfigure(const HLConfigure&) = delete;
    HLConfigure& operator=(const HLConfigure&) = delete;

    // Register proc for the type word type; a later call for the same word
    // replaces it.  0; negative for an empty type or null proc.
    int addTypeParser(const std::string& type, HL_TypeParserProc* proc);

    // Register the printer of a type word, used by getConfigureValue().
    int addTypePrinter(const std::string& type, HL_TypePrintProc* proc);

    // Register table over paramRec for the object object_ptr of class
    // class_name.  With apply_defaults 1 every row with a default (and
    // without HL_SPEC_EXPLICIT) is set from it at once through the same
    // parsers as configure(); a custom row with a null default is not
    // called.  Registering the same table and record again does nothing.
    // 0 on success; negative for a null table or record, a table of more
    // than 4096 rows without its end row, a custom row without
    // procedures, or a default that does not parse (the table stays
    // registered and the other defaults are applied).
    int setConfigureSpecs(HL_ConfigureSpec* table, char* paramRec, const char* class_name, void* object_ptr,
                          int apply_defaults);

    // Set keys from pairs of key and value texts ended by a null pointer:
    // configure("color", "red", "width", "2", nullptr).  A value may be
    // null.  Stops at the first failing pair: the pairs before it stay set.
    // 0 on success, negative after the first failure.
    int configure(const char* key, ...) __attribute__((sentinel));
    int vconfigure(const char* key, va_list ap);

    // Set one key.  An unknown key fails.
    int setConfigureValue(const char* key, const char* value);

    // Set every key of the document that a table knows, in written order;
    // other keys are passed over.  A nested &Arr or &Tbl reaches its row as
    // parameter text opened by the row's own key ("key &Arr{\n...}\n").
    // Stops at the first failure.
    int configure(Kv* kv);

    // Compile parameter text and set it as configure(Kv*) does.
    int configureText(const char* kvstring);

    // The present value of key as text, allocated (free() it): booleans
    // "yes" or "no", numbers in the shortest form that reads back the same,
    // strings as they are ("" for null), other types through their
    // printers.  Null, with a registered error, for an unknown key or a
    // type without printer.
    char* getConfigureValue(const char* key);

    // True when a registered table has key.
    bool hasConfigureKey(const char* key) const;

protected:
    // A row as the engine finds it by key.
    struct KeyRef
    {
        HLConfigureSpecs* specs;
        HL_ConfigureSpec* spec;
        int kind;  // built-in type of the row, see hlconfigure.cpp
    };
    struct TextHash
    {
        using is_transparent = void;
        size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>()(s); }
    };

    // registered tables in order of registration
    std::vector<std::unique_ptr<HLConfigureSpecs>> configure_specs_tbl;
    // option name to the rows that have it
    std::unordered_map<std::string, std::vector<KeyRef>, TextHash, std::equal_to<>> configure_specs_arr;
    // type word to parser and to printer
    std::unordered_map<std::string, HL_TypeParserProc*, TextHash, std::equal_to<>> type_parsers_arr;
    std::unordered_map<std::string, HL_TypePrintProc*, TextHash, std::equal_to<>> type_printers_arr;

private:
    int parseRow(const KeyRef& ref, const char* value);
    int setKey(const char* caller, const char* key, const char* value, bool skip_unknown);
};
