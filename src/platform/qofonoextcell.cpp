// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "qofonoextcell.h"

#include "systemservice.h"

#include <algorithm>
#include <tuple>

namespace {

/// How a reported signal level becomes the magnitude of a dBm value: offset - step * level.
struct SignalScale
{
    QLatin1String member;
    int maximum;
    int offset;
    int step;
};

// 3GPP TS 27.007, 8.69 and, for the one that every technology has, 8.5.
const SignalScale lteScale{QLatin1String("ReferenceSignalReceivedPower"), 97, 141, 1};
const SignalScale wcdmaScale{QLatin1String("ReceivedSignalCodePower"), 96, 121, 1};
const SignalScale gsmScale{QLatin1String("ReceivedSignalStrength"), 63, 111, 1};
const SignalScale commonScale{QLatin1String("Strength"), 31, 113, 2};

int cellType(const QString &technology)
{
    if (technology == QLatin1String("gsm"))
        return QOfonoExtCell::Gsm;
    if (technology == QLatin1String("umts"))
        return QOfonoExtCell::Wcdma;
    if (technology == QLatin1String("lte"))
        return QOfonoExtCell::Lte;
    return QOfonoExtCell::Unknown;
}

int networkCode(
    SystemService *service, const QVariantMap &properties, const QString &name, int substitute)
{
    if (!properties.contains(name))
        return substitute;
    const QString text = service->member<QString>(properties, name).value_or(QString());
    const bool decimal = std::all_of(text.cbegin(), text.cend(),
        [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); });
    bool inRange = false;
    const int code = text.toInt(&inRange);
    return decimal && inRange ? code : QOfonoExtCell::unknown;
}

int cellIdentity(SystemService *service, const QVariantMap &properties)
{
    const uint identity = service->member<uint>(properties, QStringLiteral("CellId"))
                              .value_or(uint(QOfonoExtCell::unknown));
    return static_cast<int>(std::min(identity, uint(QOfonoExtCell::unknown)));
}

int areaCode(SystemService *service, const QVariantMap &properties, const QString &name)
{
    const auto code = service->member<ushort>(properties, name);
    return code ? int(*code) : QOfonoExtCell::unknown;
}

std::optional<int> signalStrength(
    SystemService *service, const QVariantMap &properties, const SignalScale &scale)
{
    if (!properties.contains(scale.member))
        return std::nullopt;
    const auto level = service->member<uchar>(properties, scale.member);
    if (!level || *level > scale.maximum)
        return QOfonoExtCell::unknown;
    return scale.offset - scale.step * *level;
}

std::optional<int> signalStrength(SystemService *service, const QVariantMap &properties, int type)
{
    switch (type) {
    case QOfonoExtCell::Gsm:
        return signalStrength(service, properties, gsmScale);
    case QOfonoExtCell::Wcdma:
        return signalStrength(service, properties, wcdmaScale);
    case QOfonoExtCell::Lte:
        return signalStrength(service, properties, lteScale);
    default:
        return std::nullopt;
    }
}

} // namespace

QOfonoExtCell::QOfonoExtCell(
    SystemService *service, const QVariantMap &properties, const QOfonoExtCell *serving)
    : m_type(cellType(
        service->member<QString>(properties, QStringLiteral("Technology")).value_or(QString()))),
      m_mcc(networkCode(service, properties, QStringLiteral("MobileCountryCode"),
          serving ? serving->mcc() : unknown)),
      m_mnc(networkCode(service, properties, QStringLiteral("MobileNetworkCode"),
          serving ? serving->mnc() : unknown)),
      m_lac(areaCode(service, properties, QStringLiteral("LocationAreaCode"))),
      m_tac(areaCode(service, properties, QStringLiteral("TrackingAreaCode")))
{
    (m_type == Lte ? m_ci : m_cid) = cellIdentity(service, properties);
    auto strength = ::signalStrength(service, properties, m_type);
    if (!strength)
        strength = ::signalStrength(service, properties, commonScale);
    m_signalStrength = strength.value_or(unknown);
}

bool QOfonoExtCell::isSameCellAs(const QOfonoExtCell &other) const
{
    return std::tie(m_type, m_mcc, m_mnc, m_cid, m_lac, m_ci, m_tac)
        == std::tie(other.m_type, other.m_mcc, other.m_mnc, other.m_cid, other.m_lac, other.m_ci,
            other.m_tac);
}
