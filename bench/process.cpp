// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// Measures whole processes: how they start, what they hold, how often they wake up, and what a
// cycle sends. Prints one JSON object.

#include "city.h"
#include "fixture.h"
#include "program.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr int startRounds = 30;
constexpr auto settlingTime = 2s;
// The daemon ends itself after 20 s without a client.
constexpr auto idleTime = 15s;
constexpr auto pollingTime = 120s;

QVector<Program> programs()
{
    return QVector<Program>{floorProgram(), daemonProgram()} + desktopPrograms();
}

/// One row for each start: program, milliseconds on the wall and of processor time. The programs
/// take turns.
QJsonArray startTimes()
{
    QJsonArray starts;
    for (int round = 0; round < startRounds; ++round) {
        for (const Program &program : programs()) {
            const Run run(program);
            starts.append(QJsonArray{program.name, run.wallMs(), run.processorMs()});
        }
    }
    return starts;
}

/// From the exec until the program waits for calls.
QJsonObject startInstructions()
{
    const QRegularExpression collected("Collected : (\\d+)");
    QJsonObject instructions;
    for (const Program &program : programs()) {
        Run run(program, {"valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"});
        pass(settlingTime);
        const auto match = collected.match(QString::fromUtf8(run.terminate()));
        if (!match.hasMatch())
            qFatal("No instructions of %s", qUtf8Printable(program.name));
        instructions.insert(program.name, match.captured(1).toDouble());
    }
    return instructions;
}

QJsonObject memoryKib(qint64 processId)
{
    const QString file = "smaps_rollup";
    return {{"private", procFigure(processId, file, "Private_Dirty")},
        {"proportional", procFigure(processId, file, "Pss")}};
}

double perMinute(qint64 count, std::chrono::seconds time)
{
    return static_cast<double>(count) * 60 / static_cast<double>(time.count());
}

/// How often the threads of each process wake up in a minute, watched side by side.
QJsonObject wakeUps(const QMap<QString, qint64> &processIds, std::chrono::seconds time)
{
    QMap<QString, QMap<QString, qint64>> before;
    for (auto process = processIds.cbegin(); process != processIds.cend(); ++process)
        before.insert(process.key(), sleeps(*process));
    pass(time);
    QJsonObject counts;
    for (auto process = processIds.cbegin(); process != processIds.cend(); ++process) {
        const QMap<QString, qint64> after = sleeps(*process);
        qint64 count = 0;
        for (auto thread = after.cbegin(); thread != after.cend(); ++thread)
            count += *thread - before.value(process.key()).value(thread.key());
        counts.insert(process.key(), perMinute(count, time));
    }
    return counts;
}

void measureIdle(QJsonObject &memory, QJsonObject &wakings)
{
    std::vector<std::unique_ptr<Run>> runs;
    QMap<QString, qint64> processIds;
    for (const Program &program : programs()) {
        runs.push_back(std::make_unique<Run>(program));
        processIds.insert(program.name, runs.back()->processId());
    }
    pass(settlingTime);
    for (auto process = processIds.cbegin(); process != processIds.cend(); ++process)
        memory.insert(process.key(), memoryKib(*process));
    wakings.insert("idle", wakeUps(processIds, idleTime));
}

/// A daemon with a client, a request a minute and a phone that stays where it is.
struct Polling
{
    Polling(QString situation, bool filter, bool locked) : name(std::move(situation))
    {
        fixture.phone.see(City().viewFrom({250, 150}));
        auto settings = Fixture::unfiltered(60);
        settings.insert("enable_request_filter", QVariant(filter).toString());
        if (!fixture.begin(settings) || !fixture.seesPosition())
            qFatal("No position");
        if (locked)
            fixture.phone.mce.setLockMode("locked");
    }

    const QString name;
    Fixture fixture;
};

/// Bytes of HTTP heads and bodies, and of the same bodies without a blank in them.
QJsonObject cycleBytes(const WebService &service)
{
    const RecordedRequest &request = service.requests().first();
    QByteArray head = request.method + ' ' + request.target + " HTTP/1.1\r\n\r\n";
    for (auto header = request.headers.cbegin(); header != request.headers.cend(); ++header)
        head += header.key() + ": " + *header + "\r\n";
    const QByteArray reply
        = *WebReply::position(WebService::latitudeOf(0), WebService::longitudeOf(0), 0).bytes;
    const auto replyHead = reply.indexOf("\r\n\r\n") + 4;
    const auto row = [](qint64 headSize, const QByteArray &body) {
        const QByteArray compact = QJsonDocument::fromJson(body).toJson(QJsonDocument::Compact);
        return QJsonArray{headSize, qint64(body.size()), qint64(compact.size())};
    };
    return {{"request", row(head.size(), request.body)},
        {"reply", row(replyHead, reply.mid(replyHead))}};
}

QJsonObject measurePolling(QJsonObject &memory, QJsonObject &wakings)
{
    const Polling usual("a request each minute", false, false);
    const Polling filtered("nothing new, filtered", true, false);
    const Polling locked("locked", false, true);
    const auto all = {&usual, &filtered, &locked};
    pass(settlingTime);
    memory.insert("daemon after the first position", memoryKib(usual.fixture.daemon.processId()));
    QMap<QString, qint64> processIds;
    for (const Polling *each : all)
        processIds.insert(each->name, each->fixture.daemon.processId());
    wakings.insert("polling", wakeUps(processIds, pollingTime));
    QJsonObject requests;
    for (const Polling *each : all)
        requests.insert(each->name,
            perMinute(qint64(each->fixture.service.requests().size()) - 1, pollingTime));
    wakings.insert("requests", requests);
    return cycleBytes(usual.fixture.service);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QJsonObject memory;
    QJsonObject wakings;
    measureIdle(memory, wakings);
    const QJsonObject bytes = measurePolling(memory, wakings);
    const QJsonObject result{{"start", startTimes()}, {"instructions", startInstructions()},
        {"memory", memory}, {"wakeUps", wakings}, {"bytes", bytes}};
    std::fputs(QJsonDocument(result).toJson().constData(), stdout);
    return 0;
}
