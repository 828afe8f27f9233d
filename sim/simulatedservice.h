// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "busconnection.h"

#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>

#include <functional>
#include <memory>

/// A system service on a bus: it comes and goes on a connection of its own, counts the calls that
/// reach it and can be told to misbehave. What it has to say is up to the class derived from it.
class SimulatedService : public QDBusVirtualObject
{
    Q_OBJECT

public:
    ~SimulatedService() override;

    /// Takes the bus name; false when the bus is not there or the name is taken.
    bool start();
    /// Drops the connection, as a crash does. What there is to report is kept for the next start.
    void stop();
    bool restart()
    {
        stop();
        return start();
    }
    /// False as well once the bus has gone away; start() takes the name on its successor.
    bool isRunning() const { return m_connection && (*m_connection)->isConnected(); }
    /// Its own connection, for as long as it runs.
    QDBusConnection connection() const { return **m_connection; }

    /// From now on the method never answers.
    void neverAnswer(const QString &method) { m_misbehaviours.insert(method, {}); }
    /// From now on the method answers with a bus error.
    void answerError(const QString &method, const QString &errorName);
    /// From now on the method answers with these values, of whatever types they are.
    void answerWith(const QString &method, const QVariantList &values);
    /// The method behaves again.
    void behave(const QString &method);

    /// How many calls of the method have arrived since this object was made, refused ones included.
    int callCount(const QString &method) const { return m_callCounts.value(method); }

    /// Sends a signal with whatever arguments; nothing when the service is not running.
    void emitSignal(const QString &path, const QString &interface, const QString &name,
        const QVariantList &arguments);

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;
    QString introspect(const QString &path) const override;

protected:
    SimulatedService(QString busAddress, QString busName);

    /// Answers the call in the end with reply() or replyError(); false when there is no such
    /// method.
    virtual bool answer(const QDBusMessage &call) = 0;
    /// Answers as the method should, or as it was told to misbehave; false when it stays silent.
    bool reply(const QDBusMessage &call, const QVariantList &values);
    void replyError(const QDBusMessage &call, const QString &errorName);
    /// A method that stayed silent may be used again.
    virtual void recovered() { }

private:
    void leaveBus();

    /// What a method answers in place of what it should; nothing at all when there is none.
    using Misbehaviour = std::function<QDBusMessage(const QDBusMessage &call)>;

    const QString m_busAddress;
    const QString m_busName;
    std::unique_ptr<BusConnection> m_connection;
    QHash<QString, Misbehaviour> m_misbehaviours;
    QHash<QString, int> m_callCounts;
};
