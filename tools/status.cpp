// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "status.h"

#include "output.h"
#include "provider.h"

ExitStatus printStatus(bool json)
{
    const QDBusMessage statusReply = Provider::call(QStringLiteral("GetStatus"));
    if (statusReply.type() == QDBusMessage::ErrorMessage)
        return reportFailure(QDBusError(statusReply));
    const QDBusMessage infoReply = Provider::call(QStringLiteral("GetProviderInfo"));
    if (infoReply.type() == QDBusMessage::ErrorMessage)
        return reportFailure(QDBusError(infoReply));
    const QDBusMessage positionReply = Provider::callGetPosition();
    if (positionReply.type() == QDBusMessage::ErrorMessage)
        return reportFailure(QDBusError(positionReply));

    const QString status = statusWord(statusReply.arguments().value(0).toInt());
    const QString name = infoReply.arguments().value(0).toString();
    const QString description = infoReply.arguments().value(1).toString();
    const Position position = Position::fromMessage(positionReply);
    if (json) {
        printJson({{QStringLiteral("status"), status}, {QStringLiteral("name"), name},
            {QStringLiteral("description"), description},
            {QStringLiteral("position"),
                position.fields != 0 ? QJsonValue(position.toJson()) : QJsonValue()}});
        return Success;
    }
    printLine(QStringLiteral("status        ") % status);
    printLine(QStringLiteral("name          ") % name);
    printLine(QStringLiteral("description   ") % description);
    printLine(QStringLiteral("last position ")
        % (position.fields != 0 ? position.toText() : QStringLiteral("none")));
    return Success;
}
