// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "coordinate.h"

#include <QtMath>

#include <cmath>

double metresPerDegreeOfLongitude(double latitude)
{
    return metresPerDegreeOfLatitude * std::cos(qDegreesToRadians(latitude));
}

double distanceMetres(const Coordinate &from, const Coordinate &to)
{
    return std::hypot((to.latitude - from.latitude) * metresPerDegreeOfLatitude,
        (to.longitude - from.longitude) * metresPerDegreeOfLongitude(from.latitude));
}
