// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "walk.h"

#include <QLineF>

#include <algorithm>
#include <cmath>

Walk::Walk(const QVector<QPointF> &way, double metresPerSecond, double restAt, Seconds rest)
    : m_way(way + QVector<QPointF>{way.first()}), m_metresPerSecond(metresPerSecond),
      m_restStart(restAt / metresPerSecond), m_rest(rest)
{
    for (int i = 1; i < m_way.size(); ++i)
        m_roundMetres += QLineF(m_way.at(i - 1), m_way.at(i)).length();
}

Walk::Seconds Walk::roundTime() const
{
    return Seconds(m_roundMetres / m_metresPerSecond) + m_rest;
}

QPointF Walk::placeAt(Seconds time) const
{
    double metres = metresWalked(inRound(time));
    for (int i = 1; i < m_way.size(); ++i) {
        const QLineF leg(m_way.at(i - 1), m_way.at(i));
        if (metres <= leg.length())
            return leg.pointAt(metres / leg.length());
        metres -= leg.length();
    }
    return m_way.last();
}

bool Walk::restsAt(Seconds time) const
{
    const Seconds since = inRound(time) - m_restStart;
    return since >= Seconds(0) && since < m_rest;
}

double Walk::metresWalked(Seconds timeInRound) const
{
    const Seconds rested = std::max(Seconds(0), std::min(timeInRound - m_restStart, m_rest));
    return (timeInRound - rested).count() * m_metresPerSecond;
}

Walk::Seconds Walk::inRound(Seconds time) const
{
    return Seconds(std::fmod(time.count(), roundTime().count()));
}
