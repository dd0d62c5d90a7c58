// The event server's model of its database: table files, id indexes, and
// the building of records from rows.
#include "toolkit/events/qkmodel_p.h"

#include "toolkit/events/qkfields_p.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/geo/geo.h"
#include "toolkit/geo/traveltime.h"
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/store/rsorder_p.h"
#include "toolkit/store/rsschema_p.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace {

constexpr int kMessagesPerTake = 10;  // problems listed one by one per check

const char* const kNames[QK_NTABLES] = {"event", "origin", "origerr", "emodel", "netmag",    "stamag", "wfmeas",
                                        "mt",    "assoc",  "arrival", "predarr", "site",     "detection", "wfdisc"};

long lval(const RsTableDef* d, std::string_view rec, int field, long fallback = -1)
{
    return qk_long(d, rec, field, fallback);
}

long lval(const RsTableDef* d, std::string_view rec, const char* name, long fallback = -1)
{
    return qk_long(d, rec, name, fallback);
}

double dval(const RsTableDef* d, std::string_view rec, const char* name, double fallback)
{
    return qk_double(d, rec, name, fallback);
}

std::string_view sval(const RsTableDef* d, std::string_view rec, const char* name)
{
    return qk_text(d, rec, name);
}

int fi(const RsTableDef* d, const char* name)
{
    return qk_field(d, name);
}

double lddate(const RsTableDef* d, std::string_view rec)
{
    return qk_parse_lddate(sval(d, rec, "lddate"));
}

template <size_t N>
void copyText(char (&to)[N], std::string_view from)
{
    qk_copy_text(to, from);
}

// Counts problems of one check, listing the first few.
struct Complaints
{
    int n = 0;
    void operator()(const char* format, long a, long b = 0, long c = 0)
    {
        if (n++ < kMessagesPerTake)
            hl_register_error(0, format, a, b, c);
    }
    ~Complaints()
    {
        if (n > kMessagesPerTake)
            hl_register_error(0, "QKModel::take: %d more problems not listed.\n", n - kMessagesPerTake);
    }
};

}  // namespace

const char* qk_table_name(int table)
{
    return table >= 0 && table < QK_NTABLES ? kNames[table] : "";
}

double qk_parse_lddate(std::string_view text)
{
    // "YYYY-MM-DDTHHMMSS", as the store writes it: the digits at fixed
    // places, checked all at once
    if (text.size() != 17 || text[4] != '-' || text[7] != '-' || text[10] != 'T')
        return -1.0;
    constexpr size_t kAt[14] = {0, 1, 2, 3, 5, 6, 8, 9, 11, 12, 13, 14, 15, 16};
    unsigned d[14];
    unsigned bad = 0;
    for (size_t k = 0; k < 14; k++) {
        d[k] = static_cast<unsigned>(static_cast<unsigned char>(text[kAt[k]])) - '0';
        bad |= d[k] > 9 ? 1u : 0u;
    }
    if (bad)
        return -1.0;
    const int v[6] = {static_cast<int>(d[0] * 1000 + d[1] * 100 + d[2] * 10 + d[3]),
                      static_cast<int>(d[4] * 10 + d[5]),
                      static_cast<int>(d[6] * 10 + d[7]),
                      static_cast<int>(d[8] * 10 + d[9]),
                      static_cast<int>(d[10] * 10 + d[11]),
                      static_cast<int>(d[12] * 10 + d[13])};
    if (v[1] < 1 || v[1] > 12 || v[2] < 1 || v[2] > 31 || v[3] > 23 || v[4] > 59 || v[5] > 60)
        return -1.0;
    // days since 1970-01-01 of the civil date (proleptic Gregorian)
    const long y = v[0] - (v[1] <= 2 ? 1 : 0);
    const long era = (y >= 0 ? y : y - 399) / 400;
    const long yoe = y - era * 400;
    const long doy = (153 * (v[1] + (v[1] > 2 ? -3 : 9)) + 2) / 5 + v[2] - 1;
    const long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    const long days = era * 146097 + doe - 719468;
    return static_cast<double>(days * 86400L + v[3] * 3600L + v[4] * 60L + v[5]);
}

bool QKChanges::any() const
{
    for (bool c : changed)
        if (c)
            return true;
    return all_events || !dirty_evids.empty();
}

QKModel::~QKModel()
{
    close();
}

int QKModel::open(const std::string& dbname)
{
    if (isOpen())
        return 0;
    Rsptr db = rsopen(dbname.c_str(), "css3.0", RS_READ);
    if (rsisinvalid(db)) {
        hl_register_error(0, "QKModel::open: Cannot open database %s.\n", dbname.c_str());
        return -1;
    }
    auto d = rs_database(db, "QKModel::open");
    if (!d) {
        rsclose(db);
        return -1;
    }
    for (int t = 0; t < QK_NTABLES; t++) {
        const int index = d->schema->tableIndex(kNames[t]);
        tables_[t] = index;
        defs_[t] = index >= 0 ? &d->schema->tables[static_cast<size_t>(index)] : nullptr;
        files_[t] = FileState();
        counts_[t] = 0;
        clearIndex(t);
    }
    f_.event = defs_[QK_EVENT];
    f_.origin = defs_[QK_ORIGIN];
    f_.origerr = defs_[QK_ORIGERR];
    f_.event_lddate = fi(defs_[QK_EVENT], "lddate");
    f_.origin_orid = fi(defs_[QK_ORIGIN], "orid");
    f_.origin_time = fi(defs_[QK_ORIGIN], "time");
    f_.origin_lddate = fi(defs_[QK_ORIGIN], "lddate");
    f_.origin_ml = fi(defs_[QK_ORIGIN], "ml");
    f_.origin_mb = fi(defs_[QK_ORIGIN], "mb");
    f_.origin_ms = fi(defs_[QK_ORIGIN], "ms");
    f_.origerr_lddate = fi(defs_[QK_ORIGERR], "lddate");
    db_ = db;
    database_ = d;
    dbname_ = dbname;
    return 0;
}

void QKModel::close()
{
    database_.reset();
    if (isOpen())
        rsclose(db_);
    db_ = rsinvalid();
    for (int t = 0; t < QK_NTABLES; t++) {
        files_[t] = FileState();
        counts_[t] = 0;
        clearIndex(t);
    }
}

QKModel::FileState QKModel::stat(int table) const
{
    FileState s;
    struct stat st;
    const std::string path = dbname_ + "." + kNames[table];
    if (::stat(path.c_str(), &st) == 0) {
        s.present = true;
        s.dev = st.st_dev;
        s.ino = st.st_ino;
        s.size = st.st_size;
        s.mtime_ns = static_cast<long>(st.st_mtim.tv_sec) * 1000000000L + st.st_mtim.tv_nsec;
    }
    return s;
}

bool QKModel::looksChanged() const
{
    if (!isOpen())
        return true;
    for (int t = 0; t < QK_NTABLES; t++) {
        const FileState now = stat(t);
        const FileState& was = files_[t];
        if (now.present != was.present || now.dev != was.dev || now.ino != was.ino || now.size != was.size ||
            now.mtime_ns != was.mtime_ns)
            return true;
    }
    return false;
}

long QKModel::count(int table) const
{
    return counts_[table];
}

std::string_view QKModel::record(int table, long r) const
{
    if (!database_ || r < 0 || r >= counts_[table])
        return {};
    return database_->backend->record(static_cast<int>(tables_[table]), r);
}

void QKModel::prefetch(const ListKey& key)
{
    auto lines = [](std::string_view text) {
        for (size_t at = 0; at < text.size(); at += 64)
            __builtin_prefetch(text.data() + at);
    };
    lines(key.event_text);
    lines(key.origin_text);
    lines(key.origerr_text);
}

void QKModel::clearIndex(int table)
{
    switch (table) {
    case QK_EVENT: events_.clear(); break;
    case QK_ORIGIN:
        origins_.clear();
        evid_origins_.clear();
        evid_origins_made_ = false;
        break;
    case QK_ORIGERR: origerr_.clear(); break;
    case QK_EMODEL: emodel_.clear(); break;
    case QK_NETMAG: netmag_.clear(); break;
    case QK_STAMAG: stamag_.clear(); break;
    case QK_WFMEAS: wfmeas_.clear(); break;
    case QK_MT: mt_.clear(); break;
    case QK_ASSOC: assoc_.clear(); break;
    case QK_ARRIVAL: arrival_.clear(); break;
    case QK_PREDARR: predarr_.clear(); break;
    case QK_SITE: site_.clear(); break;
    default: break;
    }
}

int QKModel::take(QKChanges* changes)
{
    if (!isOpen()) {
        hl_register_error(0, "QKModel::take: Database %s is not open.\n", dbname_.c_str());
        return -1;
    }
    // Each file looked at once: a change after the look is taken in as well
    // (it is read), and noticed again at the next check.
    FileState seen[QK_NTABLES];
    for (int t = 0; t < QK_NTABLES; t++)
        seen[t] = stat(t);
    // A table file replaced by another (a new inode) or deleted: the handle
    // still reads the old file, so everything is read again.
    for (int t = 0; t < QK_NTABLES; t++) {
        const FileState& now = seen[t];
        const FileState& was = files_[t];
        if (was.present && (!now.present || now.dev != was.dev || now.ino != was.ino)) {
            const std::string name = dbname_;
            close();
            if (open(name) < 0)
                return -1;
            changes->all_events = true;
            break;
        }
    }
    auto d = rs_database(db_, "QKModel::take");
    if (!d)
        return -1;
    int status = 0;
    for (int t = 0; t < QK_NTABLES; t++) {
        if (tables_[t] < 0)
            continue;
        const FileState& now = seen[t];
        FileState& was = files_[t];
        const bool loaded = d->backend->loaded(static_cast<int>(tables_[t]));
        if (loaded && now.present == was.present && now.size == was.size && now.mtime_ns == was.mtime_ns &&
            now.ino == was.ino)
            continue;
        const int r = d->backend->refresh(static_cast<int>(tables_[t]));
        // what the store took in decides, not the look before: the file
        // may have grown again since, or only its time changed then
        const bool grown = loaded && r > 0 && d->backend->onlyGrew(static_cast<int>(tables_[t]));
        if (r < 0) {
            hl_register_error(0, "QKModel::take: Cannot read table %s of %s.\n", kNames[t], dbname_.c_str());
            status = -1;
            continue;
        }
        was = now;
        const long n = d->backend->count(static_cast<int>(tables_[t]));
        std::vector<long> rewritten;
        if (grown && n >= counts_[t]) {
            if (n > counts_[t]) {
                changes->changed[t] = true;
                indexRows(t, counts_[t], n, changes);
            }
        } else if (r > 0 && n == counts_[t] &&
                   d->backend->rewrittenRecords(static_cast<int>(tables_[t]), &rewritten) &&
                   indexRewritten(t, rewritten)) {
            // rows rewritten in place that the indexes still hold as they are
            changes->changed[t] = true;
        } else if (r > 0 || n != counts_[t]) {
            changes->changed[t] = true;
            changes->rebuilt[t] = true;
            clearIndex(t);
            if (t == QK_EVENT || t == QK_ORIGIN)
                changes->all_events = true;
            counts_[t] = 0;
            if (t == QK_EVENT)
                events_.reserve(static_cast<size_t>(n));
            if (t == QK_ORIGIN) {
                origins_.reserve(static_cast<size_t>(n));
            }
            indexRows(t, 0, n, changes);
        }
        counts_[t] = n;
    }
    // events whose rows reference nothing
    Complaints complain;
    auto check = [&](long evid, const EventRow& e) {
        // the preferred origin is one of the event's when it names the event
        const OriginRow* o = origins_.find(e.prefor);
        if (o && o->evid == evid)
            return;
        const QKRowList* os = originsOf(evid);
        if (!os || os->empty())
            complain("QKModel::take: Event %ld has no origin.\n", evid);
        else
            complain("QKModel::take: Event %ld names preferred origin %ld, which is not one of its origins.\n", evid,
                     e.prefor);
    };
    if (changes->all_events)
        events_.each(check);
    else
        for (long evid : changes->dirty_evids)
            if (const EventRow* e = events_.find(evid))
                check(evid, *e);
    return status;
}

void QKModel::indexRows(int table, long first, long last, QKChanges* changes)
{
    auto d = rs_database(db_, "QKModel::indexRows");
    if (!d)
        return;
    const int tindex = static_cast<int>(tables_[table]);
    const RsTableDef* def = defs_[table];
    Complaints complain;
    // The rows were read a while ago and are far apart: each is fetched a
    // few rows ahead of its use, as the store's sorted views do.
    // Its first and last lines: ids lead, the load date ends it.
    constexpr long kAhead = 12;
    auto rec = [&](long r) {
        if (r + kAhead < last) {
            const std::string_view ahead = d->backend->record(tindex, r + kAhead);
            __builtin_prefetch(ahead.data());
            __builtin_prefetch(ahead.data() + ahead.size() - 1);
        }
        return d->backend->record(tindex, r);
    };
    auto loadDate = [&](std::string_view text, int field) {
        return qk_parse_lddate(rs_trim(qk_field_text(def, text, field)));
    };
    auto push = [](QKIdMap<QKRowList>& m, long key, long r) { m[key].push(r); };
    switch (table) {
    case QK_EVENT: {
        const int fevid = fi(def, "evid"), fprefor = fi(def, "prefor"), flddate = fi(def, "lddate");
        for (long r = first; r < last; r++) {
            const std::string_view text = rec(r);
            const long evid = lval(def, text, fevid);
            auto [row, fresh] = events_.try_emplace(evid);
            if (!fresh)
                complain("QKModel::take: Event %ld is in rows %ld and %ld of table event; the later row is used.\n",
                         evid, row->recno, r);
            row->recno = r;
            row->prefor = lval(def, text, fprefor);
            row->lddate = loadDate(text, flddate);
            if (!changes->all_events)
                changes->dirty_evids.insert(evid);
        }
        break;
    }
    case QK_ORIGIN: {
        const int forid = fi(def, "orid"), fevid = fi(def, "evid"), ftime = fi(def, "time"),
                  flddate = fi(def, "lddate");
        for (long r = first; r < last; r++) {
            const std::string_view text = rec(r);
            const long orid = lval(def, text, forid);
            const long evid = lval(def, text, fevid);
            auto [row, fresh] = origins_.try_emplace(orid);
            if (!fresh) {
                complain("QKModel::take: Origin %ld is in rows %ld and %ld of table origin; the later row is used.\n",
                         orid, row->recno, r);
                if (evid_origins_made_)
                    evid_origins_[row->evid].remove(orid);
                changes->dirty_evids.insert(row->evid);
            }
            row->recno = r;
            row->evid = evid;
            row->time = qk_double(def, text, ftime, -9999999999.999);
            row->lddate = loadDate(text, flddate);
            if (evid_origins_made_)
                evid_origins_[evid].push(orid);
            if (!changes->all_events)
                changes->dirty_evids.insert(evid);
        }
        break;
    }
    case QK_ORIGERR:
    case QK_EMODEL: {
        auto& m = table == QK_ORIGERR ? origerr_ : emodel_;
        const int forid = fi(def, "orid");
        for (long r = first; r < last; r++) {
            const long orid = lval(def, rec(r), forid);
            m[orid] = r;
            const OriginRow* o = origins_.find(orid);
            if (table == QK_ORIGERR && o)
                changes->dirty_evids.insert(o->evid);
        }
        break;
    }
    case QK_NETMAG:
    case QK_MT:
    case QK_ASSOC:
        for (long r = first; r < last; r++)
            push(table == QK_NETMAG ? netmag_ : table == QK_MT ? mt_ : assoc_, lval(def, rec(r), "orid"), r);
        break;
    case QK_STAMAG:
        for (long r = first; r < last; r++)
            push(stamag_, lval(def, rec(r), "magid"), r);
        break;
    case QK_WFMEAS:
        for (long r = first; r < last; r++)
            push(wfmeas_, lval(def, rec(r), "arid"), r);
        break;
    case QK_ARRIVAL: {
        const int farid = fi(def, "arid");
        for (long r = first; r < last; r++) {
            const long arid = lval(def, rec(r), farid);
            auto [row, fresh] = arrival_.try_emplace(arid);
            if (!fresh)
                complain("QKModel::take: Arrival %ld is in rows %ld and %ld of table arrival; the later row is used.\n",
                         arid, *row, r);
            *row = r;
        }
        break;
    }
    case QK_PREDARR:
        for (long r = first; r < last; r++)
            predarr_[{lval(def, rec(r), "orid"), lval(def, rec(r), "arid")}] = r;
        break;
    case QK_SITE:
        for (long r = first; r < last; r++)
            site_[std::string(sval(def, rec(r), "sta"))].push_back(r);
        break;
    default: break;
    }
}

bool QKModel::indexRewritten(int table, const std::vector<long>& rows)
{
    const RsTableDef* def = defs_[table];
    switch (table) {
    case QK_ARRIVAL: {
        // the arid index holds when every row kept its arid (the row of an
        // arid it names is the row itself)
        const int farid = fi(def, "arid");
        for (long r : rows) {
            const long* row = arrival_.find(lval(def, record(table, r), farid));
            if (!row || *row != r)
                return false;
        }
        return true;
    }
    case QK_DETECTION:
    case QK_WFDISC:
        return true;  // not indexed: read whole where used
    default:
        return false;
    }
}

std::vector<QKModel::ListKey> QKModel::listKeys()
{
    std::vector<ListKey> rows;  // in the order of the id index
    rows.reserve(events_.size());
    bool by_evid = true;  // whether that order is the evids' (ids far apart or negative may break it)
    events_.each([&](long evid, EventRow& e) {
        const OriginRow* o = origins_.find(e.prefor);
        const bool found = o && o->evid == evid;
        // the origerr row of the origin row's own orid, as fillOrigin() finds it
        const long* oe = found ? origerr_.find(e.prefor) : nullptr;
        by_evid = by_evid && (rows.empty() || rows.back().evid < evid);
        rows.push_back({found ? o->time : -9999999999.999, evid, e.recno, found ? o->recno : -1, oe ? *oe : -1,
                        e.prefor, &e.place, 0.0, record(QK_EVENT, e.recno),
                        found ? record(QK_ORIGIN, o->recno) : std::string_view(),
                        oe ? record(QK_ORIGERR, *oe) : std::string_view()});
        // the load dates of the entry's rows, as buildEntry() combines them
        double view = found ? std::max(e.lddate, o->lddate) : e.lddate;
        if (oe)
            view = std::max(view, qk_parse_lddate(rs_trim(
                                      qk_field_text(f_.origerr, rows.back().origerr_text, f_.origerr_lddate))));
        rows.back().lddate_view = view;
    });
    if (!by_evid)
        std::sort(rows.begin(), rows.end(), [](const ListKey& a, const ListKey& b) { return a.evid < b.evid; });
    // by time, ties kept in evid order: the keys' own order, without moving
    // the large keys about while sorting (a time that is not a number goes
    // last)
    std::vector<size_t> order =
        rs_radix_order(rows.size(), [&rows](size_t k) { return rs_double_order_key(rows[k].time); });
    // put the keys in that order in place, one cycle of the permutation at
    // a time (a second array of keys would cost as much again in memory)
    constexpr size_t kDone = SIZE_MAX;
    for (size_t start = 0; start < order.size(); start++) {
        if (order[start] == kDone)
            continue;
        ListKey first = rows[start];
        size_t at = start;
        // the keys a few steps on along the cycle are fetched ahead: they
        // lie anywhere in the array
        auto next = [&](size_t p) { return order[p] == kDone ? p : order[p]; };
        size_t ahead = next(next(next(start)));
        while (order[at] != start) {
            ahead = next(ahead);
            const char* bytes = reinterpret_cast<const char*>(&rows[ahead]);
            __builtin_prefetch(bytes);
            __builtin_prefetch(bytes + sizeof(ListKey) - 1);
            rows[at] = rows[order[at]];
            const size_t next = order[at];
            order[at] = kDone;
            at = next;
        }
        rows[at] = first;
        order[at] = kDone;
    }
    return rows;
}

const QKRowList* QKModel::originsOf(long evid) const
{
    if (!evid_origins_made_) {
        // the orids of each event in the order of their rows
        std::vector<std::pair<long, long>> rows;  // (recno, orid)
        rows.reserve(origins_.size());
        origins_.each([&](long orid, const OriginRow& o) { rows.emplace_back(o.recno, orid); });
        std::sort(rows.begin(), rows.end());
        evid_origins_.reserve(rows.size());
        for (const auto& [recno, orid] : rows)
            evid_origins_[origins_.find(orid)->evid].push(orid);
        evid_origins_made_ = true;
    }
    return evid_origins_.find(evid);
}

long QKModel::placeOf(long evid) const
{
    const EventRow* e = events_.find(evid);
    return e ? e->place : -1;
}

void QKModel::setPlace(long evid, long place)
{
    if (EventRow* e = events_.find(evid))
        e->place = place;
}

long QKModel::evidOfOrid(long orid) const
{
    const OriginRow* o = origins_.find(orid);
    return o ? o->evid : -1;
}

long QKModel::siteRow(std::string_view sta, double time) const
{
    auto it = site_.find(std::string(sta));
    if (it == site_.end() || it->second.empty())
        return -1;
    const long jdate = time > -9e9 ? timejdate(time) : -1;
    const RsTableDef* def = defs_[QK_SITE];
    for (long r : it->second) {
        std::string_view rec = record(QK_SITE, r);
        const long on = lval(def, rec, "ondate"), off = lval(def, rec, "offdate");
        if (jdate < 0 || ((on < 0 || on <= jdate) && (off < 0 || jdate <= off)))
            return r;
    }
    return it->second.back();
}

void QKModel::fillAssociation(long assoc_recno, QKAssociation* a) const
{
    const RsTableDef* dassoc = defs_[QK_ASSOC];
    std::string_view rec = record(QK_ASSOC, assoc_recno);
    a->recno_assoc = assoc_recno;
    copyText(a->record_assoc, rec);
    a->lddate_assoc = lddate(dassoc, rec);
    a->arid = lval(dassoc, rec, "arid");
    a->defining = sval(dassoc, rec, "timedef") == "d";
    const long orid = lval(dassoc, rec, "orid");
    const long* ar = arrival_.find(a->arid);
    double time = -9999999999.999;
    if (ar) {
        std::string_view arec = record(QK_ARRIVAL, *ar);
        a->recno_arrival = *ar;
        copyText(a->record_arrival, arec);
        a->lddate_arrival = lddate(defs_[QK_ARRIVAL], arec);
        time = a->time_arrival = dval(defs_[QK_ARRIVAL], arec, "time", time);
    }
    auto pa = predarr_.find({orid, a->arid});
    if (pa != predarr_.end()) {
        a->recno_predarr = pa->second;
        copyText(a->record_predarr, record(QK_PREDARR, pa->second));
    }
    const long site = siteRow(sval(dassoc, rec, "sta"), time);
    if (site >= 0) {
        a->recno_site = site;
        copyText(a->record_site, record(QK_SITE, site));
    }
}

void QKModel::fillOriginRow(const EntryFields& f, long recno, QKOrigin* o, std::string_view rec,
                            long origerr_recno, std::string_view origerr)
{
    const RsTableDef* def = f.origin;
    o->recno_origin = recno;
    copyText(o->record_origin, rec);
    o->orid = lval(def, rec, f.origin_orid);
    o->time = qk_double(def, rec, f.origin_time, o->time);
    o->lddate_origin = o->lddate_origin_view = qk_parse_lddate(rs_trim(qk_field_text(def, rec, f.origin_lddate)));
    const std::pair<const char*, int> magtypes[] = {{"ml", f.origin_ml}, {"mb", f.origin_mb}, {"ms", f.origin_ms}};
    for (const auto& m : magtypes) {
        const double v = qk_double(def, rec, m.second, -999.0);
        if (v > -999.0) {
            o->magnitude = v;
            copyText(o->magtype, m.first);
            break;
        }
    }
    if (origerr_recno >= 0) {
        o->recno_origerr = origerr_recno;
        copyText(o->record_origerr, origerr);
        o->lddate_origin_view = std::max(
            o->lddate_origin_view,
            qk_parse_lddate(rs_trim(qk_field_text(f.origerr, o->record_origerr, f.origerr_lddate))));
    }
}

void QKModel::fillOrigin(long recno, bool expand, QKOrigin* o) const
{
    const std::string_view rec = record(QK_ORIGIN, recno);
    const long* oe = origerr_.find(lval(defs_[QK_ORIGIN], rec, f_.origin_orid));
    fillOriginRow(f_, recno, o, rec, oe ? *oe : -1, oe ? record(QK_ORIGERR, *oe) : std::string_view());
    if (!expand)
        return;
    auto view = [o](double t) { o->lddate_origin_view = std::max(o->lddate_origin_view, t); };
    if (const long* em = emodel_.find(o->orid)) {
        o->recno_emodel = *em;
        copyText(o->record_emodel, record(QK_EMODEL, *em));
    }
    if (const QKRowList* nm = netmag_.find(o->orid)) {
        nm->each([&](long r) {
            const RsTableDef* dn = defs_[QK_NETMAG];
            std::string_view nrec = record(QK_NETMAG, r);
            QKMagnitude m;
            m.recno_netmag = r;
            copyText(m.record_netmag, nrec);
            m.lddate_netmag = lddate(dn, nrec);
            m.magnitude = dval(dn, nrec, "magnitude", -999.0);
            copyText(m.magtype, sval(dn, nrec, "magtype"));
            view(m.lddate_netmag);
            if (const QKRowList* sm = stamag_.find(lval(dn, nrec, "magid"))) {
                sm->each([&](long sr) {
                    const RsTableDef* ds = defs_[QK_STAMAG];
                    std::string_view srec = record(QK_STAMAG, sr);
                    QKStamag s;
                    s.recno_stamag = sr;
                    copyText(s.record_stamag, srec);
                    s.lddate_stamag = lddate(ds, srec);
                    s.arid = lval(ds, srec, "arid");
                    s.magnitude = dval(ds, srec, "magnitude", -999.0);
                    copyText(s.magtype, sval(ds, srec, "magtype"));
                    const QKRowList* wm = wfmeas_.find(s.arid);
                    if (wm && s.arid >= 0) {
                        wm->each([&](long wr) {
                            QKWfmeas w;
                            w.recno_wfmeas = wr;
                            copyText(w.record_wfmeas, record(QK_WFMEAS, wr));
                            w.lddate_wfmeas = lddate(defs_[QK_WFMEAS], w.record_wfmeas);
                            s.wfmeass.push(w);
                        });
                    }
                    m.stamags.push(std::move(s));
                });
            }
            if (o->pref_magnitude < 0 || strcasecmp(m.magtype, o->magtype) == 0)
                o->pref_magnitude = static_cast<int>(o->magnitudes.max());
            o->magnitudes.push(std::move(m));
        });
    }
    if (const QKRowList* mt = mt_.find(o->orid)) {
        mt->each([&](long r) {
            QKMoment m;
            m.recno_mt = r;
            copyText(m.record_mt, record(QK_MT, r));
            m.lddate_mt = lddate(defs_[QK_MT], m.record_mt);
            view(m.lddate_mt);
            o->pref_moment = static_cast<int>(o->moments.max());  // the last row is the latest solution
            o->moments.push(m);
        });
    }
    if (const QKRowList* as = assoc_.find(o->orid)) {
        as->each([&](long r) {
            QKAssociation a;
            fillAssociation(r, &a);
            view(a.lddate_assoc);
            view(a.lddate_arrival);
            o->associations.push(a);
        });
    }
}

void QKModel::fillEvent(long evid, const EventRow& row, QKEvent* ev) const
{
    fillEvent(f_, evid, row, ev, record(QK_EVENT, row.recno));
}

void QKModel::fillEvent(const EntryFields& f, long evid, const EventRow& row, QKEvent* ev, std::string_view rec)
{
    ev->recno_event = row.recno;
    copyText(ev->record_event, rec);
    ev->evid = evid;
    ev->prefor = row.prefor;
    ev->lddate_event = ev->lddate_view = qk_parse_lddate(rs_trim(qk_field_text(f.event, rec, f.event_lddate)));
}

void QKModel::noteOrigin(QKEvent* ev, const QKOrigin& origin)
{
    ev->lddate_view = std::max(ev->lddate_view, origin.lddate_origin_view);
    const int index = static_cast<int>(ev->origins.max());
    if (origin.preferred) {
        ev->pref_origin = index;
        ev->prefor_time = origin.time;
        ev->magnitude = origin.magnitude;
        copyText(ev->magtype, origin.magtype);
        if (origin.magnitude > -999.0)
            ev->pref_magnitude_origin = index;
    }
    if (origin.pref_moment >= 0 && (ev->pref_moment_origin < 0 || origin.preferred))
        ev->pref_moment_origin = index;
}

QKModel::EntryFields QKModel::entryFields() const
{
    return f_;
}

std::shared_ptr<const void> QKModel::holdRows() const
{
    if (!database_)
        return nullptr;
    // the three tables whose rows the entries copy
    auto held = std::make_shared<std::vector<std::shared_ptr<const void>>>();
    for (int t : {QK_EVENT, QK_ORIGIN, QK_ORIGERR}) {
        if (tables_[t] < 0 || !database_->backend->loaded(static_cast<int>(tables_[t])))
            continue;
        std::shared_ptr<const void> rows = database_->backend->holdRecords(static_cast<int>(tables_[t]));
        if (!rows && database_->backend->count(static_cast<int>(tables_[t])) > 0)
            return nullptr;
        held->push_back(std::move(rows));
    }
    return held;
}

bool QKModel::buildEntry(const EntryFields& f, const ListKey& key, QKEvent* ev, QKOrigin* origin)
{
    EventRow row;
    row.recno = key.event_recno;
    row.prefor = key.prefor;
    fillEvent(f, key.evid, row, ev, key.event_text);
    if (key.origin_recno < 0)
        return false;
    fillOriginRow(f, key.origin_recno, origin, key.origin_text, key.origerr_recno, key.origerr_text);
    origin->preferred = 1;
    noteOrigin(ev, *origin);
    return true;
}

int QKModel::buildEvent(long evid, bool expand, QKEvent* ev) const
{
    const EventRow* e = events_.find(evid);
    if (!e)
        return 0;
    *ev = QKEvent();
    fillEvent(evid, *e, ev);
    if (expand) {
        ev->access_time = timenow();
        // every origin of the event, in row order
        const QKRowList* os = originsOf(evid);
        if (!os)
            return 1;
        os->each([&](long orid) {
            const OriginRow* o = origins_.find(orid);
            if (!o)
                return;
            QKOrigin origin;
            fillOrigin(o->recno, true, &origin);
            origin.preferred = orid == ev->prefor;
            noteOrigin(ev, origin);
            ev->origins.push(std::move(origin));
        });
        return 1;
    }
    // the preferred origin alone: one of the event's when it names the event
    const OriginRow* o = origins_.find(e->prefor);
    if (o && o->evid == evid) {
        QKOrigin origin;
        fillOrigin(o->recno, false, &origin);
        origin.preferred = 1;
        noteOrigin(ev, origin);
        ev->origins.push(std::move(origin));
    }
    return 1;
}

void QKModel::buildDetections(const QKOrigin* origin, Table<QKDetection>* out) const
{
    out->clear();
    const RsTableDef* dd = defs_[QK_DETECTION];
    const RsTableDef* ds = defs_[QK_SITE];
    const RsTableDef* dor = defs_[QK_ORIGIN];
    double olat = -999.0, olon = -999.0, odepth = 0.0, otime = 0.0;
    if (origin) {
        olat = dval(dor, origin->record_origin, "lat", -999.0);
        olon = dval(dor, origin->record_origin, "lon", -999.0);
        odepth = std::max(0.0, dval(dor, origin->record_origin, "depth", 0.0));
        otime = origin->time;
    }
    for (long r = 0; r < counts_[QK_DETECTION]; r++) {
        std::string_view rec = record(QK_DETECTION, r);
        QKDetection d;
        d.recno_detection = r;
        copyText(d.record_detection, rec);
        d.lddate_detection = lddate(dd, rec);
        const double time = dval(dd, rec, "time", -9999999999.999);
        const long site = siteRow(sval(dd, rec, "sta"), time);
        if (site >= 0) {
            std::string_view srec = record(QK_SITE, site);
            d.recno_site = site;
            copyText(d.record_site, srec);
            const double slat = dval(ds, srec, "lat", -999.0), slon = dval(ds, srec, "lon", -999.0);
            if (olat > -999.0 && olon > -999.0 && slat > -999.0 && slon > -999.0) {
                double del = 0.0;
                geoarc(&del, nullptr, olat * M_PI / 180.0, olon * M_PI / 180.0, slat * M_PI / 180.0,
                       slon * M_PI / 180.0);
                d.delta = del * 180.0 / M_PI;
                // first P and first S through the earth model, the source kept
                // inside the mantle the travel times accept
                const double depth = std::clamp(odepth, 0.0, 700.0);
                TtArrival p, s;
                if (tt_compute(depth, d.delta, 0.0, "P", 0.0, 0.0, &p, 1) > 0)
                    d.presidual = time - (otime + p.time_s);
                if (tt_compute(depth, d.delta, 0.0, "S", 0.0, 0.0, &s, 1) > 0)
                    d.sresidual = time - (otime + s.time_s);
                hl_clear_register(0);
            }
        }
        out->push(d);
    }
}
