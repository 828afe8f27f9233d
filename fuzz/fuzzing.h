// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "dbus/position.h"

#include <QByteArray>

// Gives the process an application object, a bus of its own as the system bus, and silence. Its
// files are those of the sandboxed daemon: below the working directory.
void prepareProcess();

// Ends the process, as a finding, unless the condition holds.
void require(bool condition, const char *rule);

// All that happens before the event loop would sleep.
void processEvents();

// The members of a position, bit by bit, so that NaN equals itself.
QByteArray bits(const Position &position);
