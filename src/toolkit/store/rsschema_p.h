// Schemas of the record store: tables, their fields, widths, formats and
// null values, read from schema files (format described at the head of
// data/schema/css30.schema), and the conversion of field text to values and
// back.
#pragma once

#include "toolkit/store/recordstore.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

// One field of a table.
struct RsFieldDef
{
    std::string name;
    int type = 0;                // RS_TYPE_...
    int width = 0;               // characters in a record; 0 for samples and bundles
    int offset = -1;             // first character in a record; -1 outside the text
    std::string format;          // the printf format of the schema
    char conversion = 0;         // 's', 'd', 'f', 'e' or 'g'
    int precision = -1;          // decimals of a real format
    std::string null_text;       // the null value as the schema writes it
    std::string null_field;      // the null value as stored: width characters
    long null_long = 0;          // the null value of integer and jdate fields
    double null_double = 0;      // the null value of real and time fields
    std::string description;

    // Held in the record text (every type but samples and bundles).
    bool inText() const { return offset >= 0; }
    // An integer, jdate, real or time field.
    bool isNumeric() const;
    bool isInteger() const { return type == RS_TYPE_INTEGER || type == RS_TYPE_JDATE; }

    // Read a value from the field's text (blanks around it allowed).  0, or
    // -1 when the text is not a number of the field's kind (nothing
    // registered).
    int parseLong(std::string_view text, long* value) const;
    int parseDouble(std::string_view text, double* value) const;

    // Write a value as exactly width characters to out, with the field's
    // format.  A real that is too wide is written with fewer decimals.  0, or
    // -1 when it does not fit at all (nothing registered, out untouched).
    int formatLong(long value, char* out) const;
    int formatDouble(double value, char* out) const;
    // Text: left-justified and padded with blanks; -1 when longer than the
    // field or holding a control character.  Empty text gives the null value.
    int formatString(std::string_view value, char* out) const;

    // Whether text (width characters) is a valid value of the field: a
    // number for numeric fields, anything printable for text.
    bool check(std::string_view text) const;
};

// One table of a schema.
struct RsTableDef
{
    std::string name;
    std::vector<RsFieldDef> fields;
    std::vector<int> key;  // indices of the key fields
    int width = 0;         // characters of a record, without the new line
    int line = 0;          // line of the schema file where it begins

    // For checking records quickly: the places of the blanks between
    // fields, and the numeric fields.
    struct NumberSpan
    {
        int offset;
        int width;
        bool integer;
    };
    std::vector<int> separators;
    std::vector<NumberSpan> numbers;

    // Index of the field name, or -1.
    int fieldIndex(std::string_view name) const;
    // The record of null values, width characters.
    std::string nullRecord() const;
    // Whether text is a good record of the table: width characters (and a
    // final carriage return at most), no control characters, a blank
    // between fields, numbers in numeric fields.  When not, and why is not
    // null, *why tells the first fault.
    bool checkRecord(std::string_view text, std::string* why) const;
    // The common case of checkRecord(): true for a record of plain decimal
    // numbers; false when the full check must decide.
    bool quickCheck(std::string_view text) const;
};

// A schema: a named set of tables.
struct RsSchema
{
    std::string name;
    bool memory = false;  // tables live in memory only
    std::string file;     // the file it was read from
    std::vector<RsTableDef> tables;

    // Index of the table name, or -1.
    int tableIndex(std::string_view name) const;
};

// Read the schemas of a schema file's text; filename names it in messages.
// Appends them to *schemas and returns their number, or negative with a
// message naming the file and line of the fault (nothing appended).
int rsschema_parse(std::string_view text, const char* filename,
                                 std::vector<std::unique_ptr<RsSchema>>* schemas);

// rsschema_parse() of a file.
int rsschema_read(const char* path, std::vector<std::unique_ptr<RsSchema>>* schemas);

// The schema of that name, found in the files and folders of the environment
// variable VXPLOT_SCHEMA_PATH (":"-separated), then in the "schema" folders
// of the installed data and of the source tree; or, for a name holding "/",
// the first schema of that file.  Schemas are read once and live as long as
// the process.  Null with a registered error when there is none.
const RsSchema* rsschema_find(const char* name);

// Trim blanks (and a final carriage return) from both ends.
std::string_view rs_trim(std::string_view text);

// Numbers of fixed-width fields: blanks around them allowed, nothing else.
// Integers are decimal with an optional sign; reals also take a point, an
// exponent ("e", "E", "d", "D") and "nan" or "inf".  0 or -1.
int rs_parse_long(std::string_view text, long* value);
int rs_parse_double(std::string_view text, double* value);
