// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "coordinate.h"

/// The strength that ConnMan reports for a WLAN is its signal in dBm plus this, 100 at most.
constexpr double connManStrengthOffsetDb = 120;

/// Where a cell mast or an access point stands and how its signal fades with the distance: the
/// power at one metre, less 10 dB times the exponent for each tenfold distance.
struct Transmitter
{
    Coordinate place;
    double dbmAtOneMetre = 0;
    double pathLossExponent = 2;

    double dbmAt(double metres) const;
    double metresAt(double dbm) const;
};
