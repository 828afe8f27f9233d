// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "dbus/clientfollower.h"
#include "positioning/positionadaptor.h"

#include <QCoreApplication>
#include <QDBusServiceWatcher>
#include <QTimerEvent>

namespace {

constexpr int exitDelayMs = 20000;

} // namespace

void OndraVexa::AddReference()
{
    requireBusCall("AddReference");
    exitTimer.stop();
    const QString client = message().service();
    serviceWatcher->addWatchedService(client);
    clientFollower->follow(client);
    ++references[client];
    if (references.size() == 1 && references.value(client) == 1)
        positionAdaptor->startUpdates();
    else
        positionAdaptor->republishPosition();
}

void OndraVexa::RemoveReference()
{
    requireBusCall("RemoveReference");
    const QString client = message().service();
    if (--references[client] <= 0) {
        serviceWatcher->removeWatchedService(client);
        clientFollower->unfollow(client);
        references.remove(client);
        if (references.isEmpty())
            startExitTimer();
    }

    if (references.isEmpty()) {
        positionAdaptor->stopUpdates();
        setStatus(StatusUnavailable);
    }
}

// Updates and status stay as they are: a client that crashed often comes back before the exit timer
// ends the process.
void OndraVexa::serviceUnregistered(const QString &service)
{
    serviceWatcher->removeWatchedService(service);
    clientFollower->unfollow(service);
    references.remove(service);
    if (references.isEmpty())
        startExitTimer();
}

void OndraVexa::startExitTimer()
{
    exitTimer.start(exitDelayMs, this);
}

void OndraVexa::restartTimer()
{
    if (exitTimer.isActive())
        startExitTimer();
}

void OndraVexa::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == exitTimer.timerId() && references.isEmpty())
        QCoreApplication::quit();
}
