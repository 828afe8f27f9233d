// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "daemonfixture.h"
#include "lyingservice.h"

#include <QStringList>

// A position for the cache file.
extern const ReportedPosition storedPosition;

// A daemon to be put to the test, with a service that lies. It asks for a position every second; a
// locked phone stops that.
class Scene : public DaemonFixture
{
public:
    Scene();

    // The settings with which begin() starts the daemon.
    QMap<QString, QString> settings() const;
    // Starts the daemon with these settings and adds the client's reference.
    bool begin();
    bool begin(const QMap<QString, QString> &options);
    // As begin(), with the settings file as it is.
    bool beginAsIs();
    // Ends all that a fault does to phone and web service.
    void heal();

    // For the next start of the daemon: a shell script that runs before it, in its directory and a
    // mount namespace of its own, and may mount; false, and skipped, where that is not allowed.
    bool mountBefore(const QString &script);
    // For the next start: takes away the privileges by which root passes file modes.
    void dropPrivileges();
    // For the next start: a clock that setClock() moves, while the monotonic clock goes on as it
    // is; false, and skipped, where there is none.
    bool fakeClock();
    void setClock(int offsetSeconds) const;

    // What a service of the phone reports: content 1, or content 2 that differs in everything.
    void setCells(int content);
    void setWlans(int content);

    // Wait for it to happen from now on, and note it down; false when it does not.
    bool seesLog(const QString &text, std::chrono::milliseconds deadline = longDeadline);
    bool seesRequest(std::chrono::milliseconds deadline = longDeadline);
    // A position that was asked for after this call.
    bool seesPosition(std::chrono::milliseconds deadline = longDeadline);
    // A reply of the daemon.
    bool seesAnswer();

    // Writes down what has been seen.
    void note(const QString &text);
    const QStringList &notes() const { return m_notes; }

    // Says why this cannot be tried on this machine.
    void skip(const QString &reason) { m_skipReason = reason; }
    const QString &skipReason() const { return m_skipReason; }

    // What Linux says about the daemon: a figure of /proc/PID/status or smaps_rollup in kB, open
    // descriptors.
    qint64 memoryKb(const QByteArray &name) const;
    int descriptors() const;

    LyingService web;

private:
    QStringList m_notes;
    QString m_skipReason;
};
