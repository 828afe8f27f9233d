// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "scene.h"

#include "waiting.h"

#include <QDBusArgument>
#include <QDir>
#include <QFile>

namespace {

const QString modemPath = QStringLiteral("/modem");

} // namespace

const ReportedPosition storedPosition{3, 1700000000, 55.75, 37.61, qQNaN(), 4, 120, 0};

Scene::Scene()
{
    setCells(1);
    setWlans(1);
}

QMap<QString, QString> Scene::settings() const
{
    return {{QStringLiteral("apikey"), knownKey}, {QStringLiteral("link"), web.link()},
        {QStringLiteral("update_interval"), QStringLiteral("1")},
        {QStringLiteral("keep_requests"), QStringLiteral("2")},
        {QStringLiteral("enable_request_filter"), QStringLiteral("false")}};
}

bool Scene::begin()
{
    return begin(settings());
}

bool Scene::begin(const QMap<QString, QString> &options)
{
    daemon.writeSettings(options);
    return beginAsIs();
}

bool Scene::beginAsIs()
{
    return startAsIs()
        && client.call(QStringLiteral("AddReference")).type() == QDBusMessage::ReplyMessage;
}

void Scene::heal()
{
    web.behave();
    for (SimulatedService *each :
        std::initializer_list<SimulatedService *>{&phone.ofono, &phone.connMan, &phone.mce}) {
        for (const char *method : {"GetModems", "GetServices", "get_tklock_mode"})
            each->behave(QString::fromLatin1(method));
        if (!each->isRunning())
            each->start();
    }
    phone.mce.setLockMode(QStringLiteral("unlocked"));
}

void Scene::setCells(int content)
{
    SimulatedModem modem;
    modem.path = modemPath;
    modem.servingCell = {{QStringLiteral("Technology"), QStringLiteral("lte")},
        {QStringLiteral("MobileCountryCode"), QStringLiteral("001")},
        {QStringLiteral("MobileNetworkCode"), QStringLiteral("01")},
        {QStringLiteral("CellId"), static_cast<uint>(content)},
        {QStringLiteral("TrackingAreaCode"), QVariant::fromValue(static_cast<ushort>(content))}};
    phone.ofono.setModems({modem});
}

void Scene::setWlans(int content)
{
    const QString path = QStringLiteral("/net/connman/service/wifi_%1").arg(content);
    const QString bssid = QStringLiteral("02:00:00:00:00:0%1").arg(content);
    phone.connMan.setServices({SimulatedConnMan::wlan(path, bssid, 60)});
}

bool Scene::seesLog(const QString &text, std::chrono::milliseconds deadline)
{
    const bool seen = daemon.waitForLog(text, deadline);
    note((seen ? QStringLiteral("“%1”") : QStringLiteral("not “%1”")).arg(text));
    return seen;
}

bool Scene::seesRequest(std::chrono::milliseconds deadline)
{
    const int before = web.requests().size();
    return waitUntil([this, before] { return web.requests().size() > before; }, deadline);
}

bool Scene::seesPosition(std::chrono::milliseconds deadline)
{
    const double later = LyingService::latitudeOf(web.requests().size()) - 1e-9;
    client.forget();
    return waitUntil(
        [this, later] {
            const auto changes = client.signalsNamed(QStringLiteral("PositionChanged"));
            return !changes.isEmpty()
                && ReportedPosition::ofMessage(changes.last()).latitude >= later;
        },
        deadline);
}

bool Scene::seesAnswer()
{
    return client.call(QStringLiteral("GetStatus")).type() == QDBusMessage::ReplyMessage;
}

QVariantMap Scene::options()
{
    return qdbus_cast<QVariantMap>(client.call(QStringLiteral("GetOptions")).arguments().value(0));
}

ReportedPosition Scene::position()
{
    return ReportedPosition::ofMessage(client.call(QStringLiteral("GetPosition")));
}

void Scene::note(const QString &text)
{
    if (!m_notes.contains(text))
        m_notes.append(text);
}

qint64 Scene::memoryKb(const QByteArray &name) const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(daemon.processId()));
    status.open(QIODevice::ReadOnly);
    const QByteArray all = status.readAll();
    const QByteArray after = all.mid(all.indexOf(name + ':') + name.size() + 1);
    return after.trimmed().split(' ').first().toLongLong();
}

int Scene::descriptors() const
{
    const QDir directory(QStringLiteral("/proc/%1/fd").arg(daemon.processId()));
    return directory.entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}
