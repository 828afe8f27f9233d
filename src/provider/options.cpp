// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "configuration/settingsfile.h"
#include "positioning/positionadaptor.h"
#include "positioning/updateinterval.h"

#include <dbusaccess_peer.h>

#include <QDBusConnection>
#include <QDebug>
#include <QFile>
#include <QSettings>

namespace {

const QString apiKeyOption = QStringLiteral("apikey");
const QString updateIntervalOption = QStringLiteral("update_interval");
const QString backgroundUpdateIntervalOption = QStringLiteral("background_update_interval");
const QString keepRequestsOption = QStringLiteral("keep_requests");
const QString requestFilterOption = QStringLiteral("enable_request_filter");

/// The option keys that SetOptions may write, beside an emptied API key.
const QStringList optionNames = {
    updateIntervalOption, backgroundUpdateIntervalOption, keepRequestsOption, requestFilterOption};

const QString invalidKey = QStringLiteral("Provided API key is invalid");

enum ValidationError { ValidationErrorNoVerdict = 0, ValidationErrorInvalidKey = 1 };

bool hasTextForm(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

/// An option's value as the text that is stored, so that it means the same before and after a
/// restart.
QString optionText(const QVariant &value)
{
    // Converted as it is, a byte would become a character.
    return value.userType() == QMetaType::UChar ? QString::number(value.toUInt())
                                                : value.toString();
}

/// The options of a call whose values have a text form: text, number or boolean, of a sane length.
QVariantMap textualOptions(const QVariantMap &options)
{
    // With room to spare, all of them fit into a settings file that can be read again.
    constexpr int longestText = 4096;
    QVariantMap textual;
    for (auto option = options.cbegin(); option != options.cend(); ++option) {
        if (!hasTextForm(*option))
            qWarning() << "Ignoring option that is neither text, number nor boolean:"
                       << option.key();
        else if (optionText(*option).size() > longestText)
            qWarning() << "Ignoring option that is too long:" << option.key();
        else
            textual.insert(option.key(), *option);
    }
    return textual;
}

/// Undoes changes that could not be written: the settings class would keep them for the process,
/// answer with them and write them with the next read.
void takeBack(QSettings &file, const QVariantMap &former)
{
    for (auto setting = former.cbegin(); setting != former.cend(); ++setting) {
        if (setting->isValid())
            file.setValue(setting.key(), *setting);
        else
            file.remove(setting.key());
    }
}

} // namespace

bool OndraVexa::settingsFileExists() const
{
    if (QFile::exists(settingsPath))
        return true;
    qDebug().noquote() << "No such config file: " << settingsPath;
    return false;
}

bool OndraVexa::readSettings(QVariantMap &settings) const
{
    if (!settingsFileExists())
        return false;

    const auto file = openSettings(settingsPath);
    if (!file)
        return true;

    const QStringList keys = file->allKeys();
    for (const QString &key : keys)
        settings.insert(key, settingText(file->value(key)));
    return true;
}

bool OndraVexa::writeSettings(const QVariantMap &values, const QStringList &allowedKeys)
{
    if (!settingsFileExists())
        return false;

    const auto file = openSettings(settingsPath);
    if (!file) {
        qWarning("Error writing to config file with error: %d", QSettings::FormatError);
        return true;
    }

    QVariantMap changed;
    QVariantMap former;
    for (auto option = values.cbegin(); option != values.cend(); ++option) {
        if (!allowedKeys.isEmpty() && !allowedKeys.contains(option.key()))
            continue;
        const QVariant stored = file->value(option.key());
        if (stored.isValid() && settingText(stored) == optionText(*option))
            continue;
        former.insert(option.key(), stored);
        changed.insert(option.key(), *option);
        file->setValue(option.key(), optionText(*option));
    }
    file->sync();

    if (file->status() == QSettings::NoError) {
        Q_EMIT OptionsChanged(changed);
    } else {
        qWarning("Error writing to config file with error: %d", file->status());
        // After a format error, which a line of the file can cause, the values are written.
        if (file->status() == QSettings::AccessError)
            takeBack(*file, former);
    }
    return true;
}

quint64 OndraVexa::intervalOption(const QVariantMap &options, const QString &key)
{
    constexpr quint64 msPerSecond = 1000;
    bool ok = false;
    const quint64 seconds = optionText(options.value(key)).toULongLong(&ok);
    return ok ? UpdateInterval::clampedMs(seconds * msPerSecond) : 0;
}

void OndraVexa::applyOptions(const QVariantMap &options)
{
    const auto text = [&options](const QString &key) { return optionText(options.value(key)); };
    if (!text(keepRequestsOption).isEmpty())
        keepRequests = text(keepRequestsOption).toInt();
    if (!text(updateIntervalOption).isEmpty()) {
        updateInterval = intervalOption(options, updateIntervalOption);
        positionAdaptor->setUpdateInterval(updateInterval);
    }
    if (!text(backgroundUpdateIntervalOption).isEmpty())
        backgroundUpdateInterval = intervalOption(options, backgroundUpdateIntervalOption);
    if (!text(requestFilterOption).isEmpty()) {
        requestFilter = QVariant(text(requestFilterOption)).toBool();
        positionAdaptor->setRequestFilter(requestFilter);
    }
    if (options.contains(apiKeyOption))
        positionAdaptor->setApiKey(text(apiKeyOption));
    if (!references.isEmpty() && !positionAdaptor->isRunning())
        positionAdaptor->startUpdates();
}

QVariantMap OndraVexa::GetOptions()
{
    requireBusCall("GetOptions");
    QVariantMap options;
    if (!readSettings(options))
        sendErrorReply(QDBusError::Failed, QStringLiteral("Error reading config options"));
    return options;
}

void OndraVexa::SetOptions(const QVariantMap &options)
{
    requireBusCall("SetOptions");
    QVariantMap values = textualOptions(options);
    const bool isKeyIgnored = options.contains(apiKeyOption) && !values.contains(apiKeyOption);
    QStringList allowedKeys = optionNames;
    const QString newKey = optionText(values.value(apiKeyOption));
    if (values.contains(apiKeyOption) && newKey != positionAdaptor->apiKey()) {
        if (newKey.isEmpty()) {
            allowedKeys.append(apiKeyOption);
        } else {
            values.remove(apiKeyOption);
            pendingCall = message();
            setDelayedReply(true);
            callerIsSettingsApp = isCallerSettingsApp();
            keyValidator->validateKey(newKey);
        }
    }

    applyOptions(values);
    if (!writeSettings(values, allowedKeys))
        sendErrorReply(QDBusError::Failed, QStringLiteral("Error writing config options"));
    else if (isKeyIgnored)
        sendErrorReply(QDBusError::InvalidArgs, invalidKey);
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
        if (callerIsSettingsApp)
            Q_EMIT ValidationErrorNotify(ValidationErrorInvalidKey);
        sendPendingError(QDBusError::InvalidArgs, invalidKey);
        break;
    case KeyValidator::KeyNetworkError:
        if (callerIsSettingsApp)
            Q_EMIT ValidationErrorNotify(ValidationErrorNoVerdict);
        sendPendingError(
            QDBusError::NoNetwork, QStringLiteral("Network error occurred during key validation"));
        break;
    default:
        if (callerIsSettingsApp)
            Q_EMIT ValidationErrorNotify(ValidationErrorNoVerdict);
        sendPendingError(
            QDBusError::InternalError, QStringLiteral("Unknown error during key validation"));
    }
    pendingCall = QDBusMessage();
}

void OndraVexa::saveValidKey(const QString &key)
{
    const QVariantMap values = {{apiKeyOption, key}};
    if (!writeSettings(values, {})) {
        sendPendingError(
            QDBusError::Failed, QStringLiteral("Failed to save valid API key to configuration"));
        return;
    }

    applyOptions(values);
    QDBusConnection::systemBus().send(pendingCall.createReply());
}

void OndraVexa::sendPendingError(QDBusError::ErrorType type, const QString &text)
{
    if (pendingCall.type() != QDBusMessage::MethodCallMessage) {
        qWarning("Cannot send error reply - no pending call");
        return;
    }
    QDBusConnection::systemBus().send(pendingCall.createErrorReply(type, text));
}
