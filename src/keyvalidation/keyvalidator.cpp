// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "keyvalidation/keyvalidator.h"

#include "webservice/endpoint.h"
#include "webservice/webrequest.h"

#include <QDebug>
#include <QMetaEnum>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrl>

namespace {

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

    const QString url = endpointPrefix() + key;
    requestDocument.insert(QStringLiteral("sessionUUID"), WebRequest::randomUuid());
    requestDocument.insert(QStringLiteral("captureTimestampUnix"), WebRequest::unixTime());
    requestDocument.insert(QStringLiteral("ip"), QStringLiteral("127.0.0.1"));
    WebRequest::prepare(request, url);
#if QT_VERSION >= QT_VERSION_CHECK(6, 2, 0)
    // Whatever page comes with the verdict, nobody reads it.
    request.setDecompressedSafetyCheckThreshold(-1);
#endif
    postValidationRequest();
}

void KeyValidator::postValidationRequest()
{
    QNetworkReply *reply = WebRequest::post(*networkAccessManager, request, requestDocument);
    WebRequest::discardBody(reply);
    connect(reply, &QNetworkReply::finished, this, &KeyValidator::replyFinished);
    WebRequest::onTimeout(reply, [reply] { reply->abort(); });
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
        qWarning() << "Unable to check key: "
                   << QMetaEnum::fromType<QNetworkReply::NetworkError>().valueToKey(reply->error());
        Q_EMIT statusChanged(KeyNetworkError, validatedKey);
    }
    reply->deleteLater();
}
