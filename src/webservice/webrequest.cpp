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

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

constexpr int timeoutMs = 10000;
constexpr int longestBodyBytes = 1048576;

/// What a large reply took would else stay with the allocator until the process ends.
void returnFreeMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
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
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    // What Qt 5 does by default.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setAttribute(
        QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
#endif
}

QByteArray WebRequest::toJson(const QVariantMap &document)
{
    // Shares the sections, which QJsonDocument::fromVariant() would copy entry by entry.
    QJsonObject object;
    for (auto member = document.cbegin(); member != document.cend(); ++member)
        object.insert(member.key(), QJsonValue::fromVariant(*member));
    return QJsonDocument(object).toJson();
}

QNetworkReply *WebRequest::post(
    QNetworkAccessManager &manager, const QNetworkRequest &request, const QVariantMap &document)
{
    QNetworkReply *reply = manager.post(request, toJson(document));
    // Queued: the body goes with the reply, after its last signal.
    QObject::connect(
        reply, &QObject::destroyed, &manager, [] { returnFreeMemory(); }, Qt::QueuedConnection);
    return reply;
}

void WebRequest::boundBody(QNetworkReply *reply)
{
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply] {
        constexpr int firstErrorStatus = 400;
        if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() >= firstErrorStatus)
            reply->readAll();
        else if (reply->bytesAvailable() > longestBodyBytes)
            reply->abort();
    });
}

void WebRequest::discardBody(QNetworkReply *reply)
{
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply] { reply->readAll(); });
}

void WebRequest::onTimeout(const QNetworkReply *reply, const std::function<void()> &action)
{
    QTimer::singleShot(timeoutMs, Qt::CoarseTimer, reply, [reply, action] {
        if (!reply->isFinished())
            action();
    });
}
