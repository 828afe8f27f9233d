// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "ofonocellmonitor.h"

#include "systemservice.h"

#include <QDBusArgument>

#include <utility>

namespace {

const QLatin1String monitorInterface("org.ofono.NetworkMonitor");
const QLatin1String inProgress("org.ofono.Error.InProgress");

/// Said by drivers that know the serving cell only, depending on oFono's version.
bool isNotOffered(const QDBusError &error)
{
    return error.type() == QDBusError::UnknownMethod
        || error.name() == QLatin1String("org.ofono.Error.NotImplemented");
}

} // namespace

OfonoCellMonitor::OfonoCellMonitor(SystemService *service, QString modem)
    : m_service(service), m_modem(std::move(modem))
{
    refresh();
}

void OfonoCellMonitor::refresh()
{
    m_refreshDue = m_refreshing;
    if (m_refreshing)
        return;
    m_refreshing = true;
    m_service->ask(m_modem, monitorInterface, QStringLiteral("GetServingCellInformation"),
        QStringLiteral("a{sv}"), this, [this](const QVariant &properties, const QDBusError &error) {
            takeServingCell(properties, error);
        });
}

void OfonoCellMonitor::takeServingCell(const QVariant &properties, const QDBusError &error)
{
    if (error.isValid()) {
        if (error.name() != inProgress)
            m_service->warnOnce(QStringLiteral("GetServingCellInformation"), error);
        if (!keepsPicture(error))
            m_cells.clear();
        finish();
        return;
    }
    const auto serving
        = QSharedPointer<QOfonoExtCell>::create(m_service, qdbus_cast<QVariantMap>(properties));
    // Until they are told anew, neighbours are still good, but only those of the same serving cell.
    if (m_cells.isEmpty() || !m_cells.first()->isSameCellAs(*serving))
        m_cells = {serving};
    else
        m_cells.first() = serving;
    askForNeighbours();
}

void OfonoCellMonitor::askForNeighbours()
{
    m_service->ask(m_modem, monitorInterface, QStringLiteral("GetNeighbouringCellInformation"),
        QStringLiteral("a(a{sv})"), this,
        [this](const QVariant &listed, const QDBusError &error) { takeNeighbours(listed, error); });
}

void OfonoCellMonitor::takeNeighbours(const QVariant &listed, const QDBusError &error)
{
    if (error.isValid() && error.name() != inProgress && !isNotOffered(error))
        m_service->warnOnce(QStringLiteral("GetNeighbouringCellInformation"), error);
    if (!keepsPicture(error))
        m_cells = m_cells.mid(0, 1);
    if (!error.isValid())
        addNeighbours(listed);
    if (!error.isValid() || isNotOffered(error))
        m_pictureAge.start();
    finish();
}

void OfonoCellMonitor::addNeighbours(const QVariant &listed)
{
    const QSharedPointer<QOfonoExtCell> serving = m_cells.first();
    const auto argument = listed.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QVariantMap properties;
        argument.beginStructure();
        argument >> properties;
        argument.endStructure();
        m_cells.append(
            QSharedPointer<QOfonoExtCell>::create(m_service, properties, serving.data()));
    }
    argument.endArray();
}

// Another client's call is under way: what was known is kept for as long as an answer may take.
bool OfonoCellMonitor::keepsPicture(const QDBusError &error) const
{
    return error.name() == inProgress && m_pictureAge.isValid()
        && !m_pictureAge.hasExpired(SystemService::callTimeout.count());
}

void OfonoCellMonitor::finish()
{
    m_refreshing = false;
    if (m_refreshDue)
        refresh();
}
