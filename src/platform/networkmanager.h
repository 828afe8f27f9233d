// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QHash>
#include <QObject>
#include <QSharedPointer>
#include <QVector>

class NetworkService;
class QDBusMessage;
class SystemService;

/// The networks in view, as ConnMan lists them; none without ConnMan.
class NetworkManager : public QObject
{
    Q_OBJECT

public:
    explicit NetworkManager(QObject *parent = nullptr);

    /// The services of a technology ("wifi") in ConnMan's order. The manager owns them; a pointer
    /// is valid until control returns to the event loop.
    QVector<NetworkService *> getAvailableServices(const QString &technology) const;

private:
    void fetch();
    void receive(const QDBusMessage &signal);
    void setServices(const QVariant &listed);
    void clear();

    SystemService *m_service;
    QVector<QSharedPointer<NetworkService>> m_services;
    QHash<QString, QSharedPointer<NetworkService>> m_servicesByPath;
};
