// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "busconnection.h"
#include "positioning/cacheformat.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QObject>
#include <QVector>

#include <chrono>
#include <memory>

constexpr auto longDeadline = std::chrono::seconds(30);

// Of org.freedesktop.Geoclue and org.freedesktop.Geoclue.Position.
inline const QString addReference = "AddReference";
inline const QString removeReference = "RemoveReference";
inline const QString statusChanged = "StatusChanged";
inline const QString optionsChanged = "OptionsChanged";
inline const QString positionChanged = "PositionChanged";

/// From a reply to GetPosition or a signal PositionChanged; the default position from an error.
Position positionOf(const QDBusMessage &message);
/// All but the timestamp: mask, latitude, longitude, altitude, accuracy level and radii, such as
/// "3 55.75 37.5 nan 4 120 0".
QString text(const Position &position);

/// A Geoclue client with a bus connection of its own. It records all that the daemon tells it.
/// While it waits the event loop runs, so that the simulated services go on.
class Client : public QObject
{
    Q_OBJECT

public:
    /// The bus has to be running, the daemon not yet.
    explicit Client(const QString &busAddress);
    ~Client() override { vanish(); }

    /// A call of the daemon. The interface is org.freedesktop.Geoclue, that of the position for
    /// GetPosition, unless given.
    static QDBusMessage makeCall(const QString &method, const QVariantList &arguments = {},
        const QString &interface = QString());

    /// Calls the daemon and waits for the reply, which may be an error.
    QDBusMessage call(const QString &method, const QVariantList &arguments = {},
        const QString &interface = QString());
    /// Calls without waiting; the reply shows up in replies() and received().
    void post(const QString &method, const QVariantList &arguments = {},
        const QString &interface = QString());
    /// SetOptions with these values, each of the type that its variant has.
    QDBusMessage setOptions(const QVariantMap &options) { return call("SetOptions", {options}); }
    void postOptions(const QVariantMap &options) { post("SetOptions", {options}); }
    /// What the daemon says when asked now; -1, no options and no position after an error.
    int status() { return call("GetStatus").arguments().value(0, -1).toInt(); }
    QVariantMap options()
    {
        return qdbus_cast<QVariantMap>(call("GetOptions").arguments().value(0));
    }
    Position position() { return positionOf(call("GetPosition")); }

    /// Signals of the daemon and replies to this client, in the order of their arrival.
    const QVector<QDBusMessage> &received() const { return m_received; }
    /// The replies and errors among them, which have no name.
    QVector<QDBusMessage> replies() const { return signalsNamed(QString()); }
    /// The signals of this name among them.
    QVector<QDBusMessage> signalsNamed(const QString &name) const;
    /// The arguments of the signals of this name, one entry for each argument.
    QVariantList argumentsOf(const QString &signal) const;
    void forget() { m_received.clear(); }

    /// Run the event loop until so many have arrived; false when the deadline passes first.
    bool waitForSignal(
        const QString &name, int count = 1, std::chrono::milliseconds deadline = longDeadline);
    bool waitForReplies(int count = 1, std::chrono::milliseconds deadline = longDeadline);

    QString uniqueName() const { return (*m_connection)->baseService(); }
    /// Leaves the bus without a word.
    void vanish();

private Q_SLOTS:
    void record(const QDBusMessage &message) { m_received.append(message); }

private:
    std::unique_ptr<BusConnection> m_connection;
    QVector<QDBusMessage> m_received;
};
