// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "soak.h"

#include <QCommandLineParser>
#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription(QStringLiteral(
        "Lets faults come at random while a phone moves, and says whether a position "
        "is lost\nor what the daemon holds grows."));
    options.addHelpOption();
    const QCommandLineOption minutes(QStringLiteral("minutes"),
        QStringLiteral("How long to run; 30 minutes by default."), QStringLiteral("n"),
        QStringLiteral("30"));
    const QCommandLineOption seed(QStringLiteral("seed"),
        QStringLiteral("Has the same faults come again."), QStringLiteral("n"),
        QString::number(QRandomGenerator::global()->generate()));
    options.addOptions({minutes, seed});
    options.process(application);

    bool isNumber = false;
    const int length = options.value(minutes).toInt(&isNumber);
    bool isSeed = false;
    const quint32 start = options.value(seed).toUInt(&isSeed);
    if (!isNumber || length < 1 || !isSeed)
        options.showHelp(EXIT_FAILURE);
    return Soak(std::chrono::minutes(length), start).run() ? EXIT_SUCCESS : EXIT_FAILURE;
}
