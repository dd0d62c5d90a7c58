// The trace view's command language: help and its reference page, aliases,
// time words, hot keys, what each display and traces action does to the
// view, command files through the console, and refused lines.
#include "waveform/tvsupport.h"

#include "toolkit/base/errors.h"
#include "viewport/vxevent.h"
#include "views/commandconsole.h"
#include "waveform/tvcommands.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QKeyEvent>
#include <QTemporaryDir>

#include <cmath>
#include <functional>
#include <memory>
#include <string>

namespace {

QString readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromUtf8(f.readAll()) : QString();
}

// Five traces, 600 s from 1000 shown.
struct View : tvtest::View
{
    View()
    {
        for (const char* label : {"AAK BHZ", "AAK BHN", "ANMO BHZ", "ANMO LHZ", "KEV BHZ"})
            add(label);
        tv->setTimeWindow(1000.0, 600.0);
        hl_clear_register(0);
    }

    // the output, or "ERR " and the register's text
    std::string run(const QString& line)
    {
        QString out;
        if (tv->commands->processCommand(line, out) < 0)
            return "ERR " + takeErrors();
        return out.toStdString();
    }
};

// What the language can change, as text: two views agree when their dumps do.
std::string dump(VXTraceview* tv)
{
    const VxTraceview& w = tv->vars;
    QString s = QString::asprintf(
        "window %f %f gain %.17g max %d minpx %d fit %d filter '%s' tpad %.17g units %s\n"
        "palign %d pred %d batch %d hide %d%d%d ads %d lw %.17g\n",
        tv->tleft, tv->tright, w.gain, w.max_traces, w.min_pixels_traces, w.auto_traces_fit, qPrintable(w.filter_string),
        w.filter_tpad, qPrintable(w.units), w.palign, w.show_predicted_arrivals, tv->batch, w.hide_noarrivals,
        w.hide_nodetections, w.hide_nowaveforms, w.auto_distance_sort, tv->display_parameters.main_display.linewidth);
    for (VXTrace* t : std::as_const(tv->traces)) {
        const VxTrace& v = t->vars;
        s += QString::asprintf("%s vis %d sort %ld sel %d gain %.17g stretch %.17g fg '%s' bg '%s' lw %.17g filter '%s' "
                               "'%s' units %s mode %d\n",
                               qPrintable(t->channel_label), v.visible, t->sort_order, t->select_order, v.gain,
                               v.stretch_height, qPrintable(v.color_foreground.color_name),
                               qPrintable(v.color_background.color_name), v.linewidth, qPrintable(v.filter_string),
                               qPrintable(v.filter_label), qPrintable(v.units), v.ampscale_mode);
    }
    for (const QString& key : {QStringLiteral("zz"), QStringLiteral("yy")})
        s += key + QLatin1Char(' ') + tv->commands->aliases.value(key).join(QLatin1Char('|')) + QLatin1Char('\n');
    return s.toStdString();
}

void drainConsole(VXCommandConsole* console)
{
    // each queued line runs in its own turn of the event loop
    for (int i = 0; i < 1000 && !console->command_queue.isEmpty(); i++)
        QCoreApplication::processEvents();
}

} // namespace

TEST(TvCommands, HelpPrintsTheSixtyFourLinesInTableOrder)
{
    View v;
    const QString golden = readFile(QStringLiteral(VX_TEST_SOURCE_DIR "/waveform/data/tvcommands_help.txt"));
    ASSERT_EQ(golden.count(QLatin1Char('\n')), 64);
    EXPECT_EQ(v.run(QStringLiteral("help")), golden.toStdString());
    EXPECT_EQ(v.run(QStringLiteral("?")), golden.toStdString());
    EXPECT_NE(v.run(QStringLiteral("help traces")).find("processHelpObject: Unknown object 'help' arguments."),
              std::string::npos);
}

TEST(TvCommands, ReferencePageMatchesTheTable)
{
    const QString path = QStringLiteral(VX_TEST_SOURCE_DIR "/../docs/traceview-language.md");
    const QString page = traceview_commands_reference();
    if (qEnvironmentVariableIsSet("VX_REGENERATE")) {
        QFile f(path);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Text));
        f.write(page.toUtf8());
    }
    EXPECT_EQ(readFile(path).toStdString(), page.toStdString()) << "VX_REGENERATE=1 rewrites the page";
    for (const VxTraceviewCommandsSpec& s : VXTraceviewCommands::specs())
        EXPECT_TRUE(page.contains(s.usage) && page.contains(s.help)) << s.usage.toStdString();
}

TEST(TvCommands, AliasesNestAppendTheirWordsRefuseCyclesAndExpandTimeWordsWhenRun)
{
    View v;
    EXPECT_EQ(v.run(QStringLiteral("alias g traces:AAK:BHZ gain")), "");
    EXPECT_EQ(v.run(QStringLiteral("alias twice g *2\\n g *3")), "");
    EXPECT_EQ(v.run(QStringLiteral("alias outer twice")), "");
    EXPECT_EQ(v.run(QStringLiteral("outer")), "");
    EXPECT_DOUBLE_EQ(v.trace("AAK BHZ")->vars.gain, 6.0);
    EXPECT_EQ(v.run(QStringLiteral("alias twice")), "g *2\ng *3\n");
    EXPECT_EQ(v.run(QStringLiteral("aliases")),
              "g\n    traces:AAK:BHZ gain\nouter\n    twice\ntwice\n    g *2\n    g *3\n");

    const std::string before = dump(v.tv.get());
    v.run(QStringLiteral("alias a1 traces gain *2\\nb1"));
    v.run(QStringLiteral("alias b1 a1"));
    EXPECT_NE(v.run(QStringLiteral("a1")).find("processAlias: Alias 'a1' expands into itself."), std::string::npos);
    // 10^4 aliases each calling the next
    for (int i = 0; i < 10000; i++)
        v.tv->commands->aliases.insert(QStringLiteral("d%1").arg(i), {QStringLiteral("d%1").arg(i + 1)});
    EXPECT_NE(v.run(QStringLiteral("d0")).find("Aliases nested deeper than 32"), std::string::npos);
    // and one that doubles 30 times
    for (int i = 0; i < 30; i++)
        v.tv->commands->aliases.insert(QStringLiteral("x%1").arg(i),
                                       {QStringLiteral("x%1").arg(i + 1), QStringLiteral("x%1").arg(i + 1)});
    v.tv->commands->aliases.insert(QStringLiteral("x30"), {QStringLiteral("echo")});
    EXPECT_NE(v.run(QStringLiteral("x0")).find("expands to more than 10000 lines"), std::string::npos);
    EXPECT_EQ(dump(v.tv.get()), before);
    EXPECT_NE(v.run(QStringLiteral("alias nothere")).find("Unknown alias 'nothere'"), std::string::npos);
    EXPECT_EQ(v.run(QStringLiteral("unalias g")), "");
    EXPECT_NE(v.run(QStringLiteral("unalias g")).find("processUnaliasObject: Unknown alias 'g'."), std::string::npos);
    // time words are expanded when a line is run, with six decimals
    EXPECT_EQ(v.run(QStringLiteral("echo %time_window")), "600.000000\n");
    EXPECT_EQ(v.run(QStringLiteral("echo %time_left %time_end %time_middle x%time_startx")),
              "1000.000000 1600.000000 1300.000000 x1000.000000x\n");
    EXPECT_EQ(v.run(QStringLiteral("alias here echo %time_left")), "");
    EXPECT_EQ(v.run(QStringLiteral("alias here")), "echo %time_left\n");
    EXPECT_EQ(v.run(QStringLiteral("here")), "1000.000000\n");
    v.tv->setTimeWindow(2000.25, 10.0);
    EXPECT_EQ(v.run(QStringLiteral("here")), "2000.250000\n");
    EXPECT_EQ(v.run(QStringLiteral("hotkey x echo %time_right")), "");
    EXPECT_EQ(v.run(QStringLiteral("hotkey x")), "echo %time_right\n");
}

TEST(TvCommands, HotkeysPutInThePointerPosition)
{
    View v;
    v.run(QStringLiteral("hotkey control-Z display time_zoom 0.5 %xw"));
    v.run(QStringLiteral("hotkey q echo %dxw %dyw"));
    double px = 0.0, py = 0.0;
    v.vp->getPcoords(1150.0, 0.75, &px, &py, 0, 0);
    const auto event = [&](int modifiers, const char* key) {
        QKeyEvent qt(QEvent::KeyPress, Qt::Key_Z, Qt::KeyboardModifiers(modifiers), QString::fromLatin1(key));
        VXEvent e(VX_EVENT_KEY_PRESS, &qt, nullptr);
        e.key = QString::fromLatin1(key);
        e.pt = QPointF(px, py);
        return e;
    };
    QString command;
    VXEvent z = event(Qt::ControlModifier, "z");
    ASSERT_EQ(v.tv->commands->processHotkeys(&z, command), 1);
    ASSERT_TRUE(command.startsWith(QLatin1String("display time_zoom 0.5 115"))) << command.toStdString();
    EXPECT_NEAR(command.section(QLatin1Char(' '), 3).toDouble(), 1150.0, 1.0);
    EXPECT_EQ(v.run(command), "");
    EXPECT_NEAR(v.tv->tright - v.tv->tleft, 300.0, 1e-6);
    EXPECT_NEAR(v.tv->tleft, 1150.0 - 0.25 * 300.0, 1.0);  // the pointer keeps its place
    VXEvent q = event(0, "q");
    ASSERT_EQ(v.tv->commands->processHotkeys(&q, command), 1);
    VXEvent shift_q = event(Qt::ShiftModifier, "q");
    EXPECT_EQ(v.tv->commands->processHotkeys(&shift_q, command), 0);
    EXPECT_NE(v.run(QStringLiteral("unhotkey nothere")).find("Unknown hotkey 'nothere'"), std::string::npos);
}

TEST(TvCommands, EachDisplayActionChangesWhatItSays)
{
    struct Case { const char* line; std::function<bool(VXTraceview*)> holds; };
    const Case cases[] = {
        {"display time_left 2000-01-01T00:00:00", [](VXTraceview* t) { return t->tleft == 946684800.0 && t->tright - t->tleft == 600.0; }},
        {"display time_start +60", [](VXTraceview* t) { return t->tleft == 1060.0; }},
        {"display time_right 5000", [](VXTraceview* t) { return t->tright == 5000.0 && t->tleft == 4400.0; }},
        {"display time_end -1:00", [](VXTraceview* t) { return t->tright == 1540.0; }},
        {"display time_left now-1:00", [](VXTraceview* t) { return std::fabs(t->tleft - (timenow() - 60.0)) < 30.0; }},
        {"display time_window 10:00", [](VXTraceview* t) { return t->tleft == 1000.0 && t->tright == 1600.0; }},
        {"display time_window 1h", [](VXTraceview* t) { return t->tright - t->tleft == 3600.0; }},
        {"display time_zoom 2", [](VXTraceview* t) { return t->tleft == 1000.0 && t->tright == 2200.0; }},
        {"display time_zoom 0.5 1300", [](VXTraceview* t) { return t->tleft == 1150.0 && t->tright == 1450.0; }},
        {"display palign yes", [](VXTraceview* t) { return t->vars.palign == 1; }},
        {"display show_pred", [](VXTraceview* t) { return t->vars.show_predicted_arrivals == 0; }},
        {"display batch yes", [](VXTraceview* t) { return t->batch == 1; }},
        {"display linewidth 3", [](VXTraceview* t) { return t->display_parameters.main_display.linewidth == 3.0; }},
        {"display refresh full", [](VXTraceview* t) { return t->traces.first()->force == 1; }},
        {"display clear_traces", [](VXTraceview* t) { return t->numTraces() == 0; }},
        {"display reset", [](VXTraceview* t) { return t->numTraces() == 5; }},
        {"display tideafter -10", [](VXTraceview* t) { return t->tleft == 1000.0; }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        View v;
        EXPECT_EQ(v.run(QString::fromLatin1(c.line)), "");
        EXPECT_TRUE(c.holds(v.tv.get())) << dump(v.tv.get());
    }
}

TEST(TvCommands, EachTracesActionChangesWhatItSays)
{
    struct Case { const char* line; std::function<bool(View&)> holds; };
    const Case cases[] = {
        {"traces maximum 3", [](View& v) { return v.tv->vars.max_traces == 3; }},
        {"traces minimum_pixels 40", [](View& v) { return v.tv->vars.min_pixels_traces == 40; }},
        {"traces fit yes", [](View& v) { return v.tv->vars.auto_traces_fit == 1; }},
        {"traces sta yes", [](View& v) { return v.tv->vars.hide_noarrivals == 1; }},
        {"traces std", [](View& v) { return v.tv->vars.hide_nodetections == 1; }},
        {"traces stad yes", [](View& v) { return v.tv->vars.hide_noarrivals == 1 && v.tv->vars.hide_nodetections == 1; }},
        {"traces stw yes", [](View& v) { return v.tv->vars.hide_nowaveforms == 1; }},
        {"traces auto_distance_sort", [](View& v) { return v.tv->vars.auto_distance_sort == 1; }},
        {"traces gain 4", [](View& v) { return v.tv->vars.gain == 4.0 && v.trace("AAK BHZ")->vars.gain == 0.0; }},
        {"traces: gain /4", [](View& v) { return v.tv->vars.gain == 0.25; }},
        {"traces:AAK gain *2", [](View& v) { return v.trace("AAK BHN")->vars.gain == 2.0 && v.trace("KEV BHZ")->vars.gain == 0.0; }},
        {"traces:ANMO select", [](View& v) { return v.trace("ANMO BHZ")->select_order == 1 && v.trace("ANMO LHZ")->select_order == 2; }},
        {"traces:KEV configure stretch_height 3", [](View& v) { return v.trace("KEV BHZ")->vars.stretch_height == 3.0; }},
        {"traces configure gain 7", [](View& v) { return v.tv->vars.gain == 7.0; }},
        {"traces:KEV dup", [](View& v) { return v.tv->numTraces() == 6 && v.tv->getTrace(QStringLiteral("KEV BHZ;1")); }},
        {"traces:AAK:BHZ show no", [](View& v) { return v.trace("AAK BHZ")->vars.visible == 0 && v.trace("AAK BHN")->vars.visible == 1; }},
        {"traces:KEV,AAK:BHZ show", [](View& v) { return v.trace("KEV BHZ")->sort_order == 0 && v.trace("AAK BHN")->vars.visible == 0; }},
        {"traces:ANMO:LHZ,AAK:BHN order", [](View& v) { return v.trace("ANMO LHZ")->sort_order == 0 && v.trace("AAK BHN")->sort_order == 1 && v.trace("KEV BHZ")->vars.visible == 0; }},
        {"traces zoom 2", [](View& v) { return std::fabs(v.vp->vars.ytop - v.vp->vars.ybottom - 0.5) < 1e-9; }},
        {"traces:ANMO zoom", [](View& v) { return std::fabs(v.vp->vars.ytop - 0.6) < 1e-9 && std::fabs(v.vp->vars.ybottom - 0.2) < 1e-9; }},
        {"traces zoom 1 2", [](View& v) { return std::fabs(v.vp->vars.ytop - 0.8) < 1e-9 && std::fabs(v.vp->vars.ybottom - 0.4) < 1e-9; }},
        {"traces:KEV stretch 2.5", [](View& v) { return v.trace("KEV BHZ")->vars.stretch_height == 2.5; }},
        {"traces:AAK color red", [](View& v) { return v.trace("AAK BHZ")->vars.color_foreground.color == QColor(Qt::red); }},
        {"traces:AAK color_background #00ff00", [](View& v) { return v.trace("AAK BHN")->vars.color_background.color == QColor(Qt::green); }},
        {"traces:KEV linewidth 4", [](View& v) { return v.trace("KEV BHZ")->vars.linewidth == 4.0; }},
        {"traces:KEV units counts", [](View& v) { return v.trace("KEV BHZ")->vars.units == QLatin1String("counts"); }},
        {"traces units sm", [](View& v) { return v.tv->vars.units == QLatin1String("sm"); }},
        {"traces:KEV scale fixed -5 5", [](View& v) { return v.trace("KEV BHZ")->vars.ampscale_mode == 0 && v.trace("KEV BHZ")->vars.atop == 5.0; }},
        {"traces scale auto0,3", [](View& v) { return v.tv->vars.gain == 3.0 && v.trace("AAK BHZ")->vars.ampscale_mode == 2; }},
        {"traces:AAK:BHN filter TPAD 20 BW 1 4 2 4 # band", [](View& v) {
             VXTrace* t = v.trace("AAK BHN");
             return t->vars.filter_string == QLatin1String("BW 1 4 2 4") && t->vars.filter_label == QLatin1String("band") && t->vars.filter_tpad == 20.0 && v.tv->vars.filter_string.isEmpty();
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        View v;
        v.tv->layoutTraces();
        EXPECT_EQ(v.run(QString::fromLatin1(c.line)), "");
        EXPECT_TRUE(c.holds(v)) << dump(v.tv.get());
    }
}

TEST(TvCommands, AFilterForAllTracesClearsTheTracesOwn)
{
    View v;
    EXPECT_EQ(v.run(QStringLiteral("traces:AAK filter BW 1 4 2 4")), "");
    EXPECT_EQ(v.trace("AAK BHZ")->vars.filter_string, QStringLiteral("BW 1 4 2 4"));
    EXPECT_EQ(v.run(QStringLiteral("traces:* filter TPAD 30 BW 0 0 5 3 # low")), "");
    EXPECT_EQ(v.tv->vars.filter_string, QStringLiteral("BW 0 0 5 3 # low"));
    EXPECT_EQ(v.tv->vars.filter_tpad, 30.0);
    for (VXTrace* t : std::as_const(v.tv->traces))
        EXPECT_TRUE(t->vars.filter_string.isEmpty() && t->vars.filter_label.isEmpty()) << t->channel_label.toStdString();
}

TEST(TvCommands, RefusedLinesRegisterAMessageAndLeaveTheViewAlone)
{
    const struct { const char* name; QString line; const char* message; } cases[] = {
        {"colon first", QStringLiteral(":x"), "VXTraceviewCommands::parseObject: Syntax error.\n"},
        {"unknown object", QStringLiteral("tracs gain 2"), "parseObject: Unrecognized object 'tracs'."},
        {"unknown action", QStringLiteral("traces wiggle"), "Unrecognized action 'wiggle' for object 'traces'."},
        {"display action", QStringLiteral("display sideways"), "Unrecognized action 'sideways' for object 'display'."},
        {"no action", QStringLiteral("traces"), "Need action argument for object 'traces'."},
        {"gain count", QStringLiteral("traces gain"), "usage: traces[:trace_exprs] gain {gain|'*'gain_factor|'/'gain_factor}\n"},
        {"gain word", QStringLiteral("traces gain *x"), "cannot parse '*x'"},
        {"subset refused", QStringLiteral("traces:AAK maximum 3"), "processTracesObject: Unknown object 'traces:AAK' arguments."},
        {"bad subset", QStringLiteral("traces:AAK( gain 2"), "resolveTracesExpressions() error for objects 'traces' action 'gain'."},
        {"no filter", QStringLiteral("traces filter"), "Need filter string for objects 'traces' action 'filter'."},
        {"tpad", QStringLiteral("traces filter TPAD x BW 1 4 2 4"), "processTracesObject: cannot parse 'x'\n"},
        {"tpad alone", QStringLiteral("traces filter TPAD 10"), "usage: traces[:trace_exprs] filter"},
        {"bad filter", QStringLiteral("traces:AAK filter BW 1 x"), "processFilterString(BW 1 x) error."},
        {"units", QStringLiteral("traces units furlongs"), "Unrecognized units 'furlongs'"},
        {"scale", QStringLiteral("traces scale tight"), "Unrecognized ampscale_mode 'tight'"},
        {"color", QStringLiteral("traces:AAK color notacolour"), "Cannot parse color 'notacolour'"},
        {"select word", QStringLiteral("traces:selected select maybe"), "Unable to parse boolean from 'maybe'"},
        {"time", QStringLiteral("display time_left yesterday"), "Unable to parse time 'yesterday'"},
        {"window", QStringLiteral("display time_window soon"), "Unable to parse time window 'soon'"},
        {"reset args", QStringLiteral("display reset now"), "Unknown argument for object 'display' action 'reset'."},
        {"arrivals subset", QStringLiteral("arrivals:AAK add_mode yes"), "object_subset argument not allowed for object 'arrivals' action 'add_mode'."},
        {"event", QStringLiteral("event show"), "Need event_string argument for object 'event' action 'show'."},
        {"arrivals show", QStringLiteral("arrivals show maybe"), "processArrivalsObject: Unable to parse boolean from 'maybe'"},
        {"detections show", QStringLiteral("detections:AAK show yes no"), "usage: "},
        {"origin", QStringLiteral("origin show"), "Need origin_string argument for object 'origin' action 'show'."},
        {"origin action", QStringLiteral("origin hide pref"), "Unrecognized action 'hide' for object 'origin'."},
        {"export", QStringLiteral("main export /tmp/x"), "Can only export commands from an attached CommandConsole."},
        {"import", QStringLiteral("main import /nonexistent/file"), "VX_TraceviewCommand::processMainObject: importCommands(/nonexistent/file) error\n"},
        {"long line", QStringLiteral("echo ") + QString(1 << 20, QLatin1Char('a')), "is longer than 65536"},
        {"binary", QString::fromUtf8(QByteArray("\x01\xff\xfe\x00traces", 10)), "Unrecognized object"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        View v;
        v.trace("KEV BHZ")->selectTrace(QStringLiteral("yes"));
        const std::string before = dump(v.tv.get());
        const std::string out = v.run(c.line);
        EXPECT_EQ(out.rfind("ERR ", 0), 0u) << out;
        EXPECT_NE(out.find(c.message), std::string::npos) << out;
        EXPECT_EQ(dump(v.tv.get()), before);
    }
}

TEST(TvCommands, AnExportedCommandFileReplaysToTheSameState)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("session.cmd"));
    std::string written;
    {
        View v;
        VXCommandConsole console;
        v.tv->setCommandConsole(&console);
        for (const char* line : {"display time_left 5000", "traces:AAK gain *3", "traces:KEV color blue",
                                 "alias zz traces:selected zoom", "traces:ANMO,KEV order", "bogus line",
                                 "traces filter BW 1 4 2 4", "display time_zoom 2"})
            v.tv->sendCommand(QString::fromLatin1(line), nullptr, 1, -1);
        drainConsole(&console);
        EXPECT_TRUE(console.toPlainText().contains(QLatin1String("Unrecognized object 'bogus'")));
        console.sendCommand(QStringLiteral("main export ") + file, 1, 1);
        drainConsole(&console);
        written = dump(v.tv.get());
    }
    EXPECT_FALSE(readFile(file).contains(QLatin1String("main")));
    View v;
    VXCommandConsole console;
    v.tv->setCommandConsole(&console);
    ASSERT_EQ(v.run(QStringLiteral("main import ") + file), "");
    drainConsole(&console);
    EXPECT_EQ(dump(v.tv.get()), written);
    EXPECT_NE(written.find("window 5000.000000 6200.000000"), std::string::npos) << written;
    // without a console the file runs at once, stopping at its bad line
    View w;
    EXPECT_NE(w.run(QStringLiteral("main import ") + file).find("importCommands: 'bogus line' failed."), std::string::npos);
}
