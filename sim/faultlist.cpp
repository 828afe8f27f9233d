// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faultlist.h"

#include "simulatedphone.h"
#include "waiting.h"

using namespace std::chrono_literals;
using Ending = RawReply::Ending;

namespace {

constexpr auto callDeadline = 10s;
constexpr int deepNesting = 100000;

RawReply ok(const QByteArray &body)
{
    return withStatus("200 OK", body);
}

RawReply location(const QByteArray &members)
{
    return ok("{\"location\":{" + members + "}}");
}

} // namespace

RawReply withStatus(const QByteArray &status, const QByteArray &body, const QByteArray &headers)
{
    return {"HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: "
        + QByteArray::number(body.size()) + "\r\n" + headers + "\r\n" + body};
}

QByteArray hugeBody()
{
    return R"({"padding":")" + QByteArray(64 << 20, 'x') + R"("})";
}

const QVector<WebFault> &webFaults()
{
    static const QVector<WebFault> faults{
        {"closes at once", {}, "Connection closed"},
        {"resets at once", {{}, Ending::Reset}, "Connection"},
        {"resets in the middle of the body",
            {"HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{\"loca", Ending::Reset}, "Connection"},
        {"closes in the middle of the head", {"HTTP/1.1 200 O"}, "Connection closed"},
        {"closes in the middle of the body",
            {"HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{\"loca"}, "Connection closed"},
        {"no HTTP at all",
            {"\x16\x03\x01\x02"
             "garbage\r\n\r\n"},
            "Error string is not empty"},
        {"a chunk of no length",
            {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n"},
            "Error string is not empty"},
        {"a negative length", {"HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\n{}"},
            "Error string is not empty"},
        {"a length beyond 64 bits",
            {"HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999999\r\n\r\n{}"},
            "Error string is not empty"},
        {"a compressed body that is none",
            withStatus("200 OK", "no gzip", "Content-Encoding: gzip\r\n"),
            "Error string is not empty"},
        {"a header of 1 MiB", withStatus("200 OK", "{}", "X: " + QByteArray(1 << 20, 'x') + "\r\n"),
            "Error string is not empty"},
        {"status 204", withStatus("204 No Content", {}), "illegal value"},
        {"status 302 to another path", withStatus("302 Found", {}, "Location: /elsewhere\r\n"),
            "illegal value"},
        {"status 304", withStatus("304 Not Modified", {}), "illegal value"},
        {"status 307 to another path",
            withStatus("307 Temporary Redirect", {}, "Location: /elsewhere\r\n"), "illegal value"},
        {"status 401 that asks for a password",
            withStatus("401 Unauthorized", {}, "WWW-Authenticate: Basic realm=x\r\n"),
            "Host requires authentication"},
        {"status 403", withStatus("403 Forbidden", {}), "Forbidden"},
        {"status 404", withStatus("404 Not Found", {}), "Not Found"},
        {"status 405", withStatus("405 Method Not Allowed", {}), "Method Not Allowed"},
        {"status 429", withStatus("429 Too Many Requests", {}), "Too Many Requests"},
        {"status 500", withStatus("500 Internal Server Error", {}), "Internal Server Error"},
        {"status 503", withStatus("503 Service Unavailable", {}), "Service Unavailable"},
        {"status 999", withStatus("999 Whatever", {}), "Whatever"},
        {"an empty body", ok({}), "illegal value"},
        {"a list instead of an object", ok("[]"), "expected object at root level not found"},
        {"an object without a location", ok("{}"), "position data not found"},
        {"a location that is a text", ok(R"({"location":"here"})"), "position data not found"},
        {"a body nested 100 000 deep", ok(QByteArray(deepNesting, '[')), "deeply nested"},
        {"invalid UTF-8", ok("{\"\xff\xfe\":\"\xc3\x28\"}"), "invalid UTF8"},
        {"the word NaN for a number", location(R"("latitude":NaN,"longitude":1)"), "illegal"},
        {"a failure with a text of 512 KiB",
            ok(R"({"Location not found":{"message":")" + QByteArray(1 << 19, 'm') + "\"}}"),
            "mmmm"},
        {"infinite coordinates", location(R"("latitude":1e999,"longitude":-1e999)"),
            "illegal number"},
        {"coordinates that are words", location(R"("latitude":"nan","longitude":"1e999")"),
            nullptr},
        {"coordinates of a wrong type", location(R"("latitude":{},"longitude":[1])"), nullptr},
    };
    return faults;
}

const QVector<WebFault> &hangingWebFaults()
{
    static const QVector<WebFault> faults{
        {"accepts and hangs", {{}, Ending::Hang}, "Request timed out 2 retries left"},
        {"hangs in the middle of the body",
            {"HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{\"loca", Ending::Hang},
            "Request timed out 2 retries left"},
        {"a slow drip", {"HTTP/1.1 200 OK\r\nContent-Length: 90000\r\n\r\n", Ending::Drip},
            "Request timed out 2 retries left"},
    };
    return faults;
}

const QVector<PlatformFault> &platformFaults()
{
    static const QVector<PlatformFault> faults{
        {"is absent, comes late", true,
            [](SimulatedService &service, const QString &) { service.stop(); }, "is not there"},
        {"is killed in the middle of a call", true,
            [](SimulatedService &service, const QString &method) {
                const int before = service.callCount(method);
                service.stop();
                service.neverAnswer(method);
                service.start();
                waitUntil([&] { return service.callCount(method) > before; }, callDeadline);
                service.stop();
            },
            "has left the bus"},
        {"answers with an error", false,
            [](SimulatedService &service, const QString &method) {
                service.stop();
                service.answerError(method, QStringLiteral("org.example.Broken"));
                service.start();
            },
            "org.example.Broken"},
        {"answers with a wrong type", false,
            [](SimulatedService &service, const QString &method) {
                service.stop();
                service.answerWith(method, {42});
                service.start();
            },
            "the signature is (i)"},
        {"never answers", false,
            [](SimulatedService &service, const QString &method) {
                service.stop();
                service.neverAnswer(method);
                service.start();
            },
            nullptr},
    };
    return faults;
}

const QVector<PhoneService> &phoneServices()
{
    static const QVector<PhoneService> services{
        {"oFono", "GetModems",
            [](SimulatedPhone &phone) -> SimulatedService & { return phone.ofono; },
            "mobileNetwork"},
        {"ConnMan", "GetServices",
            [](SimulatedPhone &phone) -> SimulatedService & { return phone.connMan; },
            "wifiAccessPoints"},
        {"MCE", "get_tklock_mode",
            [](SimulatedPhone &phone) -> SimulatedService & { return phone.mce; }, nullptr},
    };
    return services;
}
