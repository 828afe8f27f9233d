// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "row.h"
#include "waiting.h"

#include <QDateTime>

#include <limits>

using namespace std::chrono_literals;

namespace {

const QString daemonName = QStringLiteral("org.freedesktop.Geoclue.Providers.OndraVexa");
const QString daemonPath = QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa");
const QString newKey = QStringLiteral("another-key");

constexpr int manyClients = 1000;
constexpr int manyReferences = 100000;
constexpr int floodOfEach = 2000;
constexpr auto endDeadline = 60s;

constexpr int minute = 60;
constexpr int year = 365 * 24 * 60 * minute;
constexpr int clockTolerance = 5; // seconds

// Ends the daemon by letting go of the last reference.
void letGo(Scene &scene)
{
    scene.client.vanish();
    QVERIFY(scene.daemon.waitForEnd(endDeadline));
    QVERIFY(!scene.daemon.crashed());
    scene.note(QStringLiteral("it ends once the last client has left"));
}

void startTwice(Scene &scene)
{
    QVERIFY(scene.begin());
    DaemonProcess second(scene.bus.address());
    second.writeSettings(scene.settings());
    QVERIFY(second.start());
    QVERIFY(second.waitForEnd(longDeadline));
    QVERIFY(second.crashed());
    QCOMPARE(second.logCount(QStringLiteral("fatal: Failed to register service ") + daemonName), 1);
    scene.note(QStringLiteral("the second one aborts with “Failed to register service”"));
}

void startWithoutBus(Scene &scene)
{
    scene.daemon.writeSettings(scene.settings());
    scene.bus.kill();
    QVERIFY(scene.daemon.start());
    QVERIFY(scene.seesLog(QStringLiteral("Failed to register service")));
    QVERIFY(scene.daemon.waitForEnd(longDeadline));
    QVERIFY(scene.daemon.crashed());
}

void loseBus(Scene &scene)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    scene.bus.kill();
    QVERIFY(scene.daemon.waitForEnd(endDeadline));
    QVERIFY(!scene.daemon.crashed());
    QCOMPARE(scene.daemon.exitCode(), 0);
    scene.note(QStringLiteral("exit status 0"));
}

void vanishInCall(Scene &scene)
{
    QVERIFY(scene.begin());
    scene.web.answer({{}, RawReply::Ending::Hang});
    for (const char *method : {"AddReference", "GetPosition", "GetOptions"}) {
        BusClient other(scene.bus.address());
        other.post(QString::fromLatin1(method));
        other.vanish();
    }
    BusClient other(scene.bus.address());
    other.postOptions({{QStringLiteral("apikey"), newKey}});
    QVERIFY(waitUntil(
        [&] { return scene.web.lastRequest().contains(QLatin1String("ip")); }, longDeadline));
    other.vanish();
    QVERIFY(scene.seesAnswer());
    scene.heal();
}

void addManyClients(Scene &scene)
{
    QVERIFY(scene.begin());
    std::vector<std::unique_ptr<BusConnection>> clients;
    for (int i = 0; i < manyClients; ++i) {
        clients.push_back(std::make_unique<BusConnection>(scene.bus.address()));
        QVERIFY((*clients.back())->send(BusClient::makeCall(QStringLiteral("AddReference"))));
        // The bus daemon stands still when nobody reads what it says.
        QCoreApplication::processEvents();
    }
    QVERIFY(scene.seesPosition());
    scene.note(QStringLiteral("all are served; VmRSS %1 kB").arg(scene.memoryKb("VmRSS")));
    clients.clear();
    letGo(scene);
}

void addManyReferences(Scene &scene)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    const qint64 before = scene.memoryKb("VmRSS");
    auto other = std::make_unique<BusConnection>(scene.bus.address());
    for (int i = 0; i < manyReferences; ++i)
        QVERIFY((*other)->send(BusClient::makeCall(QStringLiteral("AddReference"))));
    QElapsedTimer waiting;
    waiting.start();
    QVERIFY(
        (*other)
            ->call(BusClient::makeCall(QStringLiteral("GetStatus")), QDBus::BlockWithGui, 120000)
            .type()
        == QDBusMessage::ReplyMessage);
    scene.note(QStringLiteral("all are taken after %1 ms; VmRSS %2 kB more")
                   .arg(waiting.elapsed())
                   .arg(scene.memoryKb("VmRSS") - before));
    other.reset();
    letGo(scene);
}

// Has another client make a call many times over.
void flood(Scene &scene, const QStringList &methods, const std::function<QVariantMap(int)> &options)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    const qint64 before = scene.memoryKb("VmRSS");
    BusConnection other(scene.bus.address());
    for (int i = 0; i < floodOfEach; ++i) {
        for (const QString &method : methods)
            QVERIFY(other->send(BusClient::makeCall(method)));
        QVERIFY(other->send(BusClient::makeCall(QStringLiteral("SetOptions"), {options(i)})));
    }
    QElapsedTimer waiting;
    waiting.start();
    QVERIFY(scene.seesAnswer());
    scene.note(
        QStringLiteral("%1 calls; one of another client is answered after %2 ms; VmRSS %3 kB more")
            .arg((methods.size() + 1) * floodOfEach)
            .arg(waiting.elapsed())
            .arg(scene.memoryKb("VmRSS") - before));
}

void floodWithAll(Scene &scene)
{
    const QString methods(QStringLiteral(
        "AddReference GetStatus GetProviderInfo GetPosition GetOptions RemoveReference"));
    flood(scene, methods.split(QLatin1Char(' ')), [](int) {
        return QVariantMap{{QStringLiteral("keep_requests"), QStringLiteral("2")}};
    });
}

void floodWithKeys(Scene &scene)
{
    flood(scene, {}, [](int i) {
        return QVariantMap{{QStringLiteral("apikey"), QStringLiteral("key-%1").arg(i)}};
    });
    const auto verdicts = [&] {
        return scene.daemon.logCount(QStringLiteral("Valid key"))
            + scene.daemon.logCount(QStringLiteral("Unable to check key"));
    };
    QVERIFY(waitUntil([&] { return verdicts() == floodOfEach; }, endDeadline));
    scene.note(QStringLiteral("each key gets its verdict"));
}

void callWrongly(Scene &scene)
{
    QVERIFY(scene.begin());
    const QVariantList wrongOptions{42, QStringLiteral("text"), QStringList{QStringLiteral("a")},
        QVariant::fromValue(QDBusVariant(1))};
    for (const QVariant &options : wrongOptions)
        QCOMPARE(scene.client.call(QStringLiteral("SetOptions"), {options}).errorName(),
            QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
    for (const char *method : {"SetOptions", "NoSuchMethod", "setStatus", "registerProvider",
             "sendRequest", "deleteLater", "updatePosition"})
        QCOMPARE(scene.client.call(QString::fromLatin1(method)).errorName(),
            QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
    QCOMPARE(scene.client.call(QStringLiteral("GetStatus"), {}, QStringLiteral("no.such.interface"))
                 .errorName(),
        QStringLiteral("org.freedesktop.DBus.Error.UnknownInterface"));
    scene.note(QStringLiteral("each is answered with an error"));
}

void callAtLimits(Scene &scene)
{
    QVERIFY(scene.begin());
    const QVariantList values{std::numeric_limits<qint64>::min(),
        std::numeric_limits<qint64>::max(), std::numeric_limits<quint64>::max(),
        std::numeric_limits<int>::min(), QVariant::fromValue(std::numeric_limits<uchar>::max()),
        qInf(), -qInf(), qQNaN(), std::numeric_limits<double>::max(), QString(),
        QString(1 << 20, QLatin1Char('9')), QStringLiteral("\t\n\u0001\"\\;,="),
        QByteArray(1000, '\xff'), QStringList{QStringLiteral("a"), QStringLiteral("b")},
        QVariantMap{{QStringLiteral("a"), 1}}, QVariant::fromValue(QDBusObjectPath(daemonPath)),
        QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(1))))};
    for (const QVariant &value : values) {
        for (const char *option : {"update_interval", "background_update_interval", "keep_requests",
                 "enable_request_filter", "link", ""})
            QCOMPARE(scene.client.setOptions({{QString::fromLatin1(option), value}}).errorName(),
                QString());
    }
    scene.note(QStringLiteral("each is answered"));
    QVariantMap good;
    const QMap<QString, QString> settings = scene.settings();
    for (auto option = settings.cbegin(); option != settings.cend(); ++option)
        good.insert(option.key(), *option);
    QCOMPARE(scene.client.setOptions(good).errorName(), QString());
}

// Signals that claim to come from the bus daemon and from oFono.
void forgeSignals(Scene &scene)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    BusConnection other(scene.bus.address());
    const QString client = scene.client.uniqueName();
    const auto forge = [&](const QString &path, const QString &interface, const QString &name,
                           const QVariantList &arguments) {
        QDBusMessage forged = QDBusMessage::createTargetedSignal(daemonName, path, interface, name);
        forged.setArguments(arguments);
        QVERIFY(other->send(forged));
    };
    const QString busPath = QStringLiteral("/org/freedesktop/DBus");
    const QString busInterface = QStringLiteral("org.freedesktop.DBus");
    for (const QString &name : {client, QStringLiteral("org.ofono"), QStringLiteral("net.connman")})
        forge(busPath, busInterface, QStringLiteral("NameOwnerChanged"), {name, client, QString()});
    forge(QStringLiteral("/com/nokia/mce/signal"), QStringLiteral("com.nokia.mce.signal"),
        QStringLiteral("tklock_mode_ind"), {QStringLiteral("locked")});
    forge(QStringLiteral("/"), QStringLiteral("org.ofono.Manager"), QStringLiteral("ModemRemoved"),
        {QVariant::fromValue(QDBusObjectPath(QStringLiteral("/modem")))});
    QVERIFY(other->call(BusClient::makeCall(QStringLiteral("GetStatus"))).type()
        == QDBusMessage::ReplyMessage);
    QVERIFY(scene.seesRequest());
    QVERIFY(scene.seesRequest());
    QVERIFY(scene.web.lastRequest().contains(QLatin1String("mobileNetwork")));
    QVERIFY(scene.web.lastRequest().contains(QLatin1String("wifiAccessPoints")));
    QCOMPARE(scene.daemon.logCount(QStringLiteral("has left the bus")), 0);
    scene.note(QStringLiteral("they are ignored"));
}

void moveClock(Scene &scene, int offsetSeconds, bool betweenRuns)
{
    if (!scene.fakeClock())
        return;
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    if (betweenRuns) {
        const QString last = scene.client.position().text();
        scene.daemon.kill();
        scene.setClock(offsetSeconds);
        QVERIFY(scene.beginAsIs());
        QCOMPARE(scene.client.position().text(), last);
        scene.note(QStringLiteral("the next start has the last position"));
    }
    if (betweenRuns && offsetSeconds == -5 * minute) {
        QVERIFY(!scene.seesRequest(4s));
        scene.note(QStringLiteral("the first request waits until the clock has caught up with it"));
        return;
    }
    scene.setClock(offsetSeconds);
    QVERIFY(scene.seesPosition());
    QVERIFY(scene.seesPosition());
    const qint64 ahead = scene.client.position().timestamp - QDateTime::currentSecsSinceEpoch();
    QVERIFY2(qAbs(ahead - offsetSeconds) <= clockTolerance, qPrintable(QString::number(ahead)));
    scene.note(QStringLiteral("positions bear the time of the clock"));
}

} // namespace

QVector<Row> busRows()
{
    using Speed = Row::Speed;
    using After = Row::After;
    return {
        {QStringLiteral("the name is taken, by a first daemon"), startTwice},
        {QStringLiteral("no bus at start"), startWithoutBus, Speed::Quick, After::Ended},
        {QStringLiteral("the bus goes away"), loseBus, Speed::Slow, After::Ended},
        {QStringLiteral("clients vanish in the middle of calls"), vanishInCall},
        {QStringLiteral("1000 clients come and vanish"), addManyClients, Speed::Slow, After::Ended},
        {QStringLiteral("100 000 references of one client"), addManyReferences, Speed::Slow,
            After::Ended},
        {QStringLiteral("a flood of every method"), floodWithAll},
        {QStringLiteral("a flood of new keys"), floodWithKeys, Speed::Slow},
        {QStringLiteral("unknown methods, wrong signatures"), callWrongly},
        {QStringLiteral("values at the limits of their types"), callAtLimits},
        {QStringLiteral("forged signals"), forgeSignals},
    };
}

QVector<Row> clockRows()
{
    const QVector<QPair<QString, int>> moves{{QStringLiteral("forward by 5 minutes"), 5 * minute},
        {QStringLiteral("back by 5 minutes"), -5 * minute},
        {QStringLiteral("forward by 10 years"), 10 * year},
        {QStringLiteral("back by 10 years"), -10 * year}};
    QVector<Row> rows;
    for (const auto &move : moves) {
        const int offset = move.second;
        rows.append({QStringLiteral("set %1 while running").arg(move.first),
            [offset](Scene &scene) { moveClock(scene, offset, false); }});
        rows.append({QStringLiteral("set %1 between runs").arg(move.first),
            [offset](Scene &scene) { moveClock(scene, offset, true); }, Row::Speed::Quick,
            offset == -5 * minute ? Row::After::Answers : Row::After::Positions});
    }
    return rows;
}
