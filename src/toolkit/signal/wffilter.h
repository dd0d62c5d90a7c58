// Filters on float samples, named by a short text.
//
// The text is a chain of stages separated by ";", run in order:
//
//   "none" or ""            no filtering
//   "BW lo olo hi ohi"      causal Butterworth band-pass: a high-pass of
//                           order olo at lo Hz, then a low-pass of order ohi
//                           at hi Hz; a corner of 0 leaves that side out, so
//                           "BW 0 0 2 4" is a low-pass and "BW 1 4 0 0" a
//                           high-pass.  Orders 1 to 10.
//   "DEMEAN"                removes the mean
//
// Words are separated by blanks and are not case sensitive; an empty stage
// is skipped ("BW 1 4 2 4;" is one stage).  docs/filters.md is the user's
// description of the language.
//
// Gaps: a sample equal to WF_GAP_VALUE (toolkit/waveio/wfgap.h) or NaN is
// left as it is and restarts every stage, so that the run after a gap is
// filtered as if it began the data.  A stage starts as if its first input
// had always been there (a constant input gives no transient), which keeps
// a record's offset from ringing through a high-pass at its start.
#pragma once

#include "vxplot_export.h"

// The state of a filter carried from one packet of a stream to the next:
// the parsed text, the sections designed for the sample interval, their
// memory and the time of the next sample.  Opaque; made by
// wffilter_parse() or wffilter_pkt2(), freed by release_hook().
struct Hook;

// Checks the filter text.  Returns the number of stages (0 for "none" or an
// empty text), or -1 with one registered line naming the word at fault
// ("wffilter_parse: Unknown word 'X' in 'X 1 2'.").  With hook not null,
// *hook is released and replaced by a fresh state for the text (left as it
// was on failure).  Corners are checked against the Nyquist frequency only
// when samples come, by wffilter_pkt2().
VXPLOT_EXPORT int wffilter_parse(Hook** hook, const char* filter);

// Filters *nsamp samples at *data in place.  *tstart is the time of the
// first sample and *dt the sample interval in seconds; *data is a malloc'ed
// array of *size floats (size may be null); the function may reallocate it
// and change *tstart, *nsamp, *dt, *data and *size, so callers take them
// back after the call.  The filters of this service keep the length and the
// times.
//
// hookptr null: the batch is filtered on its own, every stage starting
// afresh at the first sample; "DEMEAN" removes the mean of each run of
// samples between gaps.
//
// hookptr not null: the state in *hookptr (made here when *hookptr is null
// or belongs to another text or sample interval, the old one released)
// carries the filter across calls, so that a stream given packet by packet
// comes out as it would in one call, to float rounding.  A packet that does
// not start where the last one ended (by more than half a sample) restarts
// the stages, as a gap does.  "DEMEAN" then removes the mean of the samples
// seen since the last restart, the only mean a stream can know.
//
// Returns 0, or -1 with a registered line for a text that does not parse,
// a corner at or above the Nyquist frequency 0.5 / *dt (naming the corner),
// or a bad argument; the samples and *hookptr are then unchanged.
VXPLOT_EXPORT int wffilter_pkt2(double* tstart, int* nsamp, double* dt, float** data, int* size, const char* filter,
                                Hook** hookptr);

// Frees the filter state at *hook and sets *hook null; hook or *hook null
// does nothing.
VXPLOT_EXPORT void release_hook(Hook** hook);
