// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "dbus/accuracy.h"

#include <QMetaType>

#include <limits>

/// A position with the mask of its valid coordinates.
struct Position
{
    /// The Geoclue position-field bits; that of the altitude, 4, is never set.
    enum Field : qint32 { FieldNone = 0, FieldLatitude = 1, FieldLongitude = 2 };

    /// Mask of Field values; 0 means that there is no position.
    qint32 fields = FieldNone;
    /// Degrees.
    double latitude = std::numeric_limits<double>::quiet_NaN();
    /// Degrees.
    double longitude = std::numeric_limits<double>::quiet_NaN();
    /// Metres.
    double altitude = std::numeric_limits<double>::quiet_NaN();
    /// Seconds since the epoch: when the request that found the position was sent.
    qint32 timestamp = 0;
    Accuracy accuracy;
};
Q_DECLARE_METATYPE(Position)
