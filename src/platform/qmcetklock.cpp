// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "qmcetklock.h"

#include "systemservice.h"

namespace {

const QStringList &lockedModes()
{
    static const QStringList modes{QStringLiteral("locked"), QStringLiteral("locked-dim"),
        QStringLiteral("locked-delay"), QStringLiteral("silent-locked"),
        QStringLiteral("silent-locked-dim")};
    return modes;
}

} // namespace

QMceTkLock::QMceTkLock(QObject *parent)
    : QObject(parent), m_service(new SystemService(QStringLiteral("com.nokia.mce"), this))
{
    m_service->listen(QStringLiteral("/com/nokia/mce/signal"),
        QStringLiteral("com.nokia.mce.signal"), QStringLiteral("tklock_mode_ind"),
        QStringLiteral("s"));
    connect(m_service, &SystemService::appeared, this, &QMceTkLock::fetch);
    connect(m_service, &SystemService::vanished, this, [this] { setMode({}); });
    connect(m_service, &SystemService::signalReceived, this,
        [this](const QDBusMessage &signal) { setMode(signal.arguments().at(0).toString()); });
}

void QMceTkLock::fetch()
{
    const QString method = QStringLiteral("get_tklock_mode");
    m_service->ask(QStringLiteral("/com/nokia/mce/request"),
        QStringLiteral("com.nokia.mce.request"), method, QStringLiteral("s"), this,
        [this, method](const QVariant &mode, const QDBusError &error) {
            if (error.isValid())
                m_service->warnOnce(method, error);
            else
                setMode(mode.toString());
        });
}

void QMceTkLock::setMode(const QString &mode)
{
    const bool locked = lockedModes().contains(mode);
    if (locked == m_locked)
        return;
    m_locked = locked;
    Q_EMIT lockedChanged();
}
