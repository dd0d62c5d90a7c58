#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

VX_GraphicsServer* test_server = nullptr;

// Every test starts with an empty error register and leaves none behind.
struct EmptyRegister : testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo&) override { hl_clear_register(0); }
    void OnTestEnd(const testing::TestInfo&) override { hl_clear_register(0); }
};

} // namespace

VX_GraphicsServer* vx_test_server()
{
    return test_server;
}

Reply vx_send(const QString& word, const QString& handle, const QStringList& args, const QStringList& config)
{
    VX_GraphicsServer_response* response = nullptr;
    const int ret = VX_GraphicsServer_send2(test_server, 0, &response, word, handle, &args, &config);
    return takeReply(ret, response);
}

int vx_next_instance()
{
    return test_server->handle_instance;
}

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new EmptyRegister);
    test_server = VX_GraphicsServer_create(argc, argv, nullptr, nullptr, 0);
    if (!test_server) {
        fprintf(stderr, "test main: %s", hl_errlog_string(0));
        return 1;
    }
    return RUN_ALL_TESTS();
}
