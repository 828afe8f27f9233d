// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "busclient.h"

#include "waiting.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>

#include <algorithm>
#include <iterator>

namespace {

const QString daemonName = QStringLiteral("org.freedesktop.Geoclue.Providers.OndraVexa");
const QString daemonPath = QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa");
const QString geoclueInterface = QStringLiteral("org.freedesktop.Geoclue");
const QString positionInterface = QStringLiteral("org.freedesktop.Geoclue.Position");

constexpr int callTimeoutMs = 60000; // longer than any wait here

} // namespace

BusClient::BusClient(const QString &busAddress)
    : m_connection(std::make_unique<BusConnection>(busAddress))
{
    const auto listen = [this](const QString &interface, const QString &name) {
        (*m_connection)
            ->connect(
                QString(), daemonPath, interface, name, this, SLOT(record(const QDBusMessage &)));
    };
    listen(geoclueInterface, QStringLiteral("StatusChanged"));
    listen(geoclueInterface, QStringLiteral("OptionsChanged"));
    listen(geoclueInterface, QStringLiteral("ValidationErrorNotify"));
    listen(positionInterface, QStringLiteral("PositionChanged"));
    listen(positionInterface, QStringLiteral("PositionAcquiring"));
    // A round trip, so that the bus knows of the above.
    (*m_connection)->interface()->isServiceRegistered(daemonName);
}

BusClient::~BusClient()
{
    vanish();
}

QDBusMessage BusClient::makeCall(
    const QString &method, const QVariantList &arguments, const QString &interface)
{
    const bool position = method == QLatin1String("GetPosition");
    const QString usual = position ? positionInterface : geoclueInterface;
    QDBusMessage message = QDBusMessage::createMethodCall(
        daemonName, daemonPath, interface.isEmpty() ? usual : interface, method);
    message.setArguments(arguments);
    return message;
}

QDBusMessage BusClient::call(
    const QString &method, const QVariantList &arguments, const QString &interface)
{
    const int before = replies().size();
    post(method, arguments, interface);
    return waitForReplies(before + 1) ? replies().last() : QDBusMessage();
}

void BusClient::post(const QString &method, const QVariantList &arguments, const QString &interface)
{
    auto *watcher = new QDBusPendingCallWatcher(
        (*m_connection)->asyncCall(makeCall(method, arguments, interface), callTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        record(watcher->reply());
        watcher->deleteLater();
    });
}

QDBusMessage BusClient::setOptions(const QVariantMap &options)
{
    return call(QStringLiteral("SetOptions"), {options});
}

void BusClient::postOptions(const QVariantMap &options)
{
    post(QStringLiteral("SetOptions"), {options});
}

int BusClient::status()
{
    return call(QStringLiteral("GetStatus")).arguments().value(0, -1).toInt();
}

QVariantMap BusClient::options()
{
    return qdbus_cast<QVariantMap>(call(QStringLiteral("GetOptions")).arguments().value(0));
}

ReportedPosition BusClient::position()
{
    return ReportedPosition::ofMessage(call(QStringLiteral("GetPosition")));
}

QVector<QDBusMessage> BusClient::replies() const
{
    QVector<QDBusMessage> found;
    std::copy_if(m_received.cbegin(), m_received.cend(), std::back_inserter(found),
        [](const QDBusMessage &message) { return message.type() != QDBusMessage::SignalMessage; });
    return found;
}

QVector<QDBusMessage> BusClient::signalsNamed(const QString &name) const
{
    QVector<QDBusMessage> found;
    std::copy_if(m_received.cbegin(), m_received.cend(), std::back_inserter(found),
        [&name](const QDBusMessage &message) {
            return message.type() == QDBusMessage::SignalMessage && message.member() == name;
        });
    return found;
}

QVariantList BusClient::argumentsOf(const QString &signal) const
{
    QVariantList arguments;
    for (const QDBusMessage &message : signalsNamed(signal)) {
        for (const QVariant &argument : message.arguments()) {
            const bool map = message.signature() == QLatin1String("a{sv}");
            arguments.append(map ? qdbus_cast<QVariantMap>(argument) : argument);
        }
    }
    return arguments;
}

bool BusClient::waitForSignal(const QString &name, int count, std::chrono::milliseconds deadline)
{
    return waitUntil([this, &name, count] { return signalsNamed(name).size() >= count; }, deadline);
}

bool BusClient::waitForReplies(int count, std::chrono::milliseconds deadline)
{
    return waitUntil([this, count] { return replies().size() >= count; }, deadline);
}

QString BusClient::uniqueName() const
{
    return (*m_connection)->baseService();
}

void BusClient::vanish()
{
    // Calls that still wait have to go first: closing a connection frees them under their watchers.
    qDeleteAll(findChildren<QDBusPendingCallWatcher *>());
    m_connection.reset();
}

void BusClient::record(const QDBusMessage &message)
{
    m_received.append(message);
}
