// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QTest>
#include <QXmlStreamReader>

#include <functional>
#include <memory>
#include <vector>

using namespace std::chrono_literals;

// The provider on the bus: its interface, start and end, and the clients' references.
class Provider : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void introduces();
    void exportsNothingElse();
    void survivesSecondInstance();
    void endsWithoutBus();
    void endsWithoutSettings();
    void countsReferences();
    void endsWhenUnused();
};

namespace {

const QString statusChanged = QStringLiteral("StatusChanged");
const QString positionChanged = QStringLiteral("PositionChanged");
const QString addReference = QStringLiteral("AddReference");
const QString removeReference = QStringLiteral("RemoveReference");

int statusOf(BusClient &client)
{
    return client.call(QStringLiteral("GetStatus")).arguments().value(0, -1).toInt();
}

QMap<QString, QString> eagerSettings()
{
    return {{QStringLiteral("apikey"), DaemonFixture::knownKey},
        {QStringLiteral("enable_request_filter"), QStringLiteral("false")},
        {QStringLiteral("update_interval"), QStringLiteral("1")}};
}

// The Geoclue interfaces of introspection data, an element a line with its attributes in order.
QStringList describe(const QString &introspection)
{
    QXmlStreamReader xml(introspection);
    QStringList lines;
    bool wanted = false;
    while (xml.readNext() != QXmlStreamReader::Invalid && !xml.atEnd()) {
        if (!xml.isStartElement())
            continue;
        const QXmlStreamAttributes attributes = xml.attributes();
        if (xml.name() == QLatin1String("interface"))
            wanted = attributes.value(QLatin1String("name"))
                         .startsWith(QLatin1String("org.freedesktop.Geoclue"));
        if (!wanted)
            continue;
        QString line = xml.name().toString();
        for (const char *name : {"direction", "type", "name", "value"}) {
            const QStringRef value = attributes.value(QLatin1String(name));
            if (!value.isEmpty())
                line += QLatin1Char(' ') % value;
        }
        lines.append(line);
    }
    lines.replaceInStrings(QStringLiteral("org.qtproject.QtDBus.QtTypeName."), QString());
    return lines;
}

} // namespace

void Provider::introduces()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start());
    QCOMPARE(statusOf(fixture.client), 2);
    const QDBusMessage info = fixture.client.call(QStringLiteral("GetProviderInfo"));
    QCOMPARE(info.signature(), QStringLiteral("ss"));
    QCOMPARE(info.arguments(),
        (QVariantList{QStringLiteral("Vexa"), QStringLiteral("qtn_ondravexa_ondra_vexa")}));

    const QDBusMessage introspection = fixture.client.call(
        QStringLiteral("Introspect"), {}, QStringLiteral("org.freedesktop.DBus.Introspectable"));
    QStringList description = describe(introspection.arguments().value(0).toString());
    const int position
        = description.indexOf(QStringLiteral("interface org.freedesktop.Geoclue.Position"));
    QVERIFY(position >= 0);
    // Either interface may come first.
    const int geoclue = description.indexOf(QStringLiteral("interface org.freedesktop.Geoclue"));
    const QStringList expectedGeoclue = QString::fromLatin1(R"(interface org.freedesktop.Geoclue
method RemoveReference
method AddReference
method SetOptions
arg in a{sv} options
annotation In0 QVariantMap
method GetOptions
arg out a{sv} options
annotation Out0 QVariantMap
signal OptionsChanged
arg a{sv}
annotation Out0 QVariantMap
signal ValidationErrorNotify
arg i
method GetStatus
arg out i status
method GetProviderInfo
arg out s Name
arg out s Description
signal StatusChanged
arg i)")
                                            .split(QLatin1Char('\n'));
    const QStringList expectedPosition
        = QString::fromLatin1(R"(interface org.freedesktop.Geoclue.Position
method GetPosition
arg out i fields
arg out i timestamp
arg out d latitude
arg out d longitude
arg out d altitude
arg out (idd) accuracy
annotation Out5 Accuracy
signal PositionChanged
arg i fields
arg i timestamp
arg d latitude
arg d longitude
arg d altitude
arg (idd) accuracy
annotation In5 Accuracy)")
              .split(QLatin1Char('\n'));
    QCOMPARE(description,
        geoclue < position ? expectedGeoclue + expectedPosition
                           : expectedPosition + expectedGeoclue);
}

void Provider::exportsNothingElse()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start());
    const QVector<QPair<const char *, QVariantList>> hidden{{"setStatus", {0}},
        {"registerProvider", {}}, {"lockedChangedHandler", {}},
        {"positionAcquiringHandler", {true}},
        {"serviceUnregistered", {fixture.client.uniqueName()}}, {"restartTimer", {}},
        {"sendRequest", {}}, {"updatePosition", {}}, {"republishPosition", {}},
        {"replyFinished", {1}}, {"startUpdates", {}}, {"stopUpdates", {}}, {"deleteLater", {}}};
    for (const auto &[method, arguments] : hidden) {
        for (const char *interface :
            {"org.freedesktop.Geoclue", "org.freedesktop.Geoclue.Position", "local.OndraVexa"}) {
            const QDBusMessage reply = fixture.client.call(
                QString::fromLatin1(method), arguments, QString::fromLatin1(interface));
            QVERIFY2(
                reply.errorName().startsWith(QLatin1String("org.freedesktop.DBus.Error.Unknown")),
                method);
        }
    }
    QCOMPARE(statusOf(fixture.client), 2);
}

void Provider::survivesSecondInstance()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start());
    DaemonProcess second(fixture.bus.address());
    second.writeSettings({});
    QVERIFY(second.start());
    QVERIFY(second.waitForEnd(10s));
    QVERIFY(second.crashed());
    QVERIFY(second.log().contains(QStringLiteral("fatal: Failed to register service "
                                                 "org.freedesktop.Geoclue.Providers.OndraVexa")));
    QVERIFY(!second.log().contains(QStringLiteral("debug: StatusAcquiring")));
    QCOMPARE(statusOf(fixture.client), 2);
    QCOMPARE(fixture.client.signalsNamed(statusChanged).size(), 1);
}

void Provider::endsWithoutBus()
{
    DaemonFixture fixture;
    fixture.bus.kill();
    fixture.daemon.writeSettings({});
    QVERIFY(fixture.daemon.start());
    QVERIFY(fixture.daemon.waitForEnd(10s));
    QVERIFY(fixture.daemon.crashed());
    QCOMPARE(fixture.daemon.log().last(),
        QStringLiteral("fatal: Failed to register service "
                       "org.freedesktop.Geoclue.Providers.OndraVexa"));
}

void Provider::endsWithoutSettings()
{
    DaemonFixture fixture;
    QVERIFY(fixture.daemon.start());
    QVERIFY(fixture.daemon.waitForEnd(10s));
    QVERIFY(!fixture.daemon.crashed());
    QCOMPARE(fixture.daemon.exitCode(), 0);
    const QStringList &log = fixture.daemon.log();
    const int line = log.indexOf(QStringLiteral("critical: Error reading config file"));
    QVERIFY(line > 0);
    QCOMPARE(log.at(line - 1),
        QStringLiteral("debug: No such config file: "
                       "var/lib/geoclue/providers/vexa/settings.conf"));
    QCOMPARE(log.value(line + 1), QStringLiteral("debug: StatusAcquiring"));
}

void Provider::countsReferences()
{
    DaemonFixture fixture;
    BusClient &first = fixture.client;
    BusClient second(fixture.bus.address());
    fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
    QVERIFY(fixture.start(eagerSettings()));
    QVERIFY(first.waitForSignal(statusChanged));
    first.forget();
    first.call(addReference);
    QVERIFY(first.waitForSignal(positionChanged, 2));
    QCOMPARE(first.argumentsOf(statusChanged), QVariantList{3}); // once, in spite of two replies
    QCOMPARE(fixture.daemon.logCount(QStringLiteral("debug: StatusAvailable")), 1);

    // No more requests, so that what is published next comes from a new reference.
    second.setOptions({{QStringLiteral("update_interval"), 3600}});
    for (BusClient *client : {&second, &first}) {
        client->forget();
        client->call(addReference);
        QCOMPARE(client->received().first().member(), positionChanged);
    }
    for (BusClient *client : {&first, &first, &first}) // once more than it added
        client->call(removeReference);
    QCOMPARE(statusOf(second), 3);
    QVERIFY(second.waitForSignal(positionChanged, 3)); // by the timer
    second.forget();
    second.call(removeReference);
    second.call(removeReference);
    QCOMPARE(statusOf(second), 1);
    QCOMPARE(second.argumentsOf(statusChanged), QVariantList{1});
    QCOMPARE(fixture.daemon.logCount(QStringLiteral("debug: StatusUnavailable")), 1);
    QVERIFY(!second.waitForSignal(positionChanged, 1, 6s));
    QCOMPARE(fixture.service.violations(), QStringList());
}

// All side by side, since the daemon waits 20 s before it ends.
void Provider::endsWhenUnused()
{
    struct Case
    {
        const char *name = nullptr;
        std::function<void(DaemonFixture &)> act; // after 4 s; the daemon is to end 20 s later
        int statusAtEnd = 0;
        DaemonFixture fixture;
        std::unique_ptr<BusClient> client;
        QElapsedTimer sinceAct;
        qint64 endMs = 0;
    };
    std::vector<std::unique_ptr<Case>> cases;
    const auto add = [&cases](const char *name, bool reference, const auto &act, int status) {
        cases.push_back(std::make_unique<Case>());
        Case &one = *cases.back();
        one.name = name;
        one.act = act;
        one.statusAtEnd = status;
        one.fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
        QVERIFY(one.fixture.start(eagerSettings()));
        if (reference)
            one.fixture.client.call(addReference);
    };
    const auto checkKey = [](DaemonFixture &fixture) {
        fixture.client.setOptions({{QStringLiteral("apikey"), QStringLiteral("new-key")}});
    };
    add(
        "removed", true, [](DaemonFixture &fixture) { fixture.client.call(removeReference); }, 1);
    add(
        "vanished", true, [](DaemonFixture &fixture) { fixture.client.vanish(); }, 3);
    add(
        "removed what was not held", false,
        [](DaemonFixture &fixture) { fixture.client.call(removeReference); }, 1);
    add("key check", false, checkKey, 2);
    QVERIFY(!QTest::currentTestFailed());
    DaemonFixture held;
    QVERIFY(held.start(eagerSettings()));
    held.client.call(addReference);
    DaemonFixture unused;
    QElapsedTimer sinceStart;
    sinceStart.start();
    QVERIFY(unused.start(eagerSettings()));

    QTest::qWait(4000); // enough to tell an end from one that was not put off
    for (const auto &one : cases) {
        one->client = std::make_unique<BusClient>(one->fixture.bus.address());
        one->sinceAct.start();
        one->act(one->fixture);
        QCOMPARE(statusOf(*one->client), one->statusAtEnd);
    }
    checkKey(held);
    const int requestsAtLeave = cases.at(1)->fixture.service.requests().size();

    QVERIFY(unused.daemon.waitForEnd(longDeadline));
    QVERIFY2(sinceStart.elapsed() > 18900 && sinceStart.elapsed() < 24000,
        qPrintable(QString::number(sinceStart.elapsed())));
    QVERIFY(!unused.daemon.crashed() && unused.daemon.exitCode() == 0);
    const auto allEnded = [&cases] {
        bool all = true;
        for (const auto &one : cases) {
            if (one->fixture.daemon.isRunning())
                all = false;
            else if (one->endMs == 0)
                one->endMs = one->sinceAct.elapsed();
        }
        return all;
    };
    QVERIFY(waitUntil(allEnded, longDeadline));
    for (const auto &one : cases) {
        QVERIFY2(one->endMs > 18900 && one->endMs < 24000,
            qPrintable(QString::fromLatin1(one->name) % QString::number(one->endMs)));
        QVERIFY2(!one->fixture.daemon.crashed() && one->fixture.daemon.exitCode() == 0, one->name);
    }
    // Positioning goes on for a client that may come back.
    QVERIFY(cases.at(1)->fixture.service.requests().size() > requestsAtLeave + 10);
    QVERIFY(held.daemon.isRunning());
    QCOMPARE(statusOf(held.client), 2);
}

QTEST_GUILESS_MAIN(Provider)
#include "provider.moc"
