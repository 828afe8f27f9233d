// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedmce.h"

SimulatedMce::SimulatedMce(const QString &busAddress)
    : SimulatedService(busAddress, QStringLiteral("com.nokia.mce"))
{
}

void SimulatedMce::setLockMode(const QString &mode)
{
    if (mode == m_lockMode) {
        return;
    }
    m_lockMode = mode;
    emitSignal(QStringLiteral("/com/nokia/mce/signal"), QStringLiteral("com.nokia.mce.signal"),
        QStringLiteral("tklock_mode_ind"), {mode});
}

bool SimulatedMce::answer(const QDBusMessage &call)
{
    if (call.path() != QLatin1String("/com/nokia/mce/request")
        || call.interface() != QLatin1String("com.nokia.mce.request")
        || call.member() != QLatin1String("get_tklock_mode")) {
        return false;
    }
    reply(call, {m_lockMode});
    return true;
}
