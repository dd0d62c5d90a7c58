// VXTraceview: the GUI thread's side of real-time rings: starting and
// stopping accumulate threads, naming new channels and making their
// traces, the first-paint gate and re-reading from a time.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/base/strings.h"
#include "toolkit/events/qkclient.h"
#include "toolkit/events/qkserver.h"
#include "toolkit/params/kv.h"
#include "toolkit/seedlink/tidereap.h"
#include "viewport/viewport.h"
#include "waveform/trace.h"
#include "waveform/traceview_realtime_p.h"
#include "waveform/traceviewqkclient.h"

#include <chrono>
#include <cstdlib>

namespace {

std::shared_ptr<VxTraceviewRealtime> stateOf(VXTraceview* view)
{
    if (!view->realtime)
        view->realtime = std::make_shared<VxTraceviewRealtime>();
    return view->realtime;
}

// Whether expression takes the channel: matched whole against its name
// "NET_STA_CHAN[_LOC]" and against its label "STA CHAN".  An empty
// expression answers empty_answer; a bad one is complained about and
// takes nothing.
bool takes(const QString& expression, const QString& key, const QString& label, bool empty_answer, void** hook)
{
    if (expression.isEmpty())
        return empty_answer;
    const QByteArray e = expression.toUtf8();
    const QByteArray k = key.toUtf8(), l = label.toUtf8();
    const int a = strregmatch(k.constData(), e.constData(), hook);
    const int b = a == 1 ? 1 : strregmatch(l.constData(), e.constData(), hook);
    if (a < 0 || b < 0) {
        hl_clear_register(HL_CLEAR_PRINT);
        return false;
    }
    return a == 1 || b == 1;
}

// A text key of a channel parameter document, or empty.
QString kvText(Kv* kv, const char* key)
{
    void* value = nullptr;
    if (kv && kvget(kv, key, &value) == KV_KIND_STRING && value)
        return QString::fromUtf8(static_cast<const char*>(value));
    return {};
}

} // namespace

void VXTraceview::realtimePainted()
{
    std::shared_ptr<VxTraceviewRealtime> rt = stateOf(this);
    {
        std::lock_guard<std::mutex> lock(rt->mutex);
        rt->painted = true;
        rt->grid.tleft = tleft;
        rt->grid.tright = tright;
    }
    rt->painted_cv.notify_all();
}

int VXTraceview::createTraceTIDE(QString& label, VxTraceviewTIDE tide, VxTraceviewTIDE** tideptr, int calib_from_db,
                                 int index)
{
    VXTrace* trace = channel_label_hash.value(label, nullptr);
    int i = trace ? trace->index : -1;
    if (!trace) {
        i = appendNewTrace(label);
        trace = getTrace(i);
        if (!trace)
            return -1;
    }
    tide.calib_from_db = calib_from_db;
    pthread_mutex_lock(&trace->tide_mutex);
    VxTraceviewTIDE* t = nullptr;
    if (index >= 0) {
        t = trace->setTIDE(tide, index, calib_from_db);
    } else {
        try {
            t = trace->appendTraceSources(tide);
        } catch (...) {
            t = nullptr;
        }
    }
    if (t && dtperpixel > 0.0 && npixels > 0 && trace->setPixels(tleft, dtperpixel, npixels, 1, tbuffer) < 0)
        hl_clear_register(HL_CLEAR_PRINT);
    pthread_mutex_unlock(&trace->tide_mutex);
    if (!t) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraceTIDE: appendTraceSources(%s) error.\n",
                          label.toUtf8().constData());
        return -1;
    }
    if (tideptr)
        *tideptr = t;
    return i;
}

// Name a new channel, test it, make its traces: its label or "skip".
static QString decide(VXTraceview* view, VxTideWorker& w, const VxTideRequest& r)
{
    QString sta, chan;
    const bool has_loc = !r.loc.isEmpty() && r.loc != QLatin1String("-");
    if (w.source_tide.qkclient) {
        std::string s, c;
        if (w.source_tide.qkclient->rsseed2css(r.net.toStdString(), r.sta.toStdString(), r.chan.toStdString(),
                                                r.loc.toStdString(), &s, &c) < 0) {
            hl_clear_register(HL_CLEAR_QUIET);
            hl_complain(0, "VXTraceview::tide_accumulate_run_thread: rsseed2css() error.\n");
            return QStringLiteral("skip");
        }
        sta = QString::fromStdString(s);
        chan = QString::fromStdString(c);
    } else {
        sta = r.net + QLatin1Char('_') + r.sta;
        chan = has_loc ? r.chan + QLatin1Char('_') + r.loc : r.chan;
    }
    QString label = sta + QLatin1Char(' ') + chan;
    void* hook = nullptr;
    const bool ok = !takes(w.source_tide.stachan_reject_expr, r.key, label, false, &hook) &&
                    takes(w.source_tide.stachan_accept_expr, r.key, label, true, &hook);
    strregfree(&hook);
    if (!ok)
        return QStringLiteral("skip");

    QList<Kv*> params;
    const VxTraceviewNewChannelCallback& ncb = view->new_channel_callback;
    if (ncb.callback_proc)
        ncb.callback_proc(view, sta, chan, ncb.client_data, params);

    pthread_mutex_lock(&view->mutex_traces);
    VxTraceviewTIDE* tideptr = nullptr;
    const int index = view->createTraceTIDE(label, w.source_tide, &tideptr, w.source_tide.calib_from_db, -1);
    VXTrace* trace = index >= 0 ? view->traces.value(index) : nullptr;
    if (trace) {
        trace->sort_order = index;
        // each further parameter set is a copy with a source of its own
        for (qsizetype p = 0; p < params.size(); p++) {
            VXTrace* t = trace;
            if (p > 0) {
                t = view->traces.value(view->appendNewTrace(label));
                if (!t)
                    break;
                int source_index = -1;
                pthread_mutex_lock(&t->tide_mutex);
                VxTraceviewTIDE* copy_tide = t->setTIDE(w.source_tide, source_index, w.source_tide.calib_from_db);
                if (view->dtperpixel > 0.0 && view->npixels > 0)
                    t->setPixels(view->tleft, view->dtperpixel, view->npixels, 1, view->tbuffer);
                pthread_mutex_unlock(&t->tide_mutex);
                trace->copies_tideptr.append(copy_tide);
            }
            const QString filter = kvText(params[p], "filter");
            if (!filter.isEmpty())
                t->setFilterString(filter);
            const QString flabel = kvText(params[p], "label");
            if (!flabel.isEmpty())
                t->setFilterLabel(flabel);
            bool number = false;
            const double tpad = kvText(params[p], "tpad").toDouble(&number);
            if (number)
                t->setFilterTpad(tpad);
        }
        if (view->tstart_sources < -1e30 || r.time < view->tstart_sources)
            view->tstart_sources = r.time;
    }
    pthread_mutex_unlock(&view->mutex_traces);
    for (Kv* kv : params)
        kvfree(kv);
    if (!trace) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::processTIDEChannel: createTraceTIDE(%s) error.\n",
                          label.toUtf8().constData());
        hl_clear_register(HL_CLEAR_PRINT);
        return QStringLiteral("skip");
    }
    // positions come from the database of the event server, when there is one
    if (w.source_tide.qkclient)
        view->getStaCoords(trace);
    return label;
}

void vx_tide_handle_requests(VXTraceview* view)
{
    std::shared_ptr<VxTraceviewRealtime> rt = view->realtime;
    if (!rt)
        return;
    std::vector<VxTideRequest> requests;
    {
        std::lock_guard<std::mutex> lock(rt->mutex);
        requests.swap(rt->requests);
        rt->request_posted = false;
    }
    bool made = false;
    for (const VxTideRequest& r : requests) {
        VxTideWorker& w = *r.worker;
        if (w.stop.load())
            continue;
        const QString label = decide(view, w, r);
        made = made || label != QLatin1String("skip");
        std::lock_guard<std::mutex> lock(w.mutex);
        w.decisions.push_back({r.key, label});
        w.states.insert(r.key, label);
        w.has_decisions.store(true, std::memory_order_release);
    }
    if (!made)
        return;
    pthread_mutex_lock(&view->mutex_traces);
    if (view->naturalSort(0) < 0)
        hl_clear_register(HL_CLEAR_PRINT);
    pthread_mutex_unlock(&view->mutex_traces);
    view->refresh(0);
}

int VXTraceview::createTraces(QString tidename, Rsptr dbmaster, QKServer* server, QString tide_accept,
                              QString tide_reject, QString stachan_accept_expr, QString stachan_reject_expr,
                              int auto_tide)
{
    VXTraceviewQKClient* client = nullptr;
    if (server) {
        VxTraceviewQK ev = registerQKServer(server);
        if (!ev.qkclient) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraces: registerQKServer() error.\n");
            return -1;
        }
        // waveforms come from the ring, arrivals and detections from the server
        ev.qkclient->nowfdisc = 1;
        client = ev.qkclient;
    }
    const QString key = tidename + QLatin1Char(' ') + tide_accept + QLatin1Char(' ') + tide_reject;

    double after = -1.0;
    if (auto_tide) {
        // a view without a width yet shows the last five minutes
        const double width = tright > tleft ? tright - tleft : 300.0;
        setTimeWindow(timenow() + vars.animate_toffset - width, width);
        after = tleft - 0.1 * (tright - tleft);
    }
    if (tides.contains(key))
        return 0;

    std::shared_ptr<VxTraceviewRealtime> rt = stateOf(this);
    VXViewport* vp = getViewportParent();
    if (!vp) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraces: The view has no viewport.\n");
        return -1;
    }
    if (!rt->notifier) {
        std::lock_guard<std::mutex> lock(rt->mutex);
        rt->notifier = std::make_unique<VxTideNotifier>(self_guard);
    }
    const QByteArray name = tidename.toUtf8(), acc = tide_accept.toUtf8(), rej = tide_reject.toUtf8();
    // The deepest queue (about 34 MB at most): a network sends on while the
    // thread waits for a long paint, and a first burst from a start time
    // in the past is whole minutes of every channel.  A short wait of the
    // reader, so that the thread sees stop and re-read requests promptly.
    TidereapThr* reap =
        tidereapthr_new2(name.constData(), acc.constData(), rej.constData(), TIDEREAP_QUEUE_MAX, after, 0.1);
    if (!reap) {
        hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::createTraces: tidereapthr_new2() error.\n");
        return -1;
    }
    auto* tide = new VxTraceviewTIDE;
    tide->traceview = this;
    tide->tidename = tidename;
    tide->tidereap = reap;
    tide->db = dbmaster;
    tide->qkclient = client;
    tide->calib_from_db = 0;
    tide->stachan_accept_expr = stachan_accept_expr;
    tide->stachan_reject_expr = stachan_reject_expr;

    auto worker = std::make_shared<VxTideWorker>();
    worker->view = this;
    worker->rt = rt;
    worker->guard = self_guard;
    worker->tide = tide;
    worker->source_tide = *tide;
    worker->reap = reap;
    worker->key = key;
    try {
        worker->thread = std::thread(vx_tide_accumulate_run, worker);
    } catch (...) {
        tidereapthr_free(&reap);
        delete tide;
        hl_register_error(HL_SEVERITY_SYSTEM, "VXTraceview::createTraces: pthread_create() error.\n");
        return -1;
    }
    tides.insert(key, tide);
    tide_workers.append(worker);
    return 0;
}

int VXTraceview::tideAfter(QString when)
{
    const QString text = when.trimmed();
    double time = 0.0;
    if (text.isEmpty()) {
        time = tleft - 0.1 * (tright - tleft);
    } else {
        QString rest = text;
        const bool now = rest.startsWith(QLatin1String("now"));
        if (now)
            rest = rest.mid(3).trimmed();
        if (rest.isEmpty() && now) {
            time = timenow();
        } else if (rest.startsWith(QLatin1Char('+')) || rest.startsWith(QLatin1Char('-'))) {
            double dt = 0.0;
            if (deltimeparsez(rest.toUtf8().constData(), &dt) < 0) {
                hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::tideAfter: Unable to parse time '%s'\n",
                                  text.toUtf8().constData());
                return -1;
            }
            time = (now ? timenow() : tleft) + dt;
        } else if (now) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::tideAfter: Unrecognized argument '%s'.\n",
                              text.toUtf8().constData());
            return -1;
        } else if (timeparsez(text.toUtf8().constData(), &time) < 0) {
            hl_register_error(HL_SEVERITY_NORMAL, "VXTraceview::tideAfter: Unable to parse time '%s'\n",
                              text.toUtf8().constData());
            return -1;
        }
    }
    for (const std::shared_ptr<VxTideWorker>& w : std::as_const(tide_workers)) {
        std::unique_lock<std::mutex> lock(w->mutex);
        w->after_time = time;
        w->reconfig = true;
        const long asked = ++w->reconfig_asked;
        // the thread takes a request within one wait of its reader (0.1 s)
        // and one packet; a thread held up longer is not waited for
        if (!w->cv.wait_for(lock, std::chrono::seconds(2),
                            [&] { return w->reconfig_done >= asked || w->stop.load(); }))
            hl_complain(0, "VXTraceview::tideAfter: %s: the reader has not taken the request yet.\n",
                        w->key.toUtf8().constData());
    }
    refresh(0);
    return 0;
}

void VXTraceview::setNewChannelCallback(
    std::function<void(VXTraceview*, QString, QString, void*, QList<Kv*>&)> proc, void* client_data)
{
    new_channel_callback.callback_proc = std::move(proc);
    new_channel_callback.traceview = this;
    new_channel_callback.client_data = client_data;
}

void VXTraceview::trimTraces(double t)
{
    pthread_mutex_lock(&mutex_traces);
    for (VXTrace* trace : std::as_const(traces)) {
        pthread_mutex_lock(&trace->tide_mutex);
        vx_tide_trim(trace, t);
        pthread_mutex_unlock(&trace->tide_mutex);
    }
    pthread_mutex_unlock(&mutex_traces);
}

void VXTraceview::stopTides()
{
    const QList<std::shared_ptr<VxTideWorker>> list = tide_workers;
    tide_workers.clear();
    for (const std::shared_ptr<VxTideWorker>& w : list) {
        w->stop.store(true);
        {
            std::lock_guard<std::mutex> lock(w->mutex);
            w->cv.notify_all();
        }
        tidereapthr_stop(w->reap);  // wakes a thread waiting for a packet
        if (w->thread.joinable())
            w->thread.join();
        tidereapthr_free(&w->reap);
    }
    // sources keep their reader's address only to tell rings apart
    qDeleteAll(tides);
    tides.clear();
    if (realtime) {
        std::lock_guard<std::mutex> lock(realtime->mutex);
        realtime->requests.clear();
    }
}

QString VXTraceview::tideChannelState(const QString& channel_key)
{
    for (const std::shared_ptr<VxTideWorker>& w : std::as_const(tide_workers)) {
        std::lock_guard<std::mutex> lock(w->mutex);
        const QString s = w->states.value(channel_key);
        if (!s.isEmpty())
            return s;
    }
    return {};
}
