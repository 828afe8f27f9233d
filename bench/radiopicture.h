// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

class SimulatedPhone;

// Has the phone see so many access points and cells, half of each.
void showEntries(SimulatedPhone &phone, int count);
