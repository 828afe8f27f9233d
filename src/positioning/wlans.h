// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "positioning/radiorecords.h"

#include <QHash>
#include <QVector>

QT_BEGIN_NAMESPACE
class QJsonArray;
QT_END_NAMESPACE
class NetworkService;

/// Brings the table of the known access points, by BSSID, up to what is in view, and makes the
/// request's section "wifiAccessPoints" of it. Empty when none is in view.
QJsonArray updateWlans(QHash<QString, WlanRecord> &known, const QVector<NetworkService *> &inView);
