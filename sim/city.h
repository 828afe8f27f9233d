// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "transmitter.h"

#include <QLineF>
#include <QRandomGenerator>
#include <QRectF>
#include <QVariantMap>
#include <QVector>

/// What a phone sees at one place, with the bus types of oFono and ConnMan.
struct RadioView
{
    struct Wlan
    {
        QString path; ///< of the ConnMan service
        QString bssid;
        int strength; ///< per cent
    };

    QVariantMap servingCell; ///< empty out of reach of all masts
    QVector<QVariantMap> neighbours;
    QVector<Wlan> wlans;
};

/// A small town on no map, the same at each run: streets, buildings with access points in them, a
/// park without any, and the masts of one mobile network. Points are in metres, x to the east and y
/// to the north of the south-western corner.
class City
{
public:
    struct AccessPoint
    {
        QString bssid;
        QPointF place;
        Transmitter transmitter;
    };
    struct Mast
    {
        int cellId;
        QString technology; ///< "gsm", "umts" or "lte"
        QPointF place;
        Transmitter transmitter;
    };

    City();

    QRectF bounds() const;
    QRectF park() const;
    QVector<QLineF> streets() const;
    const QVector<QRectF> &buildings() const { return m_buildings; }
    const QVector<AccessPoint> &accessPoints() const { return m_accessPoints; }
    const QVector<Mast> &masts() const { return m_masts; }

    Coordinate coordinateOf(const QPointF &point) const;
    QPointF pointOf(const Coordinate &coordinate) const;

    /// What a phone at this point receives. Buildings shade each signal in a pattern that stays; a
    /// second look from the same point differs by 1 dB at most.
    RadioView viewFrom(const QPointF &point);

private:
    void build(const QRectF &block);
    void placeAccessPoint(const QRectF &building);
    void placeMasts();
    int jitterDb() { return static_cast<int>(m_random.bounded(2)); }

    QRandomGenerator m_random;
    QVector<QRectF> m_buildings;
    QVector<AccessPoint> m_accessPoints;
    QVector<Mast> m_masts;
};
