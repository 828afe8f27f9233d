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
class ClientFollower;
class PositionAdaptor;
class QMceTkLock;

/// The provider: owner of all other components, of the settings file, of the clients' references
/// and of the status. Its operations are in ondravexa.cpp (life and registration), references.cpp
/// (references, exit timer), status.cpp, lock.cpp, options.cpp (settings and options) and
/// newkey.cpp (the submission of an API key).
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
    /// Applies and stores the options that are known. Answers with Failed when there is no settings
    /// file, with InvalidArgs for a key that is none; with any other new API key the reply waits
    /// for the key's check: an empty one, InvalidArgs, NoNetwork, InternalError or Failed.
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
    /// What a lock of the device does to the request period; option keep_requests. All other
    /// numbers stop the requests.
    enum LockEffect : qint32 { KeepInterval = 0, UseBackgroundInterval = 1 };

    enum ValidationError { ValidationErrorNoVerdict = 0, ValidationErrorInvalidKey = 1 };

    /// What a call of SetOptions means for the API key.
    enum class KeyChange {
        None, ///< there is none, or it is the present one
        Cleared,
        Submitted, ///< has to be checked before it is stored
        Unusable, ///< neither text, number nor boolean, or too long
    };

    void timerEvent(QTimerEvent *event) override;
    void startExitTimer();
    void requireBusCall(const char *method) const;

    /// False, with a line in the log, when there is no settings file. One that cannot be read is
    /// one without settings.
    bool readSettings(QVariantMap &settings) const;
    /// The same result: a write that failed was one. Stores the values whose keys are allowed; an
    /// empty list allows all.
    bool writeSettings(const QVariantMap &values, const QStringList &allowedKeys);
    void applyOptions(const QVariantMap &options);
    /// A number of seconds in milliseconds, within the bounds of an update interval; 0 for what is
    /// no number, while the number 0 is the shortest interval.
    static quint64 intervalOption(const QVariantMap &options, const QString &key);

    KeyChange keyChange(const QVariantMap &options, const QVariantMap &usable) const;
    void submitKey(const QString &key);
    bool isCallerSettingsApp() const;
    void saveValidKey(const QString &key);
    void refuseKey(ValidationError notification, QDBusError::ErrorType type, const QString &text);
    void announceUnusableKey();
    void refuseUnusableKey();
    void sendPendingError(QDBusError::ErrorType type, const QString &text);

    std::unique_ptr<QDBusServiceWatcher> serviceWatcher;
    std::unique_ptr<PositionAdaptor> positionAdaptor;
    std::unique_ptr<KeyValidator> keyValidator;
    /// By the clients' unique names; each count is 1 or more.
    QHash<QString, qint32> references;
    /// Runs while there are no references.
    QBasicTimer exitTimer;
    Status status = StatusUnavailable;
    quint64 updateInterval = UpdateInterval::defaultMs;
    quint64 backgroundUpdateInterval = UpdateInterval::defaultBackgroundMs;
    qint32 keepRequests = UseBackgroundInterval;
    QMceTkLock *tkLock;
    bool requestFilter = true;
    /// The call of SetOptions that waits for its key to be checked; empty when none does.
    QDBusMessage pendingCall;
    QString settingsPath;
    /// Of the pending call.
    bool callerIsSettingsApp = false;
    ClientFollower *clientFollower = nullptr;
};
