// Whole sessions: a client thread drives the Qt thread through the queues.
//
// The client thread ends the process with status 0 when its function
// returns, so the test clients never return: they report through gtest,
// end the session and park.  An exit during a session fails the process.
#include <VX.h>

#include "support/qtprint.h"

#include <QApplication>
#include <QTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <unistd.h>

namespace {

std::atomic<bool> in_session{false};
std::function<void(VX_GraphicsServer*)> client_body;
std::atomic<bool> body_done{false};

void parkForever()
{
    for (;;)
        pause();
}

// Run the body, then (unless told not to) end the session with quit.
std::atomic<bool> send_quit_after_body{true};
void testClient(VX_GraphicsServer* server, int, char**)
{
    client_body(server);
    body_done = true;
    if (send_quit_after_body) {
        VX_GraphicsServer_response* response = nullptr;
        QStringList none;
        VX_GraphicsServer_send(server, 0, &response, "quit", "none", &none, nullptr);
        delete response;
    }
    parkForever();
}

char arg0[] = "session_test";
char* args[] = {arg0, nullptr};

// Start a session whose client runs body; returns when the loop has ended.
// With argc 0 the session has no arguments and no name.
VX_GraphicsServer* runSession(std::function<void(VX_GraphicsServer*)> body, bool quit_after = true,
                              std::function<void(VX_GraphicsServer*)> before_loop = nullptr, int argc = 1)
{
    client_body = std::move(body);
    send_quit_after_body = quit_after;
    body_done = false;
    in_session = true;
    VX_GraphicsServer* server = VX_GraphicsServer_create(argc, argc ? args : nullptr, argc ? "session" : nullptr,
                                                         testClient, before_loop ? 0 : 1);
    if (server && before_loop) {
        before_loop(server);
        VX_GraphicsServer_run_qt(server);
    }
    // the loop may end before the client has stored what it saw
    for (int i = 0; i < 10000 && !body_done; i++)
        usleep(1000);
    EXPECT_TRUE(body_done.load()) << "the client did not finish";
    in_session = false;
    return server;
}

struct Sent
{
    int ret;
    int code;
    QString handle;
};

Sent send(VX_GraphicsServer* server, const QString& word, const QString& handle, QStringList args = {})
{
    VX_GraphicsServer_response* response = nullptr;
    int ret = VX_GraphicsServer_send(server, 0, &response, word, handle, &args, nullptr);
    Sent s{ret, response ? response->response : -1, response ? response->handle : QString()};
    delete response;
    return s;
}

// The session has ended as it should; the server goes.
void endsFinished(VX_GraphicsServer* server)
{
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(server->state.load(), VX_STATE_FINISHED);
    VX_GraphicsServer_destroy(server);
}

} // namespace

TEST(Session, QueuedCommandsNumberHandlesAcrossTypes)
{
    QStringList got;
    QString register_text;
    VX_GraphicsServer* server = runSession([&](VX_GraphicsServer* s) {
        got << send(s, "mainwindow", "none").handle;
        got << send(s, "mainwindow", "frame:0").handle;
        Sent bad = send(s, "nosuch", "none");
        got << QString::number(bad.ret) + " " + QString::number(bad.code) + " " + bad.handle;
        register_text = hl_errlog_string(0);
        hl_clear_register(0);
        got << send(s, "delete", "mainwindow:3").handle;
        got << send(s, "delete", "mainwindow:3").handle;
        hl_clear_register(0);
    });
    ASSERT_EQ(got.size(), 5);
    EXPECT_EQ(got[0], "mainwindow:1");
    EXPECT_EQ(got[1], "mainwindow:3");
    EXPECT_EQ(got[2], "-1 1 VX_GraphicsServer_process: Unrecognized command 'nosuch'.\n");
    EXPECT_EQ(register_text, "VX_GraphicsServer_send_pvt: nosuch none, response error:\n"
                             "VX_GraphicsServer_process: Unrecognized command 'nosuch'.\n\n");
    EXPECT_EQ(got[3], "delete");
    EXPECT_EQ(got[4], "VX_GraphicsServer_get_item: Handle 'mainwindow:3' not found.\n"
                      "VX_GraphicsServer_delete: VX_GraphicsServer_get_item(mainwindow:3) error.\n");
    // the Qt thread's register holds nothing of the client's lines
    EXPECT_STREQ(hl_errlog_string(0), "");
    endsFinished(server);
}

TEST(Session, ExecTwiceCommandsWhileRunningAndAnEmptyWord)
{
    QStringList got;
    VX_GraphicsServer* server = runSession([&](VX_GraphicsServer* s) {
        got << send(s, "exec", "none").handle;
        got << send(s, "exec", "none").handle;
        got << QString::number(s->state.load());
        got << send(s, "mainwindow", "none").handle;  // answered by the polling loop
        got << send(s, "show", "mainwindow:1").handle;
    });
    EXPECT_EQ(got, QStringList({"exec", "exec", "1", "mainwindow:1", "show"}));
    endsFinished(server);
    // an empty word wakes the loop without a response
    QString after;
    server = runSession([&](VX_GraphicsServer* s) {
        auto* wake = new VX_GraphicsServer_command;
        ASSERT_EQ(mtqueue_push(s->send_mtqueue, wake), 0);
        after = send(s, "mainwindow", "none").handle;
        EXPECT_EQ(mtqueue_data_available(s->receive_mtqueue), 0);
    });
    EXPECT_EQ(after, "mainwindow:1");
    endsFinished(server);
}

TEST(Session, QuitAnswersWithItsWordAndReleaseEndsTheLoop)
{
    QString answer;
    VX_GraphicsServer* server = runSession(
        [&](VX_GraphicsServer* s) { answer = send(s, "quit", "anything").handle; }, false);
    EXPECT_EQ(answer, "quit");
    endsFinished(server);
    // release ends the loop before exec
    endsFinished(runSession([](VX_GraphicsServer* s) { VX_GraphicsServer_release(s); }, false));
}

TEST(Session, QuitFromACallbackOnTheQtThread)
{
    std::atomic<int> direct_ret{-5};
    VX_GraphicsServer* server = runSession(
        [](VX_GraphicsServer* s) { send(s, "exec", "none"); }, false,
        [&](VX_GraphicsServer* s) {
            QTimer::singleShot(50, s->qapp, [s, &direct_ret] {
                VX_GraphicsServer_response* response = nullptr;
                QStringList none;
                // on the Qt thread the send takes the direct path: no deadlock
                direct_ret = VX_GraphicsServer_send(s, 0, &response, "quit", "none", &none, nullptr);
                delete response;
            });
        });
    EXPECT_EQ(direct_ret.load(), 0);
    endsFinished(server);
}

TEST(Session, ClosingTheFirstWindowEndsTheSessionAndTheSecondDoesNot)
{
    std::atomic<bool> windows_ready{false};
    int state_after_second = -1;
    bool second_hidden = false;
    VX_GraphicsServer* server = runSession(
        [&](VX_GraphicsServer* s) {
            EXPECT_EQ(send(s, "mainwindow", "none").handle, "mainwindow:1");
            EXPECT_EQ(send(s, "mainwindow", "none").handle, "mainwindow:3");
            send(s, "show", "mainwindow:1");
            send(s, "show", "mainwindow:3");
            windows_ready = true;
            send(s, "exec", "none");
        },
        false,
        [&](VX_GraphicsServer* s) {
            auto* timer = new QTimer(s->qapp);
            timer->setInterval(20);
            QObject::connect(timer, &QTimer::timeout, [&, s, timer] {
                if (!windows_ready || s->state != VX_STATE_RUNNING)
                    return;
                auto* first = static_cast<VXMainWindow*>(VX_GraphicsServer_get_item(s, "mainwindow:1", nullptr, 0));
                auto* second = static_cast<VXMainWindow*>(VX_GraphicsServer_get_item(s, "mainwindow:3", nullptr, 0));
                if (second->isVisible()) {
                    second->close();
                    second_hidden = !second->isVisible();
                    state_after_second = s->state;
                    return;
                }
                timer->stop();
                first->close();
            });
            timer->start();
        });
    EXPECT_TRUE(second_hidden);
    EXPECT_EQ(state_after_second, VX_STATE_RUNNING);
    endsFinished(server);
}

TEST(Session, CloseCallbacksRunInOrderBeforeTheEnd)
{
    static QStringList calls;
    calls.clear();
    VX_GraphicsServer* server = runSession(
        [](VX_GraphicsServer* s) {
            send(s, "mainwindow", "none");
            send(s, "show", "mainwindow:1");
            send(s, "exec", "none");
        },
        false,
        [](VX_GraphicsServer* s) {
            QTimer::singleShot(100, s->qapp, [s] {
                auto* w = static_cast<VXMainWindow*>(VX_GraphicsServer_get_item(s, "mainwindow:1", nullptr, 0));
                if (!w) {
                    VX_GraphicsServer_request_quit(s);
                    return;
                }
                auto first = [](void*, QCloseEvent*, void* data) { calls << static_cast<const char*>(data); };
                auto second = [](void*, QCloseEvent*, void*) { calls << "second"; };
                static char tag[] = "first";
                w->setCloseCallback(first, tag);
                w->setCloseCallback(second, nullptr);
                w->setCloseCallback(second, nullptr);
                w->removeCloseCallback(second);
                w->setCloseCallback(second, nullptr);
                w->close();
            });
        });
    EXPECT_EQ(calls, QStringList({"first", "second"}));
    endsFinished(server);
}

TEST(Session, ArgcZeroStillStarts)
{
    VX_GraphicsServer* server = runSession([](VX_GraphicsServer*) {}, true, nullptr, 0);
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(server->argc, 0);
    endsFinished(server);
}

TEST(Session, WithoutAClientThreadCommandsRunDirectly)
{
    VX_GraphicsServer* server = VX_GraphicsServer_create(1, args, nullptr, nullptr, 0);
    ASSERT_NE(server, nullptr);
    EXPECT_EQ(server->send_mtqueue, nullptr);
    EXPECT_EQ(server->receive_mtqueue, nullptr);
    EXPECT_EQ(send(server, "mainwindow", "none").handle, "mainwindow:1");
    // a loop without a queue runs events until a callback ends it
    QTimer::singleShot(30, server->qapp, [server] { VX_GraphicsServer_request_quit(server); });
    VX_GraphicsServer_run_qt(server);
    endsFinished(server);
}

int main(int argc, char** argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    testing::InitGoogleTest(&argc, argv);
    // the client thread's exit(0) during a session must not read as a pass
    atexit([] {
        if (in_session) {
            fprintf(stderr, "session_test: the process ended inside a session\n");
            _exit(1);
        }
    });
    return RUN_ALL_TESTS();
}
