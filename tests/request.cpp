// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "waiting.h"

#include <QJsonArray>
#include <QSet>
#include <QTest>

namespace {

const QString filteredLine
    = QStringLiteral("debug: Changes in cells or wlans are negligible - request filtered");

const ServiceReply goodReply = ServiceReply::position(1, 2, 3);

// A cell as oFono has it; "mcc mnc technology cellId areaCode strength", "-" for what is missing.
SimulatedModem modem(const QString &path, const QString &text)
{
    const QStringList words = text.split(QLatin1Char(' '));
    const bool lte = words.at(2) == QLatin1String("lte");
    QVariantMap cell;
    const auto insert = [&cell, &words](const char *name, int index, const auto &value) {
        if (words.at(index) != QLatin1String("-"))
            cell.insert(QString::fromLatin1(name), QVariant::fromValue(value));
    };
    insert("MobileCountryCode", 0, words.at(0));
    insert("MobileNetworkCode", 1, words.at(1));
    insert("Technology", 2, words.at(2));
    insert("CellId", 3, words.at(3).toUInt());
    insert(lte ? "TrackingAreaCode" : "LocationAreaCode", 4, words.at(4).toUShort());
    insert(lte ? "ReferenceSignalReceivedPower" : "ReceivedSignalStrength", 5,
        static_cast<uchar>(words.at(5).toUShort()));
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
    void filter();

private:
    // A daemon that asks each second, with a client.
    std::unique_ptr<DaemonFixture> started(bool filtered);
};

std::unique_ptr<DaemonFixture> Request::started(bool filtered)
{
    auto fixture = std::make_unique<DaemonFixture>();
    fixture->service.replyAlways(goodReply);
    QMap<QString, QString> options = DaemonFixture::unfiltered();
    if (filtered)
        options.remove(QStringLiteral("enable_request_filter"));
    const bool running = fixture->start(options);
    return running ? std::move(fixture) : nullptr;
}

// One daemon that goes through all of it, for what it remembers: each row follows the one before.
void Request::contents_data()
{
    QTest::addColumn<QStringList>("cells");
    QTest::addColumn<QString>("services");
    QTest::addColumn<QString>("expected");
    const auto row
        = [](const char *name, const char *cells, const char *services, const char *expected) {
              QTest::newRow(name) << QString::fromLatin1(cells).split(
                  QStringLiteral(", "), Qt::SkipEmptyParts)
                                  << QString::fromLatin1(services) << QString::fromLatin1(expected);
          };

    row("nothing in view", "", "", "");
    row("one of each", "250 01 lte 20051 7710 46", "00:11:22:33:44:55@60",
        "250 | 1 | 00:11:22:33:44:55 -60 | 20051 7710 lte -95");
    row("signals follow, the rest stays", "262 07 gsm 20051 1 26", "00:11:22:33:44:55@255",
        "262 | 7 | 00:11:22:33:44:55 -255 | 20051 7710 lte -85");
    row("no cell", "", "a@1", "a -1");
    row("seen anew", "262 07 gsm 20051 1 -", "", "262 | 7 | 20051 1 gsm -2147483647");
    row("usable cells only",
        "- 1 gsm 1 1 1, 250 - gsm 2 1 1, 2147483647 1 gsm 3 1 1, 250 -1 lte 4 1 1, 250 1 nr 5 1 1, "
        "250 1 gsm - 1 1, 250 1 lte 2147483647 1 1, 250 1 gsm 6 - 1, 250 1 lte 7 - 1, 2147483646 0 "
        "umts 2147483646 65535 -, 1 2 gsm 0 0 0",
        "", "2147483646 | 0 | 0 0 gsm -111 | 2147483646 65535 wcdma -2147483647");
    row("no usable cell", "250 1 nr 5 1 1", "_@50 b@0", "");
    row("twice the same", "250 1 gsm 8 1 10, 251 2 lte 8 2 20", "C@10 c@20 C@30",
        "250 | 1 | 8 2 lte -121 | C -30 | c -20");
    row("still twice the same", "250 1 gsm 8 1 12, 251 2 gsm 8 3 30", "C@31 C@5",
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
    if (qstrcmp(QTest::currentDataTag(), "still twice the same") != 0)
        return;
    QCOMPARE(fixture->service.violations(), QStringList());
    QSet<QString> sessions;
    for (const RecordedRequest &request : fixture->service.requests()) {
        QCOMPARE(request.key, DaemonFixture::knownKey);
        sessions.insert(request.json.value(QLatin1String("sessionUUID")).toString());
    }
    QCOMPARE(sessions.size(), 1);
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

void Request::filter()
{
    const auto fixture = started(true);
    QVERIFY(fixture);
    const auto show = [&](const char *view) {
        QStringList words = QString::fromLatin1(view).split(QLatin1Char(' '));
        QStringList cells;
        if (words.constFirst() == QLatin1String("c")) {
            for (const QString &word : words.mid(1))
                cells += QString(QStringLiteral("1 1 gsm %1 1 %2"))
                             .arg(word.section(QLatin1Char('@'), 0, 0),
                                 word.section(QLatin1Char('@'), 1));
            words.clear();
        }
        fixture->phone.ofono.setModems(modems(cells));
        fixture->phone.connMan.setServices(wlans(words.join(QLatin1Char(' '))));
    };
    int sent = 0;
    int filtered = 0;
    // The view at each tick: "+" has a request sent, "!" one that fails, "-" none. A change by 1 dB
    // is negligible, also where two of them add up; so is what goes out of view.
    for (const char *step : {"-", "+1@40 2@50", "-1@40 2@50", "-1@41 2@49", "-1@42 2@48",
             "+1@44 2@48", "-1@44", "+1@44 2@48", "-", "!2@48", "+2@48", "-2@48", "+2@46", "+3@46",
             "+c 1@40 2@50", "-c 1@41 2@49", "+c 1@43 2@49", "-c 1@43", "+c 1@43 3@49"}) {
        show(step + 1);
        if (*step != '-')
            fixture->service.replyNext(
                ServiceReply::given(*step == '!' ? 500 : 200, goodReply.body));
        if (sent + filtered == 0)
            fixture->client.call(QStringLiteral("AddReference"));
        ++(*step == '-' ? filtered : sent);
        const auto ticks = [&] {
            return fixture->service.requests().size() + fixture->daemon.logCount(filteredLine);
        };
        QVERIFY(waitUntil([&] { return ticks() == sent + filtered; }, longDeadline));
        QVERIFY2(fixture->service.requests().size() == sent, step);
    }
    QCOMPARE(fixture->service.violations(), QStringList());
}

QTEST_GUILESS_MAIN(Request)

#include "request.moc"
