// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "city.h"

#include <QJsonObject>

/// The body of the web service's reply to a request from this city: where the phone is, as far as
/// its transmitters tell.
///
/// WLAN signals arrive as the negated strength of the phone's connection manager, 0 to -100, where
/// a stronger signal has the LOWER number. The manager's strength is the signal in dBm plus 120.
QByteArray estimatePosition(const City &city, const QJsonObject &request);
