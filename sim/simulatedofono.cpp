// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedofono.h"

#include "simulatedtypes.h"

#include <QTimer>

#include <algorithm>

namespace {

const QLatin1String managerInterface("org.ofono.Manager");
const QLatin1String modemInterface("org.ofono.Modem");
const QLatin1String monitorInterface("org.ofono.NetworkMonitor");
const QLatin1String registrationInterface("org.ofono.NetworkRegistration");
const QLatin1String propertyChanged("PropertyChanged");

const SimulatedModem *findIn(const QVector<SimulatedModem> &modems, const QString &path)
{
    const auto *const modem = std::find_if(modems.cbegin(), modems.cend(),
        [&path](const SimulatedModem &candidate) { return candidate.path == path; });
    return modem == modems.cend() ? nullptr : &*modem;
}

SimulatedObject modemObject(const SimulatedModem &modem)
{
    return {QDBusObjectPath(modem.path),
        {{QStringLiteral("Online"), true}, {QStringLiteral("Interfaces"), modem.interfaces}}};
}

QVariant changedProperty(const QVariant &value)
{
    return QVariant::fromValue(QDBusVariant(value));
}

} // namespace

SimulatedOfono::SimulatedOfono(const QString &busAddress)
    : SimulatedService(busAddress, QStringLiteral("org.ofono"))
{
}

void SimulatedOfono::setModems(const QVector<SimulatedModem> &modems)
{
    const QVector<SimulatedModem> before = m_modems;
    m_modems = modems;
    for (const SimulatedModem &modem : before) {
        if (findModem(modem.path) == nullptr) {
            emitSignal(QStringLiteral("/"), managerInterface, QStringLiteral("ModemRemoved"),
                {QVariant::fromValue(QDBusObjectPath(modem.path))});
        }
    }
    for (const SimulatedModem &modem : m_modems) {
        announceModem(findIn(before, modem.path), modem);
    }
}

void SimulatedOfono::announceModem(const SimulatedModem *before, const SimulatedModem &after)
{
    if (before == nullptr) {
        const SimulatedObject object = modemObject(after);
        emitSignal(QStringLiteral("/"), managerInterface, QStringLiteral("ModemAdded"),
            {QVariant::fromValue(object.path), object.properties});
        return;
    }
    if (before->interfaces != after.interfaces) {
        emitSignal(after.path, modemInterface, propertyChanged,
            {QStringLiteral("Interfaces"), changedProperty(after.interfaces)});
    }
    announceServingCell(*before, after);
}

void SimulatedOfono::announceServingCell(const SimulatedModem &before, const SimulatedModem &after)
{
    if (before.servingCell == after.servingCell) {
        return;
    }
    bool announced = false;
    for (const QString &name : {QStringLiteral("Technology"), QStringLiteral("LocationAreaCode"),
             QStringLiteral("CellId")}) {
        if (before.servingCell.value(name) != after.servingCell.value(name)) {
            emitSignal(after.path, registrationInterface, propertyChanged,
                {name, changedProperty(after.servingCell.value(name, 0U))});
            announced = true;
        }
    }
    if (!announced) {
        // What is left is the signal, which the registration reports in per cent.
        emitSignal(after.path, registrationInterface, propertyChanged,
            {QStringLiteral("Strength"), changedProperty(QVariant::fromValue<uchar>(60))});
    }
}

bool SimulatedOfono::answer(const QDBusMessage &call)
{
    if (call.interface() == managerInterface && call.member() == QLatin1String("GetModems")) {
        SimulatedObjects objects;
        std::transform(
            m_modems.cbegin(), m_modems.cend(), std::back_inserter(objects), modemObject);
        reply(call, {QVariant::fromValue(objects)});
        return true;
    }
    const SimulatedModem *modem = findModem(call.path());
    const bool aboutCells = call.member() == QLatin1String("GetServingCellInformation")
        || call.member() == QLatin1String("GetNeighbouringCellInformation");
    if (modem == nullptr || !aboutCells || call.interface() != monitorInterface
        || !modem->interfaces.contains(monitorInterface)) {
        return false;
    }
    answerAboutCells(call);
    return true;
}

const SimulatedModem *SimulatedOfono::findModem(const QString &path) const
{
    return findIn(m_modems, path);
}

void SimulatedOfono::answerAboutCells(const QDBusMessage &call)
{
    if (m_busyModems.contains(call.path())) {
        replyError(call, QStringLiteral("org.ofono.Error.InProgress"));
        return;
    }
    m_busyModems.insert(call.path());
    QTimer::singleShot(m_cellDelay, this, [this, call] { sendCells(call); });
}

void SimulatedOfono::sendCells(const QDBusMessage &call)
{
    const SimulatedModem *modem = findModem(call.path());
    if (modem == nullptr) {
        m_busyModems.remove(call.path());
        replyError(call, QStringLiteral("org.ofono.Error.Failed"));
        return;
    }
    QVariant cells = modem->servingCell;
    if (call.member() == QLatin1String("GetNeighbouringCellInformation")) {
        SimulatedRecords records;
        std::transform(modem->neighbours.cbegin(), modem->neighbours.cend(),
            std::back_inserter(records),
            [](const QVariantMap &cell) { return SimulatedRecord{cell}; });
        cells = QVariant::fromValue(records);
    }
    if (reply(call, {cells})) {
        m_busyModems.remove(call.path());
    }
}
