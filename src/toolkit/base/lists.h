// Plain C-style containers of the host toolkit.
//
// Tbl is a growable list of void*, indexed from 0.  Arr is a table of void*
// keyed by strings; its keys are kept sorted by a compare function (strcmp
// unless another is given), so mapkeys() lists them in order.  Neither owns
// the pointers it holds: seqfree() and mapfree() pass each element to a free
// procedure only when one is given.
//
// A container is used from one thread at a time.
#pragma once

#include "vxplot_export.h"

struct Tbl;
struct Arr;

// Frees one element of a list or one value of a table.
typedef void (*HL_free_proc)(void* element);

// Compares two keys like strcmp: negative, 0 or positive.
typedef int (*HL_compare_proc)(const char* a, const char* b);

// A new, empty list with room for size elements (a hint; negative is taken
// as 0).  Null on failed allocation, with a registered error.
VXPLOT_EXPORT Tbl* seqnew(int size);

// Number of elements; negative for a null list.
VXPLOT_EXPORT long seqcount(Tbl* tbl);

// Element i, or null when i is out of range or the list is null.
VXPLOT_EXPORT void* seqget(Tbl* tbl, long i);

// Replace element i with v; i equal to the count appends.  The element
// replaced is not freed.  Negative for a null list or i outside [0, count].
VXPLOT_EXPORT int seqset(Tbl* tbl, long i, void* v);

// Append v.  0 on success, negative for a null list or failed allocation.
VXPLOT_EXPORT int seqpush(Tbl* tbl, void* v);

// Free the list; when free_proc is not null, every non-null element goes to
// it first.
// A null list is ignored.
VXPLOT_EXPORT void seqfree(Tbl* tbl, HL_free_proc free_proc);

// A new, empty table ordered by compare (null: strcmp).  Null on failed
// allocation, with a registered error.
VXPLOT_EXPORT Arr* mapnew(HL_compare_proc compare);

// Value under key; null for an absent key, a null key or a null table.
VXPLOT_EXPORT void* mapget(Arr* arr, const char* key);

// Store v under key (the table keeps its own copy of the key).  Returns the
// value previously stored there, which is not freed, or null when there was
// none.  A null table or key registers an error and stores nothing.
VXPLOT_EXPORT void* mapset(Arr* arr, const char* key, void* v);

// Remove key and return its value (not freed); null when absent.
VXPLOT_EXPORT void* mapdel(Arr* arr, const char* key);

// Number of keys; negative for a null table.
VXPLOT_EXPORT long mapcount(Arr* arr);

// The keys in sorted order as a new list.  The elements point at the table's
// own copies of the keys and stay valid while the key stays in the table;
// free the list with seqfree(keys, nullptr).  Null for a null table.
VXPLOT_EXPORT Tbl* mapkeys(Arr* arr);

// The values in the order of their keys, as a new list; free it with
// seqfree(vals, nullptr).  Null for a null table.
VXPLOT_EXPORT Tbl* mapvals(Arr* arr);

// Free the table; when free_proc is not null, every non-null value goes to
// it first.
// A null table is ignored.
VXPLOT_EXPORT void mapfree(Arr* arr, HL_free_proc free_proc);
