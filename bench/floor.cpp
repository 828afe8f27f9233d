// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The least that a program like the daemon can cost: it holds the network library with one manager
// for positions and one for keys, owns a name on the bus and answers with constants.

#include "dbus/accuracy.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QNetworkAccessManager>

class Floor : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.ondravexa.Floor")

public Q_SLOTS:
    void Nothing() { }

    int GetPosition(
        int &timestamp, double &latitude, double &longitude, double &altitude, Accuracy &accuracy)
    {
        timestamp = 1700000000;
        latitude = longitude = altitude = 0;
        accuracy = {};
        return 3;
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QCoreApplication::setLibraryPaths({});
#endif
    const QNetworkAccessManager forPositions;
    const QNetworkAccessManager forKeys;
    registerAccuracy();
    Floor floor;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerService("org.ondravexa.Floor")
        || !bus.registerObject("/", &floor, QDBusConnection::ExportAllSlots))
        qFatal("No place on the bus");
    return QCoreApplication::exec();
}

#include "floor.moc"
