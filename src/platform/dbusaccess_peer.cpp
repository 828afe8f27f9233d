// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbusaccess_peer.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>

#include <limits>
#include <map>

namespace {

constexpr int callTimeoutMs = 5000;

std::map<QString, DAPeer> &cache(DA_BUS bus)
{
    static std::map<QString, DAPeer> system;
    static std::map<QString, DAPeer> session;
    return bus == DA_BUS_SYSTEM ? system : session;
}

/// 0 if the bus daemon does not tell.
pid_t processId(DA_BUS bus, const QString &name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("GetConnectionUnixProcessID"));
    call << name;
    const QDBusConnection connection
        = bus == DA_BUS_SYSTEM ? QDBusConnection::systemBus() : QDBusConnection::sessionBus();
    const QDBusMessage reply = connection.call(call, QDBus::Block, callTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("u"))
        return 0;
    const uint id = reply.arguments().at(0).toUInt();
    return id <= uint(std::numeric_limits<pid_t>::max()) ? static_cast<pid_t>(id) : 0;
}

} // namespace

DAPeer *da_peer_get(DA_BUS bus, const char *name)
{
    const QString key = QString::fromUtf8(name);
    const auto known = cache(bus).find(key);
    if (known != cache(bus).end())
        return &known->second;
    const pid_t pid = processId(bus, key);
    return pid == 0 ? nullptr : &cache(bus).emplace(key, DAPeer{pid}).first->second;
}

void da_peer_flush(DA_BUS bus, const char *name)
{
    cache(bus).erase(QString::fromUtf8(name));
}
