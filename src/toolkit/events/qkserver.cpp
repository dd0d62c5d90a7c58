// The event server: its thread, the publication of lists and the delivery
// of notices to clients.
#include "toolkit/events/qkserver.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkmodel_p.h"
#include "toolkit/events/qkwatch_p.h"

#include <algorithm>
#include <chrono>
#include <new>

namespace {

constexpr long kExpandedCacheMax = 256;  // expanded events kept by the server
constexpr int kWaitSeconds = 60;         // longest wait of refresh(1) for the thread

bool listOrder(const QKEvent& a, const QKEvent& b)
{
    if (a.prefor_time != b.prefor_time)
        return a.prefor_time < b.prefor_time;
    return a.evid < b.evid;
}

}  // namespace

QKServer::QKServer(std::string dbname, int auto_refresh, int auto_check_database, int poll_interval_ms, int flags)
    : events(std::make_shared<const Table<QKEvent>>()),
      detections(std::make_shared<const Table<QKDetection>>()),
      dbname_(std::move(dbname)),
      auto_refresh_(auto_refresh),
      auto_check_database_(auto_check_database),
      poll_interval_ms_(poll_interval_ms > 0 ? poll_interval_ms : 1000),
      flags_(flags),
      model_(std::make_unique<QKModel>()),
      watcher_(std::make_unique<QKWatcher>())
{
    std::vector<std::string> tables;
    for (int t = 0; t < QK_NTABLES; t++)
        tables.emplace_back(qk_table_name(t));
    if (watcher_->open(dbname_, !(flags_ & QK_NO_INOTIFY), std::move(tables)) < 0)
        hl_register_error(1, "QKServer::QKServer: No change watcher for %s; checks only on request.\n",
                          dbname_.c_str());
    uses_inotify_ = watcher_->usesInotify();
    thread_ = std::thread([this] { run(); });
    thread_id_ = thread_.get_id();
}

QKServer::~QKServer()
{
    stop = 1;
    watcher_->wake();
    if (thread_.joinable())
        thread_.join();
    std::lock_guard<std::mutex> lock(clients_mutex_);
    for (QKClient* c : clients_)
        c->ev = nullptr;  // a client left over: its calls fail from now on
}

std::shared_ptr<const Table<QKEvent>> QKServer::getEvents() const
{
    std::lock_guard<std::mutex> lock(snap_mutex_);
    return events;
}

std::shared_ptr<const Table<QKDetection>> QKServer::getDetections() const
{
    std::lock_guard<std::mutex> lock(snap_mutex_);
    return detections;
}

std::string QKServer::lastErrors() const
{
    std::lock_guard<std::mutex> lock(errors_mutex_);
    return last_errors_;
}

int QKServer::reset(int wait)
{
    return request(true, wait);
}

int QKServer::refresh(int wait)
{
    return request(false, wait);
}

int QKServer::request(bool reset, int wait)
{
    if (wait && std::this_thread::get_id() == thread_id_) {
        hl_register_error(0, "QKServer::refresh: Cannot wait for a check from the server's own thread.\n");
        return -1;
    }
    long mine;
    {
        std::lock_guard<std::mutex> lock(request_mutex_);
        mine = ++requested_;
        if (reset)
            reset_requested_ = true;
    }
    watcher_->wake();
    if (!wait)
        return 0;
    std::unique_lock<std::mutex> lock(request_mutex_);
    if (!request_cv_.wait_for(lock, std::chrono::seconds(kWaitSeconds),
                              [&] { return served_ >= mine || stop.load(); }) ||
        served_ < mine) {
        hl_register_error(0, "QKServer::refresh: The server of %s did not check in time.\n", dbname_.c_str());
        return -1;
    }
    return 0;
}

void QKServer::run()
{
    // A burst of writes (an analyst picking, a program loading rows) is
    // taken in by one check per kChangeGap rather than one per write, each
    // of which would read the files again and hold their read locks
    // against the writer; a lone change, or a change after a quiet spell,
    // is checked at once, and a request (or stop()) ends the gap.
    constexpr auto kChangeGap = std::chrono::milliseconds(10);
    auto last_check = std::chrono::steady_clock::now() - kChangeGap;
    bool first = true;
    bool file_changed = false;  // the last wait ended on a change to a table file
    while (!stop.load()) {
        if (file_changed) {
            const auto due = last_check + kChangeGap;
            const auto now = std::chrono::steady_clock::now();
            if (now < due) {
                const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(due - now).count();
                watcher_->waitForWake(static_cast<int>(left) + 1);
                if (stop.load())
                    break;
            }
        }
        long serving;
        bool reset;
        {
            std::lock_guard<std::mutex> lock(request_mutex_);
            serving = requested_;
            reset = reset_requested_;
            reset_requested_ = false;
        }
        const bool asked = serving > served_ || first;
        // a change the watcher saw is checked at once; after a time-out the
        // sizes and times are compared first
        if (asked || (auto_refresh_ && (file_changed || model_->looksChanged()))) {
            check(reset || first);
            last_check = std::chrono::steady_clock::now();
        }
        first = false;
        if (asked) {
            std::lock_guard<std::mutex> lock(request_mutex_);
            served_ = std::max(served_, serving);
            request_cv_.notify_all();
        }
        checks_done_++;
        // until a table file changes (inotify), the poll interval is over,
        // or a request or stop() wakes the thread
        file_changed = watcher_->wait(auto_refresh_ ? poll_interval_ms_ : -1) > 0;
    }
    std::lock_guard<std::mutex> lock(request_mutex_);
    served_ = requested_;  // nobody waits for a stopped server
    request_cv_.notify_all();
}

void QKServer::check(bool reset)
{
    QKChanges changes;
    bool opened_now = false;
    {
        std::lock_guard<std::mutex> lock(db_mutex_);
        if (reset)
            model_->close();
        if (!model_->isOpen()) {
            if (model_->open(dbname_) == 0)
                opened_now = true;
        }
        if (model_->isOpen() && model_->take(&changes) < 0)
            hl_register_error(0, "QKServer::check: Database %s was not read whole; the last list stays.\n",
                              dbname_.c_str());
    }
    if (opened_now)
        changes.all_events = true;
    if (changes.any() || reset)
        publish(changes, reset);
    if (hl_error_count() > 0) {
        std::lock_guard<std::mutex> lock(errors_mutex_);
        last_errors_ = hl_errlog_string(0);
        hl_clear_register(0);
    }
}

void QKServer::publish(const QKChanges& changes, bool reset)
{
    static const int kChild[] = {QK_EMODEL, QK_NETMAG, QK_STAMAG, QK_WFMEAS, QK_MT,
                                 QK_ASSOC,  QK_ARRIVAL, QK_PREDARR, QK_SITE};
    bool children = changes.all_events;
    for (int t : kChild)
        children = children || changes.changed[t];
    const bool list_changed = changes.all_events || !changes.dirty_evids.empty();

    std::shared_ptr<const Table<QKEvent>> old = getEvents();
    std::shared_ptr<Table<QKEvent>> fresh;
    std::shared_ptr<Table<QKDetection>> fresh_detections;
    long most_recent = most_recent_evid, last_modified = last_modified_evid;
    std::vector<long> touched;  // places in fresh of entries built again
    bool reorder = false;
    Best built;  // of a list built whole
    {
        std::lock_guard<std::mutex> lock(db_mutex_);
        if (list_changed) {
            if (changes.all_events) {
                // built in list order: nothing to sort afterwards
                fresh = buildList(&built);
                if (!fresh) {
                    hl_register_error(1, "QKServer::publish: No memory for the events of %s; the last list stays.\n",
                                      dbname_.c_str());
                    return;
                }
            } else {
                fresh = std::make_shared<Table<QKEvent>>(*old);  // shares the entries until changed
                std::vector<long> gone;
                for (long evid : changes.dirty_evids) {
                    const long at = model_->placeOf(evid);
                    QKEvent e;
                    if (model_->buildEvent(evid, false, &e) > 0) {
                        if (at < 0) {
                            e.order = fresh->max();
                            model_->setPlace(evid, fresh->max());
                            touched.push_back(fresh->max());
                            fresh->push(std::move(e));
                        } else if (QKEvent* slot = fresh->at(at)) {
                            e.order = slot->order;
                            *slot = std::move(e);
                            touched.push_back(at);
                        }
                    } else if (at >= 0) {
                        gone.push_back(at);
                    }
                }
                std::sort(gone.rbegin(), gone.rend());
                for (long i : gone)
                    fresh->del(i);
                // only the neighbours of changed entries can be out of order
                reorder = !gone.empty();
                for (long p : touched) {
                    reorder = reorder || (p > 0 && listOrder(fresh->get(p), fresh->get(p - 1))) ||
                              (p + 1 < fresh->max() && listOrder(fresh->get(p + 1), fresh->get(p)));
                }
            }
            if (reorder) {
                fresh->sortb(listOrder);
                long i = 0;
                fresh->apply([&](QKEvent& e) {
                    e.order = i;
                    model_->setPlace(e.evid, i++);
                });
            }
        }
        // the most recent event: the latest preferred origin time, then the
        // larger evid; the last modified: the latest lddate_view, then the
        // later place.  Only changed entries are looked at, unless the
        // order moved or a best entry itself changed.
        auto consider = [&](const QKEvent& e) {
            if (e.pref_origin >= 0 && (most_recent < 0 || e.prefor_time > best_time_ ||
                                       (e.prefor_time == best_time_ && e.evid > most_recent))) {
                most_recent = e.evid;
                best_time_ = e.prefor_time;
            }
            if (last_modified < 0 || e.lddate_view > best_lddate_ ||
                (e.lddate_view == best_lddate_ && e.order > best_order_)) {
                last_modified = e.evid;
                best_lddate_ = e.lddate_view;
                best_order_ = e.order;
            }
        };
        if (fresh && changes.all_events) {
            // from the rows, leaving the entries unmade
            most_recent = built.most_recent;
            best_time_ = built.time;
            last_modified = built.last_modified;
            best_lddate_ = built.lddate;
            best_order_ = built.order;
        } else if (fresh) {
            const bool full = reorder || changes.dirty_evids.count(most_recent_evid) ||
                              changes.dirty_evids.count(last_modified_evid) || most_recent < 0 ||
                              last_modified < 0;
            if (full) {
                most_recent = last_modified = -1;
                for (long i = 0; i < fresh->max(); i++)
                    consider(fresh->get(i));
            } else {
                for (long p : touched)
                    consider(fresh->get(p));
            }
        }
        const bool recent_moved = most_recent != most_recent_evid || changes.dirty_evids.count(most_recent) ||
                                  changes.all_events;
        if (changes.changed[QK_DETECTION] || changes.changed[QK_SITE] || recent_moved || reset) {
            fresh_detections = std::make_shared<Table<QKDetection>>();
            QKEvent recent;
            const QKOrigin* origin = nullptr;
            if (most_recent >= 0 && model_->buildEvent(most_recent, false, &recent) > 0 && recent.pref_origin >= 0)
                origin = &recent.origins.get(recent.pref_origin);
            model_->buildDetections(origin, fresh_detections.get());
        }
    }

    QKResponse response;
    response.database_reset = reset ? 1 : 0;
    {
        std::lock_guard<std::mutex> events_lock(events_mutex_);
        {
            std::lock_guard<std::mutex> lock(snap_mutex_);
            if (fresh)
                events = fresh;
            if (fresh_detections)
                detections = fresh_detections;
        }
        if (fresh) {
            events_last_time = timenow();
            response.events_changed = 1;
        }
        response.detections_changed = fresh_detections ? 1 : 0;
        if (most_recent != most_recent_evid) {
            most_recent_evid = most_recent;
            response.most_recent_event_changed = 1;
        }
        response.most_recent_event_evid = most_recent;
        if (last_modified != last_modified_evid) {
            last_modified_evid = last_modified;
            response.last_modified_event_changed = 1;
        }
        response.last_modified_event_evid = last_modified;
        // cached expansions of changed events are built again
        std::lock_guard<std::mutex> lock(db_mutex_);
        for (long evid : expanded_events.keys()) {
            if (!children && !changes.dirty_evids.count(evid))
                continue;
            QKEvent e;
            if (model_->buildEvent(evid, true, &e) > 0) {
                expanded_events.set(evid, std::move(e));
                response.expanded_events_changed.push(evid);
            } else {
                expanded_events.del(evid);
                response.expanded_events_erased.push(evid);
            }
        }
    }
    deliverResponse(response);
    if (auto_check_database_) {
        std::vector<std::string> tables;
        for (int t = 0; t < QK_NTABLES; t++)
            if (changes.changed[t])
                tables.push_back(qk_table_name(t));
        if (!tables.empty())
            deliverChanged(tables);
    }
}

namespace {

// What the unmade blocks of a list are made from: the keys in list order,
// with the rows they name kept unchanged by `rows`.
struct ListRows
{
    std::vector<QKModel::ListKey> keys;
    QKModel::EntryFields fields;
    std::shared_ptr<const void> rows;
};

// The entries [first, first + n) of a list.  The origins of the block are
// one array that the entries borrow: a single allocation per block instead
// of one per event.
void makeEntries(const ListRows& list, size_t first, size_t n, std::vector<QKEvent>* out)
{
    const std::shared_ptr<QKOrigin[]> origins = std::make_shared<QKOrigin[]>(n);
    out->reserve(n);
    for (size_t k = 0; k < n; k++) {
        constexpr size_t kAhead = 8;
        if (first + k + kAhead < list.keys.size())
            QKModel::prefetch(list.keys[first + k + kAhead]);
        QKEvent e;
        if (QKModel::buildEntry(list.fields, list.keys[first + k], &e, &origins[k]))
            e.origins.borrow(std::shared_ptr<QKOrigin>(origins, &origins[k]), 1);
        e.order = static_cast<long>(first + k);
        out->push_back(std::move(e));
    }
}

}  // namespace

std::shared_ptr<Table<QKEvent>> QKServer::buildList(Best* best)
{
    // The entries are made block by block when first wanted, from rows the
    // list holds; only the order, the places and the best events are
    // worked out now.  A store that cannot hold its rows gets them made now.
    constexpr size_t kBlock = static_cast<size_t>(QKBlocks<QKEvent>::kBlock);
    try {
        auto fresh = std::make_shared<Table<QKEvent>>();
        auto list = std::make_shared<ListRows>();
        list->keys = model_->listKeys();
        list->fields = model_->entryFields();
        list->rows = model_->holdRows();
        const std::vector<QKModel::ListKey>& keys = list->keys;
        if (fresh->reserve(static_cast<long>(keys.size())) < 0)
            return nullptr;
        *best = Best();
        for (size_t i = 0; i < keys.size(); i++) {
            const QKModel::ListKey& key = keys[i];
            model_->setPlace(key, static_cast<long>(i));
            // as publish() finds them over the entries
            if (key.origin_recno >= 0 && (best->most_recent < 0 || key.time > best->time ||
                                          (key.time == best->time && key.evid > best->most_recent))) {
                best->most_recent = key.evid;
                best->time = key.time;
            }
            if (best->last_modified < 0 || key.lddate_view >= best->lddate) {
                best->last_modified = key.evid;
                best->lddate = key.lddate_view;
                best->order = static_cast<long>(i);
            }
        }
        for (size_t first = 0; first < keys.size(); first += kBlock) {
            const size_t n = std::min(kBlock, keys.size() - first);
            if (list->rows) {
                if (fresh->pushLazy(static_cast<long>(n), [list, first, n](std::vector<QKEvent>* out) {
                        makeEntries(*list, first, n, out);
                    }) < 0)
                    return nullptr;
                continue;
            }
            std::vector<QKEvent> entries;
            makeEntries(*list, first, n, &entries);
            for (QKEvent& e : entries)
                if (fresh->push(std::move(e)) < 0)
                    return nullptr;
        }
        return fresh;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

int QKServer::getExpandedEvent(long evid, QKEvent& event)
{
    if (expanded_events.contains(evid)) {
        event = expanded_events.get(evid);
        return 1;
    }
    QKEvent e;
    {
        std::lock_guard<std::mutex> lock(db_mutex_);
        if (!model_->isOpen())
            return 0;
        if (model_->buildEvent(evid, true, &e) <= 0)
            return 0;
    }
    if (expanded_events.cnt() >= kExpandedCacheMax) {
        // drop the expansion used longest ago
        long oldest = -1;
        double when = 0.0;
        for (long k : expanded_events.keys()) {
            const double t = expanded_events.get(k).access_time;
            if (oldest < 0 || t < when) {
                oldest = k;
                when = t;
            }
        }
        expanded_events.del(oldest);
    }
    expanded_events.set(evid, e);
    event = std::move(e);
    return 1;
}

long QKServer::evidOfOrid(long orid) const
{
    std::lock_guard<std::mutex> lock(db_mutex_);
    return model_->evidOfOrid(orid);
}

void QKServer::addClient(QKClient* client)
{
    std::lock_guard<std::mutex> lock(clients_mutex_);
    clients_.push_back(client);
}

void QKServer::removeClient(QKClient* client)
{
    std::unique_lock<std::mutex> lock(clients_mutex_);
    clients_.erase(std::remove(clients_.begin(), clients_.end(), client), clients_.end());
    // a callback of this client in progress on the server's thread ends
    // first; from a callback itself there is nothing to wait for
    if (std::this_thread::get_id() != thread_id_)
        clients_cv_.wait(lock, [&] { return delivering_ != client; });
}

void QKServer::deliverResponse(const QKResponse& response)
{
    std::unique_lock<std::mutex> lock(clients_mutex_);
    const std::vector<QKClient*> list = clients_;
    for (QKClient* c : list) {
        if (std::find(clients_.begin(), clients_.end(), c) == clients_.end())
            continue;  // gone since
        delivering_ = c;
        lock.unlock();
        c->responseCallback(response);
        lock.lock();
        delivering_ = nullptr;
        clients_cv_.notify_all();
    }
}

void QKServer::deliverChanged(const std::vector<std::string>& tables)
{
    std::unique_lock<std::mutex> lock(clients_mutex_);
    const std::vector<QKClient*> list = clients_;
    for (QKClient* c : list) {
        if (std::find(clients_.begin(), clients_.end(), c) == clients_.end())
            continue;
        delivering_ = c;
        lock.unlock();
        Array<std::string, int> changed;
        for (const std::string& t : tables)
            changed.set(t, 1);
        c->checkDatabaseCallback(std::move(changed));
        lock.lock();
        delivering_ = nullptr;
        clients_cv_.notify_all();
    }
}
