// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "reportedposition.h"
#include "waiting.h"

#include <QJsonDocument>
#include <QTest>
#include <QUrl>
#include <QXmlStreamReader>

#include <vector>

using namespace std::chrono_literals;

namespace {

const QString failureLine = QStringLiteral("warning: Error string is not empty, repeating request");
const QString noRoot = QStringLiteral("JSON parse error: expected object at root level not found");
const QString noLocation = QStringLiteral("JSON parse error: position data not found");
const QString anyText;

// Handled without any effect.
const ServiceReply silentReply = ServiceReply::given(200, R"({"Location not found": {}})");

enum Status { Unchanged = 0, Acquiring = 2, Available = 3 };

QMap<QString, QString> eagerOptions(const QString &key)
{
    return {{QStringLiteral("apikey"), key},
        {QStringLiteral("update_interval"), QStringLiteral("1")},
        {QStringLiteral("enable_request_filter"), QStringLiteral("false")}};
}

} // namespace

Q_DECLARE_METATYPE(ServiceReply)

class Reply : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void positions_data();
    void positions();
    void ignored_data();
    void ignored();
    void failures_data();
    void failures();
    void signatures();
    void introspection();
    void secrecy();

private:
    ReportedPosition position()
    {
        return ReportedPosition::ofMessage(m_fixture.client.call(QStringLiteral("GetPosition")));
    }
    int status()
    {
        return m_fixture.client.call(QStringLiteral("GetStatus")).arguments().at(0).toInt();
    }
    QByteArray cached() const;
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
    QVERIFY(m_fixture.start(eagerOptions(DaemonFixture::knownKey)));
    m_fixture.client.call(QStringLiteral("AddReference"));
}

QByteArray Reply::cached() const
{
    QFile file(m_fixture.daemon.cachePath());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
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
    QCOMPARE(status(), told ? after : before);
    QCOMPARE(m_fixture.client.argumentsOf(QStringLiteral("StatusChanged")),
        changed ? QVariantList{after} : QVariantList());
    QCOMPARE(m_fixture.client.argumentsOf(QStringLiteral("PositionAcquiring")),
        told ? QVariantList{after == Acquiring} : QVariantList());
}

void Reply::checkUntouched(const ReportedPosition &before, const QByteArray &cachedBefore)
{
    QCOMPARE(position().text(), before.text());
    QCOMPARE(position().timestamp, before.timestamp);
    QCOMPARE(cached(), cachedBefore);
    const QStringList texts = published();
    for (const QString &text : texts)
        QCOMPARE(text, before.text());
}

void Reply::positions_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("statusAfter");
    const auto row = [](const char *body, const char *expected, Status statusAfter) {
        QTest::newRow(body) << QByteArray(body) << QString::fromLatin1(expected)
                            << static_cast<int>(statusAfter);
    };

    row(R"({"location": {"latitude": 55.75, "longitude": 37.5, "accuracy": 120.0}})",
        "3 55.75 37.5 nan 4 120 0", Available);
    row(R"({"location": {"latitude": -33.25, "longitude": -151.5, "altitude": 9, "x": [1]}, "y": 2})",
        "3 -33.25 -151.5 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 55.5}})", "1 55.5 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"longitude": 37.5, "Latitude": 1}})", "2 0 37.5 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 0, "longitude": 0, "accuracy": 100}})", "0 0 0 nan 4 100 0",
        Available);
    row(R"({"location": {"latitude": 1, "longitude": 0}})", "1 1 0 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 1e-13, "longitude": -1.5e-12}})",
        "2 1e-13 -1.5000000000000001e-12 nan 4 0 0", Available);
    row(R"({"location": {"latitude": "55.5", "longitude": "-3e1", "accuracy": "12.5"}})",
        "3 55.5 -30 nan 4 12.5 0", Available);
    row(R"({"location": {"latitude": "north", "longitude": 7}})", "2 0 7 nan 4 0 0", Available);
    row(R"({"location": {"latitude": 7, "longitude": "", "accuracy": "far"}})", "1 7 0 nan 4 0 0",
        Unchanged);
    row(R"({"location": {"latitude": true, "longitude": null, "accuracy": [5]}})",
        "0 0 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"latitude": 8, "longitude": {"degrees": 1}, "accuracy": false}})",
        "1 8 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"latitude": 9, "longitude": [37]}})", "1 9 0 nan 4 0 0", Unchanged);
    row(R"({"location": {"latitude": "nan", "longitude": 11, "accuracy": "inf"}})",
        "2 0 11 nan 4 0 0", Available);
    row(R"({"location": {}})", "0 0 0 nan 4 0 0", Unchanged);
    row(R"({"Location not found": "x", "location": {"latitude": 2, "longitude": 3}})",
        "3 2 3 nan 4 0 0", Available);
    row(R"({"location not found": {"message": "x"}, "location": {"latitude": 2, "longitude": 4}})",
        "3 2 4 nan 4 0 0", Available);
}

void Reply::positions()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, expected);
    QFETCH(int, statusAfter);
    const QString before = position().text();
    const int statusBefore = status();
    const int failures = m_fixture.daemon.logCount(failureLine);
    m_fixture.client.forget();
    m_fixture.service.replyNext(ServiceReply::given(200, body));
    QVERIFY(waitUntil(
        [&] { return ReportedPosition::ofCache(cached()).text() == expected; }, longDeadline));

    const ReportedPosition now = position();
    const auto request = m_fixture.service.requests().constLast();
    const int captured = request.json.value(QLatin1String("captureTimestampUnix")).toInt();
    QVERIFY2(now.timestamp == captured || now.timestamp == captured + 1,
        qPrintable(QStringLiteral("%1 instead of %2").arg(now.timestamp).arg(captured)));
    QCOMPARE(cached(), now.cacheBytes());
    QCOMPARE(cached().size(), 52);
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
    QTest::addColumn<ServiceReply>("reply");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const ServiceReply &reply, const QString &error) {
        QTest::newRow(name) << reply << error;
    };
    const auto body = [&row](const char *text, const QString &error) {
        row(text, ServiceReply::given(200, text), error);
    };

    body("", anyText);
    body("{", anyText);
    body("no JSON", anyText);
    body(R"({"location": {"latitude": 1, "longitude": 1}} x)", anyText);
    body(R"([])", noRoot);
    body(R"([{"location": {"latitude": 1, "longitude": 1}}])", noRoot);
    body(R"({})", noLocation);
    body(R"({"location": [1, 1]})", noLocation);
    body(R"({"location": "1, 1"})", noLocation);
    body(R"({"location": null})", noLocation);
    body(R"({"Location": {"latitude": 1, "longitude": 1}})", noLocation);
    body(R"({"Location not found": ["x"]})", noLocation);
    body(R"({"Location not found": {"message": "no such place"},
             "location": {"latitude": 1, "longitude": 1}})",
        QStringLiteral("no such place"));
    const QByteArray good = ServiceReply::position(1, 1, 1).body;
    for (const int status : {400, 401, 403, 404, 405, 429, 500, 503})
        row(QByteArray::number(status).constData(), ServiceReply::given(status, good), anyText);
    row("broken at once", ServiceReply::ofKind(ServiceReply::Kind::BreakAtOnce), anyText);
    row("broken in the body", ServiceReply::ofKind(ServiceReply::Kind::BreakInBody), anyText);
}

void Reply::failures()
{
    QFETCH(ServiceReply, reply);
    QFETCH(QString, error);
    const ReportedPosition before = position();
    const QByteArray cachedBefore = cached();
    const int statusBefore = status();
    const int failures = m_fixture.daemon.logCount(failureLine);
    m_fixture.client.forget();
    // Not for the next request alone: the network layer may send it again on a new connection.
    m_fixture.service.replyAlways(reply);
    QVERIFY(m_fixture.daemon.waitForLog(failureLine, longDeadline, failures + 1));
    m_fixture.service.replyAlways(silentReply);

    checkUntouched(before, cachedBefore);
    checkStatus(statusBefore, Acquiring);
    const QStringList log = m_fixture.daemon.log();
    const QString text = log.value(log.lastIndexOf(failureLine) + 1);
    QVERIFY2(error.isEmpty() ? text.size() > 10 && text.startsWith(QLatin1String("warning: "))
                             : text == QLatin1String("warning: ") % error,
        qPrintable(text));
}

void Reply::ignored_data()
{
    QTest::addColumn<QByteArray>("body");
    for (const char *body :
        {R"({"Location not found": {}})",
            R"({"Location not found": {"message": 5}, "location": {"latitude": 1, "longitude": 1}})",
            R"({"Location not found": {"message": ""}})"})
        QTest::newRow(body) << QByteArray(body);
}

void Reply::ignored()
{
    QFETCH(QByteArray, body);
    GeolocationService &service = m_fixture.service;
    const ReportedPosition before = position();
    const QByteArray cachedBefore = cached();
    const int statusBefore = status();
    const int lines = m_fixture.daemon.log().size();
    m_fixture.client.forget();
    service.replyNext(ServiceReply::given(200, body));
    QVERIFY(service.waitForRequests(service.requests().size() + 2, longDeadline));

    checkUntouched(before, cachedBefore);
    checkStatus(statusBefore, Unchanged);
    QCOMPARE(m_fixture.daemon.log().size(), lines);
}

void Reply::signatures()
{
    m_fixture.service.replyNext(ServiceReply::position(1, 2, 3));
    QVERIFY(m_fixture.client.waitForSignal(QStringLiteral("PositionAcquiring")));
    QVERIFY(m_fixture.client.waitForSignal(QStringLiteral("PositionChanged")));
    const auto signatureOf = [this](const char *name) {
        return m_fixture.client.signalsNamed(QString::fromLatin1(name)).constLast().signature();
    };
    QCOMPARE(signatureOf("PositionAcquiring"), QStringLiteral("b"));
    QCOMPARE(signatureOf("PositionChanged"), QStringLiteral("iiddd(idd)"));
    QCOMPARE(m_fixture.client.call(QStringLiteral("GetPosition")).signature(),
        QStringLiteral("iiddd(idd)"));
}

void Reply::introspection()
{
    const QString text = m_fixture.client
                             .call(QStringLiteral("Introspect"), {},
                                 QStringLiteral("org.freedesktop.DBus.Introspectable"))
                             .arguments()
                             .value(0)
                             .toString();
    QStringList found;
    bool inside = false;
    for (QXmlStreamReader xml(text); !xml.atEnd(); xml.readNext()) {
        const auto attribute = [&xml](const char *name) {
            return xml.attributes().value(QLatin1String(name)).toString();
        };
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("interface"))
            inside = attribute("name") == QLatin1String("org.freedesktop.Geoclue.Position");
        if (inside)
            found += QStringList{xml.name().toString(), attribute("direction"), attribute("type"),
                attribute("name"), attribute("value")}
                         .join(QLatin1Char(' '))
                         .simplified();
    }
    const QStringList arguments{QStringLiteral("i fields"), QStringLiteral("i timestamp"),
        QStringLiteral("d latitude"), QStringLiteral("d longitude"), QStringLiteral("d altitude"),
        QStringLiteral("(idd) accuracy")};
    QStringList expected{QStringLiteral("interface org.freedesktop.Geoclue.Position"),
        QStringLiteral("method GetPosition")};
    for (const QString &argument : arguments)
        expected += QString(QStringLiteral("arg out ") % argument);
    expected += QStringLiteral("annotation org.qtproject.QtDBus.QtTypeName.Out5 Accuracy");
    expected += QStringLiteral("signal PositionChanged");
    for (const QString &argument : arguments)
        expected += QString(QStringLiteral("arg ") % argument);
    expected += QStringLiteral("annotation org.qtproject.QtDBus.QtTypeName.In5 Accuracy");
    QCOMPARE(found, expected);
}

void Reply::secrecy()
{
    struct Case
    {
        QString key;
        DaemonFixture fixture;
    };
    std::vector<std::unique_ptr<Case>> cases;
    for (const char *key : {"plain-secret", "secret%2Bsecret%", "a secret+secret/ä\"<",
             "secret/secret==", "x&key=secret", "secret#secret"}) {
        cases.push_back(std::make_unique<Case>());
        cases.back()->key = QString::fromUtf8(key);
    }
    constexpr int failures = 7;
    for (const auto &each : cases) {
        const QString &key = each->key;
        DaemonFixture &fixture = each->fixture;
        const QUrl url(QString(fixture.service.link() % key));
        // Beyond these characters the service knows nothing of the key.
        const bool known = !key.contains(QLatin1Char('&')) && !key.contains(QLatin1Char('#'));
        for (const QString &echo :
            {key, url.toString(QUrl::PrettyDecoded), url.toString(QUrl::FullyEncoded),
                known ? QString::fromLatin1(QUrl::toPercentEncoding(key)) : key}) {
            const QJsonObject message{{QStringLiteral("message"),
                QString(QStringLiteral("Not found for ") % echo % QLatin1Char('.'))}};
            const QJsonObject root{{QStringLiteral("Location not found"), message}};
            fixture.service.replyNext(ServiceReply::given(200, QJsonDocument(root).toJson()));
        }
        fixture.service.replyNext(ServiceReply::given(500, "{}"));
        fixture.service.replyNext(ServiceReply::given(404, "{}"));
        fixture.service.replyAlways(ServiceReply::ofKind(ServiceReply::Kind::BreakAtOnce));
        QVERIFY(fixture.start(eagerOptions(key)));
        fixture.client.call(QStringLiteral("AddReference"));
    }

    for (const auto &each : cases) {
        QVERIFY(each->fixture.daemon.waitForLog(failureLine, longDeadline, failures));
        const QStringList log = each->fixture.daemon.log();
        QCOMPARE(log.filter(QStringLiteral("Not found for ")).size(), 4);
        for (const QString &line : log)
            QVERIFY2(!line.contains(QLatin1String("secret")), qPrintable(line));
    }
}

QTEST_GUILESS_MAIN(Reply)

#include "reply.moc"
