// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "qofonoextcell.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

class OfonoCellMonitor;
class QDBusError;
class QDBusMessage;
class SystemService;

/// The cells that the modems see, as oFono reports them; none without oFono.
class QOfonoExtCellWatcher : public QObject
{
    Q_OBJECT

public:
    explicit QOfonoExtCellWatcher(QObject *parent = nullptr);
    ~QOfonoExtCellWatcher() override;

    /// The cells last reported: modem by modem in oFono's order, for each its serving cell, then
    /// the neighbours. Also has the modems asked again, without waiting for them.
    QList<QSharedPointer<QOfonoExtCell>> cells();

private:
    enum class Listing { Missing, Asked, Known };

    void start();
    void fetch();
    void takeListing(const QVariant &listed, const QDBusError &error);
    void setModems(const QVariant &listed);
    void receive(const QDBusMessage &signal);
    void setModem(const QString &path, const QVariantMap &properties);
    void removeModem(const QString &path);
    void clear();

    SystemService *m_service;
    Listing m_listing = Listing::Missing;
    QStringList m_modems;
    QHash<QString, QSharedPointer<OfonoCellMonitor>> m_monitors;
};
