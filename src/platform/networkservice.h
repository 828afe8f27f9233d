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

    /// The signal strength as ConnMan reports it, 1 to 100, more is stronger; 0 if unknown.
    uint strength() const { return m_strength; }

    /// Whether the access point's owner wants it left out of location databases, which its name
    /// says.
    bool isOptedOut() const { return m_optedOut; }

    /// Takes over the properties that the dictionary holds and leaves the others as they are. One
    /// of a wrong type becomes unknown: what it was before no longer holds.
    void update(SystemService *service, const QVariantMap &properties);

private:
    QString m_type;
    QString m_bssid;
    uint m_strength = 0;
    bool m_optedOut = false;
};
