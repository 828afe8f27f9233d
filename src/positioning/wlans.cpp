// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/wlans.h"

#include "positioning/changefilter.h"
#include "positioning/positionadaptor.h"

#include <networkmanager.h>
#include <networkservice.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>

namespace {

QJsonObject wifiAccessPoint(const QString &bssid, const WlanRecord &record)
{
    return {{QStringLiteral("ageMs"), ageMs(record.firstSeen)},
        {QStringLiteral("macAddress"), bssid},
        {QStringLiteral("signalStrengthDBm"), record.signalDbm}};
}

} // namespace

QJsonArray updateWlans(QHash<QString, WlanRecord> &known, const QVector<NetworkService *> &inView)
{
    QMap<QString, qint64> currentSignalsDbm;
    for (const NetworkService *service : inView) {
        const QString bssid = service->bssid();
        const qint64 strength = service->strength();
        if (!bssid.isEmpty() && strength != 0)
            currentSignalsDbm.insert(bssid, -strength);
    }

    forgetUnseen(known, currentSignalsDbm);
    for (auto wlan = currentSignalsDbm.cbegin(); wlan != currentSignalsDbm.cend(); ++wlan) {
        WlanRecord &record = known[wlan.key()];
        if (!record.firstSeen.isValid())
            record.firstSeen.start();
        record.signalDbm = *wlan;
    }

    QJsonArray wifiAccessPoints;
    for (auto wlan = known.cbegin(); wlan != known.cend(); ++wlan)
        wifiAccessPoints.append(wifiAccessPoint(wlan.key(), *wlan));
    return wifiAccessPoints;
}

void PositionAdaptor::collectWlans()
{
    const QString section = QStringLiteral("wifiAccessPoints");
    wlanChange = false;
    const QJsonArray wifiAccessPoints = updateWlans(
        knownWlans, state->networkManager->getAvailableServices(QStringLiteral("wifi")));
    if (wifiAccessPoints.isEmpty())
        state->requestDocument.remove(section);
    else
        state->requestDocument.insert(section, wifiAccessPoints);

    wlanChange = hasChanged(knownWlans, lastWlans);
    lastWlans = knownWlans;
}
