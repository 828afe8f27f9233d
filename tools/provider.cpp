// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider.h"

#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>

namespace {

// A check of an API key takes the provider 10 s at most, and its start at the bus as long again.
constexpr int callTimeoutMs = 30000;
// Long enough for a busy phone, short enough for a person who pressed Ctrl-C.
constexpr int removeReferenceTimeoutMs = 2000;

QString objectPath()
{
    return QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa");
}

QString geoclueInterface()
{
    return QStringLiteral("org.freedesktop.Geoclue");
}

QString positionInterface()
{
    return QStringLiteral("org.freedesktop.Geoclue.Position");
}

QDBusMessage methodCall(const QString &interface, const QString &method)
{
    return QDBusMessage::createMethodCall(Provider::serviceName(), objectPath(), interface, method);
}

QDBusPendingCall asyncCall(const QString &interface, const QString &method)
{
    return QDBusConnection::systemBus().asyncCall(methodCall(interface, method), callTimeoutMs);
}

} // namespace

Provider::Provider(QObject *parent) : QObject(parent)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    bus.connect(serviceName(), objectPath(), positionInterface(), QStringLiteral("PositionChanged"),
        this, SLOT(relayPosition(QDBusMessage)));
    bus.connect(serviceName(), objectPath(), geoclueInterface(), QStringLiteral("StatusChanged"),
        this, SIGNAL(statusChanged(int)));
    bus.connect(serviceName(), objectPath(), geoclueInterface(), QStringLiteral("OptionsChanged"),
        this, SIGNAL(optionsChanged(QVariantMap)));

    auto *watcher = new QDBusServiceWatcher(
        serviceName(), bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString &, const QString &oldOwner, const QString &newOwner) {
            ownerChanged(oldOwner, newOwner);
        });
}

Provider::~Provider()
{
    removeReference();
}

QString Provider::serviceName()
{
    return QStringLiteral("org.freedesktop.Geoclue.Providers.OndraVexa");
}

QDBusMessage Provider::call(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = methodCall(geoclueInterface(), method);
    message.setArguments(arguments);
    return QDBusConnection::systemBus().call(message, QDBus::Block, callTimeoutMs);
}

QDBusMessage Provider::callGetPosition()
{
    return QDBusConnection::systemBus().call(
        methodCall(positionInterface(), QStringLiteral("GetPosition")), QDBus::Block,
        callTimeoutMs);
}

void Provider::wakeUp()
{
    QDBusConnection::systemBus().send(methodCall(geoclueInterface(), QStringLiteral("GetStatus")));
}

void Provider::fetch()
{
    whenAnswered(asyncCall(geoclueInterface(), QStringLiteral("GetStatus")),
        [this](const QDBusMessage &statusReply) {
            const int status = statusReply.arguments().value(0).toInt();
            whenAnswered(asyncCall(positionInterface(), QStringLiteral("GetPosition")),
                [this, status](const QDBusMessage &positionReply) {
                    Q_EMIT fetched(status, Position::fromMessage(positionReply));
                });
        });
}

void Provider::addReference()
{
    m_hasReference = true;
    whenAnswered(
        asyncCall(geoclueInterface(), QStringLiteral("AddReference")), [](const QDBusMessage &) {});
}

void Provider::relayPosition(const QDBusMessage &message)
{
    Q_EMIT positionChanged(Position::fromMessage(message));
}

void Provider::ownerChanged(const QString &oldOwner, const QString &newOwner)
{
    if (!oldOwner.isEmpty()) {
        m_hasReference = false;
        m_hasLeft = true;
        Q_EMIT left();
    }
    // The first owner is none that returned: the bus started it for this client's first call.
    if (!newOwner.isEmpty() && m_hasLeft) {
        m_hasLeft = false;
        Q_EMIT returned();
    }
}

void Provider::whenAnswered(
    const QDBusPendingCall &call, const std::function<void(const QDBusMessage &)> &handle)
{
    auto *watcher = new QDBusPendingCallWatcher(call, this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, handle] {
        watcher->deleteLater();
        if (watcher->isError()) {
            Q_EMIT failed(watcher->error());
            return;
        }
        handle(watcher->reply());
    });
}

void Provider::removeReference() const
{
    if (!m_hasReference)
        return;
    QDBusMessage message = methodCall(geoclueInterface(), QStringLiteral("RemoveReference"));
    message.setAutoStartService(false);
    QDBusConnection::systemBus().call(message, QDBus::Block, removeReferenceTimeoutMs);
}
