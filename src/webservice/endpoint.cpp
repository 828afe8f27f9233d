// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "webservice/endpoint.h"

#include "configuration/places.h"
#include "configuration/settingsfile.h"

#include <QSettings>
#include <QVariant>

namespace {

QString readEndpointPrefix()
{
    const auto settings = openSettings(QString::fromLatin1(Places::settingsFile));
    QString link;
    if (settings)
        link = settingText(settings->value(QStringLiteral("link")));
    if (link.isEmpty())
        return QStringLiteral("https://" ONDRAVEXA_ENDPOINT_HOST "/v2/geolocation?key=");
    return link;
}

} // namespace

const QString &endpointPrefix()
{
    static const QString prefix = readEndpointPrefix();
    return prefix;
}

namespace {

// Fixes the prefix during static initialisation, in whatever order the source files are
// initialised.
[[maybe_unused]] const QString &prefixAtStart = endpointPrefix();

} // namespace
