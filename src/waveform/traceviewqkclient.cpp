#include "waveform/traceviewqkclient.h"

VXTraceviewQKClient::VXTraceviewQKClient(QKServer* server, VXTraceview* traceview_, QObject* target,
                                         VXQKCallbackReceiver* receiver)
    : VXQKClient(server, target, 0, false), traceview(traceview_)
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
