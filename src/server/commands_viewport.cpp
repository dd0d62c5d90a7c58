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

// The viewport behind the command's handle, or null after registering the
// lookup's line or "<proc>: <message>" with the handle for another type.
VXViewport* vx_viewport_target(VX_GraphicsServer* server, const char* proc, const QString& handle,
                               const char* not_viewport)
{
    int type = -1;
    void* item = vx_lookup(server, proc, handle, &type);
    if (!item)
        return nullptr;
    if (type != VX_TYPE_VIEWPORT) {
        hl_register_error(0, not_viewport, proc, vx_msg(handle).constData());
        return nullptr;
    }
    return static_cast<VXViewport*>(item);
}

// Register a plot item made on the command's viewport, trace it as
// "<handle> = new <class>(<viewport>)" and answer with its handle.
int answerNewItem(VX_GraphicsServer* server, VX_GraphicsServer_command* command, VX_GraphicsServer_response* response,
                  int type, void* item, const char* class_name)
{
    QString handle;
    VX_GraphicsServer_set_item(server, type, item, handle);
    VX_TRACE("%s = new %s(%s)", vx_msg(handle).constData(), class_name, vx_msg(command->handle).constData());
    return vx_answer(response, handle);
}

bool vx_to_double(const char* proc, const char* name, const QString& text, double* value)
{
    bool ok = false;
    double v = text.toDouble(&ok);
    if (!ok) {
        hl_register_error(0, "%s: %s conversion error '%s'.\n", proc, name, vx_msg(text).constData());
        return false;
    }
    *value = v;
    return true;
}

int VX_GraphicsServer_viewport(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_viewport";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (type != VX_TYPE_FRAME && type != VX_TYPE_MAINWINDOW)
        return vx_fail(server, response, "VX_GraphicsServer_viewport: parent must be a frame or mainwindow.\n");
    QWidget* parent = vx_parent_widget(type, item);
    auto* viewport = new VXViewport(parent, 1, 1);
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
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_axes", command->handle,
                                              "%s: '%s' not a viewport.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    return answerNewItem(server, command, response, VX_TYPE_AXES, new VXAxes(viewport), "VXAxes");
}

int VX_GraphicsServer_polyline(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                               VX_GraphicsServer_response* response)
{
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_polyline", command->handle,
                                              "%s: '%s' not a viewport.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    return answerNewItem(server, command, response, VX_TYPE_POLYLINE, new VXPolyline(viewport), "VXPolyline");
}

// text VIEWPORT text x y: x and y stay pixel expressions ("0.5v", "left+10")
// that the item evaluates at each draw.
int VX_GraphicsServer_text(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                           VX_GraphicsServer_response* response)
{
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_text", command->handle,
                                              "%s: '%s' not a viewport.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 3)
        return vx_fail(server, response, "VX_GraphicsServer_text: text item needs 3 arguments.\n");
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
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_textpopup", command->handle,
                                              "%s: '%s' not a viewport.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
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
    const char* proc = "VX_GraphicsServer_polyline_setsource_trace";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (type != VX_TYPE_POLYLINE)
        return vx_fail(server, response, "VX_GraphicsServer_polyline_setsource_trace: Item %s not a polyline item.\n",
                       vx_msg(command->handle).constData());
    if (command->args.isEmpty())
        return vx_fail(server, response, "VX_GraphicsServer_polyline_setsource_trace: No Rsptr argument.\n");
    Rsptr trace{};
    QByteArray text = command->args[0].toUtf8();
    if (rsptr_parse(text.constData(), &trace) != 0 &&
        (command->args.size() != 4 || rsptr_parse(command->args.join(QLatin1Char(' ')).toUtf8().constData(), &trace) != 0))
        return vx_fail(server, response, "VX_GraphicsServer_polyline_setsource_trace: Cannot parse Rsptr argument(%s).\n",
                       vx_msg(command->args[0]).constData());
    auto* polyline = static_cast<VXPolyline*>(item);
    if (polyline->setSourceTrace(trace) < 0)
        return vx_fail(server, response, "VX_GraphicsServer_polyline_setsource_trace: VXPolyline::setSourceTrace() error.\n");
    polyline->setItemStale();
    return vx_answer(response, command->handle);
}

// extra_args: the function (VX_GraphicsServer_viewport_event_callback) and the
// client's data; a null function registers nothing.
int VX_GraphicsServer_viewport_callback(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                        VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_viewport_callback";
    if (command->extra_args.size() != 2)
        return vx_fail(server, response, "VX_GraphicsServer_viewport_callback: Need 2 callback arguments.\n");
    VXViewport* viewport = vx_viewport_target(server, proc, command->handle, "%s: Item %s not a viewport item.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    if (auto fn = reinterpret_cast<VX_GraphicsServer_viewport_event_callback>(command->extra_args[0]))
        viewport->setEventCallback(fn, viewport, command->extra_args[1]);
    return vx_answer(response, command->command);
}

int VX_GraphicsServer_viewport_getwcoordbb(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                           VX_GraphicsServer_response* response)
{
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_viewport_getwcoordbb", command->handle,
                                              "%s: Item %s not a viewport item.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
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

int VX_GraphicsServer_viewport_getdimensions(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                             VX_GraphicsServer_response* response)
{
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_viewport_getdimensions",
                                              command->handle, "%s: Item %s not a viewport item.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    const VxViewport& vp = viewport->vars;
    vx_answer(response, command->command);
    for (int v : {vp.w, vp.h, vp.mleft, vp.mright, vp.mbottom, vp.mtop})
        response->return_params.append(QString::asprintf("%d", v));
    return 0;
}

int VX_GraphicsServer_viewport_setcursor(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                         VX_GraphicsServer_response* response)
{
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_viewport_setcursor", command->handle,
                                              "%s: Item %s not a viewport item.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    if (command->args.size() != 1)
        return vx_fail(server, response, "VX_GraphicsServer_setcursor: setcursor needs 1 arguments.\n");
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

int VX_GraphicsServer_viewport_showdisplaylist(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                               VX_GraphicsServer_response* response)
{
    VXViewport* viewport = vx_viewport_target(server, "VX_GraphicsServer_viewport_showdisplaylist",
                                              command->handle, "%s: '%s' not a viewport.\n");
    if (!viewport)
        return VX_GraphicsServer_error2(server, response);
    viewport->showDisplayList(nullptr);
    return vx_answer(response, command->handle);
}

int VX_GraphicsServer_getwcoords(VX_GraphicsServer* server, VX_GraphicsServer_command* command,
                                 VX_GraphicsServer_response* response)
{
    const char* proc = "VX_GraphicsServer_getwcoords";
    int type = -1;
    void* item = vx_lookup(server, proc, command->handle, &type);
    if (!item)
        return VX_GraphicsServer_error2(server, response);
    if (type != VX_TYPE_VIEWPORT)
        return vx_fail(server, response, "VX_GraphicsServer_getwcoords: getwcoords must have viewport item, not %s.\n",
                       vx_type_word(type));
    if (command->args.size() != 2)
        return vx_fail(server, response, "VX_GraphicsServer_getwcoords: getwcoords needs 2 arguments.\n");
    double x = 0.0, y = 0.0;
    if (!vx_to_double(proc, "getwcoords", command->args[0], &x) || !vx_to_double(proc, "getwcoords", command->args[1], &y))
        return VX_GraphicsServer_error2(server, response);
    double xw = 0.0, yw = 0.0;
    static_cast<VXViewport*>(item)->getWcoords(x, y, &xw, &yw, 0, 0, 0);
    vx_answer(response, command->handle);
    response->return_params << QString::asprintf("%.16g", xw) << QString::asprintf("%.16g", yw);
    return 0;
}

} // namespace

extern const std::vector<VX_GraphicsServer_command_row> vx_commands_viewport = {
    {"viewport", VX_GraphicsServer_viewport, "viewport FRAME|MAINWINDOW", "w = mainwindow none\nviewport $w"},
    {"axes", VX_GraphicsServer_axes, "axes VIEWPORT", "w = mainwindow none\nv = viewport $w\naxes $v"},
    {"polyline", VX_GraphicsServer_polyline, "polyline VIEWPORT", "w = mainwindow none\nv = viewport $w\npolyline $v"},
    {"text", VX_GraphicsServer_text, "text VIEWPORT text x y",
     "w = mainwindow none\nv = viewport $w\ntext $v \"Station PAS\" 0.5v 1.0v-10"},
    {"textpopup", VX_GraphicsServer_textpopup, "textpopup VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nt = textpopup $v\nconfigure $t text=hello timeout=1"},
    {"polyline_setsource_trace", VX_GraphicsServer_polyline_setsource_trace,
     "polyline_setsource_trace POLYLINE \"database table field record\"", ""},
    {"viewport_callback", VX_GraphicsServer_viewport_callback, "viewport_callback VIEWPORT (function, client data)",
     "w = mainwindow none\nv = viewport $w\n@callback $v"},
    {"viewport_getwcoordbb", VX_GraphicsServer_viewport_getwcoordbb, "viewport_getwcoordbb VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nviewport_getwcoordbb $v"},
    {"viewport_getdimensions", VX_GraphicsServer_viewport_getdimensions, "viewport_getdimensions VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nviewport_getdimensions $v"},
    {"viewport_setcursor", VX_GraphicsServer_viewport_setcursor, "viewport_setcursor VIEWPORT default|blank|closedhand",
     "w = mainwindow none\nv = viewport $w\nviewport_setcursor $v blank"},
    {"viewport_showdisplaylist", VX_GraphicsServer_viewport_showdisplaylist, "viewport_showdisplaylist VIEWPORT",
     "w = mainwindow none\nv = viewport $w\nviewport_showdisplaylist $v"},
    {"getwcoords", VX_GraphicsServer_getwcoords, "getwcoords VIEWPORT x y",
     "w = mainwindow none\nv = viewport $w\ngetwcoords $v 10 20"},
};
