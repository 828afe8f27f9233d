// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QString>

class QDBusMessage;

// A position as it is on the bus and in the cache file.
struct ReportedPosition
{
    int fields = 0;
    int timestamp = 0;
    double latitude = 0;
    double longitude = 0;
    double altitude = 0;
    int level = 0;
    double horizontal = 0;
    double vertical = 0;

    // From a reply to GetPosition or a signal PositionChanged.
    static ReportedPosition ofMessage(const QDBusMessage &message);
    // From the bytes of a cache file; what does not stand there whole is 0.
    static ReportedPosition ofCache(const QByteArray &bytes);
    QByteArray cacheBytes() const;

    // All but the timestamp, in the order above, such as "3 55.75 37.61 nan 4 120 0".
    QString text() const;
};
