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
    const QVector<SimulatedModem>::const_iterator modem = std::find_if(modems.cbegin(),
        modems.cend(), [&path](const SimulatedModem &candidate) { return candidate.path == path; });
    return modem == modems.cend() ? nullptr : &*modem;
}

SimulatedObject modemObject(const SimulatedModem &modem)
{
    return {QDBusObjectPath(modem.path), {{"Online", true}, {"Interfaces", modem.interfaces}}};
}

QVariant changedProperty(const QVariant &value)
{
    return QVariant::fromValue(QDBusVariant(value));
}

} // namespace

SimulatedOfono::SimulatedOfono(const QString &busAddress)
    : SimulatedService(busAddress, "org.ofono")
{
}

void SimulatedOfono::setModems(const QVector<SimulatedModem> &modems)
{
    const QVector<SimulatedModem> before = m_modems;
    m_modems = modems;
    for (const SimulatedModem &modem : before) {
        if (findModem(modem.path) == nullptr) {
            emitSignal("/", managerInterface, "ModemRemoved",
                {QVariant::fromValue(QDBusObjectPath(modem.path))});
        }
    }
    for (const SimulatedModem &modem : m_modems)
        announceModem(findIn(before, modem.path), modem);
}

void SimulatedOfono::announceModem(const SimulatedModem *before, const SimulatedModem &after)
{
    if (before == nullptr) {
        const SimulatedObject object = modemObject(after);
        emitSignal("/", managerInterface, "ModemAdded",
            {QVariant::fromValue(object.path), object.properties});
        return;
    }
    if (before->interfaces != after.interfaces) {
        emitSignal(after.path, modemInterface, propertyChanged,
            {"Interfaces", changedProperty(after.interfaces)});
    }
    announceServingCell(*before, after);
}

void SimulatedOfono::announceServingCell(const SimulatedModem &before, const SimulatedModem &after)
{
    if (before.servingCell == after.servingCell)
        return;
    bool announced = false;
    for (const QString &name : QStringList{"Technology", "LocationAreaCode", "CellId"}) {
        if (before.servingCell.value(name) != after.servingCell.value(name)) {
            emitSignal(after.path, registrationInterface, propertyChanged,
                {name, changedProperty(after.servingCell.value(name, 0U))});
            announced = true;
        }
    }
    if (!announced) {
        // What is left is the signal, which the registration reports in per cent.
        emitSignal(after.path, registrationInterface, propertyChanged,
            {"Strength", changedProperty(QVariant::fromValue<uchar>(60))});
    }
}

bool SimulatedOfono::answer(const QDBusMessage &call)
{
    if (call.interface() == managerInterface && call.member() == "GetModems") {
        SimulatedObjects objects;
        std::transform(
            m_modems.cbegin(), m_modems.cend(), std::back_inserter(objects), modemObject);
        reply(call, {QVariant::fromValue(objects)});
        return true;
    }
    const SimulatedModem *modem = findModem(call.path());
    const bool aboutCells = call.member() == "GetServingCellInformation"
        || call.member() == "GetNeighbouringCellInformation";
    if (modem == nullptr || !aboutCells || call.interface() != monitorInterface
        || !modem->interfaces.contains(monitorInterface))
        return false;
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
        replyError(call, "org.ofono.Error.InProgress");
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
        replyError(call, "org.ofono.Error.Failed");
        return;
    }
    QVariant cells = modem->servingCell;
    if (call.member() == "GetNeighbouringCellInformation") {
        SimulatedRecords records;
        std::transform(modem->neighbours.cbegin(), modem->neighbours.cend(),
            std::back_inserter(records),
            [](const QVariantMap &cell) { return SimulatedRecord{cell}; });
        cells = QVariant::fromValue(records);
    }
    if (reply(call, {cells}))
        m_busyModems.remove(call.path());
}
