// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "systemservice.h"

#include "servicecall.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QDebug>

#include <utility>

SystemService::SystemService(QString name, QObject *parent)
    : QObject(parent), m_name(std::move(name))
{
    // The process has its own name first: whoever had it started waits for that.
    QMetaObject::invokeMethod(this, "subscribe", Qt::QueuedConnection);
}

void SystemService::listen(const QString &path, const QString &interface, const QString &signal,
    const QString &signature, const QStringList &firstArguments)
{
    m_signatures.insert(interface % QLatin1Char('.') % signal, signature);
    if (firstArguments.isEmpty())
        m_rules.append({path, interface, signal, {}});
    for (const QString &argument : firstArguments)
        m_rules.append({path, interface, signal, {argument}});
}

// Runs in the event loop, when the process has its name. That matters: Qt 5.15 begins each call,
// but for those to the bus daemon, with a look at the process's own names, and nothing locks their
// list against the connection's thread, which adds a name when the bus grants it. No service is
// called before the bus has told its owner, here or later. The bus granted the name before that,
// and the thread takes one message after the other: by then the list has come to rest.
void SystemService::subscribe()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    // No sender in a rule, not even its unique name: the connection would ask the bus who owns it,
    // and wait for the answer. Signals are told apart when they arrive.
    for (const Rule &rule : std::as_const(m_rules))
        bus.connect({}, rule.path, rule.interface, rule.signal, rule.arguments, QString(), this,
            SLOT(relay(QDBusMessage)));

    auto *watcher
        = new QDBusServiceWatcher(m_name, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
        [this](const QString &, const QString &, const QString &newOwner) { setOwner(newOwner); });
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("GetNameOwner"));
    call << m_name;
    bus.callWithCallback(call, this, SLOT(takeOwner(QDBusMessage)), SLOT(missOwner(QDBusError)));
}

void SystemService::takeOwner(const QDBusMessage &reply)
{
    setOwner(reply.arguments().value(0).toString());
}

void SystemService::missOwner(const QDBusError &error)
{
    qDebug() << qUtf8Printable(m_name) << "is not there:" << error.message();
}

void SystemService::setOwner(const QString &owner)
{
    if (owner == m_owner)
        return;
    if (!m_owner.isEmpty()) {
        qDebug() << qUtf8Printable(m_name) << "has left the bus";
        m_owner.clear();
        Q_EMIT vanished();
    }
    if (!owner.isEmpty()) {
        qDebug() << qUtf8Printable(m_name) << "is on the bus";
        m_owner = owner;
        m_warned.clear();
        Q_EMIT appeared();
    }
}

void SystemService::relay(const QDBusMessage &signal)
{
    if (signal.service() != m_owner)
        return;
    const QString name = signal.interface() % QLatin1Char('.') % signal.member();
    const QString expected = m_signatures.value(name);
    if (signal.signature() == expected)
        Q_EMIT signalReceived(signal);
    else
        warnOnce(name, unexpectedSignature(signal.signature(), expected));
}

void SystemService::ask(const QString &path, const QString &interface, const QString &method,
    const QString &signature, const QObject *context, const AnswerHandler &handler)
{
    if (m_owner.isEmpty())
        return;
    auto *call = new ServiceCall(this, signature, context, handler);
    call->send(QDBusMessage::createMethodCall(m_owner, path, interface, method));
}

QString SystemService::unexpectedSignature(const QString &actual, const QString &expected)
{
    return QStringLiteral("the signature is (%1) instead of (%2)").arg(actual, expected);
}

void SystemService::warnOnce(const QString &subject, const QString &reason)
{
    constexpr int longestReason = 1000;
    if (m_warned.contains(subject))
        return;
    m_warned.insert(subject);
    qWarning() << "Ignoring" << qUtf8Printable(subject) << "of"
               << qUtf8Printable(m_name % QLatin1Char(':')) << reason.left(longestReason);
}

void SystemService::warnOnce(const QString &method, const QDBusError &error)
{
    warnOnce(method, QString(error.name() % QLatin1String(": ") % error.message()));
}

QVector<SystemService::Object> SystemService::objects(const QVariant &value)
{
    QVector<Object> result;
    const auto argument = value.value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusObjectPath path;
        QVariantMap properties;
        argument.beginStructure();
        argument >> path >> properties;
        argument.endStructure();
        result.append({path.path(), properties});
    }
    argument.endArray();
    return result;
}

QVariantMap SystemService::changedProperty(const QDBusMessage &signal)
{
    const QVariantList arguments = signal.arguments();
    return {{arguments.at(0).toString(), arguments.at(1).value<QDBusVariant>().variant()}};
}
