// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "position.h"

#include <QObject>
#include <QVariantMap>

class Provider;

/// Prints a line for everything that happens to the provider, beginning with how things stand,
/// until the event loop ends. Stays when the provider leaves the bus, and takes a new reference
/// when it returns.
class Watch : public QObject
{
    Q_OBJECT

public:
    Watch(Provider *provider, bool json, QObject *parent = nullptr);

private:
    void showFetched(int status, const Position &position);
    void showPosition(const Position &position);
    void showStatus(int status);
    void showOptions(const QVariantMap &options);
    void showPresence(bool present);
    void show(const QString &event, const QString &text, QJsonObject members) const;

    Provider *const m_provider;
    const bool m_json;
    int m_lastShownStatus = -1; // none yet
    Position m_lastShown;
};
