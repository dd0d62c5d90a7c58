#include "viewport/vxqkclient.h"

#include <QCoreApplication>

#if defined(__SANITIZE_THREAD__)
// The hand-over of an event through Qt's queue, told to the thread
// sanitizer, which does not see Qt's own locking.
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#define VX_HANDOVER_RELEASE(p) __tsan_release(p)
#define VX_HANDOVER_ACQUIRE(p) __tsan_acquire(p)
#else
#define VX_HANDOVER_RELEASE(p) ((void)(p))
#define VX_HANDOVER_ACQUIRE(p) ((void)(p))
#endif

VXQKClientEvent::~VXQKClientEvent() = default;

VXQKClientEvent* VXQKClientEvent::of(QEvent* event)
{
    if (!event)
        return nullptr;
    VX_HANDOVER_ACQUIRE(event);
    if (event->type() != VXQKCallbackEvent::eventType())
        return nullptr;
    return dynamic_cast<VXQKClientEvent*>(event);
}

VXQKClient::VXQKClient(QKServer* server, QObject* target, int priority, bool listen_now)
    : QKClient(server), target_(target), priority_(priority)
{
    if (listen_now)
        listen();  // last: callbacks may come from now on
}

VXQKClient::~VXQKClient()
{
    // no callback may reach this half-destroyed object
    unregister();
}

void VXQKClient::responseCallback(QKResponse response)
{
    if (!target_)
        return;
    auto* e = new VXQKClientEvent;
    e->response = std::move(response);
    e->vxme = vxme;
    e->vxtr = vxtr;
    VX_HANDOVER_RELEASE(e);
    QCoreApplication::postEvent(target_, e, priority_);
}

void VXQKClient::checkDatabaseCallback(Array<std::string, int> changed)
{
    if (!target_)
        return;
    auto* e = new VXQKClientEvent;
    e->changed = std::move(changed);
    e->vxme = vxme;
    e->vxtr = vxtr;
    VX_HANDOVER_RELEASE(e);
    QCoreApplication::postEvent(target_, e, priority_);
}
