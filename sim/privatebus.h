// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "childprocess.h"
#include "scratchdirectory.h"

/// A bus daemon of our own that allows everything, on a unix socket in a temporary directory.
class PrivateBus
{
public:
    /// Starts the daemon; isRunning() tells whether that worked.
    PrivateBus();
    ~PrivateBus();
    Q_DISABLE_COPY(PrivateBus)

    /// The same through the whole life of the object.
    QString address() const;
    bool isRunning() const { return m_daemon.state() == QProcess::Running; }

    /// Starts the daemon again after kill(); false when it does not come up.
    bool start();
    /// All connections break, as when the daemon crashes.
    void kill();

private:
    ScratchDirectory m_directory;
    ChildProcess m_daemon;
};
