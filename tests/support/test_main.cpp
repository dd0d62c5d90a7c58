#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {
VX_GraphicsServer* test_server = nullptr;
}

VX_GraphicsServer* vx_test_server()
{
    return test_server;
}

Reply vx_send(const QString& word, const QString& handle, const QStringList& args, const QStringList& config)
{
    Reply r;
    VX_GraphicsServer_response* response = nullptr;
    r.ret = VX_GraphicsServer_send2(test_server, 0, &response, word, handle, &args, &config);
    if (response) {
        r.code = response->response;
        r.handle = response->handle;
        r.params = response->return_params;
    }
    delete response;
    hl_clear_register(0);
    return r;
}

int vx_next_instance()
{
    return test_server->handle_instance;
}

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    testing::InitGoogleTest(&argc, argv);
    test_server = VX_GraphicsServer_create(argc, argv, nullptr, nullptr, 0);
    if (!test_server) {
        fprintf(stderr, "test main: %s", hl_errlog_string(0));
        return 1;
    }
    return RUN_ALL_TESTS();
}
