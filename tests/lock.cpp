// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"
#include "waiting.h"

#include <QTest>

#include <memory>
#include <vector>

using namespace std::chrono_literals;

// What the lock of touch screen and keys does to the requests.
class Lock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void setsPace();
};

// All side by side, since each takes its time.
void Lock::setsPace()
{
    struct Case
    {
        const char *keepRequests = nullptr;
        int leastLocked = 0; // requests in 8 s
        int mostLocked = 0;
        DaemonFixture fixture;
        int before = 0;
        int requests() const { return fixture.service.requests().size() - before; }
    };
    std::vector<std::unique_ptr<Case>> cases;
    const auto add = [&cases](const char *keepRequests, int least, int most) {
        cases.push_back(std::make_unique<Case>());
        Case &one = *cases.back();
        one.keepRequests = keepRequests;
        one.leastLocked = least;
        one.mostLocked = most;
        one.fixture.phone.mce.setLockMode(QStringLiteral("locked"));
        one.fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
        QMap<QString, QString> options = DaemonFixture::unfiltered();
        options[QStringLiteral("background_update_interval")] = QStringLiteral("3");
        options[QStringLiteral("keep_requests")] = QString::fromLatin1(keepRequests);
        QVERIFY(one.fixture.start(options));
        QVERIFY(waitUntil(
            [&one] {
                return one.fixture.phone.mce.callCount(QStringLiteral("get_tklock_mode")) > 0;
            },
            longDeadline));
    };
    add("0", 4, 9);
    add("1", 1, 3);
    add("2", 0, 0);
    add("-1", 0, 0);
    add("none", 4, 9);
    QVERIFY(!QTest::currentTestFailed());
    for (const auto &one : cases)
        one->fixture.client.call(QStringLiteral("AddReference"));

    const auto observe = [&cases](std::chrono::milliseconds time) {
        for (const auto &one : cases)
            one->before = one->fixture.service.requests().size();
        QTest::qWait(static_cast<int>(time.count()));
    };
    const auto setLockMode = [&cases](const char *mode) {
        for (const auto &one : cases)
            one->fixture.phone.mce.setLockMode(QString::fromLatin1(mode));
        QTest::qWait(300); // until a request under way has arrived
    };
    observe(8s);
    for (const auto &one : cases)
        QVERIFY2(one->requests() >= one->leastLocked && one->requests() <= one->mostLocked,
            qPrintable(QString::fromLatin1(one->keepRequests) % QString::number(one->requests())));
    // The cycle that began while paused goes on.
    setLockMode("unlocked");
    observe(5s);
    for (const auto &one : cases)
        QVERIFY2(one->requests() >= 3, one->keepRequests);
    setLockMode("silent-locked");
    observe(8s);
    for (const auto &one : cases)
        QVERIFY2(one->requests() >= one->leastLocked && one->requests() <= one->mostLocked,
            one->keepRequests);
}

QTEST_GUILESS_MAIN(Lock)
#include "lock.moc"
