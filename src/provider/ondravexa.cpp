// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include "configuration/places.h"
#include "dbus/accuracy.h"
#include "dbus/clientfollower.h"
#include "dbus/geoclueadaptor.h"
#include "positioning/positionadaptor.h"

#include <qmcetklock.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusServiceWatcher>

namespace {

constexpr char serviceName[] = "org.freedesktop.Geoclue.Providers.OndraVexa";
constexpr char objectPath[] = "/org/freedesktop/Geoclue/Providers/OndraVexa";

} // namespace

OndraVexa::OndraVexa(QObject *parent)
    : QObject(parent), serviceWatcher(std::make_unique<QDBusServiceWatcher>(this)),
      positionAdaptor(std::make_unique<PositionAdaptor>(this)),
      keyValidator(std::make_unique<KeyValidator>(this)), tkLock(new QMceTkLock(this)),
      settingsPath(QString::fromLatin1(Places::settingsFile))
{
    registerAccuracy();
    new GeoclueAdaptor(this);

    connect(keyValidator.get(), &KeyValidator::statusChanged, this,
        &OndraVexa::keyValidationStatusChanged);
    connect(keyValidator.get(), &KeyValidator::needRestartTimer, this, &OndraVexa::restartTimer);
    connect(tkLock, &QMceTkLock::lockedChanged, this, &OndraVexa::lockedChangedHandler);
    connect(positionAdaptor.get(), &PositionAdaptor::PositionAcquiring, this,
        &OndraVexa::positionAcquiringHandler);

    registerProvider();
    if (references.isEmpty())
        startExitTimer();
}

OndraVexa::~OndraVexa() = default;

void OndraVexa::registerProvider()
{
    QVariantMap settings;
    if (readSettings(settings)) {
        applyOptions(settings);
        lockedChangedHandler();
    } else {
        qCritical("Error reading config file");
        // Queued: before the event loop runs, quit() has no effect.
        QMetaObject::invokeMethod(QCoreApplication::instance(), "quit", Qt::QueuedConnection);
    }

    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerService(QString::fromLatin1(serviceName)))
        qFatal("Failed to register service %s", serviceName);
    if (!bus.registerObject(QString::fromLatin1(objectPath), this, QDBusConnection::ExportAdaptors))
        qFatal("Failed to register object %s", objectPath);

    connect(serviceWatcher.get(), &QDBusServiceWatcher::serviceUnregistered, this,
        &OndraVexa::serviceUnregistered);
    serviceWatcher->setWatchMode(QDBusServiceWatcher::WatchForUnregistration);
    serviceWatcher->setConnection(bus);
    clientFollower = new ClientFollower(this);
    connect(clientFollower, &ClientFollower::left, this, &OndraVexa::serviceUnregistered);
    setStatus(StatusAcquiring);
}

QString OndraVexa::GetProviderInfo(QString &description) const
{
    description = tr("qtn_ondravexa_ondra_vexa");
    return QStringLiteral("Vexa");
}

void OndraVexa::requireBusCall(const char *method) const
{
    if (!calledFromDBus())
        qFatal("%s must only be called from DBus", method);
}
