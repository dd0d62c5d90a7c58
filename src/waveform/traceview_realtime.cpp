// VXTraceview: the accumulate thread of a real-time ring.
//
// The thread takes packets from its reader, decodes them and folds each
// channel into the columns of its traces.  A channel seen for the first
// time is handed to the GUI thread (traceview_realtime_gui.cpp), which
// names it and makes its traces or refuses it; meanwhile its samples wait
// in a bounded buffer.  The thread never changes the trace list and never
// waits for the GUI thread.
#include "waveform/traceview.h"

#include "toolkit/base/errors.h"
#include "toolkit/base/hltime.h"
#include "toolkit/seedlink/pktchan.h"
#include "toolkit/seedlink/tidereap.h"
#include "waveform/trace.h"
#include "waveform/traceview_realtime_p.h"

#include <QCoreApplication>
#include <QEvent>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_THREAD__)
// The hand-over of a call through Qt's queue, told to the thread sanitizer,
// which does not see Qt's own locking.
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#define VX_HANDOVER_RELEASE(p) __tsan_release(p)
#define VX_HANDOVER_ACQUIRE(p) __tsan_acquire(p)
#else
#define VX_HANDOVER_RELEASE(p) ((void)(p))
#define VX_HANDOVER_ACQUIRE(p) ((void)(p))
#endif

namespace {

// The protected column operations of a pixelator, for the feed.
struct PixelatorAccess : VXPixelator
{
    static int add(VXPixelator* p, VxPixelatorSource* source, double t0, int nsamp, double dt, double calib,
                   const char* segtype, const float* data)
    {
        return (p->*(&PixelatorAccess::addSegment))(source, t0, nsamp, dt, calib, segtype, data, 1);
    }
    static void stats(VXPixelator* p) { (p->*(&PixelatorAccess::setStats))(); }
    static void trim(VXPixelator* p, double t) { (p->*(&PixelatorAccess::trimSegments))(t); }
};

// Seconds before the left edge beyond which a packet is not kept.
constexpr double kDropBeforeLeft = 100.0;
// Seconds between two trims of one trace.
constexpr double kTrimInterval = 60.0;

// The real-time source of p read by reap, or null.
VxPixelatorSource* tideSource(VXPixelator* p, TidereapThr* reap)
{
    for (VxPixelatorSource* s : std::as_const(p->sources))
        if (s->type == 2 && s->tide.tidereap == reap)
            return s;
    return nullptr;
}

// Fold the samples into p's source, then its statistics, trimming at most
// once a minute.  The caller holds p's tide_mutex.
void feed(VXPixelator* p, VxPixelatorSource* source, const PktChan* c, const float* data,
          const VxTraceviewGrid& grid)
{
    if (PixelatorAccess::add(p, source, c->time, c->nsamp, 1.0 / c->samprate, c->calib, c->segtype, data) < 0)
        hl_clear_register(HL_CLEAR_PRINT);
    PixelatorAccess::stats(p);
    const double now = timenow();
    if (now - p->last_trim_time > kTrimInterval && grid.tright > grid.tleft) {
        p->last_trim_time = now;
        PixelatorAccess::trim(p, grid.tleft - (grid.tright - grid.tleft));
    }
}

QString channelKey(const PktChan& c)
{
    char key[TIDEREAP_SRCNAME_SIZE];
    pkt_srcname(c.net, c.sta, c.chan, c.loc, key, sizeof key);
    return QString::fromLatin1(key);
}

} // namespace

void vx_tide_trim(VXPixelator* p, double t)
{
    PixelatorAccess::trim(p, t);
    PixelatorAccess::stats(p);
}

QEvent::Type VxTideNotifier::eventType()
{
    static const QEvent::Type type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

bool VxTideNotifier::event(QEvent* event)
{
    VX_HANDOVER_ACQUIRE(event);
    if (event->type() != eventType())
        return QObject::event(event);
    if (*guard_)
        vx_tide_handle_requests(*guard_);
    return true;
}

bool VxTraceviewRealtime::waitPainted(double seconds)
{
    std::unique_lock<std::mutex> lock(mutex);
    return painted_cv.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return painted; });
}

VxTraceviewGrid VxTraceviewRealtime::gridNow()
{
    std::lock_guard<std::mutex> lock(mutex);
    return grid;
}

int VXTraceview::processTIDEChannel(PktChan* c, VxTraceviewTIDE* tide, QString sta, QString chan_name)
{
    if (!c || !tide || c->nsamp < 1 || !(c->samprate > 0.0))
        return 0;
    // integers become floats before any lock is taken; the buffer is the
    // thread's and grows to the longest packet only
    thread_local std::vector<float> converted;
    const float* data = reinterpret_cast<const float*>(c->data);
    if (!c->isfloat) {
        converted.resize(static_cast<size_t>(c->nsamp));
        for (int i = 0; i < c->nsamp; i++)
            converted[static_cast<size_t>(i)] = static_cast<float>(c->data[i]);
        data = converted.data();
    }
    const VxTraceviewGrid grid = realtime ? realtime->gridNow() : VxTraceviewGrid{};
    const QString label = sta + QLatin1Char(' ') + chan_name;

    pthread_mutex_lock(&mutex_traces);
    VXTrace* trace = channel_label_hash.value(label, nullptr);
    if (!trace) {
        pthread_mutex_unlock(&mutex_traces);
        return -1;
    }
    pthread_mutex_lock(&trace->tide_mutex);
    VxPixelatorSource* source = tideSource(trace, tide->tidereap);
    if (source)
        feed(trace, source, c, data, grid);
    pthread_mutex_unlock(&trace->tide_mutex);
    if (!source) {
        pthread_mutex_unlock(&mutex_traces);
        return -1;
    }
    // copies made for the channel have sources of their own (other
    // filters); a copy that shares the original's source is fed by it
    for (VXTrace* copy : std::as_const(trace->copies)) {
        pthread_mutex_lock(&copy->tide_mutex);
        VxPixelatorSource* s = tideSource(copy, tide->tidereap);
        if (s && s != source)
            feed(copy, s, c, data, grid);
        pthread_mutex_unlock(&copy->tide_mutex);
    }
    pthread_mutex_unlock(&mutex_traces);
    return 0;
}

namespace {

// Post the GUI thread's handler of new channels unless one is on its way.
void postRequest(VxTideWorker& w, VxTideRequest&& request)
{
    VxTraceviewRealtime& rt = *w.rt;
    bool post = false;
    {
        std::lock_guard<std::mutex> lock(rt.mutex);
        rt.requests.push_back(std::move(request));
        if (!rt.request_posted && rt.notifier) {
            rt.request_posted = true;
            post = true;
        }
    }
    if (!post)
        return;
    // the notifier lives as long as the view, which joins this thread first
    auto* e = new QEvent(VxTideNotifier::eventType());
    VX_HANDOVER_RELEASE(e);
    QCoreApplication::postEvent(rt.notifier.get(), e);
}

// Empty the columns of the ring's sources: a re-read follows.
void clearRing(VxTideWorker& w)
{
    VXTraceview* view = w.view;
    pthread_mutex_lock(&view->mutex_traces);
    for (VXTrace* t : std::as_const(view->traces)) {
        pthread_mutex_lock(&t->tide_mutex);
        bool changed = false;
        for (VxPixelatorSource* s : std::as_const(t->sources)) {
            if (s->type == 2 && s->tide.tidereap == w.reap) {
                s->segments.clear();
                s->next_time = 0.0;
                changed = true;
            }
        }
        if (changed)
            PixelatorAccess::stats(t);
        pthread_mutex_unlock(&t->tide_mutex);
    }
    pthread_mutex_unlock(&view->mutex_traces);
    for (auto it = w.channels.begin(); it != w.channels.end(); ++it) {
        w.buffered_blocks -= static_cast<long>(it->blocks.size());
        it->blocks.clear();
    }
}

// A restart asked for by tideAfter(): clear, restart the reader, tell.
void handleReconfig(VxTideWorker& w)
{
    double after = 0.0;
    long asked = 0;
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        if (!w.reconfig)
            return;
        w.reconfig = false;
        after = w.after_time;
        asked = w.reconfig_asked;
    }
    clearRing(w);
    if (tidereapthr_after(w.reap, after) < 0)
        hl_clear_register(HL_CLEAR_PRINT);
    std::lock_guard<std::mutex> lock(w.mutex);
    w.reconfig_done = asked;
    w.cv.notify_all();
}

void foldBlock(VxTideWorker& w, const VxTideChannel& ch, const VxTideBlock& b)
{
    PktChan c;
    c.data = const_cast<int*>(reinterpret_cast<const int*>(b.data.data()));
    c.isfloat = 1;
    c.time = b.time;
    c.samprate = b.samprate;
    c.calib = b.calib;
    c.nsamp = static_cast<int>(b.data.size());
    memcpy(c.segtype, b.segtype, sizeof c.segtype);
    w.view->processTIDEChannel(&c, w.tide, ch.sta, ch.chan);
}

// Take the GUI thread's decisions; the samples that waited go in now.
void takeDecisions(VxTideWorker& w)
{
    if (!w.has_decisions.load(std::memory_order_acquire))
        return;
    std::vector<VxTideDecision> list;
    {
        std::lock_guard<std::mutex> lock(w.mutex);
        list.swap(w.decisions);
        w.has_decisions.store(false, std::memory_order_relaxed);
    }
    for (const VxTideDecision& d : list) {
        auto it = w.channels.find(d.key);
        if (it == w.channels.end())
            continue;
        VxTideChannel& ch = *it;
        w.tide->stachan_hash.insert(d.key, d.label);
        if (d.label == QLatin1String("skip")) {
            ch.state = VxTideChannel::Skip;
        } else {
            const qsizetype blank = d.label.indexOf(QLatin1Char(' '));
            ch.sta = d.label.left(blank);
            ch.chan = d.label.mid(blank + 1);
            ch.state = VxTideChannel::Ready;
            for (const VxTideBlock& b : ch.blocks)
                foldBlock(w, ch, b);
        }
        w.buffered_blocks -= static_cast<long>(ch.blocks.size());
        ch.blocks.clear();
    }
}

void handleChannel(const std::shared_ptr<VxTideWorker>& self, PktChan& c)
{
    VxTideWorker& w = *self;
    if (c.nsamp < 1 || !(c.samprate > 0.0) || !std::isfinite(c.time))
        return;
    // the ring must not pile up what the view can't show
    const VxTraceviewGrid grid = w.rt->gridNow();
    const double end = c.time + c.nsamp / c.samprate;
    if (grid.tright > grid.tleft && end <= grid.tleft - kDropBeforeLeft) {
        w.dropped_old++;
        return;
    }
    const QString key = channelKey(c);
    auto it = w.channels.find(key);
    if (it == w.channels.end()) {
        it = w.channels.insert(key, VxTideChannel());
        {
            std::lock_guard<std::mutex> lock(w.mutex);
            w.states.insert(key, QStringLiteral("pending"));
        }
        VxTideRequest r;
        r.key = key;
        r.net = QString::fromLatin1(c.net);
        r.sta = QString::fromLatin1(c.sta);
        r.chan = QString::fromLatin1(c.chan);
        r.loc = QString::fromLatin1(c.loc);
        r.time = c.time;
        r.worker = self;
        postRequest(w, std::move(r));
    }
    VxTideChannel& ch = *it;
    if (ch.state == VxTideChannel::Skip)
        return;
    if (ch.state == VxTideChannel::Ready) {
        w.view->processTIDEChannel(&c, w.tide, ch.sta, ch.chan);
        return;
    }
    if (w.buffered_blocks >= VX_TIDE_MAX_BUFFERED) {
        if (w.dropped_buffer++ == 0)
            hl_complain(0, "VXTraceview::tide_accumulate_thread: %s: too many channels wait for their traces; "
                           "samples are dropped.\n", w.key.toUtf8().constData());
        return;
    }
    VxTideBlock b;
    b.time = c.time;
    b.samprate = c.samprate;
    b.calib = c.calib;
    memcpy(b.segtype, c.segtype, sizeof b.segtype);
    b.data.resize(static_cast<size_t>(c.nsamp));
    for (int i = 0; i < c.nsamp; i++)
        b.data[static_cast<size_t>(i)] = c.isfloat ? reinterpret_cast<const float*>(c.data)[i]
                                                   : static_cast<float>(c.data[i]);
    ch.blocks.push_back(std::move(b));
    w.buffered_blocks++;
}

} // namespace

void vx_tide_accumulate_run(std::shared_ptr<VxTideWorker> worker)
{
    VxTideWorker& w = *worker;
    char srcname[TIDEREAP_SRCNAME_SIZE] = {};
    char* packet = nullptr;
    int bufsize = 0;
    while (!w.stop.load()) {
        handleReconfig(w);
        takeDecisions(w);
        // no packet before the first paint: the grid is not known yet
        if (!w.rt->waitPainted(0.1))
            continue;
        int pktid = 0, nbytes = 0;
        double pkttime = 0.0;
        const int r = tidereapthr_get(w.reap, &pktid, srcname, &pkttime, &packet, &nbytes, &bufsize);
        if (r == TIDEREAP_STOPPED)
            break;
        if (r != TIDEREAP_PACKET) {
            if (r < 0)
                hl_clear_register(HL_CLEAR_PRINT);
            continue;
        }
        Packet* pkt = nullptr;
        const int type = pktDecode(srcname, pkttime, packet, nbytes, &pkt);
        if (type < 0) {
            hl_clear_register(HL_CLEAR_PRINT);
            continue;
        }
        if (type != PKT_WAVEFORM && type != PKT_WAVEFORM_FLOAT) {
            hl_complain(0, "VXTraceview::tide_accumulate_thread: %s: wrong packet type.\n", srcname);
        } else {
            for (PktChan& c : pkt->channels)
                handleChannel(worker, c);
        }
        pktFree(&pkt);
        if (hl_error_count() > 0)
            hl_clear_register(HL_CLEAR_PRINT);
    }
    free(packet);
    hl_clear_register(HL_CLEAR_PRINT);
}
