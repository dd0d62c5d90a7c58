// The sample database of the event service tests, child processes of the
// test program, and waiting on the Qt event loop.
#pragma once

#include "toolkit/base/errors.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkserver.h"
#include "toolkit/store/recordstore.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace evtest {

// A fresh folder holding the generator's database "db" (seed 7); the path
// base of its tables.  Empty, with the reason in *why, without the
// generator.
std::string makeDatabase(std::string* why);

// A fresh empty folder; the path base "db" in it.
std::string emptyDatabase();

// Start this test program in a helper mode (see events_main.cpp) with the
// arguments; the child's pid, its standard output readable on *out_fd when
// out_fd is not null.
int spawnHelper(const std::vector<std::string>& args, int* out_fd = nullptr);
// Wait for a child; its exit status, or -1.
int waitHelper(int pid);

// Run the Qt event loop until done() or about timeout_ms milliseconds.
bool waitFor(const std::function<bool()>& done, int timeout_ms = 10000);

// Append a line to a table file as another program would.
void appendLine(const std::string& base, const char* table, const std::string& line);

// The records of a table read afresh through the record store.
std::vector<std::string> readTable(const std::string& base, const char* table, long* bad_rows = nullptr);

// A CSS 3.0 record of table with the named fields set, the others null.
std::string makeRecord(const char* table, const std::vector<std::pair<const char*, std::string>>& fields);

// An origin row and an event row (new line included), the fields not given
// null.
inline std::string origin(long orid, long evid, const char* time, const char* lddate = "-")
{
    return makeRecord("origin", {{"orid", std::to_string(orid)}, {"evid", std::to_string(evid)}, {"time", time},
                                 {"lddate", lddate}}) + "\n";
}
inline std::string event(long evid, long prefor, const char* lddate = "-")
{
    return makeRecord("event", {{"evid", std::to_string(evid)}, {"prefor", std::to_string(prefor)},
                                {"lddate", lddate}}) + "\n";
}

// Helper modes, run in the child.
int helperMain(int argc, char** argv);

// Tests over a fresh sample database at base; skipped without the generator.
class DatabaseTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string why;
        base = makeDatabase(&why);
        if (base.empty())
            GTEST_SKIP() << why;
    }
    std::string base;
};

}  // namespace evtest
