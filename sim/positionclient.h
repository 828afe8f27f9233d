// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "busconnection.h"
#include "coordinate.h"

#include <QDBusMessage>
#include <QObject>

// A position as the daemon publishes it.
struct PublishedPosition
{
    qint64 timestamp; // seconds since the epoch
    Coordinate place;
    double accuracy; // metres
};

// A client of the daemon that holds one reference from start() until it is destroyed.
class PositionClient : public QObject
{
    Q_OBJECT

public:
    explicit PositionClient(const QString &busAddress);
    ~PositionClient() override;

    // False when the daemon does not take the reference.
    bool start();

Q_SIGNALS:
    void positionChanged(const PublishedPosition &position);
    // The status as Geoclue numbers it: 0 error, 1 unavailable, 2 acquiring, 3 available.
    void statusChanged(int status);

private Q_SLOTS:
    void readPosition(const QDBusMessage &signal);

private:
    QDBusMessage call(const QString &method);

    BusConnection m_connection;
};
