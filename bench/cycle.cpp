// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The parts of a cycle, by the number of cells and access points in view, each beside the JSON
// writer or parser alone on the same data.

#include "positioning/cells.h"
#include "positioning/changefilter.h"
#include "positioning/location.h"
#include "positioning/wlans.h"
#include "webservice/webrequest.h"

#include <networkservice.h>
#include <qofonoextcell.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <benchmark/benchmark.h>
#include <memory>
#include <vector>

namespace {

/// What a phone sees: half of the entries are cells, half access points.
class RadioPicture
{
public:
    explicit RadioPicture(int entries)
    {
        for (int i = 0; i < entries / 2; ++i) {
            m_cells.append(QSharedPointer<QOfonoExtCell>::create(nullptr,
                QVariantMap{{"Technology", "lte"}, {"MobileCountryCode", "001"},
                    {"MobileNetworkCode", "01"}, {"CellId", uint(26214401 + i)},
                    {"TrackingAreaCode", QVariant::fromValue(ushort(7710))},
                    {"ReferenceSignalReceivedPower", QVariant::fromValue(uchar(i % 90))}}));
            m_networks.push_back(std::make_unique<NetworkService>());
            m_networks.back()->update(nullptr,
                {{"BSSID",
                     QString("02:00:5e:10:%1:%2")
                         .arg(i / 256, 2, 16, QLatin1Char('0'))
                         .arg(i % 256, 2, 16, QLatin1Char('0'))},
                    {"Strength", QVariant::fromValue(uchar(1 + i % 90))}});
            m_inView.append(m_networks.back().get());
        }
    }

    /// The body of a request, made as the daemon makes it, filter included.
    QByteArray request()
    {
        const QVariantMap document{{"captureTimestampUnix", 1795382146U},
            {"mobileNetwork", updateCells(m_knownCells, m_cells)},
            {"sessionUUID", "1d042802-2511-44e6-ab8b-f706c79264c0"},
            {"wifiAccessPoints", updateWlans(m_knownWlans, m_inView)}};
        const bool changed
            = hasChanged(m_knownCells, m_lastCells) || hasChanged(m_knownWlans, m_lastWlans);
        m_lastCells = m_knownCells;
        m_lastWlans = m_knownWlans;
        benchmark::DoNotOptimize(changed);
        return WebRequest::toJson(document);
    }

private:
    QList<QSharedPointer<QOfonoExtCell>> m_cells;
    std::vector<std::unique_ptr<NetworkService>> m_networks;
    QVector<NetworkService *> m_inView;
    QHash<int, CellRecord> m_knownCells;
    QHash<int, CellRecord> m_lastCells;
    QHash<QString, WlanRecord> m_knownWlans;
    QHash<QString, WlanRecord> m_lastWlans;
};

void buildRequest(benchmark::State &state)
{
    RadioPicture picture(static_cast<int>(state.range(0)));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(picture.request());
}

void jsonWriter(benchmark::State &state)
{
    RadioPicture picture(static_cast<int>(state.range(0)));
    const QJsonDocument document = QJsonDocument::fromJson(picture.request());
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(document.toJson());
}

/// A position, and so many entries that are of no use to the daemon.
QByteArray replyWith(int64_t entries)
{
    QJsonArray rest;
    for (int64_t entry = 0; entry < entries; ++entry)
        rest.append(QJsonObject{{"macAddress", "02:00:5e:10:00:00"}, {"signalStrengthDBm", -60}});
    const QJsonObject location{
        {"latitude", 55.7512345}, {"longitude", 37.6112345}, {"accuracy", 120.5}};
    return QJsonDocument(QJsonObject{{"location", location}, {"seen", rest}}).toJson();
}

void readReply(benchmark::State &state)
{
    const QByteArray reply = replyWith(state.range(0));
    QString error;
    for ([[maybe_unused]] auto _ : state) {
        const auto location = findLocation(reply, error);
        benchmark::DoNotOptimize(findNumber(*location, "latitude"));
        benchmark::DoNotOptimize(findNumber(*location, "longitude"));
        benchmark::DoNotOptimize(findNumber(*location, "accuracy"));
    }
}

void jsonParser(benchmark::State &state)
{
    const QByteArray reply = replyWith(state.range(0));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(QJsonDocument::fromJson(reply));
}

BENCHMARK(buildRequest)->Arg(20)->Arg(1000);
BENCHMARK(jsonWriter)->Arg(20)->Arg(1000);
BENCHMARK(readReply)->Arg(0)->Arg(1000);
BENCHMARK(jsonParser)->Arg(0)->Arg(1000);

} // namespace

BENCHMARK_MAIN();
