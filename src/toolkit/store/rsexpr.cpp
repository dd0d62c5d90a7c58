// Compiler and stack machine of the record store's expressions.
#include "toolkit/store/rsexpr_p.h"

#include "toolkit/base/errors.h"
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/base/strings.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace {

using namespace rsexop;

enum Tok {
    tEnd,
    tNumber,
    tString,
    tName,
    tOp,     // operator or punctuation, text in the token
    tError,
};

struct Token
{
    Tok type = tEnd;
    int pos = 0;  // 0-based
    std::string_view text;
    std::string value;  // of a string literal
};

// "a real", "an integer".
std::string withArticle(int kind)
{
    const char* name = rsex_kind_name(kind);
    return std::string(name[0] == 'i' ? "an " : "a ") + name;
}

bool isNumeric(int kind)
{
    return kind != RSEX_STRING;
}

bool isNameStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isNameChar(char c)
{
    return isNameStart(c) || (c >= '0' && c <= '9');
}

class Compiler
{
public:
    Compiler(const RsTableDef& def, std::string_view text, RsExpr* out) : def_(def), text_(text), out_(out) {}

    bool compile(std::string* error);

private:
    bool fail(int pos, const std::string& what)
    {
        if (error_.empty())
            error_ = what + " at position " + std::to_string(pos + 1);
        return false;
    }
    bool next();
    bool expression(int* kind);
    bool orLevel(int* kind);
    bool andLevel(int* kind);
    bool comparison(int* kind);
    bool additive(int* kind);
    bool multiplicative(int* kind);
    bool unary(int* kind);
    bool primary(int* kind);
    bool call(const Token& name, int* kind);
    bool isOp(const char* op) const { return tok_.type == tOp && tok_.text == op; }
    void emit(int op, int pos, int arg = 0, long i = 0, double d = 0)
    {
        RsexInstr in;
        in.op = op;
        in.pos = pos;
        in.arg = arg;
        in.i = i;
        in.d = d;
        out_->code.push_back(in);
    }

    const RsTableDef& def_;
    std::string_view text_;
    RsExpr* out_;
    size_t at_ = 0;
    Token tok_;
    int depth_ = 0;
    std::string error_;
};

bool Compiler::next()
{
    while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r'))
        at_++;
    tok_ = Token();
    tok_.pos = static_cast<int>(at_);
    if (at_ >= text_.size()) {
        tok_.type = tEnd;
        return true;
    }
    const size_t start = at_;
    const char c = text_[at_];
    const bool digit_follows = at_ + 1 < text_.size() && text_[at_ + 1] >= '0' && text_[at_ + 1] <= '9';
    if ((c >= '0' && c <= '9') || (c == '.' && digit_follows)) {
        while (at_ < text_.size() && ((text_[at_] >= '0' && text_[at_] <= '9') || text_[at_] == '.'))
            at_++;
        if (at_ < text_.size() && (text_[at_] == 'e' || text_[at_] == 'E')) {
            size_t e = at_ + 1;
            if (e < text_.size() && (text_[e] == '+' || text_[e] == '-'))
                e++;
            if (e < text_.size() && text_[e] >= '0' && text_[e] <= '9') {
                at_ = e;
                while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9')
                    at_++;
            }
        }
        if (at_ < text_.size() && isNameChar(text_[at_]))
            return fail(static_cast<int>(start),
                        "Bad number '" + std::string(text_.substr(start, at_ + 1 - start)) + "'");
        tok_.type = tNumber;
        tok_.text = text_.substr(start, at_ - start);
        return true;
    }
    if (isNameStart(c)) {
        while (at_ < text_.size() && isNameChar(text_[at_]))
            at_++;
        tok_.type = tName;
        tok_.text = text_.substr(start, at_ - start);
        return true;
    }
    if (c == '"' || c == '\'') {
        at_++;
        while (at_ < text_.size() && text_[at_] != c) {
            char ch = text_[at_++];
            if (ch == '\\' && at_ < text_.size()) {
                ch = text_[at_++];
                ch = ch == 'n' ? '\n' : ch == 't' ? '\t' : ch;
            }
            tok_.value += ch;
        }
        if (at_ >= text_.size())
            return fail(static_cast<int>(start), "Unterminated string");
        at_++;
        tok_.type = tString;
        tok_.text = text_.substr(start, at_ - start);
        return true;
    }
    static const char* const ops[] = {"&&", "||", "==", "!=", "<=", ">=", "=~", "!~", "+", "-", "*", "/",
                                       "%",  "<",  ">",  "!",  "(",  ")",  ",",  "."};
    for (const char* op : ops) {
        const size_t n = strlen(op);
        if (text_.compare(at_, n, op) == 0) {
            at_ += n;
            tok_.type = tOp;
            tok_.text = text_.substr(start, n);
            return true;
        }
    }
    return fail(static_cast<int>(start), std::string("Unexpected character '") + c + "'");
}

bool Compiler::compile(std::string* error)
{
    int kind = 0;
    bool ok = text_.size() <= static_cast<size_t>(RSEX_TEXT_MAX) || fail(0, "Expression longer than 65536 characters");
    ok = ok && next() && expression(&kind);
    if (ok && tok_.type != tEnd)
        ok = fail(tok_.pos, "Unexpected '" + std::string(tok_.text) + "'");
    if (!ok) {
        *error = error_;
        return false;
    }
    out_->kind = kind;
    if (out_->code.size() == 1 && out_->code[0].op == kField)
        out_->plain_field = out_->code[0].arg;
    return true;
}

bool Compiler::expression(int* kind)
{
    return orLevel(kind);
}

bool Compiler::orLevel(int* kind)
{
    if (!andLevel(kind))
        return false;
    while (isOp("||")) {
        const int pos = tok_.pos;
        if (!isNumeric(*kind))
            return fail(pos, "'||' needs booleans or numbers, not a string");
        emit(kToBool, pos);
        const size_t jump = out_->code.size();
        emit(kJumpTrue, pos);
        int right = 0;
        if (!next() || !andLevel(&right))
            return false;
        if (!isNumeric(right))
            return fail(pos, "'||' needs booleans or numbers, not a string");
        emit(kToBool, pos);
        out_->code[jump].arg = static_cast<int>(out_->code.size());
        *kind = RSEX_BOOLEAN;
    }
    return true;
}

bool Compiler::andLevel(int* kind)
{
    if (!comparison(kind))
        return false;
    while (isOp("&&")) {
        const int pos = tok_.pos;
        if (!isNumeric(*kind))
            return fail(pos, "'&&' needs booleans or numbers, not a string");
        emit(kToBool, pos);
        const size_t jump = out_->code.size();
        emit(kJumpFalse, pos);
        int right = 0;
        if (!next() || !comparison(&right))
            return false;
        if (!isNumeric(right))
            return fail(pos, "'&&' needs booleans or numbers, not a string");
        emit(kToBool, pos);
        out_->code[jump].arg = static_cast<int>(out_->code.size());
        *kind = RSEX_BOOLEAN;
    }
    return true;
}

bool Compiler::comparison(int* kind)
{
    if (!additive(kind))
        return false;
    static const struct
    {
        const char* text;
        int op;
    } cmps[] = {{"==", kEq}, {"!=", kNe}, {"<=", kLe},    {">=", kGe},
                {"<", kLt},  {">", kGt},  {"=~", kMatch}, {"!~", kNoMatch}};
    while (tok_.type == tOp) {
        int op = -1;
        for (const auto& c : cmps)
            if (tok_.text == c.text)
                op = c.op;
        if (op < 0)
            break;
        const int pos = tok_.pos;
        const std::string text(tok_.text);
        int right = 0;
        if (!next() || !additive(&right))
            return false;
        if (op == kMatch || op == kNoMatch) {
            if (*kind != RSEX_STRING || right != RSEX_STRING)
                return fail(pos, "'" + text + "' matches a string against a string");
            emit(op, pos, static_cast<int>(out_->regex_hooks.size()));
            out_->regex_hooks.push_back(nullptr);
        } else {
            if (isNumeric(*kind) != isNumeric(right))
                return fail(pos, "Cannot compare " + withArticle(*kind) + " with " + withArticle(right));
            emit(op, pos);
        }
        *kind = RSEX_BOOLEAN;
    }
    return true;
}

// The kind of a + b or a - b, or -1.
int additiveKind(bool add, int a, int b)
{
    if (a == RSEX_STRING || b == RSEX_STRING)
        return add && a == RSEX_STRING && b == RSEX_STRING ? RSEX_STRING : -1;
    if (a == RSEX_TIME && b == RSEX_TIME)
        return RSEX_REAL;
    if (a == RSEX_TIME || (add && b == RSEX_TIME))
        return RSEX_TIME;
    if (a == RSEX_REAL || b == RSEX_REAL || b == RSEX_TIME)
        return RSEX_REAL;
    return RSEX_INTEGER;
}

bool Compiler::additive(int* kind)
{
    if (!multiplicative(kind))
        return false;
    while (isOp("+") || isOp("-")) {
        const bool add = isOp("+");
        const int pos = tok_.pos;
        int right = 0;
        if (!next() || !multiplicative(&right))
            return false;
        const int k = additiveKind(add, *kind, right);
        if (k < 0)
            return fail(pos, std::string("Cannot ") + (add ? "add " : "subtract ") + withArticle(right) +
                                 (add ? " to " : " from ") + withArticle(*kind));
        emit(add ? kAdd : kSub, pos, k);
        *kind = k;
    }
    return true;
}

bool Compiler::multiplicative(int* kind)
{
    if (!unary(kind))
        return false;
    while (isOp("*") || isOp("/") || isOp("%")) {
        const char op = tok_.text[0];
        const int pos = tok_.pos;
        int right = 0;
        if (!next() || !unary(&right))
            return false;
        if (!isNumeric(*kind) || !isNumeric(right))
            return fail(pos, std::string("'") + op + "' needs numbers, not a string");
        const bool integers = (*kind == RSEX_INTEGER || *kind == RSEX_BOOLEAN) &&
                              (right == RSEX_INTEGER || right == RSEX_BOOLEAN);
        const int k = op == '/' || !integers ? RSEX_REAL : RSEX_INTEGER;
        emit(op == '*' ? kMul : op == '/' ? kDiv : kMod, pos, k);
        *kind = k;
    }
    return true;
}

bool Compiler::unary(int* kind)
{
    if (isOp("-") || isOp("+") || isOp("!")) {
        const char op = tok_.text[0];
        const int pos = tok_.pos;
        if (++depth_ > RSEX_DEPTH_MAX)
            return fail(pos, "Expression nested too deeply");
        if (!next() || !unary(kind))
            return false;
        depth_--;
        if (!isNumeric(*kind))
            return fail(pos, std::string("'") + op + "' needs a number, not a string");
        if (op == '-') {
            *kind = *kind == RSEX_INTEGER || *kind == RSEX_BOOLEAN ? RSEX_INTEGER : RSEX_REAL;
            emit(kNeg, pos, *kind);
        } else if (op == '!') {
            emit(kNot, pos);
            *kind = RSEX_BOOLEAN;
        }
        return true;
    }
    return primary(kind);
}

bool Compiler::primary(int* kind)
{
    const Token t = tok_;
    if (t.type == tNumber) {
        long i = 0;
        double d = 0;
        if (rs_parse_long(t.text, &i) == 0) {
            emit(kPushInt, t.pos, 0, i);
            *kind = RSEX_INTEGER;
        } else if (rs_parse_double(t.text, &d) == 0 && std::isfinite(d)) {
            emit(kPushReal, t.pos, RSEX_REAL, 0, d);
            *kind = RSEX_REAL;
        } else {
            return fail(t.pos, "Bad number '" + std::string(t.text) + "'");
        }
        return next();
    }
    if (t.type == tString) {
        emit(kPushString, t.pos, static_cast<int>(out_->strings.size()));
        out_->strings.push_back(t.value);
        *kind = RSEX_STRING;
        return next();
    }
    if (t.type == tName) {
        if (!next())
            return false;
        if (isOp("("))
            return call(t, kind);
        if (t.text == "true" || t.text == "false") {
            emit(kPushBool, t.pos, 0, t.text == "true" ? 1 : 0);
            *kind = RSEX_BOOLEAN;
            return true;
        }
        std::string_view name = t.text;
        if (isOp(".")) {
            if (t.text != def_.name)
                return fail(t.pos, "Table '" + std::string(t.text) + "' is not the table of the record (" +
                                       def_.name + ")");
            if (!next())
                return false;
            if (tok_.type != tName)
                return fail(tok_.pos, "Expected a field name after '" + std::string(t.text) + ".'");
            name = tok_.text;
            if (!next())
                return false;
        }
        const int field = def_.fieldIndex(name);
        if (field < 0)
            return fail(t.pos, "Unknown field '" + std::string(name) + "' in table " + def_.name);
        const RsFieldDef& f = def_.fields[static_cast<size_t>(field)];
        switch (f.type) {
        case RS_TYPE_INTEGER:
        case RS_TYPE_JDATE:
            *kind = RSEX_INTEGER;
            break;
        case RS_TYPE_REAL:
            *kind = RSEX_REAL;
            break;
        case RS_TYPE_TIME:
            *kind = RSEX_TIME;
            break;
        case RS_TYPE_STRING:
        case RS_TYPE_DATE:
            *kind = RSEX_STRING;
            break;
        default:
            return fail(t.pos, "Field '" + f.name + "' holds samples or a bundle, not a value");
        }
        emit(kField, t.pos, field);
        return true;
    }
    if (t.type == tOp && t.text == "(") {
        if (++depth_ > RSEX_DEPTH_MAX)
            return fail(t.pos, "Expression nested too deeply");
        if (!next() || !expression(kind))
            return false;
        if (!isOp(")"))
            return fail(tok_.pos, tok_.type == tEnd ? "Missing ')'"
                                                    : "Expected ')' instead of '" + std::string(tok_.text) + "'");
        depth_--;
        return next();
    }
    if (t.type == tEnd)
        return fail(t.pos, "Unexpected end of the expression");
    return fail(t.pos, "Unexpected '" + std::string(t.text) + "'");
}

bool Compiler::call(const Token& name, int* kind)
{
    const RsexFunction* fn = rsex_function(name.text);
    if (!fn)
        return fail(name.pos, "Unknown function '" + std::string(name.text) + "'");
    if (++depth_ > RSEX_DEPTH_MAX)
        return fail(name.pos, "Expression nested too deeply");
    std::vector<int> kinds;
    if (!next())
        return false;
    if (!isOp(")")) {
        while (true) {
            int k = 0;
            if (!expression(&k))
                return false;
            kinds.push_back(k);
            if (static_cast<int>(kinds.size()) > fn->max_args)
                return fail(name.pos, "Too many arguments for " + std::string(fn->name));
            if (isOp(")"))
                break;
            if (!isOp(","))
                return fail(tok_.pos, tok_.type == tEnd
                                          ? "Missing ')'"
                                          : "Expected ',' or ')' instead of '" + std::string(tok_.text) + "'");
            if (!next())
                return false;
        }
    }
    depth_--;
    const int n = static_cast<int>(kinds.size());
    if (n < fn->min_args)
        return fail(name.pos, "Too few arguments for " + std::string(fn->name));
    std::string why;
    const int k = fn->kind(kinds.data(), n, &why);
    if (k < 0)
        return fail(name.pos, std::string(fn->name) + ": " + why);
    emit(kCall, name.pos, 0, n);
    out_->code.back().fn = fn;
    *kind = k;
    return next();
}

}  // namespace

RsExpr::~RsExpr()
{
    for (void*& hook : regex_hooks)
        strregfree(&hook);
}

const char* rsex_kind_name(int kind)
{
    switch (kind) {
    case RSEX_BOOLEAN:
        return "boolean";
    case RSEX_INTEGER:
        return "integer";
    case RSEX_REAL:
        return "real";
    case RSEX_TIME:
        return "time";
    case RSEX_STRING:
        return "string";
    default:
        return "value";
    }
}

int rsex_compile_table(const RsTableDef& def, std::string_view text, RsExpr* expr, std::string* error)
{
    expr->text = std::string(text);
    expr->def = &def;
    Compiler c(def, expr->text, expr);
    return c.compile(error) ? 0 : -1;
}

// ---- the public functions

namespace {

// Write a value into an Rsvalue.
void store(const RsexValue& v, Rsvalue* out)
{
    if (v.kind == RSEX_STRING) {
        const size_t n = std::min(v.s.size(), static_cast<size_t>(RS_STRSZ - 1));
        memcpy(out->s, v.s.data(), n);
        out->s[n] = '\0';
    } else if (v.kind == RSEX_REAL || v.kind == RSEX_TIME) {
        out->d = v.d;
    } else {
        out->i = v.i;
    }
}

std::string shortText(const std::string& text)
{
    return text.size() <= 80 ? text : text.substr(0, 77) + "...";
}

}  // namespace

int rsex_compile(Rsptr db, const char* expression, RsExpr** expr)
{
    if (!expression || !expr) {
        hl_register_error(0, "rsex_compile: No expression.\n");
        return -1;
    }
    RsTableRef ref;
    if (rs_table_ref(db, &ref, "rsex_compile") < 0)
        return -1;
    auto e = std::make_unique<RsExpr>();
    std::string error;
    if (rsex_compile_table(*ref.def, expression, e.get(), &error) < 0) {
        hl_register_error(0, "rsex_compile: %s of '%s'.\n", error.c_str(), shortText(expression).c_str());
        return -1;
    }
    e->database = db.database;
    e->table = ref.table;
    *expr = e.release();
    return 0;
}

int rsex_eval(Rsptr db, const RsExpr* expr, int type, Rsvalue* result)
{
    if (!expr || !result) {
        hl_register_error(0, "rsex_eval: No expression or no place for the result.\n");
        return -1;
    }
    if (type < RSEX_ANY || type > RSEX_STRING) {
        hl_register_error(0, "rsex_eval: Unknown result kind %d.\n", type);
        return -1;
    }
    RsTableRef ref;
    if (rs_table_ref(db, &ref, "rsex_eval") < 0)
        return -1;
    if (db.database != expr->database || ref.table != expr->table) {
        hl_register_error(0, "rsex_eval: '%s' was compiled for another table than %s.\n",
                          shortText(expr->text).c_str(), ref.def->name.c_str());
        return -1;
    }
    const long record = ref.tableRecord(db.record);
    if (record == -1 || db.record == RS_ALL) {
        hl_register_error(0, "rsex_eval: Record %ld is not a record of table %s.\n", db.record, ref.def->name.c_str());
        return -1;
    }
    RsexValue v;
    std::string error;
    if (rsex_run(*expr, ref.text(record), &v, &error) < 0 || rsex_convert(&v, type, &error) < 0) {
        hl_register_error(0, "rsex_eval: %s of '%s'.\n", error.c_str(), shortText(expr->text).c_str());
        return -1;
    }
    store(v, result);
    return v.kind;
}

int rsex_evalstr(Rsptr db, const char* expression, int type, void* result)
{
    RsExpr* expr = nullptr;
    if (rsex_compile(db, expression, &expr) < 0) {
        hl_register_error(0, "rsex_evalstr: Cannot compile the expression.\n");
        return -1;
    }
    const int kind = rsex_eval(db, expr, type, static_cast<Rsvalue*>(result));
    rsex_free(expr);
    if (kind < 0)
        hl_register_error(0, "rsex_evalstr: Cannot evaluate the expression.\n");
    return kind;
}

int rsex_kind(const RsExpr* expr)
{
    return expr ? expr->kind : -1;
}

void rsex_free(RsExpr* expr)
{
    delete expr;
}
