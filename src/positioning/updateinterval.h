// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

/// The period of the position requests, in milliseconds.
namespace UpdateInterval {

constexpr quint64 defaultMs = 60000;
constexpr quint64 defaultBackgroundMs = 3600000;
constexpr quint64 shortestMs = 1000;
/// The last whole second that a timer's 32-bit count of milliseconds can hold.
constexpr quint64 longestMs = 2147483000;

constexpr quint64 clampedMs(quint64 ms)
{
    return qBound(shortestMs, ms, longestMs);
}

} // namespace UpdateInterval
