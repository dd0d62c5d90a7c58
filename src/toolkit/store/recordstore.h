// The record store: databases of fixed-width records described by a schema.
//
// A database is a set of tables of one schema.  A flat-file database keeps
// each table in a text file named after the database and the table:
// rsopen("/data/db", "css3.0", RS_WRITE) reads "/data/db.origin",
// "/data/db.arrival" and so on, each on first use; a table whose file does
// not exist is empty until a record is written to it.  Every record is one
// line of the file, fields at the widths of the schema, one blank between
// them.  A database of a memory schema ("Trace4.0", "Trace4.1"), or one
// opened with RS_MEMORY, lives in memory only.
//
// Everything is addressed by an Rsptr: database, table, field and record
// indices.  Index values RS_ALL (not chosen), RS_NULL (the null record: every
// field at its null value) and RS_SCRATCH (the table's scratch row, where a
// record is assembled before it is added) are special.  A table index past
// the schema's tables names a view, a list of records of one table made by
// rssort().
//
// A table file is read when the table is first used.  A line that is not a
// good record (of another length than the table's records, with a field
// that is not a number where one is due, without the blank between two
// fields, with a control character, or an unfinished last line) is skipped:
// the good records around it stay, and a message naming the file, the line
// and the fault is registered (the first ten of each read, then a count).
// rsquery(RS_BAD_ROW_COUNT) tells how many lines were skipped.
//
// Writes of a flat-file database go straight to the files under an fcntl
// lock of the table's file, so that several processes may write the same
// database: a new record is appended as a whole line with one write, a
// changed record is rewritten in place with one write, and the data are
// flushed to the disk before the call returns (unless opened with
// RS_NOSYNC).  A write that fails writes nothing.  A database handle belongs
// to the process that opened it (a forked child reopens the files on its
// own) and is used from one thread at a time.
//
// Errors follow the toolkit's convention: a failing function registers one
// line naming itself and returns a negative value, or rsinvalid().
#pragma once

#include "toolkit/base/lists.h"
#include "vxplot_export.h"

#include <cstddef>

// The address of a database, table, field or record.  Passed by value.
struct Rsptr
{
    long database;
    long table;
    long field;
    long record;
};

// A value from a query, an expression or a field.
union Rsvalue
{
    char* t;
    long i;
    double d;
    Rsptr db;
    Tbl* tbl;
    Arr* arr;
    char s[1024];
};

// Sizes.
constexpr int RS_STRSZ = 1024;       // text buffers of rsget(), rsextfile(), Rsvalue::s
constexpr int RS_RECORD_MAX = 1023;  // longest record, in characters

// Special index values of an Rsptr.
constexpr long RS_ALL = -501;      // no table, field or record chosen
constexpr long RS_NULL = -502;     // the null record of a table
constexpr long RS_SCRATCH = -503;  // the scratch row of a table
constexpr long RS_INVALID = -504;  // every index of rsinvalid()
constexpr long RS_BUNDLE = -505;   // field index of a bundle (see rsget_range())

// Open modes of rsopen(), or'ed together.
enum {
    RS_READ = 0,     // read only
    RS_WRITE = 1,    // read and write; table files are made when first written
    RS_MEMORY = 2,   // keep every table in memory, never touch a file
    RS_NOSYNC = 4,   // do not flush writes to the disk before returning
};

// Field types, as rsquery(RS_FIELD_TYPE) gives them.
enum {
    RS_TYPE_STRING = 1,   // text, trimmed of blanks
    RS_TYPE_INTEGER = 2,  // long
    RS_TYPE_REAL = 3,     // double
    RS_TYPE_TIME = 4,     // double, epoch seconds
    RS_TYPE_JDATE = 5,    // long, year * 1000 + day of year
    RS_TYPE_DATE = 6,     // text: the load date
    RS_TYPE_FLOATS = 7,   // an array of float samples (memory tables)
    RS_TYPE_BUNDLE = 8,   // a range of records of the same table (memory tables)
};

// Kinds of an expression's result (rsex_evalstr()).
enum {
    RSEX_ANY = 0,      // asked for: whatever the expression gives
    RSEX_BOOLEAN = 1,  // Rsvalue::i, 0 or 1
    RSEX_INTEGER = 2,  // Rsvalue::i
    RSEX_REAL = 3,     // Rsvalue::d
    RSEX_TIME = 4,     // Rsvalue::d, epoch seconds
    RSEX_STRING = 5,   // Rsvalue::s, at most 1023 characters
};

// Flags of rssort().
enum {
    RS_SORT_REVERSE = 1,  // the whole order reversed; ties keep their order
    RS_SORT_UNIQUE = 2,   // of records with equal keys only the first is kept
};

// Query codes of rsquery().  The result's type follows the code: "long"
// writes a long, "text" a const char* owned by the store (valid while the
// database is open), "list" a new Tbl of const char* owned by the store
// (free the list with seqfree(list, nullptr)), "Rsptr" an Rsptr.
enum {
    RS_SCHEMA_NAME = -301,        // text; any Rsptr of the database
    RS_DATABASE_NAME = -302,      // text: the path given to rsopen()
    RS_TABLE_COUNT = -303,        // long: tables of the schema
    RS_TABLE_NAME = -304,         // text: name of the table or view
    RS_RECORD_COUNT = -305,       // long: records of the table or view
    RS_FIELD_COUNT = -306,        // long: fields of the table
    RS_FIELD_NAME = -307,         // text
    RS_FIELD_TYPE = -308,         // long: RS_TYPE_...
    RS_FIELD_SIZE = -309,         // long: width in characters (0 for samples and bundles)
    RS_FIELD_FORMAT = -310,       // text: the printf format
    RS_FIELD_NULL = -311,         // text: the null value as the schema gives it
    RS_FIELD_OFFSET = -312,       // long: first character of the field in a record
    RS_FIELD_DESCRIPTION = -313,  // text
    RS_RECORD_SIZE = -314,        // long: characters of a record, without the new line
    RS_TABLE_FILENAME = -315,     // text: the table's file, empty in memory
    RS_TABLE_FIELDS = -316,       // list: field names in record order
    RS_SCHEMA_TABLES = -317,      // list: table names of the schema
    RS_TABLE_KEYS = -318,         // list: key field names
    RS_TABLE_IS_VIEW = -319,      // long: 1 for a view, 0 for a table
    RS_TABLE_IS_WRITABLE = -320,  // long: 1 when records can be written
    RS_BAD_ROW_COUNT = -321,      // long: lines of the table's file that were skipped
    RS_VIEW_TABLE = -322,         // Rsptr: the table whose records a view lists
};

// Open the database path_base of the schema named schema (null: "css3.0");
// schema may also be the path of a schema file, whose first schema is used.
// Returns the database's Rsptr, with table, field and record RS_ALL, or
// rsinvalid() when the schema is unknown or the folder of path_base does
// not exist.
VXPLOT_EXPORT Rsptr rsopen(const char* path_base, const char* schema, int mode);

// Close a database and free its views.  Every Rsptr of it becomes invalid.
VXPLOT_EXPORT int rsclose(Rsptr db);

// The pointer that stands for failure: every index RS_INVALID.
VXPLOT_EXPORT Rsptr rsinvalid();

// An Rsptr written as text, "%ld %ld %ld %ld" (database, table, field,
// record), for clients that pass record pointers through commands.  The
// buffer holds at least RS_PTR_TEXT characters.
constexpr int RS_PTR_TEXT = 96;
VXPLOT_EXPORT void rsptr_print(Rsptr db, char* buffer);
// Read that text: 0 when it holds exactly four integers (blanks around them
// allowed), else -1 and *db untouched.
VXPLOT_EXPORT int rsptr_parse(const char* text, Rsptr* db);

// 1 when db is rsinvalid() or its database is not open, else 0.
VXPLOT_EXPORT int rsisinvalid(Rsptr db);

// db with the named parts replaced.  A null name keeps what db has.
// database: the name an open database was opened with; table: a table of
// the schema or the name of a view; field: a field of the table; record:
// "rsNULL", "rsSCRATCH", "rsALL" or a record number.  rsinvalid() with a
// registered error when a name is not known.
VXPLOT_EXPORT Rsptr rslookup(Rsptr db, const char* database, const char* table, const char* field,
                             const char* record);

// Ask about the database, table or field of db; see the RS_... query codes
// for what is written to result.  0 on success.
VXPLOT_EXPORT int rsquery(Rsptr db, int code, void* result);

// The field of the record in db as text: numbers printed with the field's
// format, text trimmed; the null record gives the field's null value.  With
// field RS_ALL, the whole record as stored.  buffer holds RS_STRSZ chars.
VXPLOT_EXPORT int rsget(Rsptr db, char* buffer);

// Set the field of the record in db from text (a number for numeric fields;
// a time field also takes the forms of timeparse()).  With field RS_ALL,
// text is the whole record (a final new line is ignored), checked like a
// line of a file.
VXPLOT_EXPORT int rsput(Rsptr db, const char* text);

// Read fields of the record in db: rsgetv(db, table, "sta", sta, "time",
// &time, nullptr).  table null keeps db's table.  After it come pairs of a
// field name and a pointer whose type follows the field's type: long* for
// integer and jdate fields, double* for real and time fields, a char array
// of at least the field's width + 1 (RS_STRSZ always does) for string and
// date fields, const float** for samples (pointer owned by the store, null
// when the record has none, valid until the record is changed), Rsptr* for
// a bundle.  The list ends with a null field name.  Fails without reading
// anything when a name is unknown.
VXPLOT_EXPORT int rsgetv(Rsptr db, const char* table, ...);

// Write fields of the record in db, which may be the scratch row:
// rsputv(db, table, "arid", 12L, "time", 1.5e9, "iphase", "P", nullptr).
// The value's type follows the field's type: long for integer and jdate
// fields (write integer literals as 12L), double for real and time fields,
// const char* for string and date fields, a const float* and a long count
// for samples (copied; the field nsamp, when the table has one, is set to
// the count), two longs first and last for a bundle.  Either every field is
// written or, on any failure, none.  A text longer than the field, or a
// number that does not fit its width even with fewer decimals, fails.  An
// empty text is stored as the field's null value.
VXPLOT_EXPORT int rsputv(Rsptr db, const char* table, ...);

// Append a record of null values to db's table.  The new record number, or
// negative.
VXPLOT_EXPORT long rsaddnull(Rsptr db);

// Append the scratch row of db's table as a new record.  A date field named
// "lddate" that holds its null value is set to the present time first.  The
// new record number, or negative.
VXPLOT_EXPORT long rsaddrecord(Rsptr db);

// Store the scratch row of db's table: rewrite the record whose key fields
// (the schema's "key") equal those of the scratch row, or append it when
// there is none (always, for a table without key fields).  "lddate" as for
// rsaddrecord().  The record number, or negative.
VXPLOT_EXPORT long rsputrecord(Rsptr db);

// Copy the record in db (or the null record) into its table's scratch row.
VXPLOT_EXPORT int rsload_scratch(Rsptr db);

// The next value of the counter name ("arid", "orid", ...) of the lastid
// table, taken under the table's lock: one more than both the counter and
// the largest value of that field among the tables keyed by it.  Negative
// on failure.
VXPLOT_EXPORT long rsnextid(Rsptr db, const char* name);

// The records of db as a half-open range [*first, *last): for a bundle
// (field RS_BUNDLE, as rsgetv() gives it) the records of the bundle, else
// 0 and the record count of the table or view.
VXPLOT_EXPORT int rsget_range(Rsptr db, long* first, long* last);

// A new view of the records of db's table or view in the order of keys, a
// list of expressions (often field names); a key beginning with "-" sorts
// in descending order.  Null or empty keys sort by the table's key fields.
// The sort is stable.  name names the view for rslookup(); null gives
// "sort".  Returns the view, with field and record RS_ALL; free it with
// rsfree().
VXPLOT_EXPORT Rsptr rssort(Rsptr db, Tbl* keys, int flags, const char* name);

// The record numbers in the table of a sorted view, in view order, as a new
// list of longs stored in the pointers ((long)(intptr_t)seqget(tab, i));
// free it with seqfree(*tab, nullptr).
VXPLOT_EXPORT int rsget_sort_tab(Rsptr sorted, Tbl** tab);

// Free a view made by rssort().  Tables cannot be freed.
VXPLOT_EXPORT int rsfree(Rsptr view);

// The external file of the record in db of the table (null: db's table),
// from its fields dir and dfile; a relative dir is taken from the folder of
// the table's file.  Writes the path into filename (RS_STRSZ chars).
// Returns 1 when the file exists, 2 when only a gzip-compressed copy with
// ".gz" added exists (filename then names it), 0 when neither exists.
VXPLOT_EXPORT int rsextfile(Rsptr db, const char* table, char* filename);

// rsextfile() of the table's scratch row.
VXPLOT_EXPORT int rsextfile_scratch(Rsptr db, const char* table, char* filename);

// Pick up records that other processes added to, or changed in, the tables
// of db since they were read.  The number of tables that changed.
VXPLOT_EXPORT int rscheck(Rsptr db);

// Expressions (docs/expressions.md).  Evaluate expression for the record in
// db and store the result in *(Rsvalue*)result.  type is the kind wanted
// (RSEX_ANY for the expression's own kind); other kinds are converted where
// that makes sense.  Returns the kind of the result (RSEX_BOOLEAN ...
// RSEX_STRING), or negative with the position of the fault registered.
VXPLOT_EXPORT int rsex_evalstr(Rsptr db, const char* expression, int type, void* result);

// A compiled expression, for evaluating one expression on many records.
struct RsExpr;

// Compile expression against db's table.  0 and *expr on success.
VXPLOT_EXPORT int rsex_compile(Rsptr db, const char* expression, RsExpr** expr);

// Evaluate a compiled expression for the record in db, which must be of the
// table it was compiled for.  As rsex_evalstr().
VXPLOT_EXPORT int rsex_eval(Rsptr db, const RsExpr* expr, int type, Rsvalue* result);

// The kind a compiled expression gives (RSEX_BOOLEAN ... RSEX_STRING).
VXPLOT_EXPORT int rsex_kind(const RsExpr* expr);

// Free a compiled expression.  Null is ignored.
VXPLOT_EXPORT void rsex_free(RsExpr* expr);
