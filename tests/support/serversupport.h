// Helpers of the server's tests: the object behind a handle, the error
// register, raw-pointer sends, and the one check of refused commands.
#pragma once

#include "support/testsupport.h"

#include "server/procs.h"

#include <QHash>
#include <QList>

#include <gtest/gtest.h>

#include <initializer_list>

// The object behind a handle of a Qt type, null for an unknown handle.
template <class T>
T* object(const QString& handle, int* type_out = nullptr)
{
    int type = -1;
    void* item = VX_GraphicsServer_get_item(vx_test_server(), handle, &type, 0);
    hl_clear_register(0);
    if (type_out)
        *type_out = type;
    return static_cast<T*>(static_cast<QObject*>(vx_as_qobject(type, item)));
}

// The item behind a handle of any type (plot items too), null for an unknown
// handle; the lookup leaves nothing in the register.
template <class T>
T* itemOf(const QString& handle)
{
    auto* item = static_cast<T*>(VX_GraphicsServer_get_item(vx_test_server(), handle, nullptr, 0));
    hl_clear_register(0);
    return item;
}

// A main window {w} made for each test and deleted after it.
struct WindowTest : ::testing::Test
{
    QString w = vx_send("mainwindow", "none").handle;
    void TearDown() override { vx_send("delete", w); }
};

// A main window that does not end the session when closed, a viewport on
// it and axes in the viewport, deleted at the end of the scope.
struct PlotSession
{
    QString window = vx_send("mainwindow", "none", {"0"}).handle;
    QString viewport = vx_send("viewport", window).handle;
    QString axes = vx_send("axes", viewport).handle;
    ~PlotSession()
    {
        for (const QString& h : {axes, viewport, window})
            vx_send("delete", h);
    }
};

// Send a command whose arguments are raw pointers.
inline Reply sendExtra(const QString& word, const QString& handle, const QList<void*>& extra)
{
    VX_GraphicsServer_response* response = nullptr;
    const int ret = VX_GraphicsServer_send_extra(vx_test_server(), 0, &response, word, handle, extra);
    return takeReply(ret, response);
}

// Handles named by letters: "{w}" in a row's handle, arguments and
// expected text stands for handles["w"].
struct Handles
{
    QHash<QString, QString> h;

    QString& operator[](const QString& key) { return h[key]; }
    QString fill(QString text) const
    {
        for (auto it = h.cbegin(); it != h.cend(); ++it)
            text.replace("{" + it.key() + "}", it.value());
        return text;
    }
    QStringList fill(const QStringList& list) const
    {
        QStringList out;
        for (const QString& s : list)
            out.append(fill(s));
        return out;
    }
};

// One refused command: its reply is code 1 with exactly this text.
struct Refusal
{
    const char* name;
    const char* word;
    const char* handle;
    QStringList args;
    const char* expected;
};

// Send every row and check the exact text, and that a refusal made nothing:
// no handle number used, no entry left in the table.
inline void expectRefusals(std::initializer_list<Refusal> rows, const Handles& handles = {})
{
    for (const Refusal& c : rows) {
        SCOPED_TRACE(c.name);
        const int n = vx_next_instance();
        const qsizetype entries = vx_test_server()->handles.size();
        Reply r = vx_send(c.word, handles.fill(QString(c.handle)), handles.fill(c.args));
        EXPECT_EQ(r.ret, -1);
        EXPECT_EQ(r.code, 1);
        EXPECT_EQ(r.handle, handles.fill(QString(c.expected)));
        EXPECT_TRUE(r.params.isEmpty());
        EXPECT_EQ(vx_next_instance(), n) << "a refused command used a handle number";
        EXPECT_EQ(vx_test_server()->handles.size(), entries) << "a refused command left an entry";
    }
}
