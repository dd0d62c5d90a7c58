// Typed containers of the host toolkit.
//
// Table<T> is a list on std::vector and Array<K, V> a table on
// std::unordered_map.  Each keeps a "null" element that lookups return when
// there is nothing to return (an index out of range, an absent key, a pop
// from an empty list), so callers test the result instead of catching.
//
// Each may own what it holds: given a free function, it frees an element
// when it is deleted, replaced or left in the container at its destruction.
// Elements taken out with pop() or shift() pass to the caller unfreed.  The
// free function must accept the null element, which fills gaps (as free()
// accepts a null pointer).  Because of that ownership the containers move
// but do not copy.
//
// A container is used from one thread at a time.
#pragma once

#include "toolkit/base/errors.h"

#include <algorithm>
#include <concepts>
#include <functional>
#include <new>
#include <ostream>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

template <class T>
class Table
{
public:
    using FreeFunction = std::function<void(T&)>;

    // An empty list returning null_element for absent elements and freeing
    // its elements with free_element when that is set.
    explicit Table(T null_element = T(), FreeFunction free_element = nullptr)
        : null_(std::move(null_element)), free_(std::move(free_element))
    {
    }
    ~Table() { clear(); }

    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    Table(Table&& other) noexcept
        : items_(std::move(other.items_)), null_(std::move(other.null_)), free_(std::move(other.free_))
    {
        other.items_.clear();
    }
    Table& operator=(Table&& other) noexcept
    {
        if (this != &other) {
            clear();
            items_ = std::move(other.items_);
            other.items_.clear();
            null_ = std::move(other.null_);
            free_ = std::move(other.free_);
        }
        return *this;
    }

    // Number of elements.
    long max() const { return static_cast<long>(items_.size()); }

    // Put v at index i, freeing the element it replaces; past the end the
    // list grows with null elements up to i.  Negative for a negative i or
    // failed allocation.
    int set(long i, T v)
    {
        if (i < 0) {
            hl_register_error(0, "Table::set: Negative index %ld.\n", i);
            return -1;
        }
        size_t index = static_cast<size_t>(i);
        if (index < items_.size()) {
            freeOne(items_[index]);
            items_[index] = std::move(v);
            return 0;
        }
        return guarded("Table::set", [&] {
            items_.reserve(index + 1);
            items_.resize(index, null_);
            items_.push_back(std::move(v));
        });
    }

    // Append v at the end, or insert it at the start.  Negative on failed
    // allocation.
    int push(T v)
    {
        return guarded("Table::push", [&] { items_.push_back(std::move(v)); });
    }
    int unshift(T v)
    {
        return guarded("Table::unshift", [&] { items_.insert(items_.begin(), std::move(v)); });
    }

    // Insert v before index i, moving the later elements up; past the end
    // the list grows with null elements up to i.  Negative for a negative i
    // or failed allocation.
    int ins(long i, T v)
    {
        if (i < 0) {
            hl_register_error(0, "Table::ins: Negative index %ld.\n", i);
            return -1;
        }
        size_t index = static_cast<size_t>(i);
        if (index >= items_.size())
            return set(i, std::move(v));
        return guarded("Table::ins", [&] { items_.insert(items_.begin() + i, std::move(v)); });
    }

    // Element i, or the null element when i is out of range.
    const T& get(long i) const
    {
        if (i < 0 || static_cast<size_t>(i) >= items_.size())
            return null_;
        return items_[static_cast<size_t>(i)];
    }

    // Take the last or the first element out, unfreed; the null element
    // when the list is empty.
    T pop()
    {
        if (items_.empty())
            return null_;
        T v = std::move(items_.back());
        items_.pop_back();
        return v;
    }
    T shift()
    {
        if (items_.empty())
            return null_;
        T v = std::move(items_.front());
        items_.erase(items_.begin());
        return v;
    }

    // Free and remove element i, moving the later elements down.  Negative
    // when i is out of range.
    int del(long i)
    {
        if (i < 0 || static_cast<size_t>(i) >= items_.size()) {
            hl_register_error(0, "Table::del: Index %ld outside 0 to %ld.\n", i, max() - 1);
            return -1;
        }
        freeOne(items_[static_cast<size_t>(i)]);
        items_.erase(items_.begin() + i);
        return 0;
    }

    // Append copies of the elements of other (which may be this list).  With
    // a free function, copying T must give an element that can be freed on
    // its own.  Negative on failed allocation, the list unchanged.
    int cat(const Table& other)
    {
        return guarded("Table::cat", [&] {
            std::vector<T> copy(other.items_);
            items_.reserve(items_.size() + copy.size());
            std::move(copy.begin(), copy.end(), std::back_inserter(items_));
        });
    }

    // Sort by less(a, b), a strict weak order; sortb() keeps the order of
    // equal elements.
    template <class Less>
    void sort(Less less)
    {
        std::sort(items_.begin(), items_.end(), less);
    }
    template <class Less>
    void sortb(Less less)
    {
        std::stable_sort(items_.begin(), items_.end(), less);
    }

    // Call fn(element) on every element in order.
    template <class Fn>
    void apply(Fn fn)
    {
        for (T& item : items_)
            fn(item);
    }

    // Free and remove every element.
    void clear()
    {
        for (T& item : items_)
            freeOne(item);
        items_.clear();
    }

    const T& null() const { return null_; }

private:
    void freeOne(T& item)
    {
        if (free_)
            free_(item);
    }

    // Run a growing operation, turning a failed allocation into an error.
    template <class Op>
    static int guarded(const char* caller, Op op)
    {
        try {
            op();
        } catch (const std::bad_alloc&) {
            hl_register_error(1, "%s: Out of memory.\n", caller);
            return -1;
        } catch (const std::length_error&) {
            hl_register_error(1, "%s: Too many elements.\n", caller);
            return -1;
        }
        return 0;
    }

    std::vector<T> items_;
    T null_;
    FreeFunction free_;
};

template <class K, class V, class Hash = std::hash<K>, class Equal = std::equal_to<K>>
class Array
{
public:
    using KeyFree = std::function<void(K&)>;
    using ValueFree = std::function<void(V&)>;

    // An empty table returning null_value for absent keys, freeing its
    // values with free_value and its keys with free_key when those are set.
    explicit Array(V null_value = V(), ValueFree free_value = nullptr, KeyFree free_key = nullptr)
        : null_(std::move(null_value)), free_value_(std::move(free_value)), free_key_(std::move(free_key))
    {
    }
    ~Array() { clear(); }

    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;
    Array(Array&& other) noexcept
        : map_(std::move(other.map_)), null_(std::move(other.null_)), free_value_(std::move(other.free_value_)),
          free_key_(std::move(other.free_key_))
    {
        other.map_.clear();
    }
    Array& operator=(Array&& other) noexcept
    {
        if (this != &other) {
            clear();
            map_ = std::move(other.map_);
            other.map_.clear();
            null_ = std::move(other.null_);
            free_value_ = std::move(other.free_value_);
            free_key_ = std::move(other.free_key_);
        }
        return *this;
    }

    // Number of keys.
    long cnt() const { return static_cast<long>(map_.size()); }

    // Store value under key.  The table takes both: when the key is there
    // already, its old value is freed and the key given is freed as a
    // duplicate of the one kept.  Negative on failed allocation.
    int set(K key, V value)
    {
        auto it = map_.find(key);
        if (it != map_.end()) {
            if (free_value_)
                free_value_(it->second);
            it->second = std::move(value);
            if (free_key_)
                free_key_(key);
            return 0;
        }
        try {
            map_.emplace(std::move(key), std::move(value));
        } catch (const std::bad_alloc&) {
            hl_register_error(1, "Array::set: Out of memory.\n");
            return -1;
        }
        return 0;
    }

    // The value under key, or the null value when the key is absent.
    const V& get(const K& key) const
    {
        auto it = map_.find(key);
        return it == map_.end() ? null_ : it->second;
    }

    // Free and remove key and its value.  False when the key is absent.
    bool del(const K& key)
    {
        auto it = map_.find(key);
        if (it == map_.end())
            return false;
        auto node = map_.extract(it);
        freeEntry(node.key(), node.mapped());
        return true;
    }

    bool contains(const K& key) const { return map_.find(key) != map_.end(); }

    // Call fn(key, value) on every entry, in no particular order.
    template <class Fn>
    void apply(Fn fn)
    {
        for (auto& [key, value] : map_)
            fn(key, value);
    }

    // The keys, sorted when K has an order; and the values in the same order.
    std::vector<K> keys() const
    {
        std::vector<K> out;
        for (const auto* entry : ordered())
            out.push_back(entry->first);
        return out;
    }
    std::vector<V> vals() const
    {
        std::vector<V> out;
        for (const auto* entry : ordered())
            out.push_back(entry->second);
        return out;
    }

    // Write one line "key: value" per entry, in the order of keys().
    void print(std::ostream& out) const
    {
        for (const auto* entry : ordered())
            out << entry->first << ": " << entry->second << '\n';
    }

    // Free and remove every entry.
    void clear()
    {
        while (!map_.empty()) {
            auto node = map_.extract(map_.begin());
            freeEntry(node.key(), node.mapped());
        }
    }

    const V& null() const { return null_; }

private:
    using Entry = std::pair<const K, V>;

    void freeEntry(K& key, V& value)
    {
        if (free_value_)
            free_value_(value);
        if (free_key_)
            free_key_(key);
    }

    std::vector<const Entry*> ordered() const
    {
        std::vector<const Entry*> entries;
        entries.reserve(map_.size());
        for (const Entry& entry : map_)
            entries.push_back(&entry);
        if constexpr (std::totally_ordered<K>)
            std::sort(entries.begin(), entries.end(), [](const Entry* a, const Entry* b) { return a->first < b->first; });
        return entries;
    }

    std::unordered_map<K, V, Hash, Equal> map_;
    V null_;
    ValueFree free_value_;
    KeyFree free_key_;
};
