// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QJsonObject>
#include <QStringList>

// Each runs its measurements and returns the raw samples; times in milliseconds unless a name says
// otherwise.

// Milliseconds from exec to the name owned, subject by subject, in turns. Further daemons are given
// as NAME=PROGRAM.
QJsonObject startCosts(const QStringList &furtherDaemons);
// Memory, threads and sleeps.
QJsonObject processCosts();
QJsonObject busCosts();
QJsonObject cycleCosts();
QJsonObject trafficCosts();
