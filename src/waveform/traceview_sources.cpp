// VXTraceview: traces from a database through its event server.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkserver.h"
#include "waveform/trace.h"
#include "viewport/viewport.h"
#include "waveform/traceviewqkclient.h"
#include "viewport/vxqkclient.h"

#include <algorithm>

namespace {

// Hands the notices of the view's clients to the view; destroyed with the
// view, so that a notice still queued then is dropped.
class TraceviewReceiver : public VXQKCallbackReceiver
{
public:
    explicit TraceviewReceiver(VXTraceview* view) : view_(view) {}
    void processQKCallback(VXQKCallbackEvent* event) override { view_->processQKCallback(event); }

private:
    VXTraceview* const view_;
};

// Posted before other events: a rescan comes before paints that follow it.
constexpr int kNoticePriority = 0x7ffffffe;

} // namespace


QKServer* VXTraceview::openDatabase(const QString& path)
{
    for (QKServer* s : owned_servers)
        if (QString::fromStdString(s->getDbname()) == path)
            return s;
    // the server's thread watches the table files; its notices reach
    // processQKCallback() on the GUI thread
    auto* server = new QKServer(path.toStdString(), 1, 1, 1000, 0);
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
        if (!qk_receiver)
            qk_receiver = std::make_unique<TraceviewReceiver>(this);
        hl_ptimes("Calling QKClient", 0);
        client = new VXTraceviewQKClient(server, this, getViewportParent(), qk_receiver.get(), kNoticePriority);
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
    // the trace list changes under mutex_traces: real-time threads read it
    pthread_mutex_lock(&mutex_traces);
    const int i = appendNewTrace(label);
    VXTrace* trace = traces.value(i);
    if (trace)
        trace->setQk(client, calib_from_db, index, free_when_done);
    pthread_mutex_unlock(&mutex_traces);
    return trace ? i : -1;
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
        if (VXTrace* t = channel_label_hash.value(label, nullptr)) {
            // a channel shown already reads this database too (new rows of
            // another database's channel, a real-time trace)
            QList<VXTrace*> with_copies = t->copies;
            with_copies.prepend(t);
            for (VXTrace* c : with_copies) {
                pthread_mutex_lock(&mutex_traces);
                int failed = 0;
                try {
                    c->appendTraceSources(ev);
                } catch (...) {
                    failed = 1;
                }
                pthread_mutex_unlock(&mutex_traces);
                if (failed) {
                    hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::scanWfdisc: appendTraceSources(%s) error.\n",
                                      c->channel_label.toUtf8().constData());
                    return -1;
                }
            }
            continue;
        }
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
    last_scanwfdisc = timenow();
    pthread_mutex_lock(&mutex_traces);
    const int sorted = naturalSort(0);
    pthread_mutex_unlock(&mutex_traces);
    return sorted < 0 ? -1 : 0;
}

void VXTraceview::processQKCallback(VXQKCallbackEvent* event)
{
    VXQKClientEvent* notice = VXQKClientEvent::of(event);
    if (!notice)
        return;
    if (notice->changed.cnt() > 0) {
        if (notice->changed.get("wfdisc")) {
            // the notice does not name its client: every database is rescanned
            for (VXTraceviewQKClient* client : std::as_const(qks)) {
                if (client->nowfdisc)
                    continue;
                if (scanWfdisc(client->ev) < 0)
                    hl_clear_register(HL_CLEAR_PRINT);
            }
            refresh(1);
        } else if (notice->changed.get("arrival") || notice->changed.get("detection")) {
            refresh(0);
        }
        return;
    }
    const QKResponse& r = notice->response;
    QString output;
    if (vars.auto_select_event == 1 && r.most_recent_event_changed) {
        if (getEvent(QStringLiteral("mostrecent"), output) < 0)
            hl_clear_register(HL_CLEAR_PRINT);
    } else if (vars.auto_select_event == 2 && r.last_modified_event_changed) {
        if (getEvent(QStringLiteral("lastmodified"), output) < 0)
            hl_clear_register(HL_CLEAR_PRINT);
    }
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
