// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "simulatedservice.h"
#include "simulatedtypes.h"

/// ConnMan: the WLAN services in view.
class SimulatedConnMan : public SimulatedService
{
    Q_OBJECT

public:
    explicit SimulatedConnMan(const QString &busAddress);

    const SimulatedObjects &services() const { return m_services; }
    /// The services from now on, in order. Tells of any difference with one ServicesChanged.
    void setServices(const SimulatedObjects &services);
    /// Changes one property of a service and tells of it with the service's PropertyChanged.
    void changeProperty(const QString &path, const QString &name, const QVariant &value);

    /// A WLAN service as the phone's ConnMan publishes it; the strength is in per cent, 0 to 100.
    static SimulatedObject wlan(const QString &path, const QString &bssid, int strength);

protected:
    bool answer(const QDBusMessage &call) override;

private:
    SimulatedObjects m_services;
};
