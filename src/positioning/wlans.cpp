// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include <networkmanager.h>
#include <networkservice.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>

namespace {

QJsonObject wifiAccessPoint(const QString &bssid, const WlanRecord &record)
{
    const QString age = QStringLiteral("ageMs");
    const QString address = QStringLiteral("macAddress");
    const QString signal = QStringLiteral("signalStrengthDBm");
    // To fill in a copy takes less time than a new object.
    static const QJsonObject form{{age, 0}, {address, QString()}, {signal, 0}};
    QJsonObject accessPoint = form;
    accessPoint.insert(age, ageMs(record.firstSeen));
    accessPoint.insert(address, bssid);
    accessPoint.insert(signal, record.signalDbm);
    return accessPoint;
}

} // namespace

void PositionAdaptor::collectWlans()
{
    wlanChange = false;
    QMap<QString, qint64> currentSignalsDbm;
    const auto services = state->networkManager->getAvailableServices(QStringLiteral("wifi"));
    for (const NetworkService *service : services) {
        const QString bssid = service->bssid();
        const qint64 strength = service->strength();
        if (!bssid.isEmpty() && strength != 0)
            currentSignalsDbm.insert(bssid, -strength);
    }

    forgetUnseen(knownWlans, currentSignalsDbm);
    for (auto wlan = currentSignalsDbm.cbegin(); wlan != currentSignalsDbm.cend(); ++wlan) {
        WlanRecord &record = knownWlans[wlan.key()];
        if (!record.firstSeen.isValid())
            record.firstSeen.start();
        record.signalDbm = *wlan;
    }

    QJsonArray wifiAccessPoints;
    for (auto wlan = knownWlans.cbegin(); wlan != knownWlans.cend(); ++wlan)
        wifiAccessPoints.append(wifiAccessPoint(wlan.key(), *wlan));
    if (wifiAccessPoints.isEmpty())
        state->requestDocument.remove(QStringLiteral("wifiAccessPoints"));
    else
        state->requestDocument.insert(QStringLiteral("wifiAccessPoints"), wifiAccessPoints);

    wlanChange = pictureChanged(knownWlans, lastWlans);
    lastWlans = knownWlans;
}
