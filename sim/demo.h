// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "childprocess.h"
#include "city.h"
#include "daemonprocess.h"
#include "privatebus.h"
#include "simulatedphone.h"
#include "walk.h"
#include "walkdrawing.h"
#include "webservice.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QTextStream>
#include <QTimer>

/// A walk through the city with a phone in the pocket: the daemon finds out where it is, and the
/// screen says so.
class Demo : public QObject
{
    Q_OBJECT

public:
    Demo();
    ~Demo() override;

    /// Sets off; false, with a word on the screen, when something of the surroundings does not
    /// start. Should the client end later, so does the event loop, with EXIT_FAILURE.
    bool start();
    /// The summary line; true when there was any position.
    bool sumUp();
    QByteArray drawing() const { return m_drawing.svg(); }

Q_SIGNALS:
    /// Once round the walk; again at each step that follows.
    void roundDone();

private:
    bool startClient();
    void step();
    void setLocked(bool locked);
    void noteRequest();
    void readClient();
    void showPosition(const QJsonObject &position);
    void showStatus(const QString &status);
    void say(const QString &words);
    Walk::Seconds walkingTime() const;

    City m_city;
    const Walk m_walk;
    WalkDrawing m_drawing{m_city};
    PrivateBus m_bus;
    SimulatedPhone m_phone{m_bus.address()};
    WebService m_service;
    DaemonProcess m_daemon{m_bus.address()};
    ChildProcess m_client;

    QTimer m_stepTimer;
    QElapsedTimer m_clock;
    bool m_resting = false;
    bool m_locked = false;
    QPointF m_placeAtRequest; ///< where the phone was when the last request left it
    QVector<double> m_errors; ///< metres
    int m_insideAccuracy = 0;
    int m_repetitions = 0;
    QTextStream m_screen{stdout};
};
