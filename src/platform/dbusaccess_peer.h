// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <sys/types.h>

enum DA_BUS { DA_BUS_SYSTEM, DA_BUS_SESSION };

/// The process behind a name on a bus.
struct DAPeer
{
    pid_t pid;
};

/// The peer that has this name on the bus, or null if there is none or it cannot be told. Asks the
/// bus daemon, waiting a few seconds at most, unless the record is cached. The record is valid
/// until it is flushed.
DAPeer *da_peer_get(DA_BUS bus, const char *name);

/// Drops the cached record of the name.
void da_peer_flush(DA_BUS bus, const char *name);
