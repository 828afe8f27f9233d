// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "servicecall.h"

#include <QDBusConnection>

#include <utility>

ServiceCall::ServiceCall(SystemService *service, QString signature, const QObject *context,
    SystemService::AnswerHandler handler)
    : QObject(service), m_service(service), m_owner(service->owner()),
      m_signature(std::move(signature)), m_context(context), m_handler(std::move(handler))
{
}

void ServiceCall::send(const QDBusMessage &call)
{
    const auto timeoutMs = static_cast<int>(SystemService::callTimeout.count());
    if (!QDBusConnection::systemBus().callWithCallback(
            call, this, SLOT(succeed(QDBusMessage)), SLOT(fail(QDBusError)), timeoutMs))
        deleteLater();
}

void ServiceCall::succeed(const QDBusMessage &reply)
{
    if (reply.signature() == m_signature)
        finish(reply.arguments().value(0), {});
    else
        finish({},
            QDBusError(QDBusError::InvalidSignature,
                SystemService::unexpectedSignature(reply.signature(), m_signature)));
}

void ServiceCall::fail(const QDBusError &error)
{
    finish({}, error);
}

void ServiceCall::finish(const QVariant &value, const QDBusError &error)
{
    deleteLater();
    if (!m_context.isNull() && m_service->owner() == m_owner)
        m_handler(value, error);
}
