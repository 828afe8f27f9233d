// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedmce.h"

SimulatedMce::SimulatedMce(const QString &busAddress)
    : SimulatedService(busAddress, "com.nokia.mce")
{
}

void SimulatedMce::setLockMode(const QString &mode)
{
    if (mode == m_lockMode)
        return;
    m_lockMode = mode;
    emitSignal("/com/nokia/mce/signal", "com.nokia.mce.signal", "tklock_mode_ind", {mode});
}

bool SimulatedMce::answer(const QDBusMessage &call)
{
    if (call.path() != "/com/nokia/mce/request" || call.interface() != "com.nokia.mce.request"
        || call.member() != "get_tklock_mode")
        return false;
    reply(call, {m_lockMode});
    return true;
}
