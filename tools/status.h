// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "failure.h"

/// Prints the provider's status, name, description and last known position.
ExitStatus printStatus(bool json);
