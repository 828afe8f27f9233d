// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>
#include <QVariantMap>

#include <optional>

/// The settings file: INI, with the section "settings". Nothing of it stays in the process, so that
/// at each moment the file is the truth, whoever changes it.
class SettingsFile
{
public:
    /// What became of a write: there was no file, it stayed as it was, or it holds all values.
    enum class Outcome { NotThere, Failed, Written };

    struct WriteResult
    {
        Outcome outcome;
        /// With Written: the values that did not stand in the file before, as they were given.
        QVariantMap changed;
        /// With Failed: QSettings::AccessError (1) or QSettings::FormatError (2).
        int error;
    };

    explicit SettingsFile(QString path);

    bool exists() const;

    /// The section's keys and the texts that their values stand for. Nothing, with a debug line,
    /// without a file; empty, with a warning, for a file that cannot be read, is larger than
    /// 64 KiB, or claims more memory than there is.
    std::optional<QVariantMap> read() const;

    /// Stores the texts of all values at once, or none of them, with a warning. Does not wait: a
    /// file that another process has locked is one that cannot be written. Neither is a file with a
    /// line that is no INI, which would be lost, nor a value that could not be read again.
    WriteResult write(const QVariantMap &values) const;

    /// The text that is stored for a value.
    static QString text(const QVariant &value);

private:
    void logMissing() const;
    /// Nothing when somebody else has written the file meanwhile.
    std::optional<WriteResult> tryToWrite(const QVariantMap &values) const;

    QString m_path;
};
