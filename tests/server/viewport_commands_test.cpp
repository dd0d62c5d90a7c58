// The viewport commands and configuration by command, sent directly.
#include "support/serversupport.h"

#include "items/polyline.h"
#include "items/text.h"
#include "server/procs.h"
#include "toolkit/store/recordstore.h"
#include "viewport/viewport.h"

#include <gtest/gtest.h>

TEST(ViewportCommands, CreatingCommandsAnswerWithTheNewHandleOnAViewport)
{
    const auto before = vx_test_server()->viewports.size();
    {
        PlotSession s;
        EXPECT_TRUE(s.viewport.startsWith("viewport:")) << s.viewport.toStdString();
        EXPECT_EQ(vx_test_server()->viewports.size(), before + 1);
        EXPECT_TRUE(vx_test_server()->viewports.contains(itemOf<VXViewport>(s.viewport)));
        for (const char* word : {"axes", "polyline"}) {
            QString expected = QString("%1:%2").arg(word).arg(vx_next_instance());
            Reply r = vx_send(word, s.viewport);
            EXPECT_EQ(r.handle, expected);
        }
        // text and textpopup are made on a viewport
        QString expected = QString("text:%1").arg(vx_next_instance());
        Reply r = vx_send("text", s.viewport, {"Station PAS", "0.5v", "1.0v-10"});
        EXPECT_EQ(r.handle, expected);
        auto* text = itemOf<VXText>(r.handle);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(text->getViewportParent(), VX_GraphicsServer_get_item(vx_test_server(), s.viewport, nullptr, 0));
        EXPECT_EQ(vx_send("configure", r.handle, {}, {"color_text red"}).code, 0);

        Reply popup = vx_send("textpopup", s.viewport);
        EXPECT_TRUE(popup.handle.startsWith("textpopup:")) << qPrintable(popup.handle);
        EXPECT_EQ(vx_send("configure", popup.handle, {}, {"text hello", "timeout 1"}).code, 0);
        // the popup is a window of its own: deleting it leaves the table
        EXPECT_EQ(vx_send("delete", popup.handle).code, 0);
        EXPECT_EQ(itemOf<void>(popup.handle), nullptr);
        Handles h;
        h["w"] = s.window;
        h["v"] = s.viewport;
        expectRefusals({
            {"text on a window", "text", "{w}", {"a", "0", "0"}, "VX_GraphicsServer_text: '{w}' not a viewport.\n"},
            {"text with two arguments", "text", "{v}", {"a", "0"}, "VX_GraphicsServer_text: text item needs 3 arguments.\n"},
            {"popup on a window", "textpopup", "{w}", {}, "VX_GraphicsServer_textpopup: '{w}' not a viewport.\n"},
        }, h);
        vx_send("delete", expected);
    }
    EXPECT_EQ(vx_test_server()->viewports.size(), before) << "the list forgets deleted viewports";
}

TEST(ViewportCommands, QueriesAnswerWordOrHandleAndErrorsNameTheProcAndTheHandle)
{
    PlotSession s;
    Handles h;
    h["f"] = vx_send("mainwindow_getframe", s.window).handle;
    h["w"] = s.window;
    h["v"] = s.viewport;
    expectRefusals({
        {"viewport on unknown", "viewport", "frame:99999", {}, "VX_GraphicsServer_get_item: Handle 'frame:99999' not found.\nVX_GraphicsServer_viewport: VX_GraphicsServer_get_item(frame:99999) error.\n"},
        {"viewport on viewport", "viewport", "{v}", {}, "VX_GraphicsServer_viewport: parent must be a frame or mainwindow.\n"},
        {"axes on frame", "axes", "{f}", {}, "VX_GraphicsServer_axes: '{f}' not a viewport.\n"},
        {"polyline on window", "polyline", "{w}", {}, "VX_GraphicsServer_polyline: '{w}' not a viewport.\n"},
        {"axes on unknown", "axes", "viewport:99999", {}, "VX_GraphicsServer_get_item: Handle 'viewport:99999' not found.\nVX_GraphicsServer_axes: VX_GraphicsServer_get_item(viewport:99999) error.\n"},
        {"bb on frame", "viewport_getwcoordbb", "{f}", {}, "VX_GraphicsServer_viewport_getwcoordbb: Item {f} not a viewport item.\n"},
        {"dimensions on frame", "viewport_getdimensions", "{f}", {}, "VX_GraphicsServer_viewport_getdimensions: Item {f} not a viewport item.\n"},
        {"cursor on frame", "viewport_setcursor", "{f}", {"blank"}, "VX_GraphicsServer_viewport_setcursor: Item {f} not a viewport item.\n"},
        {"cursor no name", "viewport_setcursor", "{v}", {}, "VX_GraphicsServer_setcursor: setcursor needs 1 arguments.\n"},
        {"cursor bad name", "viewport_setcursor", "{v}", {"arrow"}, "VX_GraphicsServer_setcursor: Unrecognized cursor name 'arrow'.\n"},
        {"display list on frame", "viewport_showdisplaylist", "{f}", {}, "VX_GraphicsServer_viewport_showdisplaylist: '{f}' not a viewport.\n"},
        {"getwcoords on frame", "getwcoords", "{f}", {"1", "2"}, "VX_GraphicsServer_getwcoords: getwcoords must have viewport item, not frame.\n"},
        {"getwcoords one arg", "getwcoords", "{v}", {"1"}, "VX_GraphicsServer_getwcoords: getwcoords needs 2 arguments.\n"},
        {"getwcoords bad x", "getwcoords", "{v}", {"x1", "2"}, "VX_GraphicsServer_getwcoords: getwcoords conversion error 'x1'.\n"},
        {"getwcoords bad y", "getwcoords", "{v}", {"1", "2y"}, "VX_GraphicsServer_getwcoords: getwcoords conversion error '2y'.\n"},
    }, h);
    // the queries answer their word or the handle, and numbers
    Reply r = vx_send("configure", s.viewport, {}, {"xleft 0", "xright 10", "ybottom -1", "ytop 1", "mleft 7",
                                                     "mright 8", "mbottom 9", "mtop 6"});
    ASSERT_EQ(r.code, 0) << r.handle.toStdString();
    EXPECT_EQ(r.handle, "configure");
    r = vx_send("viewport_getdimensions", s.viewport);
    EXPECT_EQ(r.handle, "viewport_getdimensions");
    ASSERT_EQ(r.params.size(), 6);
    EXPECT_EQ(r.params.mid(2), QStringList({"7", "8", "9", "6"}));
    r = vx_send("viewport_getwcoordbb", s.viewport);
    EXPECT_EQ(r.handle, "viewport_getwcoordbb");
    EXPECT_EQ(r.params.size(), 4);
    r = vx_send("viewport_setcursor", s.viewport, {"closedhand"});
    EXPECT_EQ(r.handle, "viewport_setcursor");
    auto* vp = itemOf<VXViewport>(s.viewport);
    EXPECT_EQ(vp->cursor().shape(), Qt::ClosedHandCursor);
    // an unknown name leaves the cursor alone
    vx_send("viewport_setcursor", s.viewport, {"bogus"});
    EXPECT_EQ(vp->cursor().shape(), Qt::ClosedHandCursor);
    r = vx_send("getwcoords", s.viewport, {"10", "20"});
    EXPECT_EQ(r.handle, s.viewport);
    EXPECT_EQ(r.params.size(), 2);
    r = vx_send("viewport_showdisplaylist", s.viewport);
    EXPECT_EQ(r.handle, s.viewport);
}

TEST(ConfigureCommands, SetKeysAndReportFailuresByHandle)
{
    PlotSession s;
    QString line = vx_send("polyline", s.viewport).handle;
    QString frame = vx_send("mainwindow_getframe", s.window).handle;
    const struct { const char* name; QString word, handle; QStringList args, config; int code; QString expected; } cases[] = {
        {"pairs", "configure", line, {}, {"points 0 0\n1 1\n2 0"}, 0, "configure"},
        {"no pairs", "configure", line, {}, {}, 0, "configure"},
        {"unknown key", "configure", line, {}, {"nosuchkey 1"}, 1, "VX_GraphicsServer_configure: configure(" + line + ") error.\n"},
        {"frame", "configure", frame, {}, {"a 1"}, 1, "VX_GraphicsServer_configure: frame object not a vxplot item.\n"},
        {"silent mainwindow", "configure", s.window, {}, {"a 1"}, 0, "configure"},
        {"unknown handle", "configure", "polyline:99999", {}, {}, 1, "VX_GraphicsServer_get_item: Handle 'polyline:99999' not found.\nVX_GraphicsServer_configure: VX_GraphicsServer_get_item(polyline:99999) error.\n"},
        {"kvstring", "configure_kvstring", s.viewport, {"xleft 0\nxright 5\n"}, {}, 0, "configure_kvstring"},
        {"kvstring no arg", "configure_kvstring", s.viewport, {}, {}, 1, "VX_GraphicsServer_configure_kvstring: Need 1 kvstring argument.\n"},
        {"kvstring two args", "configure_kvstring", s.viewport, {"a", "b"}, {}, 1, "VX_GraphicsServer_configure_kvstring: Need 1 kvstring argument.\n"},
        {"kvstring bad text", "configure_kvstring", s.viewport, {"a &Arr{\n"}, {}, 1, "kvcompile: Line 1: '&Arr{' is not closed by the end of the text.\nVX_GraphicsServer_configure_kvstring: kvcompile() error.\n"},
        {"kvstring bad value", "configure_kvstring", s.viewport, {"xleft abc\n"}, {}, 1, "VX_GraphicsServer_configure_kvstring: configure(" + s.viewport + ") error.\n"},
        {"kvstring frame", "configure_kvstring", frame, {"a 1\n"}, {}, 1, "VX_GraphicsServer_configure_kvstring: frame object not a vxplot item.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Reply r = vx_send(c.word, c.handle, c.args, c.config);
        EXPECT_EQ(r.code, c.code);
        EXPECT_EQ(r.handle, c.expected);
    }
    auto* pl = itemOf<VXPolyline>(line);
    EXPECT_DOUBLE_EQ(pl->vars.xmax, 2.0);
    auto* vp = itemOf<VXViewport>(s.viewport);
    EXPECT_DOUBLE_EQ(vp->vars.spc_xright, 5.0);
    EXPECT_EQ(vx_send("delete", line).handle, "delete");
}

namespace {

void countEvents(void*, VXEvent*, void* client_data)
{
    ++*static_cast<int*>(client_data);
}

} // namespace

TEST(ViewportCommands, CallbackTakesAFunctionAndClientData)
{
    PlotSession s;
    auto* vp = itemOf<VXViewport>(s.viewport);
    int count = 0;
    const qsizetype before = vp->vars.event_callbacks.size();
    Reply r = sendExtra("viewport_callback", s.viewport,
                        {reinterpret_cast<void*>(&countEvents), &count});
    EXPECT_EQ(r.handle, "viewport_callback");
    ASSERT_EQ(vp->vars.event_callbacks.size(), before + 1);
    EXPECT_EQ(vp->vars.event_callbacks.last().client_data, &count);
    // a null function registers nothing
    EXPECT_EQ(sendExtra("viewport_callback", s.viewport, {nullptr, nullptr}).code, 0);
    EXPECT_EQ(vp->vars.event_callbacks.size(), before + 1);

    struct Case { const char* name; QString handle; QList<void*> extra; QString text; };
    const Case cases[] = {
        {"one argument", s.viewport, {reinterpret_cast<void*>(&countEvents)}, "VX_GraphicsServer_viewport_callback: Need 2 callback arguments.\n"},
        {"not a viewport", s.axes, {reinterpret_cast<void*>(&countEvents), &count}, QString("VX_GraphicsServer_viewport_callback: Item %1 not a viewport item.\n").arg(s.axes)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        r = sendExtra("viewport_callback", c.handle, c.extra);
        EXPECT_NE(r.code, 0);
        EXPECT_EQ(r.handle, c.text);
    }
    EXPECT_EQ(vp->vars.event_callbacks.size(), before + 1);
}

TEST(ViewportCommands, PolylineTraceSourceFromARecordPointer)
{
    PlotSession s;
    Rsptr db = rsopen("cmd_traces", "Trace4.0", RS_READ);
    ASSERT_FALSE(rsisinvalid(db));
    Rsptr tr = rslookup(db, nullptr, "trace", nullptr, "rsSCRATCH");
    const float samples[] = {1, 2, 3};
    ASSERT_EQ(rsputv(tr, nullptr, "time", 10.0, "samprate", 1.0, "data", samples, 3L, "bundle", 0L, 1L, nullptr), 0);
    ASSERT_EQ(rsaddrecord(tr), 0);
    tr.record = 0;
    char text[RS_PTR_TEXT];
    rsptr_print(tr, text);

    const QString line = vx_send("polyline", s.viewport).handle;
    auto* polyline = itemOf<VXPolyline>(line);
    Reply r = vx_send("polyline_setsource_trace", line, {text});
    EXPECT_EQ(r.handle, line);
    ASSERT_EQ(polyline->vars.npts, 3);
    EXPECT_EQ(polyline->vars.xpts[2], 12.0);
    // the four numbers as separate arguments are understood too
    EXPECT_EQ(vx_send("polyline_setsource_trace", line, QString(text).split(' ')).code, 0);

    Rsptr missing = tr;
    missing.record = 7;
    char missing_text[RS_PTR_TEXT];
    rsptr_print(missing, missing_text);
    struct Case { const char* name; QString handle; QStringList args; QString text; };
    const Case cases[] = {
        {"not a polyline", s.viewport, {text}, QString("VX_GraphicsServer_polyline_setsource_trace: Item %1 not a polyline item.\n").arg(s.viewport)},
        {"no argument", line, {}, "VX_GraphicsServer_polyline_setsource_trace: No Rsptr argument.\n"},
        {"three numbers", line, {"1 2 3"}, "VX_GraphicsServer_polyline_setsource_trace: Cannot parse Rsptr argument(1 2 3).\n"},
        {"no such record", line, {missing_text}, "VX_GraphicsServer_polyline_setsource_trace: VXPolyline::setSourceTrace() error.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        r = vx_send("polyline_setsource_trace", c.handle, c.args);
        EXPECT_NE(r.code, 0);
        EXPECT_TRUE(r.handle.contains(c.text)) << r.handle.toStdString();
    }
    vx_send("delete", line);
    rsclose(db);
}

