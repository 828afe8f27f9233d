// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

/// The keys of the options, in the settings file and on the bus.
namespace OptionKeys {

const QString apiKey = QStringLiteral("apikey");
const QString updateInterval = QStringLiteral("update_interval");
const QString backgroundUpdateInterval = QStringLiteral("background_update_interval");
const QString keepRequests = QStringLiteral("keep_requests");
const QString requestFilter = QStringLiteral("enable_request_filter");

} // namespace OptionKeys
