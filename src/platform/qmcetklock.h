// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>

class SystemService;

/// Whether the touch screen and the keys are locked, as MCE says; unlocked without MCE.
class QMceTkLock : public QObject
{
    Q_OBJECT

public:
    explicit QMceTkLock(QObject *parent = nullptr);

    /// As last heard; false until MCE has answered.
    bool locked() const { return m_locked; }

Q_SIGNALS:
    /// locked() has another value now.
    void lockedChanged();

private:
    void fetch();
    void setMode(const QString &mode);

    SystemService *m_service;
    bool m_locked = false;
};
