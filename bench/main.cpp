// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// Usage: ondravexa-costs SECTION [NAME=DAEMON]...
// Measures whole processes; prints one JSON object with the samples of the section.

#include "costs.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QMap>

#include <cstdio>
#include <functional>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QMap<QString, std::function<QJsonObject()>> sections{
        {QStringLiteral("start"), [&] { return startCosts(arguments.mid(2)); }},
        {QStringLiteral("process"), processCosts},
        {QStringLiteral("bus"), busCosts},
        {QStringLiteral("cycle"), cycleCosts},
        {QStringLiteral("traffic"), trafficCosts},
    };
    const auto section = sections.constFind(arguments.value(1));
    if (section == sections.cend()) {
        std::fputs("usage: ondravexa-costs start|process|bus|cycle|traffic\n", stderr);
        return 2;
    }
    std::fputs(QJsonDocument((*section)()).toJson().constData(), stdout);
    return 0;
}
