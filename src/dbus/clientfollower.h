// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QSet>

QT_BEGIN_NAMESPACE
class QDBusMessage;
QT_END_NAMESPACE

/// Notices that clients have left where a watch of their names on the bus would not: before it was
/// in place, when there are more clients than the bus takes watches, and when the bus itself goes
/// away, which the bus library does not connect to again.
class ClientFollower : public QObject
{
    Q_OBJECT

public:
    explicit ClientFollower(QObject *parent);

    /// Follows a client, by its unique name, until it has left.
    void follow(const QString &client);
    void unfollow(const QString &client);

Q_SIGNALS:
    /// A client that was followed has left the bus.
    void left(const QString &client);

private Q_SLOTS:
    void nameOwnerChanged(const QDBusMessage &signal);
    void disconnected();

private:
    void askWhetherPresent(const QString &client);
    void watchEveryone();
    void leave(const QString &client);

    QSet<QString> m_clients;
};
