// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <csignal>
#include <functional>

using namespace std::chrono_literals;

// The provider on the bus: its interface, start and end, and the clients' references.
class Provider : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void introduces();
    void endsWithoutSettings();
    void endsWithoutName();
    void endsWhenUnused() const;

private:
    static void countsReferences();
    static void ignoresForgedDeparture();
};

namespace {

const QString daemonName = "org.freedesktop.Geoclue.Providers.OndraVexa";

} // namespace

void Provider::introduces()
{
    Fixture fixture;
    QVERIFY(fixture.start());
    QCOMPARE(fixture.client.status(), 2);
    const QDBusMessage info = fixture.client.call("GetProviderInfo");
    QCOMPARE(info.signature(), "ss");
    QCOMPARE(info.arguments(), (QVariantList{"Vexa", "qtn_ondravexa_ondra_vexa"}));

    const QDBusMessage introspection
        = fixture.client.call("Introspect", {}, "org.freedesktop.DBus.Introspectable");
    const QString offered = introspection.arguments().value(0).toString();
    QFile file(QFINDTESTDATA("../data/dbus/org.freedesktop.Geoclue.Providers.OndraVexa.xml"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList described = QString::fromUtf8(file.readAll()).split("  <interface");
    // The description has one annotation more, for the code generator of Qt 6.
    static const QRegularExpression annotation("\\s*<annotation [^>]*>");
    const QString plain = QString(offered).remove(annotation);
    for (const QString &each : described.mid(1)) {
        const QString interface = each.section("</interface>", 0, 0);
        QVERIFY(plain.contains(QString(interface).remove(annotation)));
    }
    QCOMPARE(offered.count("5\" value=\"Accuracy\""), 2);
    // Three more are the bus library's.
    QCOMPARE(offered.count("<interface"), 5);
    QCOMPARE(fixture.client.call("SetOptions", {42}).errorName(),
        "org.freedesktop.DBus.Error.UnknownMethod");
}

void Provider::endsWithoutSettings()
{
    Fixture fixture;
    QVERIFY(fixture.daemon.start());
    QVERIFY(fixture.daemon.waitForEnd(15s)); // any daemon that nobody uses ends after 20 s
    QVERIFY(!fixture.daemon.crashed() && fixture.daemon.exitCode() == 0);
    const QStringList expected{
        "debug: No such config file:  var/lib/geoclue/providers/vexa/settings.conf",
        "critical: Error reading config file", "debug: StatusAcquiring"};
    const auto first = static_cast<int>(fixture.daemon.log().indexOf(expected.first()));
    QCOMPARE(fixture.daemon.log().mid(first, 3), expected);
}

void Provider::endsWithoutName()
{
    Fixture fixture;
    QVERIFY(fixture.start());
    DaemonProcess second(fixture.bus.address());
    second.writeRawSettings("[settings]\n");
    QVERIFY(second.start());
    QVERIFY(second.waitForEnd(longDeadline));
    QVERIFY(second.crashed());
    QCOMPARE(second.log().last(), QString("fatal: Failed to register service " % daemonName));
    QCOMPARE(fixture.client.status(), 2);
}

void Provider::countsReferences()
{
    Fixture fixture;
    Client &first = fixture.client;
    Client second(fixture.bus.address());
    QVERIFY(fixture.start(Fixture::unfiltered()));
    QVERIFY(first.waitForSignal(statusChanged));
    first.forget();
    first.call(addReference);
    QVERIFY(first.waitForSignal(positionChanged, 2));
    QCOMPARE(first.argumentsOf(statusChanged), QVariantList{3}); // once, in spite of two replies

    // No more requests, so that what is published next comes from a new reference.
    second.setOptions({{"update_interval", 3600}});
    for (Client *client : {&first, &second}) {
        client->forget();
        client->call(addReference);
        QCOMPARE(client->received().first().member(), positionChanged);
    }
    second.setOptions({{"update_interval", 1}});
    second.call(removeReference);
    second.call(removeReference); // once more than it added
    first.call(removeReference);
    QCOMPARE(first.status(), 3);
    QVERIFY(fixture.seesPosition());
    first.call(removeReference);
    QCOMPARE(first.status(), 1);
    QCOMPARE(second.argumentsOf(statusChanged), QVariantList{1});
    QVERIFY(!fixture.seesRequest(3s));
}

void Provider::ignoresForgedDeparture()
{
    Fixture fixture;
    QVERIFY(fixture.begin());
    QVERIFY(fixture.seesPosition());
    BusConnection forger(fixture.bus.address());
    const QString bus = "org.freedesktop.DBus";
    QDBusMessage departure = QDBusMessage::createTargetedSignal(
        daemonName, "/org/freedesktop/DBus", bus, "NameOwnerChanged");
    const QString client = fixture.client.uniqueName();
    departure.setArguments({client, client, QString()});
    QVERIFY((*forger).send(departure));
    // Who removes a reference while there is none stops the updates.
    (*forger).call(Client::makeCall(removeReference));
    QCOMPARE(fixture.client.status(), 3);
}

// All side by side, since the daemon waits 20 s before it ends; meanwhile the references.
void Provider::endsWhenUnused() const
{
    struct Case
    {
        const char *what;
        std::function<void(Fixture &)> act; // the daemon is to end 20 s later
        int statusAtEnd; // -1: it cannot be asked
        bool holdsReference;
        int requests = 0;
        Fixture fixture = {};
        Client observer{fixture.bus.address()};
    };
    const auto checkKey = [](Fixture &fixture) {
        fixture.client.setOptions({{"apikey", "new-key"}});
    };
    const auto remove = [](Fixture &fixture) {
        // A request on its way would be answered later, and be a position after all.
        if (!fixture.service.requests().isEmpty())
            fixture.seesPosition();
        fixture.client.call(removeReference);
    };
    const auto vanishInCalls = [](Fixture &fixture) {
        const auto daemon = static_cast<pid_t>(fixture.daemon.processId());
        ::kill(daemon, SIGSTOP);
        for (const QString &method : {addReference, QString("GetPosition"), QString("GetOptions")})
            fixture.client.post(method);
        fixture.client.postOptions({{"apikey", "new-key"}});
        Client(fixture.bus.address()).vanish(); // a round trip: the bus has the calls
        fixture.client.vanish();
        ::kill(daemon, SIGCONT);
    };
    const auto startAgain = [](Fixture &fixture) {
        fixture.daemon.kill();
        QVERIFY(fixture.startAsIs());
    };
    Case cases[]{
        {"checks a key", checkKey, 2, false},
        {"vanishes", [](Fixture &fixture) { fixture.client.vanish(); }, 3, true},
        {"vanishes in calls", vanishInCalls, 3, false},
        {"removes its reference", remove, 1, true},
        {"removes none", remove, 1, false},
        {"only starts", startAgain, 2, false},
        {"loses the bus", [](Fixture &fixture) { fixture.bus.kill(); }, -1, true},
    };
    QElapsedTimer sinceStart;
    sinceStart.start();
    for (Case &one : cases) {
        QVERIFY(one.fixture.start(Fixture::unfiltered()));
        if (one.holdsReference)
            one.fixture.client.call(addReference);
    }
    // Enough to tell an end from one that was not put off: the daemon's timer is off by half a
    // second at most.
    waitUntil([&] { return sinceStart.hasExpired(2500); }, longDeadline);

    QElapsedTimer sinceActs;
    sinceActs.start();
    for (Case &one : cases) {
        one.requests = static_cast<int>(one.fixture.service.requests().size());
        one.act(one.fixture);
    }
    countsReferences();
    ignoresForgedDeparture();

    waitUntil([&] { return sinceActs.hasExpired(19000); }, longDeadline);
    for (Case &one : cases) {
        QVERIFY2(one.fixture.daemon.isRunning(), one.what);
        QCOMPARE(one.observer.status(), one.statusAtEnd);
        // Positioning goes on for a client that may come back.
        if (one.statusAtEnd == 3)
            QVERIFY2(one.fixture.service.requests().size() > one.requests + 10, one.what);
    }
    for (const Case &one : cases) {
        QVERIFY2(one.fixture.daemon.waitForEnd(longDeadline), one.what);
        QVERIFY2(sinceActs.elapsed() < 27000, one.what);
        QVERIFY2(!one.fixture.daemon.crashed() && one.fixture.daemon.exitCode() == 0, one.what);
    }
}

QTEST_GUILESS_MAIN(Provider)
#include "provider.moc"
