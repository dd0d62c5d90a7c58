// The expression language of the record store: kinds, values, functions
// and faults, evaluated on hand-written origin records.
#include "support/testsupport.h"

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsexpr_p.h"
#include "toolkit/store/recordstore_fixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using namespace rsfixture;

namespace {

class Expressions : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir_.table("db", "origin", {kOrigin1, kOrigin2});
        db_ = rsopen(dir_.base().c_str(), "css3.0", RS_READ);
        origin_ = rslookup(db_, nullptr, "origin", nullptr, "0");
        ASSERT_FALSE(rsisinvalid(origin_)) << hl_errlog_string(0);
    }
    void TearDown() override { rsclose(db_); }
    Folder dir_;
    Rsptr db_{};
    Rsptr origin_{};
};

// Expect v to be a value of kind: text for a string, number for the rest
// (reals within tolerance, or as doubles when it is 0).
void expectValue(const Rsvalue& v, int kind, double number, const char* text, double tolerance)
{
    if (kind == RSEX_STRING)
        EXPECT_STREQ(v.s, text);
    else if ((kind == RSEX_REAL || kind == RSEX_TIME) && tolerance > 0)
        EXPECT_NEAR(v.d, number, tolerance);
    else if (kind == RSEX_REAL || kind == RSEX_TIME)
        EXPECT_DOUBLE_EQ(v.d, number);
    else
        EXPECT_EQ(v.i, static_cast<long>(number));
}

// Record 0: lat 47.7372 lon 12.7957 depth 10 time 1296474900.12345 orid 1
// evid 1 jdate 2011031 nass 12 ndef 10 ndp -1 etype "qb" mb 4.5 ml 3.21
// algorithm "locsat:iasp91" auth "analyst".
TEST_F(Expressions, KindsAndValues)
{
    // number: for boolean, integer, real and time; text: for string
    struct Case { const char* name; const char* expr; int kind; double number; const char* text; } cases[] = {
        {"integer field", "orid", RSEX_INTEGER, 1, nullptr}, {"real field", "lat", RSEX_REAL, 47.7372, nullptr},
        {"time field", "time", RSEX_TIME, 1296474900.12345, nullptr},
        {"jdate field", "jdate", RSEX_INTEGER, 2011031, nullptr},
        {"string field, trimmed", "etype", RSEX_STRING, 0, "qb"},
        {"date field", "lddate", RSEX_STRING, 0, "2011-01-31T120000"},
        {"table-qualified field", "origin.lat", RSEX_REAL, 47.7372, nullptr},
        {"integer literal", "42", RSEX_INTEGER, 42, nullptr}, {"real literal", "2.5e1", RSEX_REAL, 25, nullptr},
        {"string literal", "'it'", RSEX_STRING, 0, "it"}, {"escaped quote", "\"a\\\"b\"", RSEX_STRING, 0, "a\"b"},
        {"precedence", "1 + 2 * 3", RSEX_INTEGER, 7, nullptr}, {"parentheses", "(1 + 2) * 3", RSEX_INTEGER, 9, nullptr},
        {"left to right", "10 - 4 - 3", RSEX_INTEGER, 3, nullptr},
        {"division is real", "7 / 2", RSEX_REAL, 3.5, nullptr}, {"integer modulo", "-7 % 3", RSEX_INTEGER, -1, nullptr},
        {"real modulo", "7.5 % 2", RSEX_REAL, 1.5, nullptr}, {"unary minus", "-lat", RSEX_REAL, -47.7372, nullptr},
        {"time plus seconds", "time + 60", RSEX_TIME, 1296474960.12345, nullptr},
        {"time minus time", "time - time", RSEX_REAL, 0, nullptr},
        {"string concatenation", "etype + '-' + auth", RSEX_STRING, 0, "qb-analyst"},
        {"comparison", "mb > 4", RSEX_BOOLEAN, 1, nullptr},
        {"string comparison", "auth == 'analyst'", RSEX_BOOLEAN, 1, nullptr},
        {"string order", "'abc' < 'abd'", RSEX_BOOLEAN, 1, nullptr},
        {"mixed numbers", "nass == 12.0", RSEX_BOOLEAN, 1, nullptr},
        {"and", "mb > 4 && ml < 3", RSEX_BOOLEAN, 0, nullptr}, {"or", "mb > 4 || ml < 3", RSEX_BOOLEAN, 1, nullptr},
        {"not", "!(ndp < 0)", RSEX_BOOLEAN, 0, nullptr},
        {"and binds tighter than or", "1 || 0 && 0", RSEX_BOOLEAN, 1, nullptr},
        {"short circuit skips faults", "0 && 1 / 0 > 1", RSEX_BOOLEAN, 0, nullptr},
        {"true and false", "true && !false", RSEX_BOOLEAN, 1, nullptr},
        {"regular expression", "algorithm =~ 'locsat:.*'", RSEX_BOOLEAN, 1, nullptr},
        {"no match", "auth !~ 'ana'", RSEX_BOOLEAN, 1, nullptr},
        {"abs of integer", "abs(ndp)", RSEX_INTEGER, 1, nullptr}, {"abs of real", "abs(-2.5)", RSEX_REAL, 2.5, nullptr},
        {"sqrt", "sqrt(16)", RSEX_REAL, 4, nullptr},
        {"floor and ceil", "floor(2.5) + ceil(2.5)", RSEX_REAL, 5, nullptr},
        {"min of integers", "min(3, nass, 20)", RSEX_INTEGER, 3, nullptr},
        {"max of reals", "max(mb, ml)", RSEX_REAL, 4.5, nullptr},
        {"max of strings", "max(auth, etype)", RSEX_STRING, 0, "qb"},
        {"strlen", "strlen(algorithm)", RSEX_INTEGER, 13, nullptr},
        {"substr", "substr(algorithm, 7)", RSEX_STRING, 0, "iasp91"},
        {"substr with length", "substr(algorithm, 0, 6)", RSEX_STRING, 0, "locsat"},
        {"substr from the end", "substr(algorithm, -2)", RSEX_STRING, 0, "91"},
        {"substr clipped", "substr('abc', 2, 10)", RSEX_STRING, 0, "c"},
        {"upper", "upper(auth)", RSEX_STRING, 0, "ANALYST"},
        {"epoch2str", "epoch2str(time, '%Y-%m-%d %H:%M:%S.%s')", RSEX_STRING, 0, "2011-01-31 11:55:00.123"},
        {"epoch2str day of year", "epoch2str(time, '%Y%j')", RSEX_STRING, 0, "2011031"},
        {"strtime", "strtime(0)", RSEX_STRING, 0, "1970-01-01 00:00:00.000"},
        {"str2epoch", "str2epoch('2011-01-31 11:55:00')", RSEX_TIME, 1296474900, nullptr},
        {"str2epoch of day of year", "str2epoch('2011031:11:55:00')", RSEX_TIME, 1296474900, nullptr},
        {"yearday", "yearday(time)", RSEX_INTEGER, 2011031, nullptr},
        {"yearday agrees with jdate", "yearday(time) == jdate", RSEX_BOOLEAN, 1, nullptr},
        {"nested calls", "strlen(upper(substr(auth, 1, 3)))", RSEX_INTEGER, 3, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Rsvalue v;
        ASSERT_EQ(rsex_evalstr(origin_, c.expr, RSEX_ANY, &v), c.kind) << hl_errlog_string(0);
        expectValue(v, c.kind, c.number, c.text, 1e-6);
    }
}

TEST_F(Expressions, FaultsNameThePosition)
{
    struct Case { const char* name; const char* expr; const char* message; } cases[] = {
        {"unknown field", "mb + nosuch", "Unknown field 'nosuch' in table origin at position 6"},
        {"other table", "arrival.time", "Table 'arrival' is not the table of the record (origin) at position 1"},
        {"unknown function", "cos(lat)", "Unknown function 'cos' at position 1"},
        {"missing parenthesis", "(1 + 2", "Missing ')' at position 7"},
        {"stray parenthesis", "1 + 2)", "Unexpected ')' at position 6"},
        {"missing operand", "1 +", "Unexpected end of the expression at position 4"},
        {"two operands", "lat lon", "Unexpected 'lon' at position 5"},
        {"bad character", "lat # 2", "Unexpected character '#' at position 5"},
        {"unterminated string", "auth == 'ana", "Unterminated string at position 9"},
        {"bad number", "12abc", "Bad number '12a' at position 1"},
        {"string plus number", "auth + 1", "Cannot add an integer to a string at position 6"},
        {"compare string and number", "auth < 3", "Cannot compare a string with an integer at position 6"},
        {"and of strings", "auth && 1", "'&&' needs booleans or numbers, not a string at position 6"},
        {"minus of a string", "-auth", "'-' needs a number, not a string at position 1"},
        {"too few arguments", "substr(auth)", "Too few arguments for substr at position 1"},
        {"too many arguments", "sqrt(1, 2)", "Too many arguments for sqrt at position 1"},
        {"argument of the wrong kind", "strlen(lat)", "strlen: needs a string at position 1"},
        {"match of numbers", "lat =~ 'x'", "'=~' matches a string against a string at position 5"},
        {"division by zero", "lat / (nass - 12)", "Division by zero at position 5"},
        {"integer modulo by zero", "orid % 0", "Division by zero at position 6"},
        {"square root of a negative", "sqrt(ndp)", "sqrt: square root of a negative number at position 1"},
        {"not a time", "str2epoch(auth)", "str2epoch: 'analyst' is not a time at position 1"},
        {"integer overflow", "9223372036854775807 + orid", "Integer overflow at position 21"},
        {"bad regular expression", "auth =~ '(('", "Bad regular expression '((' at position 6"},
        {"samples field", "bundle", "Unknown field 'bundle'"},
        {"empty", "", "Unexpected end of the expression at position 1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Rsvalue v;
        EXPECT_LT(rsex_evalstr(origin_, c.expr, RSEX_ANY, &v), 0);
        expectLogged(c.message);
    }
}

TEST_F(Expressions, ResultKindsAskedFor)
{
    struct Case { const char* name; const char* expr; int type; double number; const char* text; } cases[] = {
        {"real to integer truncates", "mb", RSEX_INTEGER, 4, nullptr},
        {"integer to real", "orid", RSEX_REAL, 1, nullptr}, {"number to boolean", "ndp", RSEX_BOOLEAN, 1, nullptr},
        {"integer to time", "0", RSEX_TIME, 0, nullptr}, {"integer to string", "orid + 1", RSEX_STRING, 0, "2"},
        {"boolean to string", "mb > 4", RSEX_STRING, 0, "true"},
        {"time to string", "time", RSEX_STRING, 0, "1296474900.12345"}, {"real to string", "mb", RSEX_STRING, 0, "4.5"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Rsvalue v;
        ASSERT_EQ(rsex_evalstr(origin_, c.expr, c.type, &v), c.type) << hl_errlog_string(0);
        expectValue(v, c.type, c.number, c.text, 0);
    }
    Rsvalue v;
    EXPECT_LT(rsex_evalstr(origin_, "auth", RSEX_INTEGER, &v), 0);
    EXPECT_LT(rsex_evalstr(origin_, "1", 99, &v), 0);
}

TEST_F(Expressions, CompiledOnceEvaluatedPerRecord)
{
    RsExpr* expr = nullptr;
    ASSERT_EQ(rsex_compile(origin_, "lat < 0 && etype == '-'", &expr), 0);
    EXPECT_EQ(rsex_kind(expr), RSEX_BOOLEAN);
    // the null record is a record too: lat -999, etype "-"
    const long records[] = {0, 1, RS_NULL}, expected[] = {0, 1, 1};
    Rsvalue v;
    for (int r = 0; r < 3; r++) {
        SCOPED_TRACE(r);
        ASSERT_EQ(rsex_eval(at(origin_, records[r]), expr, RSEX_ANY, &v), RSEX_BOOLEAN);
        EXPECT_EQ(v.i, expected[r]);
    }
    EXPECT_LT(rsex_eval(at(origin_, 5), expr, RSEX_ANY, &v), 0);
    // not for another table
    Rsptr arrival = rslookup(db_, nullptr, "arrival", nullptr, "rsNULL");
    EXPECT_LT(rsex_eval(arrival, expr, RSEX_ANY, &v), 0);
    rsex_free(expr);
    rsex_free(nullptr);
}

TEST_F(Expressions, NestingIsCappedAndLongChainsWork)
{
    Rsvalue v;
    std::string deep(RSEX_DEPTH_MAX + 5, '(');
    deep += "1" + std::string(RSEX_DEPTH_MAX + 5, ')');
    EXPECT_LT(rsex_evalstr(origin_, deep.c_str(), RSEX_ANY, &v), 0);
    expectLogged("Expression nested too deeply");
    std::string signs(RSEX_DEPTH_MAX + 5, '-');
    EXPECT_LT(rsex_evalstr(origin_, (signs + "1").c_str(), RSEX_ANY, &v), 0);
    // a long flat chain needs no nesting
    std::string chain = "0";
    for (int i = 0; i < 10000; i++)
        chain += "+1";
    ASSERT_EQ(rsex_evalstr(origin_, chain.c_str(), RSEX_ANY, &v), RSEX_INTEGER) << hl_errlog_string(0);
    EXPECT_EQ(v.i, 10000);
    std::string ands = "1";
    for (int i = 0; i < 5000; i++)
        ands += " && 1";
    ASSERT_EQ(rsex_evalstr(origin_, ands.c_str(), RSEX_ANY, &v), RSEX_BOOLEAN);
    EXPECT_EQ(v.i, 1);
    std::string too_long(RSEX_TEXT_MAX + 1, ' ');
    EXPECT_LT(rsex_evalstr(origin_, too_long.c_str(), RSEX_ANY, &v), 0);
}

TEST_F(Expressions, LongStringsAreCutInTheResult)
{
    Rsvalue v;
    std::string expr = "'" + std::string(2000, 'x') + "'";
    ASSERT_EQ(rsex_evalstr(origin_, expr.c_str(), RSEX_ANY, &v), RSEX_STRING);
    EXPECT_EQ(strlen(v.s), static_cast<size_t>(RS_STRSZ - 1));
}

}  // namespace
