// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The settings file and the options of a client. An input is the file's contents and, after a
// line "---", the options as a dictionary of one word to a line.

#include "configuration/settingsfile.h"
#include "fuzzing.h"
#include "positioning/positionadaptor.h"
#include "privatemember.h"
#include "provider/ondravexa.h"
#include "simulatedtypes.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QFile>
#include <QSettings>

REVEAL(State, &PositionAdaptor::state);
REVEAL(Adaptor, &OndraVexa::positionAdaptor);
REVEAL(SettingsPath, &OndraVexa::settingsPath);
REVEAL(ReadSettings, &OndraVexa::readSettings);
REVEAL(ApplyOptions, &OndraVexa::applyOptions);
REVEAL(ForegroundMs, &OndraVexa::updateInterval);
REVEAL(BackgroundMs, &OndraVexa::backgroundUpdateInterval);

namespace {

const QString apiKeyOption = QStringLiteral("apikey");
const QStringList writable
    = {QStringLiteral("update_interval"), QStringLiteral("background_update_interval"),
        QStringLiteral("keep_requests"), QStringLiteral("enable_request_filter")};

QDBusMessage call(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage message
        = QDBusMessage::createMethodCall(QDBusConnection::systemBus().baseService(),
            QStringLiteral("/org/freedesktop/Geoclue/Providers/OndraVexa"),
            QStringLiteral("org.freedesktop.Geoclue"), method);
    message.setArguments(arguments);
    return QDBusConnection::systemBus().call(message);
}

void writeFile(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size(),
        "room for a file");
}

// A text on the bus ends at its first NUL.
QString onBus(const QString &text)
{
    return QString::fromUtf8(text.toUtf8().constData());
}

bool isInterval(quint64 ms)
{
    return ms == 0 || (ms >= 1000 && ms <= 2147483000);
}

void requireSoundState(const OndraVexa &provider)
{
    require(isInterval(provider.*member(ForegroundMs()))
            && isInterval(provider.*member(BackgroundMs())),
        "an interval is 0 or between 1 and 2147483 s");
    const qint64 interval = ((*(provider.*member(Adaptor()))).*member(State()))->requestInterval;
    require(interval >= 1000 && interval <= 2147483000, "the request interval has its bounds");
}

QVariantMap requireTexts(const QVariantMap &options)
{
    QVariantMap texts;
    for (auto option = options.cbegin(); option != options.cend(); ++option) {
        require(option->userType() == QMetaType::QString, "every option is a text");
        texts.insert(onBus(option.key()), onBus(option->toString()));
    }
    return texts;
}

QVariantMap options()
{
    const QDBusReply<QVariantMap> reply = call(QStringLiteral("GetOptions"));
    require(reply.isValid(), "the options are told while there is a file");
    return requireTexts(reply);
}

// A new key would be put to the web service, and what is no text is refused; all others are for
// SetOptions alone.
QVariantMap withoutNewKey(QVariantMap values, const QString &currentKey)
{
    const QVariant key = values.value(apiKeyOption);
    const bool isText = key.userType() == QMetaType::QString;
    if (!isText || (!key.toString().isEmpty() && key.toString() != currentKey))
        values.remove(apiKeyOption);
    return values;
}

void requireWritten(const QVariantMap &before, const QVariantMap &values, const QVariantMap &after)
{
    for (auto option = before.cbegin(); option != before.cend(); ++option) {
        // The settings class takes "name/" for "name".
        const bool mayChange = option.key().contains(QLatin1Char('/'))
            || (values.contains(option.key())
                && (writable.contains(option.key()) || option.key() == apiKeyOption));
        require(mayChange || after.value(option.key()) == *option, "no other setting is lost");
    }
    for (const QString &name : writable) {
        const QVariant value = values.value(name);
        if (value.userType() == QMetaType::QString || value.userType() == QMetaType::UInt)
            require(after.value(name) == onBus(value.toString()),
                "an option is stored as it was given");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    prepareProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static OndraVexa provider;
    static int run = 0;
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const int end = input.indexOf("\n---\n");
    // A name for each run: the settings class knows a file by its name, size and time of change.
    const QString path = QStringLiteral("settings-%1.conf").arg(++run);
    provider.*member(SettingsPath()) = path;
    writeFile(path, input.mid(0, end));

    QVariantMap settings;
    require((provider.*member(ReadSettings()))(settings), "a file that is there is read");
    (provider.*member(ApplyOptions()))(settings);
    requireSoundState(provider);
    const QVariantMap before = options();
    const QVariantMap expected = requireTexts(settings);
    require(expected.size() != settings.size() || before == expected,
        "clients are told what the file holds");

    if (end >= 0) {
        const QVariantMap values = withoutNewKey(
            busDictionary(input.mid(end + 5).split('\n')), (provider.*member(Adaptor()))->apiKey());
        const QDBusMessage reply = call(QStringLiteral("SetOptions"), {values});
        require(reply.type() == QDBusMessage::ReplyMessage, "options are taken");
        requireSoundState(provider);
        if (openSettings(path))
            requireWritten(before, values, options());
    }
    QFile::remove(path);
    processEvents();
    return 0;
}
