#include "toolkit/base/lists.h"

#include "toolkit/base/errors.h"

#include <cstring>
#include <map>
#include <new>
#include <string>
#include <vector>

struct Tbl
{
    std::vector<void*> items;
};

namespace {

int compareBytes(const char* a, const char* b)
{
    return std::strcmp(a, b);
}

// Orders the keys of an Arr by its C compare function.
struct KeyLess
{
    HL_compare_proc compare = compareBytes;
    bool operator()(const std::string& a, const std::string& b) const { return compare(a.c_str(), b.c_str()) < 0; }
};

} // namespace

struct Arr
{
    explicit Arr(HL_compare_proc compare) : entries(KeyLess{compare}) {}
    std::map<std::string, void*, KeyLess> entries;
};

// Largest capacity reserved up front from a size hint; more grows on demand.
static constexpr int max_reserve = 1 << 16;

Tbl* seqnew(int size)
{
    Tbl* tbl = new (std::nothrow) Tbl;
    if (!tbl) {
        hl_register_error(1, "seqnew: Out of memory.\n");
        return nullptr;
    }
    try {
        if (size > 0)
            tbl->items.reserve(static_cast<size_t>(size < max_reserve ? size : max_reserve));
    } catch (const std::bad_alloc&) {
        // the hint is only a hint: the list still works without the room
    }
    return tbl;
}

long seqcount(Tbl* tbl)
{
    if (!tbl) {
        hl_register_error(0, "seqcount: Null list.\n");
        return -1;
    }
    return static_cast<long>(tbl->items.size());
}

void* seqget(Tbl* tbl, long i)
{
    if (!tbl || i < 0 || static_cast<size_t>(i) >= tbl->items.size())
        return nullptr;
    return tbl->items[static_cast<size_t>(i)];
}

int seqset(Tbl* tbl, long i, void* v)
{
    if (!tbl) {
        hl_register_error(0, "seqset: Null list.\n");
        return -1;
    }
    if (i < 0 || static_cast<size_t>(i) > tbl->items.size()) {
        hl_register_error(0, "seqset: Index %ld outside 0 to %zu.\n", i, tbl->items.size());
        return -1;
    }
    if (static_cast<size_t>(i) < tbl->items.size()) {
        tbl->items[static_cast<size_t>(i)] = v;
        return 0;
    }
    return seqpush(tbl, v);
}

int seqpush(Tbl* tbl, void* v)
{
    if (!tbl) {
        hl_register_error(0, "seqpush: Null list.\n");
        return -1;
    }
    try {
        tbl->items.push_back(v);
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "seqpush: Out of memory.\n");
        return -1;
    }
    return 0;
}

void seqfree(Tbl* tbl, HL_free_proc free_proc)
{
    if (!tbl)
        return;
    if (free_proc) {
        for (void* item : tbl->items)
            if (item)
                free_proc(item);
    }
    delete tbl;
}

Arr* mapnew(HL_compare_proc compare)
{
    Arr* arr = new (std::nothrow) Arr(compare ? compare : compareBytes);
    if (!arr)
        hl_register_error(1, "mapnew: Out of memory.\n");
    return arr;
}

void* mapget(Arr* arr, const char* key)
{
    if (!arr || !key)
        return nullptr;
    try {
        auto it = arr->entries.find(key);
        return it == arr->entries.end() ? nullptr : it->second;
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "mapget: Out of memory.\n");
        return nullptr;
    }
}

void* mapset(Arr* arr, const char* key, void* v)
{
    if (!arr || !key) {
        hl_register_error(0, "mapset: Null table or key.\n");
        return nullptr;
    }
    try {
        auto [it, inserted] = arr->entries.try_emplace(key, v);
        if (inserted)
            return nullptr;
        void* previous = it->second;
        it->second = v;
        return previous;
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "mapset: Out of memory.\n");
        return nullptr;
    }
}

void* mapdel(Arr* arr, const char* key)
{
    if (!arr || !key)
        return nullptr;
    try {
        auto it = arr->entries.find(key);
        if (it == arr->entries.end())
            return nullptr;
        void* value = it->second;
        arr->entries.erase(it);
        return value;
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "mapdel: Out of memory.\n");
        return nullptr;
    }
}

long mapcount(Arr* arr)
{
    if (!arr) {
        hl_register_error(0, "mapcount: Null table.\n");
        return -1;
    }
    return static_cast<long>(arr->entries.size());
}

// A new list of one pointer per entry, in key order, taken by pick().
template <class Pick>
static Tbl* mapList(Arr* arr, const char* caller, Pick pick)
{
    if (!arr) {
        hl_register_error(0, "%s: Null table.\n", caller);
        return nullptr;
    }
    Tbl* tbl = new (std::nothrow) Tbl;
    if (!tbl) {
        hl_register_error(1, "%s: Out of memory.\n", caller);
        return nullptr;
    }
    try {
        tbl->items.reserve(arr->entries.size());
        for (auto& entry : arr->entries)
            tbl->items.push_back(pick(entry));
    } catch (const std::bad_alloc&) {
        delete tbl;
        hl_register_error(1, "%s: Out of memory.\n", caller);
        return nullptr;
    }
    return tbl;
}

Tbl* mapkeys(Arr* arr)
{
    // std::map never moves its nodes, so the key strings stay put while
    // their entries live
    return mapList(arr, "mapkeys", [](auto& entry) {
        return static_cast<void*>(const_cast<char*>(entry.first.c_str()));
    });
}

Tbl* mapvals(Arr* arr)
{
    return mapList(arr, "mapvals", [](auto& entry) { return entry.second; });
}

void mapfree(Arr* arr, HL_free_proc free_proc)
{
    if (!arr)
        return;
    if (free_proc) {
        for (auto& entry : arr->entries)
            if (entry.second)
                free_proc(entry.second);
    }
    delete arr;
}
