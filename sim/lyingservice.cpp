// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "lyingservice.h"

#include <QFile>
#include <QJsonDocument>
#include <QTimer>

#include <sys/socket.h>

namespace {

constexpr int dripMs = 100;

// The length of a whole request at the start of the bytes; 0 while some of it is missing.
int requestLength(const QByteArray &bytes)
{
    const int headEnd = bytes.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return 0;
    const QByteArray name("content-length:");
    const int length = bytes.toLower().indexOf(name);
    const int bodyLength = bytes.mid(length + name.size()).split('\r').first().trimmed().toInt();
    const int total = headEnd + 4 + bodyLength;
    return bytes.size() < total ? 0 : total;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", qUtf8Printable(path));
    return file.readAll();
}

} // namespace

LyingService::LyingService()
{
    behave();
}

QString LyingService::link() const
{
    return QStringLiteral("%1://127.0.0.1:%2/v2/geolocation?key=")
        .arg(m_encrypted ? QStringLiteral("https") : QStringLiteral("http"))
        .arg(m_port);
}

void LyingService::encrypt(const QString &certificatePath, const QString &keyPath)
{
    m_encrypted = true;
    m_certificate = QSslCertificate(contentOf(certificatePath));
    m_key = QSslKey(contentOf(keyPath), QSsl::Ec);
}

void LyingService::refuse()
{
    close();
    for (auto *socket : findChildren<QSslSocket *>())
        socket->abort();
}

void LyingService::behave()
{
    m_reply.reset();
    if (!isListening() && !listen(QHostAddress::LocalHost, m_port))
        qFatal("Cannot listen: %s", qUtf8Printable(errorString()));
    m_port = serverPort();
}

void LyingService::incomingConnection(qintptr descriptor)
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

void LyingService::read(QSslSocket *socket)
{
    const int length = requestLength(socket->peek(socket->bytesAvailable()));
    if (length == 0)
        return;
    const QByteArray request = socket->read(length);
    m_requestLines.append(request.left(request.indexOf('\r')));
    m_requests.append(
        QJsonDocument::fromJson(request.mid(request.indexOf("\r\n\r\n") + 4)).object());
    respond(socket, m_requests.size() - 1);
}

void LyingService::respond(QSslSocket *socket, int serial)
{
    if (m_reply) {
        send(socket, *m_reply);
        return;
    }
    const QByteArray body
        = QStringLiteral(R"({"location":{"latitude":%1,"longitude":%2,"accuracy":%3}})")
              .arg(latitudeOf(serial), 0, 'g', 17)
              .arg(longitudeOf(serial), 0, 'g', 17)
              .arg(serial)
              .toLatin1();
    m_positions.append(serial);
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    // Given is given, also when the service refuses from the next moment on.
    socket->flush();
}

void LyingService::send(QSslSocket *socket, const RawReply &reply)
{
    socket->write(reply.bytes);
    socket->flush();
    switch (reply.ending) {
    case RawReply::Ending::Close:
        socket->disconnectFromHost();
        break;
    case RawReply::Ending::Reset: {
        const linger atOnce{1, 0};
        ::setsockopt(static_cast<int>(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
            sizeof atOnce);
        socket->abort();
        break;
    }
    case RawReply::Ending::Hang:
        break;
    case RawReply::Ending::Drip: {
        auto *timer = new QTimer(socket);
        connect(timer, &QTimer::timeout, socket, [socket] { socket->write(" "); });
        timer->start(dripMs);
        break;
    }
    }
}
