// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "keyvalidation/keyvalidator.h"

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
class PositionAdaptor;
class QMceTkLock;

/// The provider: owner of all other components, of the settings file, of the clients' references
/// and of the status. Its operations are in ondravexa.cpp (life, registration), options.cpp and
/// references.cpp.
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

    // The methods of org.freedesktop.Geoclue. All but the last two end the process unless they are
    // called from the bus.
    void AddReference();
    void RemoveReference();
    /// The section "settings" of the settings file, all values as text.
    QVariantMap GetOptions();
    void SetOptions(const QVariantMap &options);
    int GetStatus() const;
    /// Returns the provider's name.
    QString GetProviderInfo(QString &description) const;

Q_SIGNALS:
    void StatusChanged(int status);
    void OptionsChanged(const QVariantMap &options);
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
    quint64 updateInterval = 60000;
    quint64 backgroundUpdateInterval = 3600000;
    qint32 keepRequests = 1;
    QMceTkLock *tkLock;
    bool requestFilter = true;
    QDBusMessage pendingCall;
    QString settingsPath;
    bool callerIsSettingsApp = false;
};
