// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "privatebus.h"
#include "simulatedphone.h"
#include "waiting.h"

#include <dbusaccess_peer.h>
#include <networkmanager.h>
#include <networkservice.h>
#include <qmcetklock.h>
#include <qofonoextcell.h>
#include <qofonoextcellwatcher.h>

#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

namespace {

constexpr auto deadline = 10s;

const QString servingCellCall = QStringLiteral("GetServingCellInformation");
const QString neighboursCall = QStringLiteral("GetNeighbouringCellInformation");

QStringList collectedWarnings;

void collectWarning(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtWarningMsg)
        collectedWarnings.append(text);
}

// Bus properties from a text such as "CellId=u:17 Technology=s:lte".
QVariantMap properties(const char *text)
{
    QVariantMap result;
    const QStringList members = QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &member : members) {
        const QString name = member.section(QLatin1Char('='), 0, 0);
        const QString value = member.section(QLatin1Char(':'), 1);
        switch (member.at(name.size() + 1).toLatin1()) {
        case 'u':
            result.insert(name, value.toUInt());
            break;
        case 'q':
            result.insert(name, QVariant::fromValue(value.toUShort()));
            break;
        case 'y':
            result.insert(name, QVariant::fromValue(static_cast<uchar>(value.toUShort())));
            break;
        default:
            result.insert(name, value);
        }
    }
    return result;
}

SimulatedModem modem(
    const char *path, const char *servingCell, const QVector<QVariantMap> &neighbours = {})
{
    return {QString::fromLatin1(path), properties(servingCell), neighbours};
}

// Type, mcc, mnc, cid, lac, ci, tac and strength; "-" stands for unknown.
QString describe(const QOfonoExtCell &cell)
{
    QStringList words;
    for (const int figure : {cell.type(), cell.mcc(), cell.mnc(), cell.cid(), cell.lac(), cell.ci(),
             cell.tac(), cell.signalStrength()})
        words += figure == 2147483647 ? QStringLiteral("-") : QString::number(figure);
    return words.join(QLatin1Char(' '));
}

QString cellIds(QOfonoExtCellWatcher &watcher)
{
    QStringList ids;
    for (const auto &cell : watcher.cells())
        ids += QString::number(cell->cid());
    return ids.join(QLatin1Char(' '));
}

// Address and strength of each WLAN.
QString wlans(NetworkManager &manager)
{
    QStringList words;
    for (const NetworkService *service : manager.getAvailableServices(QStringLiteral("wifi")))
        words
            += QString(service->bssid() % QLatin1Char('@') % QString::number(service->strength()));
    return words.join(QLatin1Char(' '));
}

SimulatedObject object(const char *path, const char *text)
{
    return {QDBusObjectPath(QString::fromLatin1(path)), properties(text)};
}

} // namespace

class Platform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void cell_data();
    void cell();
    void neighbours();
    void modemsComeAndGo();
    void movingCells();
    void busyModem();
    void missingNeighbourCall_data();
    void missingNeighbourCall();
    void wlanList();
    void wlanChanges();
    void manyServices();
    void lockModes_data();
    void lockModes();
    void serviceLifecycle();
    void misbehaviour_data();
    void misbehaviour();
    void strangers();
    void peers();

private:
    // A name is free again some time after its owner has gone.
    bool waitForFreeNames() const;
    // The cells, WLANs and lock as seen now.
    QString seen() const;
    bool see(const QString &expected) const
    {
        return waitUntil([&] { return seen() == expected; }, deadline);
    }

    PrivateBus m_bus;
    std::unique_ptr<SimulatedPhone> m_phone;
    std::unique_ptr<QOfonoExtCellWatcher> m_cells;
    std::unique_ptr<NetworkManager> m_networks;
    std::unique_ptr<QMceTkLock> m_lock;
};

QString Platform::seen() const
{
    return cellIds(*m_cells) % QLatin1Char('|') % wlans(*m_networks) % QLatin1Char('|')
        % (m_lock->locked() ? QStringLiteral("locked") : QString());
}

void Platform::initTestCase()
{
    QVERIFY(m_bus.isRunning());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().toLatin1());
    QVERIFY(QDBusConnection::systemBus().isConnected());
}

void Platform::init()
{
    qInstallMessageHandler(collectWarning);
    m_phone = std::make_unique<SimulatedPhone>(m_bus.address());
    m_cells = std::make_unique<QOfonoExtCellWatcher>();
    m_networks = std::make_unique<NetworkManager>();
    m_lock = std::make_unique<QMceTkLock>();
    collectedWarnings.clear();
}

void Platform::cleanup()
{
    m_lock.reset();
    m_networks.reset();
    m_cells.reset();
    m_phone.reset();
    QVERIFY(waitForFreeNames());
}

bool Platform::waitForFreeNames() const
{
    return waitUntil(
        [] {
            auto *bus = QDBusConnection::systemBus().interface();
            return !bus->isServiceRegistered(QStringLiteral("org.ofono"))
                && !bus->isServiceRegistered(QStringLiteral("net.connman"))
                && !bus->isServiceRegistered(QStringLiteral("com.nokia.mce"));
        },
        deadline);
}

void Platform::cell_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *text, const char *expected) {
        QTest::newRow(text) << QString::fromUtf8(text) << QString::fromLatin1(expected);
    };

    row("Technology=s:lte MobileCountryCode=s:250 MobileNetworkCode=s:01 CellId=u:20051 "
        "TrackingAreaCode=q:7710 ReferenceSignalReceivedPower=y:46",
        "3 250 1 - - 20051 7710 95");
    row("Technology=s:umts MobileCountryCode=s:001 MobileNetworkCode=s:999 CellId=u:268435455 "
        "LocationAreaCode=q:65535 ReceivedSignalCodePower=y:30",
        "2 1 999 268435455 65535 - - 91");
    row("Technology=s:gsm MobileCountryCode=s:0 MobileNetworkCode=s:00 CellId=u:0 "
        "LocationAreaCode=q:0 TrackingAreaCode=q:9 ReceivedSignalStrength=y:26",
        "1 0 0 0 0 - 9 85");
    row("Technology=s:lte LocationAreaCode=q:3", "3 - - - 3 - - -");
    row("Technology=s:nr CellId=u:5 Strength=y:10", "0 - - 5 - - - 93");
    row("Technology=s:LTE", "0 - - - - - - -");
    row("Technology=u:3", "0 - - - - - - -");
    row("CellId=u:5", "0 - - 5 - - - -");

    row("Technology=s:lte ReferenceSignalReceivedPower=y:0", "3 - - - - - - 141");
    row("Technology=s:lte ReferenceSignalReceivedPower=y:97", "3 - - - - - - 44");
    row("Technology=s:lte ReferenceSignalReceivedPower=y:98", "3 - - - - - - -");
    row("Technology=s:umts ReceivedSignalCodePower=y:0", "2 - - - - - - 121");
    row("Technology=s:umts ReceivedSignalCodePower=y:96", "2 - - - - - - 25");
    row("Technology=s:umts ReceivedSignalCodePower=y:97", "2 - - - - - - -");
    row("Technology=s:gsm ReceivedSignalStrength=y:0", "1 - - - - - - 111");
    row("Technology=s:gsm ReceivedSignalStrength=y:63", "1 - - - - - - 48");
    row("Technology=s:gsm ReceivedSignalStrength=y:64", "1 - - - - - - -");
    row("Technology=s:gsm Strength=y:0", "1 - - - - - - 113");
    row("Technology=s:umts Strength=y:31", "2 - - - - - - 51");
    row("Technology=s:lte Strength=y:32", "3 - - - - - - -");
    row("Technology=s:lte Strength=y:99", "3 - - - - - - -");
    row("Technology=s:lte ReferenceSignalReceivedPower=y:40 Strength=y:1", "3 - - - - - - 101");
    row("Technology=s:gsm ReferenceSignalReceivedPower=y:40 Strength=y:1", "1 - - - - - - 111");
    row("Technology=s:gsm ReceivedSignalStrength=u:40", "1 - - - - - - -");

    row("MobileCountryCode=s:25x MobileNetworkCode=s:0x1", "0 - - - - - - -");
    row("MobileCountryCode=s:-1 MobileNetworkCode=s:+1", "0 - - - - - - -");
    row("MobileCountryCode=s: MobileNetworkCode=s:٢", "0 - - - - - - -");
    row("MobileCountryCode=s:99999999999 MobileNetworkCode=u:1", "0 - - - - - - -");
    row("CellId=u:2147483646 LocationAreaCode=u:7 TrackingAreaCode=s:7",
        "0 - - 2147483646 - - - -");
    row("Technology=s:lte CellId=u:2147483648", "3 - - - - - - -");
    row("CellId=u:4294967295", "0 - - - - - - -");
    row("CellId=q:17", "0 - - - - - - -");
}

void Platform::cell()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    m_phone->ofono.setModems({modem("/ril_0", text.toUtf8().constData())});
    QVERIFY(m_phone->ofono.start());
    QVERIFY(waitUntil([&] { return !m_cells->cells().isEmpty(); }, deadline));
    QCOMPARE(describe(*m_cells->cells().constFirst()), expected);
}

void Platform::neighbours()
{
    const auto neighbour = [](const char *text) { return properties(text); };
    m_phone->ofono.setModems({
        modem("/b", "Technology=s:gsm CellId=u:1 MobileCountryCode=s:250 MobileNetworkCode=s:02",
            {neighbour("Technology=s:gsm CellId=u:2"),
                neighbour("CellId=u:3 MobileCountryCode=s:262 MobileNetworkCode=s:1"),
                neighbour("CellId=u:4 MobileNetworkCode=s:x")}),
        modem("/a", "CellId=u:5", {neighbour("CellId=u:6")}),
    });
    QVERIFY(m_phone->ofono.start());
    QVERIFY(waitUntil([&] { return m_cells->cells().size() == 6; }, deadline));

    QStringList described;
    for (const auto &each : m_cells->cells())
        described += describe(*each);
    const QStringList expected{QStringLiteral("1 250 2 1 - - - -"),
        QStringLiteral("1 250 2 2 - - - -"), QStringLiteral("0 262 1 3 - - - -"),
        QStringLiteral("0 250 - 4 - - - -"), QStringLiteral("0 - - 5 - - - -"),
        QStringLiteral("0 - - 6 - - - -")};
    QCOMPARE(described, expected);
}

void Platform::modemsComeAndGo()
{
    SimulatedOfono &ofono = m_phone->ofono;
    const SimulatedModem first = modem("/ril_0", "CellId=u:1");
    const SimulatedModem second = modem("/ril_1", "CellId=u:2");
    ofono.setModems({first});
    QVERIFY(ofono.start());
    QVERIFY(see(QStringLiteral("1||")));
    ofono.setModems({first, second});
    QVERIFY(see(QStringLiteral("1 2||")));
    ofono.setModems({second});
    QVERIFY(see(QStringLiteral("2||")));

    SimulatedModem offline = second;
    offline.interfaces = QStringList{QStringLiteral("org.ofono.VoiceCallManager")};
    ofono.setModems({offline});
    QVERIFY(see(QStringLiteral("||")));
    ofono.setModems({second});
    QVERIFY(see(QStringLiteral("2||")));
}

void Platform::movingCells()
{
    SimulatedOfono &ofono = m_phone->ofono;
    ofono.setModems({modem("/ril_0", "CellId=u:1", {properties("CellId=u:2")})});
    QVERIFY(ofono.start());
    QVERIFY(see(QStringLiteral("1 2||")));

    // The registration tells; nobody asks for the cells meanwhile.
    const int asked = ofono.callCount(servingCellCall);
    ofono.setModems({modem("/ril_0", "CellId=u:3", {properties("CellId=u:4")})});
    QVERIFY(waitUntil([&] { return ofono.callCount(neighboursCall) > asked; }, deadline));
    QVERIFY(see(QStringLiteral("3 4||")));

    // Nothing is announced; the question itself has the modem asked again.
    ofono.setModems({modem("/ril_0", "CellId=u:3", {properties("CellId=u:5")})});
    QVERIFY(see(QStringLiteral("3 5||")));
}

void Platform::busyModem()
{
    SimulatedOfono &ofono = m_phone->ofono;
    ofono.setModems({modem("/ril_0", "CellId=u:1", {properties("CellId=u:2")})});
    QVERIFY(ofono.start());
    QVERIFY(see(QStringLiteral("1 2||")));

    for (const QString &call : {servingCellCall, neighboursCall}) {
        ofono.answerError(call, QStringLiteral("org.ofono.Error.InProgress"));
        const int asked = ofono.callCount(call);
        QVERIFY(waitUntil(
            [&] { return !m_cells->cells().isEmpty() && ofono.callCount(call) > asked + 3; },
            deadline));
        QCOMPARE(cellIds(*m_cells), QStringLiteral("1 2"));
        ofono.behave(call);
    }
    ofono.setModems({modem("/ril_0", "CellId=u:3")});
    QVERIFY(see(QStringLiteral("3||")));
    QCOMPARE(collectedWarnings, QStringList());
}

void Platform::missingNeighbourCall_data()
{
    QTest::addColumn<QString>("error");
    QTest::newRow("not implemented") << QStringLiteral("org.ofono.Error.NotImplemented");
    QTest::newRow("unknown") << QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod");
}

void Platform::missingNeighbourCall()
{
    QFETCH(QString, error);
    SimulatedOfono &ofono = m_phone->ofono;
    ofono.answerError(neighboursCall, error);
    ofono.setModems({modem("/ril_0", "CellId=u:1", {properties("CellId=u:2")})});
    QVERIFY(ofono.start());
    QVERIFY(waitUntil(
        [&] { return !cellIds(*m_cells).isEmpty() && ofono.callCount(neighboursCall) > 3; },
        deadline));
    QCOMPARE(cellIds(*m_cells), QStringLiteral("1"));
    QCOMPARE(collectedWarnings, QStringList());
}

void Platform::wlanList()
{
    m_phone->connMan.setServices({
        object("/c", "Type=s:wifi BSSID=s:cc:01 Strength=y:255"),
        object("/e", "Type=s:ethernet BSSID=s:ee Strength=y:100"),
        object("/a", "Type=s:wifi BSSID=s:Aa Strength=y:0"),
        object("/n", "Type=s:wifi"),
        object("/w", "Type=s:wifi BSSID=u:7 Strength=u:8"),
        object("/u", "BSSID=s:uu Strength=y:3"),
    });
    QVERIFY(m_phone->connMan.start());
    QVERIFY(waitUntil([&] { return !wlans(*m_networks).isEmpty(); }, deadline));
    QCOMPARE(wlans(*m_networks), QStringLiteral("cc:01@255 Aa@0 @0 @0"));
    QCOMPARE(m_networks->getAvailableServices(QStringLiteral("ethernet")).size(), 1);
    QCOMPARE(m_networks->getAvailableServices(QStringLiteral("cellular")).size(), 0);
}

void Platform::wlanChanges()
{
    SimulatedConnMan &connMan = m_phone->connMan;
    const SimulatedObject a = object("/a", "Type=s:wifi BSSID=s:a Strength=y:10");
    const SimulatedObject b = object("/b", "Type=s:wifi BSSID=s:b Strength=y:20");
    SimulatedObject c = object("/c", "Type=s:wifi BSSID=s:c Strength=y:30");
    connMan.setServices({a, b});
    QVERIFY(connMan.start());
    QVERIFY(see(QStringLiteral("|a@10 b@20|")));

    connMan.setServices({c, b, a}); // lists a and b without any property
    QVERIFY(see(QStringLiteral("|c@30 b@20 a@10|")));
    c.properties.insert(QStringLiteral("Strength"), QVariant::fromValue<uchar>(31));
    connMan.setServices({a, c});
    QVERIFY(see(QStringLiteral("|a@10 c@31|")));
    connMan.changeProperty(
        QStringLiteral("/a"), QStringLiteral("Strength"), QVariant::fromValue<uchar>(77));
    QVERIFY(see(QStringLiteral("|a@77 c@31|")));
    connMan.changeProperty(QStringLiteral("/a"), QStringLiteral("BSSID"), QStringLiteral("A"));
    QVERIFY(see(QStringLiteral("|A@77 c@31|")));
    connMan.changeProperty(QStringLiteral("/c"), QStringLiteral("Strength"), QStringLiteral("x"));
    QVERIFY(see(QStringLiteral("|A@77 c@0|")));
    connMan.setServices({});
    QVERIFY(see(QStringLiteral("||")));
    QCOMPARE(connMan.callCount(QStringLiteral("GetServices")), 1);
}

void Platform::manyServices()
{
    constexpr int count = 10000;
    SimulatedObjects services;
    SimulatedObjects reversed;
    for (int i = 0; i < count; ++i) {
        const QString path = QStringLiteral("/net/connman/service/wifi_%1").arg(i);
        services.append(SimulatedConnMan::wlan(path, QString::number(i), 1 + i % 100));
        reversed.prepend({QDBusObjectPath(path), {}});
    }
    m_phone->connMan.setServices(services);
    QVERIFY(m_phone->connMan.start());
    const QString wifi = QStringLiteral("wifi");
    QVERIFY(waitUntil(
        [&] { return m_networks->getAvailableServices(wifi).size() == count; }, deadline));
    m_phone->connMan.emitSignal(QStringLiteral("/"), QStringLiteral("net.connman.Manager"),
        QStringLiteral("ServicesChanged"),
        {QVariant::fromValue(reversed), QVariant::fromValue(QList<QDBusObjectPath>())});
    QVERIFY(waitUntil(
        [&] {
            return m_networks->getAvailableServices(wifi).constFirst()->bssid()
                == QString::number(count - 1);
        },
        deadline));
    const auto available = m_networks->getAvailableServices(wifi);
    QCOMPARE(available.size(), count);
    QCOMPARE(available.at(count - 1 - 4321)->bssid(), QStringLiteral("4321"));
    QCOMPARE(available.at(count - 1 - 4321)->strength(), 22U);
}

void Platform::lockModes_data()
{
    QTest::addColumn<bool>("locked");
    for (const char *mode :
        {"locked", "locked-dim", "locked-delay", "silent-locked", "silent-locked-dim"})
        QTest::newRow(mode) << true;
    for (const char *mode : {"silent-unlocked", "LOCKED", "locked ", "unknown", ""})
        QTest::newRow(mode) << false;
}

void Platform::lockModes()
{
    QFETCH(bool, locked);
    const QString mode = QString::fromLatin1(QTest::currentDataTag());
    QSignalSpy changes(m_lock.get(), &QMceTkLock::lockedChanged);

    // Found at the start, then told by a signal, with another state between.
    m_phone->mce.setLockMode(mode);
    QVERIFY(m_phone->mce.start());
    QVERIFY(waitUntil(
        [&] {
            return locked ? m_lock->locked()
                          : m_phone->mce.callCount(QStringLiteral("get_tklock_mode")) > 0;
        },
        deadline));
    m_phone->mce.setLockMode(locked ? QStringLiteral("unlocked") : QStringLiteral("locked"));
    QVERIFY(waitUntil([&] { return m_lock->locked() != locked; }, deadline));
    m_phone->mce.setLockMode(mode);
    QVERIFY(waitUntil([&] { return m_lock->locked() == locked; }, deadline));
    QCOMPARE(changes.count(), locked ? 3 : 2);
}

void Platform::serviceLifecycle()
{
    const auto fill = [this](const char *cellId, const char *wlan, const char *lockMode) {
        m_phone->ofono.setModems({modem("/ril_0", cellId)});
        m_phone->connMan.setServices({object("/w", wlan)});
        m_phone->mce.setLockMode(QString::fromLatin1(lockMode));
    };
    fill("CellId=u:1", "Type=s:wifi BSSID=s:a Strength=y:10", "locked");
    QCOMPARE(seen(), QStringLiteral("||"));
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("1|a@10|locked")));

    m_phone->ofono.stop();
    QVERIFY(see(QStringLiteral("|a@10|locked")));
    m_phone->connMan.stop();
    QVERIFY(see(QStringLiteral("||locked")));
    m_phone->mce.stop();
    QVERIFY(see(QStringLiteral("||")));
    // Less is told the second time: nothing of the past may shine through.
    fill("Strength=y:1", "Type=s:wifi", "silent-locked");
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("2147483647|@0|locked")));
}

void Platform::misbehaviour_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("meanwhile");
    const struct
    {
        const char *method;
        const char *meanwhile;
    } calls[] = {{"GetModems", "|a@10|locked"}, {"GetServingCellInformation", "|a@10|locked"},
        {"GetNeighbouringCellInformation", "1|a@10|locked"}, {"GetServices", "1 2||locked"},
        {"get_tklock_mode", "1 2|a@10|"}};
    for (const auto &call : calls) {
        for (const char *how : {"error", "wrong type", "no value", "silence"})
            QTest::addRow("%s: %s", call.method, how)
                << QString::fromLatin1(call.method) << QString::fromLatin1(call.meanwhile);
    }
}

void Platform::misbehaviour()
{
    QFETCH(QString, method);
    QFETCH(QString, meanwhile);
    m_phone->ofono.setModems({modem("/ril_0", "CellId=u:1", {properties("CellId=u:2")})});
    m_phone->connMan.setServices({object("/w", "Type=s:wifi BSSID=s:a Strength=y:10")});
    m_phone->mce.setLockMode(QStringLiteral("locked"));
    const QByteArray how = QByteArray(QTest::currentDataTag()).split(':').last().trimmed();
    const QVector<SimulatedService *> services{&m_phone->ofono, &m_phone->connMan, &m_phone->mce};
    for (SimulatedService *service : services) {
        if (how == "error")
            service->answerError(method, QStringLiteral("org.example.Error.Broken"));
        else if (how == "silence")
            service->neverAnswer(method);
        else
            service->answerWith(method, how == "no value" ? QVariantList() : QVariantList{17U});
    }
    QVERIFY(m_phone->start());
    const auto calls = [&] {
        int count = 0;
        for (const SimulatedService *service : services)
            count += service->callCount(method);
        return count;
    };
    QVERIFY(waitUntil([&] { return calls() > 0 && seen() == meanwhile; }, deadline));
    const bool warned = waitUntil([&] { return !collectedWarnings.isEmpty(); },
        how == "silence" ? 0ms : std::chrono::milliseconds(deadline));
    QCOMPARE(warned, how != "silence");
    QCOMPARE(seen(), meanwhile);
    QVERIFY(collectedWarnings.size() <= 1);

    for (SimulatedService *service : services) {
        service->stop();
        service->behave(method);
    }
    QVERIFY(waitForFreeNames());
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("1 2|a@10|locked")));
}

void Platform::strangers()
{
    m_phone->ofono.setModems({modem("/ril_0", "CellId=u:1")});
    m_phone->connMan.setServices({object("/w", "Type=s:wifi BSSID=s:a Strength=y:10")});
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("1|a@10|")));

    // One that has no name, then the services themselves with the wrong arguments.
    BusConnection stranger(m_bus.address());
    const auto send = [&](const char *path, const char *interface, const char *name,
                          const QVariantList &arguments, const QVariantList &wrongArguments,
                          SimulatedService &owner) {
        QDBusMessage signal = QDBusMessage::createSignal(
            QString::fromLatin1(path), QString::fromLatin1(interface), QString::fromLatin1(name));
        signal.setArguments(arguments);
        stranger->send(signal);
        owner.emitSignal(signal.path(), signal.interface(), signal.member(), wrongArguments);
    };
    const auto strength = QVariant::fromValue(QDBusVariant(QVariant::fromValue<uchar>(99)));
    const auto path = QVariant::fromValue(QDBusObjectPath(QStringLiteral("/ril_0")));
    const QString text = QStringLiteral("Strength");
    send("/com/nokia/mce/signal", "com.nokia.mce.signal", "tklock_mode_ind",
        {QStringLiteral("locked")}, {QStringLiteral("locked"), 1}, m_phone->mce);
    send("/w", "net.connman.Service", "PropertyChanged", {text, strength}, {text, 99},
        m_phone->connMan);
    send("/", "net.connman.Manager", "ServicesChanged",
        {QVariant::fromValue(SimulatedObjects()), QVariant::fromValue(QList<QDBusObjectPath>())},
        {QVariant::fromValue(SimulatedObjects())}, m_phone->connMan);
    send("/", "org.ofono.Manager", "ModemRemoved", {path}, {text}, m_phone->ofono);

    // Whatever comes after this has overtaken none of the above.
    QVERIFY(stranger->interface()->isServiceRegistered(QStringLiteral("org.ofono")));
    m_phone->ofono.setModems({modem("/ril_0", "CellId=u:2")});
    m_phone->connMan.changeProperty(
        QStringLiteral("/w"), QStringLiteral("BSSID"), QStringLiteral("b"));
    m_phone->mce.setLockMode(QStringLiteral("locked-dim"));
    QSignalSpy changes(m_lock.get(), &QMceTkLock::lockedChanged);
    QVERIFY(see(QStringLiteral("2|b@10|locked")));
    QCOMPARE(changes.count(), 1);
}

void Platform::peers()
{
    auto client = std::make_unique<BusConnection>(m_bus.address());
    const QByteArray name = (*client)->baseService().toLatin1();
    const DAPeer *peer = da_peer_get(DA_BUS_SYSTEM, name.constData());
    QVERIFY(peer != nullptr);
    QCOMPARE(peer->pid, static_cast<pid_t>(QCoreApplication::applicationPid()));
    QCOMPARE(da_peer_get(DA_BUS_SYSTEM, ":1.999999"), static_cast<DAPeer *>(nullptr));

    client.reset();
    QVERIFY(waitUntil(
        [&] {
            auto *bus = QDBusConnection::systemBus().interface();
            return !bus->isServiceRegistered(QString::fromLatin1(name));
        },
        deadline));
    QVERIFY(da_peer_get(DA_BUS_SYSTEM, name.constData()) != nullptr);
    da_peer_flush(DA_BUS_SYSTEM, name.constData());
    QCOMPARE(da_peer_get(DA_BUS_SYSTEM, name.constData()), static_cast<DAPeer *>(nullptr));
}

QTEST_GUILESS_MAIN(Platform)

#include "platform.moc"
