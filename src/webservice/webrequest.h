// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QVariantMap>

#include <functional>

QT_BEGIN_NAMESPACE
class QByteArray;
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

/// A document as the service reads it: indented JSON.
QByteArray toJson(const QVariantMap &document);

/// Posts a JSON document. One of the two that follow has to be called for the reply.
QNetworkReply *post(
    QNetworkAccessManager &manager, const QNetworkRequest &request, const QVariantMap &document);

/// Leaves the body to be read when the reply has finished, but aborts one that outgrows 1 MiB: a
/// position takes some hundred bytes. The page of an HTTP error is thrown away as it comes.
void boundBody(QNetworkReply *reply);

/// Throws the body away as it comes, however large it is.
void discardBody(QNetworkReply *reply);

/// Runs action once when the reply has not finished within 10 s.
void onTimeout(const QNetworkReply *reply, const std::function<void()> &action);

} // namespace WebRequest
