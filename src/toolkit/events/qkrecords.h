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
#pragma once

#include "toolkit/base/table.h"
#include "toolkit/store/recordstore.h"
#include "vxplot_export.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

// The Table calls over elements shared between copies.
template <class T>
class QKShared
{
public:
    long max() const { return v_ ? static_cast<long>(v_->size()) : 0; }
    const T& get(long i) const
    {
        if (!v_ || i < 0 || i >= max())
            return null();
        return (*v_)[static_cast<size_t>(i)];
    }
    // Element i to change, or null when out of range.
    T* at(long i)
    {
        if (i < 0 || i >= max() || detach() < 0)
            return nullptr;
        return &(*v_)[static_cast<size_t>(i)];
    }
    int set(long i, T v)
    {
        if (i < 0) {
            hl_register_error(0, "Table::set: Negative index %ld.\n", i);
            return -1;
        }
        return guarded([&] {
            mutableVector();
            if (static_cast<size_t>(i) >= v_->size())
                v_->resize(static_cast<size_t>(i) + 1);
            (*v_)[static_cast<size_t>(i)] = std::move(v);
        });
    }
    int push(T v)
    {
        return guarded([&] { mutableVector().push_back(std::move(v)); });
    }
    int unshift(T v)
    {
        return guarded([&] { mutableVector().insert(v_->begin(), std::move(v)); });
    }
    int ins(long i, T v)
    {
        if (i >= max())
            return set(i, std::move(v));
        if (i < 0) {
            hl_register_error(0, "Table::ins: Negative index %ld.\n", i);
            return -1;
        }
        return guarded([&] { mutableVector().insert(v_->begin() + i, std::move(v)); });
    }
    T pop()
    {
        if (max() == 0 || detach() < 0)
            return null();
        T v = std::move(v_->back());
        v_->pop_back();
        return v;
    }
    T shift()
    {
        if (max() == 0 || detach() < 0)
            return null();
        T v = std::move(v_->front());
        v_->erase(v_->begin());
        return v;
    }
    int del(long i)
    {
        if (i < 0 || i >= max()) {
            hl_register_error(0, "Table::del: Index %ld outside 0 to %ld.\n", i, max() - 1);
            return -1;
        }
        return guarded([&] { mutableVector().erase(v_->begin() + i); });
    }
    int cat(const QKShared& other)
    {
        if (other.max() == 0)
            return 0;
        std::shared_ptr<std::vector<T>> keep = other.v_;  // other may be this
        return guarded([&] { mutableVector().insert(v_->end(), keep->begin(), keep->end()); });
    }
    template <class Less>
    void sort(Less less)
    {
        if (max() > 1 && detach() == 0)
            std::sort(v_->begin(), v_->end(), less);
    }
    template <class Less>
    void sortb(Less less)
    {
        if (max() > 1 && detach() == 0)
            std::stable_sort(v_->begin(), v_->end(), less);
    }
    template <class Fn>
    void apply(Fn fn)
    {
        if (max() > 0 && detach() == 0)
            for (T& item : *v_)
                fn(item);
    }
    void clear() { v_.reset(); }
    // Make room for n elements.  Negative without memory.
    int reserve(long n)
    {
        return guarded([&] { mutableVector().reserve(static_cast<size_t>(n)); });
    }
    static const T& null()
    {
        static const T n{};
        return n;
    }
    // Whether the two tables hold the very same elements (nothing copied).
    bool shares(const QKShared& other) const { return v_ && v_ == other.v_; }

private:
    std::vector<T>& mutableVector()
    {
        if (!v_)
            v_ = std::make_shared<std::vector<T>>();
        else if (v_.use_count() > 1)
            v_ = std::make_shared<std::vector<T>>(*v_);
        return *v_;
    }
    int detach()
    {
        return guarded([&] { mutableVector(); });
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
    std::shared_ptr<std::vector<T>> v_;
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
QK_SHARED_TABLE(QKEvent)

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
