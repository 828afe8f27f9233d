// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "transmitter.h"

#include <algorithm>
#include <cmath>

double Transmitter::dbmAt(double metres) const
{
    return dbmAtOneMetre - 10 * pathLossExponent * std::log10(std::max(metres, 1.0));
}

double Transmitter::metresAt(double dbm) const
{
    return std::max(std::pow(10, (dbmAtOneMetre - dbm) / (10 * pathLossExponent)), 1.0);
}
