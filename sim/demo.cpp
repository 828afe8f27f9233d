// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "demo.h"

#include <QJsonDocument>
#include <QTime>

#include <algorithm>
#include <cmath>

namespace {

using Seconds = Walk::Seconds;
using namespace std::chrono_literals;

const QLatin1String filteredLine("Changes in cells or wlans are negligible - request filtered");

constexpr int updateIntervalSecs = 2;
constexpr int lockedIntervalSecs = 6;
constexpr auto stepPeriod = 250ms;

// 1.4 m/s is an unhurried walk.
constexpr double speedUp = 13;
constexpr double walkingSpeed = 1.4 * speedUp;
constexpr double restAtMetres = 330;
constexpr Seconds restTime = 9s;
constexpr Seconds lockAt = 33s;
constexpr Seconds unlockAt = 47s;

const QVector<QPointF> &wayThroughTown()
{
    static const QVector<QPointF> way{
        {110, 105}, {110, 195}, {205, 195}, {205, 280}, {400, 280}, {400, 105}};
    return way;
}

QString angle(double degrees, QChar positive, QChar negative)
{
    return QStringLiteral("%1° %2")
        .arg(std::abs(degrees), 0, 'f', 5)
        .arg(degrees < 0 ? negative : positive);
}

double median(QVector<double> values)
{
    auto *const middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Demo::Demo() : m_walk(wayThroughTown(), walkingSpeed, restAtMetres, restTime)
{
    m_city.registerWith(m_stage.service);
    connect(&m_stage.service, &GeolocationService::requestArrived, this, &Demo::noteRequest);
    connect(&m_stepTimer, &QTimer::timeout, this, &Demo::step);
}

Demo::~Demo()
{
    m_client.disconnect(this);
    // In good order, so that it gives its reference back.
    m_client.terminate();
    m_client.waitForFinished();
}

bool Demo::start()
{
    m_screen << QStringLiteral(
        "A walk of %1 s through a town on no map, %2 times as fast as on foot.\n")
                    .arg(std::lround(m_walk.roundTime().count()))
                    .arg(speedUp)
             << "Its bus: DBUS_SYSTEM_BUS_ADDRESS=" << m_stage.bus.address() << '\n';
    m_stage.phone.see(m_city.viewFrom(m_walk.placeAt(Seconds(0))));
    const bool running = m_stage.start({{QStringLiteral("apikey"), DaemonFixture::knownKey},
        {QStringLiteral("update_interval"), QString::number(updateIntervalSecs)},
        {QStringLiteral("background_update_interval"), QString::number(lockedIntervalSecs)},
        {QStringLiteral("keep_requests"), QStringLiteral("1")},
        {QStringLiteral("enable_request_filter"), QStringLiteral("true")}});
    if (!running) {
        m_screen << m_stage.daemon.log().join(QLatin1Char('\n'))
                 << "\nThe daemon did not come up.\n"
                 << Qt::flush;
        return false;
    }
    if (!startClient()) {
        m_screen << "The client did not start: " << m_client.errorString() << '\n' << Qt::flush;
        return false;
    }
    m_clock.start();
    m_stepTimer.start(stepPeriod);
    say(QStringLiteral("setting off; a position every %1 s is asked for").arg(updateIntervalSecs));
    return true;
}

bool Demo::startClient()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), m_stage.bus.address());
    m_client.setProcessEnvironment(environment);
    m_client.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(&m_client, &QProcess::readyReadStandardOutput, this, &Demo::readClient);
    connect(&m_client, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
        [] { QCoreApplication::exit(EXIT_FAILURE); });
    m_client.start(
        QStringLiteral(ONDRAVEXA_CLIENT), {QStringLiteral("--json"), QStringLiteral("watch")});
    return m_client.waitForStarted();
}

void Demo::step()
{
    const Seconds time = walkingTime();
    const Seconds round = m_walk.roundTime();
    const Seconds inRound(std::fmod(time.count(), round.count()));
    const QPointF place = m_walk.placeAt(time);
    m_stage.phone.see(m_city.viewFrom(place));
    m_drawing.addStep(place, m_locked);
    if (m_walk.restsAt(time) != m_resting) {
        m_resting = !m_resting;
        say(m_resting ? QStringLiteral(
                "the walker stands still; nothing changes, so the filter saves requests")
                      : QStringLiteral("the walker goes on"));
    }
    setLocked(inRound >= lockAt && inRound < unlockAt);
    if (time >= round) {
        Q_EMIT roundDone();
    }
}

void Demo::setLocked(bool locked)
{
    if (locked == m_locked) {
        return;
    }
    m_locked = locked;
    m_stage.phone.mce.setLockMode(locked ? QStringLiteral("locked") : QStringLiteral("unlocked"));
    say(locked ? QStringLiteral("the phone is locked; now every %1 s is enough")
                     .arg(lockedIntervalSecs)
               : QStringLiteral("the phone is unlocked; every %1 s again").arg(updateIntervalSecs));
}

void Demo::noteRequest()
{
    m_placeAtRequest = m_walk.placeAt(walkingTime());
}

void Demo::readClient()
{
    while (m_client.canReadLine()) {
        const QJsonObject line = QJsonDocument::fromJson(m_client.readLine()).object();
        const QString event = line.value(QLatin1String("event")).toString();
        if (event == QLatin1String("position")) {
            showPosition(line);
        } else if (event == QLatin1String("status")) {
            showStatus(line.value(event).toString());
        }
    }
}

void Demo::showPosition(const QJsonObject &position)
{
    if (position.value(QLatin1String("republished")).toBool()) {
        ++m_repetitions;
        return;
    }
    const Coordinate place{position.value(QLatin1String("latitude")).toDouble(),
        position.value(QLatin1String("longitude")).toDouble()};
    const double accuracy = position.value(QLatin1String("accuracy")).toDouble();
    const double error = distanceMetres(place, m_city.coordinateOf(m_placeAtRequest));
    m_errors.append(error);
    m_insideAccuracy += error <= accuracy ? 1 : 0;
    m_drawing.addPosition(m_city.pointOf(place), accuracy, m_placeAtRequest);
    say(QStringLiteral("%1  %2  ± %3 m, in truth %4 m off")
            .arg(angle(place.latitude, QLatin1Char('N'), QLatin1Char('S')),
                angle(place.longitude, QLatin1Char('E'), QLatin1Char('W')))
            .arg(std::lround(accuracy), 3)
            .arg(std::lround(error), 3));
}

void Demo::showStatus(const QString &status)
{
    static const QHash<QString, QString> words{
        {QStringLiteral("unavailable"), QStringLiteral("no position available")},
        {QStringLiteral("acquiring"), QStringLiteral("looking for a position")},
        {QStringLiteral("available"), QStringLiteral("position available")}};
    say(QStringLiteral("status: ") % words.value(status, status));
}

void Demo::say(const QString &words)
{
    m_screen << QTime::currentTime().toString(QStringLiteral("HH:mm:ss")) << "  " << words << '\n'
             << Qt::flush;
}

Walk::Seconds Demo::walkingTime() const
{
    return std::chrono::milliseconds(m_clock.elapsed());
}

bool Demo::sumUp()
{
    if (m_errors.isEmpty()) {
        m_screen << m_stage.daemon.log().join(QLatin1Char('\n')) << "\nNo position came.\n"
                 << Qt::flush;
        return false;
    }
    m_screen << QStringLiteral(
        "%1 positions (and %2 repetitions), median error %3 m, %4 within their accuracy; "
        "%5 requests sent, %6 saved by the filter.\n")
                    .arg(m_errors.size())
                    .arg(m_repetitions)
                    .arg(std::lround(median(m_errors)))
                    .arg(m_insideAccuracy)
                    .arg(m_stage.service.requests().size())
                    .arg(m_stage.daemon.logCount(filteredLine))
             << Qt::flush;
    return true;
}
