// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <chrono>
#include <functional>

/// Runs the event loop until the condition holds; false when the deadline passes first. The
/// condition is looked at after every event, and every 10 ms for what comes without one.
bool waitUntil(const std::function<bool()> &condition, std::chrono::milliseconds deadline);
