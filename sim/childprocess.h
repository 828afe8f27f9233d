// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QProcess>

/// A child process that the kernel kills when this process ends, however it ends, and that a Ctrl-C
/// at the terminal does not reach, so that this process can end it in good order.
class ChildProcess : public QProcess
{
    Q_OBJECT

public:
    using QProcess::QProcess;

    void start(const QString &program, const QStringList &arguments);
};
