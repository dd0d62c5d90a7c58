// Parameter documents: the text format, lookups, conversions, the writer,
// errors, the file search path, and VX_make_kvstring.
#include "support/testsupport.h"
#include "toolkit/toolkit_support.h"

#include "foundation/configure.h"
#include "toolkit/params/kv.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using KvTest = ::testing::Test;

// A compact picture of a document through the public lookups only:
// {key="value" arr={...} tbl=["row" {...}]}.
std::string dump(Kv* kv)
{
    const bool rows = kvkind(kv) == KV_KIND_TBL;
    Tbl* keys = rows ? nullptr : kvkeys(kv);
    std::string out = rows ? "[" : "{";
    for (long i = 0; i < kvcount(kv); i++) {
        if (i)
            out += ' ';
        if (!rows) {
            out += static_cast<const char*>(seqget(keys, i));
            out += '=';
        }
        void* value = nullptr;
        int kind = kvgetindex(kv, i, &value);
        if (kind == KV_KIND_STRING)
            out += "\"" + std::string(static_cast<const char*>(value)) + "\"";
        else if (kind == KV_KIND_ARR || kind == KV_KIND_TBL)
            out += dump(static_cast<Kv*>(value));
        else
            out += "?";
    }
    seqfree(keys, nullptr);
    return out + (rows ? "]" : "}");
}

// The picture of text compiled whole, or of its first length bytes from
// source when length is given; "error: " and the register on failure.
std::string compileDump(const char* text, size_t length = 0, const char* source = nullptr)
{
    Kv* kv = nullptr;
    if ((length ? kvcompile_source(text, length, source, &kv) : kvcompile(text, &kv)) < 0)
        return "error: " + std::string(hl_errlog_string(0));
    std::string d = dump(kv);
    kvfree(kv);
    return d;
}

std::string toText(Kv* kv)
{
    char* s = kv2string(kv);
    std::string out = s ? s : "(null)";
    free(s);
    return out;
}

// Owns a document for the length of a test.
struct Doc
{
    Kv* kv = nullptr;
    explicit Doc(const char* text) { EXPECT_EQ(kvcompile(text, &kv), 0) << hl_errlog_string(0); }
    ~Doc() { kvfree(kv); }
};

// Expect what kv writes to compile to the same entries and to be written the
// same again.
void expectRoundTrip(Kv* kv)
{
    ASSERT_NE(kv, nullptr);
    const std::string written = toText(kv);
    Doc again(written.c_str());
    EXPECT_EQ(dump(again.kv), dump(kv)) << written;
    EXPECT_EQ(toText(again.kv), written);
}

std::string nested(int depth)
{
    std::string text;
    for (int i = 0; i < depth; i++)
        text += "k" + std::to_string(i) + " &Arr{\n";
    text += "leaf value\n";
    for (int i = 0; i < depth; i++)
        text += "}\n";
    return text;
}

TEST_F(KvTest, CompilesEveryConstruct)
{
    struct Case { const char* name; const char* text; const char* expected; } cases[] = {
        {"key and value", "key value", R"({key="value"})"},
        {"inner blanks kept, ends trimmed", "key   a  b\t c  \n", "{key=\"a  b\t c\"}"},
        {"tabs between key and value", "key\t\t\tvalue", R"({key="value"})"},
        {"key alone has empty value", "key\n", R"({key=""})"}, {"empty text", "", "{}"},
        {"blank and comment lines", "\n   \n# comment\n\t# another\n", "{}"},
        {"comment after value", "color red # the pen", R"({color="red"})"},
        {"escaped hash", R"(color \#6060ff)", R"({color="#6060ff"})"},
        {"escaped hash then comment", R"(c \#ff0000 # red)", R"({c="#ff0000"})"},
        {"other backslashes stay", R"(re a\.b\\c)", R"({re="a\.b\\c"})"},
        {"backslash before escaped hash", R"(v a\\#b)", R"({v="a\#b"})"},
        {"escaped hash in key", R"(a\#b 1)", R"({a#b="1"})"},
        {"dollar word is text", "background_color $FILL_WATER", R"({background_color="$FILL_WATER"})"},
        {"keys keep written order", "z 1\na 2\nm 3", R"({z="1" a="2" m="3"})"},
        {"duplicate replaces in place", "a 1\nb 2\na 3", R"({a="3" b="2"})"},
        {"duplicate of another kind", "a 1\nb 2\na &Tbl{\nx\n}", R"({a=["x"] b="2"})"},
        {"nested arr", "outer &Arr{\n  inner 1\n}\nafter 2", R"({outer={inner="1"} after="2"})"},
        {"tbl rows with fields", "rows &Tbl{\nrt\tneb\t1.0v-2\t1.0v-30\t2\n  b  c \n}",
         "{rows=[\"rt\tneb\t1.0v-2\t1.0v-30\t2\" \"b  c\"]}"},
        {"empty blocks", "a &Arr{\n}\nt &Tbl{\n}", "{a={} t=[]}"},
        {"anonymous blocks in tbl", "m &Tbl{\nplain\n&Arr{\nk v\n}\n&Tbl{\nr\n}\n}",
         R"({m=["plain" {k="v"} ["r"]]})"},
        {"arr in tbl in arr in tbl", "a &Tbl{\n&Arr{\nb &Tbl{\n&Arr{\nc d\n}\n}\n}\n}",
         R"({a=[{b=[{c="d"}]}]})"},
        {"closing brace with comment", "a &Arr{\nb 1\n}   # end of a\nc 2", R"({a={b="1"} c="2"})"},
        {"brace with text is a key", "a &Arr{\n} x\n}", R"({a={}="x"}})"},
        {"crlf lines", "a 1\r\nb &Arr{\r\nc 2\r\n}\r\n", R"({a="1" b={c="2"}})"},
        {"opener word inside value is text", "a &Arr{ x", R"({a="&Arr{ x"})"},
        {"literal block kept verbatim", "s &Literal{\n  x # y \\#\n\n}\n", "{s=\"  x # y \\#\n\"}"},
        {"literal block with crlf", "s &Literal{\r\nline\r\n}\r\n", R"({s="line"})"},
        {"empty literal block", "s &Literal{\n}", R"({s=""})"},
        {"literal line", R"(@Literal p a#b \# c)", R"({p="a#b \# c"})"},
        {"literal line without value", "@Literal p", R"({p=""})"},
        {"literal rows in tbl", "t &Tbl{\n@Literal a # b\n&Literal{\n x\n}\n}", "{t=[\"a # b\" \" x\"]}"},
        {"at-literal inside a word is plain", "@Literals 1", R"({@Literals="1"})"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(compileDump(c.text), c.expected);
    }
}

TEST_F(KvTest, KvgetAnswersKinds)
{
    Doc doc("s text\na &Arr{\nx 1\n}\nt &Tbl{\nrow\n&Arr{\ny 2\n}\n}\n");
    void* value = nullptr;
    EXPECT_EQ(kvget(doc.kv, nullptr, &value), KV_KIND_FILE);
    EXPECT_EQ(value, doc.kv);
    EXPECT_EQ(kvget(doc.kv, "", nullptr), KV_KIND_FILE);
    ASSERT_EQ(kvget(doc.kv, "s", &value), KV_KIND_STRING);
    EXPECT_STREQ(static_cast<const char*>(value), "text");
    ASSERT_EQ(kvget(doc.kv, "a", &value), KV_KIND_ARR);
    Kv* a = static_cast<Kv*>(value);
    EXPECT_EQ(kvkind(a), KV_KIND_ARR);
    EXPECT_EQ(kvget(a, nullptr, nullptr), KV_KIND_ARR);
    ASSERT_EQ(kvget(doc.kv, "t", &value), KV_KIND_TBL);
    Kv* t = static_cast<Kv*>(value);
    EXPECT_EQ(kvcount(t), 2);
    EXPECT_EQ((std::vector{kvgetindex(t, 0, &value), kvgetindex(t, 1, &value), kvgetindex(t, 2, &value),
                           kvgetindex(t, -1, &value)}),
              (std::vector<int>{KV_KIND_STRING, KV_KIND_ARR, KV_KIND_NOTFOUND, KV_KIND_NOTFOUND}));
    value = &value;
    EXPECT_EQ(kvget(doc.kv, "missing", &value), KV_KIND_NOTFOUND);
    EXPECT_EQ(value, &value) << "not found leaves *value alone";
    EXPECT_EQ(kvget(t, "row", &value), KV_KIND_NOTFOUND) << "an &Tbl has no keys";
    EXPECT_LT(kvget(nullptr, "s", &value), 0);
    EXPECT_EQ(kvkeys(t), nullptr);
    EXPECT_LT(kvcount(nullptr), 0);
    Tbl* keys = kvkeys(doc.kv);
    EXPECT_EQ(tblStrings(keys), (std::vector<std::string>{"s", "a", "t"}));
    seqfree(keys, nullptr);
}

TEST_F(KvTest, KvparamConvertsScalars)
{
    std::string text = "i -42\nbig 99999999999\nfrac 1.5\nd 2.5e-3\nneg -1D2\nunset 2.12345e30\ncomma 1,5\n"
                       "yes yes\noff off\nbad maybe\ns a b  c\nt &Tbl{\n}\nlong " + std::string(300, 'x') + "\n";
    Doc doc(text.c_str());
    // expected: for numbers and booleans
    struct Case { const char* name; const char* key; int type; bool ok; double expected; } cases[] = {
        {"int", "i", KV_INT, true, -42}, {"int out of range", "big", KV_INT, false, 0},
        {"int from fraction", "frac", KV_INT, false, 0}, {"int from words", "s", KV_INT, false, 0},
        {"double", "d", KV_DOUBLE, true, 2.5e-3}, {"double with d exponent", "neg", KV_DOUBLE, true, -100},
        {"double sentinel", "unset", KV_DOUBLE, true, 2.12345e30}, {"double with comma", "comma", KV_DOUBLE, false, 0},
        {"double of a block", "t", KV_DOUBLE, false, 0}, {"boolean yes", "yes", KV_BOOLEAN, true, 1},
        {"boolean off", "off", KV_BOOLEAN, true, 0}, {"boolean bad", "bad", KV_BOOLEAN, false, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        double d = -7;  // KV_DOUBLE writes a double, the others an int
        int i = -7;
        EXPECT_EQ(kvparam(doc.kv, c.key, c.type, 1, c.type == KV_DOUBLE ? static_cast<void*>(&d) : &i) == 0, c.ok);
        EXPECT_EQ(c.type == KV_DOUBLE ? d : i, c.ok ? c.expected : -7);
        if (!c.ok)
            expectLogged(c.key);
    }
    char* s = nullptr;
    ASSERT_EQ(kvparam(doc.kv, "s", KV_STRING, 1, &s), 0);
    EXPECT_STREQ(s, "a b  c");
    free(s);
    char buffer[KV_STRING_BUFFER_MIN];
    strcpy(buffer, "old");
    EXPECT_EQ(kvparam(doc.kv, "s", KV_STRING_BUFFER, 1, buffer), 0);
    EXPECT_STREQ(buffer, "a b  c");
    strcpy(buffer, "old");
    EXPECT_LT(kvparam(doc.kv, "long", KV_STRING_BUFFER, 1, buffer), 0) << "300 bytes do not fit";
    EXPECT_STREQ(buffer, "old");
    char small[4] = "old";
    EXPECT_EQ(kvparambuf(doc.kv, "frac", 1, small, sizeof small), 0) << "three bytes and the NUL fit";
    EXPECT_STREQ(small, "1.5");
    EXPECT_LT(kvparambuf(doc.kv, "d", 1, small, sizeof small), 0);
    EXPECT_STREQ(small, "1.5");
    EXPECT_EQ(kvparambuf(doc.kv, "absent", 0, small, sizeof small), 0);
    EXPECT_LT(kvparambuf(doc.kv, "absent", 1, small, sizeof small), 0);
}

TEST_F(KvTest, KvparamMissingKeys)
{
    Doc doc("present 1\n");
    for (int type : {KV_INT, KV_DOUBLE, KV_STRING, KV_TBL_STRINGS, KV_TBL, KV_ARR_STRINGS, KV_ARR, KV_BOOLEAN,
                     KV_STRING_BUFFER}) {
        SCOPED_TRACE(type);
        char out[KV_STRING_BUFFER_MIN];
        memset(out, 0x5a, sizeof out);
        EXPECT_EQ(kvparam(doc.kv, "absent", type, 0, out), 0);
        EXPECT_EQ(out[0], 0x5a) << "optional key leaves out alone";
        EXPECT_EQ(hl_error_count(), 0);
        EXPECT_LT(kvparam(doc.kv, "absent", type, 1, out), 0);
        expectLogged("'absent' not found");
        EXPECT_EQ(out[0], 0x5a);
    }
    int out = 0;
    EXPECT_LT(kvparam(doc.kv, "present", 2, 1, &out), 0) << "unknown type code";
    EXPECT_LT(kvparam(nullptr, "present", KV_INT, 1, &out), 0);
    EXPECT_LT(kvparam(doc.kv, "present", KV_INT, 1, nullptr), 0);
}

TEST_F(KvTest, KvparamConvertsBlocks)
{
    Doc doc("rows &Tbl{\none two\n three \n}\nmixed &Tbl{\nx\n&Arr{\n}\n}\n"
            "pairs &Arr{\nb 2\na 1 # one\n}\ndeep &Arr{\nsub &Arr{\n}\n}\ns text\n");
    Tbl* rows = nullptr;
    ASSERT_EQ(kvparam(doc.kv, "rows", KV_TBL_STRINGS, 1, &rows), 0);
    EXPECT_EQ(tblStrings(rows), (std::vector<std::string>{"one two", "three"}));
    seqfree(rows, free);
    rows = nullptr;
    EXPECT_LT(kvparam(doc.kv, "mixed", KV_TBL_STRINGS, 1, &rows), 0) << "a block row is not a string";
    EXPECT_EQ(rows, nullptr);
    EXPECT_LT(kvparam(doc.kv, "s", KV_TBL_STRINGS, 1, &rows), 0) << "a string is not an &Tbl";
    EXPECT_LT(kvparam(doc.kv, "pairs", KV_TBL, 1, &rows), 0) << "an &Arr is not an &Tbl";
    Kv* sub = nullptr;
    ASSERT_EQ(kvparam(doc.kv, "mixed", KV_TBL, 1, &sub), 0);
    EXPECT_EQ(dump(sub), "[\"x\" {}]");
    kvfree(sub);  // owned by the document: ignored
    ASSERT_EQ(kvparam(doc.kv, "deep", KV_ARR, 1, &sub), 0);
    EXPECT_EQ(dump(sub), "{sub={}}");
    Arr* pairs = nullptr;
    ASSERT_EQ(kvparam(doc.kv, "pairs", KV_ARR_STRINGS, 1, &pairs), 0);
    EXPECT_EQ(mapcount(pairs), 2);
    EXPECT_STREQ(static_cast<char*>(mapget(pairs, "a")), "1");
    EXPECT_STREQ(static_cast<char*>(mapget(pairs, "b")), "2");
    mapfree(pairs, free);
    pairs = nullptr;
    EXPECT_LT(kvparam(doc.kv, "deep", KV_ARR_STRINGS, 1, &pairs), 0);
    EXPECT_EQ(pairs, nullptr);
    EXPECT_LT(kvparam(doc.kv, "rows", KV_ARR, 1, &sub), 0);
    ASSERT_EQ(kvparam(doc.kv, "rows", KV_TBL, 1, &sub), 0);
    int out = 0;
    EXPECT_LT(kvparam(sub, "anything", KV_INT, 0, &out), 0) << "keys are not looked up in an &Tbl";
}

TEST_F(KvTest, RoundTripGivesTheSameDocument)
{
    const char* cases[] = {
        "", "key value\n", "a 1\nb &Arr{\nc   x  y\n}\n", "color \\#6060ff\nplain #comment\n", "v a\\\\#b\\#\n",
        "k\\#ey \\#\n", "re a\\.b\\\\c\\\n", "t &Tbl{\nrow one\n&Arr{\nk v\n}\n&Tbl{\n\\#x\n}\n}\n",
        "e &Arr{\n}\nf &Tbl{\n}\ng\n", "s &Literal{\n  lead # hash \\# \\\n\n}\n", "s &Literal{\n}\n",
        "s &Literal{\n x \n}\n", "@Literal p a#b \\# c\n@Literal q\n", "@Literal &Arr{ x\n@Literal k &Tbl{\n@Literal } }\n",
        "t &Tbl{\n@Literal a # b\n@Literal\n&Literal{\n x\n}\n&Literal{\na\nb\n}\n}\n", "} x\n", "a \\\\\nb \\\n",
        "a &Arr{\nb &Tbl{\n&Arr{\nc &Tbl{\nd\n}\n}\n}\n}\n", "weird \x01\x7f\xc3\xa9 chars\n", "inner \r blank\n",
    };
    for (const char* text : cases) {
        SCOPED_TRACE(text);
        expectRoundTrip(Doc(text).kv);
    }
}

TEST_F(KvTest, WriterFormat)
{
    Doc doc("a 1\nc \\#fff # comment\nb &Arr{\nx   y z\nt &Tbl{\nr\n&Arr{\nk v\n}\n}\n}\n"
            "s &Literal{\n  raw #\n}\n@Literal l a#b\n");
    EXPECT_EQ(toText(doc.kv), "a 1\nc \\#fff\n"
                              "b &Arr{\n    x y z\n    t &Tbl{\n        r\n        &Arr{\n            k v\n        }\n    }\n}\n"
                              "s &Literal{\n  raw #\n}\n@Literal l a#b\n");
    void* b = nullptr;
    void* t = nullptr;
    ASSERT_EQ(kvget(doc.kv, "b", &b), KV_KIND_ARR);
    ASSERT_EQ(kvget(static_cast<Kv*>(b), "t", &t), KV_KIND_TBL);
    EXPECT_EQ(toText(static_cast<Kv*>(t)), "&Tbl{\n    r\n    &Arr{\n        k v\n    }\n}\n");
    EXPECT_EQ(kv2string(nullptr), nullptr);
}

TEST_F(KvTest, SyntaxErrorsNameTheLine)
{
    struct Case { const char* name; const char* text; const char* fragment; } cases[] = {
        {"brace at the top", "a 1\n\n}\n", "Line 3: '}' without an open block"},
        {"brace too many", "a &Arr{\n}\n}\nb 2\n", "Line 3: '}' without an open block"},
        {"arr not closed", "x 1\na &Arr{\nb 1\n", "Line 2: '&Arr{' is not closed"},
        {"inner tbl not closed", "a &Arr{\nb &Tbl{\nr\n}\n", "Line 1: '&Arr{' is not closed"},
        {"tbl not closed", "a &Arr{\n}\nt &Tbl{\n", "Line 3: '&Tbl{' is not closed"},
        {"literal not closed", "s &Literal{\n} x\n", "Line 1: '&Literal{' is not closed"},
        {"arr opener without key", "a 1\n&Arr{\n}\n", "Line 2: A block in an &Arr needs a key"},
        {"tbl opener without key in arr", "a &Arr{\n  &Tbl{\n}\n}\n", "Line 2: A block in an &Arr needs a key"},
        {"literal opener without key", "&Literal{\n}\n", "Line 1: A block in an &Arr needs a key"},
        {"named block in tbl", "t &Tbl{\nok\nname &Arr{\n}\n}\n", "Line 3: A row of an &Tbl cannot open"},
        {"literal line without key", "a 1\n@Literal   \n", "Line 2: '@Literal' needs a key"},
        {"literal word cut by a comment", "@Literal#x\n", "Line 1: '@Literal' must be followed by white space"},
        {"literal word cut in a tbl", "t &Tbl{\n@Literal# x\n}\n", "Line 2: '@Literal' must be followed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Kv* kv = nullptr;
        EXPECT_LT(kvcompile(c.text, &kv), 0);
        EXPECT_EQ(kv, nullptr);
        EXPECT_EQ(expectLogged(c.fragment).rfind("kvcompile: ", 0), 0u);
    }
}

TEST_F(KvTest, CompileIntoAnExistingDocumentMerges)
{
    Doc doc("a 1\nb &Arr{\nc 2\n}\nz 0\n");
    Kv* kv = doc.kv;
    EXPECT_LT(kvcompile("a 9\nb 3\n}\n", &kv), 0);  // a failed compile leaves the document
    EXPECT_EQ(kv, doc.kv);
    EXPECT_EQ(dump(doc.kv), R"({a="1" b={c="2"} z="0"})");
    ASSERT_EQ(kvcompile("b x\nn &Tbl{\nr\n}\na 5\n", &kv), 0);
    EXPECT_EQ(kv, doc.kv);
    EXPECT_EQ(dump(doc.kv), R"({a="5" b="x" z="0" n=["r"]})");
    void* t = nullptr;
    ASSERT_EQ(kvget(doc.kv, "n", &t), KV_KIND_TBL);
    Kv* tbl = static_cast<Kv*>(t);
    EXPECT_LT(kvcompile("q 1\n", &tbl), 0) << "rows cannot take keys";
}

TEST_F(KvTest, NestingIsCapped)
{
    expectRoundTrip(Doc(nested(KV_MAX_DEPTH).c_str()).kv);
    Kv* kv = nullptr;
    std::string deep = nested(KV_MAX_DEPTH + 1);
    EXPECT_LT(kvcompile(deep.c_str(), &kv), 0);
    EXPECT_EQ(kv, nullptr);
    expectLogged("Line 257: Blocks nested deeper than 256 levels");
    // a huge nesting stops at the cap without walking it all
    std::string huge;
    for (int i = 0; i < 200000; i++)
        huge += "&Tbl{\n";
    huge.insert(0, "t &Tbl{\n");
    EXPECT_LT(kvcompile(huge.c_str(), &kv), 0);
    EXPECT_EQ(hl_error_count(), 1);
}

TEST_F(KvTest, LongLinesAndValues)
{
    std::string value(1 << 20, 'v');
    value[1000] = ' ';
    value[5000] = '#';
    std::string text = "long " + value + "\nrow &Tbl{\n" + std::string(1 << 20, 'r') + "\n}\n";
    Doc doc(text.c_str());
    void* v = nullptr;
    ASSERT_EQ(kvget(doc.kv, "long", &v), KV_KIND_STRING);
    EXPECT_EQ(strlen(static_cast<char*>(v)), 5000u) << "the hash starts a comment";
    expectRoundTrip(doc.kv);
}

TEST_F(KvTest, KvcompileSourceStopsAtLengthAndNul)
{
    const char text[] = "a 1\nb 2\0c 3\n";
    EXPECT_EQ(compileDump(text, 5, "inline"), R"({a="1" b=""})");
    EXPECT_EQ(compileDump(text, sizeof text), R"({a="1" b="2"})");
    EXPECT_EQ(compileDump("}\n", 2, "/some/file.pf").rfind("error: kvcompile: /some/file.pf, line 1: ", 0), 0u);
    takeErrors();
    Kv* kv = nullptr;
    EXPECT_LT(kvcompile(nullptr, &kv), 0);
    EXPECT_LT(VX_kvcompile("a &Arr{\n", &kv), 0);
    expectLogged("VX_kvcompile: kvcompile() error.");
}

// Each test gets its own folders and leaves the environment and the working
// folder as it found them.
class KvReadTest : public KvTest
{
protected:
    void SetUp() override { ASSERT_TRUE(first_.isValid() && second_.isValid() && work_.isValid()); }
    void TearDown() override
    {
        if (had_path_)
            qputenv("VXPLOT_PARAMPATH", old_path_);
        else
            qunsetenv("VXPLOT_PARAMPATH");
        EXPECT_TRUE(QDir::setCurrent(old_cwd_));
    }
    static void write(const QTemporaryDir& dir, const char* file, const char* text)
    {
        Folder::write(dir.filePath(file).toStdString(), text);
    }
    static std::string read(const char* name)
    {
        Kv* kv = nullptr;
        if (kvread(name, &kv) < 0)
            return "error";
        void* v = nullptr;
        std::string out = kvget(kv, "from", &v) == KV_KIND_STRING ? static_cast<char*>(v) : "?";
        kvfree(kv);
        return out;
    }
    QTemporaryDir first_, second_, work_;
    const bool had_path_ = qEnvironmentVariableIsSet("VXPLOT_PARAMPATH");
    const QByteArray old_path_ = qgetenv("VXPLOT_PARAMPATH");
    const QString old_cwd_ = QDir::currentPath();
};

TEST_F(KvReadTest, SearchPathOrder)
{
    write(first_, "kvtest_both.pf", "from first\n");
    write(second_, "kvtest_both.pf", "from second\n");
    write(second_, "kvtest_second.pf", "from second\n");
    write(work_, "kvtest_both.pf", "from work\n");
    write(work_, "kvtest_work.pf", "from work\n");
    write(first_, "kvtest_nosuffix", "from nosuffix\n");
    std::string path = "::" + first_.path().toStdString() + "::" + second_.path().toStdString() + "/:";
    setenv("VXPLOT_PARAMPATH", path.c_str(), 1);
    ASSERT_EQ(chdir(work_.path().toLocal8Bit().constData()), 0);
    struct Case { const char* name; const char* file; const char* expected; } cases[] = {
        {"first folder of the path wins", "kvtest_both", "first"}, {"suffix given", "kvtest_both.pf", "first"},
        {"second folder of the path", "kvtest_second", "second"}, {"working folder last", "kvtest_work", "work"},
        {"files need the suffix", "kvtest_nosuffix", "error"}, {"absent", "kvtest_absent", "error"},
        {"a path is not searched", "./kvtest_both", "work"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(read(c.file), c.expected);
    }
    char* found = kvfind("kvtest_second");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(QDir::cleanPath(found), second_.filePath("kvtest_second.pf"));
    free(found);
    EXPECT_EQ(kvfind("kvtest_absent"), nullptr);
    takeErrors();
    Kv* kv = nullptr;
    EXPECT_LT(kvread("kvtest_absent", &kv), 0);
    expectLogged("Cannot find parameter file 'kvtest_absent.pf'");
    unsetenv("VXPLOT_PARAMPATH");
    EXPECT_EQ(read("kvtest_both"), "work") << "without the variable the working folder is found";
}

TEST_F(KvReadTest, SyntaxErrorNamesFileAndLineAndAGoodFileMerges)
{
    write(first_, "kvtest_bad.pf", "a 1\nb &Arr{\n  c 2\n");
    write(first_, "kvtest_merge.pf", "from file\nextra &Tbl{\nr\n}\n");
    setenv("VXPLOT_PARAMPATH", first_.path().toLocal8Bit().constData(), 1);
    Kv* kv = nullptr;
    EXPECT_LT(kvread("kvtest_bad", &kv), 0);
    EXPECT_EQ(kv, nullptr);
    std::string file = first_.filePath("kvtest_bad.pf").toStdString();
    EXPECT_NE(expectLogged("kvcompile: " + file + ", line 2: '&Arr{' is not closed")
                  .find("kvread: Cannot compile '" + file + "'."), std::string::npos);
    Doc doc("keep 1\nfrom text\n");
    kv = doc.kv;
    ASSERT_EQ(kvread("kvtest_merge", &kv), 0);
    EXPECT_EQ(dump(doc.kv), R"({keep="1" from="file" extra=["r"]})");
}

TEST_F(KvTest, MakeKvstring)
{
    const char* text = "s value \\# x\nlit &Literal{\n two\n lines\n}\n"
                       "a &Arr{\nk v\n}\nt &Tbl{\nr1\nr2\n}\n";
    // expected null: fails
    struct Case {
        const char* name; const char* input_key; const char* output_key; const char* expected; const char* error;
    } cases[] = {
        {"string", "s", "out", "out value \\# x\n", nullptr},
        {"literal string", "lit", "out", "out &Literal{\n two\n lines\n}\n", nullptr},
        {"arr", "a", "out", "out &Arr{\nk v\n}\n", nullptr},
        {"tbl", "t", "rows", "rows &Tbl{\n    r1\n    r2\n}\n", nullptr}, {"file", "", "all", nullptr, nullptr},
        {"key not found", "nothing", "out", nullptr, "VX_make_kvstring: kvget(nothing) error - key not found.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        char* made = VX_make_kvstring(text, c.input_key, c.output_key);
        if (c.expected) {
            ASSERT_NE(made, nullptr) << hl_errlog_string(0);
            EXPECT_STREQ(made, c.expected);
        } else if (c.error) {
            EXPECT_EQ(made, nullptr);
            EXPECT_EQ(takeErrors(), c.error);
        } else {
            // the whole document wrapped: compiles back to the same entries
            ASSERT_NE(made, nullptr);
            EXPECT_EQ(compileDump(made), "{all={s=\"value # x\" lit=\" two\n lines\" a={k=\"v\"} t=[\"r1\" \"r2\"]}}");
        }
        free(made);
    }
    EXPECT_EQ(VX_make_kvstring("a &Arr{\n", "a", "b"), nullptr);
    EXPECT_EQ(takeErrors(), "kvcompile: Line 1: '&Arr{' is not closed by the end of the text.\n"
                        "VX_make_kvstring: kvcompile() error.\n");
}

} // namespace
