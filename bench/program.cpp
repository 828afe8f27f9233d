// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "program.h"

#include "waiting.h"

#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QSettings>

#include <ctime>
#include <sys/mman.h>
#include <utility>

namespace {

constexpr auto startDeadline = std::chrono::seconds(20);
constexpr qint64 nsPerSecond = 1000000000;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

Subject daemonSubject()
{
    return {QStringLiteral("daemon"), QStringLiteral("org.freedesktop.Geoclue.Providers.OndraVexa"),
        {QStringLiteral(ONDRAVEXA_DAEMON)}};
}

Subject floorSubject()
{
    return {QStringLiteral("floor"), QStringLiteral("org.ondravexa.Floor"),
        {QStringLiteral(ONDRAVEXA_FLOOR)}};
}

Subject networkFloorSubject()
{
    return {QStringLiteral("floor with network"), QStringLiteral("org.ondravexa.Floor"),
        {QStringLiteral(ONDRAVEXA_FLOOR_NETWORK)}};
}

Subject watched(const Subject &subject)
{
    Subject result = subject;
    result.name += QStringLiteral(", watched");
    result.command
        = QStringList{QStringLiteral("env"), QStringLiteral("LD_PRELOAD=" ONDRAVEXA_POLL_TIMEOUTS),
              QStringLiteral("ONDRAVEXA_POLL_TIMEOUTS=waits")}
        + subject.command;
    return result;
}

Subject accelerated(const Subject &subject, int factor)
{
    Subject fast = subject;
    fast.command = QStringList{QStringLiteral("env"),
                       QStringLiteral("LD_PRELOAD=/usr/$LIB/faketime/libfaketimeMT.so.1"),
                       QStringLiteral("FAKETIME_DISABLE_SHM=1"),
                       QStringLiteral("FAKETIME=+0 x%1").arg(factor)}
        + subject.command;
    return fast;
}

qint64 monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * nsPerSecond + now.tv_nsec;
}

qint64 procFigure(const QString &file, const QByteArray &name)
{
    const QList<QByteArray> lines = contentOf(file).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':')) {
            return line.mid(name.size() + 1).simplified().split(' ').first().toLongLong();
        }
    }
    qFatal("No %s in %s", name.constData(), qUtf8Printable(file));
}

Program::Process::Process()
    : m_execNs(static_cast<qint64 *>(
        mmap(nullptr, sizeof(qint64), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
{
}

Program::Process::~Process()
{
    munmap(m_execNs, sizeof(qint64));
}

void Program::Process::setupChildProcess()
{
    ChildProcess::setupChildProcess();
    *m_execNs = monotonicNs();
}

Program::Program(Subject subject, const QString &busAddress)
    : m_subject(std::move(subject)), m_connection(busAddress),
      m_watcher(m_subject.busName, *m_connection, QDBusServiceWatcher::WatchForRegistration)
{
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this,
        [this] { m_ownedNs = monotonicNs(); });
    QDir(m_directory.path()).mkpath(QStringLiteral("var/lib/geoclue/providers/vexa"));
    QDir(m_directory.path()).mkpath(QStringLiteral("srv/shared/org.ondravexa/geoclue"));
    m_waits.setFileName(m_directory.filePath(QStringLiteral("waits")));
    if (!m_waits.open(QIODevice::ReadWrite) || !m_waits.resize(sizeof(PollTimeouts))) {
        qFatal("Cannot write %s", qUtf8Printable(m_waits.fileName()));
    }
    m_timeouts = reinterpret_cast<PollTimeouts *>(m_waits.map(0, sizeof(PollTimeouts)));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(m_directory.path());
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setStandardErrorFile(QProcess::nullDevice());
}

Program::~Program()
{
    stop();
}

void Program::writeSettings(const Options &options) const
{
    QSettings settings(
        m_directory.filePath(QStringLiteral("var/lib/geoclue/providers/vexa/settings.conf")),
        QSettings::IniFormat);
    settings.beginGroup(QStringLiteral("settings"));
    for (auto option = options.cbegin(); option != options.cend(); ++option) {
        settings.setValue(option.key(), option.value());
    }
}

Program::Start Program::start()
{
    m_ownedNs = 0;
    m_process.start(m_subject.command.first(), m_subject.command.mid(1));
    if (!waitUntil([this] { return m_ownedNs != 0; }, startDeadline)) {
        qFatal("%s has not taken its name", qUtf8Printable(m_subject.name));
    }
    return {static_cast<double>(m_ownedNs - m_process.execNs()) / 1e6,
        static_cast<double>(processorNs()) / 1e6};
}

void Program::stop()
{
    m_process.kill();
    m_process.waitForFinished();
}

QJsonObject Program::memory() const
{
    const QString rollup = QStringLiteral("/proc/%1/smaps_rollup").arg(processId());
    return {{QStringLiteral("privateDirtyKib"), procFigure(rollup, "Private_Dirty")},
        {QStringLiteral("proportionalKib"), procFigure(rollup, "Pss")},
        {QStringLiteral("threads"), tasks().size()}};
}

QMap<QString, qint64> Program::sleeps() const
{
    QMap<QString, qint64> sleeps;
    for (const QString &task : tasks()) {
        sleeps.insert(
            task, procFigure(task + QStringLiteral("/status"), "voluntary_ctxt_switches"));
    }
    return sleeps;
}

qint64 Program::processorNs() const
{
    qint64 sum = 0;
    for (const QString &task : tasks()) {
        sum += contentOf(task + QStringLiteral("/schedstat")).split(' ').first().toLongLong();
    }
    return sum;
}

QStringList Program::tasks() const
{
    const QString directory = QStringLiteral("/proc/%1/task/").arg(processId());
    QStringList paths = QDir(directory).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (QString &path : paths) {
        path.prepend(directory);
    }
    return paths;
}

QDBusMessage Program::makeCall(const QString &interface, const QString &method) const
{
    return QDBusMessage::createMethodCall(m_subject.busName,
        QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa"), interface, method);
}

qint64 Program::call(
    const QDBusConnection &client, const QString &interface, const QString &method) const
{
    const QDBusMessage message = makeCall(interface, method);
    const qint64 begin = monotonicNs();
    const QDBusMessage reply = client.call(message);
    const qint64 end = monotonicNs();
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qFatal("%s: %s", qUtf8Printable(method), qUtf8Printable(reply.errorMessage()));
    }
    return end - begin;
}

void Program::addReference(const QDBusConnection &client) const
{
    call(client, QStringLiteral("org.freedesktop.Geoclue"), QStringLiteral("AddReference"));
}
