// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "reportedposition.h"
#include "waiting.h"

#include <QElapsedTimer>
#include <QTest>

#include <limits>

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
            const double unset = std::numeric_limits<double>::quiet_NaN();
            cachedTimestamp = static_cast<int>(timestampMs / 1000);
            QFile file(daemon.cachePath());
            if (!file.open(QIODevice::WriteOnly)
                || file.write(
                       ReportedPosition{3, cachedTimestamp, 5, 6, unset, 4, 7, 0}.cacheBytes())
                    != 52)
                return false;
        }
        const bool running = start(
            {{QStringLiteral("apikey"), knownKey}, {intervalOption, QString::fromLatin1(interval)},
                {QStringLiteral("enable_request_filter"),
                    filtered ? QStringLiteral("true") : QStringLiteral("false")}});
        startTime = QDateTime::currentDateTimeUtc();
        client.call(addReference);
        return running;
    }

    // Milliseconds from the first reference to each request.
    QVector<qint64> requestTimes() const
    {
        QVector<qint64> times;
        for (const RecordedRequest &request : service.requests())
            times.append(startTime.msecsTo(request.arrival));
        return times;
    }

    static constexpr auto noCache = std::chrono::milliseconds::max();
    QDateTime startTime;
    int cachedTimestamp = 0;
};

bool isBetween(qint64 value, qint64 least, qint64 most)
{
    return value >= least && value <= most;
}

// A second of tolerance for a busy machine, and half of the timers' coarseness.
bool isAbout(qint64 timeMs, qint64 expectedMs)
{
    return isBetween(timeMs, expectedMs - expectedMs / 15, expectedMs + expectedMs / 15 + 1200);
}

QString listed(const QVector<qint64> &times)
{
    QStringList words;
    for (const qint64 time : times)
        words += QString::number(time);
    return words.join(QLatin1Char(' '));
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
    void unreadableInterval();
    void stopWhileInFlight();
    void stopDuringTheStartDelay();
    void silentService();
    void refilledRetries();
    void youngCache();

private:
    bool reachEnd()
    {
        return waitUntil([this] { return m_clock.hasExpired(46000); }, 60s);
    }

    QElapsedTimer m_clock;
    std::unique_ptr<Subject> m_silent = std::make_unique<Subject>();
    std::unique_ptr<Subject> m_refilled = std::make_unique<Subject>();
    std::unique_ptr<Subject> m_young = std::make_unique<Subject>();
};

void Scheduling::initTestCase()
{
    m_silent->service.replyAlways(hang);
    m_refilled->service.replyNext(hang, 2);
    m_refilled->service.replyNext(delayed(3s));
    m_refilled->service.replyAlways(hang);
    m_clock.start();
    QVERIFY(m_silent->begin("60", true));
    QVERIFY(m_refilled->begin("30", false));
    QVERIFY(m_young->begin("60", false, 10s));
}

void Scheduling::firstRequest_data()
{
    QTest::addColumn<qint64>("ageMs"); // of the cached position
    QTest::addColumn<QByteArray>("interval");
    QTest::addColumn<qint64>("delayMs");
    QTest::newRow("no position") << qint64(Subject::noCache.count()) << QByteArray("60")
                                 << qint64(1000);
    QTest::newRow("old position") << qint64(61000) << QByteArray("60") << qint64(1000);
    QTest::newRow("young position") << qint64(2000) << QByteArray("5") << qint64(3000);
    QTest::newRow("soon too old") << qint64(4800) << QByteArray("5") << qint64(1000);
    QTest::newRow("dated in the future") << qint64(-3000) << QByteArray("1") << qint64(4000);
    QTest::newRow("clock set back by weeks")
        << qint64(-30LL * 24 * 3600 * 1000) << QByteArray("60") << qint64(1000);
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
    const qint64 time = subject.requestTimes().constFirst();
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

    const QVector<Subject *> subjects{&stored, &fresh};
    QVector<int> requestsBefore;
    for (Subject *subject : subjects) {
        requestsBefore.append(subject->service.requests().size());
        subject->client.forget();
    }
    // Up to 11 s hold two or three republications at an interval of 5 s, and as many requests.
    QElapsedTimer watch;
    watch.start();
    QVERIFY(waitUntil(
        [&] {
            return std::all_of(subjects.cbegin(), subjects.cend(), [](const Subject *subject) {
                return subject->client.signalsNamed(positionChanged).size() >= 2;
            });
        },
        longDeadline));
    const qint64 elapsedMs = watch.elapsed();
    QVERIFY2(isBetween(elapsedMs, 7500, 13000), qPrintable(QString::number(elapsedMs)));
    for (int i = 0; i < subjects.size(); ++i) {
        QVERIFY(subjects.at(i)->client.signalsNamed(positionChanged).size() <= 3);
        const int requests = subjects.at(i)->service.requests().size() - requestsBefore.at(i);
        QVERIFY2(isBetween(requests, elapsedMs / 1000 - 3, elapsedMs / 1000 + 2),
            qPrintable(QString::number(requests)));
    }
}

void Scheduling::unreadableInterval()
{
    Subject paused;
    Subject usual;
    usual.service.replyAlways(silentReply);
    QVERIFY(paused.begin("often", false));
    QVERIFY(usual.begin("1", false));
    QVERIFY(usual.service.waitForRequests(3, longDeadline));
    QCOMPARE(paused.service.requests().size(), 0);
    paused.client.setOptions({{intervalOption, QStringLiteral("1")}});
    QVERIFY(paused.service.waitForRequests(1, longDeadline));
    // And while it runs.
    usual.client.setOptions({{intervalOption, QStringLiteral("x")}});
    const int requests = usual.service.requests().size();
    QVERIFY(paused.service.waitForRequests(4, longDeadline));
    QVERIFY(usual.service.requests().size() <= requests + 1);
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

void Scheduling::stopDuringTheStartDelay()
{
    Subject stopped;
    Subject usual;
    QVERIFY(stopped.begin("1", false));
    stopped.client.call(removeReference);
    QVERIFY(usual.begin("1", false));
    QVERIFY(usual.service.waitForRequests(2, longDeadline));
    QCOMPARE(stopped.service.requests().size(), 0);
}

void Scheduling::silentService()
{
    QVERIFY(reachEnd());
    const QVector<qint64> times = m_silent->requestTimes();
    QVERIFY2(times.size() == 4 && isAbout(times.at(0), 1000), qPrintable(listed(times)));
    for (int i = 1; i < times.size(); ++i)
        QVERIFY2(isAbout(times.at(i) - times.at(i - 1), 10000), qPrintable(listed(times)));
    QCOMPARE(m_silent->daemon.log().filter(QStringLiteral("timed out")),
        (QStringList{QStringLiteral("warning: Request timed out 2 retries left"),
            QStringLiteral("warning: Request timed out 1 retries left"),
            QStringLiteral("warning: Request timed out 0 retries left"),
            QStringLiteral("warning: Request timed out, no retries left")}));
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
    QVERIFY(reachEnd());
    const QString twoLeft = QStringLiteral("warning: Request timed out 2 retries left");
    QVERIFY(m_refilled->daemon.waitForLog(twoLeft, longDeadline, 2));
    QCOMPARE(m_refilled->daemon.log().filter(QStringLiteral("timed out")),
        (QStringList{
            twoLeft, QStringLiteral("warning: Request timed out 1 retries left"), twoLeft}));
    QCOMPARE(m_refilled->client.argumentsOf(QStringLiteral("PositionAcquiring")),
        (QVariantList{true, true, false, true}));
}

void Scheduling::youngCache()
{
    // The first request is due 50 s after the start.
    QVERIFY(reachEnd());
    QCOMPARE(m_young->service.requests().size(), 0);
    QCOMPARE(m_young->client.signalsNamed(positionChanged).size(), 0);
    const auto position
        = ReportedPosition::ofMessage(m_young->client.call(QStringLiteral("GetPosition")));
    QCOMPARE(position.text(), QStringLiteral("3 5 6 nan 4 7 0"));
    QCOMPARE(position.timestamp, m_young->cachedTimestamp);
}

QTEST_GUILESS_MAIN(Scheduling)

#include "scheduling.moc"
