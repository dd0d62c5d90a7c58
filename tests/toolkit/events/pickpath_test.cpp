// The way of a pick to the event server: what wakes the server's thread,
// and a writer that does not wait for the server while the server still
// takes in every row.
#include "toolkit/events/events_fixture.h"
#include "toolkit/events/qkwatch_p.h"
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/store/rsschema_p.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <functional>

using namespace evtest;

namespace {

// Rows of the arrival and lastid tables as a writer leaves them.
std::string arrivalLine(long arid)
{
    return makeRecord("arrival", {{"sta", "PCK"}, {"chan", "BHZ"}, {"time", std::to_string(1.7e9 + arid)},
                                  {"arid", std::to_string(arid)}, {"iphase", "P"}}) +
           "\n";
}

}  // namespace

TEST(PickPath, OnlyRowsOfTablesTheServerReadsWakeIt)
{
    const std::string base = emptyDatabase();
    QKWatcher watcher;
    ASSERT_EQ(watcher.open(base, true, {"arrival", "assoc"}), 0);
    if (!watcher.usesInotify())
        GTEST_SKIP() << "no inotify here: the server polls";
    appendLine(base, "arrival", arrivalLine(1));
    ASSERT_EQ(watcher.wait(0), 1);  // the file made
    struct Case
    {
        const char* name;
        std::function<void()> change;
        int woken;
    };
    const Case cases[] = {
        {"a row added to a table read", [&] { appendLine(base, "arrival", arrivalLine(2)); }, 1},
        {"a row added to the id counters", [&] { appendLine(base, "lastid", "arid 2\n"); }, 0},
        {"a new time on a table file",
         [&] {
             struct timespec times[2] = {{0, UTIME_OMIT}, {1700000000, 5}};
             ASSERT_EQ(utimensat(AT_FDCWD, (base + ".arrival").c_str(), times, 0), 0);
         },
         1},
        {"a table file of another database", [&] { appendLine(base + "x", "arrival", arrivalLine(3)); }, 0},
        {"a table file removed", [&] { ASSERT_EQ(unlink((base + ".arrival").c_str()), 0); }, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.change();
        // the kernel queues the notice before the call that made it returns
        EXPECT_EQ(watcher.wait(0), c.woken);
    }
}

namespace {

// One event whose origin is associated with arrivals 1..n that are not
// written yet: the server's expansion of the event tells which of them it
// has taken in.
void makeAssociations(const std::string& base, long n)
{
    appendLine(base, "origin",
               makeRecord("origin", {{"orid", "1"}, {"evid", "1"}, {"time", "1.7e9"}, {"lat", "10"}, {"lon", "20"}}) +
                   "\n");
    appendLine(base, "event", makeRecord("event", {{"evid", "1"}, {"prefor", "1"}}) + "\n");
    std::string assoc;
    for (long arid = 1; arid <= n; arid++)
        assoc += makeRecord("assoc", {{"arid", std::to_string(arid)}, {"orid", "1"}, {"sta", "PCK"}}) + "\n";
    appendLine(base, "assoc", assoc);
}

// Associated arrivals of event 1 that the server has found in the arrival
// table.
long arrivalsSeen(QKClient& client)
{
    QKEvent e;
    client.grabEventsLock();
    const int found = client.getExpandedEvent(1, e);
    client.releaseEventsLock();
    if (found <= 0 || e.pref_origin < 0)
        return -1;
    const QKOrigin& o = e.origins.get(e.pref_origin);
    long seen = 0;
    for (long i = 0; i < o.associations.max(); i++)
        seen += o.associations.get(i).recno_arrival >= 0 ? 1 : 0;
    return seen;
}

}  // namespace

TEST(PickPath, AWriterThatDoesNotWaitLeavesEveryRowOnDiskAndTheServerCatchesUp)
{
    constexpr long kPicks = 12;
    struct Case
    {
        const char* name;
        int flags;
    };
    // the poll interval is longer than any wait here: only the write's own
    // notice, or the writer's request without one, makes the server look
    const Case cases[] = {{"woken by the write", 0}, {"asked by the writer", QK_NO_INOTIFY}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string base = emptyDatabase();
        makeAssociations(base, kPicks);
        QKServer server(base, 1, 1, 600000, c.flags);
        QKClient client(&server);
        ASSERT_EQ(client.checkDatabase(), 0);
        ASSERT_EQ(arrivalsSeen(client), 0);
        for (long i = 0; i < kPicks; i++) {
            const long arid = client.rsnextid("arid");
            ASSERT_EQ(arid, i + 1);
            Rsptr row;
            ASSERT_EQ(client.getRsptr("arrival", "", &row), 0);
            ASSERT_EQ(rsputv(row, nullptr, "sta", "PCK", "chan", "BHZ", "arid", arid, "time",
                             1.7e9 + static_cast<double>(arid), "iphase", "P", nullptr),
                      0);
            ASSERT_EQ(client.rsputrecord("arrival"), i);
            ASSERT_EQ(client.checkDatabase(0), 0) << hl_errlog_string(0);
            // in the file when the calls return, whatever the server does
            EXPECT_EQ(readTable(base, "arrival").size(), static_cast<size_t>(i + 1));
        }
        EXPECT_TRUE(waitFor([&] { return arrivalsSeen(client) == kPicks; })) << arrivalsSeen(client);
    }
}

TEST(PickPath, ARefreshTellsWhetherRowsWereOnlyAdded)
{
    // what the server's model goes by: rows appended are indexed on their
    // own, anything else makes it index the table again
    const std::string base = emptyDatabase();
    appendLine(base, "arrival", arrivalLine(1) + arrivalLine(2));
    Rsptr reader = rsopen(base.c_str(), "css3.0", RS_READ);
    Rsptr writer = rsopen(base.c_str(), "css3.0", RS_WRITE);
    auto d = rs_database(reader, "test");
    ASSERT_TRUE(d);
    const int table = d->schema->tableIndex("arrival");
    ASSERT_EQ(d->backend->load(table), 0);
    Rsptr row = rslookup(writer, nullptr, "arrival", nullptr, "0");
    ASSERT_GE(row.record, 0);
    struct Case
    {
        const char* name;
        std::function<void()> change;
        int refreshed;
        bool only_grew;
    };
    const Case cases[] = {
        {"a row appended", [&] { appendLine(base, "arrival", arrivalLine(3)); }, 1, true},
        {"nothing", [] {}, 0, false},
        {"a row rewritten in place", [&] { ASSERT_EQ(rsputv(row, nullptr, "iphase", "S", nullptr), 0); }, 1, false},
        {"another row appended", [&] { appendLine(base, "arrival", arrivalLine(4)); }, 1, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.change();
        EXPECT_EQ(d->backend->refresh(table), c.refreshed);
        EXPECT_EQ(d->backend->onlyGrew(table), c.only_grew);
    }
    EXPECT_EQ(d->backend->count(table), 4);
    rsclose(writer);
    rsclose(reader);
}
