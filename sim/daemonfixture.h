// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "busclient.h"
#include "daemonprocess.h"
#include "geolocationservice.h"
#include "privatebus.h"
#include "simulatedphone.h"

// A daemon with all that it needs around it, on a bus of its own: a phone that sees nothing yet, a
// geolocation service that accepts knownKey, and one client.
class DaemonFixture
{
public:
    static const QString knownKey;
    // Settings with the known key and no filter.
    static QMap<QString, QString> unfiltered(int intervalSecs = 1);

    DaemonFixture();

    // Starts the daemon with these settings, plus the service's link when they have none, and waits
    // until it serves. Without arguments the settings hold the known key.
    bool start();
    bool start(QMap<QString, QString> options);
    // Starts it with the settings file as it is.
    bool startAsIs();

    PrivateBus bus;
    SimulatedPhone phone{bus.address()};
    GeolocationService service;
    DaemonProcess daemon{bus.address()};
    BusClient client{bus.address()};
};
