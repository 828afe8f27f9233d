// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <atomic>
#include <cstdint>

// The waits of a program that ended because a timer was due.
struct PollTimeouts
{
    std::atomic<int64_t> count;
    std::atomic<int64_t> lastNs; // monotonic clock
};
