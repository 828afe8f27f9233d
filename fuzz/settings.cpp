// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The settings file. An input is the file's contents and, after a line "---", the options to be
// written as a dictionary of one word to a line.

#include "configuration/settingsfile.h"
#include "fuzzing.h"
#include "simulatedtypes.h"

#include <QDir>
#include <QFile>

namespace {

const QString path = QStringLiteral("settings.conf");

QByteArray content()
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "the file is there");
    return file.readAll();
}

/// As the provider lets them through: known names, and texts of a sane length.
QVariantMap writableValues(const QVariantMap &values)
{
    constexpr int longestText = 4096;
    QVariantMap writable;
    for (const char *name : {"apikey", "update_interval", "background_update_interval",
             "keep_requests", "enable_request_filter"}) {
        const QString key = QLatin1String(name);
        if (values.contains(key) && SettingsFile::text(values[key]).size() <= longestText)
            writable.insert(key, values[key]);
    }
    return writable;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    silenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = inputOf(data, size);
    const int end = input.indexOf("\n---\n");
    QFile file(path);
    require(
        file.open(QIODevice::WriteOnly) && file.write(input.mid(0, end)) >= 0, "room for a file");
    file.close();

    const QByteArray contentBefore = content();
    const SettingsFile settings(path);
    QVariantMap expected = settings.read().value();
    if (end >= 0) {
        const QVariantMap values = writableValues(busDictionary(input.mid(end + 5).split('\n')));
        const auto result = settings.write(values);
        if (result.outcome == SettingsFile::Outcome::Written) {
            for (auto value = values.cbegin(); value != values.cend(); ++value)
                expected.insert(value.key(), SettingsFile::text(*value));
            require(settings.read().value() == expected, "each value is stored, no other is lost");
        } else {
            require(content() == contentBefore, "a write that fails leaves the file as it was");
        }
    }
    require(QDir().entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size() == 1,
        "nothing is left beside it");
    return 0;
}
