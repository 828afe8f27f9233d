// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "configuration/settingtext.h"

#include <QStringList>
#include <QVariant>

QString settingText(const QVariant &stored)
{
    // The INI reader takes an unquoted comma for the end of a list's element.
    if (stored.type() == QVariant::StringList)
        return stored.toStringList().join(QLatin1Char(','));
    return stored.toString();
}
