// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QCoreApplication>
#include <QProcess>

// A child process that the kernel kills when this process ends, however it ends.
class ChildProcess : public QProcess
{
    Q_OBJECT

public:
    using QProcess::QProcess;

protected:
    void setupChildProcess() override;

private:
    const qint64 m_parentId = QCoreApplication::applicationPid();
};
