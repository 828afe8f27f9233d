// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "simulatedservice.h"

#include "simulatedtypes.h"

#include <utility>

SimulatedService::SimulatedService(QString busAddress, QString busName)
    : m_busAddress(std::move(busAddress)), m_busName(std::move(busName))
{
    registerSimulatedTypes();
}

SimulatedService::~SimulatedService()
{
    leaveBus();
    // Else the bus thread would hear of the end while it closes the connection.
    disconnect();
}

bool SimulatedService::start()
{
    auto connection = std::make_unique<BusConnection>(m_busAddress);
    const bool started = (*connection)->isConnected()
        && (*connection)->registerVirtualObject("/", this, QDBusConnection::SubPath)
        && (*connection)->registerService(m_busName);
    if (started)
        m_connection = std::move(connection);
    return started;
}

void SimulatedService::stop()
{
    leaveBus();
    recovered();
}

void SimulatedService::leaveBus()
{
    // The library closes the connection a little later, which may be after the next start.
    if (m_connection) {
        (*m_connection)->unregisterService(m_busName);
        (*m_connection)->unregisterObject("/", QDBusConnection::UnregisterTree);
        m_connection.reset();
    }
}

void SimulatedService::answerError(const QString &method, const QString &errorName)
{
    m_misbehaviours.insert(method, [errorName](const QDBusMessage &call) {
        return call.createErrorReply(errorName, "As simulated");
    });
}

void SimulatedService::answerWith(const QString &method, const QVariantList &values)
{
    m_misbehaviours.insert(
        method, [values](const QDBusMessage &call) { return call.createReply(values); });
}

void SimulatedService::behave(const QString &method)
{
    m_misbehaviours.remove(method);
    recovered();
}

void SimulatedService::emitSignal(const QString &path, const QString &interface,
    const QString &name, const QVariantList &arguments)
{
    if (m_connection) {
        QDBusMessage signal = QDBusMessage::createSignal(path, interface, name);
        signal.setArguments(arguments);
        (*m_connection)->send(signal);
    }
}

bool SimulatedService::handleMessage(const QDBusMessage &message, const QDBusConnection &)
{
    if (message.type() != QDBusMessage::MethodCallMessage || !m_connection)
        return false;
    ++m_callCounts[message.member()];
    return answer(message);
}

QString SimulatedService::introspect(const QString &) const
{
    return {};
}

bool SimulatedService::reply(const QDBusMessage &call, const QVariantList &values)
{
    const auto misbehaviour = m_misbehaviours.constFind(call.member());
    const bool behaves = misbehaviour == m_misbehaviours.constEnd();
    if (!m_connection || (!behaves && !*misbehaviour))
        return false;
    (*m_connection)->send(behaves ? call.createReply(values) : (*misbehaviour)(call));
    return true;
}

void SimulatedService::replyError(const QDBusMessage &call, const QString &errorName)
{
    if (m_connection)
        (*m_connection)->send(call.createErrorReply(errorName, "As simulated"));
}
