// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "waiting.h"

#include <QDateTime>
#include <QJsonObject>
#include <QMultiMap>
#include <QSet>
#include <QSslCertificate>
#include <QSslKey>
#include <QTcpServer>
#include <QVector>

#include <chrono>
#include <functional>
#include <optional>

QT_BEGIN_NAMESPACE
class QSslSocket;
QT_END_NAMESPACE

/// A request as it reached the web service.
struct RecordedRequest
{
    QDateTime arrival; ///< UTC, with milliseconds
    QByteArray method;
    QByteArray target; ///< path and query, as sent
    QMultiMap<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;
    QJsonObject json; ///< the body parsed; empty when it is no JSON object

    /// The query item "key", decoded.
    QString key() const;
    /// The check of an API key rather than a request for a position.
    bool isKeyCheck() const { return json.contains("ip"); }
};

/// What the web service does with a request.
struct WebReply
{
    enum class Ending {
        KeepOpen, ///< for the next request; after less than a whole reply it hangs
        Close,
        Reset, ///< with a TCP reset
        Drip, ///< one space every 100 ms, for ever
    };

    /// All that goes over the wire; without it the service decides by the key and the request.
    std::optional<QByteArray> bytes;
    Ending ending = Ending::KeepOpen;
    std::chrono::milliseconds delay{0};

    /// An HTTP reply with its head; each further header ends in a line break.
    static WebReply http(
        const QByteArray &status, const QByteArray &body, const QByteArray &headers = QByteArray());
    /// A position, in degrees and metres.
    static WebReply position(double latitude, double longitude, double accuracy);
    static WebReply hang() { return {QByteArray(), Ending::KeepOpen, {}}; }
    static WebReply close() { return {QByteArray(), Ending::Close, {}}; }
    static WebReply after(std::chrono::milliseconds delay) { return {{}, Ending::KeepOpen, delay}; }
};

/// A geolocation web service on the loopback interface, in the event loop of its thread. Unless
/// told otherwise it refuses keys that it does not know, as the real one does, and answers each
/// request with a position of its own, so that every position tells which request it came from.
class WebService : public QTcpServer
{
    Q_OBJECT

public:
    /// Works out the body of a reply to a request.
    using Locator = std::function<QByteArray(const QJsonObject &request)>;

    /// Listens at once.
    WebService();

    /// The URL in front of the key, as it goes into the daemon's settings.
    QString link() const;
    void acceptKey(const QString &key) { m_keys.insert(key); }
    void setLocator(const Locator &locator) { m_locator = locator; }
    /// From now on connections are encrypted.
    void encrypt(const QSslCertificate &certificate, const QSslKey &key);

    /// What to do with every request from now on that replyNext() says nothing about.
    void replyAlways(const WebReply &reply) { m_usualReply = reply; }
    /// What to do with the next requests; further calls queue up.
    void replyNext(const WebReply &reply, int count = 1)
    {
        m_nextReplies += QVector<WebReply>(count, reply);
    }
    /// Nobody listens any more and open connections break, until listenAgain().
    void refuseConnections();
    void listenAgain();

    /// Everything that has arrived so far, in order.
    const QVector<RecordedRequest> &requests() const { return m_requests; }
    /// Runs the event loop until so many requests have arrived in all; false when the deadline
    /// passes.
    bool waitForRequests(int count, std::chrono::milliseconds deadline) const
    {
        return waitUntil([this, count] { return m_requests.size() >= count; }, deadline);
    }

    /// Degrees, in the reply to the request of this index; the accuracy in metres is the index.
    static double latitudeOf(int index) { return 50 + index * 1e-4; }
    static double longitudeOf(int index) { return 10 + index * 1e-4; }

Q_SIGNALS:
    void requestArrived();
    /// The reply to the request of this index, a position, went out a second ago and the connection
    /// still stands: the daemon had not given the request up when the reply reached it.
    void positionGiven(int index);

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    void read(QSslSocket *socket);
    void respond(QSslSocket *socket, const WebReply &reply, int index);
    WebReply decide(int index) const;
    static void send(QSslSocket *socket, const WebReply &reply);

    quint16 m_port = 0;
    bool m_encrypted = false;
    QSslCertificate m_certificate;
    QSslKey m_key;
    QSet<QString> m_keys;
    Locator m_locator;
    WebReply m_usualReply;
    QVector<WebReply> m_nextReplies;
    QVector<RecordedRequest> m_requests;
};
