// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "recordedrequest.h"
#include "transmitter.h"

#include <QHash>
#include <QObject>
#include <QSet>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

// What the geolocation service does with a request. The default is what a real one does: refuse a
// key that it does not know, else answer with the position that it works out.
struct ServiceReply
{
    enum class Kind {
        Estimate,
        Given, // status, headers and body as set here
        Refuse, // as for a wrong key: HTTP 405
        Hang, // accept the request and never answer
        BreakAtOnce, // close the connection without an answer
        BreakInBody, // close the connection after half of the body
    };

    Kind kind = Kind::Estimate;
    std::chrono::milliseconds delay{0};
    int status = 200;
    QByteArray body;
    QMultiMap<QByteArray, QByteArray> headers; // without Content-Type it is application/json

    static ServiceReply ofKind(Kind kind);
    static ServiceReply given(int status, const QByteArray &body);
    // A position, in degrees and metres.
    static ServiceReply position(double latitude, double longitude, double accuracy);
    static ServiceReply after(std::chrono::milliseconds delay);
};

// A geolocation web service on the loopback interface, with threads of its own. It knows where its
// transmitters stand, never where the phone is. All functions may be called from any thread;
// requestArrived() is emitted in the thread of this object.
//
// WLAN signals arrive as the negated strength of the phone's connection manager, 0 to -100, where a
// stronger signal has the LOWER number. The manager's strength is the signal in dBm plus 120.
class GeolocationService : public QObject
{
    Q_OBJECT

public:
    // Listens at once.
    GeolocationService();
    // Closes all connections, however long the requests on them were meant to hang.
    ~GeolocationService() override;
    Q_DISABLE_COPY(GeolocationService)

    // The URL in front of the key, as it goes into the daemon's settings.
    QString link() const;

    void addCell(int cellId, const Transmitter &transmitter);
    void addAccessPoint(const QString &bssid, const Transmitter &transmitter);
    void acceptKey(const QString &key);

    // What to do with every request from now on that replyNext() says nothing about.
    void replyAlways(const ServiceReply &reply);
    // What to do with the next requests; further calls queue up.
    void replyNext(const ServiceReply &reply, int count = 1);

    // Everything that has arrived so far, in order.
    QVector<RecordedRequest> requests() const;
    // The violations of all requests so far.
    QStringList violations() const;
    // Runs the event loop until so many requests have arrived in all; false when the deadline
    // passes.
    bool waitForRequests(int count, std::chrono::milliseconds deadline) const;

Q_SIGNALS:
    void requestArrived();

private:
    struct Sighting
    {
        Transmitter transmitter;
        double metres;
    };

    void handle(const httplib::Request &request, httplib::Response &response);
    // What to do with this request; nothing when the service ends meanwhile.
    std::optional<ServiceReply> record(const RecordedRequest &request);
    void carryOut(const ServiceReply &reply, const RecordedRequest &recorded, int clientPort,
        httplib::Response &response);
    void breakInBody(const QByteArray &body, int clientPort, httplib::Response &response) const;
    QByteArray estimate(const QJsonObject &json) const;
    QVector<Sighting> sightings(const QJsonObject &json) const;
    // Shuts the connection of one client down, or all of them for port 0.
    void shutConnections(int clientPort) const;

    const std::unique_ptr<httplib::Server> m_server;
    int m_port = 0;
    std::thread m_thread;

    mutable std::mutex m_mutex; // guards all that follows
    std::condition_variable m_stopped;
    bool m_stopping = false;
    QHash<int, Transmitter> m_cells;
    QHash<QString, Transmitter> m_accessPoints;
    QSet<QString> m_keys;
    ServiceReply m_usualReply;
    std::deque<ServiceReply> m_nextReplies;
    QVector<RecordedRequest> m_requests;
};
