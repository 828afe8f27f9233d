// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "webservice/webrequest.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QUrl>
#include <QUuid>

namespace {

constexpr int timeoutMs = 10000;
constexpr qint64 longestReplyBytes = 1048576;

// Shares the sections, which QJsonDocument::fromVariant() would copy entry by entry.
QJsonObject jsonObject(const QVariantMap &document)
{
    QJsonObject object;
    for (auto member = document.cbegin(); member != document.cend(); ++member)
        object.insert(member.key(), QJsonValue::fromVariant(*member));
    return object;
}

} // namespace

QString WebRequest::randomUuid()
{
    const QString braced = QUuid::createUuid().toString();
    return braced.mid(1, braced.size() - 2);
}

quint32 WebRequest::unixTime()
{
    return static_cast<quint32>(QDateTime::currentMSecsSinceEpoch() / 1000);
}

void WebRequest::prepare(QNetworkRequest &request, const QString &url)
{
    request.setUrl(QUrl(url, QUrl::TolerantMode));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
}

QNetworkReply *WebRequest::post(
    QNetworkAccessManager &manager, const QNetworkRequest &request, const QVariantMap &document)
{
    QNetworkReply *reply = manager.post(request, QJsonDocument(jsonObject(document)).toJson());
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply] {
        if (reply->bytesAvailable() > longestReplyBytes)
            reply->abort();
    });
    return reply;
}

void WebRequest::onTimeout(const QNetworkReply *reply, const std::function<void()> &action)
{
    QTimer::singleShot(timeoutMs, Qt::CoarseTimer, reply, [reply, action] {
        if (!reply->isFinished())
            action();
    });
}
