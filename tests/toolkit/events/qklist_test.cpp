// The first event list of a server: its order whatever the ids, the most
// recent and last modified events, the origins of an expanded event; and
// the integer parsing and radix order of the store it stands on.
#include "toolkit/events/events_fixture.h"
#include "toolkit/store/rsorder_p.h"
#include "toolkit/store/rsschema_p.h"

#include <limits>

using namespace evtest;

TEST(EventList, OrderedByPreferredTimeThenEvidWhateverTheIds)
{
    const std::string base = emptyDatabase();
    // ids far apart and negative go outside the direct index; rows out of
    // evid order; equal times; an event whose preferred origin is missing
    appendLine(base, "origin",
               origin(1, 99999999, "2000", "2020-01-01T000000") + origin(2, 5, "2000") +
                   origin(3, -7, "1000") + origin(4, 2, "3000") + origin(5, 1, "2000") + origin(6, 8, "3000"));
    appendLine(base, "event",
               event(99999999, 1) + event(5, 2) + event(-7, 3) + event(2, 4) + event(1, 5) + event(8, 6) +
                   event(4, 44, "2021-06-01T000000"));
    appendLine(base, "origerr", makeRecord("origerr", {{"orid", "2"}, {"lddate", "2022-03-04T050607"}}) + "\n");
    QKServer server(base, 0, 0);
    ASSERT_EQ(server.refresh(1), 0);
    auto list = server.getEvents();
    const long expected[] = {4, -7, 1, 5, 99999999, 2, 8};
    ASSERT_EQ(list->max(), 7);
    for (long i = 0; i < 7; i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(list->get(i).evid, expected[i]);
        EXPECT_EQ(list->get(i).order, i);
    }
    EXPECT_EQ(list->get(0).pref_origin, -1);
    EXPECT_EQ(server.most_recent_evid.load(), 8);   // the latest time, then the larger evid
    EXPECT_EQ(server.last_modified_evid.load(), 5);  // through its origin's origerr row
    EXPECT_DOUBLE_EQ(list->get(3).lddate_view, 1646370367.0);
}

TEST(EventList, ExpandedEventHasItsOriginsInRowOrder)
{
    const std::string base = emptyDatabase();
    // orid 12 is given again by a later row, which wins and moves it last
    appendLine(base, "origin",
               origin(11, 1, "100") + origin(12, 1, "200") + origin(13, 1, "300") + origin(21, 2, "50") +
                   origin(12, 1, "250"));
    appendLine(base, "event", event(1, 13) + event(2, 21) + event(3, 99));
    QKServer server(base, 0, 0);
    ASSERT_EQ(server.refresh(1), 0);
    EXPECT_NE(server.lastErrors().find("Event 3 has no origin"), std::string::npos) << server.lastErrors();
    auto orids = [&] {
        std::vector<long> out;
        QKEvent e;
        server.grabEventsLock();
        const int found = server.getExpandedEvent(1, e);
        server.releaseEventsLock();
        EXPECT_EQ(found, 1);
        for (long i = 0; i < e.origins.max(); i++)
            out.push_back(e.origins.get(i).orid);
        return out;
    };
    EXPECT_EQ(orids(), (std::vector<long>{11, 13, 12}));
    // rows added after the first expansion join the event's origins
    appendLine(base, "origin", origin(14, 1, "400") + origin(11, 1, "110"));
    ASSERT_EQ(server.refresh(1), 0);
    EXPECT_EQ(orids(), (std::vector<long>{13, 12, 14, 11}));
}

TEST(StoreNumbers, IntegerFieldsParse)
{
    struct Case
    {
        const char* text;
        int status;
        long value;
    };
    const Case cases[] = {
        {"       1", 0, 1},
        {"      -1", 0, -1},
        {"12345678", 0, 12345678},
        {"  42    ", 0, 42},
        {"\t 7", 0, 7},
        {"   +8", 0, 8},
        {"  9\r", 0, 9},
        {"               123456789012345678", 0, 123456789012345678L},
        {"9223372036854775807", 0, std::numeric_limits<long>::max()},
        {"-9223372036854775808", 0, std::numeric_limits<long>::min()},
        {"9223372036854775808", -1, 0},
        {"        ", -1, 0},
        {"", -1, 0},
        {"       -", -1, 0},
        {"   - 5", -1, 0},
        {"  1 2", -1, 0},
        {"  12x", -1, 0},
        {"  1.5", -1, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        long v = 0;
        EXPECT_EQ(rs_parse_long(c.text, &v), c.status);
        if (c.status == 0) {
            EXPECT_EQ(v, c.value);
        }
    }
}

TEST(StoreNumbers, RadixOrderIsStableAndPutsNanLast)
{
    const double nan = std::nan("");
    const std::vector<double> values = {3.5, -1.0, nan, 0.0, -0.0, 3.5, -1e300, 1e300, -2.5, 0.0};
    std::vector<uint64_t> keys;
    for (double v : values)
        keys.push_back(rs_double_order_key(v));
    EXPECT_EQ(rs_radix_order(keys), (std::vector<size_t>{6, 8, 1, 3, 4, 9, 0, 5, 7, 2}));
    EXPECT_TRUE(rs_radix_order({}).empty());
}
