// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faults.h"
#include "fixture.h"
#include "requestrules.h"
#include "simulatedtypes.h"
#include "waiting.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

namespace {

const QString filteredLine = "debug: Changes in cells or wlans are negligible - request filtered";

// One modem for each cell, in this order, with a comma between them; a cell as oFono has it is
// "mcc mnc technology cellId areaCode strength", "-" for what is missing.
QVector<SimulatedModem> modems(const QString &cells)
{
    QVector<SimulatedModem> all;
    for (const QString &cell : cells.split(", ", Qt::SkipEmptyParts)) {
        const QList<QByteArray> words = cell.toLatin1().split(' ');
        const bool lte = words.at(2) == "lte";
        const QByteArray members[] = {"MobileCountryCode s", "MobileNetworkCode s", "Technology s",
            "CellId u", lte ? "TrackingAreaCode q" : "LocationAreaCode q",
            lte ? "ReferenceSignalReceivedPower y" : "ReceivedSignalStrength y"};
        QList<QByteArray> known;
        for (int i = 0; i < words.size(); ++i) {
            if (words.at(i) != "-")
                known += members[i].split(' ') + QList<QByteArray>{words.at(i)};
        }
        all.append({QString("/modem_%1").arg(all.size()), busDictionary(known), {}});
    }
    return all;
}

// "bssid@strength" for each service, "_" for no BSSID.
SimulatedObjects wlans(const QString &text)
{
    SimulatedObjects services;
    const QStringList words = text.split(' ', Qt::SkipEmptyParts);
    for (const QString &word : words) {
        const QString bssid = word.section('@', 0, 0);
        services.append(SimulatedConnMan::wlan(QString("/service_%1").arg(services.size()),
            bssid == "_" ? QString() : bssid, word.section('@', 1).toInt()));
    }
    return services;
}

// The cells, home codes and access points of a request, without the ages and the members' names.
QString sections(const QJsonObject &json)
{
    const QRegularExpression section(R"(("cellID|"homeMobileCountry|"macAddress)[^}]*)");
    const QByteArray body = QJsonDocument(json).toJson(QJsonDocument::Compact);
    QStringList found;
    for (auto match = section.globalMatch(QString::fromUtf8(body)); match.hasNext();)
        found += match.next().captured();
    found.sort();
    return found.join(" | ").remove(QRegularExpression(R"("\w+":|")")).replace(',', ' ');
}

// The ages of all entries, by BSSID or cell ID.
QMap<QString, int> ages(const QJsonObject &json)
{
    QMap<QString, int> found;
    const auto find = [&found](const QJsonValue &entries, const char *id) {
        for (const QJsonValue entry : entries.toArray())
            found.insert(entry[QLatin1String(id)].toVariant().toString(), entry["ageMs"].toInt());
    };
    find(json["mobileNetwork"]["cellTowers"], "cellID");
    find(json["wifiAccessPoints"], "macAddress");
    return found;
}

} // namespace

class Request : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void contents_data();
    void contents();
    void ages();
    void filter();
    void sessions() const;

private:
    QJsonObject latest() const { return m_fixture.service.requests().constLast().json; }
    void show(const QString &cells, const QString &services);

    Fixture m_fixture;
};

// No position ever, whose age would put off the first request of a cycle.
void Request::initTestCase()
{
    m_fixture.service.replyAlways(silentReply);
    QVERIFY(m_fixture.begin() && m_fixture.seesRequest());
}

void Request::show(const QString &cells, const QString &services)
{
    m_fixture.phone.ofono.setModems(modems(cells));
    m_fixture.phone.connMan.setServices(wlans(services));
}

// Each row follows the one before, for what the daemon remembers.
void Request::contents_data()
{
    QTest::addColumn<QString>("cells");
    QTest::addColumn<QString>("services");
    QTest::addColumn<QString>("expected");
    const auto row
        = [](const char *name, const QString &cells, const QString &services,
              const QString &expected) { QTest::newRow(name) << cells << services << expected; };

    row("one of each", "250 01 lte 20051 7710 46", "00:11:22:33:44:55@60",
        "20051 7710 lte -95 | 250 1 | 00:11:22:33:44:55 -60");
    row("signals follow, the rest stays", "262 07 gsm 20051 1 26", "00:11:22:33:44:55@255",
        "20051 7710 lte -85 | 262 7 | 00:11:22:33:44:55 -255");
    row("no cell", "", "a@1", "a -1");
    row("seen anew", "262 07 gsm 20051 1 -", "", "20051 1 gsm -2147483647 | 262 7");
    row("usable cells only",
        "- 1 gsm 1 1 1, 250 - gsm 2 1 1, 2147483647 1 gsm 3 1 1, 250 -1 lte 4 1 1, 250 1 nr 5 1 1, "
        "250 1 gsm - 1 1, 250 1 lte 2147483647 1 1, 250 1 gsm 6 - 1, 250 1 lte 7 - 1, 2147483646 0 "
        "umts 2147483646 65535 -, 1 2 gsm 0 0 0",
        "", "0 0 gsm -111 | 2147483646 65535 wcdma -2147483647 | 2147483646 0");
    row("no usable cell", "250 1 nr 5 1 1", "_@50 b@0", "");
    row("twice the same", "250 1 gsm 8 1 10, 251 2 lte 8 2 20", "C@10 c@20 C@30",
        "8 2 lte -121 | 250 1 | C -30 | c -20");
}

void Request::contents()
{
    QFETCH(QString, cells);
    QFETCH(QString, services);
    QFETCH(QString, expected);
    show(cells, services);
    QTRY_COMPARE_WITH_TIMEOUT(sections(latest()), expected, 10000);
}

void Request::ages()
{
    constexpr auto both = "1 1 gsm 1 1 1, 1 1 gsm 2 1 1";
    const auto isShown = [this](const QStringList &entries) {
        return waitUntil([&] { return ::ages(latest()).keys() == entries; }, longDeadline);
    };
    const QStringList all{"1", "2", "a", "b"};
    show(both, "a@10 b@10");
    QVERIFY(isShown(all));
    const RecordedRequest first = m_fixture.service.requests().constLast();
    // Those of number 2 and b are out of view for one request.
    show("1 1 gsm 1 1 1", "a@10");
    QVERIFY(isShown({"1", "a"}));
    show(both, "a@10 b@10");
    QVERIFY(isShown(all));

    const auto early = ::ages(first.json);
    const auto late = ::ages(latest());
    const auto elapsed = first.arrival.msecsTo(m_fixture.service.requests().constLast().arrival);
    for (const QString &entry : all) {
        const bool isNew = entry == "2" || entry == "b";
        QVERIFY2(early.value(entry) >= 1 && early.value(entry) < 900, qPrintable(entry));
        QVERIFY2(qAbs(late.value(entry) - (isNew ? 0 : elapsed)) < 900, qPrintable(entry));
    }
}

void Request::filter()
{
    // The view when a request would be sent: "+" has it sent, "!" one that fails, "-" none. A
    // change by 1 dB is negligible, also where two of them add up; so is what goes out of view.
    struct Step
    {
        char outcome;
        const char *services;
        const char *cells;
    };
    const Step steps[] = {
        {'-', "", ""},
        {'+', "1@40 2@50", ""},
        {'-', "1@41 2@49", ""},
        {'-', "1@42 2@48", ""},
        {'+', "1@44 2@48", ""},
        {'-', "1@44", ""},
        {'+', "1@44 2@48", ""},
        {'!', "1@46 2@48", ""},
        {'+', "1@46 2@48", ""},
        {'-', "1@46 2@48", ""},
        {'+', "", "1 1 gsm 1 1 11, 1 1 gsm 2 1 12"},
        {'-', "", "1 1 gsm 1 1 12, 1 1 gsm 2 1 11"},
        {'+', "", "1 1 gsm 1 1 14, 1 1 gsm 2 1 11"},
    };
    m_fixture.daemon.kill();
    show("", "");
    const auto before = m_fixture.service.requests().size();
    int sent = 0;
    int filtered = 0;
    QVERIFY(m_fixture.start({{"apikey", Fixture::knownKey}, {"update_interval", "3600"}}));
    for (const Step &step : steps) {
        show(step.cells, step.services);
        if (step.outcome == '!')
            m_fixture.service.replyNext(WebReply::http("500 Internal Server Error", {}));
        ++(step.outcome == '-' ? filtered : sent);
        // Each cycle is of one request, a second later.
        m_fixture.client.call(removeReference);
        m_fixture.client.call(addReference);
        const auto isDone = [&] {
            return m_fixture.service.requests().size() == before + sent
                && m_fixture.daemon.logCount(filteredLine) == filtered;
        };
        QVERIFY2(waitUntil(isDone, longDeadline), step.services);
        QVERIFY(step.outcome != '!' || m_fixture.daemon.waitForLog("repeating", longDeadline));
    }
    QCOMPARE(violations(m_fixture.service.requests()), QStringList());
}

// Each run of the daemon is one.
void Request::sessions() const
{
    QSet<QString> sessions;
    for (const RecordedRequest &request : m_fixture.service.requests())
        sessions.insert(request.json.value("sessionUUID").toString());
    QCOMPARE(sessions.size(), 2);
}

QTEST_GUILESS_MAIN(Request)

#include "request.moc"
