// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "output.h"

#include <QJsonDocument>

#include <cstdio>

bool printLine(const QString &line)
{
    const QByteArray text = line.toLocal8Bit() + '\n';
    return std::fputs(text.constData(), stdout) >= 0 && std::fflush(stdout) == 0;
}

bool printJson(const QJsonObject &object)
{
    return printLine(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
}

void printError(const QString &message)
{
    const QByteArray text = "ondravexactl: " + message.toLocal8Bit() + '\n';
    std::fputs(text.constData(), stderr);
}

QString statusWord(int status)
{
    switch (status) {
    case 0:
        return QStringLiteral("error");
    case 1:
        return QStringLiteral("unavailable");
    case 2:
        return QStringLiteral("acquiring");
    case 3:
        return QStringLiteral("available");
    default:
        return QStringLiteral("unknown");
    }
}
