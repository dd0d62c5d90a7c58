// What a client reads and writes: queries over the lists, waveform,
// arrival and site rows, rows written in place, and SEED names.
#include "support/testsupport.h"
#include "toolkit/events/events_fixture.h"
#include "toolkit/toolkit_support.h"
#include "toolkit/events/qkmodel_p.h"
#include "toolkit/store/recordstore_fixture.h"

#include <cstring>

using namespace evtest;

namespace {

class ClientTest : public DatabaseTest
{
protected:
    void SetUp() override
    {
        DatabaseTest::SetUp();
        if (IsSkipped())
            return;
        server = std::make_unique<QKServer>(base, 0, 1);
        client = std::make_unique<QKClient>(server.get());
        ASSERT_EQ(client->checkDatabase(), 0);
        events = client->getEvents();
        ASSERT_GT(events->max(), 1);
    }
    // this program's own main leaves the register to the tests
    void TearDown() override { hl_clear_register(0); }
    // The first association of the preferred origin of the first event, as
    // its whole tree reads now.
    QKAssociation firstAssociation()
    {
        QKEvent expanded;
        client->grabEventsLock();
        EXPECT_EQ(client->getExpandedEvent(events->get(0).evid, expanded), 1);
        client->releaseEventsLock();
        return expanded.origins.get(expanded.pref_origin).associations.get(0);
    }
    std::unique_ptr<QKServer> server;
    std::unique_ptr<QKClient> client;
    std::shared_ptr<const Table<QKEvent>> events;
};

}  // namespace

TEST_F(ClientTest, ValueQueriesReadMembersAndFields)
{
    const QKEvent& e = events->get(1);
    char text[RS_STRSZ];
    // expected: as "%ld", "%.5f" or text
    struct Case { const char* query; int type; std::string expected; };
    auto fixed5 = [](double d) { return QString::number(d, 'f', 5).toStdString(); };
    double lat_value = 0.0;
    Rsptr origin;
    ASSERT_EQ(client->getRsptr(const_cast<QKOrigin*>(&e.origins.get(0)), &origin, nullptr, nullptr), 0);
    ASSERT_EQ(rsgetv(origin, nullptr, "lat", &lat_value, nullptr), 0);
    const std::string lat = fixed5(lat_value);
    const Case cases[] = {
        {"1.evid", 1, std::to_string(e.evid)}, {"1.origin.lat", 2, lat}, {"1.lat", 2, lat},
        {"1.event.prefor", 1, std::to_string(e.prefor)}, {"1.magtype", 3, e.magtype}, {"1.norigins", 1, "1"},
        {"1.origerr.conf", 2, "0.90000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.query);
        int type = 0;
        long l = 0;
        double d = 0;
        void* value = c.type == 1 ? static_cast<void*>(&l) : c.type == 2 ? static_cast<void*>(&d) : text;
        ASSERT_EQ(client->getValue(events.get(), c.query, &type, value), 0) << hl_errlog_string(0);
        EXPECT_EQ(type, c.type);
        EXPECT_EQ(type == 1 ? std::to_string(l) : type == 2 ? fixed5(d) : std::string(text), c.expected);
    }
    const char* const bad[] = {"evid", "1.nosuch", "x.evid", "99999.evid", "1.origin."};
    for (const char* q : bad) {
        SCOPED_TRACE(q);
        int type = 0;
        long l = 0;
        EXPECT_LT(client->getValue(events.get(), q, &type, &l), 0);
        EXPECT_NE(takeErrors().find("QKClient::getValue: "), std::string::npos);
    }
}

TEST_F(ClientTest, SortGivesIndicesAndLeavesTheTableAlone)
{
    int status = -1;
    Table<int> order = client->sort(events.get(), "-time", 0, &status);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(order.max(), events->max());
    for (long i = 0; i < order.max(); i++)
        EXPECT_EQ(order.get(i), events->max() - 1 - i);  // the list is ascending in time
    EXPECT_EQ(client->sort(events.get(), "-time", 1, &status).get(0), 0);
    Table<int> by_mag = client->sort(events.get(), "magnitude,evid", 0, &status);
    for (long i = 1; i < by_mag.max(); i++)
        EXPECT_LE(events->get(by_mag.get(i - 1)).magnitude, events->get(by_mag.get(i)).magnitude);
    EXPECT_EQ(client->checkSortQuery(events.get(), "time,-origin.depth"), 0);
    EXPECT_LT(client->checkSortQuery(events.get(), "time,nosuch"), 0);
    client->sort(events.get(), "", 0, &status);
    EXPECT_LT(status, 0);
}

TEST_F(ClientTest, WaveformArrivalAndSiteRowsOfAChannel)
{
    int status = -1;
    Table<QKStaChan> channels = client->scanWfdisc(-1e30, 1e30, "", "", &status);
    ASSERT_EQ(status, 0);
    ASSERT_GT(channels.max(), 3);
    const QKStaChan& c = channels.get(0);
    EXPECT_EQ(client->scanWfdisc(-1e30, 1e30, std::string(c.sta) + ":BH[ZN]", "", &status).max(), 2);
    EXPECT_EQ(client->scanWfdisc(-1e30, 1e30, "", ".*", &status).max(), 0);
    client->scanWfdisc(-1e30, 1e30, "(", "", &status);
    EXPECT_LT(status, 0);

    Table<QKTableRecord> wf = client->getWfdiscs(c.sta, c.chan, c.time, c.endtime, 1);
    ASSERT_GT(wf.max(), 0);
    Rsptr row;
    ASSERT_EQ(client->getRsptr("wfdisc", const_cast<QKTableRecord*>(&wf.get(0)), &row), 0);
    EXPECT_EQ(rsfixture::fieldText(row, "sta") + " " + rsfixture::fieldText(row, "chan"),
              std::string(c.sta) + " " + c.chan);
    EXPECT_EQ(client->getWfdiscPath(), base + ".wfdisc");

    QKTableRecord site;
    EXPECT_EQ(client->getSite(c.sta, c.time, site), 1);
    EXPECT_EQ(site.record.compare(0, strlen(c.sta), c.sta), 0);
    EXPECT_EQ(client->getSite("NOSTA", c.time, site), 0);

    // arrivals of the station, with their links to associations
    const QKAssociation a = firstAssociation();
    std::string asta(a.record_arrival, 6);
    asta.erase(asta.find(' '));
    Table<QKArrival> arrivals = client->getArrivals(asta.c_str(), "", a.time_arrival - 1, a.time_arrival + 1);
    ASSERT_GE(arrivals.max(), 1);
    const QKArrival& found = arrivals.get(0);
    EXPECT_EQ(found.arid, a.arid);
    EXPECT_EQ(found.link_to_any_assoc, 1);
    EXPECT_GE(found.associated_orids.max(), 1);
}

TEST_F(ClientTest, RowsAreWrittenInPlaceByRecordNumberAndSeenAtOnce)
{
    const QKAssociation a = firstAssociation();
    QKArrival arrival;
    arrival.recno_arrival = a.recno_arrival;
    memcpy(arrival.record_arrival, a.record_arrival, sizeof arrival.record_arrival);
    Rsptr row;
    ASSERT_EQ(client->getRsptr(&arrival, &row), 0);
    ASSERT_EQ(rsputv(row, nullptr, "iphase", "Pn", nullptr), 0);
    const size_t rows = readTable(base, "arrival").size();
    EXPECT_EQ(client->rsputrecord("arrival", a.recno_arrival), a.recno_arrival);
    ASSERT_EQ(client->checkDatabase(), 0);
    EXPECT_EQ(readTable(base, "arrival").size(), rows);  // in place
    // the tree is rebuilt by the check
    EXPECT_NE(std::string(firstAssociation().record_arrival).find(" Pn "), std::string::npos);

    // another arid written in place: the association no longer finds the row
    {
        Rsptr other = rsopen(base.c_str(), "css3.0", RS_WRITE | RS_NOSYNC);
        ASSERT_EQ(rsput(rslookup(other, nullptr, "arrival", "arid", std::to_string(a.recno_arrival).c_str()),
                        "88888888"),
                  0);
        rsclose(other);
        ASSERT_EQ(client->checkDatabase(), 0);
        EXPECT_EQ(firstAssociation().recno_arrival, -1);
    }

    // a row holding another arrival now, a row past the end, a bad record
    ASSERT_EQ(rsputv(row, nullptr, "arid", 99999999L, nullptr), 0);
    EXPECT_LT(client->rsputrecord("arrival", a.recno_arrival), 0);
    EXPECT_LT(client->rsputrecord("arrival", 1000000), 0);
    EXPECT_LT(client->rsputrecord("arrival", "too short", -1), 0);
    EXPECT_LT(client->rsputrecord("nosuchtable", -1), 0);
    EXPECT_EQ(readTable(base, "arrival").size(), rows);

    // ids follow the largest in use
    const long id1 = client->rsnextid("arid"), id2 = client->rsnextid("arid");
    EXPECT_GT(id1, 0);
    EXPECT_EQ(id2, id1 + 1);
    int type = 0;
    double time = 0;
    ASSERT_EQ(client->getValueFromRsptr(row, "time + 1.0", &type, &time), 0);
    EXPECT_EQ(type, 2);
    EXPECT_DOUBLE_EQ(time, a.time_arrival + 1.0);
}

TEST_F(ClientTest, SeedNamesByTablesOrByRule)
{
    // seed: "net sta chan loc", loc "" shown as "-"
    struct Case { const char* name; const char* sta; const char* chan; const char* seed; };
    auto seedOf = [&](const char* sta, const char* chan) {
        std::string net, s, c, loc;
        EXPECT_EQ(client->rscss2seed(sta, chan, &net, &s, &c, &loc), 0);
        return net + " " + s + " " + c + " " + (loc.empty() ? "-" : loc);
    };
    auto cssOf = [&](const std::string& seed) {
        char net[16], sta[16], chan[16], loc[16];
        EXPECT_EQ(sscanf(seed.c_str(), "%15s %15s %15s %15s", net, sta, chan, loc), 4);
        std::string s, c;
        EXPECT_EQ(client->rsseed2css(net, sta, chan, strcmp(loc, "-") ? loc : "", &s, &c), 0);
        return s + " " + c;
    };
    const std::string known = readTable(base, "site").at(0).substr(0, 6);
    const std::string known_sta = known.substr(0, known.find(' '));
    const Case rule[] = {
        {"known station", known_sta.c_str(), "BHZ", nullptr}, {"joined names", "IU_ANMO", "BHZ_00", "IU ANMO BHZ 00"},
        {"bare names", "XYZ", "SHZ", " XYZ SHZ -"},
    };
    for (const Case& c : rule) {
        SCOPED_TRACE(c.name);
        const std::string seed = seedOf(c.sta, c.chan);
        EXPECT_EQ(seed, c.seed ? std::string(c.seed) : "CI " + known_sta + " BHZ -");
        if (seed[0] != ' ') {
            EXPECT_EQ(cssOf(seed), std::string(c.sta) + " " + c.chan);
        }
    }
    appendLine(base, "snetsta", "II       ALONGNAME  ALN    2024-01-01T000000\n");
    appendLine(base, "schanloc", "ALN    BHZ      10 bz       2024-01-01T000000\n");
    EXPECT_EQ(seedOf("ALN", "bz"), "II ALONGNAME BHZ 10");
    EXPECT_EQ(cssOf("II ALONGNAME BHZ 10"), "ALN bz");
    std::string s, c;
    EXPECT_LT(client->rsseed2css("II", "", "BHZ", "", &s, &c), 0);
}

TEST(EventsLoadDate, LoadDatesReadAsEpochSeconds)
{
    struct Case { const char* text; double expected; };
    const Case cases[] = {
        {"1970-01-01T000000", 0.0},        {"2011-01-31T120000", 1296475200.0}, {"2024-02-29T235959", 1709251199.0},
        {"1969-12-31T235959", -1.0},       {"-", -1.0},                         {"2024-13-01T000000", -1.0},
        {"2024-01-01 000000", -1.0},       {"2024-01-01T0000", -1.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(qk_parse_lddate(c.text), c.expected);
    }
}

TEST_F(ClientTest, RowsSelectedByExpression)
{
    int status = -1;
    const Table<QKTableRecord> all = client->rssubset("wfdisc", "", &status);
    ASSERT_EQ(status, 0);
    ASSERT_GT(all.max(), 3);
    const std::string sta = all.get(0).record.substr(0, all.get(0).record.find(' '));
    long expected = 0;
    for (int i = 0; i < all.max(); i++)
        expected += all.get(i).record.compare(0, sta.size() + 1, sta + " ") == 0;

    const Table<QKTableRecord> some = client->rssubset("wfdisc", ("sta == '" + sta + "'").c_str(), &status);
    ASSERT_EQ(status, 0);
    ASSERT_EQ(some.max(), expected);
    EXPECT_LT(some.max(), all.max());
    Rsptr row;
    ASSERT_EQ(client->getRsptr("wfdisc", const_cast<QKTableRecord*>(&some.get(0)), &row), 0);
    EXPECT_EQ(client->rsmatches(row, ("sta == '" + sta + "'").c_str()), 1);
    EXPECT_EQ(client->rsmatches(row, "sta == 'NOSUCH'"), 0);

    // a value that is not a condition, and an expression that does not
    // compile: refused, with an empty result
    const struct { const char* expression; const char* message; } bad[] = {
        {"time", "is not a condition"}, {"sta ==", "Cannot compile"}
    };
    for (const auto& b : bad) {
        SCOPED_TRACE(b.expression);
        EXPECT_LT(client->rsmatches(row, b.expression), 0);
        EXPECT_EQ(client->rssubset("wfdisc", b.expression, &status).max(), 0);
        EXPECT_LT(status, 0);
        expectLogged(b.message);
    }
}
