// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faults.h"
#include "fixture.h"
#include "requestrules.h"
#include "waiting.h"

#include <QJsonDocument>
#include <QTest>

#include <vector>

using namespace std::chrono_literals;

namespace {

const QString positionAcquiring = "PositionAcquiring";
const QString failureLine = "warning: Error string is not empty, repeating request";

enum Status { Unchanged = 0, Acquiring = 2, Available = 3 };

WebReply ok(const QByteArray &body)
{
    return WebReply::http("200 OK", body);
}

QVector<WebFault> allFaults()
{
    QVector<WebFault> faults = webFaults() + hangingWebFaults();
    const auto add = [&faults](const char *body, const char *log) {
        faults.append({body, ok(body), log});
    };
    static const char noRoot[]
        = "\nwarning: JSON parse error: expected object at root level not found\n";
    static const char noLocation[] = "\nwarning: JSON parse error: position data not found\n";
    add(R"([{"location": {"latitude": 1, "longitude": 1}}])", noRoot);
    add(R"({"location": [1, 1]})", noLocation);
    add(R"({"Location not found": ["x"]})", noLocation);
    add(R"({"Location not found": {"message": "nowhere"}, "location": {"latitude": 1}})",
        "\nwarning: nowhere\n");
    // Longer than any position may be.
    faults.append({"an error page",
        WebReply::http("404 Not Found",
            R"({"location": {"latitude": 1, "longitude": 2}})" + QByteArray(2 << 20, ' ')),
        "Not Found"});
    return faults;
}

// A daemon with its fault.
struct Failing
{
    WebFault fault;
    std::unique_ptr<Fixture> fixture;
};

} // namespace

// Faults and secrets take their time: each has a daemon of its own, from the start.
class Reply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void positions_data();
    void positions();
    void ignored();
    void failures();
    void secrecy();

private:
    Fixture m_fixture;
    std::vector<Failing> m_failing;
    std::vector<std::unique_ptr<Fixture>> m_secret;
};

void Reply::initTestCase()
{
    m_fixture.service.replyAlways(silentReply);
    QVERIFY(m_fixture.begin());
    for (const WebFault &fault : allFaults()) {
        auto fixture = std::make_unique<Fixture>();
        fixture->service.replyNext({});
        fixture->service.replyAlways(fault.reply);
        QVERIFY(fixture->begin());
        m_failing.push_back({fault, std::move(fixture)});
    }
    // The service tells back the key, the network layer's errors hold the URL; all there is is
    // logged.
    for (const char *key : {"secret%41secret", "a secret+secret/ä\"<", "x&key=secret#secret"}) {
        m_secret.push_back(std::make_unique<Fixture>());
        Fixture &fixture = *m_secret.back();
        const QJsonObject message{{"message", key}};
        fixture.service.replyNext(
            ok(QJsonDocument(QJsonObject{{"Location not found", message}}).toJson()));
        fixture.service.replyAlways({WebReply::http("404 Not Found", {}).bytes, {}, 1500ms});
        fixture.daemon.setEnvironmentVariable("QT_LOGGING_RULES", "*.debug=true");
        QMap<QString, QString> options = Fixture::unfiltered();
        options["apikey"] = key;
        QVERIFY(fixture.begin(options));
    }
}

// Each row is a location and follows the one before.
void Reply::positions_data()
{
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("statusAfter");
    const auto row = [](const char *location, const char *expected, int statusAfter) {
        QTest::newRow(location) << QString::fromLatin1(expected) << statusAfter;
    };

    row(R"("latitude": -33.25, "longitude": -151.5, "accuracy": 120, "altitude": 9, "x": [1])",
        "3 -33.25 -151.5 nan 4 120 0", Available);
    row(R"("latitude": 55.5)", "1 55.5 0 nan 4 0 0", Unchanged);
    row(R"("latitude": 0, "longitude": 0, "accuracy": 9)", "0 0 0 nan 4 9 0", Available);
    row(R"("longitude": 37.5, "Latitude": 1)", "2 0 37.5 nan 4 0 0", Available);
    row(R"("latitude": 1e-13, "longitude": -2e-12)", "2 1e-13 -2e-12 nan 4 0 0", Available);
    // Not of this globe.
    row(R"("latitude": 1e100, "longitude": -5000)", "3 1e+100 -5000 nan 4 0 0", Available);
    row(R"("latitude": "55.5", "longitude": "-3e1", "accuracy": "12.5")", "3 55.5 -30 nan 4 12.5 0",
        Available);
    row(R"("latitude": true, "longitude": null, "accuracy": [5])", "0 0 0 nan 4 0 0", Unchanged);
    row(R"("latitude": "nan", "longitude": 11, "accuracy": "inf")", "2 0 11 nan 4 0 0", Available);
    row(R"("latitude": 2, "longitude": 4}, "location not found": {"message": "x")",
        "3 2 4 nan 4 0 0", Available);
}

void Reply::positions()
{
    QFETCH(QString, expected);
    QFETCH(int, statusAfter);
    Client &client = m_fixture.client;
    const int statusBefore = client.status();
    const QString before = text(client.position());
    client.forget();
    m_fixture.service.replyNext(
        ok(QByteArray(R"({"location": {)") + QTest::currentDataTag() + "}}"));
    QVERIFY(waitUntil(
        [&] { return text(cachedPosition(m_fixture.daemon.cache())) == expected; }, longDeadline));

    const Position now = client.position();
    const QJsonObject request = m_fixture.service.requests().constLast().json;
    const int captured = request.value("captureTimestampUnix").toInt();
    QCOMPARE(text(now), expected);
    QVERIFY(now.timestamp == captured || now.timestamp == captured + 1);
    QCOMPARE(m_fixture.daemon.cache(), cacheContent(now));
    QCOMPARE(m_fixture.daemon.logCount(failureLine), 0);

    // Who hears of the position already finds the status changed.
    QStringList told;
    for (const QDBusMessage &message : client.received()) {
        if (message.member() == positionChanged && text(positionOf(message)) != before)
            told += text(positionOf(message));
        else if (message.member() == positionAcquiring || message.member() == statusChanged)
            told += message.arguments().constFirst().toString();
    }
    QStringList wanted;
    if (statusAfter == Available && statusBefore != Available)
        wanted += QString::number(Available);
    if (statusAfter == Available)
        wanted += "false";
    if (now.fields != 0)
        wanted += expected;
    QCOMPARE(told, wanted);
}

void Reply::ignored()
{
    const QByteArray before = m_fixture.daemon.cache();
    m_fixture.client.forget();
    for (const char *body :
        {R"({"Location not found": {"message": 5}, "location": {"latitude": 1, "longitude": 1}})",
            R"({"Location not found": {"message": ""}})"})
        m_fixture.service.replyNext(ok(body));
    QVERIFY(m_fixture.seesRequest() && m_fixture.seesRequest() && m_fixture.seesRequest());
    QCOMPARE(cacheContent(m_fixture.client.position()), before);
    QCOMPARE(m_fixture.client.argumentsOf(positionAcquiring), QVariantList());
    QCOMPARE(m_fixture.daemon.logCount(failureLine), 0);
}

// All of them side by side: a position, failures, and positions again.
void Reply::failures()
{
    const QString first = "3 50 10 nan 4 0 0";
    for (const auto &[fault, fixture] : m_failing) {
        const QString wanted = QString::fromUtf8(fault.log);
        const auto isLogged = [&wanted, &daemon = fixture->daemon] {
            const QString log = daemon.log().join('\n') + '\n';
            return log.section(failureLine, 1).contains(wanted);
        };
        QVERIFY2(waitUntil(isLogged, longDeadline), fault.what);
        QVERIFY2(text(fixture->client.position()) == first, fault.what);
        QVERIFY2(text(cachedPosition(fixture->daemon.cache())) == first, fault.what);
        for (const QDBusMessage &change : fixture->client.signalsNamed(positionChanged))
            QVERIFY2(text(positionOf(change)) == first, fault.what);
        QCOMPARE(violations(fixture->service.requests()), QStringList());
        fixture->heal();
    }
    for (const auto &[fault, fixture] : m_failing) {
        const auto isNew = [&first, &client = fixture->client] {
            return text(positionOf(client.signalsNamed(positionChanged).constLast())) != first;
        };
        QVERIFY2(waitUntil(isNew, longDeadline), fault.what);
        QCOMPARE(fixture->client.argumentsOf(statusChanged).mid(0, 4),
            (QVariantList{Acquiring, Available, Acquiring, Available}));
    }
}

void Reply::secrecy()
{
    for (const auto &fixture : m_secret) {
        QVERIFY(fixture->daemon.waitForLog(failureLine, longDeadline, 2));
        // A new key, whose check ends with an error.
        fixture->client.setOptions({{"apikey", "secret%41new"}});
        // The request under way bears a key that the daemon no longer has.
        fixture->client.setOptions({{"apikey", ""}});
        QVERIFY(fixture->daemon.waitForLog(
            failureLine, longDeadline, fixture->daemon.logCount(failureLine) + 1));
        const QStringList log = fixture->daemon.log();
        QVERIFY(log.contains("warning: ***"));
        QVERIFY(!log.filter("key=***").isEmpty());
        QCOMPARE(log.filter("secret"), QStringList());
    }
}

QTEST_GUILESS_MAIN(Reply)

#include "reply.moc"
