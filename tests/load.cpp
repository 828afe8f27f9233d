// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"
#include "waiting.h"

#include <QLockFile>
#include <QRandomGenerator>
#include <QTest>

#include <deque>

using namespace std::chrono_literals;

namespace {

constexpr int floodOfEach = 2000;
constexpr int callTimeoutMs = 120000;
constexpr auto endDeadline = 60s;

/// Whether a call that comes after all others on this connection is answered.
bool isAnswered(const QDBusConnection &connection)
{
    const QDBusMessage call = Client::makeCall("GetStatus");
    return connection.call(call, QDBus::BlockWithGui, callTimeoutMs).type()
        == QDBusMessage::ReplyMessage;
}

/// Of any type, length and alphabet.
QVariant randomValue(QRandomGenerator &random)
{
    constexpr int beforeSurrogates = 0xd800;
    QString text;
    for (int length = 1 << random.bounded(14); length > 0; --length)
        text += QChar(static_cast<ushort>(random.bounded(1, beforeSurrogates)));
    const QVariantList values{text, text.left(4096), QStringList{text}, text.toUtf8(),
        random.bounded(1000), random.generateDouble(), random.bounded(2) == 0};
    return values.at(random.bounded(7));
}

} // namespace

class Load : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void references();
    void everyMethod();
    void randomOptions();
};

// They alone keep the daemon going, until they leave without a word.
void Load::references()
{
    constexpr int clients = 1000;
    constexpr int referencesOfLast = 100000;
    Fixture fixture;
    QVERIFY(fixture.begin());
    std::deque<BusConnection> connections;
    for (int client = 0; client < clients; ++client) {
        connections.emplace_back(fixture.bus.address());
        connections.back()->send(Client::makeCall(addReference));
        // The bus daemon stands still when nobody reads what it says.
        QCoreApplication::processEvents();
    }
    for (int reference = 0; reference < referencesOfLast; ++reference)
        connections.back()->send(Client::makeCall(addReference));
    for (BusConnection &connection : connections)
        QVERIFY(isAnswered(*connection));
    fixture.client.call(removeReference);
    QVERIFY(fixture.seesPosition());
    connections.clear();
    QVERIFY(fixture.daemon.waitForEnd(endDeadline));
    QVERIFY(!fixture.daemon.crashed());
}

void Load::everyMethod()
{
    Fixture fixture;
    QVERIFY(fixture.begin());
    BusConnection other(fixture.bus.address());
    const QString option = "background_update_interval";
    for (int i = 1; i <= floodOfEach; ++i) {
        for (const QString &method :
            {addReference, QString("GetStatus"), QString("GetProviderInfo"), QString("GetPosition"),
                QString("GetOptions"), removeReference})
            other->send(Client::makeCall(method));
        other->send(Client::makeCall("SetOptions", {QVariantMap{{option, i}}}));
        const QVariantMap key{{"apikey", QString("key-%1").arg(i)}};
        other->send(Client::makeCall("SetOptions", {key}));
    }
    QVERIFY(isAnswered(*other));
    QCOMPARE(fixture.client.options().value(option).toInt(), floodOfEach);
    const auto verdicts = [&] {
        return fixture.daemon.logCount("Wrong key")
            + fixture.daemon.logCount("Unable to check key");
    };
    QTRY_COMPARE_WITH_TIMEOUT(verdicts(), floodOfEach, callTimeoutMs);
}

// What is confirmed is there afterwards, a refusal leaves the file as it was, and nobody waits.
void Load::randomOptions()
{
    constexpr int calls = 1000;
    Fixture fixture;
    QVERIFY(fixture.begin());
    Client &client = fixture.client;
    Client other(fixture.bus.address());
    QLockFile lock(fixture.daemon.settingsPath() + ".lock");
    QRandomGenerator random(8);
    QVariantMap expected = client.options();
    int refused = 0;
    for (int call = 0; call < calls; ++call) {
        QVariantMap values;
        for (const char *name : {"update_interval", "background_update_interval", "keep_requests",
                 "enable_request_filter"})
            values.insert(name, randomValue(random));
        const bool isLocked = random.bounded(4) == 0 && lock.tryLock();
        const QByteArray before = fixture.daemon.settings();
        client.forget();
        client.postOptions(values);
        QVERIFY(other.status() > 0);
        QVERIFY(client.waitForReplies());
        QCOMPARE(client.replies().last().errorName(), QString());
        const QVariantList changes = client.argumentsOf(optionsChanged);
        refused += changes.isEmpty() ? 1 : 0;
        if (isLocked || changes.isEmpty())
            QCOMPARE(fixture.daemon.settings(), before);
        for (const QVariant &change : changes) {
            const QVariantMap changed = change.toMap();
            for (auto value = changed.cbegin(); value != changed.cend(); ++value)
                expected.insert(value.key(), value->toString());
        }
        lock.unlock();
        QCOMPARE(client.options(), expected);
    }
    QVERIFY2(refused > calls / 8 && refused < calls / 2, qPrintable(QString::number(refused)));
}

QTEST_GUILESS_MAIN(Load)

#include "load.moc"
