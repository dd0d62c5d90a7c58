// Channel lists: patterns against station, channel and copy names.
#include "support/testsupport.h"
#include "toolkit/toolkit_support.h"
#include "toolkit/seedlink/rspick.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Rspick, MatchStringAnchorsAndMatchesWhole)
{
    const struct { const char* spec; const char* string; int want; } cases[] = {
        {nullptr, "ANY", 1},  {"", "ANY", 1},        {"*", "ANY", 1},       {"AAK", "AAK", 1},
        {"AAK", "AAKX", 0},   {"AAK", "XAAK", 0},    {"A.K", "ABK", 1},     {"^AA", "AAK", 0},
        {"^AA.*", "AAK", 1},  {"AK$", "AAK", 0},     {"^AAK$", "AAK", 1},   {"BH[ZN]", "BHN", 1},
        {"BH[ZN]", "BHE", 0}, {"a|b", "b", 1},       {"a|b", "ab", 0},      {"10\\$", "10$", 1},
        {"AAK", nullptr, 0},  {".*", nullptr, 1},    {"(BHZ|HHZ)", "HHZ", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.spec ? c.spec : "(null)") + " on " + (c.string ? c.string : "(null)"));
        EXPECT_EQ(rspickMatchString(c.spec, c.string), c.want);
        EXPECT_EQ(hl_error_count(), 0);
    }
}

TEST(Rspick, BadExpressionsAreRefusedWithAMessage)
{
    for (const char* bad : {"BH(", "[Z", "a{2,1}", "(((((((((a*)*)*)*)*)*)*)*)*)*"}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(rspickMatchString(bad, "BHZ"), -1);
        expectLogged(std::string("rspickMatchString: Bad regular expression '") + bad + "'.\n");
    }
}

TEST(Rspick, MatchStachansGivesThePlaceOfTheFirstItemTakingAllParts)
{
    const struct { const char* list; const char* sta; const char* chan; int copy, want; } cases[] = {
        {nullptr, "AAK", "BHZ", 0, 0}, {"*", "AAK", "BHZ", 3, 0}, {"AAK", "AAK", "BHZ", 2, 0},
        {"BBB,AAK", "AAK", "BHZ", 0, 1}, {"AAK:BHN,AAK:BHZ", "AAK", "BHZ", 0, 1}, {":BHZ", "XYZ", "BHZ", 1, 0},
        {"AAK;1", "AAK", "BHZ", 0, -1}, {"AAK;1", "AAK", "BHZ", 1, 0}, {"AAK:;1", "AAK", "LHZ", 1, 0},
        {"AAK:BH.;[12]", "AAK", "BHE", 2, 0}, {"CCC, AAK:BHZ", "AAK", "BHZ", 0, 1}, {"BBB,CCC", "AAK", "BHZ", 0, -1},
        {"A.*:*", "AAK", "BHZ", 0, 0},
        {"AAK:BHZ,BH(", "AAK", "BHZ", 0, 0},  // found before the bad item
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.list ? c.list : "(null)") + " on " + c.sta + " " + c.chan + ";" +
                     std::to_string(c.copy));
        EXPECT_EQ(rspickMatchStachans(c.list, c.sta, c.chan, c.copy), c.want);
        EXPECT_EQ(hl_error_count(), 0);
    }
    const struct { const char* list; const char* message; } bad[] = {
        {"A:B:C", "rspickMatchStachans: Item 'A:B:C' has more than one ':'.\n"},
        {"X,A;1;2", "rspickMatchStachans: Item 'A;1;2' has more than one ';'.\n"},
        {"BH(", "rspickMatchStachans: Bad item 'BH('.\n"},
    };
    for (const auto& b : bad) {
        SCOPED_TRACE(b.list);
        EXPECT_EQ(rspickMatchStachans(b.list, "AAK", "BHZ", 0), -2);
        expectLogged(b.message);
    }
}

TEST(Rspick, StachansBecomeStationAndChannelPairs)
{
    const struct { const char* list; const char* want; int pairs; } cases[] = {
        {"AAK:BHZ", "AAK BHZ", 1}, {"AAK", "AAK.* .*", 1}, {":BHZ", ".* BHZ", 1}, {"AAK:", "AAK .*", 1},
        {"AAK:BHZ;2, BBB ,*", "AAK BHZ,BBB.* .*,.* .*", 3}, {"", "", 0}, {",,", "", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.list);
        QString scv = QStringLiteral("before");
        EXPECT_EQ(rspickStachans2ScvStachans(QString::fromLatin1(c.list), scv), c.pairs);
        EXPECT_EQ(scv, QString::fromLatin1(c.want));
    }
    QString scv = QStringLiteral("before");
    EXPECT_EQ(rspickStachans2ScvStachans(QStringLiteral("AAK,B:C:D"), scv), -1);
    EXPECT_EQ(scv, QStringLiteral("before"));
    EXPECT_EQ(takeErrors(), "rspickStachans2ScvStachans: Item 'B:C:D' has more than one ':'.\n");
}

} // namespace
