// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QMetaType>
#include <QtGlobal>

QT_BEGIN_NAMESPACE
class QDBusArgument;
QT_END_NAMESPACE

/// The Geoclue accuracy record; on the bus the struct (idd).
struct Accuracy
{
    /// Geoclue accuracy level: 0 none, 4 postal code.
    qint32 level = 0;
    /// Radius in metres, 0 when unknown.
    double horizontal = 0.0;
    /// Metres, 0 when unknown.
    double vertical = 0.0;
};
Q_DECLARE_METATYPE(Accuracy)

/// Makes "Accuracy" known to the meta-type system and to the bus library.
void registerAccuracy();

QDBusArgument &operator<<(QDBusArgument &argument, const Accuracy &accuracy);
const QDBusArgument &operator>>(const QDBusArgument &argument, Accuracy &accuracy);
