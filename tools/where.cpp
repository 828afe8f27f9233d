// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "where.h"

#include "failure.h"
#include "output.h"
#include "provider.h"

#include <QCoreApplication>

namespace {

constexpr int statusAvailable = 3;
// The provider's own default for how long a position is good.
constexpr qint64 currentSeconds = 60;

} // namespace

Where::Where(Provider *provider, int timeoutSeconds, bool json, QObject *parent)
    : QObject(parent), m_provider(provider), m_json(json)
{
    connect(provider, &Provider::fetched, this, &Where::judgeFetched);
    connect(provider, &Provider::positionChanged, this, &Where::judgeChanged);
    connect(provider, &Provider::statusChanged, this, [this](int status) { m_status = status; });
    connect(provider, &Provider::failed, this,
        [this](const QDBusError &error) { finish(reportFailure(error)); });
    connect(provider, &Provider::left, this, [this] {
        printError(QStringLiteral("The provider ended before it had a position."));
        finish(NotReachable);
    });
    connect(&m_timeout, &QTimer::timeout, this, &Where::giveUp);
    m_timeout.start(timeoutSeconds * 1000);
    provider->fetch();
}

void Where::judgeFetched(int status, const Position &position)
{
    m_status = status;
    m_lastKnown = position;
    const qint64 age = position.age();
    const bool isCurrent = status == statusAvailable || (age >= 0 && age <= currentSeconds);
    if (position.isComplete() && isCurrent) {
        answer(position);
        return;
    }
    m_provider->addReference();
}

void Where::judgeChanged(const Position &position)
{
    const bool isRepublished = position == m_lastKnown;
    m_lastKnown = position;
    if (position.isComplete() && !isRepublished)
        answer(position);
}

void Where::answer(const Position &position)
{
    const bool printed = m_json ? printJson(position.toJson()) : printLine(position.toText());
    finish(printed ? Success : Failure);
}

void Where::giveUp()
{
    const int timeoutSeconds = m_timeout.interval() / 1000;
    if (m_status < 0) {
        printError(QStringLiteral("The provider did not answer within %1 s.").arg(timeoutSeconds));
        finish(NotReachable);
        return;
    }
    printError(
        QStringLiteral("No new position within %1 s. The provider's status is: %2. "
                       "It needs an API key, a network connection, and cells or WLANs in view.")
            .arg(timeoutSeconds)
            .arg(statusWord(m_status)));
    if (m_lastKnown.fields != 0)
        printError(QStringLiteral("Last known position: ") % m_lastKnown.toText());
    finish(Failure);
}

void Where::finish(int exitStatus)
{
    m_provider->disconnect(this);
    m_timeout.stop();
    QCoreApplication::exit(exitStatus);
}
