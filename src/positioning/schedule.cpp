// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "positioning/updateinterval.h"

#include <QDateTime>

#include <limits>

namespace {

constexpr qint64 shortestStartDelayMs = 1000;
constexpr qint64 longestTimerMs = std::numeric_limits<int>::max();

int startDelayMs(qint64 remainingMs)
{
    // A clock that was set back by weeks makes the stored position's age say nothing.
    if (remainingMs > longestTimerMs)
        return shortestStartDelayMs;
    return static_cast<int>(qMax(remainingMs, shortestStartDelayMs));
}

} // namespace

void PositionAdaptor::startUpdates()
{
    if (state->apiKey.isEmpty() || running)
        return;

    running = true;
    const qint64 elapsedMs
        = QDateTime::currentMSecsSinceEpoch() - state->lastPosition.timestamp * qint64(1000);
    const qint64 remainingMs = state->requestInterval - elapsedMs;
    // Once per cycle, here or with the first request.
    if (remainingMs > 0)
        connect(&republishTimer, &QTimer::timeout, this, &PositionAdaptor::updatePosition);

    startDelayTimer.setSingleShot(true);
    connect(&startDelayTimer, &QTimer::timeout, this,
        [this, remainingMs] { sendFirstRequest(remainingMs); });
    startDelayTimer.start(startDelayMs(remainingMs));
}

void PositionAdaptor::sendFirstRequest(qint64 remainingMs)
{
    connect(
        &updateTimer, &QTimer::timeout, this, &PositionAdaptor::sendRequest, Qt::UniqueConnection);
    if (remainingMs <= 0)
        connect(&republishTimer, &QTimer::timeout, this, &PositionAdaptor::updatePosition);
    if (!requestsPaused)
        updateTimer.start(static_cast<int>(state->requestInterval));
    republishTimer.start(static_cast<int>(state->republishInterval));
    if (!requestsPaused)
        sendRequest();
}

void PositionAdaptor::stopUpdates()
{
    for (QTimer *timer : {&updateTimer, &republishTimer, &startDelayTimer}) {
        timer->stop();
        disconnect(timer, &QTimer::timeout, nullptr, nullptr);
    }
    running = false;
}

bool PositionAdaptor::isRunning() const
{
    return running;
}

void PositionAdaptor::setUpdateInterval(quint64 ms)
{
    const quint64 intervalMs = UpdateInterval::clampedMs(ms);
    state->requestInterval = static_cast<qint64>(intervalMs);
    requestsPaused = ms == 0;
    if (requestsPaused) {
        updateTimer.stop();
        return;
    }

    updateTimer.setInterval(static_cast<int>(intervalMs));
    if (!updateTimer.isActive())
        updateTimer.start();
}
