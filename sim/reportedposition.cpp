// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "reportedposition.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QStringList>
#include <QtEndian>

#include <cstring>

namespace {

template <typename Number, typename Bits>
Number take(const QByteArray &bytes, int offset)
{
    const int size = static_cast<int>(sizeof(Bits));
    if (bytes.size() < offset + size)
        return 0;
    const Bits bits = qFromBigEndian<Bits>(bytes.constData() + offset);
    Number number = 0;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

template <typename Bits, typename Number>
QByteArray bytesOf(Number number)
{
    Bits bits = 0;
    std::memcpy(&bits, &number, sizeof number);
    QByteArray bytes(static_cast<int>(sizeof bits), '\0');
    qToBigEndian(bits, bytes.data());
    return bytes;
}

} // namespace

ReportedPosition ReportedPosition::ofMessage(const QDBusMessage &message)
{
    ReportedPosition position;
    const QVariantList arguments = message.arguments();
    if (message.signature() != QLatin1String("iiddd(idd)"))
        return position;
    position.fields = arguments.at(0).toInt();
    position.timestamp = arguments.at(1).toInt();
    position.latitude = arguments.at(2).toDouble();
    position.longitude = arguments.at(3).toDouble();
    position.altitude = arguments.at(4).toDouble();
    const auto accuracy = arguments.at(5).value<QDBusArgument>();
    accuracy.beginStructure();
    accuracy >> position.level >> position.horizontal >> position.vertical;
    accuracy.endStructure();
    return position;
}

ReportedPosition ReportedPosition::ofCache(const QByteArray &bytes)
{
    ReportedPosition position;
    position.fields = take<int, quint32>(bytes, 0);
    position.latitude = take<double, quint64>(bytes, 4);
    position.longitude = take<double, quint64>(bytes, 12);
    position.altitude = take<double, quint64>(bytes, 20);
    position.timestamp = take<int, quint32>(bytes, 28);
    position.level = take<int, quint32>(bytes, 32);
    position.horizontal = take<double, quint64>(bytes, 36);
    position.vertical = take<double, quint64>(bytes, 44);
    return position;
}

QByteArray ReportedPosition::cacheBytes() const
{
    return bytesOf<quint32>(fields) + bytesOf<quint64>(latitude) + bytesOf<quint64>(longitude)
        + bytesOf<quint64>(altitude) + bytesOf<quint32>(timestamp) + bytesOf<quint32>(level)
        + bytesOf<quint64>(horizontal) + bytesOf<quint64>(vertical);
}

QString ReportedPosition::text() const
{
    QStringList words{QString::number(fields)};
    for (const double coordinate : {latitude, longitude, altitude})
        words += QString::number(coordinate, 'g', 17);
    words += QString::number(level);
    for (const double radius : {horizontal, vertical})
        words += QString::number(radius, 'g', 17);
    return words.join(QLatin1Char(' '));
}
