// The library's side of an event-server client: a QKClient whose callbacks,
// which run on the server's thread, only post an event to a Qt
// object (a viewport, a table view), so that all work on event data
// happens on the GUI thread in the order of posting.  The map events item,
// the trace view and the table views derive their clients from it.
//
// The object posted to must outlive the client: destroy the client first
// (its destructor waits for a callback in progress).  An event already
// posted when the client goes is delivered, or dies with the object.
#pragma once

#include "toolkit/events/qkclient.h"
#include "viewport/vxevent.h"
#include "vxplot_export.h"

class QObject;

// The event a VXQKClient posts: a VXQKCallbackEvent (same event type, so
// VXViewport hands it to vxme and vxtr) that also carries the notice.  A
// receiver reads it with VXQKClientEvent::of().
class VXPLOT_EXPORT VXQKClientEvent : public VXQKCallbackEvent
{
public:
    VXQKClientEvent() = default;
    ~VXQKClientEvent() override;

    // event as posted by a VXQKClient, or null for another kind.  Call it
    // before reading anything of the event: it also tells the thread
    // sanitizer that the event came through Qt's (uninstrumented) queue.
    static VXQKClientEvent* of(QEvent* event);

    QKResponse response;              // the server's notice; empty for a table notice
    Array<std::string, int> changed;  // tables whose rows changed, each with 1; empty for a response
};

class VXPLOT_EXPORT VXQKClient : public QKClient
{
public:
    // A client of server posting to target (may be null: nothing is
    // posted) at the given posting priority.  With listen_now it listens at
    // once; a class derived from it passes false and calls listen() last in
    // its own constructor (see QKClient).
    VXQKClient(QKServer* server, QObject* target, int priority = 0, bool listen_now = true);
    ~VXQKClient() override;

    // Post a VXQKClientEvent with a copy of the response, vxme and vxtr.
    void responseCallback(QKResponse response) override;
    // Post a VXQKClientEvent with the changed tables, vxme and vxtr.
    void checkDatabaseCallback(Array<std::string, int> changed) override;

    VXQKCallbackReceiver* vxme = nullptr;  // copied into each event
    VXQKCallbackReceiver* vxtr = nullptr;  // copied into each event

    QObject* target() const { return target_; }
    int priority() const { return priority_; }

private:
    QObject* const target_;
    const int priority_;
};
