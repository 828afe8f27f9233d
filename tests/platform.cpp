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

QVariantMap properties(const char *text)
{
    return busDictionary(QByteArray(text).split(' '));
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

    void cells();
    void neighbours();
    void modems();
    void failingModem_data();
    void failingModem();
    void failingListings();
    void wlanServices();
    void lockModes();
    void serviceLifecycle();
    void wrongArguments();
    void peers();

private:
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
    // A name is free again some time after its owner has gone.
    auto *bus = QDBusConnection::systemBus().interface();
    for (const char *name : {"org.ofono", "net.connman", "com.nokia.mce"})
        QVERIFY(waitUntil(
            [&] { return !bus->isServiceRegistered(QString::fromLatin1(name)); }, deadline));
}

// Each from a modem of its own.
void Platform::cells()
{
    const struct
    {
        const char *text;
        const char *expected;
    } rows[] = {
        {"Technology s lte MobileCountryCode s 250 MobileNetworkCode s 01 CellId u 20051 "
         "TrackingAreaCode q 7710 ReferenceSignalReceivedPower y 46",
            "3 250 1 - - 20051 7710 95"},
        {"Technology s umts MobileCountryCode s 001 MobileNetworkCode s 999 CellId u 268435455 "
         "LocationAreaCode q 65535 ReceivedSignalCodePower y 30",
            "2 1 999 268435455 65535 - - 91"},
        {"Technology s gsm MobileCountryCode s 0 MobileNetworkCode s 00 CellId u 0 "
         "LocationAreaCode q 0 TrackingAreaCode q 9 ReceivedSignalStrength y 26",
            "1 0 0 0 0 - 9 85"},
        {"Technology s nr CellId u 5 Strength y 10", "0 - - 5 - - - 93"},
        {"Technology s LTE", "0 - - - - - - -"},
        {"Technology u 3", "0 - - - - - - -"},
        {"Technology s lte ReferenceSignalReceivedPower y 0", "3 - - - - - - 141"},
        {"Technology s lte ReferenceSignalReceivedPower y 97", "3 - - - - - - 44"},
        {"Technology s lte ReferenceSignalReceivedPower y 98 Strength y 1", "3 - - - - - - -"},
        {"Technology s umts ReceivedSignalCodePower y 96", "2 - - - - - - 25"},
        {"Technology s umts ReceivedSignalCodePower y 97", "2 - - - - - - -"},
        {"Technology s gsm ReceivedSignalStrength y 63", "1 - - - - - - 48"},
        {"Technology s gsm ReceivedSignalStrength y 64", "1 - - - - - - -"},
        {"Technology s gsm ReceivedSignalStrength u 40 Strength y 1", "1 - - - - - - -"},
        {"Technology s gsm Strength y 0", "1 - - - - - - 113"},
        {"Technology s umts Strength y 31", "2 - - - - - - 51"},
        {"Technology s lte Strength y 32", "3 - - - - - - -"},
        {"Technology s gsm ReferenceSignalReceivedPower y 40 Strength y 1", "1 - - - - - - 111"},
        {"MobileCountryCode s 25x MobileNetworkCode s 0x1", "0 - - - - - - -"},
        {"MobileCountryCode s -1 MobileNetworkCode s +1", "0 - - - - - - -"},
        {"MobileCountryCode s  MobileNetworkCode s ٢", "0 - - - - - - -"},
        {"MobileCountryCode s 99999999999 MobileNetworkCode u 1", "0 - - - - - - -"},
        {"CellId u 2147483646 LocationAreaCode u 7 TrackingAreaCode s 7",
            "0 - - 2147483646 - - - -"},
        {"Technology s lte CellId u 2147483648", "3 - - - - - - -"},
        {"CellId q 17", "0 - - - - - - -"},
    };
    QVector<SimulatedModem> modems;
    for (const auto &row : rows)
        modems.append(modem(qPrintable(QStringLiteral("/m%1").arg(modems.size())), row.text));
    m_phone->ofono.setModems(modems);
    QVERIFY(m_phone->ofono.start());
    QVERIFY(waitUntil([&] { return m_cells->cells().size() == modems.size(); }, deadline));
    int index = 0;
    for (const auto &row : rows)
        QVERIFY2(describe(*m_cells->cells().at(index++)) == QLatin1String(row.expected), row.text);
}

void Platform::neighbours()
{
    m_phone->ofono.setModems({
        modem("/b", "Technology s gsm CellId u 1 MobileCountryCode s 250 MobileNetworkCode s 02",
            {properties("Technology s gsm CellId u 2"),
                properties("CellId u 3 MobileCountryCode s 262 MobileNetworkCode s 1"),
                properties("CellId u 4 MobileCountryCode u 262 MobileNetworkCode s x")}),
        modem("/a", "CellId u 5", {properties("CellId u 6")}),
    });
    QVERIFY(m_phone->ofono.start());
    QVERIFY(waitUntil([&] { return m_cells->cells().size() == 6; }, deadline));

    QStringList described;
    for (const auto &each : m_cells->cells())
        described += describe(*each);
    QCOMPARE(described.join(QLatin1String(", ")),
        QStringLiteral("1 250 2 1 - - - -, 1 250 2 2 - - - -, 0 262 1 3 - - - -, "
                       "0 - - 4 - - - -, 0 - - 5 - - - -, 0 - - 6 - - - -"));
}

void Platform::modems()
{
    SimulatedOfono &ofono = m_phone->ofono;
    const SimulatedModem first = modem("/ril_0", "CellId u 1", {properties("CellId u 2")});
    const SimulatedModem second = modem("/ril_1", "CellId u 9");
    ofono.setModems({first});
    QVERIFY(ofono.start());
    QVERIFY(see(QStringLiteral("1 2||")));
    ofono.setModems({first, second});
    QVERIFY(see(QStringLiteral("1 2 9||")));
    ofono.setModems({second});
    QVERIFY(see(QStringLiteral("9||")));
    ofono.setModems({first});
    QVERIFY(see(QStringLiteral("1 2||")));
    SimulatedModem offline = first;
    offline.interfaces = QStringList{QStringLiteral("org.ofono.VoiceCallManager")};
    ofono.setModems({offline});
    QVERIFY(see(QStringLiteral("||")));
    ofono.setModems({first});
    QVERIFY(see(QStringLiteral("1 2||")));

    // The registration tells; nobody asks for the cells meanwhile.
    const int asked = ofono.callCount(neighboursCall);
    ofono.setModems({modem("/ril_0", "CellId u 3", {properties("CellId u 4")})});
    QVERIFY(waitUntil([&] { return ofono.callCount(neighboursCall) > asked; }, deadline));
    QVERIFY(see(QStringLiteral("3 4||")));
    // Nothing is announced; the question itself has the modem asked again.
    ofono.setModems({modem("/ril_0", "CellId u 3", {properties("CellId u 5")})});
    QVERIFY(see(QStringLiteral("3 5||")));
}

void Platform::failingModem_data()
{
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("warnings");
    for (const bool serving : {true, false}) {
        const QString call = serving ? servingCellCall : neighboursCall;
        const auto row = [&call](const char *error, const char *expected, int warnings) {
            QTest::addRow("%s %s", qPrintable(call), error)
                << QString::fromLatin1(expected) << warnings;
        };
        row("org.ofono.Error.InProgress", "1 2", 0);
        row("org.example.Error.Broken", serving ? "" : "1", 1);
        row("", serving ? "" : "1", 1); // an answer of a wrong type
    }
    QTest::newRow("GetNeighbouringCellInformation org.ofono.Error.NotImplemented")
        << QStringLiteral("1") << 0;
    QTest::newRow("GetNeighbouringCellInformation org.freedesktop.DBus.Error.UnknownMethod")
        << QStringLiteral("1") << 0;
}

void Platform::failingModem()
{
    QFETCH(QString, expected);
    QFETCH(int, warnings);
    const QString tag = QString::fromLatin1(QTest::currentDataTag());
    const QString call = tag.section(QLatin1Char(' '), 0, 0);
    const QString error = tag.section(QLatin1Char(' '), 1);
    SimulatedOfono &ofono = m_phone->ofono;
    ofono.setModems({modem("/ril_0", "CellId u 1", {properties("CellId u 2")})});
    QVERIFY(ofono.start());
    QVERIFY(see(QStringLiteral("1 2||")));

    if (error.isEmpty())
        ofono.answerWith(call, {17U});
    else
        ofono.answerError(call, error);
    const int asked = ofono.callCount(call);
    const auto stays
        = [&] { return cellIds(*m_cells) == expected && ofono.callCount(call) > asked + 3; };
    QVERIFY(waitUntil(stays, deadline));
    QCOMPARE(collectedWarnings.size(), warnings);
    ofono.behave(call);
    QVERIFY(see(QStringLiteral("1 2||")));
}

// The next look at the cells and WLANs asks for them once more.
void Platform::failingListings()
{
    const QString getModems = QStringLiteral("GetModems");
    const QString getServices = QStringLiteral("GetServices");
    m_phone->ofono.setModems({modem("/ril_0", "CellId u 1")});
    m_phone->connMan.setServices({object("/w", "Type s wifi BSSID s a Strength y 10")});
    m_phone->ofono.answerError(getModems, QStringLiteral("org.example.Error.Broken"));
    m_phone->connMan.answerWith(getServices, {17U});
    QVERIFY(m_phone->start());
    const auto areAskedAgain = [&] {
        return seen() == QLatin1String("||") && m_phone->ofono.callCount(getModems) > 3
            && m_phone->connMan.callCount(getServices) > 3;
    };
    QVERIFY(waitUntil(areAskedAgain, deadline));
    QCOMPARE(collectedWarnings.size(), 2);
    m_phone->ofono.behave(getModems);
    m_phone->connMan.behave(getServices);
    QVERIFY(see(QStringLiteral("1|a@10|")));
}

void Platform::wlanServices()
{
    SimulatedConnMan &connMan = m_phone->connMan;
    const SimulatedObject a = object("/a", "Type s wifi BSSID s a Strength y 10");
    const SimulatedObject b = object("/b", "Type s wifi BSSID s b Strength y 20");
    SimulatedObject c = object("/c", "Type s wifi BSSID s c Strength y 30");
    connMan.setServices({a, object("/e", "Type s ethernet BSSID s ee Strength y 100"), b,
        object("/n", "Type s wifi"), object("/w", "Type s wifi BSSID u 7 Strength u 8"),
        object("/u", "BSSID s uu Strength y 3")});
    QVERIFY(connMan.start());
    QVERIFY(see(QStringLiteral("|a@10 b@20 @0 @0|")));
    QCOMPARE(m_networks->getAvailableServices(QStringLiteral("ethernet")).size(), 1);

    connMan.setServices({c, b, a}); // lists a and b without any property
    QVERIFY(see(QStringLiteral("|c@30 b@20 a@10|")));
    c.properties.insert(QStringLiteral("Strength"), QVariant::fromValue<uchar>(31));
    connMan.setServices({a, c});
    QVERIFY(see(QStringLiteral("|a@10 c@31|")));
    connMan.changeProperty(
        QStringLiteral("/a"), QStringLiteral("Strength"), QVariant::fromValue<uchar>(77));
    QVERIFY(see(QStringLiteral("|a@77 c@31|")));
    connMan.changeProperty(QStringLiteral("/c"), QStringLiteral("Strength"), QStringLiteral("x"));
    QVERIFY(see(QStringLiteral("|a@77 c@0|")));
    connMan.setServices({});
    QVERIFY(see(QStringLiteral("||")));
    QCOMPARE(connMan.callCount(QStringLiteral("GetServices")), 1);
}

void Platform::lockModes()
{
    QVERIFY(m_phone->mce.start());
    const auto becomes = [this](const char *mode, bool locked) {
        m_phone->mce.setLockMode(QString::fromLatin1(mode));
        return waitUntil([&] { return m_lock->locked() == locked; }, deadline);
    };
    for (const char *mode :
        {"locked", "locked-dim", "locked-delay", "silent-locked", "silent-locked-dim"})
        QVERIFY2(becomes(mode, true) && becomes("unlocked", false), mode);
    for (const char *mode : {"silent-unlocked", "LOCKED", "locked ", "unknown", ""})
        QVERIFY2(becomes("locked", true) && becomes(mode, false), mode);
}

void Platform::serviceLifecycle()
{
    const auto fill = [this](const char *cellId, const char *wlan, const char *lockMode) {
        m_phone->ofono.setModems({modem("/ril_0", cellId)});
        m_phone->connMan.setServices({object("/w", wlan)});
        m_phone->mce.setLockMode(QString::fromLatin1(lockMode));
    };
    fill("CellId u 1", "Type s wifi BSSID s a Strength y 10", "locked");
    QCOMPARE(seen(), QStringLiteral("||"));
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("1|a@10|locked")));

    m_phone->ofono.stop();
    m_phone->connMan.stop();
    m_phone->mce.stop();
    QVERIFY(see(QStringLiteral("||")));
    // Less is told the second time: nothing of the past may shine through.
    fill("Strength y 1", "Type s wifi", "silent-locked");
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("2147483647|@0|locked")));
}

void Platform::wrongArguments()
{
    m_phone->ofono.setModems({modem("/ril_0", "CellId u 1")});
    m_phone->connMan.setServices({object("/w", "Type s wifi BSSID s a Strength y 10")});
    QVERIFY(m_phone->start());
    QVERIFY(see(QStringLiteral("1|a@10|")));

    const auto send = [](SimulatedService &service, const char *path, const char *interface,
                          const char *name, const QVariantList &arguments) {
        service.emitSignal(QString::fromLatin1(path), QString::fromLatin1(interface),
            QString::fromLatin1(name), arguments);
    };
    const QString text = QStringLiteral("Strength");
    send(m_phone->mce, "/com/nokia/mce/signal", "com.nokia.mce.signal", "tklock_mode_ind",
        {QStringLiteral("locked"), 1});
    send(m_phone->connMan, "/w", "net.connman.Service", "PropertyChanged", {text, 99});
    send(m_phone->connMan, "/", "net.connman.Manager", "ServicesChanged",
        {QVariant::fromValue(SimulatedObjects())});
    send(m_phone->ofono, "/", "org.ofono.Manager", "ModemRemoved", {text});
    // Whatever comes after this has overtaken none of the above.
    m_phone->ofono.setModems({modem("/ril_0", "CellId u 2")});
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
    auto *bus = QDBusConnection::systemBus().interface();
    QVERIFY(
        waitUntil([&] { return !bus->isServiceRegistered(QString::fromLatin1(name)); }, deadline));
    QVERIFY(da_peer_get(DA_BUS_SYSTEM, name.constData()) != nullptr);
    da_peer_flush(DA_BUS_SYSTEM, name.constData());
    QCOMPARE(da_peer_get(DA_BUS_SYSTEM, name.constData()), static_cast<DAPeer *>(nullptr));
}

QTEST_GUILESS_MAIN(Platform)

#include "platform.moc"
