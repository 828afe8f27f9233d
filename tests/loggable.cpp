// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "webservice/loggable.h"

#include <QRandomGenerator>
#include <QTest>
#include <QUrl>

// What an error text shows in the log.
class Loggable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void shows_data();
    void shows();
    void hidesEachPiece();
};

void Loggable::shows_data()
{
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("line");
    const auto row = [](const QString &error, const QString &key, const QString &line) {
        QTest::newRow(qPrintable(error.left(50))) << error << key << line;
    };
    row("Error transferring http://a/?key=k1 - Forbidden", "k1",
        "Error transferring http://a/?key=*** - Forbidden");
    row("two\r\nlines\tand\u2028more", "key", "two  lines and more");
    row("a b of a form", "a+b", "*** of a form");
    row("twice: A%252Bb", "a+b", "twice: ***");
    row("JSON: \\u0061\\u002bb, HTML: a&#43;b &amp;c", "a+b", "JSON: ***, HTML: *** &amp;c");
    row("JSON: \\ud83d\\ude00!", "😀!", "JSON: ***");
    row("JSON: a\\tb\\nc", "a\tb\nc", "JSON: ***");
    row("HTML: a&Plus;b", "a+b", "HTML: ***");
    row("as windows-1252: â‚¬5", "€5", "as windows-1252: ***");
    row("less than a piece: 23456789", "1234567890123", "less than a piece: 23456789");
    const QString longText(999, 'x');
    row(longText + "😀", "key", longText);
}

void Loggable::shows()
{
    QFETCH(const QString, error);
    QFETCH(const QString, key);
    QFETCH(const QString, line);
    QCOMPARE(loggable(error, {"another key", key}), line);
}

// A key of any characters but blanks, in all writings, alone and in the middle of a text.
void Loggable::hidesEachPiece()
{
    constexpr int pieceLength = 12;
    const QString alphabet = "abcXYZ0189-._~!$&'()*+,;=:@/?%#\"<>\\[]^`{|}éß位";
    QRandomGenerator random(1);
    for (const int length : {1, 12, 13, 100, 3640, 3641, 30000}) {
        QString key;
        while (key.size() < length)
            key += alphabet.at(random.bounded(static_cast<int>(alphabet.size())));

        const QString escaped = QString::fromLatin1('%' + key.toUtf8().toHex('%'));
        for (const QString &writing : {key, QString::fromLatin1(QUrl::toPercentEncoding(key)),
                 escaped, QString(escaped).replace('%', "%25"),
                 QUrl("http://a/?key=" + key, QUrl::TolerantMode).toString(QUrl::FullyEncoded),
                 key.toHtmlEscaped(), QString::fromLatin1(key.toUtf8())}) {
            const QString line
                = loggable("refused: " + writing + " or " + writing.mid(length / 3), {key});
            QVERIFY(line.startsWith("refused: ") || length == 1);
            const QString shown = line + QUrl::fromPercentEncoding(line.toUtf8());
            for (int i = 0; i + pieceLength <= length; ++i)
                QVERIFY2(!shown.contains(key.mid(i, pieceLength), Qt::CaseInsensitive),
                    qPrintable(line));
        }
    }
}

QTEST_GUILESS_MAIN(Loggable)
#include "loggable.moc"
