// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QHash>
#include <QObject>
#include <QSharedPointer>
#include <QVector>

class NetworkService;
class QDBusError;
class QDBusMessage;
class SystemService;

/// The networks in view, as ConnMan lists them; none without ConnMan.
class NetworkManager : public QObject
{
    Q_OBJECT

public:
    explicit NetworkManager(QObject *parent = nullptr);

    /// The services of a technology ("wifi") in ConnMan's order, without access points whose owners
    /// opted out. The manager owns them; a pointer is valid until control returns to the event
    /// loop. A list that ConnMan failed to give is asked for again.
    QVector<NetworkService *> getAvailableServices(const QString &technology);

private:
    enum class Listing { Missing, Asked, Known };

    void start();
    void fetch();
    void takeListing(const QVariant &listed, const QDBusError &error);
    void receive(const QDBusMessage &signal);
    void setServices(const QVariant &listed);
    void clear();

    SystemService *m_service;
    QVector<QSharedPointer<NetworkService>> m_services;
    QHash<QString, QSharedPointer<NetworkService>> m_servicesByPath;
    Listing m_listing = Listing::Missing;
};
