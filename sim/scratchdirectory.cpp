// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "scratchdirectory.h"

#include <QDir>

namespace {

// A socket address holds 107 characters; this leaves 37 for the names below the directory.
constexpr int longestUsefulTempPath = 70;

QString directoryTemplate()
{
    const QString temp = QDir::tempPath();
    const QString base = temp.size() <= longestUsefulTempPath ? temp : "/tmp";
    return base % "/ondravexa-XXXXXX";
}

} // namespace

ScratchDirectory::ScratchDirectory() : m_directory(directoryTemplate())
{
    if (!m_directory.isValid())
        qFatal("No temporary directory: %s", qUtf8Printable(m_directory.errorString()));
    // End of input means that this process is gone; its children may need a moment to follow.
    m_guardian.start("setsid", {"sh", "-c", "read -r _; sleep 0.3; rm -rf -- \"$0\"", path()});
    if (!m_guardian.waitForStarted()) {
        m_directory.remove();
        qFatal(
            "No guardian of the temporary directory: %s", qUtf8Printable(m_guardian.errorString()));
    }
}

ScratchDirectory::Guardian::~Guardian()
{
    kill();
    waitForFinished();
}
