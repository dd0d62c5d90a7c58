// A client of the event server: what a display owns to hear of changes, to
// read the server's lists and to read and write waveform, arrival and
// detection rows of the same database.
//
// Callbacks.  responseCallback() and checkDatabaseCallback() run on the
// server's thread, one client after another, and should only hand the
// notice on (the Qt side posts an event to the GUI thread).  Because the
// server calls these virtual functions from its own thread, they must
// never meet a half-built or half-destroyed object: a derived class calls
// listen() last in its constructor, and unregister() first in its
// destructor (~QKClient() calls it in any case).  Callbacks come only
// between the two.  When unregister() returns, no callback of this client
// runs and none will: it waits for a callback in progress on another
// thread to end.  A plain QKClient, whose callbacks do nothing, need not
// listen.
//
// Threads.  Apart from the callbacks, a client is used from one thread at a
// time (the GUI thread, as a rule).  The events lock (grabEventsLock) is the
// server's, shared by all its clients: hold it while fetching, never while
// drawing.
//
// Rows.  The waveform and arrival operations read the tables through a
// record store handle of the client's own, refreshed from the files before
// each answer, so that they always see the latest rows.  getRsptr() puts a
// record's text into the scratch row of its table on that handle, where
// rsgetv() and rsputv() read and change its fields; rsputrecord() writes a
// scratch row back to the file.
//
// Errors follow the toolkit's convention: a failing call registers one line
// ("QKClient::method: what went wrong.\n") and returns a negative value.
#pragma once

#include "toolkit/base/table.h"
#include "toolkit/events/qkrecords.h"
#include "toolkit/store/recordstore.h"
#include "vxplot_export.h"

#include <memory>
#include <string>

class QKServer;

class VXPLOT_EXPORT QKClient
{
public:
    // A client of server (may be null: every call then fails).
    explicit QKClient(QKServer* server);
    virtual ~QKClient();
    QKClient(const QKClient&) = delete;
    QKClient& operator=(const QKClient&) = delete;

    // A change notice, on the server's thread.  The default does nothing.
    virtual void responseCallback(QKResponse response);
    // Names of the tables whose rows changed, each with the value 1, on the
    // server's thread (only with the server's auto_check_database).  The
    // default does nothing.
    virtual void checkDatabaseCallback(Array<std::string, int> changed);

    // Register with the server: from then on callbacks may come at any
    // moment (see above).  Safe to call more than once.
    void listen();
    // Stop callbacks for good (see above).  Safe to call more than once.
    void unregister();

    int waitfor_events = 0;  // free for the client's own use
    int waitfor = 0;         // free for the client's own use
    QKServer* ev = nullptr;  // the server

    // --- The event lists.

    void grabEventsLock();
    void releaseEventsLock();
    // The current list; see QKServer::getEvents().
    std::shared_ptr<const Table<QKEvent>> getEvents();
    // A copy of the detections.
    Table<QKDetection> getDetections();
    // The whole tree of event evid into event.  1 found, 0 not (an event
    // that has left the database), negative on failure.  The caller holds
    // the events lock.
    int getExpandedEvent(long evid, QKEvent& event);
    // An entry of the list: by evid, by index in the list, by time (the
    // event whose preferred origin time is nearest to time, within
    // tolerance seconds), or by the orid of one of its origins (the list
    // carries preferred origins only: so an orid that is not preferred is
    // looked up in the database).  1 found, 0 not.
    int getEvent(long evid, QKEvent& event);
    int getEvent(int index, QKEvent& event);
    int getEvent(double time, double tolerance, QKEvent& event);
    int getEventFromOrid(long orid, QKEvent& event);
    // The event with the latest preferred origin time (ties: the larger
    // evid), and the one with the latest lddate_view.  1 found, 0 when the
    // list is empty; the evids are -1 then.
    int getMostRecentEvent(QKEvent& event);
    long getMostRecentEvid();
    int getLastModifiedEvent(QKEvent& event);
    long getLastModifiedEvid();

    // The origin orid of event into origin (-1: the preferred one).  The
    // last argument is kept for callers that pass 1.  1 found, 0 not.
    int getOrigin(QKEvent* event, long orid, QKOrigin& origin, int copy);
    // Pointers into the record (valid while it lives unchanged), or null;
    // index (may be null) gets the origin's index.
    QKOrigin* getPreferredOrigin(QKEvent* event, int* index);
    QKMagnitude* getPreferredMagnitude(QKOrigin* origin);
    QKMoment* getPreferredMoment(QKEvent* event);
    QKMoment* getPreferredMoment(QKOrigin* origin);

    // Scratch rows holding a record's text, for rsgetv(); any pointer may be
    // null.  0, or negative.
    int getRsptr(QKEvent* event, Rsptr* event_row);
    int getRsptr(QKOrigin* origin, Rsptr* origin_row, Rsptr* origerr, Rsptr* emodel);
    int getRsptr(QKMagnitude* magnitude, Rsptr* netmag);
    int getRsptr(QKMoment* moment, Rsptr* mt);
    int getRsptr(QKAssociation* association, Rsptr* assoc, Rsptr* arrival, Rsptr* predarr, Rsptr* site);
    int getRsptr(QKDetection* detection, Rsptr* detection_row, Rsptr* site);
    int getRsptr(QKArrival* arrival, Rsptr* arrival_row);
    // The same for a named table: record is a row's text (empty or null:
    // the null record).  The last form gives the table's scratch row as it
    // stands.
    int getRsptr(const std::string& table, const char* record, Rsptr* row);
    int getRsptr(const std::string& table, QKTableRecord* record, Rsptr* row);
    int getRsptr(const std::string& table, Rsptr* row);

    // Queries (docs/events.md).  getValue: a value of one row; type 1 with a
    // long, 2 with a double, 3 with text of at most 1024 bytes in value.
    // checkSortQuery: negative when a sort query can't work.  sort: the
    // indices of the table in the query's order; *status (may be null) 0 or
    // negative.
    int getValue(const Table<QKEvent>* events, const std::string& query, int* type, void* value);
    int getValue(const Table<QKOrigin>* origins, const std::string& query, int* type, void* value);
    int checkSortQuery(const Table<QKEvent>* events, const std::string& query);
    int checkSortQuery(const Table<QKOrigin>* origins, const std::string& query);
    Table<int> sort(const Table<QKEvent>* events, const std::string& query, int reverse, int* status);
    Table<int> sort(const Table<QKOrigin>* origins, const std::string& query, int reverse, int* status);

    // Ask the server to check the files now; with wait non-zero, return when
    // done.  refreshEventsForce() starts over from an empty list.
    void refreshEvents(int wait);
    void refreshEventsForce(int wait);

    // --- Waveform, arrival and detection rows.

    // wfdisc rows of sta and chan that overlap [t0, t1], in time order.  With
    // calib_from_db 0, a row's calib is set to 1.0 and calper to -1.0
    // in the returned text.  Empty on failure.
    Table<QKTableRecord> getWfdiscs(const char* sta, const char* chan, double t0, double t1, int calib_from_db);
    // The path of the wfdisc table file, against which dir and dfile of
    // the rows are taken.
    std::string getWfdiscPath();
    // The channels of wfdisc rows overlapping [t0, t1], each with the span
    // of its rows, sorted by sta then chan, accepted by accept and not
    // rejected by reject (docs/events.md: comma lists of "sta:chan" regular
    // expressions; empty accept takes all, empty reject drops none).
    Table<QKStaChan> scanWfdisc(double t0, double t1, const std::string& accept, const std::string& reject,
                                int* status);
    // Arrivals of sta in [t0, t1] whose chan is chan or unset ("-"), in time
    // order, with their links to assoc, stamag and wfmeas rows.
    Table<QKArrival> getArrivals(const char* sta, const char* chan, double t0, double t1);
    // detection rows of sta and chan (or unset chan) in [t0, t1].
    Table<QKTableRecord> getDetections(const char* sta, const char* chan, double t0, double t1);
    // Every detection row in [t0, t1].
    Table<QKTableRecord> getRawDetections(double t0, double t1);
    // The site row of sta valid at time (ondate to offdate; the last row of
    // the station when none is).  1 found, 0 not, negative on failure.
    int getSite(const char* sta, double time, QKTableRecord& site);

    // Write the scratch row of table to the file: appended as a new row with
    // record_number -1, else written over row record_number, which must
    // still hold a record with the same key (arid for arrivals); a null
    // lddate becomes the present time.  The write is one write under the
    // table's lock, flushed to the disk before returning: two processes
    // writing the same table never lose each other's rows.  The row
    // number, or negative.
    long rsputrecord(const char* table, long record_number = -1);
    // The same with the record's text given.
    long rsputrecord(const char* table, const char* record, long record_number);
    // The next id of counter name ("arid", "orid", ...) from lastid, taken
    // under the lastid table's lock.  Negative on failure.
    long rsnextid(const char* name);
    // Make the server check the files now.  With wait non-zero (the
    // default), wait for it, so that the caller's own writes are in the
    // lists when it returns.  With wait 0, return at once: the server takes
    // the writes in on its thread and its notices follow in the order of the
    // writes; a server whose watcher sees the files change has been woken by
    // the write itself and is not asked a second time.  0 or negative.
    int checkDatabase(int wait = 1);
    // Evaluate a record store expression (docs/expressions.md) on the row
    // db; type and value as for getValue().  0, or negative.
    int getValueFromRsptr(Rsptr db, const char* expression, int* type, void* value);

    // Whether the row db satisfies expression, a record store expression
    // (docs/expressions.md) giving a truth value: 1 yes, 0 no, negative
    // when the expression does not compile or does not give a truth value.
    int rsmatches(Rsptr db, const char* expression);
    // The rows of table, as the file holds them now, that satisfy
    // expression (an empty or null expression takes every row), in file
    // order.  *status is 0, or negative with the reason registered and an
    // empty result.
    Table<QKTableRecord> rssubset(const char* table, const char* expression, int* status);

    // SEED names of a CSS station and channel, and back (docs/events.md):
    // through the snetsta and schanloc tables of the database when they
    // hold the name, by a fixed rule otherwise.  0, or negative.
    int rscss2seed(const std::string& sta, const std::string& chan, std::string* net, std::string* seed_sta,
                   std::string* seed_chan, std::string* loc);
    int rsseed2css(const std::string& net, const std::string& seed_sta, const std::string& seed_chan,
                   const std::string& loc, std::string* sta, std::string* chan);

    // The client's record store handle (opened on first use), or
    // rsinvalid() with an error registered.
    Rsptr database();

private:
    int scratch(const char* table, const char* text, Rsptr* row, const char* caller);
    int freshTable(const char* table, Rsptr* t, const char* caller);
    Rsptr db_ = {RS_INVALID, RS_INVALID, RS_INVALID, RS_INVALID};
    bool registered_ = false;
};
