// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "costs.h"

#include "privatebus.h"
#include "program.h"
#include "radiopicture.h"
#include "replyserver.h"
#include "simulatedphone.h"
#include "waiting.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QJsonArray>

#include <memory>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int rounds = 20;
constexpr int callsPerRound = 250;
constexpr int warmUpCalls = 300;
constexpr auto loadTime = milliseconds(400);
constexpr int loadRounds = 5;
constexpr int secondClientRounds = 100;

const QString positionInterface = QStringLiteral("org.freedesktop.Geoclue.Position");
const QString geoclueInterface = QStringLiteral("org.freedesktop.Geoclue");
const QString getPosition = QStringLiteral("GetPosition");

// Clients that ask again as soon as they are answered.
class Load : public QObject
{
    Q_OBJECT

public:
    Load(const QString &busAddress, const Program &program, int clients) : m_program(program)
    {
        for (int client = 0; client < clients; ++client) {
            m_clients.push_back(std::make_unique<BusConnection>(busAddress));
        }
    }

    double callsPerSecond()
    {
        m_answers = 0;
        m_stopping = false;
        const qint64 begin = monotonicNs();
        for (const auto &client : m_clients) {
            ask(**client);
        }
        waitUntil([] { return false; }, loadTime);
        const double rate = m_answers * 1e9 / static_cast<double>(monotonicNs() - begin);
        m_stopping = true;
        waitUntil([this] { return m_pending == 0; }, seconds(10));
        return rate;
    }

private:
    void ask(const QDBusConnection &client)
    {
        ++m_pending;
        auto *call = new QDBusPendingCallWatcher(
            client.asyncCall(m_program.makeCall(positionInterface, getPosition)), this);
        connect(call, &QDBusPendingCallWatcher::finished, this, [this, call, client] {
            call->deleteLater();
            --m_pending;
            ++m_answers;
            if (!m_stopping) {
                ask(client);
            }
        });
    }

    const Program &m_program;
    std::vector<std::unique_ptr<BusConnection>> m_clients;
    int m_answers = 0;
    int m_pending = 0;
    bool m_stopping = false;
};

// Notes when PositionChanged comes.
class Listener : public QObject
{
    Q_OBJECT

public:
    explicit Listener(QDBusConnection &bus)
    {
        bus.connect({}, QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa"),
            positionInterface, QStringLiteral("PositionChanged"), this, SLOT(positionChanged()));
    }

    qint64 lastNs = 0;

private Q_SLOTS:
    void positionChanged() { lastNs = monotonicNs(); }
};

QJsonArray secondClientDelays(const QString &busAddress, const Program &daemon)
{
    BusConnection first(busAddress);
    BusConnection second(busAddress);
    Listener listener(*second);
    daemon.addReference(*first);
    waitUntil([&] { return listener.lastNs != 0; }, seconds(10));
    QJsonArray delays;
    for (int round = 0; round < secondClientRounds; ++round) {
        listener.lastNs = 0;
        const qint64 begin = monotonicNs();
        second->asyncCall(daemon.makeCall(geoclueInterface, QStringLiteral("AddReference")));
        waitUntil([&] { return listener.lastNs != 0; }, seconds(10));
        delays.append(static_cast<double>(listener.lastNs - begin) / 1e6);
        daemon.call(*second, geoclueInterface, QStringLiteral("RemoveReference"));
    }
    return delays;
}

} // namespace

QJsonObject busCosts()
{
    const PrivateBus bus;
    ReplyServer server;
    SimulatedPhone phone(bus.address());
    showEntries(phone, 20);
    phone.start();
    Program floor(floorSubject(), bus.address());
    Program daemon(daemonSubject(), bus.address());
    daemon.writeSettings({{QStringLiteral("apikey"), QStringLiteral("key")},
        {QStringLiteral("link"), server.link()}});
    floor.start();
    daemon.start();
    const QJsonArray delays = secondClientDelays(bus.address(), daemon);
    // Holds the daemon without a timer of the cycle in the way: no key, no request.
    BusConnection client(bus.address());

    QJsonObject result{{QStringLiteral("secondClient"), delays}};
    const QVector<Program *> programs{&floor, &daemon};
    for (Program *program : programs) {
        for (int call = 0; call < warmUpCalls; ++call) {
            program->call(*client, positionInterface, getPosition);
        }
    }
    QMap<QString, QJsonArray> roundTrips;
    QMap<QString, QJsonArray> processorUs;
    for (int round = 0; round < rounds; ++round) {
        for (Program *program : programs) {
            const qint64 before = program->processorNs();
            for (int call = 0; call < callsPerRound; ++call) {
                const qint64 ns = program->call(*client, positionInterface, getPosition);
                roundTrips[program->name()].append(static_cast<double>(ns) / 1e6);
            }
            const auto ns = static_cast<double>(program->processorNs() - before);
            processorUs[program->name()].append(ns / 1e3 / callsPerRound);
        }
    }
    QJsonObject rates;
    for (const int clients : {1, 10, 100}) {
        QMap<QString, QJsonArray> samples;
        for (int round = 0; round < loadRounds; ++round) {
            for (Program *program : programs) {
                Load load(bus.address(), *program, clients);
                samples[program->name()].append(load.callsPerSecond());
            }
        }
        rates.insert(QString::number(clients),
            QJsonObject{{floor.name(), samples.value(floor.name())},
                {daemon.name(), samples.value(daemon.name())}});
    }
    const auto both = [&](const QMap<QString, QJsonArray> &samples) {
        return QJsonObject{{floor.name(), samples.value(floor.name())},
            {daemon.name(), samples.value(daemon.name())}};
    };
    result.insert(QStringLiteral("roundTrip"), both(roundTrips));
    result.insert(QStringLiteral("processorUsPerCall"), both(processorUs));
    result.insert(QStringLiteral("callsPerSecond"), rates);
    return result;
}

#include "buscosts.moc"
