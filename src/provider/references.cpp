// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "dbus/buslink.h"
#include "positioning/positionadaptor.h"

#include <qmcetklock.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

namespace {

constexpr int mostClientsWatchedSingly = 256;

const char *statusName(OndraVexa::Status status)
{
    switch (status) {
    case OndraVexa::StatusError:
        return "StatusError";
    case OndraVexa::StatusUnavailable:
        return "StatusUnavailable";
    case OndraVexa::StatusAcquiring:
        return "StatusAcquiring";
    case OndraVexa::StatusAvailable:
        return "StatusAvailable";
    }
    return "Invalid status";
}

} // namespace

void OndraVexa::AddReference()
{
    requireBusCall("AddReference");
    exitTimer.stop();
    const QString client = message().service();
    watchClient(client);
    ++references[client];
    if (references.size() == 1 && references.value(client) == 1)
        positionAdaptor->startUpdates();
    else
        positionAdaptor->republishPosition();
}

void OndraVexa::watchClient(const QString &client)
{
    if (references.contains(client))
        return;

    serviceWatcher->addWatchedService(client);
    // A bus takes only so many watches of one connection, 512 by default.
    if (references.size() == mostClientsWatchedSingly)
        busLink->watchEveryone();
    // A client that left before the watch was in place would be missed, and keep the daemon up for
    // ever.
    const QDBusPendingCall hasOwner = QDBusConnection::systemBus().interface()->asyncCall(
        QStringLiteral("NameHasOwner"), client);
    auto *call = new QDBusPendingCallWatcher(hasOwner, this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, client] {
        const QDBusPendingReply<bool> reply = *call;
        call->deleteLater();
        if (reply.isValid() && !reply.value())
            forgetClient(client);
    });
}

void OndraVexa::RemoveReference()
{
    requireBusCall("RemoveReference");
    const QString client = message().service();
    if (--references[client] <= 0) {
        serviceWatcher->removeWatchedService(client);
        references.remove(client);
        if (references.isEmpty())
            startExitTimer();
    }

    if (references.isEmpty()) {
        positionAdaptor->stopUpdates();
        setStatus(StatusUnavailable);
    }
}

void OndraVexa::serviceUnregistered(const QString &service)
{
    serviceWatcher->removeWatchedService(service);
    references.remove(service);
    if (references.isEmpty())
        startExitTimer();
}

void OndraVexa::forgetClient(const QString &client)
{
    if (references.contains(client))
        serviceUnregistered(client);
}

void OndraVexa::forgetClients()
{
    const QStringList clients = references.keys();
    for (const QString &client : clients)
        forgetClient(client);
}

void OndraVexa::setStatus(OndraVexa::Status newStatus)
{
    if (newStatus == status)
        return;

    status = newStatus;
    qDebug("%s", statusName(status));
    Q_EMIT StatusChanged(status);
}

void OndraVexa::positionAcquiringHandler(bool acquiring)
{
    setStatus(acquiring ? StatusAcquiring : StatusAvailable);
}

void OndraVexa::lockedChangedHandler()
{
    constexpr int backgroundInterval = 1;
    if (keepRequests == 0)
        return;

    const quint64 lockedInterval
        = keepRequests == backgroundInterval ? backgroundUpdateInterval : 0;
    positionAdaptor->setUpdateInterval(tkLock->locked() ? lockedInterval : updateInterval);
}
