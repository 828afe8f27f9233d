// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "client.h"
#include "daemonprocess.h"
#include "privatebus.h"
#include "simulatedphone.h"
#include "webservice.h"

/// A daemon with all that it needs around it, on a bus of its own: a phone that sees nothing yet, a
/// web service that accepts knownKey, and one client.
class Fixture
{
public:
    static const QString knownKey;
    /// Settings with the known key and no filter.
    static QMap<QString, QString> unfiltered(int intervalSecs = 1);

    Fixture();

    /// Starts the daemon with these settings, plus the service's link when they have none, and
    /// waits until it serves. Without arguments the settings hold the known key.
    bool start() { return start({{"apikey", knownKey}}); }
    bool start(QMap<QString, QString> options);
    /// Starts it with the settings file as it is.
    bool startAsIs();
    /// As start(), then the client adds a reference.
    bool begin(const QMap<QString, QString> &options = unfiltered());

    /// Has the phone see one cell or one WLAN with this number in its cell ID or BSSID, 0 to 9.
    void setCell(int number);
    void setWlan(int number);
    /// Ends all misbehaviour of the web service and of the phone's services.
    void heal();

    /// Run the event loop; false when the deadline passes first. A request that leaves from now on;
    /// a position that the service sends from now on, published.
    bool seesRequest(std::chrono::milliseconds deadline = longDeadline) const;
    bool seesPosition(std::chrono::milliseconds deadline = longDeadline);

    PrivateBus bus;
    SimulatedPhone phone{bus.address()};
    WebService service;
    DaemonProcess daemon{bus.address()};
    Client client{bus.address()};
};
