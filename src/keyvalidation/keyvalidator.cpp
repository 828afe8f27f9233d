// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "keyvalidation/keyvalidator.h"

#include "configuration/endpoint.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <QUrlQuery>
#include <QUuid>

namespace {

constexpr int requestTimeoutMs = 10000;

QString keyOf(const QUrl &url)
{
    return url.query(QUrl::FullyDecoded).split(QStringLiteral("key=")).value(1);
}

} // namespace

KeyValidator::KeyValidator(QObject *parent)
    : QObject(parent), networkAccessManager(std::make_unique<QNetworkAccessManager>())
{
}

KeyValidator::~KeyValidator() = default;

void KeyValidator::validateKey(const QString &key)
{
    if (key.isEmpty()) {
        qWarning("Empty key");
        Q_EMIT statusChanged(KeyInvalid, key);
        return;
    }

    Q_EMIT needRestartTimer();
    Q_EMIT statusChanged(KeyChecking, key);

    const QUrl url = endpointUrl(key);
    const QString uuid = QUuid::createUuid().toString();
    requestDocument.insert(QStringLiteral("sessionUUID"), uuid.mid(1, uuid.size() - 2));
    requestDocument.insert(QStringLiteral("captureTimestampUnix"),
        static_cast<quint32>(QDateTime::currentMSecsSinceEpoch() / 1000));
    requestDocument.insert(QStringLiteral("ip"), QStringLiteral("127.0.0.1"));
    request.setUrl(url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    postValidationRequest();
}

void KeyValidator::postValidationRequest()
{
    const QByteArray body = QJsonDocument::fromVariant(requestDocument).toJson();
    QNetworkReply *reply = networkAccessManager->post(request, body);
    connect(reply, &QNetworkReply::finished, this, &KeyValidator::replyFinished);
    QTimer::singleShot(requestTimeoutMs, Qt::CoarseTimer, reply, [reply] {
        if (!reply->isFinished())
            reply->abort();
    });
}

void KeyValidator::replyFinished()
{
    auto *reply = qobject_cast<QNetworkReply *>(sender());
    const QString validatedKey = keyOf(reply->url());
    switch (reply->error()) {
    case QNetworkReply::NoError:
        qWarning("Valid key");
        Q_EMIT statusChanged(KeyValid, validatedKey);
        break;
    case QNetworkReply::ContentOperationNotPermittedError:
        qWarning("Wrong key");
        Q_EMIT statusChanged(KeyInvalid, validatedKey);
        break;
    default:
        qWarning("Unable to check key: %s",
            QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(reply->error()));
        Q_EMIT statusChanged(KeyNetworkError, validatedKey);
    }
    reply->deleteLater();
}
