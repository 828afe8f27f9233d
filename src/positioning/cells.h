// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "positioning/radiorecords.h"

#include <QHash>
#include <QList>
#include <QSharedPointer>

QT_BEGIN_NAMESPACE
class QJsonObject;
QT_END_NAMESPACE
class QOfonoExtCell;

/// Brings the table of the known cells, by cell ID, up to what is in view, and makes the request's
/// section "mobileNetwork" of it. Empty when no valid cell is in view.
QJsonObject updateCells(
    QHash<int, CellRecord> &known, const QList<QSharedPointer<QOfonoExtCell>> &inView);
