// Bounded, thread-safe queue of pointers.
//
// A queue made with block 1 makes mtqueue_push() wait while it is full and
// mtqueue_pop() wait while it is empty.  mtqueue_release_block() wakes every
// waiting thread for good: from then on a pop on an empty queue returns 0 at
// once and a push on a full queue fails, so a release that comes before the
// pop is never lost.
#pragma once

#include "vxplot_export.h"

struct Mtqueue;

// Frees one entry left in a queue that is destroyed.
typedef void (*Mtqueue_free_proc)(void* value);

// A queue of at most maxqueue entries (at least 1).  Null on failure, with a
// registered error.  flags is reserved and must be 0.
VXPLOT_EXPORT Mtqueue* mtqueue_create(int maxqueue, int block, int flags);

// Append value.  0 on success; negative for a null queue, a full queue that
// does not block, or a released queue that is full.
VXPLOT_EXPORT int mtqueue_push(Mtqueue* queue, void* value);

// Take the oldest entry into *value.  1 when a value was taken; 0 when the
// queue is empty and either released or not blocking; negative for a null
// queue or value pointer.
VXPLOT_EXPORT int mtqueue_pop(Mtqueue* queue, void** value);

// Number of entries, negative for a null queue.  Never blocks.
VXPLOT_EXPORT int mtqueue_data_available(Mtqueue* queue);

// Wake blocked pops and pushes; they return 0 and a failure respectively.
VXPLOT_EXPORT int mtqueue_release_block(Mtqueue* queue);

// Free the queue.  Entries still queued go to free_proc when it is not null.
// No thread may be waiting on the queue.
VXPLOT_EXPORT void mtqueue_destroy(Mtqueue* queue, Mtqueue_free_proc free_proc);
