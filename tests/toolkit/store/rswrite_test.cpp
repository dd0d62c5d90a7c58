// Writing the record store: values back to text byte for byte, adding and
// changing records in flat files, ids, failed writes, writers that die and
// writers that run at the same time.
#include "support/testsupport.h"

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsbackend_p.h"
#include "toolkit/store/rsschema_p.h"
#include "toolkit/store/recordstore_fixture.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <vector>

using namespace rsfixture;

namespace {

// Write text at offset into file in place, as another program would.
bool overwrite(const std::string& file, off_t offset, const std::string& text)
{
    const int fd = open(file.c_str(), O_WRONLY);
    const bool ok = fd >= 0 && pwrite(fd, text.data(), text.size(), offset) == static_cast<ssize_t>(text.size());
    if (fd >= 0)
        close(fd);
    return ok;
}

// How a child process ended: its exit status, 256 + the signal that
// killed it, or -1.
int waitChild(pid_t child)
{
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 256 + WTERMSIG(status) : -1;
}

// Copy every field of record src into the scratch row of dst's table,
// through values of the field's type, as a program copying records would.
int copyByValues(Rsptr src, Rsptr dst)
{
    Tbl* fields = nullptr;
    if (rsquery(src, RS_TABLE_FIELDS, &fields) < 0)
        return -1;
    dst.record = RS_SCRATCH;
    int ok = 0;
    for (long i = 0; ok == 0 && i < seqcount(fields); i++) {
        const char* name = static_cast<const char*>(seqget(fields, i));
        long type = 0;
        rsquery(rslookup(src, nullptr, nullptr, name, nullptr), RS_FIELD_TYPE, &type);
        if (type == RS_TYPE_INTEGER || type == RS_TYPE_JDATE) {
            long v = 0;
            ok = rsgetv(src, nullptr, name, &v, nullptr) | rsputv(dst, nullptr, name, v, nullptr);
        } else if (type == RS_TYPE_REAL || type == RS_TYPE_TIME) {
            double v = 0;
            ok = rsgetv(src, nullptr, name, &v, nullptr) | rsputv(dst, nullptr, name, v, nullptr);
        } else {
            char v[RS_STRSZ];
            ok = rsgetv(src, nullptr, name, v, nullptr) | rsputv(dst, nullptr, name, v, nullptr);
        }
    }
    seqfree(fields, nullptr);
    return ok;
}

class RecordStoreWrite : public ::testing::Test
{
protected:
    Folder dir_;
};

TEST_F(RecordStoreWrite, RecordsReadAndWrittenAgainAreByteIdentical)
{
    struct Case { const char* table; std::vector<std::string> rows; } cases[] = {
        {"origin", {kOrigin1, kOrigin2, kOrigin3}}, {"arrival", {kArrival1}}, {"wfdisc", {kWfdisc1}},
        {"site", {kSite1}}, {"lastid", {kLastidArid}}, {"mt", {kMt1}},
    };
    Folder out;
    Rsptr in = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE);
    Rsptr copy = rsopen(out.base().c_str(), "css3.0", RS_WRITE);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.table);
        const std::string content = readFile(dir_.table("db", c.table, c.rows));
        Rsptr src = rslookup(in, nullptr, c.table, nullptr, nullptr);
        Rsptr dst = rslookup(copy, nullptr, c.table, nullptr, nullptr);
        for (size_t r = 0; r < c.rows.size(); r++) {
            SCOPED_TRACE(r);
            src.record = static_cast<long>(r);
            ASSERT_EQ(copyByValues(src, dst), 0) << hl_errlog_string(0);
            EXPECT_EQ(recordText(at(dst, RS_SCRATCH)), c.rows[r]);
            ASSERT_EQ(rsaddrecord(at(dst, RS_SCRATCH)), static_cast<long>(r));
        }
        EXPECT_EQ(readFile(out.base() + "." + c.table), content);
    }
    rsclose(in);
    rsclose(copy);
}

TEST_F(RecordStoreWrite, NullRecordsRoundTrip)
{
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE);
    const RsSchema* schema = rsschema_find("css3.0");
    ASSERT_NE(schema, nullptr);
    for (const RsTableDef& t : schema->tables) {
        SCOPED_TRACE(t.name);
        Rsptr table = rslookup(db, nullptr, t.name.c_str(), nullptr, nullptr);
        ASSERT_EQ(rsaddnull(table), 0) << hl_errlog_string(0);
        EXPECT_EQ(readFile(dir_.base() + "." + t.name), t.nullRecord() + "\n");
        for (const RsFieldDef& f : t.fields) {
            const std::string added = fieldText(at(table, 0), f.name.c_str());
            EXPECT_TRUE(added != "(error)" && added == fieldText(at(table, RS_NULL), f.name.c_str())) << f.name;
        }
    }
    rsclose(db);
}

TEST_F(RecordStoreWrite, FailedPutsChangeNothing)
{
    const std::string file = dir_.table("db", "origin", {kOrigin1});
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE);
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, "0");
    struct Case { const char* name; const char* message; int (*put)(Rsptr); } cases[] = {
        {"text too long", "Text 'averyverylongname' does not fit field etype",
         [](Rsptr p) { return rsputv(p, nullptr, "mb", 5.0, "etype", "averyverylongname", nullptr); }},
        {"number too wide", "100000 does not fit field nass",
         [](Rsptr p) { return rsputv(p, nullptr, "mb", 5.0, "nass", 100000L, nullptr); }},
        {"real too wide", "does not fit field lat",
         [](Rsptr p) { return rsputv(p, nullptr, "mb", 5.0, "lat", 1e12, nullptr); }},
        {"unknown field", "No field depht in table origin",
         [](Rsptr p) { return rsputv(p, nullptr, "mb", 5.0, "depht", 1.0, nullptr); }},
        {"control character", "does not fit field auth",
         [](Rsptr p) { return rsputv(p, nullptr, "auth", "a\nb", nullptr); }},
        {"null record", "The null record of table origin cannot be written",
         [](Rsptr p) { return rsputv(at(p, RS_NULL), nullptr, "mb", 5.0, nullptr); }},
        {"not a number", "'abc' is not a value of field mb",
         [](Rsptr p) { return rsput(rslookup(p, nullptr, nullptr, "mb", nullptr), "abc"); }},
        {"whole record too short", "Not a record of table origin: 10 characters",
         [](Rsptr p) { return rsput(p, "0123456789"); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_LT(c.put(origin), 0);
        expectLogged(c.message);
        EXPECT_EQ(readFile(file), kOrigin1 + "\n");
        EXPECT_EQ(recordText(origin), kOrigin1);
    }
    rsclose(db);
}

TEST_F(RecordStoreWrite, ChangesInPlaceTouchOnlyTheirField)
{
    const std::string file = dir_.table("db", "origin", {kOrigin1, kOrigin2});
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, "1");
    ASSERT_EQ(rsputv(origin, nullptr, "mb", 5.25, "auth", "tv:me:1", "nass", 9L, nullptr), 0) << hl_errlog_string(0);
    std::string expected = kOrigin2;
    expected.replace(128, 7, "   5.25");
    expected.replace(75, 4, "   9");
    expected.replace(195, 15, "tv:me:1        ");
    EXPECT_EQ(readFile(file), kOrigin1 + "\n" + expected + "\n");
    ASSERT_EQ(rsput(rslookup(origin, nullptr, nullptr, "time", nullptr), "2011-01-30 12:00:00"), 0);
    EXPECT_EQ(fieldText(origin, "time"), "1296388800.00000");
    // a whole record at once
    origin.record = 0;
    ASSERT_EQ(rsput(origin, (kOrigin3 + "\n").c_str()), 0);
    EXPECT_EQ(readFile(file).substr(0, 238), kOrigin3 + "\n");
    rsclose(db);
}

TEST_F(RecordStoreWrite, ReadOnlyDatabaseRefusesWrites)
{
    const std::string file = dir_.table("db", "origin", {kOrigin1});
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_READ);
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, "0");
    EXPECT_LT(rsputv(origin, nullptr, "mb", 5.0, nullptr), 0);
    EXPECT_LT(rsaddnull(origin), 0);
    EXPECT_LT(rsnextid(db, "orid"), 0);
    expectLogged("was opened read-only");
    // the scratch row is always there to assemble a record in
    origin.record = RS_SCRATCH;
    EXPECT_EQ(rsputv(origin, nullptr, "mb", 5.0, nullptr), 0);
    EXPECT_EQ(readFile(file), kOrigin1 + "\n");
    rsclose(db);
}

TEST_F(RecordStoreWrite, PutRecordUpdatesByKeyOrAdds)
{
    const std::string file = dir_.table("db", "arrival", {kArrival1});
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr arrival = rslookup(db, nullptr, "arrival", nullptr, "0");
    // an edit: the record into scratch, a new phase, stored under its arid
    ASSERT_EQ(rsload_scratch(arrival), 0);
    Rsptr scratch = at(arrival, RS_SCRATCH);
    ASSERT_EQ(rsputv(scratch, nullptr, "iphase", "S", nullptr), 0);
    EXPECT_EQ(rsputrecord(arrival), 0);
    std::string expected = kArrival1;
    expected.replace(70, 8, "S       ");
    EXPECT_EQ(readFile(file), expected + "\n");
    // a pick: a new arid from the counter, stored as a new record
    ASSERT_EQ(rsload_scratch(rslookup(arrival, nullptr, nullptr, nullptr, "rsNULL")), 0);
    const long arid = rsnextid(db, "arid");
    EXPECT_EQ(arid, 18);  // past the largest arid in the table
    ASSERT_EQ(rsputv(scratch, nullptr, "sta", "FUR", "chan", "BHZ", "time", 1296474950.25, "arid", arid, "jdate",
                     2011031L, "iphase", "P", "auth", "tv:me:7", nullptr),
              0);
    EXPECT_EQ(rsputrecord(arrival), 1);
    EXPECT_EQ(recordCount(db, "arrival"), 2);
    const std::string lddate = fieldText(at(arrival, 1), "lddate");
    EXPECT_EQ(lddate.size(), 17u);  // set to the present time, not null
    EXPECT_EQ(rsnextid(db, "arid"), 19);
    EXPECT_EQ(rsnextid(db, "evid"), 1);
    // the counters are records of lastid
    Rsptr lastid = rslookup(db, nullptr, "lastid", nullptr, "0");
    EXPECT_EQ(fieldText(lastid, "keyname") + " " + fieldText(lastid, "keyvalue"), "arid 19");
    EXPECT_EQ(recordCount(db, "lastid"), 2);
    rsclose(db);
}

TEST_F(RecordStoreWrite, NextIdSeesAKeyRewrittenInPlace)
{
    dir_.table("db", "arrival", {kArrival1});
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    EXPECT_EQ(rsnextid(db, "arid"), 18);
    // the rows read for that id change their key: the next id must see it
    ASSERT_EQ(rsput(rslookup(db, nullptr, "arrival", "arid", "0"), "500"), 0) << takeErrors();
    EXPECT_EQ(rsnextid(db, "arid"), 501);
    rsclose(db);
}

TEST_F(RecordStoreWrite, AnotherHandleSeesWhatWasWritten)
{
    dir_.table("db", "origin", {kOrigin1});
    Rsptr a = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr b = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr oa = rslookup(a, nullptr, "origin", nullptr, nullptr);
    Rsptr ob = rslookup(b, nullptr, "origin", nullptr, nullptr);
    EXPECT_EQ(recordCount(b, "origin"), 1);
    ASSERT_EQ(rsput(rslookup(oa, nullptr, nullptr, nullptr, "rsSCRATCH"), kOrigin2.c_str()), 0);
    ASSERT_EQ(rsaddrecord(oa), 1);
    EXPECT_EQ(recordCount(b, "origin"), 1);  // b has not looked yet
    EXPECT_EQ(rscheck(b), 1);
    EXPECT_EQ(recordCount(b, "origin"), 2);
    EXPECT_EQ(rscheck(b), 0);
    // b adds after a's record without reading it first
    ASSERT_EQ(rsput(rslookup(oa, nullptr, nullptr, nullptr, "1"), kOrigin3.c_str()), 0);
    ASSERT_EQ(rsput(rslookup(ob, nullptr, nullptr, nullptr, "rsSCRATCH"), kOrigin2.c_str()), 0);
    EXPECT_EQ(rsaddrecord(ob), 2);
    EXPECT_EQ(readFile(dir_.base() + ".origin"), kOrigin1 + "\n" + kOrigin3 + "\n" + kOrigin2 + "\n");
    rsclose(a);
    rsclose(b);
}

TEST_F(RecordStoreWrite, AnotherHandleTakesInARecordRewrittenInPlace)
{
    dir_.table("db", "arrival", {kArrival1});
    Rsptr a = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr b = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr arrival = rslookup(a, nullptr, "arrival", nullptr, "0");
    ASSERT_EQ(rsload_scratch(arrival), 0);
    ASSERT_EQ(rsputv(rslookup(arrival, nullptr, nullptr, nullptr, "rsSCRATCH"), nullptr, "arid", 99L, nullptr), 0);
    ASSERT_EQ(rsaddrecord(arrival), 1);
    EXPECT_EQ(recordCount(b, "arrival"), 2);
    // a changes one field of the second record in place; b sees only that
    ASSERT_EQ(rsput(rslookup(a, nullptr, "arrival", "iphase", "1"), "S"), 0) << takeErrors();
    EXPECT_EQ(rscheck(b), 1);
    EXPECT_EQ(recordCount(b, "arrival"), 2);
    EXPECT_EQ(fieldText(rslookup(b, nullptr, "arrival", nullptr, "1"), "iphase"), "S");
    EXPECT_EQ(rscheck(b), 0);
    // another program spoils the first record's time in place: b skips it
    ASSERT_TRUE(overwrite(dir_.base() + ".arrival", 7, "x"));
    EXPECT_EQ(rscheck(b), 1);
    EXPECT_EQ(recordCount(b, "arrival"), 1);
    expectLogged("line 1");
    rsclose(a);
    rsclose(b);
}

// The records another handle of the file took in again at its last check.
std::vector<long> rewrittenAtLastCheck(Rsptr db, const char* table)
{
    std::vector<long> records;
    Rsptr t = rslookup(db, nullptr, table, nullptr, nullptr);
    auto d = rs_database(t, "test");
    if (!d || !d->backend->rewrittenRecords(static_cast<int>(t.table), &records))
        records.assign(1, -1);
    return records;
}

TEST_F(RecordStoreWrite, RewritesOfThisProcessAreTakenInAloneAndOthersStillSeen)
{
    // a rewrite of this process alone, or with another program's write to
    // another record before or after it (another program writes no note)
    // other: 0 none, 1 before, 2 after
    struct Case { const char* name; int other; std::vector<long> taken_in; };
    const Case cases[] = {{"noted rewrite alone", 0, {2}},
                          {"other program before", 1, {0, 2}},
                          {"other program after", 2, {0, 2}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        dir_.table("db", "arrival", {kArrival1});
        Rsptr a = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
        Rsptr b = rsopen(dir_.base().c_str(), "css3.0", RS_READ);
        Rsptr scratch = rslookup(a, nullptr, "arrival", nullptr, "rsSCRATCH");
        ASSERT_EQ(rsload_scratch(rslookup(a, nullptr, "arrival", nullptr, "0")), 0);
        for (long arid : {18L, 19L}) {
            ASSERT_EQ(rsputv(scratch, nullptr, "arid", arid, nullptr), 0);
            ASSERT_GE(rsaddrecord(scratch), 0);
        }
        EXPECT_EQ(recordCount(b, "arrival"), 3);
        // the other program: the phase of the first record, "P" at character 70
        const auto other = [&](int when) { return c.other != when || overwrite(dir_.base() + ".arrival", 70, "S"); };
        ASSERT_TRUE(other(1));
        ASSERT_EQ(rsput(rslookup(a, nullptr, "arrival", "iphase", "2"), "Pn"), 0) << takeErrors();
        ASSERT_TRUE(other(2));
        EXPECT_EQ(rscheck(b), 1);
        EXPECT_EQ(rewrittenAtLastCheck(b, "arrival"), c.taken_in);
        EXPECT_EQ(fieldText(rslookup(b, nullptr, "arrival", nullptr, "2"), "iphase"), "Pn");
        EXPECT_EQ(fieldText(rslookup(b, nullptr, "arrival", nullptr, "0"), "iphase"), c.other ? "S" : "P");
        rsclose(a);
        rsclose(b);
    }
}

TEST_F(RecordStoreWrite, UnfinishedLastLineIsEndedBeforeTheNextRecord)
{
    // what a writer killed in the middle of its write would leave
    const std::string file = dir_.write(dir_.base() + ".origin", kOrigin1 + "\n" + kOrigin2.substr(0, 50));
    Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, "rsSCRATCH");
    ASSERT_EQ(rsput(origin, kOrigin3.c_str()), 0);
    EXPECT_EQ(rsaddrecord(origin), 1);
    EXPECT_EQ(readFile(file), kOrigin1 + "\n" + kOrigin2.substr(0, 50) + "\n" + kOrigin3 + "\n");
    rsclose(db);
    Rsptr again = rsopen(dir_.base().c_str(), "css3.0", RS_READ);
    EXPECT_EQ(recordCount(again, "origin"), 2);
    expectLogged(file + " line 2: 50 characters");
    rsclose(again);
}

TEST_F(RecordStoreWrite, WriteThatCannotCompleteWritesNothing)
{
    // the file may not grow: the append fails and leaves the file as it was
    const std::string file = dir_.table("db", "origin", {kOrigin1});
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {static_cast<rlim_t>(kOrigin1.size() + 100), static_cast<rlim_t>(kOrigin1.size() + 100)};
        setrlimit(RLIMIT_FSIZE, &limit);
        Rsptr db = rsopen(dir_.base().c_str(), "css3.0", RS_WRITE);
        Rsptr origin = rslookup(db, nullptr, "origin", nullptr, "rsSCRATCH");
        rsput(origin, kOrigin2.c_str());
        const long r = rsaddrecord(origin);
        const bool named = std::string(hl_errlog_string(0)).find("Cannot write to " + file) != std::string::npos;
        _exit(r < 0 && named ? 0 : 1);
    }
    EXPECT_EQ(waitChild(child), 0);
    EXPECT_EQ(readFile(file), kOrigin1 + "\n");
}

// One writer: takes ids and adds arrivals numbered by them until killed or
// n are written.
void arrivalWriter(const std::string& base, int n, int mode)
{
    Rsptr db = rsopen(base.c_str(), "css3.0", mode);
    Rsptr arrival = rslookup(db, nullptr, "arrival", nullptr, "rsSCRATCH");
    for (int i = 0; i < n; i++) {
        const long arid = rsnextid(db, "arid");
        if (arid < 0 || rsputv(arrival, nullptr, "sta", "FUR", "arid", arid, "time", 1.0e9 + arid, "iphase", "P",
                               "chan", "BHZ", nullptr) < 0 ||
            rsaddrecord(arrival) < 0) {
            fprintf(stderr, "writer %d: %s", static_cast<int>(getpid()), hl_errlog_string(0));
            _exit(2);
        }
    }
    _exit(0);
}

// The arids of the arrival table; every row must read.
std::vector<long> arids(const std::string& base, long* bad)
{
    hl_clear_register(0);
    Rsptr db = rsopen(base.c_str(), "css3.0", RS_READ);
    Rsptr arrival = rslookup(db, nullptr, "arrival", nullptr, nullptr);
    std::vector<long> ids;
    long n = 0;
    rsquery(arrival, RS_RECORD_COUNT, &n);
    rsquery(arrival, RS_BAD_ROW_COUNT, bad);
    for (arrival.record = 0; arrival.record < n; arrival.record++) {
        long arid = 0;
        rsgetv(arrival, nullptr, "arid", &arid, nullptr);
        ids.push_back(arid);
    }
    rsclose(db);
    return ids;
}

TEST_F(RecordStoreWrite, ConcurrentWritersLoseNothing)
{
    constexpr int kWriters = 4, kEach = 60;
    std::vector<pid_t> children;
    for (int w = 0; w < kWriters; w++) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            arrivalWriter(dir_.base(), kEach, RS_WRITE);
        children.push_back(child);
    }
    for (pid_t child : children)
        EXPECT_EQ(waitChild(child), 0);
    long bad = -1;
    std::vector<long> ids = arids(dir_.base(), &bad);
    EXPECT_EQ(bad, 0);
    ASSERT_EQ(ids.size(), static_cast<size_t>(kWriters * kEach));
    std::set<long> unique(ids.begin(), ids.end());
    EXPECT_EQ(unique.size(), ids.size());
    EXPECT_EQ(*unique.begin(), 1);
    EXPECT_EQ(*unique.rbegin(), kWriters * kEach);
}

TEST_F(RecordStoreWrite, KilledWriterLeavesEveryEarlierRecord)
{
    std::mt19937 random(20110131);
    for (int round = 0; round < 6; round++) {
        SCOPED_TRACE(round);
        Folder dir;
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0)
            arrivalWriter(dir.base(), 1000000, round % 2 ? RS_WRITE : RS_WRITE | RS_NOSYNC);
        // once it has written, let it go on a while, then kill it wherever it is
        const std::string file = dir.base() + ".arrival";
        for (int wait = 0; wait < 20000; wait++) {
            std::error_code ec;
            if (std::filesystem::exists(file, ec) && std::filesystem::file_size(file, ec) > 2 * 224)
                break;
            usleep(500);
        }
        usleep(random() % 30000);
        kill(child, SIGKILL);
        ASSERT_EQ(waitChild(child), 256 + SIGKILL);
        long bad = -1;
        std::vector<long> ids = arids(dir.base(), &bad);
        // a write cut between two pages of the file leaves one unfinished line
        EXPECT_LE(bad, 1) << hl_errlog_string(0);
        ASSERT_FALSE(ids.empty());
        for (size_t i = 0; i < ids.size(); i++)
            ASSERT_EQ(ids[i], static_cast<long>(i) + 1);
        // the counter is at most one ahead of the records: an id taken, not used
        Rsptr db = rsopen(dir.base().c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
        const long next = rsnextid(db, "arid");
        EXPECT_TRUE(next == static_cast<long>(ids.size()) + 1 || next == static_cast<long>(ids.size()) + 2) << next;
        rsclose(db);
    }
}

}  // namespace
