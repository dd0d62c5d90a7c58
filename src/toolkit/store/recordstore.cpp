// The front of the record store: database handles, addresses, scratch rows,
// reading and writing fields by name.
#include "toolkit/store/recordstore.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/store/rsbackend_p.h"

#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>

namespace {

constexpr int kPairsMax = 1000;  // field pairs of one rsgetv() or rsputv()

struct Handles
{
    std::mutex mutex;
    std::map<long, std::shared_ptr<RsDatabase>> open;
    long next = 0;
};

Handles& handles()
{
    static Handles* h = new Handles;  // outlives every static destructor
    return *h;
}

std::shared_ptr<RsDatabase> database(Rsptr p)
{
    Handles& h = handles();
    std::lock_guard<std::mutex> lock(h.mutex);
    auto it = h.open.find(p.database);
    return it == h.open.end() ? nullptr : it->second;
}

std::shared_ptr<RsDatabase> database(Rsptr p, const char* caller)
{
    return rs_database(p, caller);
}

// A record addressed for reading or writing.
struct Target
{
    RsTableRef ref;
    long record = RS_ALL;  // record of the table, RS_NULL or RS_SCRATCH
};

int target(Rsptr p, const char* table, Target* t, const char* caller)
{
    if (table) {
        p = rslookup(p, nullptr, table, nullptr, nullptr);
        if (rsisinvalid(p)) {
            hl_register_error(0, "%s: No table %s.\n", caller, table);
            return -1;
        }
    }
    if (rs_table_ref(p, &t->ref, caller) < 0)
        return -1;
    t->record = t->ref.tableRecord(p.record);
    if (t->record == -1 || p.record == RS_ALL) {
        hl_register_error(0, "%s: Record %ld is not a record of table %s (%ld records).\n", caller, p.record,
                          t->ref.def->name.c_str(), t->ref.count());
        return -1;
    }
    return 0;
}

RsScratch& scratchOf(const Target& t)
{
    return t.ref.db->scratch[static_cast<size_t>(t.ref.table)];
}

std::string_view fieldText(std::string_view record, const RsFieldDef& f)
{
    return record.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
}

int getFloats(const Target& t, int field, const float** data, long* n)
{
    if (t.record == RS_SCRATCH) {
        const std::vector<float>& v = scratchOf(t).floats[static_cast<size_t>(field)];
        *data = v.empty() ? nullptr : v.data();
        *n = static_cast<long>(v.size());
        return 0;
    }
    if (t.record == RS_NULL) {
        *data = nullptr;
        *n = 0;
        return 0;
    }
    return t.ref.db->backend->getFloats(t.ref.table, t.record, field, data, n);
}

int getBundle(const Target& t, int field, long* first, long* last)
{
    if (t.record == RS_SCRATCH || t.record == RS_NULL) {
        std::pair<long, long> b = scratchOf(t).bundles[static_cast<size_t>(field)];
        if (t.record == RS_NULL || b.first < 0) {
            *first = *last = 0;
            return 0;
        }
        *first = b.first;
        *last = b.second;
        return 0;
    }
    return t.ref.db->backend->getBundle(t.ref.table, t.record, field, first, last);
}

// The field as text, numbers printed with the field's format and trimmed.
int fieldAsText(const Target& t, int field, char* buffer)
{
    const RsFieldDef& f = t.ref.def->fields[static_cast<size_t>(field)];
    if (f.type == RS_TYPE_FLOATS) {
        const float* data = nullptr;
        long n = 0;
        getFloats(t, field, &data, &n);
        snprintf(buffer, RS_STRSZ, "%ld samples", n);
        return 0;
    }
    if (f.type == RS_TYPE_BUNDLE) {
        long first = 0, last = 0;
        getBundle(t, field, &first, &last);
        snprintf(buffer, RS_STRSZ, "%ld %ld", first, last);
        return 0;
    }
    std::string_view v = fieldText(t.ref.text(t.record), f);
    if (f.isNumeric()) {
        char out[RS_STRSZ];
        int ok = -1;
        if (f.isInteger()) {
            long value = 0;
            ok = f.parseLong(v, &value) == 0 ? f.formatLong(value, out) : -1;
        } else {
            double value = 0;
            ok = f.parseDouble(v, &value) == 0 ? f.formatDouble(value, out) : -1;
        }
        if (ok == 0)
            v = std::string_view(out, static_cast<size_t>(f.width));
        v = rs_trim(v);
        memcpy(buffer, v.data(), v.size());
        buffer[v.size()] = '\0';
        return 0;
    }
    v = rs_trim(v);
    memcpy(buffer, v.data(), v.size());
    buffer[v.size()] = '\0';
    return 0;
}

// A change to a record being assembled by rsputv() or rsput().
struct Edit
{
    std::string text;                                           // the whole record
    std::vector<int> fields;                                    // fields changed
    std::vector<std::pair<int, std::vector<float>>> floats;    // samples to store
    std::vector<std::pair<int, std::pair<long, long>>> bundles;
};

void noteField(Edit* e, int field)
{
    for (int f : e->fields)
        if (f == field)
            return;
    e->fields.push_back(field);
}

// Format a number into the edit; a registered error when it does not fit.
int putNumber(Edit* e, const RsFieldDef& f, int field, bool integer, long l, double d, const char* caller)
{
    char* at = &e->text[static_cast<size_t>(f.offset)];
    int ok = integer ? f.formatLong(l, at) : f.formatDouble(d, at);
    if (ok < 0) {
        if (integer)
            hl_register_error(0, "%s: %ld does not fit field %s (%s).\n", caller, l, f.name.c_str(), f.format.c_str());
        else
            hl_register_error(0, "%s: %.17g does not fit field %s (%s).\n", caller, d, f.name.c_str(),
                              f.format.c_str());
        return -1;
    }
    noteField(e, field);
    return 0;
}

int putString(Edit* e, const RsFieldDef& f, int field, const char* s, const char* caller)
{
    if (!s) {
        hl_register_error(0, "%s: Null text for field %s.\n", caller, f.name.c_str());
        return -1;
    }
    if (f.formatString(s, &e->text[static_cast<size_t>(f.offset)]) < 0) {
        hl_register_error(0,
                          "%s: Text '%.64s' does not fit field %s: more than %d characters or a control "
                          "character.\n",
                          caller, s, f.name.c_str(), f.width);
        return -1;
    }
    noteField(e, field);
    return 0;
}

// Samples and their count must agree, or readers would run past the samples.
int checkSamples(const Target& t, Edit* e, const char* caller)
{
    const RsTableDef& d = *t.ref.def;
    const int fnsamp = d.fieldIndex("nsamp");
    for (size_t i = 0; i < d.fields.size(); i++) {
        if (d.fields[i].type != RS_TYPE_FLOATS)
            continue;
        long n = -1;
        for (const auto& p : e->floats)
            if (p.first == static_cast<int>(i))
                n = static_cast<long>(p.second.size());
        if (n < 0) {
            const float* data = nullptr;
            getFloats(t, static_cast<int>(i), &data, &n);
            if (!data)
                continue;  // no samples: any count goes
        } else if (fnsamp >= 0) {
            const RsFieldDef& f = d.fields[static_cast<size_t>(fnsamp)];
            if (putNumber(e, f, fnsamp, true, n, 0, caller) < 0)
                return -1;
        }
        if (fnsamp >= 0) {
            long nsamp = 0;
            const RsFieldDef& f = d.fields[static_cast<size_t>(fnsamp)];
            if (f.parseLong(fieldText(e->text, f), &nsamp) == 0 && nsamp != n) {
                hl_register_error(0, "%s: nsamp %ld differs from the %ld samples of field %s.\n", caller, nsamp, n,
                                  d.fields[i].name.c_str());
                return -1;
            }
        }
    }
    return 0;
}

// Store an edit into its record: all of it or, on failure, nothing.
int commit(const Target& t, Edit* e, const char* caller)
{
    if (t.record == RS_NULL) {
        hl_register_error(0, "%s: The null record of table %s cannot be written.\n", caller, t.ref.def->name.c_str());
        return -1;
    }
    if (checkSamples(t, e, caller) < 0)
        return -1;
    if (t.record == RS_SCRATCH) {
        RsScratch& s = scratchOf(t);
        s.text = e->text;
        for (auto& p : e->floats)
            s.floats[static_cast<size_t>(p.first)] = std::move(p.second);
        for (auto& p : e->bundles)
            s.bundles[static_cast<size_t>(p.first)] = p.second;
        return 0;
    }
    RsBackend* b = t.ref.db->backend.get();
    if (!b->writable()) {
        hl_register_error(0, "%s: Database %s was opened read-only.\n", caller, t.ref.db->name.c_str());
        return -1;
    }
    if (!e->fields.empty() && b->update(t.ref.table, t.record, e->text, e->fields) < 0) {
        hl_register_error(0, "%s: Cannot write record %ld of table %s.\n", caller, t.record, t.ref.def->name.c_str());
        return -1;
    }
    for (auto& p : e->floats)
        if (b->putFloats(t.ref.table, t.record, p.first, p.second.data(), static_cast<long>(p.second.size())) < 0)
            return -1;
    for (auto& p : e->bundles)
        if (b->putBundle(t.ref.table, t.record, p.first, p.second.first, p.second.second) < 0)
            return -1;
    return 0;
}

// The scratch row's text, with a null "lddate" set to the present time.
std::string scratchForWrite(const Target& t)
{
    std::string text = scratchOf(t).text;
    const int i = t.ref.def->fieldIndex("lddate");
    if (i >= 0) {
        const RsFieldDef& f = t.ref.def->fields[static_cast<size_t>(i)];
        if (f.type == RS_TYPE_DATE && rs_trim(fieldText(text, f)) == rs_trim(f.null_field)) {
            std::string now = rs_lddate_now();
            f.formatString(now.substr(0, static_cast<size_t>(f.width)), &text[static_cast<size_t>(f.offset)]);
        }
    }
    return text;
}

// Store the scratch row's samples and bundles with record r.
int copyScratchExtras(const Target& t, long r)
{
    RsScratch& s = scratchOf(t);
    RsBackend* b = t.ref.db->backend.get();
    for (size_t i = 0; i < s.floats.size(); i++) {
        const long n = static_cast<long>(s.floats[i].size());
        if (n > 0 && b->putFloats(t.ref.table, r, static_cast<int>(i), s.floats[i].data(), n) < 0)
            return -1;
    }
    for (size_t i = 0; i < s.bundles.size(); i++)
        if (s.bundles[i].first >= 0 && b->putBundle(t.ref.table, r, static_cast<int>(i), s.bundles[i].first,
                                                    s.bundles[i].second) < 0)
            return -1;
    return 0;
}

// Addresses a table, for the functions that add records.
int tableTarget(Rsptr db, Target* t, const char* caller)
{
    Rsptr p = db;
    p.record = RS_SCRATCH;
    if (target(p, nullptr, t, caller) < 0)
        return -1;
    if (!t->ref.db->backend->writable()) {
        hl_register_error(0, "%s: Database %s was opened read-only.\n", caller, t->ref.db->name.c_str());
        return -1;
    }
    return 0;
}

}  // namespace

// ---- views and tables, for the store's modules

std::shared_ptr<RsDatabase> rs_database(Rsptr p, const char* caller)
{
    auto db = database(p);
    if (!db)
        hl_register_error(0, "%s: No open database %ld.\n", caller, p.database);
    return db;
}

// ---- opening and addressing

Rsptr rsinvalid()
{
    return Rsptr{RS_INVALID, RS_INVALID, RS_INVALID, RS_INVALID};
}

int rsisinvalid(Rsptr db)
{
    return db.database < 0 || !database(db) ? 1 : 0;
}

Rsptr rsopen(const char* path_base, const char* schema_name, int mode)
{
    if (!path_base || !*path_base) {
        hl_register_error(0, "rsopen: No database name.\n");
        return rsinvalid();
    }
    const RsSchema* schema = rsschema_find(schema_name ? schema_name : "css3.0");
    if (!schema) {
        hl_register_error(0, "rsopen: Unknown schema %s for %s.\n", schema_name ? schema_name : "css3.0", path_base);
        return rsinvalid();
    }
    auto db = std::make_shared<RsDatabase>();
    db->name = path_base;
    db->schema = schema;
    db->mode = mode;
    if (schema->memory || (mode & RS_MEMORY)) {
        db->backend = rs_memory_backend(schema);
    } else {
        std::error_code ec;
        std::filesystem::path folder = std::filesystem::path(path_base).parent_path();
        if (!folder.empty() && !std::filesystem::is_directory(folder, ec)) {
            hl_register_error(0, "rsopen: No folder %s for database %s.\n", folder.c_str(), path_base);
            return rsinvalid();
        }
        db->backend = rs_css_backend(schema, path_base, mode);
    }
    for (const RsTableDef& d : schema->tables) {
        db->null_rows.push_back(d.nullRecord());
        RsScratch s;
        s.text = db->null_rows.back();
        s.floats.resize(d.fields.size());
        s.bundles.assign(d.fields.size(), {-1, -1});
        db->scratch.push_back(std::move(s));
        db->table_files.push_back(db->backend->path(static_cast<int>(db->null_rows.size() - 1)));
    }
    Handles& h = handles();
    std::lock_guard<std::mutex> lock(h.mutex);
    db->id = h.next++;
    h.open[db->id] = db;
    return Rsptr{db->id, RS_ALL, RS_ALL, RS_ALL};
}

int rsclose(Rsptr db)
{
    Handles& h = handles();
    std::lock_guard<std::mutex> lock(h.mutex);
    if (h.open.erase(db.database) == 0) {
        hl_register_error(0, "rsclose: No open database %ld.\n", db.database);
        return -1;
    }
    return 0;
}

Rsptr rslookup(Rsptr db, const char* database_name, const char* table, const char* field, const char* record)
{
    Rsptr p = db;
    if (database_name) {
        Handles& h = handles();
        std::lock_guard<std::mutex> lock(h.mutex);
        p.database = RS_INVALID;
        for (const auto& entry : h.open)
            if (entry.second->name == database_name)
                p.database = entry.first;  // the last opened of that name
        if (p.database == RS_INVALID) {
            hl_register_error(0, "rslookup: No open database %s.\n", database_name);
            return rsinvalid();
        }
        p.table = p.field = p.record = RS_ALL;
    }
    auto d = database(p, "rslookup");
    if (!d)
        return rsinvalid();
    if (table) {
        const long ntables = static_cast<long>(d->schema->tables.size());
        long index = d->schema->tableIndex(table);
        for (size_t v = d->views.size(); index < 0 && v-- > 0;)
            if (d->views[v] && d->views[v]->name == table)
                index = ntables + static_cast<long>(v);
        if (index < 0) {
            hl_register_error(0, "rslookup: No table %s in schema %s.\n", table, d->schema->name.c_str());
            return rsinvalid();
        }
        if (index != p.table)
            p.field = RS_ALL;
        p.table = index;
    }
    if (field) {
        RsTableRef ref;
        if (rs_table_ref(p, &ref, "rslookup") < 0)
            return rsinvalid();
        const int index = ref.def->fieldIndex(field);
        if (index < 0) {
            hl_register_error(0, "rslookup: No field %s in table %s.\n", field, ref.def->name.c_str());
            return rsinvalid();
        }
        p.field = index;
    }
    if (record) {
        long r = 0;
        if (strcmp(record, "rsNULL") == 0)
            p.record = RS_NULL;
        else if (strcmp(record, "rsSCRATCH") == 0)
            p.record = RS_SCRATCH;
        else if (strcmp(record, "rsALL") == 0)
            p.record = RS_ALL;
        else if (rs_parse_long(record, &r) == 0 && r >= 0)
            p.record = r;
        else {
            hl_register_error(0, "rslookup: Bad record '%s'.\n", record);
            return rsinvalid();
        }
    }
    return p;
}

// ---- fields as text

int rsget(Rsptr db, char* buffer)
{
    if (!buffer) {
        hl_register_error(0, "rsget: No buffer.\n");
        return -1;
    }
    Target t;
    if (target(db, nullptr, &t, "rsget") < 0)
        return -1;
    if (db.field == RS_ALL) {
        std::string_view text = t.ref.text(t.record);
        memcpy(buffer, text.data(), text.size());
        buffer[text.size()] = '\0';
        return 0;
    }
    if (db.field < 0 || db.field >= static_cast<long>(t.ref.def->fields.size())) {
        hl_register_error(0, "rsget: No field %ld in table %s.\n", db.field, t.ref.def->name.c_str());
        return -1;
    }
    return fieldAsText(t, static_cast<int>(db.field), buffer);
}

int rsput(Rsptr db, const char* text)
{
    Target t;
    if (!text) {
        hl_register_error(0, "rsput: No text.\n");
        return -1;
    }
    if (target(db, nullptr, &t, "rsput") < 0)
        return -1;
    const RsTableDef& d = *t.ref.def;
    Edit e;
    e.text = std::string(t.ref.text(t.record));
    if (db.field == RS_ALL) {
        std::string_view whole(text);
        if (!whole.empty() && whole.back() == '\n')
            whole.remove_suffix(1);
        std::string why;
        if (!d.checkRecord(whole, &why)) {
            hl_register_error(0, "rsput: Not a record of table %s: %s.\n", d.name.c_str(), why.c_str());
            return -1;
        }
        e.text.assign(whole.data(), static_cast<size_t>(d.width));
        for (size_t i = 0; i < d.fields.size(); i++)
            if (d.fields[i].inText())
                e.fields.push_back(static_cast<int>(i));
    } else {
        if (db.field < 0 || db.field >= static_cast<long>(d.fields.size())) {
            hl_register_error(0, "rsput: No field %ld in table %s.\n", db.field, d.name.c_str());
            return -1;
        }
        const int field = static_cast<int>(db.field);
        const RsFieldDef& f = d.fields[static_cast<size_t>(field)];
        if (!f.inText()) {
            hl_register_error(0, "rsput: Field %s cannot be set from text.\n", f.name.c_str());
            return -1;
        }
        int ok = 0;
        if (f.isInteger()) {
            long v = 0;
            ok = rs_parse_long(text, &v) == 0 ? putNumber(&e, f, field, true, v, 0, "rsput") : -2;
        } else if (f.isNumeric()) {
            double v = 0;
            bool good = rs_parse_double(text, &v) == 0;
            if (!good && f.type == RS_TYPE_TIME) {
                v = timeparse(text);
                good = v != HL_TIME_NULL;
            }
            ok = good ? putNumber(&e, f, field, false, 0, v, "rsput") : -2;
        } else {
            ok = putString(&e, f, field, text, "rsput");
        }
        if (ok == -2)
            hl_register_error(0, "rsput: '%.64s' is not a value of field %s.\n", text, f.name.c_str());
        if (ok < 0)
            return -1;
    }
    return commit(t, &e, "rsput");
}

// ---- fields by name

int rsgetv(Rsptr db, const char* table, ...)
{
    Target t;
    if (target(db, table, &t, "rsgetv") < 0)
        return -1;
    const RsTableDef& d = *t.ref.def;
    std::vector<std::pair<int, void*>> wanted;
    va_list ap;
    va_start(ap, table);
    while (true) {
        const char* name = va_arg(ap, const char*);
        if (!name)
            break;
        void* out = va_arg(ap, void*);
        const int field = d.fieldIndex(name);
        if (field < 0 || !out || wanted.size() >= kPairsMax) {
            va_end(ap);
            hl_register_error(0, "rsgetv: %s%s in table %s.\n", field < 0 ? "No field " : "No place for field ", name,
                              d.name.c_str());
            return -1;
        }
        wanted.emplace_back(field, out);
    }
    va_end(ap);
    std::string_view text = t.ref.text(t.record);
    for (const auto& w : wanted) {
        const RsFieldDef& f = d.fields[static_cast<size_t>(w.first)];
        switch (f.type) {
        case RS_TYPE_INTEGER:
        case RS_TYPE_JDATE:
            if (f.parseLong(fieldText(text, f), static_cast<long*>(w.second)) < 0)
                *static_cast<long*>(w.second) = f.null_long;
            break;
        case RS_TYPE_REAL:
        case RS_TYPE_TIME:
            if (f.parseDouble(fieldText(text, f), static_cast<double*>(w.second)) < 0)
                *static_cast<double*>(w.second) = f.null_double;
            break;
        case RS_TYPE_FLOATS: {
            long n = 0;
            getFloats(t, w.first, static_cast<const float**>(w.second), &n);
            break;
        }
        case RS_TYPE_BUNDLE: {
            long first = 0, last = 0;
            getBundle(t, w.first, &first, &last);
            *static_cast<Rsptr*>(w.second) = Rsptr{t.ref.db->id, t.ref.table, RS_BUNDLE, first};
            break;
        }
        default: {
            std::string_view v = rs_trim(fieldText(text, f));
            char* out = static_cast<char*>(w.second);
            memcpy(out, v.data(), v.size());
            out[v.size()] = '\0';
            break;
        }
        }
    }
    return 0;
}

int rsputv(Rsptr db, const char* table, ...)
{
    Target t;
    if (target(db, table, &t, "rsputv") < 0)
        return -1;
    const RsTableDef& d = *t.ref.def;
    Edit e;
    e.text = std::string(t.ref.text(t.record));
    va_list ap;
    va_start(ap, table);
    int ok = 0;
    for (int pairs = 0; ok == 0; pairs++) {
        const char* name = va_arg(ap, const char*);
        if (!name)
            break;
        const int field = d.fieldIndex(name);
        if (field < 0 || pairs >= kPairsMax) {
            // the type of what follows is unknown: stop reading arguments
            hl_register_error(0, "rsputv: No field %s in table %s.\n", name, d.name.c_str());
            ok = -1;
            break;
        }
        const RsFieldDef& f = d.fields[static_cast<size_t>(field)];
        switch (f.type) {
        case RS_TYPE_INTEGER:
        case RS_TYPE_JDATE:
            ok = putNumber(&e, f, field, true, va_arg(ap, long), 0, "rsputv");
            break;
        case RS_TYPE_REAL:
        case RS_TYPE_TIME:
            ok = putNumber(&e, f, field, false, 0, va_arg(ap, double), "rsputv");
            break;
        case RS_TYPE_FLOATS: {
            const float* data = va_arg(ap, const float*);
            const long n = va_arg(ap, long);
            if (n < 0 || (n > 0 && !data) || n > (1L << 31)) {
                hl_register_error(0, "rsputv: Bad sample count %ld for field %s.\n", n, f.name.c_str());
                ok = -1;
                break;
            }
            try {
                e.floats.emplace_back(field, std::vector<float>(data, data + n));
            } catch (const std::bad_alloc&) {
                hl_register_error(1, "rsputv: Out of memory for %ld samples.\n", n);
                ok = -1;
            }
            break;
        }
        case RS_TYPE_BUNDLE: {
            const long first = va_arg(ap, long);
            const long last = va_arg(ap, long);
            if (first < 0 || last < first) {
                hl_register_error(0, "rsputv: Bad bundle %ld to %ld for field %s.\n", first, last, f.name.c_str());
                ok = -1;
                break;
            }
            e.bundles.push_back({field, {first, last}});
            break;
        }
        default:
            ok = putString(&e, f, field, va_arg(ap, const char*), "rsputv");
            break;
        }
    }
    va_end(ap);
    if (ok < 0)
        return -1;
    return commit(t, &e, "rsputv");
}

// ---- records

long rsaddnull(Rsptr db)
{
    Target t;
    if (tableTarget(db, &t, "rsaddnull") < 0)
        return -1;
    long r = t.ref.db->backend->append(t.ref.table, t.ref.text(RS_NULL));
    if (r < 0)
        hl_register_error(0, "rsaddnull: Cannot add a record to table %s.\n", t.ref.def->name.c_str());
    return r;
}

long rsaddrecord(Rsptr db)
{
    Target t;
    if (tableTarget(db, &t, "rsaddrecord") < 0)
        return -1;
    long r = t.ref.db->backend->append(t.ref.table, scratchForWrite(t));
    if (r < 0 || copyScratchExtras(t, r) < 0) {
        hl_register_error(0, "rsaddrecord: Cannot add a record to table %s.\n", t.ref.def->name.c_str());
        return -1;
    }
    return r;
}

long rsputrecord(Rsptr db)
{
    Target t;
    if (tableTarget(db, &t, "rsputrecord") < 0)
        return -1;
    long r = t.ref.db->backend->put(t.ref.table, scratchForWrite(t));
    if (r < 0 || copyScratchExtras(t, r) < 0) {
        hl_register_error(0, "rsputrecord: Cannot store a record of table %s.\n", t.ref.def->name.c_str());
        return -1;
    }
    return r;
}

int rsload_scratch(Rsptr db)
{
    Target t;
    if (target(db, nullptr, &t, "rsload_scratch") < 0)
        return -1;
    if (t.record == RS_SCRATCH)
        return 0;
    RsScratch s;
    s.text = std::string(t.ref.text(t.record));
    const size_t nfields = t.ref.def->fields.size();
    s.floats.resize(nfields);
    s.bundles.assign(nfields, {-1, -1});
    if (t.record != RS_NULL) {
        for (size_t i = 0; i < nfields; i++) {
            const RsFieldDef& f = t.ref.def->fields[i];
            if (f.type == RS_TYPE_FLOATS) {
                const float* data = nullptr;
                long n = 0;
                t.ref.db->backend->getFloats(t.ref.table, t.record, static_cast<int>(i), &data, &n);
                if (data)
                    s.floats[i].assign(data, data + n);
            } else if (f.type == RS_TYPE_BUNDLE) {
                long first = 0, last = 0;
                t.ref.db->backend->getBundle(t.ref.table, t.record, static_cast<int>(i), &first, &last);
                s.bundles[i] = {first, last};
            }
        }
    }
    scratchOf(t) = std::move(s);
    return 0;
}

long rsnextid(Rsptr db, const char* name)
{
    auto d = database(db, "rsnextid");
    if (!d)
        return -1;
    if (!name || !*name) {
        hl_register_error(0, "rsnextid: No counter name.\n");
        return -1;
    }
    if (!d->backend->writable()) {
        hl_register_error(0, "rsnextid: Database %s was opened read-only.\n", d->name.c_str());
        return -1;
    }
    long id = d->backend->nextId(name);
    if (id < 0)
        hl_register_error(0, "rsnextid: No next value of %s in database %s.\n", name, d->name.c_str());
    return id;
}


void rsptr_print(Rsptr db, char* buffer)
{
    snprintf(buffer, RS_PTR_TEXT, "%ld %ld %ld %ld", db.database, db.table, db.field, db.record);
}

int rsptr_parse(const char* text, Rsptr* db)
{
    if (!text || !db)
        return -1;
    Rsptr p;
    int end = 0;
    if (sscanf(text, " %ld %ld %ld %ld %n", &p.database, &p.table, &p.field, &p.record, &end) != 4 ||
        text[end] != '\0')
        return -1;
    *db = p;
    return 0;
}
