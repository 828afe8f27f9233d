// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "positioning/location.h"
#include "webservice/endpoint.h"
#include "webservice/loggable.h"

#include <QDebug>
#include <QNetworkReply>

namespace {

/// Of the Geoclue accuracy levels.
constexpr int postalCodeAccuracyLevel = 4;

/// By the precision of the usual fuzzy comparison of doubles.
bool isNonZero(double coordinate)
{
    constexpr double fuzzyZero = 1e-12;
    return qAbs(coordinate) > fuzzyZero;
}

} // namespace

void PositionAdaptor::replyFinished(int timestamp)
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply->property(timedOutProperty).toBool())
        retriesLeft = retryCount;

    const QString error = reply->error() == QNetworkReply::NoError
        ? parseReply(reply->readAll(), timestamp)
        : reply->errorString();
    if (error.isEmpty()) {
        repeatRequest = false;
    } else {
        qWarning("Error string is not empty, repeating request");
        // The key may be another one than when the request was sent.
        qWarning().noquote() << loggable(error, {state->apiKey, keyInUrl(reply->url())});
        repeatRequest = true;
        Q_EMIT PositionAcquiring(true);
    }
    reply->deleteLater();
}

QString PositionAdaptor::parseReply(const QByteArray &body, int timestamp)
{
    QString error;
    const auto location = findLocation(body, error);
    if (location)
        takeLocation(*location, timestamp);
    return error;
}

// First the status, then the cache, then the signal: whoever hears of the position finds both as
// they should be. The status follows the longitude alone, the last coordinate to be read.
void PositionAdaptor::takeLocation(const QJsonObject &location, int timestamp)
{
    Position &position = state->lastPosition;
    const auto latitude = findNumber(location, QStringLiteral("latitude"));
    position.fields = Position::FieldNone;
    position.latitude = latitude.value_or(0);
    if (isNonZero(position.latitude))
        position.fields |= Position::FieldLatitude;

    const auto longitude = findNumber(location, QStringLiteral("longitude"));
    position.longitude = longitude.value_or(0);
    if (isNonZero(position.longitude))
        position.fields |= Position::FieldLongitude;
    if (longitude)
        Q_EMIT PositionAcquiring(false);

    position.accuracy.level = postalCodeAccuracyLevel;
    position.accuracy.horizontal = findNumber(location, QStringLiteral("accuracy")).value_or(0);
    position.timestamp = timestamp;
    writeCache();
    updatePosition();
}
