// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedtypes.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QHash>

namespace {

// The types of a dictionary's values by their letters on the bus.
const QHash<char, int> busTypes = {{'y', QMetaType::UChar}, {'b', QMetaType::Bool},
    {'n', QMetaType::Short}, {'q', QMetaType::UShort}, {'i', QMetaType::Int},
    {'u', QMetaType::UInt}, {'x', QMetaType::LongLong}, {'t', QMetaType::ULongLong},
    {'d', QMetaType::Double}, {'s', QMetaType::QString}, {'A', QMetaType::QByteArray}};

QVariant busValue(char type, const QString &text)
{
    if (type == 'v')
        return QVariant::fromValue(QDBusVariant(text));
    if (type == 'D')
        return QVariantMap{{text, text}};
    if (!busTypes.contains(type))
        return text.split(',');
    QVariant value = text;
    value.convert(busTypes.value(type));
    return value;
}

} // namespace

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

QVariantMap busDictionary(const QList<QByteArray> &words)
{
    QVariantMap result;
    for (int i = 0; i + 2 < words.size(); i += 3)
        result.insert(QString::fromUtf8(words[i]),
            busValue(*words[i + 1].constData(), QString::fromUtf8(words[i + 2])));
    return result;
}
