// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "costs.h"

#include "city.h"
#include "privatebus.h"
#include "program.h"
#include "replyserver.h"
#include "simulatedphone.h"
#include "waiting.h"
#include "walk.h"

#include <QJsonArray>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using Seconds = Walk::Seconds;

constexpr int acceleration = 60;
constexpr Seconds hour(3600);
constexpr Seconds leadTime(90); // until the first requests are over
constexpr Seconds scanPeriod(10);
constexpr int flatJitter = 6; // per cent of ConnMan from the weakest to the strongest reading

enum class Life { Still, Jittering, WalkingAndRiding };

// A phone in the city, with a daemon, for an hour of accelerated time.
class Hour
{
public:
    Hour(Life life, bool filter, bool locked)
        : m_life(life), m_filter(filter), m_locked(locked), m_phone(m_bus.address()),
          m_daemon(accelerated(daemonSubject(), acceleration), m_bus.address()),
          m_client(m_bus.address())
    {
        m_daemon.writeSettings({{QStringLiteral("apikey"), QStringLiteral("key")},
            {QStringLiteral("link"), m_server.link()},
            {QStringLiteral("enable_request_filter"),
                filter ? QStringLiteral("true") : QStringLiteral("false")}});
        m_phone.mce.setLockMode(locked ? QStringLiteral("locked") : QStringLiteral("unlocked"));
        scan(Seconds(0));
        m_phone.start();
        m_daemon.start();
        // The first request would come too soon, as the phone's services are not accelerated.
        waitUntil([] { return false; }, std::chrono::milliseconds(150));
        m_daemon.addReference(*m_client);
    }

    void scan(Seconds time)
    {
        const bool seenBefore = !m_phone.connMan.services().isEmpty();
        if (m_life == Life::Still && seenBefore) {
            return;
        }
        RadioView view = m_city.viewFrom(placeAt(time));
        for (RadioView::Wlan &wlan : view.wlans) {
            const int jitter = m_life == Life::Jittering ? m_random.bounded(flatJitter + 1) : 0;
            wlan.strength = std::max(1, wlan.strength - jitter);
        }
        m_phone.see(view);
    }

    void begin() { m_before = m_server.traffic(); }

    QJsonObject result() const
    {
        const ReplyServer::Traffic traffic = m_server.traffic();
        const QMap<Life, QString> names{{Life::Still, QStringLiteral("still")},
            {Life::Jittering, QStringLiteral("jittering")},
            {Life::WalkingAndRiding, QStringLiteral("walking and riding")}};
        return {{QStringLiteral("phone"), names.value(m_life)},
            {QStringLiteral("filter"), m_filter}, {QStringLiteral("locked"), m_locked},
            {QStringLiteral("requests"), traffic.requests - m_before.requests},
            {QStringLiteral("connections"), traffic.connections - m_before.connections},
            {QStringLiteral("bytes"), traffic.bytes - m_before.bytes}};
    }

private:
    // Half of the time on foot, half of it in a tram.
    QPointF placeAt(Seconds time) const
    {
        if (m_life != Life::WalkingAndRiding) {
            return {250, 150};
        }
        const bool rides = time > hour / 2;
        const Walk way({{20, 20}, {580, 20}, {580, 370}, {20, 370}}, rides ? 8.0 : 1.4, 300,
            Seconds(rides ? 20 : 300));
        return way.placeAt(time);
    }

    const Life m_life;
    const bool m_filter;
    const bool m_locked;
    City m_city;
    QRandomGenerator m_random{7};
    ReplyServer m_server;
    PrivateBus m_bus;
    SimulatedPhone m_phone;
    Program m_daemon;
    BusConnection m_client;
    ReplyServer::Traffic m_before{};
};

} // namespace

QJsonObject trafficCosts()
{
    std::vector<std::unique_ptr<Hour>> hours;
    for (const Life life : {Life::Still, Life::Jittering, Life::WalkingAndRiding}) {
        for (const bool filter : {true, false}) {
            for (const bool locked : {false, true}) {
                hours.push_back(std::make_unique<Hour>(life, filter, locked));
            }
        }
    }

    const qint64 begin = monotonicNs();
    const auto now = [begin] {
        return Seconds(static_cast<double>(monotonicNs() - begin) / 1e9 * acceleration);
    };
    QTimer scanning;
    QObject::connect(&scanning, &QTimer::timeout, [&] {
        for (const auto &each : hours) {
            each->scan(now());
        }
    });
    scanning.start(
        std::chrono::duration_cast<std::chrono::milliseconds>(scanPeriod / acceleration));
    waitUntil([&] { return now() >= leadTime; }, std::chrono::minutes(1));
    for (const auto &each : hours) {
        each->begin();
    }
    waitUntil([&] { return now() >= leadTime + hour; }, std::chrono::minutes(5));
    QJsonArray results;
    for (const auto &each : hours) {
        results.append(each->result());
    }
    return {{QStringLiteral("hours"), results}};
}
