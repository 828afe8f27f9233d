// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "position.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusPendingCall>
#include <QObject>
#include <QVariantMap>

#include <functional>

/// The provider on the system bus, as one of its clients sees it: its signals, and the one
/// reference that the client may hold. The reference is given back on destruction.
class Provider : public QObject
{
    Q_OBJECT

public:
    explicit Provider(QObject *parent = nullptr);
    ~Provider() override;

    static QString serviceName();

    /// Calls a method of `org.freedesktop.Geoclue` and waits for its reply or its error.
    static QDBusMessage call(const QString &method, const QVariantList &arguments = {});

    /// Calls GetPosition and waits for its reply or its error.
    static QDBusMessage callGetPosition();

    /// Has the bus start the provider if it is not there; where it cannot, nothing happens.
    static void wakeUp();

    /// Asks for status and position, and ends in fetched() or failed().
    void fetch();

    /// Takes the reference. An error ends in failed().
    void addReference();

Q_SIGNALS:
    void fetched(int status, const Position &position);
    void positionChanged(const Position &position);
    void statusChanged(int status);
    void optionsChanged(const QVariantMap &options);
    void failed(const QDBusError &error);
    void left(); ///< The provider has left the bus, and the reference with it.
    void returned(); ///< The provider is on the bus again. It knows of no reference.

private Q_SLOTS:
    void relayPosition(const QDBusMessage &message);

private:
    void ownerChanged(const QString &oldOwner, const QString &newOwner);
    void whenAnswered(
        const QDBusPendingCall &call, const std::function<void(const QDBusMessage &)> &handle);
    void removeReference() const;

    bool m_hasReference = false;
    bool m_hasLeft = false;
};
