// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "configuration/settingsfile.h"
#include "positioning/positionadaptor.h"
#include "provider/optionkeys.h"

#include <dbusaccess_peer.h>

#include <QDBusConnection>
#include <QDebug>
#include <QFile>

namespace {

const QString invalidKey = QStringLiteral("Provided API key is invalid");

} // namespace

OndraVexa::KeyChange OndraVexa::keyChange(
    const QVariantMap &options, const QVariantMap &usable) const
{
    if (!options.contains(OptionKeys::apiKey))
        return KeyChange::None;
    if (!usable.contains(OptionKeys::apiKey))
        return KeyChange::Unusable;
    const QString newKey = SettingsFile::text(usable.value(OptionKeys::apiKey));
    if (newKey == positionAdaptor->apiKey())
        return KeyChange::None;
    return newKey.isEmpty() ? KeyChange::Cleared : KeyChange::Submitted;
}

void OndraVexa::submitKey(const QString &key)
{
    pendingCall = message();
    setDelayedReply(true);
    callerIsSettingsApp = isCallerSettingsApp();
    keyValidator->validateKey(key);
}

bool OndraVexa::isCallerSettingsApp() const
{
    const QByteArray caller = message().service().toLatin1();
    const DAPeer *peer = da_peer_get(DA_BUS_SYSTEM, caller.constData());
    if (!peer)
        return false;

    const QString processId = QString::number(peer->pid);
    da_peer_flush(DA_BUS_SYSTEM, caller.constData());
    QFile comm(QStringLiteral("/proc/%1/comm").arg(processId));
    return comm.open(QIODevice::ReadOnly | QIODevice::Text)
        && comm.readLine().trimmed() == "kelpa-settings";
}

void OndraVexa::keyValidationStatusChanged(
    KeyValidator::KeyStatus keyStatus, const QString &validatedKey)
{
    if (pendingCall.type() != QDBusMessage::MethodCallMessage
        || keyStatus == KeyValidator::KeyChecking)
        return;

    switch (keyStatus) {
    case KeyValidator::KeyValid:
        saveValidKey(validatedKey);
        break;
    case KeyValidator::KeyInvalid:
        refuseKey(ValidationErrorInvalidKey, QDBusError::InvalidArgs, invalidKey);
        break;
    case KeyValidator::KeyNetworkError:
        refuseKey(ValidationErrorNoVerdict, QDBusError::NoNetwork,
            QStringLiteral("Network error occurred during key validation"));
        break;
    default:
        refuseKey(ValidationErrorNoVerdict, QDBusError::InternalError,
            QStringLiteral("Unknown error during key validation"));
    }
    pendingCall = QDBusMessage();
}

void OndraVexa::saveValidKey(const QString &key)
{
    const QVariantMap values = {{OptionKeys::apiKey, key}};
    if (!writeSettings(values, {})) {
        sendPendingError(
            QDBusError::Failed, QStringLiteral("Failed to save valid API key to configuration"));
        return;
    }

    applyOptions(values);
    QDBusConnection::systemBus().send(pendingCall.createReply());
}

void OndraVexa::refuseKey(
    ValidationError notification, QDBusError::ErrorType type, const QString &text)
{
    if (callerIsSettingsApp)
        Q_EMIT ValidationErrorNotify(notification);
    sendPendingError(type, text);
}

// Its key is not checked, so that another call may be pending.
void OndraVexa::announceUnusableKey()
{
    if (isCallerSettingsApp())
        Q_EMIT ValidationErrorNotify(ValidationErrorInvalidKey);
}

void OndraVexa::refuseUnusableKey()
{
    sendErrorReply(QDBusError::InvalidArgs, invalidKey);
}

void OndraVexa::sendPendingError(QDBusError::ErrorType type, const QString &text)
{
    if (pendingCall.type() != QDBusMessage::MethodCallMessage) {
        qWarning("Cannot send error reply - no pending call");
        return;
    }
    QDBusConnection::systemBus().send(pendingCall.createErrorReply(type, text));
}
