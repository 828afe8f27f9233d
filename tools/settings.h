// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "failure.h"

#include <QStringList>

/// Prints the provider's settings: for a person as KEY=VALUE lines with all but the end of the API
/// key masked, as JSON in full.
ExitStatus printSettings(bool json);

/// Checks the KEY=VALUE assignments, sends them to the provider and says what became of them.
/// Nothing is sent when one of them is wrong. A new API key is answered once it was checked.
ExitStatus changeSettings(const QStringList &assignments, bool json);

/// The settings as KEY=VALUE texts in the order of their keys, the API key masked.
QStringList settingTexts(const QVariantMap &settings);

/// The settings as an object of strings, the API key in full.
QJsonObject settingsToJson(const QVariantMap &settings);
