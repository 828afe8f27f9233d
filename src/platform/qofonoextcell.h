// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QVariantMap>

#include <limits>

class SystemService;

/// A cell as a modem reported it. What is not known is unknown.
class QOfonoExtCell
{
public:
    enum Type { Unknown = 0, Gsm = 1, Wcdma = 2, Lte = 3 };

    /// Stands for every number that is missing, unreadable or out of range.
    static constexpr int unknown = std::numeric_limits<int>::max();

    /// Reads oFono's dictionary of a cell. Network codes that it lacks are taken from the serving
    /// cell, if one is given.
    QOfonoExtCell(SystemService *service, const QVariantMap &properties,
        const QOfonoExtCell *serving = nullptr);

    /// One of Type.
    int type() const { return m_type; }

    /// Mobile country code and mobile network code.
    int mcc() const { return m_mcc; }
    int mnc() const { return m_mnc; }

    /// Cell identity and location area code, of GSM and WCDMA.
    int cid() const { return m_cid; }
    int lac() const { return m_lac; }

    /// Cell identity and tracking area code, of LTE.
    int ci() const { return m_ci; }
    int tac() const { return m_tac; }

    /// In dBm with the sign dropped: 85 stands for -85 dBm.
    int signalStrength() const { return m_signalStrength; }

    /// Whether the other is a reading of the same cell, whatever its signal.
    bool isSameCellAs(const QOfonoExtCell &other) const;

private:
    int m_type = Unknown;
    int m_mcc = unknown;
    int m_mnc = unknown;
    int m_cid = unknown;
    int m_lac = unknown;
    int m_ci = unknown;
    int m_tac = unknown;
    int m_signalStrength = unknown;
};
