// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/cells.h"

#include "positioning/changefilter.h"
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

int idOf(const QOfonoExtCell &cell)
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
    // The platform drops the sign.
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
    return {{QStringLiteral("ageMs"), ageMs(record.firstSeen)}, {QStringLiteral("cellID"), id},
        {QStringLiteral("locationAreaCode"), record.areaCode},
        {QStringLiteral("networkType"), networkType(record.type)},
        {QStringLiteral("signalStrengthDBm"), record.signalDbm}};
}

} // namespace

QJsonObject updateCells(
    QHash<int, CellRecord> &known, const QList<QSharedPointer<QOfonoExtCell>> &inView)
{
    QJsonObject mobileNetwork;
    QHash<int, CellRecord> current;
    for (const auto &cell : inView) {
        const int id = idOf(*cell);
        const CellRecord record = makeRecord(*cell);
        if (!isValid(id, record))
            continue;
        if (current.isEmpty()) {
            mobileNetwork.insert(QStringLiteral("homeMobileCountryCode"), record.mcc);
            mobileNetwork.insert(QStringLiteral("homeMobileNetworkCode"), record.mnc);
        }
        current.insert(id, record);
    }

    forgetUnseen(known, current);
    for (auto cell = current.cbegin(); cell != current.cend(); ++cell) {
        const auto record = known.find(cell.key());
        if (record == known.end())
            known.insert(cell.key(), *cell);
        else
            record->signalDbm = cell->signalDbm;
    }

    QJsonArray cellTowers;
    for (auto cell = known.cbegin(); cell != known.cend(); ++cell)
        cellTowers.append(cellTower(cell.key(), *cell));
    if (!cellTowers.isEmpty())
        mobileNetwork.insert(QStringLiteral("cellTowers"), cellTowers);
    return mobileNetwork;
}

void PositionAdaptor::collectCells()
{
    const QString section = QStringLiteral("mobileNetwork");
    cellChange = false;
    const QJsonObject mobileNetwork = updateCells(knownCells, state->cellWatcher->cells());
    if (mobileNetwork.isEmpty())
        state->requestDocument.remove(section);
    else
        state->requestDocument.insert(section, mobileNetwork);

    cellChange = hasChanged(knownCells, lastCells);
    lastCells = knownCells;
}
