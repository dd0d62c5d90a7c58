// The travel-time tool as a user runs it: its lines, and its refusals.
#include "support/programsupport.h"

#include <gtest/gtest.h>

#include <string>

TEST(Vxtt, PrintsOnePhaseALine)
{
    const ProgramRun r = runProgram(VXTT_PATH, {"--depth", "35", "--deg", "30,130", "--phases", "P,S,pP"});
    ASSERT_EQ(r.status, 0) << r.err;
    // P and S at 30 degrees are the published ak135 365.24 s and 660.83 s
    EXPECT_EQ(r.out, "30 35 P 365.24\n30 35 pP 375.30\n30 35 S 660.84\n"
                     "130 35 Pdiff 954.82\n130 35 PKPdf 1145.91\n130 35 PKiKP 1146.70\n130 35 Sdiff 1763.76\n");
}

TEST(Vxtt, RefusesBadCommandLines)
{
    const struct { QStringList args; int status; const char* message; } cases[] = {
        {{"--depth", "3000", "--deg", "30"}, 1, "Depth 3000 km is below the mantle"},
        {{"--depth", "10", "--deg", "30", "--phases", "P,Q"}, 1, "Unknown phase 'Q'"},
        {{"--depth", "10", "--deg", "30,x"}, 2, "Bad distance 'x'"},
        {{"--depth", "ten", "--deg", "30"}, 2, "Bad depth 'ten'"},
        {{"--deg", "30"}, 2, "usage: vxtt"},
        {{"--depth", "10", "--deg"}, 2, "Missing value of '--deg'"},
        {{"--depth", "10", "--deg", "30", "--fast", "1"}, 2, "Unknown option '--fast'"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        const ProgramRun r = runProgram(VXTT_PATH, c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
}
