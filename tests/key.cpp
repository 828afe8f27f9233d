// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <sys/prctl.h>

using namespace std::chrono_literals;

// A new API key, from the call that submits it to its reply.
class Key : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void concludes_data();
    void concludes();
    void checksNothing();
    void cutsKeyInKey();
    void savesOptionsBeside();
    void startsUpdates();
    void timesOut();
};

namespace {

const QString apiKey = QStringLiteral("apikey");
const QString optionsChanged = QStringLiteral("OptionsChanged");
const QString newKey = QStringLiteral("new-key");
const QString secondKey = QStringLiteral("second-key");

// The name of this process, that the daemon looks up.
void setProcessName(const char *name)
{
    ::prctl(PR_SET_NAME, name, 0, 0, 0);
}

// The key in the settings file.
QString storedKey(BusClient &client)
{
    return client.options().value(apiKey).toString();
}

} // namespace

void Key::concludes_data()
{
    QTest::addColumn<int>("status"); // 0: the connection breaks
    QTest::addColumn<QString>("error"); // of the call; its text follows after a colon
    QTest::addColumn<int>("notification");
    QTest::addColumn<QString>("log");
    const auto row = [](int status, const char *error, int notification, const char *log) {
        QTest::addRow("%d", status)
            << status << QString::fromLatin1(error) << notification << QString::fromLatin1(log);
    };
    constexpr char noVerdict[] = "org.freedesktop.DBus.Error.NoNetwork:"
                                 "Network error occurred during key validation";
    row(200, ":", -1, "Valid key");
    row(405, "org.freedesktop.DBus.Error.InvalidArgs:Provided API key is invalid", 1, "Wrong key");
    row(403, noVerdict, 0, "Unable to check key:  ContentAccessDenied");
    row(0, noVerdict, 0, "Unable to check key:  RemoteHostClosedError");
}

void Key::concludes()
{
    QFETCH(const int, status);
    QFETCH(const QString, error);
    QFETCH(const int, notification);
    QFETCH(const QString, log);
    DaemonFixture fixture;
    fixture.service.replyAlways(status == 0 ? ServiceReply::ofKind(ServiceReply::Kind::BreakAtOnce)
                                            : ServiceReply::given(status, R"({"error": "any"})"));
    QVERIFY(fixture.start());

    for (const char *name : {"key", "kelpa-settings", "Kelpa-settings", "kelpa-setting"}) {
        setProcessName(name);
        BusClient &client = fixture.client;
        client.forget();
        const QString key = newKey % QString::fromLatin1(name);
        const QDBusMessage reply = client.setOptions({{apiKey, key}});
        QCOMPARE(QString(reply.errorName() % QLatin1Char(':') % reply.errorMessage()), error);
        QVERIFY(fixture.daemon.log().contains(QString(QStringLiteral("warning: ") % log)));
        QCOMPARE(fixture.daemon.logCount(key), 0);

        // Nothing is changed by the call itself; the reply comes after all signals.
        const bool accepted = notification == -1;
        QVariantList changes{QVariantMap()};
        QVariantList notifications;
        if (accepted)
            changes.append(QVariantMap{{apiKey, key}});
        else if (qstrcmp(name, "kelpa-settings") == 0)
            notifications.append(notification);
        QCOMPARE(client.received().last().type(), reply.type());
        QCOMPARE(client.argumentsOf(optionsChanged), changes);
        QCOMPARE(client.argumentsOf(QStringLiteral("ValidationErrorNotify")), notifications);
        QCOMPARE(storedKey(client), accepted ? key : DaemonFixture::knownKey);
    }
    QCOMPARE(fixture.service.violations(), QStringList());
}

void Key::checksNothing()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start());
    fixture.client.forget();
    for (const QString &key : {DaemonFixture::knownKey, QString(), DaemonFixture::knownKey}) {
        // Once emptied it is gone from the running daemon too: the key is a new one.
        QCOMPARE(fixture.service.requests().size(), 0);
        const auto reply = fixture.client.setOptions({{apiKey, key}});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(storedKey(fixture.client), key);
    }
    QCOMPARE(fixture.service.requests().size(), 1);
    QCOMPARE(fixture.client.argumentsOf(optionsChanged),
        (QVariantList{QVariantMap(), QVariantMap{{apiKey, QString()}}, QVariantMap(),
            QVariantMap{{apiKey, DaemonFixture::knownKey}}}));

    for (const QVariant &unusable :
        {QVariant(QString(5000, QLatin1Char('k'))), QVariant(QStringList{newKey})}) {
        const QDBusMessage reply = fixture.client.setOptions({{apiKey, unusable}});
        QCOMPARE(reply.errorMessage(), QStringLiteral("Provided API key is invalid"));
        QCOMPARE(storedKey(fixture.client), DaemonFixture::knownKey);
    }
    QCOMPARE(fixture.service.requests().size(), 1);
}

void Key::cutsKeyInKey()
{
    DaemonFixture fixture;
    fixture.service.replyAlways(ServiceReply::given(200, "{}"));
    QVERIFY(fixture.start());
    for (const char *key : {"left", "left2key=right", "left3"}) {
        fixture.client.setOptions({{apiKey, QString::fromLatin1(key)}});
        QCOMPARE(storedKey(fixture.client),
            QString::fromLatin1(key).section(QStringLiteral("key="), 0, 0));
    }
    static const QRegularExpression form(QStringLiteral(
        "^\\{\n    \"captureTimestampUnix\": \\d+,\n    \"ip\": \"127\\.0\\.0\\.1\",\n"
        "    \"sessionUUID\": \"[0-9a-f-]{36}\"\n\\}\n$"));
    QSet<QString> uuids;
    for (const RecordedRequest &request : fixture.service.requests()) {
        QVERIFY2(form.match(QString::fromUtf8(request.body)).hasMatch(), request.body.constData());
        uuids.insert(request.json.value(QLatin1String("sessionUUID")).toString());
    }
    QCOMPARE(uuids.size(), 3);
}

void Key::savesOptionsBeside()
{
    DaemonFixture fixture;
    fixture.service.acceptKey(newKey);
    fixture.service.replyNext(ServiceReply::after(1s));
    QVERIFY(fixture.start());
    const QVariantMap interval{{QStringLiteral("update_interval"), 90}};
    fixture.client.postOptions({{apiKey, newKey}, {interval.firstKey(), 90}});
    QVERIFY(fixture.client.waitForSignal(optionsChanged));
    fixture.daemon.removeSettings();
    QVERIFY(fixture.client.waitForReplies());
    const QDBusMessage reply = fixture.client.replies().last();
    QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.Failed"));
    QCOMPARE(reply.errorMessage(), QStringLiteral("Failed to save valid API key to configuration"));

    // Not taken into use either, so it is checked again.
    fixture.daemon.writeRawSettings("[settings]\n");
    QCOMPARE(fixture.client.setOptions({{apiKey, newKey}}).type(), QDBusMessage::ReplyMessage);
    QCOMPARE(fixture.service.requests().size(), 2);
    QCOMPARE(fixture.client.argumentsOf(optionsChanged),
        (QVariantList{interval, QVariantMap(), QVariantMap{{apiKey, newKey}}}));
}

void Key::startsUpdates()
{
    DaemonFixture fixture;
    QVERIFY(fixture.start({{QStringLiteral("enable_request_filter"), QStringLiteral("0")}}));
    fixture.client.call(QStringLiteral("AddReference"));
    QVERIFY(!fixture.service.waitForRequests(1, 2s));
    fixture.client.setOptions({{apiKey, DaemonFixture::knownKey}});
    QVERIFY(fixture.service.waitForRequests(2, longDeadline));
    const RecordedRequest request = fixture.service.requests().last();
    QVERIFY(!request.isKeyCheck());
    QCOMPARE(request.key, DaemonFixture::knownKey);
    QCOMPARE(fixture.service.violations(), QStringList());
}

void Key::timesOut()
{
    DaemonFixture fixture;
    BusClient first(fixture.bus.address());
    BusClient last(fixture.bus.address());
    fixture.service.acceptKey(newKey);
    fixture.service.replyNext(ServiceReply::after(1s));
    fixture.service.replyNext(ServiceReply::ofKind(ServiceReply::Kind::Hang));
    QVERIFY(fixture.start());
    DaemonFixture silent;
    silent.service.replyAlways(ServiceReply::ofKind(ServiceReply::Kind::Hang));
    QVERIFY(silent.start());
    QElapsedTimer time;
    time.start();
    silent.client.postOptions({{apiKey, newKey}});

    first.postOptions({{apiKey, newKey}});
    QVERIFY(fixture.service.waitForRequests(1, longDeadline));
    last.postOptions({{apiKey, secondKey}});
    QVERIFY(fixture.service.waitForRequests(2, longDeadline));
    QCOMPARE(fixture.client.call(QStringLiteral("GetStatus")).arguments(), QVariantList{2});
    // The first check to end concludes the last call, with the key that it was about.
    QVERIFY(last.waitForReplies());
    QCOMPARE(last.replies().last().type(), QDBusMessage::ReplyMessage);
    QCOMPARE(storedKey(fixture.client), newKey);
    QCOMPARE(first.replies().size(), 0);

    // The outcome of the other check finds no call waiting.
    const QString cancelled
        = QStringLiteral("warning: Unable to check key:  OperationCanceledError");
    QVERIFY(silent.client.waitForReplies());
    const qint64 waitedMs = time.elapsed();
    QVERIFY(fixture.daemon.waitForLog(cancelled, longDeadline));
    QCOMPARE(storedKey(fixture.client), newKey);
    QCOMPARE(last.replies().size(), 1);

    QCOMPARE(silent.client.replies().last().errorName(),
        QStringLiteral("org.freedesktop.DBus.Error.NoNetwork"));
    QVERIFY(silent.daemon.log().contains(cancelled));
    // Coarse timers may be off by a twentieth.
    QVERIFY2(waitedMs > 9400 && waitedMs < 14000, qPrintable(QString::number(waitedMs)));
}

QTEST_GUILESS_MAIN(Key)
#include "key.moc"
