// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faults.h"
#include "fixture.h"
#include "simulatedtypes.h"
#include "waiting.h"

#include <networkmanager.h>
#include <networkservice.h>
#include <qmcetklock.h>
#include <qofonoextcell.h>
#include <qofonoextcellwatcher.h>

#include <QDBusConnectionInterface>
#include <QSignalSpy>
#include <QTest>

#include <map>

using namespace std::chrono_literals;

namespace {

constexpr int deadlineMs = 20000;
const QString locked = "locked";
const QString cellCall = "GetServingCellInformation";

QVariantMap properties(const QString &text)
{
    return busDictionary(text.toUtf8().split(' '));
}

SimulatedObject wlan(const QString &path, const QString &text)
{
    return {QDBusObjectPath(path), properties("Type s wifi " + text)};
}

SimulatedModem modem(
    const QString &path, const QString &cell, const QVector<QVariantMap> &neighbours = {})
{
    return {path, properties(cell), neighbours};
}

/// Type, mcc, mnc, cid, lac, ci, tac and strength of each; "-" stands for unknown.
QStringList describe(const QList<QSharedPointer<QOfonoExtCell>> &cells)
{
    QStringList all;
    for (const auto &cell : cells) {
        QStringList words;
        for (const int figure : {cell->type(), cell->mcc(), cell->mnc(), cell->cid(), cell->lac(),
                 cell->ci(), cell->tac(), cell->signalStrength()})
            words += figure == 2147483647 ? "-" : QString::number(figure);
        all += words.join(' ');
    }
    return all;
}

/// Returns once the bus has passed it on.
void send(const QDBusConnection &connection, const QDBusMessage &message)
{
    connection.send(message);
    connection.interface()->isServiceRegistered("org.ofono");
}

/// An MCE that takes a call and does not answer by itself.
class SlowMce : public SimulatedMce
{
public:
    using SimulatedMce::SimulatedMce;
    QDBusMessage call;

protected:
    bool answer(const QDBusMessage &received) override
    {
        call = received;
        return true;
    }
};

} // namespace

class Platform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void cells();
    void modems();
    void wlans();
    void lock();
    void forgedSignals();
    void formerOwner();
    void failingServices();

private:
    /// Cell IDs, WLANs with their strengths, and the lock.
    QString seen();
    bool becomes(const QString &expected);

    PrivateBus m_bus;
    SimulatedPhone m_phone{m_bus.address()};
    QOfonoExtCellWatcher m_cells;
    NetworkManager m_networks;
    QMceTkLock m_lock;
};

QString Platform::seen()
{
    QStringList words;
    for (const auto &cell : m_cells.cells())
        words += QString::number(cell->cid());
    for (const NetworkService *each : m_networks.getAvailableServices("wifi"))
        words += QString("%1@%2").arg(each->bssid()).arg(each->strength());
    if (m_lock.locked())
        words += locked;
    return words.join(' ');
}

bool Platform::becomes(const QString &expected)
{
    const bool seenInTime = waitUntil([&] { return seen() == expected; }, longDeadline);
    if (!seenInTime)
        qWarning() << seen() << "instead of" << expected;
    return seenInTime;
}

void Platform::initTestCase()
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().toLatin1());
    QVERIFY(m_phone.start());
}

void Platform::init()
{
    m_phone.ofono.setModems({});
    m_phone.connMan.setServices({});
    m_phone.mce.setLockMode("unlocked");
    QVERIFY(becomes(""));
}

// Each row is the serving cell of a modem.
void Platform::cells()
{
    const QVector<QPair<const char *, const char *>> rows{
        {"Technology s lte MobileCountryCode s 250 MobileNetworkCode s 01 CellId u 20051 "
         "TrackingAreaCode q 7710 ReferenceSignalReceivedPower y 97",
            "3 250 1 - - 20051 7710 44"},
        {"Technology s umts MobileCountryCode s 001 MobileNetworkCode s 999 CellId u 268435455 "
         "LocationAreaCode q 65535 ReceivedSignalCodePower y 96",
            "2 1 999 268435455 65535 - - 25"},
        {"Technology s gsm MobileCountryCode s 0 MobileNetworkCode s 00 CellId u 0 "
         "LocationAreaCode q 0 TrackingAreaCode q 9 ReceivedSignalStrength y 63",
            "1 0 0 0 0 - 9 48"},
        {"Technology s nr CellId u 2147483646 Strength y 31", "0 - - 2147483646 - - - 51"},
        {"Technology s gsm ReceivedSignalCodePower y 40 Strength y 0", "1 - - - - - - 113"},
        {"Technology u 3 MobileCountryCode s 99999999999 MobileNetworkCode s +1 Strength y 32",
            "0 - - - - - - -"},
    };
    QVector<SimulatedModem> modems;
    QStringList expected;
    for (const auto &[cell, figures] : rows) {
        modems.append(modem(QString("/m%1").arg(modems.size()), cell));
        expected += figures;
    }
    // A neighbour has the network of its serving cell unless it tells one.
    const QString serving = "CellId u 1 MobileCountryCode s 250 MobileNetworkCode s 02";
    modems += modem("/n", serving, {properties("CellId u 2")});
    modems += modem("/o", serving, {properties("MobileCountryCode s 262 MobileNetworkCode u 1")});
    expected
        += {"0 250 2 1 - - - -", "0 250 2 2 - - - -", "0 250 2 1 - - - -", "0 262 - - - - - -"};
    m_phone.ofono.setModems(modems);
    QTRY_COMPARE_WITH_TIMEOUT(describe(m_cells.cells()), expected, deadlineMs);
}

void Platform::modems()
{
    SimulatedOfono &ofono = m_phone.ofono;
    const SimulatedModem first = modem("/ril_0", "CellId u 1", {properties("CellId u 2")});
    const SimulatedModem other = modem("/ril_0", "CellId u 1", {properties("CellId u 3")});
    const SimulatedModem second = modem("/ril_1", "CellId u 9");
    SimulatedModem offline = first;
    offline.interfaces = QStringList{"org.ofono.VoiceCallManager"};
    // Nothing tells of other neighbours; the question itself has the modem asked again.
    const QVector<QPair<QVector<SimulatedModem>, const char *>> steps{{{offline, second}, "9"},
        {{first, second}, "1 2 9"}, {{offline, second}, "9"}, {{other, second}, "1 3 9"},
        {{second}, "9"}, {{first}, "1 2"}};
    for (const auto &[modems, expected] : steps) {
        ofono.setModems(modems);
        QVERIFY(becomes(expected));
    }

    for (const QString call : {"GetServingCellInformation", "GetNeighbouringCellInformation"}) {
        for (const QString error : {"org.example.Error.Broken", "org.ofono.Error.InProgress"}) {
            const QString known = call == cellCall ? "" : "1";
            const QString expected = error.endsWith("InProgress") ? "1 2" : known;
            const int asked = ofono.callCount(call);
            ofono.answerError(call, error);
            const auto holds
                = [&] { return seen() == expected && ofono.callCount(call) > asked + 3; };
            QVERIFY(waitUntil(holds, longDeadline));
            ofono.behave(call);
            QVERIFY(becomes("1 2"));
        }
    }

    // A cell that changes while the modem answers has it asked once more, by nobody's question.
    ofono.setCellDelay(200ms);
    const int asked = ofono.callCount(cellCall);
    ofono.setModems({second});
    QTRY_VERIFY_WITH_TIMEOUT(ofono.callCount(cellCall) > asked, deadlineMs);
    for (int cell = 0; cell < 100; ++cell)
        ofono.setModems({modem("/ril_1", QString("CellId u %1").arg(cell))});
    QTRY_VERIFY_WITH_TIMEOUT(ofono.callCount(cellCall) > asked + 1, deadlineMs);
    QVERIFY(ofono.callCount(cellCall) < asked + 10);
    QVERIFY(becomes("99"));
}

void Platform::wlans()
{
    SimulatedConnMan &connMan = m_phone.connMan;
    const SimulatedObject a = wlan("/a", "BSSID s a Strength y 10 Name s a_nomap_");
    const SimulatedObject b = wlan("/b", "BSSID s b Strength y 20");
    const SimulatedObject c = wlan("/c", "BSSID s c Strength y 30");
    connMan.setServices({a, wlan("/e", "Type s ethernet"), b, wlan("/w", "BSSID u 7 Strength u 8"),
        wlan("/o", "BSSID s o Strength y 9 Name s o_nomap")});
    QVERIFY(becomes("a@10 b@20 @0"));
    connMan.setServices({c, b, a}); // lists a and b without any property
    QVERIFY(becomes("c@30 b@20 a@10"));
    connMan.setServices({a, c});
    const auto changes = [&](const QString &name, const QVariant &value, const char *expected) {
        connMan.changeProperty("/a", name, value);
        return becomes(expected);
    };
    QVERIFY(changes("Strength", QVariant::fromValue<uchar>(77), "a@77 c@30"));
    QVERIFY(changes("Strength", "x", "a@0 c@30"));
    QVERIFY(changes("BSSID", "aa", "aa@0 c@30"));
    QVERIFY(changes("Name", "_nomap", "c@30"));
    QVERIFY(changes("Name", "open", "aa@0 c@30"));
    QVERIFY(changes("Type", "cellular", "c@30"));
    connMan.stop();
    QVERIFY(becomes(""));
    // Less is told now: nothing of the past may shine through.
    connMan.setServices({wlan("/c", "")});
    QVERIFY(connMan.start());
    QVERIFY(becomes("@0"));
}

void Platform::lock()
{
    bool closed = true;
    for (const char *mode : {"locked", "unlocked", "locked-dim", "silent-unlocked", "locked-delay",
             "LOCKED", "silent-locked", "unknown", "silent-locked-dim", ""}) {
        m_phone.mce.setLockMode(mode);
        QVERIFY2(becomes(closed ? locked : ""), mode);
        closed = !closed;
    }
    m_phone.mce.stop();
    m_phone.mce.setLockMode(locked);
    QVERIFY(m_phone.mce.start());
    QVERIFY(becomes(locked));
}

// From somebody else, and with an argument too many: each would be seen if it were believed, as
// nothing else tells of the same later.
void Platform::forgedSignals()
{
    const SimulatedModem first = modem("/ril_0", "CellId u 1");
    m_phone.mce.setLockMode(locked);
    m_phone.connMan.setServices({wlan("/w", "BSSID s w")});
    m_phone.ofono.setModems({first});
    QVERIFY(becomes("1 w@0 locked"));
    BusConnection stranger(m_bus.address());
    const auto forge
        = [&](const SimulatedService &owner, const QString &path, const QString &interface,
              const QString &name, const QVariantList &arguments) {
              QDBusMessage signal = QDBusMessage::createTargetedSignal(
                  QDBusConnection::systemBus().baseService(), path, interface, name);
              signal.setArguments(arguments);
              send(*stranger, signal);
              send(owner.connection(), signal << 1);
          };
    forge(m_phone.mce, "/com/nokia/mce/signal", "com.nokia.mce.signal", "tklock_mode_ind",
        {"unlocked"});
    forge(m_phone.connMan, "/", "net.connman.Manager", "ServicesChanged",
        {QVariant::fromValue(SimulatedObjects()), QVariant::fromValue(QList<QDBusObjectPath>())});
    forge(m_phone.ofono, "/", "org.ofono.Manager", "ModemRemoved",
        {QVariant::fromValue(QDBusObjectPath("/ril_0"))});
    // What comes now has overtaken nothing.
    m_phone.ofono.setModems({first, modem("/ril_1", "CellId u 2")});
    QVERIFY(becomes("1 2 w@0 locked"));
}

void Platform::formerOwner()
{
    m_phone.mce.stop();
    SlowMce former(m_bus.address());
    QVERIFY(former.start());
    QTRY_COMPARE(former.call.type(), QDBusMessage::MethodCallMessage);
    QVERIFY(former.connection().unregisterService("com.nokia.mce"));
    QVERIFY(m_phone.mce.start());
    send(former.connection(), former.call.createReply(locked));
    QSignalSpy changes(&m_lock, &QMceTkLock::lockedChanged);
    m_phone.ofono.setModems({modem("/ril_0", "CellId u 1")});
    QVERIFY(becomes("1"));
    QCOMPARE(changes.count(), 0);
}

// Each fault strikes all three services of a phone with a daemon of its own.
void Platform::failingServices()
{
    QMap<QString, QString> options = Fixture::unfiltered();
    options.insert("keep_requests", "2"); // none while the phone is locked
    std::map<const char *, Fixture> fixtures;
    for (const PlatformFault &fault : platformFaults()) {
        Fixture &fixture = fixtures[fault.what];
        fixture.setCell(1);
        fixture.setWlan(1);
        fixture.phone.mce.setLockMode(locked);
        QVERIFY2(!fault.needsDaemon || fixture.begin(options), fault.what);
        for (const PhoneService &each : phoneServices())
            fault.inject(each.of(fixture.phone), each.method);
        QVERIFY2(fault.needsDaemon || fixture.begin(options), fault.what);
    }
    const auto sections = [](const Fixture &fixture) {
        const QJsonObject last = fixture.service.requests().last().json;
        return last.contains("mobileNetwork") + last.contains("wifiAccessPoints");
    };
    for (const PlatformFault &fault : platformFaults()) {
        Fixture &fixture = fixtures[fault.what];
        // Nobody says any more that the phone is locked.
        QVERIFY2(fixture.service.waitForRequests(4, longDeadline), fault.what);
        QCOMPARE(sections(fixture), 0);
        QVERIFY2(fixture.daemon.logCount(fault.log) >= 3, fault.what);
        QVERIFY2(fixture.daemon.logCount("Ignoring") <= 3, fault.what);
        // So that nobody waits here for the 25 s that a call may take.
        for (const PhoneService &each : phoneServices())
            if (fault.log == nullptr)
                each.of(fixture.phone).stop();
        fixture.heal();
    }
    for (const auto &each : fixtures)
        QVERIFY2(waitUntil([&] { return sections(each.second) == 2; }, longDeadline), each.first);
}

QTEST_GUILESS_MAIN(Platform)

#include "platform.moc"
