// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"
#include "waiting.h"

#include <QFile>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

/// Mask, latitude, longitude, altitude, timestamp, accuracy level and radii.
const QByteArray storedBytes = QByteArray::fromHex("00000003 404be00000000000 4042c00000000000"
                                                   "40c1484000000000 12345678 00000004"
                                                   "405e000000000000 400c000000000000");

} // namespace

class Cache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reads();
    void writes();
    void writesBeforeItTells();
    void fails();
};

// Cut off one byte before the end of each member: what is not there whole is 0.
void Cache::reads()
{
    Fixture fixture;
    int whole = 0;
    for (const int end : {4, 12, 20, 28, 32, 36, 44, 52}) {
        fixture.daemon.writeCache(storedBytes.left(end - 1));
        QVERIFY(fixture.start());
        QCOMPARE(cacheContent(fixture.client.position()).toHex(),
            storedBytes.left(whole).leftJustified(storedBytes.size(), '\0').toHex());
        fixture.daemon.kill();
        whole = end;
    }
}

// Over noise that is longer and has other rights. What the service does not tell stays.
void Cache::writes()
{
    Fixture fixture;
    fixture.daemon.writeCache(storedBytes + QByteArray(48, '\xff'));
    QFile::setPermissions(fixture.daemon.cachePath(), QFile::Permissions(0x6666));
    QVERIFY(fixture.begin(Fixture::unfiltered(60)));
    QVERIFY(fixture.client.waitForSignal(positionChanged));
    const QByteArray written = fixture.daemon.cache();
    QCOMPARE(written.toHex(), cacheContent(fixture.client.position()).toHex());
    // Altitude and vertical accuracy.
    QCOMPARE(written.mid(20, 8) + written.mid(44), storedBytes.mid(20, 8) + storedBytes.mid(44));
    QCOMPARE(QFile::permissions(fixture.daemon.cachePath()), QFile::Permissions(0x6600));
}

// A pipe that nobody reads holds the daemon up while it writes.
void Cache::writesBeforeItTells()
{
    Fixture fixture;
    Client &client = fixture.client;
    QVERIFY(fixture.start(Fixture::unfiltered()));
    QCOMPARE(text(client.position()), "0 nan nan nan 0 0 0");
    QCOMPARE(::mkfifo(qPrintable(fixture.daemon.cachePath()), 0600), 0);
    client.call(addReference);
    QVERIFY(client.waitForSignal("PositionAcquiring"));
    QVERIFY(!client.waitForSignal(positionChanged, 1, 500ms));
    const int pipe = ::open(qPrintable(fixture.daemon.cachePath()), O_RDONLY | O_NONBLOCK);
    char written[64];
    QVERIFY(waitUntil(
        [&] { return ::read(pipe, written, sizeof written) == storedBytes.size(); }, longDeadline));
    QVERIFY(client.waitForSignal(positionChanged));
    ::close(pipe);
}

// What is done right before the daemon starts, what it cannot do then, how much it stores.
void Cache::fails()
{
    struct Fault
    {
        const char *script;
        const char *log;
        int storedSize;
        std::shared_ptr<Fixture> fixture = std::make_shared<Fixture>();
    };
    const Fault faults[] = {
        {"rm -r srv", "", 52},
        {"rm $directory/.o*",
            R"(warning: Could not open file for reading: "No such file or directory")", 52},
        {"trap '' XFSZ; ulimit -f 0", "", 0},
        {"rm -r $directory; touch $directory",
            "warning: Could not create  srv/shared/org.ondravexa/geoclue/\n"
            R"(warning: Could not open file for writing: "Not a directory")",
            0},
    };
    const QString command = R"(directory=srv/shared/org.ondravexa/geoclue; %1; exec "$0")";
    for (const Fault &fault : faults) {
        fault.fixture->daemon.writeCache(storedBytes);
        fault.fixture->daemon.setWrapper({"sh", "-ec", command.arg(fault.script)});
        QVERIFY(fault.fixture->start(Fixture::unfiltered(60)));
        fault.fixture->client.call(addReference);
    }
    for (const Fault &fault : faults) {
        QVERIFY2(fault.fixture->client.waitForSignal(positionChanged), fault.script);
        QTRY_COMPARE_WITH_TIMEOUT(
            fault.fixture->daemon.log().filter("Could not").join('\n'), QString(fault.log), 30000);
        QCOMPARE(fault.fixture->daemon.cache().size(), fault.storedSize);
    }
}

QTEST_GUILESS_MAIN(Cache)

#include "cache.moc"
