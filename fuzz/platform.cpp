// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// What the phone's services say about cells and networks. An input is a list of lines, each a list
// of words; lines of another kind are skipped:
//     cell DICTIONARY             the serving cell; each further one is a neighbour
//     service NAME DICTIONARY     a network

#include "fuzzing.h"
#include "positioning/cells.h"
#include "positioning/wlans.h"
#include "simulatedtypes.h"

#include <networkservice.h>
#include <qofonoextcell.h>
#include <systemservice.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonObject>

#include <memory>
#include <vector>

namespace {

void requireSection(const QJsonArray &entries, const QVector<QString> &ids, const QString &idMember)
{
    require(entries.size() == ids.size(), "one entry for each one in view");
    for (const QJsonValue &entry : entries) {
        require(entry[QLatin1String("ageMs")].toDouble() >= 1, "an age is 1 ms or more");
        require(ids.contains(entry[idMember].toVariant().toString()), "an entry has its identity");
    }
}

} // namespace

// NOLINTNEXTLINE(readability-non-const-parameter): the signature is libFuzzer's.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static const QCoreApplication application(*argc, *argv);
    silenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Without an event loop it never goes to the bus.
    static SystemService service(QStringLiteral("org.example"), nullptr);
    static QHash<int, CellRecord> knownCells;
    static QHash<QString, WlanRecord> knownWlans;

    QList<QSharedPointer<QOfonoExtCell>> cells;
    std::vector<std::unique_ptr<NetworkService>> networks;
    QVector<NetworkService *> inView;
    for (const QByteArray &line : inputOf(data, size).split('\n')) {
        const QList<QByteArray> words = line.split(' ');
        if (words.constFirst() == "cell") {
            cells.append(QSharedPointer<QOfonoExtCell>::create(&service,
                busDictionary(words.mid(1)), cells.isEmpty() ? nullptr : cells.first().data()));
        } else if (words.constFirst() == "service") {
            networks.push_back(std::make_unique<NetworkService>());
            networks.back()->update(&service, busDictionary(words.mid(2)));
            inView.append(networks.back().get());
        }
    }

    const QJsonObject mobileNetwork = updateCells(knownCells, cells);
    QVector<QString> cellIds;
    for (auto cell = knownCells.cbegin(); cell != knownCells.cend(); ++cell) {
        cellIds.append(QString::number(cell.key()));
        require(cell.key() >= 0 && cell->mcc >= 0 && cell->mnc >= 0 && cell->areaCode >= 0
                && cell->type > 0,
            "a cell is valid in all its parts");
    }
    requireSection(
        mobileNetwork[QLatin1String("cellTowers")].toArray(), cellIds, QStringLiteral("cellID"));
    require(mobileNetwork.isEmpty() == cellIds.isEmpty(), "no section without a cell");

    const QJsonArray accessPoints = updateWlans(knownWlans, inView);
    requireSection(accessPoints, knownWlans.keys().toVector(), QStringLiteral("macAddress"));
    for (auto wlan = knownWlans.cbegin(); wlan != knownWlans.cend(); ++wlan)
        require(
            !wlan.key().isEmpty() && wlan->signalDbm < 0, "an access point is one that is heard");
    return 0;
}
