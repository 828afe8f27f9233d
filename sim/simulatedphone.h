// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "simulatedconnman.h"
#include "simulatedmce.h"
#include "simulatedofono.h"

struct RadioView;

/// The system services of a phone, as far as the daemon looks at them. Each one can come, leave and
/// be told what to report on its own.
class SimulatedPhone
{
public:
    explicit SimulatedPhone(const QString &busAddress)
        : ofono(busAddress), connMan(busAddress), mce(busAddress)
    {
    }

    /// Starts all three; false when one of them could not take its name.
    bool start() { return ofono.start() && connMan.start() && mce.start(); }
    /// Has one modem and ConnMan report what there is to receive.
    void see(const RadioView &view);

    SimulatedOfono ofono;
    SimulatedConnMan connMan;
    SimulatedMce mce;
};
