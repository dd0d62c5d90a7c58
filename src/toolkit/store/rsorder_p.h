// Ordering many numbers fast, for the store's sorted views and for the
// modules that order rows by a numeric key of their own.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

// A double as a key whose unsigned order is the numbers' order: negative
// numbers below positive ones, -0 equal to 0, NaN after every number.
inline uint64_t rs_double_order_key(double d)
{
    if (std::isnan(d))
        return UINT64_MAX;
    if (d == 0)
        d = 0;
    uint64_t bits;
    std::memcpy(&bits, &d, sizeof bits);
    return bits & (uint64_t(1) << 63) ? ~bits : bits | (uint64_t(1) << 63);
}

// The positions 0..n-1 in the order of their keys key_of(position), ties in
// the order of their positions (a stable radix sort, 16 bits a pass; passes
// where every key has the same digit are skipped).
template <class KeyOf>
std::vector<size_t> rs_radix_order(size_t n, KeyOf key_of)
{
    struct Keyed
    {
        uint64_t key;
        size_t position;
    };
    std::vector<Keyed> a(n), b(n);
    uint64_t all_or = 0, all_and = ~uint64_t(0);
    for (size_t k = 0; k < n; k++) {
        const uint64_t key = key_of(k);
        a[k] = {key, k};
        all_or |= key;
        all_and &= key;
    }
    std::vector<size_t> count(65536);
    for (int shift = 0; shift < 64; shift += 16) {
        if ((((all_or ^ all_and) >> shift) & 0xffff) == 0)
            continue;  // every key has the same digit here
        std::fill(count.begin(), count.end(), 0);
        for (const Keyed& x : a)
            count[(x.key >> shift) & 0xffff]++;
        size_t sum = 0;
        for (size_t& c : count) {
            const size_t here = c;
            c = sum;
            sum += here;
        }
        for (const Keyed& x : a)
            b[count[(x.key >> shift) & 0xffff]++] = x;
        a.swap(b);
    }
    std::vector<size_t> order(n);
    for (size_t k = 0; k < n; k++)
        order[k] = a[k].position;
    return order;
}

// The same over keys held in an array.
inline std::vector<size_t> rs_radix_order(const std::vector<uint64_t>& keys)
{
    return rs_radix_order(keys.size(), [&keys](size_t k) { return keys[k]; });
}
