// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "dbus/geoclueadaptor.h"
#include "keyvalidation/keyvalidator.h"
#include "positioning/positionadaptor.h"
#include "provider/ondravexa.h"

#include <QTest>

// The signals and slots of the classes, in the order of their indexes.
class MetaObjects : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void methods_data();
    void methods();
};

Q_DECLARE_METATYPE(const QMetaObject *)

void MetaObjects::methods_data()
{
    QTest::addColumn<const QMetaObject *>("metaObject");
    QTest::addColumn<QList<QByteArray>>("expected");
    QTest::newRow("provider") << &OndraVexa::staticMetaObject
                              << QList<QByteArray>{"StatusChanged(int)",
                                     "OptionsChanged(QVariantMap)", "ValidationErrorNotify(int)",
                                     "lockedChangedHandler()", "positionAcquiringHandler(bool)",
                                     "serviceUnregistered(QString)", "setStatus(OndraVexa::Status)",
                                     "registerProvider()",
                                     "keyValidationStatusChanged(KeyValidator::KeyStatus,QString)",
                                     "restartTimer()"};
    QTest::newRow("Geoclue adaptor")
        << &GeoclueAdaptor::staticMetaObject
        << QList<QByteArray>{"OptionsChanged(QVariantMap)", "StatusChanged(int)",
               "ValidationErrorNotify(int)", "AddReference()", "GetOptions()",
               "GetProviderInfo(QString&)", "GetStatus()", "RemoveReference()",
               "SetOptions(QVariantMap)"};
    QTest::newRow("key validator")
        << &KeyValidator::staticMetaObject
        << QList<QByteArray>{"statusChanged(KeyValidator::KeyStatus,QString)", "needRestartTimer()",
               "replyFinished()"};
}

void MetaObjects::methods()
{
    QFETCH(const QMetaObject *const, metaObject);
    QFETCH(const QList<QByteArray>, expected);
    QList<QByteArray> found;
    for (int index = metaObject->methodOffset(); index < metaObject->methodCount(); ++index) {
        found.append(metaObject->method(index).methodSignature());
    }
    QCOMPARE(found, expected);
}

QTEST_GUILESS_MAIN(MetaObjects)
#include "metaobjects.moc"
