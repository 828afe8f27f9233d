// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedphone.h"

#include "city.h"

void SimulatedPhone::see(const RadioView &view)
{
    SimulatedModem modem;
    modem.path = "/ril_0";
    modem.servingCell = view.servingCell;
    modem.neighbours = view.neighbours;
    ofono.setModems({modem});
    SimulatedObjects services;
    for (const RadioView::Wlan &wlan : view.wlans)
        services.append(SimulatedConnMan::wlan(wlan.path, wlan.bssid, wlan.strength));
    connMan.setServices(services);
}
