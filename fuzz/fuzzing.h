// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QString>

#include <cstdio>

/// Ends the process, as a finding, unless the condition holds.
inline void require(bool condition, const char *rule)
{
    if (!condition)
        qFatal("Broken rule: %s", rule);
}

/// Keeps what the product logs off the screen.
inline void silenceLog()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qUtf8Printable(text));
    });
}

inline QByteArray inputOf(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<int>(size)};
}
