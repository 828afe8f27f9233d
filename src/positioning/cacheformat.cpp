// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/cacheformat.h"

#include <QDataStream>
#include <QIODevice>

QByteArray cacheContent(const Position &position)
{
    QByteArray content;
    QDataStream stream(&content, QIODevice::WriteOnly);
    stream << position.fields << position.latitude << position.longitude << position.altitude
           << position.timestamp << position.accuracy.level << position.accuracy.horizontal
           << position.accuracy.vertical;
    return content;
}

Position cachedPosition(const QByteArray &content)
{
    Position position;
    QDataStream stream(content);
    stream >> position.fields >> position.latitude >> position.longitude >> position.altitude
        >> position.timestamp >> position.accuracy.level >> position.accuracy.horizontal
        >> position.accuracy.vertical;
    return position;
}
