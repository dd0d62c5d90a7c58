#include "viewport/vxqkclient.h"

#include <QCoreApplication>

VXQKClientEvent::~VXQKClientEvent() = default;

VXQKClientEvent* VXQKClientEvent::of(VXQKCallbackEvent* event)
{
    return dynamic_cast<VXQKClientEvent*>(event);
}

VXQKClient::VXQKClient(QKServer* server, QObject* target, int priority)
    : QKClient(server), target_(target), priority_(priority)
{
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
    QCoreApplication::postEvent(target_, e, priority_);
}
