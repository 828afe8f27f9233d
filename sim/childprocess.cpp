// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "childprocess.h"

#include <csignal>
#include <sys/prctl.h>
#include <unistd.h>

void ChildProcess::setupChildProcess()
{
    // Out of reach of a Ctrl-C at the terminal, so that this process can end it in good order.
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have died before the line above.
    if (::getppid() != m_parentId) {
        ::_exit(1);
    }
}
