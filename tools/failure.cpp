// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "failure.h"

#include "output.h"
#include "provider.h"

namespace {

bool isNotReachable(const QDBusError &error)
{
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
    case QDBusError::Disconnected:
    case QDBusError::NoServer:
    case QDBusError::UnknownObject: // it is about to end
        return true;
    default:
        // The bus could not start the provider, by itself or through the service manager.
        return error.name().startsWith(QLatin1String("org.freedesktop.DBus.Error.Spawn."))
            || error.name().startsWith(QLatin1String("org.freedesktop.systemd1."));
    }
}

QString notReachableText(const QDBusError &error)
{
    if (error.type() == QDBusError::ServiceUnknown) {
        return QStringLiteral("The provider is not running, and the system bus cannot start it. "
                              "Is it installed? No such name on the bus: ")
            % Provider::serviceName();
    }
    if (!QDBusConnection::systemBus().isConnected()) {
        return QStringLiteral("The system bus cannot be reached: ")
            % QDBusConnection::systemBus().lastError().message();
    }
    return QStringLiteral("The provider does not answer: ") % error.message()
        % QStringLiteral("\nIt ends at once when it has no settings file; its log says more.");
}

} // namespace

ExitStatus reportFailure(const QDBusError &error)
{
    if (isNotReachable(error)) {
        printError(notReachableText(error));
        return NotReachable;
    }
    if (error.type() == QDBusError::AccessDenied) {
        printError(
            QStringLiteral("The bus policy does not let you use the provider: ") % error.message());
        return AccessDenied;
    }
    printError(QStringLiteral("The provider reports an error: ") % error.message());
    return Failure;
}

ExitStatus reportSettingsFailure(const QDBusError &error)
{
    if (error.type() != QDBusError::AccessDenied)
        return reportFailure(error);
    printError(QStringLiteral("Access denied. Only root and the members of the group ")
        % QStringLiteral(ONDRAVEXA_SETTINGS_GROUP)
        % QStringLiteral(" may read or change the settings."));
    return AccessDenied;
}
