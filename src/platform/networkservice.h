// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>
#include <QVariantMap>

class SystemService;

/// A network that ConnMan knows.
class NetworkService
{
public:
    /// The technology, "wifi" for a WLAN; empty if unknown.
    QString type() const { return m_type; }

    /// The access point's address as ConnMan writes it; empty if unknown.
    QString bssid() const { return m_bssid; }

    /// The signal strength as ConnMan reports it, 0 to 255; 0 if unknown.
    uint strength() const { return m_strength; }

    /// Takes over the properties that the dictionary holds and leaves the others as they are. One
    /// of a wrong type becomes unknown: what it was before no longer holds.
    void update(SystemService *service, const QVariantMap &properties);

private:
    QString m_type;
    QString m_bssid;
    uint m_strength = 0;
};
