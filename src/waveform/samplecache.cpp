// The pixelator's cache of decoded samples and its min/max index.
#include "waveform/samplecache_p.h"

#include "toolkit/waveio/wfgap.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

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
    if (std::isnan(bmin))
        return;
    if (std::isnan(px.min)) {
        px.min = bmin;
        px.max = bmax;
        return;
    }
    if (bmin < px.min)
        px.min = bmin;
    if (bmax > px.max)
        px.max = bmax;
}

} // namespace

int VxSampleIndex::build(const float* d, long n)
{
    data = d;
    nsamp = n;
    try {
        for (int level = 0; level < levels; level++) {
            const long blocks = (n + (1L << (shift0 * (level + 1))) - 1) >> (shift0 * (level + 1));
            mins[level].assign(static_cast<size_t>(blocks), 0.0f);
            maxs[level].assign(static_cast<size_t>(blocks), 0.0f);
            const long child = level == 0 ? 1 : 1L << (shift0 * level);
            for (long k = 0; k < blocks; k++) {
                VxPixelatorPixel px;
                if (level == 0) {
                    vx_fold_samples(d, k << shift0, std::min(n, (k + 1) << shift0), px);
                } else {
                    const long first = k << shift0;
                    const long last = std::min(static_cast<long>(mins[level - 1].size()), first + (1L << shift0));
                    for (long c = first; c < last; c++)
                        fold_block(px, static_cast<int>(child), mins[level - 1][c], maxs[level - 1][c]);
                }
                mins[level][k] = px.min;
                maxs[level][k] = px.max;
            }
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

void VxSampleIndex::reduce(long a, long b, VxPixelatorPixel& px) const
{
    if (mins[0].empty()) {
        vx_fold_samples(data, a, b, px);
        return;
    }
    long i = a;
    while (i < b) {
        // the largest whole block that begins here and ends inside [a, b)
        int level = levels - 1;
        for (; level >= 0; level--) {
            const long size = 1L << (shift0 * (level + 1));
            if ((i & (size - 1)) == 0 && i + size <= b)
                break;
        }
        if (level < 0) {
            const long j = std::min(b, ((i >> shift0) + 1) << shift0);
            vx_fold_samples(data, i, j, px);
            i = j;
            continue;
        }
        const int s = shift0 * (level + 1);
        fold_block(px, 1 << s, mins[level][i >> s], maxs[level][i >> s]);
        i += 1L << s;
    }
}

size_t VxSampleIndex::bytes() const
{
    size_t n = 0;
    for (int level = 0; level < levels; level++)
        n += (mins[level].capacity() + maxs[level].capacity()) * sizeof(float);
    return n;
}

VxSampleCache::VxSampleCache()
{
    if (const char* mb = getenv("VXPLOT_SAMPLE_CACHE_MB")) {
        char* end = nullptr;
        const double v = strtod(mb, &end);
        if (end != mb && std::isfinite(v) && v >= 0.0 && v < 1e9)
            budget_ = static_cast<size_t>(v * 1048576.0);
    }
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

void VxSampleCache::clear()
{
    std::lock_guard<std::mutex> lock(mutex_);
    lru_.clear();
    map_.clear();
    bytes_ = 0;
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
