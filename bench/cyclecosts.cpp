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
#include <QJsonArray>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int cycles = 10;
// Later than the request and before the phone tells its cells anew, so that nothing overlaps.
constexpr int replyDelayMs = 150;
constexpr auto cellDelay = milliseconds(300);

// Follows the cycles of the daemon from outside.
class Observer : public QObject
{
    Q_OBJECT

public:
    explicit Observer(QDBusConnection &bus)
    {
        bus.connect({}, QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa"),
            QStringLiteral("org.freedesktop.Geoclue.Position"), QStringLiteral("PositionChanged"),
            this, SLOT(positionChanged(QDBusMessage)));
    }

    qint64 publishedNs = 0;
    double latitude = 0;

private Q_SLOTS:
    void positionChanged(const QDBusMessage &signal)
    {
        const double published = signal.arguments().at(2).toDouble();
        if (published != latitude) {
            latitude = published;
            publishedNs = monotonicNs();
        }
    }
};

QJsonObject measureCycles(int entries)
{
    const PrivateBus bus;
    ReplyServer server(replyDelayMs);
    SimulatedPhone phone(bus.address());
    showEntries(phone, entries);
    phone.start();
    phone.ofono.setCellDelay(cellDelay);
    Program daemon(watched(daemonSubject()), bus.address());
    daemon.writeSettings(
        {{QStringLiteral("apikey"), QStringLiteral("key")}, {QStringLiteral("link"), server.link()},
            {QStringLiteral("update_interval"), QString::number(entries < 10000 ? 1 : 2)},
            {QStringLiteral("enable_request_filter"), QStringLiteral("false")}});
    BusConnection client(bus.address());
    Observer observer(*client);
    daemon.start();
    waitUntil([] { return false; }, seconds(2));
    daemon.addReference(*client);

    QJsonArray sending;
    QJsonArray publishing;
    for (int cycle = 1; cycle <= cycles; ++cycle) {
        const bool published = waitUntil(
            [&] { return observer.latitude == ReplyServer::latitudeOf(cycle); }, seconds(20));
        if (!published) {
            qFatal("No position in cycle %d with %d entries", cycle, entries);
        }
        const qint64 tickNs = daemon.timeouts().lastNs;
        // The first cycles still learn the picture and connect; another timer may be the last one.
        if (cycle > 2 && tickNs < server.requestNs()) {
            sending.append(static_cast<double>(server.requestNs() - tickNs) / 1e6);
            publishing.append(static_cast<double>(observer.publishedNs - server.replyNs()) / 1e6);
        }
    }
    return {{QStringLiteral("sending"), sending}, {QStringLiteral("publishing"), publishing},
        {QStringLiteral("requestBytes"),
            static_cast<double>(server.traffic().bytes) / server.traffic().requests}};
}

} // namespace

QJsonObject cycleCosts()
{
    QJsonObject result;
    for (const int entries : {10, 100, 1000, 10000}) {
        result.insert(QString::number(entries), measureCycles(entries));
    }
    return result;
}

#include "cyclecosts.moc"
