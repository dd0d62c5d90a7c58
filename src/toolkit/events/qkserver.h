// The event server: one per database, it keeps the events, origins and
// detections of a CSS 3.0 flat-file database in step with the table files,
// whoever writes them, and tells its clients (QKClient) what changed.
//
// A thread of its own waits for changes to the table files: with inotify,
// a change to a file of the database wakes it at once; in any case it
// compares sizes and modification times every poll interval.  It then takes
// in only what changed (rows appended to a table are read from its old
// end; a table rewritten in place or replaced is read again) and publishes
// a new event list: an immutable Table<QKEvent> behind a shared pointer,
// ordered by the time of each event's preferred origin, then by evid.  A
// holder of an older list goes on using it without any lock.  Each list
// entry carries its preferred origin only (with its origerr row); the
// whole tree of an event comes from QKClient::getExpandedEvent().
//
// After a change the thread calls responseCallback() of every client, and
// checkDatabaseCallback() with the names of the tables that changed; both
// run on the server's thread and must only hand the notice on.
//
// Bad input never stops the thread: a database that can't be opened is
// tried again at every check, bad rows are skipped by the record store,
// rows with duplicate ids (the later row wins), events without origins and
// preferred origins that don't exist are reported, and the last good list
// stays published.  The messages of the latest check that had any are
// kept for lastErrors().
//
// Clients must be destroyed before their server.
#pragma once

#include "toolkit/base/table.h"
#include "toolkit/events/qkrecords.h"
#include "vxplot_export.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

class QKClient;
class QKModel;
class QKWatcher;
struct QKChanges;

// Flags of the server's last constructor argument.
enum {
    QK_NO_INOTIFY = 1,  // watch by polling sizes and modification times only
};

class VXPLOT_EXPORT QKServer
{
public:
    // Watch database dbname (the path base of its table files).
    // auto_refresh: 0 leaves checking to refreshEvents() and checkDatabase()
    // of clients; otherwise the thread checks on its own.
    // auto_check_database: 0 leaves checkDatabaseCallback() uncalled.
    // poll_interval_ms: how often sizes and modification times are compared,
    // in milliseconds; 0 or less means 1000.
    // The first check runs at once on the server's thread.
    QKServer(std::string dbname, int auto_refresh = 1, int auto_check_database = 1, int poll_interval_ms = 1000,
             int flags = 0);
    ~QKServer();
    QKServer(const QKServer&) = delete;
    QKServer& operator=(const QKServer&) = delete;

    std::string getDbname() const { return dbname_; }

    // Drop everything and read the database again; clients get a notice with
    // database_reset.  With wait non-zero, returns when that is done.  0, or
    // negative when the wait failed.
    int reset(int wait);

    // Check the files now.  With wait non-zero, returns when the check is
    // done, so that a caller sees its own writes; a wait from the server's
    // own thread (a callback) is refused.  0, or negative.
    int refresh(int wait);

    // The lock over the lists below.
    void grabEventsLock() { events_mutex_.lock(); }
    void releaseEventsLock() { events_mutex_.unlock(); }

    // The current event and detection lists (with or without the events
    // lock).  Never null; never changed after publication.
    std::shared_ptr<const Table<QKEvent>> getEvents() const;
    std::shared_ptr<const Table<QKDetection>> getDetections() const;

    // The expanded event evid, from the cache or built now.  1 found, 0 not
    // in the database.  The caller holds the events lock.
    int getExpandedEvent(long evid, QKEvent& event);

    // Messages of the latest check that registered any; empty when none.
    std::string lastErrors() const;
    // Checks done so far.
    long checks() const { return checks_done_.load(); }
    // Whether changes are noticed by inotify (else by polling alone).
    bool usesInotify() const { return uses_inotify_.load(); }
    // Whether a write to a table file the server reads wakes its thread by
    // itself (inotify, with the thread checking on its own).
    bool seesWrites() const { return auto_refresh_ && uses_inotify_.load(); }
    int pollIntervalMs() const { return poll_interval_ms_; }

    // Public state, under the events lock.
    std::shared_ptr<const Table<QKEvent>> events;
    double events_last_time = 0.0;  // when events was published
    std::shared_ptr<const Table<QKDetection>> detections;
    Array<long, QKEvent> expanded_events;  // cache of expanded events by evid
    std::atomic<long> last_modified_evid{-1};  // also read without the lock
    std::atomic<long> most_recent_evid{-1};
    std::atomic<int> stop{0};

private:
    friend class QKClient;
    void addClient(QKClient* client);
    long evidOfOrid(long orid) const;
    void removeClient(QKClient* client);
    void run();
    void check(bool reset);
    void publish(const QKChanges& changes, bool reset);
    // The most recent and last modified events of a list, and what made
    // them so (see publish()).
    struct Best
    {
        long most_recent = -1;
        double time = 0.0;
        long last_modified = -1;
        double lddate = 0.0;
        long order = -1;
    };
    std::shared_ptr<Table<QKEvent>> buildList(Best* best);
    void deliverResponse(const QKResponse& response);
    void deliverChanged(const std::vector<std::string>& tables);
    int request(bool reset, int wait);

    const std::string dbname_;
    const int auto_refresh_;
    const int auto_check_database_;
    const int poll_interval_ms_;
    const int flags_;

    mutable std::mutex events_mutex_;  // the events lock
    mutable std::mutex snap_mutex_;    // the two shared pointers, for a moment at a time
    mutable std::mutex db_mutex_;      // the model; taken after the events lock, never before
    std::unique_ptr<QKModel> model_;
    std::unique_ptr<QKWatcher> watcher_;
    double best_time_ = 0.0;                // of most_recent_evid (server thread)
    double best_lddate_ = 0.0;              // of last_modified_evid (server thread)
    long best_order_ = -1;

    std::mutex clients_mutex_;
    std::condition_variable clients_cv_;
    std::vector<QKClient*> clients_;
    QKClient* delivering_ = nullptr;  // the client whose callback runs now

    std::mutex request_mutex_;
    std::condition_variable request_cv_;
    long requested_ = 0;  // requests made
    long served_ = 0;     // requests done
    bool reset_requested_ = false;

    mutable std::mutex errors_mutex_;
    std::string last_errors_;
    std::atomic<long> checks_done_{0};
    std::atomic<bool> uses_inotify_{false};
    std::thread::id thread_id_;
    std::thread thread_;
};
