// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "qofonoextcell.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSharedPointer>

class QDBusError;
class SystemService;

/// The cells that one modem sees. Lives as long as the modem offers to tell them.
class OfonoCellMonitor : public QObject
{
    Q_OBJECT

public:
    OfonoCellMonitor(SystemService *service, QString modem);

    /// The serving cell, then its neighbours, as last reported.
    QList<QSharedPointer<QOfonoExtCell>> cells() const { return m_cells; }

    /// Asks the modem again: at once, or once more when the present round is over.
    void refresh();

private:
    void takeServingCell(const QVariant &properties, const QDBusError &error);
    void askForNeighbours();
    void takeNeighbours(const QVariant &listed, const QDBusError &error);
    void addNeighbours(const QVariant &listed);
    bool keepsPicture(const QDBusError &error) const;
    void finish();

    SystemService *m_service;
    QString m_modem;
    QList<QSharedPointer<QOfonoExtCell>> m_cells;
    QElapsedTimer m_pictureAge;
    bool m_refreshing = false;
    bool m_refreshDue = false;
};
