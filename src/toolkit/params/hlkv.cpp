// HLKv: loading a parameter text line by line, editing and writing it.
//
// The text is first compiled by kvcompile_source(), which settles whether it
// is valid and words the syntax errors; the pass here then only classifies
// lines by the same rules and records where each value and comment lies,
// so that writing back copies every untouched line as it was.
#include "toolkit/params/hlkv.h"

#include "toolkit/base/errors.h"
#include "toolkit/params/kv.h"
#include "toolkit/params/kvfile_p.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view open_arr = "&Arr{";
constexpr std::string_view open_tbl = "&Tbl{";
constexpr std::string_view open_literal = "&Literal{";
constexpr std::string_view literal_word = "@Literal";

inline bool isWhite(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

bool isOpener(std::string_view s)
{
    return s == open_arr || s == open_tbl || s == open_literal;
}

// Trim the span [b, e) of s in place.
void trimSpan(std::string_view s, long& b, long& e)
{
    while (b < e && isWhite(s[static_cast<size_t>(b)]))
        b++;
    while (e > b && isWhite(s[static_cast<size_t>(e - 1)]))
        e--;
}

std::string_view span(std::string_view s, long b, long e)
{
    return s.substr(static_cast<size_t>(b), static_cast<size_t>(e - b));
}

// The end of the first word starting at b (before e).
long wordEnd(std::string_view s, long b, long e)
{
    while (b < e && !isWhite(s[static_cast<size_t>(b)]))
        b++;
    return b;
}

long skipWhite(std::string_view s, long b, long e)
{
    while (b < e && isWhite(s[static_cast<size_t>(b)]))
        b++;
    return b;
}

// Where the comment of a line starts ("#" not written as "\#"), or -1.
long commentStart(std::string_view s)
{
    for (size_t i = 0; i < s.size(); i++) {
        if (s[i] == '\\' && i + 1 < s.size() && s[i + 1] == '#') {
            i++;
            continue;
        }
        if (s[i] == '#')
            return static_cast<long>(i);
    }
    return -1;
}


} // namespace

HLKv::HLKv() = default;

HLKv::HLKv(const std::string& name, int flags)
{
    int rc = flags == HLKV_FROM_TEXT ? compile(name) : read(name);
    if (rc < 0) {
        hl_register_error(0, "HLKv::HLKv: Cannot load the document.\n");
        throw "Exception";
    }
}

HLKv::~HLKv() = default;

int HLKv::read(const std::string& name)
{
    char* found = kvfind(name.c_str());
    if (!found) {
        hl_register_error(0, "HLKv::read: Cannot find parameter file '%s'.\n", name.c_str());
        return -1;
    }
    std::string path = found;
    free(found);
    std::string text;
    if (kv_read_text("HLKv::read", path, &text) < 0)
        return -1;
    return compile(text, path);
}

int HLKv::compile(const std::string& text, const std::string& source)
{
    if (text.size() > static_cast<size_t>(KV_MAX_FILE_SIZE)) {
        hl_register_error(0, "HLKv::compile: The text is larger than %ld bytes.\n", KV_MAX_FILE_SIZE);
        return -1;
    }
    if (size_t nul = text.find('\0'); nul != std::string::npos) {
        hl_register_error(0, "HLKv::compile: The text holds a NUL byte at offset %zu.\n", nul);
        return -1;
    }
    Kv* check = nullptr;
    if (kvcompile_source(text.data(), text.size(), source.empty() ? nullptr : source.c_str(), &check) < 0) {
        hl_register_error(0, "HLKv::compile: Syntax error in '%s'.\n", source.empty() ? "text" : source.c_str());
        return -1;
    }
    kvfree(check);

    std::vector<HLKv_Entry> rows;
    std::vector<int> entry_rows;
    std::vector<long> line_starts;
    std::vector<int> line_rows;
    const size_t line_count = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    rows.reserve(line_count);
    entry_rows.reserve(line_count);
    line_starts.reserve(line_count);
    line_rows.reserve(line_count);
    // constraint texts repeat from entry to entry: each is parsed once
    std::unordered_map<std::string, std::pair<bool, std::vector<HLKv_Constraint>>> parsed;
    int depth = 0;             // blocks open
    std::vector<int> kinds{HLKV_ENTRY_ARR};  // kind of each open block, the top as an &Arr
    int literal_row = -1;  // an open &Literal{ block
    bool literal_first = true;

    const std::string_view all(text);
    size_t pos = 0;
    long line = 0;
    auto addRow = [&](HLKv_Entry&& e) {
        e.line = line;
        e.level = depth;
        line_rows.back() = static_cast<int>(rows.size());
        if (e.kind != HLKV_ENTRY_COMMENT) {
            e.index = static_cast<int>(entry_rows.size());
            entry_rows.push_back(static_cast<int>(rows.size()));
            if (e.kind == HLKV_ENTRY_ARR || e.kind == HLKV_ENTRY_TBL) {
                depth++;
                kinds.push_back(e.kind);
            }
        }
        rows.push_back(std::move(e));
    };

    while (pos < all.size()) {
        size_t eol = all.find('\n', pos);
        if (eol == std::string_view::npos)
            eol = all.size();
        std::string_view raw = all.substr(pos, eol - pos);
        line_starts.push_back(static_cast<long>(pos));
        line_rows.push_back(-1);
        pos = eol + 1;
        const long n = static_cast<long>(raw.size());

        if (literal_row >= 0) {
            long b = 0, e = n;
            trimSpan(raw, b, e);
            if (span(raw, b, e) == "}") {
                rows[static_cast<size_t>(literal_row)].literal_end_line = line;
                literal_row = -1;
            } else {
                std::string_view content = raw;
                while (!content.empty() && content.back() == '\r')
                    content.remove_suffix(1);
                std::string& value = rows[static_cast<size_t>(literal_row)].value;
                if (!literal_first)
                    value += '\n';
                value += content;
                literal_first = false;
            }
            line++;
            continue;
        }

        long lead = skipWhite(raw, 0, n);
        if (lead == n) {
            line++;
            continue;
        }
        std::string_view rest_of_line = span(raw, lead, n);
        if (rest_of_line.substr(0, literal_word.size()) == literal_word
            && (rest_of_line.size() == literal_word.size() || isWhite(rest_of_line[literal_word.size()]))) {
            HLKv_Entry e;
            e.kind = HLKV_ENTRY_LITERAL_LINE;
            long b = skipWhite(raw, lead + static_cast<long>(literal_word.size()), n);
            long end = n;
            trimSpan(raw, b, end);
            std::string name;
            if (kinds.back() == HLKV_ENTRY_ARR) {
                long ke = wordEnd(raw, b, end);
                name = std::string(span(raw, b, ke));
                e.name = name;
                e.key = std::string(literal_word) + " " + name;
                b = skipWhite(raw, ke, end);
            } else {
                e.key = std::string(literal_word);
            }
            e.value_begin = b;
            e.value_end = end;
            e.value = std::string(span(raw, b, end));
            addRow(std::move(e));
            line++;
            continue;
        }

        long hash = commentStart(raw);
        long cb = lead, ce = hash < 0 ? n : hash;
        trimSpan(raw, cb, ce);
        HLKv_Entry e;
        if (hash >= 0) {
            long tb = hash + 1, te = n;
            if (tb < n && raw[static_cast<size_t>(tb)] == '@') {
                long cons_b = tb + 1;
                long cons_e = static_cast<long>(raw.find('#', static_cast<size_t>(cons_b)));
                if (cons_e < 0)
                    cons_e = n;
                tb = cons_e + 1;
                trimSpan(raw, cons_b, cons_e);
                e.constraint_text = std::string(span(raw, cons_b, cons_e));
                auto it = parsed.find(e.constraint_text);
                if (it == parsed.end()) {
                    std::vector<HLKv_Constraint> list;
                    const bool sound = parseConstraints(e.constraint_text, &list);
                    it = parsed.emplace(e.constraint_text, std::make_pair(sound, std::move(list))).first;
                }
                e.sound = it->second.first;
                e.constraints = it->second.second;
            }
            if (tb <= n) {  // "#@ int" alone has no plain comment
                trimSpan(raw, tb, te);
                e.comment_begin = tb;
                e.comment_end = te;
                e.comment = std::string(span(raw, tb, te));
            }
        }
        std::string_view content = span(raw, cb, ce);
        if (content.empty()) {
            e.kind = HLKV_ENTRY_COMMENT;
            addRow(std::move(e));
            line++;
            continue;
        }
        if (content == "}") {
            if (depth > 0) {
                depth--;
                kinds.pop_back();
            }
            line++;
            continue;
        }
        const bool in_tbl = kinds.back() == HLKV_ENTRY_TBL;
        std::string name;
        long vb = cb, ve = ce;
        if (!in_tbl || !isOpener(content)) {
            if (!in_tbl) {
                long ke = wordEnd(raw, cb, ce);
                name = unescapeValue(std::string(span(raw, cb, ke)));
                vb = skipWhite(raw, ke, ce);
                if (vb == ce)
                    vb = ke;  // no value: an edit inserts it after the key
            }
            std::string value = unescapeValue(std::string(span(raw, vb, ve)));
            if (!isOpener(value)) {
                e.kind = in_tbl ? HLKV_ENTRY_ROW : HLKV_ENTRY_VALUE;
                e.name = name;
                e.key = name;
                e.value = std::move(value);
                e.value_begin = vb;
                e.value_end = ve;
                addRow(std::move(e));
                line++;
                continue;
            }
            content = span(raw, vb, ve);
        }
        // a block opener, named in an &Arr, alone in an &Tbl
        e.name = name;
        e.key = name.empty() ? std::string(content) : name + " " + std::string(content);
        e.kind = content == open_arr ? HLKV_ENTRY_ARR : content == open_tbl ? HLKV_ENTRY_TBL : HLKV_ENTRY_LITERAL;
        if (e.kind == HLKV_ENTRY_LITERAL) {
            literal_row = static_cast<int>(rows.size());
            literal_first = true;
        }
        addRow(std::move(e));
        line++;
    }

    rows_ = std::move(rows);
    entry_rows_ = std::move(entry_rows);
    line_starts_ = std::move(line_starts);
    line_rows_ = std::move(line_rows);
    paths_.clear();
    kvstring = text;
    kvfile = source;
    source_ = source.empty() ? std::string("text") : source;
    return 0;
}

const HLKv_Entry* HLKv::entry(int index) const
{
    if (index < 0 || index >= size())
        return nullptr;
    return &rows_[static_cast<size_t>(entry_rows_[static_cast<size_t>(index)])];
}

std::vector<std::vector<std::string>> HLKv::getList() const
{
    std::vector<std::vector<std::string>> list;
    list.reserve(rows_.size());
    for (const HLKv_Entry& e : rows_)
        list.push_back({e.key, e.value, e.comment, source_ + ":" + std::to_string(e.line + 1),
                        std::to_string(e.level), std::to_string(e.index)});
    return list;
}

std::vector<std::string> HLKv::getEntry(int index) const
{
    const HLKv_Entry* e = entry(index);
    if (!e)
        return {};
    return {e->key, e->value, e->comment, getSource(index), std::to_string(e->level), std::to_string(e->index)};
}

std::vector<std::string> HLKv::getEntry(const std::string& key) const
{
    return getEntry(getEntryIndex(key));
}

std::string HLKv::getKey(int index) const
{
    const HLKv_Entry* e = entry(index);
    return e ? e->key : std::string();
}

std::string HLKv::getSource(int index) const
{
    const HLKv_Entry* e = entry(index);
    return e ? source_ + ":" + std::to_string(e->line + 1) : std::string();
}

std::string HLKv::getComment(int index) const
{
    const HLKv_Entry* e = entry(index);
    return e ? e->comment : std::string();
}

int HLKv::getLevel(int index) const
{
    const HLKv_Entry* e = entry(index);
    return e ? e->level : -1;
}

std::string HLKv::getValue(int index, bool* ok, std::vector<int>* bad, std::string* message) const
{
    const HLKv_Entry* e = entry(index);
    if (!e) {
        if (ok)
            *ok = false;
        if (message)
            *message = std::string("no entry ").append(std::to_string(index));
        return std::string();
    }
    if (ok || bad || message) {
        std::string m;
        bool pass = checkValue(index, e->value, &m, bad);
        if (ok)
            *ok = pass;
        if (message)
            *message = m;
    }
    return e->value;
}

std::string HLKv::getValue(const std::string& key, bool* ok, std::vector<int>* bad, std::string* message) const
{
    return getValue(getEntryIndex(key), ok, bad, message);
}

bool HLKv::checkValue(const std::string& key, const std::string& candidate, std::string* message,
                      std::vector<int>* bad) const
{
    int index = getEntryIndex(key);
    if (index < 0) {
        if (message)
            *message = "no entry '" + key + "'";
        return false;
    }
    return checkValue(index, candidate, message, bad);
}

std::string HLKv::getConstraints(int index, bool* sound) const
{
    const HLKv_Entry* e = entry(index);
    if (sound)
        *sound = e ? e->sound : false;
    return e ? e->constraint_text : std::string();
}

int HLKv::getEntryIndex(const std::string& key) const
{
    if (paths_.empty() && !entry_rows_.empty()) {
        // made on the first question: many documents are never asked by path
        struct Open
        {
            int kind;
            std::string path;  // "" at the top, else "a/b/"
            long rows;         // rows of an &Tbl so far
        };
        std::vector<Open> stack{{HLKV_ENTRY_ARR, std::string(), 0}};
        for (int r : entry_rows_) {
            const HLKv_Entry& e = rows_[static_cast<size_t>(r)];
            stack.resize(static_cast<size_t>(e.level) + 1);
            Open& top = stack.back();
            std::string path = top.path + (top.kind == HLKV_ENTRY_TBL ? std::to_string(top.rows++) : e.name);
            paths_[path] = e.index;
            if (e.kind == HLKV_ENTRY_ARR || e.kind == HLKV_ENTRY_TBL)
                stack.push_back({e.kind, path + "/", 0});
        }
    }
    auto it = paths_.find(key);
    return it == paths_.end() ? -1 : it->second;
}

int HLKv::setValue(int index, const std::string& value, int check)
{
    const HLKv_Entry* found = entry(index);
    if (!found) {
        hl_register_error(0, "HLKv::setValue: No entry %d.\n", index);
        return -1;
    }
    HLKv_Entry& e = rows_[static_cast<size_t>(entry_rows_[static_cast<size_t>(index)])];
    std::string v = value;
    if (e.kind == HLKV_ENTRY_ARR || e.kind == HLKV_ENTRY_TBL) {
        hl_register_error(0, "HLKv::setValue: Entry %d ('%s') is a block and has no value.\n", index,
                          e.key.c_str());
        return -1;
    }
    if (e.kind == HLKV_ENTRY_LITERAL) {
        // reading drops carriage returns at line ends: store what reads back
        std::string lf;
        lf.reserve(v.size());
        for (size_t i = 0; i < v.size(); i++) {
            size_t j = i;
            while (j < v.size() && v[j] == '\r')
                j++;
            if (j > i && (j == v.size() || v[j] == '\n')) {
                i = j - 1;
                continue;
            }
            lf += v[i];
        }
        v = std::move(lf);
        size_t b = 0;
        while (b <= v.size()) {
            size_t nl = v.find('\n', b);
            std::string_view l = std::string_view(v).substr(b, nl == std::string::npos ? std::string::npos : nl - b);
            long lb = 0, le = static_cast<long>(l.size());
            trimSpan(l, lb, le);
            if (span(l, lb, le) == "}") {
                hl_register_error(0, "HLKv::setValue: A line '}' would end the literal block of '%s'.\n",
                                  e.key.c_str());
                return -1;
            }
            if (nl == std::string::npos)
                break;
            b = nl + 1;
        }
    } else {
        if (v.find('\n') != std::string::npos) {
            hl_register_error(0, "HLKv::setValue: The value of '%s' must stay on one line.\n", e.key.c_str());
            return -1;
        }
        // the line form drops white space at the ends of a value
        long b = 0, end = static_cast<long>(v.size());
        trimSpan(v, b, end);
        v = v.substr(static_cast<size_t>(b), static_cast<size_t>(end - b));
        const bool row = e.kind == HLKV_ENTRY_ROW;
        std::string_view first(v);
        first = first.substr(0, static_cast<size_t>(wordEnd(v, 0, static_cast<long>(v.size()))));
        if (isOpener(v) || (row && (v.empty() || v == "}" || first == literal_word))) {
            hl_register_error(0, "HLKv::setValue: '%s' would change the structure of the document.\n", v.c_str());
            return -1;
        }
    }
    std::string message;
    std::vector<int> bad;
    checkValue(index, v, &message, &bad);
    valueChangedCallback(e.name.empty() ? e.key : e.name, index, v, message);
    if (check && !message.empty()) {
        hl_register_error(0, "HLKv::setValue: '%s' refused for '%s': %s.\n", v.c_str(), e.key.c_str(),
                          message.c_str());
        return -1;
    }
    if (v != e.value || e.changed) {
        e.value = std::move(v);
        e.changed = true;
    }
    return 0;
}

int HLKv::setComment(int index, const std::string& comment)
{
    const HLKv_Entry* found = entry(index);
    if (!found) {
        hl_register_error(0, "HLKv::setComment: No entry %d.\n", index);
        return -1;
    }
    HLKv_Entry& e = rows_[static_cast<size_t>(entry_rows_[static_cast<size_t>(index)])];
    if (e.kind == HLKV_ENTRY_LITERAL || e.kind == HLKV_ENTRY_LITERAL_LINE) {
        hl_register_error(0, "HLKv::setComment: The literal entry '%s' cannot hold a comment.\n", e.key.c_str());
        return -1;
    }
    if (comment.find('\n') != std::string::npos) {
        hl_register_error(0, "HLKv::setComment: The comment of '%s' must stay on one line.\n", e.key.c_str());
        return -1;
    }
    e.comment = comment;
    e.changed = true;
    return 0;
}

std::string HLKv::lineText(long line) const
{
    size_t b = static_cast<size_t>(line_starts_[static_cast<size_t>(line)]);
    size_t eol = kvstring.find('\n', b);
    return kvstring.substr(b, eol == std::string::npos ? std::string::npos : eol - b);
}

// The line of an edited entry without its new line; for a literal block,
// the opener line, and the value's lines each with a new line.
std::string HLKv::editedLine(const HLKv_Entry& e) const
{
    std::string raw = lineText(e.line);
    if (e.kind == HLKV_ENTRY_LITERAL) {
        std::string out = raw;
        if (!e.value.empty())
            out += "\n" + e.value;
        return out;
    }
    std::string out;
    long tail_from = 0;  // where the rest of the line is copied from
    if (e.value_begin >= 0) {
        out = raw.substr(0, static_cast<size_t>(e.value_begin));
        std::string written = e.kind == HLKV_ENTRY_LITERAL_LINE ? e.value : escapeValue(e.value);
        const bool inserted = e.value_begin == e.value_end && !e.value.empty()
                              && (e.value_begin == 0 || !isWhite(raw[static_cast<size_t>(e.value_begin - 1)]));
        if (inserted)
            out += ' ';
        out += written;
        // a backslash ending the value would turn the comment's "#" into a hash
        const bool hash_next =
            static_cast<size_t>(e.value_end) < raw.size() && raw[static_cast<size_t>(e.value_end)] == '#';
        if (hash_next && (inserted || (!written.empty() && written.back() == '\\')))
            out += ' ';
        tail_from = e.value_end;
    }
    std::string tail = raw.substr(static_cast<size_t>(tail_from));
    const std::string original_comment =
        e.comment_begin >= 0 ? raw.substr(static_cast<size_t>(e.comment_begin),
                                          static_cast<size_t>(e.comment_end - e.comment_begin))
                             : std::string();
    if (e.comment == original_comment)
        return out + tail;
    if (e.comment_begin >= 0) {
        // replace the old comment's text; "#@" would turn it into constraints
        const size_t at = static_cast<size_t>(e.comment_begin - tail_from);
        std::string repl = e.comment;
        if (!repl.empty() && at > 0 && tail[at - 1] == '#')
            repl = " " + repl;
        return out + tail.substr(0, at) + repl + tail.substr(at + static_cast<size_t>(e.comment_end - e.comment_begin));
    }
    if (e.comment.empty())
        return out + tail;
    size_t cr = tail.size();
    while (cr > 0 && tail[cr - 1] == '\r')
        cr--;
    return out + tail.substr(0, cr) + "    # " + e.comment + tail.substr(cr);
}

std::string HLKv::getKvString() const
{
    bool any = false;
    for (const HLKv_Entry& e : rows_)
        if (e.changed) {
            any = true;
            break;
        }
    if (!any)
        return kvstring;
    std::string out;
    out.reserve(kvstring.size() + 256);
    const long lines = static_cast<long>(line_starts_.size());
    for (long l = 0; l < lines; l++) {
        const size_t b = static_cast<size_t>(line_starts_[static_cast<size_t>(l)]);
        size_t eol = kvstring.find('\n', b);
        const bool has_nl = eol != std::string::npos;
        int r = line_rows_[static_cast<size_t>(l)];
        if (r < 0 || !rows_[static_cast<size_t>(r)].changed) {
            out.append(kvstring, b, has_nl ? eol - b + 1 : std::string::npos);
            continue;
        }
        const HLKv_Entry& e = rows_[static_cast<size_t>(r)];
        out += editedLine(e);
        if (e.kind == HLKV_ENTRY_LITERAL) {
            out += '\n';
            l = e.literal_end_line - 1;  // the old lines of the block are left out; its "}" follows
            continue;
        }
        if (has_nl)
            out += '\n';
    }
    return out;
}

int HLKv::getKv(Kv** kv) const
{
    if (!kv) {
        hl_register_error(0, "HLKv::getKv: Null argument.\n");
        return -1;
    }
    const std::string text = getKvString();
    Kv* made = nullptr;
    if (kvcompile_source(text.data(), text.size(), kvfile.empty() ? nullptr : kvfile.c_str(), &made) < 0) {
        hl_register_error(0, "HLKv::getKv: kvcompile() error.\n");
        return -1;
    }
    *kv = made;
    return 0;
}

int HLKv::write(const std::string& path) const
{
    if (path.empty()) {
        hl_register_error(0, "HLKv::write: Empty path.\n");
        return -1;
    }
    const std::string text = getKvString();
    // write beside the target and rename, so that a failure leaves the old
    // file whole
    std::string temp = path + ".XXXXXX";
    int fd = mkstemp(temp.data());
    if (fd < 0) {
        hl_register_error(0, "HLKv::write: Cannot write '%s': %s.\n", path.c_str(), strerror(errno));
        return -1;
    }
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            int err = errno;
            close(fd);
            unlink(temp.c_str());
            hl_register_error(0, "HLKv::write: Cannot write '%s': %s.\n", path.c_str(), strerror(err));
            return -1;
        }
        done += static_cast<size_t>(n);
    }
    struct stat st;
    fchmod(fd, stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644);
    if (close(fd) != 0 || rename(temp.c_str(), path.c_str()) != 0) {
        int err = errno;
        unlink(temp.c_str());
        hl_register_error(0, "HLKv::write: Cannot write '%s': %s.\n", path.c_str(), strerror(err));
        return -1;
    }
    return 0;
}

void HLKv::valueChangedCallback(const std::string&, int, const std::string&, std::string&) {}

std::string HLKv::key2Kvkey(const std::string& key)
{
    std::string_view k(key);
    if (k.substr(0, literal_word.size()) == literal_word)
        k.remove_prefix(literal_word.size());
    long b = skipWhite(k, 0, static_cast<long>(k.size()));
    long e = wordEnd(k, b, static_cast<long>(k.size()));
    std::string_view word = span(k, b, e);
    return isOpener(word) ? std::string() : std::string(word);
}

std::vector<std::string> HLKv::key2Table(const std::string& path)
{
    std::vector<std::string> parts;
    size_t b = 0;
    while (b <= path.size()) {
        size_t slash = path.find('/', b);
        if (slash == std::string::npos)
            slash = path.size();
        if (slash > b)
            parts.push_back(path.substr(b, slash - b));
        b = slash + 1;
    }
    return parts;
}

std::string HLKv::key2Perl(const std::string& path)
{
    std::string out;
    for (const std::string& p : key2Table(path)) {
        const bool number = p.find_first_not_of("0123456789") == std::string::npos;
        out += number ? "[" + p + "]" : "{" + p + "}";
    }
    return out;
}

std::string HLKv::escapeValue(const std::string& value)
{
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        if (c == '#')
            out += '\\';
        out += c;
    }
    return out;
}

std::string HLKv::unescapeValue(const std::string& text)
{
    if (text.find("\\#") == std::string::npos)
        return text;
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == '#') {
            out += '#';
            i++;
            continue;
        }
        out += text[i];
    }
    return out;
}
