// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faults.h"
#include "fixture.h"
#include "waiting.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QRandomGenerator>
#include <QTest>
#include <QTimer>

#include <cmath>

using namespace std::chrono_literals;

namespace {

int captureTime(const RecordedRequest &request)
{
    return request.json.value("captureTimestampUnix").toInt();
}

/// The variable's number, or this one.
quint32 setting(const char *variable, quint32 usual)
{
    return qEnvironmentVariableIsSet(variable) ? qgetenv(variable).toUInt() : usual;
}

} // namespace

/// A phone asks for its position every second, while things around the daemon fail at
/// random. ONDRAVEXA_SOAK_MINUTES tells how long, ONDRAVEXA_SOAK_SEED has the same faults come
/// again.
class Soak : public QObject
{
    Q_OBJECT

public:
    // One function may last longer than the five minutes that are usual.
    static void initMain() { qputenv("QTEST_FUNCTION_TIMEOUT", "2147483647"); }

private Q_SLOTS:
    void faults();
    void everyPositionIsPublished();
    void nothingGrows();

private:
    struct Held
    {
        int memoryKb = 0;
        int descriptors = 0;
    };

    void step();
    void fail();
    void answerInEachWay();
    Held held() const;
    /// Until the time is over or the daemon is.
    void rest(std::chrono::milliseconds time) const;
    int pick(qsizetype count) { return m_random.bounded(static_cast<int>(count)); }

    const int m_minutes = int(setting("ONDRAVEXA_SOAK_MINUTES", 5));
    const quint32 m_seed = setting("ONDRAVEXA_SOAK_SEED", QRandomGenerator::global()->generate());
    const QVector<WebFault> m_webFaults = webFaults() + hangingWebFaults();
    QRandomGenerator m_random{m_seed};
    Fixture m_fixture;
    Held m_before;
    QSet<int> m_given;
    QSet<int> m_published;
    int m_last = -1;
    QStringList m_wrong;
};

void Soak::rest(std::chrono::milliseconds time) const
{
    waitUntil([this] { return !m_fixture.daemon.isRunning(); }, time);
}

// Takes what the client has been told. A position may be repeated until the next one comes, but it
// must never come back. Who asks is told what was published last, or else a repetition could stand
// in for a position that was not published in time.
void Soak::step()
{
    for (const QDBusMessage &message : m_fixture.client.received()) {
        const Position now = positionOf(message);
        if (now.fields == Position::FieldNone)
            continue;
        const int index = static_cast<int>(std::lround(now.accuracy.horizontal));
        const int captured = captureTime(m_fixture.service.requests().value(index));
        const bool genuine = qFuzzyCompare(now.latitude, WebService::latitudeOf(index))
            && qFuzzyCompare(now.longitude, WebService::longitudeOf(index))
            && qAbs(now.timestamp - captured) <= 1;
        const bool isNew
            = message.type() == QDBusMessage::SignalMessage && !m_published.contains(index);
        if (!genuine || (index != m_last && !isNew))
            m_wrong += text(now);
        if (isNew) {
            m_published.insert(index);
            m_last = index;
        }
    }
    m_fixture.client.forget();
    m_fixture.client.post("GetPosition");
}

// In the first half the daemon is killed now and then; what one process holds shows in the second.
void Soak::faults()
{
    qInfo("ONDRAVEXA_SOAK_SEED=%u", m_seed);
    connect(&m_fixture.service, &WebService::positionGiven, this, [this](int index) {
        // One that waited for a free connection may run into its time-out as the reply comes.
        const RecordedRequest &request = m_fixture.service.requests().at(index);
        if (request.arrival.toSecsSinceEpoch() - captureTime(request) < 8)
            m_given.insert(index);
    });
    QTimer steps;
    connect(&steps, &QTimer::timeout, this, &Soak::step);
    steps.start(1s);
    QVERIFY(m_fixture.begin());
    for (int minute = 0; minute < m_minutes; ++minute) {
        if (minute == m_minutes / 2) {
            answerInEachWay();
            m_before = held();
        }
        const QDeadlineTimer end(1min);
        while (!end.hasExpired()) {
            fail();
            m_fixture.setCell(pick(10));
            m_fixture.setWlan(pick(10));
            rest(std::chrono::milliseconds(pick(14000)));
            QVERIFY2(m_fixture.daemon.isRunning(), qPrintable(m_fixture.daemon.log().last()));
            if (minute < m_minutes / 2 && pick(5) == 0) {
                m_fixture.daemon.kill();
                QVERIFY(m_fixture.begin());
            }
            m_fixture.heal();
            rest(std::chrono::milliseconds(pick(4000)));
        }
    }
    answerInEachWay();
    step();
}

void Soak::fail()
{
    const std::function<void()> faults[] = {
        [this] { m_fixture.service.replyAlways(m_webFaults.at(pick(m_webFaults.size())).reply); },
        [this] { m_fixture.service.refuseConnections(); },
        [this] {
            const PhoneService &service = phoneServices().at(pick(phoneServices().size()));
            const PlatformFault &fault = platformFaults().at(pick(platformFaults().size()));
            fault.inject(service.of(m_fixture.phone), service.method);
        },
    };
    faults[pick(std::size(faults))]();
}

// One of each answer: memory that it took may be kept for the next one like it.
void Soak::answerInEachWay()
{
    const auto count = m_fixture.service.requests().size() + m_webFaults.size();
    for (const WebFault &fault : m_webFaults)
        m_fixture.service.replyNext(fault.reply);
    QVERIFY(m_fixture.service.waitForRequests(static_cast<int>(count), 4 * longDeadline));
    rest(12s); // longer than the daemon's time-out of requests
}

Soak::Held Soak::held() const
{
    const QString process = QString("/proc/%1/").arg(m_fixture.daemon.processId());
    QFile memory(process + "smaps_rollup");
    if (!memory.open(QIODevice::ReadOnly))
        return {};
    const QString dirty = QString::fromLatin1(memory.readAll()).section("Private_Dirty:", 1);
    const QDir descriptors(process + "fd", {}, QDir::NoSort, QDir::AllEntries | QDir::System);
    return {dirty.section("kB", 0, 0).trimmed().toInt(), static_cast<int>(descriptors.count())};
}

// Each that the daemon can have taken: its connection stood for another second.
void Soak::everyPositionIsPublished()
{
    QCOMPARE(m_wrong, QStringList());
    QVERIFY(m_given.size() > 10 * m_minutes);
    QCOMPARE(m_given - m_published, QSet<int>());
}

// At some moment: a request under way holds something, too.
void Soak::nothingGrows()
{
    Held now;
    const bool isBack = waitUntil(
        [&] {
            now = held();
            return now.memoryKb > 0 && now.memoryKb <= m_before.memoryKb + 512
                && now.descriptors <= m_before.descriptors;
        },
        longDeadline);
    qInfo() << "kB" << m_before.memoryKb << now.memoryKb << "descriptors" << m_before.descriptors
            << now.descriptors;
    QVERIFY(isBack);
}

QTEST_GUILESS_MAIN(Soak)

#include "soak.moc"
