// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faults.h"

#include "simulatedphone.h"
#include "waiting.h"

using namespace std::chrono_literals;
using Ending = WebReply::Ending;

namespace {

constexpr auto callDeadline = 10s;
constexpr int deepNesting = 100000;
const QByteArray halfReply = "HTTP/1.1 200 OK\r\nContent-Length: 90\r\n\r\n{\"loca";

WebReply raw(const QByteArray &bytes, Ending ending = Ending::Close)
{
    return {bytes, ending, {}};
}

WebReply status(const QByteArray &line, const QByteArray &headers = QByteArray())
{
    return WebReply::http(line, {}, headers);
}

WebReply ok(const QByteArray &body)
{
    return WebReply::http("200 OK", body);
}

} // namespace

const QVector<WebFault> &webFaults()
{
    static constexpr char anyError[] = "Error string is not empty";
    static const QVector<WebFault> faults{
        {"closes at once", WebReply::close(), "Connection closed"},
        {"resets in the middle of the body", raw(halfReply, Ending::Reset), "Connection"},
        {"closes in the middle of the body", raw(halfReply), "Connection closed"},
        {"no HTTP at all", raw("\x16\x03\x01garbage\r\n\r\n"), anyError},
        {"a chunk of no length",
            raw("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n"),
            anyError},
        {"a compressed body that is none",
            WebReply::http("200 OK", "no gzip", "Content-Encoding: gzip\r\n"), anyError},
        {"a header of 1 MiB", status("200 OK", "X: " + QByteArray(1 << 20, 'x') + "\r\n"),
            anyError},
        {"status 204", status("204 No Content"), "illegal value"},
        {"status 302 to another path", status("302 Found", "Location: /elsewhere\r\n"),
            "illegal value"},
        {"status 307 to another path", status("307 Temporary Redirect", "Location: /elsewhere\r\n"),
            "illegal value"},
        {"status 401 that asks for a password",
            status("401 Unauthorized", "WWW-Authenticate: Basic realm=x\r\n"),
            "Host requires authentication"},
        {"status 405", status("405 Method Not Allowed"), "Method Not Allowed"},
        {"an empty body", ok({}), "illegal value"},
        {"a body nested 100 000 deep", ok(QByteArray(deepNesting, '[')), "deeply nested"},
        {"invalid UTF-8", ok("{\"\xff\xfe\":\"\xc3\x28\"}"), "invalid UTF8"},
        {"a failure with a text of 512 KiB",
            ok(R"({"Location not found":{"message":")" + QByteArray(1 << 19, 'm') + "\"}}"),
            "mmmm"},
        {"a body of 2 MiB", ok(QByteArray(2 << 20, ' ')), "Operation canceled"},
    };
    return faults;
}

const QVector<WebFault> &hangingWebFaults()
{
    static constexpr char timedOut[] = "Request timed out 2 retries left";
    static const QVector<WebFault> faults{
        {"accepts and hangs", WebReply::hang(), timedOut},
        {"hangs in the middle of the body", raw(halfReply, Ending::KeepOpen), timedOut},
        {"a slow drip", raw("HTTP/1.1 200 OK\r\nContent-Length: 90000\r\n\r\n", Ending::Drip),
            timedOut},
    };
    return faults;
}

const QVector<PlatformFault> &platformFaults()
{
    static const QVector<PlatformFault> faults{
        {"is absent, comes late", false,
            [](SimulatedService &service, const QString &) { service.stop(); }, "is not there"},
        {"is killed in the middle of a call", true,
            [](SimulatedService &service, const QString &method) {
                const int before = service.callCount(method);
                service.neverAnswer(method);
                service.restart();
                waitUntil([&] { return service.callCount(method) > before; }, callDeadline);
                service.stop();
            },
            "has left the bus"},
        {"answers with an error", false,
            [](SimulatedService &service, const QString &method) {
                service.answerError(method, "org.example.Broken");
                service.restart();
            },
            "org.example.Broken"},
        {"answers with a wrong type", false,
            [](SimulatedService &service, const QString &method) {
                service.answerWith(method, {42});
                service.restart();
            },
            "the signature is (i)"},
        {"never answers", false,
            [](SimulatedService &service, const QString &method) {
                service.neverAnswer(method);
                service.restart();
            },
            nullptr},
    };
    return faults;
}

const QVector<PhoneService> &phoneServices()
{
    static const QVector<PhoneService> services{
        {"GetModems", [](SimulatedPhone &phone) -> SimulatedService & { return phone.ofono; }},
        {"GetServices", [](SimulatedPhone &phone) -> SimulatedService & { return phone.connMan; }},
        {"get_tklock_mode", [](SimulatedPhone &phone) -> SimulatedService & { return phone.mce; }},
    };
    return services;
}
