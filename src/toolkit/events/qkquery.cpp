// QKClient: value and sort queries over event and origin lists
// (docs/events.md).
//
//   value query:  ROW "." PATH          "12.evid", "0.origin.lat"
//   sort query:   ["-"] PATH { "," ["-"] PATH }   "time", "-magnitude,evid"
//
// A PATH is a member of the record (evid, time, magnitude, ...), or
// TABLE "." FIELD for a field of one of its rows, or a bare FIELD, looked
// up in the record's own rows.
#include "toolkit/events/qkclient.h"

#include "toolkit/base/errors.h"
#include "toolkit/events/qkfields_p.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

namespace {

enum Kind { kLong = 1, kDouble = 2, kText = 3 };

struct Value
{
    int type = kLong;
    long i = 0;
    double d = 0.0;
    std::string s;
};

// Where a path's value comes from.
struct Getter
{
    int member = -1;                 // index into the member table, or -1 for a row field
    int row = -1;                    // which row of the record (Row below)
    const RsTableDef* def = nullptr; // the row's table
    int field = -1;
};

enum Row { kEventRow, kOriginRow, kOrigerrRow, kEmodelRow };

const RsSchema* schema()
{
    static const RsSchema* s = rsschema_find("css3.0");
    return s;
}

const RsTableDef* tableDef(const char* name)
{
    const RsSchema* s = schema();
    const int t = s ? s->tableIndex(name) : -1;
    return t < 0 ? nullptr : &s->tables[static_cast<size_t>(t)];
}

// Members, by record kind.
struct Member
{
    const char* name;
    int type;
};
const Member kEventMembers[] = {{"evid", kLong},        {"prefor", kLong},      {"order", kLong},
                                {"lddate", kDouble},    {"lddate_view", kDouble}, {"access_time", kDouble},
                                {"time", kDouble},      {"magnitude", kDouble}, {"magtype", kText},
                                {"norigins", kLong},    {"recno", kLong}};
const Member kOriginMembers[] = {{"orid", kLong},           {"time", kDouble},      {"lddate", kDouble},
                                 {"lddate_view", kDouble},  {"magnitude", kDouble}, {"magtype", kText},
                                 {"preferred", kLong},      {"nmagnitudes", kLong}, {"nassociations", kLong},
                                 {"recno", kLong}};

template <size_t N>
int findMember(const Member (&members)[N], std::string_view name)
{
    for (size_t i = 0; i < N; i++)
        if (name == members[i].name)
            return static_cast<int>(i);
    return -1;
}

int resolve(bool events, std::string_view path, Getter* g, const char* caller)
{
    *g = Getter();
    if (path.empty()) {
        hl_register_error(0, "%s: Empty path.\n", caller);
        return -1;
    }
    const size_t dot = path.find('.');
    if (dot == std::string_view::npos) {
        g->member = events ? findMember(kEventMembers, path) : findMember(kOriginMembers, path);
        if (g->member >= 0)
            return 0;
    }
    struct Candidate
    {
        const char* table;
        int row;
    };
    const Candidate event_rows[] = {{"origin", kOriginRow}, {"event", kEventRow}, {"origerr", kOrigerrRow}};
    const Candidate origin_rows[] = {{"origin", kOriginRow}, {"origerr", kOrigerrRow}, {"emodel", kEmodelRow}};
    const Candidate* rows = events ? event_rows : origin_rows;
    std::string table, field;
    if (dot == std::string_view::npos) {
        field = std::string(path);
    } else {
        table = std::string(path.substr(0, dot));
        field = std::string(path.substr(dot + 1));
    }
    for (int i = 0; i < 3; i++) {
        if (!table.empty() && table != rows[i].table)
            continue;
        const RsTableDef* d = tableDef(rows[i].table);
        const int f = d ? d->fieldIndex(field) : -1;
        if (f >= 0) {
            g->row = rows[i].row;
            g->def = d;
            g->field = f;
            return 0;
        }
    }
    hl_register_error(0, "%s: No value '%.*s' in %s.\n", caller, static_cast<int>(path.size()), path.data(),
                      events ? "events" : "origins");
    return -1;
}

void fieldValue(const Getter& g, const char* record, Value* v)
{
    const RsFieldDef& f = g.def->fields[static_cast<size_t>(g.field)];
    std::string_view text = qk_field_text(g.def, record ? record : "", g.field);
    if (text.empty())
        text = f.null_field;  // no such row: the null value
    if (f.isInteger()) {
        v->type = kLong;
        if (rs_parse_long(text, &v->i) < 0)
            v->i = f.null_long;
    } else if (f.isNumeric()) {
        v->type = kDouble;
        if (rs_parse_double(text, &v->d) < 0)
            v->d = f.null_double;
    } else {
        v->type = kText;
        v->s = std::string(rs_trim(text));
    }
}

void originValue(const Getter& g, const QKOrigin& o, Value* v)
{
    if (g.member >= 0) {
        v->type = kOriginMembers[g.member].type;
        switch (g.member) {
        case 0: v->i = o.orid; break;
        case 1: v->d = o.time; break;
        case 2: v->d = o.lddate_origin; break;
        case 3: v->d = o.lddate_origin_view; break;
        case 4: v->d = o.magnitude; break;
        case 5: v->s = o.magtype; break;
        case 6: v->i = o.preferred; break;
        case 7: v->i = o.magnitudes.max(); break;
        case 8: v->i = o.associations.max(); break;
        default: v->i = o.recno_origin; break;
        }
        return;
    }
    const char* rec = g.row == kOriginRow ? o.record_origin : g.row == kOrigerrRow ? o.record_origerr : o.record_emodel;
    fieldValue(g, rec, v);
}

void eventValue(const Getter& g, const QKEvent& e, Value* v)
{
    if (g.member >= 0) {
        v->type = kEventMembers[g.member].type;
        switch (g.member) {
        case 0: v->i = e.evid; break;
        case 1: v->i = e.prefor; break;
        case 2: v->i = e.order; break;
        case 3: v->d = e.lddate_event; break;
        case 4: v->d = e.lddate_view; break;
        case 5: v->d = e.access_time; break;
        case 6: v->d = e.prefor_time; break;
        case 7: v->d = e.magnitude; break;
        case 8: v->s = e.magtype; break;
        case 9: v->i = e.origins.max(); break;
        default: v->i = e.recno_event; break;
        }
        return;
    }
    if (g.row == kEventRow) {
        fieldValue(g, e.record_event, v);
        return;
    }
    const QKOrigin& o = e.pref_origin >= 0 ? e.origins.get(e.pref_origin) : Table<QKOrigin>::null();
    originValue(g, o, v);
}

int compare(const Value& a, const Value& b)
{
    if (a.type == kText)
        return a.s.compare(b.s) < 0 ? -1 : a.s == b.s ? 0 : 1;
    if (a.type == kLong)
        return a.i < b.i ? -1 : a.i > b.i ? 1 : 0;
    return a.d < b.d ? -1 : a.d > b.d ? 1 : 0;
}

int storeValue(const Value& v, int* type, void* value)
{
    if (type)
        *type = v.type;
    if (!value)
        return 0;
    if (v.type == kLong)
        *static_cast<long*>(value) = v.i;
    else if (v.type == kDouble)
        *static_cast<double*>(value) = v.d;
    else {
        const size_t n = std::min(v.s.size(), static_cast<size_t>(RS_STRSZ - 1));
        memcpy(value, v.s.data(), n);
        static_cast<char*>(value)[n] = '\0';
    }
    return 0;
}

// "ROW.PATH": the row and the path.
int splitRow(const std::string& query, long* row, std::string_view* path, const char* caller)
{
    const size_t dot = query.find('.');
    if (dot == std::string::npos || dot == 0 || std::string_view(query).substr(0, dot).find_first_not_of(
                                                    "0123456789") != std::string_view::npos ||
        dot > 9) {
        hl_register_error(0, "%s: Query '%s' is not ROW.PATH.\n", caller, query.c_str());
        return -1;
    }
    *row = std::stol(query.substr(0, dot));
    *path = std::string_view(query).substr(dot + 1);
    return 0;
}

// A sort query: its keys, each with its direction.
int parseSort(bool events, const std::string& query, std::vector<std::pair<Getter, bool>>* keys, const char* caller)
{
    size_t at = 0;
    while (at <= query.size()) {
        size_t end = query.find(',', at);
        if (end == std::string::npos)
            end = query.size();
        std::string_view key = rs_trim(std::string_view(query).substr(at, end - at));
        at = end + 1;
        bool descending = false;
        if (!key.empty() && key[0] == '-') {
            descending = true;
            key = rs_trim(key.substr(1));
        }
        Getter g;
        if (resolve(events, key, &g, caller) < 0)
            return -1;
        keys->emplace_back(g, descending);
    }
    return 0;
}

template <class Rec, class Eval>
Table<int> sortTable(bool events, const Table<Rec>* table, const std::string& query, int reverse, int* status,
                     Eval eval)
{
    Table<int> out;
    if (status)
        *status = -1;
    std::vector<std::pair<Getter, bool>> keys;
    if (!table) {
        hl_register_error(0, "QKClient::sort: No table.\n");
        return out;
    }
    if (parseSort(events, query, &keys, "QKClient::sort") < 0)
        return out;
    const long n = table->max();
    std::vector<std::vector<Value>> values(static_cast<size_t>(n));
    for (long i = 0; i < n; i++)
        for (const auto& k : keys) {
            values[static_cast<size_t>(i)].emplace_back();
            eval(k.first, table->get(i), &values[static_cast<size_t>(i)].back());
        }
    std::vector<int> order(static_cast<size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        for (size_t k = 0; k < keys.size(); k++) {
            int c = compare(values[static_cast<size_t>(a)][k], values[static_cast<size_t>(b)][k]);
            if (keys[k].second)
                c = -c;
            if (reverse)
                c = -c;
            if (c != 0)
                return c < 0;
        }
        return false;
    });
    for (int i : order)
        out.push(i);
    if (status)
        *status = 0;
    return out;
}

}  // namespace

int QKClient::getValue(const Table<QKEvent>* events, const std::string& query, int* type, void* value)
{
    long row;
    std::string_view path;
    Getter g;
    if (!events || splitRow(query, &row, &path, "QKClient::getValue") < 0 ||
        resolve(true, path, &g, "QKClient::getValue") < 0)
        return -1;
    if (row >= events->max()) {
        hl_register_error(0, "QKClient::getValue: Row %ld is not one of the %ld events.\n", row, events->max());
        return -1;
    }
    Value v;
    eventValue(g, events->get(row), &v);
    return storeValue(v, type, value);
}

int QKClient::getValue(const Table<QKOrigin>* origins, const std::string& query, int* type, void* value)
{
    long row;
    std::string_view path;
    Getter g;
    if (!origins || splitRow(query, &row, &path, "QKClient::getValue") < 0 ||
        resolve(false, path, &g, "QKClient::getValue") < 0)
        return -1;
    if (row >= origins->max()) {
        hl_register_error(0, "QKClient::getValue: Row %ld is not one of the %ld origins.\n", row, origins->max());
        return -1;
    }
    Value v;
    originValue(g, origins->get(row), &v);
    return storeValue(v, type, value);
}

int QKClient::checkSortQuery(const Table<QKEvent>*, const std::string& query)
{
    std::vector<std::pair<Getter, bool>> keys;
    return parseSort(true, query, &keys, "QKClient::checkSortQuery");
}

int QKClient::checkSortQuery(const Table<QKOrigin>*, const std::string& query)
{
    std::vector<std::pair<Getter, bool>> keys;
    return parseSort(false, query, &keys, "QKClient::checkSortQuery");
}

Table<int> QKClient::sort(const Table<QKEvent>* events, const std::string& query, int reverse, int* status)
{
    return sortTable(true, events, query, reverse, status, eventValue);
}

Table<int> QKClient::sort(const Table<QKOrigin>* origins, const std::string& query, int reverse, int* status)
{
    return sortTable(false, origins, query, reverse, status, originValue);
}
