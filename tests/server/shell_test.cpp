// The command shell end to end: scripts in, responses, messages and images out.
#include <VX.h>

#include "support/programsupport.h"
#include "support/qtprint.h"

#include <QDir>
#include <QImage>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

ProgramRun vxsh(const QStringList& args, const QByteArray& input = {}, const QStringList& env = {})
{
    return runProgram(VXSH_PATH, args, input, env);
}

} // namespace

// Each tests/server/scripts/NAME.vxs runs with -k; its standard output must
// equal NAME.out.  A new case is a new pair of files.
TEST(ShellScripts, TranscriptsMatch)
{
    QDir dir(VX_TEST_SOURCE_DIR "/server/scripts");
    const QStringList scripts = dir.entryList({"*.vxs"}, QDir::Files, QDir::Name);
    ASSERT_FALSE(scripts.isEmpty());
    for (const QString& name : scripts) {
        SCOPED_TRACE(name.toStdString());
        QFile expected(dir.filePath(QString(name).replace(".vxs", ".out")));
        ASSERT_TRUE(expected.open(QIODevice::ReadOnly)) << "missing transcript";
        ProgramRun r = vxsh({"-k", dir.filePath(name)});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, expected.readAll().toStdString());
    }
}

TEST(Shell, EverySampleOfTheCommandTableRuns)
{
    for (const VX_GraphicsServer_command_row& row : VX_GraphicsServer_commands()) {
        SCOPED_TRACE(row.command);
        ProgramRun r = vxsh({"-q", "-c", QString::fromUtf8(row.sample)});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "");
    }
}

TEST(Shell, StopsAtTheFirstFailureWithStatusOne)
{
    ProgramRun r = vxsh({"-c", "mainwindow none\nbogus none\nmainwindow none\n"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "0\tmainwindow:1\n1\tVX_GraphicsServer_process: Unrecognized command 'bogus'.\\n\n");
    EXPECT_EQ(r.err, "vxsh: -c:2: VX_GraphicsServer_send_pvt: bogus none, response error:\n"
                     "VX_GraphicsServer_process: Unrecognized command 'bogus'.\n\n");
}

TEST(Shell, KeepGoingRunsEverythingAndExitsZero)
{
    ProgramRun r = vxsh({"-k", "-c", "bogus\nmainwindow none\n"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "1\tVX_GraphicsServer_process: Unrecognized command 'bogus'.\\n\n0\tmainwindow:1\n");
}

TEST(Shell, ReadsAPipeAndBindsHandles)
{
    ProgramRun r = vxsh({}, "w = mainwindow none\n@echo made $w with frame $_\nhide $w\n");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "0\tmainwindow:1\nmade mainwindow:1 with frame mainwindow:1\n0\thide\n");
}

TEST(Shell, ParseErrorsAreReportedWithTheirLine)
{
    ProgramRun r = vxsh({"-k", "-c", "mainwindow none\ndelete $nothere\n"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "vxsh: -c:2: VXCommandScript: line 2: unknown variable '$nothere'.\n");
    r = vxsh({"-c", "x \"never closed\n"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("unterminated quote"), std::string::npos) << r.err;
}

TEST(Shell, SnapshotWritesEachTopLevelWindow)
{
    QTemporaryDir tmp;
    QString png = tmp.filePath("out.png");
    ProgramRun r = vxsh({"--snapshot", png, "-c", "w = mainwindow none\nmainwindow none\nexec\n"});
    EXPECT_EQ(r.status, 0) << r.err;
    QImage first(png), second(tmp.filePath("out-2.png"));
    ASSERT_FALSE(first.isNull());
    ASSERT_FALSE(second.isNull());
    // the light palette: a window without content is white
    EXPECT_EQ(first.pixelColor(first.width() / 2, first.height() / 2), QColor("#ffffff"));
}

TEST(Shell, BadOptionsMissingFilesAndNoWindowToSnapshot)
{
    EXPECT_EQ(vxsh({"--nonsense"}).status, 2);
    ProgramRun r = vxsh({"/nonexistent/script.vxs"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("cannot open '/nonexistent/script.vxs'"), std::string::npos) << r.err;
    QTemporaryDir tmp;
    r = vxsh({"--snapshot", tmp.filePath("none.png"), "-c", "exec\n"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("The session has no window"), std::string::npos) << r.err;
}

TEST(Shell, TraceLinesOfWindowAndWidgetCommands)
{
    ProgramRun r = vxsh({"-q", "-c",
                       "w = mainwindow none\ng = gridlayout frame:0\nb = button $w\n"
                       "gridlayout_addwidget $g $b 0 1 1 2\nt = timer $w\ntimer_setinterval $t 20\n"
                       "s = splitter $w vertical\nsplitter_stretch $s 0 4\nbutton_text $b Go\n"
                       "a = scrollarea $w\nscrollarea_scrollbar $a 1 0\nx = checkbox $w 1 Grid\ndelete $x\n"},
                      {}, {"VXPLOT_DEBUG=1"});
    EXPECT_EQ(r.status, 0);
    // each line names where it was written; delete writes none
    const QString err = QString::fromStdString(r.err);
    EXPECT_TRUE(err.contains(QRegularExpression("^Debug: mainwindow:1 = new QFrame\\(none\\) \\(.*commands_core.cpp:\\d+, .*\\)$",
                                                  QRegularExpression::MultilineOption)))
        << r.err;
    QStringList lines;
    for (const QString& line : err.split('\n', Qt::SkipEmptyParts))
        lines << line.section(" (", 0, 0);
    const QStringList expected = {
        "Debug: mainwindow:1 = new QFrame(none)",
        "Debug: gridlayout:2 = new QGridLayout(frame:0)",
        "Debug: button:3 = new QPushButton(mainwindow:1)",
        "Debug: gridlayout:2->addWidget(button:3, 0, 1, 1, 2)",
        "Debug: timer:4 = new QTimer(mainwindow:1)",
        "Debug: timer:4 = set timer interval to 20",
        "Debug: splitter:5 = new QSplitter(Qt::Vertical, mainwindow:1)",
        "Debug: splitter:5->setStretchFactor(0, 1)",
        "Debug: button:3->setText(Go)",
        "Debug: scrollarea:6 = new QScrollArea(mainwindow:1)",
        "Debug: scrollarea:6->verticalScrollBar()->setEnabled(false)",
        "Debug: scrollarea:6->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff)",
        "Debug: checkbox:7 = new QCheckBox(Grid,mainwindow:1)",
        "Debug: checkbox:7->setCheckState(1)",
    };
    EXPECT_EQ(lines, expected) << r.err;
}

TEST(Shell, CallbackDirectiveErrors)
{
    ProgramRun r = vxsh({"-k", "-c", "w = mainwindow none\nt = timer $w\n@callback $t zero timer_stop $t\n"
                                   "@callback $t 2\n@wait $t x\n"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "0\tmainwindow:1\n0\ttimer:2\n");
    EXPECT_EQ(r.err, "vxsh: -c:3: @callback: the event number must be a positive integer or 'every'\n"
                     "vxsh: -c:4: unknown directive or wrong arguments: @callback\n"
                     "vxsh: -c:5: @wait takes a handle and a count of events\n");
}

// A curve set through configure shows in the snapshot, inside the plot area
// that the viewport's margins leave.
TEST(Shell, SnapshotShowsAPolylineInsideThePlotArea)
{
    QTemporaryDir tmp;
    QString png = tmp.filePath("curve.png");
    const char* script = "w = mainwindow none\nf = mainwindow_getframe $w\ng = gridlayout $f\n"
                         "gridlayout_margins $g 0 0 0 0\nv = viewport $w\ngridlayout_addwidget $g $v 0 0 1 1\n"
                         "configure $v xleft=0 xright=10 ybottom=-1 ytop=1 mleft=60 mright=20 mbottom=30 mtop=10\n"
                         "a = axes $v\np = polyline $v\n"
                         "configure $p color_outline=red linewidth=2 points=\"0 -0.9\n5 0.9\n10 -0.9\"\nexec\n";
    ProgramRun r = vxsh({"--snapshot", png, "-c", script});
    ASSERT_EQ(r.status, 0) << r.err;
    QImage image(png);
    ASSERT_FALSE(image.isNull());
    // the bounding box of the red ink
    int left = image.width(), right = -1, top = image.height(), bottom = -1;
    for (int y = 0; y < image.height(); y++)
        for (int x = 0; x < image.width(); x++) {
            QColor c = image.pixelColor(x, y);
            if (c.red() > 200 && c.green() < 80 && c.blue() < 80) {
                left = qMin(left, x), right = qMax(right, x);
                top = qMin(top, y), bottom = qMax(bottom, y);
            }
        }
    ASSERT_GE(right, 0) << "no curve ink";
    // the plot area runs from 60 to width - 20 and from 10 to height - 30
    EXPECT_GE(left, 58);
    EXPECT_LE(right, image.width() - 18);
    EXPECT_GE(top, 8);
    EXPECT_LE(bottom, image.height() - 28);
    // the curve spans nearly the whole plot area
    EXPECT_GT(right - left, (image.width() - 80) * 8 / 10);
    EXPECT_GT(bottom - top, (image.height() - 40) * 7 / 10);
    // the tip of the middle point reaches near the top of the plot area
    EXPECT_LT(top, 10 + (image.height() - 40) / 5);
}
