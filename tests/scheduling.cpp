// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "reportedposition.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QTest>

using namespace std::chrono_literals;

namespace {

const QString addReference = QStringLiteral("AddReference");
const QString removeReference = QStringLiteral("RemoveReference");
const QString positionChanged = QStringLiteral("PositionChanged");
const QString intervalOption = QStringLiteral("update_interval");

const ServiceReply hang = ServiceReply::ofKind(ServiceReply::Kind::Hang);
// Handled without any effect.
const ServiceReply silentReply = ServiceReply::given(200, R"({"Location not found": {}})");

ServiceReply delayed(std::chrono::milliseconds delay)
{
    ServiceReply reply = ServiceReply::position(1, 2, 3);
    reply.delay = delay;
    return reply;
}

// A daemon with one access point in view and an update interval in seconds.
class Subject : public DaemonFixture
{
public:
    Subject()
    {
        phone.connMan.setServices(
            {SimulatedConnMan::wlan(QStringLiteral("/w"), QStringLiteral("00:11"), 60)});
    }

    // The cache, when there is to be one, dates from so many milliseconds ago.
    bool begin(const char *interval, bool filtered, std::chrono::milliseconds age = noCache)
    {
        if (age != noCache) {
            const qint64 timestampMs = QDateTime::currentMSecsSinceEpoch() - age.count();
            const int timestamp = static_cast<int>(timestampMs / 1000);
            daemon.writeCache(ReportedPosition{3, timestamp, 5, 6, qQNaN(), 4, 7, 0}.cacheBytes());
        }
        QMap<QString, QString> options = unfiltered();
        options[intervalOption] = QString::fromLatin1(interval);
        if (filtered)
            options.remove(QStringLiteral("enable_request_filter"));
        const bool running = start(options);
        startTime = QDateTime::currentDateTimeUtc();
        client.call(addReference);
        return running;
    }

    static constexpr auto noCache = std::chrono::milliseconds::max();
    QDateTime startTime;
};

bool isBetween(qint64 value, qint64 least, qint64 most)
{
    return value >= least && value <= most;
}

} // namespace

// The slow cases run in the background from the start, and are looked at in the end.
class Scheduling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void firstRequest_data();
    void firstRequest();
    void restartedCycle();
    void stopWhileInFlight();
    void staysQuiet();
    void silentService();
    void refilledRetries();

private:
    std::unique_ptr<Subject> m_silent = std::make_unique<Subject>();
    std::unique_ptr<Subject> m_refilled = std::make_unique<Subject>();
};

void Scheduling::initTestCase()
{
    m_silent->service.replyAlways(hang);
    m_refilled->service.replyNext(hang, 2);
    m_refilled->service.replyNext(delayed(3s));
    m_refilled->service.replyAlways(hang);
    QVERIFY(m_silent->begin("60", true));
    QVERIFY(m_refilled->begin("30", false));
}

void Scheduling::firstRequest_data()
{
    QTest::addColumn<qint64>("ageMs"); // of the cached position
    QTest::addColumn<QByteArray>("interval");
    QTest::addColumn<qint64>("delayMs");
    const auto row = [](const char *name, std::chrono::milliseconds age, const char *interval,
                         qint64 delayMs) {
        QTest::newRow(name) << qint64(age.count()) << QByteArray(interval) << delayMs;
    };
    row("no position", Subject::noCache, "60", 1000);
    row("old position", 61s, "60", 1000);
    row("young position", 2s, "5", 3000);
    row("soon too old", 4800ms, "5", 1000);
    row("dated in the future", -3s, "1", 4000);
    row("clock set back by weeks", -30 * 24h, "60", 1000);
}

void Scheduling::firstRequest()
{
    QFETCH(qint64, ageMs);
    QFETCH(QByteArray, interval);
    QFETCH(qint64, delayMs);
    Subject subject;
    subject.service.replyAlways(silentReply);
    QVERIFY(subject.begin(interval.constData(), false, std::chrono::milliseconds(ageMs)));
    QVERIFY(subject.service.waitForRequests(1, longDeadline));
    // The cached timestamp lacks the fraction of its second.
    const qint64 time = subject.startTime.msecsTo(subject.service.requests().constFirst().arrival);
    const qint64 fraction = delayMs > 1000 ? 1000 : 50;
    QVERIFY2(isBetween(time, delayMs - fraction, delayMs + delayMs / 20 + 1200),
        qPrintable(QString::number(time)));
    QCOMPARE(subject.client.signalsNamed(positionChanged).size(), 0);
}

void Scheduling::restartedCycle()
{
    // Two daemons at a time: a cycle that starts with a stored position, as yet to become old, and
    // one that finds its first. Both are stopped and started again and again.
    Subject stored;
    Subject fresh;
    stored.service.replyAlways(silentReply);
    fresh.service.replyNext(ServiceReply::position(1, 2, 3));
    fresh.service.replyAlways(silentReply);
    QVERIFY(stored.begin("1", false, -30 * 24h));
    QVERIFY(fresh.begin("1", false));
    QVERIFY(fresh.client.waitForSignal(positionChanged));
    for (int round = 0; round < 3; ++round) {
        for (Subject *subject : {&stored, &fresh}) {
            const int requests = subject->service.requests().size();
            subject->client.call(removeReference);
            subject->client.call(addReference);
            QVERIFY(subject->service.waitForRequests(requests + 1, longDeadline));
        }
    }

    const int storedBefore = stored.service.requests().size();
    const int freshBefore = fresh.service.requests().size();
    stored.client.forget();
    fresh.client.forget();
    // Up to 11 s hold two or three republications at an interval of 5 s, and as many requests.
    QElapsedTimer watch;
    watch.start();
    QVERIFY(stored.client.waitForSignal(positionChanged, 2));
    QVERIFY(fresh.client.waitForSignal(positionChanged, 2));
    const qint64 elapsedMs = watch.elapsed();
    QVERIFY2(isBetween(elapsedMs, 7500, 13000), qPrintable(QString::number(elapsedMs)));
    for (const Subject *subject : {&stored, &fresh}) {
        QVERIFY(subject->client.signalsNamed(positionChanged).size() <= 3);
        const int requests = subject->service.requests().size()
            - (subject == &stored ? storedBefore : freshBefore);
        QVERIFY2(isBetween(requests, elapsedMs / 1000 - 3, elapsedMs / 1000 + 2),
            qPrintable(QString::number(requests)));
    }
}

void Scheduling::stopWhileInFlight()
{
    Subject subject;
    subject.service.replyAlways(delayed(3s));
    QVERIFY(subject.begin("60", true));
    QVERIFY(subject.service.waitForRequests(1, longDeadline));
    subject.client.call(removeReference);
    subject.client.forget();
    QVERIFY(subject.client.waitForSignal(positionChanged));
    const auto published
        = ReportedPosition::ofMessage(subject.client.signalsNamed(positionChanged).constFirst());
    QCOMPARE(published.text(), QStringLiteral("3 1 2 nan 4 3 0"));
    const int captured = subject.service.requests()
                             .constFirst()
                             .json.value(QLatin1String("captureTimestampUnix"))
                             .toInt();
    QVERIFY(isBetween(published.timestamp, captured, captured + 1));
    QVERIFY(QDateTime::currentSecsSinceEpoch() >= captured + 2);
    QCOMPARE(subject.client.argumentsOf(QStringLiteral("StatusChanged")), QVariantList{3});
}

void Scheduling::staysQuiet()
{
    Subject stopped;
    Subject unreadable;
    Subject usual;
    QVERIFY(stopped.begin("1", false));
    stopped.client.call(removeReference);
    QVERIFY(unreadable.begin("often", false));
    QVERIFY(usual.begin("1", false));
    QVERIFY(usual.service.waitForRequests(2, longDeadline));
    QCOMPARE(stopped.service.requests().size(), 0);
    QCOMPARE(unreadable.service.requests().size(), 0);
}

void Scheduling::silentService()
{
    const QString noneLeft = QStringLiteral("warning: Request timed out, no retries left");
    QVERIFY(m_silent->daemon.waitForLog(noneLeft, 60s));
    QVERIFY(!m_silent->service.waitForRequests(5, 1s));
    const auto requests = m_silent->service.requests();
    QCOMPARE(requests.size(), 4);
    for (int i = 1; i < requests.size(); ++i) {
        const qint64 gapMs = requests.at(i - 1).arrival.msecsTo(requests.at(i).arrival);
        // Coarse timers may be off by a twentieth.
        QVERIFY2(isBetween(gapMs, 9400, 11900), qPrintable(QString::number(gapMs)));
    }
    QCOMPARE(m_silent->daemon.log().filter(QStringLiteral("timed out")),
        (QStringList{QStringLiteral("warning: Request timed out 2 retries left"),
            QStringLiteral("warning: Request timed out 1 retries left"),
            QStringLiteral("warning: Request timed out 0 retries left"), noneLeft}));
    // Each failure is handled before its retry is counted.
    const QStringList log = m_silent->daemon.log();
    const int timeout = log.indexOf(QStringLiteral("warning: Request timed out 2 retries left"));
    QCOMPARE(log.value(timeout - 2),
        QStringLiteral("warning: Error string is not empty, repeating request"));
    QCOMPARE(m_silent->client.argumentsOf(QStringLiteral("PositionAcquiring")),
        (QVariantList{true, true, true, true}));
}

void Scheduling::refilledRetries()
{
    const QString twoLeft = QStringLiteral("warning: Request timed out 2 retries left");
    QVERIFY(m_refilled->daemon.waitForLog(twoLeft, longDeadline, 2));
    QCOMPARE(m_refilled->daemon.log().filter(QStringLiteral("timed out")),
        (QStringList{
            twoLeft, QStringLiteral("warning: Request timed out 1 retries left"), twoLeft}));
    QCOMPARE(m_refilled->client.argumentsOf(QStringLiteral("PositionAcquiring")),
        (QVariantList{true, true, false, true}));
}

QTEST_GUILESS_MAIN(Scheduling)

#include "scheduling.moc"
