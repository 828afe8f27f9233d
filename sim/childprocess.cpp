// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "childprocess.h"

void ChildProcess::start(const QString &program, const QStringList &arguments)
{
    // Both become the program itself: the process ID stays.
    QProcess::start("setsid", QStringList{"setpriv", "--pdeathsig", "KILL", program} + arguments);
}
