// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "reportedposition.h"
#include "waiting.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTest>

#include <limits>

namespace {

const QString noPosition = QStringLiteral("0 nan nan nan 0 0 0");
const QString foundPosition = QStringLiteral("3 55.75 37.609999999999999 nan 4 120 0");

} // namespace

class Cache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_fixture.reset(); }

    void missingDirectory();
    void impossibleDirectory();
    void restart();

private:
    QString directory() const { return QFileInfo(m_fixture->daemon.cachePath()).path(); }
    ReportedPosition position() const { return m_fixture->client.position(); }
    // Has the daemon find the position above.
    bool findPosition();

    std::unique_ptr<DaemonFixture> m_fixture;
};

void Cache::init()
{
    m_fixture = std::make_unique<DaemonFixture>();
    m_fixture->service.replyAlways(ServiceReply::position(55.75, 37.61, 120));
    m_fixture->phone.connMan.setServices(
        {SimulatedConnMan::wlan(QStringLiteral("/w"), QStringLiteral("00:11"), 60)});
}

bool Cache::findPosition()
{
    m_fixture->client.call(QStringLiteral("AddReference"));
    return m_fixture->client.waitForSignal(QStringLiteral("PositionChanged"));
}

void Cache::missingDirectory()
{
    const QString root = directory().section(QLatin1Char('/'), 0, -4);
    QVERIFY(root.endsWith(QLatin1String("/srv")));
    QVERIFY(QDir(root).removeRecursively());
    QVERIFY(m_fixture->start());
    QVERIFY(QFileInfo(directory()).isDir());
    QCOMPARE(m_fixture->daemon.logCount(QStringLiteral("Could not")), 0);
    QCOMPARE(position().text(), noPosition);
    QCOMPARE(position().timestamp, 0);
    QVERIFY(findPosition());
    QCOMPARE(ReportedPosition::ofCache(m_fixture->daemon.cache()).text(), foundPosition);

    m_fixture->daemon.kill();
    QVERIFY(QFile::remove(m_fixture->daemon.cachePath()));
    QVERIFY(m_fixture->startAsIs());
    QVERIFY(m_fixture->daemon.log().contains(
        QStringLiteral("warning: Could not open file for reading: \"No such file or directory\"")));
    QCOMPARE(position().text(), noPosition);
}

void Cache::impossibleDirectory()
{
    QVERIFY(QDir().rmdir(directory()));
    QVERIFY(QFile(directory()).open(QIODevice::WriteOnly)); // a file in the way
    QVERIFY(m_fixture->start());
    QVERIFY(m_fixture->daemon.log().contains(
        QStringLiteral("warning: Could not create  srv/shared/org.ondravexa/geoclue/")));
    QCOMPARE(position().text(), noPosition);
    QVERIFY(findPosition());
    QCOMPARE(position().text(), foundPosition);
    QVERIFY(m_fixture->daemon.waitForLog(
        QStringLiteral("warning: Could not open file for writing: \""), longDeadline));
}

void Cache::restart()
{
    // A longer file of other rights: what is written replaces it whole.
    const ReportedPosition old{
        7, 0x12345678, -12.25, 1e300, 8848.86, -1, std::numeric_limits<double>::infinity(), 3.5};
    m_fixture->daemon.writeCache(old.cacheBytes() + QByteArray(48, 'x'));
    QFile::setPermissions(m_fixture->daemon.cachePath(), QFile::Permissions(0x6666));
    QVERIFY(m_fixture->start());
    QCOMPARE(position().text(), old.text());
    QCOMPARE(position().timestamp, old.timestamp);
    QVERIFY(findPosition());
    QVERIFY(waitUntil([this] { return m_fixture->daemon.cache().size() == 52; }, longDeadline));
    const ReportedPosition stored = ReportedPosition::ofCache(m_fixture->daemon.cache());
    // The service tells no altitude, so what there is stays.
    QCOMPARE(
        stored.text(), QStringLiteral("3 55.75 37.609999999999999 8848.8600000000006 4 120 3.5"));
    QCOMPARE(QFile::permissions(m_fixture->daemon.cachePath()),
        QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
    const qint64 ageSecs = QDateTime::currentSecsSinceEpoch() - stored.timestamp;
    QVERIFY(ageSecs >= 0 && ageSecs < 30);

    m_fixture->daemon.kill();
    const int requests = m_fixture->service.requests().size();
    QVERIFY(m_fixture->startAsIs());
    QCOMPARE(position().text(), stored.text());
    QCOMPARE(position().timestamp, stored.timestamp);
    QCOMPARE(m_fixture->service.requests().size(), requests);
}

QTEST_GUILESS_MAIN(Cache)

#include "cache.moc"
