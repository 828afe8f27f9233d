// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

/// A place on the globe, in degrees.
struct Coordinate
{
    double latitude = 0;
    double longitude = 0;
};

constexpr double metresPerDegreeOfLatitude = 111320;

/// Metres in a degree of longitude at this latitude.
double metresPerDegreeOfLongitude(double latitude);
/// Distance in metres, good for places within some kilometres of each other.
double distanceMetres(const Coordinate &from, const Coordinate &to);
