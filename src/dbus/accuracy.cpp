// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbus/accuracy.h"

#include <QDBusArgument>
#include <QDBusMetaType>

void registerAccuracy()
{
    qRegisterMetaType<Accuracy>("Accuracy");
    qDBusRegisterMetaType<Accuracy>();
}

QDBusArgument &operator<<(QDBusArgument &argument, const Accuracy &accuracy)
{
    argument.beginStructure();
    argument << accuracy.level << accuracy.horizontal << accuracy.vertical;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Accuracy &accuracy)
{
    argument.beginStructure();
    argument >> accuracy.level >> accuracy.horizontal >> accuracy.vertical;
    argument.endStructure();
    return argument;
}
