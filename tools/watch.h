// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "position.h"

#include <QObject>
#include <QTimer>
#include <QVariantMap>

#include <chrono>

class Provider;

/// Prints a line for everything that happens to the provider, beginning with how things stand,
/// until the event loop ends. When the provider leaves the bus, has the bus start it again if it
/// does not return by itself, and takes a new reference.
class Watch : public QObject
{
    Q_OBJECT

public:
    Watch(Provider *provider, bool json, QObject *parent = nullptr);

private:
    static constexpr std::chrono::milliseconds firstRevivalDelay{5000};

    void waitForProvider();
    void reviveProvider();
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
    QTimer m_revival;
    std::chrono::milliseconds m_revivalDelay = firstRevivalDelay;
};
