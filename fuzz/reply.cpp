// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The web service's reply. An input is a body or, when it ends in "!", a refusal: the API key in
// the first line, what the service says in the rest.

#include "fuzzing.h"
#include "positioning/positionadaptor.h"
#include "privatemember.h"
#include "webservice/endpoint.h"

#include <QNetworkReply>

#include <algorithm>
#include <cmath>
#include <cstring>

REVEAL(State, &PositionAdaptor::state);
REVEAL(RepeatRequest, &PositionAdaptor::repeatRequest);
REVEAL(HandleFinished, &PositionAdaptor::replyFinished);
REVEAL(WriteCache, &PositionAdaptor::writeCache);
REVEAL(ReadCache, &PositionAdaptor::readCache);

namespace {

constexpr qint32 latitudeField = 1;
constexpr qint32 longitudeField = 2;
constexpr qint32 requestTime = 1700000000;
const Position before = {3, 1.5, 2.5, 3.5, 1, {4, 5.5, 6.5}};

class FinishedReply : public QNetworkReply
{
public:
    explicit FinishedReply(QByteArray body) : m_body(std::move(body))
    {
        setUrl(QUrl(endpointPrefix()));
        setOpenMode(ReadOnly);
        setFinished(true);
    }

    FinishedReply(const QString &apiKey, const QString &reason)
    {
        setUrl(QUrl(endpointPrefix() + apiKey, QUrl::TolerantMode));
        setError(ContentAccessDenied,
            QStringLiteral("Error transferring %1 - server replied: %2")
                .arg(url().toString(), reason));
        setFinished(true);
    }

    void abort() override { }
    qint64 bytesAvailable() const override
    {
        return m_body.size() + QNetworkReply::bytesAvailable();
    }

protected:
    qint64 readData(char *data, qint64 maximum) override
    {
        const auto size = std::min<qint64>(maximum, m_body.size());
        std::memcpy(data, m_body.constData(), static_cast<size_t>(size));
        m_body.remove(0, static_cast<int>(size));
        return size;
    }

private:
    QByteArray m_body;
};

QString secret;

void requireSecrecy(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(text));
        return;
    }
    require(secret.isEmpty() || text.startsWith(QLatin1String("Error string is not"))
            || !text.contains(secret),
        "the log does not show the key");
    require(std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c != QLatin1Char('\n'); }),
        "what a service says stays on one line");
}

bool marks(const Position &position, qint32 field, double coordinate)
{
    return std::isfinite(coordinate)
        && ((position.fields & field) != 0) == (std::abs(coordinate) > 1e-12);
}

void requireFound(const Position &found)
{
    require((found.fields & ~(latitudeField | longitudeField)) == 0,
        "no field but latitude and longitude");
    require(marks(found, latitudeField, found.latitude)
            && marks(found, longitudeField, found.longitude),
        "a field is marked exactly when its coordinate is finite and not zero");
    require(std::isfinite(found.accuracy.horizontal), "a finite radius");
    Position others = before;
    others.fields = found.fields;
    others.latitude = found.latitude;
    others.longitude = found.longitude;
    others.timestamp = requestTime;
    others.accuracy.horizontal = found.accuracy.horizontal;
    require(bits(found) == bits(others), "all else stays");
}

std::unique_ptr<QNetworkReply> finishedReply(const QByteArray &input)
{
    secret.clear();
    if (!input.endsWith('!'))
        return std::make_unique<FinishedReply>(input);

    const QString text = QString::fromUtf8(input);
    const QString apiKey = text.section(QLatin1Char('\n'), 0, 0);
    const bool isPlausible = apiKey.size() >= 8
        && std::all_of(apiKey.cbegin(), apiKey.cend(),
            [](QChar c) { return c > QLatin1Char(' ') && c < QLatin1Char('~'); });
    if (isPlausible)
        secret = apiKey;
    return std::make_unique<FinishedReply>(apiKey, text.section(QLatin1Char('\n'), 1));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    prepareProcess();
    qInstallMessageHandler(requireSecrecy);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QObject provider;
    static PositionAdaptor &adaptor = *new PositionAdaptor(&provider);
    Position &position = (adaptor.*member(State()))->lastPosition;
    position = before;
    (adaptor.*member(WriteCache()))();

    const std::unique_ptr<QNetworkReply> reply
        = finishedReply(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)));
    QObject::connect(reply.get(), &QNetworkReply::finished, &adaptor,
        [] { (adaptor.*member(HandleFinished()))(requestTime); });
    Q_EMIT reply->finished();
    const Position after = position;
    const bool failed = adaptor.*member(RepeatRequest());
    if (after.timestamp != before.timestamp) {
        require(!failed, "a reply with a location is no failure");
        requireFound(after);
    } else {
        require(bits(after) == bits(before), "a reply without a location changes nothing");
    }

    position = Position();
    (adaptor.*member(ReadCache()))();
    require(bits(position) == bits(after), "the cache holds the last position");
    return 0;
}
