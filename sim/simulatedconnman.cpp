// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedconnman.h"

#include <QDBusVariant>

namespace {

const QLatin1String managerInterface("net.connman.Manager");

int indexOf(const SimulatedObjects &services, const QDBusObjectPath &path)
{
    for (int i = 0; i < services.size(); ++i)
        if (services.at(i).path == path)
            return i;
    return -1;
}

// Everything in "after" that "before" does not hold with the same value.
QVariantMap difference(const QVariantMap &before, const QVariantMap &after)
{
    QVariantMap changed;
    for (auto property = after.cbegin(); property != after.cend(); ++property)
        if (before.value(property.key()) != property.value())
            changed.insert(property.key(), property.value());
    return changed;
}

} // namespace

SimulatedConnMan::SimulatedConnMan(const QString &busAddress)
    : SimulatedService(busAddress, "net.connman")
{
}

SimulatedObject SimulatedConnMan::wlan(const QString &path, const QString &bssid, int strength)
{
    return {QDBusObjectPath(path),
        {{"Type", "wifi"}, {"Name", QString("net-" % bssid.right(2))}, {"BSSID", bssid},
            {"Strength", QVariant::fromValue(static_cast<uchar>(strength))}}};
}

void SimulatedConnMan::setServices(const SimulatedObjects &services)
{
    SimulatedObjects changed;
    bool anyChange = services.size() != m_services.size();
    for (int i = 0; i < services.size(); ++i) {
        const SimulatedObject &service = services.at(i);
        const int index = indexOf(m_services, service.path);
        const QVariantMap before = index < 0 ? QVariantMap() : m_services.at(index).properties;
        changed.append({service.path, difference(before, service.properties)});
        anyChange = anyChange || index != i || !changed.last().properties.isEmpty();
    }
    QList<QDBusObjectPath> removed;
    for (const SimulatedObject &service : qAsConst(m_services))
        if (indexOf(services, service.path) < 0)
            removed.append(service.path);
    m_services = services;
    if (anyChange) {
        emitSignal("/", managerInterface, "ServicesChanged",
            {QVariant::fromValue(changed), QVariant::fromValue(removed)});
    }
}

void SimulatedConnMan::changeProperty(
    const QString &path, const QString &name, const QVariant &value)
{
    const int index = indexOf(m_services, QDBusObjectPath(path));
    if (index < 0)
        return;
    m_services[index].properties.insert(name, value);
    emitSignal(path, "net.connman.Service", "PropertyChanged",
        {name, QVariant::fromValue(QDBusVariant(value))});
}

bool SimulatedConnMan::answer(const QDBusMessage &call)
{
    if (call.interface() != managerInterface || call.member() != "GetServices")
        return false;
    reply(call, {QVariant::fromValue(m_services)});
    return true;
}
