// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QProcess>
#include <QTemporaryDir>

/// A temporary directory that goes away however this process ends. The destructor removes it;
/// should the process be killed, a small shell in a session of its own notices and removes it
/// instead.
class ScratchDirectory
{
public:
    /// The path is short enough for a unix socket in the directory, wherever TMPDIR points.
    ScratchDirectory();

    QString path() const { return m_directory.path(); }
    /// Absolute path of a file in the directory.
    QString filePath(const QString &relativePath) const
    {
        return m_directory.filePath(relativePath);
    }

private:
    class Guardian : public QProcess
    {
    public:
        ~Guardian() override;
    };

    /// The order matters: the guardian has to be gone before the directory is removed.
    QTemporaryDir m_directory;
    Guardian m_guardian;
};
