// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonprocess.h"

#include "waiting.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include <algorithm>

namespace {

const QLatin1String settingsFile("var/lib/geoclue/providers/vexa/settings.conf");
const QLatin1String cacheFile("srv/shared/org.ondravexa/geoclue/.ondravexa-cache");

constexpr int startDeadlineMs = 10000;

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("Cannot write %s", qUtf8Printable(path));
    }
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

DaemonProcess::DaemonProcess(const QString &busAddress)
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    QDir().mkpath(QFileInfo(settingsPath()).path());
    QDir().mkpath(QFileInfo(cachePath()).path());
    setEnvironmentVariable(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
    setEnvironmentVariable(
        QStringLiteral("QT_MESSAGE_PATTERN"), QStringLiteral("%{type}: %{message}"));
    setEnvironmentVariable(
        QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("default.debug=true"));
    setEnvironmentVariable(QStringLiteral("QT_FORCE_STDERR_LOGGING"), QStringLiteral("1"));
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setWorkingDirectory(m_directory.path());
    connect(&m_process, &QProcess::readyRead, this, &DaemonProcess::readLog);
}

DaemonProcess::~DaemonProcess()
{
    m_process.disconnect(this);
    kill();
}

QString DaemonProcess::settingsPath() const
{
    return m_directory.filePath(settingsFile);
}

QString DaemonProcess::cachePath() const
{
    return m_directory.filePath(cacheFile);
}

void DaemonProcess::writeSettings(const QMap<QString, QString> &options) const
{
    removeSettings();
    QSettings settings(settingsPath(), QSettings::IniFormat);
    settings.beginGroup(QStringLiteral("settings"));
    for (auto option = options.cbegin(); option != options.cend(); ++option) {
        settings.setValue(option.key(), option.value());
    }
}

void DaemonProcess::writeRawSettings(const QByteArray &content) const
{
    write(settingsPath(), content);
}

void DaemonProcess::writeCache(const QByteArray &content) const
{
    write(cachePath(), content);
}

void DaemonProcess::removeSettings() const
{
    QFile::remove(settingsPath());
}

QByteArray DaemonProcess::settings() const
{
    return contentOf(settingsPath());
}

QByteArray DaemonProcess::cache() const
{
    return contentOf(cachePath());
}

void DaemonProcess::setEnvironmentVariable(const QString &name, const QString &value)
{
    if (value.isNull()) {
        m_environment.remove(name);
    } else {
        m_environment.insert(name, value);
    }
}

bool DaemonProcess::start()
{
    m_log.clear();
    m_unfinishedLine.clear();
    m_process.setProcessEnvironment(m_environment);
    QStringList command = m_wrapper;
    command.append(QStringLiteral(ONDRAVEXA_SANDBOXED_DAEMON));
    const QString program = command.takeFirst();
    m_process.start(program, command);
    return m_process.waitForStarted(startDeadlineMs);
}

void DaemonProcess::terminate()
{
    m_process.terminate();
    m_process.waitForFinished();
}

void DaemonProcess::kill()
{
    m_process.kill();
    m_process.waitForFinished();
}

int DaemonProcess::logCount(const QString &text) const
{
    return static_cast<int>(std::count_if(m_log.cbegin(), m_log.cend(),
        [&text](const QString &line) { return line.contains(text); }));
}

bool DaemonProcess::waitForLog(
    const QString &text, std::chrono::milliseconds deadline, int count) const
{
    return waitUntil([this, &text, count] { return logCount(text) >= count; }, deadline);
}

bool DaemonProcess::waitForEnd(std::chrono::milliseconds deadline) const
{
    return waitUntil([this] { return !isRunning(); }, deadline);
}

void DaemonProcess::readLog()
{
    m_unfinishedLine += m_process.readAll();
    QList<QByteArray> lines = m_unfinishedLine.split('\n');
    m_unfinishedLine = lines.takeLast();
    for (const QByteArray &line : qAsConst(lines)) {
        m_log.append(QString::fromUtf8(line));
    }
}
