// The viewport and its first items: viewport, axes, polyline, text,
// textpopup, and the viewport's queries.
#include "items/axes.h"
#include "items/polyline.h"
#include "items/text.h"
#include "items/textpopup.h"
#include "server/callbacks.h"
#include "server/procs.h"
#include "server/widgetprocs.h"
#include "viewport/viewport.h"

#include <QCursor>
#include <QPainterPath>

#include <memory>

namespace {

int VX_GraphicsServer_viewport(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    QWidget* parent = vx_parent_widget(command->target_type, command->target);
    constexpr int make_parent_layout = 1, make_logo = 1;
    auto* viewport = new VXViewport(parent, make_parent_layout, make_logo);
    server->viewports.append(viewport);
    // the list forgets a viewport however it goes: by delete or with its parent
    QObject::connect(viewport, &QObject::destroyed, viewport,
                     [server, viewport] { server->viewports.removeAll(viewport); });
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_VIEWPORT, viewport, handle);
    VX_TRACE("%s = new VXViewport(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_axes(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    return vx_answer_new(server, command, response, VX_TYPE_AXES, new VXAxes(viewport), "VXAxes");
}

int VX_GraphicsServer_polyline(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    return vx_answer_new(server, command, response, VX_TYPE_POLYLINE, new VXPolyline(viewport), "VXPolyline");
}

// text VIEWPORT text x y: x and y stay pixel expressions ("0.5v", "left+10")
// that the item evaluates at each draw.
int VX_GraphicsServer_text(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    const QByteArray text = command->args[0].toUtf8(), x = command->args[1].toUtf8(), y = command->args[2].toUtf8();
    auto* item = new VXText(viewport, text.constData(), x.constData(), y.constData());
    QString handle;
    VX_GraphicsServer_set_item(server, VX_TYPE_TEXT, item, handle);
    VX_TRACE("%s = new VXText(%s, %s, %s, %s)", vx_msg(handle).constData(), vx_msg(command->handle).constData(),
             text.constData(), x.constData(), y.constData());
    return vx_answer(response, handle);
}

int VX_GraphicsServer_textpopup(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    auto* popup = new VXTextPopup(viewport);
    QString handle;
    VX_GraphicsServer_set_object(server, VX_TYPE_TEXTPOPUP, popup, popup, handle);
    VX_TRACE("%s = new VXTextPopup(%s)", vx_msg(handle).constData(), vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

// The first argument is a record pointer as text ("%ld %ld %ld %ld"); a
// client that splits it into four arguments is understood too.  Further
// arguments are accepted and not used.
int VX_GraphicsServer_polyline_setsource_trace(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                               VX_GraphicsServer_response* response)
{
    Rsptr trace{};
    QByteArray text = command->args[0].toUtf8();
    if (rsptr_parse(text.constData(), &trace) != 0 &&
        (command->args.size() != 4 || rsptr_parse(command->args.join(QLatin1Char(' ')).toUtf8().constData(), &trace) != 0))
        return vx_fail(server, response, "VX_GraphicsServer_polyline_setsource_trace: Cannot parse Rsptr argument(%s).\n",
                       vx_msg(command->args[0]).constData());
    auto* polyline = static_cast<VXPolyline*>(command->target);
    if (polyline->setSourceTrace(trace) < 0)
        return vx_fail(server, response, "VX_GraphicsServer_polyline_setsource_trace: VXPolyline::setSourceTrace() error.\n");
    polyline->setItemStale();
    return vx_answer(response, command->handle);
}

// extra_args: the function (VX_GraphicsServer_viewport_event_callback) and the
// client's data; a null function registers nothing.
int VX_GraphicsServer_viewport_callback(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                        VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    if (auto fn = reinterpret_cast<VX_GraphicsServer_viewport_event_callback>(command->extra_args[0]))
        viewport->setEventCallback(fn, viewport, command->extra_args[1]);
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_viewport_getwcoordbb(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                           VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    // the outline of the view in world coordinates; an empty view answers
    // its limits as they stand
    const VxViewport& vp = viewport->vars;
    double xmin = qMin(vp.xleft, vp.xright), xmax = qMax(vp.xleft, vp.xright);
    double ymin = qMin(vp.ybottom, vp.ytop), ymax = qMax(vp.ybottom, vp.ytop);
    int np = 0, sp = 0;
    std::unique_ptr<QPainterPath> path(viewport->getWcoordsBB(16, &np, &sp));
    if (path && !path->isEmpty()) {
        QRectF r = path->boundingRect();
        xmin = r.left(), xmax = r.right(), ymin = r.top(), ymax = r.bottom();
    }
    vx_answer(response, command->command);
    for (double v : {xmin, xmax, ymin, ymax})
        response->return_params.append(QString::asprintf("%.16g", v));
    return 0;
}

int VX_GraphicsServer_viewport_getdimensions(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                             VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    const VxViewport& vp = viewport->vars;
    vx_answer(response, command->command);
    for (int v : {vp.w, vp.h, vp.mleft, vp.mright, vp.mbottom, vp.mtop})
        response->return_params.append(QString::asprintf("%d", v));
    return 0;
}

int VX_GraphicsServer_viewport_setcursor(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                         VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    const QString& name = command->args[0];
    if (name == QLatin1String("default"))
        viewport->setDefaultCursor(0);
    else if (name == QLatin1String("blank"))
        viewport->setCursor(Qt::BlankCursor);
    else if (name == QLatin1String("closedhand"))
        viewport->setCursor(Qt::ClosedHandCursor);
    else
        return vx_fail(server, response, "VX_GraphicsServer_setcursor: Unrecognized cursor name '%s'.\n",
                       vx_msg(name).constData());
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_viewport_showdisplaylist(VX_GraphicsServer* /*server*/, VX_GraphicsServer_command* command,
                                               VX_GraphicsServer_response* response)
{
    auto* viewport = static_cast<VXViewport*>(command->target);
    viewport->showDisplayList(nullptr);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_getwcoords(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                 VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_getwcoords";
    double x = 0.0, y = 0.0;
    if (!vx_to_double(proc, "getwcoords", command->args[0], &x) || !vx_to_double(proc, "getwcoords", command->args[1], &y))
        return VX_GraphicsServer_error2(server, response);
    double xw = 0.0, yw = 0.0;
    static_cast<VXViewport*>(command->target)->getWcoords(x, y, &xw, &yw, 0, 0, 0);
    vx_answer(response, command->handle);
    response->return_params << QString::asprintf("%.16g", xw) << QString::asprintf("%.16g", yw);
    return 0;
}

} // namespace

namespace {
const char* const kNotViewport = "{proc}: '{handle}' not a viewport.\n";
const char* const kNotViewportItem = "{proc}: Item {handle} not a viewport item.\n";
} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_viewport = {
    {"viewport", VX_GraphicsServer_viewport, "viewport FRAME|MAINWINDOW", "w = mainwindow none\nviewport $w",
     {.types = vx_types(VX_TYPE_FRAME, VX_TYPE_MAINWINDOW), .wrong_type = "{proc}: parent must be a frame or mainwindow.\n"}},
    {"axes", VX_GraphicsServer_axes, "axes VIEWPORT", "w = mainwindow none\nv = viewport $w\naxes $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewport}},
    {"polyline", VX_GraphicsServer_polyline, "polyline VIEWPORT", "w = mainwindow none\nv = viewport $w\npolyline $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewport}},
    {"text", VX_GraphicsServer_text, "text VIEWPORT text x y",
     "w = mainwindow none\nv = viewport $w\ntext $v \"Station PAS\" 0.5v 1.0v-10",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewport, .min_args = 3, .max_args = 3,
      .wrong_count = "{proc}: text item needs 3 arguments.\n"}},
    {"textpopup", VX_GraphicsServer_textpopup, "textpopup VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nt = textpopup $v\nconfigure $t text=hello timeout=1",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewport}},
    {"polyline_setsource_trace", VX_GraphicsServer_polyline_setsource_trace,
     "polyline_setsource_trace POLYLINE \"database table field record\"", "",
     {.types = vx_types(VX_TYPE_POLYLINE), .wrong_type = "{proc}: Item {handle} not a polyline item.\n",
      .min_args = 1, .wrong_count = "{proc}: No Rsptr argument.\n"}},
    {"viewport_callback", VX_GraphicsServer_viewport_callback, "viewport_callback VIEWPORT (function, client data)",
     "w = mainwindow none\nv = viewport $w\n@callback $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewportItem, .min_args = 2, .max_args = 2,
      .wrong_count = "{proc}: Need 2 callback arguments.\n", .flags = VX_CheckCountFirst | VX_CheckCountExtra}},
    {"viewport_getwcoordbb", VX_GraphicsServer_viewport_getwcoordbb, "viewport_getwcoordbb VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nviewport_getwcoordbb $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewportItem}},
    {"viewport_getdimensions", VX_GraphicsServer_viewport_getdimensions, "viewport_getdimensions VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nviewport_getdimensions $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewportItem}},
    {"viewport_setcursor", VX_GraphicsServer_viewport_setcursor, "viewport_setcursor VIEWPORT default|blank|closedhand",
     "w = mainwindow none\nv = viewport $w\nviewport_setcursor $v blank",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewportItem, .min_args = 1, .max_args = 1,
      .wrong_count = "VX_GraphicsServer_setcursor: setcursor needs 1 arguments.\n"}},
    {"viewport_showdisplaylist", VX_GraphicsServer_viewport_showdisplaylist, "viewport_showdisplaylist VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nviewport_showdisplaylist $v",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = kNotViewport}},
    {"getwcoords", VX_GraphicsServer_getwcoords, "getwcoords VIEWPORT x y",
     "w = mainwindow none\nv = viewport $w\ngetwcoords $v 10 20",
     {.types = vx_types(VX_TYPE_VIEWPORT), .wrong_type = "{proc}: getwcoords must have viewport item, not {type}.\n",
      .min_args = 2, .max_args = 2, .wrong_count = "{proc}: getwcoords needs 2 arguments.\n"}},
};
