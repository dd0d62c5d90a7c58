// The per-thread error register and the log.
#include <VX.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

std::vector<std::string> logged;
void collect(const char* line)
{
    logged.emplace_back(line);
}

// The lines logged while f runs with the log going to collect().
template <class F>
std::vector<std::string> logLines(F f)
{
    logged.clear();
    EXPECT_EQ(errlog_set(HL_ERRLOG_CALLBACK, 0, reinterpret_cast<void*>(&collect)), 0);
    f();
    errlog_set(HL_ERRLOG_CALLBACK, 0, nullptr);
    return logged;
}

} // namespace

TEST(ErrorRegister, LinesAccumulateUntilCleared)
{
    hl_register_error(0, "first: bad value '%s'.\n", "x");
    hl_register_error(1, "second: out of memory.\n");
    hl_register_error(0, "no new line");  // gets one
    const char* text = hl_errlog_string(0);
    EXPECT_STREQ(text, "first: bad value 'x'.\nsecond: out of memory.\nno new line\n");
    EXPECT_EQ(hl_error_count(), 3);
    const std::string big(5000, 'a');  // long lines are kept whole
    hl_register_error(0, "f: %s.\n", big.c_str());
    for (int i = 0; i < 100; i++)
        hl_register_error(0, "more %d\n", i);
    EXPECT_STREQ(text, "first: bad value 'x'.\nsecond: out of memory.\nno new line\n") << "earlier string stays valid";
    EXPECT_NE(std::string(hl_errlog_string(0)).find("\nf: " + big + ".\nmore 0\n"), std::string::npos);
    hl_clear_register(0);
    EXPECT_STREQ(hl_errlog_string(0), "");
    EXPECT_EQ(hl_error_count(), 0);
}

TEST(ErrorRegister, ThreadsKeepTheirOwnLines)
{
    hl_register_error(0, "main thread\n");
    const int threads = 8, lines = 200;
    std::vector<std::string> seen(threads);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; t++) {
        pool.emplace_back([t, &seen] {
            for (int i = 0; i < lines; i++)
                hl_register_error(0, "thread %d line %d\n", t, i);
            seen[t] = hl_errlog_string(0);
            hl_clear_register(0);
        });
    }
    for (auto& th : pool)
        th.join();
    for (int t = 0; t < threads; t++) {
        std::string expected;
        for (int i = 0; i < lines; i++)
            expected += "thread " + std::to_string(t) + " line " + std::to_string(i) + "\n";
        EXPECT_EQ(seen[t], expected) << "thread " << t;
    }
    EXPECT_STREQ(hl_errlog_string(0), "main thread\n");
}

TEST(ErrorLog, CallbackReceivesClearedRegisterLineByLine)
{
    const auto lines = logLines([] {
        hl_register_error(0, "dropped\n");
        hl_clear_register(0);  // clearing without print logs nothing
        hl_register_error(0, "a: one.\n");
        hl_register_error(0, "b: two.\n");
        hl_clear_register(1);
        hl_complain(0, "plain complaint %d\n", 7);
    });
    hl_complain(0, "this goes to standard error\n");
    EXPECT_EQ(lines, std::vector<std::string>({"a: one.\n", "b: two.\n", "plain complaint 7\n"}));
    EXPECT_STREQ(hl_errlog_string(0), "");
    EXPECT_LT(errlog_set(99, 0, nullptr), 0);
    EXPECT_STREQ(hl_errlog_string(0), "errlog_set: Unknown option 99.\n");
}

TEST(ErrorLog, StackTraceAndTimingLinesGoToTheLog)
{
    const auto trace = logLines(log_stack_trace);
    ASSERT_GE(trace.size(), 2u);
    EXPECT_EQ(trace[0], "Stack trace:\n");
    const auto times = logLines([] {
        hl_ptimes_enable(0);
        hl_ptimes("quiet", 0);  // only when enabled
        hl_ptimes_enable(1);
        hl_ptimes("start", 0);
        hl_ptimes("step", 0);
        hl_ptimes_enable(0);
    });
    ASSERT_EQ(times.size(), 2u);
    EXPECT_EQ(times[1].rfind("step: ", 0), 0u) << times[1];
}

TEST(ErrorLogDeathTest, DieLogsAndExits)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(hl_die(0, "fatal: the end %d\n", 3), testing::ExitedWithCode(1), "fatal: the end 3");
}
