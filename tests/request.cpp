// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "waiting.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

#include <algorithm>

namespace {

const QString filteredLine
    = QStringLiteral("debug: Changes in cells or wlans are negligible - request filtered");

const ServiceReply goodReply = ServiceReply::position(1, 2, 3);

const QString apiKeyOption = QStringLiteral("apikey");
const QString intervalOption = QStringLiteral("update_interval");
const QString filterOption = QStringLiteral("enable_request_filter");

// A cell as oFono has it; "mcc mnc technology cellId areaCode strength", "-" for what is missing.
SimulatedModem modem(const QString &path, const QString &text)
{
    const QStringList words = text.split(QLatin1Char(' '));
    const bool lte = words.at(2) == QLatin1String("lte");
    QVariantMap cell;
    const auto insert = [&cell, &words](const char *name, int index, const auto &convert) {
        if (words.at(index) != QLatin1String("-"))
            cell.insert(QString::fromLatin1(name), QVariant::fromValue(convert(words.at(index))));
    };
    const auto same = [](const QString &word) { return word; };
    insert("MobileCountryCode", 0, same);
    insert("MobileNetworkCode", 1, same);
    insert("Technology", 2, same);
    insert("CellId", 3, [](const QString &word) { return word.toUInt(); });
    insert(lte ? "TrackingAreaCode" : "LocationAreaCode", 4,
        [](const QString &word) { return word.toUShort(); });
    insert(lte ? "ReferenceSignalReceivedPower" : "ReceivedSignalStrength", 5,
        [](const QString &word) { return static_cast<uchar>(word.toUShort()); });
    return {path, cell, {}};
}

// One modem for each cell, in this order.
QVector<SimulatedModem> modems(const QStringList &cells)
{
    QVector<SimulatedModem> all;
    for (const QString &cell : cells)
        all.append(modem(QStringLiteral("/modem_%1").arg(all.size()), cell));
    return all;
}

// "bssid@strength" for each service, "_" for no BSSID.
SimulatedObjects wlans(const QString &text)
{
    SimulatedObjects services;
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &word : words) {
        const QString bssid = word.section(QLatin1Char('@'), 0, 0);
        services.append(SimulatedConnMan::wlan(QStringLiteral("/service_%1").arg(services.size()),
            bssid == QLatin1String("_") ? QString() : bssid,
            word.section(QLatin1Char('@'), 1).toInt()));
    }
    return services;
}

// The sections of a request without the ages, in a fixed order, each value as its JSON text.
QString sections(const QJsonObject &json)
{
    QStringList entries;
    const QJsonObject network = json.value(QLatin1String("mobileNetwork")).toObject();
    for (const QString &name : {QStringLiteral("cellTowers"), QStringLiteral("wifiAccessPoints")}) {
        const QJsonObject &holder = network.contains(name) ? network : json;
        for (const QJsonValue value : holder.value(name).toArray()) {
            QJsonObject entry = value.toObject();
            entry.remove(QStringLiteral("ageMs"));
            QStringList figures;
            for (const QJsonValue &figure : qAsConst(entry))
                figures += figure.toVariant().toString();
            entries += figures.join(QLatin1Char(' '));
        }
    }
    entries.sort();
    for (const char *home : {"homeMobileNetworkCode", "homeMobileCountryCode"}) {
        if (network.contains(QLatin1String(home)))
            entries.prepend(network.value(QLatin1String(home)).toVariant().toString());
    }
    return entries.join(QLatin1String(" | "));
}

// The ages of all entries, by BSSID or cell ID.
QMap<QString, int> ages(const QJsonObject &json)
{
    QMap<QString, int> found;
    const QJsonObject network = json.value(QLatin1String("mobileNetwork")).toObject();
    for (const QJsonValue tower : network.value(QLatin1String("cellTowers")).toArray())
        found.insert(tower[QLatin1String("cellID")].toVariant().toString(),
            tower[QLatin1String("ageMs")].toInt());
    for (const QJsonValue point : json.value(QLatin1String("wifiAccessPoints")).toArray())
        found.insert(
            point[QLatin1String("macAddress")].toString(), point[QLatin1String("ageMs")].toInt());
    return found;
}

} // namespace

class Request : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void contents_data();
    void contents();
    void tables();
    void filter_data();
    void filter();

private:
    // A daemon that asks each second, with a client.
    std::unique_ptr<DaemonFixture> started(bool filtered);
};

std::unique_ptr<DaemonFixture> Request::started(bool filtered)
{
    auto fixture = std::make_unique<DaemonFixture>();
    fixture->service.replyAlways(goodReply);
    const bool running = fixture->start(
        {{apiKeyOption, DaemonFixture::knownKey}, {intervalOption, QStringLiteral("1")},
            {filterOption, filtered ? QStringLiteral("true") : QStringLiteral("false")}});
    return running ? std::move(fixture) : nullptr;
}

// One daemon that goes through all of it, for what it remembers: each row follows the one before.
void Request::contents_data()
{
    QTest::addColumn<QStringList>("cells");
    QTest::addColumn<QString>("services");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QVector<const char *> &cells, const char *services,
                         const char *expected) {
        QStringList texts;
        for (const char *cell : cells)
            texts += QString::fromLatin1(cell);
        QTest::newRow(name) << texts << QString::fromLatin1(services)
                            << QString::fromLatin1(expected);
    };

    row("nothing in view", {}, "", "");
    row("one of each", {"250 01 lte 20051 7710 46"}, "00:11:22:33:44:55@60",
        "250 | 1 | 00:11:22:33:44:55 -60 | 20051 7710 lte -95");
    row("signals follow, the rest stays", {"262 07 gsm 20051 1 26"}, "00:11:22:33:44:55@255",
        "262 | 7 | 00:11:22:33:44:55 -255 | 20051 7710 lte -85");
    row("no cell", {}, "a@1", "a -1");
    row("seen anew", {"262 07 gsm 20051 1 -"}, "", "262 | 7 | 20051 1 gsm -2147483647");
    row("usable cells only",
        {"- 1 gsm 1 1 1", "250 - gsm 2 1 1", "2147483647 1 gsm 3 1 1", "250 -1 lte 4 1 1",
            "250 1 nr 5 1 1", "250 1 gsm - 1 1", "250 1 lte 2147483647 1 1", "250 1 gsm 6 - 1",
            "250 1 lte 7 - 1", "2147483646 0 umts 2147483646 65535 -", "1 2 gsm 0 0 0"},
        "", "2147483646 | 0 | 0 0 gsm -111 | 2147483646 65535 wcdma -2147483647");
    row("no usable cell", {"250 1 nr 5 1 1"}, "_@50 b@0", "");
    row("twice the same", {"250 1 gsm 8 1 10", "251 2 lte 8 2 20"}, "C@10 c@20 C@30",
        "250 | 1 | 8 2 lte -121 | C -30 | c -20");
    row("still twice the same", {"250 1 gsm 8 1 12", "251 2 gsm 8 3 30"}, "C@31 C@5",
        "250 | 1 | 8 2 lte -81 | C -5");
}

void Request::contents()
{
    QFETCH(QStringList, cells);
    QFETCH(QString, services);
    QFETCH(QString, expected);
    static std::unique_ptr<DaemonFixture> fixture;
    if (!fixture) {
        fixture = started(false);
        QVERIFY(fixture);
        fixture->client.call(QStringLiteral("AddReference"));
        QVERIFY(fixture->service.waitForRequests(1, longDeadline));
    }

    fixture->phone.ofono.setModems(modems(cells));
    fixture->phone.connMan.setServices(wlans(services));
    const auto latest = [] { return sections(fixture->service.requests().constLast().json); };
    waitUntil([&] { return latest() == expected; }, std::chrono::seconds(6));
    QCOMPARE(latest(), expected);
    QCOMPARE(fixture->service.violations(), QStringList());

    const auto requests = fixture->service.requests();
    for (const RecordedRequest &request : requests) {
        QCOMPARE(request.key, DaemonFixture::knownKey);
        QCOMPARE(request.json.value(QLatin1String("sessionUUID")),
            requests.constFirst().json.value(QLatin1String("sessionUUID")));
    }
    if (qstrcmp(QTest::currentDataTag(), "still twice the same") == 0)
        fixture.reset();
}

void Request::tables()
{
    const auto fixture = started(false);
    QVERIFY(fixture);
    SimulatedPhone &phone = fixture->phone;
    const auto both = modems({QStringLiteral("1 1 gsm 1 1 1"), QStringLiteral("1 1 gsm 2 1 1")});
    phone.ofono.setModems(both);
    phone.connMan.setServices(wlans(QStringLiteral("a@10 b@10")));
    fixture->client.call(QStringLiteral("AddReference"));
    QVERIFY(fixture->service.waitForRequests(1, longDeadline));
    // Those of number 2 and b are out of view for one request.
    phone.ofono.setModems({both.constFirst()});
    phone.connMan.setServices(wlans(QStringLiteral("a@10")));
    const auto latest = [&] { return fixture->service.requests().constLast(); };
    QVERIFY(waitUntil([&] { return ages(latest().json).size() == 2; }, longDeadline));
    phone.ofono.setModems(both);
    phone.connMan.setServices(wlans(QStringLiteral("a@10 b@10")));
    QVERIFY(waitUntil([&] { return ages(latest().json).size() == 4; }, longDeadline));

    const RecordedRequest first = fixture->service.requests().constFirst();
    const auto early = ages(first.json);
    const auto late = ages(latest().json);
    const auto elapsed = static_cast<int>(first.arrival.msecsTo(latest().arrival));
    QCOMPARE(early.size(), 4);
    for (auto age = early.cbegin(); age != early.cend(); ++age) {
        QVERIFY2(*age >= 1 && *age < 500, qPrintable(age.key()));
        const int wanted
            = age.key() == QLatin1String("2") || age.key() == QLatin1String("b") ? 0 : elapsed;
        QVERIFY2(qAbs(late.value(age.key()) - wanted) < 500, qPrintable(age.key()));
    }

    // Another run is another session.
    fixture->daemon.kill();
    const int requests = fixture->service.requests().size();
    QVERIFY(fixture->startAsIs());
    fixture->client.call(QStringLiteral("AddReference"));
    QVERIFY(fixture->service.waitForRequests(requests + 1, longDeadline));
    QVERIFY(latest().json.value(QLatin1String("sessionUUID"))
        != first.json.value(QLatin1String("sessionUUID")));
    QCOMPARE(fixture->service.violations(), QStringList());
}

void Request::filter_data()
{
    QTest::addColumn<bool>("asCells");
    QTest::newRow("access points") << false;
    QTest::newRow("cells") << true;
}

void Request::filter()
{
    QFETCH(bool, asCells);
    const auto fixture = started(true);
    QVERIFY(fixture);
    const struct
    {
        const char *view; // at the next tick
        bool sent;
        int status; // of the service's answer
    } steps[] = {
        {"", false, 0}, {"1@40 2@50", true, 200}, {"1@40 2@50", false, 0},
        {"1@41 2@49", false, 0}, // by 1 dB
        {"1@42 2@48", false, 0}, // 2 dB in two steps
        {"1@44 2@48", true, 200}, // by 2 dB
        {"1@44", false, 0}, // a subset
        {"1@44 2@48", true, 200}, // one is new
        {"", false, 0}, {"2@48", true, 500}, {"2@48", true, 200}, // repeated after the failure
        {"2@48", false, 0}, {"2@46", true, 200}, // weaker by 2 dB
        {"3@46", true, 200}, // another one
    };
    const auto show = [&](const char *view) {
        const QString text = QString::fromLatin1(view);
        if (!asCells) {
            fixture->phone.connMan.setServices(wlans(text));
            return;
        }
        QVector<SimulatedModem> cells;
        const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (const QString &word : words) {
            const QString id = word.section(QLatin1Char('@'), 0, 0);
            const QString strength = word.section(QLatin1Char('@'), 1);
            cells.append(modem(QString(QStringLiteral("/modem_") % id),
                QStringLiteral("1 1 gsm %1 1 %2").arg(id, strength)));
        }
        fixture->phone.ofono.setModems(cells);
    };

    int sent = 0;
    int filtered = 0;
    for (const auto &step : steps) {
        show(step.view);
        if (step.sent)
            fixture->service.replyNext(ServiceReply::given(step.status, goodReply.body));
        if (sent + filtered == 0)
            fixture->client.call(QStringLiteral("AddReference"));
        ++(step.sent ? sent : filtered);
        QVERIFY(waitUntil(
            [&] {
                return fixture->service.requests().size() + fixture->daemon.logCount(filteredLine)
                    == sent + filtered;
            },
            longDeadline));
        QVERIFY2(fixture->service.requests().size() == sent,
            qPrintable(
                QStringLiteral("tick %1: %2").arg(sent + filtered).arg(QLatin1String(step.view))));
    }
    QCOMPARE(fixture->service.violations(), QStringList());
}

QTEST_GUILESS_MAIN(Request)

#include "request.moc"
