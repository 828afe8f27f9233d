// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "busmonitor.h"
#include "fixture.h"
#include "requestrules.h"

#include <QElapsedTimer>
#include <QTest>

#include <sys/prctl.h>

using namespace std::chrono_literals;

Q_DECLARE_METATYPE(WebReply)

// A new API key, from the call that submits it to its reply.
class Key : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void concludes_data();
    void concludes();
    void refusesUnusableKey();
    void concludesLastCall();
    void missesSettings();
    void checksNothing();
    void cutsKeyInKey();
    void timesOut();
};

namespace {

const QString apiKey = "apikey";
const QString interval = "update_interval";
const QString newKey = "new-key";
const QString secondKey = "second-key";

// The key in the settings file.
QString storedKey(Client &client)
{
    return client.options().value(apiKey).toString();
}

// The name and the text of an error.
QString errorOf(const QDBusMessage &reply)
{
    const QStringList words{reply.errorName(), reply.errorMessage()};
    return words.join(' ').remove("org.freedesktop.DBus.Error.");
}

const QString noError = " ";
const QString refused = "InvalidArgs Provided API key is invalid";
const QString noVerdict = "NoNetwork Network error occurred during key validation";

} // namespace

void Key::concludes_data()
{
    QTest::addColumn<WebReply>("verdict");
    QTest::addColumn<QString>("reply"); // to the call
    QTest::addColumn<QVariantList>("notifications"); // to the settings application
    QTest::addColumn<QString>("log");
    // The verdict does not wait for the page.
    const QByteArray page(3 << 20, ' ');
    QTest::newRow("accepted") << WebReply::http("200 OK", page) << noError << QVariantList()
                              << "Valid key";
    QTest::newRow("refused") << WebReply::http("405 Method Not Allowed", page) << refused
                             << QVariantList{1} << "Wrong key";
    QTest::newRow("forbidden") << WebReply::http("403 Forbidden", {}) << noVerdict
                               << QVariantList{0} << "Unable to check key:  ContentAccessDenied";
}

void Key::concludes()
{
    QFETCH(const WebReply, verdict);
    QFETCH(const QString, reply);
    QFETCH(const QVariantList, notifications);
    QFETCH(const QString, log);
    Fixture fixture;
    Client &client = fixture.client;
    BusMonitor monitor(fixture.bus.address());
    fixture.service.replyAlways(verdict);
    QVERIFY(fixture.start());

    for (const char *name : {"kelpa-settings", "kelpa-setting"}) {
        ::prctl(PR_SET_NAME, name, 0, 0, 0); // what the daemon looks up
        client.forget();
        const QString key = newKey + QLatin1String(name);
        QCOMPARE(errorOf(client.setOptions({{apiKey, key}})), reply);
        QVERIFY(fixture.daemon.log().contains(QString("warning: " % log)));
        QCOMPARE(fixture.daemon.logCount(key), 0);

        // Nothing is changed by the call itself.
        QVariantList changes{QVariantMap()};
        if (reply == noError)
            changes.append(QVariantMap{{apiKey, key}});
        QCOMPARE(client.argumentsOf(optionsChanged), changes);
        const bool isSettingsApp = qstrcmp(name, "kelpa-settings") == 0;
        QCOMPARE(client.argumentsOf("ValidationErrorNotify"),
            isSettingsApp ? notifications : QVariantList());
        QCOMPARE(storedKey(client), reply == noError ? key : Fixture::knownKey);
    }
    QVERIFY(monitor.seesOneAnswerEach(client.uniqueName(), 4));
    QCOMPARE(violations(fixture.service.requests()), QStringList());
}

void Key::refusesUnusableKey()
{
    Fixture fixture;
    Client &client = fixture.client;
    QVERIFY(fixture.start());
    ::prctl(PR_SET_NAME, "kelpa-settings", 0, 0, 0);
    const QDBusMessage reply = client.setOptions({{apiKey, QString(4097, 'k')}, {interval, 90}});
    QCOMPARE(errorOf(reply), refused);
    QCOMPARE(client.argumentsOf("ValidationErrorNotify"), QVariantList{1});
    // The rest of the call has its effect.
    QCOMPARE(client.options().value(interval).toInt(), 90);
    QCOMPARE(storedKey(client), Fixture::knownKey);
}

// Of two keys at a time the first verdict concludes the last call, with the key that it was about;
// nothing comes of the other one.
void Key::concludesLastCall()
{
    for (const QString &judgedFirst : {newKey, secondKey}) {
        Fixture fixture;
        Client last(fixture.bus.address());
        fixture.service.acceptKey(newKey);
        fixture.service.acceptKey(secondKey);
        fixture.service.replyNext(WebReply::after(2s));
        fixture.service.replyNext(WebReply::after(judgedFirst == newKey ? 3s : 0s));
        QVERIFY(fixture.start());
        fixture.client.postOptions({{apiKey, newKey}});
        QVERIFY(fixture.service.waitForRequests(1, longDeadline));
        QCOMPARE(errorOf(last.setOptions({{apiKey, secondKey}})), noError);
        QCOMPARE(storedKey(last), judgedFirst);

        QVERIFY(fixture.daemon.waitForLog("Valid key", longDeadline, 2));
        QCOMPARE(storedKey(last), judgedFirst);
        QCOMPARE(fixture.client.replies().size(), 0);
    }
}

void Key::missesSettings()
{
    Fixture fixture;
    Client &client = fixture.client;
    BusMonitor monitor(fixture.bus.address());
    fixture.service.acceptKey(newKey);
    fixture.service.replyNext(WebReply::after(1s), 2);
    QVERIFY(fixture.start());
    fixture.daemon.removeSettings();
    QCOMPARE(errorOf(client.setOptions({{apiKey, newKey}})), "Failed Error writing config options");
    // Settings that come back do not save a key whose call has been answered.
    fixture.daemon.writeRawSettings("[settings]\n");
    QVERIFY(fixture.daemon.waitForLog("Valid key", longDeadline));
    QCOMPARE(storedKey(client), QString());

    client.postOptions({{apiKey, newKey}, {interval, 90}});
    QVERIFY(client.waitForSignal(optionsChanged));
    fixture.daemon.removeSettings();
    QVERIFY(client.waitForReplies(3));
    QCOMPARE(
        errorOf(client.replies().last()), "Failed Failed to save valid API key to configuration");

    // Not taken into use either, so it is checked again.
    fixture.daemon.writeRawSettings("[settings]\n");
    QCOMPARE(errorOf(client.setOptions({{apiKey, newKey}})), noError);
    QCOMPARE(fixture.service.requests().size(), 3);
    QVERIFY(monitor.seesOneAnswerEach(client.uniqueName(), 4));
}

void Key::checksNothing()
{
    Fixture fixture;
    QVERIFY(fixture.start());
    for (const QString &key : {Fixture::knownKey, QString(), Fixture::knownKey}) {
        // Once emptied it is gone from the running daemon too: the key is a new one.
        QCOMPARE(fixture.service.requests().size(), 0);
        QCOMPARE(errorOf(fixture.client.setOptions({{apiKey, key}})), noError);
        QCOMPARE(storedKey(fixture.client), key);
    }
    QCOMPARE(fixture.service.requests().size(), 1);
}

void Key::cutsKeyInKey()
{
    Fixture fixture;
    fixture.service.replyAlways(WebReply::http("200 OK", "{}"));
    QVERIFY(fixture.start());
    QSet<QString> uuids;
    for (const char *key : {"left", "left2key=middlekey=right"}) {
        const QString given = QString::fromLatin1(key);
        fixture.client.setOptions({{apiKey, given}});
        QCOMPARE(storedKey(fixture.client), given.section("key=", 0, 0));
        const RecordedRequest request = fixture.service.requests().last();
        QCOMPARE(request.target, QByteArray("/v2/geolocation?key=") + key);
        QCOMPARE(request.json.keys().join(' '), "captureTimestampUnix ip sessionUUID");
        uuids.insert(request.json.value("sessionUUID").toString());
    }
    QCOMPARE(uuids.size(), 2);
}

// A client waits for positions all the time: they come once there is a key.
void Key::timesOut()
{
    Fixture fixture;
    fixture.service.replyNext(WebReply::hang());
    QVERIFY(fixture.begin({{"enable_request_filter", "0"}}));
    fixture.client.forget();
    QElapsedTimer time;
    time.start();
    const QDBusMessage reply = fixture.client.setOptions({{apiKey, newKey}});
    // Coarse timers may be off by a twentieth.
    QVERIFY(time.elapsed() > 9000 && time.elapsed() < 16000);
    QCOMPARE(errorOf(reply), noVerdict);
    QVERIFY(fixture.daemon.log().contains("warning: Unable to check key:  OperationCanceledError"));
    QCOMPARE(fixture.service.requests().size(), 1);

    fixture.client.setOptions({{apiKey, Fixture::knownKey}});
    QVERIFY(fixture.service.waitForRequests(3, longDeadline));
    const RecordedRequest request = fixture.service.requests().last();
    QVERIFY(!request.isKeyCheck());
    QCOMPARE(request.key(), Fixture::knownKey);
    QCOMPARE(violations(fixture.service.requests()), QStringList());
}

QTEST_GUILESS_MAIN(Key)
#include "key.moc"
