// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "position.h"

#include <QDBusArgument>
#include <QDateTime>

#include <cstdlib>

namespace {

QString coordinateText(bool valid, double degrees)
{
    return valid ? QString::number(degrees, 'f', 6) : QStringLiteral("-");
}

QString durationText(qint64 seconds)
{
    constexpr qint64 minute = 60;
    constexpr qint64 hour = 60 * minute;
    constexpr qint64 day = 24 * hour;
    if (seconds < 2 * minute)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < 2 * hour)
        return QStringLiteral("%1 min").arg(seconds / minute);
    if (seconds < 2 * day)
        return QStringLiteral("%1 h").arg(seconds / hour);
    return QStringLiteral("%1 days").arg(seconds / day);
}

QString ageText(qint64 age)
{
    const QString duration = durationText(std::abs(age));
    return age < 0 ? duration % QStringLiteral(" ahead of the clock")
                   : duration % QStringLiteral(" ago");
}

} // namespace

Position Position::fromMessage(const QDBusMessage &message)
{
    Position position;
    if (message.signature() != QLatin1String("iiddd(idd)"))
        return position;
    const QVariantList arguments = message.arguments();
    position.fields = arguments.at(0).toInt();
    position.timestamp = arguments.at(1).toInt();
    position.latitude = arguments.at(2).toDouble();
    position.longitude = arguments.at(3).toDouble();
    int level = 0;
    double verticalAccuracy = 0;
    const auto accuracy = arguments.at(5).value<QDBusArgument>();
    accuracy.beginStructure();
    accuracy >> level >> position.horizontalAccuracy >> verticalAccuracy;
    accuracy.endStructure();
    return position;
}

bool Position::isComplete() const
{
    return (fields & Latitude) != 0 && (fields & Longitude) != 0;
}

qint64 Position::age() const
{
    return QDateTime::currentMSecsSinceEpoch() / 1000 - timestamp;
}

QString Position::toText() const
{
    const QString accuracy = horizontalAccuracy > 0
        ? QString::number(horizontalAccuracy, 'f', 0) % QStringLiteral(" m")
        : QStringLiteral("unknown");
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(qint64{timestamp} * 1000);
    return coordinateText((fields & Latitude) != 0, latitude) % QLatin1Char(' ')
        % coordinateText((fields & Longitude) != 0, longitude) % QStringLiteral("  accuracy ")
        % accuracy % QStringLiteral("  ") % time.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))
        % QStringLiteral(", ") % ageText(age());
}

QJsonObject Position::toJson() const
{
    QJsonObject object;
    if ((fields & Latitude) != 0)
        object.insert(QStringLiteral("latitude"), latitude);
    if ((fields & Longitude) != 0)
        object.insert(QStringLiteral("longitude"), longitude);
    if (horizontalAccuracy > 0)
        object.insert(QStringLiteral("accuracy"), horizontalAccuracy);
    object.insert(QStringLiteral("timestamp"), timestamp);
    object.insert(QStringLiteral("age"), age());
    return object;
}

bool Position::operator==(const Position &other) const
{
    return fields == other.fields && timestamp == other.timestamp && latitude == other.latitude
        && longitude == other.longitude && horizontalAccuracy == other.horizontalAccuracy;
}
