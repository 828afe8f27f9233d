// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "client.h"

#include "waiting.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>

#include <algorithm>
#include <iterator>

namespace {

const QString daemonName = "org.freedesktop.Geoclue.Providers.OndraVexa";
const QString daemonPath = "/org/freedesktop/Geoclue/Providers/OndraVexa";
const QString geoclueInterface = "org.freedesktop.Geoclue";
const QString positionInterface = "org.freedesktop.Geoclue.Position";

constexpr int callTimeoutMs = 60000; // longer than any wait here

} // namespace

Position positionOf(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    Position position;
    if (message.signature() != "iiddd(idd)")
        return position;
    position.fields = arguments.at(0).toInt();
    position.timestamp = arguments.at(1).toInt();
    position.latitude = arguments.at(2).toDouble();
    position.longitude = arguments.at(3).toDouble();
    position.altitude = arguments.at(4).toDouble();
    position.accuracy = qdbus_cast<Accuracy>(arguments.at(5));
    return position;
}

QString text(const Position &position)
{
    const auto number = [](double value) { return QString::number(value, 'g', 17); };
    return QStringList{QString::number(position.fields), number(position.latitude),
        number(position.longitude), number(position.altitude),
        QString::number(position.accuracy.level), number(position.accuracy.horizontal),
        number(position.accuracy.vertical)}
        .join(' ');
}

Client::Client(const QString &busAddress)
    : m_connection(std::make_unique<BusConnection>(busAddress))
{
    const auto listen = [this](const QString &interface, const QString &name) {
        (*m_connection)
            ->connect(
                QString(), daemonPath, interface, name, this, SLOT(record(const QDBusMessage &)));
    };
    listen(geoclueInterface, statusChanged);
    listen(geoclueInterface, optionsChanged);
    listen(geoclueInterface, "ValidationErrorNotify");
    listen(positionInterface, positionChanged);
    listen(positionInterface, "PositionAcquiring");
    // A round trip, so that the bus knows of the above.
    (*m_connection)->interface()->isServiceRegistered(daemonName);
}

QDBusMessage Client::makeCall(
    const QString &method, const QVariantList &arguments, const QString &interface)
{
    const bool position = method == "GetPosition";
    const QString usual = position ? positionInterface : geoclueInterface;
    QDBusMessage message = QDBusMessage::createMethodCall(
        daemonName, daemonPath, interface.isEmpty() ? usual : interface, method);
    message.setArguments(arguments);
    return message;
}

QDBusMessage Client::call(
    const QString &method, const QVariantList &arguments, const QString &interface)
{
    const auto before = static_cast<int>(replies().size());
    post(method, arguments, interface);
    return waitForReplies(before + 1) ? replies().last() : QDBusMessage();
}

void Client::post(const QString &method, const QVariantList &arguments, const QString &interface)
{
    auto *watcher = new QDBusPendingCallWatcher(
        (*m_connection)->asyncCall(makeCall(method, arguments, interface), callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        record(watcher->reply());
        watcher->deleteLater();
    });
}

QVector<QDBusMessage> Client::signalsNamed(const QString &name) const
{
    QVector<QDBusMessage> found;
    std::copy_if(m_received.cbegin(), m_received.cend(), std::back_inserter(found),
        [&name](const QDBusMessage &message) { return message.member() == name; });
    return found;
}

QVariantList Client::argumentsOf(const QString &signal) const
{
    QVariantList arguments;
    for (const QDBusMessage &message : signalsNamed(signal)) {
        for (const QVariant &argument : message.arguments()) {
            const bool map = message.signature() == "a{sv}";
            arguments.append(map ? qdbus_cast<QVariantMap>(argument) : argument);
        }
    }
    return arguments;
}

bool Client::waitForSignal(const QString &name, int count, std::chrono::milliseconds deadline)
{
    return waitUntil([this, &name, count] { return signalsNamed(name).size() >= count; }, deadline);
}

bool Client::waitForReplies(int count, std::chrono::milliseconds deadline)
{
    return waitUntil([this, count] { return replies().size() >= count; }, deadline);
}

void Client::vanish()
{
    // Calls that still wait have to go first: closing a connection frees them under their watchers.
    qDeleteAll(findChildren<QDBusPendingCallWatcher *>());
    m_connection.reset();
}
