// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbus/geoclueadaptor.h"
#include "keyvalidation/keyvalidator.h"
#include "positioning/positionadaptor.h"
#include "provider/ondravexa.h"

#include <QTest>

// What the classes tell about themselves: signals and slots, in the order of their indexes.
class MetaObjects : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void methods();
};

void MetaObjects::methods()
{
    const auto methodsOf = [](const QMetaObject &metaObject) {
        QByteArrayList found;
        for (int index = metaObject.methodOffset(); index < metaObject.methodCount(); ++index)
            found.append(metaObject.method(index).methodSignature());
        return found.join(' ');
    };
    QCOMPARE(methodsOf(OndraVexa::staticMetaObject),
        QByteArray("StatusChanged(int) OptionsChanged(QVariantMap) ValidationErrorNotify(int) "
                   "lockedChangedHandler() positionAcquiringHandler(bool) "
                   "serviceUnregistered(QString) setStatus(OndraVexa::Status) registerProvider() "
                   "keyValidationStatusChanged(KeyValidator::KeyStatus,QString) restartTimer()"));
    QCOMPARE(methodsOf(GeoclueAdaptor::staticMetaObject),
        QByteArray("OptionsChanged(QVariantMap) StatusChanged(int) ValidationErrorNotify(int) "
                   "AddReference() GetOptions() GetProviderInfo(QString&) GetStatus() "
                   "RemoveReference() SetOptions(QVariantMap)"));
    QCOMPARE(methodsOf(KeyValidator::staticMetaObject),
        QByteArray("statusChanged(KeyValidator::KeyStatus,QString) needRestartTimer() "
                   "replyFinished()"));
}

QTEST_GUILESS_MAIN(MetaObjects)
#include "metaobjects.moc"
