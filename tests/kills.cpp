// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSettings>
#include <QTest>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

/// What the service answers to the request of this index, as a position of long ago.
Position givenPosition(int index)
{
    Position position;
    position.fields = Position::FieldLatitude | Position::FieldLongitude;
    position.timestamp = 1700000000;
    position.latitude = WebService::latitudeOf(index);
    position.longitude = WebService::longitudeOf(index);
    position.accuracy = {4, double(index), 0};
    return position;
}

/// All but the altitude, which no reply tells.
QString plain(Position position)
{
    position.altitude = 0;
    return text(position);
}

} // namespace

class Kills : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cacheCall();
    void randomMoment();
};

// The daemon dies at this system call on its cache. The next start has a whole position or none.
void Kills::cacheCall()
{
    const struct
    {
        const char *call;
        int number; // the first openat and close belong to the start
        Position left;
    } rows[] = {
        {"openat", 2, givenPosition(7)}, {"write", 1, cachedPosition({})},
        {"close", 2, givenPosition(0)},
        {"write", 2, cachedPosition({})}, // the next position, not more of the first
    };
    for (const auto &row : rows) {
        Fixture fixture;
        fixture.daemon.writeCache(cacheContent(givenPosition(7)));
        const QString cache = fixture.daemon.cachePath();
        fixture.daemon.setWrapper({"strace", "-D", "-f", "-qqq", "-o", "/dev/null", "-P", cache,
            "-P", cache.mid(cache.indexOf("srv/")), "-e",
            QString("inject=%1:signal=KILL:when=%2").arg(row.call).arg(row.number)});
        QVERIFY(fixture.begin());
        QVERIFY2(fixture.daemon.waitForEnd(longDeadline), row.call);
        fixture.daemon.setWrapper({});
        QVERIFY(fixture.startAsIs());
        QCOMPARE(plain(fixture.client.position()), plain(row.left));
    }
}

// Some milliseconds after a request, while another client sets an option again and again. What was
// confirmed is there at the next start.
void Kills::randomMoment()
{
    constexpr int kills = 20;
    constexpr int longestDelayMs = 12;
    const QString option = "background_update_interval";
    QRandomGenerator random(4);
    Fixture fixture;
    QVERIFY(fixture.start(Fixture::unfiltered()));
    int value = 0;
    for (int kill = 0; kill < kills; ++kill) {
        QStringList allowed{plain(cachedPosition({})), plain(fixture.client.position())};
        QObject once;
        connect(&fixture.service, &WebService::requestArrived, &once, [&] {
            const std::chrono::milliseconds delay(random.bounded(longestDelayMs));
            QTimer::singleShot(delay, Qt::PreciseTimer, &once, [&] { fixture.daemon.kill(); });
        });
        fixture.client.call(addReference);
        QDBusMessage reply;
        do {
            reply = fixture.client.setOptions({{option, ++value}});
        } while (reply.type() == QDBusMessage::ReplyMessage);
        QVERIFY(!fixture.daemon.isRunning());

        const QSettings file(fixture.daemon.settingsPath(), QSettings::IniFormat);
        const QString stored = file.value("settings/" + option).toString();
        QVERIFY2(stored.toInt() == value || stored.toInt() == value - 1, qPrintable(stored));
        // One that was killed before it had written its number into the lock holds it for a second.
        QFile::remove(fixture.daemon.settingsPath() + ".lock");
        QVERIFY(fixture.startAsIs());
        const QVariantMap options = fixture.client.options();
        QCOMPARE(options.value(option).toString(), stored);
        QCOMPARE(options.value("apikey").toString(), Fixture::knownKey);
        allowed += plain(givenPosition(static_cast<int>(fixture.service.requests().size()) - 1));
        const QString position = plain(fixture.client.position());
        QVERIFY2(allowed.contains(position), qPrintable(position));
    }
}

QTEST_GUILESS_MAIN(Kills)

#include "kills.moc"
