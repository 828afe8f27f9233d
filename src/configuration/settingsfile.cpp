// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "configuration/settingsfile.h"

#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <cstdio>
#include <new>
#include <optional>
#include <utility>

namespace {

/// Keeps the nesting of stored values, which are read recursively, far from the end of the stack.
constexpr qint64 largestSize = 65536;

struct Section
{
    QVariantMap texts;
    QSettings::Status status;
};

/// Nothing for a file that cannot be read; as much as is needed to tell that one is too large.
std::optional<QByteArray> contentOf(const QString &path)
{
    QFile file(path);
    // A pipe would be waited for.
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray content = file.read(largestSize + 1);
    return file.error() == QFileDevice::NoError ? std::make_optional(content) : std::nullopt;
}

bool writeAll(QFileDevice &file, const QByteArray &content)
{
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
}

/// Nothing if a value claims more memory than there is.
std::optional<Section> sectionAt(const QString &path)
{
    try {
        QSettings settings(path, QSettings::IniFormat);
        // The class parses what it is asked about, and no sooner: a bad line may be anywhere.
        settings.allKeys();
        settings.beginGroup(QStringLiteral("settings"));
        Section section{{}, settings.status()};
        const QStringList keys = settings.allKeys();
        for (const QString &key : keys)
            section.texts.insert(key, SettingsFile::text(settings.value(key)));
        return section;
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}

/// The section in the content of a file; nothing for one that is too large. The settings class
/// keeps for the life of the process, under a file's name, what it has read; so it is given a copy
/// with a name of its own for a moment: in the temporary directory, or in memory when that is full.
/// The status is an access error when neither has room.
std::optional<Section> sectionIn(const QByteArray &content)
{
    if (content.size() > largestSize)
        return std::nullopt;
    for (const QString &directory : {QDir::tempPath(), QStringLiteral("/dev/shm")}) {
        QTemporaryFile copy(directory + QStringLiteral("/settings.draft-XXXXXX"));
        if (writeAll(copy, content))
            return sectionAt(copy.fileName());
    }
    return Section{{}, QSettings::AccessError};
}

/// What a kill in the middle of a write has left.
void removeFormerDrafts(const QString &path)
{
    const QFileInfo file(path);
    const QStringList drafts = file.dir().entryList(
        {file.fileName() + QStringLiteral(".draft-*")}, QDir::Dirs | QDir::Hidden);
    for (const QString &draft : drafts)
        QDir(file.dir().filePath(draft)).removeRecursively();
}

/// Lets the settings class write other texts into the section of a file with this content.
bool writeDraft(const QString &draft, const QByteArray &content, const QVariantMap &texts)
{
    QFile file(draft);
    if (!writeAll(file, content))
        return false;
    file.close();
    QSettings settings(draft, QSettings::IniFormat);
    settings.beginGroup(QStringLiteral("settings"));
    for (auto text = texts.cbegin(); text != texts.cend(); ++text)
        settings.setValue(text.key(), *text);
    settings.sync();
    return settings.status() == QSettings::NoError;
}

bool replace(const QString &path, const QString &draft)
{
    return QFile::setPermissions(draft, QFile::permissions(path))
        && std::rename(QFile::encodeName(draft).constData(), QFile::encodeName(path).constData())
        == 0;
}

SettingsFile::WriteResult failed(QSettings::Status error)
{
    return {SettingsFile::Outcome::Failed, {}, error};
}

} // namespace

SettingsFile::SettingsFile(QString path) : m_path(std::move(path)) { }

bool SettingsFile::exists() const
{
    return QFileInfo::exists(m_path);
}

void SettingsFile::logMissing() const
{
    qDebug().noquote() << "No such config file: " << m_path;
}

std::optional<QVariantMap> SettingsFile::read() const
{
    if (!exists()) {
        logMissing();
        return std::nullopt;
    }
    const auto content = contentOf(m_path);
    auto section = content ? sectionIn(*content) : std::nullopt;
    // Without room for a copy the file itself is better than no settings.
    if (section && section->status == QSettings::AccessError)
        section = sectionAt(m_path);
    if (section)
        return section->texts;
    qWarning() << "Config file is not readable:" << m_path;
    return QVariantMap();
}

SettingsFile::WriteResult SettingsFile::write(const QVariantMap &values) const
{
    constexpr int mostAttempts = 3;
    std::optional<WriteResult> result;
    for (int attempt = 0; attempt < mostAttempts && !result; ++attempt)
        result = tryToWrite(values);
    if (!result)
        result = failed(QSettings::AccessError);

    if (result->outcome == Outcome::NotThere)
        logMissing();
    else if (result->outcome == Outcome::Failed)
        qWarning("Error writing to config file with error: %d", result->error);
    return *result;
}

std::optional<SettingsFile::WriteResult> SettingsFile::tryToWrite(const QVariantMap &values) const
{
    if (!exists())
        return WriteResult{Outcome::NotThere, {}, QSettings::NoError};

    // The name by which programs that use the settings class lock the file.
    QLockFile lock(m_path + QStringLiteral(".lock"));
    // One left by a kill before its owner stood in it; a living one is held by more than its age.
    constexpr int staleAfterMs = 1000;
    lock.setStaleLockTime(staleAfterMs);
    const bool isLocked = lock.tryLock();
    const auto content = contentOf(m_path);
    if (!content)
        return failed(QSettings::AccessError);
    const auto stored = sectionIn(*content);
    if (!stored || stored->status != QSettings::NoError)
        return failed(stored ? stored->status : QSettings::FormatError);

    QVariantMap changed;
    QVariantMap changedTexts;
    QVariantMap texts = stored->texts;
    for (auto value = values.cbegin(); value != values.cend(); ++value) {
        const QString newText = text(*value);
        if (texts.contains(value.key()) && texts.value(value.key()) == newText)
            continue;
        changed.insert(value.key(), *value);
        changedTexts.insert(value.key(), newText);
        texts.insert(value.key(), newText);
    }
    if (changed.isEmpty())
        return WriteResult{Outcome::Written, {}, QSettings::NoError};
    if (!isLocked)
        return failed(QSettings::AccessError);

    const QString target = QFileInfo(m_path).canonicalFilePath();
    removeFormerDrafts(target);
    // Beside the file, for all that a write leaves until it is done.
    const QTemporaryDir directory(target + QStringLiteral(".draft-XXXXXX"));
    const QString draft = directory.filePath(QStringLiteral("settings"));
    if (!directory.isValid() || !writeDraft(draft, *content, changedTexts))
        return failed(QSettings::AccessError);
    const auto newContent = contentOf(draft);
    if (!newContent)
        return failed(QSettings::AccessError);
    const auto written = sectionIn(*newContent);
    if (written && written->status == QSettings::AccessError)
        return failed(QSettings::AccessError);
    if (!written || written->texts != texts)
        return failed(QSettings::FormatError);
    // Not every program takes the lock.
    if (contentOf(m_path) != content)
        return std::nullopt;
    if (!replace(target, draft))
        return failed(QSettings::AccessError);
    return WriteResult{Outcome::Written, changed, QSettings::NoError};
}

QString SettingsFile::text(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QStringList:
        // The INI reader takes an unquoted comma for the end of a list's element.
        return value.toStringList().join(QLatin1Char(','));
    case QMetaType::UChar:
        // Converted as it is, a byte would become a character.
        return QString::number(value.toUInt());
    default:
        return value.toString();
    }
}
