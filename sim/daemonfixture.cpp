// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"

const QString DaemonFixture::knownKey = QStringLiteral("known-key");

DaemonFixture::DaemonFixture()
{
    if (!phone.start()) {
        qFatal("The simulated phone does not start");
    }
    service.acceptKey(knownKey);
}

QMap<QString, QString> DaemonFixture::unfiltered(int intervalSecs)
{
    return {{QStringLiteral("apikey"), knownKey},
        {QStringLiteral("enable_request_filter"), QStringLiteral("false")},
        {QStringLiteral("update_interval"), QString::number(intervalSecs)}};
}

bool DaemonFixture::start()
{
    return start({{QStringLiteral("apikey"), knownKey}});
}

bool DaemonFixture::start(QMap<QString, QString> options)
{
    const QString link = QStringLiteral("link");
    if (!options.contains(link)) {
        options.insert(link, service.link());
    }
    daemon.writeSettings(options);
    return startAsIs();
}

bool DaemonFixture::startAsIs()
{
    // The status is set when all is registered on the bus.
    return daemon.start() && daemon.waitForLog(QStringLiteral("StatusAcquiring"), longDeadline);
}
