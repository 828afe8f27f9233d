// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"

#include "faults.h"
#include "simulatedtypes.h"
#include "waiting.h"

const QString Fixture::knownKey = "known-key";

QMap<QString, QString> Fixture::unfiltered(int intervalSecs)
{
    return {{"apikey", knownKey}, {"enable_request_filter", "false"},
        {"update_interval", QString::number(intervalSecs)}};
}

Fixture::Fixture()
{
    if (!phone.start())
        qFatal("The simulated phone does not start");
    service.acceptKey(knownKey);
}

bool Fixture::start(QMap<QString, QString> options)
{
    const QString link = "link";
    if (!options.contains(link))
        options.insert(link, service.link());
    daemon.writeSettings(options);
    return startAsIs();
}

bool Fixture::startAsIs()
{
    return daemon.start() && daemon.waitUntilServing();
}

bool Fixture::begin(const QMap<QString, QString> &options)
{
    return start(options) && client.call(addReference).type() == QDBusMessage::ReplyMessage;
}

void Fixture::setCell(int number)
{
    SimulatedModem modem;
    modem.path = "/modem";
    modem.servingCell
        = busDictionary(QString("Technology s lte MobileCountryCode s 001 MobileNetworkCode s 01 "
                                "CellId u %1 TrackingAreaCode q %1")
                            .arg(number)
                            .toLatin1()
                            .split(' '));
    phone.ofono.setModems({modem});
}

void Fixture::setWlan(int number)
{
    phone.connMan.setServices(
        {SimulatedConnMan::wlan(QString("/net/connman/service/wifi_%1").arg(number),
            QString("02:00:00:00:00:0%1").arg(number), 60)});
}

void Fixture::heal()
{
    service.replyAlways({});
    service.listenAgain();
    for (const PhoneService &each : phoneServices()) {
        each.of(phone).behave(each.method);
        if (!each.of(phone).isRunning())
            each.of(phone).start();
    }
    phone.mce.setLockMode("unlocked");
}

bool Fixture::seesRequest(std::chrono::milliseconds deadline) const
{
    return service.waitForRequests(static_cast<int>(service.requests().size()) + 1, deadline);
}

bool Fixture::seesPosition(std::chrono::milliseconds deadline)
{
    const double next = WebService::latitudeOf(static_cast<int>(service.requests().size())) - 1e-9;
    client.forget();
    return waitUntil(
        [this, next] {
            const auto changes = client.signalsNamed(positionChanged);
            return !changes.isEmpty() && positionOf(changes.last()).latitude >= next;
        },
        deadline);
}
