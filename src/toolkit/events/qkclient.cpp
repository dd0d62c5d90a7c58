// QKClient: registration, the event lists and record pointers.
#include "toolkit/events/qkclient.h"

#include "toolkit/base/errors.h"
#include "toolkit/events/qkserver.h"

#include <cmath>
#include <cstring>

void qk_copy_table(Table<long>& to, const Table<long>& from)
{
    to.clear();
    to.cat(from);
}

QKResponse& QKResponse::operator=(const QKResponse& o)
{
    if (this != &o) {
        database_reset = o.database_reset;
        events_changed = o.events_changed;
        detections_changed = o.detections_changed;
        last_modified_event_changed = o.last_modified_event_changed;
        last_modified_event_evid = o.last_modified_event_evid;
        most_recent_event_changed = o.most_recent_event_changed;
        most_recent_event_evid = o.most_recent_event_evid;
        qk_copy_table(expanded_events_changed, o.expanded_events_changed);
        qk_copy_table(expanded_events_erased, o.expanded_events_erased);
    }
    return *this;
}

QKArrival& QKArrival::operator=(const QKArrival& o)
{
    if (this != &o) {
        arid = o.arid;
        recno_arrival = o.recno_arrival;
        memcpy(record_arrival, o.record_arrival, sizeof record_arrival);
        lddate_arrival = o.lddate_arrival;
        link_to_any_assoc = o.link_to_any_assoc;
        link_to_any_stamag = o.link_to_any_stamag;
        link_to_any_wfmeas = o.link_to_any_wfmeas;
        qk_copy_table(associated_orids, o.associated_orids);
    }
    return *this;
}

QKClient::QKClient(QKServer* server) : ev(server)
{
}

void QKClient::listen()
{
    if (ev && !registered_) {
        ev->addClient(this);
        registered_ = true;
    }
}

QKClient::~QKClient()
{
    unregister();
    if (!rsisinvalid(db_))
        rsclose(db_);
}

void QKClient::unregister()
{
    if (registered_ && ev)
        ev->removeClient(this);
    registered_ = false;
}

void QKClient::responseCallback(QKResponse)
{
}

void QKClient::checkDatabaseCallback(Array<std::string, int>)
{
}

void QKClient::grabEventsLock()
{
    if (ev)
        ev->grabEventsLock();
}

void QKClient::releaseEventsLock()
{
    if (ev)
        ev->releaseEventsLock();
}

std::shared_ptr<const Table<QKEvent>> QKClient::getEvents()
{
    return ev ? ev->getEvents() : std::make_shared<const Table<QKEvent>>();
}

Table<QKDetection> QKClient::getDetections()
{
    return ev ? *ev->getDetections() : Table<QKDetection>();
}

int QKClient::getExpandedEvent(long evid, QKEvent& event)
{
    if (!ev) {
        hl_register_error(0, "QKClient::getExpandedEvent: No server.\n");
        return -1;
    }
    return ev->getExpandedEvent(evid, event);
}

int QKClient::getEvent(long evid, QKEvent& event)
{
    auto list = getEvents();
    for (long i = 0; i < list->max(); i++) {
        if (list->get(i).evid == evid) {
            event = list->get(i);
            return 1;
        }
    }
    return 0;
}

int QKClient::getEvent(int index, QKEvent& event)
{
    auto list = getEvents();
    if (index < 0 || index >= list->max())
        return 0;
    event = list->get(index);
    return 1;
}

int QKClient::getEvent(double time, double tolerance, QKEvent& event)
{
    auto list = getEvents();
    long best = -1;
    double best_dt = 0.0;
    for (long i = 0; i < list->max(); i++) {
        const QKEvent& e = list->get(i);
        if (e.pref_origin < 0)
            continue;
        const double dt = std::fabs(e.prefor_time - time);
        if (dt <= tolerance && (best < 0 || dt < best_dt)) {
            best = i;
            best_dt = dt;
        }
    }
    if (best < 0)
        return 0;
    event = list->get(best);
    return 1;
}

int QKClient::getEventFromOrid(long orid, QKEvent& event)
{
    auto list = getEvents();
    for (long i = 0; i < list->max(); i++) {
        const QKEvent& e = list->get(i);
        for (long k = 0; k < e.origins.max(); k++) {
            if (e.origins.get(k).orid == orid) {
                event = e;
                return 1;
            }
        }
    }
    // not a preferred origin: its event from the server's index
    const long evid = ev ? ev->evidOfOrid(orid) : -1;
    return evid < 0 ? 0 : getEvent(evid, event);
}

int QKClient::getMostRecentEvent(QKEvent& event)
{
    const long evid = getMostRecentEvid();
    return evid < 0 ? 0 : getEvent(evid, event);
}

long QKClient::getMostRecentEvid()
{
    return ev ? ev->most_recent_evid.load() : -1;
}

int QKClient::getLastModifiedEvent(QKEvent& event)
{
    const long evid = getLastModifiedEvid();
    return evid < 0 ? 0 : getEvent(evid, event);
}

long QKClient::getLastModifiedEvid()
{
    return ev ? ev->last_modified_evid.load() : -1;
}

int QKClient::getOrigin(QKEvent* event, long orid, QKOrigin& origin, int)
{
    if (!event)
        return 0;
    if (orid == -1) {
        if (event->pref_origin < 0 || event->pref_origin >= event->origins.max())
            return 0;
        origin = event->origins.get(event->pref_origin);
        return 1;
    }
    for (long i = 0; i < event->origins.max(); i++) {
        if (event->origins.get(i).orid == orid) {
            origin = event->origins.get(i);
            return 1;
        }
    }
    return 0;
}

QKOrigin* QKClient::getPreferredOrigin(QKEvent* event, int* index)
{
    if (index)
        *index = -1;
    if (!event || event->pref_origin < 0)
        return nullptr;
    QKOrigin* o = event->origins.at(event->pref_origin);
    if (o && index)
        *index = event->pref_origin;
    return o;
}

QKMagnitude* QKClient::getPreferredMagnitude(QKOrigin* origin)
{
    return origin && origin->pref_magnitude >= 0 ? origin->magnitudes.at(origin->pref_magnitude) : nullptr;
}

QKMoment* QKClient::getPreferredMoment(QKEvent* event)
{
    if (!event || event->pref_moment_origin < 0)
        return nullptr;
    return getPreferredMoment(event->origins.at(event->pref_moment_origin));
}

QKMoment* QKClient::getPreferredMoment(QKOrigin* origin)
{
    return origin && origin->pref_moment >= 0 ? origin->moments.at(origin->pref_moment) : nullptr;
}

void QKClient::refreshEvents(int wait)
{
    if (ev)
        ev->refresh(wait);
}

void QKClient::refreshEventsForce(int wait)
{
    if (ev)
        ev->reset(wait);
}

int QKClient::checkDatabase(int wait)
{
    if (!ev) {
        hl_register_error(0, "QKClient::checkDatabase: No server.\n");
        return -1;
    }
    if (!wait && ev->seesWrites())
        return 0;  // the write's own change notice wakes the server
    if (ev->refresh(wait) < 0) {
        hl_register_error(0, "QKClient::checkDatabase: The server did not check %s.\n", ev->getDbname().c_str());
        return -1;
    }
    return 0;
}

// ---- record pointers

Rsptr QKClient::database()
{
    if (!rsisinvalid(db_))
        return db_;
    if (!ev) {
        hl_register_error(0, "QKClient::database: No server.\n");
        return rsinvalid();
    }
    db_ = rsopen(ev->getDbname().c_str(), "css3.0", RS_WRITE);
    if (rsisinvalid(db_))
        hl_register_error(0, "QKClient::database: Cannot open %s.\n", ev->getDbname().c_str());
    return db_;
}

int QKClient::scratch(const char* table, const char* text, Rsptr* row, const char* caller)
{
    if (!row)
        return 0;
    Rsptr db = database();
    if (rsisinvalid(db)) {
        hl_register_error(0, "%s: No database.\n", caller);
        return -1;
    }
    Rsptr t = rslookup(db, nullptr, table, nullptr, "rsSCRATCH");
    if (rsisinvalid(t)) {
        hl_register_error(0, "%s: No table %s.\n", caller, table);
        return -1;
    }
    if (text) {
        // the null record first, then the record's text over it
        Rsptr null_row = t;
        null_row.record = RS_NULL;
        if (rsload_scratch(null_row) < 0 || (*text && rsput(t, text) < 0)) {
            hl_register_error(0, "%s: Not a record of table %s.\n", caller, table);
            return -1;
        }
    }
    *row = t;
    return 0;
}

int QKClient::getRsptr(QKEvent* event, Rsptr* event_row)
{
    if (!event)
        return -1;
    return scratch("event", event->record_event, event_row, "QKClient::getRsptr");
}

int QKClient::getRsptr(QKOrigin* origin, Rsptr* origin_row, Rsptr* origerr, Rsptr* emodel)
{
    if (!origin)
        return -1;
    if (scratch("origin", origin->record_origin, origin_row, "QKClient::getRsptr") < 0 ||
        scratch("origerr", origin->record_origerr, origerr, "QKClient::getRsptr") < 0 ||
        scratch("emodel", origin->record_emodel, emodel, "QKClient::getRsptr") < 0)
        return -1;
    return 0;
}

int QKClient::getRsptr(QKMagnitude* magnitude, Rsptr* netmag)
{
    return magnitude ? scratch("netmag", magnitude->record_netmag, netmag, "QKClient::getRsptr") : -1;
}

int QKClient::getRsptr(QKMoment* moment, Rsptr* mt)
{
    return moment ? scratch("mt", moment->record_mt, mt, "QKClient::getRsptr") : -1;
}

int QKClient::getRsptr(QKAssociation* a, Rsptr* assoc, Rsptr* arrival, Rsptr* predarr, Rsptr* site)
{
    if (!a)
        return -1;
    if (scratch("assoc", a->record_assoc, assoc, "QKClient::getRsptr") < 0 ||
        scratch("arrival", a->record_arrival, arrival, "QKClient::getRsptr") < 0 ||
        scratch("predarr", a->record_predarr, predarr, "QKClient::getRsptr") < 0 ||
        scratch("site", a->record_site, site, "QKClient::getRsptr") < 0)
        return -1;
    return 0;
}

int QKClient::getRsptr(QKDetection* d, Rsptr* detection_row, Rsptr* site)
{
    if (!d)
        return -1;
    if (scratch("detection", d->record_detection, detection_row, "QKClient::getRsptr") < 0 ||
        scratch("site", d->record_site, site, "QKClient::getRsptr") < 0)
        return -1;
    return 0;
}

int QKClient::getRsptr(QKArrival* arrival, Rsptr* arrival_row)
{
    return arrival ? scratch("arrival", arrival->record_arrival, arrival_row, "QKClient::getRsptr") : -1;
}

int QKClient::getRsptr(const std::string& table, const char* record, Rsptr* row)
{
    return scratch(table.c_str(), record ? record : "", row, "QKClient::getRsptr");
}

int QKClient::getRsptr(const std::string& table, QKTableRecord* record, Rsptr* row)
{
    return scratch(table.c_str(), record ? record->record.c_str() : "", row, "QKClient::getRsptr");
}

int QKClient::getRsptr(const std::string& table, Rsptr* row)
{
    return scratch(table.c_str(), nullptr, row, "QKClient::getRsptr");
}
