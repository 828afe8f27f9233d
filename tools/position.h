// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDBusMessage>
#include <QJsonObject>
#include <QString>

/// A position as the provider tells it.
struct Position
{
    enum Field { Latitude = 1, Longitude = 2 };

    int fields = 0; ///< mask of the valid coordinates
    int timestamp = 0; ///< seconds since the epoch; when the provider asked for it
    double latitude = 0; ///< degrees
    double longitude = 0; ///< degrees
    double horizontalAccuracy = 0; ///< metres; 0 when unknown

    /// The position in a GetPosition reply or a PositionChanged signal.
    /// One with other arguments gives a position without any field.
    static Position fromMessage(const QDBusMessage &message);

    /// Whether both coordinates are valid.
    bool isComplete() const;

    /// Seconds since the provider asked for it; negative after the clock was set back.
    qint64 age() const;

    /// Coordinates, accuracy, local time and age for a person to read.
    QString toText() const;

    /// Members "latitude", "longitude" and "accuracy", each only when known, "timestamp" and "age".
    QJsonObject toJson() const;

    bool operator==(const Position &other) const;
};
