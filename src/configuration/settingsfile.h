// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <memory>

QT_BEGIN_NAMESPACE
class QSettings;
class QVariant;
QT_END_NAMESPACE

/// The settings file, read, at its section "settings". Null for one that cannot be taken in: larger
/// than 64 KiB, or with a stored value that claims more memory than there is.
std::unique_ptr<QSettings> openSettings(const QString &path);

/// The text that a value of the settings file stands for; empty for a value that is missing.
QString settingText(const QVariant &stored);
