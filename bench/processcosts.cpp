// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "costs.h"

#include "privatebus.h"
#include "program.h"
#include "radiopicture.h"
#include "replyserver.h"
#include "simulatedphone.h"
#include "waiting.h"

#include <QJsonArray>

#include <memory>
#include <vector>

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int usualEntries = 20;
constexpr int startRounds = 30;
constexpr auto settlingTime = seconds(2);
constexpr auto observation = seconds(60);
// Without a client the daemon ends itself after 20 s.
constexpr auto idleObservation = seconds(15);
constexpr int manyRequests = 1000;

Subject desktopSubject()
{
    return {QStringLiteral("desktop service"), QStringLiteral("org.freedesktop.GeoClue2"),
        {QStringLiteral("/usr/libexec/geoclue"), QStringLiteral("--timeout=0")}};
}

QVector<Subject> allSubjects()
{
    return {floorSubject(), networkFloorSubject(), daemonSubject(), desktopSubject()};
}

void pass(milliseconds time)
{
    waitUntil([] { return false; }, time);
}

// A phone with a program on a bus.
struct Stage
{
    explicit Stage(const Subject &subject)
        : phone(bus.address()), program(subject, bus.address()), client(bus.address())
    {
        showEntries(phone, usualEntries);
        phone.start();
    }

    void configure(const Program::Options &further = {}) const
    {
        Program::Options options{{QStringLiteral("apikey"), QStringLiteral("key")},
            {QStringLiteral("link"), server.link()},
            {QStringLiteral("enable_request_filter"), QStringLiteral("false")}};
        for (auto option = further.cbegin(); option != further.cend(); ++option) {
            options.insert(option.key(), option.value());
        }
        program.writeSettings(options);
    }

    void waitForRequests(int count) const
    {
        if (!waitUntil(
                [this, count] { return server.traffic().requests >= count; }, seconds(120))) {
            qFatal("The daemon sends no requests");
        }
    }

    ReplyServer server;
    PrivateBus bus;
    SimulatedPhone phone;
    Program program;
    BusConnection client;
};

QJsonObject idleMemory()
{
    QJsonObject memory;
    for (const Subject &subject : allSubjects()) {
        Stage stage(subject);
        stage.configure();
        stage.program.start();
        pass(settlingTime);
        memory.insert(subject.name, stage.program.memory());
    }
    return memory;
}

QJsonObject memoryAfterRequests(const Subject &subject, int requests)
{
    Stage stage(subject);
    stage.configure({{QStringLiteral("update_interval"), QStringLiteral("1")}});
    stage.program.start();
    stage.program.addReference(*stage.client);
    stage.waitForRequests(requests);
    pass(milliseconds(200));
    return stage.program.memory();
}

struct Situation
{
    Situation(const Subject &subject, const QString &what, bool locked = false)
        : name(subject.name + what), stage(watched(subject))
    {
        stage.configure();
        stage.phone.mce.setLockMode(locked ? QStringLiteral("locked") : QStringLiteral("unlocked"));
        stage.program.start();
        if (!what.isEmpty()) {
            stage.program.addReference(*stage.client);
        }
    }

    QString name;
    Stage stage;
    QMap<QString, qint64> sleepsBefore;
    qint64 timeoutsBefore = 0;
};

using Situations = std::vector<std::unique_ptr<Situation>>;

// Watches all of them at once.
void watch(const Situations &situations, seconds time, QJsonObject &result)
{
    for (const auto &each : situations) {
        each->sleepsBefore = each->stage.program.sleeps();
        each->timeoutsBefore = each->stage.program.timeouts().count;
    }
    pass(time);
    const auto perMinute = [time](qint64 count) {
        return static_cast<double>(count) * 60 / static_cast<double>(time.count());
    };
    for (const auto &each : situations) {
        const Program &program = each->stage.program;
        const QMap<QString, qint64> sleeps = program.sleeps();
        qint64 slept = 0;
        for (auto thread = sleeps.cbegin(); thread != sleeps.cend(); ++thread) {
            slept += *thread - each->sleepsBefore.value(thread.key());
        }
        result.insert(each->name,
            QJsonObject{{QStringLiteral("sleeps"), perMinute(slept)},
                {QStringLiteral("timers"),
                    perMinute(program.timeouts().count - each->timeoutsBefore)}});
    }
}

QJsonObject wakeUpsPerMinute()
{
    QJsonObject result;
    Situations idle;
    for (const Subject &subject : {floorSubject(), daemonSubject(), desktopSubject()}) {
        idle.push_back(std::make_unique<Situation>(subject, QString()));
    }
    pass(settlingTime);
    watch(idle, idleObservation, result);
    idle.clear();

    Situations busy;
    busy.push_back(std::make_unique<Situation>(daemonSubject(), QStringLiteral(" with a client")));
    busy.push_back(std::make_unique<Situation>(
        daemonSubject(), QStringLiteral(" with a client, locked"), true));
    // The first request and its connection are no part of the long run.
    pass(seconds(15));
    watch(busy, observation, result);
    return result;
}

} // namespace

QJsonObject startCosts(const QStringList &furtherDaemons)
{
    QVector<Subject> subjects = allSubjects();
    for (const QString &daemon : furtherDaemons) {
        Subject subject = daemonSubject();
        subject.name = daemon.section(QLatin1Char('='), 0, 0);
        subject.command = QStringList{daemon.section(QLatin1Char('='), 1)};
        subjects.append(subject);
    }
    QMap<QString, QJsonArray> times;
    QMap<QString, QJsonArray> processorTimes;
    for (int round = 0; round < startRounds; ++round) {
        for (const Subject &subject : qAsConst(subjects)) {
            const PrivateBus bus;
            Program program(subject, bus.address());
            program.writeSettings({{QStringLiteral("apikey"), QStringLiteral("key")}});
            const Program::Start start = program.start();
            times[subject.name].append(start.ms);
            processorTimes[subject.name].append(start.processorMs);
        }
    }
    QJsonObject result;
    for (auto subject = times.cbegin(); subject != times.cend(); ++subject) {
        result.insert(subject.key(),
            QJsonObject{{QStringLiteral("ms"), *subject},
                {QStringLiteral("processorMs"), processorTimes.value(subject.key())}});
    }
    return result;
}

QJsonObject processCosts()
{
    QJsonObject memory = idleMemory();
    memory.insert(
        QStringLiteral("daemon after the first position"), memoryAfterRequests(daemonSubject(), 1));
    constexpr int factor = 40;
    const Subject fast = accelerated(daemonSubject(), factor);
    memory.insert(
        QStringLiteral("daemon after 1 request, accelerated"), memoryAfterRequests(fast, 1));
    memory.insert(QStringLiteral("daemon after 1000 requests, accelerated"),
        memoryAfterRequests(fast, manyRequests));
    return {{QStringLiteral("memory"), memory},
        {QStringLiteral("wakeUpsPerMinute"), wakeUpsPerMinute()}};
}
