// Sample formats of CSS 3.0 waveform files (the wfdisc field datatype).
//
// Private to the library: the loader and its tests and fuzzers use it.
#pragma once

#include <cstddef>

// How the samples of one format are stored.
enum WfFormatKind {
    WF_FORMAT_BINARY = 0,  // fixed-width binary numbers
    WF_FORMAT_ASCII = 1,   // fixed-width text fields, no separators
    WF_FORMAT_MSEED = 2,   // miniSEED records ("sd")
};

struct WfFormat
{
    const char* code;  // the datatype code, as "s4"
    int bytes;         // bytes per sample; 0 for miniSEED
    int kind;          // WF_FORMAT_...
};

// The format of the datatype code (exact, case-sensitive, blanks trimmed by
// the caller).  Null when the code is not one the loader reads.
const WfFormat* wfformat_find(const char* code);

// The codes the loader reads, blank-separated, for messages.
const char* wfformat_codes();

// Decode n samples of format f from bytes (n * f->bytes of them) into out.
// Binary formats cannot fail.  ASCII formats return -1 when a field is not
// a number, with its sample index in *bad; else 0.  miniSEED is not decoded
// here (-1, *bad 0).
int wfformat_decode(const WfFormat* f, const unsigned char* bytes, size_t n, float* out, size_t* bad);
