// The trace view's client of an event server: a VXQKClient whose notices
// (posted from the server's thread, nothing else done there) reach the
// trace view's processQKCallback on the GUI thread through vxtr, and which
// carries the state of the view's event-service source.
//
// The pixelator reads a type 1 source's waveform rows and samples through
// this client (pixelator_qk_reader); the view rescans and re-reads when a
// notice says that the waveform rows changed.
#pragma once

#include "viewport/vxqkclient.h"
#include "waveform/tracesources.h"
#include "vxplot_export.h"

class VXPLOT_EXPORT VXTraceviewQKClient : public VXQKClient
{
public:
    // A client of server for the trace view traceview, posting its notices
    // to target (the view's widget; may be null: nothing is posted) and
    // handing them to receiver (the view) there.  ev starts out naming the
    // server, this client and the server's database.
    // priority: of the posted events (Qt's posting priority).
    VXTraceviewQKClient(QKServer* server, VXTraceview* traceview, QObject* target,
                        VXQKCallbackReceiver* receiver, int priority = 0);
    ~VXTraceviewQKClient() override;

    VXTraceview* const traceview;
    VxTraceviewQK ev;
    int nowfdisc = 0;  // 1 once a scan found no waveform table
};
