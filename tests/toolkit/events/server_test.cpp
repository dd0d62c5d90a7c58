// The event server over the sample database: the first list, what other
// processes write, bad input, and notices reaching the GUI thread.
#include "toolkit/events/events_fixture.h"
#include "toolkit/store/recordstore_fixture.h"
#include "viewport/vxqkclient.h"

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <csignal>
#include <cstring>
#include <set>
#include <unistd.h>

using namespace evtest;

namespace {

// Takes VXQKCallbackEvents and notes what arrived and on which thread.
class Receiver : public QObject
{
public:
    bool event(QEvent* e) override
    {
        auto* notice = VXQKClientEvent::of(e);
        if (!notice)
            return QObject::event(e);
        thread = QThread::currentThread();
        if (notice->response.events_changed)
            events_changed++;
        if (notice->changed.contains("origin"))
            origin_changed++;
        return true;
    }
    QThread* thread = nullptr;
    int events_changed = 0;
    int origin_changed = 0;
};

long evidsMax(const Table<QKEvent>& list)
{
    long m = -1;
    for (long i = 0; i < list.max(); i++)
        m = std::max(m, list.get(i).evid);
    return m;
}

using ServerTest = DatabaseTest;

}  // namespace

TEST_F(ServerTest, FirstListHoldsEveryEventWithItsPreferredOrigin)
{
    QKServer server(base);
    QKClient client(&server);
    ASSERT_EQ(client.checkDatabase(), 0);
    auto list = client.getEvents();
    const auto rows = readTable(base, "event");
    ASSERT_EQ(list->max(), static_cast<long>(rows.size()));
    ASSERT_GT(list->max(), 0);
    double last_time = -1e30;
    for (long i = 0; i < list->max(); i++) {
        const QKEvent& e = list->get(i);
        SCOPED_TRACE(e.evid);
        EXPECT_EQ(e.order, i);
        ASSERT_EQ(e.origins.max(), 1);  // the list carries the preferred origin only
        EXPECT_EQ(e.origins.get(0).orid, e.prefor);
        EXPECT_EQ(e.prefor_time, e.origins.get(0).time);
        EXPECT_GE(e.prefor_time, last_time);
        last_time = e.prefor_time;
        EXPECT_EQ(strlen(e.record_event), 76u);
    }
    EXPECT_EQ(client.getMostRecentEvid(), list->get(list->max() - 1).evid);

    // the whole tree of an event: every origin, with associations and magnitudes
    QKEvent expanded;
    client.grabEventsLock();
    ASSERT_EQ(client.getExpandedEvent(list->get(0).evid, expanded), 1);
    EXPECT_EQ(client.getExpandedEvent(987654321, expanded), 0);
    client.releaseEventsLock();
    QKOrigin* pref = client.getPreferredOrigin(&expanded, nullptr);
    ASSERT_NE(pref, nullptr);
    EXPECT_GT(pref->magnitudes.max(), 0);
    EXPECT_GE(pref->associations.get(0).recno_arrival, 0);
    EXPECT_GE(pref->associations.get(0).recno_site, 0);
    // the fields of a row through its scratch pointer
    Rsptr origin;
    ASSERT_EQ(client.getRsptr(pref, &origin, nullptr, nullptr), 0);
    EXPECT_EQ(rsfixture::fieldText(origin, "orid"), std::to_string(pref->orid));
}

TEST_F(ServerTest, ChildProcessAppendingAnEventIsHeardOnTheGuiThread)
{
    struct Case { const char* name; int flags; int poll_ms; };
    const Case cases[] = {{"inotify", 0, 1000}, {"polling", QK_NO_INOTIFY, 200}};
    long next_id = 900000;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QKServer server(base, 1, 1, c.poll_ms, c.flags);
        Receiver receiver;
        VXQKClient client(&server, &receiver);
        ASSERT_EQ(client.checkDatabase(), 0);
        QCoreApplication::processEvents();
        receiver.events_changed = receiver.origin_changed = 0;
        auto before = client.getEvents();
        const long count = before->max();
        const std::string first_record = before->get(0).record_event;

        const long evid = ++next_id, orid = ++next_id;
        const int pid = spawnHelper({"append-event", base, std::to_string(evid), std::to_string(orid), "2.0e9"});
        ASSERT_EQ(waitHelper(pid), 0);
        // A poll may fall between the helper's origin and event rows: wait for the notice that has both.
        ASSERT_TRUE(waitFor([&] {
            return receiver.events_changed > 0 && receiver.origin_changed > 0 && client.getEvents()->max() == count + 1;
        }));
        EXPECT_EQ(receiver.thread, QThread::currentThread());

        auto after = client.getEvents();
        EXPECT_EQ(after->max(), count + 1);
        EXPECT_EQ(after->get(after->max() - 1).evid, evid);  // the latest origin time comes last
        EXPECT_EQ(client.getMostRecentEvid(), evid);
        // the old list is as it was
        EXPECT_EQ(before->max(), count);
        EXPECT_LT(evidsMax(*before), evid);
        EXPECT_EQ(before->get(0).record_event, first_record);
        // the unchanged entries share their origins with the old list
        EXPECT_TRUE(after->get(0).origins.shares(before->get(0).origins));
    }
}

TEST_F(ServerTest, TwoProcessesAddingArrivalsLoseNothing)
{
    const size_t before = readTable(base, "arrival").size();
    const int a = spawnHelper({"add-arrivals", base, "500"});
    const int b = spawnHelper({"add-arrivals", base, "500"});
    EXPECT_EQ(waitHelper(a), 0);
    EXPECT_EQ(waitHelper(b), 0);
    long bad = -1;
    const auto rows = readTable(base, "arrival", &bad);
    EXPECT_EQ(bad, 0);
    ASSERT_EQ(rows.size(), before + 1000);
    std::set<std::string> arids;
    for (const std::string& r : rows)
        arids.insert(r.substr(25, 8));  // the arid field
    EXPECT_EQ(arids.size(), rows.size());
}

TEST_F(ServerTest, WriterKilledMidWriteLeavesEarlierRowsReadable)
{
    int out = -1;
    const int pid = spawnHelper({"write-forever", base}, &out);
    ASSERT_GT(pid, 0);
    FILE* f = fdopen(out, "r");
    std::vector<long> written;
    char line[64];
    while (written.size() < 40 && fgets(line, sizeof line, f))
        written.push_back(atol(line));
    kill(pid, SIGKILL);
    waitHelper(pid);
    fclose(f);
    ASSERT_EQ(written.size(), 40u);
    // a record cut short, as a writer dying inside write() would leave
    appendLine(base, "arrival", "HLP      1700000000.00000");
    long bad = -1;
    const auto rows = readTable(base, "arrival", &bad);
    EXPECT_EQ(bad, 1);
    std::set<long> arids;
    for (const std::string& r : rows)
        arids.insert(atol(r.substr(25, 8).c_str()));
    for (long arid : written)
        EXPECT_TRUE(arids.count(arid)) << arid;
    // and the next writer carries on after it
    QKServer server(base, 0, 0);
    QKClient client(&server);
    const long row = client.rsputrecord("arrival", makeRecord("arrival", {{"sta", "AFT"}, {"arid", "777777"}}).c_str(), -1);
    EXPECT_EQ(row, static_cast<long>(rows.size()));
    EXPECT_EQ(readTable(base, "arrival").size(), rows.size() + 1);
}

TEST(ServerBadInput, BrokenRowsAndDanglingIdsAreReportedAndTheLastGoodListStays)
{
    const std::string base = emptyDatabase();
    {
        // a database whose folder does not exist: messages, an empty list
        QKServer missing("/nonexistent/folder/db", 1, 1, 50);
        QKClient client(&missing);
        EXPECT_EQ(client.checkDatabase(), 0);
        EXPECT_EQ(client.getEvents()->max(), 0);
        EXPECT_NE(missing.lastErrors().find("Cannot open database /nonexistent/folder/db"), std::string::npos);
    }
    appendLine(base, "origin", origin(1, 1, "1000") + origin(2, 2, "2000") + origin(40, 4, "4000"));
    appendLine(base, "event", event(1, 1) + event(2, 2));
    QKServer server(base, 1, 1, 50);
    QKClient client(&server);
    ASSERT_EQ(client.checkDatabase(), 0);
    ASSERT_EQ(client.getEvents()->max(), 2);

    struct Case { const char* name; const char* table; std::string line; const char* message; long events_after; };
    std::string broken = event(9, 9);
    broken[3] = 'x';  // evid is no number
    const Case cases[] = {
        {"broken field", "event", broken, "line 3", 2},
        {"evid without origin", "event", event(3, 30), "Event 3 has no origin", 3},
        {"prefor naming no origin", "event", event(4, 44), "not one of its origins", 4},
        {"duplicate evid", "event", event(1, 2), "Event 1 is in rows 0 and", 4},
        {"unfinished line", "origin", "  12.0000", "unfinished record", 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto before = client.getEvents();
        const long count = before->max();
        appendLine(base, c.table, c.line);
        ASSERT_EQ(client.checkDatabase(), 0);
        EXPECT_NE(server.lastErrors().find(c.message), std::string::npos) << server.lastErrors();
        EXPECT_EQ(client.getEvents()->max(), c.events_after);
        EXPECT_EQ(before->max(), count);  // a published list never changes
    }
    // the table rewritten by another program under the server: read again
    appendLine(base, "event.new", event(2, 2));
    ASSERT_EQ(rename((base + ".event.new").c_str(), (base + ".event").c_str()), 0);
    ASSERT_EQ(client.checkDatabase(), 0);
    auto list = client.getEvents();
    ASSERT_EQ(list->max(), 1);
    EXPECT_EQ(list->get(0).evid, 2);
    QKEvent gone;
    client.grabEventsLock();
    EXPECT_EQ(client.getExpandedEvent(1, gone), 0);  // deleted event
    client.releaseEventsLock();
}
