// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "childprocess.h"

/// Watches what goes over a bus, with dbus-monitor. A client's own library drops what it does not
/// expect, such as a second answer to one call.
class BusMonitor
{
public:
    /// Watches from now on; the bus has to be running.
    explicit BusMonitor(const QString &busAddress);

    /// Run the event loop until it has happened; false when the deadline passes first. A call or
    /// signal of this name, by anybody; so many calls of this client, by its unique name, answered,
    /// which is false as well when one of them has been answered twice.
    bool sees(const QByteArray &member);
    bool seesOneAnswerEach(const QString &client, int calls);

private:
    void read();

    ChildProcess m_process;
    /// The columns of a message: "mc" for a call, "mr" for a reply, "err" or "sig", time, serial,
    /// sender and destination; then path, interface and method, or the serial of the call.
    QVector<QList<QByteArray>> m_messages;
};
