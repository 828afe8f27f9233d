// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "recordedrequest.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSet>

#include <cmath>
#include <limits>

namespace {

constexpr double largestId = std::numeric_limits<int>::max() - 1;
constexpr double largestAgeMs = 1e12;
constexpr qint64 longestTripSecs = 60;

// Collects what is wrong with one request.
class Inspection
{
public:
    void expect(bool holds, const QString &complaint)
    {
        if (!holds) {
            m_complaints.append(complaint);
        }
    }
    void expectMembers(const QJsonObject &object, const QStringList &names, const QString &where)
    {
        expect(object.keys() == names,
            where % QStringLiteral(" has the members ") % object.keys().join(QLatin1Char(' ')));
    }
    void expectInteger(const QJsonObject &object, const QString &name, double least, double most)
    {
        const QJsonValue value = object.value(name);
        const double number = value.toDouble();
        expect(
            value.isDouble() && std::floor(number) == number && number >= least && number <= most,
            name % QStringLiteral(" is no integer in its range"));
    }
    const QStringList &complaints() const { return m_complaints; }

private:
    QStringList m_complaints;
};

void inspectEnvelope(Inspection &inspection, const RecordedRequest &request)
{
    inspection.expect(request.method == "POST", QStringLiteral("the method is not POST"));
    inspection.expect(
        request.path == QLatin1String("/v2/geolocation"), QStringLiteral("wrong path"));
    const auto items = request.query.queryItems();
    inspection.expect(items.size() == 1 && items.first().first == QLatin1String("key"),
        QStringLiteral("the query is not a single key"));
    inspection.expect(
        request.headers.values("content-type") == QList<QByteArray>{"application/json"},
        QStringLiteral("the content type is not application/json"));
    inspection.expect(request.body == QJsonDocument(request.json).toJson(QJsonDocument::Indented),
        QStringLiteral("the body is not an indented JSON object"));
}

void inspectStamp(Inspection &inspection, const RecordedRequest &request)
{
    static const QRegularExpression uuid(
        QStringLiteral("^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"));
    inspection.expect(
        uuid.match(request.json.value(QLatin1String("sessionUUID")).toString()).hasMatch(),
        QStringLiteral("sessionUUID is no random UUID"));
    const auto now = static_cast<double>(request.arrival.toSecsSinceEpoch());
    inspection.expectInteger(
        request.json, QStringLiteral("captureTimestampUnix"), now - longestTripSecs, now + 1);
}

void inspectTower(Inspection &inspection, const QJsonObject &tower)
{
    inspection.expectMembers(tower,
        {QStringLiteral("ageMs"), QStringLiteral("cellID"), QStringLiteral("locationAreaCode"),
            QStringLiteral("networkType"), QStringLiteral("signalStrengthDBm")},
        QStringLiteral("a tower"));
    inspection.expectInteger(tower, QStringLiteral("ageMs"), 1, largestAgeMs);
    inspection.expectInteger(tower, QStringLiteral("cellID"), 0, largestId);
    inspection.expectInteger(tower, QStringLiteral("locationAreaCode"), 0, largestId);
    inspection.expectInteger(
        tower, QStringLiteral("signalStrengthDBm"), -largestId - 1, largestId + 1);
    static const QStringList types{
        QStringLiteral("gsm"), QStringLiteral("wcdma"), QStringLiteral("lte")};
    inspection.expect(types.contains(tower.value(QLatin1String("networkType")).toString()),
        QStringLiteral("unknown networkType"));
}

void inspectMobileNetwork(Inspection &inspection, const QJsonObject &network)
{
    inspection.expectMembers(network,
        {QStringLiteral("cellTowers"), QStringLiteral("homeMobileCountryCode"),
            QStringLiteral("homeMobileNetworkCode")},
        QStringLiteral("mobileNetwork"));
    inspection.expectInteger(network, QStringLiteral("homeMobileCountryCode"), 0, largestId);
    inspection.expectInteger(network, QStringLiteral("homeMobileNetworkCode"), 0, largestId);
    const QJsonArray towers = network.value(QLatin1String("cellTowers")).toArray();
    inspection.expect(!towers.isEmpty(), QStringLiteral("mobileNetwork has no towers"));
    QSet<int> ids;
    for (const QJsonValue &tower : towers) {
        inspectTower(inspection, tower.toObject());
        ids.insert(tower.toObject().value(QLatin1String("cellID")).toInt());
    }
    inspection.expect(ids.size() == towers.size(), QStringLiteral("a tower is there twice"));
}

void inspectAccessPoints(Inspection &inspection, const QJsonArray &accessPoints)
{
    inspection.expect(!accessPoints.isEmpty(), QStringLiteral("wifiAccessPoints is empty"));
    QSet<QString> addresses;
    for (const QJsonValue &value : accessPoints) {
        const QJsonObject accessPoint = value.toObject();
        inspection.expectMembers(accessPoint,
            {QStringLiteral("ageMs"), QStringLiteral("macAddress"),
                QStringLiteral("signalStrengthDBm")},
            QStringLiteral("an access point"));
        inspection.expectInteger(accessPoint, QStringLiteral("ageMs"), 1, largestAgeMs);
        inspection.expectInteger(accessPoint, QStringLiteral("signalStrengthDBm"), -255, -1);
        addresses.insert(accessPoint.value(QLatin1String("macAddress")).toString());
    }
    inspection.expect(!addresses.contains(QString()), QStringLiteral("macAddress is empty"));
    inspection.expect(
        addresses.size() == accessPoints.size(), QStringLiteral("an access point is there twice"));
}

void inspectPositionRequest(Inspection &inspection, const QJsonObject &json)
{
    const QLatin1String mobileNetwork("mobileNetwork");
    const QLatin1String wifiAccessPoints("wifiAccessPoints");
    QJsonObject stamp = json;
    stamp.remove(mobileNetwork);
    stamp.remove(wifiAccessPoints);
    inspection.expectMembers(stamp,
        {QStringLiteral("captureTimestampUnix"), QStringLiteral("sessionUUID")},
        QStringLiteral("the request beside its sections"));
    if (json.contains(mobileNetwork)) {
        inspectMobileNetwork(inspection, json.value(mobileNetwork).toObject());
    }
    if (json.contains(wifiAccessPoints)) {
        inspectAccessPoints(inspection, json.value(wifiAccessPoints).toArray());
    }
}

void inspectKeyCheck(Inspection &inspection, const QJsonObject &json)
{
    inspection.expectMembers(json,
        {QStringLiteral("captureTimestampUnix"), QStringLiteral("ip"),
            QStringLiteral("sessionUUID")},
        QStringLiteral("the key check"));
    inspection.expect(json.value(QLatin1String("ip")) == QLatin1String("127.0.0.1"),
        QStringLiteral("ip is not 127.0.0.1"));
}

} // namespace

QStringList RecordedRequest::violations() const
{
    Inspection inspection;
    inspectEnvelope(inspection, *this);
    inspectStamp(inspection, *this);
    if (isKeyCheck()) {
        inspectKeyCheck(inspection, json);
    } else {
        inspectPositionRequest(inspection, json);
    }
    return inspection.complaints();
}
