// Parameter documents: the scanner, the lookups and the writer.
//
// The scanner walks the text once, line by line, with an explicit stack of
// open blocks, so its cost is linear in the text whatever the line lengths
// and the nesting (capped at KV_MAX_DEPTH).  Keys of an &Arr are found
// through a hash index beside the entries, which keep the written order.
#include "toolkit/params/kv.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/strings.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kv_detail {

struct Entry
{
    std::string key;           // empty for the rows of an &Tbl
    std::string text;          // the value of a string entry
    std::unique_ptr<Kv> sub;   // the block of an &Arr or &Tbl entry
    int kind = KV_KIND_STRING;
    bool literal = false;      // written in literal form
};

struct StringHash
{
    using is_transparent = void;
    size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>()(s); }
};

} // namespace kv_detail

struct Kv
{
    int kind = KV_KIND_FILE;
    Kv* parent = nullptr;  // null for a file level document
    std::vector<kv_detail::Entry> entries;
    // key to position in entries; only for &Arr and file level documents
    std::unordered_map<std::string, size_t, kv_detail::StringHash, std::equal_to<>> index;
};

namespace {

using kv_detail::Entry;

constexpr std::string_view open_arr = "&Arr{";
constexpr std::string_view open_tbl = "&Tbl{";
constexpr std::string_view open_literal = "&Literal{";
constexpr std::string_view literal_word = "@Literal";

// White space in the "C" locale, whatever the process locale is.
inline bool isWhite(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

std::string_view trim(std::string_view s)
{
    size_t b = 0;
    while (b < s.size() && isWhite(s[b]))
        b++;
    size_t e = s.size();
    while (e > b && isWhite(s[e - 1]))
        e--;
    return s.substr(b, e - b);
}

// Split "key rest" at the first run of white space; rest has no leading
// white space.
void splitWord(std::string_view s, std::string_view& word, std::string_view& rest)
{
    size_t i = 0;
    while (i < s.size() && !isWhite(s[i]))
        i++;
    word = s.substr(0, i);
    while (i < s.size() && isWhite(s[i]))
        i++;
    rest = s.substr(i);
}

bool isOpener(std::string_view s)
{
    return s == open_arr || s == open_tbl || s == open_literal;
}

const char* kindName(int kind)
{
    switch (kind) {
    case KV_KIND_STRING:
        return "string";
    case KV_KIND_TBL:
        return "&Tbl";
    case KV_KIND_ARR:
        return "&Arr";
    default:
        return "document";
    }
}

// A value shortened for an error message: its first line, at most 80 bytes.
std::string shortText(std::string_view s)
{
    size_t nl = s.find('\n');
    bool cut = nl != std::string_view::npos || s.size() > 80;
    std::string out(s.substr(0, std::min(nl, static_cast<size_t>(80))));
    if (cut)
        out += "...";
    return out;
}

// Store entry under its key in an &Arr: a key already there keeps its place
// and takes the new value.
void arrSet(Kv* kv, Entry&& entry)
{
    if (entry.sub)
        entry.sub->parent = kv;
    auto it = kv->index.find(std::string_view(entry.key));
    if (it != kv->index.end()) {
        Entry& old = kv->entries[it->second];
        old.text = std::move(entry.text);
        old.sub = std::move(entry.sub);
        old.kind = entry.kind;
        old.literal = entry.literal;
        return;
    }
    kv->entries.push_back(std::move(entry));
    kv->index.emplace(kv->entries.back().key, kv->entries.size() - 1);
}

class Scanner
{
public:
    Scanner(std::string_view text, const char* source) : text_(text), source_(source) {}

    // The compiled document, or null after a registered error.
    std::unique_ptr<Kv> run();

private:
    struct Open
    {
        Kv* kv;
        long line;  // where the block was opened
    };

    void fail(long line, const char* what, std::string_view detail = {});
    bool literalLine(std::string_view raw);
    bool plainLine(std::string_view content);
    bool openBlock(Kv* parent, std::string key, std::string_view opener);

    std::string_view text_;
    const char* source_;
    long line_ = 0;
    std::vector<Open> stack_;
    std::string buffer_;
    // an open &Literal{ block: its container and entry
    Kv* literal_kv_ = nullptr;
    size_t literal_entry_ = 0;
    long literal_line_ = 0;
    bool literal_first_ = true;
    bool failed_ = false;
};

void Scanner::fail(long line, const char* what, std::string_view detail)
{
    std::string d = detail.empty() ? std::string() : " ('" + shortText(detail) + "')";
    if (source_)
        hl_register_error(0, "kvcompile: %s, line %ld: %s%s.\n", source_, line, what, d.c_str());
    else
        hl_register_error(0, "kvcompile: Line %ld: %s%s.\n", line, what, d.c_str());
    failed_ = true;
}

bool Scanner::openBlock(Kv* parent, std::string key, std::string_view opener)
{
    Entry entry;
    entry.key = std::move(key);
    if (opener == open_literal) {
        entry.literal = true;
        entry.kind = KV_KIND_STRING;
    } else {
        if (static_cast<int>(stack_.size()) > KV_MAX_DEPTH) {
            fail(line_, ("Blocks nested deeper than " + std::to_string(KV_MAX_DEPTH) + " levels").c_str());
            return false;
        }
        entry.sub = std::make_unique<Kv>();
        entry.sub->kind = opener == open_arr ? KV_KIND_ARR : KV_KIND_TBL;
        entry.kind = entry.sub->kind;
    }
    Kv* sub = entry.sub.get();
    size_t at;
    if (parent->kind == KV_KIND_TBL) {
        parent->entries.push_back(std::move(entry));
        if (sub)
            sub->parent = parent;
        at = parent->entries.size() - 1;
    } else {
        std::string k = entry.key;
        arrSet(parent, std::move(entry));
        at = parent->index.find(std::string_view(k))->second;
    }
    if (sub) {
        stack_.push_back({sub, line_});
    } else {
        literal_kv_ = parent;
        literal_entry_ = at;
        literal_line_ = line_;
        literal_first_ = true;
    }
    return true;
}

// A line whose first word is "@Literal": taken as written.
bool Scanner::literalLine(std::string_view raw)
{
    std::string_view rest = trim(raw.substr(literal_word.size()));
    Kv* top = stack_.back().kv;
    Entry entry;
    entry.literal = true;
    if (top->kind == KV_KIND_TBL) {
        entry.text = rest;
        top->entries.push_back(std::move(entry));
        return true;
    }
    std::string_view key, value;
    splitWord(rest, key, value);
    if (key.empty()) {
        fail(line_, "'@Literal' needs a key after it");
        return false;
    }
    entry.key = key;
    entry.text = value;
    arrSet(top, std::move(entry));
    return true;
}

// A line with its comment cut and its escapes resolved.
bool Scanner::plainLine(std::string_view content)
{
    if (content == "}") {
        if (stack_.size() <= 1) {
            fail(line_, "'}' without an open block");
            return false;
        }
        stack_.pop_back();
        return true;
    }
    Kv* top = stack_.back().kv;
    std::string_view word, rest;
    splitWord(content, word, rest);
    if (word == literal_word) {
        // "@Literal#..." : the comment cut left the bare word, which would
        // read back as a literal line
        fail(line_, "'@Literal' must be followed by white space", content);
        return false;
    }
    if (top->kind == KV_KIND_TBL) {
        if (isOpener(content))
            return openBlock(top, std::string(), content);
        if (isOpener(rest)) {
            fail(line_, "A row of an &Tbl cannot open a named block; write the opener alone", content);
            return false;
        }
        Entry entry;
        entry.text = content;
        top->entries.push_back(std::move(entry));
        return true;
    }
    std::string_view key = word, value = rest;
    if (isOpener(key)) {
        fail(line_, "A block in an &Arr needs a key in front of its opener", content);
        return false;
    }
    if (isOpener(value))
        return openBlock(top, std::string(key), value);
    Entry entry;
    entry.key = key;
    entry.text = value;
    arrSet(top, std::move(entry));
    return true;
}

std::unique_ptr<Kv> Scanner::run()
{
    auto root = std::make_unique<Kv>();
    root->kind = KV_KIND_FILE;
    stack_.push_back({root.get(), 0});
    size_t pos = 0;
    while (pos < text_.size() && !failed_) {
        size_t eol = text_.find('\n', pos);
        if (eol == std::string_view::npos)
            eol = text_.size();
        std::string_view raw = text_.substr(pos, eol - pos);
        pos = eol + 1;
        line_++;

        if (literal_kv_) {
            if (trim(raw) == "}") {
                literal_kv_ = nullptr;
                continue;
            }
            while (!raw.empty() && raw.back() == '\r')
                raw.remove_suffix(1);
            std::string& text = literal_kv_->entries[literal_entry_].text;
            if (!literal_first_)
                text += '\n';
            text += raw;
            literal_first_ = false;
            continue;
        }

        std::string_view lead = raw;
        while (!lead.empty() && isWhite(lead.front()))
            lead.remove_prefix(1);
        if (lead.empty())
            continue;
        if (lead.substr(0, literal_word.size()) == literal_word
            && (lead.size() == literal_word.size() || isWhite(lead[literal_word.size()]))) {
            literalLine(lead);
            continue;
        }

        // cut the comment and resolve "\#"; a line without a hash is
        // taken as it is
        if (lead.find('#') == std::string_view::npos) {
            std::string_view content = trim(lead);
            if (!content.empty())
                plainLine(content);
            continue;
        }
        buffer_.clear();
        for (size_t i = 0; i < lead.size(); i++) {
            char c = lead[i];
            if (c == '#')
                break;
            if (c == '\\' && i + 1 < lead.size() && lead[i + 1] == '#') {
                buffer_ += '#';
                i++;
                continue;
            }
            buffer_ += c;
        }
        std::string_view content = trim(buffer_);
        if (content.empty())
            continue;
        plainLine(content);
    }
    if (failed_)
        return nullptr;
    if (literal_kv_) {
        fail(literal_line_, "'&Literal{' is not closed by the end of the text");
        return nullptr;
    }
    if (stack_.size() > 1) {
        const Open& open = stack_.back();
        fail(open.line, open.kv->kind == KV_KIND_ARR ? "'&Arr{' is not closed by the end of the text"
                                                     : "'&Tbl{' is not closed by the end of the text");
        return nullptr;
    }
    return root;
}

// ---- writer

void putEscaped(std::string& out, std::string_view s)
{
    for (char c : s) {
        if (c == '#')
            out += '\\';
        out += c;
    }
}

// A literal value fits on one "@Literal" line when it has no new line and
// no white space at its ends (which the line form would lose).
bool fitsLiteralLine(std::string_view s)
{
    return s.find('\n') == std::string_view::npos && (s.empty() || (!isWhite(s.front()) && !isWhite(s.back())));
}

void writeEntries(std::string& out, const Kv* kv, int depth);

// The opener of a block entry (after its key, if any), its entries one
// level deeper, and its closing line.
void writeBlock(std::string& out, const Entry& e, int depth)
{
    out += e.kind == KV_KIND_ARR ? "&Arr{\n" : "&Tbl{\n";
    writeEntries(out, e.sub.get(), depth + 1);
    out.append(static_cast<size_t>(depth) * 4, ' ');
    out += "}\n";
}

void writeEntries(std::string& out, const Kv* kv, int depth)
{
    const bool rows = kv->kind == KV_KIND_TBL;
    const size_t indent = static_cast<size_t>(depth) * 4;
    for (const Entry& e : kv->entries) {
        if (e.literal) {
            if (fitsLiteralLine(e.text)) {
                out.append(indent, ' ');
                out += literal_word;
                if (!rows) {
                    out += ' ';
                    out += e.key;
                }
                if (!e.text.empty()) {
                    out += ' ';
                    out += e.text;
                }
                out += '\n';
            } else {
                out.append(indent, ' ');
                if (!rows) {
                    putEscaped(out, e.key);
                    out += ' ';
                }
                out += open_literal;
                out += '\n';
                out += e.text;  // lines as written, not indented
                out += '\n';
                out.append(indent, ' ');
                out += "}\n";
            }
            continue;
        }
        if (e.kind == KV_KIND_STRING) {
            out.append(indent, ' ');
            if (rows) {
                putEscaped(out, e.text);
            } else {
                putEscaped(out, e.key);
                if (!e.text.empty()) {
                    out += ' ';
                    putEscaped(out, e.text);
                }
            }
            out += '\n';
            continue;
        }
        out.append(indent, ' ');
        if (!rows) {
            putEscaped(out, e.key);
            out += ' ';
        }
        writeBlock(out, e, depth);
    }
}

const Entry* findEntry(Kv* kv, const char* key)
{
    if (kv->kind == KV_KIND_TBL)
        return nullptr;
    auto it = kv->index.find(std::string_view(key));
    return it == kv->index.end() ? nullptr : &kv->entries[it->second];
}

int answer(const Entry& e, void** value)
{
    if (value)
        *value = e.kind == KV_KIND_STRING ? static_cast<void*>(const_cast<char*>(e.text.c_str()))
                                          : static_cast<void*>(e.sub.get());
    return e.kind;
}

char* copyString(const std::string& s)
{
    char* p = static_cast<char*>(malloc(s.size() + 1));
    if (p)
        memcpy(p, s.c_str(), s.size() + 1);
    return p;
}

} // namespace

int kvcompile(const char* text, Kv** kv)
{
    if (!text) {
        hl_register_error(0, "kvcompile: Null text.\n");
        return -1;
    }
    return kvcompile_source(text, strlen(text), nullptr, kv);
}

int kvcompile_source(const char* text, size_t length, const char* source, Kv** kv)
{
    if (!text || !kv) {
        hl_register_error(0, "kvcompile: Null argument.\n");
        return -1;
    }
    if (*kv && (*kv)->kind == KV_KIND_TBL) {
        hl_register_error(0, "kvcompile: Cannot add entries to an &Tbl document.\n");
        return -1;
    }
    length = strnlen(text, length);
    try {
        Scanner scanner(std::string_view(text, length), source);
        std::unique_ptr<Kv> doc = scanner.run();
        if (!doc)
            return -1;
        if (!*kv) {
            *kv = doc.release();
            return 0;
        }
        for (Entry& e : doc->entries)
            arrSet(*kv, std::move(e));
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "kvcompile: Out of memory.\n");
        return -1;
    }
    return 0;
}

int VX_kvcompile(const char* kvstring, Kv** kv)
{
    if (kvcompile(kvstring, kv) < 0) {
        hl_register_error(0, "VX_kvcompile: kvcompile() error.\n");
        return -1;
    }
    return 0;
}

int kvget(Kv* kv, const char* key, void** value)
{
    if (!kv) {
        hl_register_error(0, "kvget: Null document.\n");
        return -1;
    }
    if (!key || !*key) {
        if (value)
            *value = kv;
        return kv->kind;
    }
    const Entry* e = findEntry(kv, key);
    return e ? answer(*e, value) : KV_KIND_NOTFOUND;
}

int kvgetindex(Kv* kv, long index, void** value)
{
    if (!kv) {
        hl_register_error(0, "kvgetindex: Null document.\n");
        return -1;
    }
    if (index < 0 || static_cast<size_t>(index) >= kv->entries.size())
        return KV_KIND_NOTFOUND;
    return answer(kv->entries[static_cast<size_t>(index)], value);
}

namespace {

// The string entry under key for kvparam(): null with *rc set when absent
// (rc 0 for an optional key) or of another kind.
const Entry* paramEntry(Kv* kv, const char* key, int required, int want_kind, int* rc)
{
    const Entry* e = findEntry(kv, key);
    if (!e) {
        if (required) {
            hl_register_error(0, "kvparam: Key '%s' not found.\n", key);
            *rc = -1;
        } else {
            *rc = 0;
        }
        return nullptr;
    }
    if (e->kind != want_kind) {
        hl_register_error(0, "kvparam: Key '%s' holds a %s, not a %s.\n", key, kindName(e->kind),
                          kindName(want_kind));
        *rc = -1;
        return nullptr;
    }
    return e;
}

int badValue(const char* key, const char* what, const std::string& text)
{
    hl_register_error(0, "kvparam: Cannot parse %s from '%s' (key '%s').\n", what, shortText(text).c_str(), key);
    return -1;
}

int copyToBuffer(const Entry& e, const char* key, char* buffer, size_t size)
{
    if (e.text.size() + 1 > size) {
        hl_register_error(0, "kvparam: Value of '%s' is %zu bytes, more than its buffer of %zu.\n", key,
                          e.text.size(), size);
        return -1;
    }
    memcpy(buffer, e.text.c_str(), e.text.size() + 1);
    return 0;
}

} // namespace

int kvparam(Kv* kv, const char* key, int type, int required, void* out)
{
    if (!kv || !key || !out) {
        hl_register_error(0, "kvparam: Null argument.\n");
        return -1;
    }
    if (kv->kind == KV_KIND_TBL) {
        hl_register_error(0, "kvparam: Cannot look up '%s' in an &Tbl.\n", key);
        return -1;
    }
    int want = KV_KIND_STRING;
    if (type == KV_TBL_STRINGS || type == KV_TBL)
        want = KV_KIND_TBL;
    else if (type == KV_ARR_STRINGS || type == KV_ARR)
        want = KV_KIND_ARR;
    else if (type != KV_INT && type != KV_DOUBLE && type != KV_STRING && type != KV_BOOLEAN
             && type != KV_STRING_BUFFER) {
        hl_register_error(0, "kvparam: Unknown type code %d for key '%s'.\n", type, key);
        return -1;
    }
    int rc = 0;
    const Entry* e = paramEntry(kv, key, required, want, &rc);
    if (!e)
        return rc;

    switch (type) {
    case KV_INT: {
        const char* s = e->text.c_str();
        char* end = nullptr;
        errno = 0;
        long v = strtol(s, &end, 10);
        if (end == s || *end != '\0' || errno == ERANGE || v < INT_MIN || v > INT_MAX)
            return badValue(key, "an int", e->text);
        *static_cast<int*>(out) = static_cast<int>(v);
        return 0;
    }
    case KV_DOUBLE: {
        const char* s = e->text.c_str();
        char* end = nullptr;
        errno = 0;
        double v = fixed_strtod(s, &end);
        if (end == s || *end != '\0' || (errno == ERANGE && (v == HUGE_VAL || v == -HUGE_VAL)))
            return badValue(key, "a double", e->text);
        *static_cast<double*>(out) = v;
        return 0;
    }
    case KV_BOOLEAN: {
        int v = 0;
        if (HL_ParseBoolean(e->text.c_str(), &v) < 0)
            return badValue(key, "a boolean", e->text);
        *static_cast<int*>(out) = v;
        return 0;
    }
    case KV_STRING: {
        char* copy = copyString(e->text);
        if (!copy) {
            hl_register_error(1, "kvparam: Out of memory for '%s'.\n", key);
            return -1;
        }
        *static_cast<char**>(out) = copy;
        return 0;
    }
    case KV_STRING_BUFFER:
        return copyToBuffer(*e, key, static_cast<char*>(out), KV_STRING_BUFFER_MIN);
    case KV_TBL:
    case KV_ARR:
        *static_cast<Kv**>(out) = e->sub.get();
        return 0;
    case KV_TBL_STRINGS: {
        const Kv* sub = e->sub.get();
        for (size_t i = 0; i < sub->entries.size(); i++)
            if (sub->entries[i].kind != KV_KIND_STRING) {
                hl_register_error(0, "kvparam: Row %zu of '%s' is a %s, not a string.\n", i, key,
                                  kindName(sub->entries[i].kind));
                return -1;
            }
        Tbl* list = seqnew(static_cast<int>(std::min<size_t>(sub->entries.size(), INT_MAX)));
        if (!list)
            return -1;
        for (const Entry& row : sub->entries) {
            char* copy = copyString(row.text);
            if (!copy || seqpush(list, copy) < 0) {
                free(copy);
                seqfree(list, free);
                hl_register_error(1, "kvparam: Out of memory for '%s'.\n", key);
                return -1;
            }
        }
        *static_cast<Tbl**>(out) = list;
        return 0;
    }
    case KV_ARR_STRINGS: {
        const Kv* sub = e->sub.get();
        for (const Entry& entry : sub->entries)
            if (entry.kind != KV_KIND_STRING) {
                hl_register_error(0, "kvparam: '%s' in '%s' is a %s, not a string.\n", entry.key.c_str(), key,
                                  kindName(entry.kind));
                return -1;
            }
        Arr* map = mapnew(nullptr);
        if (!map)
            return -1;
        for (const Entry& entry : sub->entries) {
            char* copy = copyString(entry.text);
            if (!copy) {
                mapfree(map, free);
                hl_register_error(1, "kvparam: Out of memory for '%s'.\n", key);
                return -1;
            }
            free(mapset(map, entry.key.c_str(), copy));
        }
        *static_cast<Arr**>(out) = map;
        return 0;
    }
    }
    return -1;
}

int kvparambuf(Kv* kv, const char* key, int required, char* buffer, size_t size)
{
    if (!kv || !key || !buffer) {
        hl_register_error(0, "kvparambuf: Null argument.\n");
        return -1;
    }
    if (kv->kind == KV_KIND_TBL) {
        hl_register_error(0, "kvparambuf: Cannot look up '%s' in an &Tbl.\n", key);
        return -1;
    }
    int rc = 0;
    const Entry* e = paramEntry(kv, key, required, KV_KIND_STRING, &rc);
    if (!e)
        return rc;
    return copyToBuffer(*e, key, buffer, size);
}

Tbl* kvkeys(Kv* kv)
{
    if (!kv || kv->kind == KV_KIND_TBL) {
        hl_register_error(0, "kvkeys: %s.\n", kv ? "An &Tbl has no keys" : "Null document");
        return nullptr;
    }
    Tbl* keys = seqnew(static_cast<int>(std::min<size_t>(kv->entries.size(), INT_MAX)));
    if (!keys)
        return nullptr;
    for (const Entry& e : kv->entries)
        if (seqpush(keys, const_cast<char*>(e.key.c_str())) < 0) {
            seqfree(keys, nullptr);
            hl_register_error(1, "kvkeys: Out of memory.\n");
            return nullptr;
        }
    return keys;
}

long kvcount(Kv* kv)
{
    if (!kv) {
        hl_register_error(0, "kvcount: Null document.\n");
        return -1;
    }
    return static_cast<long>(kv->entries.size());
}

int kvkind(Kv* kv)
{
    if (!kv) {
        hl_register_error(0, "kvkind: Null document.\n");
        return -1;
    }
    return kv->kind;
}

char* kv2string(Kv* kv)
{
    if (!kv) {
        hl_register_error(0, "kv2string: Null document.\n");
        return nullptr;
    }
    try {
        std::string out;
        if (kv->kind == KV_KIND_TBL) {
            out += "&Tbl{\n";
            writeEntries(out, kv, 1);
            out += "}\n";
        } else {
            writeEntries(out, kv, 0);
        }
        char* text = copyString(out);
        if (!text)
            throw std::bad_alloc();
        return text;
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "kv2string: Out of memory.\n");
        return nullptr;
    }
}

void kvfree(Kv* kv)
{
    if (kv && !kv->parent)
        delete kv;
}
