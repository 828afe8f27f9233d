// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QObject>
#include <QThread>

#include <atomic>
#include <memory>

QT_BEGIN_NAMESPACE
class QTcpServer;
class QTcpSocket;
QT_END_NAMESPACE

// Answers every request on the loopback interface with a position, from a thread of its own, and
// counts what passes. A latitude tells the number of its request.
class ReplyServer : public QObject
{
    Q_OBJECT

public:
    struct Traffic
    {
        int requests;
        int connections;
        qint64 bytes; // HTTP in both directions
    };

    explicit ReplyServer(int replyDelayMs = 0);
    ~ReplyServer() override;
    Q_DISABLE_COPY(ReplyServer)

    // The URL in front of the key.
    QString link() const;
    Traffic traffic() const { return {m_requests, m_connections, m_bytes}; }

    // When the last byte of the latest request arrived and that of its reply left.
    qint64 requestNs() const { return m_requestNs; }
    qint64 replyNs() const { return m_replyNs; }
    // The latitude in the reply to a request, counted from 1.
    static double latitudeOf(int request) { return 10 + request * 1e-3; }

private:
    void accept();
    void read(QTcpSocket *socket, QByteArray &received);
    void reply(QTcpSocket *socket);

    const int m_replyDelayMs;
    std::unique_ptr<QTcpServer> m_server; // lives in the thread
    QThread m_thread;
    int m_port = 0;
    std::atomic<int> m_requests{0};
    std::atomic<int> m_connections{0};
    std::atomic<qint64> m_bytes{0};
    std::atomic<qint64> m_requestNs{0};
    std::atomic<qint64> m_replyNs{0};
};
