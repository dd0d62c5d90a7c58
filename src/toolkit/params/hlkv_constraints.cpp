// HLKv: the constraint text of an entry and the check of a value.
#include "toolkit/base/strings.h"
#include "toolkit/params/hlkv.h"

#include <regex.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

// More constraints than this on one entry are refused as unsound.
constexpr size_t max_constraints = 256;

inline bool isWhite(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// Words separated by white space; brackets and braces keep their insides
// in one word ("int[0, 10]").
std::vector<std::string_view> tokens(std::string_view s)
{
    std::vector<std::string_view> out;
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && isWhite(s[i]))
            i++;
        if (i >= s.size())
            break;
        size_t b = i;
        int depth = 0;
        while (i < s.size() && (depth > 0 || !isWhite(s[i]))) {
            if (s[i] == '[' || s[i] == '{')
                depth++;
            else if ((s[i] == ']' || s[i] == '}') && depth > 0)
                depth--;
            i++;
        }
        out.push_back(s.substr(b, i - b));
    }
    return out;
}

std::string trimmed(std::string_view s)
{
    size_t b = 0, e = s.size();
    while (b < e && isWhite(s[b]))
        b++;
    while (e > b && isWhite(s[e - 1]))
        e--;
    return std::string(s.substr(b, e - b));
}

// A whole number text; false for anything else.
bool toDouble(const std::string& s, double* out)
{
    if (s.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    double v = fixed_strtod(s.c_str(), &end);
    if (!end || *end != '\0' || errno == ERANGE || !std::isfinite(v))
        return false;
    *out = v;
    return true;
}

bool toInteger(const std::string& s, double* out)
{
    if (s.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    long long v = strtoll(s.c_str(), &end, 10);
    if (!end || *end != '\0' || errno == ERANGE || isWhite(s[0]))
        return false;
    *out = static_cast<double>(v);
    return true;
}

bool parseOne(std::string_view word, HLKv_Constraint* c)
{
    if (word.size() >= 2 && word.front() == '{' && word.back() == '}') {
        std::string_view inner = word.substr(1, word.size() - 2);
        c->type = HLKV_ENUM;
        size_t b = 0;
        while (true) {
            size_t bar = inner.find('|', b);
            c->string_enum.push_back(trimmed(inner.substr(b, bar == std::string_view::npos ? bar : bar - b)));
            if (bar == std::string_view::npos)
                break;
            b = bar + 1;
        }
        return !(c->string_enum.size() == 1 && c->string_enum[0].empty());
    }
    std::string_view type = word, range;
    if (size_t bracket = word.find('['); bracket != std::string_view::npos) {
        if (word.back() != ']')
            return false;
        type = word.substr(0, bracket);
        range = word.substr(bracket + 1, word.size() - bracket - 2);
    }
    if (type == "string")
        c->type = HLKV_STRING;
    else if (type == "int" || type == "integer")
        c->type = HLKV_INT;
    else if (type == "real" || type == "float" || type == "double")
        c->type = HLKV_REAL;
    else if (type == "bool" || type == "boolean")
        c->type = HLKV_BOOL;
    else if (type == "color" || type == "colour")
        c->type = HLKV_COLOR;
    else if (type == "font")
        c->type = HLKV_FONT;
    else if (type == "regex" || type == "regexp")
        c->type = HLKV_REGEX;
    else
        return false;
    if (range.data() == nullptr)
        return true;
    if (c->type != HLKV_INT && c->type != HLKV_REAL)
        return false;
    size_t comma = range.find(',');
    if (comma == std::string_view::npos)
        return false;
    std::string lo = trimmed(range.substr(0, comma)), hi = trimmed(range.substr(comma + 1));
    if (!lo.empty()) {
        if (!toDouble(lo, &c->min))
            return false;
        c->has_min = true;
    }
    if (!hi.empty()) {
        if (!toDouble(hi, &c->max))
            return false;
        c->has_max = true;
    }
    return !(c->has_min && c->has_max && c->min > c->max);
}

std::string number(double v)
{
    char buf[64];
    snprintf(buf, sizeof buf, "%.15g", v);
    return buf;
}

// Why field does not pass c; empty when it does.
std::string fieldFailure(const HLKv_Constraint& c, const std::string& field, HLKv_FieldChecker checker)
{
    std::string q(1, '\'');
    q.append(field).push_back('\'');
    double v = 0.0;
    switch (c.type) {
    case HLKV_INT:
    case HLKV_REAL:
        if (c.type == HLKV_INT ? !toInteger(field, &v) : !toDouble(field, &v))
            return field.empty() ? (c.type == HLKV_INT ? "an integer is missing" : "a number is missing")
                                 : q + (c.type == HLKV_INT ? " is not an integer" : " is not a number");
        if (c.has_min && v < c.min)
            return q + " is below the least value " + number(c.min);
        if (c.has_max && v > c.max)
            return q + " is above the greatest value " + number(c.max);
        return std::string();
    case HLKV_BOOL: {
        int b = 0;
        return HL_ParseBoolean(field.c_str(), &b) < 0 ? q + " is not a boolean" : std::string();
    }
    case HLKV_COLOR:
        if (field.empty())
            return "a colour is missing";
        return checker && !checker(c.type, field) ? q + " is not a colour" : std::string();
    case HLKV_FONT:
        if (field.empty())
            return "a font is missing";
        return checker && !checker(c.type, field) ? q + " is not a font" : std::string();
    case HLKV_REGEX: {
        if (field.empty())
            return "a regular expression is missing";
        regex_t re;
        int rc = regcomp(&re, field.c_str(), REG_EXTENDED | REG_NOSUB);
        if (rc != 0) {
            char why[128];
            regerror(rc, &re, why, sizeof why);
            return q + " is not a regular expression (" + why + ")";
        }
        regfree(&re);
        return std::string();
    }
    case HLKV_ENUM: {
        std::string words;
        for (const std::string& w : c.string_enum) {
            if (w == field)
                return std::string();
            if (!words.empty())
                words += ", ";
            words += w.empty() ? std::string("''") : w;
        }
        return q + " is not one of " + words;
    }
    default:
        return std::string();
    }
}

} // namespace

std::vector<std::string> HLKv::splitFields(const std::string& value, size_t n)
{
    std::vector<std::string> fields;
    std::string_view s(value);
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && isWhite(s[i]))
            i++;
        if (i >= s.size())
            break;
        size_t b = i;
        while (i < s.size() && !isWhite(s[i]))
            i++;
        if (fields.size() < std::max<size_t>(n, 1))
            fields.emplace_back(s.substr(b, i - b));
        else
            fields.back().append(" ").append(s.substr(b, i - b));
    }
    return fields;
}

bool HLKv::parseConstraints(const std::string& text, std::vector<HLKv_Constraint>* out)
{
    std::vector<HLKv_Constraint> list;
    for (std::string_view word : tokens(text)) {
        if (list.size() >= max_constraints)
            return false;
        HLKv_Constraint c;
        if (!parseOne(word, &c))
            return false;
        list.push_back(std::move(c));
    }
    if (list.empty())
        return false;
    if (out)
        *out = std::move(list);
    return true;
}

bool HLKv::checkValue(int index, const std::string& candidate, std::string* message, std::vector<int>* bad) const
{
    if (message)
        message->clear();
    if (bad)
        bad->clear();
    const HLKv_Entry* e = entry(index);
    if (!e) {
        if (message)
            *message = std::string("no entry ").append(std::to_string(index));
        return false;
    }
    // an unsound constraint is shown, never applied
    if (!e->sound || e->constraints.empty())
        return true;
    const std::vector<HLKv_Constraint>& cs = e->constraints;
    const std::vector<std::string> fields = splitFields(candidate, cs.size());
    std::string why;
    for (size_t f = 0; f < cs.size(); f++) {
        std::string failure = fieldFailure(cs[f], f < fields.size() ? fields[f] : std::string(), field_checker);
        if (failure.empty())
            continue;
        if (!why.empty())
            why += "; ";
        if (cs.size() > 1)
            why.append("field ").append(std::to_string(f + 1)).append(": ");
        why += failure;
        if (bad)
            bad->push_back(static_cast<int>(f));
    }
    if (message)
        *message = why;
    return why.empty();
}
