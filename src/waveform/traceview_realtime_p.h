// The state shared between a trace view and its accumulate threads.
//
// VxTraceviewRealtime belongs to the view (and is shared with its threads
// so that a thread never reads freed state): the first-paint gate with the
// grid of the last paint, and the queue of new channels waiting for the GUI
// thread.  VxTideWorker is one accumulate thread with its reader.
//
// Locks: VxTraceviewRealtime::mutex and VxTideWorker::mutex are leaves:
// nothing else is taken while either is held.  The view's mutex_traces and
// a trace's tide_mutex are taken by the thread only to fold samples in.
#pragma once

#include "waveform/tracesources.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class VXTraceview;
struct TidereapThr;

// The grid as last painted; the accumulate threads drop and trim by it.
struct VxTraceviewGrid
{
    double tleft = 0.0;
    double tright = 0.0;
};

// One channel's samples, kept while the GUI thread decides about the channel.
struct VxTideBlock
{
    double time = 0.0;
    double samprate = 0.0;
    double calib = 1.0;
    char segtype[16] = {};
    std::vector<float> data;
};

// What the GUI thread decided about a channel.
struct VxTideDecision
{
    QString key;    // "NET_STA_CHAN[_LOC]"
    QString label;  // "sta chan", or "skip"
};

struct VxTideWorker;

// A new channel for the GUI thread to name and make traces for.
struct VxTideRequest
{
    std::shared_ptr<VxTideWorker> worker;
    QString key;
    QString net, sta, chan, loc;
    double time = 0.0;  // first sample seen
};

struct VxTraceviewRealtime
{
    std::mutex mutex;
    std::condition_variable painted_cv;
    bool painted = false;
    VxTraceviewGrid grid;
    std::vector<VxTideRequest> requests;  // new channels not yet handled
    bool request_posted = false;          // a handler is on its way to the GUI thread
    // Receives the posted events on the GUI thread (made there by
    // createTraces; the state is freed there too, the threads joined).
    std::unique_ptr<QObject> notifier;

    // Wait for the first paint, at most seconds; true once painted.
    bool waitPainted(double seconds);
    VxTraceviewGrid gridNow();
};

// Runs vx_tide_handle_requests() for the events an accumulate thread posts.
class VxTideNotifier : public QObject
{
public:
    explicit VxTideNotifier(std::shared_ptr<VXTraceview*> guard) : guard_(std::move(guard)) {}
    bool event(QEvent* event) override;
    static QEvent::Type eventType();

private:
    const std::shared_ptr<VXTraceview*> guard_;  // the view's self_guard
};

// A channel as the accumulate thread knows it.
struct VxTideChannel
{
    enum State { Pending, Skip, Ready };
    State state = Pending;
    QString sta, chan;  // of the trace, when Ready
    std::deque<VxTideBlock> blocks;  // while Pending
};

struct VxTideWorker
{
    VXTraceview* view = nullptr;
    std::shared_ptr<VxTraceviewRealtime> rt;
    std::shared_ptr<VXTraceview*> guard;  // the view's self_guard
    VxTraceviewTIDE* tide = nullptr;      // the record in the view's tides (its stachan_hash is the thread's)
    VxTraceviewTIDE source_tide;          // what every source of this ring is made from
    TidereapThr* reap = nullptr;
    QString key;
    std::thread thread;
    std::atomic<bool> stop{false};

    // Under mutex: requests of the GUI thread and its decisions.
    std::mutex mutex;
    std::condition_variable cv;
    bool reconfig = false;
    double after_time = 0.0;
    long reconfig_asked = 0;
    long reconfig_done = 0;
    std::vector<VxTideDecision> decisions;
    std::atomic<bool> has_decisions{false};
    QHash<QString, QString> states;  // key to "sta chan", "skip" or "pending", for tideChannelState

    // The thread's own.
    QHash<QString, VxTideChannel> channels;
    long buffered_blocks = 0;
    long dropped_buffer = 0;
    long dropped_old = 0;
};

// Most blocks waiting for decisions, over all channels of a ring: at about
// 2 KB each some 32 MB.  Beyond it new blocks of waiting channels are dropped.
constexpr long VX_TIDE_MAX_BUFFERED = 16384;

// On the GUI thread: name the channels of every request, make their
// traces or refuse them, and hand the decisions to their threads.
void vx_tide_handle_requests(VXTraceview* view);

// Drop the real-time columns of p before t; the caller holds its tide_mutex.
void vx_tide_trim(class VXPixelator* p, double t);

// Run the accumulate loop of worker until it is stopped.
void vx_tide_accumulate_run(std::shared_ptr<VxTideWorker> worker);
