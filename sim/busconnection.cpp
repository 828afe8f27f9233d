// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "busconnection.h"

#include <atomic>

namespace {

QString uniqueName()
{
    static std::atomic<int> count{0};
    return QString("sim-%1").arg(++count);
}

} // namespace

BusConnection::BusConnection(const QString &address)
    : m_connection(QDBusConnection::connectToBus(address, uniqueName()))
{
}

BusConnection::~BusConnection()
{
    QDBusConnection::disconnectFromBus(m_connection.name());
}
