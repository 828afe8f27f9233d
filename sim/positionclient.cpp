// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positionclient.h"

#include <QDBusArgument>

namespace {

const QLatin1String busName("org.freedesktop.Geoclue.Providers.OndraVexa");
const QLatin1String objectPath("/org/freedesktop/Geoclue/Providers/OndraVexa");
const QLatin1String providerInterface("org.freedesktop.Geoclue");
const QLatin1String positionInterface("org.freedesktop.Geoclue.Position");

constexpr int bothCoordinates = 3;
constexpr int callDeadlineMs = 5000;

} // namespace

PositionClient::PositionClient(const QString &busAddress) : m_connection(busAddress)
{
    m_connection->connect(busName, objectPath, positionInterface, QStringLiteral("PositionChanged"),
        this, SLOT(readPosition(QDBusMessage)));
    m_connection->connect(busName, objectPath, providerInterface, QStringLiteral("StatusChanged"),
        this, SIGNAL(statusChanged(int)));
}

PositionClient::~PositionClient()
{
    call(QStringLiteral("RemoveReference"));
}

bool PositionClient::start()
{
    return call(QStringLiteral("AddReference")).type() == QDBusMessage::ReplyMessage;
}

QDBusMessage PositionClient::call(const QString &method)
{
    return m_connection->call(
        QDBusMessage::createMethodCall(busName, objectPath, providerInterface, method),
        QDBus::Block, callDeadlineMs);
}

void PositionClient::readPosition(const QDBusMessage &signal)
{
    const QVariantList values = signal.arguments();
    if (signal.signature() != QLatin1String("iiddd(idd)")
        || values.at(0).toInt() != bothCoordinates) {
        return;
    }
    int level = 0;
    double horizontal = 0;
    double vertical = 0;
    const auto accuracy = values.at(5).value<QDBusArgument>();
    accuracy.beginStructure();
    accuracy >> level >> horizontal >> vertical;
    accuracy.endStructure();
    Q_EMIT positionChanged(
        {values.at(1).toInt(), {values.at(2).toDouble(), values.at(3).toDouble()}, horizontal});
}
