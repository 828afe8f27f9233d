// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "positioning/positionadaptor.h"

#include <qmcetklock.h>

void OndraVexa::lockedChangedHandler()
{
    if (keepRequests == KeepInterval)
        return;

    const quint64 lockedInterval
        = keepRequests == UseBackgroundInterval ? backgroundUpdateInterval : 0;
    positionAdaptor->setUpdateInterval(tkLock->locked() ? lockedInterval : updateInterval);
}
