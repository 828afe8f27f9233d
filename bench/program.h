// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "busconnection.h"
#include "childprocess.h"
#include "privatebus.h"
#include "scratchdirectory.h"

#include <QMap>
#include <QVector>

#include <chrono>

/// Something to measure: a program that takes a name on the bus.
struct Program
{
    QString name; ///< in the report
    QString busName;
    QStringList command;
};

Program floorProgram();
Program daemonProgram();
/// The desktop's location service, on machines that have it.
QVector<Program> desktopPrograms();

/// A program at work, alone on a bus of its own. The daemon finds settings without a key, so that
/// it sends no requests.
class Run
{
public:
    /// Starts it, by way of the wrapper, and waits until it owns its name.
    explicit Run(const Program &program, const QStringList &wrapper = {});
    ~Run();
    Q_DISABLE_COPY(Run)

    qint64 processId() const { return m_process.processId(); }
    /// From the fork until the name was owned: on the wall, and of processor time.
    double wallMs() const { return m_wallMs; }
    double processorMs() const { return m_processorMs; }
    /// A client on the same bus.
    QDBusConnection &client() { return *m_client; }
    /// Ends it with SIGTERM; what it has said on both channels.
    QByteArray terminate();

private:
    PrivateBus m_bus;
    BusConnection m_client{m_bus.address()};
    ScratchDirectory m_directory;
    ChildProcess m_process;
    double m_wallMs = 0;
    double m_processorMs = 0;
};

/// Lets the event loop run.
void pass(std::chrono::milliseconds time);
/// The figure after "NAME:" in a file below /proc/PID.
qint64 procFigure(qint64 processId, const QString &file, const QByteArray &name);
/// How often each thread of a process has gone to sleep so far, by thread ID.
QMap<QString, qint64> sleeps(qint64 processId);
