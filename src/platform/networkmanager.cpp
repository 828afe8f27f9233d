// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "networkmanager.h"

#include "networkservice.h"
#include "systemservice.h"

namespace {

const QLatin1String managerInterface("net.connman.Manager");
const QLatin1String serviceInterface("net.connman.Service");
const QLatin1String servicesChanged("ServicesChanged");
const QLatin1String getServices("GetServices");

} // namespace

NetworkManager::NetworkManager(QObject *parent)
    : QObject(parent), m_service(new SystemService(QStringLiteral("net.connman"), this))
{
    m_service->listen(
        QStringLiteral("/"), managerInterface, servicesChanged, QStringLiteral("a(oa{sv})ao"));
    m_service->listen({}, serviceInterface, QStringLiteral("PropertyChanged"), QStringLiteral("sv"),
        {QStringLiteral("Type"), QStringLiteral("BSSID"), QStringLiteral("Strength"),
            QStringLiteral("Name")});
    connect(m_service, &SystemService::appeared, this, &NetworkManager::start);
    connect(m_service, &SystemService::vanished, this, &NetworkManager::clear);
    connect(m_service, &SystemService::signalReceived, this, &NetworkManager::receive);
}

QVector<NetworkService *> NetworkManager::getAvailableServices(const QString &technology)
{
    if (m_listing == Listing::Missing)
        fetch();
    QVector<NetworkService *> available;
    for (const QSharedPointer<NetworkService> &service : m_services) {
        if (service->type() == technology && !service->isOptedOut())
            available.append(service.data());
    }
    return available;
}

void NetworkManager::start()
{
    m_listing = Listing::Missing;
    fetch();
}

void NetworkManager::fetch()
{
    if (m_service->owner().isEmpty())
        return;
    m_listing = Listing::Asked;
    m_service->ask(QStringLiteral("/"), managerInterface, getServices, QStringLiteral("a(oa{sv})"),
        this,
        [this](const QVariant &listed, const QDBusError &error) { takeListing(listed, error); });
}

void NetworkManager::takeListing(const QVariant &listed, const QDBusError &error)
{
    if (error.isValid()) {
        m_service->warnOnce(getServices, error);
        m_listing = Listing::Missing;
        return;
    }
    m_listing = Listing::Known;
    // The dictionaries of this answer are complete: what they lack, nobody knows.
    clear();
    setServices(listed);
}

void NetworkManager::receive(const QDBusMessage &signal)
{
    if (signal.member() == servicesChanged) {
        setServices(signal.arguments().at(0));
        return;
    }
    const QSharedPointer<NetworkService> changed = m_servicesByPath.value(signal.path());
    if (changed)
        changed->update(m_service, SystemService::changedProperty(signal));
}

// Every registered service is listed, those without news with an empty dictionary, so that what is
// not listed is gone.
void NetworkManager::setServices(const QVariant &listed)
{
    const QHash<QString, QSharedPointer<NetworkService>> former = m_servicesByPath;
    clear();
    const QVector<SystemService::Object> objects = SystemService::objects(listed);
    for (const SystemService::Object &object : objects) {
        QSharedPointer<NetworkService> &service = m_servicesByPath[object.path];
        if (!service) {
            service = former.value(object.path);
            if (!service)
                service = QSharedPointer<NetworkService>::create();
            m_services.append(service);
        }
        service->update(m_service, object.properties);
    }
}

void NetworkManager::clear()
{
    m_services.clear();
    m_servicesByPath.clear();
}
