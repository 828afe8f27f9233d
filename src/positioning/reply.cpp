// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "webservice/endpoint.h"

#include <QDebug>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QtMath>

#include <algorithm>

namespace {

/// Of the Geoclue accuracy levels.
constexpr int postalCodeAccuracyLevel = 4;
/// The precision of the usual fuzzy comparison of doubles.
constexpr double fuzzyZero = 1e-12;
constexpr int longestLoggedErrorCharacters = 1000;

/// A number, or a text that holds one; anything else is 0 with ok false.
double toNumber(const QJsonValue &value, bool *ok)
{
    *ok = value.isDouble();
    const double number = value.isString() ? value.toString().toDouble(ok) : value.toDouble();
    *ok = *ok && qIsFinite(number);
    return *ok ? number : 0.0;
}

bool isNonZero(double coordinate)
{
    return qAbs(coordinate) > fuzzyZero;
}

/// Matches the key, each byte as it is or percent-encoded.
QRegularExpression writtenKey(const QByteArray &key)
{
    QString pattern;
    for (const char byte : key) {
        const QString code = QString::fromLatin1(QByteArray(1, byte).toHex());
        pattern += QStringLiteral("(?:(?i:%%1)|\\x%1)").arg(code);
    }
    return QRegularExpression(pattern);
}

/// The network layer describes an error with the request's URL, and a service may echo what it was
/// sent: what is logged shows no API key, neither the configured one nor that of the URL as the
/// service reads it, and stays on one line.
QString loggableError(const QString &error, const QUrl &url, const QString &apiKey)
{
    const QByteArray prefix = QUrl(endpointPrefix(), QUrl::TolerantMode).toEncoded();
    const QByteArray sentKey = QByteArray::fromPercentEncoding(url.toEncoded().mid(prefix.size()));
    QString bytes = QString::fromLatin1(error.toUtf8());
    for (const QByteArray &key : {apiKey.toUtf8(), sentKey}) {
        if (!key.isEmpty())
            bytes.replace(writtenKey(key), QStringLiteral("***"));
    }
    QString text = QString::fromUtf8(bytes.toLatin1());
    text.truncate(longestLoggedErrorCharacters);
    std::replace_if(
        text.begin(), text.end(), [](QChar character) { return !character.isPrint(); },
        QLatin1Char(' '));
    return text;
}

} // namespace

void PositionAdaptor::replyFinished(int timestamp)
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    if (!reply->property("timedOut").toBool())
        retriesLeft = retryCount;

    const QString error = reply->error() == QNetworkReply::NoError
        ? parseReply(reply->readAll(), timestamp)
        : reply->errorString();
    if (error.isEmpty()) {
        repeatRequest = false;
    } else {
        qWarning("Error string is not empty, repeating request");
        qWarning().noquote() << loggableError(error, reply->url(), state->apiKey);
        repeatRequest = true;
        Q_EMIT PositionAcquiring(true);
    }
    reply->deleteLater();
}

QString PositionAdaptor::parseReply(const QByteArray &body, int timestamp)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        return parseError.errorString();
    if (!document.isObject())
        return QStringLiteral("JSON parse error: expected object at root level not found");

    const QJsonObject root = document.object();
    const QJsonValue failure = root.value(QStringLiteral("Location not found"));
    if (failure.isObject())
        return failure.toObject().value(QStringLiteral("message")).toString();
    const QJsonValue location = root.value(QStringLiteral("location"));
    if (!location.isObject())
        return QStringLiteral("JSON parse error: position data not found");

    takeLocation(location.toObject(), timestamp);
    return {};
}

void PositionAdaptor::takeLocation(const QJsonObject &location, int timestamp)
{
    Position &position = state->lastPosition;
    bool ok = false;
    position.fields = Position::FieldNone;
    position.latitude = toNumber(location.value(QStringLiteral("latitude")), &ok);
    if (ok && isNonZero(position.latitude))
        position.fields |= Position::FieldLatitude;

    position.longitude = toNumber(location.value(QStringLiteral("longitude")), &ok);
    if (ok) {
        if (isNonZero(position.longitude))
            position.fields |= Position::FieldLongitude;
        Q_EMIT PositionAcquiring(false);
    }

    position.accuracy.level = postalCodeAccuracyLevel;
    position.accuracy.horizontal = toNumber(location.value(QStringLiteral("accuracy")), &ok);
    position.timestamp = timestamp;
    writeCache();
    updatePosition();
}
