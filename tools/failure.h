// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDBusError>
#include <QString>

/// What the program's exit status says. Scripts rely on the numbers.
enum ExitStatus {
    Success = 0,
    Failure = 1, ///< also: no position in time
    UsageError = 2, ///< nothing was sent to the provider
    NotReachable = 3, ///< no bus, no provider, or one that does not answer
    AccessDenied = 4,
    KeyRefused = 5,
    KeyNotChecked = 6, ///< whether the web service would take the API key stays unknown
    SignalBase = 128 ///< plus the number of the signal that ended the program
};

/// Tells the person at the terminal what went wrong with a call to the provider, and what can be
/// done about it. Returns the exit status that goes with it.
ExitStatus reportFailure(const QDBusError &error);

/// The same for a call that reads or changes settings, which not everybody may do.
ExitStatus reportSettingsFailure(const QDBusError &error);
