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
    void startsWithoutSettings();
    void countsReferences();
    void endsWhenUnused();
};

namespace {

const QString statusChanged = QStringLiteral("StatusChanged");
const QString positionChanged = QStringLiteral("PositionChanged");
const QString addReference = QStringLiteral("AddReference");
const QString removeReference = QStringLiteral("RemoveReference");

// The Geoclue interfaces of introspection data in alphabetical order: a method or signal a line,
// with the attributes of all inside it.
QString describe(const QString &introspection)
{
    QXmlStreamReader xml(introspection);
    QMap<QString, QString> interfaces;
    QString interface;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const QStringRef name = xml.attributes().value(QLatin1String("name"));
        if (xml.name() == QLatin1String("interface"))
            interface = name.toString();
        const bool inside
            = xml.name() == QLatin1String("arg") || xml.name() == QLatin1String("annotation");
        QString &text = interfaces[interface];
        text += (inside ? QStringLiteral(", ") : QStringLiteral("\n")) % xml.name();
        for (const char *attribute : {"direction", "type", "name", "value"}) {
            const QStringRef value = xml.attributes().value(QLatin1String(attribute));
            if (!value.isEmpty())
                text += QLatin1Char(' ') % value;
        }
    }
    return interfaces.value(QStringLiteral("org.freedesktop.Geoclue"))
        + interfaces.value(QStringLiteral("org.freedesktop.Geoclue.Position"));
}

} // namespace

void Provider::introduces()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start());
    QCOMPARE(fixture.client.status(), 2);
    const QDBusMessage info = fixture.client.call(QStringLiteral("GetProviderInfo"));
    QCOMPARE(info.signature(), QStringLiteral("ss"));
    QCOMPARE(info.arguments(),
        (QVariantList{QStringLiteral("Vexa"), QStringLiteral("qtn_ondravexa_ondra_vexa")}));

    const QDBusMessage introspection = fixture.client.call(
        QStringLiteral("Introspect"), {}, QStringLiteral("org.freedesktop.DBus.Introspectable"));
    QString description = describe(introspection.arguments().value(0).toString());
    description.remove(QStringLiteral("annotation org.qtproject.QtDBus.QtTypeName."));
    QCOMPARE(description, QString::fromLatin1(R"(
interface org.freedesktop.Geoclue
method RemoveReference
method AddReference
method SetOptions, arg in a{sv} options, In0 QVariantMap
method GetOptions, arg out a{sv} options, Out0 QVariantMap
signal OptionsChanged, arg a{sv}, Out0 QVariantMap
signal ValidationErrorNotify, arg i
method GetStatus, arg out i status
method GetProviderInfo, arg out s Name, arg out s Description
signal StatusChanged, arg i
interface org.freedesktop.Geoclue.Position
method GetPosition, arg out i fields, arg out i timestamp, arg out d latitude, arg out d longitude, arg out d altitude, arg out (idd) accuracy, Out5 Accuracy
signal PositionChanged, arg i fields, arg i timestamp, arg d latitude, arg d longitude, arg d altitude, arg (idd) accuracy, In5 Accuracy)"));
}

void Provider::startsWithoutSettings()
{
    DaemonFixture fixture;
    QVERIFY(fixture.daemon.start());
    QVERIFY(fixture.daemon.waitForEnd(longDeadline));
    QVERIFY(!fixture.daemon.crashed());
    QCOMPARE(fixture.daemon.exitCode(), 0);
    const QStringList &log = fixture.daemon.log();
    const int line = log.indexOf(QStringLiteral("critical: Error reading config file"));
    QVERIFY(line > 0);
    QCOMPARE(log.at(line - 1),
        QStringLiteral("debug: No such config file:  "
                       "var/lib/geoclue/providers/vexa/settings.conf"));
    QCOMPARE(log.value(line + 1), QStringLiteral("debug: StatusAcquiring"));
}

void Provider::countsReferences()
{
    DaemonFixture fixture;
    BusClient &first = fixture.client;
    BusClient second(fixture.bus.address());
    fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
    QVERIFY(fixture.start(DaemonFixture::unfiltered()));
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
    QCOMPARE(second.status(), 3);
    QVERIFY(second.waitForSignal(positionChanged, 3)); // by the timer
    second.forget();
    second.call(removeReference);
    second.call(removeReference);
    QCOMPARE(second.status(), 1);
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
        std::function<void(DaemonFixture &)> act; // the daemon is to end 20 s later
        int statusAtEnd = 0;
        DaemonFixture fixture;
        std::unique_ptr<BusClient> client;
    };
    std::vector<std::unique_ptr<Case>> cases;
    const auto add = [&cases](bool reference, const auto &act, int status) {
        cases.push_back(std::make_unique<Case>());
        Case &one = *cases.back();
        one.act = act;
        one.statusAtEnd = status;
        one.fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
        QVERIFY(one.fixture.start(DaemonFixture::unfiltered()));
        if (reference)
            one.fixture.client.call(addReference);
    };
    const auto remove = [](DaemonFixture &fixture) { fixture.client.call(removeReference); };
    const auto vanish = [](DaemonFixture &fixture) { fixture.client.vanish(); };
    const auto checkKey = [](DaemonFixture &fixture) {
        fixture.client.setOptions({{QStringLiteral("apikey"), QStringLiteral("new-key")}});
    };
    add(true, vanish, 3);
    add(true, remove, 1);
    add(false, remove, 1);
    add(false, checkKey, 2);
    QVERIFY(!QTest::currentTestFailed());
    DaemonFixture held;
    QVERIFY(held.start(DaemonFixture::unfiltered()));
    held.client.call(addReference);
    DaemonFixture unused;
    QElapsedTimer sinceStart;
    sinceStart.start();
    QVERIFY(unused.start(DaemonFixture::unfiltered()));

    QTest::qWait(4000); // enough to tell an end from one that was not put off
    const DaemonFixture &left = cases.front()->fixture;
    const int requestsAtLeave = left.service.requests().size();
    QElapsedTimer sinceActs;
    sinceActs.start();
    for (const auto &one : cases) {
        one->client = std::make_unique<BusClient>(one->fixture.bus.address());
        one->act(one->fixture);
        QCOMPARE(one->client->status(), one->statusAtEnd);
    }
    checkKey(held);

    QVERIFY(unused.daemon.waitForEnd(longDeadline));
    QVERIFY2(sinceStart.elapsed() > 18900 && sinceStart.elapsed() < 24000,
        qPrintable(QString::number(sinceStart.elapsed())));
    QVERIFY(!unused.daemon.crashed() && unused.daemon.exitCode() == 0);
    waitUntil([&] { return sinceActs.hasExpired(18900); }, longDeadline);
    for (const auto &one : cases)
        QVERIFY(one->fixture.daemon.isRunning());
    for (const auto &one : cases) {
        QVERIFY(one->fixture.daemon.waitForEnd(longDeadline));
        QVERIFY2(sinceActs.elapsed() < 24000, qPrintable(QString::number(sinceActs.elapsed())));
        QVERIFY(!one->fixture.daemon.crashed() && one->fixture.daemon.exitCode() == 0);
    }
    // Positioning goes on for a client that may come back.
    QVERIFY(left.service.requests().size() > requestsAtLeave + 10);
    QVERIFY(held.daemon.isRunning());
    QCOMPARE(held.client.status(), 2);
}

QTEST_GUILESS_MAIN(Provider)
#include "provider.moc"
