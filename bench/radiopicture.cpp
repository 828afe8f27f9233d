// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "radiopicture.h"

#include "simulatedphone.h"

namespace {

QVariantMap cell(int id)
{
    return {{QStringLiteral("Technology"), QStringLiteral("lte")},
        {QStringLiteral("MobileCountryCode"), QStringLiteral("001")},
        {QStringLiteral("MobileNetworkCode"), QStringLiteral("01")},
        {QStringLiteral("CellId"), static_cast<uint>(id)},
        {QStringLiteral("TrackingAreaCode"), QVariant::fromValue(static_cast<ushort>(7710))},
        {QStringLiteral("ReferenceSignalReceivedPower"),
            QVariant::fromValue(static_cast<uchar>(id % 90))}};
}

SimulatedObject accessPoint(int number)
{
    const QString bssid = QStringLiteral("02:00:5e:10:%1:%2")
                              .arg(number / 256, 2, 16, QLatin1Char('0'))
                              .arg(number % 256, 2, 16, QLatin1Char('0'));
    return SimulatedConnMan::wlan(
        QStringLiteral("/net/connman/service/wifi_%1").arg(number), bssid, 1 + number % 90);
}

} // namespace

void showEntries(SimulatedPhone &phone, int count)
{
    constexpr int firstCell = 26214401;
    SimulatedModem modem;
    modem.path = QStringLiteral("/ril_0");
    modem.servingCell = cell(firstCell);
    SimulatedObjects accessPoints;
    for (int number = 1; number <= count / 2; ++number) {
        accessPoints.append(accessPoint(number));
        if (number < count / 2) {
            modem.neighbours.append(cell(firstCell + number));
        }
    }
    phone.ofono.setModems({modem});
    phone.connMan.setServices(accessPoints);
}
