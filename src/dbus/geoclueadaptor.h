// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QDBusAbstractAdaptor>
#include <QVariantMap>

class OndraVexa;

/// The interface org.freedesktop.Geoclue on the provider's bus object. Each member relays to or
/// from the provider, which is the parent.
class GeoclueAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Geoclue")
    Q_CLASSINFO("D-Bus Introspection",
        "  <interface name=\"org.freedesktop.Geoclue\">\n"
        "    <method name=\"RemoveReference\"/>\n"
        "    <method name=\"AddReference\"/>\n"
        "    <method name=\"SetOptions\">\n"
        "      <arg direction=\"in\" type=\"a{sv}\" name=\"options\"/>\n"
        "      <annotation name=\"org.qtproject.QtDBus.QtTypeName.In0\" value=\"QVariantMap\"/>\n"
        "    </method>\n"
        "    <method name=\"GetOptions\">\n"
        "      <arg direction=\"out\" type=\"a{sv}\" name=\"options\"/>\n"
        "      <annotation name=\"org.qtproject.QtDBus.QtTypeName.Out0\" value=\"QVariantMap\"/>\n"
        "    </method>\n"
        "    <signal name=\"OptionsChanged\">\n"
        "      <arg type=\"a{sv}\"/>\n"
        "      <annotation name=\"org.qtproject.QtDBus.QtTypeName.Out0\" value=\"QVariantMap\"/>\n"
        "    </signal>\n"
        "    <signal name=\"ValidationErrorNotify\">\n"
        "      <arg type=\"i\"/>\n"
        "    </signal>\n"
        "    <method name=\"GetStatus\">\n"
        "      <arg direction=\"out\" type=\"i\" name=\"status\"/>\n"
        "    </method>\n"
        "    <method name=\"GetProviderInfo\">\n"
        "      <arg direction=\"out\" type=\"s\" name=\"Name\"/>\n"
        "      <arg direction=\"out\" type=\"s\" name=\"Description\"/>\n"
        "    </method>\n"
        "    <signal name=\"StatusChanged\">\n"
        "      <arg type=\"i\"/>\n"
        "    </signal>\n"
        "  </interface>\n")

public:
    explicit GeoclueAdaptor(OndraVexa *provider);

Q_SIGNALS:
    /// The options that were written to the settings file, without those that already stood there.
    void OptionsChanged(const QVariantMap &in0);
    /// The new OndraVexa::Status.
    void StatusChanged(int in0);
    /// A key change of the settings application failed: 0 no verdict on the key, 1 the key is
    /// invalid.
    void ValidationErrorNotify(int in0);

public Q_SLOTS:
    void AddReference();
    QVariantMap GetOptions();
    QString GetProviderInfo(QString &Description);
    int GetStatus();
    void RemoveReference();
    void SetOptions(const QVariantMap &options);

private:
    OndraVexa *provider() const;
};
