// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QMultiMap>
#include <QUrlQuery>

// A request as it reached the geolocation service.
struct RecordedRequest
{
    QDateTime arrival; // UTC, with milliseconds
    QByteArray method;
    QString path;
    QUrlQuery query;
    QString key; // of the query item "key"
    QMultiMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
    QJsonObject json; // the body parsed; empty when it is no JSON object

    // The check of an API key rather than a request for a position.
    bool isKeyCheck() const { return json.contains(QLatin1String("ip")); }

    // What the service's protocol forbids and this request does all the same, in words; empty for a
    // sound request.
    QStringList violations() const;
};
