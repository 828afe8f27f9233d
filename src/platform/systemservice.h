// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDBusError>
#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QVariantMap>
#include <QVector>

#include <chrono>
#include <functional>
#include <optional>

/// A service of the system bus, followed through absence, late arrival and restart without ever
/// waiting for the bus or starting the service. Calls go to the unique name of the present owner;
/// whatever another sender, or an owner of the past, says is dropped.
class SystemService : public QObject
{
    Q_OBJECT

public:
    /// Takes the only value of an answer, which has the signature asked for, or a valid error.
    using AnswerHandler = std::function<void(const QVariant &value, const QDBusError &error)>;

    /// An object that a service lists, with its path.
    struct Object
    {
        QString path;
        QVariantMap properties;
    };

    /// How long an answer may take; the default of the D-Bus reference library.
    static constexpr std::chrono::milliseconds callTimeout{25000};

    SystemService(QString name, QObject *parent);

    /// Has signalReceived() emitted for a signal of the service; to be called before the event loop
    /// runs. An empty path stands for every object; first arguments, when given, are the only ones
    /// for which the process is woken.
    void listen(const QString &path, const QString &interface, const QString &signal,
        const QString &signature, const QStringList &firstArguments = {});

    /// Calls a method without arguments while the service is there. The handler runs at most once,
    /// in the order of the bus, and only while the context lives and the owner has not changed.
    void ask(const QString &path, const QString &interface, const QString &method,
        const QString &signature, const QObject *context, const AnswerHandler &handler);

    /// The unique name of the present owner, empty while there is none.
    QString owner() const { return m_owner; }

    /// Why an answer or a signal is of no use.
    static QString unexpectedSignature(const QString &actual, const QString &expected);

    /// Logs why something of the service is of no use, once per subject and owner.
    void warnOnce(const QString &subject, const QString &reason);
    void warnOnce(const QString &method, const QDBusError &error);

    /// The member of a dictionary if it is there and of exactly this type; another type is logged.
    template <typename T>
    std::optional<T> member(const QVariantMap &properties, const QString &name)
    {
        const QVariant value = properties.value(name);
        if (value.userType() == qMetaTypeId<T>())
            return value.value<T>();
        if (value.isValid())
            warnOnce(name, QStringLiteral("a value of an unexpected type"));
        return std::nullopt;
    }

    /// The objects in a value of the signature a(oa{sv}).
    static QVector<Object> objects(const QVariant &value);

    /// The one property that a signal PropertyChanged(sv) tells.
    static QVariantMap changedProperty(const QDBusMessage &signal);

Q_SIGNALS:
    /// The service has an owner now, perhaps right after another one.
    void appeared();
    /// The owner has left: what it said no longer holds.
    void vanished();
    /// One of the signals listened for, from the present owner and of the right signature.
    void signalReceived(const QDBusMessage &signal);

private Q_SLOTS:
    void subscribe();
    void relay(const QDBusMessage &signal);
    void takeOwner(const QDBusMessage &reply);
    void missOwner(const QDBusError &error);

private:
    struct Rule
    {
        QString path;
        QString interface;
        QString signal;
        QStringList arguments;
    };

    void setOwner(const QString &owner);

    QString m_name;
    QString m_owner;
    QVector<Rule> m_rules;
    QHash<QString, QString> m_signatures;
    QSet<QString> m_warned;
};
