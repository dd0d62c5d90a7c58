// Decoded samples kept for the pixelator, and a min/max index over them.
//
// A type 1 source is read again each time the grid moves.  Instead of going
// back to the disk, the pixelator keeps the samples of every waveform row
// it has loaded in one process-wide cache, under a memory budget with
// least-recently-used eviction, and reduces a column from the index in time
// that grows with the log of the samples in it, not with their number.
//
// Exactness: a column's count is the number of its samples, and its
// extremes are those of a plain scan in sample order with strict < and >
// (NaN never enters them; a column of only NaN keeps NaN extremes).  Blocks
// are combined in sample order with the same comparisons, so the result is
// identical, bit for bit, to the plain scan, signed zeros included.
#pragma once

#include "waveform/pixelator.h"

#include <QHash>
#include <QString>

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <vector>

// The first sample at or after i in data[0, n) that is the gap marker
// (WF_GAP_VALUE), n when there is none.  Whole chunks are tested without a
// branch per sample, so a run without gaps costs a fraction of a plain loop.
long vx_next_gap(const float* data, long i, long n);

// Fold the samples [a, b) of data, in order, into px.  An empty px (npoints
// 0 or -1) starts from them.
void vx_fold_samples(const float* data, long a, long b, VxPixelatorPixel& px);

// Min/max over blocks of 8, 64, 512, 4096 and 32768 samples.  About 0.29
// floats of index per sample.
struct VxSampleIndex
{
    static constexpr int levels = 5;
    static constexpr int shift0 = 3;  // block size of level L: 1 << (3 * (L + 1))

    const float* data = nullptr;  // not owned
    long nsamp = 0;
    std::vector<float> mins[levels];
    std::vector<float> maxs[levels];

    // Index n samples at data; negative when memory runs out (the index is
    // then empty and reduce() scans).
    int build(const float* data, long n);
    // The same by pieces, as a load hands them on: begin() makes room for n
    // samples (negative, and the index empty, when memory runs out);
    // addPiece() indexes samples [first, first + count) found at samples,
    // pieces in order, first a multiple of piece_samples and count that
    // many but for the last piece; finish() points the index at the array
    // that holds the n samples.  The index is build()'s, bit for bit.
    static constexpr long piece_samples = 32768;  // the top level's block
    int begin(long n);
    // addPiece() returns false only when no sample of the piece is the gap
    // marker (WF_GAP_VALUE), which it notes on the way.
    bool addPiece(const float* samples, long first, long count);
    void finish(const float* data);
    // What the index of n samples takes, in bytes.
    static size_t bytesFor(long n);
    // Fold samples [a, b) into px, as vx_fold_samples() would.
    void reduce(long a, long b, VxPixelatorPixel& px) const;
    size_t bytes() const;
};

// The runs of samples that are not the gap marker, found piece by piece as
// a load hands the pieces on: the runs VXPixelator::ungapTraceDataArray()
// gives for the whole.
struct VxGapRuns
{
    QList<std::pair<int, int>> runs;  // [first, end) of each run, in order
    long open = -1;                   // first sample of the run not yet ended

    // Samples [first, first + count) at samples, pieces in order;
    // has_gap false says that no sample of the piece is the marker.
    void addPiece(const float* samples, long first, long count, bool has_gap = true);
    // End the run open at the end of total samples.
    void finish(long total);
};

// Samples in one malloc'ed array.  The array a reader hands out is kept as
// it is, without a copy; only a range joined from pieces is copied.
class VxSampleArray
{
public:
    VxSampleArray() = default;
    ~VxSampleArray();
    VxSampleArray(const VxSampleArray&) = delete;
    VxSampleArray& operator=(const VxSampleArray&) = delete;

    const float* data() const { return data_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    void clear();
    // Keep n floats of data (malloc'ed; owned from now on, freed here on
    // failure): taken as they are when the array is empty, appended else.
    // false when memory runs out (the array is then unchanged).
    bool take(float* data, size_t n);
    // Append a copy of n floats; false when memory runs out.
    bool append(const float* data, size_t n);
    // Hand the array over to the caller (to free), leaving this one empty.
    float* release();

private:
    float* data_ = nullptr;
    size_t size_ = 0;
};

// A range of the samples of one waveform row, and their index.  Sample i of
// the row lies at the row's time + i intervals.
struct VxCachedRecord
{
    QString key;
    long base = 0;     // row index of samples[0]
    long covered = 0;  // row index past the range asked for (the reader may have given fewer)
    VxSampleArray samples;
    VxSampleIndex index;
    QList<std::pair<int, int>> runs;  // ranges of samples that are not the gap marker
    size_t bytes() const { return samples.size() * sizeof(float) + index.bytes() + sizeof(*this); }
};

class VxSampleCache
{
public:
    // The cache of the process.
    static VxSampleCache& instance();

    // Default budget: 512 MB, or the environment variable
    // "VXPLOT_SAMPLE_CACHE_MB" read at the first use.  0 turns the cache
    // off: every read goes to the reader and nothing is kept.  Besides the
    // rows, the memory of one row let go is kept for the next load (see
    // newRecord()): at most a quarter of the budget more.
    static constexpr size_t default_budget = size_t(512) << 20;

    // Set the budget in bytes, evicting the least recently used rows until
    // the cache fits.
    void setBudget(size_t bytes);
    size_t budget() const;
    size_t bytes() const;
    long count() const;

    // The row under key, marked most recently used; null when absent.
    std::shared_ptr<const VxCachedRecord> find(const QString& key);
    // Keep a row's range, replacing the row's earlier one and evicting older
    // ones until it fits; a range larger than a quarter of the budget is not
    // kept.  It is returned either way.
    std::shared_ptr<const VxCachedRecord> insert(std::shared_ptr<VxCachedRecord> record);
    // A new row for insert().  When its last holder drops it, after the
    // cache has let it go, its memory is kept for the next load (one row's,
    // up to a quarter of the budget) rather than freed.
    std::shared_ptr<VxCachedRecord> newRecord();
    // Evict rows until one of room bytes fits, and hand over the memory
    // kept of a row nobody holds any more (its key and samples stale), or
    // null: a load writes the new row's samples and index into it, pages
    // already mapped, instead of fresh ones that the system must clear and
    // map one by one, which costs more than decoding the samples.
    std::shared_ptr<VxCachedRecord> makeRoom(size_t room);
    void clear();

private:
    struct Spare;    // the memory kept of one row
    struct Recycle;  // the deleter of newRecord()'s rows
    VxSampleCache();
    void evictLocked(size_t room);

    mutable std::mutex mutex_;
    size_t budget_ = default_budget;
    size_t bytes_ = 0;
    std::list<std::shared_ptr<const VxCachedRecord>> lru_;  // most recent first
    QHash<QString, std::list<std::shared_ptr<const VxCachedRecord>>::iterator> map_;
    // shared with the deleters, so that a row dropped at any time, even
    // after the cache, finds it
    std::shared_ptr<Spare> spare_;
};
