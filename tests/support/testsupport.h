// Helpers shared by the tests.  The shared main empties the calling thread's
// error register before and after every test.
#pragma once

#include <VX.h>

#include "support/qtprint.h"

#include <gtest/gtest.h>

#include <QString>
#include <QStringList>

#include <memory>
#include <string>

// The calling thread's error register as text, emptied.
inline std::string takeErrors()
{
    std::string text = hl_errlog_string(0);
    hl_clear_register(0);
    return text;
}

// The session of the test process: made by the shared main, no client
// thread, so commands run directly on the test's own thread.
VX_GraphicsServer* vx_test_server();

// The outcome of one command sent to the test server.
struct Reply
{
    int ret = 0;         // what send returned
    int code = -1;       // response code
    QString handle;      // response handle (or error text)
    QStringList params;  // return parameters
};

// The reply of a send that returned ret with response, which it deletes; the
// register is emptied.
inline Reply takeReply(int ret, VX_GraphicsServer_response* response)
{
    Reply r;
    r.ret = ret;
    if (response)
        r = {ret, response->response, response->handle, response->return_params};
    delete response;
    hl_clear_register(0);
    return r;
}

// Send a command directly, config given as "key value" lines.
Reply vx_send(const QString& word, const QString& handle, const QStringList& args = {},
              const QStringList& config = {});

// The number the next handle will carry.
int vx_next_instance();

// Expect target->configure(key, value) refused (target a pointer or a smart
// pointer) with message somewhere in the register; the register is emptied
// and its text returned.
template <typename T>
std::string expectConfigureRefused(const T& target, const char* key, const char* value, const std::string& message)
{
    EXPECT_LT(target->configure(key, value, nullptr), 0) << key << " " << value;
    std::string errors = takeErrors();
    EXPECT_NE(errors.find(message), std::string::npos) << errors;
    return errors;
}
