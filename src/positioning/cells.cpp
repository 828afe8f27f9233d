// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include <qofonoextcell.h>
#include <qofonoextcellwatcher.h>

#include <QJsonArray>
#include <QJsonObject>

#include <limits>

namespace {

constexpr int unknownCell = 0;
constexpr int wcdmaCell = 2;
constexpr int lteCell = 3;

bool isKnown(int value)
{
    return value >= 0 && value != std::numeric_limits<int>::max();
}

int cellId(const QOfonoExtCell &cell)
{
    return cell.type() == lteCell ? cell.ci() : cell.cid();
}

CellRecord makeRecord(const QOfonoExtCell &cell)
{
    CellRecord record;
    record.firstSeen.start();
    record.mcc = cell.mcc();
    record.mnc = cell.mnc();
    record.areaCode = cell.type() == lteCell ? cell.tac() : cell.lac();
    record.signalDbm = -static_cast<qint64>(cell.signalStrength());
    record.type = cell.type();
    return record;
}

bool isValid(int id, const CellRecord &record)
{
    return record.type != unknownCell && isKnown(record.mcc) && isKnown(record.mnc) && isKnown(id)
        && isKnown(record.areaCode);
}

QString networkType(int type)
{
    switch (type) {
    case lteCell:
        return QStringLiteral("lte");
    case wcdmaCell:
        return QStringLiteral("wcdma");
    default:
        return QStringLiteral("gsm");
    }
}

QJsonObject cellTower(int id, const CellRecord &record)
{
    const QString age = QStringLiteral("ageMs");
    const QString cellId = QStringLiteral("cellID");
    const QString areaCode = QStringLiteral("locationAreaCode");
    const QString network = QStringLiteral("networkType");
    const QString signal = QStringLiteral("signalStrengthDBm");
    // To fill in a copy takes half the time of a new object.
    static const QJsonObject form{
        {age, 0}, {cellId, 0}, {areaCode, 0}, {network, QString()}, {signal, 0}};
    QJsonObject tower = form;
    tower.insert(age, ageMs(record.firstSeen));
    tower.insert(cellId, id);
    tower.insert(areaCode, record.areaCode);
    tower.insert(network, networkType(record.type));
    tower.insert(signal, record.signalDbm);
    return tower;
}

} // namespace

void PositionAdaptor::collectCells()
{
    cellChange = false;
    QJsonObject mobileNetwork;
    QHash<int, CellRecord> currentCells;
    const auto cells = state->cellWatcher->cells();
    for (const auto &cell : cells) {
        const int id = cellId(*cell);
        const CellRecord record = makeRecord(*cell);
        if (!isValid(id, record))
            continue;
        if (currentCells.isEmpty()) {
            mobileNetwork.insert(QStringLiteral("homeMobileCountryCode"), record.mcc);
            mobileNetwork.insert(QStringLiteral("homeMobileNetworkCode"), record.mnc);
        }
        currentCells.insert(id, record);
    }

    forgetUnseen(knownCells, currentCells);
    for (auto cell = currentCells.cbegin(); cell != currentCells.cend(); ++cell) {
        const auto known = knownCells.find(cell.key());
        if (known == knownCells.end())
            knownCells.insert(cell.key(), *cell);
        else
            known->signalDbm = cell->signalDbm;
    }

    QJsonArray cellTowers;
    for (auto cell = knownCells.cbegin(); cell != knownCells.cend(); ++cell)
        cellTowers.append(cellTower(cell.key(), *cell));
    if (cellTowers.isEmpty()) {
        state->requestDocument.remove(QStringLiteral("mobileNetwork"));
    } else {
        mobileNetwork.insert(QStringLiteral("cellTowers"), cellTowers);
        state->requestDocument.insert(QStringLiteral("mobileNetwork"), mobileNetwork);
    }

    cellChange = pictureChanged(knownCells, lastCells);
    lastCells = knownCells;
}
