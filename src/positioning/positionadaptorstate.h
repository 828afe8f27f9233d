// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "dbus/position.h"

#include <QString>
#include <QVariantMap>

#include <memory>

QT_BEGIN_NAMESPACE
class QNetworkAccessManager;
QT_END_NAMESPACE
class NetworkManager;
class QOfonoExtCellWatcher;

/// What the position adaptor owns for as long as it lives.
struct PositionAdaptorState
{
    PositionAdaptorState();
    ~PositionAdaptorState();
    Q_DISABLE_COPY(PositionAdaptorState)

    /// The modem's cells.
    std::unique_ptr<QOfonoExtCellWatcher> cellWatcher;
    /// Posts the requests; parent of every reply in flight.
    std::unique_ptr<QNetworkAccessManager> networkAccessManager;
    /// The WLAN services.
    std::unique_ptr<NetworkManager> networkManager;
    /// The body of the latest request.
    QVariantMap requestDocument;
    Position lastPosition;
    /// Empty until one is configured.
    QString apiKey;
    /// What requests are posted to: the endpoint prefix followed by the API key.
    QString requestUrl;
    /// One random UUID for the life of the process, without braces.
    QString sessionUuid;
    /// Milliseconds, 1000 to 2147483000.
    qint64 requestInterval;
    /// Milliseconds.
    qint64 republishInterval;
};
