// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "webservice.h"

#include <QString>
#include <QVector>

class SimulatedPhone;
class SimulatedService;

/// Handled without any effect.
inline const WebReply silentReply = WebReply::http("200 OK", R"({"Location not found": {}})");

/// An answer of the web service that is no position, and the line in the log that it leads to.
struct WebFault
{
    const char *what;
    WebReply reply;
    const char *log;
};

/// Those that show at once.
const QVector<WebFault> &webFaults();
/// Those that show after the daemon's time-out of 10 s.
const QVector<WebFault> &hangingWebFaults();

/// A way for a service of the phone to fail; Fixture::heal() ends it.
struct PlatformFault
{
    const char *what;
    /// It strikes a daemon that runs; the others are there when it starts.
    bool needsDaemon;
    void (*inject)(SimulatedService &service, const QString &method);
    const char *log;
};

const QVector<PlatformFault> &platformFaults();

/// A service of the phone as far as faults go.
struct PhoneService
{
    /// The call that the daemon makes when the service appears.
    const char *method;
    SimulatedService &(*of)(SimulatedPhone &phone);
};

const QVector<PhoneService> &phoneServices();
