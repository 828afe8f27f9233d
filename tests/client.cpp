// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "childprocess.h"
#include "daemonfixture.h"
#include "waiting.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <csignal>

// The command-line client, by what it prints, how it ends and what the daemon sees of it.
class Client : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void givesReferenceBack_data();
    void givesReferenceBack();
    void answersFromFreshPosition();
    void givesUpWaiting();
    void watches();
    void submitsKey();
    void masksKey();
    void findsNoProvider_data();
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
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), busAddress);
        setProcessEnvironment(environment);
        if (reader)
            setStandardOutputProcess(reader);
        start(QStringLiteral(ONDRAVEXA_CLIENT),
            QString::fromLatin1(arguments).split(QLatin1Char(' ')));
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
    object.remove(QStringLiteral("age"));
    object.remove(QStringLiteral("timestamp"));
    return object.isEmpty() ? line : QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

void Client::givesReferenceBack_data()
{
    QTest::addColumn<int>("signal"); // SIGPIPE: the reader of the output goes away
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        QTest::addRow("watch %d", signal) << signal;
        QTest::addRow("where %d", signal) << signal;
    }
}

void Client::givesReferenceBack()
{
    QFETCH(const int, signal);
    const QByteArray command = QByteArray(QTest::currentDataTag()).left(5);
    DaemonFixture fixture;
    fixture.service.replyAlways(ServiceReply::ofKind(ServiceReply::Kind::Hang));
    QVERIFY(fixture.start(DaemonFixture::unfiltered(60)));
    ChildProcess reader;
    ClientRun run(fixture.bus.address(), command, &reader);
    reader.start(QStringLiteral("cat"), QStringList());
    QVERIFY(fixture.service.waitForRequests(1, longDeadline)); // there is none without a reference
    QCOMPARE(fixture.client.status(), 2);

    const QProcess &target = signal == SIGPIPE ? reader : run;
    ::kill(static_cast<pid_t>(target.processId()), signal);
    const bool ordinaryEnd = command == "watch" && signal != SIGPIPE;
    QCOMPARE(run.waitForEnd(), ordinaryEnd ? 0 : 128 + signal);
    reader.waitForFinished();
    // It would still be 2 if the client had left without a word.
    QCOMPARE(fixture.client.status(), 1);
}

void Client::answersFromFreshPosition()
{
    DaemonFixture fixture;
    BusClient &client = fixture.client;
    fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
    QVERIFY(fixture.start(DaemonFixture::unfiltered(60)));
    client.call(QStringLiteral("AddReference"));
    QVERIFY(client.waitForSignal(QStringLiteral("PositionChanged")));
    client.call(QStringLiteral("RemoveReference"));
    client.forget();

    ClientRun run(fixture.bus.address(), "--json where");
    QCOMPARE(run.waitForEnd(), 0);
    const QJsonObject position = QJsonDocument::fromJson(run.output()).object();
    QVERIFY(position.value(QLatin1String("timestamp")).toDouble() > 1e9);
    QVERIFY(position.value(QLatin1String("age")).toDouble(60) < 60);
    QCOMPARE(
        timeless(run.output()), QByteArray("{\"accuracy\":3,\"latitude\":1,\"longitude\":2}\n"));
    // A reference would have had the position published at once.
    QCOMPARE(client.status(), 1);
    QCOMPARE(client.received().size(), 1);
}

void Client::givesUpWaiting()
{
    DaemonFixture fixture;
    fixture.service.replyAlways(ServiceReply::ofKind(ServiceReply::Kind::Hang));
    QVERIFY(fixture.start());
    ClientRun run(fixture.bus.address(), "where --timeout 1");
    QCOMPARE(run.result(), QByteArray("1 "));
    QVERIFY(run.readAllStandardError().contains("The provider's status is: acquiring."));
}

void Client::watches()
{
    DaemonFixture fixture;
    fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
    QVERIFY(fixture.start(DaemonFixture::unfiltered(60)));
    ClientRun run(fixture.bus.address(), "--json watch");
    QVERIFY(run.waitForOutput("\"republished\":false"));
    fixture.client.call(QStringLiteral("AddReference")); // has it published again
    QVERIFY(run.waitForOutput("\"republished\":true"));
    fixture.client.setOptions({{QStringLiteral("keep_requests"), 0}});
    QVERIFY(run.waitForOutput("keep_requests"));
    fixture.daemon.kill();
    QVERIFY(run.waitForOutput("\"present\":false"));
    fixture.service.replyAlways(ServiceReply::position(4, 5, 6));
    QVERIFY(fixture.start(DaemonFixture::unfiltered()));
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

void Client::submitsKey()
{
    const QMap<int, QByteArray> results{// by the web service's status
        {200, "0 Stored. The API key is valid.\n"}, {405, "5 "}, {500, "6 "}};
    for (auto result = results.cbegin(); result != results.cend(); ++result) {
        DaemonFixture fixture;
        fixture.service.replyAlways(ServiceReply::given(result.key(), "{}"));
        QVERIFY(fixture.start());
        ClientRun run(fixture.bus.address(), "set apikey=new-key");
        QCOMPARE(run.result(), *result);
        QCOMPARE(fixture.service.requests().size(), 1);
        QVERIFY(!run.readAllStandardError().contains("new-key"));
    }
}

void Client::masksKey()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start({{QStringLiteral("apikey"), QStringLiteral("0123456789abcdef")},
        {QStringLiteral("link"), QStringLiteral("a,b")}}));
    ClientRun text(fixture.bus.address(), "options");
    QCOMPARE(text.result(), QByteArray("0 apikey=********cdef\nlink=a,b\n"));
    ClientRun json(fixture.bus.address(), "--json options");
    QCOMPARE(json.result(), QByteArray("0 {\"apikey\":\"0123456789abcdef\",\"link\":\"a,b\"}\n"));
}

void Client::findsNoProvider_data()
{
    QTest::addColumn<int>("exitStatus");
    for (const char *arguments : {"where", "watch", "status", "options", "--json --timeout 5 where",
             "set update_interval=1 keep_requests=2", "set background_update_interval=2147483",
             "set enable_request_filter=0", "set apikey=", "set apikey=a=b,c"})
        QTest::newRow(arguments) << 3;
    for (const char *arguments :
        {"", "were", "watch 5", "set", "where --timeout 0", "where --timeout 1.5",
            "where --timeout 86401", "watch --timeout 5", "where --verbose"})
        QTest::newRow(arguments) << 2;
    for (const char *assignment :
        {"update_interval", "=5", "Update_interval=5", "link=http://a/", "update_interval=0",
            "update_interval=-5", "update_interval=1.5", "update_interval=2147484",
            "update_interval=4294967297", "keep_requests=3", "background_update_interval=soon",
            "keep_requests=", "enable_request_filter=yes", "apikey=a\tb", "apikey=a#b",
            "apikey=a%b", "apikey=key=b", "update_interval=5 keep_requests=3"})
        QTest::addRow("set %s", assignment) << 2;
}

// What is in order fails here; that a wrong command line ends otherwise shows that nothing is sent.
void Client::findsNoProvider()
{
    QFETCH(const int, exitStatus);
    const PrivateBus bus;
    for (const QString &address : {bus.address(), QStringLiteral("unix:path=/nowhere/bus")}) {
        ClientRun run(address, QTest::currentDataTag());
        QCOMPARE(run.result(), QByteArray::number(exitStatus) + ' ');
        QVERIFY(run.readAllStandardError().startsWith("ondravexactl: "));
    }
}

QTEST_GUILESS_MAIN(Client)
#include "client.moc"
