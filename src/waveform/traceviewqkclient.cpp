#include "waveform/traceviewqkclient.h"

VXTraceviewQKClient::VXTraceviewQKClient(QKServer* server, VXTraceview* traceview_, QObject* target,
                                         VXQKCallbackReceiver* receiver, int priority)
    : VXQKClient(server, target, priority, false), traceview(traceview_)
{
    vxtr = receiver;
    ev.traceview = traceview_;
    ev.qkserver = server;
    ev.qkclient = this;
    listen();  // last: callbacks may come from now on
}

VXTraceviewQKClient::~VXTraceviewQKClient()
{
    unregister();
}
