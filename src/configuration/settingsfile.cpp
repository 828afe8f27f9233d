// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "configuration/settingsfile.h"

#include <QDebug>
#include <QFileInfo>
#include <QSettings>
#include <QStringList>
#include <QVariant>

#include <new>

std::unique_ptr<QSettings> openSettings(const QString &path)
{
    // Keeps the nesting of stored values, which are read recursively, far from the end of the
    // stack.
    constexpr qint64 largestSize = 65536;
    if (QFileInfo(path).size() <= largestSize) {
        try {
            auto settings = std::make_unique<QSettings>(path, QSettings::IniFormat);
            // The values are read with the first question, not before.
            settings->allKeys();
            settings->beginGroup(QStringLiteral("settings"));
            return settings;
        } catch (const std::bad_alloc &) {
        }
    }
    qWarning() << "Config file is not readable:" << path;
    return nullptr;
}

QString settingText(const QVariant &stored)
{
    // The INI reader takes an unquoted comma for the end of a list's element.
    if (stored.type() == QVariant::StringList)
        return stored.toStringList().join(QLatin1Char(','));
    return stored.toString();
}
