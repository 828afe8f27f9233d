// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include <QDebug>

namespace {

const char *statusName(OndraVexa::Status status)
{
    switch (status) {
    case OndraVexa::StatusError:
        return "StatusError";
    case OndraVexa::StatusUnavailable:
        return "StatusUnavailable";
    case OndraVexa::StatusAcquiring:
        return "StatusAcquiring";
    case OndraVexa::StatusAvailable:
        return "StatusAvailable";
    }
    return "Invalid status";
}

} // namespace

int OndraVexa::GetStatus() const
{
    return status;
}

void OndraVexa::setStatus(OndraVexa::Status newStatus)
{
    if (newStatus == status)
        return;

    status = newStatus;
    qDebug("%s", statusName(status));
    Q_EMIT StatusChanged(status);
}

void OndraVexa::positionAcquiringHandler(bool acquiring)
{
    setStatus(acquiring ? StatusAcquiring : StatusAvailable);
}
