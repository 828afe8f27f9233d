// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QJsonObject>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpServer>
#include <QVector>

#include <optional>

// What goes over the wire in place of an answer.
struct RawReply
{
    enum class Ending {
        Close,
        Reset, // with a TCP reset
        Hang, // the connection stays open and silent
        Drip, // one space every 100 ms, for ever
    };

    QByteArray bytes;
    Ending ending = Ending::Close;
};

// A geolocation web service on the loopback interface that sends any bytes. Left alone it answers
// each request with a position of its own, so that every position tells which request it came from.
class LyingService : public QTcpServer
{
    Q_OBJECT

public:
    LyingService();

    QString link() const;
    // From now on connections are encrypted, with a certificate and its key in PEM files.
    void encrypt(const QString &certificatePath, const QString &keyPath);

    // From now on; behave() ends it, as it ends refuse().
    void answer(const RawReply &reply) { m_reply = reply; }
    // Nobody listens any more; open connections are closed.
    void refuse();
    void behave();

    // The bodies of all requests so far.
    const QVector<QJsonObject> &requests() const { return m_requests; }
    // The last one of them; empty before the first.
    QJsonObject lastRequest() const { return m_requests.value(m_requests.size() - 1); }
    // The serial numbers of the requests that got a position: indices of requests().
    const QVector<int> &positions() const { return m_positions; }
    // Request lines of all requests so far.
    const QList<QByteArray> &requestLines() const { return m_requestLines; }

    static double latitudeOf(int serial) { return 50 + serial * 1e-4; }
    static double longitudeOf(int serial) { return 10 + serial * 1e-4; }

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void read(QSslSocket *socket);
    void respond(QSslSocket *socket, int serial);
    static void send(QSslSocket *socket, const RawReply &reply);

    quint16 m_port = 0;
    bool m_encrypted = false;
    QSslCertificate m_certificate;
    QSslKey m_key;
    std::optional<RawReply> m_reply;
    QVector<QJsonObject> m_requests;
    QVector<int> m_positions;
    QList<QByteArray> m_requestLines;
};
