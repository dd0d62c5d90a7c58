// The memory back end, and what every back end shares: field values and
// their text, the record buffer, key matching and the lastid counters.
#include "toolkit/store/rsbackend_p.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// ---- field values and their text

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool lowerEquals(std::string_view a, const char* b)
{
    size_t n = strlen(b);
    if (a.size() != n)
        return false;
    for (size_t i = 0; i < n; i++) {
        char c = a[i];
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c != b[i])
            return false;
    }
    return true;
}

// Whether text (trimmed) is a decimal number of the forms fixed_strtod()
// takes: sign, digits and point, exponent; or nan, inf, infinity.
bool isRealText(std::string_view t)
{
    size_t i = 0;
    if (i < t.size() && (t[i] == '+' || t[i] == '-'))
        i++;
    std::string_view rest = t.substr(i);
    if (lowerEquals(rest, "nan") || lowerEquals(rest, "inf") || lowerEquals(rest, "infinity"))
        return true;
    size_t digits = 0;
    while (i < t.size() && isDigit(t[i])) {
        i++;
        digits++;
    }
    if (i < t.size() && t[i] == '.') {
        i++;
        while (i < t.size() && isDigit(t[i])) {
            i++;
            digits++;
        }
    }
    if (digits == 0)
        return false;
    if (i < t.size() && (t[i] == 'e' || t[i] == 'E' || t[i] == 'd' || t[i] == 'D')) {
        i++;
        if (i < t.size() && (t[i] == '+' || t[i] == '-'))
            i++;
        size_t exp_digits = 0;
        while (i < t.size() && isDigit(t[i])) {
            i++;
            exp_digits++;
        }
        if (exp_digits == 0)
            return false;
    }
    return i == t.size();
}

const double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The common case of a plain decimal with a mantissa that a double holds
// exactly: one division by an exact power of ten is correctly rounded, as
// strtod() is.  False when the text needs the general parser.
bool fastDecimal(std::string_view t, double* value)
{
    size_t i = 0;
    bool negative = false;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) {
        negative = t[i] == '-';
        i++;
    }
    uint64_t mantissa = 0;
    int digits = 0, decimals = 0, any = 0;
    bool point = false;
    for (; i < t.size(); i++) {
        char c = t[i];
        if (isDigit(c)) {
            if (digits >= 15)
                return false;
            mantissa = mantissa * 10 + static_cast<uint64_t>(c - '0');
            any++;
            if (mantissa != 0)
                digits++;
            if (point)
                decimals++;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return false;
        }
    }
    if (any == 0 || decimals > 22)
        return false;
    double v = static_cast<double>(mantissa);
    if (decimals > 0)
        v /= kPow10[decimals];
    *value = negative ? -v : v;
    return true;
}

}  // namespace

bool RsFieldDef::isNumeric() const
{
    return type == RS_TYPE_INTEGER || type == RS_TYPE_JDATE || type == RS_TYPE_REAL || type == RS_TYPE_TIME;
}

int RsFieldDef::parseLong(std::string_view text, long* value) const
{
    if (isInteger())
        return rs_parse_long(text, value);
    double d = 0;
    if (rs_parse_double(text, &d) < 0 || !(d >= -9.2e18 && d <= 9.2e18))
        return -1;
    *value = static_cast<long>(d);
    return 0;
}

int RsFieldDef::parseDouble(std::string_view text, double* value) const
{
    if (isInteger()) {
        long v = 0;
        if (rs_parse_long(text, &v) < 0)
            return -1;
        *value = static_cast<double>(v);
        return 0;
    }
    return rs_parse_double(text, value);
}

int RsFieldDef::formatLong(long value, char* out) const
{
    if (!isInteger())
        return formatDouble(static_cast<double>(value), out);
    char buf[32];
    int n = snprintf(buf, sizeof buf, "%*ld", width, value);
    if (n != width)
        return -1;
    memcpy(out, buf, static_cast<size_t>(n));
    return 0;
}

int RsFieldDef::formatDouble(double value, char* out) const
{
    if (isInteger()) {
        if (!(value >= -9.2e18 && value <= 9.2e18) || value != std::trunc(value))
            return -1;
        return formatLong(static_cast<long>(value), out);
    }
    if (!isNumeric())
        return -1;
    // A width of at most 1023 and a magnitude of at most 1.8e308 keep the
    // text under 1400 characters.
    char buf[1400];
    const char fmt[] = {'%', '*', '.', '*', conversion, '\0'};
    for (int p = precision; p >= 0; p--) {
        int n = snprintf(buf, sizeof buf, fmt, width, p, value);
        if (n == width) {
            memcpy(out, buf, static_cast<size_t>(n));
            return 0;
        }
        if (n < 0 || conversion == 'g')
            break;
    }
    return -1;
}

int RsFieldDef::formatString(std::string_view value, char* out) const
{
    if (value.empty())
        value = null_text;
    if (value.size() > static_cast<size_t>(width))
        return -1;
    for (char c : value)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return -1;
    memcpy(out, value.data(), value.size());
    memset(out + value.size(), ' ', static_cast<size_t>(width) - value.size());
    return 0;
}

bool RsFieldDef::check(std::string_view text) const
{
    if (isInteger()) {
        long v;
        return rs_parse_long(text, &v) == 0;
    }
    if (isNumeric()) {
        double d;
        return rs_parse_double(text, &d) == 0;
    }
    for (char c : text)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    return true;
}

int RsTableDef::fieldIndex(std::string_view n) const
{
    for (size_t i = 0; i < fields.size(); i++)
        if (fields[i].name == n)
            return static_cast<int>(i);
    return -1;
}

std::string RsTableDef::nullRecord() const
{
    std::string r(static_cast<size_t>(width), ' ');
    for (const RsFieldDef& f : fields)
        if (f.inText())
            r.replace(static_cast<size_t>(f.offset), static_cast<size_t>(f.width), f.null_field);
    return r;
}

namespace {

// Whether a field holds a plain decimal number: blanks, a sign, digits with
// a point for reals, an exponent, blanks.  False sends the record to the
// full check, which also takes nan and inf and tells what is wrong.
inline bool plainNumber(const unsigned char* p, int w, bool integer)
{
    int i = 0;
    // numbers are right-justified: most of a field is blanks
    constexpr uint64_t kBlanks = 0x2020202020202020ULL;
    while (i + 8 <= w) {
        uint64_t word;
        memcpy(&word, p + i, 8);
        if (word != kBlanks)
            break;
        i += 8;
    }
    while (i < w && p[i] == ' ')
        i++;
    if (i < w && (p[i] == '-' || p[i] == '+'))
        i++;
    int digits = 0;
    while (i < w && static_cast<unsigned>(p[i] - '0') < 10u) {
        i++;
        digits++;
    }
    if (!integer) {
        if (i < w && p[i] == '.') {
            i++;
            while (i < w && static_cast<unsigned>(p[i] - '0') < 10u) {
                i++;
                digits++;
            }
        }
        if (digits > 0 && i < w && ((p[i] | 0x20) == 'e' || (p[i] | 0x20) == 'd')) {
            i++;
            if (i < w && (p[i] == '-' || p[i] == '+'))
                i++;
            int exponent = 0;
            while (i < w && static_cast<unsigned>(p[i] - '0') < 10u) {
                i++;
                exponent++;
            }
            if (exponent == 0)
                return false;
        }
    } else if (digits > 18) {
        return false;  // may not fit a long: the full check decides
    }
    if (digits == 0)
        return false;
    while (i < w && p[i] == ' ')
        i++;
    return i == w;
}

}  // namespace

bool RsTableDef::quickCheck(std::string_view text) const
{
    if (text.size() != static_cast<size_t>(width))
        return false;
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    unsigned bad = 0;
    for (int i = 0; i < width; i++)
        bad |= static_cast<unsigned>(p[i] < 0x20) | static_cast<unsigned>(p[i] == 0x7f);
    if (bad)
        return false;
    for (int s : separators)
        if (p[s] != ' ')
            return false;
    for (const NumberSpan& n : numbers)
        if (!plainNumber(p + n.offset, n.width, n.integer))
            return false;
    return true;
}

bool RsTableDef::checkRecord(std::string_view text, std::string* why) const
{
    if (quickCheck(text))
        return true;
    auto fault = [why](const std::string& what) {
        if (why)
            *why = what;
        return false;
    };
    if (!text.empty() && text.back() == '\r')
        text.remove_suffix(1);
    if (text.size() != static_cast<size_t>(width))
        return fault(std::to_string(text.size()) + " characters where a record of table " + name + " has " +
                     std::to_string(width));
    for (size_t i = 0; i < text.size(); i++)
        if (static_cast<unsigned char>(text[i]) < 0x20 || text[i] == 0x7f)
            return fault("a control character at column " + std::to_string(i + 1));
    const RsFieldDef* previous = nullptr;
    for (const RsFieldDef& f : fields) {
        if (!f.inText())
            continue;
        if (previous && text[static_cast<size_t>(f.offset) - 1] != ' ')
            return fault("no blank between fields " + previous->name + " and " + f.name);
        previous = &f;
        std::string_view v = text.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
        if (f.isNumeric() && !f.check(v))
            return fault("field " + f.name + ": '" + std::string(v) + "' is not a number");
    }
    return true;
}

std::string_view rs_trim(std::string_view t)
{
    while (!t.empty() && (t.front() == ' ' || t.front() == '\t'))
        t.remove_prefix(1);
    while (!t.empty() && (t.back() == ' ' || t.back() == '\t' || t.back() == '\r'))
        t.remove_suffix(1);
    return t;
}

namespace {

// The blanks before a right-justified number, counted a word at a time.
inline size_t leadingSpaces(const char* p, size_t n)
{
    constexpr uint64_t kBlanks = 0x2020202020202020ULL;
    size_t i = 0;
    while (i + 8 <= n) {
        uint64_t word;
        memcpy(&word, p + i, 8);
        const uint64_t other = word ^ kBlanks;
        if (other != 0) {
            if constexpr (std::endian::native == std::endian::little)
                return i + static_cast<size_t>(std::countr_zero(other)) / 8;
            break;
        }
        i += 8;
    }
    while (i < n && p[i] == ' ')
        i++;
    return i;
}

}  // namespace

int rs_parse_long(std::string_view text, long* value)
{
    // the common field: blanks, an optional minus, at most 18 digits, blanks
    {
        const char* p = text.data();
        const size_t n = text.size();
        size_t i = leadingSpaces(p, n);
        const bool negative = i < n && p[i] == '-';
        i += negative ? 1 : 0;
        const size_t first = i;
        unsigned long v = 0;
        while (i < n && isDigit(p[i]) && i - first < 18)
            v = v * 10 + static_cast<unsigned long>(p[i++] - '0');
        if (i > first && (i == n || p[i] == ' ')) {
            const size_t digits_end = i;
            i = digits_end + leadingSpaces(p + digits_end, n - digits_end);
            if (i == n) {
                *value = negative ? -static_cast<long>(v) : static_cast<long>(v);
                return 0;
            }
        }
    }
    // the rest: tabs, a plus, a carriage return, long numbers, faults
    std::string_view t = rs_trim(text);
    size_t i = 0;
    bool negative = false;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) {
        negative = t[i] == '-';
        i++;
    }
    if (i >= t.size())
        return -1;
    unsigned long v = 0;
    if (t.size() - i <= 18) {
        // too few digits to overflow: no check of the range on each
        for (; i < t.size(); i++) {
            if (!isDigit(t[i]))
                return -1;
            v = v * 10 + static_cast<unsigned long>(t[i] - '0');
        }
        *value = negative ? -static_cast<long>(v) : static_cast<long>(v);
        return 0;
    }
    const unsigned long limit = negative ? static_cast<unsigned long>(LONG_MAX) + 1 : LONG_MAX;
    for (; i < t.size(); i++) {
        if (!isDigit(t[i]))
            return -1;
        unsigned long d = static_cast<unsigned long>(t[i] - '0');
        if (v > (limit - d) / 10)
            return -1;
        v = v * 10 + d;
    }
    *value = negative ? static_cast<long>(0 - v) : static_cast<long>(v);
    return 0;
}

int rs_parse_double(std::string_view text, double* value)
{
    std::string_view t = rs_trim(text);
    if (t.empty())
        return -1;
    if (fastDecimal(t, value))
        return 0;
    if (t.size() >= 1100 || !isRealText(t))
        return -1;
    char buf[1100];
    memcpy(buf, t.data(), t.size());
    buf[t.size()] = '\0';
    char* end = nullptr;
    errno = 0;
    double v = fixed_strtod(buf, &end);
    if (end != buf + t.size())
        return -1;
    *value = v;
    return 0;
}


// ---- RsRows

namespace {

// A buffer of n characters, null without memory.
std::shared_ptr<char> newBuffer(size_t n)
{
    try {
        return std::shared_ptr<char>(new char[n], std::default_delete<char[]>());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

char* RsRows::patch(size_t offset)
{
    if (buf_.use_count() > 1) {
        // lent out: the borrowers keep the old bytes
        std::shared_ptr<char> copy = newBuffer(capacity_);
        if (!copy)
            return nullptr;
        memcpy(copy.get(), buf_.get(), size_);
        buf_ = std::move(copy);
    }
    return buf_.get() + offset;
}

int RsRows::append(const char* p, size_t n)
{
    if (size_ + n > capacity_) {
        size_t cap = std::max(size_ + n, capacity_ < 4096 ? size_t(4096) : capacity_ * 2);
        std::shared_ptr<char> grown = newBuffer(cap);
        if (!grown)
            return -1;
        if (size_)
            memcpy(grown.get(), buf_.get(), size_);
        buf_ = std::move(grown);
        capacity_ = cap;
    }
    if (n)
        memcpy(buf_.get() + size_, p, n);
    size_ += n;
    return 0;
}

int RsRows::resize(size_t n)
{
    if (n > capacity_) {
        // a table read whole takes its size; one that grows after that
        // takes half again, so that appended rows don't copy it each time
        const size_t cap = size_ == 0 ? n : std::max(n, capacity_ + capacity_ / 2);
        std::shared_ptr<char> grown = newBuffer(cap);
        if (!grown)
            return -1;
        if (size_)
            memcpy(grown.get(), buf_.get(), std::min(size_, n));
        buf_ = std::move(grown);
        capacity_ = cap;
    }
    size_ = n;
    return 0;
}

bool RsRows::reserveRecords(size_t n)
{
    try {
        if (n > offsets_.capacity())
            offsets_.reserve(offsets_.empty() ? n : std::max(n, offsets_.capacity() + offsets_.capacity() / 2));
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

void RsRows::clear()
{
    if (buf_.use_count() > 1) {
        buf_.reset();  // the borrowers' now
        capacity_ = 0;
    }
    size_ = 0;
    offsets_.clear();
}

// ---- RsBackend: what every back end shares

RsBackend::~RsBackend() = default;

bool RsBackend::loaded(int) const
{
    return true;
}

long RsBackend::badRows(int) const
{
    return 0;
}

std::string RsBackend::path(int) const
{
    return {};
}

int RsBackend::getFloats(int, long, int, const float** data, long* n) const
{
    *data = nullptr;
    *n = 0;
    return 0;
}

int RsBackend::putFloats(int table, long, int, const float*, long)
{
    hl_register_error(0, "RsBackend::putFloats: Table %s keeps no samples.\n", def(table).name.c_str());
    return -1;
}

int RsBackend::getBundle(int, long r, int, long* first, long* last) const
{
    *first = r;
    *last = r + 1;
    return 0;
}

int RsBackend::putBundle(int table, long, int, long, long)
{
    hl_register_error(0, "RsBackend::putBundle: Table %s keeps no bundles.\n", def(table).name.c_str());
    return -1;
}

bool rs_same_key(const RsTableDef& def, std::string_view a, std::string_view b)
{
    if (def.key.empty())
        return false;
    for (int k : def.key) {
        const RsFieldDef& f = def.fields[static_cast<size_t>(k)];
        std::string_view fa = a.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
        std::string_view fb = b.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
        if (f.isInteger()) {
            long va = 0, vb = 0;
            if (rs_parse_long(fa, &va) == 0 && rs_parse_long(fb, &vb) == 0) {
                if (va != vb)
                    return false;
                continue;
            }
        } else if (f.isNumeric()) {
            double va = 0, vb = 0;
            if (rs_parse_double(fa, &va) == 0 && rs_parse_double(fb, &vb) == 0) {
                // times are compared at the field's precision
                char pa[1400], pb[1400];
                if (f.formatDouble(va, pa) == 0 && f.formatDouble(vb, pb) == 0) {
                    if (memcmp(pa, pb, static_cast<size_t>(f.width)) != 0)
                        return false;
                    continue;
                }
            }
        }
        if (rs_trim(fa) != rs_trim(fb))
            return false;
    }
    return true;
}

long RsBackend::findKey(int table, std::string_view text) const
{
    const RsTableDef& d = def(table);
    if (d.key.empty())
        return -1;
    const long n = count(table);
    for (long r = 0; r < n; r++)
        if (rs_same_key(d, record(table, r), text))
            return r;
    return -1;
}

long RsBackend::rowsGeneration(int) const
{
    return -1;
}

std::shared_ptr<const void> RsBackend::holdRecords(int) const
{
    return nullptr;
}

bool RsBackend::rewrittenRecords(int, std::vector<long>*) const
{
    return false;
}

bool RsBackend::onlyGrew(int) const
{
    return false;
}

bool RsBackend::hasKeyTable(const char* name) const
{
    for (const RsTableDef& d : schema_->tables)
        if (d.key.size() == 1 && d.fields[static_cast<size_t>(d.key[0])].name == name &&
            d.fields[static_cast<size_t>(d.key[0])].isInteger())
            return true;
    return false;
}

long RsBackend::largestKey(const char* name)
{
    long largest = 0;
    if (key_scans_.size() != schema_->tables.size())
        key_scans_.assign(schema_->tables.size(), KeyScan());
    for (size_t t = 0; t < schema_->tables.size(); t++) {
        const RsTableDef& d = schema_->tables[t];
        if (d.key.size() != 1 || d.fields[static_cast<size_t>(d.key[0])].name != name ||
            !d.fields[static_cast<size_t>(d.key[0])].isInteger())
            continue;
        const int ti = static_cast<int>(t);
        if (load(ti) < 0 || refresh(ti) < 0) {
            hl_register_error(0, "RsBackend::largestKey: Cannot read table %s.\n", d.name.c_str());
            return -1;
        }
        const RsFieldDef& f = d.fields[static_cast<size_t>(d.key[0])];
        const long n = count(ti);
        const long generation = rowsGeneration(ti);
        KeyScan& scan = key_scans_[t];
        if (generation < 0 || scan.generation != generation || scan.scanned > n)
            scan = KeyScan{generation, 0, 0};
        // records before scan.scanned are as they were when read last
        for (long r = scan.scanned; r < n; r++) {
            long v = 0;
            std::string_view text = record(ti, r);
            if (rs_parse_long(text.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width)), &v) == 0)
                scan.largest = std::max(scan.largest, v);
        }
        scan.scanned = n;
        largest = std::max(largest, scan.largest);
    }
    return largest;
}

std::string rs_lddate_now()
{
    char* text = timeformat(timenow(), "%Y-%m-%dT%H%M%S");
    std::string s = text ? text : "-";
    free(text);
    return s;
}

long rs_lastid_record(RsBackend* backend, int table, const char* name, long* row, std::string* text)
{
    const RsTableDef& d = backend->def(table);
    const int fname = d.fieldIndex("keyname"), fvalue = d.fieldIndex("keyvalue"), fdate = d.fieldIndex("lddate");
    if (fname < 0 || fvalue < 0 || !d.fields[static_cast<size_t>(fvalue)].isInteger()) {
        hl_register_error(0, "rs_lastid_record: Table %s has no keyname and keyvalue.\n", d.name.c_str());
        return -1;
    }
    const RsFieldDef& fn = d.fields[static_cast<size_t>(fname)];
    const RsFieldDef& fv = d.fields[static_cast<size_t>(fvalue)];
    std::string probe = d.nullRecord();
    if (fn.formatString(name, &probe[static_cast<size_t>(fn.offset)]) < 0 || !*name) {
        hl_register_error(0, "rs_lastid_record: Bad counter name '%s'.\n", name);
        return -1;
    }
    long counter = 0;
    *row = -1;
    const long n = backend->count(table);
    for (long r = 0; r < n; r++) {
        std::string_view rec = backend->record(table, r);
        if (rs_trim(rec.substr(static_cast<size_t>(fn.offset), static_cast<size_t>(fn.width))) == name) {
            *row = r;
            *text = std::string(rec);
            if (fv.parseLong(rec.substr(static_cast<size_t>(fv.offset), static_cast<size_t>(fv.width)), &counter) < 0)
                counter = 0;
            break;
        }
    }
    if (*row < 0)
        *text = probe;
    const long largest = backend->largestKey(name);
    if (largest < 0)
        return -1;
    const long next = std::max(counter, largest) + 1;
    if (fv.formatLong(next, &(*text)[static_cast<size_t>(fv.offset)]) < 0) {
        hl_register_error(0, "rs_lastid_record: Counter %s overflows at %ld.\n", name, next);
        return -1;
    }
    if (fdate >= 0) {
        const RsFieldDef& fd = d.fields[static_cast<size_t>(fdate)];
        std::string date = rs_lddate_now();
        fd.formatString(date.substr(0, static_cast<size_t>(fd.width)), &(*text)[static_cast<size_t>(fd.offset)]);
    }
    return next;
}

namespace {

class MemoryBackend : public RsBackend
{
public:
    explicit MemoryBackend(const RsSchema* schema) : RsBackend(schema), tables_(schema->tables.size()) {}

    bool writable() const override { return true; }
    int load(int) override { return 0; }
    long count(int table) const override { return tables_[static_cast<size_t>(table)].rows.count(); }
    std::string_view record(int table, long r) const override
    {
        const RsRows& rows = tables_[static_cast<size_t>(table)].rows;
        return std::string_view(rows.at(rows.offset(r)), static_cast<size_t>(def(table).width));
    }
    long append(int table, std::string_view text) override;
    int update(int table, long r, std::string_view text, const std::vector<int>& fields) override;
    long put(int table, std::string_view text) override;
    long nextId(const char* name) override;
    int refresh(int) override { return 0; }

    int getFloats(int table, long r, int field, const float** data, long* n) const override;
    int putFloats(int table, long r, int field, const float* data, long n) override;
    int getBundle(int table, long r, int field, long* first, long* last) const override;
    int putBundle(int table, long r, int field, long first, long last) override;

private:
    struct Table
    {
        RsRows rows;
        std::vector<std::vector<std::vector<float>>> floats;       // [field][record]
        std::vector<std::vector<std::pair<long, long>>> bundles;  // [field][record]
    };
    std::vector<Table> tables_;
};

long MemoryBackend::append(int table, std::string_view text)
{
    RsRows& rows = tables_[static_cast<size_t>(table)].rows;
    const size_t offset = rows.size();
    if (rows.append(text.data(), text.size()) < 0 || rows.append("\n", 1) < 0) {
        rows.resize(offset);
        hl_register_error(1, "MemoryBackend::append: Out of memory.\n");
        return -1;
    }
    rows.addRecord(offset);
    return rows.count() - 1;
}

int MemoryBackend::update(int table, long r, std::string_view text, const std::vector<int>& fields)
{
    RsRows& rows = tables_[static_cast<size_t>(table)].rows;
    char* rec = rows.patch(rows.offset(r));
    for (int i : fields) {
        const RsFieldDef& f = def(table).fields[static_cast<size_t>(i)];
        if (f.inText())
            memcpy(rec + f.offset, text.data() + f.offset, static_cast<size_t>(f.width));
    }
    return 0;
}

long MemoryBackend::put(int table, std::string_view text)
{
    long r = findKey(table, text);
    if (r < 0)
        return append(table, text);
    RsRows& rows = tables_[static_cast<size_t>(table)].rows;
    memcpy(rows.patch(rows.offset(r)), text.data(), text.size());
    return r;
}

long MemoryBackend::nextId(const char* name)
{
    const int table = schema_->tableIndex("lastid");
    if (table < 0) {
        hl_register_error(0, "MemoryBackend::nextId: Schema %s has no lastid table.\n", schema_->name.c_str());
        return -1;
    }
    long row = -1;
    std::string text;
    const long id = rs_lastid_record(this, table, name, &row, &text);
    if (id < 0)
        return -1;
    if (row >= 0) {
        RsRows& rows = tables_[static_cast<size_t>(table)].rows;
        memcpy(rows.patch(rows.offset(row)), text.data(), text.size());
    } else if (append(table, text) < 0) {
        return -1;
    }
    return id;
}

int MemoryBackend::getFloats(int table, long r, int field, const float** data, long* n) const
{
    const auto& per_field = tables_[static_cast<size_t>(table)].floats;
    *data = nullptr;
    *n = 0;
    if (static_cast<size_t>(field) < per_field.size() && static_cast<size_t>(r) < per_field[field].size()) {
        const std::vector<float>& v = per_field[field][static_cast<size_t>(r)];
        if (!v.empty()) {
            *data = v.data();
            *n = static_cast<long>(v.size());
        }
    }
    return 0;
}

int MemoryBackend::putFloats(int table, long r, int field, const float* data, long n)
{
    try {
        auto& per_field = tables_[static_cast<size_t>(table)].floats;
        if (per_field.size() <= static_cast<size_t>(field))
            per_field.resize(static_cast<size_t>(field) + 1);
        auto& records = per_field[static_cast<size_t>(field)];
        if (records.size() <= static_cast<size_t>(r))
            records.resize(static_cast<size_t>(r) + 1);
        std::vector<float> copy(data, data + n);
        records[static_cast<size_t>(r)] = std::move(copy);
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "MemoryBackend::putFloats: Out of memory for %ld samples.\n", n);
        return -1;
    }
    return 0;
}

int MemoryBackend::getBundle(int table, long r, int field, long* first, long* last) const
{
    const auto& per_field = tables_[static_cast<size_t>(table)].bundles;
    if (static_cast<size_t>(field) < per_field.size() && static_cast<size_t>(r) < per_field[field].size() &&
        per_field[field][static_cast<size_t>(r)].first >= 0) {
        *first = per_field[field][static_cast<size_t>(r)].first;
        *last = per_field[field][static_cast<size_t>(r)].second;
        return 0;
    }
    return RsBackend::getBundle(table, r, field, first, last);
}

int MemoryBackend::putBundle(int table, long r, int field, long first, long last)
{
    try {
        auto& per_field = tables_[static_cast<size_t>(table)].bundles;
        if (per_field.size() <= static_cast<size_t>(field))
            per_field.resize(static_cast<size_t>(field) + 1);
        auto& records = per_field[static_cast<size_t>(field)];
        if (records.size() <= static_cast<size_t>(r))
            records.resize(static_cast<size_t>(r) + 1, {-1, -1});
        records[static_cast<size_t>(r)] = {first, last};
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "MemoryBackend::putBundle: Out of memory.\n");
        return -1;
    }
    return 0;
}

}  // namespace

std::unique_ptr<RsBackend> rs_memory_backend(const RsSchema* schema)
{
    return std::make_unique<MemoryBackend>(schema);
}
