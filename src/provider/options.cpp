// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "configuration/settingsfile.h"
#include "positioning/positionadaptor.h"
#include "positioning/updateinterval.h"
#include "provider/optionkeys.h"

#include <QDebug>

namespace {

/// The option keys that SetOptions may write, beside an emptied API key.
const QStringList optionNames = {OptionKeys::updateInterval, OptionKeys::backgroundUpdateInterval,
    OptionKeys::keepRequests, OptionKeys::requestFilter};

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

/// The options of a call whose values have a text form: text, number or boolean, of a sane length.
QVariantMap usableOptions(const QVariantMap &options)
{
    constexpr int longestText = 4096;
    constexpr int longestLoggedKey = 100;
    QVariantMap usable;
    for (auto option = options.cbegin(); option != options.cend(); ++option) {
        if (!hasTextForm(*option))
            qWarning() << "Ignoring option that is neither text, number nor boolean:"
                       << option.key().left(longestLoggedKey);
        else if (SettingsFile::text(*option).size() > longestText)
            qWarning() << "Ignoring option that is too long:"
                       << option.key().left(longestLoggedKey);
        else
            usable.insert(option.key(), *option);
    }
    return usable;
}

/// Whether a value is given: a missing one and an empty text are none.
bool isGiven(const QVariantMap &options, const QString &key)
{
    return !SettingsFile::text(options.value(key)).isEmpty();
}

} // namespace

bool OndraVexa::readSettings(QVariantMap &settings) const
{
    const auto stored = SettingsFile(settingsPath).read();
    if (!stored)
        return false;
    for (auto setting = stored->cbegin(); setting != stored->cend(); ++setting)
        settings.insert(setting.key(), *setting);
    return true;
}

bool OndraVexa::writeSettings(const QVariantMap &values, const QStringList &allowedKeys)
{
    QVariantMap allowed = values;
    for (const QString &key : values.keys()) {
        if (!allowedKeys.isEmpty() && !allowedKeys.contains(key))
            allowed.remove(key);
    }

    const auto result = SettingsFile(settingsPath).write(allowed);
    if (result.outcome == SettingsFile::Outcome::Written)
        Q_EMIT OptionsChanged(result.changed);
    return result.outcome != SettingsFile::Outcome::NotThere;
}

quint64 OndraVexa::intervalOption(const QVariantMap &options, const QString &key)
{
    constexpr quint64 msPerSecond = 1000;
    bool ok = false;
    const quint64 seconds = options.value(key).toULongLong(&ok);
    return ok ? UpdateInterval::clampedMs(seconds * msPerSecond) : 0;
}

// The values are converted as they are; their texts, which the settings file takes, count only as
// empty or not.
void OndraVexa::applyOptions(const QVariantMap &options)
{
    if (isGiven(options, OptionKeys::keepRequests))
        keepRequests = options.value(OptionKeys::keepRequests).toInt();
    if (isGiven(options, OptionKeys::updateInterval)) {
        updateInterval = intervalOption(options, OptionKeys::updateInterval);
        positionAdaptor->setUpdateInterval(updateInterval);
    }
    if (isGiven(options, OptionKeys::backgroundUpdateInterval))
        backgroundUpdateInterval = intervalOption(options, OptionKeys::backgroundUpdateInterval);
    if (isGiven(options, OptionKeys::requestFilter)) {
        requestFilter = options.value(OptionKeys::requestFilter).toBool();
        positionAdaptor->setRequestFilter(requestFilter);
    }
    if (options.contains(OptionKeys::apiKey))
        positionAdaptor->setApiKey(SettingsFile::text(options.value(OptionKeys::apiKey)));
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
    QVariantMap values = usableOptions(options);
    QStringList allowedKeys = optionNames;
    const KeyChange change = keyChange(options, values);
    switch (change) {
    case KeyChange::None:
        break;
    case KeyChange::Unusable:
        announceUnusableKey();
        break;
    case KeyChange::Cleared:
        allowedKeys.append(OptionKeys::apiKey);
        break;
    case KeyChange::Submitted:
        submitKey(SettingsFile::text(values.take(OptionKeys::apiKey)));
    }

    applyOptions(values);
    if (!writeSettings(values, allowedKeys)) {
        // One answer to one call: the verdict on its key finds none waiting.
        if (change == KeyChange::Submitted)
            pendingCall = QDBusMessage();
        sendErrorReply(QDBusError::Failed, QStringLiteral("Error writing config options"));
    } else if (change == KeyChange::Unusable) {
        refuseUnusableKey();
    }
}
