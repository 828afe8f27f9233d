// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "settings.h"

#include "output.h"
#include "provider.h"
#include "secret.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QJsonArray>
#include <QRegularExpression>

namespace {

// Beyond this the provider would silently take a shorter interval.
constexpr int maximumIntervalSeconds = 2147483;

struct Setting
{
    QString key;
    QString form; // what its value looks like, for the person who got it wrong
    bool (*isValid)(const QString &value);
};

QString apiKeyName()
{
    return QStringLiteral("apikey");
}

// The provider reads the key back from the URL that it checked it with, where these end it or turn
// into something else: another key than the given one would be stored.
bool isApiKey(const QString &value)
{
    static const QRegularExpression unusable(QStringLiteral("[\\s#%]|key="));
    return !unusable.match(value).hasMatch();
}

bool isInterval(const QString &value)
{
    static const QRegularExpression digits(QStringLiteral("\\A[0-9]+\\z"));
    const int seconds = digits.match(value).hasMatch() ? value.toInt() : 0;
    return seconds >= 1 && seconds <= maximumIntervalSeconds;
}

bool isLockBehaviour(const QString &value)
{
    return value == QLatin1String("0") || value == QLatin1String("1")
        || value == QLatin1String("2");
}

bool isBoolean(const QString &value)
{
    return value == QLatin1String("true") || value == QLatin1String("false")
        || value == QLatin1String("1") || value == QLatin1String("0");
}

QVector<Setting> changeableSettings()
{
    const QString interval = QStringLiteral("whole seconds, 1 to %1").arg(maximumIntervalSeconds);
    return {
        {apiKeyName(),
            QStringLiteral("text without white space, '#', '%' and \"key=\"; empty for no key"),
            isApiKey},
        {QStringLiteral("update_interval"), interval, isInterval},
        {QStringLiteral("background_update_interval"), interval, isInterval},
        {QStringLiteral("keep_requests"),
            QStringLiteral("0 (a locked phone changes nothing), 1 (the background interval applies "
                           "while it is locked) or 2 (no requests while it is locked)"),
            isLockBehaviour},
        {QStringLiteral("enable_request_filter"), QStringLiteral("true, false, 1 or 0"), isBoolean},
    };
}

// What is wrong with one assignment; empty when nothing is.
QString assignmentError(const QString &assignment)
{
    const QString key = assignment.section(QLatin1Char('='), 0, 0);
    if (key == assignment)
        return QStringLiteral("Not of the form KEY=VALUE: ") % assignment;
    QStringList keys;
    const QVector<Setting> settings = changeableSettings();
    for (const Setting &setting : settings) {
        if (setting.key == key) {
            return setting.isValid(assignment.mid(key.size() + 1)) ? QString()
                                                                   : QStringLiteral("Wrong value. ")
                    % key % QStringLiteral(" is ") % setting.form % QLatin1Char('.');
        }
        keys.append(setting.key);
    }
    return key % QStringLiteral(" cannot be set. These can: ") % keys.join(QStringLiteral(", "))
        % QLatin1Char('.');
}

QString masked(const QString &apiKey)
{
    constexpr int shownCharacters = 4;
    // The end is enough to recognise a long key by, and too much of a short one.
    const QString end
        = apiKey.size() >= 4 * shownCharacters ? apiKey.right(shownCharacters) : QString();
    return apiKey.isEmpty() ? QString() : QStringLiteral("********") % end;
}

// A change is told with the values as they were given: numbers, truth values, texts.
QString valueText(const QVariant &value)
{
    // Converted as it is, a byte would become a character.
    return value.userType() == QMetaType::UChar ? QString::number(value.toUInt())
                                                : value.toString();
}

QVariantMap presentSettings()
{
    const QDBusMessage reply = Provider::call(QStringLiteral("GetOptions"));
    return qdbus_cast<QVariantMap>(reply.arguments().value(0));
}

ExitStatus reportKeyFailure(const QDBusError &error)
{
    switch (error.type()) {
    case QDBusError::InvalidArgs:
        printError(QStringLiteral("The web service refused the API key. It was not stored."));
        return KeyRefused;
    case QDBusError::NoNetwork:
        printError(QStringLiteral("The API key could not be checked: the web service cannot be "
                                  "reached, or gave no verdict. The key was not stored."));
        return KeyNotChecked;
    case QDBusError::InternalError:
        printError(QStringLiteral("The API key could not be checked. It was not stored."));
        return KeyNotChecked;
    case QDBusError::NoReply:
        printError(QStringLiteral("The provider gave no verdict on the API key. Another key may "
                                  "have been submitted at the same time, or the provider ended."));
        return KeyNotChecked;
    default:
        return reportSettingsFailure(error);
    }
}

void printStored(const QStringList &keys, bool isKeyValid, bool json)
{
    if (json) {
        printJson({{QStringLiteral("stored"), QJsonArray::fromStringList(keys)}});
        return;
    }
    printLine(
        isKeyValid ? QStringLiteral("Stored. The API key is valid.") : QStringLiteral("Stored."));
}

} // namespace

ExitStatus printSettings(bool json)
{
    const QDBusMessage reply = Provider::call(QStringLiteral("GetOptions"));
    if (reply.type() == QDBusMessage::ErrorMessage)
        return reportSettingsFailure(QDBusError(reply));
    const auto settings = qdbus_cast<QVariantMap>(reply.arguments().value(0));
    if (json) {
        printJson(settingsToJson(settings));
        return Success;
    }
    const QStringList texts = settingTexts(settings);
    for (const QString &text : texts)
        printLine(text);
    return Success;
}

ExitStatus changeSettings(const QStringList &assignments, bool json)
{
    QVariantMap settings;
    for (const QString &given : assignments) {
        QString assignment = given;
        if (given == apiKeyName()) {
            const QString apiKey = readSecret(QStringLiteral("API key: "));
            if (apiKey.isEmpty()) {
                printError(QStringLiteral("No API key was given. To have none, set apikey="));
                return UsageError;
            }
            assignment += QLatin1Char('=') % apiKey;
        }
        const QString error = assignmentError(assignment);
        if (!error.isEmpty()) {
            printError(error);
            return UsageError;
        }
        const QString key = assignment.section(QLatin1Char('='), 0, 0);
        settings.insert(key, assignment.mid(key.size() + 1));
    }

    // A provider that cannot write its settings file answers without an error all the same, but
    // announces the change of options only when it was written. A new key is announced apart.
    bool stored = false;
    bool keyStored = false;
    const Provider provider;
    QObject::connect(
        &provider, &Provider::optionsChanged, &provider, [&](const QVariantMap &changed) {
            stored = true;
            keyStored = keyStored || changed.contains(apiKeyName());
        });
    // Qt holds signals of the bus back until events have been processed once.
    QCoreApplication::processEvents();
    const QDBusMessage reply = Provider::call(QStringLiteral("SetOptions"), {settings});
    QCoreApplication::processEvents();

    if (reply.type() == QDBusMessage::ErrorMessage) {
        const bool hasKey = settings.contains(apiKeyName());
        const ExitStatus status = hasKey ? reportKeyFailure(QDBusError(reply))
                                         : reportSettingsFailure(QDBusError(reply));
        if (stored && settings.size() > 1)
            printError(QStringLiteral("The other settings were stored."));
        return status;
    }
    const QString apiKey = settings.value(apiKeyName()).toString();
    const bool isKeyMissing
        = !apiKey.isEmpty() && !keyStored && presentSettings().value(apiKeyName()) != apiKey;
    if (!stored || isKeyMissing) {
        printError(QStringLiteral("The provider took the settings, but could not write them to its "
                                  "settings file. They are lost when it ends."));
        return Failure;
    }
    printStored(settings.keys(), keyStored && !apiKey.isEmpty(), json);
    return Success;
}

QStringList settingTexts(const QVariantMap &settings)
{
    QStringList texts;
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        const QString value = valueText(it.value());
        texts.append(
            it.key() % QLatin1Char('=') % (it.key() == apiKeyName() ? masked(value) : value));
    }
    return texts;
}

QJsonObject settingsToJson(const QVariantMap &settings)
{
    QJsonObject object;
    for (auto it = settings.cbegin(); it != settings.cend(); ++it)
        object.insert(it.key(), valueText(it.value()));
    return object;
}
