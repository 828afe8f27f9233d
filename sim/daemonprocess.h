// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "childprocess.h"
#include "scratchdirectory.h"

#include <QFile>
#include <QMap>

#include <chrono>

/// The daemon, run in a temporary directory of its own on a private bus.
class DaemonProcess : public QObject
{
    Q_OBJECT

public:
    explicit DaemonProcess(const QString &busAddress);
    ~DaemonProcess() override;

    QString settingsPath() const { return m_directory.filePath(settingsFile); }
    QString cachePath() const { return m_directory.filePath(cacheFile); }
    /// Writes the section "settings" of the settings file anew, from option names and their texts.
    void writeSettings(const QMap<QString, QString> &options) const;
    /// Write a file anew with exactly this content.
    void writeRawSettings(const QByteArray &content) const { write(settingsPath(), content); }
    void writeCache(const QByteArray &content) const { write(cachePath(), content); }
    void removeSettings() const { QFile::remove(settingsPath()); }
    /// The contents of the two files; empty when there is none to be read.
    QByteArray settings() const { return contentOf(settingsPath()); }
    QByteArray cache() const { return contentOf(cachePath()); }
    /// For the next start.
    void setEnvironmentVariable(const QString &name, const QString &value)
    {
        m_environment.insert(name, value);
    }
    /// For the next start: the command that runs the daemon, such as valgrind with its options.
    void setWrapper(const QStringList &command) { m_wrapper = command; }

    /// Starts the daemon in its directory, again as often as wanted; the log begins anew. False
    /// when the program cannot be run.
    bool start();
    /// Ends it at once and waits for the end.
    void kill();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    qint64 processId() const { return m_process.processId(); }
    /// Of the last run.
    int exitCode() const { return m_process.exitCode(); }
    bool crashed() const { return m_process.exitStatus() == QProcess::CrashExit; }

    /// All lines since the start, such as "warning: Valid key".
    const QStringList &log() const { return m_log; }
    /// How many lines of the log contain the text.
    int logCount(const QString &text) const;

    /// Run the event loop until it has happened; false when the deadline passes first.
    bool waitForLog(const QString &text, std::chrono::milliseconds deadline, int count = 1) const;
    /// All of it is registered on the bus.
    bool waitUntilServing() const;
    bool waitForEnd(std::chrono::milliseconds deadline) const;

private:
    static constexpr char settingsFile[] = "var/lib/geoclue/providers/vexa/settings.conf";
    static constexpr char cacheFile[] = "srv/shared/org.ondravexa/geoclue/.ondravexa-cache";

    static void write(const QString &path, const QByteArray &content);
    static QByteArray contentOf(const QString &path);
    void readLog();

    ScratchDirectory m_directory;
    QProcessEnvironment m_environment;
    QStringList m_wrapper;
    QByteArray m_unfinishedLine;
    QStringList m_log;
    ChildProcess m_process;
};
