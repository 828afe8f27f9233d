// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "qofonoextcellwatcher.h"

#include "ofonocellmonitor.h"
#include "systemservice.h"

#include <QDBusArgument>
#include <QDBusObjectPath>

namespace {

const QLatin1String managerInterface("org.ofono.Manager");
const QLatin1String getModems("GetModems");
const QLatin1String modemInterface("org.ofono.Modem");
const QLatin1String registrationInterface("org.ofono.NetworkRegistration");

} // namespace

QOfonoExtCellWatcher::QOfonoExtCellWatcher(QObject *parent)
    : QObject(parent), m_service(new SystemService(QStringLiteral("org.ofono"), this))
{
    const QString propertyChanged = QStringLiteral("PropertyChanged");
    m_service->listen(QStringLiteral("/"), managerInterface, QStringLiteral("ModemAdded"),
        QStringLiteral("oa{sv}"));
    m_service->listen(
        QStringLiteral("/"), managerInterface, QStringLiteral("ModemRemoved"), QStringLiteral("o"));
    m_service->listen(
        {}, modemInterface, propertyChanged, QStringLiteral("sv"), {QStringLiteral("Interfaces")});
    m_service->listen({}, registrationInterface, propertyChanged, QStringLiteral("sv"),
        {QStringLiteral("CellId"), QStringLiteral("LocationAreaCode"), QStringLiteral("Technology"),
            QStringLiteral("Status"), QStringLiteral("Strength")});
    connect(m_service, &SystemService::appeared, this, &QOfonoExtCellWatcher::start);
    connect(m_service, &SystemService::vanished, this, &QOfonoExtCellWatcher::clear);
    connect(m_service, &SystemService::signalReceived, this, &QOfonoExtCellWatcher::receive);
}

QOfonoExtCellWatcher::~QOfonoExtCellWatcher() = default;

QList<QSharedPointer<QOfonoExtCell>> QOfonoExtCellWatcher::cells()
{
    if (m_listing == Listing::Missing)
        fetch();
    QList<QSharedPointer<QOfonoExtCell>> result;
    for (const QString &modem : m_modems) {
        const QSharedPointer<OfonoCellMonitor> monitor = m_monitors.value(modem);
        if (!monitor)
            continue;
        result += monitor->cells();
        monitor->refresh();
    }
    return result;
}

void QOfonoExtCellWatcher::start()
{
    m_listing = Listing::Missing;
    fetch();
}

void QOfonoExtCellWatcher::fetch()
{
    if (m_service->owner().isEmpty())
        return;
    m_listing = Listing::Asked;
    m_service->ask(QStringLiteral("/"), managerInterface, getModems, QStringLiteral("a(oa{sv})"),
        this,
        [this](const QVariant &listed, const QDBusError &error) { takeListing(listed, error); });
}

void QOfonoExtCellWatcher::takeListing(const QVariant &listed, const QDBusError &error)
{
    if (error.isValid()) {
        m_service->warnOnce(getModems, error);
        m_listing = Listing::Missing;
        return;
    }
    m_listing = Listing::Known;
    setModems(listed);
}

void QOfonoExtCellWatcher::setModems(const QVariant &listed)
{
    // A modem announced while this answer was on its way keeps its monitor, which is already
    // asking.
    const auto former = m_monitors;
    clear();
    const QVector<SystemService::Object> modems = SystemService::objects(listed);
    for (const SystemService::Object &modem : modems) {
        if (former.contains(modem.path))
            m_monitors.insert(modem.path, former.value(modem.path));
        setModem(modem.path, modem.properties);
    }
}

void QOfonoExtCellWatcher::receive(const QDBusMessage &signal)
{
    const QVariantList arguments = signal.arguments();
    if (signal.interface() == registrationInterface) {
        const QSharedPointer<OfonoCellMonitor> monitor = m_monitors.value(signal.path());
        if (monitor)
            monitor->refresh();
    } else if (signal.interface() == modemInterface) {
        if (m_modems.contains(signal.path()))
            setModem(signal.path(), SystemService::changedProperty(signal));
    } else if (signal.member() == QLatin1String("ModemAdded")) {
        setModem(arguments.at(0).value<QDBusObjectPath>().path(),
            qdbus_cast<QVariantMap>(arguments.at(1)));
    } else {
        removeModem(arguments.at(0).value<QDBusObjectPath>().path());
    }
}

void QOfonoExtCellWatcher::setModem(const QString &path, const QVariantMap &properties)
{
    if (!m_modems.contains(path))
        m_modems.append(path);
    const QStringList interfaces
        = m_service->member<QStringList>(properties, QStringLiteral("Interfaces"))
              .value_or(QStringList());
    if (!interfaces.contains(QStringLiteral("org.ofono.NetworkMonitor")))
        m_monitors.remove(path);
    else if (!m_monitors.contains(path))
        m_monitors.insert(path, QSharedPointer<OfonoCellMonitor>::create(m_service, path));
}

void QOfonoExtCellWatcher::removeModem(const QString &path)
{
    m_modems.removeOne(path);
    m_monitors.remove(path);
}

void QOfonoExtCellWatcher::clear()
{
    m_modems.clear();
    m_monitors.clear();
}
