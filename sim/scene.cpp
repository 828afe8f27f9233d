// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "scene.h"

#include "waiting.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace {

const QString modemPath = QStringLiteral("/modem");
const QString clockLibrary = QStringLiteral("/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1");

QString clockFile(const DaemonProcess &daemon)
{
    return daemon.settingsPath() + QStringLiteral(".clock");
}

} // namespace

const ReportedPosition storedPosition{3, 1700000000, 55.75, 37.61, qQNaN(), 4, 120, 0};

Scene::Scene()
{
    setCells(1);
    setWlans(1);
}

QMap<QString, QString> Scene::settings() const
{
    QMap<QString, QString> all = unfiltered();
    all.insert(QStringLiteral("link"), web.link());
    all.insert(QStringLiteral("keep_requests"), QStringLiteral("2"));
    return all;
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

bool Scene::mountBefore(const QString &script)
{
    QStringList namespaced{QStringLiteral("unshare"), QStringLiteral("--mount")};
    if (::geteuid() != 0)
        namespaced += {QStringLiteral("--map-current-user"), QStringLiteral("--keep-caps")};
    const QStringList attempt = namespaced
        + QStringList{QStringLiteral("mount"), QStringLiteral("-t"), QStringLiteral("tmpfs"),
            QStringLiteral("none"), QStringLiteral("/mnt")};
    if (QProcess::execute(attempt.first(), attempt.mid(1)) != 0) {
        skip(QStringLiteral("mounting is not allowed here"));
        return false;
    }
    daemon.setWrapper(namespaced
        + QStringList{
            QStringLiteral("sh"), QStringLiteral("-ec"), script + QStringLiteral("\nexec \"$0\"")});
    return true;
}

void Scene::dropPrivileges()
{
    if (::geteuid() == 0)
        daemon.setWrapper({QStringLiteral("setpriv"), QStringLiteral("--inh-caps=-all"),
            QStringLiteral("--bounding-set=-all")});
}

bool Scene::fakeClock()
{
#ifdef __SANITIZE_ADDRESS__
    skip(QStringLiteral("the address sanitizer must be the first library, the clock's too"));
    return false;
#endif
    if (!QFile::exists(clockLibrary)) {
        skip(QStringLiteral("the Debian package faketime is not installed"));
        return false;
    }
    daemon.setEnvironmentVariable(QStringLiteral("LD_PRELOAD"), clockLibrary);
    daemon.setEnvironmentVariable(QStringLiteral("FAKETIME_NO_CACHE"), QStringLiteral("1"));
    daemon.setEnvironmentVariable(
        QStringLiteral("FAKETIME_DONT_FAKE_MONOTONIC"), QStringLiteral("1"));
    daemon.setEnvironmentVariable(QStringLiteral("FAKETIME_TIMESTAMP_FILE"), clockFile(daemon));
    setClock(0);
    return true;
}

void Scene::setClock(int offsetSeconds) const
{
    QFile file(clockFile(daemon));
    const QByteArray offset
        = QByteArray(offsetSeconds < 0 ? "" : "+") + QByteArray::number(offsetSeconds) + '\n';
    if (!file.open(QIODevice::WriteOnly) || file.write(offset) != offset.size())
        qFatal("Cannot set the daemon's clock");
}

void Scene::setCells(int content)
{
    SimulatedModem modem;
    modem.path = modemPath;
    modem.servingCell = busDictionary(
        QStringLiteral("Technology s lte MobileCountryCode s 001 MobileNetworkCode s 01 "
                       "CellId u %1 TrackingAreaCode q %1")
            .arg(content)
            .toLatin1()
            .split(' '));
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

void Scene::note(const QString &text)
{
    if (!m_notes.contains(text))
        m_notes.append(text);
}

qint64 Scene::memoryKb(const QByteArray &name) const
{
    QByteArray all;
    for (const char *source : {"status", "smaps_rollup"}) {
        QFile file(
            QStringLiteral("/proc/%1/%2").arg(daemon.processId()).arg(QLatin1String(source)));
        file.open(QIODevice::ReadOnly);
        all += file.readAll();
    }
    const QByteArray label = '\n' + name + ':';
    return all.mid(all.indexOf(label) + label.size()).trimmed().split(' ').first().toLongLong();
}

int Scene::descriptors() const
{
    const QDir directory(QStringLiteral("/proc/%1/fd").arg(daemon.processId()));
    return directory.entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System).size();
}
