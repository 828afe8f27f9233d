// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "systemservice.h"

#include <QPointer>

/// One call to a system service on its way. It lives until the answer is there, whatever becomes of
/// the asker, and deletes itself. The connection knows it before the call is sent: a watcher made
/// afterwards could hear of an answer later than of the signals that the service sent after it.
class ServiceCall : public QObject
{
    Q_OBJECT

public:
    ServiceCall(SystemService *service, QString signature, const QObject *context,
        SystemService::AnswerHandler handler);

    void send(const QDBusMessage &call);

private Q_SLOTS:
    void succeed(const QDBusMessage &reply);
    void fail(const QDBusError &error);

private:
    void finish(const QVariant &value, const QDBusError &error);

    SystemService *m_service;
    QString m_owner;
    QString m_signature;
    QPointer<const QObject> m_context;
    SystemService::AnswerHandler m_handler;
};
