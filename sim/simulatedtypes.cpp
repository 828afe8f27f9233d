// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedtypes.h"

#include <QDBusArgument>
#include <QDBusMetaType>

QDBusArgument &operator<<(QDBusArgument &argument, const SimulatedObject &object)
{
    argument.beginStructure();
    argument << object.path << object.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, SimulatedObject &object)
{
    argument.beginStructure();
    argument >> object.path >> object.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const SimulatedRecord &record)
{
    argument.beginStructure();
    argument << record.members;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, SimulatedRecord &record)
{
    argument.beginStructure();
    argument >> record.members;
    argument.endStructure();
    return argument;
}

void registerSimulatedTypes()
{
    qDBusRegisterMetaType<SimulatedObject>();
    qDBusRegisterMetaType<SimulatedRecord>();
    qDBusRegisterMetaType<SimulatedObjects>();
    qDBusRegisterMetaType<SimulatedRecords>();
}
