// The command console: prompt, read-only old text, history, the queue that
// runs one command per event-loop turn, output, import, mouse selection,
// clipboard actions and configuration keys.
#include "support/configsupport.h"
#include "support/testsupport.h"

#include "views/commandconsole.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCoreApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>

#include <functional>
#include <memory>

namespace {

// What the command callback saw; with print set it answers each command
// with "out:<command>" and the next prompt, as a real client does.
struct Recorder
{
    QStringList commands;
    VXCommandConsole* console = nullptr;
    bool print = false;
};

void record(QString command, HL_ClientData data)
{
    auto* r = static_cast<Recorder*>(data);
    r->commands.append(command);
    if (r->print && r->console)
        r->console->printLineOutput(QStringLiteral("out:") + command, QString(), 0, 1);
}

void other(QString, HL_ClientData data) { ++*static_cast<int*>(data); }

void destroyConsole(QString, HL_ClientData data) { delete static_cast<VXCommandConsole*>(data); }

struct ConsoleTest : ::testing::Test
{
    void SetUp() override
    {
        console = std::make_unique<VXCommandConsole>();
        console->resize(400, 300);
        recorder.console = console.get();
    }
    void TearDown() override { QCoreApplication::processEvents(); }
    QString text() const { return console->toPlainText(); }
    static void turns(int n = 1)  // turns of the event loop
    {
        for (int i = 0; i < n; i++)
            QCoreApplication::processEvents();
    }
    void type(const char* s) { QTest::keyClicks(console.get(), s); }
    void key(Qt::Key k, Qt::KeyboardModifiers m = Qt::NoModifier) { QTest::keyClick(console.get(), k, m); }
    void putCursor(int position, int anchor = -1)
    {
        QTextCursor c = console->textCursor();
        c.setPosition(anchor < 0 ? position : anchor);
        c.setPosition(position, QTextCursor::KeepAnchor);
        console->setTextCursor(c);
    }
    QPoint pointOf(int position)
    {
        QTextCursor c(console->document());
        c.setPosition(position);
        const QRect r = console->cursorRect(c);
        return QPoint(r.left() + 2, r.center().y());
    }
    // Press at one text position, drag with the button down, release at another.
    void drag(int from, int to, const std::function<void()>& pressed = {})
    {
        QWidget* vp = console->viewport();
        QTest::mousePress(vp, Qt::LeftButton, {}, pointOf(from));
        if (pressed)
            pressed();
        QMouseEvent move(QEvent::MouseMove, pointOf(to), vp->mapToGlobal(pointOf(to)), Qt::NoButton, Qt::LeftButton,
                         Qt::NoModifier);
        QApplication::sendEvent(vp, &move);
        QTest::mouseRelease(vp, Qt::LeftButton, {}, pointOf(to));
    }
    QColor colorAt(int position)
    {
        QTextCursor c(console->document());
        c.setPosition(position + 1);  // the format of the character before
        return c.charFormat().foreground().color();
    }

    std::unique_ptr<VXCommandConsole> console;
    Recorder recorder;
};

} // namespace

TEST(CommandConsoleKeys, DefaultsAndChanges)
{
    VXCommandConsole console;
    const struct { const char* key; const char* expected; } rows[] = {
        {"font", "courier,14"}, {"color_foreground", "blue"}, {"color_foreground_selection", "lightyellow"},
        {"color_background", "lightyellow"}, {"color_background_selection", "blue"}, {"color_prompt", "orange"},
        {"color_output", "black"}, {"color_erroroutput", "red"}, {"prompt", ">"},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.key);
        EXPECT_EQ(configText(console, c.key), c.expected) << takeErrors();
        EXPECT_EQ(console.configure(c.key, c.expected, nullptr), 0) << "the default is accepted again";
    }
    EXPECT_EQ(console.palette().color(QPalette::Base), QColor("lightyellow"));
    EXPECT_EQ(console.palette().color(QPalette::Text), QColor("blue"));
    EXPECT_EQ(console.font().pixelSize(), 14);
    EXPECT_EQ(console.lineWrapMode(), QTextEdit::NoWrap);

    // a change shows at once; a bad value leaves the old one
    EXPECT_EQ(console.configure("color_background", "red", "font", "courier,20", nullptr), 0) << takeErrors();
    EXPECT_EQ(console.palette().color(QPalette::Base), QColor("red"));
    EXPECT_EQ(console.font().pixelSize(), 20);
    EXPECT_LT(console.configure("color_background", "nocolour", nullptr), 0);
    takeErrors();
    EXPECT_EQ(console.palette().color(QPalette::Base), QColor("red"));
    // every row keeps its value on an empty text
    EXPECT_EQ(console.configure("prompt", "", "color_prompt", "", nullptr), 0) << takeErrors();
    EXPECT_EQ(configText(console, "prompt"), ">");
}

TEST_F(ConsoleTest, QueuedCommandsRunInOrderOneTurnApart)
{
    console->setCommandCallback(record, &recorder);
    console->sendCommand("first", 1, 1);
    console->sendCommand("second", 1, 1);
    EXPECT_TRUE(recorder.commands.isEmpty());  // nothing runs inside sendCommand
    EXPECT_EQ(console->command_queue.size(), 2);
    turns();
    EXPECT_EQ(recorder.commands, QStringList({"first"}));
    turns();
    EXPECT_EQ(recorder.commands, QStringList({"first", "second"}));
    EXPECT_TRUE(console->command_queue.isEmpty());
    turns(3);
    EXPECT_EQ(recorder.commands.size(), 2);
}

TEST_F(ConsoleTest, EchoedAndTypedCommandsAndTheirOutputBuildTheHistory)
{
    recorder.print = true;
    console->setCommandCallback(record, &recorder);
    console->sendCommand("a", 1, 1);
    console->sendCommand("b", 1, 1);
    turns(2);
    EXPECT_EQ(text(), ">a\nout:a\n>b\nout:b\n>");
    EXPECT_EQ(console->commandCount(), 3);
    EXPECT_EQ(console->getCommand(0), "a");
    EXPECT_EQ(console->getCommand(1), "b");
    for (int past : {2, 3, -1})
        EXPECT_EQ(console->getCommand(past), "") << past;
    EXPECT_EQ(colorAt(text().indexOf("out:a")), QColor("black"));
    EXPECT_EQ(colorAt(text().indexOf("a\n")), QColor("blue"));
    // a typed line goes to the callbacks too
    const QString before = text();
    type("hello");
    EXPECT_EQ(text(), before + "hello");
    key(Qt::Key_Return);
    EXPECT_EQ(text(), before + "hello\n");
    turns();
    EXPECT_EQ(recorder.commands, QStringList({"a", "b", "hello"}));
    EXPECT_EQ(text(), before + "hello\nout:hello\n>");
}

TEST_F(ConsoleTest, StartsWithAPromptThatComesBackAndStaysWithoutEcho)
{
    EXPECT_EQ(text(), ">");
    EXPECT_EQ(console->commandCount(), 1);
    EXPECT_EQ(colorAt(0), QColor("orange"));
    EXPECT_EQ(console->getCommand(0), "");
    // without callbacks the prompt comes back
    console->sendCommand("lonely", 1, 1);
    EXPECT_EQ(text(), ">lonely\n");
    turns();
    EXPECT_EQ(text(), ">lonely\n>");
    console->setCommandCallback(record, &recorder);
    console->sendCommand("quiet", 0, 0);
    turns();
    EXPECT_EQ(recorder.commands, QStringList({"quiet"}));
    EXPECT_EQ(text(), ">lonely\n>");
}

TEST_F(ConsoleTest, UpAndDownWalkTheHistoryAndRestoreTheTypedLine)
{
    // an empty history leaves the line
    type("abc");
    key(Qt::Key_Up);
    EXPECT_EQ(text(), ">abc");
    key(Qt::Key_Down);
    type("d");
    EXPECT_EQ(text(), ">abcd");
    key(Qt::Key_Return);

    recorder.print = true;
    console->setCommandCallback(record, &recorder);
    console->sendCommand("one", 1, 1);
    console->sendCommand("two", 1, 1);
    turns(3);
    const QString before = ">abcd\nout:abcd\n>one\nout:one\n>two\nout:two\n>";
    ASSERT_EQ(text(), before);
    type("new");
    const struct { Qt::Key key; const char* line; } steps[] = {
        {Qt::Key_Up, "two"}, {Qt::Key_Up, "one"}, {Qt::Key_Up, "abcd"}, {Qt::Key_Up, "abcd"},  // the oldest stays
        {Qt::Key_Down, "one"}, {Qt::Key_Down, "two"}, {Qt::Key_Down, "new"}, {Qt::Key_Down, "new"},
    };
    for (const auto& s : steps) {
        key(s.key);
        EXPECT_EQ(text(), before + s.line);
    }
}

TEST_F(ConsoleTest, TypingInsideOldOutputChangesNothing)
{
    console->setCommandCallback(record, &recorder);
    console->sendCommand("old", 1, 0);
    turns();
    console->printLineOutput("old output", QString(), 0, 0);
    type("now");
    const QString before = text();
    ASSERT_EQ(before, ">old\nold output\n>now");
    const int end = int(before.size());
    const struct { const char* name; int position; } rows[] = {
        {"in an old command", 2}, {"in old output", 8}, {"in the prompt", end - 4}};
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        putCursor(c.position);
        type("zz");
        for (Qt::Key k : {Qt::Key_Backspace, Qt::Key_Delete, Qt::Key_Tab})
            key(k);
        EXPECT_EQ(text(), before);
    }
    // a text selection that reaches into old output is not replaced either
    putCursor(end, end - 5);
    type("x");
    key(Qt::Key_Backspace);
    EXPECT_EQ(text(), before);
    EXPECT_EQ(recorder.commands, QStringList({"old"}));
}

TEST_F(ConsoleTest, EditingStopsAtTheStartOfTheLineAndOutputGoesAboveIt)
{
    type("ab");
    for (int i = 0; i < 3; i++)  // the third would enter the prompt
        key(Qt::Key_Left);
    EXPECT_EQ(console->textCursor().position(), 1);
    key(Qt::Key_Backspace);
    EXPECT_EQ(text(), ">ab");
    type("x");
    EXPECT_EQ(text(), ">xab");
    key(Qt::Key_Delete);
    EXPECT_EQ(text(), ">xb");
    key(Qt::Key_End);
    key(Qt::Key_Backspace);
    EXPECT_EQ(text(), ">x");
    // Control with another key than X, C, V does nothing
    key(Qt::Key_A, Qt::ControlModifier);
    key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(text(), ">x");
    key(Qt::Key_Home);
    type("y");
    EXPECT_EQ(text(), ">yx");
    // output while typing goes above the open prompt
    key(Qt::Key_End);
    console->printLineOutput("note", QString(), 0, 1);
    EXPECT_EQ(text(), "note\n>yx");
    EXPECT_EQ(console->commandCount(), 1);
    type("c");
    EXPECT_EQ(text(), "note\n>yxc");
    EXPECT_EQ(console->getCommand(0), "yxc");
}

TEST_F(ConsoleTest, OutputColoursPrefixAndNewlineBeforeThePrompt)
{
    console->sendCommand("c", 1, 1);
    console->setCommandCallback(record, &recorder);
    turns();
    console->printLineOutput("partial", QString(), 0, 0);
    console->printLineOutput("bad", "E: ", 1, 0);
    console->printLineOutput(QString(), QString(), 0, 1);
    EXPECT_EQ(text(), ">c\npartialE: bad\n>");
    EXPECT_EQ(colorAt(text().indexOf("partial")), QColor("black"));
    EXPECT_EQ(colorAt(text().indexOf("E: bad")), QColor("red"));
    EXPECT_EQ(colorAt(int(text().size()) - 1), QColor("orange"));
    // a finished line that ends in a newline gets no empty line after it
    console->sendCommand("d", 1, 1);
    turns();
    console->printLineOutput("line\n", QString(), 0, 1);
    EXPECT_EQ(text(), ">c\npartialE: bad\n>d\nline\n>");
}

TEST_F(ConsoleTest, ImportQueuesEveryLineOfAFile)
{
    console->setCommandCallback(record, &recorder);
    EXPECT_EQ(console->importFromFile("/nonexistent/dir/commands.txt", 1), -1);
    EXPECT_EQ(takeErrors(), "VXCommandConsole::importFromFile: file.open(/nonexistent/dir/commands.txt) error.\n");
    EXPECT_TRUE(console->command_queue.isEmpty());
    turns(2);
    EXPECT_TRUE(recorder.commands.isEmpty());
    EXPECT_EQ(text(), ">");

    QTemporaryDir dir;
    QFile f(dir.filePath("commands.txt"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write("show all\r\n\nfilter BP 1 5\n");
    f.close();
    EXPECT_EQ(console->importFromFile(f.fileName(), 1), 3);
    EXPECT_EQ(console->command_queue.size(), 3);
    turns(3);
    EXPECT_EQ(recorder.commands, QStringList({"show all", "", "filter BP 1 5"}));
    EXPECT_EQ(console->getCommand(0), "show all");
}

TEST_F(ConsoleTest, CallbacksRegisterOnceAndCanBeRemoved)
{
    int count = 0;
    console->setCommandCallback(record, &recorder);
    console->setCommandCallback(other, &count);
    console->setCommandCallback(other, &count);  // same function: once
    auto run = [&](const char* command, int expected_count, int expected_recorded) {
        console->sendCommand(command, 0, 0);
        turns();
        EXPECT_EQ(count, expected_count) << command;
        EXPECT_EQ(recorder.commands.size(), expected_recorded) << command;
    };
    run("x", 1, 1);
    console->removeCommandCallback(other);
    run("y", 1, 2);
    console->removeCommandCallback(nullptr);
    run("z", 1, 2);
}

TEST(CommandConsoleLifetime, ACallbackMayDestroyTheConsole)
{
    auto* console = new VXCommandConsole();
    QPointer<VXCommandConsole> alive(console);
    console->setCommandCallback(destroyConsole, console);
    console->sendCommand("bye", 1, 1);
    console->sendCommand("never", 1, 1);
    QCoreApplication::processEvents();
    EXPECT_TRUE(alive.isNull());
    QCoreApplication::processEvents();
}

TEST_F(ConsoleTest, MouseSelectsOldTextButNotPrompts)
{
    console->show();
    console->sendCommand("select me", 1, 0);
    turns();
    const QString all = text();
    ASSERT_EQ(all, ">select me\n>");
    QWidget* vp = console->viewport();
    // a press on the prompt selects nothing
    QTest::mouseClick(vp, Qt::LeftButton, {}, pointOf(0));
    EXPECT_EQ(console->selectedText(), "");
    // press on "s", drag to after "select"
    drag(1, 7, [&] {
        EXPECT_EQ(console->selectedText(), "s");
        EXPECT_EQ(console->extraSelections().size(), 1);
    });
    EXPECT_EQ(console->selectedText(), "select");
    const QTextEdit::ExtraSelection shown = console->extraSelections().value(0);
    EXPECT_EQ(shown.format.background().color(), QColor("blue"));
    EXPECT_EQ(shown.format.foreground().color(), QColor("lightyellow"));
    EXPECT_EQ(console->textCursor().position(), int(all.size())) << "the text cursor stays on the command line";

    std::unique_ptr<QMenu> menu(console->createContextMenu());
    QStringList entries;
    for (QAction* a : menu->actions())
        entries << a->text();
    EXPECT_EQ(entries, QStringList({"&Cut", "&Copy", "&Paste", "Delete"}));
    QApplication::clipboard()->clear();
    menu->actions()[1]->trigger();
    EXPECT_EQ(QApplication::clipboard()->text(), "select");
    // cut and delete of old text copy but never remove
    menu->actions()[0]->trigger();
    menu->actions()[3]->trigger();
    EXPECT_EQ(text(), all);
    // paste goes to the command line, as one line
    QApplication::clipboard()->setText("p1\np2");
    menu->actions()[2]->trigger();
    EXPECT_EQ(text(), all + "p1 p2");
    key(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(text(), all + "p1 p2p1 p2");
    // a key ends the selection
    QTest::mouseClick(vp, Qt::LeftButton, {}, pointOf(1));
    EXPECT_EQ(console->selectedText(), "s");
    key(Qt::Key_Right);
    EXPECT_EQ(console->selectedText(), "");
    EXPECT_TRUE(console->extraSelections().isEmpty());
}

TEST_F(ConsoleTest, DeleteRemovesASelectionInsideTheLine)
{
    console->show();
    type("abcdef");
    drag(2, 4);
    EXPECT_EQ(console->selectedText(), "bc");
    console->deleteAction();
    EXPECT_EQ(text(), ">adef");
    EXPECT_EQ(console->getCommand(0), "adef");
}

TEST_F(ConsoleTest, EchoCommandRecordsWithoutRunningAndThePromptKeyWaits)
{
    console->setCommandCallback(record, &recorder);
    console->echoCommand("done elsewhere");
    turns();
    EXPECT_TRUE(recorder.commands.isEmpty());
    EXPECT_EQ(text(), ">done elsewhere\n>");
    EXPECT_EQ(console->getCommand(0), "done elsewhere");
    // the prompt key applies to the next prompt
    ASSERT_EQ(console->configure("prompt", "vx% ", nullptr), 0) << takeErrors();
    console->sendCommand("a", 1, 0);
    turns();
    EXPECT_EQ(text(), ">done elsewhere\n>a\nvx% ");
    type("b");
    EXPECT_EQ(console->getCommand(2), "b");
}
