// Samples of one wfdisc row whose datatype is "sd": miniSEED records.
//
// Private to the library.  The row's foff is the byte offset of its first
// record; that record names the stream (network, station, location and
// channel) and later records of other streams, interleaved in the same
// file, are stepped over.  Records may have any length and either byte
// order, and be encoded as Steim-1, Steim-2, 16- or 32-bit integers or
// 32- or 64-bit floats; libmseed decodes them.
#pragma once

#include <cstddef>

// The sample grid of a row and the part of it wanted.
struct WfMseedWindow
{
    double time = 0.0;      // epoch seconds of sample 0 of the row
    double samprate = 0.0;  // samples per second, above 0
    long first = 0;         // first sample index wanted
    long count = 0;         // samples wanted, from first
};

// Where a failure was found, for the caller's message.
struct WfMseedFault
{
    size_t offset = 0;  // byte offset, from the row's first record, of the record at fault
};

// Read the records at bytes (size bytes, starting with the row's first
// record) into out, which holds window.count floats already set to the gap
// marker.  Each sample goes to the index of its time on the row's grid; an
// index no record covers keeps the gap marker, and where records overlap
// the first one read wins.  Reading stops at the first record of the stream
// that begins after the window, or at the end of the bytes.  Returns the
// number of samples written (0 or more), or -1 when a record cannot be
// read (a corrupt or cut-off record, a text record), with fault->offset set
// and a message naming name registered.
// Decoding is serialised across threads (libmseed keeps state while it
// unpacks), so the call is safe from any thread.
int wfmseed_read(const char* bytes, size_t size, const WfMseedWindow& window, float* out, WfMseedFault* fault,
                 const char* name);

struct MSRecord_s;

// Whether the samples a parsed record claims fit in it: libmseed trusts the
// sample count of uncompressed encodings and the data offset, so a record
// that lies about them would be read past its end.  Check before unpacking.
bool wfmseed_samples_fit(const struct MSRecord_s* msr);
