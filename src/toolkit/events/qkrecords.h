// Records of the event service: the events, origins, magnitudes, moment
// tensors, associations, arrivals and detections of a CSS 3.0 database as
// the server hands them to its clients, and the change notice.
//
// A record_... field holds the raw text of that row of its table, ended by
// a NUL (a record longer than the array is cut); recno_... is the row
// number in the table, -1 when there is no such row; lddate_... is the
// row's lddate as epoch seconds (-1.0 when it has none).
//
// The tables inside records (Table<QKOrigin> and its kin) share their
// elements until one of the copies is changed, so that copying an event,
// or a whole snapshot of the event list, copies no origins.  Unlike the
// general Table they can therefore be copied; otherwise they answer the
// same calls (max, get, set, push, ...), with a null element that is the
// record's default.  at(i) gives a changeable element, copying the shared
// elements first when another table holds them.
//
// The event list itself (Table<QKEvent>) shares its elements in blocks of
// QKBlocks::kBlock: a list made from the published one by changing a few
// entries copies only the blocks that hold them.
#pragma once

#include "toolkit/base/table.h"
#include "toolkit/store/recordstore.h"
#include "vxplot_export.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>
#include <vector>

// The Table calls over elements shared between copies.  The elements are
// one array, which may be a part of a larger one that many tables share
// (borrow()); any change copies them first unless this table alone holds
// the array.
template <class T>
class QKShared
{
public:
    long max() const { return n_; }
    const T& get(long i) const
    {
        if (i < 0 || i >= n_)
            return null();
        return data_.get()[i];
    }
    // Element i to change, or null when out of range.
    T* at(long i)
    {
        if (i < 0 || i >= n_ || detach() < 0)
            return nullptr;
        return data_.get() + i;
    }
    int set(long i, T v)
    {
        if (i < 0) {
            hl_register_error(0, "Table::set: Negative index %ld.\n", i);
            return -1;
        }
        return guarded([&] {
            if (i >= n_) {
                own(i + 1);
                n_ = i + 1;  // the elements between were default made
            } else {
                own(n_);
            }
            data_.get()[i] = std::move(v);
        });
    }
    int push(T v)
    {
        return guarded([&] {
            own(n_ + 1);
            data_.get()[n_++] = std::move(v);
        });
    }
    int unshift(T v) { return ins(0, std::move(v)); }
    int ins(long i, T v)
    {
        if (i >= n_)
            return set(i, std::move(v));
        if (i < 0) {
            hl_register_error(0, "Table::ins: Negative index %ld.\n", i);
            return -1;
        }
        return guarded([&] {
            own(n_ + 1);
            T* d = data_.get();
            std::move_backward(d + i, d + n_, d + n_ + 1);
            d[i] = std::move(v);
            n_++;
        });
    }
    T pop()
    {
        if (n_ == 0 || detach() < 0)
            return null();
        T v = std::move(data_.get()[n_ - 1]);
        data_.get()[--n_] = T();
        return v;
    }
    T shift()
    {
        if (n_ == 0 || detach() < 0)
            return null();
        T v = std::move(data_.get()[0]);
        del(0);
        return v;
    }
    int del(long i)
    {
        if (i < 0 || i >= n_) {
            hl_register_error(0, "Table::del: Index %ld outside 0 to %ld.\n", i, n_ - 1);
            return -1;
        }
        return guarded([&] {
            own(n_);
            T* d = data_.get();
            std::move(d + i + 1, d + n_, d + i);
            d[--n_] = T();
        });
    }
    int cat(const QKShared& other)
    {
        if (other.n_ == 0)
            return 0;
        const std::shared_ptr<T> keep = other.data_;  // other may be this
        const long m = other.n_;
        return guarded([&] {
            own(n_ + m);
            std::copy(keep.get(), keep.get() + m, data_.get() + n_);
            n_ += m;
        });
    }
    template <class Less>
    void sort(Less less)
    {
        if (n_ > 1 && detach() == 0)
            std::sort(data_.get(), data_.get() + n_, less);
    }
    template <class Less>
    void sortb(Less less)
    {
        if (n_ > 1 && detach() == 0)
            std::stable_sort(data_.get(), data_.get() + n_, less);
    }
    template <class Fn>
    void apply(Fn fn)
    {
        if (n_ > 0 && detach() == 0)
            for (long i = 0; i < n_; i++)
                fn(data_.get()[i]);
    }
    void clear()
    {
        data_.reset();
        n_ = cap_ = 0;
    }
    // Make room for n elements.  Negative without memory.
    int reserve(long n)
    {
        return guarded([&] { own(n); });
    }
    // Take n elements that another owner keeps (elements points into it)
    // in place of these: nothing is copied until the table is changed.
    // The builder of many tables at once gives them parts of one array.
    void borrow(std::shared_ptr<T> elements, long n)
    {
        data_ = std::move(elements);
        n_ = data_ ? n : 0;
        cap_ = n_;
        shared_storage_ = true;
    }
    static const T& null()
    {
        static const T n{};
        return n;
    }
    // Whether the two tables hold the very same elements (nothing copied).
    bool shares(const QKShared& other) const { return data_ && data_.get() == other.data_.get(); }

private:
    // Make the elements this table's own, with room for n; throws without
    // memory, the table unchanged.
    void own(long n)
    {
        const bool alone = data_ && !shared_storage_ && data_.use_count() == 1;
        if (alone && n <= cap_)
            return;
        long cap = std::max(n, n_);
        if (alone)
            cap = std::max(cap, cap_ + cap_ / 2);
        cap = std::max(cap, 1L);
        std::shared_ptr<T[]> fresh = std::make_shared<T[]>(static_cast<size_t>(cap));
        if (alone)
            std::move(data_.get(), data_.get() + n_, fresh.get());
        else if (n_ > 0)
            std::copy(data_.get(), data_.get() + n_, fresh.get());
        data_ = std::shared_ptr<T>(fresh, fresh.get());
        cap_ = cap;
        shared_storage_ = false;
    }
    int detach()
    {
        return guarded([&] { own(n_); });
    }
    template <class Op>
    static int guarded(Op op)
    {
        try {
            op();
        } catch (const std::bad_alloc&) {
            hl_register_error(1, "Table: Out of memory.\n");
            return -1;
        }
        return 0;
    }
    std::shared_ptr<T> data_;  // the first element; the array's owner holds the rest
    long n_ = 0;
    long cap_ = 0;
    bool shared_storage_ = false;  // the array holds elements of other tables too
};

// The Table calls over elements shared between copies block by block:
// changing element i copies only its block when another table holds it.
// Calls that move elements (ins, del, shift, unshift, sort) make the blocks
// from the first one moved again.
//
// A block may also be added unmade (pushLazy()): a function makes its
// elements when one of them is first wanted, once, whichever thread and
// whichever of the tables sharing the block asks first.
template <class T>
class QKBlocks
{
public:
    static constexpr long kBlock = 512;
    // Makes the elements of a block.  It runs once, from a const call of
    // any thread, and must only read what it holds itself.
    using Maker = std::function<void(std::vector<T>*)>;

    long max() const { return n_; }
    const T& get(long i) const
    {
        if (i < 0 || i >= n_)
            return null();
        const std::vector<T>* items = made(i / kBlock);
        const size_t k = static_cast<size_t>(i % kBlock);
        return items && k < items->size() ? (*items)[k] : null();
    }
    // Element i to change, or null when out of range.
    T* at(long i)
    {
        if (i < 0 || i >= n_)
            return nullptr;
        std::vector<T>* b = own(i / kBlock);
        return b ? &(*b)[static_cast<size_t>(i % kBlock)] : nullptr;
    }
    int set(long i, T v)
    {
        if (i < 0) {
            hl_register_error(0, "Table::set: Negative index %ld.\n", i);
            return -1;
        }
        while (n_ < i)
            if (push(T()) < 0)
                return -1;
        if (i == n_)
            return push(std::move(v));
        T* slot = at(i);
        if (!slot)
            return -1;
        *slot = std::move(v);
        return 0;
    }
    int push(T v)
    {
        return guarded([&] {
            if (n_ % kBlock == 0) {
                // a new block, added once it holds the element
                auto b = std::make_shared<Block>();
                b->items.reserve(static_cast<size_t>(kBlock));
                b->items.push_back(std::move(v));
                blocks_.push_back(std::move(b));
            } else {
                std::vector<T>* b = ownOrThrow(static_cast<long>(blocks_.size()) - 1);
                b->push_back(std::move(v));
            }
            n_++;
        });
    }
    // Append a block of n elements (1 to kBlock) that make makes when one is
    // wanted.  The table must end with a full block.  Negative without memory
    // or when it does not.
    int pushLazy(long n, Maker make)
    {
        if (n_ % kBlock != 0 || n < 1 || n > kBlock || !make) {
            hl_register_error(0, "Table::pushLazy: A block of %ld after %ld elements.\n", n, n_);
            return -1;
        }
        return guarded([&] {
            auto b = std::make_shared<Block>();
            b->make = std::move(make);
            b->n = static_cast<size_t>(n);
            b->ready.store(false, std::memory_order_relaxed);
            blocks_.push_back(std::move(b));
            n_ += n;
        });
    }
    int unshift(T v) { return ins(0, std::move(v)); }
    int ins(long i, T v)
    {
        if (i >= n_)
            return set(i, std::move(v));
        if (i < 0) {
            hl_register_error(0, "Table::ins: Negative index %ld.\n", i);
            return -1;
        }
        return rebuildFrom(i, [&](std::vector<T>& tail, long at) {
            tail.insert(tail.begin() + at, std::move(v));
        });
    }
    T pop()
    {
        if (n_ == 0)
            return null();
        T v = get(n_ - 1);
        if (del(n_ - 1) < 0)
            return null();
        return v;
    }
    T shift()
    {
        if (n_ == 0)
            return null();
        T v = get(0);
        if (del(0) < 0)
            return null();
        return v;
    }
    int del(long i)
    {
        if (i < 0 || i >= n_) {
            hl_register_error(0, "Table::del: Index %ld outside 0 to %ld.\n", i, n_ - 1);
            return -1;
        }
        return rebuildFrom(i, [&](std::vector<T>& tail, long at) { tail.erase(tail.begin() + at); });
    }
    int cat(const QKBlocks& other)
    {
        const std::vector<std::shared_ptr<Block>> keep = other.blocks_;  // other may be this
        for (const auto& b : keep) {
            const std::vector<T>* items = b->made();
            if (!items)
                return -1;
            for (const T& v : *items)
                if (push(v) < 0)
                    return -1;
        }
        return 0;
    }
    template <class Less>
    void sort(Less less)
    {
        if (n_ > 1)
            rebuildFrom(0, [&](std::vector<T>& all, long) { std::sort(all.begin(), all.end(), less); });
    }
    template <class Less>
    void sortb(Less less)
    {
        if (n_ > 1)
            rebuildFrom(0, [&](std::vector<T>& all, long) { std::stable_sort(all.begin(), all.end(), less); });
    }
    template <class Fn>
    void apply(Fn fn)
    {
        for (long b = 0; b < static_cast<long>(blocks_.size()); b++) {
            std::vector<T>* items = own(b);
            if (!items)
                return;
            for (T& item : *items)
                fn(item);
        }
    }
    void clear()
    {
        blocks_.clear();
        n_ = 0;
    }
    // Make room for n elements.  Negative without memory.
    int reserve(long n)
    {
        return guarded([&] { blocks_.reserve(static_cast<size_t>((n + kBlock - 1) / kBlock)); });
    }
    static const T& null()
    {
        static const T n{};
        return n;
    }
    // Whether the two tables hold the very same elements (nothing copied).
    bool shares(const QKBlocks& other) const { return n_ > 0 && n_ == other.n_ && blocks_ == other.blocks_; }
    // Blocks whose elements are made (all but those of pushLazy() not yet
    // wanted), and blocks in all.
    long blocksMade() const
    {
        long n = 0;
        for (const auto& b : blocks_)
            n += b->ready.load(std::memory_order_acquire) ? 1 : 0;
        return n;
    }
    long blocks() const { return static_cast<long>(blocks_.size()); }

private:
    struct Block
    {
        std::vector<T> items;
        std::atomic<bool> ready{true};  // items are made
        std::mutex making;
        Maker make;     // until made
        size_t n = 0;   // elements it makes
        // The items, made first when they are not; null without memory.
        std::vector<T>* made()
        {
            if (ready.load(std::memory_order_acquire))
                return &items;
            std::lock_guard<std::mutex> lock(making);
            if (!ready.load(std::memory_order_relaxed)) {
                try {
                    std::vector<T> fresh;
                    fresh.reserve(static_cast<size_t>(kBlock));
                    make(&fresh);
                    fresh.resize(n);
                    items = std::move(fresh);
                } catch (const std::bad_alloc&) {
                    hl_register_error(1, "Table: Out of memory.\n");
                    return nullptr;
                }
                make = nullptr;
                ready.store(true, std::memory_order_release);
            }
            return &items;
        }
    };
    const std::vector<T>* made(long b) const { return blocks_[static_cast<size_t>(b)]->made(); }
    // Block b, copied first when another table holds it; throws without memory.
    std::vector<T>* ownOrThrow(long b)
    {
        std::shared_ptr<Block>& p = blocks_[static_cast<size_t>(b)];
        std::vector<T>* items = p->made();
        if (!items)
            throw std::bad_alloc();
        if (p.use_count() > 1) {
            auto copy = std::make_shared<Block>();
            copy->items.reserve(static_cast<size_t>(kBlock));
            copy->items.assign(items->begin(), items->end());
            p = std::move(copy);
            return &p->items;
        }
        return items;
    }
    std::vector<T>* own(long b)
    {
        std::vector<T>* out = nullptr;
        if (guarded([&] { out = ownOrThrow(b); }) < 0)
            return nullptr;
        return out;
    }
    // Gather the elements from the block of element i on, let op change
    // them (i is at index i - first of the tail), and cut them into blocks
    // again.  The table is unchanged when memory runs out.
    template <class Op>
    int rebuildFrom(long i, Op op)
    {
        const long first = i / kBlock;
        return guarded([&] {
            std::vector<T> tail;
            tail.reserve(static_cast<size_t>(n_ - first * kBlock + 1));
            for (size_t b = static_cast<size_t>(first); b < blocks_.size(); b++) {
                const std::vector<T>* items = blocks_[b]->made();
                if (!items)
                    throw std::bad_alloc();
                tail.insert(tail.end(), items->begin(), items->end());
            }
            op(tail, i - first * kBlock);
            std::vector<std::shared_ptr<Block>> blocks(blocks_.begin(), blocks_.begin() + first);
            for (size_t at = 0; at < tail.size(); at += static_cast<size_t>(kBlock)) {
                auto b = std::make_shared<Block>();
                b->items.reserve(static_cast<size_t>(kBlock));
                const size_t end = std::min(tail.size(), at + static_cast<size_t>(kBlock));
                b->items.insert(b->items.end(), std::make_move_iterator(tail.begin() + static_cast<long>(at)),
                                std::make_move_iterator(tail.begin() + static_cast<long>(end)));
                blocks.push_back(std::move(b));
            }
            blocks_.swap(blocks);
            n_ = first * kBlock + static_cast<long>(tail.size());
        });
    }
    template <class Op>
    static int guarded(Op op)
    {
        try {
            op();
        } catch (const std::bad_alloc&) {
            hl_register_error(1, "Table: Out of memory.\n");
            return -1;
        }
        return 0;
    }

    std::vector<std::shared_ptr<Block>> blocks_;  // all full but the last
    long n_ = 0;
};

// Tables of the records below use the shared form.
#define QK_SHARED_TABLE(T)                                                                                             \
    template <>                                                                                                        \
    class Table<T> : public QKShared<T>                                                                                \
    {                                                                                                                  \
    };

// A list of longs that can be copied (the general Table cannot).
VXPLOT_EXPORT void qk_copy_table(Table<long>& to, const Table<long>& from);

// One change notice from the server.
struct VXPLOT_EXPORT QKResponse
{
    int database_reset = 0;                 // the database was replaced (or could not be read)
    int events_changed = 0;                 // a new event list was published
    int detections_changed = 0;             // a new detection list was published
    int last_modified_event_changed = 0;    // another event is the last modified one
    long last_modified_event_evid = -1;     // its evid
    int most_recent_event_changed = 0;      // another event is the most recent one
    long most_recent_event_evid = -1;       // its evid
    Table<long> expanded_events_changed;    // evids of cached expanded events that were rebuilt
    Table<long> expanded_events_erased;     // evids of cached expanded events that were dropped

    QKResponse() = default;
    QKResponse(const QKResponse& o) { *this = o; }
    QKResponse& operator=(const QKResponse& o);
    QKResponse(QKResponse&&) = default;
    QKResponse& operator=(QKResponse&&) = default;
};

struct QKWfmeas
{
    long recno_wfmeas = -1;
    char record_wfmeas[256] = "";
    double lddate_wfmeas = -1.0;
};
QK_SHARED_TABLE(QKWfmeas)

struct QKStamag
{
    long recno_stamag = -1;
    char record_stamag[168] = "";
    double lddate_stamag = -1.0;
    long arid = -1;
    double magnitude = -999.0;
    char magtype[8] = "";
    Table<QKWfmeas> wfmeass;  // wfmeas rows of the same arid
};
QK_SHARED_TABLE(QKStamag)

struct QKMagnitude
{
    long recno_netmag = -1;
    char record_netmag[144] = "";
    double lddate_netmag = -1.0;
    double magnitude = -999.0;
    char magtype[8] = "";
    Table<QKStamag> stamags;  // stamag rows of the same magid
};
QK_SHARED_TABLE(QKMagnitude)

struct QKMoment
{
    long recno_mt = -1;
    char record_mt[564] = "";
    double lddate_mt = -1.0;
};
QK_SHARED_TABLE(QKMoment)

struct QKDetection
{
    long recno_detection = -1;
    char record_detection[204] = "";
    double lddate_detection = -1.0;
    long recno_site = -1;  // site row of the detection's station
    char record_site[202] = "";
    // Residuals of the detection time against the first P and S arrival
    // from the preferred origin of the most recent event, seconds, and the
    // distance to it in degrees; 2.12345e30 and 999.0 when unknown.
    double presidual = 2.12345e30;
    double sresidual = 2.12345e30;
    double delta = 999.0;
};
QK_SHARED_TABLE(QKDetection)

struct QKAssociation
{
    long recno_assoc = -1;
    char record_assoc[190] = "";
    double lddate_assoc = -1.0;
    long recno_arrival = -1;
    char record_arrival[274] = "";
    double lddate_arrival = -1.0;
    double time_arrival = -9999999999.999;
    long recno_predarr = -1;
    char record_predarr[104] = "";
    long recno_site = -1;
    char record_site[202] = "";
    long arid = -1;
    int defining = 0;  // timedef "d"
};
QK_SHARED_TABLE(QKAssociation)

struct QKOrigin
{
    long recno_origin = -1;
    char record_origin[288] = "";
    long orid = -1;
    double lddate_origin = -1.0;
    double lddate_origin_view = -1.0;  // latest lddate over the origin and what hangs on it
    double time = -9999999999.999;
    long recno_origerr = -1;
    char record_origerr[268] = "";
    long recno_emodel = -1;
    char record_emodel[96] = "";
    double magnitude = -999.0;  // ml, else mb, else ms of the origin row
    char magtype[8] = "";
    int preferred = 0;
    int pref_magnitude = -1;  // index into magnitudes
    int pref_moment = -1;     // index into moments
    Table<QKMagnitude> magnitudes;
    Table<QKMoment> moments;
    Table<QKDetection> detections;
    Table<QKAssociation> associations;
};
QK_SHARED_TABLE(QKOrigin)

struct QKEvent
{
    long recno_event = -1;
    char record_event[154] = "";
    long evid = -1;
    long prefor = -1;
    long order = -1;  // index in the server's list, ordered by prefor_time, then evid
    double lddate_event = -1.0;
    double lddate_view = -1.0;
    double access_time = -1.0;  // when it was last expanded
    double prefor_time = -9999999999.999;
    double magnitude = -999.0;
    char magtype[8] = "";
    int pref_origin = -1;
    int pref_magnitude_origin = -1;
    int pref_moment_origin = -1;
    Table<QKOrigin> origins;
};
template <>
class Table<QKEvent> : public QKBlocks<QKEvent>
{
};

struct VXPLOT_EXPORT QKArrival
{
    long arid = -1;
    long recno_arrival = -1;
    char record_arrival[274] = "";
    double lddate_arrival = -1.0;
    int link_to_any_assoc = 0;
    int link_to_any_stamag = 0;
    int link_to_any_wfmeas = 0;
    Table<long> associated_orids;

    QKArrival() = default;
    QKArrival(const QKArrival& o) { *this = o; }
    QKArrival& operator=(const QKArrival& o);
    QKArrival(QKArrival&&) = default;
    QKArrival& operator=(QKArrival&&) = default;
};
QK_SHARED_TABLE(QKArrival)

struct QKPreferredMagnitude
{
    char magtype[8] = "";
    double minimum_magnitude = -999.0;
    double maximum_magnitude = 999.0;
};

struct QKStaChan
{
    char sta[32] = "";
    char chan[32] = "";
    double time = 0.0;     // first sample of the channel's rows
    double endtime = 0.0;  // last sample
};
QK_SHARED_TABLE(QKStaChan)

struct QKTableRecord
{
    long recno = -1;
    std::string record;
};
QK_SHARED_TABLE(QKTableRecord)

// A table of the database as the server watches it.
struct QKTable
{
    long nrows = 0;
    long nrows_tables = 0;
    Rsptr dbtable = {RS_INVALID, RS_INVALID, RS_INVALID, RS_INVALID};
    double mod_time = 0.0;
    double mod_time_tables = 0.0;
    int record_size = 0;
    std::string name;
    std::string fname;
    std::string path;
    std::string record_null;
};

struct QKOriginsTab
{
    Table<QKOrigin>* origins = nullptr;
    Table<int> row_to_index_tab;
    Table<int> index_to_row_tab;
    int row = -1;
};

struct QKEventsTab
{
    Table<QKEvent>* events = nullptr;
    Table<int> row_to_index_tab;
    Table<int> index_to_row_tab;
    int row = -1;
};

#undef QK_SHARED_TABLE
