// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "city.h"

/// Draws a walk through the city as an SVG image: the way gone, what was published and how far off.
class WalkDrawing
{
public:
    explicit WalkDrawing(const City &city) : m_city(city) { }

    /// The walker has come to this point, with the phone locked or not.
    void addStep(const QPointF &point, bool locked) { m_steps.append({point, locked}); }
    /// A position was published while the walker was at "truth"; the accuracy is in metres.
    void addPosition(const QPointF &published, double accuracy, const QPointF &truth)
    {
        m_positions.append({published, accuracy, truth});
    }

    QByteArray svg() const;

private:
    struct Step
    {
        QPointF point;
        bool locked;
    };
    struct Position
    {
        QPointF published;
        double accuracy;
        QPointF truth;
    };

    QByteArray town() const;
    QByteArray way(bool locked) const;
    QByteArray accuracies() const;
    QByteArray positions() const;
    QByteArray transmitters() const;

    const City &m_city;
    QVector<Step> m_steps;
    QVector<Position> m_positions;
};
