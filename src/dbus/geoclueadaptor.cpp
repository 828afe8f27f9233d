// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbus/geoclueadaptor.h"

#include "provider/ondravexa.h"

GeoclueAdaptor::GeoclueAdaptor(OndraVexa *provider) : QDBusAbstractAdaptor(provider)
{
    setAutoRelaySignals(true);
}

void GeoclueAdaptor::AddReference()
{
    provider()->AddReference();
}

QVariantMap GeoclueAdaptor::GetOptions()
{
    return provider()->GetOptions();
}

QString GeoclueAdaptor::GetProviderInfo(QString &Description)
{
    return provider()->GetProviderInfo(Description);
}

int GeoclueAdaptor::GetStatus()
{
    return provider()->GetStatus();
}

void GeoclueAdaptor::RemoveReference()
{
    provider()->RemoveReference();
}

void GeoclueAdaptor::SetOptions(const QVariantMap &options)
{
    provider()->SetOptions(options);
}

OndraVexa *GeoclueAdaptor::provider() const
{
    return static_cast<OndraVexa *>(parent());
}
