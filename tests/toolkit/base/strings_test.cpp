// String helpers, the C lists and tables, and the Table / Array templates.
#include "toolkit/base/errors.h"
#include "toolkit/base/lists.h"
#include "toolkit/base/strings.h"
#include "toolkit/base/table.h"
#include "toolkit/toolkit_support.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using StringsTest = ::testing::Test;

TEST_F(StringsTest, StrclipTrimsBothEnds)
{
    struct Case { const char* name; const char* input; const char* expected; } cases[] = {
        {"both ends", "  a b \t\n", "a b"}, {"nothing to trim", "abc", "abc"}, {"only blanks", " \t\r\n ", ""},
        {"empty", "", ""}, {"inner blanks kept", "\ta  b\v", "a  b"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char buffer[64];
        std::strcpy(buffer, c.input);
        EXPECT_EQ(strclip(buffer), buffer);
        EXPECT_STREQ(buffer, c.expected);
    }
    EXPECT_EQ(strclip(nullptr), nullptr);
}

TEST_F(StringsTest, StrregmatchMatchesWholeString)
{
    struct Case { const char* name; const char* text; const char* regex; int expected; } cases[] = {
        {"literal", "abc", "abc", 1}, {"prefix only", "abcd", "abc", 0}, {"suffix only", "xabc", "abc", 0},
        {"longest alternative", "ab", "a|ab", 1}, {"interval", "2024-01-05", "[0-9]{4}-[0-9]{2}-[0-9]{2}", 1},
        {"interval too short", "24-01-05", "[0-9]{4}-[0-9]{2}-[0-9]{2}", 0}, {"anchored pattern", "abc", "^abc$", 1},
        {"case sensitive", "ABC", "abc", 0}, {"dot star", "any thing", ".*", 1}, {"plus needs one", "", "a+", 0},
        {"group repeat", "ababab", "(ab)+", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(strregmatch(c.text, c.regex, nullptr), c.expected);
    }
    EXPECT_EQ(hl_error_count(), 0);
    EXPECT_LT(strregmatch("abc", "a(", nullptr), 0);
    EXPECT_STREQ(hl_errlog_string(0), "strregmatch: Bad regular expression 'a('.\n");
    EXPECT_LT(strregmatch(nullptr, "a", nullptr), 0);
}

// text, then closer written n times: the groups opened before it
std::string repeated(int n, const std::string& text, const std::string& closer)
{
    std::string out = text;
    for (int i = 0; i < n; i++)
        out += closer;
    return out;
}

TEST_F(StringsTest, StrregmatchRefusesRunawayExpressions)
{
    // expected: on the text "aaaa"
    struct Case { const char* name; std::string regex; int expected; } cases[] = {
        {"back reference", "(a)\\1+", -1}, {"stacked pluses", "a" + std::string(40, '+'), -1},
        {"nested groups", repeated(30, std::string(30, '(') + "a", ")+"), -1},
        {"nested intervals", "((a{1,200}){1,200})", -1}, {"long interval", "a{1,3000}", -1},
        {"plus of optional", "(a?)+", -1}, {"plus of empty alternative", "(b|)+", -1},
        {"interval of optional", "(a?){2,30}", -1}, {"plus of star group", "((a*)(b*))+", -1},
        {"star of optional", "(a?)*", 1}, {"star of interval", "(a{0,3})*", 1}, {"plus of plus", "((a+)+)+", 1},
        {"optional chain", "a?a?a?a?a?a?", 1},
        {"stars nested nine deep", repeated(9, std::string(9, '(') + "a", ")*"), -1},
        {"stars nested eight deep", "((((((((a)*)*)*)*)*)*)*)*", 1}, {"stacked stars", "a*********", -1},
        {"many empty paths", repeated(9, "(", "(a?|b?)") + ")*", -1},
        {"few empty paths", "((a?|b?)(a?|b?))*", 1}, {"small nested intervals", "((a{1,2}){1,2})", 1},
        {"escaped digit in brackets", "[\\1a]+", 1}, {"class in brackets", "[[:alpha:]]{4}", 1},
        {"many starred groups", "((((a*)*)*)*)*", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        EXPECT_EQ(strregmatch("aaaa", c.regex.c_str(), nullptr), c.expected);
        EXPECT_EQ(hl_error_count(), c.expected < 0 ? 1 : 0);
    }
}

TEST_F(StringsTest, StrregmatchCachesUntilPatternChanges)
{
    void* hook = nullptr;
    EXPECT_EQ(strregmatch("abc", "a.c", &hook), 1);
    ASSERT_NE(hook, nullptr);
    void* first = hook;
    EXPECT_EQ(strregmatch("axc", "a.c", &hook), 1);
    EXPECT_EQ(hook, first);
    EXPECT_EQ(strregmatch("abc", "b+", &hook), 0);
    EXPECT_EQ(strregmatch("bbb", "b+", &hook), 1);
    // a bad expression leaves the cache as it was
    void* before = hook;
    EXPECT_LT(strregmatch("bbb", "[b", &hook), 0);
    EXPECT_EQ(hook, before);
    EXPECT_EQ(strregmatch("bbb", "b+", &hook), 1);
    strregfree(&hook);
    EXPECT_EQ(hook, nullptr);
    strregfree(&hook);
}

TEST_F(StringsTest, StrcutCutsInPlaceKeepingEmptyParts)
{
    struct Case { const char* name; const char* input; int separator; std::vector<std::string> expected; } cases[] = {
        {"plain", "a,b,c", ',', {"a", "b", "c"}}, {"empty parts", ",a,,b,", ',', {"", "a", "", "b", ""}},
        {"empty string", "", ',', {""}}, {"no separator", "a b", ',', {"a b"}},
        {"blank separator", "x y", ' ', {"x", "y"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char buffer[64];
        std::strcpy(buffer, c.input);
        Tbl* t = strcut(buffer, c.separator);
        ASSERT_NE(t, nullptr);
        EXPECT_EQ(tblStrings(t), c.expected);
        EXPECT_EQ(seqget(t, 0), buffer);  // parts point into the string
        seqfree(t, nullptr);
    }
    EXPECT_EQ(strcut(nullptr, ','), nullptr);
}

// strcutwhite copies the words into a table, strcutlist into an argument vector
TEST_F(StringsTest, StrcutwhiteAndStrcutlistSplitWords)
{
    struct Case { const char* name; const char* input; std::vector<std::string> expected; } cases[] = {
        {"spaces and tabs", " a  bc\tdef\n", {"a", "bc", "def"}}, {"single", "word", {"word"}}, {"empty", "", {}},
        {"only blanks", " \t\r\n", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string input = c.input;
        Tbl* t = strcutwhite(input.c_str());
        ASSERT_NE(t, nullptr);
        input.assign(input.size(), 'z');  // the words are copies
        EXPECT_EQ(tblStrings(t), c.expected);
        seqfree(t, free);
        int argc = -1;
        char** argv = nullptr;
        ASSERT_EQ(strcutlist(c.input, &argc, &argv), 0);
        EXPECT_EQ(std::vector<std::string>(argv, argv + argc), c.expected);
        EXPECT_EQ(argv[argc], nullptr);
        strfreewords(argc, argv);
    }
    EXPECT_EQ(strcutwhite(nullptr), nullptr);
    EXPECT_GT(hl_error_count(), 0);
    int argc = 7;
    char** argv = nullptr;
    EXPECT_LT(strcutlist(nullptr, &argc, &argv), 0);
    EXPECT_EQ(argc, 7);
    EXPECT_EQ(argv, nullptr);
}

TEST_F(StringsTest, StrpushStrpopBuildsString)
{
    void* stack = nullptr;
    for (const char* part : {"ab", "", "cd"})
        EXPECT_EQ(strpush(&stack, part), 0);
    char* whole = strpop(&stack, 1);
    EXPECT_EQ(stack, nullptr);
    ASSERT_NE(whole, nullptr);
    EXPECT_STREQ(whole, "abcd");
    free(whole);
    EXPECT_EQ(strpush(&stack, "dropped"), 0);
    EXPECT_EQ(strpop(&stack, 0), nullptr);
    EXPECT_EQ(stack, nullptr);
    char* empty = strpop(&stack, 1);
    ASSERT_NE(empty, nullptr);
    EXPECT_STREQ(empty, "");
    free(empty);
    EXPECT_LT(strpush(nullptr, "x"), 0);
    EXPECT_LT(strpush(&stack, nullptr), 0);
}

TEST_F(StringsTest, FixedStrtodForms)
{
    // range: errno is ERANGE
    struct Case { const char* name; const char* input; double value; long consumed; bool range = false; } cases[] = {
        {"plain", "1.5", 1.5, 3}, {"blanks and plus", "  +2.5x", 2.5, 6}, {"negative exponent", "-1e3", -1000.0, 4},
        {"fortran D", "1.5D3", 1500.0, 5}, {"fortran d signed", "1.5d-2 ", 0.015, 6},
        {"exponent without digits", "1.5e", 1.5, 3}, {"D without digits", "2D+", 2.0, 1},
        {"leading point", ".5", 0.5, 2}, {"trailing point", "5.", 5.0, 2}, {"comma is no point", "1,5", 1.0, 1},
        {"hex not taken", "0x10", 0.0, 1}, {"point alone", ".", 0.0, 0}, {"letters", "abc", 0.0, 0},
        {"empty", "", 0.0, 0}, {"blanks only", "   ", 0.0, 0}, {"two signs", "+-1", 0.0, 0},
        {"infinity", "-Infinity", -HUGE_VAL, 9}, {"inf", "inf", HUGE_VAL, 3}, {"overflow", "1e400", HUGE_VAL, 5, true},
        {"negative overflow", "-12345.6D400", -HUGE_VAL, 12, true}, {"underflow", "1e-400", 0.0, 6, true},
        {"underflow with zeros", "0.000001e-330", 0.0, 13, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char* end = nullptr;
        errno = 0;
        EXPECT_DOUBLE_EQ(fixed_strtod(c.input, &end), c.value);
        EXPECT_EQ(end - c.input, c.consumed);
        EXPECT_EQ(errno == ERANGE, c.range);
    }
    EXPECT_TRUE(std::isnan(fixed_strtod("nan", nullptr)));
    EXPECT_EQ(fixed_strtod("42", nullptr), 42.0);
}

TEST_F(StringsTest, HLParseBoolean)
{
    // value: 9: untouched
    struct Case { const char* name; const char* input; int rc; int value; } cases[] = {
        {"one", "1", 0, 1},       {"zero", "0", 0, 0},      {"yes", "yes", 0, 1},      {"no", "no", 0, 0},
        {"TRUE", "TRUE", 0, 1},   {"False", "False", 0, 0}, {"on", " on ", 0, 1},      {"off", "oFf\n", 0, 0},
        {"y", "Y", 0, 1},         {"n", "n", 0, 0},         {"t", "t", 0, 1},          {"f", "\tF", 0, 0},
        {"empty", "", -1, 9},     {"blank", "  ", -1, 9},   {"two", "2", -1, 9},       {"prefix", "tru", -1, 9},
        {"longer", "yess", -1, 9}, {"inner blank", "y es", -1, 9}, {"o", "o", -1, 9}, {"null", nullptr, -1, 9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        int value = 9;
        EXPECT_EQ(HL_ParseBoolean(c.input, &value), c.rc);
        EXPECT_EQ(value, c.value);
    }
    EXPECT_EQ(hl_error_count(), 0);  // callers register their own words
}

// ---- Tbl and Arr --------------------------------------------------------

int free_calls = 0;
void countFree(void*)
{
    free_calls++;
}

TEST_F(StringsTest, TblGetSetPush)
{
    int a = 1, b = 2, c = 3;
    Tbl* t = seqnew(0);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(seqcount(t), 0);
    EXPECT_EQ(seqpush(t, &a), 0);
    EXPECT_EQ(seqset(t, 1, &b), 0);  // the count: appends
    EXPECT_EQ(seqcount(t), 2);
    EXPECT_EQ(seqset(t, 0, &c), 0);
    EXPECT_EQ((std::vector<void*>{seqget(t, 0), seqget(t, 1), seqget(t, 2), seqget(t, -1)}),
              (std::vector<void*>{&c, &b, nullptr, nullptr}));
    EXPECT_LT(seqset(t, 3, &a), 0);
    EXPECT_LT(seqset(t, -1, &a), 0);
    EXPECT_EQ(seqcount(t), 2);
    EXPECT_EQ(hl_error_count(), 2);
    EXPECT_EQ(seqpush(t, nullptr), 0);
    free_calls = 0;
    seqfree(t, countFree);
    EXPECT_EQ(free_calls, 2);  // the null element is skipped
    EXPECT_LT(seqcount(nullptr), 0);
    EXPECT_EQ(seqget(nullptr, 0), nullptr);
}

TEST_F(StringsTest, ArrSetGetDelete)
{
    int one = 1, two = 2, three = 3;
    Arr* m = mapnew(nullptr);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(mapset(m, "b", &two), nullptr);
    EXPECT_EQ(mapset(m, "a", &one), nullptr);
    EXPECT_EQ(mapset(m, "c", &three), nullptr);
    EXPECT_EQ(mapset(m, "b", &one), &two);  // the previous value back
    EXPECT_EQ(mapcount(m), 3);
    EXPECT_EQ((std::vector<void*>{mapget(m, "b"), mapget(m, "x"), mapget(m, nullptr)}),
              (std::vector<void*>{&one, nullptr, nullptr}));
    Tbl* keys = mapkeys(m);
    EXPECT_EQ(tblStrings(keys), (std::vector<std::string>{"a", "b", "c"}));
    Tbl* vals = mapvals(m);
    ASSERT_EQ(seqcount(vals), 3);
    EXPECT_EQ((std::vector<void*>{seqget(vals, 0), seqget(vals, 1), seqget(vals, 2)}),
              (std::vector<void*>{&one, &one, &three}));
    seqfree(vals, nullptr);
    // the keys point at the table's copies, which stay while the key stays
    const char* a_key = static_cast<const char*>(seqget(keys, 0));
    EXPECT_EQ(mapdel(m, "c"), &three);
    EXPECT_EQ(mapdel(m, "c"), nullptr);
    EXPECT_STREQ(a_key, "a");
    seqfree(keys, nullptr);
    EXPECT_EQ(mapcount(m), 2);
    free_calls = 0;
    mapfree(m, countFree);
    EXPECT_EQ(free_calls, 2);
}

int reverseCompare(const char* a, const char* b)
{
    return std::strcmp(b, a);
}

TEST_F(StringsTest, ArrKeysFollowCompare)
{
    Arr* m = mapnew(reverseCompare);
    int v = 0;
    for (const char* k : {"m", "z", "a"})
        mapset(m, k, &v);
    Tbl* keys = mapkeys(m);
    EXPECT_EQ(tblStrings(keys), (std::vector<std::string>{"z", "m", "a"}));
    seqfree(keys, nullptr);
    mapfree(m, nullptr);
    EXPECT_EQ(mapset(nullptr, "k", &v), nullptr);
    EXPECT_GT(hl_error_count(), 0);
}

// ---- Table and Array templates ------------------------------------------

std::vector<int> contents(const Table<int>& t)
{
    std::vector<int> out;
    for (long i = 0; i < t.max(); i++)
        out.push_back(t.get(i));
    return out;
}

TEST_F(StringsTest, TableGrowsWithNullElements)
{
    Table<int> t(-1);
    EXPECT_EQ(t.get(0), -1);
    EXPECT_EQ(t.set(3, 7), 0);
    EXPECT_EQ(contents(t), (std::vector<int>{-1, -1, -1, 7}));
    EXPECT_EQ(t.get(4), -1);
    EXPECT_EQ(t.get(-1), -1);
    EXPECT_LT(t.set(-1, 5), 0);
    EXPECT_LT(t.ins(-2, 5), 0);
    EXPECT_EQ(t.max(), 4);
    EXPECT_EQ(t.ins(6, 9), 0);  // past the end: padded too
    EXPECT_EQ(contents(t), (std::vector<int>{-1, -1, -1, 7, -1, -1, 9}));
}

TEST_F(StringsTest, TableListOperations)
{
    Table<int> t(0);
    t.push(2);
    t.push(3);
    t.unshift(1);
    t.ins(1, 10);
    EXPECT_EQ(contents(t), (std::vector<int>{1, 10, 2, 3}));
    EXPECT_EQ(t.pop(), 3);
    EXPECT_EQ(t.shift(), 1);
    EXPECT_EQ(contents(t), (std::vector<int>{10, 2}));
    EXPECT_EQ(t.del(0), 0);
    EXPECT_LT(t.del(5), 0);
    t.cat(t);  // onto itself
    EXPECT_EQ(contents(t), (std::vector<int>{2, 2}));
    t.apply([](int& v) { v *= 3; });
    EXPECT_EQ(contents(t), (std::vector<int>{6, 6}));
    t.clear();
    EXPECT_EQ(t.pop(), 0);
    EXPECT_EQ(t.shift(), 0);
    Table<int> u(0);
    for (int v : {5, 1, 4})
        u.push(v);
    u.sort([](int a, int b) { return a < b; });
    EXPECT_EQ(contents(u), (std::vector<int>{1, 4, 5}));
}

TEST_F(StringsTest, TableSortbIsStable)
{
    Table<std::pair<int, char>> t;
    const char* letters = "abcdefghij";
    for (int i = 0; i < 10; i++)
        t.push({i % 3, letters[i]});
    t.sortb([](const auto& a, const auto& b) { return a.first < b.first; });
    std::string order;
    for (long i = 0; i < t.max(); i++)
        order += t.get(i).second;
    EXPECT_EQ(order, "adgjbehcfi");
}

TEST_F(StringsTest, TableFreesWhatItOwns)
{
    int freed = 0;
    {
        Table<int*> t(nullptr, [&freed](int*& p) {
            if (p)
                freed++;
            delete p;
        });
        t.push(new int(1));
        t.push(new int(2));
        t.push(new int(3));
        t.set(0, new int(4));  // replaces and frees 1
        EXPECT_EQ(freed, 1);
        t.del(1);
        EXPECT_EQ(freed, 2);
        int* taken = t.pop();  // passes to the caller
        EXPECT_EQ(*taken, 3);
        EXPECT_EQ(freed, 2);
        delete taken;
        t.set(3, new int(5));  // nulls in between
        Table<int*> moved(std::move(t));
        EXPECT_EQ(moved.max(), 4);
    }
    EXPECT_EQ(freed, 4);
}

TEST_F(StringsTest, ArrayOperations)
{
    Array<std::string, int> a(-1);
    EXPECT_EQ(a.get("x"), -1);
    for (const auto& [key, value] : std::vector<std::pair<const char*, int>>{{"b", 2}, {"a", 1}, {"c", 3}, {"b", 20}})
        a.set(key, value);
    EXPECT_EQ(a.cnt(), 3);
    EXPECT_EQ(a.get("b"), 20);
    EXPECT_TRUE(a.contains("a"));
    EXPECT_TRUE(a.del("a"));
    EXPECT_FALSE(a.del("a"));
    EXPECT_FALSE(a.contains("a"));
    EXPECT_EQ(a.keys(), (std::vector<std::string>{"b", "c"}));
    EXPECT_EQ(a.vals(), (std::vector<int>{20, 3}));
    a.apply([](const std::string&, int& v) { v++; });
    std::ostringstream out;
    a.print(out);
    EXPECT_EQ(out.str(), "b: 21\nc: 4\n");
}

TEST_F(StringsTest, ArrayFreesKeysAndValues)
{
    int values_freed = 0, keys_freed = 0;
    {
        Array<int, int*> a(
            nullptr, [&](int*& v) { values_freed++, delete v; }, [&](int&) { keys_freed++; });
        a.set(1, new int(10));
        a.set(2, new int(20));
        a.set(1, new int(11));  // old value and the duplicate key freed
        EXPECT_EQ(std::pair(values_freed, keys_freed), std::pair(1, 1));
        EXPECT_EQ(*a.get(1), 11);
        EXPECT_EQ(a.get(3), nullptr);
        a.del(2);
        EXPECT_EQ(std::pair(values_freed, keys_freed), std::pair(2, 2));
    }
    EXPECT_EQ(std::pair(values_freed, keys_freed), std::pair(3, 3));
}

} // namespace
