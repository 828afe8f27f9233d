// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "dbus/position.h"
#include "positioning/positionadaptorstate.h"
#include "positioning/radiorecords.h"

#include <QDBusAbstractAdaptor>
#include <QHash>
#include <QTimer>

#include <memory>

QT_BEGIN_NAMESPACE
class QJsonObject;
class QNetworkReply;
QT_END_NAMESPACE

/// The interface org.freedesktop.Geoclue.Position on the provider's bus object, and the request
/// cycle behind it: when it runs, the radio picture is put to the web service every update interval
/// and the answer is published. The sources follow the cycle: lifecycle, request, cells, wlans,
/// reply, cache.
class PositionAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Geoclue.Position")
    Q_CLASSINFO("D-Bus Introspection",
        "  <interface name=\"org.freedesktop.Geoclue.Position\">\n"
        "    <method name=\"GetPosition\">\n"
        "      <arg direction=\"out\" type=\"i\" name=\"fields\"/>\n"
        "      <arg direction=\"out\" type=\"i\" name=\"timestamp\"/>\n"
        "      <arg direction=\"out\" type=\"d\" name=\"latitude\"/>\n"
        "      <arg direction=\"out\" type=\"d\" name=\"longitude\"/>\n"
        "      <arg direction=\"out\" type=\"d\" name=\"altitude\"/>\n"
        "      <arg direction=\"out\" type=\"(idd)\" name=\"accuracy\"/>\n"
        "      <annotation name=\"org.qtproject.QtDBus.QtTypeName.Out5\" value=\"Accuracy\"/>\n"
        "    </method>\n"
        "    <signal name=\"PositionChanged\">\n"
        "      <arg type=\"i\" name=\"fields\"/>\n"
        "      <arg type=\"i\" name=\"timestamp\"/>\n"
        "      <arg type=\"d\" name=\"latitude\"/>\n"
        "      <arg type=\"d\" name=\"longitude\"/>\n"
        "      <arg type=\"d\" name=\"altitude\"/>\n"
        "      <arg type=\"(idd)\" name=\"accuracy\"/>\n"
        "      <annotation name=\"org.qtproject.QtDBus.QtTypeName.In5\" value=\"Accuracy\"/>\n"
        "    </signal>\n"
        "  </interface>\n")

public:
    explicit PositionAdaptor(QObject *provider);
    ~PositionAdaptor() override;

    /// Begins a cycle; without effect while one runs or as long as there is no API key.
    void startUpdates();
    /// Ends the cycle. A request in flight is still answered and published.
    void stopUpdates();
    /// Whether a cycle has been started and not ended since.
    bool isRunning() const;
    /// Sets the request period in milliseconds, clamped to 1000 to 2147483000; 0 pauses the
    /// requests.
    void setUpdateInterval(quint64 ms);
    /// Emits PositionChanged() with the last position, if there is one.
    void republishPosition();

    /// Takes the key for requests from now on; empty for none.
    void setApiKey(const QString &key);
    QString apiKey() const;
    /// Whether requests are left out when the radio picture has hardly changed.
    void setRequestFilter(bool on);

Q_SIGNALS:
    /// The last position; the arguments are the members of Position.
    void PositionChanged(int fields, int timestamp, double latitude, double longitude,
        double altitude, const Accuracy &accuracy);
    /// True: a request failed and will be repeated. False: a position is available.
    void PositionAcquiring(bool acquiring);
    /// Reserved for clients in the process that follow the cells; not emitted.
    void cellsChanged();

public Q_SLOTS:
    /// Returns the field mask of the last position and fills in the rest; 0 means that there is
    /// none.
    int GetPosition(
        int &timestamp, double &latitude, double &longitude, double &altitude, Accuracy &accuracy);

private Q_SLOTS:
    // Private, because the bus library exports the public slots of an adaptor.
    void sendRequest();
    void updatePosition();
    void replyFinished(int timestamp);

private:
    void sendFirstRequest(qint64 remainingMs);
    void requestTimedOut(QNetworkReply *reply);

    void collectCells();
    void collectWlans();
    bool isRequestDue() const;

    QString parseReply(const QByteArray &body, int timestamp);
    void takeLocation(const QJsonObject &location, int timestamp);

    void writeCache() const;
    void readCache();

    QTimer updateTimer;
    QTimer republishTimer;
    QTimer startDelayTimer;
    std::unique_ptr<PositionAdaptorState> state;
    QHash<int, CellRecord> knownCells;
    QHash<QString, WlanRecord> knownWlans;
    QHash<QString, WlanRecord> lastWlans;
    bool repeatRequest = false;
    bool wlanChange = false;
    bool cellChange = false;
    qint32 retryCount = 3;
    qint32 retriesLeft = 3;
    bool requestFilter = true;
    bool running = false;
    QString cacheFilePath;
    QHash<int, CellRecord> lastCells;
    bool requestsPaused = false;
};
