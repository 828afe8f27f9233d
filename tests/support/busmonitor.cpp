// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "busmonitor.h"

#include "client.h"
#include "waiting.h"

#include <QSet>

#include <algorithm>

BusMonitor::BusMonitor(const QString &busAddress)
{
    m_process.start("dbus-monitor", {"--profile", "--address", busAddress});
    if (!sees("NameLost"))
        qFatal("No dbus-monitor: %s", qUtf8Printable(m_process.errorString()));
}

bool BusMonitor::sees(const QByteArray &member)
{
    const auto isMember
        = [&](const QList<QByteArray> &message) { return message.last() == member; };
    const auto isSeen = [&] {
        read();
        return std::any_of(m_messages.cbegin(), m_messages.cend(), isMember);
    };
    return waitUntil(isSeen, longDeadline);
}

bool BusMonitor::seesOneAnswerEach(const QString &client, int calls)
{
    int answers = 0;
    const auto areAnswered = [&] {
        read();
        answers = 0;
        QSet<QByteArray> answered;
        for (const QList<QByteArray> &message : qAsConst(m_messages)) {
            const bool isAnswer = message.first() == "mr" || message.first() == "err";
            if (isAnswer && message.value(4) == client.toLatin1()) {
                ++answers;
                answered.insert(message.value(5));
            }
        }
        return answered.size() >= calls;
    };
    return waitUntil(areAnswered, longDeadline) && answers == calls;
}

void BusMonitor::read()
{
    while (m_process.canReadLine())
        m_messages.append(m_process.readLine().trimmed().split('\t'));
}
