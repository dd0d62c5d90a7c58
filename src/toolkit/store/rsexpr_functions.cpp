// Evaluation of the record store's expressions: the stack machine that runs
// compiled code on a record, and the functions of the language.  Each
// function has a kind rule, checked when an expression is compiled, and an
// evaluator that may fail only on values.
#include "toolkit/store/rsexpr_p.h"

#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool numeric(int kind)
{
    return kind != RSEX_STRING;
}

bool integral(int kind)
{
    return kind == RSEX_INTEGER || kind == RSEX_BOOLEAN;
}

// Kind rules.

int oneNumber(const int* k, int, std::string* why, int result)
{
    if (!numeric(k[0])) {
        *why = "needs a number, not a string";
        return -1;
    }
    return result;
}

int kindAbs(const int* k, int n, std::string* why)
{
    return oneNumber(k, n, why, integral(k[0]) ? RSEX_INTEGER : RSEX_REAL);
}

int kindReal(const int* k, int n, std::string* why)
{
    return oneNumber(k, n, why, RSEX_REAL);
}

int kindYearday(const int* k, int n, std::string* why)
{
    return oneNumber(k, n, why, RSEX_INTEGER);
}

int kindTimeText(const int* k, int n, std::string* why)
{
    return oneNumber(k, n, why, RSEX_STRING);
}

int kindMinMax(const int* k, int n, std::string* why)
{
    bool strings = false, numbers = false, all_int = true, all_time = true;
    for (int i = 0; i < n; i++) {
        (k[i] == RSEX_STRING ? strings : numbers) = true;
        all_int = all_int && integral(k[i]);
        all_time = all_time && k[i] == RSEX_TIME;
    }
    if (strings && numbers) {
        *why = "cannot mix strings and numbers";
        return -1;
    }
    return strings ? RSEX_STRING : all_int ? RSEX_INTEGER : all_time ? RSEX_TIME : RSEX_REAL;
}

int kindStringTo(const int* k, int, std::string* why, int result)
{
    if (k[0] != RSEX_STRING) {
        *why = "needs a string";
        return -1;
    }
    return result;
}

int kindStrlen(const int* k, int n, std::string* why)
{
    return kindStringTo(k, n, why, RSEX_INTEGER);
}

int kindString(const int* k, int n, std::string* why)
{
    return kindStringTo(k, n, why, RSEX_STRING);
}

int kindStr2epoch(const int* k, int n, std::string* why)
{
    return kindStringTo(k, n, why, RSEX_TIME);
}

int kindSubstr(const int* k, int n, std::string* why)
{
    for (int i = 1; i < n; i++)
        if (!numeric(k[i])) {
            *why = "takes numbers for the start and the length";
            return -1;
        }
    return kindStringTo(k, n, why, RSEX_STRING);
}

int kindEpoch2str(const int* k, int, std::string* why)
{
    if (!numeric(k[0]) || k[1] != RSEX_STRING) {
        *why = "takes a time and a format";
        return -1;
    }
    return RSEX_STRING;
}

int kindNow(const int*, int, std::string*)
{
    return RSEX_TIME;
}

// Evaluators.

int evalAbs(RsexValue* a, int, RsexValue* r, std::string* why)
{
    if (integral(a[0].kind)) {
        if (a[0].i == LONG_MIN) {
            *why = "integer overflow";
            return -1;
        }
        r->kind = RSEX_INTEGER;
        r->i = a[0].i < 0 ? -a[0].i : a[0].i;
        return 0;
    }
    r->kind = RSEX_REAL;
    r->d = std::fabs(a[0].number());
    return 0;
}

int evalSqrt(RsexValue* a, int, RsexValue* r, std::string* why)
{
    const double x = a[0].number();
    if (x < 0) {
        *why = "square root of a negative number";
        return -1;
    }
    r->kind = RSEX_REAL;
    r->d = std::sqrt(x);
    return 0;
}

int evalFloor(RsexValue* a, int, RsexValue* r, std::string*)
{
    r->kind = RSEX_REAL;
    r->d = std::floor(a[0].number());
    return 0;
}

int evalCeil(RsexValue* a, int, RsexValue* r, std::string*)
{
    r->kind = RSEX_REAL;
    r->d = std::ceil(a[0].number());
    return 0;
}

int evalMinMax(RsexValue* a, int n, RsexValue* r, bool max)
{
    int best = 0;
    for (int i = 1; i < n; i++) {
        bool better;
        if (a[i].kind == RSEX_STRING)
            better = max ? a[i].s > a[best].s : a[i].s < a[best].s;
        else
            better = max ? a[i].number() > a[best].number() : a[i].number() < a[best].number();
        if (better)
            best = i;
    }
    std::string why;
    int kind[64];
    for (int i = 0; i < n && i < 64; i++)
        kind[i] = a[i].kind;
    const int k = kindMinMax(kind, n < 64 ? n : 64, &why);
    *r = a[best];
    if (k == RSEX_REAL || k == RSEX_TIME) {
        r->d = a[best].number();
    }
    r->kind = k;
    return 0;
}

int evalMin(RsexValue* a, int n, RsexValue* r, std::string*)
{
    return evalMinMax(a, n, r, false);
}

int evalMax(RsexValue* a, int n, RsexValue* r, std::string*)
{
    return evalMinMax(a, n, r, true);
}

int evalStrlen(RsexValue* a, int, RsexValue* r, std::string*)
{
    r->kind = RSEX_INTEGER;
    r->i = static_cast<long>(a[0].s.size());
    return 0;
}

// Start and length clipped to the string; a negative start counts from
// the end.
int evalSubstr(RsexValue* a, int n, RsexValue* r, std::string*)
{
    const double size = static_cast<double>(a[0].s.size());
    double start = std::trunc(a[1].number());
    if (start < 0)
        start += size;
    if (!(start >= 0))
        start = 0;
    if (start > size)
        start = size;
    double length = n > 2 ? std::trunc(a[2].number()) : size;
    if (!(length >= 0))
        length = 0;
    if (length > size - start)
        length = size - start;
    r->kind = RSEX_STRING;
    r->s = a[0].s.substr(static_cast<size_t>(start), static_cast<size_t>(length));
    return 0;
}

int evalUpper(RsexValue* a, int, RsexValue* r, std::string*)
{
    r->kind = RSEX_STRING;
    r->s = a[0].s;
    for (char& c : r->s)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return 0;
}

int evalLower(RsexValue* a, int, RsexValue* r, std::string*)
{
    r->kind = RSEX_STRING;
    r->s = a[0].s;
    for (char& c : r->s)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return 0;
}

int takeText(char* text, RsexValue* r, std::string* why, const char* what)
{
    if (!text) {
        *why = what;
        return -1;
    }
    r->kind = RSEX_STRING;
    r->s = text;
    free(text);
    return 0;
}

int evalEpoch2str(RsexValue* a, int, RsexValue* r, std::string* why)
{
    return takeText(timeformat(a[0].number(), a[1].s.c_str()), r, why, "cannot format that time");
}

int evalStrtime(RsexValue* a, int, RsexValue* r, std::string* why)
{
    return takeText(timestring(a[0].number()), r, why, "cannot format that time");
}

int evalStr2epoch(RsexValue* a, int, RsexValue* r, std::string* why)
{
    const double t = timeparse(a[0].s.c_str());
    if (t == HL_TIME_NULL) {
        char text[96];
        snprintf(text, sizeof text, "'%.64s' is not a time", a[0].s.c_str());
        *why = text;
        return -1;
    }
    r->kind = RSEX_TIME;
    r->d = t;
    return 0;
}

int evalYearday(RsexValue* a, int, RsexValue* r, std::string* why)
{
    const int jdate = timejdate(a[0].number());
    if (jdate == 0) {
        *why = "not a time";
        return -1;
    }
    r->kind = RSEX_INTEGER;
    r->i = jdate;
    return 0;
}

int evalNow(RsexValue*, int, RsexValue* r, std::string*)
{
    r->kind = RSEX_TIME;
    r->d = timenow();
    return 0;
}

const RsexFunction kFunctions[] = {
    {"abs", 1, 1, kindAbs, evalAbs},
    {"sqrt", 1, 1, kindReal, evalSqrt},
    {"floor", 1, 1, kindReal, evalFloor},
    {"ceil", 1, 1, kindReal, evalCeil},
    {"min", 1, 64, kindMinMax, evalMin},
    {"max", 1, 64, kindMinMax, evalMax},
    {"strlen", 1, 1, kindStrlen, evalStrlen},
    {"substr", 2, 3, kindSubstr, evalSubstr},
    {"upper", 1, 1, kindString, evalUpper},
    {"lower", 1, 1, kindString, evalLower},
    {"epoch2str", 2, 2, kindEpoch2str, evalEpoch2str},
    {"strtime", 1, 1, kindTimeText, evalStrtime},
    {"str2epoch", 1, 1, kindStr2epoch, evalStr2epoch},
    {"yearday", 1, 1, kindYearday, evalYearday},
    {"now", 0, 0, kindNow, evalNow},
};

}  // namespace

const RsexFunction* rsex_function(std::string_view name)
{
    for (const RsexFunction& f : kFunctions)
        if (name == f.name)
            return &f;
    return nullptr;
}

// ---- the machine

namespace {

using namespace rsexop;

// Set *error to what went wrong where; false.
bool failAt(const RsExpr&, const RsexInstr& in, const std::string& what, std::string* error)
{
    *error = what + " at position " + std::to_string(in.pos + 1);
    return false;
}

int compareValues(const RsexValue& a, const RsexValue& b)
{
    if (a.kind == RSEX_STRING)
        return a.s.compare(b.s) < 0 ? -1 : a.s == b.s ? 0 : 1;
    if ((a.kind == RSEX_INTEGER || a.kind == RSEX_BOOLEAN) && (b.kind == RSEX_INTEGER || b.kind == RSEX_BOOLEAN))
        return a.i < b.i ? -1 : a.i > b.i ? 1 : 0;
    const double x = a.number(), y = b.number();
    return x < y ? -1 : x > y ? 1 : 0;
}

// a op b for the numeric operators, into a; false on a fault.
bool arithmetic(const RsExpr& e, const RsexInstr& in, RsexValue& a, const RsexValue& b, std::string* error)
{
    const int kind = in.arg;
    if (kind == RSEX_STRING) {
        if (a.s.size() + b.s.size() > static_cast<size_t>(RSEX_STRING_MAX))
            return failAt(e, in, "String longer than 65536 characters", error);
        a.s += b.s;
        return true;
    }
    if (kind == RSEX_INTEGER) {
        long r = 0;
        bool overflow = false;
        switch (in.op) {
        case kAdd:
            overflow = __builtin_add_overflow(a.i, b.i, &r);
            break;
        case kSub:
            overflow = __builtin_sub_overflow(a.i, b.i, &r);
            break;
        case kMul:
            overflow = __builtin_mul_overflow(a.i, b.i, &r);
            break;
        default:  // kMod
            if (b.i == 0)
                return failAt(e, in, "Division by zero", error);
            r = b.i == -1 ? 0 : a.i % b.i;
            break;
        }
        if (overflow)
            return failAt(e, in, "Integer overflow", error);
        a.kind = RSEX_INTEGER;
        a.i = r;
        return true;
    }
    const double x = a.number(), y = b.number();
    double r = 0;
    switch (in.op) {
    case kAdd:
        r = x + y;
        break;
    case kSub:
        r = x - y;
        break;
    case kMul:
        r = x * y;
        break;
    case kDiv:
        if (y == 0)
            return failAt(e, in, "Division by zero", error);
        r = x / y;
        break;
    default:
        if (y == 0)
            return failAt(e, in, "Division by zero", error);
        r = std::fmod(x, y);
        break;
    }
    a.kind = kind;
    a.d = r;
    return true;
}

}  // namespace

int rsex_run(const RsExpr& e, std::string_view record, RsexValue* result, std::string* error)
{
    std::vector<RsexValue> stack;
    stack.reserve(8);
    const size_t n = e.code.size();
    for (size_t pc = 0; pc < n; pc++) {
        const RsexInstr& in = e.code[pc];
        switch (in.op) {
        case kPushInt:
        case kPushBool: {
            RsexValue v;
            v.kind = in.op == kPushInt ? RSEX_INTEGER : RSEX_BOOLEAN;
            v.i = in.i;
            stack.push_back(std::move(v));
            break;
        }
        case kPushReal: {
            RsexValue v;
            v.kind = RSEX_REAL;
            v.d = in.d;
            stack.push_back(std::move(v));
            break;
        }
        case kPushString: {
            RsexValue v;
            v.kind = RSEX_STRING;
            v.s = e.strings[static_cast<size_t>(in.arg)];
            stack.push_back(std::move(v));
            break;
        }
        case kField: {
            const RsFieldDef& f = e.def->fields[static_cast<size_t>(in.arg)];
            std::string_view text = record.substr(static_cast<size_t>(f.offset), static_cast<size_t>(f.width));
            RsexValue v;
            if (f.isInteger()) {
                v.kind = RSEX_INTEGER;
                if (f.parseLong(text, &v.i) < 0)
                    v.i = f.null_long;
            } else if (f.isNumeric()) {
                v.kind = f.type == RS_TYPE_TIME ? RSEX_TIME : RSEX_REAL;
                if (f.parseDouble(text, &v.d) < 0)
                    v.d = f.null_double;
            } else {
                v.kind = RSEX_STRING;
                v.s = std::string(rs_trim(text));
            }
            stack.push_back(std::move(v));
            break;
        }
        case kNeg: {
            RsexValue& v = stack.back();
            if (in.arg == RSEX_INTEGER) {
                if (v.i == LONG_MIN) {
                    failAt(e, in, "Integer overflow", error);
                    return -1;
                }
                v.i = -v.i;
                v.kind = RSEX_INTEGER;
            } else {
                v.d = -v.number();
                v.kind = RSEX_REAL;
            }
            break;
        }
        case kNot:
        case kToBool: {
            RsexValue& v = stack.back();
            const bool t = v.truth();
            v.kind = RSEX_BOOLEAN;
            v.i = in.op == kNot ? !t : t;
            break;
        }
        case kJumpFalse:
        case kJumpTrue:
            if ((stack.back().i != 0) == (in.op == kJumpTrue))
                pc = static_cast<size_t>(in.arg) - 1;
            else
                stack.pop_back();
            break;
        case kAdd:
        case kSub:
        case kMul:
        case kDiv:
        case kMod: {
            RsexValue b = std::move(stack.back());
            stack.pop_back();
            if (!arithmetic(e, in, stack.back(), b, error))
                return -1;
            break;
        }
        case kMatch:
        case kNoMatch: {
            RsexValue b = std::move(stack.back());
            stack.pop_back();
            RsexValue& a = stack.back();
            int m = strregmatch(a.s.c_str(), b.s.c_str(), &e.regex_hooks[static_cast<size_t>(in.arg)]);
            if (m < 0) {
                failAt(e, in, "Bad regular expression '" + b.s.substr(0, 64) + "'", error);
                return -1;
            }
            a.kind = RSEX_BOOLEAN;
            a.i = in.op == kMatch ? m : !m;
            a.s.clear();
            break;
        }
        case kCall: {
            const RsexFunction* fn = in.fn;
            const size_t argc = static_cast<size_t>(in.i);
            RsexValue r;
            std::string why;
            RsexValue* args = argc ? &stack[stack.size() - argc] : nullptr;
            if (fn->eval(args, static_cast<int>(argc), &r, &why) < 0) {
                failAt(e, in, std::string(fn->name) + ": " + why, error);
                return -1;
            }
            stack.resize(stack.size() - argc);
            stack.push_back(std::move(r));
            break;
        }
        default: {  // comparisons
            RsexValue b = std::move(stack.back());
            stack.pop_back();
            RsexValue& a = stack.back();
            const int c = compareValues(a, b);
            const bool nan = a.isNumber() && (std::isnan(a.number()) || std::isnan(b.number()));
            bool r = false;
            switch (in.op) {
            case kEq:
                r = c == 0 && !nan;
                break;
            case kNe:
                r = c != 0 || nan;
                break;
            case kLt:
                r = c < 0;
                break;
            case kLe:
                r = c <= 0 && !nan;
                break;
            case kGt:
                r = c > 0;
                break;
            default:
                r = c >= 0 && !nan;
                break;
            }
            a.kind = RSEX_BOOLEAN;
            a.i = r;
            a.s.clear();
            break;
        }
        }
    }
    if (stack.size() != 1) {
        *error = "Internal fault: stack of " + std::to_string(stack.size());
        return -1;
    }
    *result = std::move(stack.back());
    return 0;
}

int rsex_convert(RsexValue* v, int kind, std::string* why)
{
    if (kind == RSEX_ANY || kind == v->kind)
        return 0;
    switch (kind) {
    case RSEX_BOOLEAN:
    case RSEX_INTEGER:
        if (v->kind == RSEX_STRING) {
            *why = std::string("Cannot make a ") + rsex_kind_name(kind) + " of a string";
            return -1;
        }
        if (kind == RSEX_BOOLEAN) {
            v->i = v->truth();
        } else if (v->kind == RSEX_REAL || v->kind == RSEX_TIME) {
            if (!(v->d > -9.2e18 && v->d < 9.2e18)) {
                *why = "Number out of the range of an integer";
                return -1;
            }
            v->i = static_cast<long>(v->d);
        }
        break;
    case RSEX_REAL:
    case RSEX_TIME:
        if (v->kind == RSEX_STRING) {
            *why = std::string("Cannot make a ") + rsex_kind_name(kind) + " of a string";
            return -1;
        }
        v->d = v->number();
        break;
    case RSEX_STRING: {
        char text[64];
        if (v->kind == RSEX_BOOLEAN)
            snprintf(text, sizeof text, "%s", v->i ? "true" : "false");
        else if (v->kind == RSEX_INTEGER)
            snprintf(text, sizeof text, "%ld", v->i);
        else if (v->kind == RSEX_TIME)
            snprintf(text, sizeof text, "%.5f", v->d);
        else
            snprintf(text, sizeof text, "%.15g", v->d);
        v->s = text;
        break;
    }
    default:
        *why = "Unknown result kind " + std::to_string(kind);
        return -1;
    }
    v->kind = kind;
    return 0;
}
