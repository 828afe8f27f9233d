// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fuzzing.h"

#include "privatebus.h"

#include <QCoreApplication>
#include <QDBusVariant>
#include <QDataStream>
#include <QHash>

#include <cstdio>

namespace {

void dropUnlessFatal(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

// The types of a dictionary's values by their letters on the bus; "A" is an array of bytes.
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
        return text.split(QLatin1Char(','));
    QVariant value = text;
    value.convert(busTypes.value(type));
    return value;
}

} // namespace

void prepareProcess()
{
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static int argumentCount = 1;
    static const QCoreApplication application(argumentCount, arguments);
    QCoreApplication::setLibraryPaths({});
    static const PrivateBus bus;
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", bus.address().toUtf8());
    qInstallMessageHandler(dropUnlessFatal);
}

void require(bool condition, const char *rule)
{
    if (!condition)
        qFatal("Broken rule: %s", rule);
}

void processEvents()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QByteArray bits(const Position &position)
{
    QByteArray result;
    QDataStream(&result, QIODevice::WriteOnly)
        << position.fields << position.latitude << position.longitude << position.altitude
        << position.timestamp << position.accuracy.level << position.accuracy.horizontal
        << position.accuracy.vertical;
    return result;
}

QVariantMap dictionary(const QList<QByteArray> &words)
{
    QVariantMap result;
    for (int i = 0; i + 2 < words.size(); i += 3)
        result.insert(QString::fromUtf8(words[i]),
            busValue(*words[i + 1].constData(), QString::fromUtf8(words[i + 2])));
    return result;
}
