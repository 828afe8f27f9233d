// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"
#include "waiting.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDir>
#include <QTest>

#include <limits>
#include <unistd.h>

// The options over the bus and in the settings file. Who may set them is up to the bus policy,
// which tests/package/check looks at.
class Options : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void writes_data();
    void writes();
    void failsWithoutFile();
    void keepsFile_data();
    void keepsFile();
    void keepsEdit();
    void takesEffect();

private:
    Fixture m_fixture;
    Client &m_client = m_fixture.client;
    DaemonProcess &m_daemon = m_fixture.daemon;
};

namespace {

const QString update = "update_interval";
const QString background = "background_update_interval";
const QString keep = "keep_requests";
const QString filter = "enable_request_filter";

const QByteArray startContent = "[settings]\napikey=known-key\nkeep_requests=1\n"
                                "link=http://127.0.0.1:1/a,b?key=\nnote=x,y,z\n"
                                "update_interval=60\n\n[other]\nupdate_interval=7\n";
const QVariantMap startOptions{{"apikey", "known-key"}, {keep, "1"},
    {"link", "http://127.0.0.1:1/a,b?key="}, {"note", "x,y,z"}, {update, "60"}};

} // namespace

void Options::initTestCase()
{
    m_daemon.writeRawSettings(startContent);
    QVERIFY(m_fixture.startAsIs());
}

void Options::init()
{
    m_daemon.writeRawSettings(startContent);
    // An unused daemon ends 20 s after the last call of this kind.
    m_client.call(removeReference);
    m_client.forget();
}

void Options::writes_data()
{
    QTest::addColumn<QVariantMap>("options");
    QTest::addColumn<QVariantMap>("changed");
    const auto row = [](const char *name, const QVariantMap &options, const QVariantMap &changed) {
        QTest::newRow(name) << options << changed;
    };
    const QVector<QPair<QVariant, const char *>> texts{{-90, "-90"},
        {std::numeric_limits<qlonglong>::min(), "-9223372036854775808"},
        {std::numeric_limits<qulonglong>::max(), "18446744073709551615"},
        {QVariant::fromValue(uchar(90)), "90"}, {90.5, "90.5"}, {qInf(), "inf"}, {true, "true"}};
    for (const auto &text : texts)
        row(text.first.typeName(), {{update, text.first}},
            {{update, QString::fromLatin1(text.second)}});
    for (const char *text :
        {"soon", "", "a, b", R"( "quoted"; = % \ )", "two\nlines", "žluťoučký", "@Invalid()"})
        row(text, {{update, QString::fromUtf8(text)}}, {{update, QString::fromUtf8(text)}});
    for (const QVariant &value : {QVariant(QStringList{update}), QVariant(QByteArray("5")),
             QVariant(QVariantMap{{update, 5}}), QVariant(QString(4097, '5')),
             QVariant::fromValue(QDBusObjectPath("/5")),
             QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(5))))})
        row("no text", {{update, value}, {keep, 2}}, {{keep, "2"}});
    row("the same", {{update, 60}, {keep, "1"}}, {});
    row("known and unknown",
        {{background, 5}, {filter, false}, {"note", 5}, {QString(), 5}, {"a/b", 5},
            {"Keep_requests", 5}, {"link", "x"}},
        {{background, "5"}, {filter, "false"}});
}

void Options::writes()
{
    QFETCH(const QVariantMap, options);
    QFETCH(const QVariantMap, changed);
    const QString ignoring = "warning: Ignoring option that is ";
    const int before = m_daemon.logCount(ignoring);
    QCOMPARE(m_client.setOptions(options).signature(), QString());
    // The signal comes first.
    QCOMPARE(m_client.received().size(), 2);
    QCOMPARE(m_client.received().last().type(), QDBusMessage::ReplyMessage);
    const QVariantMap announced = m_client.argumentsOf(optionsChanged).value(0).toMap();
    QCOMPARE(announced.keys(), changed.keys());
    QVariantMap expected = startOptions;
    for (auto option = changed.cbegin(); option != changed.cend(); ++option) {
        expected.insert(option.key(), *option);
        // Announced with the type that it came in.
        QCOMPARE(announced.value(option.key()), options.value(option.key()));
        QCOMPARE(announced.value(option.key()).userType(), options.value(option.key()).userType());
    }
    // Compares the types too: all are texts.
    QCOMPARE(m_client.options(), expected);
    if (changed.isEmpty())
        QCOMPARE(m_daemon.settings(), startContent);
    QVERIFY(m_daemon.settings().contains("[other]\nupdate_interval=7\n"));
    if (qstrcmp(QTest::currentDataTag(), "no text") == 0)
        QVERIFY(m_daemon.waitForLog(ignoring, longDeadline, before + 1));
}

void Options::failsWithoutFile()
{
    m_daemon.removeSettings();
    const QString failed = "org.freedesktop.DBus.Error.Failed";
    const QDBusMessage read = m_client.call("GetOptions");
    QCOMPARE(read.errorName(), failed);
    QCOMPARE(read.errorMessage(), "Error reading config options");
    const QDBusMessage written = m_client.setOptions({{keep, 2}});
    QCOMPARE(written.errorName(), failed);
    QCOMPARE(written.errorMessage(), "Error writing config options");
    QVERIFY(m_daemon.waitForLog("debug: No such config file:  "
                                "var/lib/geoclue/providers/vexa/settings.conf",
        longDeadline, 2));
    QVERIFY(!QFile::exists(m_daemon.settingsPath()));
}

void Options::keepsFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("command"); // of the shell, in the file's directory
    QTest::addColumn<int>("options"); // at least so many can be read
    QTest::addColumn<int>("error"); // of a write; 0: it may succeed
    const auto row = [](const char *name, const QByteArray &content, const char *command,
                         int options, int error) {
        QTest::newRow(name) << content << QString::fromLatin1(command) << options << error;
    };
    row("directory in its place", {}, "rm *; mkdir settings.conf", 0, 1);
    row("unreadable", startContent, "chmod 0 *", 0, 1);
    row("read-only directory", startContent, "chmod 500 .", 5, 1);
    row("room in memory only", startContent, "chmod 500 .; export TMPDIR=/nowhere", 5, 1);
    row("no room at all", startContent, "trap '' XFSZ; ulimit -f 0", 5, 1);
    row("locked", startContent, "mkdir settings.conf.lock", 5, 1);
    row("former drafts", startContent, "mkdir -p settings.conf.draft-old/settings", 5, 0);
    row("bad line", "no line\n" + startContent, ":", 5, 2);
    row("value that a write changes", "[settings]\nnote=@foo, @@bar\n", ":", 1, 2);
    row("large", startContent + "x=" + QByteArray(65400, 'x'), ":", 5, 2);
    row("too large", startContent + "x=" + QByteArray(65536, 'x'), ":", 0, 2);
    for (int length = 0; length < startContent.size(); length += 45) {
        const QByteArray cut = startContent.left(length);
        const auto lines = static_cast<int>(cut.count('\n'));
        row(QByteArray::number(length).constData(), cut, ":", qBound(0, lines - 1, 5), 0);
    }
}

// What is wrong with the file is no reason not to start, nor to lose what it holds.
void Options::keepsFile()
{
    QFETCH(const QByteArray, content);
    QFETCH(const QString, command);
    QFETCH(const int, options);
    QFETCH(const int, error);
    Fixture fixture;
    const QString drop
        = ::geteuid() == 0 ? "setpriv --inh-caps=-all --bounding-set=-all" : QString();
    fixture.daemon.setWrapper({"sh", "-c",
        QString("top=$PWD; cd var/lib/geoclue/providers/vexa; %1; cd $top; exec %2 \"$0\"")
            .arg(command, drop)});
    fixture.daemon.writeRawSettings(content);
    QVERIFY(fixture.startAsIs());
    QVariantMap expected = fixture.client.options();
    QVERIFY(expected.size() >= options);
    for (auto option = expected.cbegin(); option != expected.cend(); ++option)
        QVERIFY(startOptions.value(option.key()).toString().startsWith(option->toString()));
    if (options == 0 && error != 0)
        QVERIFY(fixture.daemon.waitForLog("warning: Config file is not readable: "
                                          "\"var/lib/geoclue/providers/vexa/settings.conf\"",
            longDeadline));

    const QString value(200, '9');
    QCOMPARE(fixture.client.setOptions({{update, value}}).errorName(), QString());
    if (error == 0 && !fixture.client.argumentsOf(optionsChanged).isEmpty()) {
        expected.insert(update, value);
        const QDir directory = QFileInfo(fixture.daemon.settingsPath()).dir();
        QCOMPARE(directory.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
            QStringList{"settings.conf"});
    } else {
        const QString log = "warning: Error writing to config file with error: %1";
        QVERIFY(fixture.daemon.waitForLog(log.arg(error == 0 ? 2 : error), longDeadline));
        QCOMPARE(fixture.client.argumentsOf(optionsChanged), QVariantList());
        QCOMPARE(fixture.daemon.settings(), content);
    }
    QCOMPARE(fixture.client.options(), expected);
}

// By a program that does not take the lock, in the middle of a write.
void Options::keepsEdit()
{
    Fixture fixture;
    fixture.daemon.setWrapper({"strace", "-D", "-f", "-qqq", "-o", "/dev/null", "-e",
        "inject=?mkdir,?mkdirat:delay_exit=1000000"}); // the last step before the draft is written
    fixture.daemon.writeRawSettings(startContent);
    QVERIFY(fixture.startAsIs());
    fixture.client.postOptions({{keep, 2}});
    const QDir directory = QFileInfo(fixture.daemon.settingsPath()).dir();
    QVERIFY(waitUntil([&] { return !directory.entryList({"*.draft-*"}).isEmpty(); }, longDeadline));
    fixture.daemon.writeRawSettings(startContent + "edited=1\n");
    QVERIFY(fixture.client.waitForReplies());
    QVERIFY(fixture.daemon.settings().contains("edited=1"));
    QCOMPARE(fixture.client.options().value(keep).toString(), "2");
}

// All side by side: what was done to the options shows in the pace of the requests.
void Options::takesEffect()
{
    const QString lock = "lock";
    struct Case
    {
        const char *what;
        QVector<QPair<QString, QVariant>> acts;
        bool isFast; // at the end; before it is not
        int requests = 0;
        Fixture fixture = {};
    };
    Case cases[]{
        {"0 is a second", {{update, 0}}, true},
        {"a number is rounded", {{update, 1.4}}, true},
        {"update while locked", {{lock, "locked"}, {update, 1}}, true},
        {"keep 0", {{update, 1}, {keep, 0}, {lock, "locked"}}, true},
        {"keep as boolean", {{background, 1}, {keep, 0}, {keep, true}, {lock, "locked"}}, true},
        {"no filter", {{filter, true}, {filter, "False"}, {update, 1}}, true},
        {"no file", {{"file", {}}, {update, 1}}, true},
        {"seconds", {{update, 60}}, false},
        {"no number stops", {{update, "soon"}}, false},
        {"too long", {{update, qulonglong(99999999999)}}, false},
        {"negative is too long", {{update, -5}}, false},
        {"background while locked", {{lock, "locked"}, {background, 1}}, false},
        {"filter", {{filter, true}}, false},
    };
    for (Case &one : cases)
        QVERIFY(one.fixture.begin(Fixture::unfiltered(one.isFast ? 60 : 1)));
    for (Case &one : cases) {
        QVERIFY(one.fixture.service.waitForRequests(one.isFast ? 1 : 2, longDeadline));
        for (const auto &act : qAsConst(one.acts)) {
            if (act.first == lock)
                one.fixture.phone.mce.setLockMode(act.second.toString());
            else if (act.first == "file")
                one.fixture.daemon.removeSettings();
            else
                one.fixture.client.setOptions({{act.first, act.second}});
            one.fixture.client.status(); // by now a signal has arrived
        }
        one.requests = static_cast<int>(one.fixture.service.requests().size());
    }
    for (const Case &one : cases) {
        const WebService &service = one.fixture.service;
        if (one.isFast)
            QVERIFY2(service.waitForRequests(one.requests + 4, longDeadline), one.what);
        else // 4 s later; one may have been on its way
            QVERIFY2(service.requests().size() <= one.requests + 1, one.what);
    }
}

QTEST_GUILESS_MAIN(Options)
#include "options.moc"
