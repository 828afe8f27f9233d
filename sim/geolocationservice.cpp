// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "geolocationservice.h"

#include "waiting.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

#include <httplib.h>

#include <cmath>

namespace {

constexpr int statusOk = 200;
constexpr int statusRefused = 405;
constexpr size_t workerCount = 16; // more than the connections that hang at a time in any test
constexpr time_t keepAliveSecs = 120; // longer than clients keep idle connections
constexpr size_t requestsPerConnection = 1000000;
constexpr auto forEver = std::chrono::hours(24);

// Radius around the estimate, in its standard deviations as the weights have it. The figure is
// measured: along all streets of the simulated city the circle holds the truth 19 times out of 20.
constexpr double accuracyFactor = 2.6;

QByteArray jsonText(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

RecordedRequest recordOf(const httplib::Request &request)
{
    RecordedRequest recorded;
    recorded.arrival = QDateTime::currentDateTimeUtc();
    recorded.method = QByteArray::fromStdString(request.method);
    recorded.path = QString::fromStdString(request.path);
    const QByteArray target = QByteArray::fromStdString(request.target);
    if (target.contains('?')) {
        recorded.query = QUrlQuery(QString::fromUtf8(target.mid(target.indexOf('?') + 1)));
    }
    recorded.key = recorded.query.queryItemValue(QStringLiteral("key"), QUrl::FullyDecoded);
    for (const auto &[name, value] : request.headers) {
        recorded.headers.insert(
            QByteArray::fromStdString(name).toLower(), QByteArray::fromStdString(value));
    }
    // The HTTP library's own additions, which were never on the wire.
    for (const char *name : {"remote_addr", "remote_port", "local_addr", "local_port"}) {
        recorded.headers.remove(name);
    }
    recorded.body = QByteArray::fromStdString(request.body);
    recorded.json = QJsonDocument::fromJson(recorded.body).object();
    return recorded;
}

void setContent(httplib::Response &response, const QByteArray &body)
{
    response.set_content(body.toStdString(), "application/json");
}

// The port of the address that getsockname or getpeername gives; -1 for anything but IPv4.
int portOf(int descriptor, int (*addressOf)(int, sockaddr *, socklen_t *))
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    const bool known = addressOf(descriptor, reinterpret_cast<sockaddr *>(&address), &size) == 0;
    return known && address.sin_family == AF_INET ? ntohs(address.sin_port) : -1;
}

} // namespace

ServiceReply ServiceReply::ofKind(Kind kind)
{
    ServiceReply reply;
    reply.kind = kind;
    return reply;
}

ServiceReply ServiceReply::given(int status, const QByteArray &body)
{
    ServiceReply reply = ofKind(Kind::Given);
    reply.status = status;
    reply.body = body;
    return reply;
}

ServiceReply ServiceReply::position(double latitude, double longitude, double accuracy)
{
    const QJsonObject location{{QStringLiteral("latitude"), latitude},
        {QStringLiteral("longitude"), longitude}, {QStringLiteral("accuracy"), accuracy}};
    return given(statusOk, jsonText({{QStringLiteral("location"), location}}));
}

ServiceReply ServiceReply::after(std::chrono::milliseconds delay)
{
    ServiceReply reply;
    reply.delay = delay;
    return reply;
}

GeolocationService::GeolocationService() : m_server(std::make_unique<httplib::Server>())
{
    const auto handler = [this](const httplib::Request &request, httplib::Response &response) {
        handle(request, response);
    };
    m_server->Post(".*", handler);
    m_server->Get(".*", handler);
    m_server->set_tcp_nodelay(true);
    m_server->set_keep_alive_timeout(keepAliveSecs);
    m_server->set_keep_alive_max_count(requestsPerConnection);
    m_server->new_task_queue = [] { return new httplib::ThreadPool(workerCount); };
    m_port = m_server->bind_to_any_port("127.0.0.1");
    m_thread = std::thread([this] { m_server->listen_after_bind(); });
    while (!m_server->is_running()) {
        std::this_thread::yield();
    }
}

GeolocationService::~GeolocationService()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_stopped.notify_all();
    m_server->stop();
    shutConnections(0);
    m_thread.join();
}

QString GeolocationService::link() const
{
    return QStringLiteral("http://127.0.0.1:%1/v2/geolocation?key=").arg(m_port);
}

void GeolocationService::addCell(int cellId, const Transmitter &transmitter)
{
    const std::lock_guard lock(m_mutex);
    m_cells.insert(cellId, transmitter);
}

void GeolocationService::addAccessPoint(const QString &bssid, const Transmitter &transmitter)
{
    const std::lock_guard lock(m_mutex);
    m_accessPoints.insert(bssid, transmitter);
}

void GeolocationService::acceptKey(const QString &key)
{
    const std::lock_guard lock(m_mutex);
    m_keys.insert(key);
}

void GeolocationService::replyAlways(const ServiceReply &reply)
{
    const std::lock_guard lock(m_mutex);
    m_usualReply = reply;
}

void GeolocationService::replyNext(const ServiceReply &reply, int count)
{
    const std::lock_guard lock(m_mutex);
    m_nextReplies.insert(m_nextReplies.end(), static_cast<size_t>(count), reply);
}

QVector<RecordedRequest> GeolocationService::requests() const
{
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

QStringList GeolocationService::violations() const
{
    QStringList all;
    for (const RecordedRequest &request : requests()) {
        all += request.violations();
    }
    return all;
}

bool GeolocationService::waitForRequests(int count, std::chrono::milliseconds deadline) const
{
    return waitUntil([this, count] { return requests().size() >= count; }, deadline);
}

void GeolocationService::handle(const httplib::Request &request, httplib::Response &response)
{
    const RecordedRequest recorded = recordOf(request);
    const std::optional<ServiceReply> reply = record(recorded);
    carryOut(reply.value_or(ServiceReply::ofKind(ServiceReply::Kind::BreakAtOnce)), recorded,
        request.remote_port, response);
}

std::optional<ServiceReply> GeolocationService::record(const RecordedRequest &request)
{
    std::unique_lock lock(m_mutex);
    m_requests.append(request);
    ServiceReply reply = m_usualReply;
    if (!m_nextReplies.empty()) {
        reply = m_nextReplies.front();
        m_nextReplies.pop_front();
    }
    if (reply.kind == ServiceReply::Kind::Estimate && !m_keys.contains(request.key)) {
        reply.kind = ServiceReply::Kind::Refuse;
    }
    QMetaObject::invokeMethod(this, &GeolocationService::requestArrived, Qt::QueuedConnection);

    const bool hang = reply.kind == ServiceReply::Kind::Hang;
    const bool stopped
        = m_stopped.wait_for(lock, hang ? forEver : reply.delay, [this] { return m_stopping; });
    return stopped ? std::nullopt : std::make_optional(reply);
}

void GeolocationService::carryOut(const ServiceReply &reply, const RecordedRequest &recorded,
    int clientPort, httplib::Response &response)
{
    switch (reply.kind) {
    case ServiceReply::Kind::Estimate:
        setContent(response, estimate(recorded.json));
        break;
    case ServiceReply::Kind::Given:
        response.status = reply.status;
        setContent(response, reply.body);
        for (auto header = reply.headers.cbegin(); header != reply.headers.cend(); ++header) {
            response.headers.erase(header.key().toStdString());
            response.set_header(header.key().toStdString(), header.value().toStdString());
        }
        break;
    case ServiceReply::Kind::Refuse:
        response.status = statusRefused;
        setContent(response, R"({"error": "This key is not known here"})");
        break;
    case ServiceReply::Kind::Hang:
    case ServiceReply::Kind::BreakAtOnce:
        shutConnections(clientPort);
        break;
    case ServiceReply::Kind::BreakInBody:
        breakInBody(estimate(recorded.json), clientPort, response);
        break;
    }
}

void GeolocationService::breakInBody(
    const QByteArray &body, int clientPort, httplib::Response &response) const
{
    const auto size = static_cast<size_t>(body.size());
    response.set_content_provider(size, "application/json",
        [this, body, clientPort](size_t, size_t length, httplib::DataSink &sink) {
            sink.write(body.constData(), length / 2);
            shutConnections(clientPort);
            return false;
        });
}

QByteArray GeolocationService::estimate(const QJsonObject &json) const
{
    double weights = 0;
    double latitude = 0;
    double longitude = 0;
    for (const Sighting &sighting : sightings(json)) {
        const double weight = 1 / (sighting.metres * sighting.metres);
        weights += weight;
        latitude += weight * sighting.transmitter.place.latitude;
        longitude += weight * sighting.transmitter.place.longitude;
    }
    if (weights <= 0) {
        return R"({"Location not found": {"message": "None of these transmitters is known"}})";
    }
    return ServiceReply::position(
        latitude / weights, longitude / weights, accuracyFactor / std::sqrt(weights))
        .body;
}

QVector<GeolocationService::Sighting> GeolocationService::sightings(const QJsonObject &json) const
{
    const QLatin1String signal("signalStrengthDBm");
    const QJsonObject network = json.value(QLatin1String("mobileNetwork")).toObject();
    QVector<Sighting> seen;
    const std::lock_guard lock(m_mutex);
    for (const QJsonValue tower : network.value(QLatin1String("cellTowers")).toArray()) {
        const auto cell = m_cells.constFind(tower[QLatin1String("cellID")].toInt());
        if (cell != m_cells.constEnd()) {
            seen.append({*cell, cell->metresAt(tower[signal].toDouble())});
        }
    }
    for (const QJsonValue value : json.value(QLatin1String("wifiAccessPoints")).toArray()) {
        const auto accessPoint
            = m_accessPoints.constFind(value[QLatin1String("macAddress")].toString());
        if (accessPoint != m_accessPoints.constEnd()) {
            const double dbm = -value[signal].toDouble() - connManStrengthOffsetDb;
            seen.append({*accessPoint, accessPoint->metresAt(dbm)});
        }
    }
    return seen;
}

void GeolocationService::shutConnections(int clientPort) const
{
    // The HTTP library keeps its sockets to itself, so they are found by their addresses.
    const QStringList names
        = QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System);
    for (const QString &name : names) {
        const int descriptor = name.startsWith(QLatin1Char('.')) ? -1 : name.toInt();
        const int peer = portOf(descriptor, ::getpeername);
        if (peer > 0 && (clientPort == 0 || peer == clientPort)
            && portOf(descriptor, ::getsockname) == m_port) {
            ::shutdown(descriptor, SHUT_RDWR);
        }
    }
}
