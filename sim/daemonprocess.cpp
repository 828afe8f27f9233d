// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonprocess.h"

#include "waiting.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include <algorithm>

namespace {

constexpr auto startDeadline = std::chrono::seconds(30);

} // namespace

void DaemonProcess::write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("Cannot write %s", qUtf8Printable(path));
}

QByteArray DaemonProcess::contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

DaemonProcess::DaemonProcess(const QString &busAddress)
    : m_environment(QProcessEnvironment::systemEnvironment())
{
    QDir().mkpath(QFileInfo(settingsPath()).path());
    QDir().mkpath(QFileInfo(cachePath()).path());
    setEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS", busAddress);
    setEnvironmentVariable("QT_MESSAGE_PATTERN", "%{type}: %{message}");
    setEnvironmentVariable("QT_LOGGING_RULES", "default.debug=true");
    setEnvironmentVariable("QT_FORCE_STDERR_LOGGING", "1");
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setWorkingDirectory(m_directory.path());
    connect(&m_process, &QProcess::readyRead, this, &DaemonProcess::readLog);
}

DaemonProcess::~DaemonProcess()
{
    m_process.disconnect(this);
    kill();
}

void DaemonProcess::writeSettings(const QMap<QString, QString> &options) const
{
    removeSettings();
    QSettings settings(settingsPath(), QSettings::IniFormat);
    settings.beginGroup("settings");
    for (auto option = options.cbegin(); option != options.cend(); ++option)
        settings.setValue(option.key(), option.value());
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
    return m_process.waitForStarted();
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

bool DaemonProcess::waitUntilServing() const
{
    // The status is set last.
    return waitForLog("StatusAcquiring", startDeadline);
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
    for (const QByteArray &line : qAsConst(lines))
        m_log.append(QString::fromUtf8(line));
}
