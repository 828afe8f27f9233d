// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QVariantMap>

#include <functional>

QT_BEGIN_NAMESPACE
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;
class QString;
QT_END_NAMESPACE

/// What requests to the geolocation web service have in common.
namespace WebRequest {

/// A new random UUID as the service wants it: lower case, without braces.
QString randomUuid();

/// Whole seconds since the epoch.
quint32 unixTime();

/// Sets URL and headers for a request with the given URL text.
void prepare(QNetworkRequest &request, const QString &url);

/// Posts a JSON document. A reply that outgrows 1 MiB is aborted: a position takes some hundred
/// bytes.
QNetworkReply *post(
    QNetworkAccessManager &manager, const QNetworkRequest &request, const QVariantMap &document);

/// Runs action once when the reply has not finished within 10 s.
void onTimeout(const QNetworkReply *reply, const std::function<void()> &action);

} // namespace WebRequest
