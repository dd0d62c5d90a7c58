// The text form of commands read by the command shell.
#include "support/testsupport.h"

#include <gtest/gtest.h>

namespace {

struct ParseCase { const char* name; QString text, bind, command, handle; QStringList args, config; bool directive = false; };

// A script read statement by statement from one text.
struct Reader
{
    explicit Reader(QString t) : text(std::move(t)) {}
    QString text;
    VXCommandScript script;
    qsizetype pos = 0;
    int line = 1;
    VX_ScriptStatement st;
    int next() { return script.next(text, &pos, &line, &st); }
};

} // namespace

TEST(CommandScript, ParsesStatements)
{
    const ParseCase cases[] = {
        {"word only targets none", "exec", "", "exec", "none", {}, {}},
        {"word and handle", "delete frame:3", "", "delete", "frame:3", {}, {}},
        {"positional arguments", "gridlayout_addwidget g:1 v:2 0 0 1 1", "", "gridlayout_addwidget", "g:1", {"v:2", "0", "0", "1", "1"}, {}},
        {"binding", "w = mainwindow none", "w", "mainwindow", "none", {}, {}},
        {"configuration pairs", "configure v:2 xmin=0 x_label=Time", "", "configure", "v:2", {}, {"xmin 0", "x_label Time"}},
        {"quoted value of a pair", "configure v:2 title=\"A long title\"", "", "configure", "v:2", {}, {"title A long title"}},
        {"empty value", "configure v:2 title=", "", "configure", "v:2", {}, {"title "}},
        {"quoted equals stays positional", "label_text l:1 \"a=b\"", "", "label_text", "l:1", {"a=b"}, {}},
        {"equals after a quote stays positional", "x h 'k'=v", "", "x", "h", {"k=v"}, {}},
        {"value with equals", "configure v fmt=a=b", "", "configure", "v", {}, {"fmt a=b"}},
        {"colour with hash", "configure v color=#ff0000 #00ff00", "", "configure", "v", {"#00ff00"}, {"color #ff0000"}},
        {"single quotes are literal", "x h '$nothing \\n'", "", "x", "h", {"$nothing \\n"}, {}},
        {"double quote escapes", "x h \"a\\tb\\\"c\\\\d\\$e\"", "", "x", "h", {"a\tb\"c\\d$e"}, {}},
        {"multi-line quote", "configure_kvstring v \"a 1\nb 2\"", "", "configure_kvstring", "v", {"a 1\nb 2"}, {}},
        {"continuation", "x h a \\\n b", "", "x", "h", {"a", "b"}, {}},
        {"empty quoted argument", "x h \"\"", "", "x", "h", {""}, {}},
        {"leading comment and blank lines", "# comment\n\n   exec", "", "exec", "none", {}, {}},
        {"directive", "@echo hello world", "", "echo", "", {"hello", "world"}, {}, true},
        {"variable expands", "delete $w", "", "delete", "mainwindow:1", {}, {}},
        {"braced variable inside a word", "x ${w}x", "", "x", "mainwindow:1x", {}, {}},
        {"variable in double quotes", "x h \"in $w\"", "", "x", "h", {"in mainwindow:1"}, {}},
        {"dollar without a name", "x h $ 5$", "", "x", "h", {"$", "5$"}, {}},
    };
    for (const ParseCase& c : cases) {
        SCOPED_TRACE(c.name);
        Reader r(c.text);
        r.script.variables.insert("w", "mainwindow:1");
        ASSERT_EQ(r.next(), VXCommandScript::Statement) << hl_errlog_string(0);
        const VX_ScriptStatement& st = r.st;
        EXPECT_EQ(st.bind, c.bind);
        EXPECT_EQ(st.command, c.command);
        EXPECT_EQ(st.handle, c.directive ? QString() : c.handle);
        EXPECT_EQ(st.args, c.args);
        EXPECT_EQ(st.config_lines, c.config);
        EXPECT_EQ(st.directive, c.directive);
        EXPECT_EQ(r.next(), VXCommandScript::End);
    }
}

TEST(CommandScript, CountsLinesAcrossStatementsAndWaitsForTheRestOfAnIncompleteText)
{
    Reader r("# head\nexec\n\nx h \"a\nb\"\nquit\n");
    for (int line : {2, 4, 6}) {
        ASSERT_EQ(r.next(), VXCommandScript::Statement);
        EXPECT_EQ(r.st.line, line);
    }
    EXPECT_EQ(r.st.command, "quit");
    // an incomplete text waits for more
    const char* texts[] = {"x h \"open", "x h 'open", "x h a \\", "x \"a\nb"};
    for (const char* t : texts) {
        SCOPED_TRACE(t);
        Reader r(t);
        EXPECT_EQ(r.next(), VXCommandScript::Incomplete);
        EXPECT_EQ(r.pos, 0);
    }
}

// A line of continuations alone joins nothing: it reads as a blank line,
// also as the last line of the text.
TEST(CommandScript, ContinuationsAloneAreBlankLines)
{
    const struct { const char* name; const char* text; int statements; } cases[] = {
        {"only a continuation", "\\\n", 0},
        {"after a statement", "exec\n\\\n", 1},
        {"blanks and continuations", "  \\\n \\\n\n", 0},
        {"before a statement", "\\\n\nexec\n", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Reader r(c.text);
        for (int i = 0; i < c.statements; i++)
            EXPECT_EQ(r.next(), VXCommandScript::Statement);
        EXPECT_EQ(r.next(), VXCommandScript::End);
        EXPECT_EQ(r.pos, r.text.size());
    }
}

TEST(CommandScript, ErrorsNameTheLineAndSkipTheStatement)
{
    const struct { const char* name; QString text; const char* message; } cases[] = {
        {"unknown variable", "\ndelete $nope\nexec", "VXCommandScript: line 2: unknown variable '$nope'.\n"},
        {"binding without command", "w =\nexec", "VXCommandScript: line 1: 'w =' needs a command.\n"},
        {"pair as command word", "a=b h\nexec", "VXCommandScript: line 1: a statement begins with a command word, not 'a=b'.\n"},
        {"directive bound", "w = @echo x\nexec", "VXCommandScript: line 1: a directive answers no handle to bind.\n"},
        {"unterminated brace", "x ${w\nexec", "VXCommandScript: line 1: unterminated '${'.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        hl_clear_register(0);
        Reader r(c.text);
        EXPECT_EQ(r.next(), VXCommandScript::Error);
        EXPECT_EQ(takeErrors(), c.message);
        ASSERT_EQ(r.next(), VXCommandScript::Statement);
        EXPECT_EQ(r.st.command, "exec");
    }
}

TEST(CommandScript, RunBindsHandlesAndUnderscore)
{
    Reader r("w = mainwindow none\nx = mainwindow $w\n");
    VX_GraphicsServer_response* response = nullptr;
    ASSERT_EQ(r.next(), VXCommandScript::Statement);
    ASSERT_EQ(r.script.run(vx_test_server(), r.st, &response, 0), 0);
    QString w = r.script.variables.value("w");
    EXPECT_TRUE(w.startsWith("mainwindow:"));
    EXPECT_EQ(r.script.variables.value("_"), w);
    ASSERT_EQ(r.next(), VXCommandScript::Statement);
    EXPECT_EQ(r.script.run(vx_test_server(), r.st, &response, 0), -1);  // a main window is no frame
    EXPECT_FALSE(r.script.variables.contains("x"));
    EXPECT_EQ(r.script.variables.value("_"), w);
    hl_clear_register(0);
    delete response;
}

TEST(CommandScript, ResponseLinesEscapeTheirFields)
{
    VX_GraphicsServer_response r;
    r.response = 1;
    r.handle = "a\tb\nc\\d\r";
    r.return_params = {"1", "x y"};
    EXPECT_EQ(VXCommandScript::formatResponse(&r), "1\ta\\tb\\nc\\\\d\\r\t1\tx y");
    EXPECT_EQ(VXCommandScript::formatResponse(nullptr), "1\tno response");
}
