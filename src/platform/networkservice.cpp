// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "networkservice.h"

#include "systemservice.h"

void NetworkService::update(SystemService *service, const QVariantMap &properties)
{
    const QString type = QStringLiteral("Type");
    if (properties.contains(type))
        m_type = service->member<QString>(properties, type).value_or(QString());
    const QString bssid = QStringLiteral("BSSID");
    if (properties.contains(bssid))
        m_bssid = service->member<QString>(properties, bssid).value_or(QString());
    const QString strength = QStringLiteral("Strength");
    if (properties.contains(strength))
        m_strength = service->member<uchar>(properties, strength).value_or(0);
    const QString name = QStringLiteral("Name");
    if (properties.contains(name))
        m_optedOut = service->member<QString>(properties, name)
                         .value_or(QString())
                         .endsWith(QLatin1String("_nomap"));
}
