// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "configuration/endpoint.h"

#include <QDateTime>
#include <QDebug>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

constexpr int requestTimeoutMs = 10000;

} // namespace

void PositionAdaptor::setApiKey(const QString &key)
{
    state->apiKey = key;
    state->requestUrl = endpointPrefix() + key;
}

QString PositionAdaptor::apiKey() const
{
    return state->apiKey;
}

void PositionAdaptor::setRequestFilter(bool on)
{
    requestFilter = on;
}

void PositionAdaptor::sendRequest()
{
    state->requestDocument.insert(QStringLiteral("sessionUUID"), state->sessionUuid);
    state->requestDocument.insert(QStringLiteral("captureTimestampUnix"),
        static_cast<quint32>(QDateTime::currentMSecsSinceEpoch() / 1000));
    collectCells();
    collectWlans();
    if (!isRequestDue()) {
        qDebug("Changes in cells or wlans are negligible - request filtered");
        return;
    }

    const QByteArray body = QJsonDocument::fromVariant(state->requestDocument).toJson();
    QNetworkRequest request(QUrl(state->requestUrl, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    QNetworkReply *reply = state->networkAccessManager->post(request, body);
    const int timestamp = static_cast<int>(QDateTime::currentMSecsSinceEpoch() / 1000);

    connect(reply, &QNetworkReply::finished, this, [this, timestamp] { replyFinished(timestamp); });
    QTimer::singleShot(requestTimeoutMs, Qt::CoarseTimer, reply, [this, reply] {
        if (!reply->isFinished())
            requestTimedOut(reply);
    });
}

bool PositionAdaptor::isRequestDue() const
{
    return repeatRequest || !requestFilter || wlanChange || cellChange;
}
