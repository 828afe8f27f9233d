// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QJsonObject>
#include <QString>

/// Writes one line to standard output, at once. Returns false when it could not be written, for
/// example because its reader has gone.
bool printLine(const QString &line);

/// Writes one compact JSON object as a line to standard output, at once. Returns as printLine.
bool printJson(const QJsonObject &object);

/// Writes one message to standard error.
void printError(const QString &message);

/// The word for a provider status as it travels on the bus: "error", "unavailable", "acquiring",
/// "available", or "unknown" for any other number.
QString statusWord(int status);
