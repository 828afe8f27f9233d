// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDBusConnection>

/// A bus connection of its own, never shared with other code of the process, closed with this
/// object.
class BusConnection
{
public:
    explicit BusConnection(const QString &address);
    ~BusConnection();
    Q_DISABLE_COPY(BusConnection)

    QDBusConnection *operator->() { return &m_connection; }
    QDBusConnection &operator*() { return m_connection; }

private:
    QDBusConnection m_connection;
};
