// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "demo.h"

#include "estimate.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTime>

#include <algorithm>
#include <cmath>

namespace {

using Seconds = Walk::Seconds;
using namespace std::chrono_literals;

const QLatin1String filteredLine("Changes in cells or wlans are negligible - request filtered");

const QString apiKey = "a-key-for-the-demo";
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
    return QString("%1° %2")
        .arg(std::abs(degrees), 0, 'f', 5)
        .arg(degrees < 0 ? negative : positive);
}

double median(QVector<double> values)
{
    const QVector<double>::iterator middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Demo::Demo() : m_walk(wayThroughTown(), walkingSpeed, restAtMetres, restTime)
{
    m_service.acceptKey(apiKey);
    m_service.setLocator(
        [this](const QJsonObject &request) { return estimatePosition(m_city, request); });
    connect(&m_service, &WebService::requestArrived, this, &Demo::noteRequest);
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
    m_screen << QString("A walk of %1 s through a town on no map, %2 times as fast as on foot.\n")
                    .arg(std::lround(m_walk.roundTime().count()))
                    .arg(speedUp)
             << "Its bus: DBUS_SYSTEM_BUS_ADDRESS=" << m_bus.address() << '\n';
    m_phone.see(m_city.viewFrom(m_walk.placeAt(Seconds(0))));
    m_daemon.writeSettings({{"apikey", apiKey}, {"link", m_service.link()},
        {"update_interval", QString::number(updateIntervalSecs)},
        {"background_update_interval", QString::number(lockedIntervalSecs)}, {"keep_requests", "1"},
        {"enable_request_filter", "true"}});
    if (!m_phone.start() || !m_daemon.start() || !m_daemon.waitUntilServing()) {
        m_screen << m_daemon.log().join('\n') << "\nThe daemon did not come up.\n" << Qt::flush;
        return false;
    }
    if (!startClient()) {
        m_screen << "The client did not start: " << m_client.errorString() << '\n' << Qt::flush;
        return false;
    }
    m_clock.start();
    m_stepTimer.start(stepPeriod);
    say(QString("setting off; a position every %1 s is asked for").arg(updateIntervalSecs));
    return true;
}

bool Demo::startClient()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address());
    m_client.setProcessEnvironment(environment);
    m_client.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(&m_client, &QProcess::readyReadStandardOutput, this, &Demo::readClient);
    connect(&m_client, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
        [] { QCoreApplication::exit(EXIT_FAILURE); });
    m_client.start(QStringLiteral(ONDRAVEXA_CLIENT), {"--json", "watch"});
    return m_client.waitForStarted();
}

void Demo::step()
{
    const Seconds time = walkingTime();
    const Seconds round = m_walk.roundTime();
    const Seconds inRound(std::fmod(time.count(), round.count()));
    const QPointF place = m_walk.placeAt(time);
    m_phone.see(m_city.viewFrom(place));
    m_drawing.addStep(place, m_locked);
    if (m_walk.restsAt(time) != m_resting) {
        m_resting = !m_resting;
        say(m_resting ? "the walker stands still; nothing changes, so the filter saves requests"
                      : "the walker goes on");
    }
    setLocked(inRound >= lockAt && inRound < unlockAt);
    if (time >= round)
        Q_EMIT roundDone();
}

void Demo::setLocked(bool locked)
{
    if (locked == m_locked)
        return;
    m_locked = locked;
    m_phone.mce.setLockMode(locked ? "locked" : "unlocked");
    say(locked ? QString("the phone is locked; now every %1 s is enough").arg(lockedIntervalSecs)
               : QString("the phone is unlocked; every %1 s again").arg(updateIntervalSecs));
}

void Demo::noteRequest()
{
    m_placeAtRequest = m_walk.placeAt(walkingTime());
}

void Demo::readClient()
{
    while (m_client.canReadLine()) {
        const QJsonObject line = QJsonDocument::fromJson(m_client.readLine()).object();
        const QString event = line.value("event").toString();
        if (event == "position")
            showPosition(line);
        else if (event == "status")
            showStatus(line.value(event).toString());
    }
}

void Demo::showPosition(const QJsonObject &position)
{
    if (position.value("republished").toBool()) {
        ++m_repetitions;
        return;
    }
    const Coordinate place{
        position.value("latitude").toDouble(), position.value("longitude").toDouble()};
    const double accuracy = position.value("accuracy").toDouble();
    const double error = distanceMetres(place, m_city.coordinateOf(m_placeAtRequest));
    m_errors.append(error);
    m_insideAccuracy += error <= accuracy ? 1 : 0;
    m_drawing.addPosition(m_city.pointOf(place), accuracy, m_placeAtRequest);
    say(QString("%1  %2  ± %3 m, in truth %4 m off")
            .arg(angle(place.latitude, 'N', 'S'), angle(place.longitude, 'E', 'W'))
            .arg(std::lround(accuracy), 3)
            .arg(std::lround(error), 3));
}

void Demo::showStatus(const QString &status)
{
    static const QHash<QString, QString> words{{"unavailable", "no position available"},
        {"acquiring", "looking for a position"}, {"available", "position available"}};
    say("status: " % words.value(status, status));
}

void Demo::say(const QString &words)
{
    m_screen << QTime::currentTime().toString("HH:mm:ss") << "  " << words << '\n' << Qt::flush;
}

Walk::Seconds Demo::walkingTime() const
{
    return std::chrono::milliseconds(m_clock.elapsed());
}

bool Demo::sumUp()
{
    if (m_errors.isEmpty()) {
        m_screen << m_daemon.log().join('\n') << "\nNo position came.\n" << Qt::flush;
        return false;
    }
    m_screen << QString(
        "%1 positions (and %2 repetitions), median error %3 m, %4 within their accuracy; "
        "%5 requests sent, %6 saved by the filter.\n")
                    .arg(m_errors.size())
                    .arg(m_repetitions)
                    .arg(std::lround(median(m_errors)))
                    .arg(m_insideAccuracy)
                    .arg(m_service.requests().size())
                    .arg(m_daemon.logCount(filteredLine))
             << Qt::flush;
    return true;
}
