// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "webservice/endpoint.h"

#include "configuration/places.h"
#include "configuration/settingsfile.h"

#include <QUrl>

namespace {

QString readEndpointPrefix()
{
    const SettingsFile file(QString::fromLatin1(Places::settingsFile));
    const QVariantMap settings
        = file.exists() ? file.read().value_or(QVariantMap()) : QVariantMap();
    QString link = settings.value(QStringLiteral("link")).toString();
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

QString keyInUrl(const QUrl &url)
{
    const QByteArray prefix = QUrl(endpointPrefix(), QUrl::TolerantMode).toEncoded();
    return QString::fromLatin1(url.toEncoded().mid(prefix.size()));
}

namespace {

// Fixes the prefix during static initialisation, in whatever order the source files are
// initialised.
[[maybe_unused]] const QString &prefixAtStart = endpointPrefix();

} // namespace
