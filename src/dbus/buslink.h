// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>

QT_BEGIN_NAMESPACE
class QDBusMessage;
QT_END_NAMESPACE

/// The process's connection to the system bus. The bus library does not connect again by itself.
class BusLink : public QObject
{
    Q_OBJECT

public:
    explicit BusLink(QObject *parent);

    /// Has left() emitted for every name that leaves the bus from now on.
    void watchEveryone();

Q_SIGNALS:
    /// The bus has gone away, and with it every client.
    void lost();
    /// A name has no owner any more.
    void left(const QString &name);

private Q_SLOTS:
    void nameOwnerChanged(const QDBusMessage &signal);
};
