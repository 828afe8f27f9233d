// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbus/clientfollower.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

namespace {

// A bus takes only so many watches of one connection, 512 by default.
constexpr int mostClientsWatchedSingly = 256;

} // namespace

ClientFollower::ClientFollower(QObject *parent) : QObject(parent)
{
    // A signal that the bus library makes itself.
    QDBusConnection::systemBus().connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
        QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
        SLOT(disconnected()));
}

void ClientFollower::follow(const QString &client)
{
    if (m_clients.contains(client))
        return;
    if (m_clients.size() == mostClientsWatchedSingly)
        watchEveryone();
    m_clients.insert(client);
    askWhetherPresent(client);
}

void ClientFollower::unfollow(const QString &client)
{
    m_clients.remove(client);
}

void ClientFollower::askWhetherPresent(const QString &client)
{
    const QDBusPendingCall hasOwner = QDBusConnection::systemBus().interface()->asyncCall(
        QStringLiteral("NameHasOwner"), client);
    auto *call = new QDBusPendingCallWatcher(hasOwner, this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, client] {
        const QDBusPendingReply<bool> reply = *call;
        call->deleteLater();
        if (reply.isValid() && !reply.value())
            leave(client);
    });
}

void ClientFollower::watchEveryone()
{
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    const QString noNewOwner = QLatin1String("");
    QDBusConnection::systemBus().connect(bus, QStringLiteral("/org/freedesktop/DBus"), bus,
        QStringLiteral("NameOwnerChanged"), {QString(), QString(), noNewOwner}, QString(), this,
        SLOT(nameOwnerChanged(QDBusMessage)));
}

void ClientFollower::nameOwnerChanged(const QDBusMessage &signal)
{
    leave(signal.arguments().value(0).toString());
}

void ClientFollower::disconnected()
{
    const QSet<QString> clients = m_clients;
    for (const QString &client : clients)
        leave(client);
}

void ClientFollower::leave(const QString &client)
{
    if (m_clients.remove(client))
        Q_EMIT left(client);
}
