// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "requestrules.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>

namespace {

bool haveMembers(const QJsonValue &entries, const char *members)
{
    const QJsonArray all = entries.toArray();
    return std::all_of(all.cbegin(), all.cend(), [members](const QJsonValue &entry) {
        return entry.toObject().keys().join(' ') == members;
    });
}

QString violation(const RecordedRequest &request)
{
    constexpr qint64 longestTripSecs = 60;
    static const QRegularExpression uuid(
        "^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$");
    const QJsonObject &json = request.json;
    const qint64 age = request.arrival.toSecsSinceEpoch()
        - json.value("captureTimestampUnix").toVariant().toLongLong();
    if (request.method != "POST")
        return "the method is not POST";
    if (!request.target.startsWith("/v2/geolocation?key=") || request.target.count('=') != 1)
        return "not the path, or the query is not a single key";
    if (request.headers.values("content-type") != QList<QByteArray>{"application/json"})
        return "the content type is not application/json";
    if (request.body != QJsonDocument(json).toJson(QJsonDocument::Indented))
        return "the body is not an indented JSON object";
    if (!uuid.match(json.value("sessionUUID").toString()).hasMatch())
        return "sessionUUID is no random UUID";
    if (age < -1 || age > longestTripSecs)
        return "captureTimestampUnix is not now";
    if (request.isKeyCheck() && json.value("ip") != "127.0.0.1")
        return "ip is not that of this host";
    if (!haveMembers(json["mobileNetwork"]["cellTowers"],
            "ageMs cellID locationAreaCode networkType signalStrengthDBm")
        || !haveMembers(json["wifiAccessPoints"], "ageMs macAddress signalStrengthDBm"))
        return "a cell or an access point has other members";
    return {};
}

} // namespace

QStringList violations(const QVector<RecordedRequest> &requests)
{
    QStringList all;
    for (const RecordedRequest &request : requests) {
        const QString one = violation(request);
        if (!one.isEmpty())
            all.append(one);
    }
    return all;
}
