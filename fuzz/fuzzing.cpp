// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fuzzing.h"

#include "privatebus.h"

#include <QCoreApplication>
#include <QDataStream>

#include <cstdio>

namespace {

void dropUnlessFatal(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qUtf8Printable(text));
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
