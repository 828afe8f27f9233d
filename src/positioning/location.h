// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QJsonObject>

#include <optional>

/// The location that the body of a reply tells. Without one, error says why; it stays empty when
/// the service knows none and does not say more, which is no failure.
std::optional<QJsonObject> findLocation(const QByteArray &body, QString &error);

/// A member of a location as a number: nothing if it is missing, or neither a finite number nor a
/// text that holds one.
std::optional<double> findNumber(const QJsonObject &location, const QString &member);
