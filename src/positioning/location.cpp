// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/location.h"

#include <QJsonDocument>
#include <QtMath>

std::optional<QJsonObject> findLocation(const QByteArray &body, QString &error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        error = parseError.errorString();
        return std::nullopt;
    }
    if (!document.isObject()) {
        error = QStringLiteral("JSON parse error: expected object at root level not found");
        return std::nullopt;
    }

    const QJsonObject root = document.object();
    const QJsonValue failure = root.value(QStringLiteral("Location not found"));
    if (failure.isObject()) {
        error = failure.toObject().value(QStringLiteral("message")).toString();
        return std::nullopt;
    }
    const QJsonValue location = root.value(QStringLiteral("location"));
    if (!location.isObject()) {
        error = QStringLiteral("JSON parse error: position data not found");
        return std::nullopt;
    }
    return location.toObject();
}

std::optional<double> findNumber(const QJsonObject &location, const QString &member)
{
    const QJsonValue value = location.value(member);
    bool ok = value.isDouble();
    const double number = value.isString() ? value.toString().toDouble(&ok) : value.toDouble();
    if (!ok || !qIsFinite(number))
        return std::nullopt;
    return number;
}
