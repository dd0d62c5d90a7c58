// String helpers of the host toolkit: trimming, whole-string regular
// expression matches, cutting into words, a string builder, and number and
// boolean parsing that do not depend on the locale.
//
// White space is what isspace() accepts in the "C" locale: blank, tab, new
// line, vertical tab, form feed and carriage return.
#pragma once

#include "toolkit/base/lists.h"
#include "vxplot_export.h"

// Remove leading and trailing white space from s in place.  Returns s; a
// null s is returned as is.
VXPLOT_EXPORT char* strclip(char* s);

// 1 when the whole of s matches the POSIX extended regular expression regex,
// 0 when it does not, negative (with a registered error) for a bad
// expression or a null argument.  Besides what regcomp() refuses, an
// expression counts as bad when glibc would take too long to compile or run
// it: one with a back reference ("\1", undefined in extended expressions),
// with "+" or a multi-copy interval repeating a part that can match the
// empty string ("(a?)+"; write "(a?)*"), with more than 8 repetitions nested
// ("((a*)*)*..."), with hundreds of ways to match the empty string in one
// part ("((a?|b?)(a?|b?)...)*"), or with nested repetitions multiplying to
// some thousands of compiled nodes ("((a+)+)+...", "(a{99}){99}").
//
// With hook null the expression is compiled for this call only.  Otherwise
// *hook (null at first) keeps the compiled expression with its text and is
// reused while the same text comes again; a different text recompiles it.
// A bad expression leaves the cache as it was.  Free the cache with
// strregfree().
VXPLOT_EXPORT int strregmatch(const char* s, const char* regex, void** hook);

// Free a cache made by strregmatch() and set *hook to null.  Null-safe.
VXPLOT_EXPORT void strregfree(void** hook);

// Cut s at every separator character, in place: each separator becomes a
// NUL and the result lists pointers into s, one per part, empty parts kept
// ("a,,b" gives "a", "", "b"; "" gives one empty part).  Free the list with
// seqfree(t, nullptr) and keep s alive while it is used.  Null for a null s
// or a failed allocation, with a registered error.
VXPLOT_EXPORT Tbl* strcut(char* s, int separator);

// The white-space separated words of s, each an allocated copy; free with
// seqfree(t, free).  Null for a null s or a failed allocation, with a
// registered error.
VXPLOT_EXPORT Tbl* strcutwhite(const char* s);

// The words of s as in strcutwhite(), as an argument vector: *argc words in
// (*argv)[0 .. *argc - 1] and a null after them.  Free with strfreewords().
// 0 on success; negative on failure, leaving *argc and *argv untouched.
VXPLOT_EXPORT int strcutlist(const char* s, int* argc, char*** argv);

// Free an argument vector made by strcutlist().  Null-safe.
VXPLOT_EXPORT void strfreewords(int argc, char** argv);

// String builder.  *stack starts null; every strpush() appends s (the
// builder is made on the first push).  0 on success; negative for a null
// stack pointer or s, or failed allocation.
VXPLOT_EXPORT int strpush(void** stack, const char* s);

// End a builder and set *stack to null.  With flag 1, returns the text
// pushed so far as one allocated string (empty when nothing was pushed) for
// the caller to free(); with flag 0, returns null.  Null for a null stack
// pointer or failed allocation.
VXPLOT_EXPORT char* strpop(void** stack, int flag);

// strtod() that ignores the locale: the decimal point is always ".".  It
// skips leading white space, takes a sign "+" or "-", decimal digits with an
// optional point, and an optional exponent written with "e", "E", "d" or "D"
// ("1.5D3" is 1500); also "inf", "infinity" and "nan" in any case.  Hex
// floats are not accepted.  *end (when end is not null) points after the
// number, or at s when nothing was converted (the result is then 0).  A value
// out of range gives +-HUGE_VAL or 0 and sets errno to ERANGE, as strtod()
// does.
VXPLOT_EXPORT double fixed_strtod(const char* s, char** end);

// Parse a boolean: "1", "yes", "true", "on", "y", "t" give *value 1 and "0",
// "no", "false", "off", "n", "f" give *value 0, in any case, with white
// space around allowed.  Returns 0; -1 for anything else (null, empty), with
// *value untouched and nothing registered: callers register their own line.
VXPLOT_EXPORT int HL_ParseBoolean(const char* s, int* value);
