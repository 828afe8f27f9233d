// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "row.h"
#include "waiting.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QRandomGenerator>

using namespace std::chrono_literals;

namespace {

constexpr quint32 noiseSeed = 4;
constexpr int quickStride = 9;

const QString interval = QStringLiteral("update_interval");
const QString writeError = QStringLiteral("Error writing to config file with error: 1");

QByteArray noise(int size)
{
    QRandomGenerator random(noiseSeed);
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes.append(static_cast<char>(random.bounded(256)));
    return bytes;
}

// The directory of the settings or the cache file, without its last slash.
QString directoryOf(const QString &path)
{
    return QFileInfo(path).path();
}

void setWritable(const QString &path, bool writable)
{
    const QFile::Permissions owner = QFile::ReadOwner | QFile::ExeOwner;
    QFile::setPermissions(path, writable ? owner | QFile::WriteOwner : owner);
}

// Has the daemon see a full disk in place of this directory, which keeps the settings if it has
// any.
bool fillDisk(Scene &scene, const char *directory)
{
    return scene.mountBefore(QStringLiteral(R"(
        top=$PWD
        cd %1
        content=$(cat settings.conf 2>/dev/null) || true
        mount -t tmpfs -o size=8k full .
        cd "$PWD"
        [ -z "$content" ] || printf '%s\n' "$content" > settings.conf
        dd if=/dev/zero of=filling 2>/dev/null || true
        cd "$top")")
                                 .arg(QLatin1String(directory)));
}

void startWithSettings(Scene &scene, const QByteArray &content)
{
    scene.daemon.writeRawSettings(content);
    QVERIFY(scene.startAsIs());
    QVERIFY(scene.seesAnswer());
    scene.note(QStringLiteral("%1 options are known").arg(scene.client.options().size()));
}

void truncateSettings(Scene &scene, int stride)
{
    scene.daemon.writeSettings(scene.settings());
    const QByteArray whole = scene.daemon.settings();
    for (int length = 0; length < whole.size(); length += stride) {
        scene.daemon.writeRawSettings(whole.left(length));
        QVERIFY2(scene.startAsIs(), qPrintable(QString::number(length)));
        QVERIFY2(scene.seesAnswer(), qPrintable(QString::number(length)));
        scene.daemon.kill();
    }
    scene.note(QStringLiteral("starts and answers at every length, in steps of %1").arg(stride));
    QVERIFY(scene.begin());
}

void hideSettings(Scene &scene)
{
    scene.dropPrivileges();
    scene.daemon.writeSettings(scene.settings());
    QFile::setPermissions(scene.daemon.settingsPath(), QFile::Permissions());
    QVERIFY(scene.startAsIs());
    QVERIFY(scene.client.options().isEmpty());
    scene.note(QStringLiteral("no option is known, defaults apply"));
    QVERIFY(scene.client.setOptions({{interval, 5}}).errorName().isEmpty());
    QVERIFY(scene.seesLog(QStringLiteral("Error writing to config file with error:")));
    QFile::setPermissions(scene.daemon.settingsPath(), QFile::ReadOwner);
    QCOMPARE(scene.client.options().size(), scene.settings().size());
    scene.note(QStringLiteral("nothing is lost once it is readable"));
}

// Tries to write an option where that cannot work; the file must stay what it was.
void failToWrite(Scene &scene)
{
    // As the daemon sees it, which may have mounts of its own.
    const auto content = [&scene] {
        QFile file(QStringLiteral("/proc/%1/root").arg(scene.daemon.processId())
            % scene.daemon.settingsPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    const QByteArray before = content();
    QVERIFY(before.contains("apikey"));
    QVERIFY(scene.client.setOptions({{interval, 2}}).errorName().isEmpty());
    QVERIFY(scene.seesLog(writeError));
    QCOMPARE(content(), before);
    scene.note(QStringLiteral("the file stays as it was, the option applies until the end"));
}

void protectSettings(Scene &scene)
{
    const QString directory = directoryOf(scene.daemon.settingsPath());
    scene.dropPrivileges();
    scene.daemon.writeSettings(scene.settings());
    setWritable(directory, false);
    QVERIFY(scene.beginAsIs());
    failToWrite(scene);
    setWritable(directory, true);
}

void fillSettingsDisk(Scene &scene)
{
    if (!fillDisk(scene, "var/lib/geoclue/providers/vexa"))
        return;
    QVERIFY(scene.begin());
    failToWrite(scene);
}

void replaceSettings(Scene &scene)
{
    QVERIFY(scene.begin());
    QMap<QString, QString> other = scene.settings();
    other[QStringLiteral("background_update_interval")] = QStringLiteral("77");
    scene.daemon.writeSettings(other);
    QVERIFY(scene.client.setOptions({{QStringLiteral("keep_requests"), 0}}).errorName().isEmpty());
    other[QStringLiteral("keep_requests")] = QStringLiteral("0");
    const QVariantMap now = scene.client.options();
    for (auto option = other.cbegin(); option != other.cend(); ++option)
        QCOMPARE(now.value(option.key()).toString(), *option);
    QCOMPARE(now.size(), other.size());
    scene.note(QStringLiteral("a later SetOptions keeps what the new file says"));
}

void lockSettings(Scene &scene)
{
    QVERIFY(scene.begin());
    QLockFile lock(scene.daemon.settingsPath() + QStringLiteral(".lock"));
    QVERIFY(lock.tryLock());
    QElapsedTimer waiting;
    waiting.start();
    scene.client.postOptions({{interval, 2}});
    QVERIFY(waitUntil([&] { return !scene.client.replies().isEmpty(); }, 2 * longDeadline));
    scene.note(QStringLiteral("the call is answered after %1 s").arg(waiting.elapsed() / 1000));
}

void removeSettings(Scene &scene)
{
    QVERIFY(scene.daemon.start());
    QVERIFY(scene.seesLog(QStringLiteral("Error reading config file")));
    QVERIFY(scene.daemon.waitForEnd(longDeadline));
    QCOMPARE(scene.daemon.exitCode(), 0);
    scene.note(QStringLiteral("exit status 0"));
}

void directoryForSettings(Scene &scene)
{
    QVERIFY(QDir().mkpath(scene.daemon.settingsPath()));
    QVERIFY(scene.beginAsIs());
    QCOMPARE(scene.client.options(), QVariantMap());
    scene.note(QStringLiteral("no option is known, defaults apply"));
}

void startWithCache(Scene &scene, const QByteArray &content)
{
    scene.daemon.writeCache(content);
    QVERIFY(scene.begin());
    QCOMPARE(scene.client.position().text(), ReportedPosition::ofCache(content).text());
    scene.note(QStringLiteral("GetPosition says what the file says"));
}

void truncateCache(Scene &scene)
{
    const QByteArray whole = storedPosition.cacheBytes();
    for (int length = 0; length <= whole.size(); ++length) {
        startWithCache(scene, whole.left(length));
        if (QTest::currentTestFailed())
            return;
        scene.daemon.kill();
    }
    scene.note(QStringLiteral("what the file has no bytes for is 0, at every length"));
    startWithCache(scene, whole);
}

void hideCache(Scene &scene)
{
    scene.dropPrivileges();
    scene.daemon.writeCache(storedPosition.cacheBytes());
    QFile::setPermissions(scene.daemon.cachePath(), QFile::Permissions());
    QVERIFY(scene.begin());
    QVERIFY(
        scene.seesLog(QStringLiteral("Could not open file for reading: \"Permission denied\"")));
    QCOMPARE(scene.client.position().fields, 0);
}

void protectCache(Scene &scene)
{
    const QString directory = directoryOf(scene.daemon.cachePath());
    scene.dropPrivileges();
    setWritable(directory, false);
    QVERIFY(scene.begin());
    QVERIFY(scene.seesLog(QStringLiteral("Could not open file for writing:")));
    QVERIFY(scene.seesPosition());
    setWritable(directory, true);
}

void fillCacheDisk(Scene &scene)
{
    if (!fillDisk(scene, "srv/shared/org.ondravexa/geoclue"))
        return;
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    scene.note(QStringLiteral("the position is published all the same"));
}

void directoryForCache(Scene &scene)
{
    QVERIFY(QDir().mkpath(scene.daemon.cachePath()));
    QVERIFY(scene.begin());
    QVERIFY(scene.seesLog(QStringLiteral("Could not open file for writing:")));
    QCOMPARE(scene.daemon.logCount(QStringLiteral("Could not open file for reading:"))
            + scene.daemon.logCount(QStringLiteral("Could not create")),
        1);
}

void removeCacheDirectory(Scene &scene)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    QVERIFY(QDir(directoryOf(scene.daemon.cachePath())).removeRecursively());
    QVERIFY(scene.seesLog(QStringLiteral("Could not open file for writing:")));
}

} // namespace

QVector<Row> fileRows()
{
    using Speed = Row::Speed;
    using After = Row::After;
    return {
        {QStringLiteral("settings missing"), removeSettings, Speed::Quick, After::Ended},
        {QStringLiteral("a directory in place of the settings"), directoryForSettings, Speed::Quick,
            After::Answers},
        {QStringLiteral("settings empty"), [](Scene &scene) { startWithSettings(scene, {}); },
            Speed::Quick, After::Answers},
        {QStringLiteral("settings are noise"),
            [](Scene &scene) { startWithSettings(scene, noise(4096)); }, Speed::Quick,
            After::Answers},
        {QStringLiteral("settings cut off"),
            [](Scene &scene) { truncateSettings(scene, quickStride); }},
        {QStringLiteral("settings cut off at every length"),
            [](Scene &scene) { truncateSettings(scene, 1); }, Speed::Slow},
        {QStringLiteral("settings unreadable"), hideSettings, Speed::Quick, After::Answers},
        {QStringLiteral("settings in a read-only directory"), protectSettings},
        {QStringLiteral("settings on a full disk"), fillSettingsDisk},
        {QStringLiteral("settings replaced while running"), replaceSettings},
        {QStringLiteral("settings locked by another process"), lockSettings, Speed::Slow},
        {QStringLiteral("cache cut off at every length, and empty"), truncateCache},
        {QStringLiteral("cache is noise"),
            [](Scene &scene) { startWithCache(scene, noise(storedPosition.cacheBytes().size())); }},
        {QStringLiteral("cache unreadable"), hideCache},
        {QStringLiteral("cache in a read-only directory"), protectCache},
        {QStringLiteral("cache on a full disk"), fillCacheDisk},
        {QStringLiteral("a directory in place of the cache"), directoryForCache},
        {QStringLiteral("the cache's directory removed while running"), removeCacheDirectory},
    };
}
