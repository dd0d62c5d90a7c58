// Arrival editing, seen in the arrival table on the disk: adds, edits, undo
// and redo, the queue's names and ends, failed writes, and pickers in other
// processes (this program run again as a child, see PickerChild).
#include "waveform/tvsupport.h"

#include "toolkit/base/errors.h"
#include "items/polypoint.h"
#include "viewport/vxevent.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/resource.h>

#include <csignal>
#include <map>
#include <memory>
#include <string>

namespace {

constexpr double kNo = -2e30;

// What the arrival table holds for one arid; copies: its number of rows.
struct Row { std::string phase, chan; double time = 0.0, deltime = 0.0; int copies = 0; };

// Every row of the arrival table of base, read by a handle of its own.
std::map<long, Row> readArrivals(const QString& base)
{
    std::map<long, Row> out;
    Rsptr db = rsopen(base.toUtf8().constData(), "css3.0", RS_READ);
    Rsptr t = rslookup(db, nullptr, "arrival", nullptr, nullptr);
    long n = 0;
    rsquery(t, RS_RECORD_COUNT, &n);
    for (t.record = 0; t.record < n; t.record++) {
        long arid = -1;
        double time = 0.0, deltim = 0.0;
        char phase[RS_STRSZ], chan[RS_STRSZ];
        rsgetv(t, nullptr, "arid", &arid, "time", &time, "deltim", &deltim, "iphase", phase, "chan", chan, nullptr);
        Row& r = out[arid];
        r = {phase, chan, time, deltim, r.copies + 1};
    }
    rsclose(db);
    hl_clear_register(HL_CLEAR_QUIET);  // an unfinished last line is skipped, with a message
    return out;
}

// A database of two channels with waveform rows (100 s from 1000), and a
// view of it.
struct Picking : tvtest::View
{
    QTemporaryDir dir;
    QString base;
    VXTrace* trace = nullptr;

    explicit Picking(const QString& existing = QString()) : View(600, 300)
    {
        base = existing.isEmpty() ? makeDatabase(dir.path() + "/db") : existing;
        tv->vars.default_phase = "P";
        if (tv->createTraces(tv->openDatabase(base), "", "") == 0)
            trace = tv->getTrace(QStringLiteral("ABC BHZ"));
    }

    static QString makeDatabase(const QString& base)
    {
        return tvtest::writeWfdiscs(base, {"ABC BHZ", "ABC BHN"}, 10000, ".", "none.w");
    }

    // A pick at time by the trace, its arid.
    long add(double time)
    {
        int counter = 0;
        const long arid = trace->addArrival(time, counter);
        EXPECT_GE(arid, 1) << takeErrors();
        return arid;
    }

    // Make the view show arid on the trace, selected when selected is set (the
    // drawing does this for real); the view's record of it.
    VxTraceArrival& show(long arid, int selected = 1)
    {
        VxTraceArrival a;
        a.trace = trace;
        a.arid = arid;
        a.selected = selected;
        tv->arrivals_hash[arid] = {a};
        return tv->arrivals_hash[arid].first();
    }
};

// A fresh database with its view for each test.
class ArrivalEdit : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(p.trace, nullptr) << takeErrors(); }
    Picking p;
};

}  // namespace

TEST_F(ArrivalEdit, AddUndoRedoWritesDelAndBack)
{
    int counter = 0;
    const long arid = p.trace->addArrival(1010.5, counter);
    ASSERT_GE(arid, 1) << takeErrors();
    EXPECT_EQ(counter, 1);
    auto rows = readArrivals(p.base);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[arid].phase, "P");
    EXPECT_DOUBLE_EQ(rows[arid].time, 1010.5);

    const struct { const char* name; int (VXTraceview::*step)(); const char* phase; int index; } steps[] = {
        {"undo writes del", &VXTraceview::arrivalEditQueueUndo, "del", -1},
        {"undo at the base changes nothing", &VXTraceview::arrivalEditQueueUndo, "del", -1},
        {"redo writes the pick again", &VXTraceview::arrivalEditQueueRedo, "P", 0},
        {"redo at the end changes nothing", &VXTraceview::arrivalEditQueueRedo, "P", 0},
    };
    for (const auto& s : steps) {
        SCOPED_TRACE(s.name);
        EXPECT_EQ((p.tv.get()->*s.step)(), 0) << takeErrors();
        rows = readArrivals(p.base);
        EXPECT_EQ(rows[arid].phase, s.phase);
        EXPECT_EQ(rows[arid].copies, 1);  // rewritten in place, never removed
        EXPECT_EQ(p.tv->arrival_edit_queue.current_index, s.index);
    }
}

TEST_F(ArrivalEdit, MovingThreeArrivalsIsOneEntryAndANewEditDropsRedo)
{
    long arids[3];
    for (int i = 0; i < 3; i++)
        p.show(arids[i] = p.add(1010.0 + i));
    ASSERT_EQ(p.tv->editSelectedArrivals(2.5, 0.25, "Pn"), 3) << takeErrors();
    ASSERT_EQ(p.tv->arrival_edit_queue.entries.size(), 4);
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.last().edits.size(), 3);
    auto rows = readArrivals(p.base);
    for (int i = 0; i < 3; i++) {
        EXPECT_DOUBLE_EQ(rows[arids[i]].time, 1012.5 + i);
        EXPECT_DOUBLE_EQ(rows[arids[i]].deltime, 0.25);
        EXPECT_EQ(rows[arids[i]].phase, "Pn");
    }
    ASSERT_EQ(p.tv->arrivalEditQueueUndo(), 0) << takeErrors();
    rows = readArrivals(p.base);
    for (int i = 0; i < 3; i++) {
        EXPECT_DOUBLE_EQ(rows[arids[i]].time, 1010.0 + i);
        EXPECT_EQ(rows[arids[i]].phase, "P");
    }
    // a new edit after the undo: the group move can no longer be redone
    int counter = 0;
    ASSERT_GE(p.trace->editArrival(arids[0], 1011.75, kNo, "", counter), 0) << takeErrors();
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.size(), 4);
    EXPECT_EQ(p.tv->arrivalEditQueueRedo(), 0);
    rows = readArrivals(p.base);
    EXPECT_DOUBLE_EQ(rows[arids[0]].time, 1011.75);
    EXPECT_DOUBLE_EQ(rows[arids[1]].time, 1011.0);
}

TEST_F(ArrivalEdit, OneArrivalEditedTwiceInAnEntryUndoesToItsFirstRecord)
{
    const long arid = p.add(1020.0);
    int counter = 0;
    ASSERT_GE(p.trace->editArrival(arid, 1021.0, kNo, "", counter), 0) << takeErrors();
    ASSERT_GE(p.trace->editArrival(arid, 1022.0, kNo, "S", counter), 0) << takeErrors();
    ASSERT_EQ(p.tv->arrivalEditQueueUndo(), 0) << takeErrors();
    auto rows = readArrivals(p.base);
    EXPECT_DOUBLE_EQ(rows[arid].time, 1020.0);
    EXPECT_EQ(rows[arid].phase, "P");
}

TEST_F(ArrivalEdit, PastingTheClipboardAddsCopiesAsOneEntry)
{
    const long arids[2] = {p.add(1010.0), p.add(1013.0)};
    int counter = 0;
    ASSERT_GE(p.trace->editArrival(arids[1], kNo, 0.5, "S", counter), 0) << takeErrors();
    // the clipboard, as the arrival display keeps it
    for (int i = 0; i < 2; i++) {
        VxTraceArrival& a = p.show(arids[i], 0);
        a.time = 1010.0 + 3.0 * i;
        a.in_clipboard = 1;
    }
    EXPECT_EQ(p.tv->pasteCopyClipboard("soon", 1), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::pasteCopyClipboard: Unable to parse time 'soon'\n");
    const int entries = static_cast<int>(p.tv->arrival_edit_queue.entries.size());
    ASSERT_EQ(p.tv->pasteCopyClipboard("1060.0", 1), 2) << takeErrors();
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.size(), entries + 1);
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.last().edits.size(), 2);
    const auto rows = readArrivals(p.base);
    ASSERT_EQ(rows.size(), 4u);
    std::map<double, Row> pasted;
    for (const auto& [arid, row] : rows)
        if (arid != arids[0] && arid != arids[1])
            pasted[row.time] = row;
    ASSERT_EQ(pasted.size(), 2u);
    EXPECT_EQ(pasted.begin()->first, 1060.0);
    EXPECT_EQ(pasted.rbegin()->first, 1063.0);
    EXPECT_EQ(pasted.rbegin()->second.phase, "S");  // the copy keeps what was measured
    EXPECT_DOUBLE_EQ(pasted.rbegin()->second.deltime, 0.5);
}

TEST_F(ArrivalEdit, BadEditsAreRefusedWithTheDatabaseUnchanged)
{
    const long arid = p.add(1030.0);
    const auto before = readArrivals(p.base);
    int counter = 0;
    EXPECT_EQ(p.trace->editArrival(arid, kNo, kNo, "PKiKPPKiKP", counter), -1);
    EXPECT_EQ(takeErrors(), "VXTrace::editArrival: Phase 'PKiKPPKiKP' is longer than the 8 characters of iphase.\n");
    EXPECT_EQ(p.trace->editArrival(arid, kNo, -0.5, "", counter), -1);
    EXPECT_EQ(takeErrors(), "VXTrace::editArrival: Bad deltime -0.5: it must not be negative.\n");
    EXPECT_EQ(p.trace->editArrival(arid + 100, 1.0, kNo, "", counter), -1);
    EXPECT_EQ(takeErrors(), "VXTrace::editArrival: No arrival " + std::to_string(arid + 100) + " in the database.\n");
    EXPECT_EQ(p.tv->addArrivalAt(1030.0, 0.5), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::addArrivalAt: Not in add_arrivals mode.\n");
    const auto after = readArrivals(p.base);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_EQ(after.at(arid).phase, "P");
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.size(), 1);
}

TEST_F(ArrivalEdit, AFailedWriteClearsTheQueueAndSaysSo)
{
    const long arid = p.add(1040.0);
    ASSERT_EQ(p.tv->arrival_edit_queue.entries.size(), 1);
    // a full disk: no write may grow or change any file
    struct rlimit old;
    getrlimit(RLIMIT_FSIZE, &old);
    struct rlimit none = old;
    none.rlim_cur = 0;
    auto old_handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &none);
    int counter = 0;
    const long r = p.trace->editArrival(arid, 1041.0, kNo, "", counter);
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, old_handler);
    EXPECT_EQ(r, -1);
    const std::string errors = takeErrors();
    EXPECT_EQ(errors.rfind("VXTrace::editArrival: Arrival " + std::to_string(arid) + " was not written (", 0), 0u)
        << errors;
    EXPECT_NE(errors.find("; the undo queue is cleared.\n"), std::string::npos) << errors;
    EXPECT_TRUE(p.tv->arrival_edit_queue.entries.isEmpty());
    EXPECT_EQ(p.tv->arrival_edit_queue.current_index, -1);
    EXPECT_DOUBLE_EQ(readArrivals(p.base)[arid].time, 1040.0);
}

TEST_F(ArrivalEdit, StateNamesAndGoto)
{
    VxArrivalEditQueue& q = p.tv->arrival_edit_queue;
    p.tv->arrivalEditQueueSetState("start");
    const long arid = p.add(1050.0);
    p.tv->arrivalEditQueueSetState("a");
    int counter = 0;
    ASSERT_GE(p.trace->editArrival(arid, 1051.0, kNo, "", counter), 0) << takeErrors();
    p.tv->arrivalEditQueueSetState("a");  // the name moves
    EXPECT_EQ(q.findState("a"), 1);
    EXPECT_EQ(q.entries[0].state, "");
    EXPECT_EQ(q.base_state, "start");

    EXPECT_EQ(p.tv->arrivalEditQueueGotoState("start"), 0) << takeErrors();
    EXPECT_EQ(q.current_index, -1);
    EXPECT_EQ(readArrivals(p.base)[arid].phase, "del");
    EXPECT_EQ(p.tv->arrivalEditQueueGotoState("a"), 0) << takeErrors();
    EXPECT_EQ(q.current_index, 1);
    EXPECT_DOUBLE_EQ(readArrivals(p.base)[arid].time, 1051.0);
    EXPECT_EQ(p.tv->arrivalEditQueueGotoState("nowhere"), -1);
    EXPECT_EQ(takeErrors(), "VXTraceview::arrivalEditQueueGotoState: No state 'nowhere' in the edit queue.\n");
    EXPECT_EQ(q.current_index, 1);
}

TEST_F(ArrivalEdit, EditAndAddModes)
{
    const struct {
        const char* name; int disable_edits; int (VXTraceview::*set)(QString); const char* word; int result;
        const char* error; int edit_mode; int interaction_mode;
    } cases[] = {
        {"add needs edit mode", 0, &VXTraceview::setAddArrivalsMode, "yes", -1,
         "VXTraceview::setAddArrivalsMode: Unable to enable add_arrivals mode.\n", 0, 0},
        {"disabled: on", 1, &VXTraceview::setEditMode, "on", -1,
         "VXTraceview::setEditMode: edit mode disabled - cannot turn on.\n", 0, 0},
        {"disabled: toggle", 1, &VXTraceview::setEditMode, "toggle", -1,
         "VXTraceview::setEditMode: edit mode disabled - cannot toggle on.\n", 0, 0},
        {"bad word", 0, &VXTraceview::setEditMode, "maybe", -1,
         "VXTraceview::setEditMode: Unable to parse boolean from 'maybe'.\n", 0, 0},
        {"edit on", 0, &VXTraceview::setEditMode, "toggle", 0, "", 1, 0},
        {"add on", 0, &VXTraceview::setAddArrivalsMode, "yes", 0, "", 1, 11},
        {"add off", 0, &VXTraceview::setAddArrivalsMode, "toggle", 0, "", 1, 0},
        {"disabled: off is allowed", 1, &VXTraceview::setEditMode, "off", 0, "", 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        p.tv->vars.disable_edits = c.disable_edits;
        EXPECT_EQ((p.tv.get()->*c.set)(c.word), c.result);
        EXPECT_EQ(takeErrors(), c.error);
        EXPECT_EQ(p.tv->edit_mode, c.edit_mode);
        EXPECT_EQ(p.tv->interaction_mode, c.interaction_mode);
    }
}

// Run by the tests below as a process of its own: picks VX_ARREDIT_PICKS
// arrivals on the database VX_ARREDIT_DB, printing each arid once its write
// has returned.
TEST_F(ArrivalEdit, DISABLED_PickerChild)
{
    const QString base = qEnvironmentVariable("VX_ARREDIT_DB");
    const int picks = qEnvironmentVariableIntValue("VX_ARREDIT_PICKS");
    Picking child(base);
    ASSERT_NE(child.trace, nullptr) << takeErrors();
    for (int i = 0; i < picks; i++) {
        const long arid = child.add(1000.0 + 0.01 * i);
        ASSERT_GE(arid, 0);
        printf("picked %ld\n", arid);
        fflush(stdout);
    }
}

namespace {

QProcess* startPicker(const QString& base, int picks, QObject* parent)
{
    auto* child = new QProcess(parent);
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("VX_ARREDIT_DB", base);
    env.insert("VX_ARREDIT_PICKS", QString::number(picks));
    child->setProcessEnvironment(env);
    child->setProcessChannelMode(QProcess::SeparateChannels);
    child->start(QCoreApplication::applicationFilePath(),
                 {"--gtest_also_run_disabled_tests", "--gtest_filter=ArrivalEdit.DISABLED_PickerChild"});
    return child;
}

// The arids a picker printed.
QList<long> pickedArids(const QByteArray& output)
{
    QList<long> out;
    for (const QByteArray& line : output.split('\n'))
        if (line.startsWith("picked "))
            out.append(line.mid(7).toLong());
    return out;
}

}  // namespace

TEST_F(ArrivalEdit, TwoPickersOnOneDatabaseKeepAllTheirPicks)
{
    QTemporaryDir dir;
    const QString base = Picking::makeDatabase(dir.path() + "/db");
    QObject owner;
    QProcess* a = startPicker(base, 40, &owner);
    QProcess* b = startPicker(base, 40, &owner);
    ASSERT_TRUE(a->waitForFinished(120000));
    ASSERT_TRUE(b->waitForFinished(120000));
    const QList<long> picked = pickedArids(a->readAllStandardOutput()) + pickedArids(b->readAllStandardOutput());
    EXPECT_EQ(picked.size(), 80);
    const auto rows = readArrivals(base);
    EXPECT_EQ(rows.size(), 80u);  // every arid distinct, none lost
    for (long arid : picked) {
        ASSERT_TRUE(rows.count(arid)) << arid;
        EXPECT_EQ(rows.at(arid).copies, 1);
        EXPECT_EQ(rows.at(arid).phase, "P");
    }
}

TEST_F(ArrivalEdit, APickerKilledAfterItsWriteLosesNothing)
{
    QTemporaryDir dir;
    const QString base = Picking::makeDatabase(dir.path() + "/db");
    QObject owner;
    QProcess* child = startPicker(base, 100000, &owner);
    QByteArray output;
    while (pickedArids(output).size() < 20 && child->waitForReadyRead(60000))
        output += child->readAllStandardOutput();
    child->kill();  // SIGKILL, in the middle of picking
    child->waitForFinished(60000);
    output += child->readAllStandardOutput();
    const QList<long> picked = pickedArids(output);
    ASSERT_GE(picked.size(), 20);
    const auto rows = readArrivals(base);
    for (long arid : picked)
        EXPECT_TRUE(rows.count(arid)) << "arid " << arid << " reported written but missing";
}

namespace {

// A pointer event at world time x on the middle of trace.
VXEvent pointerAt(VXViewport* vp, VXTrace* trace, int type, double x, int button, int modifiers)
{
    VXEvent e(type, nullptr, nullptr);
    double px = 0.0, py = 0.0;
    vp->getPcoords(x, 0.5 * (trace->vars.ybottom + trace->vars.ytop), &px, &py, 0, 0);
    e.pt = QPointF(px, py);
    e.button = button;
    e.modifiers = modifiers;
    return e;
}

}  // namespace

TEST_F(ArrivalEdit, DraggingASelectedArrivalMovesTheGroupAndShiftAbandonsIt)
{
    vptest::render(p.vp.get());  // lays the traces out
    long arids[2];
    QList<VX_XYL> points;
    for (int i = 0; i < 2; i++) {
        // the glyphs, as the arrival display draws them
        VxTraceArrival& a = p.show(arids[i] = p.add(1020.0 + 10.0 * i));
        a.index = i;
        a.point.x = 1020.0 + 10.0 * i;
        a.point.y = 0.5 * (p.trace->vars.ybottom + p.trace->vars.ytop);
        points.append(a.point);
    }
    p.trace->arrivals->addPoints(points);
    p.tv->vars.disable_edits = 0;
    ASSERT_EQ(p.tv->setEditMode("on"), 0) << takeErrors();

    // moved: seconds the group ends up moved
    const struct { const char* name; int modifiers; double moved; int entries; } drags[] = {
        {"shift at the release writes nothing", 0x2000000, 0.0, 2},
        {"a plain release moves both, one entry", 0, 5.0, 3},
    };
    for (const auto& d : drags) {
        SCOPED_TRACE(d.name);
        // a paint between drags draws the picks from the database anew
        VXGlyph* glyph = p.trace->arrivals->glyph(0);
        ASSERT_NE(glyph, nullptr);
        VXEvent press = pointerAt(p.vp.get(), p.trace, VX_EVENT_PRESS, 1020.0, 1, 0);
        VXEvent move = pointerAt(p.vp.get(), p.trace, VX_EVENT_MOVE, 1025.0, 1, 0);
        VXEvent release = pointerAt(p.vp.get(), p.trace, VX_EVENT_RELEASE, 1025.0, 1, d.modifiers);
        EXPECT_EQ(p.trace->arrivalsCallback(glyph, &press), 2);
        EXPECT_EQ(p.tv->arrivals_state, 2);
        EXPECT_EQ(p.trace->arrivalsCallback(glyph, &move), 2);
        vptest::keep(vptest::render(p.vp.get()), "arrivaledit_drag");
        EXPECT_EQ(p.trace->arrivalsCallback(glyph, &release), 2);
        EXPECT_EQ(p.tv->arrivals_state, 1);
        const auto rows = readArrivals(p.base);
        for (int i = 0; i < 2; i++)
            EXPECT_NEAR(rows.at(arids[i]).time, 1020.0 + 10.0 * i + d.moved, 0.05);
        EXPECT_EQ(p.tv->arrival_edit_queue.entries.size(), d.entries);
    }
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.last().edits.size(), 2);
}

// The pick key "a" in edit mode writes an arrival at the time under the
// pointer on the trace under it.
TEST_F(ArrivalEdit, APickByKeyWritesTheTimeUnderThePointer)
{
    p.tv->setTimeWindow(1000.0, 100.0);
    vptest::render(p.vp.get());
    p.tv->vars.disable_edits = 0;
    ASSERT_EQ(p.tv->setEditMode("on"), 0) << takeErrors();
    p.move(pointerAt(p.vp.get(), p.trace, VX_EVENT_MOVE, 1030.0, 0, 0).pt);
    p.key(Qt::Key_A, QStringLiteral("a"));

    const auto rows = readArrivals(p.base);
    ASSERT_EQ(rows.size(), 1u) << takeErrors();
    EXPECT_EQ(rows.begin()->second.chan, "BHZ");
    EXPECT_EQ(rows.begin()->second.phase, "P");
    // within one pixel of the pointer (600 px for 100 s)
    EXPECT_NEAR(rows.begin()->second.time, 1030.0, 0.3);
    EXPECT_EQ(p.tv->arrival_edit_queue.entries.size(), 1);
}
