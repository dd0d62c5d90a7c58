// Flat indexes of the event server's model: a map from ids (any long) to
// small values in one array, and a list of row numbers that holds its first
// element in place.  A database of a hundred thousand events would
// otherwise cost a heap node per id and a heap array per list.
//
// Ids are never erased: a table read again clears its map whole.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// Ids from 0 to a bound that grows with the count (the usual case: ids
// handed out one after the other) index an array directly; any other id
// goes to a table of open addressing with linear probing, at most half
// full.  Pointers to values stay valid until the next insertion.
template <class V>
class QKIdMap
{
public:
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    void clear()
    {
        dense_.clear();
        dense_.shrink_to_fit();
        slots_.clear();
        slots_.shrink_to_fit();
        size_ = hashed_ = 0;
        shift_ = 64;
        has_empty_key_ = false;
        empty_value_ = V();
    }

    // Room for n ids without growing.
    void reserve(size_t n)
    {
        if (n + kDenseSlack > dense_.size())
            growDense(n + kDenseSlack);
    }

    V* find(long key) { return const_cast<V*>(static_cast<const QKIdMap*>(this)->find(key)); }
    const V* find(long key) const
    {
        if (key >= 0 && static_cast<size_t>(key) < dense_.size()) {
            const Slot& s = dense_[static_cast<size_t>(key)];
            return s.key == key ? &s.value : nullptr;
        }
        if (key == kEmpty)
            return has_empty_key_ ? &empty_value_ : nullptr;
        if (slots_.empty())
            return nullptr;
        const size_t mask = slots_.size() - 1;
        for (size_t i = slotOf(key);; i = (i + 1) & mask) {
            const Slot& s = slots_[i];
            if (s.key == key)
                return &s.value;
            if (s.key == kEmpty)
                return nullptr;
        }
    }

    // The value of key, default made when new; second tells whether it was.
    std::pair<V*, bool> try_emplace(long key)
    {
        if (key >= 0 && static_cast<size_t>(key) >= dense_.size() &&
            static_cast<size_t>(key) < 2 * (size_ + 1) + kDenseSlack)
            growDense(std::max(static_cast<size_t>(key) + 1, std::min(2 * dense_.size(), 2 * (size_ + 1) + kDenseSlack)));
        if (key >= 0 && static_cast<size_t>(key) < dense_.size()) {
            Slot& s = dense_[static_cast<size_t>(key)];
            const bool fresh = s.key != key;
            if (fresh) {
                s.key = key;
                size_++;
            }
            return {&s.value, fresh};
        }
        if (key == kEmpty) {
            const bool fresh = !has_empty_key_;
            has_empty_key_ = true;
            size_ += fresh ? 1 : 0;
            return {&empty_value_, fresh};
        }
        if (2 * (hashed_ + 1) > slots_.size())
            rehash(slots_.empty() ? 16 : 2 * slots_.size());
        Slot* s = probe(key);
        if (s->key == key)
            return {&s->value, false};
        s->key = key;
        size_++;
        hashed_++;
        return {&s->value, true};
    }
    V& operator[](long key) { return *try_emplace(key).first; }

    // fn(key, value) for every id: the directly indexed ones in increasing
    // order, then the others in no particular order.
    template <class Fn>
    void each(Fn fn) const
    {
        for (const Slot& s : dense_)
            if (s.key != kEmpty)
                fn(s.key, s.value);
        if (has_empty_key_)
            fn(kEmpty, empty_value_);
        for (const Slot& s : slots_)
            if (s.key != kEmpty)
                fn(s.key, s.value);
    }
    template <class Fn>
    void each(Fn fn)
    {
        for (Slot& s : dense_)
            if (s.key != kEmpty)
                fn(s.key, s.value);
        if (has_empty_key_)
            fn(kEmpty, empty_value_);
        for (Slot& s : slots_)
            if (s.key != kEmpty)
                fn(s.key, s.value);
    }

private:
    static constexpr long kEmpty = LONG_MIN;  // marks a free slot; as an id it is kept aside
    static constexpr size_t kDenseSlack = 1024;  // ids below this many more than twice the count are direct
    struct Slot
    {
        long key = kEmpty;
        V value{};
    };

    size_t slotOf(long key) const
    {
        // Fibonacci hashing: ids in runs or strides spread over the table
        const uint64_t h = static_cast<uint64_t>(key) * 0x9E3779B97F4A7C15ull;
        return static_cast<size_t>(h >> shift_);
    }
    // The slot of key in the table, or the free one where it goes.
    Slot* probe(long key)
    {
        const size_t mask = slots_.size() - 1;
        size_t i = slotOf(key);
        while (slots_[i].key != key && slots_[i].key != kEmpty)
            i = (i + 1) & mask;
        return &slots_[i];
    }

    void rehash(size_t n)
    {
        std::vector<Slot> old(n);
        old.swap(slots_);
        shift_ = 64;
        for (size_t k = n; k > 1; k >>= 1)
            shift_--;
        for (Slot& s : old) {
            if (s.key == kEmpty)
                continue;
            Slot* to = probe(s.key);
            to->key = s.key;
            to->value = std::move(s.value);
        }
    }

    // Index ids below n directly, moving those of the table over.
    void growDense(size_t n)
    {
        dense_.resize(n);
        if (hashed_ == 0)
            return;
        std::vector<Slot> old;
        old.swap(slots_);
        const size_t capacity = old.size();
        hashed_ = 0;
        slots_.resize(capacity);
        for (Slot& s : old) {
            if (s.key == kEmpty)
                continue;
            const bool direct = s.key >= 0 && static_cast<size_t>(s.key) < n;
            Slot* to = direct ? &dense_[static_cast<size_t>(s.key)] : probe(s.key);
            to->key = s.key;
            to->value = std::move(s.value);
            hashed_ += direct ? 0 : 1;
        }
    }

    std::vector<Slot> dense_;  // slot k holds id k, or kEmpty
    std::vector<Slot> slots_;  // the other ids
    size_t size_ = 0;
    size_t hashed_ = 0;  // ids in slots_
    int shift_ = 64;
    bool has_empty_key_ = false;
    V empty_value_{};
};

// Row numbers or ids in the order added; the first one needs no heap.
class QKRowList
{
public:
    bool empty() const { return first_ == kNone && rest_.empty(); }
    size_t size() const { return (first_ == kNone ? 0 : 1) + rest_.size(); }
    long back() const { return rest_.empty() ? first_ : rest_.back(); }

    void push(long r)
    {
        if (empty() && r != kNone)
            first_ = r;
        else
            rest_.push_back(r);
    }
    // Take out every element equal to r.
    void remove(long r)
    {
        std::vector<long> keep;
        each([&](long x) {
            if (x != r)
                keep.push_back(x);
        });
        first_ = kNone;
        rest_.clear();
        for (long x : keep)
            push(x);
    }
    bool contains(long r) const
    {
        bool found = false;
        each([&](long x) { found = found || x == r; });
        return found;
    }
    template <class Fn>
    void each(Fn fn) const
    {
        if (first_ != kNone)
            fn(first_);
        for (long x : rest_)
            fn(x);
    }

private:
    static constexpr long kNone = LONG_MIN;  // no first element (an element of that value goes to rest_)
    long first_ = kNone;
    std::vector<long> rest_;
};
