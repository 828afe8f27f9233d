// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QPointF>
#include <QVector>

#include <chrono>

/// A walk in a round, with one rest on the way.
class Walk
{
public:
    using Seconds = std::chrono::duration<double>;

    /// The way leads from point to point (metres) and back to the first; after restAt metres of
    /// each round the walker stands still for a while.
    Walk(const QVector<QPointF> &way, double metresPerSecond, double restAt, Seconds rest);

    Seconds roundTime() const;
    QPointF placeAt(Seconds time) const;
    bool restsAt(Seconds time) const;

private:
    double metresWalked(Seconds timeInRound) const;
    Seconds inRound(Seconds time) const;

    const QVector<QPointF> m_way; ///< closed: ends where it starts
    const double m_metresPerSecond;
    const Seconds m_restStart;
    const Seconds m_rest;
    double m_roundMetres = 0;
};
