// Reading the record store: addresses, queries, field values, flat files
// good and bad, sorted views and in-memory trace tables.
#include "support/testsupport.h"

#include "toolkit/store/recordstore.h"
#include "toolkit/store/rsschema_p.h"
#include "toolkit/store/recordstore_fixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace rsfixture;

namespace {

class RecordStoreRead : public ::testing::Test
{
protected:
    void SetUp() override
    {
        dir_.table("db", "origin", {kOrigin1, kOrigin2, kOrigin3});
        dir_.table("db", "arrival", {kArrival1});
        dir_.table("db", "wfdisc", {kWfdisc1});
        dir_.table("db", "site", {kSite1});
        dir_.table("db", "mt", {kMt1});
        db_ = rsopen(dir_.base().c_str(), "css3.0", RS_READ);
        ASSERT_FALSE(rsisinvalid(db_)) << hl_errlog_string(0);
        origin_ = rslookup(db_, nullptr, "origin", nullptr, nullptr);
    }
    void TearDown() override { rsclose(db_); }
    Folder dir_;
    Rsptr db_{};
    Rsptr origin_{};
};

TEST_F(RecordStoreRead, OpensWithTheDatabaseAddressAndCountsWithCode305)
{
    EXPECT_EQ((std::vector{db_.table, db_.field, db_.record}), std::vector<long>(3, RS_ALL));
    EXPECT_EQ(queryText(db_, RS_SCHEMA_NAME), "css3.0");
    EXPECT_EQ(queryText(db_, RS_DATABASE_NAME), dir_.base());
    EXPECT_EQ(queryLong(origin_, -305), 3);
    EXPECT_EQ(recordCount(db_, "arrival"), 1);
    EXPECT_EQ(recordCount(db_, "event"), 0);  // no file: an empty table
}

TEST_F(RecordStoreRead, ReadsEveryTypeOfField)
{
    Rsptr p = at(origin_, 0);
    double lat = 0, time = 0, mb = 0;
    long orid = 0, jdate = 0, ndp = 0;
    char etype[RS_STRSZ], auth[RS_STRSZ], lddate[RS_STRSZ];
    ASSERT_EQ(rsgetv(p, nullptr, "lat", &lat, "time", &time, "mb", &mb, "orid", &orid, "jdate", &jdate, "ndp", &ndp,
                     "etype", etype, "auth", auth, "lddate", lddate, nullptr),
              0) << hl_errlog_string(0);
    EXPECT_EQ((std::vector{lat, time, mb}), (std::vector{47.7372, 1296474900.12345, 4.5}));
    EXPECT_EQ((std::vector{orid, jdate, ndp}), (std::vector{1L, 2011031L, -1L}));
    EXPECT_EQ(std::string(etype) + "|" + auth + "|" + lddate, "qb|analyst|2011-01-31T120000");  // trimmed
}

TEST_F(RecordStoreRead, RsgetGivesFieldTextAndNullValues)
{
    struct Case { const char* name; const char* field; long record; const char* expected; } cases[] = {
        {"real in its format", "lat", 1, "-33.4500"}, {"time", "time", 0, "1296474900.12345"},
        {"integer", "orid", 2, "3"}, {"string trimmed", "algorithm", 0, "locsat:iasp91"},
        {"null string", "etype", RS_NULL, "-"}, {"null integer", "evid", RS_NULL, "-1"},
        {"null real", "mb", RS_NULL, "-999.00"},
        {"null time of a required field", "time", RS_NULL, "-9999999999.99900"},
        {"null date", "lddate", RS_NULL, "-"}, {"scratch starts null", "depth", RS_SCRATCH, "-999.0000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(fieldText(at(origin_, c.record), c.field), c.expected);
    }
    EXPECT_EQ(recordText(at(origin_, 1)), kOrigin2);
}

TEST_F(RecordStoreRead, LookupByNames)
{
    Rsptr p = rslookup(db_, nullptr, "origin", "mb", "rsNULL");
    ASSERT_FALSE(rsisinvalid(p));
    EXPECT_EQ((std::vector{p.table, p.field, p.record}), (std::vector{origin_.table, 15L, long(RS_NULL)}));
    EXPECT_EQ(rslookup(p, nullptr, nullptr, nullptr, "rsSCRATCH").record, RS_SCRATCH);
    EXPECT_EQ(rslookup(p, nullptr, nullptr, nullptr, "2").record, 2);
    EXPECT_EQ(rslookup(p, nullptr, nullptr, "time", nullptr).field, 3);
    Rsptr other = rslookup(db_, dir_.base().c_str(), "arrival", nullptr, nullptr);
    EXPECT_EQ(other.database, db_.database);
    struct Case {
        const char* name; const char* database;
        const char* table; const char* field; const char* record; const char* message;
    } cases[] = {
        {"unknown table", nullptr, "nosuch", nullptr, nullptr, "No table nosuch"},
        {"unknown field", nullptr, "origin", "nosuch", nullptr, "No field nosuch in table origin"},
        {"bad record", nullptr, "origin", nullptr, "-3", "Bad record '-3'"},
        {"unknown database", "/no/such/db", nullptr, nullptr, nullptr, "No open database /no/such/db"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(rsisinvalid(rslookup(db_, c.database, c.table, c.field, c.record)));
        expectLogged(c.message);
    }
}

TEST_F(RecordStoreRead, QueriesDescribeTablesAndFields)
{
    EXPECT_EQ(queryLong(origin_, RS_RECORD_SIZE), 237);
    EXPECT_EQ(queryText(origin_, RS_TABLE_NAME), "origin");
    EXPECT_EQ(queryText(origin_, RS_TABLE_FILENAME), dir_.base() + ".origin");
    Rsptr time = rslookup(origin_, nullptr, nullptr, "time", nullptr);
    EXPECT_EQ(queryLong(time, RS_FIELD_TYPE), RS_TYPE_TIME);
    EXPECT_EQ(queryLong(time, RS_FIELD_SIZE), 17);
    EXPECT_EQ(queryLong(time, RS_FIELD_OFFSET), 30);
    EXPECT_EQ(queryText(time, RS_FIELD_FORMAT), "%17.5f");
    EXPECT_EQ(queryList(origin_, RS_TABLE_FIELDS),
              "lat lon depth time orid evid jdate nass ndef ndp grn srn etype depdp dtype mb mbid ms msid ml mlid "
              "algorithm auth commid lddate");
    EXPECT_EQ(queryList(origin_, RS_TABLE_KEYS), "orid");
    EXPECT_EQ(queryLong(origin_, RS_TABLE_IS_WRITABLE), 0);  // opened RS_READ
    EXPECT_EQ(queryLong(origin_, 12345), LONG_MIN);
    EXPECT_EQ(queryText(origin_, RS_FIELD_NAME), "(error)");  // no field chosen
}

TEST_F(RecordStoreRead, RsgetvFailsWithoutReadingOnUnknownField)
{
    long orid = -77;
    EXPECT_LT(rsgetv(at(origin_, 0), nullptr, "orid", &orid, "nosuch", &orid, nullptr), 0);
    EXPECT_EQ(orid, -77);
    expectLogged("No field nosuch in table origin");
    EXPECT_LT(rsgetv(at(origin_, 3), nullptr, "orid", &orid, nullptr), 0);  // one past the end
    EXPECT_LT(rsgetv(at(origin_, RS_ALL), nullptr, "orid", &orid, nullptr), 0);
    // another table's name reads that table
    char iphase[RS_STRSZ];
    ASSERT_EQ(rsgetv(at(origin_, 0), "arrival", "iphase", iphase, nullptr), 0);
    EXPECT_STREQ(iphase, "P");
}

TEST_F(RecordStoreRead, ReadsExponentFormats)
{
    Rsptr mt = rslookup(db_, nullptr, "mt", nullptr, "0");
    double tmrr = 0, tmrp = 0;
    ASSERT_EQ(rsgetv(mt, nullptr, "tmrr", &tmrr, "tmrp", &tmrp, nullptr), 0);
    EXPECT_DOUBLE_EQ(tmrr, 1.234e17);
    EXPECT_DOUBLE_EQ(tmrp, -999.0);
    EXPECT_EQ(fieldText(mt, "tmtt"), "-5.6700e+16");
}

TEST_F(RecordStoreRead, ExternalFileOfWfdisc)
{
    std::filesystem::create_directories(dir_.path() + "/wf/2011");
    dir_.write(dir_.path() + "/wf/2011/FUR.BHZ.w", "data");
    Rsptr wf = rslookup(db_, nullptr, "wfdisc", nullptr, "0");
    char file[RS_STRSZ];
    EXPECT_EQ(rsextfile(wf, nullptr, file), 1);
    EXPECT_EQ(std::string(file), dir_.path() + "/wf/2011/FUR.BHZ.w");
    std::filesystem::remove(dir_.path() + "/wf/2011/FUR.BHZ.w");
    EXPECT_EQ(rsextfile(wf, nullptr, file), 0);
    ASSERT_EQ(rsload_scratch(wf), 0);
    EXPECT_EQ(rsextfile_scratch(wf, "wfdisc", file), 0);
    EXPECT_LT(rsextfile(origin_, nullptr, file), 0);  // origin has no dir and dfile
}

// ---- flat files with faults

TEST(RecordStoreBadRows, GoodRowsStayAndEachFaultIsNamed)
{
    Folder dir;
    std::string bad_number = kOrigin2;
    bad_number.replace(30, 17, "      1296400x000");
    std::string no_blank = kOrigin2;
    no_blank[9] = '0';
    std::string control = kOrigin2;
    control[200] = '\t';
    std::string file = dir.write(dir.base() + ".origin", kOrigin1 + "\n" + kOrigin2.substr(0, 236) + "\n" + kOrigin2 +
                                                             " \n" + bad_number + "\n" + no_blank + "\n" + control +
                                                             "\n" + kOrigin3 + "\n" + kOrigin2.substr(0, 100));
    Rsptr db = rsopen(dir.base().c_str(), nullptr, RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    Rsptr origin = rslookup(db, nullptr, "origin", nullptr, nullptr);
    EXPECT_EQ(recordCount(db, "origin"), 2);
    EXPECT_EQ(queryLong(origin, RS_BAD_ROW_COUNT), 6);
    const std::string log = hl_errlog_string(0);
    const std::string expected[] = {
        file + " line 2: 236 characters where a record of table origin has 237",
        file + " line 3: 238 characters",
        file + " line 4: field time: '      1296400x000' is not a number",
        file + " line 5: no blank between fields lat and lon",
        file + " line 6: a control character at column 201",
        file + " line 8: no new line at the end of the file",
    };
    for (const std::string& e : expected)
        EXPECT_NE(log.find(e), std::string::npos) << e << "\n" << log;
    long orid = 0;
    ASSERT_EQ(rsgetv(at(origin, 1), nullptr, "orid", &orid, nullptr), 0);
    EXPECT_EQ(orid, 3);  // the rows after the bad ones are kept
    rsclose(db);
}

TEST(RecordStoreBadRows, ManyBadLinesAreSummed)
{
    Folder dir;
    std::string content;
    for (int i = 0; i < 25; i++)
        content += "short line\n";
    dir.write(dir.base() + ".origin", content + kOrigin1 + "\n");
    Rsptr db = rsopen(dir.base().c_str(), nullptr, RS_READ);
    EXPECT_EQ(recordCount(db, "origin"), 1);
    EXPECT_LE(hl_error_count(), 12);
    expectLogged("15 more bad lines not listed");
    rsclose(db);
}

TEST(RecordStoreOpen, RefusesUnknownSchemaMissingFolderAndClosedHandle)
{
    EXPECT_TRUE(rsisinvalid(rsopen("/tmp/db", "nosuch3.0", RS_READ)));
    expectLogged("No schema 'nosuch3.0'");
    EXPECT_TRUE(rsisinvalid(rsopen("/no/such/folder/db", "css3.0", RS_READ)));
    expectLogged("No folder /no/such/folder");
    EXPECT_TRUE(rsisinvalid(rsopen(nullptr, "css3.0", RS_READ)));
    EXPECT_TRUE(rsisinvalid(rsinvalid()));
    EXPECT_LT(rsclose(rsinvalid()), 0);
    // a closed handle is invalid
    Folder dir;
    Rsptr db = rsopen(dir.base().c_str(), "css3.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    ASSERT_EQ(rsclose(db), 0);
    EXPECT_TRUE(rsisinvalid(db));
    EXPECT_EQ(queryLong(rslookup(db, nullptr, "origin", nullptr, nullptr), RS_RECORD_COUNT), LONG_MIN);
}

// ---- the shared CSS 3.0 files

class RecordStoreShared : public ::testing::Test
{
protected:
    void SetUp() override
    {
        data_ = sharedData("css/obspy-testdata");
        if (data_.empty())
            GTEST_SKIP() << "the shared CSS test data (../shared/data/css/obspy-testdata) is not there";
    }
    std::string data_;
};

TEST_F(RecordStoreShared, ReadsWfdiscRows)
{
    Rsptr db = rsopen((data_ + "/test_css").c_str(), "css3.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
    EXPECT_EQ(recordCount(db, "wfdisc"), 6);
    EXPECT_EQ(hl_error_count(), 0) << hl_errlog_string(0);
    const char* rows[] = {"TESTbe HHZ 0 s4", "TESTbe HHE 19200 s4", "TESTbe HHN 38400 s4",
                          "TESTle HHZ 0 i4", "TESTle HHE 19200 i4", "TESTle HHN 38400 i4"};
    for (long r = 0; r < 6; r++) {
        SCOPED_TRACE(r);
        wf.record = r;
        char dfile[RS_STRSZ];
        double time = 0, endtime = 0, samprate = 0;
        long nsamp = 0, jdate = 0;
        ASSERT_EQ(rsgetv(wf, nullptr, "time", &time, "endtime", &endtime, "nsamp", &nsamp, "samprate", &samprate,
                         "jdate", &jdate, "dfile", dfile, nullptr), 0);
        EXPECT_EQ(fieldText(wf, "sta") + " " + fieldText(wf, "chan") + " " + fieldText(wf, "foff") + " " +
                      fieldText(wf, "datatype"), rows[r]);
        // time left-justified in some rows
        EXPECT_EQ((std::vector{time, endtime, samprate}), (std::vector{1296474900.0, 1296474959.988, 80.0}));
        EXPECT_EQ((std::vector{nsamp, jdate}), (std::vector{4800L, 2011031L}));
        char file[RS_STRSZ];
        EXPECT_EQ(rsextfile(wf, nullptr, file), 1);
        EXPECT_EQ(std::string(file), std::filesystem::path(data_ + "/" + dfile).lexically_normal().string());
    }
    rsclose(db);
}

TEST_F(RecordStoreShared, BrokenWfdiscNamesMissingFiles)
{
    // rows whose waveform file is missing, or exists only compressed
    Rsptr db = rsopen((data_ + "/test_css_3").c_str(), "css3.0", RS_READ);
    Rsptr wf = rslookup(db, nullptr, "wfdisc", nullptr, nullptr);
    EXPECT_EQ(recordCount(db, "wfdisc"), 6);
    const int expected[] = {2, 2, 0, 0, 2, 2};
    for (long r = 0; r < 6; r++) {
        SCOPED_TRACE(r);
        wf.record = r;
        char file[RS_STRSZ];
        EXPECT_EQ(rsextfile(wf, nullptr, file), expected[r]) << file;
    }
    EXPECT_EQ(fieldText(at(wf, 2), "datatype"), "c0");
    rsclose(db);
}

TEST_F(RecordStoreShared, OtherLayoutIsRejectedRowByRow)
{
    // 287-character lines of another schema: every row is named and skipped
    Rsptr db = rsopen((data_ + "/test_nnsa").c_str(), "css3.0", RS_READ);
    EXPECT_EQ(recordCount(db, "wfdisc"), 0);
    const std::string log = hl_errlog_string(0);
    for (int line = 1; line <= 6; line++)
        EXPECT_NE(log.find("test_nnsa.wfdisc line " + std::to_string(line) +
                           ": 287 characters where a record of table wfdisc has 283"),
                  std::string::npos) << log;
    rsclose(db);
}

TEST_F(RecordStoreShared, ReadsStationTables)
{
    Rsptr db = rsopen((data_ + "/station/default").c_str(), "css3.0", RS_READ);
    EXPECT_EQ((std::vector{recordCount(db, "site"), recordCount(db, "sitechan"), recordCount(db, "affiliation"),
                           recordCount(db, "remark")}), (std::vector{5L, 30L, 5L, 3L}));
    EXPECT_EQ(hl_error_count(), 0) << hl_errlog_string(0);
    std::string row;
    for (const char* field : {"sta", "ondate", "offdate", "lat", "staname"})
        row += fieldText(rslookup(db, nullptr, "site", nullptr, "2"), field) + "|";
    EXPECT_EQ(row, "RJOB|2001135|2006346|47.7372|Jochberg, Bavaria, BW-Net|");
    rsclose(db);
}

// ---- sorted views

class RecordStoreSort : public RecordStoreRead
{
protected:
    std::vector<long> order(Rsptr view)
    {
        Tbl* tab = nullptr;
        std::vector<long> records;
        if (rsget_sort_tab(view, &tab) < 0)
            return records;
        for (long i = 0; i < seqcount(tab); i++)
            records.push_back(static_cast<long>(reinterpret_cast<intptr_t>(seqget(tab, i))));
        seqfree(tab, nullptr);
        return records;
    }
    std::vector<long> sorted(std::vector<const char*> keys, int flags = 0)
    {
        Tbl* list = seqnew(0);
        for (const char* k : keys)
            seqpush(list, const_cast<char*>(k));
        Rsptr view = rssort(origin_, list, flags, "test");
        seqfree(list, nullptr);
        if (rsisinvalid(view))
            return {-99};
        std::vector<long> records = order(view);
        EXPECT_EQ(rsfree(view), 0);
        return records;
    }
};

TEST_F(RecordStoreSort, KeysReverseAndTies)
{
    // origin records: 0 time 1296474900 lat 47.7 evid 1, 1 time 1296400000
    // lat -33.4 evid 2, 2 time 1296500000 lat 47.7 evid 1
    struct Case { const char* name; std::vector<const char*> keys; int flags; std::vector<long> expected; } cases[] = {
        {"one numeric key", {"time"}, 0, {1, 0, 2}}, {"descending key", {"-time"}, 0, {2, 0, 1}},
        {"ties keep their order", {"lat"}, 0, {1, 0, 2}},
        {"ties keep their order when descending", {"-lat"}, 0, {0, 2, 1}},
        {"second key breaks ties", {"lat", "-time"}, 0, {1, 2, 0}}, {"string key", {"auth"}, 0, {1, 0, 2}},
        {"expression key", {"abs(lat - 40)"}, 0, {0, 2, 1}}, {"reverse flag", {"time"}, RS_SORT_REVERSE, {2, 0, 1}},
        {"reverse flag keeps ties in order", {"evid"}, RS_SORT_REVERSE, {1, 0, 2}},
        {"unique", {"evid"}, RS_SORT_UNIQUE, {0, 1}}, {"table key when none given", {}, 0, {0, 1, 2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(sorted(c.keys, c.flags), c.expected) << hl_errlog_string(0);
    }
}

TEST_F(RecordStoreSort, ViewReadsThroughToTheTable)
{
    Tbl* keys = strcutwhite("-time");
    Rsptr view = rssort(origin_, keys, 0, "bytime");
    seqfree(keys, free);
    ASSERT_FALSE(rsisinvalid(view));
    EXPECT_EQ(std::pair(queryLong(view, RS_RECORD_COUNT), queryLong(view, RS_TABLE_IS_VIEW)), std::pair(3L, 1L));
    view.record = 0;
    long orid = 0;
    ASSERT_EQ(rsgetv(view, nullptr, "orid", &orid, nullptr), 0);
    EXPECT_EQ(orid, 3);
    EXPECT_EQ(rangeOf(view), std::make_pair(0L, 3L));
    Rsptr named = rslookup(db_, nullptr, "bytime", nullptr, nullptr);
    EXPECT_EQ(named.table, view.table);
    // a view of a view lists records of the table
    Tbl* again = strcutwhite("lat");
    Rsptr view2 = rssort(view, again, 0, nullptr);
    seqfree(again, free);
    EXPECT_EQ(order(view2), (std::vector<long>{1, 2, 0}));
    EXPECT_EQ(rsfree(view2), 0);
    EXPECT_EQ(rsfree(view), 0);
    EXPECT_LT(rsfree(view), 0);  // freed once only
    EXPECT_LT(rsgetv(view, nullptr, "orid", &orid, nullptr), 0);
    EXPECT_LT(rsfree(origin_), 0);  // a table is not a view
}

TEST_F(RecordStoreSort, BadKeyFailsWithMessage)
{
    EXPECT_EQ(sorted({"nosuch"}), (std::vector<long>{-99}));
    expectLogged("Unknown field 'nosuch'");
    EXPECT_EQ(sorted({"time / (evid - 1)"}), (std::vector<long>{-99}));
    expectLogged("Division by zero at position 6 for record 0");
}

// ---- trace tables in memory

TEST(RecordStoreTrace, SamplesAndBundles)
{
    Rsptr db = rsopen("traces", "Trace4.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db)) << hl_errlog_string(0);
    EXPECT_EQ(queryText(db, RS_SCHEMA_NAME), "Trace4.0");
    Rsptr tr = rslookup(db, nullptr, "trace", nullptr, "rsSCRATCH");
    const float a[] = {1, 2, 3, 4};
    const float b[] = {5, 6};
    ASSERT_EQ(rsputv(tr, nullptr, "sta", "FUR", "chan", "BHZ", "time", 100.0, "samprate", 20.0, "data", a, 4L,
                     "bundle", 0L, 2L, nullptr),
              0) << hl_errlog_string(0);
    ASSERT_EQ(rsaddrecord(tr), 0);
    ASSERT_EQ(rsputv(tr, nullptr, "time", 101.0, "data", b, 2L, nullptr), 0);
    ASSERT_EQ(rsaddrecord(tr), 1);
    Rsptr row = at(tr, 1);
    const float* data = nullptr;
    long nsamp = 0;
    Rsptr bundle{};
    ASSERT_EQ(rsgetv(row, nullptr, "data", &data, "nsamp", &nsamp, "bundle", &bundle, nullptr), 0);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(nsamp, 2);  // set with the samples
    EXPECT_EQ(data[1], 6.0f);
    EXPECT_EQ(bundle.field, RS_BUNDLE);
    ASSERT_EQ(rangeOf(bundle), std::make_pair(0L, 2L));
    // walking the bundle with its pointer
    std::vector<double> times(2);
    for (bundle.record = 0; bundle.record < 2; bundle.record++)
        ASSERT_EQ(rsgetv(bundle, nullptr, "time", &times[size_t(bundle.record)], nullptr), 0);
    EXPECT_EQ(times, (std::vector{100.0, 101.0}));
    // samples and count must agree
    EXPECT_LT(rsputv(row, nullptr, "nsamp", 5L, nullptr), 0);
    expectLogged("nsamp 5 differs from the 2 samples");
    EXPECT_EQ(rsputv(row, nullptr, "nsamp", 2L, nullptr), 0);
    rsclose(db);
}

TEST(RecordStoreTrace, RowWithoutBundleIsItsOwnRange)
{
    Rsptr db = rsopen("traces", "Trace4.1", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    Rsptr tr = rslookup(db, nullptr, "trace", nullptr, nullptr);
    ASSERT_EQ(rsaddnull(tr), 0);
    ASSERT_EQ(rsaddnull(tr), 1);
    tr.record = 1;
    Rsptr bundle{};
    const float* data = reinterpret_cast<const float*>(&db);
    ASSERT_EQ(rsgetv(tr, nullptr, "bundle", &bundle, "data", &data, nullptr), 0);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(rangeOf(bundle), std::make_pair(1L, 2L));
    EXPECT_EQ(rslookup(tr, nullptr, nullptr, "net", nullptr).field, 0);  // net is the first field of 4.1
    rsclose(db);
}

}  // namespace
