// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "replyserver.h"

#include "program.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

ReplyServer::ReplyServer(int replyDelayMs)
    : m_replyDelayMs(replyDelayMs), m_server(std::make_unique<QTcpServer>())
{
    if (!m_server->listen(QHostAddress::LocalHost)) {
        qFatal("Cannot listen on the loopback interface");
    }
    m_port = m_server->serverPort();
    connect(m_server.get(), &QTcpServer::newConnection, m_server.get(), [this] { accept(); });
    m_server->moveToThread(&m_thread);
    m_thread.start();
}

ReplyServer::~ReplyServer()
{
    QMetaObject::invokeMethod(
        m_server.get(), [this] { m_server.reset(); }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

QString ReplyServer::link() const
{
    return QStringLiteral("http://127.0.0.1:%1/v2/geolocation?key=").arg(m_port);
}

void ReplyServer::accept()
{
    while (QTcpSocket *socket = m_server->nextPendingConnection()) {
        ++m_connections;
        connect(socket, &QTcpSocket::readyRead, socket,
            [this, socket, received = QByteArray()]() mutable { read(socket, received); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void ReplyServer::read(QTcpSocket *socket, QByteArray &received)
{
    const qint64 arrival = monotonicNs();
    received += socket->readAll();
    const int headers = received.indexOf("\r\n\r\n");
    if (headers < 0) {
        return;
    }
    const QByteArray name("content-length:");
    const int length = received.left(headers).toLower().indexOf(name) + name.size();
    const int size = headers + 4
        + received.mid(length, received.indexOf('\r', length) - length).trimmed().toInt();
    if (received.size() < size) {
        return;
    }
    received.clear();
    ++m_requests;
    m_bytes += size;
    m_requestNs = arrival;
    if (m_replyDelayMs == 0) {
        reply(socket);
    } else {
        QTimer::singleShot(
            m_replyDelayMs, Qt::PreciseTimer, socket, [this, socket] { reply(socket); });
    }
}

void ReplyServer::reply(QTcpSocket *socket)
{
    const QByteArray body = R"({"location": {"latitude": )"
        + QByteArray::number(latitudeOf(m_requests), 'f', 3)
        + R"(, "longitude": 37.61, "accuracy": 120.0}})";
    const QByteArray text = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    m_bytes += text.size();
    socket->write(text);
    socket->flush();
    m_replyNs = monotonicNs();
}
