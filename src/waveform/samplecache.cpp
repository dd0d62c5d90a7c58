// The pixelator's cache of decoded samples and its min/max index.
#include "waveform/samplecache_p.h"

#include "toolkit/waveio/wfgap.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#include <xmmintrin.h>
#endif

long vx_next_gap(const float* data, long i, long n)
{
    // the marker is a normal number, so float equality with it is equality
    // of the bits, which vectorises without caring for NaN
    uint32_t gap = 0;
    const float marker = WF_GAP_VALUE;
    memcpy(&gap, &marker, sizeof gap);
    constexpr long chunk = 32;
    for (; i + chunk <= n; i += chunk) {
        uint32_t hit = 0;
        for (long j = 0; j < chunk; j++) {
            uint32_t u;
            memcpy(&u, data + i + j, sizeof u);
            hit |= static_cast<uint32_t>(u == gap);
        }
        if (hit)
            break;  // the marker is in this chunk: find it below
    }
    for (; i < n; i++) {
        uint32_t u;
        memcpy(&u, data + i, sizeof u);
        if (u == gap)
            return i;
    }
    return n;
}

namespace {

#if defined(__SSE2__)
// Lanes of a or b that hold -0 (the bits of the sign alone), all ones.
inline __m128 is_minus_zero(__m128 a, __m128 b)
{
    const __m128i sign = _mm_set1_epi32(INT32_MIN);
    return _mm_castsi128_ps(_mm_or_si128(_mm_cmpeq_epi32(_mm_castps_si128(a), sign),
                                         _mm_cmpeq_epi32(_mm_castps_si128(b), sign)));
}

// The smallest and largest of data[a, b) that are not NaN, in any order:
// +inf and -inf when every sample is NaN; *minus_zero when a -0 is there.  _mm_min_ps(v, m) is v < m ? v : m,
// so a NaN sample gives way to what is there.
void extremes_unordered(const float* data, long a, long b, float* mn, float* mx, bool* minus_zero)
{
    __m128 m0 = _mm_set1_ps(std::numeric_limits<float>::infinity()), m1 = m0;
    __m128 x0 = _mm_set1_ps(-std::numeric_limits<float>::infinity()), x1 = x0;
    __m128 neg = _mm_setzero_ps();
    long i = a;
    for (; i + 8 <= b; i += 8) {
        const __m128 v0 = _mm_loadu_ps(data + i);
        const __m128 v1 = _mm_loadu_ps(data + i + 4);
        m0 = _mm_min_ps(v0, m0);
        m1 = _mm_min_ps(v1, m1);
        x0 = _mm_max_ps(v0, x0);
        x1 = _mm_max_ps(v1, x1);
        neg = _mm_or_ps(neg, is_minus_zero(v0, v1));
    }
    alignas(16) float lo[4], hi[4];
    _mm_store_ps(lo, _mm_min_ps(m0, m1));
    _mm_store_ps(hi, _mm_max_ps(x0, x1));
    float l = std::min(std::min(lo[0], lo[1]), std::min(lo[2], lo[3]));
    float h = std::max(std::max(hi[0], hi[1]), std::max(hi[2], hi[3]));
    bool nz = _mm_movemask_ps(neg) != 0;
    for (; i < b; i++) {
        const float v = data[i];
        if (v < l)
            l = v;
        if (v > h)
            h = v;
        nz = nz || (v == 0.0f && std::signbit(v));
    }
    *mn = l;
    *mx = h;
    *minus_zero = nz;
}
#endif

} // namespace

void vx_fold_samples(const float* data, long a, long b, VxPixelatorPixel& px)
{
    if (a >= b)
        return;
    if (px.npoints <= 0) {
        px.npoints = 0;
        px.min = px.max = data[a];
    }
    px.npoints += static_cast<int>(b - a);
    long i = a;
    // while the extremes are NaN, the next sample replaces them
    while (i < b && std::isnan(px.min)) {
        px.min = px.max = data[i];
        i++;
    }
#if defined(__SSE2__)
    // A long range by vectors: the scan below keeps the first of equal
    // extremes, which is the same number unless it is a zero while a -0 is
    // there (the order chooses the sign); that, or no sample but NaN,
    // takes the scan.
    if (b - i >= 32) {
        float mn = 0.0f, mx = 0.0f;
        bool minus_zero = false;
        extremes_unordered(data, i, b, &mn, &mx, &minus_zero);
        if (mn <= mx && !(minus_zero && (mn == 0.0f || mx == 0.0f))) {
            if (mn < px.min)
                px.min = mn;
            if (mx > px.max)
                px.max = mx;
            return;
        }
    }
#endif
    float mn = px.min, mx = px.max;
    // NaN compares false both ways, so it never enters the extremes here
    for (; i < b; i++) {
        const float v = data[i];
        if (v < mn)
            mn = v;
        if (v > mx)
            mx = v;
    }
    px.min = mn;
    px.max = mx;
}

namespace {

// Fold a block's count and extremes into px, in order.
inline void fold_block(VxPixelatorPixel& px, int count, float bmin, float bmax)
{
    if (px.npoints <= 0) {
        px.npoints = count;
        px.min = bmin;
        px.max = bmax;
        return;
    }
    px.npoints += count;
    // NaN extremes give way to the next block's, a NaN block's too, as they
    // give way to the next sample in vx_fold_samples(): a column of nothing
    // but NaN ends with its last sample's bits either way
    if (std::isnan(px.min)) {
        px.min = bmin;
        px.max = bmax;
        return;
    }
    if (std::isnan(bmin))
        return;
    if (bmin < px.min)
        px.min = bmin;
    if (bmax > px.max)
        px.max = bmax;
}

} // namespace

namespace {

// The extremes of block k of 8 pairs (lo[i], hi[i]) folded in order by
// fold_block(): a sample is the pair (v, v), a block of the level below
// its (min, max).
inline void fold_block8(const float* lo, const float* hi, long first, long last, float* bmin, float* bmax)
{
    VxPixelatorPixel px;
    for (long i = first; i < last; i++)
        fold_block(px, 1, lo[i], hi[i]);
    *bmin = px.min;
    *bmax = px.max;
}

#if defined(__SSE2__)
// Four blocks of 8 pairs whose lows l[0..7] and highs h[0..7] are loaded
// (block b in lanes b of each pair of vectors): their extremes stored at
// mins[k..k+3] and maxs[k..k+3], and a block the vector pass cannot decide
// (see fold_blocks8) folded again in order from lo and hi.
inline void fold4(const __m128* l, const __m128* h, const float* lo, const float* hi, long k, float* mins, float* maxs)
{
    const __m128 pinf = _mm_set1_ps(std::numeric_limits<float>::infinity());
    const __m128 ninf = _mm_set1_ps(-std::numeric_limits<float>::infinity());
    const __m128 zero = _mm_setzero_ps();
    // _mm_min_ps(a, b) is a < b ? a : b: a NaN in a gives way to b
    __m128 m0 = _mm_min_ps(l[1], _mm_min_ps(l[0], pinf));
    __m128 m1 = _mm_min_ps(l[3], _mm_min_ps(l[2], pinf));
    __m128 m2 = _mm_min_ps(l[5], _mm_min_ps(l[4], pinf));
    __m128 m3 = _mm_min_ps(l[7], _mm_min_ps(l[6], pinf));
    __m128 x0 = _mm_max_ps(h[1], _mm_max_ps(h[0], ninf));
    __m128 x1 = _mm_max_ps(h[3], _mm_max_ps(h[2], ninf));
    __m128 x2 = _mm_max_ps(h[5], _mm_max_ps(h[4], ninf));
    __m128 x3 = _mm_max_ps(h[7], _mm_max_ps(h[6], ninf));
    // a zero extreme is +0 as the order would choose unless a -0 is there
    const __m128 neg = _mm_or_ps(
        _mm_or_ps(_mm_or_ps(is_minus_zero(l[0], l[1]), is_minus_zero(l[2], l[3])),
                  _mm_or_ps(is_minus_zero(l[4], l[5]), is_minus_zero(l[6], l[7]))),
        _mm_or_ps(_mm_or_ps(is_minus_zero(h[0], h[1]), is_minus_zero(h[2], h[3])),
                  _mm_or_ps(is_minus_zero(h[4], h[5]), is_minus_zero(h[6], h[7]))));
    const bool any_minus_zero = _mm_movemask_ps(neg) != 0;
    // a row per block: after the transpose, lane b of each vector is block b's
    _MM_TRANSPOSE4_PS(m0, m1, m2, m3);
    _MM_TRANSPOSE4_PS(x0, x1, x2, x3);
    const __m128 mn = _mm_min_ps(_mm_min_ps(m0, m1), _mm_min_ps(m2, m3));
    const __m128 mx = _mm_max_ps(_mm_max_ps(x0, x1), _mm_max_ps(x2, x3));
    _mm_storeu_ps(mins + k, mn);
    _mm_storeu_ps(maxs + k, mx);
    __m128 redo = _mm_cmpgt_ps(mn, mx);
    if (any_minus_zero)
        redo = _mm_or_ps(redo, _mm_or_ps(_mm_cmpeq_ps(mn, zero), _mm_cmpeq_ps(mx, zero)));
    if (int mask = _mm_movemask_ps(redo)) {
        for (int b = 0; b < 4; b++)
            if (mask & (1 << b))
                fold_block8(lo, hi, 8 * (k + b), 8 * (k + b + 1), mins + k + b, maxs + k + b);
    }
}

inline void load8(const float* p, __m128* v)
{
    for (int i = 0; i < 8; i++)
        v[i] = _mm_loadu_ps(p + 4 * i);
}
#endif

// The extremes of nblocks whole blocks of 8 pairs.  In order, strict < and
// > keep the first of equal extremes, and NaN enters only a block of NaN;
// the vector pass takes the smallest and largest value that is not NaN,
// which is the same number unless there is none, or it is a zero while a
// -0 is among the values (the order then chooses the sign).  Those blocks
// are folded again in order.
void fold_blocks8(const float* lo, const float* hi, long nblocks, float* mins, float* maxs)
{
    long k = 0;
#if defined(__SSE2__)
    for (; k + 4 <= nblocks; k += 4) {
        __m128 l[8], h[8];
        load8(lo + 8 * k, l);
        load8(hi + 8 * k, h);
        fold4(l, h, lo, hi, k, mins, maxs);
    }
#endif
    for (; k < nblocks; k++)
        fold_block8(lo, hi, 8 * k, 8 * (k + 1), mins + k, maxs + k);
}

// The first level of the index: fold_blocks8() over samples (each sample
// its own pair), each vector loaded once, and the samples tested for the
// gap marker on the way.  true when one of them is the marker.
bool fold_samples8(const float* v, long nblocks, float* mins, float* maxs)
{
    uint32_t gap_bits = 0;
    const float marker = WF_GAP_VALUE;
    memcpy(&gap_bits, &marker, sizeof gap_bits);
    bool gap = false;
    long k = 0;
#if defined(__SSE2__)
    const __m128i gapv = _mm_set1_epi32(static_cast<int>(gap_bits));
    __m128i hits = _mm_setzero_si128();
    for (; k + 4 <= nblocks; k += 4) {
        __m128 l[8];
        load8(v + 8 * k, l);
        __m128i eq = _mm_setzero_si128();
        for (int i = 0; i < 8; i++)
            eq = _mm_or_si128(eq, _mm_cmpeq_epi32(_mm_castps_si128(l[i]), gapv));
        hits = _mm_or_si128(hits, eq);
        fold4(l, l, v, v, k, mins, maxs);
    }
    gap = _mm_movemask_epi8(hits) != 0;
#endif
    for (; k < nblocks; k++) {
        fold_block8(v, v, 8 * k, 8 * (k + 1), mins + k, maxs + k);
        for (long i = 8 * k; i < 8 * (k + 1); i++) {
            uint32_t u;
            memcpy(&u, v + i, sizeof u);
            gap = gap || u == gap_bits;
        }
    }
    return gap;
}

} // namespace

int VxSampleIndex::build(const float* d, long n)
{
    if (begin(n) < 0) {
        data = d;
        return -1;
    }
    addPiece(d, 0, n);
    finish(d);
    return 0;
}

int VxSampleIndex::begin(long n)
{
    data = nullptr;
    nsamp = n;
    try {
        long count = n;  // pairs at the level below
        for (int level = 0; level < levels; level++) {
            const long blocks = (count + 7) >> shift0;
            // the memory of a larger row's index is kept only while it is
            // not more than twice what this one needs
            if (mins[level].capacity() > 2 * static_cast<size_t>(blocks) + 64) {
                std::vector<float>().swap(mins[level]);
                std::vector<float>().swap(maxs[level]);
            }
            mins[level].assign(static_cast<size_t>(blocks), 0.0f);
            maxs[level].assign(static_cast<size_t>(blocks), 0.0f);
            count = blocks;
        }
    } catch (const std::bad_alloc&) {
        for (int level = 0; level < levels; level++) {
            mins[level].clear();
            maxs[level].clear();
        }
        return -1;
    }
    return 0;
}

bool VxSampleIndex::addPiece(const float* samples, long first, long count)
{
    if (mins[0].empty() || count < 1 || first < 0 || (first & (piece_samples - 1)) != 0 || first + count > nsamp)
        return true;
    // a piece begins on a block edge at every level, so its blocks are
    // folded from its own pairs alone, as a build of the whole would
    const float* lo = samples;
    const float* hi = samples;
    long at = first;  // the piece's first pair at the level below
    long pairs = count;
    bool gap = false;
    for (int level = 0; level < levels; level++) {
        const long out = at >> shift0;
        const long blocks = (pairs + 7) >> shift0;
        const long whole = pairs >> shift0;
        float* mn = mins[level].data() + out;
        float* mx = maxs[level].data() + out;
        if (level == 0) {
            gap = fold_samples8(samples, whole, mn, mx);
            for (long i = 8 * whole; i < pairs; i++)
                gap = gap || samples[i] == WF_GAP_VALUE;
        } else {
            fold_blocks8(lo, hi, whole, mn, mx);
        }
        if (whole < blocks)
            fold_block8(lo, hi, 8 * whole, pairs, mn + whole, mx + whole);
        lo = mn;
        hi = mx;
        at = out;
        pairs = blocks;
    }
    return gap;
}

void VxSampleIndex::finish(const float* d)
{
    data = d;
}

void VxGapRuns::addPiece(const float* samples, long first, long count, bool has_gap)
{
    if (!has_gap) {
        // the run open goes on through the piece, or one begins with it
        if (open < 0 && count > 0)
            open = first;
        return;
    }
    float gap = 0.0f;
    wffill_gap(&gap, 1);
    long i = 0;
    while (i < count) {
        if (open < 0) {
            while (i < count && samples[i] == gap)
                i++;
            if (i >= count)
                return;
            open = first + i;
        }
        const long end = vx_next_gap(samples, i, count);
        if (end >= count)
            return;  // the run goes on into the next piece
        runs.append({static_cast<int>(open), static_cast<int>(first + end)});
        open = -1;
        i = end;
    }
}

void VxGapRuns::finish(long total)
{
    if (open >= 0 && open < total)
        runs.append({static_cast<int>(open), static_cast<int>(total)});
    open = -1;
}

void VxSampleIndex::reduce(long a, long b, VxPixelatorPixel& px) const
{
    if (mins[0].empty() || b - a < 8) {
        vx_fold_samples(data, a, b, px);
        return;
    }
    // in sample order: the samples up to the first block edge, then the
    // largest whole block that begins at each place and ends inside [a, b),
    // then the samples after the last block
    long i = std::min(b, (a + 7) & ~7L);
    vx_fold_samples(data, a, i, px);
    while (i + 8 <= b) {
        int level = 0;
        while (level + 1 < levels) {
            const long size = 1L << (shift0 * (level + 2));
            if ((i & (size - 1)) != 0 || i + size > b)
                break;
            level++;
        }
        const int s = shift0 * (level + 1);
        fold_block(px, 1 << s, mins[level][i >> s], maxs[level][i >> s]);
        i += 1L << s;
    }
    vx_fold_samples(data, i, b, px);
}

size_t VxSampleIndex::bytes() const
{
    size_t n = 0;
    for (int level = 0; level < levels; level++)
        n += (mins[level].capacity() + maxs[level].capacity()) * sizeof(float);
    return n;
}

size_t VxSampleIndex::bytesFor(long n)
{
    size_t total = 0;
    for (int level = 0; level < levels; level++) {
        n = (n + 7) >> shift0;
        total += 2 * static_cast<size_t>(n) * sizeof(float);
    }
    return total;
}

VxSampleArray::~VxSampleArray()
{
    free(data_);
}

void VxSampleArray::clear()
{
    free(data_);
    data_ = nullptr;
    size_ = 0;
}

bool VxSampleArray::take(float* data, size_t n)
{
    if (!data || n == 0) {
        free(data);
        return true;
    }
    if (!data_) {
        data_ = data;
        size_ = n;
        return true;
    }
    const bool ok = append(data, n);
    free(data);
    return ok;
}

bool VxSampleArray::append(const float* data, size_t n)
{
    if (!data || n == 0)
        return true;
    if (n > (SIZE_MAX / sizeof(float)) - size_)
        return false;
    auto* grown = static_cast<float*>(realloc(data_, (size_ + n) * sizeof(float)));
    if (!grown)
        return false;
    memcpy(grown + size_, data, n * sizeof(float));
    data_ = grown;
    size_ += n;
    return true;
}

float* VxSampleArray::release()
{
    float* data = data_;
    data_ = nullptr;
    size_ = 0;
    return data;
}

struct VxSampleCache::Spare
{
    std::mutex m;  // taken under the cache's lock or alone, never before it
    VxCachedRecord* record = nullptr;
    size_t most = 0;  // the largest row kept, in bytes
    ~Spare() { delete record; }

    // The larger of r and the row kept stays, the other is freed.
    void keep(VxCachedRecord* r)
    {
        const size_t bytes = r->bytes();
        {
            std::lock_guard<std::mutex> lock(m);
            if (bytes <= most && (!record || record->bytes() < bytes))
                std::swap(record, r);
        }
        delete r;
    }
    VxCachedRecord* take()
    {
        std::lock_guard<std::mutex> lock(m);
        return std::exchange(record, nullptr);
    }
    void setMost(size_t bytes)
    {
        VxCachedRecord* drop = nullptr;
        {
            std::lock_guard<std::mutex> lock(m);
            most = bytes;
            if (record && record->bytes() > most)
                drop = std::exchange(record, nullptr);
        }
        delete drop;
    }
};

struct VxSampleCache::Recycle
{
    std::shared_ptr<Spare> spare;
    // runs after the last holder let go: nothing else touches the row now
    void operator()(VxCachedRecord* r) const { spare->keep(r); }
};

VxSampleCache::VxSampleCache() : spare_(std::make_shared<Spare>())
{
    if (const char* mb = getenv("VXPLOT_SAMPLE_CACHE_MB")) {
        char* end = nullptr;
        const double v = strtod(mb, &end);
        if (end != mb && std::isfinite(v) && v >= 0.0 && v < 1e9)
            budget_ = static_cast<size_t>(v * 1048576.0);
    }
    spare_->setMost(budget_ / 4);
}

VxSampleCache& VxSampleCache::instance()
{
    static VxSampleCache cache;
    return cache;
}

void VxSampleCache::setBudget(size_t bytes)
{
    std::lock_guard<std::mutex> lock(mutex_);
    budget_ = bytes;
    evictLocked(0);
    spare_->setMost(bytes / 4);
}

size_t VxSampleCache::budget() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return budget_;
}

size_t VxSampleCache::bytes() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return bytes_;
}

long VxSampleCache::count() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return static_cast<long>(lru_.size());
}

std::shared_ptr<const VxCachedRecord> VxSampleCache::find(const QString& key)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = map_.find(key);
    if (it == map_.end())
        return nullptr;
    lru_.splice(lru_.begin(), lru_, it.value());
    return *it.value();
}

std::shared_ptr<const VxCachedRecord> VxSampleCache::insert(std::shared_ptr<VxCachedRecord> record)
{
    std::shared_ptr<const VxCachedRecord> kept = record;
    std::lock_guard<std::mutex> lock(mutex_);
    const size_t size = record->bytes();
    if (size > budget_ / 4)
        return kept;
    auto old = map_.find(record->key);
    if (old != map_.end()) {
        bytes_ -= (*old.value())->bytes();
        lru_.erase(old.value());
        map_.erase(old);
    }
    evictLocked(size);
    try {
        lru_.push_front(kept);
        map_.insert(record->key, lru_.begin());
    } catch (const std::bad_alloc&) {
        if (!lru_.empty() && lru_.front() == kept)
            lru_.pop_front();
        return kept;
    }
    bytes_ += size;
    return kept;
}

std::shared_ptr<VxCachedRecord> VxSampleCache::newRecord()
{
    return std::shared_ptr<VxCachedRecord>(new VxCachedRecord, Recycle{spare_});
}

std::shared_ptr<VxCachedRecord> VxSampleCache::makeRoom(size_t room)
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (room > budget_ / 4)
            return nullptr;  // a row that large is not kept
        // a row evicted that nobody else holds goes to the spare at once
        evictLocked(room);
    }
    VxCachedRecord* kept = spare_->take();
    return kept ? std::shared_ptr<VxCachedRecord>(kept, Recycle{spare_}) : nullptr;
}

void VxSampleCache::clear()
{
    std::lock_guard<std::mutex> lock(mutex_);
    lru_.clear();
    map_.clear();
    bytes_ = 0;
    delete spare_->take();
}

void VxSampleCache::evictLocked(size_t room)
{
    // rows in use elsewhere stay alive through their shared pointers
    while (!lru_.empty() && bytes_ + room > budget_) {
        const auto& last = lru_.back();
        bytes_ -= last->bytes();
        map_.remove(last->key);
        lru_.pop_back();
    }
}
