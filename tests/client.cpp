// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "busmonitor.h"
#include "childprocess.h"
#include "fixture.h"
#include "waiting.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <csignal>
#include <memory>

// The command-line client, by what it prints, how it ends and what the daemon sees of it.
class CommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesReferenceBack();
    void answersWhere();
    void watches();
    void submitsKey();
    void hidesKey();
    void findsNoProvider();
};

namespace {

// One run of the client on the bus at this address; arguments are separated by single spaces.
class ClientRun : public ChildProcess
{
public:
    ClientRun(const QString &busAddress, const char *arguments, QProcess *reader = nullptr)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DBUS_SYSTEM_BUS_ADDRESS", busAddress);
        // At the end of a short run the bus library may hold a message that it never frees.
        environment.insert("ASAN_OPTIONS", "detect_leaks=0");
        setProcessEnvironment(environment);
        if (reader)
            setStandardOutputProcess(reader);
        start(QStringLiteral(ONDRAVEXA_CLIENT), QString::fromLatin1(arguments).split(' '));
    }

    // The exit status; -1 after a crash, or when the run does not end.
    int waitForEnd()
    {
        const bool ended = waitUntil([this] { return state() == NotRunning; }, longDeadline);
        return ended && exitStatus() == NormalExit ? exitCode() : -1;
    }
    // Waits for the end: the exit status, a space and the standard output.
    QByteArray result()
    {
        const int status = waitForEnd();
        return QByteArray::number(status) + ' ' + output();
    }
    bool waitForOutput(const QByteArray &text)
    {
        return waitUntil([this, &text] { return output().contains(text); }, longDeadline);
    }
    // All of the standard output so far.
    const QByteArray &output() { return m_output += readAllStandardOutput(); }

private:
    QByteArray m_output;
};

// JSON without what differs from run to run; what is no object is left as it is.
QByteArray timeless(const QByteArray &line)
{
    QJsonObject object = QJsonDocument::fromJson(line).object();
    object.remove("age");
    object.remove("timestamp");
    return object.isEmpty() ? line : QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

// SIGPIPE: the reader of the output goes away.
void CommandLine::givesReferenceBack()
{
    struct Case
    {
        const char *command;
        int signal;
        int exitStatus;
        Fixture fixture = {};
        ChildProcess reader{};
        std::unique_ptr<ClientRun> run = nullptr;
    };
    Case cases[]{
        {"watch", SIGINT, 0},
        {"watch", SIGPIPE, 128 + SIGPIPE},
        {"where", SIGINT, 128 + SIGINT},
        {"where", SIGPIPE, 128 + SIGPIPE},
    };
    for (Case &one : cases) {
        one.fixture.service.replyAlways(WebReply::hang());
        QVERIFY(one.fixture.start(Fixture::unfiltered(60)));
        one.run = std::make_unique<ClientRun>(one.fixture.bus.address(), one.command, &one.reader);
        one.reader.start("cat", QStringList());
    }
    for (Case &one : cases) {
        // There is none without a reference.
        QVERIFY(one.fixture.service.waitForRequests(1, longDeadline));
        const QProcess &target = one.signal == SIGPIPE ? one.reader : *one.run;
        ::kill(static_cast<pid_t>(target.processId()), one.signal);
        QCOMPARE(one.run->waitForEnd(), one.exitStatus);
        // It would still be 2 if the client had left without a word.
        QCOMPARE(one.fixture.client.status(), 1);
        one.reader.waitForFinished();
    }
}

void CommandLine::answersWhere()
{
    Fixture fixture;
    Client &client = fixture.client;
    fixture.service.replyAlways(WebReply::hang());
    QVERIFY(fixture.start(Fixture::unfiltered()));
    ClientRun late(fixture.bus.address(), "where --timeout 1");
    QCOMPARE(late.result(), QByteArray("1 "));
    QVERIFY(late.readAllStandardError().contains("The provider's status is: acquiring."));

    fixture.service.replyAlways(WebReply::position(1, 2, 3));
    client.call(addReference);
    QVERIFY(client.waitForSignal(positionChanged));
    client.call(removeReference);
    client.forget();
    ClientRun run(fixture.bus.address(), "--json where");
    QCOMPARE(run.waitForEnd(), 0);
    const QByteArray &line = run.output();
    QVERIFY(QJsonDocument::fromJson(line).object().value("age").toDouble(60) < 60);
    QCOMPARE(timeless(line), QByteArray("{\"accuracy\":3,\"latitude\":1,\"longitude\":2}\n"));
    // A reference would have had the position published at once.
    QCOMPARE(client.status(), 1);
    QCOMPARE(client.received().size(), 1);
}

void CommandLine::watches()
{
    Fixture fixture;
    fixture.service.replyAlways(WebReply::position(1, 2, 3));
    QVERIFY(fixture.start(Fixture::unfiltered(60)));
    ClientRun run(fixture.bus.address(), "--json watch");
    QVERIFY(run.waitForOutput("\"republished\":false"));
    fixture.client.call(addReference); // has it published again
    QVERIFY(run.waitForOutput("\"republished\":true"));
    fixture.client.setOptions({{"keep_requests", 0}});
    QVERIFY(run.waitForOutput("keep_requests"));
    BusMonitor monitor(fixture.bus.address());
    fixture.daemon.kill();
    QVERIFY(run.waitForOutput("\"present\":false"));
    // A bus that can would start the provider for this call.
    QVERIFY(monitor.sees("GetStatus"));
    fixture.service.replyAlways(WebReply::position(4, 5, 6));
    QVERIFY(fixture.start(Fixture::unfiltered()));
    QVERIFY(run.waitForOutput("\"latitude\":4"));

    QByteArray events;
    for (const QByteArray &line : run.output().split('\n'))
        events += timeless(line);
    const QByteArray expected = R"({"event":"status","status":"acquiring"}
{"event":"status","status":"available"}
{"accuracy":3,"event":"position","latitude":1,"longitude":2,"republished":false}
{"accuracy":3,"event":"position","latitude":1,"longitude":2,"republished":true}
{"event":"options","options":{"keep_requests":"0"}}
{"event":"provider","present":false}
{"event":"provider","present":true}
{"event":"status","status":"acquiring"}
{"event":"status","status":"available"}
{"accuracy":6,"event":"position","latitude":4,"longitude":5,"republished":false}
)";
    QCOMPARE(events.left(expected.size()), expected);
    run.terminate();
    QCOMPARE(run.waitForEnd(), 0);
}

void CommandLine::submitsKey()
{
    struct Case
    {
        const char *arguments;
        const char *input;
        const char *verdict;
        const char *result;
    };
    const Case cases[]{
        {"set apikey", "\nnew-key\n", "200 OK", "2 "},
        {"set apikey", "new-key", "405 No", "5 "},
        {"set apikey=new-key", "", "500 No", "6 "},
        {"set apikey", "new-key\nmore\n", "200 OK", "0 Stored. The API key is valid.\n"},
    };
    Fixture fixture;
    QVERIFY(fixture.start());
    for (const Case &one : cases) {
        QCOMPARE(fixture.client.options().value("apikey").toString(), Fixture::knownKey);
        fixture.service.replyAlways(WebReply::http(one.verdict, "{}"));
        ClientRun run(fixture.bus.address(), one.arguments);
        run.write(one.input);
        run.closeWriteChannel();
        QCOMPARE(run.result(), QByteArray(one.result));
        QVERIFY(!run.readAllStandardError().contains("new-key"));
    }
    QCOMPARE(fixture.client.options().value("apikey").toString(), "new-key");
    QCOMPARE(fixture.service.requests().size(), 3);
}

// Other users see the command lines of processes, and the bus logs them.
void CommandLine::hidesKey()
{
    Fixture fixture;
    fixture.service.replyAlways(WebReply::hang());
    QVERIFY(fixture.start({{"apikey", "0123456789abcdef"}}));
    const ClientRun run(fixture.bus.address(), "set keep_requests=2 apikey=new-key");
    QVERIFY(fixture.service.waitForRequests(1, longDeadline));
    QFile commandLine(QString("/proc/%1/cmdline").arg(run.processId()));
    QVERIFY(commandLine.open(QIODevice::ReadOnly));
    QVERIFY(
        commandLine.readAll().endsWith(QByteArray("\0set\0keep_requests=2\0apikey=*******\0", 36)));
    ClientRun options(fixture.bus.address(), "options");
    const QString shown = "0 apikey=********cdef\nkeep_requests=2\nlink=%1\n";
    QCOMPARE(options.result(), shown.arg(fixture.service.link()).toLatin1());
}

// What is in order fails here; that a wrong command line ends otherwise shows that nothing is sent.
void CommandLine::findsNoProvider()
{
    const PrivateBus bus;
    const auto endsWith = [&bus](const char *arguments, const QByteArray &result) {
        ClientRun run(bus.address(), arguments);
        return run.result() == result && run.readAllStandardError().startsWith("ondravexactl: ");
    };
    for (const char *arguments : {"where", "watch", "status", "options", "--json --timeout 5 where",
             "set update_interval=1 keep_requests=2 enable_request_filter=0", "set apikey="})
        QVERIFY2(endsWith(arguments, "3 "), arguments);
    for (const char *arguments : {"", "were", "watch 5", "set", "where --timeout 0",
             "where --timeout 86401", "watch --timeout 5", "where --verbose", "set update_interval",
             "set link=http://a/", "set update_interval=0", "set update_interval=2147484",
             "set keep_requests=3", "set enable_request_filter=yes", "set apikey=a\tb",
             "set apikey=a%b", "set apikey=key=b"})
        QVERIFY2(endsWith(arguments, "2 "), arguments);
}

QTEST_GUILESS_MAIN(CommandLine)
#include "client.moc"
