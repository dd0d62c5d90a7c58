// Random command lines thrown at the running server: every one is answered,
// none crashes, the handle table only holds what succeeded, and nested
// widgets placed into each other never make a parent cycle.
#include "support/serversupport.h"

#include <QWidget>

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

// Words that make a container or place one widget into another, with the
// arguments they take: "$" stands for a handle the test made.
const char* const kNesting[] = {
    "frame $", "splitter $", "scrollarea $", "gridlayout $", "mainwindow $", "button $",
    "scrollarea_widget $ $", "gridlayout_addwidget $ $ 0 0 1 1", "splitter_addwidget $ $ 0",
    "dockwidget $ $ T", "mainwindow_adddockwidget $ $ left", "formlayout_addrow $ x $", "show $",
};

// True when following the parents of the widget of a handle ends.
bool parentsEnd(const QString& handle)
{
    QObject* o = object<QObject>(handle);
    QWidget* w = o && o->isWidgetType() ? static_cast<QWidget*>(o) : nullptr;
    for (int depth = 0; w && depth < 10000; depth++)
        w = w->parentWidget();
    return !w;
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
    int answered = 0, failures = 0, cycles_refused = 0;
    for (int i = 0; i < 100000; i++) {
        QString line;
        int kind = pick(rng);
        if (kind < 5) {
            line = randomText(rng, 40);  // noise
        } else if (kind < 35 && !made.isEmpty()) {
            line = QString::fromLatin1(kNesting[rng() % std::size(kNesting)]);
            while (line.contains('$'))
                line.replace(line.indexOf('$'), 1, made[static_cast<int>(rng() % made.size())]);
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
        // keep the number of live objects small
        if (made.size() > 40)
            line = "delete " + made.takeFirst();
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
                cycles_refused += response->handle.contains("which it contains");
            } else if (response->handle.contains(':') && response->handle != st.handle &&
                       !made.contains(response->handle)) {
                made << response->handle;  // a new object
            } else if (st.command == "delete") {
                made.removeAll(st.handle);
            }
            delete response;
            hl_clear_register(0);
        }
        server->state = VX_STATE_BUILDING;  // a random quit must not end the test session
    }
    for (const QString& h : made)
        EXPECT_TRUE(parentsEnd(h)) << h.toStdString();
    for (const QString& h : made)
        vx_send("delete", h);
    EXPECT_GT(answered, 75000);  // the rest are noise lines that do not parse
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, answered);
    EXPECT_GT(cycles_refused, 0);  // the nesting lines did try to close cycles
    EXPECT_STREQ(hl_errlog_string(0), "");
}
