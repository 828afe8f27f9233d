// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QList>
#include <QVariantMap>
#include <QVector>

/// An object and its properties: oa{sv} on the bus.
struct SimulatedObject
{
    QDBusObjectPath path;
    QVariantMap properties;
};

/// A dictionary that travels in a structure of its own: (a{sv}) on the bus.
struct SimulatedRecord
{
    QVariantMap members;
};

using SimulatedObjects = QVector<SimulatedObject>;
using SimulatedRecords = QVector<SimulatedRecord>;

Q_DECLARE_METATYPE(SimulatedObject)
Q_DECLARE_METATYPE(SimulatedRecord)
Q_DECLARE_METATYPE(SimulatedObjects)
Q_DECLARE_METATYPE(SimulatedRecords)

QDBusArgument &operator<<(QDBusArgument &argument, const SimulatedObject &object);
const QDBusArgument &operator>>(const QDBusArgument &argument, SimulatedObject &object);
QDBusArgument &operator<<(QDBusArgument &argument, const SimulatedRecord &record);
const QDBusArgument &operator>>(const QDBusArgument &argument, SimulatedRecord &record);

/// Makes the types above known to the bus library; calling it again does nothing.
void registerSimulatedTypes();

/// A dictionary as a bus peer might send it. Each three words are a name, a type letter of D-Bus
/// ("A" for an array of bytes, "D" for a dictionary within, "a" for a list of texts) and a value.
QVariantMap busDictionary(const QList<QByteArray> &words);
