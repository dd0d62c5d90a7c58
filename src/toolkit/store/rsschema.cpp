#include "toolkit/store/rsschema_p.h"

#include "toolkit/base/errors.h"
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/base/strings.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

namespace {

constexpr size_t kSchemaFileMax = 4 << 20;  // a schema file is small text
constexpr int kNameMax = 64;

bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

struct FormatParts
{
    bool left = false;
    int width = -1;
    int precision = -1;
    char conversion = 0;
    bool isLong = false;
};

// Read a format of the forms "%-Ws", "%-W.Ws", "%Wld", "%W.Pf|e|g".
bool parseFormat(const std::string& f, FormatParts* parts)
{
    size_t i = 0;
    if (f.size() < 3 || f[i++] != '%')
        return false;
    if (f[i] == '-') {
        parts->left = true;
        i++;
    }
    auto number = [&](int* out) {
        if (i >= f.size() || !isDigit(f[i]))
            return false;
        long v = 0;
        while (i < f.size() && isDigit(f[i]) && v < 100000)
            v = v * 10 + (f[i++] - '0');
        *out = static_cast<int>(v);
        return true;
    };
    if (!number(&parts->width))
        return false;
    if (i < f.size() && f[i] == '.') {
        i++;
        if (!number(&parts->precision))
            return false;
    }
    if (i < f.size() && f[i] == 'l') {
        parts->isLong = true;
        i++;
    }
    if (i >= f.size())
        return false;
    parts->conversion = f[i++];
    return i == f.size();
}

bool validName(std::string_view name, bool schema)
{
    if (name.empty() || name.size() > kNameMax)
        return false;
    for (char c : name) {
        bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDigit(c) || c == '_' ||
                  (schema && (c == '.' || c == '-' || c == '+'));
        if (!ok)
            return false;
    }
    return true;
}

struct TypeName
{
    const char* name;
    int type;
};

const TypeName kTypes[] = {
    {"string", RS_TYPE_STRING}, {"integer", RS_TYPE_INTEGER}, {"real", RS_TYPE_REAL}, {"time", RS_TYPE_TIME},
    {"jdate", RS_TYPE_JDATE},   {"date", RS_TYPE_DATE},       {"floats", RS_TYPE_FLOATS}, {"bundle", RS_TYPE_BUNDLE},
};

// The schema file reader; collects the first fault as text.
class SchemaReader
{
public:
    SchemaReader(const char* filename) : filename_(filename ? filename : "(text)") {}

    int read(std::string_view text, std::vector<std::unique_ptr<RsSchema>>* out, std::string* error);

private:
    bool fail(const std::string& what)
    {
        if (error_.empty()) {
            std::ostringstream s;
            s << filename_ << " line " << line_ << ": " << what;
            error_ = s.str();
        }
        return false;
    }
    bool statement(std::string_view text);
    bool field(const std::vector<std::string_view>& words, std::string_view description);
    bool finishTable();
    bool finishSchema();

    std::string filename_;
    int line_ = 0;
    std::string error_;
    std::vector<std::unique_ptr<RsSchema>> schemas_;
    RsSchema* schema_ = nullptr;
    RsTableDef* table_ = nullptr;
    std::vector<std::string> key_names_;
    int key_line_ = 0;
};

bool SchemaReader::field(const std::vector<std::string_view>& w, std::string_view description)
{
    if (w.size() < 6)
        return fail("a field needs a name, type, width, format and null value");
    RsFieldDef f;
    f.name = std::string(w[1]);
    if (!validName(w[1], false))
        return fail("bad field name '" + f.name + "'");
    if (table_->fieldIndex(w[1]) >= 0)
        return fail("field '" + f.name + "' given twice");
    for (const TypeName& t : kTypes)
        if (w[2] == t.name)
            f.type = t.type;
    if (f.type == 0)
        return fail("unknown type '" + std::string(w[2]) + "'");
    long width = 0;
    if (rs_parse_long(w[3], &width) < 0 || width < 0 || width > RS_RECORD_MAX)
        return fail("bad width '" + std::string(w[3]) + "'");
    f.width = static_cast<int>(width);
    f.format = std::string(w[4]);
    f.null_text = std::string(w[5]);
    f.description = std::string(description);

    if (f.type == RS_TYPE_FLOATS || f.type == RS_TYPE_BUNDLE) {
        if (!schema_->memory)
            return fail("type '" + std::string(w[2]) + "' is only for memory schemas");
        if (f.width != 0 || f.format != "-" || f.null_text != "-")
            return fail("a field of type '" + std::string(w[2]) + "' has width 0, format '-' and null '-'");
        table_->fields.push_back(std::move(f));
        return true;
    }
    if (f.width < 1)
        return fail("field '" + f.name + "' has width 0");
    FormatParts parts;
    if (!parseFormat(f.format, &parts) || parts.width != f.width)
        return fail("format '" + f.format + "' is not of width " + std::to_string(f.width));
    bool ok = false;
    switch (f.type) {
    case RS_TYPE_STRING:
    case RS_TYPE_DATE:
        ok = parts.left && parts.conversion == 's' && !parts.isLong &&
             (parts.precision < 0 || parts.precision == f.width);
        break;
    case RS_TYPE_INTEGER:
    case RS_TYPE_JDATE:
        ok = !parts.left && parts.conversion == 'd' && parts.isLong && parts.precision < 0;
        break;
    default:
        ok = !parts.left && !parts.isLong && parts.precision >= 0 && parts.precision <= 30 &&
             (parts.conversion == 'f' || parts.conversion == 'e' || parts.conversion == 'g');
        break;
    }
    if (!ok)
        return fail("format '" + f.format + "' does not suit type '" + std::string(w[2]) + "'");
    f.conversion = parts.conversion;
    f.precision = parts.precision;

    std::vector<char> out(static_cast<size_t>(f.width));
    int fits = -1;
    if (f.isInteger()) {
        if (rs_parse_long(f.null_text, &f.null_long) < 0)
            return fail("null value '" + f.null_text + "' is not an integer");
        fits = f.formatLong(f.null_long, out.data());
    } else if (f.isNumeric()) {
        if (rs_parse_double(f.null_text, &f.null_double) < 0)
            return fail("null value '" + f.null_text + "' is not a number");
        char full[64];
        int n = snprintf(full, sizeof full, f.format.c_str(), f.null_double);
        fits = n == f.width ? f.formatDouble(f.null_double, out.data()) : -1;
    } else {
        fits = static_cast<int>(f.null_text.size()) <= f.width ? 0 : -1;
        std::fill(out.begin(), out.end(), ' ');
        std::copy(f.null_text.begin(), f.null_text.end(), out.begin());
    }
    if (fits < 0)
        return fail("null value '" + f.null_text + "' does not fit format '" + f.format + "'");
    f.null_field.assign(out.data(), out.size());
    table_->fields.push_back(std::move(f));
    return true;
}

bool SchemaReader::finishTable()
{
    if (!table_)
        return true;
    int offset = 0;
    for (RsFieldDef& f : table_->fields) {
        if (f.type == RS_TYPE_FLOATS || f.type == RS_TYPE_BUNDLE)
            continue;
        if (offset > 0) {
            table_->separators.push_back(offset);
            offset++;  // the blank between fields
        }
        f.offset = offset;
        if (f.isNumeric())
            table_->numbers.push_back({offset, f.width, f.isInteger()});
        offset += f.width;
    }
    if (offset == 0) {
        line_ = table_->line;
        return fail("table '" + table_->name + "' has no fields");
    }
    if (offset > RS_RECORD_MAX) {
        line_ = table_->line;
        return fail("records of table '" + table_->name + "' are " + std::to_string(offset) +
                    " characters long, more than " + std::to_string(RS_RECORD_MAX));
    }
    table_->width = offset;
    for (const std::string& k : key_names_) {
        int i = table_->fieldIndex(k);
        if (i < 0 || !table_->fields[static_cast<size_t>(i)].inText()) {
            line_ = key_line_;
            return fail("key field '" + k + "' is not a field of table '" + table_->name + "'");
        }
        table_->key.push_back(i);
    }
    key_names_.clear();
    table_ = nullptr;
    return true;
}

bool SchemaReader::finishSchema()
{
    if (!finishTable())
        return false;
    if (schema_ && schema_->tables.empty())
        return fail("schema '" + schema_->name + "' has no tables");
    return true;
}

bool SchemaReader::statement(std::string_view text)
{
    std::vector<std::string_view> words;
    std::string_view description;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && isBlank(text[i]))
            i++;
        if (i >= text.size())
            break;
        if (words.size() == 6) {
            description = rs_trim(text.substr(i));
            break;
        }
        size_t start = i;
        while (i < text.size() && !isBlank(text[i]))
            i++;
        words.push_back(text.substr(start, i - start));
    }
    if (words.empty() || words[0][0] == '#')
        return true;
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t')
            return fail("control character in the line");
    std::string_view word = words[0];
    if (word == "schema") {
        if (!finishSchema())
            return false;
        if (words.size() < 2 || words.size() > 3 || (words.size() == 3 && words[2] != "memory"))
            return fail("expected 'schema NAME [memory]'");
        if (!validName(words[1], true))
            return fail("bad schema name '" + std::string(words[1]) + "'");
        for (const auto& s : schemas_)
            if (s->name == words[1])
                return fail("schema '" + std::string(words[1]) + "' given twice");
        auto s = std::make_unique<RsSchema>();
        s->name = std::string(words[1]);
        s->memory = words.size() == 3;
        s->file = filename_;
        schema_ = s.get();
        schemas_.push_back(std::move(s));
        return true;
    }
    if (word == "table") {
        if (!schema_)
            return fail("'table' before any 'schema'");
        if (!finishTable())
            return false;
        if (words.size() != 2 || !validName(words[1], false))
            return fail("expected 'table NAME'");
        if (schema_->tableIndex(words[1]) >= 0)
            return fail("table '" + std::string(words[1]) + "' given twice");
        schema_->tables.emplace_back();
        table_ = &schema_->tables.back();
        table_->name = std::string(words[1]);
        table_->line = line_;
        return true;
    }
    if (word == "key") {
        if (!table_)
            return fail("'key' outside a table");
        if (words.size() < 2 || words.size() > 6 || !key_names_.empty())
            return fail("expected one 'key FIELD [FIELD ...]' of at most five fields");
        for (size_t k = 1; k < words.size(); k++)
            key_names_.emplace_back(words[k]);
        key_line_ = line_;
        return true;
    }
    if (word == "field") {
        if (!table_)
            return fail("'field' outside a table");
        return field(words, description);
    }
    return fail("unknown statement '" + std::string(word) + "'");
}

int SchemaReader::read(std::string_view text, std::vector<std::unique_ptr<RsSchema>>* out, std::string* error)
{
    if (text.size() > kSchemaFileMax) {
        *error = filename_ + ": more than " + std::to_string(kSchemaFileMax) + " bytes";
        return -1;
    }
    size_t pos = 0;
    bool ok = true;
    while (ok && pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string_view::npos)
            end = text.size();
        line_++;
        ok = statement(text.substr(pos, end - pos));
        pos = end + 1;
    }
    if (ok) {
        line_++;
        ok = finishSchema();
    }
    if (ok && schemas_.empty()) {
        error_ = filename_ + ": no schema";
        ok = false;
    }
    if (!ok) {
        *error = error_;
        return -1;
    }
    int n = static_cast<int>(schemas_.size());
    for (auto& s : schemas_)
        out->push_back(std::move(s));
    return n;
}

int readFileText(const char* path, std::string* text, std::string* error)
{
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        *error = std::string("No schema file '") + path + "'";
        return -1;
    }
    auto size = std::filesystem::file_size(path, ec);
    if (ec || size > kSchemaFileMax) {
        *error = std::string("Schema file '") + path + "' is too large or unreadable";
        return -1;
    }
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    if (!in.good() && !in.eof()) {
        *error = std::string("Cannot read schema file '") + path + "'";
        return -1;
    }
    *text = s.str();
    return 0;
}

// Every schema read by rsschema_find(), never freed, and what each file gave.
struct SchemaCache
{
    std::mutex mutex;
    std::vector<std::unique_ptr<RsSchema>> schemas;
    std::map<std::string, std::string> files;  // path read -> its error, empty when good
};

SchemaCache& cache()
{
    static SchemaCache* c = new SchemaCache;  // lives as long as the process
    return *c;
}

// Read path into the cache once.
void cacheFile(SchemaCache& c, const std::string& path)
{
    if (c.files.count(path))
        return;
    std::string text, error;
    if (readFileText(path.c_str(), &text, &error) == 0) {
        SchemaReader reader(path.c_str());
        std::vector<std::unique_ptr<RsSchema>> got;
        if (reader.read(text, &got, &error) >= 0) {
            for (auto& s : got)
                c.schemas.push_back(std::move(s));
        }
    }
    c.files[path] = error;
}

std::vector<std::string> searchEntries()
{
    std::vector<std::string> entries;
    if (const char* env = getenv("VXPLOT_SCHEMA_PATH")) {
        std::string_view p(env);
        while (!p.empty()) {
            size_t colon = p.find(':');
            std::string_view part = p.substr(0, colon);
            if (!part.empty())
                entries.emplace_back(part);
            if (colon == std::string_view::npos)
                break;
            p.remove_prefix(colon + 1);
        }
    }
#ifdef VX_DATADIR
    entries.emplace_back(VX_DATADIR "/schema");
#endif
#ifdef VX_SOURCE_DATADIR
    entries.emplace_back(VX_SOURCE_DATADIR "/schema");
#endif
    return entries;
}

// The ".schema" files of a folder in name order, or the entry itself.
std::vector<std::string> entryFiles(const std::string& entry)
{
    std::vector<std::string> files;
    std::error_code ec;
    if (std::filesystem::is_directory(entry, ec)) {
        for (const auto& e : std::filesystem::directory_iterator(entry, ec)) {
            const std::string p = e.path().string();
            if (e.is_regular_file(ec) && p.size() > 7 && p.compare(p.size() - 7, 7, ".schema") == 0)
                files.push_back(p);
        }
        std::sort(files.begin(), files.end());
    } else if (std::filesystem::is_regular_file(entry, ec)) {
        files.push_back(entry);
    }
    return files;
}

const RsSchema* findLoaded(SchemaCache& c, std::string_view name, const std::string& file)
{
    for (const auto& s : c.schemas)
        if (s->name == name && (file.empty() || s->file == file))
            return s.get();
    return nullptr;
}

}  // namespace

int RsSchema::tableIndex(std::string_view n) const
{
    for (size_t i = 0; i < tables.size(); i++)
        if (tables[i].name == n)
            return static_cast<int>(i);
    return -1;
}

int rsschema_parse(std::string_view text, const char* filename, std::vector<std::unique_ptr<RsSchema>>* schemas)
{
    if (!schemas) {
        hl_register_error(0, "rsschema_parse: No list for the schemas.\n");
        return -1;
    }
    std::string error;
    SchemaReader reader(filename);
    int n = reader.read(text, schemas, &error);
    if (n < 0)
        hl_register_error(0, "rsschema_parse: %s.\n", error.c_str());
    return n;
}

int rsschema_read(const char* path, std::vector<std::unique_ptr<RsSchema>>* schemas)
{
    std::string text, error;
    if (!path || readFileText(path, &text, &error) < 0) {
        hl_register_error(0, "rsschema_read: %s.\n", path ? error.c_str() : "No path");
        return -1;
    }
    int n = rsschema_parse(text, path, schemas);
    if (n < 0)
        hl_register_error(0, "rsschema_read: rsschema_parse(%s) error.\n", path);
    return n;
}

const RsSchema* rsschema_find(const char* name)
{
    if (!name || !*name) {
        hl_register_error(0, "rsschema_find: No schema name.\n");
        return nullptr;
    }
    SchemaCache& c = cache();
    std::lock_guard<std::mutex> lock(c.mutex);
    if (strchr(name, '/')) {
        std::string path(name);
        cacheFile(c, path);
        for (const auto& s : c.schemas)
            if (s->file == path)
                return s.get();
        hl_register_error(0, "rsschema_find: %s.\n", c.files[path].c_str());
        return nullptr;
    }
    std::vector<std::string> searched;
    for (const std::string& entry : searchEntries()) {
        for (const std::string& file : entryFiles(entry)) {
            cacheFile(c, file);
            if (const RsSchema* s = findLoaded(c, name, file))
                return s;
            searched.push_back(file);
        }
    }
    // a schema read earlier from a file given by its path
    if (const RsSchema* s = findLoaded(c, name, std::string()))
        return s;
    std::string where;
    for (const std::string& f : searched) {
        where += where.empty() ? "" : ", ";
        where += f;
        if (!c.files[f].empty())
            hl_register_error(0, "rsschema_find: %s.\n", c.files[f].c_str());
    }
    hl_register_error(0, "rsschema_find: No schema '%s' in %s.\n", name,
                      where.empty() ? "any schema file (none found)" : where.c_str());
    return nullptr;
}

// ---- rsquery(): what a database, table or field is

namespace {

Tbl* nameList(const std::vector<const std::string*>& names)
{
    Tbl* list = seqnew(static_cast<int>(names.size()));
    for (size_t i = 0; list && i < names.size(); i++)
        if (seqpush(list, const_cast<char*>(names[i]->c_str())) < 0) {
            seqfree(list, nullptr);
            return nullptr;
        }
    return list;
}

template <class T>
int answer(void* result, T value)
{
    *static_cast<T*>(result) = value;
    return 0;
}

int answerList(void* result, Tbl* list)
{
    if (!list) {
        hl_register_error(1, "rsquery: Cannot make a list.\n");
        return -1;
    }
    return answer(result, list);
}

}  // namespace

int rsquery(Rsptr db, int code, void* result)
{
    if (!result) {
        hl_register_error(0, "rsquery: No place for the answer.\n");
        return -1;
    }
    auto d = rs_database(db, "rsquery");
    if (!d)
        return -1;
    switch (code) {
    case RS_SCHEMA_NAME:
        return answer(result, d->schema->name.c_str());
    case RS_DATABASE_NAME:
        return answer(result, d->name.c_str());
    case RS_TABLE_COUNT:
        return answer(result, static_cast<long>(d->schema->tables.size()));
    case RS_SCHEMA_TABLES: {
        std::vector<const std::string*> names;
        for (const RsTableDef& t : d->schema->tables)
            names.push_back(&t.name);
        return answerList(result, nameList(names));
    }
    default:
        break;
    }
    RsTableRef ref;
    if (rs_table_ref(db, &ref, "rsquery") < 0)
        return -1;
    const RsTableDef& def = *ref.def;
    switch (code) {
    case RS_TABLE_NAME:
        return answer(result, ref.view ? ref.view->name.c_str() : def.name.c_str());
    case RS_RECORD_COUNT:
        return answer(result, ref.count());
    case RS_FIELD_COUNT:
        return answer(result, static_cast<long>(def.fields.size()));
    case RS_RECORD_SIZE:
        return answer(result, static_cast<long>(def.width));
    case RS_TABLE_FILENAME:
        return answer(result, d->table_files[static_cast<size_t>(ref.table)].c_str());
    case RS_TABLE_FIELDS:
    case RS_TABLE_KEYS: {
        std::vector<const std::string*> names;
        if (code == RS_TABLE_FIELDS)
            for (const RsFieldDef& f : def.fields)
                names.push_back(&f.name);
        else
            for (int k : def.key)
                names.push_back(&def.fields[static_cast<size_t>(k)].name);
        return answerList(result, nameList(names));
    }
    case RS_TABLE_IS_VIEW:
        return answer(result, ref.view ? 1L : 0L);
    case RS_TABLE_IS_WRITABLE:
        return answer(result, !ref.view && d->backend->writable() ? 1L : 0L);
    case RS_BAD_ROW_COUNT:
        return answer(result, d->backend->badRows(ref.table));
    case RS_VIEW_TABLE:
        return answer(result, Rsptr{d->id, ref.table, RS_ALL, RS_ALL});
    default:
        break;
    }
    const bool field_code = code == RS_FIELD_NAME || code == RS_FIELD_TYPE || code == RS_FIELD_SIZE ||
                            code == RS_FIELD_FORMAT || code == RS_FIELD_NULL || code == RS_FIELD_OFFSET ||
                            code == RS_FIELD_DESCRIPTION;
    if (!field_code) {
        hl_register_error(0, "rsquery: Unknown query code %d.\n", code);
        return -1;
    }
    if (db.field < 0 || db.field >= static_cast<long>(def.fields.size())) {
        hl_register_error(0, "rsquery: No field chosen in table %s.\n", def.name.c_str());
        return -1;
    }
    const RsFieldDef& f = def.fields[static_cast<size_t>(db.field)];
    switch (code) {
    case RS_FIELD_NAME:
        return answer(result, f.name.c_str());
    case RS_FIELD_TYPE:
        return answer(result, static_cast<long>(f.type));
    case RS_FIELD_SIZE:
        return answer(result, static_cast<long>(f.width));
    case RS_FIELD_FORMAT:
        return answer(result, f.format.c_str());
    case RS_FIELD_NULL:
        return answer(result, f.null_text.c_str());
    case RS_FIELD_OFFSET:
        return answer(result, static_cast<long>(f.offset));
    default:
        return answer(result, f.description.c_str());
    }
}
