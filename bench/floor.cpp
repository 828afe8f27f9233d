// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// A program that does nothing but own a bus name and answer one constant method.

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMetaType>
#ifdef FLOOR_WITH_NETWORK
#include <QNetworkAccessManager>
#endif

struct FloorAccuracy
{
    int level = 0;
    double horizontal = 0;
    double vertical = 0;
};
Q_DECLARE_METATYPE(FloorAccuracy)

QDBusArgument &operator<<(QDBusArgument &argument, const FloorAccuracy &accuracy)
{
    argument.beginStructure();
    argument << accuracy.level << accuracy.horizontal << accuracy.vertical;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, FloorAccuracy &accuracy)
{
    argument.beginStructure();
    argument >> accuracy.level >> accuracy.horizontal >> accuracy.vertical;
    argument.endStructure();
    return argument;
}

class FloorAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Geoclue.Position")

public:
    explicit FloorAdaptor(QObject *object) : QDBusAbstractAdaptor(object) { }

public Q_SLOTS:
    int GetPosition(int &timestamp, double &latitude, double &longitude, double &altitude,
        FloorAccuracy &accuracy)
    {
        timestamp = 1700000000;
        latitude = 48.5;
        longitude = -38.25;
        altitude = 0;
        accuracy = {4, 25, 0};
        return 3;
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setLibraryPaths({});
    qDBusRegisterMetaType<FloorAccuracy>();
#ifdef FLOOR_WITH_NETWORK
    const QNetworkAccessManager networkAccessManager;
#endif
    QObject object;
    new FloorAdaptor(&object);
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerService(QStringLiteral("org.ondravexa.Floor"))
        || !bus.registerObject(QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa"),
            &object, QDBusConnection::ExportAdaptors))
        qFatal("No place on the bus");
    return QCoreApplication::exec();
}

#include "floor.moc"
