// QKClient: waveform, arrival, detection and site rows, and writing rows.
#include "toolkit/events/qkclient.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkfields_p.h"
#include "toolkit/events/qkmodel_p.h"
#include "toolkit/events/qkserver.h"
#include "toolkit/store/rsbackend_p.h"

#include <regex.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace {

// A table of the client's handle, brought up to its file.
struct Rows
{
    std::shared_ptr<RsDatabase> db;
    int table = -1;
    const RsTableDef* def = nullptr;
    long count() const { return db->backend->count(table); }
    std::string_view at(long r) const { return db->backend->record(table, r); }
};

bool isNull(std::string_view text)
{
    return text.empty() || text == "-";
}

// One "sta:chan" pair of regular expressions of a channel list.
struct ChannelExpr
{
    regex_t sta;
    regex_t chan;
};

// Compile a comma list of "sta:chan", "sta chan" or "sta" items, each part
// anchored.  0, or -1 with a message.
int compileChannels(const std::string& list, std::vector<ChannelExpr>* out, const char* caller)
{
    size_t at = 0;
    while (at <= list.size()) {
        size_t end = list.find(',', at);
        if (end == std::string::npos)
            end = list.size();
        std::string item(rs_trim(std::string_view(list).substr(at, end - at)));
        at = end + 1;
        if (item.empty())
            continue;
        size_t split = item.find_first_of(": ");
        std::string sta = item.substr(0, split);
        std::string chan = split == std::string::npos ? ".*" : std::string(rs_trim(item.substr(split + 1)));
        if (sta == "*")
            sta = ".*";
        if (chan == "*" || chan.empty())
            chan = ".*";
        ChannelExpr e;
        if (regcomp(&e.sta, ("^(" + sta + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
            hl_register_error(0, "%s: Bad station expression '%s'.\n", caller, sta.c_str());
            return -1;
        }
        if (regcomp(&e.chan, ("^(" + chan + ")$").c_str(), REG_EXTENDED | REG_NOSUB) != 0) {
            regfree(&e.sta);
            hl_register_error(0, "%s: Bad channel expression '%s'.\n", caller, chan.c_str());
            return -1;
        }
        out->push_back(e);
    }
    return 0;
}

void freeChannels(std::vector<ChannelExpr>* list)
{
    for (ChannelExpr& e : *list) {
        regfree(&e.sta);
        regfree(&e.chan);
    }
    list->clear();
}

bool matchChannels(const std::vector<ChannelExpr>& list, const std::string& sta, const std::string& chan)
{
    for (const ChannelExpr& e : list)
        if (regexec(&e.sta, sta.c_str(), 0, nullptr, 0) == 0 && regexec(&e.chan, chan.c_str(), 0, nullptr, 0) == 0)
            return true;
    return false;
}

}  // namespace

int QKClient::freshTable(const char* table, Rsptr* t, const char* caller)
{
    Rsptr db = database();
    if (rsisinvalid(db)) {
        hl_register_error(0, "%s: No database.\n", caller);
        return -1;
    }
    *t = rslookup(db, nullptr, table, nullptr, nullptr);
    auto d = rs_database(db, caller);
    if (rsisinvalid(*t) || !d) {
        hl_register_error(0, "%s: No table %s.\n", caller, table);
        return -1;
    }
    if (d->backend->refresh(static_cast<int>(t->table)) < 0) {
        hl_register_error(0, "%s: Cannot read table %s.\n", caller, table);
        return -1;
    }
    return 0;
}

static int openRows(QKClient* client, const char* table, Rows* rows, const char* caller, Rsptr* t,
                    int (QKClient::*fresh)(const char*, Rsptr*, const char*))
{
    if ((client->*fresh)(table, t, caller) < 0)
        return -1;
    rows->db = rs_database(*t, caller);
    rows->table = static_cast<int>(t->table);
    rows->def = &rows->db->schema->tables[static_cast<size_t>(t->table)];
    return 0;
}

Table<QKTableRecord> QKClient::getWfdiscs(const char* sta, const char* chan, double t0, double t1, int calib_from_db)
{
    Table<QKTableRecord> out;
    Rows rows;
    Rsptr t;
    if (!sta || !chan || openRows(this, "wfdisc", &rows, "QKClient::getWfdiscs", &t, &QKClient::freshTable) < 0)
        return out;
    const RsTableDef* d = rows.def;
    const int fsta = qk_field(d, "sta"), fchan = qk_field(d, "chan"), ftime = qk_field(d, "time"),
              fend = qk_field(d, "endtime"), fcalib = qk_field(d, "calib"), fcalper = qk_field(d, "calper");
    std::vector<std::pair<double, long>> found;
    for (long r = 0; r < rows.count(); r++) {
        std::string_view rec = rows.at(r);
        if (rs_trim(qk_field_text(d, rec, fsta)) != sta || rs_trim(qk_field_text(d, rec, fchan)) != chan)
            continue;
        const double time = qk_double(d, rec, ftime, 0.0), end = qk_double(d, rec, fend, 0.0);
        if (time <= t1 && end >= t0)
            found.emplace_back(time, r);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (const auto& f : found) {
        QKTableRecord rec;
        rec.recno = f.second;
        rec.record = std::string(rows.at(f.second));
        if (!calib_from_db) {
            d->fields[static_cast<size_t>(fcalib)].formatDouble(1.0, &rec.record[static_cast<size_t>(
                                                                         d->fields[static_cast<size_t>(fcalib)].offset)]);
            d->fields[static_cast<size_t>(fcalper)].formatDouble(
                -1.0, &rec.record[static_cast<size_t>(d->fields[static_cast<size_t>(fcalper)].offset)]);
        }
        out.push(std::move(rec));
    }
    return out;
}

std::string QKClient::getWfdiscPath()
{
    return ev ? ev->getDbname() + ".wfdisc" : std::string();
}

Table<QKStaChan> QKClient::scanWfdisc(double t0, double t1, const std::string& accept, const std::string& reject,
                                      int* status)
{
    Table<QKStaChan> out;
    if (status)
        *status = -1;
    std::vector<ChannelExpr> yes, no;
    if (compileChannels(accept, &yes, "QKClient::scanWfdisc") < 0 ||
        compileChannels(reject, &no, "QKClient::scanWfdisc") < 0) {
        freeChannels(&yes);
        freeChannels(&no);
        return out;
    }
    Rows rows;
    Rsptr t;
    if (openRows(this, "wfdisc", &rows, "QKClient::scanWfdisc", &t, &QKClient::freshTable) == 0) {
        const RsTableDef* d = rows.def;
        std::map<std::pair<std::string, std::string>, std::pair<double, double>> spans;
        for (long r = 0; r < rows.count(); r++) {
            std::string_view rec = rows.at(r);
            const double time = qk_double(d, rec, "time", 0.0), end = qk_double(d, rec, "endtime", 0.0);
            if (time > t1 || end < t0)
                continue;
            std::pair<std::string, std::string> key(qk_text(d, rec, "sta"), qk_text(d, rec, "chan"));
            auto [it, fresh] = spans.try_emplace(key, time, end);
            if (!fresh) {
                it->second.first = std::min(it->second.first, time);
                it->second.second = std::max(it->second.second, end);
            }
        }
        for (const auto& s : spans) {
            if ((!yes.empty() && !matchChannels(yes, s.first.first, s.first.second)) ||
                matchChannels(no, s.first.first, s.first.second))
                continue;
            QKStaChan c;
            qk_copy_text(c.sta, s.first.first);
            qk_copy_text(c.chan, s.first.second);
            c.time = s.second.first;
            c.endtime = s.second.second;
            out.push(c);
        }
        if (status)
            *status = 0;
    }
    freeChannels(&yes);
    freeChannels(&no);
    return out;
}

Table<QKArrival> QKClient::getArrivals(const char* sta, const char* chan, double t0, double t1)
{
    Table<QKArrival> out;
    Rows rows;
    Rsptr t;
    if (!sta || openRows(this, "arrival", &rows, "QKClient::getArrivals", &t, &QKClient::freshTable) < 0)
        return out;
    const RsTableDef* d = rows.def;
    std::vector<std::pair<double, long>> found;
    for (long r = 0; r < rows.count(); r++) {
        std::string_view rec = rows.at(r);
        if (qk_text(d, rec, "sta") != sta)
            continue;
        std::string_view c = qk_text(d, rec, "chan");
        if (chan && *chan && !isNull(c) && c != chan)
            continue;
        const double time = qk_double(d, rec, "time", 0.0);
        if (time >= t0 && time <= t1)
            found.emplace_back(time, r);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    if (found.empty())
        return out;
    // links to rows of other tables, by arid
    std::map<long, std::vector<long>> orids;
    std::set<long> stamag, wfmeas;
    Rows other;
    if (openRows(this, "assoc", &other, "QKClient::getArrivals", &t, &QKClient::freshTable) == 0)
        for (long r = 0; r < other.count(); r++)
            orids[qk_long(other.def, other.at(r), "arid")].push_back(qk_long(other.def, other.at(r), "orid"));
    if (openRows(this, "stamag", &other, "QKClient::getArrivals", &t, &QKClient::freshTable) == 0)
        for (long r = 0; r < other.count(); r++)
            stamag.insert(qk_long(other.def, other.at(r), "arid"));
    if (openRows(this, "wfmeas", &other, "QKClient::getArrivals", &t, &QKClient::freshTable) == 0)
        for (long r = 0; r < other.count(); r++)
            wfmeas.insert(qk_long(other.def, other.at(r), "arid"));
    for (const auto& f : found) {
        std::string_view rec = rows.at(f.second);
        QKArrival a;
        a.arid = qk_long(d, rec, "arid");
        a.recno_arrival = f.second;
        qk_copy_text(a.record_arrival, rec);
        a.lddate_arrival = qk_parse_lddate(qk_text(d, rec, "lddate"));
        auto o = orids.find(a.arid);
        if (o != orids.end()) {
            a.link_to_any_assoc = 1;
            for (long orid : o->second)
                a.associated_orids.push(orid);
        }
        a.link_to_any_stamag = stamag.count(a.arid) ? 1 : 0;
        a.link_to_any_wfmeas = wfmeas.count(a.arid) ? 1 : 0;
        out.push(std::move(a));
    }
    return out;
}

Table<QKTableRecord> QKClient::getDetections(const char* sta, const char* chan, double t0, double t1)
{
    Table<QKTableRecord> out;
    Rows rows;
    Rsptr t;
    if (!sta || openRows(this, "detection", &rows, "QKClient::getDetections", &t, &QKClient::freshTable) < 0)
        return out;
    for (long r = 0; r < rows.count(); r++) {
        std::string_view rec = rows.at(r);
        std::string_view c = qk_text(rows.def, rec, "chan");
        const double time = qk_double(rows.def, rec, "time", 0.0);
        if (qk_text(rows.def, rec, "sta") != sta || (chan && *chan && !isNull(c) && c != chan) || time < t0 ||
            time > t1)
            continue;
        out.push(QKTableRecord{r, std::string(rec)});
    }
    return out;
}

Table<QKTableRecord> QKClient::getRawDetections(double t0, double t1)
{
    Table<QKTableRecord> out;
    Rows rows;
    Rsptr t;
    if (openRows(this, "detection", &rows, "QKClient::getRawDetections", &t, &QKClient::freshTable) < 0)
        return out;
    for (long r = 0; r < rows.count(); r++) {
        const double time = qk_double(rows.def, rows.at(r), "time", 0.0);
        if (time >= t0 && time <= t1)
            out.push(QKTableRecord{r, std::string(rows.at(r))});
    }
    return out;
}

int QKClient::getSite(const char* sta, double time, QKTableRecord& site)
{
    Rows rows;
    Rsptr t;
    if (!sta) {
        hl_register_error(0, "QKClient::getSite: No station.\n");
        return -1;
    }
    if (openRows(this, "site", &rows, "QKClient::getSite", &t, &QKClient::freshTable) < 0)
        return -1;
    const long jdate = time > -9e9 && time < 9e10 ? timejdate(time) : -1;
    long last = -1;
    for (long r = 0; r < rows.count(); r++) {
        std::string_view rec = rows.at(r);
        if (qk_text(rows.def, rec, "sta") != sta)
            continue;
        last = r;
        const long on = qk_long(rows.def, rec, "ondate"), off = qk_long(rows.def, rec, "offdate");
        if (jdate < 0 || ((on < 0 || on <= jdate) && (off < 0 || jdate <= off))) {
            site.recno = r;
            site.record = std::string(rec);
            return 1;
        }
    }
    if (last < 0)
        return 0;
    site.recno = last;
    site.record = std::string(rows.at(last));
    return 1;
}

long QKClient::rsputrecord(const char* table, long record_number)
{
    Rsptr row;
    if (!table || getRsptr(std::string(table), &row) < 0) {
        hl_register_error(0, "QKClient::rsputrecord: No scratch row of table %s.\n", table ? table : "(null)");
        return -1;
    }
    char text[RS_STRSZ];
    row.field = RS_ALL;
    if (rsget(row, text) < 0) {
        hl_register_error(0, "QKClient::rsputrecord: Cannot read the scratch row of %s.\n", table);
        return -1;
    }
    return rsputrecord(table, text, record_number);
}

long QKClient::rsputrecord(const char* table, const char* record, long record_number)
{
    Rows rows;
    Rsptr t;
    if (!table || !record) {
        hl_register_error(0, "QKClient::rsputrecord: No table or record.\n");
        return -1;
    }
    if (openRows(this, table, &rows, "QKClient::rsputrecord", &t, &QKClient::freshTable) < 0)
        return -1;
    const RsTableDef& d = *rows.def;
    std::string text(record);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    std::string why;
    if (!d.checkRecord(text, &why)) {
        hl_register_error(0, "QKClient::rsputrecord: Not a record of table %s: %s.\n", table, why.c_str());
        return -1;
    }
    const int flddate = d.fieldIndex("lddate");
    if (flddate >= 0) {
        const RsFieldDef& f = d.fields[static_cast<size_t>(flddate)];
        if (rs_trim(qk_field_text(&d, text, flddate)) == rs_trim(f.null_field))
            f.formatString(rs_lddate_now(), &text[static_cast<size_t>(f.offset)]);
    }
    if (record_number < 0) {
        const long r = rows.db->backend->append(rows.table, text);
        if (r < 0)
            hl_register_error(0, "QKClient::rsputrecord: Cannot add a row to %s.\n", table);
        return r;
    }
    if (record_number >= rows.count()) {
        hl_register_error(0, "QKClient::rsputrecord: Table %s has no row %ld.\n", table, record_number);
        return -1;
    }
    if (!d.key.empty() && !rs_same_key(d, rows.at(record_number), text)) {
        hl_register_error(0, "QKClient::rsputrecord: Row %ld of %s holds another record now; not written.\n",
                          record_number, table);
        return -1;
    }
    std::vector<int> all;
    for (size_t i = 0; i < d.fields.size(); i++)
        all.push_back(static_cast<int>(i));
    if (rows.db->backend->update(rows.table, record_number, text, all) < 0) {
        hl_register_error(0, "QKClient::rsputrecord: Cannot write row %ld of %s.\n", record_number, table);
        return -1;
    }
    return record_number;
}

long QKClient::rsnextid(const char* name)
{
    Rsptr db = database();
    if (rsisinvalid(db) || !name) {
        hl_register_error(0, "QKClient::rsnextid: No database or counter name.\n");
        return -1;
    }
    const long id = ::rsnextid(db, name);
    if (id < 0)
        hl_register_error(0, "QKClient::rsnextid: No next %s.\n", name);
    return id;
}

int QKClient::getValueFromRsptr(Rsptr db, const char* expression, int* type, void* value)
{
    Rsvalue v;
    if (!expression || !value) {
        hl_register_error(0, "QKClient::getValueFromRsptr: No expression or value.\n");
        return -1;
    }
    const int kind = rsex_evalstr(db, expression, RSEX_ANY, &v);
    if (kind < 0) {
        hl_register_error(0, "QKClient::getValueFromRsptr: Cannot evaluate '%s'.\n", expression);
        return -1;
    }
    int t;
    switch (kind) {
    case RSEX_BOOLEAN:
    case RSEX_INTEGER:
        t = 1;
        *static_cast<long*>(value) = v.i;
        break;
    case RSEX_REAL:
    case RSEX_TIME:
        t = 2;
        *static_cast<double*>(value) = v.d;
        break;
    default:
        t = 3;
        v.s[RS_STRSZ - 1] = '\0';
        memcpy(value, v.s, strlen(v.s) + 1);
        break;
    }
    if (type)
        *type = t;
    return 0;
}
