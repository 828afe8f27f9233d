// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

QT_BEGIN_NAMESPACE
class QUrl;
QT_END_NAMESPACE

/// The text in front of the API key in the URL of every request: the setting `link`, or the
/// built-in endpoint when that is missing or empty. Read once, before main(), and never again.
const QString &endpointPrefix();

/// All that follows the endpoint prefix in the URL of a request, percent-encoded.
QString keyInUrl(const QUrl &url);
