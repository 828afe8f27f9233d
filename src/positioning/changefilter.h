// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QtGlobal>

#include <cstdlib>

/// Whether the radio picture changed enough for a request: now holds an entry that before lacks, or
/// one whose signal moved by more than 1 dB. What has gone out of view is no change.
template <typename Table>
bool hasChanged(const Table &now, const Table &before)
{
    constexpr qint64 negligibleDb = 1;
    for (auto entry = now.cbegin(); entry != now.cend(); ++entry) {
        const auto previous = before.constFind(entry.key());
        if (previous == before.cend()
            || std::abs(entry->signalDbm - previous->signalDbm) > negligibleDb)
            return true;
    }
    return false;
}
