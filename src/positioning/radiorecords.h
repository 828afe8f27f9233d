// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QElapsedTimer>

#include <algorithm>
#include <iterator>

/// What is remembered about one cell while it stays in view.
struct CellRecord
{
    /// Started when the cell entered the table.
    QElapsedTimer firstSeen;
    /// Mobile country code.
    int mcc = 0;
    /// Mobile network code.
    int mnc = 0;
    /// Location area code (GSM, WCDMA) or tracking area code (LTE).
    int areaCode = 0;
    /// dBm; -2147483647 when the modem does not tell.
    qint64 signalDbm = 0;
    /// The platform's cell type: 1 GSM, 2 WCDMA, 3 LTE.
    int type = 0;
};

/// What is remembered about one WLAN access point while it stays in view.
struct WlanRecord
{
    /// Started when the access point entered the table.
    QElapsedTimer firstSeen;
    /// Called dBm by the web service, and never in dBm: the connection manager's strength, negated.
    qint64 signalDbm = 0;
};

/// Age of a record as the web service wants it: milliseconds, at least 1.
inline qint64 ageMs(const QElapsedTimer &firstSeen)
{
    return std::max<qint64>(firstSeen.elapsed(), 1);
}

/// Removes from known all that is not in current.
template <typename Known, typename Current>
void forgetUnseen(Known &known, const Current &current)
{
    for (auto entry = known.begin(); entry != known.end();)
        entry = current.contains(entry.key()) ? std::next(entry) : known.erase(entry);
}
