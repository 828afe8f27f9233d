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

// An HTTP reply with its head; the headers end in a line break each.
RawReply withStatus(
    const QByteArray &status, const QByteArray &body, const QByteArray &headers = {});
// A body of 64 MiB.
QByteArray hugeBody();

// Those that show at once.
const QVector<WebFault> &webFaults();
// Those that show after the daemon's time-out of 10 s.
const QVector<WebFault> &hangingWebFaults();

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
