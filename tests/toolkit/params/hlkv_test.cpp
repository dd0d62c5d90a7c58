// HLKv: round trips, edits, constraints and bad input.
#include "support/testsupport.h"
#include "toolkit/toolkit_support.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Doc { const char* name; const char* text; };

const Doc documents[] = {
    {"empty", ""},
    {"one entry without new line", "width 3"},
    {"blank lines and tabs", "\n\n  width\t\t3  \n\t\nheight 4\n\n"},
    {"comments everywhere", "# head\nwidth 3 # inline\n  # indented\n#\n#@ int\n"},
    {"escaped hashes", "color \\#6060ff   # blue\nre a\\#b\\#c\n"},
    {"nested arrays", "a &Arr{\n    b &Arr{\n        c 1\n    }\n    d 2\n}\n"},
    {"table of rows", "rows &Tbl{\n  rt neb 1.0v-2 1.0v-30 2\n  rt sta 1 2 1\n}\n"},
    {"anonymous blocks", "menu &Tbl{\n    &Arr{\n        label Pick P\n    }\n    &Tbl{\n        x\n    }\n}\n"},
    {"literal block", "script &Literal{\n  echo \"# of traces\"\n\tshow all   # kept\n}\nnext 1\n"},
    {"literal lines", "@Literal fmt %s #%d\nrows &Tbl{\n    @Literal a # row\n}\n"},
    {"key without value", "flag\nflag2   # comment only after key\n"},
    {"carriage returns", "a 1\r\nb &Arr{\r\n  c 2\r\n}\r\n"},
    {"duplicate keys", "a 1\nb 2\na 3\n"},
    {"constraints", "w 2 #@ int[0,10] # width\nc red blue #@ color color\nm lin #@ {lin|log}\n"},
    {"unsound constraint", "w 2 #@ intt[0,\n"},
    {"closing braces with comments", "a &Arr{ # open\n  b 1\n} # close\n"},
    {"deep nesting", "a &Arr{\nb &Arr{\nc &Tbl{\n&Arr{\nd 1\n}\n}\n}\n}\n"},
    {"dollar words and backslashes", "fill $FILL_LAND\npath C:\\a\\b\nre ^BH.\\.$\n"},
    {"trailing spaces kept", "a 1   \n   \nb 2\t\n"},
    {"utf-8 text", "title Séisme à 10 km   # é\n"},
};

} // namespace

TEST(HLKv, TwentyDocumentsComeBackByteForByte)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const Doc& d : documents) {
        SCOPED_TRACE(d.name);
        HLKv kv;
        ASSERT_EQ(kv.compile(d.text, "doc"), 0) << takeErrors();
        EXPECT_EQ(kv.getKvString(), d.text);
        const std::string path = dir.filePath("out.pf").toStdString();
        ASSERT_EQ(kv.write(path), 0) << takeErrors();
        EXPECT_EQ(readFile(path), d.text);
        // what the scanner makes of it is what the document says
        Kv* compiled = nullptr;
        ASSERT_EQ(kv.getKv(&compiled), 0);
        kvfree(compiled);
    }
}

TEST(HLKv, EntriesKeepKeyValueCommentLevelAndSource)
{
    HLKv kv;
    ASSERT_EQ(kv.compile("# head\nlayers &Arr{\n  coasts &Arr{\n    color \\#000000  # black\n  }\n}\nrows &Tbl{\n  a b\n}\n",
                         "x.pf"),
              0);
    ASSERT_EQ(kv.size(), 5);
    EXPECT_EQ(kv.rowCount(), 6);  // the comment line is a row, not an entry
    int color = kv.getEntryIndex("layers/coasts/color");
    ASSERT_GE(color, 0);
    EXPECT_EQ((std::vector{kv.getKey(color), kv.getValue(color), kv.getComment(color), kv.getSource(color)}),
              (std::vector<std::string>{"color", "#000000", "black", "x.pf:4"}));
    EXPECT_EQ(kv.getLevel(color), 2);
    EXPECT_EQ(kv.getKey(kv.getEntryIndex("layers")), "layers &Arr{");
    EXPECT_EQ(kv.getValue("rows/0"), "a b");
    EXPECT_EQ(kv.getEntryIndex("rows/1"), -1);
    EXPECT_EQ(HLKv::key2Perl("layers/coasts/2"), "{layers}{coasts}[2]");
    EXPECT_EQ(HLKv::key2Kvkey("@Literal fmt"), "fmt");
    EXPECT_EQ(HLKv::key2Kvkey("layers &Arr{"), "layers");
    EXPECT_EQ(HLKv::unescapeValue(HLKv::escapeValue("a#b")), "a#b");
}

TEST(HLKv, AnEditChangesOnlyItsOwnLine)
{
    // line: the edited line as written
    struct Case { const char* name; const char* text; const char* key; const char* value; const char* line; };
    const Case cases[] = {
        {"plain", "a 1\nwidth   3    # px\nb 2\n", "width", "12", "width   12    # px"},
        {"hash escaped", "a 1\ncolor red\n", "color", "#ff0000", "color \\#ff0000"},
        {"empty value filled", "a 1\nflag# c\n", "flag", "on", "flag on # c"},
        {"row", "r &Tbl{\n  x y\n}\n", "r/0", "p q r", "  p q r"},
        {"literal line", "@Literal f %s#1\n", "f", "%d#2", "@Literal f %d#2"},
        {"crlf kept", "a 1\r\nb 2\r\n", "a", "7", "a 7\r"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HLKv kv;
        ASSERT_EQ(kv.compile(c.text), 0);
        const int index = kv.getEntryIndex(c.key);
        ASSERT_GE(index, 0);
        ASSERT_EQ(kv.setValue(index, c.value, 1), 0) << takeErrors();
        const QStringList before = QString::fromStdString(c.text).split('\n'),
                          after = QString::fromStdString(kv.getKvString()).split('\n');
        ASSERT_EQ(before.size(), after.size());
        int differing = 0;
        for (qsizetype i = 0; i < before.size(); i++)
            if (before[i] != after[i]) {
                differing++;
                EXPECT_EQ(after[i].toStdString(), c.line);
            }
        EXPECT_EQ(differing, 1);
        HLKv again;
        ASSERT_EQ(again.compile(kv.getKvString()), 0);
        EXPECT_EQ(again.getValue(c.key), c.value);
    }
}

TEST(HLKv, LiteralBlocksAndCommentsAreEdited)
{
    HLKv kv;
    ASSERT_EQ(kv.compile("s &Literal{\n old\n}\nw 1 #@ int\nv 2 # old\nb &Arr{\n}\n"), 0);
    ASSERT_EQ(kv.setValue(kv.getEntryIndex("s"), "line one\n  # two"), 0);
    ASSERT_EQ(kv.setComment(kv.getEntryIndex("b"), "block"), 0);
    ASSERT_EQ(kv.setComment(kv.getEntryIndex("w"), "new"), 0);
    ASSERT_EQ(kv.setComment(kv.getEntryIndex("v"), "@not a rule"), 0);
    EXPECT_EQ(kv.getKvString(),
              "s &Literal{\nline one\n  # two\n}\nw 1 #@ int    # new\nv 2 # @not a rule\nb &Arr{    # block\n}\n");
    HLKv again;
    ASSERT_EQ(again.compile(kv.getKvString()), 0);
    EXPECT_EQ(again.getConstraints(again.getEntryIndex("w")), "int");
    EXPECT_EQ(again.getComment(again.getEntryIndex("v")), "@not a rule");
    // a line "}" would end the block; a new line would split an entry
    EXPECT_LT(kv.setValue(kv.getEntryIndex("s"), "a\n }\nb"), 0);
    EXPECT_LT(kv.setValue(kv.getEntryIndex("w"), "1\nx 2"), 0);
    EXPECT_LT(kv.setValue(kv.getEntryIndex("w"), "&Arr{"), 0);
}

TEST(HLKv, EachConstraintTypeAcceptsAndRefusesTheRightValues)
{
    struct Case { const char* constraint; const char* value; bool ok; };
    const Case cases[] = {
        {"string", "any text at all", true}, {"int", "42", true}, {"int", "4.2", false}, {"int", "", false},
        {"int[0,10]", "10", true}, {"int[0,10]", "11", false}, {"int[0,10]", "-1", false}, {"int[5,]", "1000000", true},
        {"real", "-1.5e3", true}, {"real", "abc", false}, {"real[-90,90]", "90.0", true},
        {"real[-90,90]", "90.01", false}, {"bool", "yes", true}, {"bool", "maybe", false}, {"color", "red", true},
        {"color", "", false}, {"font", "courier,12", true}, {"regex", "^BH[ZNE]$", true}, {"regex", "a(b", false},
        {"{lin|log|time}", "log", true}, {"{lin|log|time}", "Log", false}, {"int real", "3 2.5", true},
        {"int real", "3", false}, {"int string", "3 the rest of it", true},
        {"int   [0, 5]", "3", true},  // blanks inside brackets; "int" then an unknown word: unsound, not applied
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.constraint) + " / " + c.value);
        HLKv kv;
        ASSERT_EQ(kv.compile(std::string("k v #@ ") + c.constraint + "\n"), 0);
        std::string message;
        std::vector<int> bad;
        EXPECT_EQ(kv.checkValue(0, c.value, &message, &bad), c.ok);
        EXPECT_EQ(message.empty(), c.ok) << message;
        EXPECT_EQ(bad.empty(), c.ok);
    }
}

TEST(HLKv, UnsoundConstraintsAreReportedAndNeverApplied)
{
    const char* unsound[] = {"integer[", "int[10,0]", "bool[0,1]", "{}", "colr", "int[a,b]", "@"};
    for (const char* c : unsound) {
        SCOPED_TRACE(c);
        HLKv kv;
        ASSERT_EQ(kv.compile(std::string("k v #@ ") + c + "\n"), 0);
        bool sound = true;
        EXPECT_EQ(kv.getConstraints(0, &sound), c);
        EXPECT_FALSE(sound);
        EXPECT_TRUE(kv.checkValue(0, "anything", nullptr, nullptr));
    }
}

namespace {

struct Recorder : HLKv
{
    void valueChangedCallback(const std::string& key, int index, const std::string& value,
                              std::string& message) override
    {
        calls.push_back(key + "=" + value + ":" + std::to_string(index) + ":" + message);
    }
    std::vector<std::string> calls;
};

} // namespace

TEST(HLKv, ARefusedValueLeavesTheDocumentAndTellsTheCallback)
{
    Recorder kv;
    ASSERT_EQ(kv.compile("w 2 #@ int[0,10]\n"), 0);
    EXPECT_LT(kv.setValue(0, "11", 1), 0);
    EXPECT_NE(takeErrors().find("HLKv::setValue: '11' refused for 'w': '11' is above the greatest value 10."),
              std::string::npos);
    EXPECT_EQ(kv.getValue(0), "2");
    EXPECT_EQ(kv.getKvString(), "w 2 #@ int[0,10]\n");
    ASSERT_EQ(kv.setValue(0, "7", 1), 0);
    ASSERT_EQ(kv.calls.size(), 2u);
    EXPECT_EQ(kv.calls[0], "w=11:0:'11' is above the greatest value 10");
    EXPECT_EQ(kv.calls[1], "w=7:0:");
    // without the check a bad value is stored, and reported by getValue
    ASSERT_EQ(kv.setValue(0, "x", 0), 0);
    bool ok = true;
    std::string message;
    EXPECT_EQ(kv.getValue(0, &ok, nullptr, &message), "x");
    EXPECT_FALSE(ok);
    EXPECT_EQ(message, "'x' is not an integer");
}

TEST(HLKv, BadInputIsRefusedWithAClearMessage)
{
    HLKv kv;
    ASSERT_EQ(kv.compile("a 1\n"), 0);
    EXPECT_LT(kv.compile("a 1\nb &Arr{\nc 2\n", "bad.pf"), 0);
    EXPECT_NE(takeErrors().find("bad.pf, line 2: '&Arr{' is not closed"), std::string::npos);
    EXPECT_EQ(kv.getKvString(), "a 1\n");  // unchanged
    EXPECT_LT(kv.compile(std::string("a 1\0b", 5)), 0);
    EXPECT_LT(kv.read("/nonexistent/file.pf"), 0);
    EXPECT_LT(kv.setValue(5, "x"), 0);
    // writing where nothing can be written loses nothing
    ASSERT_EQ(kv.setValue(0, "2"), 0);
    EXPECT_LT(kv.write("/nonexistent/dir/out.pf"), 0);
    EXPECT_NE(takeErrors().find("HLKv::write: Cannot write '/nonexistent/dir/out.pf'"), std::string::npos);
    EXPECT_EQ(kv.getKvString(), "a 2\n");
    EXPECT_THROW(HLKv("no such parameter file", HLKv::HLKV_FROM_FILE), const char*);
}

TEST(HLKv, ATenMegabyteDocumentLoads)
{
    std::string text;
    text.reserve(11 << 20);
    int n = 0;
    while (text.size() < (10u << 20)) {
        text += "block" + std::to_string(n) + " &Arr{\n";
        for (int i = 0; i < 20; i++)
            text += "    key" + std::to_string(i) + "   " + std::to_string(i * n) + "   # c\n";
        text += "}\n";
        n++;
    }
    HLKv kv;
    ASSERT_EQ(kv.compile(text), 0);
    EXPECT_EQ(kv.size(), n * 21);
    EXPECT_EQ(kv.getValue("block7/key3"), "21");
    EXPECT_EQ(kv.getKvString(), text);
}
