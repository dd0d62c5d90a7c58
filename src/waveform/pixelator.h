// VXPixelator: waveform samples reduced to pixel columns.
//
// A batch of samples is read, folded at once into one VxPixelatorPixel
// (count, minimum, maximum) per screen column and dropped.  What a trace
// keeps is a list of sources, each with segments of columns, so a redraw
// costs the columns, not the samples behind them.
//
// Sources: type 0 a table of trace records in the record store ("Trace4.0"
// or "Trace4.1"), type 1 waveform rows behind the event service (read
// through a VXPixelatorReader), type 2 a real-time packet feed.  Types 0
// and 1 are read again whenever the grid changes; type 2 is fed by
// addSegment() in accumulate mode under tide_mutex.
//
// What a segment holds is bounded by the grid: only columns that meet the
// buffer [tstart, tend] are built (a real-time feed may run one buffer
// width past tend), so a day-long record at a fine grid never makes more
// columns than the buffer has.  Type 1 reads go through a shared cache of
// decoded samples with a min/max index (samplecache_p.h), so that a pan or
// a zoom reduces from memory.
#pragma once

#include "toolkit/base/table.h"
#include "toolkit/store/recordstore.h"
#include "vxplot_export.h"
#include "waveform/pixelatorreader.h"
#include "waveform/tracesources.h"

#include <QList>
#include <QString>
#include <QVector>

#include <pthread.h>

#include <cstddef>
#include <utility>

class VXTrace;
struct Hook;
struct VxPixelatorSource;

// One pixel column.
struct VxPixelatorPixel
{
    int npoints = 0;  // samples in the column; -1 for a hole inside a segment
    float min = 0.0f;  // smallest sample, raw counts; NaN only when every sample of the column is NaN
    float max = 0.0f;  // largest sample
};

// A run of columns with one sample interval, calibration and segment type.
struct VxPixelatorSegment
{
    double time_first_pixel = 0.0;  // epoch time where column 0 begins
    double amin = -1.0;             // extremes of the columns on screen (setStats)
    double amax = 1.0;
    int npixels_used = 0;   // columns pushed while building (the final one is not counted)
    int nsamp_total = 0;    // samples folded into the segment
    double calib = 0.0;
    double dtdata = 0.0;      // sample interval, seconds
    double dtperpixel = 0.0;  // seconds per column when built; stale when it differs from the pixelator's
    char segtype[8] = {0};    // units code, at most 7 characters, terminated
    VxPixelatorSource* source = nullptr;
    QVector<VxPixelatorPixel> pixels;
};

// One place where samples come from.
struct VXPLOT_EXPORT VxPixelatorSource
{
    VxPixelatorSource(VXTrace* trace, Rsptr db, int free_when_done);                             // type 0
    VxPixelatorSource(VXTrace* trace, VXTraceviewQKClient* client, int calib_from_db, int free_when_done);  // type 1
    VxPixelatorSource(VXTrace* trace, const VxTraceviewTIDE& tide, int calib_from_db);            // type 2

    int type = 0;  // 0 record store, 1 event service, 2 real-time packets
    int free_when_done = 0;
    Rsptr db{-1, -1, -1, -1};
    VxTraceviewQK ev;
    VxTraceviewTIDE tide;
    VXTrace* trace = nullptr;
    Table<VxPixelatorSegment> segments;  // in arrival order
    double amin = -1.0;
    double amax = 1.0;
    int npixels_used = 0;
    int nsamp_total = 0;
    double next_time = 0.0;  // time of the next sample a real-time feed expects; 0.0 at the start
    Hook* filter_hook = nullptr;  // filter state carried between packets
};

// One run inside a waveform record read from disk.
struct VxPixelatorTraceSegment
{
    int samp0 = 0;
    int nsamp = 0;
    int data_type = 0;  // 1 metadata only, 2 no waveform file, 3 gap, 4 good data
};

// One waveform record read from disk.  data belongs to the pixelator's
// allocations once getTraceQk() has handed it out.
struct VxPixelatorTrace
{
    VxPixelatorRecord db;  // the row
    double tstart = 0.0;
    double tend = 0.0;
    double dt = 0.0;
    long nsamp = 0;
    double calib = 0.0;
    double calper = 0.0;
    char data_type[32] = {0};  // the segtype
    float* data = nullptr;
    int data_size = 0;  // bytes
    QList<VxPixelatorTraceSegment> segments;
};

// The column of time t on a grid starting at t0 with dtperpixel seconds
// per column: x = (t - t0) / dtperpixel truncated towards zero when x is
// not negative, x - 1.0 truncated when it is (so -2.0 gives -3).  x beyond
// +-1e15, or NaN, is held at +-1e15 (NaN low) so the cast stays defined.
VXPLOT_EXPORT long vx_pixel_index(double t, double t0, double dtperpixel);

class VXPLOT_EXPORT VXPixelator
{
public:
    VXPixelator();
    virtual ~VXPixelator();
    VXPixelator(const VXPixelator&) = delete;
    VXPixelator& operator=(const VXPixelator&) = delete;

    // Most columns a grid may have, buffer included: 12 bytes a column, 48
    // MB per segment at most.
    static constexpr int max_pixels_total = 1 << 22;

    // Set the grid: npixels visible columns of dtperpixel seconds from
    // tleft, with tbuffer seconds kept to the left.  0 when nothing changed
    // and force is 0 (nothing is read), 1 after re-pixelating; negative for
    // a grid that is not finite or has more than max_pixels_total columns
    // (the grid is then unchanged).
    int setPixels(double tleft, double dtperpixel, int npixels, int force, double tbuffer);

    // Add (index -1) or replace the type 0 source of a "Trace4.x" trace
    // record, then read it.  Returns the last index of sources.  Throws the
    // text "Exception" after registering why the record was refused.
    int setDbtrace(Rsptr dbtrace, int index, int free_when_done);

    // Add or replace a type 1 source reading through ev_client, then read
    // it.  Returns its index.
    int setQk(VXTraceviewQKClient* ev_client, int calib_from_db, int index, int free_when_done);
    // The same with a reader of the program's own (not owned).
    int setReader(VXPixelatorReader* reader, int calib_from_db, int index);

    // Add or replace a type 2 source; index (-1 to add) comes back with its
    // place.  The result is the source's own tide record.
    VxTraceviewTIDE* setTIDE(VxTraceviewTIDE tide, int& index, int calib_from_db);

    // Add a type 1 source unless one with the same client exists.  Throws
    // "Exception" after registering when setQk() fails.
    void appendTraceSources(VxTraceviewQK ev);
    // Add a type 2 source unless one with the same reap thread exists; the
    // tide record of the source either way.
    VxTraceviewTIDE* appendTraceSources(VxTraceviewTIDE tide);

    void getUtilization(int& nsamp, int& npixels) const;
    // Free every sample array handed out by getTraceQk().
    void clearAllocations();
    // The half-open ranges [is, ie) of samples that are not the gap marker
    // (NaN counts as a sample).
    QList<std::pair<int, int>> ungapTraceDataArray(int nsamp, const float* data) const;

    // State, as the trace and the trace view read it.
    double tstart = 0.0;
    double tend = 0.0;
    double tleft = 0.0;
    double tbuffer = 0.0;
    double dtperpixel = 0.0;
    int npixels = 0;
    int npixels_total = 0;
    double amin = 0.0;
    double amax = 0.0;
    int npixels_used = 0;
    int nsamp_total = 0;
    double toffset = 0.0;
    double last_trim_time = 0.0;
    QString filter_string;
    QString filter_label;
    double filter_tpad = 0.0;
    QList<VxPixelatorSource*> sources;
    QList<void*> allocations;
    pthread_mutex_t tide_mutex;

    // The global read mutex: every read of a store, a file or the event
    // service by any pixelator runs under it (lock order: a trace's
    // mutex_traces, then tide_mutex, then this).
    static pthread_mutex_t* readMutex();

protected:
    // Station and channel of the owning trace, for the event service's
    // waveform rows; the trace overrides these.
    virtual QString pixelatorStation() const { return {}; }
    virtual QString pixelatorChannel() const { return {}; }

    void addDbtrace(VxPixelatorSource* source);
    void addQk(VxPixelatorSource* source);
    // Fold nsamp samples from tstart at interval dt into columns of source;
    // accumulate 1 appends to the last segment when the samples continue it.
    // 0, or negative for bad times (registered).  The caller holds
    // tide_mutex for a real-time source.
    int addSegment(VxPixelatorSource* source, double tstart, int nsamp, double dt, double calib,
                   const char* segtype, const float* datain, int accumulate);
    void removeSegment(VxPixelatorSource* source, int i);
    // Copy the grid, statistics and the list of sources of input; the
    // sources stay input's, so the copy must not outlive it.
    void copyFrom(VXPixelator* input);
    void pixelate();
    int getTraceQk(VxPixelatorSource* source, double tstart, double tend, int read_flags,
                   QList<VxPixelatorTrace>& traces);
    void clearDbSegments();
    void trimSegments(double tstart);
    void setStats();

private:
    // The bulk path of addSegment() without a filter: columns found by
    // their sample ranges, reduced through index when given (sample 0 of
    // datain is sample index_offset of the index).
    void reduceBulk(VxPixelatorSource* source, double tstart, long nsamp, double dt, double calib,
                    const char* segtype, const float* datain, const struct VxSampleIndex* index,
                    long index_offset);
    void addCached(VxPixelatorSource* source, double t0, double t1);
    void addSamplesRuns(VxPixelatorSource* source, double stime, long nsamp, double dt, double calib,
                        const char* segtype, const float* data, const struct VxSampleIndex* index, long offset);

    QList<VxPixelatorSource*> owned_;  // sources made here, replaced ones too: deleted with the pixelator
};
