// Random command lines thrown at the running server: every one is answered,
// none crashes, and the handle table only holds what succeeded.
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

namespace {

QString randomText(std::mt19937& rng, int max_len)
{
    static const char alphabet[] = "abcdefghijklmnopqrstuvwxyz0123456789:_-.=#$\"'\\ \t{}%/";
    std::uniform_int_distribution<int> len(0, max_len), ch(0, sizeof alphabet - 2);
    QString s;
    for (int i = len(rng); i > 0; i--)
        s += QLatin1Char(alphabet[ch(rng)]);
    return s;
}

} // namespace

TEST(CommandFuzz, HundredThousandRandomLinesLeaveTheServerSound)
{
    VX_GraphicsServer* server = vx_test_server();
    std::mt19937 rng(20261121);
    QStringList words;
    for (const VX_GraphicsServer_command_row& row : VX_GraphicsServer_commands())
        // the direct exec hands the thread to Qt; a popup menu and a modal
        // file dialog wait in their own loops for a user
        if (strcmp(row.command, "exec") != 0 && strcmp(row.command, "menu_popup") != 0 &&
            strcmp(row.command, "filedialog") != 0)
            words << row.command;
    words << "bogus" << "" << "mainwindow_getframe" << "configure";
    QStringList handles = {"none", "frame:0", "mainwindow:1", "viewport:7", "-1", "", "frame:999999999999"};
    QStringList made;  // handles this test created, deleted as it goes
    std::uniform_int_distribution<int> pick(0, 99);

    VXCommandScript script;
    int answered = 0, failures = 0;
    for (int i = 0; i < 100000; i++) {
        QString line;
        int kind = pick(rng);
        if (kind < 5) {
            line = randomText(rng, 40);  // noise
        } else {
            QString word = words[static_cast<int>(rng() % words.size())];
            QString handle;
            if (!made.isEmpty() && pick(rng) < 50)
                handle = made[static_cast<int>(rng() % made.size())];
            else
                handle = handles[static_cast<int>(rng() % handles.size())];
            line = word + " " + handle;
            for (int a = pick(rng) % 4; a > 0; a--)
                line += " " + (pick(rng) < 50 ? QString::number(static_cast<int>(rng() % 5) - 1) : randomText(rng, 8));
            if (pick(rng) < 10)
                line += " key=" + randomText(rng, 6);
        }
        // keep the number of live windows small
        if (made.size() > 20) {
            line = "delete " + made.takeFirst();
        }
        qsizetype pos = 0;
        int ln = 1;
        for (;;) {
            VX_ScriptStatement st;
            int r = script.next(line, &pos, &ln, &st);
            if (r != VXCommandScript::Statement && r != VXCommandScript::Error)
                break;
            if (r == VXCommandScript::Error || st.directive) {
                hl_clear_register(0);
                continue;
            }
            VX_GraphicsServer_response* response = nullptr;
            int ret = script.run(server, st, &response, 0);
            ASSERT_NE(response, nullptr) << line.toStdString();
            answered++;
            if (ret < 0) {
                failures++;
                ASSERT_EQ(response->response, 1);
                ASSERT_FALSE(response->handle.isEmpty());
            } else if (st.command == "mainwindow") {
                made << response->handle;
            } else if (st.command == "delete") {
                made.removeAll(st.handle);
            }
            delete response;
            hl_clear_register(0);
        }
        server->state = VX_STATE_BUILDING;  // a random quit must not end the test session
    }
    for (const QString& h : made)
        vx_send("delete", h);
    EXPECT_GT(answered, 75000);  // the rest are noise lines that do not parse
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, answered);
    EXPECT_STREQ(hl_errlog_string(0), "");
}
