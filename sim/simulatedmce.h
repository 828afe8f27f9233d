// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "simulatedservice.h"

/// MCE: the lock of touch screen and keys.
class SimulatedMce : public SimulatedService
{
    Q_OBJECT

public:
    explicit SimulatedMce(const QString &busAddress);

    QString lockMode() const { return m_lockMode; }
    /// Such as "locked" or "unlocked"; tells of a change with tklock_mode_ind.
    void setLockMode(const QString &mode);

protected:
    bool answer(const QDBusMessage &call) override;

private:
    QString m_lockMode = "unlocked";
};
