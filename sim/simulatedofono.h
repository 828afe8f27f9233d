// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "simulatedservice.h"

#include <QSet>

#include <chrono>

/// What a simulated modem reports.
struct SimulatedModem
{
    QString path; ///< such as "/ril_0"
    QVariantMap servingCell; ///< members and exact types as oFono has them
    QVector<QVariantMap> neighbours;
    QStringList interfaces = {"org.ofono.NetworkRegistration", "org.ofono.NetworkMonitor"};
};

/// oFono: modems and the cells that they see. Like the real one it serves one call about a modem's
/// cells at a time; a second one meanwhile gets org.ofono.Error.InProgress.
class SimulatedOfono : public SimulatedService
{
    Q_OBJECT

public:
    explicit SimulatedOfono(const QString &busAddress);

    /// Tells of added and removed modems, changed interfaces and a changed serving cell. A change
    /// of the neighbours alone is not announced, as with the real one.
    void setModems(const QVector<SimulatedModem> &modems);

    /// How long a call about cells takes; 5 ms unless set.
    void setCellDelay(std::chrono::milliseconds delay) { m_cellDelay = delay; }

protected:
    bool answer(const QDBusMessage &call) override;
    void recovered() override { m_busyModems.clear(); }

private:
    const SimulatedModem *findModem(const QString &path) const;
    void answerAboutCells(const QDBusMessage &call);
    void sendCells(const QDBusMessage &call);
    void announceModem(const SimulatedModem *before, const SimulatedModem &after);
    void announceServingCell(const SimulatedModem &before, const SimulatedModem &after);

    QVector<SimulatedModem> m_modems;
    QSet<QString> m_busyModems;
    std::chrono::milliseconds m_cellDelay{5};
};
