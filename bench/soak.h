// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "city.h"
#include "scene.h"
#include "walk.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTextStream>
#include <QTimer>

// A long walk with a phone that asks for its position every second, while things around the daemon
// fail at random. At first the daemon is killed now and then, too; in the last third one process
// lives through it all, and what it holds of memory and descriptors must not grow.
class Soak : public QObject
{
    Q_OBJECT

public:
    Soak(std::chrono::minutes length, quint32 seed);

    // True when every position is accounted for and nothing has grown.
    bool run();

private:
    // What the daemon holds while all is well and calm.
    struct Sample
    {
        qint64 proportionalKb;
        qint64 privateKb;
        int descriptors;
    };

    void walk();
    void warmUp();
    void fail();
    void restartDaemon();
    void rest(std::chrono::milliseconds time);
    void takeSample();
    void account();
    bool settle();
    bool isFlat();
    void say(const QString &text);
    qint64 runningMs() const { return m_clock.elapsed(); }
    bool isLastThird() const { return runningMs() >= m_lengthMs / 3 * 2; }

    const qint64 m_lengthMs;
    QRandomGenerator m_random;
    Scene m_scene;
    City m_city;
    Walk m_walk;
    QTimer m_step;
    QElapsedTimer m_clock;
    bool m_warm = false;
    QVector<Sample> m_samples; // since it is warm
    QMap<QString, int> m_faults;

    int m_lastSerial = -1;
    QSet<int> m_published;
    QSet<int> m_excused; // answered just before the daemon was killed
    QStringList m_violations;
    QTextStream m_out{stdout};
};
