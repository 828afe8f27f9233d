// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "program.h"

#include "waiting.h"

#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QElapsedTimer>
#include <QSettings>

using namespace std::chrono_literals;

namespace {

constexpr auto startDeadline = 60s;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList threadsOf(qint64 processId)
{
    return QDir(QString("/proc/%1/task").arg(processId))
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

double processorMsOf(qint64 processId)
{
    double ns = 0;
    for (const QString &thread : threadsOf(processId)) {
        const QString file = QString("/proc/%1/task/%2/schedstat").arg(processId).arg(thread);
        ns += contentOf(file).split(' ').first().toDouble();
    }
    return ns / 1e6;
}

} // namespace

Program floorProgram()
{
    return {"floor", "org.ondravexa.Floor", {ONDRAVEXA_FLOOR}};
}

Program daemonProgram()
{
    return {"daemon", "org.freedesktop.Geoclue.Providers.OndraVexa", {ONDRAVEXA_DAEMON}};
}

QVector<Program> desktopPrograms()
{
    const QString program = "/usr/libexec/geoclue";
    if (!QFile::exists(program))
        return {};
    return {{"desktop's service", "org.freedesktop.GeoClue2", {program, "--timeout=0"}}};
}

Run::Run(const Program &program, const QStringList &wrapper)
{
    QSettings(
        m_directory.filePath("var/lib/geoclue/providers/vexa/settings.conf"), QSettings::IniFormat)
        .setValue("settings/update_interval", "60");
    QDir(m_directory.path()).mkpath("srv/shared/org.ondravexa/geoclue");

    bool owned = false;
    const QDBusServiceWatcher watcher(
        program.busName, *m_client, QDBusServiceWatcher::WatchForRegistration);
    QObject::connect(
        &watcher, &QDBusServiceWatcher::serviceRegistered, &m_process, [&owned] { owned = true; });
    // A round trip, so that the bus knows of the watch.
    m_client->interface()->isServiceRegistered(program.busName);

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address());
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(m_directory.path());
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    QStringList command = wrapper + program.command;
    const QString executable = command.takeFirst();
    QElapsedTimer sinceFork;
    sinceFork.start();
    m_process.start(executable, command);
    if (!waitUntil([&owned] { return owned; }, startDeadline))
        qFatal("%s does not take its name", qUtf8Printable(program.name));
    m_wallMs = static_cast<double>(sinceFork.nsecsElapsed()) / 1e6;
    m_processorMs = processorMsOf(processId());
}

Run::~Run()
{
    m_process.kill();
    m_process.waitForFinished();
}

QByteArray Run::terminate()
{
    m_process.terminate();
    m_process.waitForFinished();
    return m_process.readAll();
}

void pass(std::chrono::milliseconds time)
{
    waitUntil([] { return false; }, time);
}

qint64 procFigure(qint64 processId, const QString &file, const QByteArray &name)
{
    const QString path = QString("/proc/%1/%2").arg(processId).arg(file);
    const QList<QByteArray> lines = contentOf(path).split('\n');
    const QByteArray label = name + ':';
    for (const QByteArray &line : lines)
        if (line.startsWith(label))
            return line.mid(label.size()).simplified().split(' ').first().toLongLong();
    qFatal("No %s in %s", name.constData(), qUtf8Printable(path));
}

QMap<QString, qint64> sleeps(qint64 processId)
{
    QMap<QString, qint64> counts;
    for (const QString &thread : threadsOf(processId))
        counts.insert(thread,
            procFigure(
                processId, QString("task/%1/status").arg(thread), "voluntary_ctxt_switches"));
    return counts;
}
