// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "city.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr quint32 layoutSeed = 20260; // any number; another one is another town
constexpr Coordinate origin{48.5, -38.25}; // in the middle of the Atlantic

// The middles of the streets, in metres.
constexpr std::array<double, 7> avenues{20, 110, 205, 305, 400, 490, 580};
constexpr std::array<double, 5> roads{20, 105, 195, 280, 370};
constexpr double halfStreetWidth = 7;
constexpr double margin = 20;
const QRectF parkArea(QPointF(407, 112), QPointF(483, 273));

constexpr double accessPointsPerBuilding = 0.7;
constexpr double accessPointDbmAtOneMetre = -35;
constexpr double accessPointExponent = 2.8; // walls included
constexpr double weakestWlanDbm = -88;
constexpr int strongestWlan = 100;

constexpr double mastDbmAtOneMetre = -5;
constexpr double mastExponent = 3.3;
constexpr double weakestCellDbm = -97;
constexpr ushort areaCode = 7710;

// A pattern of light and shade in dB, smooth over some metres, different for each transmitter.
double shadeDb(const QPointF &point, int transmitter, double metresPerRadian, double amplitudeDb)
{
    const double phase = 1.7 * transmitter;
    return amplitudeDb
        * (std::sin(point.x() / metresPerRadian + phase)
            + std::sin(point.y() / metresPerRadian + 2 * phase)
            + std::sin((point.x() - point.y()) / (2 * metresPerRadian) + 3 * phase));
}

double receivedDbm(const QPointF &point, const QPointF &place, const Transmitter &transmitter)
{
    return transmitter.dbmAt(QLineF(point, place).length());
}

QVariantMap cellProperties(const City::Mast &mast, int dbm)
{
    const auto code = [](int value) { return QVariant::fromValue(static_cast<uchar>(value)); };
    QVariantMap cell{{"Technology", mast.technology}, {"MobileCountryCode", "001"},
        {"MobileNetworkCode", "01"}, {"CellId", static_cast<uint>(mast.cellId)}};
    if (mast.technology == "lte") {
        cell.insert("TrackingAreaCode", QVariant::fromValue(areaCode));
        cell.insert("ReferenceSignalReceivedPower", code(qBound(0, dbm + 141, 97)));
        return cell;
    }
    cell.insert("LocationAreaCode", QVariant::fromValue(areaCode));
    if (mast.technology == "umts")
        cell.insert("ReceivedSignalCodePower", code(qBound(0, dbm + 121, 96)));
    else
        cell.insert("ReceivedSignalStrength", code(qBound(0, dbm + 111, 63)));
    return cell;
}

} // namespace

City::City() : m_random(layoutSeed)
{
    for (size_t column = 0; column + 1 < avenues.size(); ++column) {
        for (size_t row = 0; row + 1 < roads.size(); ++row) {
            const QRectF block(
                QPointF(avenues.at(column) + halfStreetWidth, roads.at(row) + halfStreetWidth),
                QPointF(
                    avenues.at(column + 1) - halfStreetWidth, roads.at(row + 1) - halfStreetWidth));
            if (!block.intersects(parkArea))
                build(block);
        }
    }
    placeMasts();
}

void City::build(const QRectF &block)
{
    constexpr double gap = 4;
    const double split = block.width() * (0.35 + 0.3 * m_random.generateDouble());
    for (const bool west : {true, false}) {
        const double left = west ? block.left() : block.left() + split + gap;
        const double right = west ? block.left() + split : block.right();
        const double middle
            = block.top() + block.height() * (0.35 + 0.3 * m_random.generateDouble());
        m_buildings.append(QRectF(QPointF(left, block.top()), QPointF(right, middle)));
        placeAccessPoint(m_buildings.last());
        m_buildings.append(QRectF(QPointF(left, middle + gap), QPointF(right, block.bottom())));
        placeAccessPoint(m_buildings.last());
    }
}

void City::placeAccessPoint(const QRectF &building)
{
    if (m_random.generateDouble() > accessPointsPerBuilding)
        return;
    const QPointF place(
        building.left() + building.width() * (0.1 + 0.8 * m_random.generateDouble()),
        building.top() + building.height() * (0.1 + 0.8 * m_random.generateDouble()));
    const QString bssid = QString("02:00:5e:10:%1:%2")
                              .arg(m_random.bounded(256), 2, 16, QLatin1Char('0'))
                              .arg(m_accessPoints.size(), 2, 16, QLatin1Char('0'));
    m_accessPoints.append(
        {bssid, place, {coordinateOf(place), accessPointDbmAtOneMetre, accessPointExponent}});
}

void City::placeMasts()
{
    const auto place = [this](int cellId, const QString &technology, const QPointF &point) {
        m_masts.append(
            {cellId, technology, point, {coordinateOf(point), mastDbmAtOneMetre, mastExponent}});
    };
    place(26214401, "lte", {63, 62});
    place(26214402, "lte", {255, 338});
    place(26214403, "lte", {352, 60});
    place(26214404, "lte", {536, 236});
    place(1310721, "umts", {158, 232});
    place(1310722, "umts", {536, 62});
    place(20051, "gsm", {63, 325});
    place(20052, "gsm", {445, 192});
}

QRectF City::bounds() const
{
    return {QPointF(0, 0), QPointF(avenues.back() + margin, roads.back() + margin)};
}

QRectF City::park() const
{
    return parkArea;
}

QVector<QLineF> City::streets() const
{
    QVector<QLineF> all;
    for (const double x : avenues)
        all.append(QLineF(x, 0, x, bounds().bottom()));
    for (const double y : roads)
        all.append(QLineF(0, y, bounds().right(), y));
    return all;
}

Coordinate City::coordinateOf(const QPointF &point) const
{
    return {origin.latitude + point.y() / metresPerDegreeOfLatitude,
        origin.longitude + point.x() / metresPerDegreeOfLongitude(origin.latitude)};
}

QPointF City::pointOf(const Coordinate &coordinate) const
{
    return {(coordinate.longitude - origin.longitude) * metresPerDegreeOfLongitude(origin.latitude),
        (coordinate.latitude - origin.latitude) * metresPerDegreeOfLatitude};
}

RadioView City::viewFrom(const QPointF &point)
{
    RadioView view;
    int transmitter = 0;
    for (const AccessPoint &accessPoint : qAsConst(m_accessPoints)) {
        const double dbm = receivedDbm(point, accessPoint.place, accessPoint.transmitter)
            + shadeDb(point, ++transmitter, 8, 2.5);
        if (dbm >= weakestWlanDbm) {
            const int strength
                = static_cast<int>(std::lround(dbm + connManStrengthOffsetDb)) + jitterDb();
            view.wlans.append({"/net/connman/service/wifi_" % QString::number(transmitter),
                accessPoint.bssid, std::min(strength, strongestWlan)});
        }
    }
    double strongestLte = weakestCellDbm;
    for (const Mast &mast : qAsConst(m_masts)) {
        const double dbm = receivedDbm(point, mast.place, mast.transmitter)
            + shadeDb(point, ++transmitter, 30, 2);
        if (dbm < weakestCellDbm)
            continue;
        const QVariantMap cell
            = cellProperties(mast, static_cast<int>(std::lround(dbm)) + jitterDb());
        if (mast.technology != "lte" || dbm < strongestLte) {
            view.neighbours.append(cell);
            continue;
        }
        if (!view.servingCell.isEmpty())
            view.neighbours.append(view.servingCell);
        view.servingCell = cell;
        strongestLte = dbm;
    }
    return view;
}
