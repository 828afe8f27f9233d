// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "busconnection.h"
#include "childprocess.h"
#include "polltimeouts.h"
#include "scratchdirectory.h"

#include <QDBusServiceWatcher>
#include <QFile>
#include <QJsonObject>

// What to run: the first word of the command is the program.
struct Subject
{
    QString name;
    QString busName;
    QStringList command;
};

Subject daemonSubject();
Subject floorSubject();
Subject networkFloorSubject();
// The same program with the ends of its waits noted in a file "waits" of its directory.
Subject watched(const Subject &subject);
// The same program with a clock that runs so many times faster.
Subject accelerated(const Subject &subject, int factor);

// Nanoseconds of the monotonic clock, the same for all processes.
qint64 monotonicNs();

// Reads the figure after "NAME:" in a file of /proc.
qint64 procFigure(const QString &file, const QByteArray &name);

// A subject, run in a temporary directory of its own.
class Program : public QObject
{
    Q_OBJECT

public:
    using Options = QMap<QString, QString>;

    Program(Subject subject, const QString &busAddress);
    ~Program() override;

    const QString &name() const { return m_subject.name; }
    qint64 processId() const { return m_process.processId(); }
    // Of a watched program.
    const PollTimeouts &timeouts() const { return *m_timeouts; }
    // Writes the section "settings" of the settings file.
    void writeSettings(const Options &options) const;

    // What it took from exec to the name owned.
    struct Start
    {
        double ms;
        double processorMs;
    };

    // Starts it and waits until it owns its name.
    Start start();
    void stop();

    // Private dirty and proportional memory, in KiB, and the number of threads.
    QJsonObject memory() const;
    // How often each thread of it has gone to sleep so far.
    QMap<QString, qint64> sleeps() const;
    // Nanoseconds of processor time so far.
    qint64 processorNs() const;

    // Calls a method of the daemon's object without arguments and waits for the answer;
    // nanoseconds.
    qint64 call(
        const QDBusConnection &client, const QString &interface, const QString &method) const;
    QDBusMessage makeCall(const QString &interface, const QString &method) const;
    void addReference(const QDBusConnection &client) const;

private:
    // Notes when it passes from this program to the other.
    class Process : public ChildProcess
    {
    public:
        Process();
        ~Process() override;
        qint64 execNs() const { return *m_execNs; }

    protected:
        void setupChildProcess() override;

    private:
        qint64 *m_execNs; // shared with the child
    };

    QStringList tasks() const;

    const Subject m_subject;
    BusConnection m_connection;
    QDBusServiceWatcher m_watcher;
    qint64 m_ownedNs = 0;
    ScratchDirectory m_directory;
    QFile m_waits;
    PollTimeouts *m_timeouts = nullptr; // in the file
    Process m_process;
};
