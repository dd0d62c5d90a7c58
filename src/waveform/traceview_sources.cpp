// VXTraceview: traces from a database through its event server.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkserver.h"
#include "waveform/trace.h"
#include "viewport/viewport.h"
#include "waveform/traceviewqkclient.h"

#include <algorithm>


QKServer* VXTraceview::openDatabase(const QString& path)
{
    for (QKServer* s : owned_servers)
        if (QString::fromStdString(s->getDbname()) == path)
            return s;
    // the view refreshes on its own: no watching thread is needed until
    // rows appended by others are followed
    auto* server = new QKServer(path.toStdString(), 0, 0, 1000, 0);
    owned_servers.append(server);
    return server;
}

VxTraceviewQK VXTraceview::registerQKServer(QKServer* server)
{
    VxTraceviewQK ev;
    if (!server)
        return ev;
    const QString name = QString::fromStdString(server->getDbname());
    VXTraceviewQKClient* client = qks.value(name);
    if (!client) {
        hl_ptimes("Calling QKClient", 0);
        client = new VXTraceviewQKClient(server, this, nullptr, nullptr);
        hl_ptimes("Done calling QKClient", 0);
        qks.insert(name, client);
    }
    client->ev.calib_from_db = 1;
    selected_ev = client->ev;
    return client->ev;
}

void VXTraceview::getStaCoords(VXTrace* trace)
{
    trace->lat = trace->lon = trace->elev = -999.0;
    VXTraceviewQKClient* client = selected_ev.qkclient;
    QKTableRecord site;
    const QByteArray sta = trace->sta.toUtf8();
    if (!client || client->getSite(sta.constData(), tleft, site) != 1) {
        hl_clear_register(0);
        hl_complain(0, "VXTraceview::getStaCoords: No site info for %s %s.\n", sta.constData(),
                    trace->chan.toUtf8().constData());
        return;
    }
    Rsptr row;
    double lat = -999.0, lon = -999.0, elev = -999.0;
    if (client->getRsptr("site", &site, &row) == 0 &&
        rsgetv(row, nullptr, "lat", &lat, "lon", &lon, "elev", &elev, nullptr) == 0) {
        trace->lat = lat;
        trace->lon = lon;
        trace->elev = elev;
    }
    hl_clear_register(0);
}

int VXTraceview::createTraceQk(QString& label, VXTraceviewQKClient* client, int calib_from_db, int index,
                               int free_when_done)
{
    const int i = appendNewTrace(label);
    VXTrace* trace = getTrace(i);
    if (!trace)
        return -1;
    trace->setQk(client, calib_from_db, index, free_when_done);
    return i;
}

int VXTraceview::scanWfdisc(VxTraceviewQK& ev)
{
    if (!ev.qkclient) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::scanWfdisc: No event client.\n");
        return -1;
    }
    int status = 0;
    const Table<QKStaChan> channels = ev.qkclient->scanWfdisc(
        -1e30, 1e30, ev.stachan_accept_expr.toStdString(), ev.stachan_reject_expr.toStdString(), &status);
    if (status < 0)
        return -1;
    for (int i = 0; i < channels.max(); i++) {
        const QKStaChan& c = channels.get(i);
        QString label = QStringLiteral("%1 %2").arg(QString::fromLatin1(c.sta), QString::fromLatin1(c.chan));
        if (channel_label_hash.contains(label))
            continue;
        const int index = createTraceQk(label, ev.qkclient, ev.calib_from_db, -1, 0);
        if (index < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::scanWfdisc: createTraceQk(%s) error.\n",
                              label.toUtf8().constData());
            return -1;
        }
        VXTrace* trace = getTrace(index);
        std::string net, seed_sta, seed_chan, loc;
        if (ev.qkclient->rscss2seed(c.sta, c.chan, &net, &seed_sta, &seed_chan, &loc) < 0) {
            hl_clear_register(0);
            hl_complain(0, "VXTraceview::scanWfdisc: rscss2seed() error.\n");
        } else {
            trace->seed_net = QString::fromStdString(net);
            trace->seed_sta = QString::fromStdString(seed_sta);
            trace->seed_chan = QString::fromStdString(seed_chan);
            trace->seed_loc = QString::fromStdString(loc);
        }
        getStaCoords(trace);
        if (tstart_sources < -1e30 || c.time < tstart_sources)
            tstart_sources = c.time;
        tend_sources = std::max(tend_sources, c.endtime);
    }
    return naturalSort(0) < 0 ? -1 : 0;
}

int VXTraceview::createTraces(QKServer* server, QString stachan_accept_expr, QString stachan_reject_expr)
{
    if (!server) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraces: registerQKServer() error.\n");
        return -1;
    }
    VxTraceviewQK ev = registerQKServer(server);
    if (!ev.qkclient) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraces: registerQKServer() error.\n");
        return -1;
    }
    ev.stachan_accept_expr = stachan_accept_expr;
    ev.stachan_reject_expr = stachan_reject_expr;
    ev.qkclient->ev.stachan_accept_expr = stachan_accept_expr;
    ev.qkclient->ev.stachan_reject_expr = stachan_reject_expr;
    if (scanWfdisc(ev) < 0) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraces: VXTraceview::scanWfdisc() error.\n");
        return -1;
    }
    if (tright == tleft && tstart_sources > -1e30 && tend_sources > tstart_sources) {
        VXViewport* vp = getViewportParent();
        // the x range the viewport was given (it takes effect at the next paint)
        const double x0 = vp ? vp->vars.spc_xleft : 0.0, x1 = vp ? vp->vars.spc_xright : 0.0;
        if (x1 > x0 && x0 < tend_sources && x1 > tstart_sources)
            setTimeWindow(x0, x1 - x0);
        else
            setTimeWindow(tstart_sources, tend_sources - tstart_sources);
    }
    refresh(1);
    return 0;
}
