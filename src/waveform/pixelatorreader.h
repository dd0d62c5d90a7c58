// How a type 1 pixelator source reaches waveform rows and their samples.
//
// The event service's client is the usual reader (pixelator_qk_client.cpp
// makes one from a VXTraceviewQKClient); a program with waveforms of its own
// may give any reader.  A reader is called only under the pixelator's global
// read mutex, so it need not be thread-safe across traces.
#pragma once

#include "vxplot_export.h"

#include <QByteArray>
#include <QList>
#include <QString>

// One waveform row (a CSS 3.0 wfdisc record) as the pixelator needs it.
struct VxPixelatorRecord
{
    QString key;            // identifies the row's samples: same key, same samples (the row's text and table path)
    QByteArray text;        // the row as the reader keeps it, for the reader's own use
    double time = 0.0;      // epoch time of the first sample
    double endtime = 0.0;   // epoch time of the last sample
    double samprate = 0.0;  // samples per second
    double calib = 0.0;
    double calper = 0.0;
    long nsamp = 0;
    char segtype[8] = {0};  // units code, at most 7 characters, terminated
    int file_state = 1;     // above 0 when the waveform file exists
};

class VXPLOT_EXPORT VXPixelatorReader
{
public:
    virtual ~VXPixelatorReader();

    // The rows of station sta and channel chan that overlap [t0, t1] (epoch
    // seconds), in the reader's order.  calib_from_db asks for calibration
    // from the station tables rather than the rows.  Negative on failure,
    // with a message registered.
    virtual int getWfdiscs(const QString& sta, const QString& chan, double t0, double t1, int calib_from_db,
                           QList<VxPixelatorRecord>& rows) = 0;

    // Read the samples [firstIndexAt(row, t0), firstIndexAt(row, t1)) of
    // row: *data gets a malloc'ed array of *nsamp floats (gaps filled with
    // the gap marker), *ts and *te the sampleTime() of its first and last
    // sample.  Negative on failure, with a message registered; *ts and *te
    // both 0.0 mean the file held nothing usable.
    virtual int load(const VxPixelatorRecord& row, double t0, double t1, float** data, double* ts, double* te,
                     long* nsamp) = 0;

    // Called by loadPieces() with each piece of the samples, in order:
    // samples [first, first + count) of the *nsamp to come (total), at
    // samples; first is a multiple of 32768 and count 32768 but for the
    // last piece.
    using Sink = void (*)(const float* samples, long first, long count, long total, void* context);

    // As load(), and hand each piece of the samples to sink.  A reader that
    // decodes a piece at a time hands it on while it is still in the
    // processor's cache; this one hands on the pieces of what load() gave.
    // On failure some pieces may have been handed on already.  *data is
    // read on entry: null, or a malloc'ed array the reader takes over and
    // may write the samples into (reallocated to their count) rather than
    // fault in a fresh one; it frees it otherwise.
    virtual int loadPieces(const VxPixelatorRecord& row, double t0, double t1, float** data, double* ts, double* te,
                           long* nsamp, Sink sink, void* context);

    // Where sample i of a row lies, and the first sample at or after t
    // (within a thousandth of an interval before it, so that rounding of
    // times loses no sample at an edge), clamped to [0, nsamp].  The sample
    // cache picks samples by these rules, so a reader's load() must too.
    static double sampleTime(const VxPixelatorRecord& row, long i);
    static long firstIndexAt(const VxPixelatorRecord& row, double t);
};
