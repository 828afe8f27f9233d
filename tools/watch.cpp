// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "watch.h"

#include "failure.h"
#include "output.h"
#include "provider.h"
#include "settings.h"

#include <QCoreApplication>
#include <QTime>

#include <algorithm>
#include <cerrno>

Watch::Watch(Provider *provider, bool json, QObject *parent)
    : QObject(parent), m_provider(provider), m_json(json)
{
    connect(provider, &Provider::fetched, this, &Watch::showFetched);
    connect(provider, &Provider::positionChanged, this, &Watch::showPosition);
    connect(provider, &Provider::statusChanged, this, &Watch::showStatus);
    connect(provider, &Provider::optionsChanged, this, &Watch::showOptions);
    connect(provider, &Provider::failed, this,
        [](const QDBusError &error) { QCoreApplication::exit(reportFailure(error)); });
    connect(provider, &Provider::left, this, [this] {
        showPresence(false);
        m_lastShownStatus = -1;
        waitForProvider();
    });
    connect(provider, &Provider::returned, this, [this] {
        m_revival.stop();
        showPresence(true);
        m_provider->fetch();
    });
    m_revival.setSingleShot(true);
    connect(&m_revival, &QTimer::timeout, this, &Watch::reviveProvider);
    provider->fetch();
}

// The service manager may be quicker. One that crashes at each start is left alone more and more.
void Watch::waitForProvider()
{
    constexpr std::chrono::milliseconds longestDelay{60000};
    m_revival.start(static_cast<int>(m_revivalDelay.count()));
    m_revivalDelay = std::min(2 * m_revivalDelay, longestDelay);
}

void Watch::reviveProvider()
{
    Provider::wakeUp();
    waitForProvider();
}

void Watch::showFetched(int status, const Position &position)
{
    // A provider that has just started announces its status by itself.
    if (status != m_lastShownStatus)
        showStatus(status);
    if (position.fields != 0 && !(position == m_lastShown))
        showPosition(position);
    m_provider->addReference();
}

void Watch::showPosition(const Position &position)
{
    const bool isRepublished = position == m_lastShown;
    m_lastShown = position;
    m_revivalDelay = firstRevivalDelay;
    QJsonObject members = position.toJson();
    members.insert(QStringLiteral("republished"), isRepublished);
    show(QStringLiteral("position"),
        position.toText() % (isRepublished ? QStringLiteral(", republished") : QString()), members);
}

void Watch::showStatus(int status)
{
    m_lastShownStatus = status;
    const QString word = statusWord(status);
    show(QStringLiteral("status"), word, {{QStringLiteral("status"), word}});
}

void Watch::showOptions(const QVariantMap &options)
{
    const QStringList texts = settingTexts(options);
    show(QStringLiteral("options"),
        texts.isEmpty() ? QStringLiteral("none changed") : texts.join(QLatin1Char(' ')),
        {{QStringLiteral("options"), settingsToJson(options)}});
}

void Watch::showPresence(bool present)
{
    show(QStringLiteral("provider"), present ? QStringLiteral("back") : QStringLiteral("gone"),
        {{QStringLiteral("present"), present}});
}

void Watch::show(const QString &event, const QString &text, QJsonObject members) const
{
    members.insert(QStringLiteral("event"), event);
    const bool printed = m_json
        ? printJson(members)
        : printLine(QTime::currentTime().toString(QStringLiteral("HH:mm:ss")) % QStringLiteral("  ")
            % event.leftJustified(10) % text);
    // A reader that has gone is noticed by the termination signals.
    if (!printed && errno != EPIPE)
        QCoreApplication::exit(Failure);
}
