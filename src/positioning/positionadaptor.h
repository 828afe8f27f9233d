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
/// and the answer is published. The sources follow the cycle: schedule, request (with its
/// time-out), cells, wlans, reply, cache.
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
    /// requests, while the last position goes on being republished.
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
    /// True: a request failed and will be repeated. False: a reply brought a position, whose
    /// longitude may be 0, which counts as absent. Not in the introspection data.
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
    /// Puts the radio picture to the web service, unless the filter holds it back.
    void sendRequest();
    /// The same as republishPosition(), for the timer.
    void updatePosition();
    /// Takes a finished reply, the sender. The timestamp is that of its request, in seconds.
    void replyFinished(int timestamp);

private:
    /// Marks a reply that was aborted for its time-out, which refills no retries.
    static constexpr char timedOutProperty[] = "timedOut";

    void sendFirstRequest(qint64 remainingMs);
    void requestTimedOut(QNetworkReply *reply);

    void collectCells();
    void collectWlans();
    bool isRequestDue() const;

    /// Returns why there is no position in the body. Empty, though there is none, when the service
    /// does not say why: it knows no position, and to repeat the request would not help.
    QString parseReply(const QByteArray &body, int timestamp);
    void takeLocation(const QJsonObject &location, int timestamp);

    void writeCache() const;
    void readCache();

    /// Sends the periodic requests.
    QTimer updateTimer;
    /// Publishes the last position again.
    QTimer republishTimer;
    /// Sends the first request of a cycle.
    QTimer startDelayTimer;

    std::unique_ptr<PositionAdaptorState> state;

    /// By cell ID and by BSSID: what is in view, and what was in the collection before.
    QHash<int, CellRecord> knownCells;
    QHash<QString, WlanRecord> knownWlans;
    QHash<QString, WlanRecord> lastWlans;

    /// The last reply failed: the filter lets the next request through.
    bool repeatRequest = false;
    /// What the filter lets through: the last collection differs from the one before.
    bool wlanChange = false;
    bool cellChange = false;

    /// Requests that are repeated at once after a time-out, until a reply comes in time; all
    /// requests in flight share them.
    qint32 retryCount = 3;
    qint32 retriesLeft = 3;

    bool requestFilter = true;
    /// Between startUpdates() and stopUpdates().
    bool running = false;
    QString cacheFilePath;

    QHash<int, CellRecord> lastCells;
    /// The update interval is 0.
    bool requestsPaused = false;
};
