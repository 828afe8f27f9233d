// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "soak.h"

#include "faultlist.h"
#include "reportedposition.h"
#include "waiting.h"

#include <algorithm>
#include <cmath>

using namespace std::chrono_literals;

namespace {

constexpr double walkingSpeed = 1.4;
constexpr auto stepPeriod = 1s;
constexpr auto calm = 15s; // longer than the daemon's time-out of requests
constexpr auto oneAnswer = 2200ms; // at one request a second
constexpr int longestFaultMs = 14000;
constexpr int longestPauseMs = 4000;
constexpr int samplesPerThird = 12;
constexpr qint64 allowedGrowthKb = 512;
constexpr int killOneIn = 6;

const QVector<QPointF> way{{110, 105}, {110, 195}, {205, 195}, {205, 280}, {400, 280}, {400, 105}};

QVector<WebFault> webAnswers()
{
    return webFaults() + hangingWebFaults()
        + QVector<WebFault>{{"", withStatus("200 OK", hugeBody()), nullptr}};
}

template <typename Value>
Value median(QVector<Value> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

} // namespace

Soak::Soak(std::chrono::minutes length, quint32 seed)
    : m_lengthMs(std::chrono::milliseconds(length).count()), m_random(seed),
      m_walk(way, walkingSpeed, 0, Walk::Seconds(0))
{
    connect(&m_step, &QTimer::timeout, this, &Soak::walk);
    say(QStringLiteral("%1 minutes, seed %2").arg(length.count()).arg(seed));
}

bool Soak::run()
{
    m_clock.start();
    walk();
    m_step.start(stepPeriod);
    if (!m_scene.begin()) {
        say(QStringLiteral("the daemon does not start"));
        return false;
    }
    qint64 nextSampleMs = 0;
    while (runningMs() < m_lengthMs) {
        if (!m_warm && isLastThird())
            warmUp();
        fail();
        if (runningMs() >= nextSampleMs) {
            takeSample();
            nextSampleMs += m_lengthMs / 3 / samplesPerThird;
        }
    }
    const bool settled = settle();
    for (const QString &violation : qAsConst(m_violations))
        say(violation);
    const bool flat = isFlat();
    return settled && flat && m_violations.isEmpty();
}

void Soak::walk()
{
    m_scene.phone.see(m_city.viewFrom(m_walk.placeAt(std::chrono::milliseconds(runningMs()))));
    account();
}

// Memory that an answer took once may be kept for the next one like it. Each answer comes once
// before the samples begin that must not grow.
void Soak::warmUp()
{
    m_warm = true;
    for (const WebFault &fault : webAnswers()) {
        m_scene.web.answer(fault.reply);
        rest(oneAnswer);
    }
    m_scene.heal();
}

// One fault, its end, and a pause.
void Soak::fail()
{
    const auto pick = [this](int count) { return static_cast<int>(m_random.bounded(count)); };
    const QVector<WebFault> web = webAnswers();
    switch (pick(6)) {
    case 0:
    case 1: {
        const WebFault &fault = web.at(pick(web.size()));
        m_scene.web.answer(fault.reply);
        ++m_faults[QStringLiteral("web service")];
        break;
    }
    case 2:
        m_scene.web.refuse();
        ++m_faults[QStringLiteral("web service refuses")];
        break;
    case 3: {
        const PhoneService &service = phoneServices().at(pick(phoneServices().size()));
        const PlatformFault &fault = platformFaults().at(pick(platformFaults().size()));
        fault.inject(service.of(m_scene.phone), QString::fromLatin1(service.method));
        ++m_faults[QStringLiteral("phone's services")];
        break;
    }
    case 4:
        m_scene.phone.mce.setLockMode(QStringLiteral("locked"));
        ++m_faults[QStringLiteral("lock")];
        break;
    case 5: {
        BusClient other(m_scene.bus.address());
        for (const char *method : {"AddReference", "GetOptions", "GetPosition", "GetStatus"})
            other.post(QString::fromLatin1(method));
        other.postOptions(
            {{QStringLiteral("background_update_interval"), pick(longestPauseMs) + 1}});
        other.vanish();
        ++m_faults[QStringLiteral("vanishing client")];
        break;
    }
    }
    rest(std::chrono::milliseconds(pick(longestFaultMs)));
    if (!isLastThird() && pick(killOneIn) == 0)
        restartDaemon();
    m_scene.heal();
    rest(std::chrono::milliseconds(pick(longestPauseMs)));
}

void Soak::restartDaemon()
{
    const QVector<int> &given = m_scene.web.positions();
    // It may or may not have come to the ears of a daemon that is killed.
    if (!given.isEmpty())
        m_excused.insert(given.last());
    m_scene.daemon.kill();
    ++m_faults[QStringLiteral("SIGKILL")];
    if (!m_scene.beginAsIs())
        m_violations.append(QStringLiteral("the daemon does not start again"));
}

void Soak::rest(std::chrono::milliseconds time)
{
    waitUntil([] { return false; }, time);
    if (!m_scene.daemon.isRunning()) {
        m_violations.append(QStringLiteral("the daemon has ended: ")
            + m_scene.daemon.log().mid(m_scene.daemon.log().size() - 5).join(QLatin1Char('\n')));
        m_scene.beginAsIs();
    }
}

void Soak::takeSample()
{
    m_scene.heal();
    rest(calm);
    const Sample sample{
        m_scene.memoryKb("Pss"), m_scene.memoryKb("Private_Dirty"), m_scene.descriptors()};
    if (m_warm)
        m_samples.append(sample);
    say(QStringLiteral("%1 min: Pss %2 kB, private dirty %3 kB, %4 descriptors; %5 requests, %6 "
                       "positions given, %7 published")
            .arg(runningMs() / 60000)
            .arg(sample.proportionalKb)
            .arg(sample.privateKb)
            .arg(sample.descriptors)
            .arg(m_scene.web.requests().size())
            .arg(m_scene.web.positions().size())
            .arg(m_published.size()));
}

// Reads what the client was told since the last call. A position may be repeated until the next one
// comes, but it must never come back, and it must be what the service said.
void Soak::account()
{
    for (const QDBusMessage &change :
        m_scene.client.signalsNamed(QStringLiteral("PositionChanged"))) {
        const ReportedPosition now = ReportedPosition::ofMessage(change);
        const int serial = static_cast<int>(std::lround(now.horizontal));
        const qint64 captured = m_scene.web.requests()
                                    .value(serial)
                                    .value(QLatin1String("captureTimestampUnix"))
                                    .toVariant()
                                    .toLongLong();
        const bool genuine = m_scene.web.positions().contains(serial) && now.fields == 3
            && now.latitude == LyingService::latitudeOf(serial)
            && now.longitude == LyingService::longitudeOf(serial)
            && (now.timestamp == captured || now.timestamp == captured + 1);
        if (!genuine)
            m_violations.append(QStringLiteral("made up: ") + now.text());
        else if (serial != m_lastSerial && m_published.contains(serial))
            m_violations.append(QStringLiteral("came back: %1").arg(serial));
        m_published.insert(serial);
        m_lastSerial = serial;
    }
    m_scene.client.forget();
}

// Lets all that is under way come to its end; false when a position is missing then.
bool Soak::settle()
{
    m_scene.heal();
    rest(calm);
    m_scene.client.call(QStringLiteral("RemoveReference"));
    rest(calm);
    account();
    int missing = 0;
    for (const int serial : m_scene.web.positions()) {
        if (!m_published.contains(serial) && !m_excused.contains(serial)) {
            ++missing;
            say(QStringLiteral("never published: %1").arg(serial));
        }
    }
    QStringList kinds;
    for (auto fault = m_faults.cbegin(); fault != m_faults.cend(); ++fault)
        kinds.append(QStringLiteral("%1 × %2").arg(fault.value()).arg(fault.key()));
    say(QStringLiteral("faults: ") + kinds.join(QStringLiteral(", ")));
    say(QStringLiteral("%1 requests, %2 positions given, %3 published, %4 missing, %5 of %6 kills "
                       "in between excused, %7 made up or out of turn")
            .arg(m_scene.web.requests().size())
            .arg(m_scene.web.positions().size())
            .arg(m_published.size())
            .arg(missing)
            .arg((m_excused - m_published).size())
            .arg(m_excused.size())
            .arg(m_violations.size()));
    return missing == 0;
}

bool Soak::isFlat()
{
    const int quarter = m_samples.size() / 4;
    if (quarter == 0) {
        say(QStringLiteral("too short to say whether memory grows"));
        return true;
    }
    QVector<qint64> early;
    QVector<qint64> late;
    for (int i = 0; i < quarter; ++i) {
        early.append(m_samples.at(i + 1).privateKb);
        late.append(m_samples.at(m_samples.size() - 1 - i).privateKb);
    }
    const qint64 growth = median(late) - median(early);
    const int descriptors = m_samples.last().descriptors - m_samples.at(1).descriptors;
    say(QStringLiteral("in the last third private memory grew by %1 kB, descriptors by %2")
            .arg(growth)
            .arg(descriptors));
    return growth <= allowedGrowthKb && descriptors <= 0;
}

void Soak::say(const QString &text)
{
    m_out << text << '\n' << Qt::flush;
}
