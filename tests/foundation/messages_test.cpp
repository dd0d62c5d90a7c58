// The library's Qt message handler.
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

// Run fn with standard error sent to a file, and return what was written.
template <class Fn>
std::string captureStderr(Fn fn)
{
    fflush(stderr);
    FILE* tmp = tmpfile();
    int saved = dup(2);
    dup2(fileno(tmp), 2);
    fn();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    std::string out;
    rewind(tmp);
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, tmp)) > 0)
        out.append(buf, n);
    fclose(tmp);
    return out;
}

} // namespace

TEST(MessageHandler, DebugCarriesItsPlaceCriticalATraceWarningsAndInfoAreDropped)
{
    QMessageLogContext place("file.cpp", 42, "void f()", "default"), none(nullptr, 0, nullptr, "default");
    EXPECT_EQ(captureStderr([&] { VX_MessageOutput(QtDebugMsg, place, "frame:0 = new QFrame(none)"); }),
              "Debug: frame:0 = new QFrame(none) (file.cpp:42, void f())\n");
    std::string out = captureStderr([&] {
        VX_MessageOutput(QtWarningMsg, place, "a warning");
        VX_MessageOutput(QtInfoMsg, place, "some info");
        VX_MessageOutput(QtDebugMsg, place, "x QMacCGContext:: Unsupported painter devtype type y");
    });
    EXPECT_EQ(out, "");
    out = captureStderr([&] { VX_MessageOutput(QtCriticalMsg, none, "broken"); });
    EXPECT_EQ(out.rfind("Critical: broken (:0, )\nStack trace:\n", 0), 0u) << out;
}

TEST(MessageHandlerDeathTest, FatalAborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    QMessageLogContext context("f.cpp", 3, "g", "default");
    EXPECT_DEATH(VX_MessageOutput(QtFatalMsg, context, "the end"), "Fatal: the end \\(f.cpp:3, g\\)");
}

TEST(MessageHandler, QtWarningsThroughQtAreDroppedOnceInstalled)
{
    VX_InstallMessageHandler();
    std::string out = captureStderr([] { qWarning("this warning must not show"); });
    EXPECT_EQ(out, "");
}
