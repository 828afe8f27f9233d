// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faults.h"
#include "fixture.h"
#include "waiting.h"

#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QTest>

#include <vector>

using namespace std::chrono_literals;

namespace {

void writeCache(const Fixture &fixture, const QDateTime &time)
{
    Position position;
    position.fields = Position::FieldLatitude;
    position.timestamp = static_cast<int>(time.toSecsSinceEpoch());
    fixture.daemon.writeCache(cacheContent(position));
}

bool isBetween(qint64 value, qint64 least, qint64 most)
{
    return value >= least && value <= most;
}

} // namespace

// What takes its time runs in the background from the start, and is looked at in the end.
class Scheduling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void firstRequest();
    void restarts();
    void followsTheLock();
    void republishes();
    void stops();
    void silentService() const;
    void refilledRetries() const;

private:
    /// What a lock does to the pace of requests, by the option keep_requests.
    enum Pace { Full, Slow, Paused };
    struct Locked
    {
        const char *keepRequests;
        Pace pace;
        std::unique_ptr<Fixture> fixture;
        int before = 0;
        int count() const { return static_cast<int>(fixture->service.requests().size()) - before; }
    };
    void checkPace(bool locked);

    Fixture m_silent;
    Fixture m_refilled;
    Fixture m_stopped;
    Fixture m_stoppedAtOnce;
    Fixture m_stored;
    Fixture m_fresh;
    std::vector<std::unique_ptr<Client>> m_returned; // to the two before
    QElapsedTimer m_sinceReturn;
    std::vector<Locked> m_locked;
};

void Scheduling::initTestCase()
{
    const auto stopAfter = [this](Fixture &fixture, int requests) {
        connect(&fixture.service, &WebService::requestArrived, this, [&fixture, requests] {
            if (fixture.service.requests().size() == requests)
                fixture.client.post(removeReference);
        });
    };
    m_silent.service.replyAlways(WebReply::hang());
    stopAfter(m_silent, 4);
    QVERIFY(m_silent.begin(Fixture::unfiltered(2)));

    m_refilled.service.replyNext(WebReply::hang());
    m_refilled.service.replyNext({}, 2);
    m_refilled.service.replyNext(WebReply::hang());
    QVERIFY(m_refilled.begin(Fixture::unfiltered(2)));

    m_stopped.service.replyAlways(WebReply::after(3s));
    stopAfter(m_stopped, 1);
    QVERIFY(m_stopped.begin(Fixture::unfiltered(60)));

    QVERIFY(m_stoppedAtOnce.start(Fixture::unfiltered()));
    m_stoppedAtOnce.client.post(addReference);
    m_stoppedAtOnce.client.call(removeReference);

    writeCache(m_stored, QDateTime::currentDateTime().addDays(30));
    m_stored.service.replyAlways(silentReply);
    QVERIFY(m_stored.begin());
    m_fresh.service.replyNext({});
    m_fresh.service.replyAlways(silentReply);
    QVERIFY(m_fresh.begin());

    for (const auto &[keepRequests, pace] : QVector<QPair<const char *, Pace>>{
             {"0", Full}, {"1", Slow}, {"2", Paused}, {"-1", Paused}, {"none", Full}}) {
        auto fixture = std::make_unique<Fixture>();
        fixture->phone.mce.setLockMode("locked");
        QMap<QString, QString> options = Fixture::unfiltered();
        options["background_update_interval"] = "3";
        options["keep_requests"] = QString::fromLatin1(keepRequests);
        QVERIFY(fixture->start(options));
        QVERIFY(waitUntil(
            [&] { return fixture->phone.mce.callCount("get_tklock_mode") > 0; }, longDeadline));
        fixture->client.call(addReference);
        m_locked.push_back({keepRequests, pace, std::move(fixture)});
    }
}

// By the age of the stored position. All side by side.
void Scheduling::firstRequest()
{
    struct Start
    {
        int ageSecs;
        int intervalSecs;
        int dueSecs; // after the position was stored, or 1 s after the start if that is later
        std::unique_ptr<Fixture> fixture = std::make_unique<Fixture>();
        QDateTime stored = QDateTime::currentDateTime();
        QDateTime started = {};
    };
    constexpr int month = 30 * 24 * 3600;
    Start starts[]{{61, 60, 0}, {2, 10, 8}, {-6, 1, 7}, {-month, 60, 0}};
    for (Start &start : starts) {
        writeCache(*start.fixture, start.stored.addSecs(-start.ageSecs));
        QVERIFY(start.fixture->start(Fixture::unfiltered(start.intervalSecs)));
        start.started = QDateTime::currentDateTime();
        start.fixture->client.call(addReference);
    }
    for (const Start &start : starts) {
        QVERIFY(start.fixture->service.waitForRequests(1, longDeadline));
        const QDateTime arrival = start.fixture->service.requests().constFirst().arrival;
        const QDateTime due = qMax(start.stored.addSecs(start.dueSecs), start.started.addSecs(1));
        // The stored time lacks the fraction of its second; coarse timers may be off by a
        // twentieth.
        const qint64 lateMs = due.msecsTo(arrival);
        const qint64 earlyMs = start.dueSecs > 0 ? 1400 : 50;
        QVERIFY2(isBetween(lateMs, -earlyMs, 10000), qPrintable(QString::number(lateMs)));
    }
}

// A cycle that starts with a stored position, as yet to become old, and one that finds its first:
// stopped and started, and their clients come back after a crash. What follows from that is looked
// at later.
void Scheduling::restarts()
{
    QVERIFY(m_fresh.client.waitForSignal(positionChanged));
    for (int round = 0; round < 2; ++round) {
        for (Fixture *fixture : {&m_stored, &m_fresh}) {
            fixture->client.call(removeReference);
            fixture->client.call(addReference);
            QVERIFY(fixture->seesRequest());
        }
    }
    for (Fixture *fixture : {&m_stored, &m_fresh}) {
        const QString name = fixture->client.uniqueName();
        fixture->client.vanish();
        m_returned.push_back(std::make_unique<Client>(fixture->bus.address()));
        BusConnection connection(fixture->bus.address());
        QVERIFY(waitUntil(
            [&] { return !connection->interface()->isServiceRegistered(name); }, longDeadline));
        m_returned.back()->call(addReference);
    }
    m_sinceReturn.start();
}

// Against one that the lock does not concern.
void Scheduling::checkPace(bool locked)
{
    const Locked &slow = m_locked.at(Slow);
    QVERIFY(waitUntil([&] { return slow.count() >= (locked ? 2 : 4); }, longDeadline));
    const int full = m_locked.at(Full).count();
    for (const Locked &one : m_locked) {
        if (locked && one.pace == Paused)
            QVERIFY2(one.count() == 0, one.keepRequests);
        else if (locked && one.pace == Slow)
            QVERIFY2(2 * one.count() - 1 <= full, one.keepRequests);
        else
            QVERIFY2(isBetween(one.count(), full / 2 - 1, 2 * full + 2), one.keepRequests);
    }
}

void Scheduling::followsTheLock()
{
    checkPace(true);
    for (const char *mode : {"unlocked", "silent-locked"}) {
        for (Locked &one : m_locked)
            one.fixture->phone.mce.setLockMode(QString::fromLatin1(mode));
        for (Locked &one : m_locked)
            one.fixture->client.status();
        // All of them know it; another second for requests under way.
        const Fixture &full = *m_locked.at(Full).fixture;
        QVERIFY(full.seesRequest() && full.seesRequest());
        for (Locked &one : m_locked)
            one.before += one.count();
        checkPace(qstrcmp(mode, "unlocked") != 0);
    }
}

// Begun by restarts().
void Scheduling::republishes()
{
    for (const auto &client : m_returned) {
        QVERIFY(waitUntil([&] { return m_sinceReturn.elapsed() > 12500; }, longDeadline));
        const qint64 due = m_sinceReturn.elapsed() / 5000;
        const auto count = client->signalsNamed(positionChanged).size();
        QVERIFY2(isBetween(count, due - 1, due + 1), qPrintable(QString::number(count)));
    }
}

void Scheduling::stops()
{
    QCOMPARE(m_stoppedAtOnce.service.requests().size(), 0);
    QVERIFY(m_stopped.client.waitForSignal(positionChanged));
    const Position published
        = positionOf(m_stopped.client.signalsNamed(positionChanged).constFirst());
    const QJsonObject request = m_stopped.service.requests().constFirst().json;
    const int captured = request.value("captureTimestampUnix").toInt();
    QVERIFY(isBetween(published.timestamp, captured, captured + 1));
    QCOMPARE(m_stopped.client.argumentsOf(statusChanged), (QVariantList{2, 1, 3}));
}

// Stopped after the fourth request, or the next one on a busy machine, so that the last three are
// retries.
void Scheduling::silentService() const
{
    const QString noneLeft = "warning: Request timed out, no retries left";
    QVERIFY(m_silent.daemon.waitForLog(noneLeft, longDeadline));
    const auto requests = m_silent.service.requests();
    const auto retries = static_cast<int>(requests.size()) - 3;
    QVERIFY(isBetween(retries, 4, 5));
    for (int i = 0; i < 3; ++i) {
        // The daemon's own time, in seconds: this process may be busy when a request arrives.
        const int sent = requests.at(i).json.value("captureTimestampUnix").toInt();
        const int sentAgain = requests.at(i + retries).json.value("captureTimestampUnix").toInt();
        QVERIFY2(isBetween(sentAgain - sent, 9, 14), qPrintable(QString::number(sentAgain - sent)));
    }
    const QStringList log = m_silent.daemon.log();
    const QString first = "warning: Request timed out 2 retries left";
    QCOMPARE(log.filter("timed out").mid(0, 4),
        (QStringList{first, "warning: Request timed out 1 retries left",
            "warning: Request timed out 0 retries left", noneLeft}));
    // Each failure is handled before its retry is counted.
    QVERIFY(log.indexOf(first) > log.indexOf("warning: Operation canceled"));
}

void Scheduling::refilledRetries() const
{
    const QString twoLeft = "warning: Request timed out 2 retries left";
    QVERIFY(m_refilled.daemon.waitForLog(twoLeft, longDeadline, 2));
    QCOMPARE(m_refilled.daemon.log().filter("timed out"), (QStringList{twoLeft, twoLeft}));
}

QTEST_GUILESS_MAIN(Scheduling)

#include "scheduling.moc"
