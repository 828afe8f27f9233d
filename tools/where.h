// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "position.h"

#include <QObject>
#include <QTimer>

class Provider;

/// Prints one position and ends the event loop. A position is taken at once when the provider says
/// that it is available, or when it is no older than a minute; otherwise the next new one is.
class Where : public QObject
{
    Q_OBJECT

public:
    Where(Provider *provider, int timeoutSeconds, bool json, QObject *parent = nullptr);

private:
    void judgeFetched(int status, const Position &position);
    void judgeChanged(const Position &position);
    void answer(const Position &position);
    void giveUp();
    void finish(int exitStatus);

    Provider *const m_provider;
    const bool m_json;
    QTimer m_timeout;
    int m_status = -1; // not known yet
    Position m_lastKnown;
};
