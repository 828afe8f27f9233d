// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "positioning/positionadaptor.h"

#include "webservice/endpoint.h"
#include "webservice/webrequest.h"

#include <QDebug>
#include <QNetworkReply>
#include <QNetworkRequest>

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
    state->requestDocument.insert(QStringLiteral("captureTimestampUnix"), WebRequest::unixTime());
    collectCells();
    collectWlans();
    if (!isRequestDue()) {
        qDebug("Changes in cells or wlans are negligible - request filtered");
        return;
    }

    QNetworkRequest request;
    WebRequest::prepare(request, state->requestUrl);
    QNetworkReply *reply
        = WebRequest::post(*state->networkAccessManager, request, state->requestDocument);
    const int timestamp = static_cast<int>(WebRequest::unixTime());

    WebRequest::boundBody(reply);
    connect(reply, &QNetworkReply::finished, this, [this, timestamp] { replyFinished(timestamp); });
    WebRequest::onTimeout(reply, [this, reply] { requestTimedOut(reply); });
}

bool PositionAdaptor::isRequestDue() const
{
    return repeatRequest || !requestFilter || wlanChange || cellChange;
}

void PositionAdaptor::requestTimedOut(QNetworkReply *reply)
{
    reply->setProperty(timedOutProperty, true);
    // Runs replyFinished() before it returns.
    reply->abort();
    if (retriesLeft < 1) {
        qWarning("Request timed out, no retries left");
        return;
    }

    --retriesLeft;
    qWarning("Request timed out %d retries left", retriesLeft);
    sendRequest();
}
