// Ordering many numbers fast, for the store's sorted views and for the
// modules that order rows by a numeric key of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// A double as a key whose unsigned order is the numbers' order: negative
// numbers below positive ones, -0 equal to 0, NaN after every number.
uint64_t rs_double_order_key(double d);

// The positions 0..keys.size()-1 in the order of their keys, ties in the
// order of their positions (a stable radix sort, 16 bits a pass; passes
// where every key has the same digit are skipped).
std::vector<size_t> rs_radix_order(const std::vector<uint64_t>& keys);
