// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptorstate.h"

#include "positioning/updateinterval.h"
#include "webservice/webrequest.h"

#include <networkmanager.h>
#include <qofonoextcellwatcher.h>

#include <QElapsedTimer>
#include <QNetworkAccessManager>

namespace {

// Clients that came late, or missed a signal, wait no longer than this.
constexpr qint64 republishIntervalMs = 5000;

} // namespace

PositionAdaptorState::PositionAdaptorState()
    : cellWatcher(std::make_unique<QOfonoExtCellWatcher>()),
      networkAccessManager(std::make_unique<QNetworkAccessManager>()),
      networkManager(std::make_unique<NetworkManager>()), sessionUuid(WebRequest::randomUuid()),
      requestInterval(UpdateInterval::defaultMs), republishInterval(republishIntervalMs)
{
    if (!QElapsedTimer::isMonotonic())
        qWarning("Monotonic timers are not available.");
}

PositionAdaptorState::~PositionAdaptorState() = default;
