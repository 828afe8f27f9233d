// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "webservice.h"

#include <QJsonDocument>
#include <QSslSocket>
#include <QTimer>
#include <QUrlQuery>

#include <sys/socket.h>

using namespace std::chrono_literals;

namespace {

constexpr auto dripPeriod = 100ms;
const QByteArray headEnd = "\r\n\r\n";

/// Takes a whole request from the front of the bytes; nothing while some of it is missing.
std::optional<RecordedRequest> takeRequest(QByteArray &bytes)
{
    const auto headLength = bytes.indexOf(headEnd);
    if (headLength < 0)
        return std::nullopt;
    RecordedRequest request;
    QList<QByteArray> lines = bytes.left(headLength).split('\n');
    const QList<QByteArray> requestLine = lines.takeFirst().split(' ');
    for (const QByteArray &line : qAsConst(lines)) {
        const auto colon = line.indexOf(':');
        request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const auto bodyStart = headLength + headEnd.size();
    const auto bodyLength = request.headers.value("content-length").toInt();
    if (bytes.size() < bodyStart + bodyLength)
        return std::nullopt;

    request.arrival = QDateTime::currentDateTimeUtc();
    request.method = requestLine.value(0);
    request.target = requestLine.value(1);
    request.body = bytes.mid(bodyStart, bodyLength);
    request.json = QJsonDocument::fromJson(request.body).object();
    bytes.remove(0, bodyStart + bodyLength);
    return request;
}

} // namespace

QString RecordedRequest::key() const
{
    const QUrlQuery query(QString::fromUtf8(target.mid(target.indexOf('?') + 1)));
    return query.queryItemValue("key", QUrl::FullyDecoded);
}

WebReply WebReply::http(const QByteArray &status, const QByteArray &body, const QByteArray &headers)
{
    WebReply reply;
    reply.bytes = "HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n" + headers + "\r\n" + body;
    return reply;
}

WebReply WebReply::position(double latitude, double longitude, double accuracy)
{
    const QJsonObject location{
        {"latitude", latitude}, {"longitude", longitude}, {"accuracy", accuracy}};
    return http("200 OK", QJsonDocument({{"location", location}}).toJson());
}

WebService::WebService()
{
    listenAgain();
}

QString WebService::link() const
{
    return QString("%1://127.0.0.1:%2/v2/geolocation?key=")
        .arg(m_encrypted ? "https" : "http")
        .arg(m_port);
}

void WebService::encrypt(const QSslCertificate &certificate, const QSslKey &key)
{
    m_encrypted = true;
    m_certificate = certificate;
    m_key = key;
}

void WebService::refuseConnections()
{
    close();
    for (auto *socket : findChildren<QSslSocket *>())
        socket->abort();
}

void WebService::listenAgain()
{
    if (!isListening() && !listen(QHostAddress::LocalHost, m_port))
        qFatal("Cannot listen: %s", qUtf8Printable(errorString()));
    m_port = serverPort();
}

void WebService::incomingConnection(qintptr descriptor)
{
    auto *socket = new QSslSocket(this);
    connect(socket, &QSslSocket::readyRead, this, [this, socket] { read(socket); });
    connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
    socket->setSocketDescriptor(descriptor);
    if (m_encrypted) {
        socket->setLocalCertificate(m_certificate);
        socket->setPrivateKey(m_key);
        socket->startServerEncryption();
    }
}

void WebService::read(QSslSocket *socket)
{
    QByteArray bytes = socket->peek(socket->bytesAvailable());
    const std::optional<RecordedRequest> request = takeRequest(bytes);
    if (!request)
        return;
    socket->read(socket->bytesAvailable() - bytes.size());
    const auto index = static_cast<int>(m_requests.size());
    m_requests.append(*request);
    const WebReply reply = m_nextReplies.isEmpty() ? m_usualReply : m_nextReplies.takeFirst();
    if (reply.delay > 0ms)
        QTimer::singleShot(
            reply.delay, socket, [this, socket, reply, index] { respond(socket, reply, index); });
    else
        respond(socket, reply, index);
    Q_EMIT requestArrived();
}

void WebService::respond(QSslSocket *socket, const WebReply &reply, int index)
{
    if (reply.bytes) {
        send(socket, reply);
        return;
    }
    send(socket, decide(index));
    if (!m_requests.at(index).isKeyCheck())
        QTimer::singleShot(1s, socket, [this, socket, index] {
            // One that was broken outside the event loop is deleted late.
            if (socket->state() == QAbstractSocket::ConnectedState)
                Q_EMIT positionGiven(index);
        });
}

WebReply WebService::decide(int index) const
{
    const RecordedRequest &request = m_requests.at(index);
    if (!m_keys.contains(request.key()))
        return WebReply::http(
            "405 Method Not Allowed", R"({"error": "This key is not known here"})");
    if (m_locator)
        return WebReply::http("200 OK", m_locator(request.json));
    return WebReply::position(latitudeOf(index), longitudeOf(index), index);
}

void WebService::send(QSslSocket *socket, const WebReply &reply)
{
    socket->write(*reply.bytes);
    // Sent is sent, also when connections are refused from the next moment on.
    socket->flush();
    switch (reply.ending) {
    case WebReply::Ending::KeepOpen:
        break;
    case WebReply::Ending::Close:
        socket->disconnectFromHost();
        break;
    case WebReply::Ending::Reset: {
        const linger atOnce{1, 0};
        ::setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
            sizeof atOnce);
        socket->abort();
        break;
    }
    case WebReply::Ending::Drip: {
        auto *timer = new QTimer(socket);
        connect(timer, &QTimer::timeout, socket, [socket] { socket->write(" "); });
        connect(socket, &QSslSocket::disconnected, timer, &QTimer::stop);
        timer->start(dripPeriod);
        break;
    }
    }
}
