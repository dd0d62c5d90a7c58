// The configuration engine.
#include "toolkit/params/hlconfigure.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"

#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>
#include <unordered_set>

namespace {

// Built-in type of a row, worked out once at registration.
enum RowKind {
    KIND_BOOLEAN,
    KIND_INT,
    KIND_DOUBLE,
    KIND_STRING,
    KIND_PTR,
    KIND_CUSTOM,
    KIND_OTHER,  // handled by a registered type parser only
};

constexpr int max_rows = 4096;

bool isEnd(const HL_ConfigureSpec& row)
{
    return !row.type || strcmp(row.type, "end") == 0;
}

int rowKind(const char* type)
{
    static const struct
    {
        const char* word;
        int kind;
    } words[] = {{"boolean", KIND_BOOLEAN}, {"int", KIND_INT},   {"double", KIND_DOUBLE},
                 {"string", KIND_STRING},   {"ptr", KIND_PTR},   {"custom", KIND_CUSTOM}};
    for (const auto& w : words)
        if (strcmp(type, w.word) == 0)
            return w.kind;
    return KIND_OTHER;
}

// A value shortened for a message: its first line, at most 120 bytes.
std::string shown(const char* value)
{
    if (!value)
        return "(null)";
    std::string_view s(value);
    size_t nl = s.find('\n');
    bool cut = nl != std::string_view::npos || s.size() > 120;
    std::string out(s.substr(0, std::min(nl, static_cast<size_t>(120))));
    if (cut)
        out += "...";
    return out;
}

// Which object frees the "string" fields of a record: the first one that
// registered it.  Objects are made on several threads in tests, so the map
// has a lock although configuration itself is single-threaded.
std::mutex& ownersMutex()
{
    static std::mutex m;
    return m;
}
std::unordered_map<char*, const HLConfigure*>& recordOwners()
{
    static std::unordered_map<char*, const HLConfigure*> owners;
    return owners;
}

template <class T>
T& field(char* rec, int offset)
{
    return *reinterpret_cast<T*>(rec + offset);
}

int parseInt(const char* s, int* out)
{
    if (!s)
        return -1;
    char* end = nullptr;
    errno = 0;
    long v = strtol(s, &end, 10);
    if (end == s)
        return -1;
    while (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r' || *end == '\v' || *end == '\f')
        end++;
    if (*end != '\0' || errno == ERANGE || v < INT_MIN || v > INT_MAX)
        return -1;
    *out = static_cast<int>(v);
    return 0;
}

int parseDouble(const char* s, double* out)
{
    if (!s)
        return -1;
    char* end = nullptr;
    errno = 0;
    double v = fixed_strtod(s, &end);
    if (end == s)
        return -1;
    while (*end == ' ' || *end == '\t' || *end == '\n' || *end == '\r' || *end == '\v' || *end == '\f')
        end++;
    if (*end != '\0' || (errno == ERANGE && std::isinf(v)))
        return -1;
    *out = v;
    return 0;
}

} // namespace

HLConfigure::HLConfigure() = default;

HLConfigure::~HLConfigure()
{
    releaseConfigureStrings();
}

void HLConfigure::releaseConfigureStrings()
{
    std::lock_guard<std::mutex> lock(ownersMutex());
    auto& owners = recordOwners();
    std::unordered_set<char**> freed;
    for (const auto& specs : configure_specs_tbl) {
        auto it = owners.find(specs->paramRec);
        if (it == owners.end() || it->second != this)
            continue;
        for (HL_ConfigureSpec* row = specs->configureSpec; !isEnd(*row); row++) {
            if (rowKind(row->type) != KIND_STRING)
                continue;
            char** p = &field<char*>(specs->paramRec, row->offset);
            if (freed.insert(p).second) {
                free(*p);
                *p = nullptr;
            }
        }
    }
    for (const auto& specs : configure_specs_tbl) {
        auto it = owners.find(specs->paramRec);
        if (it != owners.end() && it->second == this)
            owners.erase(it);
    }
}

int HLConfigure::addTypeParser(const std::string& type, HL_TypeParserProc* proc)
{
    if (type.empty() || !proc) {
        hl_register_error(0, "HLConfigure::addTypeParser: Need a type word and a parser.\n");
        return -1;
    }
    type_parsers_arr[type] = proc;
    return 0;
}

int HLConfigure::addTypePrinter(const std::string& type, HL_TypePrintProc* proc)
{
    if (type.empty() || !proc) {
        hl_register_error(0, "HLConfigure::addTypePrinter: Need a type word and a printer.\n");
        return -1;
    }
    type_printers_arr[type] = proc;
    return 0;
}

int HLConfigure::setConfigureSpecs(HL_ConfigureSpec* table, char* paramRec, const char* class_name,
                                   void* object_ptr, int apply_defaults)
{
    const char* cls = class_name ? class_name : "(no class)";
    if (!table || !paramRec) {
        hl_register_error(0, "HLConfigure::setConfigureSpecs: Null table or record for %s.\n", cls);
        return -1;
    }
    int n = 0;
    for (; n <= max_rows && !isEnd(table[n]); n++) {
        const HL_ConfigureSpec& row = table[n];
        if (!row.name || !*row.name) {
            hl_register_error(0, "HLConfigure::setConfigureSpecs: Row %d of %s has no key.\n", n, cls);
            return -1;
        }
        if (rowKind(row.type) == KIND_CUSTOM && (!row.customPtr || !row.customPtr->parseProc)) {
            hl_register_error(0, "HLConfigure::setConfigureSpecs: Custom key '%s' of %s has no parse procedure.\n",
                              row.name, cls);
            return -1;
        }
    }
    if (n > max_rows) {
        hl_register_error(0, "HLConfigure::setConfigureSpecs: Table of %s has no end row in %d rows.\n", cls,
                          max_rows);
        return -1;
    }
    for (const auto& specs : configure_specs_tbl)
        if (specs->configureSpec == table && specs->paramRec == paramRec)
            return 0;

    std::vector<KeyRef> refs;
    try {
        auto specs = std::make_unique<HLConfigureSpecs>(HLConfigureSpecs{table, paramRec, nullptr, class_name, object_ptr});
        for (int i = 0; i < n; i++)
            refs.push_back({specs.get(), &table[i], rowKind(table[i].type)});
        configure_specs_tbl.push_back(std::move(specs));
        for (const KeyRef& ref : refs)
            configure_specs_arr[ref.spec->name].push_back(ref);
        std::lock_guard<std::mutex> lock(ownersMutex());
        recordOwners().emplace(paramRec, this);
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "HLConfigure::setConfigureSpecs: Out of memory for %s.\n", cls);
        return -1;
    }

    if (!apply_defaults)
        return 0;
    int result = 0;
    for (const KeyRef& ref : refs) {
        HL_ConfigureSpec* row = ref.spec;
        if (!row->defValue || (row->specFlags & HL_SPEC_EXPLICIT))
            continue;
        if (parseRow(ref, row->defValue) < 0) {
            hl_register_error(0, "HLConfigure::setConfigureSpecs: Default '%s' of key '%s' of %s does not parse.\n",
                              shown(row->defValue).c_str(), row->name, cls);
            result = -1;
        }
    }
    return result;
}

int HLConfigure::parseRow(const KeyRef& ref, const char* value)
{
    HL_ConfigureSpec* spec = ref.spec;
    HLConfigureSpecs* specs = ref.specs;
    char* rec = specs->paramRec;
    spec->specFlags &= ~HL_SPEC_CHANGED;
    if ((spec->specFlags & HL_SPEC_KEEP) && (!value || !*value))
        return 0;

    if (ref.kind == KIND_CUSTOM) {
        HL_CustomOption* c = spec->customPtr;
        return c->parseProc(spec, c->clientData, value, rec, spec->offset, specs->object_ptr) < 0 ? -1 : 0;
    }
    if (specs->typeParser) {
        int r = specs->typeParser(spec, value, rec, specs->object_ptr);
        if (r != HL_TYPE_NOT_HANDLED)
            return r < 0 ? -1 : 0;
    }
    if (!type_parsers_arr.empty()) {
        auto it = type_parsers_arr.find(std::string_view(spec->type));
        if (it != type_parsers_arr.end()) {
            int r = it->second(spec, value, rec, specs->object_ptr);
            if (r != HL_TYPE_NOT_HANDLED)
                return r < 0 ? -1 : 0;
        }
    }

    switch (ref.kind) {
    case KIND_BOOLEAN:
    case KIND_INT: {
        int v = 0;
        int r = ref.kind == KIND_BOOLEAN ? HL_ParseBoolean(value, &v) : parseInt(value, &v);
        if (r < 0) {
            hl_register_error(0, "HLConfigure::parseRow: Unable to parse %s from '%s'.\n",
                              ref.kind == KIND_BOOLEAN ? "boolean" : "int", shown(value).c_str());
            return -1;
        }
        int& f = field<int>(rec, spec->offset);
        if (f != v) {
            f = v;
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        return 0;
    }
    case KIND_DOUBLE: {
        double v = 0.0;
        if (parseDouble(value, &v) < 0) {
            hl_register_error(0, "HLConfigure::parseRow: Unable to parse double from '%s'.\n", shown(value).c_str());
            return -1;
        }
        double& f = field<double>(rec, spec->offset);
        if (!(f == v || (std::isnan(f) && std::isnan(v))) || std::signbit(f) != std::signbit(v)) {
            f = v;
            spec->specFlags |= HL_SPEC_CHANGED;
        }
        return 0;
    }
    case KIND_STRING: {
        char*& f = field<char*>(rec, spec->offset);
        if ((!f && !value) || (f && value && strcmp(f, value) == 0))
            return 0;
        char* copy = nullptr;
        if (value && !(copy = strdup(value))) {
            hl_register_error(1, "HLConfigure::parseRow: Out of memory.\n");
            return -1;
        }
        free(f);
        f = copy;
        spec->specFlags |= HL_SPEC_CHANGED;
        return 0;
    }
    case KIND_PTR:
        hl_register_error(0, "HLConfigure::parseRow: Key '%s' is set by code only.\n", spec->name);
        return -1;
    default:
        hl_register_error(0, "HLConfigure::parseRow: No parser for type '%s'.\n", spec->type);
        return -1;
    }
}

int HLConfigure::setKey(const char* caller, const char* key, const char* value, bool skip_unknown)
{
    if (!key) {
        hl_register_error(0, "%s: Null key.\n", caller);
        return -1;
    }
    auto it = configure_specs_arr.find(std::string_view(key));
    if (it == configure_specs_arr.end()) {
        if (skip_unknown)
            return 0;
        const char* cls = configure_specs_tbl.empty() || !configure_specs_tbl.front()->class_name
                              ? "this object"
                              : configure_specs_tbl.front()->class_name;
        hl_register_error(0, "%s: Unknown key '%s' for %s.\n", caller, key, cls);
        return -1;
    }
    for (const KeyRef& ref : it->second)
        if (parseRow(ref, value) < 0) {
            hl_register_error(0, "%s: Bad value '%s' for key '%s'.\n", caller, shown(value).c_str(), key);
            return -1;
        }
    return 0;
}

int HLConfigure::configure(const char* key, ...)
{
    va_list ap;
    va_start(ap, key);
    int r = vconfigure(key, ap);
    va_end(ap);
    return r;
}

int HLConfigure::vconfigure(const char* key, va_list ap)
{
    for (const char* k = key; k; k = va_arg(ap, const char*)) {
        const char* value = va_arg(ap, const char*);
        if (setKey("HLConfigure::configure", k, value, false) < 0)
            return -1;
    }
    return 0;
}

int HLConfigure::setConfigureValue(const char* key, const char* value)
{
    return setKey("HLConfigure::setConfigureValue", key, value, false) < 0 ? -1 : 0;
}

int HLConfigure::configure(Kv* kv)
{
    Tbl* keys = kvkeys(kv);
    if (!keys) {
        hl_register_error(0, "HLConfigure::configure: kvkeys() error.\n");
        return -1;
    }
    int result = 0;
    for (long i = 0; i < seqcount(keys) && result == 0; i++) {
        const char* key = static_cast<const char*>(seqget(keys, i));
        if (!hasConfigureKey(key))
            continue;
        void* value = nullptr;
        int kind = kvget(kv, key, &value);
        if (kind == KV_KIND_STRING) {
            result = setKey("HLConfigure::configure", key, static_cast<const char*>(value), true);
            continue;
        }
        char* sub = kv2string(static_cast<Kv*>(value));
        if (!sub) {
            hl_register_error(0, "HLConfigure::configure: kv2string(%s) error.\n", key);
            result = -1;
            break;
        }
        std::string text = key;
        if (kind == KV_KIND_ARR) {
            text += " &Arr{\n";
            text += sub;
            text += "}\n";
        } else {
            text += ' ';
            text += sub;
        }
        free(sub);
        result = setKey("HLConfigure::configure", key, text.c_str(), true);
    }
    seqfree(keys, nullptr);
    return result < 0 ? -1 : 0;
}

int HLConfigure::configureText(const char* kvstring)
{
    Kv* kv = nullptr;
    if (VX_kvcompile(kvstring, &kv) < 0) {
        hl_register_error(0, "HLConfigure::configureText: kvcompile() error.\n");
        return -1;
    }
    int r = configure(kv);
    kvfree(kv);
    if (r < 0) {
        hl_register_error(0, "HLConfigure::configureText: configure() error.\n");
        return -1;
    }
    return 0;
}

bool HLConfigure::hasConfigureKey(const char* key) const
{
    return key && configure_specs_arr.find(std::string_view(key)) != configure_specs_arr.end();
}

char* HLConfigure::getConfigureValue(const char* key)
{
    auto it = key ? configure_specs_arr.find(std::string_view(key)) : configure_specs_arr.end();
    if (it == configure_specs_arr.end() || it->second.empty()) {
        hl_register_error(0, "HLConfigure::getConfigureValue: Unknown key '%s'.\n", key ? key : "(null)");
        return nullptr;
    }
    const KeyRef& ref = it->second.front();
    HL_ConfigureSpec* spec = ref.spec;
    char* rec = ref.specs->paramRec;
    char* text = nullptr;
    char buffer[64];
    switch (ref.kind) {
    case KIND_CUSTOM:
        if (spec->customPtr->printProc)
            text = spec->customPtr->printProc(spec, spec->customPtr->clientData, rec, spec->offset,
                                              ref.specs->object_ptr);
        break;
    case KIND_BOOLEAN:
        text = strdup(field<int>(rec, spec->offset) ? "yes" : "no");
        break;
    case KIND_INT:
        snprintf(buffer, sizeof buffer, "%d", field<int>(rec, spec->offset));
        text = strdup(buffer);
        break;
    case KIND_DOUBLE: {
        auto r = std::to_chars(buffer, buffer + sizeof buffer - 1, field<double>(rec, spec->offset));
        *r.ptr = '\0';
        text = strdup(buffer);
        break;
    }
    case KIND_STRING: {
        const char* s = field<char*>(rec, spec->offset);
        text = strdup(s ? s : "");
        break;
    }
    case KIND_PTR:
        snprintf(buffer, sizeof buffer, "%p", field<void*>(rec, spec->offset));
        text = strdup(buffer);
        break;
    default: {
        auto p = type_printers_arr.find(std::string_view(spec->type));
        if (p != type_printers_arr.end())
            text = p->second(spec, rec, ref.specs->object_ptr);
        break;
    }
    }
    if (!text)
        hl_register_error(0, "HLConfigure::getConfigureValue: Cannot print key '%s' of type '%s'.\n", key,
                          spec->type);
    return text;
}
