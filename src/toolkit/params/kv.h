// Parameter documents: line-oriented "key value" text compiled into a tree.
//
// A document is an ordered table of named entries (an "&Arr"), each a
// string, a nested &Arr or a list (an "&Tbl") of rows.  The document made
// by kvcompile() or kvread() is the "file level" document; the nested ones
// belong to it and are reached with kvget(), kvgetindex() and kvparam().
//
// Text format, in short (docs/parameter-text.md has the full description):
//
//     # a comment runs to the end of the line
//     key        a value that keeps its inner   blanks
//     color      \#6060ff                       # "\#" is a literal hash
//     layers &Arr{
//         coasts &Arr{
//             type    vector
//         }
//     }
//     rows &Tbl{
//         first row   with fields
//         &Arr{                                 # an anonymous block row
//             label   one
//         }
//     }
//     script &Literal{
//     lines kept exactly as written, # and \ included
//     }
//     @Literal pattern  a#b\#c                  # one literal line
//
// - Keys are the first word of a line; the value is the rest of the line
//   with blanks and tabs around it removed.  A key without a value has the
//   empty string as value.
// - "#" starts a comment; "\#" stands for a hash.  No other backslash
//   sequence is special, so "a\b" stays "a\b".
// - In an &Arr (and at the top), a duplicate key replaces the earlier value
//   and keeps the place where the key first appeared.  The keys keep the
//   order in which they were written.
// - A line that is just "}" closes the innermost block.
// - In an &Tbl, a line "&Arr{", "&Tbl{" or "&Literal{" alone opens an
//   anonymous block row; "key &Arr{" inside an &Tbl is an error.
// - Literal entries: "key &Literal{" opens a block whose lines, up to a line
//   that is just "}" (blanks around it allowed), are taken exactly as they
//   are: no comments, no escapes, leading blanks kept, carriage returns at
//   line ends dropped.  The value is the lines joined with new lines.  A
//   line whose first word is "@Literal" is a literal line: in an &Arr the
//   next word is the key and the rest of the line (trimmed) the value, in an
//   &Tbl the rest of the line (trimmed) is the row; neither sees comments or
//   escapes.  Literal entries are strings for kvget() and kvparam();
//   kv2string() writes them back in literal form.
// - Blocks nest up to KV_MAX_DEPTH levels.
//
// Errors (a "}" with no open block, a block still open at the end of the
// text, a block opener without a key in an &Arr, a named block inside an
// &Tbl, "@Literal" without a key or directly followed by a comment, nesting
// too deep) register a message naming the line.
//
// Documents are used from one thread at a time.
#pragma once

#include "toolkit/base/lists.h"
#include "vxplot_export.h"

#include <cstddef>

struct Kv;

// Kinds answered by kvget(), kvgetindex() and kvkind().
enum {
    KV_KIND_FILE = 0,      // the file level document itself
    KV_KIND_STRING = 1,    // a string (also a literal entry)
    KV_KIND_TBL = 2,       // an &Tbl
    KV_KIND_ARR = 3,       // an &Arr
    KV_KIND_NOTFOUND = 5,  // no such key or index
};

// Type codes of kvparam(); what out points at is given for each.
enum {
    KV_INT = 1,             // int*: a decimal integer in the range of int
    KV_DOUBLE = 3,          // double*: a number, "." as decimal point
    KV_STRING = 4,          // char**: a new copy, free() it
    KV_TBL_STRINGS = 6,     // Tbl**: copies of the rows of an &Tbl of strings; seqfree(t, free)
    KV_TBL = 7,             // Kv**: the &Tbl itself, owned by the document
    KV_ARR_STRINGS = 9,     // Arr**: key to copy of the value for an &Arr of strings; mapfree(a, free)
    KV_ARR = 10,            // Kv**: the &Arr itself, owned by the document
    KV_BOOLEAN = 11,        // int*: 1 or 0 from a boolean word (HL_ParseBoolean)
    KV_STRING_BUFFER = 12,  // char*: a buffer of at least KV_STRING_BUFFER_MIN bytes
};

// The size kvparam() assumes for a KV_STRING_BUFFER buffer.  A value that
// does not fit (with its NUL) fails; use kvparambuf() for other sizes.
inline constexpr size_t KV_STRING_BUFFER_MIN = 256;

// Deepest nesting of blocks the scanner accepts.
inline constexpr int KV_MAX_DEPTH = 256;

// Largest parameter file kvread() reads, in bytes.
inline constexpr long KV_MAX_FILE_SIZE = 64L * 1024 * 1024;

// Compile text into a document.  With *kv null a new file level document is
// made; with *kv a file level document (or an &Arr) its entries are added
// to it, a key already there taking the new value.  Pointers to nested
// documents taken before may dangle after such a merge.  The text is not
// written to.  0 on success; negative on a syntax error or a null argument,
// with the error registered and *kv untouched.
VXPLOT_EXPORT int kvcompile(const char* text, Kv** kv);

// The same for length bytes of text (an embedded NUL ends the text).
// source, when not null, names the text (a file path) in error messages.
VXPLOT_EXPORT int kvcompile_source(const char* text, size_t length, const char* source, Kv** kv);

// kvcompile() kept for callers that pass constant texts.
VXPLOT_EXPORT int VX_kvcompile(const char* kvstring, Kv** kv);

// Find and compile the parameter file called name, as kvcompile() does
// with *kv.  A name without the suffix ".pf" gets it ("optionsdialog" reads
// "optionsdialog.pf").  A name holding "/" is a path and is not searched
// for.  Otherwise the folders searched, first found wins, are: each folder
// of the environment variable VXPLOT_PARAMPATH (colon-separated, empty parts
// skipped), the installed data folder, the data folder of the source tree,
// and the working folder.  0 on success; negative when the file is absent,
// unreadable, larger than KV_MAX_FILE_SIZE or does not compile (the message
// names the file and the line).
VXPLOT_EXPORT int kvread(const char* name, Kv** kv);

// The path kvread() would read for name, allocated (free() it), or null
// when there is none.  Registers nothing.
VXPLOT_EXPORT char* kvfind(const char* name);

// Look key up in an &Arr (or file level) document.  Returns the kind of the
// entry and sets *value (when value is not null): a const char* owned by the
// document for a string, the nested Kv* for an &Tbl or &Arr.  A null or
// empty key answers the document itself with its own kind (KV_KIND_FILE for
// a file level document).  KV_KIND_NOTFOUND, *value untouched, for an
// absent key or any key asked of an &Tbl.  Negative for a null kv.
VXPLOT_EXPORT int kvget(Kv* kv, const char* key, void** value);

// Entry index (from 0) of an &Tbl's rows or an &Arr's entries in written
// order, answered as by kvget(); KV_KIND_NOTFOUND outside the range.
VXPLOT_EXPORT int kvgetindex(Kv* kv, long index, void** value);

// Fetch key of an &Arr (or file level) document and convert it by type (a
// KV_ code above) into *out.  0 on success, and also when the key is absent
// and required is 0 (out is then left alone).  Negative, with a registered
// error and out left alone, when a required key is absent, the entry is of
// the wrong kind, the text does not convert, or an argument is null.
VXPLOT_EXPORT int kvparam(Kv* kv, const char* key, int type, int required, void* out);

// KV_STRING_BUFFER with the buffer's size: the value and its NUL must fit
// in size bytes, else it fails with the buffer untouched.
VXPLOT_EXPORT int kvparambuf(Kv* kv, const char* key, int required, char* buffer, size_t size);

// The keys of an &Arr (or file level) document in written order.  The
// elements are owned by the document; free the list with
// seqfree(keys, nullptr).  Null, with a registered error, for an &Tbl or a
// null kv.
VXPLOT_EXPORT Tbl* kvkeys(Kv* kv);

// Number of rows of an &Tbl (for an &Arr, the number of its keys).
// Negative for a null kv.
VXPLOT_EXPORT long kvcount(Kv* kv);

// Kind of a document: KV_KIND_FILE, KV_KIND_ARR or KV_KIND_TBL; negative for
// a null kv.
VXPLOT_EXPORT int kvkind(Kv* kv);

// Parameter text of a document, allocated; free() it.  For a file level
// document or an &Arr, its entries; for an &Tbl, the block "&Tbl{\n", its
// rows and "}\n", so that "key " followed by it is a valid entry.  Nested
// blocks are indented by four blanks per level, "#" is written "\#", and
// literal entries keep their literal form, so that kvcompile() of the text
// gives back the same document.  Null for a null kv or failed allocation.
VXPLOT_EXPORT char* kv2string(Kv* kv);

// Free a file level document and everything in it.  Null-safe.  Nested
// documents belong to their file level document: kvfree() ignores them.
VXPLOT_EXPORT void kvfree(Kv* kv);
