#include "toolkit/base/strings.h"

#include "toolkit/base/errors.h"

#include <regex.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace {

// White space of the "C" locale, whatever the process locale is.
bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

char lowerAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The words of s, as views into s.
std::vector<std::string_view> splitWords(const char* s)
{
    std::vector<std::string_view> words;
    const char* p = s;
    while (*p) {
        while (isSpace(*p))
            p++;
        const char* start = p;
        while (*p && !isSpace(*p))
            p++;
        if (p > start)
            words.emplace_back(start, static_cast<size_t>(p - start));
    }
    return words;
}

char* copyWord(std::string_view word)
{
    char* copy = static_cast<char*>(std::malloc(word.size() + 1));
    if (copy) {
        if (!word.empty())
            std::memcpy(copy, word.data(), word.size());
        copy[word.size()] = '\0';
    }
    return copy;
}

// What a strregmatch() hook points at.
struct RegexCache
{
    std::string pattern;
    regex_t compiled;
};

// glibc's regcomp() takes exponential time or memory on some expressions,
// and its matcher backtracks on back references.  These limits keep every
// expression that passes them cheap (well under a second), and leave alone
// the expressions one writes to match names and values:
// - no back reference ("\1"), which extended expressions leave undefined;
// - "+" or an interval of more than one copy must not repeat a part that can
//   match the empty string ("(a?)+"; for whole-string matching "*" says the
//   same), as its closure computation explodes on those;
// - at most max_regex_depth repetitions nested in each other ("((a*)*)*",
//   also "a**");
// - at most max_regex_empty_paths ways to match the empty string through a
//   part ("(a?|b?)(a?|b?)..." doubles them with every group);
// - an estimate of the compiled size within max_regex_nodes: repetitions
//   are compiled as copies, so "((a+)+)+" and "(a{99}){99}" multiply.
constexpr double max_regex_nodes = 2000;
constexpr int max_regex_depth = 8;
constexpr double max_regex_empty_paths = 256;

// The last character of the bracket expression opening at p.
const char* bracketEnd(const char* p)
{
    const char* q = p + 1;
    if (*q == '^')
        q++;
    if (*q == ']')
        q++;  // a leading ']' is a member
    while (*q && *q != ']') {
        if (*q == '[' && (q[1] == ':' || q[1] == '.' || q[1] == '=')) {
            const char close = q[1];
            const char* r = q + 2;
            while (*r && !(r[0] == close && r[1] == ']'))
                r++;
            if (!*r)
                return r - 1;
            q = r + 2;
        } else {
            q++;
        }
    }
    return *q ? q : q - 1;
}

// Parse the interval opening at p ("{m}", "{m,}", "{m,n}" or "{,n}") into
// the number of copies glibc makes of what it repeats and the least number
// of repeats; *last is its '}'.  False when p opens no interval.
bool intervalCopies(const char* p, double* copies, double* minimum, const char** last)
{
    const char* q = p + 1;
    double m = 0, n = 0;
    bool has_m = false, comma = false, has_n = false;
    for (; isDigit(*q); q++, has_m = true)
        m = std::min(m * 10 + (*q - '0'), 1e6);
    if (*q == ',') {
        comma = true;
        for (q++; isDigit(*q); q++, has_n = true)
            n = std::min(n * 10 + (*q - '0'), 1e6);
    }
    if (*q != '}' || (!has_m && !comma))
        return false;
    *copies = std::max(has_n ? n : comma ? m + 1 : m, 1.0);
    *minimum = m;
    *last = q;
    return true;
}

bool regexWithinLimits(const char* regex)
{
    // One frame per open group.  An item is an atom, a bracket expression,
    // an anchor or a group, with the repetitions applied to it; "paths"
    // counts its ways to match the empty string (0: it cannot).
    struct Frame
    {
        double done_nodes = 0, done_paths = 0;     // closed alternatives
        double prefix_nodes = 0, prefix_paths = 1;  // the open one, before its last item
        double last_nodes = 0, last_paths = 1;      // its last item (none: matches "")
        int last_depth = 0, max_depth = 0;          // repetitions nested
    };
    std::vector<Frame> frames;
    try {
        frames.reserve(16);
        frames.emplace_back();
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (const char* p = regex; *p; p++) {
        // a new item, or a repetition of copies of the last one
        double nodes = 1, paths = 0, copies = 0, minimum = 1;
        int depth = 0;
        switch (*p) {
        case '\\':
            if (p[1] >= '1' && p[1] <= '9')
                return false;
            if (p[1])
                p++;
            break;
        case '[':
            p = bracketEnd(p);
            break;
        case '^':
        case '$':
            paths = 1;
            break;
        case '(':
            try {
                frames.emplace_back();
            } catch (const std::bad_alloc&) {
                return false;
            }
            continue;
        case ')':
            if (frames.size() > 1) {
                const Frame& g = frames.back();
                nodes = g.done_nodes + g.prefix_nodes + g.last_nodes + 1;
                paths = g.done_paths + g.prefix_paths * g.last_paths;
                depth = g.max_depth;
                frames.pop_back();
            }
            break;
        case '|': {
            Frame& f = frames.back();
            f.done_nodes += f.prefix_nodes + f.last_nodes + 1;
            f.done_paths += f.prefix_paths * f.last_paths;
            f.prefix_nodes = f.last_nodes = 0;
            f.prefix_paths = f.last_paths = 1;
            continue;
        }
        case '*':
        case '?':
            copies = 1;  // wraps the item without copying it
            minimum = 0;
            break;
        case '+':
            copies = 2;
            break;
        case '{': {
            const char* last = nullptr;
            if (intervalCopies(p, &copies, &minimum, &last))
                p = last;
            break;
        }
        default:
            break;
        }
        Frame& f = frames.back();
        if (copies > 0) {
            if (copies > 1 && f.last_paths > 0)
                return false;
            if (++f.last_depth > max_regex_depth)
                return false;
            f.last_nodes = f.last_nodes * copies + 1;
            if (minimum == 0)
                f.last_paths += 1;
        } else {
            f.prefix_nodes += f.last_nodes;
            f.prefix_paths *= f.last_paths;
            f.last_nodes = nodes;
            f.last_paths = paths;
            f.last_depth = depth;
        }
        f.max_depth = std::max(f.max_depth, f.last_depth);
        if (f.done_nodes + f.prefix_nodes + f.last_nodes > max_regex_nodes ||
            f.done_paths + f.prefix_paths * f.last_paths > max_regex_empty_paths)
            return false;
    }
    double total = 0;
    for (const Frame& f : frames)
        total += f.done_nodes + f.prefix_nodes + f.last_nodes;
    return total <= max_regex_nodes;
}

void destroyCache(RegexCache* cache)
{
    regfree(&cache->compiled);
    delete cache;
}

} // namespace

char* strclip(char* s)
{
    if (!s)
        return s;
    size_t n = std::strlen(s);
    size_t begin = 0;
    while (begin < n && isSpace(s[begin]))
        begin++;
    while (n > begin && isSpace(s[n - 1]))
        n--;
    std::memmove(s, s + begin, n - begin);
    s[n - begin] = '\0';
    return s;
}

int strregmatch(const char* s, const char* regex, void** hook)
{
    if (!s || !regex) {
        hl_register_error(0, "strregmatch: Null string or expression.\n");
        return -1;
    }
    RegexCache* cache = hook ? static_cast<RegexCache*>(*hook) : nullptr;
    if (!cache || cache->pattern != regex) {
        // compile into a new cache first, so that a bad expression leaves
        // the old one in place
        RegexCache* fresh = new (std::nothrow) RegexCache;
        if (!fresh) {
            hl_register_error(1, "strregmatch: Out of memory.\n");
            return -1;
        }
        try {
            fresh->pattern = regex;
        } catch (const std::bad_alloc&) {
            delete fresh;
            hl_register_error(1, "strregmatch: Out of memory.\n");
            return -1;
        }
        if (!regexWithinLimits(regex) || regcomp(&fresh->compiled, regex, REG_EXTENDED) != 0) {
            delete fresh;
            hl_register_error(0, "strregmatch: Bad regular expression '%s'.\n", regex);
            return -1;
        }
        if (hook) {
            strregfree(hook);
            *hook = fresh;
        }
        cache = fresh;
    }

    // POSIX matching takes the longest match at the leftmost position, so
    // the whole of s matches exactly when that match spans it.
    regmatch_t match;
    int rc = regexec(&cache->compiled, s, 1, &match, 0);
    if (!hook)
        destroyCache(cache);
    if (rc == REG_NOMATCH)
        return 0;
    if (rc != 0) {
        hl_register_error(1, "strregmatch: Out of memory matching '%s'.\n", regex);
        return -1;
    }
    return match.rm_so == 0 && static_cast<size_t>(match.rm_eo) == std::strlen(s) ? 1 : 0;
}

void strregfree(void** hook)
{
    if (!hook || !*hook)
        return;
    destroyCache(static_cast<RegexCache*>(*hook));
    *hook = nullptr;
}

Tbl* strcut(char* s, int separator)
{
    if (!s) {
        hl_register_error(0, "strcut: Null string.\n");
        return nullptr;
    }
    Tbl* parts = seqnew(8);
    if (!parts)
        return nullptr;
    const char sep = static_cast<char>(separator);
    char* part = s;
    for (;;) {
        if (seqpush(parts, part) < 0) {
            seqfree(parts, nullptr);
            hl_register_error(1, "strcut: Cannot list the parts.\n");
            return nullptr;
        }
        char* next = sep ? std::strchr(part, sep) : nullptr;
        if (!next)
            break;
        *next = '\0';
        part = next + 1;
    }
    return parts;
}

Tbl* strcutwhite(const char* s)
{
    if (!s) {
        hl_register_error(0, "strcutwhite: Null string.\n");
        return nullptr;
    }
    try {
        std::vector<std::string_view> words = splitWords(s);
        Tbl* list = seqnew(static_cast<int>(words.size() < 1024 ? words.size() : 1024));
        if (!list)
            return nullptr;
        for (std::string_view word : words) {
            char* copy = copyWord(word);
            if (!copy || seqpush(list, copy) < 0) {
                std::free(copy);
                seqfree(list, std::free);
                hl_register_error(1, "strcutwhite: Out of memory.\n");
                return nullptr;
            }
        }
        return list;
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "strcutwhite: Out of memory.\n");
        return nullptr;
    }
}

int strcutlist(const char* s, int* argc, char*** argv)
{
    if (!s || !argc || !argv) {
        hl_register_error(0, "strcutlist: Null string or output pointer.\n");
        return -1;
    }
    std::vector<std::string_view> words;
    try {
        words = splitWords(s);
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "strcutlist: Out of memory.\n");
        return -1;
    }
    if (words.size() >= static_cast<size_t>(INT_MAX)) {
        hl_register_error(0, "strcutlist: Too many words (%zu).\n", words.size());
        return -1;
    }
    char** vector = static_cast<char**>(std::calloc(words.size() + 1, sizeof(char*)));
    if (!vector) {
        hl_register_error(1, "strcutlist: Out of memory.\n");
        return -1;
    }
    for (size_t i = 0; i < words.size(); i++) {
        vector[i] = copyWord(words[i]);
        if (!vector[i]) {
            strfreewords(static_cast<int>(i), vector);
            hl_register_error(1, "strcutlist: Out of memory.\n");
            return -1;
        }
    }
    *argc = static_cast<int>(words.size());
    *argv = vector;
    return 0;
}

void strfreewords(int argc, char** argv)
{
    if (!argv)
        return;
    for (int i = 0; i < argc; i++)
        std::free(argv[i]);
    std::free(argv);
}

int strpush(void** stack, const char* s)
{
    if (!stack || !s) {
        hl_register_error(0, "strpush: Null stack pointer or string.\n");
        return -1;
    }
    try {
        std::string* text = static_cast<std::string*>(*stack);
        if (!text) {
            text = new std::string(s);
            *stack = text;
        } else {
            text->append(s);
        }
    } catch (const std::bad_alloc&) {
        hl_register_error(1, "strpush: Out of memory.\n");
        return -1;
    }
    return 0;
}

char* strpop(void** stack, int flag)
{
    if (!stack) {
        hl_register_error(0, "strpop: Null stack pointer.\n");
        return nullptr;
    }
    std::string* text = static_cast<std::string*>(*stack);
    *stack = nullptr;
    char* whole = nullptr;
    if (flag) {
        whole = copyWord(text ? std::string_view(*text) : std::string_view());
        if (!whole)
            hl_register_error(1, "strpop: Out of memory.\n");
    }
    delete text;
    return whole;
}

// Order of magnitude of a decimal number given by its mantissa text and
// exponent, to tell an overflow from an underflow: positive for a number of
// at least 1.  The mantissa is not all zeros.
static long decimalMagnitude(std::string_view mantissa, long exponent)
{
    size_t point = mantissa.find('.');
    if (point == std::string_view::npos)
        point = mantissa.size();
    size_t first = mantissa.find_first_of("123456789");
    long magnitude = first < point ? static_cast<long>(point - first) : -static_cast<long>(first - point - 1);
    return magnitude + exponent;
}

double fixed_strtod(const char* s, char** end)
{
    if (end)
        *end = const_cast<char*>(s);
    if (!s)
        return 0.0;

    const char* p = s;
    while (isSpace(*p))
        p++;
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';

    double value = 0.0;
    const char* stop = nullptr;
    if (!isDigit(*p) && *p != '.') {
        // only "inf", "infinity" and "nan" remain; from_chars knows them and,
        // the sign being gone, takes nothing else that starts here
        if (*p == '-' || *p == '+')
            return 0.0;
        auto r = std::from_chars(p, p + std::strlen(p), value);
        if (r.ec != std::errc())
            return 0.0;
        stop = r.ptr;
    } else {
        // find the extent of the number; from_chars then converts a copy in
        // which a Fortran exponent letter has become an "e"
        const char* q = p;
        size_t digits = 0;
        while (isDigit(*q)) {
            q++;
            digits++;
        }
        if (*q == '.') {
            q++;
            while (isDigit(*q)) {
                q++;
                digits++;
            }
        }
        if (digits == 0)
            return 0.0;
        const char* mantissa_end = q;
        long exponent = 0;
        if (*q == 'e' || *q == 'E' || *q == 'd' || *q == 'D') {
            const char* e = q + 1;
            bool exp_negative = false;
            if (*e == '+' || *e == '-')
                exp_negative = *e++ == '-';
            if (isDigit(*e)) {
                while (isDigit(*e)) {
                    if (exponent < 1000000000L)
                        exponent = exponent * 10 + (*e - '0');
                    e++;
                }
                if (exp_negative)
                    exponent = -exponent;
                q = e;
            }
        }
        std::string text;
        try {
            text.assign(p, static_cast<size_t>(q - p));
        } catch (const std::bad_alloc&) {
            return 0.0;
        }
        size_t mantissa_length = static_cast<size_t>(mantissa_end - p);
        if (mantissa_length < text.size())
            text[mantissa_length] = 'e';
        auto r = std::from_chars(text.data(), text.data() + text.size(), value);
        if (r.ec == std::errc::result_out_of_range) {
            bool overflow = decimalMagnitude(std::string_view(text).substr(0, mantissa_length), exponent) > 0;
            value = overflow ? HUGE_VAL : 0.0;
            errno = ERANGE;
        } else if (r.ec != std::errc()) {
            return 0.0;
        }
        stop = p + (r.ptr - text.data());
    }
    if (end)
        *end = const_cast<char*>(stop);
    return negative ? -value : value;
}

int HL_ParseBoolean(const char* s, int* value)
{
    if (!s || !value)
        return -1;
    while (isSpace(*s))
        s++;
    size_t n = std::strlen(s);
    while (n > 0 && isSpace(s[n - 1]))
        n--;

    static const struct
    {
        const char* word;
        int value;
    } words[] = {
        {"1", 1}, {"yes", 1}, {"true", 1}, {"on", 1}, {"y", 1}, {"t", 1},
        {"0", 0}, {"no", 0}, {"false", 0}, {"off", 0}, {"n", 0}, {"f", 0},
    };
    for (const auto& w : words) {
        if (std::strlen(w.word) != n)
            continue;
        size_t i = 0;
        while (i < n && lowerAscii(s[i]) == w.word[i])
            i++;
        if (i == n) {
            *value = w.value;
            return 0;
        }
    }
    return -1;
}
