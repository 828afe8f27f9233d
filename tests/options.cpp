// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "daemonfixture.h"

#include <QDBusArgument>
#include <QDir>
#include <QFile>
#include <QTest>

using namespace std::chrono_literals;

// The options over the bus and in the settings file.
class Options : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void writes_data();
    void writes();
    void failsToWrite();
    void startsWithUnreadableFile();
    void takesEffect();

private:
    DaemonFixture m_fixture;
};

namespace {

const QString &knownKey = DaemonFixture::knownKey;
const QString link = QStringLiteral("http://127.0.0.1:1/a,b?key=");
const QByteArray startContent = "[settings]\napikey=known-key\nkeep_requests=1\n"
                                "link=http://127.0.0.1:1/a,b?key=\nnote=x,y,z\n"
                                "update_interval=60\n\n[other]\nupdate_interval=7\n";

QVariantMap startOptions()
{
    return {{QStringLiteral("apikey"), knownKey},
        {QStringLiteral("keep_requests"), QStringLiteral("1")}, {QStringLiteral("link"), link},
        {QStringLiteral("note"), QStringLiteral("x,y,z")},
        {QStringLiteral("update_interval"), QStringLiteral("60")}};
}

} // namespace

void Options::initTestCase()
{
    m_fixture.daemon.writeRawSettings(startContent);
    QVERIFY(m_fixture.startAsIs());
}

void Options::init()
{
    // An unused daemon ends 20 s after the last call of this kind.
    m_fixture.client.call(QStringLiteral("RemoveReference"));
}

void Options::writes_data()
{
    QTest::addColumn<QVariantMap>("options");
    QTest::addColumn<QVariantMap>("changed");
    const auto row = [](const char *name, const QVariantMap &options, const QVariantMap &changed) {
        QTest::newRow(name) << options << changed;
    };
    const QString update = QStringLiteral("update_interval");
    const QString filter = QStringLiteral("enable_request_filter");
    const QString keep = QStringLiteral("keep_requests");
    const QString background = QStringLiteral("background_update_interval");
    const auto writesAs = [&](const char *name, const QVariant &value, const char *text) {
        row(name, {{update, value}}, {{update, QString::fromLatin1(text)}});
    };

    writesAs("i", 90, "90");
    writesAs("x", qlonglong(-90), "-90");
    writesAs("t", qulonglong(18446744073709551615U), "18446744073709551615");
    writesAs("y", QVariant::fromValue(uchar(90)), "90");
    writesAs("d", 90.5, "90.5");
    writesAs("b", true, "true");
    writesAs("no number", QStringLiteral("soon"), "soon");
    writesAs("empty text", QString(), "");
    for (const char *text :
        {"a, b", R"( "quoted"; = % \ )", "two\nlines", "žluťoučký", "@Invalid()"})
        row(text, {{keep, QString::fromUtf8(text)}}, {{keep, QString::fromUtf8(text)}});
    row("same text", {{update, QStringLiteral("60")}}, {});
    row("same number", {{update, 60}}, {});
    row("known and others",
        {{update, QStringList{QStringLiteral("5")}}, {background, QStringLiteral("5")}, {keep, 2},
            {filter, false}, {QStringLiteral("note"), QStringLiteral("gone")}},
        {{background, QStringLiteral("5")}, {keep, QStringLiteral("2")},
            {filter, QStringLiteral("false")}});
    row("nothing", {}, {});
    row("unknown keys",
        {{QStringLiteral("UpdateInterval"), 5}, {QStringLiteral("Keep_requests"), 5},
            {QStringLiteral("note"), 5}, {QString(), 5}, {QStringLiteral("a/b"), 5},
            {QStringLiteral("link"), QStringLiteral("http://127.0.0.1:2/")}},
        {});
    row("dictionary", {{update, QVariantMap{{update, 5}}}, {keep, 2}},
        {{keep, QStringLiteral("2")}});
}

void Options::writes()
{
    QFETCH(const QVariantMap, options);
    QFETCH(const QVariantMap, changed);
    m_fixture.daemon.writeRawSettings(startContent);
    BusClient &client = m_fixture.client;
    client.forget();

    const QDBusMessage reply = client.setOptions(options);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), QString());
    // The signal comes first.
    QCOMPARE(client.received().size(), 2);
    const QVariantMap announced
        = client.argumentsOf(QStringLiteral("OptionsChanged")).value(0).toMap();
    QCOMPARE(announced.keys(), changed.keys());
    QVariantMap expected = startOptions();
    for (auto option = changed.cbegin(); option != changed.cend(); ++option) {
        expected.insert(option.key(), *option);
        // Announced with the type that it came in.
        QCOMPARE(announced.value(option.key()), options.value(option.key()));
        QCOMPARE(announced.value(option.key()).userType(), options.value(option.key()).userType());
    }
    // Compares the types too: all are texts.
    QCOMPARE(client.options(), expected);
    if (changed.isEmpty())
        QCOMPARE(m_fixture.daemon.settings(), startContent);
    QVERIFY(m_fixture.daemon.settings().contains("[other]\nupdate_interval=7\n"));
    QCOMPARE(m_fixture.service.requests().size(), 0);
}

void Options::failsToWrite()
{
    BusClient &client = m_fixture.client;
    const QString failed = QStringLiteral("org.freedesktop.DBus.Error.Failed");
    const QVariantMap options{{QStringLiteral("update_interval"), 5}};
    m_fixture.daemon.removeSettings();
    client.forget();
    const QDBusMessage read = client.call(QStringLiteral("GetOptions"));
    QCOMPARE(read.errorName(), failed);
    QCOMPARE(read.errorMessage(), QStringLiteral("Error reading config options"));
    const QDBusMessage written = client.setOptions(options);
    QCOMPARE(written.errorName(), failed);
    QCOMPARE(written.errorMessage(), QStringLiteral("Error writing config options"));
    const QString missing = QStringLiteral(
        "debug: No such config file:  var/lib/geoclue/providers/vexa/settings.conf");
    QCOMPARE(m_fixture.daemon.log().count(missing), 2);

    // A directory in the file's place is there, but cannot be written, by root neither.
    QVERIFY(QDir().mkdir(m_fixture.daemon.settingsPath()));
    QCOMPARE(client.setOptions(options).type(), QDBusMessage::ReplyMessage);
    QVERIFY(m_fixture.daemon.log().contains(
        QStringLiteral("warning: Error writing to config file with error: 1")));
    QCOMPARE(client.argumentsOf(QStringLiteral("OptionsChanged")), QVariantList());
    QVERIFY(QDir().rmdir(m_fixture.daemon.settingsPath()));
    m_fixture.daemon.writeRawSettings(startContent);
    QCOMPARE(client.options(), startOptions());

    // Beside a line that is none the value is written all the same.
    m_fixture.daemon.writeRawSettings("no line\n" + startContent);
    QCOMPARE(client.setOptions(options).type(), QDBusMessage::ReplyMessage);
    QVERIFY(m_fixture.daemon.waitForLog(
        QStringLiteral("warning: Error writing to config file with error: 2"), 0s));
    QCOMPARE(client.options().value(options.firstKey()), QVariant(QStringLiteral("5")));
}

void Options::startsWithUnreadableFile()
{
    DaemonFixture fixture;
    fixture.daemon.writeRawSettings(
        "[settings]\nlink=@Variant(\\0\\0\\0\\x9\\x7f\\xff\\xff\\xff)\n");
    QVERIFY(fixture.startAsIs());
    QCOMPARE(fixture.client.options(), QVariantMap());
    QVERIFY(fixture.daemon.log().contains(
        QStringLiteral("warning: Config file is not readable: "
                       "\"var/lib/geoclue/providers/vexa/settings.conf\"")));
}

void Options::takesEffect()
{
    DaemonFixture fixture;
    fixture.service.replyAlways(ServiceReply::position(1, 2, 3));
    const auto quiet = [&fixture](std::chrono::milliseconds time) {
        return !fixture.service.waitForRequests(fixture.service.requests().size() + 1, time);
    };
    const auto busy = [&fixture] { // more than one more, so that the interval is a short one
        return fixture.service.waitForRequests(fixture.service.requests().size() + 3, 8s);
    };
    const auto set = [&fixture](const char *option, const QVariant &value) {
        return fixture.client.setOptions({{QString::fromLatin1(option), value}}).type()
            == QDBusMessage::ReplyMessage;
    };
    const auto lock = [&fixture](const char *mode) {
        fixture.phone.mce.setLockMode(QString::fromLatin1(mode));
    };
    QVERIFY(fixture.start({{QStringLiteral("apikey"), knownKey},
        {QStringLiteral("enable_request_filter"), QStringLiteral("FALSE")}}));
    fixture.client.call(QStringLiteral("AddReference"));
    QVERIFY(fixture.service.waitForRequests(1, longDeadline));
    QVERIFY(quiet(2s)); // 60 s unless set
    QVERIFY(set("update_interval", 0));
    QVERIFY(busy()); // every second, the least there is
    QVERIFY(set("update_interval", QStringLiteral("soon")));
    QVERIFY(quiet(2s)); // stopped
    QVERIFY(set("update_interval", qulonglong(99999999999))); // 25 days
    QVERIFY(quiet(2s));
    lock("locked");
    QVERIFY(set("background_update_interval", 1));
    QVERIFY(quiet(2s)); // at the next change of the lock only
    lock("unlocked");
    lock("locked");
    QVERIFY(busy());
    QVERIFY(set("update_interval", 3600)); // at once, in spite of the lock
    QVERIFY(quiet(2s));

    fixture.daemon.removeSettings();
    QVERIFY(!set("update_interval", 1));
    QVERIFY(busy()); // in force, though not written
    QVERIFY(!set("enable_request_filter", true));
    QVERIFY(fixture.daemon.waitForLog(QStringLiteral("request filtered"), 8s));
}

QTEST_GUILESS_MAIN(Options)
#include "options.moc"
