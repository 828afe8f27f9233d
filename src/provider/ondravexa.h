// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "keyvalidation/keyvalidator.h"
#include "positioning/updateinterval.h"

#include <QBasicTimer>
#include <QDBusContext>
#include <QDBusError>
#include <QDBusMessage>
#include <QHash>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

#include <memory>

QT_BEGIN_NAMESPACE
class QDBusServiceWatcher;
QT_END_NAMESPACE
class BusLink;
class PositionAdaptor;
class QMceTkLock;

/// The provider: owner of all other components, of the settings file, of the clients' references
/// and of the status. Its operations are in ondravexa.cpp (life, registration, exit timer),
/// references.cpp (references, status, lock) and options.cpp (settings, options, new API keys).
class OndraVexa : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    /// Geoclue provider status; travels on the bus as a 32-bit integer.
    enum Status : qint32 {
        StatusError = 0,
        StatusUnavailable = 1,
        StatusAcquiring = 2,
        StatusAvailable = 3,
    };
    Q_ENUM(Status)

    explicit OndraVexa(QObject *parent = nullptr);
    ~OndraVexa() override;

    // The methods of org.freedesktop.Geoclue. The first four end the process unless they are called
    // from the bus.

    /// Counts a reference of the caller; the first one starts the position updates.
    void AddReference();
    /// Takes a reference of the caller back; the last one stops the updates.
    void RemoveReference();
    /// The section "settings" of the settings file, all values as text. Answers the caller with
    /// QDBusError::Failed when there is no settings file.
    QVariantMap GetOptions();
    /// Applies and stores the options that are known. With a new API key the reply waits for the
    /// key's check: an empty one, InvalidArgs, NoNetwork, InternalError or Failed.
    void SetOptions(const QVariantMap &options);
    /// One of Status.
    int GetStatus() const;
    /// Returns the provider's name and fills in what it is.
    QString GetProviderInfo(QString &description) const;

Q_SIGNALS:
    /// The new one of Status.
    void StatusChanged(int status);
    /// The options that were written, without those that already stood in the settings file.
    void OptionsChanged(const QVariantMap &options);
    /// A key change of the settings application failed: 0 no verdict on the key, 1 it is invalid.
    void ValidationErrorNotify(int err);

private Q_SLOTS:
    void lockedChangedHandler();
    void positionAcquiringHandler(bool acquiring);
    void serviceUnregistered(const QString &service);
    void setStatus(OndraVexa::Status status);
    void registerProvider();
    void keyValidationStatusChanged(KeyValidator::KeyStatus status, const QString &validatedKey);
    void restartTimer();

private:
    void timerEvent(QTimerEvent *event) override;
    void startExitTimer();

    void requireBusCall(const char *method) const;
    void watchClient(const QString &client);
    void forgetClient(const QString &client);
    void forgetClients();

    bool readSettings(QVariantMap &settings) const;
    bool writeSettings(const QVariantMap &values, const QStringList &allowedKeys);
    void applyOptions(const QVariantMap &options);
    static quint64 intervalOption(const QVariantMap &options, const QString &key);
    bool settingsFileExists() const;
    bool isCallerSettingsApp() const;
    void saveValidKey(const QString &key);
    void sendPendingError(QDBusError::ErrorType type, const QString &text);

    std::unique_ptr<QDBusServiceWatcher> serviceWatcher;
    std::unique_ptr<PositionAdaptor> positionAdaptor;
    std::unique_ptr<KeyValidator> keyValidator;
    QHash<QString, qint32> references;
    QBasicTimer exitTimer;
    Status status = StatusUnavailable;
    quint64 updateInterval = UpdateInterval::defaultMs;
    quint64 backgroundUpdateInterval = UpdateInterval::defaultBackgroundMs;
    qint32 keepRequests = 1;
    QMceTkLock *tkLock;
    bool requestFilter = true;
    QDBusMessage pendingCall;
    QString settingsPath;
    bool callerIsSettingsApp = false;
    BusLink *busLink = nullptr;
};
