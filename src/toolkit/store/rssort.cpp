// Views of the record store: the records an address reaches, sorted views
// and ranges.
//
// Sorting evaluates every key once per record into a column of values; the
// records are then ordered by a stable sort on those columns.  A key that is
// a plain field is read straight from the record text.
#include "toolkit/base/errors.h"
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/store/rsexpr_p.h"
#include "toolkit/store/rsorder_p.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>

namespace {

// The values of one key for every record of the view being sorted.
struct KeyColumn
{
    int kind = RSEX_INTEGER;
    bool descending = false;
    std::vector<long> i;
    std::vector<double> d;
    std::vector<std::string_view> s;  // into records or into strings
    std::vector<std::string> strings; // computed texts

    int compare(size_t a, size_t b) const
    {
        if (kind == RSEX_STRING) {
            const int c = s[a].compare(s[b]);
            return c < 0 ? -1 : c > 0 ? 1 : 0;
        }
        if (kind == RSEX_INTEGER || kind == RSEX_BOOLEAN)
            return i[a] < i[b] ? -1 : i[a] > i[b] ? 1 : 0;
        // a NaN sorts after every number
        const double x = d[a], y = d[b];
        if (std::isnan(x) || std::isnan(y))
            return std::isnan(x) ? (std::isnan(y) ? 0 : 1) : -1;
        return x < y ? -1 : x > y ? 1 : 0;
    }
};

// Fill a column from a plain field, straight from the record text.
void fieldColumn(const RsTableRef& ref, const RsFieldDef& f, const std::vector<long>& records, KeyColumn* col)
{
    const size_t n = records.size();
    if (col->kind == RSEX_STRING)
        col->s.resize(n);
    else if (col->kind == RSEX_INTEGER)
        col->i.resize(n);
    else
        col->d.resize(n);
    constexpr size_t kAhead = 16;  // records are far apart: fetch ahead of use
    for (size_t k = 0; k < n; k++) {
        if (k + kAhead < n)
            __builtin_prefetch(ref.text(records[k + kAhead]).data() + f.offset);
        std::string_view text =
            ref.text(records[k]).substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
        if (col->kind == RSEX_STRING) {
            col->s[k] = rs_trim(text);
        } else if (col->kind == RSEX_INTEGER) {
            if (f.parseLong(text, &col->i[k]) < 0)
                col->i[k] = f.null_long;
        } else if (f.parseDouble(text, &col->d[k]) < 0) {
            col->d[k] = f.null_double;
        }
    }
}

// Fill a column by evaluating an expression.  0, or negative with *error.
int exprColumn(const RsTableRef& ref, const RsExpr& expr, const std::vector<long>& records, KeyColumn* col,
               std::string* error)
{
    const size_t n = records.size();
    if (col->kind == RSEX_STRING)
        col->strings.resize(n);
    else if (col->kind == RSEX_INTEGER || col->kind == RSEX_BOOLEAN)
        col->i.resize(n);
    else
        col->d.resize(n);
    RsexValue v;
    for (size_t k = 0; k < n; k++) {
        if (rsex_run(expr, ref.text(records[k]), &v, error) < 0) {
            *error += " for record " + std::to_string(records[k]);
            return -1;
        }
        if (col->kind == RSEX_STRING)
            col->strings[k] = std::move(v.s);
        else if (col->kind == RSEX_INTEGER || col->kind == RSEX_BOOLEAN)
            col->i[k] = v.i;
        else
            col->d[k] = v.d;
    }
    if (col->kind == RSEX_STRING)
        col->s.assign(col->strings.begin(), col->strings.end());
    return 0;
}

// A number as a key whose unsigned order is the order of compare().
uint64_t orderKey(const KeyColumn& col, size_t k)
{
    if (col.kind == RSEX_INTEGER || col.kind == RSEX_BOOLEAN)
        return static_cast<uint64_t>(col.i[k]) ^ (uint64_t(1) << 63);
    return rs_double_order_key(col.d[k]);
}

// The order of one numeric key.
std::vector<size_t> orderOneNumber(const KeyColumn& col, bool reverse, size_t n)
{
    const bool down = col.descending != reverse;
    return rs_radix_order(n, [&](size_t k) { return down ? ~orderKey(col, k) : orderKey(col, k); });
}

}  // namespace

// ---- the records of tables and views

long RsTableRef::count() const
{
    return view ? static_cast<long>(view->records.size()) : db->backend->count(table);
}

long RsTableRef::tableRecord(long i) const
{
    if (i == RS_NULL || i == RS_SCRATCH)
        return i;
    if (i < 0)
        return -1;
    long r = i;
    if (view) {
        if (i >= static_cast<long>(view->records.size()))
            return -1;
        r = view->records[static_cast<size_t>(i)];
    }
    return r < db->backend->count(table) ? r : -1;
}

std::string_view RsTableRef::text(long r) const
{
    if (r == RS_NULL)
        return db->null_rows[static_cast<size_t>(table)];
    if (r == RS_SCRATCH)
        return db->scratch[static_cast<size_t>(table)].text;
    if (r < 0 || r >= db->backend->count(table))
        return {};
    return db->backend->record(table, r);
}

int rs_table_ref(Rsptr p, RsTableRef* ref, const char* caller)
{
    auto db = rs_database(p, caller);
    if (!db)
        return -1;
    const long ntables = static_cast<long>(db->schema->tables.size());
    if (p.table < 0) {
        hl_register_error(0, "%s: No table chosen in database %s.\n", caller, db->name.c_str());
        return -1;
    }
    ref->view = nullptr;
    if (p.table >= ntables) {
        const size_t slot = static_cast<size_t>(p.table - ntables);
        if (slot >= db->views.size() || !db->views[slot]) {
            hl_register_error(0, "%s: View %ld of database %s does not exist or was freed.\n", caller, p.table,
                              db->name.c_str());
            return -1;
        }
        ref->view = db->views[slot].get();
        ref->table = ref->view->table;
    } else {
        ref->table = static_cast<int>(p.table);
    }
    ref->def = &db->schema->tables[static_cast<size_t>(ref->table)];
    if (db->backend->load(ref->table) < 0) {
        hl_register_error(0, "%s: Cannot read table %s.\n", caller, ref->def->name.c_str());
        return -1;
    }
    ref->db = std::move(db);
    return 0;
}

Rsptr rs_add_view(const RsTableRef& ref, const char* name, std::vector<long> records)
{
    auto view = std::make_unique<RsView>();
    view->name = name ? name : "sort";
    view->table = ref.table;
    view->records = std::move(records);
    ref.db->views.push_back(std::move(view));
    const long index = static_cast<long>(ref.db->schema->tables.size() + ref.db->views.size() - 1);
    return Rsptr{ref.db->id, index, RS_ALL, RS_ALL};
}

int rsget_range(Rsptr db, long* first, long* last)
{
    if (!first || !last) {
        hl_register_error(0, "rsget_range: No place for the range.\n");
        return -1;
    }
    RsTableRef ref;
    if (rs_table_ref(db, &ref, "rsget_range") < 0)
        return -1;
    if (db.field != RS_BUNDLE) {
        *first = 0;
        *last = ref.count();
        return 0;
    }
    const long record = ref.tableRecord(db.record);
    if (record == -1 || db.record == RS_ALL) {
        hl_register_error(0, "rsget_range: Record %ld is not a record of table %s.\n", db.record,
                          ref.def->name.c_str());
        return -1;
    }
    for (size_t i = 0; i < ref.def->fields.size(); i++) {
        if (ref.def->fields[i].type != RS_TYPE_BUNDLE)
            continue;
        if (record >= 0)
            return ref.db->backend->getBundle(ref.table, record, static_cast<int>(i), first, last);
        // the scratch row's bundle; none for the null record
        const std::pair<long, long> b = ref.db->scratch[static_cast<size_t>(ref.table)].bundles[i];
        const bool set = record == RS_SCRATCH && b.first >= 0;
        *first = set ? b.first : 0;
        *last = set ? b.second : 0;
        return 0;
    }
    *first = record >= 0 ? record : 0;
    *last = record >= 0 ? record + 1 : 0;
    return 0;
}

// ---- sorting

Rsptr rssort(Rsptr db, Tbl* keys, int flags, const char* name)
{
    RsTableRef ref;
    if (rs_table_ref(db, &ref, "rssort") < 0)
        return rsinvalid();
    const RsTableDef& def = *ref.def;
    std::vector<std::string> texts;
    if (keys && seqcount(keys) > 0) {
        for (long k = 0; k < seqcount(keys); k++) {
            const char* key = static_cast<const char*>(seqget(keys, k));
            if (!key) {
                hl_register_error(0, "rssort: Key %ld is null.\n", k);
                return rsinvalid();
            }
            texts.emplace_back(rs_trim(key));
        }
    } else {
        for (int k : def.key)
            texts.push_back(def.fields[static_cast<size_t>(k)].name);
        if (texts.empty()) {
            hl_register_error(0, "rssort: No keys given, and table %s has none.\n", def.name.c_str());
            return rsinvalid();
        }
    }
    std::vector<long> records(static_cast<size_t>(ref.count()));
    for (size_t k = 0; k < records.size(); k++)
        records[k] = ref.tableRecord(static_cast<long>(k));
    if (std::find(records.begin(), records.end(), -1L) != records.end()) {
        hl_register_error(0, "rssort: View of table %s lists records that no longer exist.\n", def.name.c_str());
        return rsinvalid();
    }

    std::vector<KeyColumn> columns(texts.size());
    for (size_t k = 0; k < texts.size(); k++) {
        KeyColumn& col = columns[k];
        std::string text = texts[k];
        if (!text.empty() && text[0] == '-') {
            col.descending = true;
            text.erase(0, 1);
        }
        RsExpr expr;
        std::string error;
        if (rsex_compile_table(def, text, &expr, &error) < 0) {
            hl_register_error(0, "rssort: %s of key '%s'.\n", error.c_str(), texts[k].c_str());
            return rsinvalid();
        }
        col.kind = expr.kind;
        if (expr.plain_field >= 0) {
            fieldColumn(ref, def.fields[static_cast<size_t>(expr.plain_field)], records, &col);
        } else if (exprColumn(ref, expr, records, &col, &error) < 0) {
            hl_register_error(0, "rssort: %s of key '%s'.\n", error.c_str(), texts[k].c_str());
            return rsinvalid();
        }
    }

    const bool reverse = flags & RS_SORT_REVERSE;
    auto compare = [&](size_t a, size_t b) {
        for (const KeyColumn& col : columns) {
            int c = col.compare(a, b);
            if (c != 0)
                return col.descending != reverse ? c > 0 : c < 0;
        }
        return false;
    };
    std::vector<size_t> order;
    if (columns.size() == 1 && columns[0].kind != RSEX_STRING) {
        order = orderOneNumber(columns[0], reverse, records.size());
    } else {
        order.resize(records.size());
        std::iota(order.begin(), order.end(), size_t(0));
        std::stable_sort(order.begin(), order.end(), compare);
    }

    std::vector<long> sorted;
    sorted.reserve(order.size());
    for (size_t k = 0; k < order.size(); k++) {
        if ((flags & RS_SORT_UNIQUE) && k > 0) {
            bool same = true;
            for (const KeyColumn& col : columns)
                same = same && col.compare(order[k - 1], order[k]) == 0;
            if (same)
                continue;
        }
        sorted.push_back(records[order[k]]);
    }
    return rs_add_view(ref, name, std::move(sorted));
}

int rsget_sort_tab(Rsptr sorted, Tbl** tab)
{
    if (!tab) {
        hl_register_error(0, "rsget_sort_tab: No place for the list.\n");
        return -1;
    }
    RsTableRef ref;
    if (rs_table_ref(sorted, &ref, "rsget_sort_tab") < 0)
        return -1;
    const long n = ref.count();
    Tbl* list = seqnew(static_cast<int>(std::min(n, 1L << 30)));
    for (long k = 0; list && k < n; k++) {
        if (seqpush(list, reinterpret_cast<void*>(static_cast<intptr_t>(ref.tableRecord(k)))) < 0) {
            seqfree(list, nullptr);
            list = nullptr;
        }
    }
    if (!list) {
        hl_register_error(1, "rsget_sort_tab: Cannot make a list of %ld records.\n", n);
        return -1;
    }
    *tab = list;
    return 0;
}

int rsfree(Rsptr view)
{
    auto d = rs_database(view, "rsfree");
    if (!d)
        return -1;
    const long ntables = static_cast<long>(d->schema->tables.size());
    const long slot = view.table - ntables;
    if (view.table < ntables || slot >= static_cast<long>(d->views.size()) || !d->views[static_cast<size_t>(slot)]) {
        hl_register_error(0, "rsfree: %ld is not a view of database %s.\n", view.table, d->name.c_str());
        return -1;
    }
    d->views[static_cast<size_t>(slot)].reset();
    return 0;
}
