// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

QT_BEGIN_NAMESPACE
class QVariant;
QT_END_NAMESPACE

/// The text that a value of the settings file stands for; empty for a value that is missing.
QString settingText(const QVariant &stored);
