// The command console's words, sent directly on the test thread: making a
// console, queuing commands, output, file import, the command callback, the
// error texts, and the common words on a console handle.
#include "support/configsupport.h"
#include "support/serversupport.h"

#include "server/procs.h"
#include "views/commandconsole.h"

#include <QCoreApplication>
#include <QFile>
#include <QGridLayout>
#include <QPointer>
#include <QTemporaryDir>

#include <gtest/gtest.h>


namespace {

void record(QString command, HL_ClientData data)
{
    static_cast<QStringList*>(data)->append(command);
}

// A window with a console; {w} window, {f} its frame, {c} the console, {b} a button.
struct Session : Handles
{
    VXCommandConsole* console = nullptr;

    Session()
    {
        h["w"] = vx_send("mainwindow", "none").handle;
        h["f"] = object<VXMainWindow>(h["w"])->tl_handle;
        h["c"] = vx_send("commandconsole", h["w"]).handle;
        h["b"] = vx_send("button", h["w"]).handle;
        console = object<VXCommandConsole>(h["c"]);
    }
    ~Session()
    {
        QCoreApplication::processEvents();
        vx_send("delete", h["w"]);
    }
};

// Trace lines written while f runs, with the trace switched on.
template <class F>
QStringList traced(F f)
{
    static QStringList* lines = nullptr;
    QStringList captured;
    lines = &captured;
    const int was = vxplot_debug;
    vxplot_debug = 1;
    QtMessageHandler previous = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& m) {
        if (type == QtDebugMsg && lines)
            lines->append(m);
    });
    f();
    qInstallMessageHandler(previous);
    vxplot_debug = was;
    lines = nullptr;
    return captured;
}

} // namespace

TEST(ConsoleCommands, MakesAConsoleInAFrameOrMainWindowAndRefusesWithExactTexts)
{
    Session s;
    int n = vx_next_instance();
    int type = -1;
    ASSERT_NE(s.console, nullptr);
    object<VXCommandConsole>(s.h["c"], &type);
    EXPECT_EQ(type, VX_TYPE_COMMANDCONSOLE);
    EXPECT_TRUE(s.h["c"].startsWith("commandconsole:"));
    EXPECT_EQ(s.console->parentWidget(), object<QFrame>(s.h["f"]));  // the window's central frame
    EXPECT_EQ(s.console->toPlainText(), ">");

    Reply r = vx_send("commandconsole", s.h["f"]);
    EXPECT_EQ(r.handle, QStringLiteral("commandconsole:%1").arg(n));
    EXPECT_EQ(VX_GraphicsServer_get_value(vx_test_server(), object<VXCommandConsole>(r.handle)), r.handle);

    QStringList lines = traced([&] { r = vx_send("commandconsole", s.h["w"]); });
    EXPECT_EQ(lines, QStringList({QStringLiteral("%1 = new VXCommandConsole(%2)").arg(r.handle, s.h["w"])}));
    // refusals with their texts change nothing
    const QString before = s.console->toPlainText();
    expectRefusals({
        {"make parent", "commandconsole", "{b}", {}, "VX_GraphicsServer_commandconsole: parent must be a frame or mainwindow.\n"},
        {"make parent console", "commandconsole", "{c}", {}, "VX_GraphicsServer_commandconsole: parent must be a frame or mainwindow.\n"},
        {"make unknown", "commandconsole", "frame:999999", {}, "VX_GraphicsServer_get_item: Handle 'frame:999999' not found.\nVX_GraphicsServer_commandconsole: VX_GraphicsServer_get_item(frame:999999) error.\n"},
        {"send target", "commandconsole_sendcommand", "{b}", {"x"}, "VX_GraphicsServer_commandconsole_sendcommand: must be commandconsole item parent.\n"},
        {"send unknown", "commandconsole_sendcommand", "commandconsole:999999", {"x"}, "VX_GraphicsServer_get_item: Handle 'commandconsole:999999' not found.\nVX_GraphicsServer_commandconsole_sendcommand: VX_GraphicsServer_get_item(commandconsole:999999) error.\n"},
        {"send none", "commandconsole_sendcommand", "{c}", {}, "VX_GraphicsServer_commandconsole_sendcommand: sendcommand needs 1, 2, or 3 arguments.\n"},
        {"send four", "commandconsole_sendcommand", "{c}", {"x", "1", "1", "1"}, "VX_GraphicsServer_commandconsole_sendcommand: sendcommand needs 1, 2, or 3 arguments.\n"},
        {"send echo_command", "commandconsole_sendcommand", "{c}", {"x", "yes"}, "VX_GraphicsServer_commandconsole_sendcommand: echo_command conversion error 'yes'.\n"},
        {"send echo_output", "commandconsole_sendcommand", "{c}", {"x", "1", "1.5"}, "VX_GraphicsServer_commandconsole_sendcommand: echo_output conversion error '1.5'.\n"},
        {"print target", "commandconsole_printlineoutput", "{w}", {"a", "", "0", "1"}, "VX_GraphicsServer_commandconsole_printlineoutput: must be commandconsole item parent.\n"},
        {"print three", "commandconsole_printlineoutput", "{c}", {"a", "", "0"}, "VX_GraphicsServer_commandconsole_printlineoutput: printlineoutput needs 4 arguments.\n"},
        {"print error flag", "commandconsole_printlineoutput", "{c}", {"a", "", "e", "1"}, "VX_GraphicsServer_commandconsole_printlineoutput: error_output_flag conversion error 'e'.\n"},
        {"print done flag", "commandconsole_printlineoutput", "{c}", {"a", "", "0", "done"}, "VX_GraphicsServer_commandconsole_printlineoutput: output_done_flag conversion error 'done'.\n"},
        {"import target", "commandconsole_importfromfile", "{f}", {"/dev/null"}, "VX_GraphicsServer_commandconsole_importfromfile: must be commandconsole item parent.\n"},
        {"import none", "commandconsole_importfromfile", "{c}", {}, "VX_GraphicsServer_commandconsole_importfromfile: importfromfile needs 1 or 2 arguments.\n"},
        {"import three", "commandconsole_importfromfile", "{c}", {"/dev/null", "1", "1"}, "VX_GraphicsServer_commandconsole_importfromfile: importfromfile needs 1 or 2 arguments.\n"},
        {"import echo", "commandconsole_importfromfile", "{c}", {"/dev/null", "on"}, "VX_GraphicsServer_commandconsole_importfromfile: echo conversion error 'on'.\n"},
        {"get target", "commandconsole_getcommand", "{b}", {"0"}, "VX_GraphicsServer_commandconsole_getcommand: must be commandconsole item parent.\n"},
        {"get none", "commandconsole_getcommand", "{c}", {}, "VX_GraphicsServer_commandconsole_getcommand: getcommand needs 1 argument.\n"},
        {"get two", "commandconsole_getcommand", "{c}", {"0", "1"}, "VX_GraphicsServer_commandconsole_getcommand: getcommand needs 1 argument.\n"},
        {"get index", "commandconsole_getcommand", "{c}", {"first"}, "VX_GraphicsServer_commandconsole_importfromfile: command_index conversion error 'first'.\n"},
        {"callback target", "commandconsole_callback", "{b}", {}, "VX_GraphicsServer_commandconsole_callback: must be commandconsole item parent.\n"},
        {"callback count", "commandconsole_callback", "{c}", {}, "VX_GraphicsServer_commandconsole_callback: callback needs 2 arguments.\n"},
    }, s);
    EXPECT_TRUE(s.console->command_queue.isEmpty());
    EXPECT_EQ(s.console->toPlainText(), before);
}

TEST(ConsoleCommands, CommandsRunOneTurnApartAndEchoTheirOutput)
{
    Session s;
    QStringList seen;
    Reply r = sendExtra("commandconsole_callback", s.h["c"], {reinterpret_cast<void*>(&record), &seen});
    EXPECT_EQ(r.handle, "commandconsole_callback");
    r = vx_send("commandconsole_sendcommand", s.h["c"], {"first", "1", "0"});
    EXPECT_EQ(r.handle, s.h["c"]);
    EXPECT_EQ(vx_send("commandconsole_sendcommand", s.h["c"], {"second"}).code, 0);
    EXPECT_TRUE(seen.isEmpty());
    QCoreApplication::processEvents();
    EXPECT_EQ(seen, QStringList({"first"}));
    QCoreApplication::processEvents();
    EXPECT_EQ(seen, QStringList({"first", "second"}));
    EXPECT_EQ(s.console->toPlainText(), ">first\n>second\n");
    r = vx_send("commandconsole_printlineoutput", s.h["c"], {"result 42", "", "0", "1"});
    EXPECT_EQ(r.handle, s.h["c"]);
    EXPECT_EQ(s.console->toPlainText(), ">first\n>second\nresult 42\n>");
    // getcommand answers the text; past the end an empty one
    for (const auto& [index, text] : {std::pair{"0", "first"}, {"1", "second"}, {"99", ""}}) {
        r = vx_send("commandconsole_getcommand", s.h["c"], {index});
        EXPECT_EQ(r.handle, s.h["c"]);
        EXPECT_EQ(r.params, QStringList({text}));
    }
    // error output with a prefix
    EXPECT_EQ(vx_send("commandconsole_printlineoutput", s.h["c"], {"oops", "E: ", "1", "0"}).code, 0);
    EXPECT_EQ(s.console->toPlainText(), ">first\n>second\nresult 42\nE: oops\n>");
    // a null callback silences the console
    EXPECT_EQ(sendExtra("commandconsole_callback", s.h["c"], {nullptr, nullptr}).code, 0);
    vx_send("commandconsole_sendcommand", s.h["c"], {"x", "0", "0"});
    QCoreApplication::processEvents();
    EXPECT_EQ(seen.size(), 2);
    EXPECT_EQ(s.console->toPlainText(), ">first\n>second\nresult 42\nE: oops\n>") << "no echo";
}

TEST(ConsoleCommands, ImportFromFileAndTraceLines)
{
    Session s;
    QStringList seen;
    sendExtra("commandconsole_callback", s.h["c"], {reinterpret_cast<void*>(&record), &seen});

    s.h["p"] = "/nonexistent/console/commands.txt";
    expectRefusals({{"missing file", "commandconsole_importfromfile", "{c}", {"{p}"}, "VXCommandConsole::importFromFile: file.open({p}) error.\nVX_GraphicsServer_commandconsole_importfromfile: VXCommandConsole::importFromFile({p}) error.\n"}}, s);
    EXPECT_TRUE(s.console->command_queue.isEmpty());
    QCoreApplication::processEvents();
    EXPECT_TRUE(seen.isEmpty());

    QTemporaryDir dir;
    QFile f(dir.filePath("session.cmd"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("time 0 600\nscale 2\nshow BHZ\n");
    f.close();
    Reply r = vx_send("commandconsole_importfromfile", s.h["c"], {f.fileName(), "0"});
    EXPECT_EQ(r.handle, s.h["c"]);
    EXPECT_EQ(s.console->command_queue.size(), 3);
    for (int i = 0; i < 3; i++)
        QCoreApplication::processEvents();
    EXPECT_EQ(seen, QStringList({"time 0 600", "scale 2", "show BHZ"}));
    EXPECT_TRUE(s.console->command_queue.isEmpty());
    EXPECT_EQ(s.console->toPlainText(), ">");  // echo 0
    // the trace lines of the words, with no callback to run the queued ones
    sendExtra("commandconsole_callback", s.h["c"], {nullptr, nullptr});
    const QString c = s.h["c"];
    QStringList lines = traced([&] {
        vx_send("commandconsole_sendcommand", c, {"a b"});
        vx_send("commandconsole_printlineoutput", c, {"out", "p", "1", "0"});
        vx_send("commandconsole_importfromfile", c, {"/dev/null", "0"});
        vx_send("commandconsole_getcommand", c, {"0"});
    });
    EXPECT_EQ(lines, QStringList({c + "->sendCommand(a b, 1, 1)", c + "->printLineOutput(out, p, 1, 0)",
                                  c + "->importFromFile(/dev/null, 0)"}));
}

TEST(ConsoleCommands, ConfigureAndCommonWordsTakeAConsole)
{
    Session s;
    Reply r = vx_send("configure", s.h["c"], {}, {"color_background green", "prompt $"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(s.console->palette().color(QPalette::Base), QColor("green"));
    EXPECT_EQ(configText(s.console, "prompt"), "$");
    r = vx_send("configure", s.h["c"], {}, {"color_output notacolour"});
    EXPECT_EQ(r.handle, "VX_GraphicsServer_configure: configure(" + s.h["c"] + ") error.\n");
    r = vx_send("configure_kvstring", s.h["c"], {"color_prompt red\nfont courier,18\n"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(s.console->font().pixelSize(), 18);
    const QString c = s.h["c"];
    EXPECT_EQ(vx_send("hide", c).handle, "hide");
    EXPECT_TRUE(s.console->isHidden());
    EXPECT_EQ(vx_send("show", c).handle, "show");
    EXPECT_FALSE(s.console->isHidden());
    EXPECT_EQ(vx_send("geometry", c, {"10", "20", "300", "200"}).code, 0);
    EXPECT_EQ(s.console->geometry(), QRect(10, 20, 300, 200));
    EXPECT_EQ(vx_send("update", c).code, 0);
    EXPECT_EQ(vx_send("totop", c).code, 0);
    for (const char* word : {"itemhide", "itemshow", "itemsetname", "setitemstale"}) {
        Reply r = vx_send(word, c, {"n"});
        EXPECT_EQ(r.handle, QString("VX_GraphicsServer_%1: commandconsole object not a vxplot item.\n").arg(word));
    }
    // a layout on the console, and the console in a layout and a splitter
    Reply g = vx_send("gridlayout", c);
    EXPECT_EQ(g.code, 0) << g.handle.toStdString();
    EXPECT_EQ(s.console->layout(), object<QGridLayout>(g.handle));
    Reply outer = vx_send("gridlayout", s.h["f"]);
    Reply add = vx_send("gridlayout_addwidget", outer.handle, {c, "0", "0", "1", "1"});
    EXPECT_EQ(add.code, 0) << add.handle.toStdString();
    Reply sp = vx_send("splitter", s.h["w"]);
    EXPECT_EQ(vx_send("splitter_addwidget", sp.handle, {c, "0"}).code, 0);

    QPointer<VXCommandConsole> alive(s.console);
    EXPECT_EQ(vx_send("delete", c).handle, "delete");
    EXPECT_TRUE(alive.isNull());
}
