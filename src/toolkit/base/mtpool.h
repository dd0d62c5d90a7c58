// A pool of worker threads for parallel loops over an index range.
//
// Workers are added with their own procedure and user data; a call of
// mtpool_processthreads() splits [start, start + number) into one contiguous
// slice per worker, runs every worker on its slice and returns when all are
// done.  The pool is driven from one thread at a time.
#pragma once

#include "vxplot_export.h"

struct Mtpool;

// Work on the slice [ioffset, ioffset + number).
typedef void (*Mtpool_proc)(long ioffset, long number, void* user_data);

// Null on failure, with a registered error.
VXPLOT_EXPORT Mtpool* mtpool_create();

// Add count workers running proc with user_data.  flags is reserved.
// Negative on failure.
VXPLOT_EXPORT int mtpool_addthread(Mtpool* pool, Mtpool_proc proc, int count, int flags, void* user_data);

// Number of workers in the pool, negative for a null pool.
VXPLOT_EXPORT int mtpool_threadcount(Mtpool* pool);

// Run all workers over the range and wait for them.  A pool without workers
// runs nothing and fails.  Negative on failure.
VXPLOT_EXPORT int mtpool_processthreads(Mtpool* pool, long start, long number);

// Stop the workers and free the pool.
VXPLOT_EXPORT void mtpool_destroy(Mtpool* pool);
