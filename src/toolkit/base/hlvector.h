// Point sets kept by handle text, for items that draw lines from them.
//
// Three families share one registry and one name space of handles:
//   hlvector   one set of npts points (x, y)
//   hlvector2  a set with two components over one x: (x, y0) and (x, y1),
//              addressed as "handle:0" and "handle:1" by its users
//   hlhistory  a bounded history of (x, y) samples that grows by appending;
//              past its capacity the oldest sample goes
//
// The creator chooses the handle text (1 to HLVECTOR_MAX_HANDLE bytes, no
// ':').  Making a set under a handle that exists replaces it, whatever its
// family.  Point counts are capped at HLVECTOR_MAX_POINTS.
//
// Every function may be called from any thread; the registry is guarded by
// one lock and the getters hand out copies.  Failures register one line and
// return -1.
#pragma once

#include "vxplot_export.h"

#include <cstddef>

inline constexpr size_t HLVECTOR_MAX_HANDLE = 255;
inline constexpr int HLVECTOR_MAX_POINTS = 1 << 26;

// Make (or replace) a one-component set from npts points.  x and y may be
// null only with npts 0.
VXPLOT_EXPORT int hlvector_create(const char* handle, int npts, const double* x, const double* y);
// Make (or replace) a two-component set: x with y0 (component 0) and y1
// (component 1).
VXPLOT_EXPORT int hlvector2_create(const char* handle, int npts, const double* x, const double* y0,
                                   const double* y1);
// Make (or replace) an empty history holding at most capacity samples
// (1 to HLVECTOR_MAX_POINTS).
VXPLOT_EXPORT int hlhistory_create(const char* handle, int capacity);
// Append one sample to a history.
VXPLOT_EXPORT int hlhistory_append(const char* handle, double x, double y);
// Forget a set of any family.  -1 for an unknown handle.
VXPLOT_EXPORT int hlvector_delete(const char* handle);

// 0 when handle names a one-component set; -1 with
// "hlvector_get_vector: Cannot find hlvector '%s'.\n" registered otherwise.
VXPLOT_EXPORT int hlvector_get_vector(const char* handle);
// 0 when handle names a two-component set; -1 with
// "hlvector2_get_vector: Cannot find hlvector2 '%s'.\n" registered otherwise.
VXPLOT_EXPORT int hlvector2_get_vector(const char* handle);

// Copies of a set's points: *xpts and *ypts are malloc'd arrays of *npts
// values (free() them; null for an empty set) and *xpts_size, *ypts_size
// their capacities.  The outputs are written only on success.
VXPLOT_EXPORT int hlvector_get_points(const char* handle, double** xpts, double** ypts, int* npts, int* xpts_size,
                                      int* ypts_size);
// The same for component 0 or 1 of a two-component set.
VXPLOT_EXPORT int hlvector2_get_points(const char* handle, int component, double** xpts, double** ypts, int* npts,
                                       int* xpts_size, int* ypts_size);
// The samples of a history, oldest first.
VXPLOT_EXPORT int hlhistory_get_points(const char* handle, double** xpts, double** ypts, int* npts, int* xpts_size,
                                       int* ypts_size);
