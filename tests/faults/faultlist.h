// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "lyingservice.h"

#include <QString>
#include <QVector>

class SimulatedPhone;
class SimulatedService;

// An answer of the web service that is no position, and the line in the log that it leads to.
struct WebFault
{
    const char *what;
    RawReply reply;
    const char *log;
};

// Those that show at once.
const QVector<WebFault> &webFaults();
// Those that take the daemon's time-out of 10 s to show, or a lot of memory to send.
const QVector<WebFault> &slowWebFaults();

// A way for a service of the phone to fail; Scene::heal() ends it.
struct PlatformFault
{
    const char *what;
    // The service's name on the bus is not there while this lasts.
    bool leaves;
    void (*inject)(SimulatedService &service, const QString &method);
    const char *log;
};

const QVector<PlatformFault> &platformFaults();

// A service of the phone as far as faults go.
struct PhoneService
{
    const char *name;
    // The call that the daemon makes when the service appears.
    const char *method;
    SimulatedService &(*of)(SimulatedPhone &phone);
    // The section of the request that comes from it.
    const char *section;
};

const QVector<PhoneService> &phoneServices();
