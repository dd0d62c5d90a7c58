// The expression language of the record store (docs/expressions.md):
// compiled once against a table into code for a small stack machine, then
// evaluated on the text of one record at a time.
//
// The compiler checks kinds as it goes, so that a compiled expression fails
// at run time only on values (a division by zero, the square root of a
// negative number, a text that is not a time).  Parsing takes time linear in
// the length of the text; nesting of parentheses, signs and calls is capped
// and evaluation does not recurse.
#pragma once

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsschema_p.h"

#include <string>
#include <string_view>
#include <vector>

constexpr int RSEX_TEXT_MAX = 65536;   // characters of an expression
constexpr int RSEX_DEPTH_MAX = 200;    // nested parentheses, signs and calls
constexpr int RSEX_STRING_MAX = 65536; // characters of a string value

// A value during evaluation.
struct RsexValue
{
    int kind = RSEX_INTEGER;
    long i = 0;     // boolean and integer
    double d = 0;   // real and time
    std::string s;  // string

    bool isNumber() const { return kind != RSEX_STRING; }
    double number() const { return kind == RSEX_REAL || kind == RSEX_TIME ? d : static_cast<double>(i); }
    bool truth() const { return kind == RSEX_REAL || kind == RSEX_TIME ? d != 0.0 : i != 0; }
};

// A function of the language.
struct RsexFunction
{
    const char* name;
    int min_args;
    int max_args;
    // The kind of the result for the kinds of the arguments, or negative with
    // *why set when they do not suit.
    int (*kind)(const int* kinds, int n, std::string* why);
    // Evaluate into *result (of the kind above).  0, or negative with *why.
    int (*eval)(RsexValue* args, int n, RsexValue* result, std::string* why);
};

// The function of that name, or null.
const RsexFunction* rsex_function(std::string_view name);

// Operations of the stack machine.
namespace rsexop {
enum Op {
    kPushInt,     // i
    kPushReal,    // d, kind in arg
    kPushString,  // arg: string index
    kPushBool,    // i
    kField,       // arg: field index
    kNeg,
    kNot,
    kToBool,
    kAdd,
    kSub,
    kMul,
    kDiv,
    kMod,
    kEq,
    kNe,
    kLt,
    kLe,
    kGt,
    kGe,
    kMatch,       // arg: regex hook index
    kNoMatch,
    kJumpFalse,   // && : top false -> jump, else pop
    kJumpTrue,    // || : top true -> jump, else pop
    kCall,        // fn, i: argument count
};
}  // namespace rsexop

// One instruction of the stack machine.
struct RsexInstr
{
    int op = 0;
    int pos = 0;    // character of the text it came from, for messages
    int arg = 0;    // field, string or function index, jump target, count
    long i = 0;
    double d = 0;
    const RsexFunction* fn = nullptr;  // of a call
};

// A compiled expression.
struct RsExpr
{
    std::string text;
    long database = -1;  // what it was compiled for
    int table = -1;
    const RsTableDef* def = nullptr;
    int kind = RSEX_INTEGER;
    int plain_field = -1;  // the field, when the expression is only a field
    std::vector<RsexInstr> code;
    std::vector<std::string> strings;
    mutable std::vector<void*> regex_hooks;  // compiled patterns, one per match

    RsExpr() = default;
    RsExpr(const RsExpr&) = delete;
    RsExpr& operator=(const RsExpr&) = delete;
    ~RsExpr();
};

// Compile text against the fields of def into *expr.  0, or negative with
// *error telling what is wrong and at which position (1 is the first
// character).
int rsex_compile_table(const RsTableDef& def, std::string_view text, RsExpr* expr, std::string* error);

// Evaluate a compiled expression on the text of a record of its table.
// 0, or negative with *error.
int rsex_run(const RsExpr& expr, std::string_view record, RsexValue* result, std::string* error);

// Convert a value to the kind wanted (RSEX_ANY keeps it).  0, or negative
// with *why.
int rsex_convert(RsexValue* value, int kind, std::string* why);

// The name of a kind ("boolean", "integer", "real", "time", "string").
const char* rsex_kind_name(int kind);
