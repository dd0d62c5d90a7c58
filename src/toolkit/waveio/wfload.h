// Samples of one waveform segment, read from the file a wfdisc row names.
//
// A wfdisc row (CSS 3.0) says where the samples of one segment of one
// channel are: the file dir/dfile (a relative dir is taken from the folder
// of the wfdisc table's file, so a database can be moved with its files),
// the byte offset foff of the first sample in it, the sample format
// datatype, nsamp samples at samprate per second, the first at time.
//
// Formats read (datatype):
//   s4 s2 s3 t4 t8   big-endian 32-, 16-, 24-bit integers, 32-, 64-bit floats
//   i4 i2 f4 f8      little-endian 32-, 16-bit integers, 32-, 64-bit floats
//   g2               gain-ranged 16-bit samples
//   a0 a# b0 b# c0 c#  text fields of 15, 24 and 12 characters a sample
//   sd               miniSEED records from foff on (any record length, either
//                    byte order, Steim-1, Steim-2, integer and float
//                    encodings); records of other channels in the same file
//                    are stepped over
// When dfile does not exist but dfile.gz does, the samples are inflated
// from the gzip file, up to the end of the window only.  Plain files are
// mapped, and only the bytes of the window are touched.  The calling thread
// keeps the last file it read mapped (until it reads another file, the
// file changes, or the thread ends), so that the many rows of one file are
// read through one mapping.
#pragma once

#include "toolkit/store/recordstore.h"
#include "vxplot_export.h"

// Negative results of wfload_scratch(), for wfload_error().
enum {
    WFLOAD_ERR_ARGS = -1,      // a null output pointer, or no wfdisc table
    WFLOAD_ERR_ROW = -2,       // a field of the row is missing or out of range
    WFLOAD_ERR_DATATYPE = -3,  // the datatype is not a format read here
    WFLOAD_ERR_FILE = -4,      // the file does not exist or cannot be read
    WFLOAD_ERR_RANGE = -5,     // foff or nsamp reaches past the end of the file
    WFLOAD_ERR_CORRUPT = -6,   // bad text samples, a corrupt miniSEED record or gzip data
    WFLOAD_ERR_MEMORY = -7,    // the samples do not fit in memory
};

// Most samples one call returns (a day at 1000 samples per second).
constexpr long WFLOAD_SAMPLES_MAX = 86400L * 1000L;

// Read the samples of the wfdisc scratch row of db's database (load a
// record there with rsload_scratch()) whose times lie in [t0, t1).  t0 and
// t1 both 0 read the whole row.  A sample whose time falls within a
// thousandth of an interval before t0 or t1 counts as being at it, so that
// rounding of times does not lose the sample at an edge.
//
// flags is reserved; pass 0.  filename names the waveform file; null looks
// it up from dir and dfile with rsextfile_scratch() (with the .gz
// fallback); a name ending in ".gz" is inflated.
//
// On success *data is a malloc'ed array of the samples as floats (free it
// with free()), null when there are none; where no record covers a sample
// (gaps between miniSEED records) it holds WF_GAP_VALUE (wfgap.h).  *ts and
// *te are the times of the first and last sample returned (both t0 when
// there are none), *nsamp (may be null) their count, which is also the
// result: 0 or more.  Samples are counts as stored, calib not applied.
//
// On failure a WFLOAD_ERR_... code, one line naming the row (sta, chan,
// time), the file and the field at fault registered, and nothing written
// to the outputs: samples of earlier calls stay as they were.
VXPLOT_EXPORT int wfload_scratch(Rsptr db, int flags, float** data, const char* filename, double* ts, double* te,
                                 double t0, double t1, long* nsamp);

// Pieces handed to a sample sink: samples [first, first + count) of the
// result, with first a multiple of WFLOAD_PIECE_SAMPLES and count that many
// but for the last piece.
constexpr long WFLOAD_PIECE_SAMPLES = 32768;

// Called with each piece of the samples a load returns, in order, while it
// is still in the processor's cache: samples points at sample first of the
// result, total is the result's count.
using WfSampleSink = void (*)(const float* samples, long first, long count, long total, void* context);

// As wfload_scratch(), and hand every piece of the samples to sink (when
// not null) as soon as it is decoded: the plain binary formats are decoded
// a piece at a time, the others whole and then handed on.  A load that
// fails may have handed some pieces already; its samples are not returned.
// Unlike wfload_scratch(), *data is read on entry: null, or a malloc'ed
// array that the load takes over, to write the samples into (reallocated to
// their count) where a fresh array would have to be faulted in page by
// page; on failure it is freed and *data is null.
VXPLOT_EXPORT int wfload_scratch_pieces(Rsptr db, int flags, float** data, const char* filename, double* ts,
                                        double* te, double t0, double t1, long* nsamp, WfSampleSink sink,
                                        void* context);

// Write the reason for code, a result of wfload_scratch(), to the log,
// with the message of the calling thread's last failed load when it failed
// with that code (the register may have been cleared since).  flags is
// reserved; pass 0.  Returns 0.
VXPLOT_EXPORT int wfload_error(int code, int flags);

// The reason for code as text, as "foff or nsamp past the end of the file".
VXPLOT_EXPORT const char* wfload_strerror(int code);
