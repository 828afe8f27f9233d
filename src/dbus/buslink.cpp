// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbus/buslink.h"

#include <QDBusConnection>
#include <QDBusMessage>

namespace {

const QString busName = QStringLiteral("org.freedesktop.DBus");

} // namespace

BusLink::BusLink(QObject *parent) : QObject(parent)
{
    // A signal that the bus library makes itself.
    QDBusConnection::systemBus().connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
        QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
        SIGNAL(lost()));
}

void BusLink::watchEveryone()
{
    const QString noNewOwner = QLatin1String("");
    // With the bus's name here, the bus library would wait for the bus to tell its owner.
    QDBusConnection::systemBus().connect(QString(), QStringLiteral("/org/freedesktop/DBus"),
        busName, QStringLiteral("NameOwnerChanged"), {QString(), QString(), noNewOwner}, QString(),
        this, SLOT(nameOwnerChanged(QDBusMessage)));
}

void BusLink::nameOwnerChanged(const QDBusMessage &signal)
{
    if (signal.service() == busName && signal.signature() == QLatin1String("sss"))
        Q_EMIT left(signal.arguments().at(0).toString());
}
