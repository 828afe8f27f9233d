// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "row.h"

#include <QSaveFile>

namespace {

constexpr int longestRowMs = 30 * 60 * 1000;

struct Group
{
    QString name;
    QString title;
    QVector<Row> rows;
};

const QVector<Group> &groups()
{
    static const QVector<Group> all{
        {QStringLiteral("platform"), QStringLiteral("The phone's services"), platformRows()},
        {QStringLiteral("web"), QStringLiteral("The web service"), webRows()},
        {QStringLiteral("files"), QStringLiteral("Settings and cache"), fileRows()},
        {QStringLiteral("bus"), QStringLiteral("The bus and its clients"), busRows()},
        {QStringLiteral("clock"), QStringLiteral("The clock"), clockRows()},
        {QStringLiteral("process"), QStringLiteral("The process"), processRows()},
    };
    return all;
}

} // namespace

// Each group is a test function, each row one of its data rows. What they see becomes a table.
class Matrix : public QObject
{
    Q_OBJECT

public:
    Matrix(bool slow, QString tablePath) : m_slow(slow), m_tablePath(std::move(tablePath)) { }

private Q_SLOTS:
    void platform_data() { addRows(QStringLiteral("platform")); }
    void platform() { run(); }
    void web_data() { addRows(QStringLiteral("web")); }
    void web() { run(); }
    void files_data() { addRows(QStringLiteral("files")); }
    void files() { run(); }
    void bus_data() { addRows(QStringLiteral("bus")); }
    void bus() { run(); }
    void clock_data() { addRows(QStringLiteral("clock")); }
    void clock() { run(); }
    void process_data() { addRows(QStringLiteral("process")); }
    void process() { run(); }
    void cleanupTestCase();

private:
    void addRows(const QString &groupName);
    void run();
    static void check(const Row &row, Scene &scene);

    const bool m_slow;
    const QString m_tablePath;
    QByteArray m_table;
};

void Matrix::addRows(const QString &groupName)
{
    QTest::addColumn<Row>("row");
    for (const Group &group : groups()) {
        if (group.name != groupName)
            continue;
        m_table += "\n## " + group.title.toUtf8()
            + "\n\n| What is done | What is seen | Afterwards | Result |\n|---|---|---|---|\n";
        for (const Row &row : group.rows) {
            if (m_slow || row.speed == Row::Speed::Quick)
                QTest::newRow(qUtf8Printable(row.what)) << row;
        }
    }
}

void Matrix::run()
{
    QFETCH(const Row, row);
    Scene scene;
    check(row, scene);
    const QString reason = scene.skipReason();
    if (!reason.isEmpty()) {
        m_table += "| " + row.what.toUtf8() + " | | | skipped: " + reason.toUtf8() + " |\n";
        QSKIP(qPrintable(reason));
    }
    if (QTest::currentTestFailed())
        qWarning("The daemon's log:\n%s",
            qUtf8Printable(
                scene.daemon.log().mid(scene.daemon.log().size() - 40).join(QLatin1Char('\n'))));
    static const QStringList afterwards{QStringLiteral("positions come"),
        QStringLiteral("calls are answered"), QStringLiteral("ended, as it should")};
    const QStringList cells{row.what, scene.notes().join(QStringLiteral("; ")),
        afterwards.value(static_cast<int>(row.after)),
        QTest::currentTestFailed() ? QStringLiteral("FAILED") : QStringLiteral("passed")};
    m_table += "| " + cells.join(QStringLiteral(" | ")).toUtf8() + " |\n";
}

void Matrix::check(const Row &row, Scene &scene)
{
    row.act(scene);
    if (QTest::currentTestFailed() || !scene.skipReason().isEmpty())
        return;
    if (row.after == Row::After::Ended) {
        QVERIFY(!scene.daemon.isRunning());
        return;
    }
    QVERIFY(scene.daemon.isRunning());
    QVERIFY(scene.seesAnswer());
    if (row.after == Row::After::Positions)
        QVERIFY(scene.seesPosition());
}

void Matrix::cleanupTestCase()
{
    if (m_tablePath.isEmpty())
        return;
    QSaveFile file(m_tablePath);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(m_table);
    QVERIFY(file.commit());
}

// faults [--slow] [--table FILE] [QtTest's arguments]
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    const bool slow = arguments.removeAll(QStringLiteral("--slow")) > 0;
    const int tableIndex = arguments.indexOf(QStringLiteral("--table"));
    QString table;
    if (tableIndex >= 0 && tableIndex + 1 < arguments.size()) {
        table = arguments.takeAt(tableIndex + 1);
        arguments.removeAt(tableIndex);
    }
    qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray::number(longestRowMs));
    Matrix matrix(slow, table);
    return QTest::qExec(&matrix, arguments);
}

#include "matrix.moc"
