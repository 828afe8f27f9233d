// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "reportedposition.h"
#include "waiting.h"

#include <QJsonDocument>
#include <QTest>
#include <QUrl>

#include <vector>

using namespace std::chrono_literals;

namespace {

const QString failureLine = QStringLiteral("warning: Error string is not empty, repeating request");
// Handled without any effect.
const ServiceReply silentReply = ServiceReply::given(200, R"({"Location not found": {}})");

const QVector<int> statuses{302, 401, 404, 405, 500}; // of failures that have no reason

enum Status { Unchanged = 0, Acquiring = 2, Available = 3 };

} // namespace

class Reply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void positions_data();
    void positions();
    void ignored();
    void failures_data();
    void failures();
    void secrecy();

private:
    // Positions published since the last forget(), the republished ones included.
    QStringList published() const;
    // What must hold when the status was one thing before and should be another now.
    void checkStatus(int before, int after);
    void checkUntouched(const ReportedPosition &before, const QByteArray &cachedBefore);

    DaemonFixture m_fixture;
};

void Reply::initTestCase()
{
    m_fixture.service.replyAlways(silentReply);
    QVERIFY(m_fixture.start(DaemonFixture::unfiltered()));
    m_fixture.client.call(QStringLiteral("AddReference"));
}

QStringList Reply::published() const
{
    QStringList texts;
    const auto changes = m_fixture.client.signalsNamed(QStringLiteral("PositionChanged"));
    for (const QDBusMessage &change : changes)
        texts += ReportedPosition::ofMessage(change).text();
    return texts;
}

void Reply::checkStatus(int before, int after)
{
    const bool told = after != Unchanged;
    const bool changed = told && after != before;
    QCOMPARE(m_fixture.client.status(), told ? after : before);
    QCOMPARE(m_fixture.client.argumentsOf(QStringLiteral("StatusChanged")),
        changed ? QVariantList{after} : QVariantList());
    QCOMPARE(m_fixture.client.argumentsOf(QStringLiteral("PositionAcquiring")),
        told ? QVariantList{after == Acquiring} : QVariantList());
}

void Reply::checkUntouched(const ReportedPosition &before, const QByteArray &cachedBefore)
{
    QCOMPARE(m_fixture.client.position().text(), before.text());
    QCOMPARE(m_fixture.client.position().timestamp, before.timestamp);
    QCOMPARE(m_fixture.daemon.cache(), cachedBefore);
    const QStringList texts = published();
    for (const QString &text : texts)
        QCOMPARE(text, before.text());
}

void Reply::positions_data()
{
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("statusAfter");
    const auto row = [](const char *body, const char *expected, int statusAfter) {
        QTest::newRow(body) << QString::fromLatin1(expected) << statusAfter;
    };

    row(R"({"location": {"latitude": 55.75, "longitude": 37.5, "accuracy": 120.0}})",
        "3 55.75 37.5 nan 4 120 0", Available);
    row(R"({"location": {"latitude": -33.25, "longitude": -151.5, "altitude": 9, "x": [1]}, "y": 2})",
        "3 -33.25 -151.5 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 55.5}})", "1 55.5 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"longitude": 37.5, "Latitude": 1}})", "2 0 37.5 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 0, "longitude": 0, "accuracy": 100}})", "0 0 0 nan 4 100 0",
        Available);
    row(R"({"location": {"latitude": 1e-13, "longitude": -1.5e-12}})",
        "2 1e-13 -1.5000000000000001e-12 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 1e300, "longitude": -5000}})",
        "3 1.0000000000000001e+300 -5000 nan 4 0 0", Available); // not of this globe
    row(R"({"location": {"latitude": "55.5", "longitude": "-3e1", "accuracy": "12.5"}})",
        "3 55.5 -30 nan 4 12.5 0", Available);
    row(R"({"location": {"latitude": "north", "longitude": 7}})", "2 0 7 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 7, "longitude": "", "accuracy": "far"}})", "1 7 0 nan 4 0 0",
        Unchanged);
    row(R"({"location": {"latitude": true, "longitude": null, "accuracy": [5]}})",
        "0 0 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"latitude": 8, "longitude": {"degrees": 1}, "accuracy": false}})",
        "1 8 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"latitude": "nan", "longitude": 11, "accuracy": "inf"}})",
        "2 0 11 nan 4 0 0", Available);
    row(R"({"location": {}})", "0 0 0 nan 4 0 0", Unchanged);
    row(R"({"location not found": {"message": "x"}, "location": {"latitude": 2, "longitude": 4}})",
        "3 2 4 nan 4 0 0", Available);
}

void Reply::positions()
{
    QFETCH(QString, expected);
    QFETCH(int, statusAfter);
    const QString before = m_fixture.client.position().text();
    const int statusBefore = m_fixture.client.status();
    const int failures = m_fixture.daemon.logCount(failureLine);
    m_fixture.client.forget();
    m_fixture.service.replyNext(ServiceReply::given(200, QTest::currentDataTag()));
    QVERIFY(waitUntil(
        [&] { return ReportedPosition::ofCache(m_fixture.daemon.cache()).text() == expected; },
        longDeadline));

    const ReportedPosition now = m_fixture.client.position();
    const auto request = m_fixture.service.requests().constLast();
    const int captured = request.json.value(QLatin1String("captureTimestampUnix")).toInt();
    QVERIFY2(now.timestamp == captured || now.timestamp == captured + 1,
        qPrintable(QStringLiteral("%1 instead of %2").arg(now.timestamp).arg(captured)));
    QCOMPARE(m_fixture.daemon.cache(), now.cacheBytes());
    QCOMPARE(m_fixture.daemon.cache().size(), 52);
    QCOMPARE(m_fixture.daemon.logCount(failureLine), failures);

    checkStatus(statusBefore, statusAfter);
    QStringList texts = published();
    QCOMPARE(texts.contains(expected), now.fields != 0);
    texts.removeAll(expected);
    texts.removeAll(before);
    QCOMPARE(texts, QStringList());
    // Who hears of the position already finds the status changed.
    bool positionTold = false;
    for (const QDBusMessage &message : m_fixture.client.received()) {
        if (message.member() == QLatin1String("PositionChanged"))
            positionTold = positionTold || ReportedPosition::ofMessage(message).text() == expected;
        else if (message.type() == QDBusMessage::SignalMessage)
            QVERIFY2(!positionTold, qPrintable(message.member()));
    }
}

void Reply::failures_data()
{
    QTest::addColumn<int>("httpStatus");
    QTest::addColumn<QString>("error"); // empty for whatever the network layer or parser says
    const auto row = [](const char *body, const char *error, int httpStatus = 200) {
        QTest::newRow(body) << httpStatus << QString::fromLatin1(error);
    };
    const char noRoot[] = "JSON parse error: expected object at root level not found";
    const char noLocation[] = "JSON parse error: position data not found";

    row("{", "");
    row(R"({"location": {"latitude": 1, "longitude": 1}} x)", "");
    row(R"([{"location": {"latitude": 1, "longitude": 1}}])", noRoot);
    row(R"({})", noLocation);
    row(R"({"location": [1, 1]})", noLocation);
    row(R"({"location": null})", noLocation);
    row(R"({"Location": {"latitude": 1, "longitude": 1}})", noLocation);
    row(R"({"Location not found": ["x"]})", noLocation);
    row(R"({"Location not found": {"message": "no such place"},
            "location": {"latitude": 1, "longitude": 1}})",
        "no such place");
    row(R"({"location": {"latitude": 1, "longitude": 2}})", "", 404);
}

void Reply::failures()
{
    QFETCH(int, httpStatus);
    QFETCH(QString, error);
    const ReportedPosition before = m_fixture.client.position();
    const QByteArray cachedBefore = m_fixture.daemon.cache();
    const int statusBefore = m_fixture.client.status();
    const int failures = m_fixture.daemon.logCount(failureLine);
    m_fixture.client.forget();
    m_fixture.service.replyNext(ServiceReply::given(httpStatus, QTest::currentDataTag()));
    QVERIFY(m_fixture.daemon.waitForLog(failureLine, longDeadline, failures + 1));

    checkUntouched(before, cachedBefore);
    checkStatus(statusBefore, Acquiring);
    const QStringList log = m_fixture.daemon.log();
    const QString text = log.value(log.lastIndexOf(failureLine) + 1);
    QVERIFY2(error.isEmpty() ? text.size() > 10 && text.startsWith(QLatin1String("warning: "))
                             : text == QLatin1String("warning: ") % error,
        qPrintable(text));
}

void Reply::ignored()
{
    GeolocationService &service = m_fixture.service;
    const ReportedPosition before = m_fixture.client.position();
    const QByteArray cachedBefore = m_fixture.daemon.cache();
    const int statusBefore = m_fixture.client.status();
    const int lines = m_fixture.daemon.log().size();
    m_fixture.client.forget();
    for (const char *body :
        {R"({"Location not found": {"message": 5}, "location": {"latitude": 1, "longitude": 1}})",
            R"({"Location not found": {"message": ""}})"})
        service.replyNext(ServiceReply::given(200, body));
    QVERIFY(service.waitForRequests(service.requests().size() + 3, longDeadline));

    checkUntouched(before, cachedBefore);
    checkStatus(statusBefore, Unchanged);
    QCOMPARE(m_fixture.daemon.log().size(), lines);
}

// The service echoes each key as it is, as the URL shows it, and half of its bytes encoded; the
// network layer's errors hold the URL. Each daemon logs all there is.
void Reply::secrecy()
{
    std::vector<std::unique_ptr<DaemonFixture>> fixtures;
    for (const char *text : {"secret%2Bsecret%", "secret%41secret", "a secret+secret/ä\"<",
             "x&key=secret", "secret#secret"}) {
        const QString key = QString::fromUtf8(text);
        fixtures.push_back(std::make_unique<DaemonFixture>());
        DaemonFixture &fixture = *fixtures.back();
        const QUrl url(QString(fixture.service.link() % key));
        const QByteArray sent = url.toEncoded().mid(fixture.service.link().size());
        QString mixed;
        for (const char byte : QByteArray::fromPercentEncoding(sent))
            mixed += mixed.size() % 2 == 0 || (byte & 0x80) != 0
                ? QString(QLatin1Char('%') % QString::fromLatin1(QByteArray(1, byte).toHex()))
                : QString(QLatin1Char(byte));
        for (const QString &echo :
            {key, url.toString(QUrl::PrettyDecoded), url.toString(QUrl::FullyEncoded), mixed}) {
            const QJsonObject message{{QStringLiteral("message"),
                QString(QStringLiteral("Not found for ") % echo % QLatin1Char('.'))}};
            const QJsonObject root{{QStringLiteral("Location not found"), message}};
            fixture.service.replyNext(ServiceReply::given(200, QJsonDocument(root).toJson()));
        }
        for (const int status : statuses) {
            ServiceReply reply = ServiceReply::given(status, url.toEncoded());
            reply.headers.insert("Location", url.toEncoded());
            fixture.service.replyNext(reply);
        }
        fixture.service.replyAlways(ServiceReply::ofKind(ServiceReply::Kind::BreakAtOnce));
        QMap<QString, QString> options = DaemonFixture::unfiltered();
        options[QStringLiteral("apikey")] = key;
        fixture.daemon.setEnvironmentVariable(
            QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=true"));
        QVERIFY(fixture.start(options));
        fixture.client.call(QStringLiteral("AddReference"));
    }

    for (const auto &fixture : fixtures) {
        QVERIFY(fixture->daemon.waitForLog(failureLine, longDeadline, 5 + statuses.size()));
        // A new key, whose check ends with an error.
        fixture->client.setOptions({{QStringLiteral("apikey"), QStringLiteral("secret%41new")}});
        const QStringList log = fixture->daemon.log();
        const QStringList echoes = log.filter(QStringLiteral("Not found for "));
        QCOMPARE(echoes.size(), 4);
        for (const QString &line : echoes)
            QVERIFY2(line.contains(QLatin1String("***")), qPrintable(line));
        QCOMPARE(log.filter(QStringLiteral("secret")), QStringList());
    }
}

QTEST_GUILESS_MAIN(Reply)

#include "reply.moc"
