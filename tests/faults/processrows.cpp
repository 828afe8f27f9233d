// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faultlist.h"
#include "row.h"
#include "waiting.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>

using namespace std::chrono_literals;

namespace {

constexpr quint32 killSeed = 4;
constexpr int quickKills = 12;
constexpr int slowKills = 200;
constexpr int longestLifeMs = 40;
constexpr auto valgrindEnd = 90s;

const QString interval = QStringLiteral("update_interval");

void terminate(Scene &scene)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    const QString last = scene.client.position().text();
    scene.daemon.terminate();
    QVERIFY(scene.daemon.crashed());
    scene.note(QStringLiteral("ends by the signal"));
    QVERIFY(scene.beginAsIs());
    QCOMPARE(scene.client.position().text(), last);
    scene.note(QStringLiteral("the next start has the last position"));
}

// Runs the daemon until it dies at this call on the cache file or has written it twice.
void runUpTo(Scene &scene, const QString &systemCall, int number)
{
    const QString cache = scene.daemon.cachePath();
    scene.daemon.setWrapper({QStringLiteral("strace"), QStringLiteral("-D"), QStringLiteral("-f"),
        QStringLiteral("-qqq"), QStringLiteral("-o"), QStringLiteral("/dev/null"),
        QStringLiteral("-P"), cache, QStringLiteral("-P"),
        cache.mid(cache.indexOf(QStringLiteral("srv/"))), QStringLiteral("-e"),
        QStringLiteral("inject=%1:signal=KILL:when=%2").arg(systemCall).arg(number)});
    scene.client.forget();
    QVERIFY(scene.daemon.start());
    const auto orEnd = [&](const std::function<bool()> &condition) {
        return waitUntil([&] { return condition() || !scene.daemon.isRunning(); }, longDeadline);
    };
    QVERIFY(orEnd([&] { return scene.daemon.logCount(QStringLiteral("StatusAcquiring")) > 0; }));
    scene.client.call(QStringLiteral("AddReference"));
    QVERIFY(orEnd(
        [&] { return scene.client.signalsNamed(QStringLiteral("PositionChanged")).size() > 1; }));
}

void killAtCacheCalls(Scene &scene)
{
    scene.daemon.writeSettings(scene.settings());
    QStringList moments;
    for (const char *systemCall : {"openat", "read", "fchmod", "write", "close"}) {
        for (int number = 1; number <= 2; ++number) {
            scene.daemon.writeCache(storedPosition.cacheBytes());
            const int first = scene.web.requests().size();
            runUpTo(scene, QString::fromLatin1(systemCall), number);
            if (!scene.daemon.isRunning())
                moments.append(QStringLiteral("%1 %2").arg(QLatin1String(systemCall)).arg(number));
            scene.daemon.kill();

            scene.daemon.setWrapper({});
            QVERIFY(scene.startAsIs());
            const ReportedPosition now = scene.client.position();
            const int serial = static_cast<int>(now.horizontal);
            const bool fresh = serial >= first && scene.web.positions().contains(serial)
                && now.latitude == LyingService::latitudeOf(serial);
            QVERIFY2(now.fields == 0 || fresh || now.text() == storedPosition.text(),
                qPrintable(now.text()));
            scene.daemon.kill();
        }
    }
    for (const char *needed : {"openat 2", "fchmod 1", "write 1", "close 2"})
        QVERIFY2(
            moments.contains(QLatin1String(needed)), qPrintable(moments.join(QLatin1Char(' '))));
    scene.note(QStringLiteral("at %1 moments: the next start has the last position, the one before "
                              "or none")
                   .arg(moments.size()));
    QVERIFY(scene.beginAsIs());
}

void killAmidSettings(Scene &scene, int kills)
{
    QRandomGenerator random(killSeed);
    QMap<QString, QString> expected = scene.settings();
    scene.daemon.writeSettings(expected);
    int cut = 0;
    int value = 1;
    for (int kill = 0; kill < kills; ++kill) {
        QVERIFY(scene.startAsIs());
        QCOMPARE(scene.client.options().value(interval).toString(), expected[interval]);
        int confirmed = expected[interval].toInt();
        scene.client.forget();
        const int first = value + 1;
        QTimer::singleShot(std::chrono::milliseconds(random.bounded(longestLifeMs)),
            [&scene] { scene.daemon.kill(); });
        while (scene.daemon.isRunning()) {
            scene.client.postOptions({{interval, QString::number(++value)}});
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        }
        waitUntil([&] { return scene.client.replies().size() > value - first; }, longDeadline);
        for (const QDBusMessage &reply : scene.client.replies())
            confirmed = reply.type() == QDBusMessage::ReplyMessage ? qMax(confirmed + 1, first)
                                                                   : confirmed;
        const QSettings file(scene.daemon.settingsPath(), QSettings::IniFormat);
        const QString now = file.value(QStringLiteral("settings/update_interval")).toString();
        QVERIFY2(now.toInt() >= confirmed && now.toInt() <= value,
            qPrintable(QStringLiteral("%1: %2 to %3").arg(now).arg(confirmed).arg(value)));
        expected[interval] = now;
        for (auto option = expected.cbegin(); option != expected.cend(); ++option)
            QCOMPARE(file.value(QStringLiteral("settings/") + option.key()).toString(), *option);
        // Held only while the file is written.
        cut += QFile::exists(scene.daemon.settingsPath() + QStringLiteral(".lock"));
    }
    scene.note(QStringLiteral("%1 kills, %2 of them in the middle of a write: no confirmed option "
                              "and no other setting is lost")
                   .arg(kills)
                   .arg(cut));
    QVERIFY(scene.begin());
}

void liveUnderValgrind(Scene &scene)
{
    if (QStandardPaths::findExecutable(QStringLiteral("valgrind")).isEmpty())
        return scene.skip(QStringLiteral("valgrind is not installed"));
    // Regular expressions compiled to machine code read beyond what is set, harmlessly.
    scene.daemon.setEnvironmentVariable(
        QStringLiteral("QT_ENABLE_REGEXP_JIT"), QStringLiteral("0"));
    scene.daemon.setWrapper({QStringLiteral("valgrind"), QStringLiteral("--leak-check=full"),
        QStringLiteral("--errors-for-leak-kinds=definite"), QStringLiteral("--error-exitcode=99")});
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition(60s));
    scene.phone.mce.setLockMode(QStringLiteral("locked"));
    scene.phone.ofono.stop();
    scene.phone.connMan.stop();
    QVERIFY(scene.seesLog(QStringLiteral("net.connman has left the bus")));
    scene.heal();
    scene.web.answer({"HTTP/1.1 200 OK\r\n\r\nno JSON"});
    QVERIFY(scene.seesLog(QStringLiteral("illegal value")));
    scene.web.behave();
    QVERIFY(scene.client.setOptions({{QStringLiteral("apikey"), QStringLiteral("new")}})
                .errorName()
                .isEmpty());
    QVERIFY(scene.seesPosition());
    scene.client.call(QStringLiteral("RemoveReference"));
    QVERIFY(scene.daemon.waitForEnd(valgrindEnd));
    QCOMPARE(scene.daemon.exitCode(), 0);
    for (const QString &line : scene.daemon.log()) {
        if (line.contains(QLatin1String("ERROR SUMMARY")) || line.contains(QLatin1String(" lost:")))
            scene.note(line.mid(line.lastIndexOf(QLatin1String("==")) + 2).trimmed());
    }
}

} // namespace

QVector<Row> processRows()
{
    using Speed = Row::Speed;
    return {
        {QStringLiteral("SIGTERM"), terminate},
        {QStringLiteral("SIGKILL at each system call on the cache file"), killAtCacheCalls},
        {QStringLiteral("SIGKILL while settings are written, %1 times").arg(quickKills),
            [](Scene &scene) { killAmidSettings(scene, quickKills); }},
        {QStringLiteral("SIGKILL while settings are written, %1 times").arg(slowKills),
            [](Scene &scene) { killAmidSettings(scene, slowKills); }, Speed::Slow},
        {QStringLiteral("a whole life under valgrind"), liveUnderValgrind, Speed::Slow,
            Row::After::Ended},
    };
}
