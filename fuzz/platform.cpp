// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// What the phone's services say. An input is a list of lines, each a list of words:
//     modem|service NAME DICTIONARY    an object in the answer to GetModems or GetServices
//     cell DICTIONARY                  the serving cell; each further one is a neighbour
//     wrong METHOD TYPE VALUE          what a method answers instead
//     error METHOD NAME                which error it answers instead
//     restart                          the services leave the bus and come back
//     said INTERFACE SIGNAL NAME DICTIONARY
//                                      a signal of the object
// Values cross the bus library as a message, in the form that they have on the wire.

#include "fuzzing.h"
#include "positioning/positionadaptor.h"
#include "privatemember.h"
#include "simulatedtypes.h"

#include <networkmanager.h>
#include <networkservice.h>
#include <qmcetklock.h>
#include <qofonoextcellwatcher.h>
#include <systemservice.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

REVEAL(State, &PositionAdaptor::state);
REVEAL(CollectCells, &PositionAdaptor::collectCells);
REVEAL(CollectWlans, &PositionAdaptor::collectWlans);

namespace {

using Words = QList<QByteArray>;

QDBusObjectPath path(const QByteArray &name)
{
    return QDBusObjectPath(QString::fromLatin1("/x" + name.toHex()));
}

// The services, at the other end of a connection that is this process's own.
class Phone : public QDBusVirtualObject
{
public:
    explicit Phone(PositionAdaptorState &state)
        : m_connman(state.networkManager->findChild<SystemService *>()),
          m_ofono(state.cellWatcher->findChild<SystemService *>()),
          m_mce(lock.findChild<SystemService *>())
    {
        registerSimulatedTypes();
        bus.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
    }

    void act(const Words &words);
    void setOwner(const QString &owner);
    void forget();

    QDBusConnection bus = QDBusConnection::systemBus();
    QMceTkLock lock;

protected:
    QString introspect(const QString & /*path*/) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

private:
    void say(const QString &interface, const QString &signal, const Words &words);
    QVariant answer(const QString &method) const;

    SystemService *m_connman;
    SystemService *m_ofono;
    SystemService *m_mce;
    SystemService *m_listener = nullptr;
    SimulatedObjects m_modems;
    SimulatedObjects m_networks;
    SimulatedRecords m_cells;
    QVariantMap m_wrongAnswers;
    QHash<QString, QString> m_errors;
};

void Phone::act(const Words &words)
{
    const QByteArray &what = words.first();
    const QString name = QString::fromUtf8(words.value(1));
    if (what == "modem")
        m_modems.append({path(words.value(1)), busDictionary(words.mid(2))});
    else if (what == "service")
        m_networks.append({path(words.value(1)), busDictionary(words.mid(2))});
    else if (what == "cell")
        m_cells.append({busDictionary(words.mid(1))});
    else if (what == "wrong")
        m_wrongAnswers.insert(name, busDictionary(words.mid(1)).value(name));
    else if (what == "error")
        m_errors.insert(name, QString::fromUtf8("org.ofono.Error." + words.value(2)));
    else if (what == "restart")
        setOwner({});
    else if (what == "said")
        say(name, QString::fromUtf8(words.value(2)), words.mid(3));
    setOwner(bus.baseService());
    processEvents();
}

void Phone::forget()
{
    m_modems.clear();
    m_networks.clear();
    m_cells.clear();
    m_wrongAnswers.clear();
    m_errors.clear();
}

void Phone::setOwner(const QString &owner)
{
    const QDBusMessage reply = QDBusMessage().createReply(owner);
    for (SystemService *service : {m_connman, m_ofono, m_mce})
        QMetaObject::invokeMethod(service, "takeOwner", Q_ARG(QDBusMessage, reply));
}

// A call to this process's own name differs from a signal in nothing that counts.
void Phone::say(const QString &interface, const QString &signal, const Words &words)
{
    const bool isManager = interface.endsWith(QLatin1String("Manager"));
    const QDBusObjectPath object = path(words.value(0));
    const QVariantMap properties = busDictionary(words.mid(1));
    QDBusMessage message = QDBusMessage::createMethodCall(
        bus.baseService(), isManager ? QStringLiteral("/") : object.path(), interface, signal);
    if (signal == QLatin1String("ServicesChanged"))
        message << QVariant::fromValue(m_networks) << QVariant::fromValue(QList<QDBusObjectPath>());
    else if (signal == QLatin1String("ModemAdded"))
        message << QVariant::fromValue(object) << properties;
    else if (isManager)
        message << QVariant::fromValue(object);
    else if (properties.isEmpty())
        message << QString::fromUtf8(words.value(0));
    else
        message << properties.firstKey() << QVariant::fromValue(QDBusVariant(properties.first()));
    m_listener = interface.startsWith(QLatin1String("net.connman")) ? m_connman
        : interface.startsWith(QLatin1String("org.ofono"))          ? m_ofono
                                                                    : m_mce;
    bus.call(message);
    m_listener = nullptr;
}

bool Phone::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (m_listener) {
        SystemService *listener = std::exchange(m_listener, nullptr);
        QMetaObject::invokeMethod(listener, "relay", Q_ARG(QDBusMessage, message));
    }
    const QString error = m_errors.value(message.member());
    return connection.send(error.isEmpty() ? message.createReply(answer(message.member()))
                                           : message.createErrorReply(error, QString()));
}

QVariant Phone::answer(const QString &method) const
{
    if (m_wrongAnswers.contains(method))
        return m_wrongAnswers.value(method);
    if (method == QLatin1String("GetModems"))
        return QVariant::fromValue(m_modems);
    if (method == QLatin1String("GetServices"))
        return QVariant::fromValue(m_networks);
    if (method == QLatin1String("GetServingCellInformation"))
        return m_cells.value(0).members;
    if (method == QLatin1String("GetNeighbouringCellInformation"))
        return QVariant::fromValue(m_cells.mid(1));
    return QStringLiteral("locked");
}

void requireSound(const QVariantMap &document)
{
    const QJsonDocument json = QJsonDocument::fromVariant(document);
    require(json.isObject() && QJsonDocument::fromJson(json.toJson()) == json,
        "the document is what the web service reads");
    const QJsonArray towers
        = json[QStringLiteral("mobileNetwork")][QStringLiteral("cellTowers")].toArray();
    for (const QJsonValue &tower : towers) {
        require(tower[QStringLiteral("cellID")].toInt(-1) >= 0
                && tower[QStringLiteral("locationAreaCode")].toInt(-1) >= 0
                && tower[QStringLiteral("ageMs")].toInt() >= 1,
            "a tower has an identity, an area and an age");
    }
    const QJsonArray accessPoints = json[QStringLiteral("wifiAccessPoints")].toArray();
    for (const QJsonValue &accessPoint : accessPoints) {
        const int signal = accessPoint[QStringLiteral("signalStrengthDBm")].toInt();
        require(!accessPoint[QStringLiteral("macAddress")].toString().isEmpty() && signal < 0
                && signal >= -255 && accessPoint[QStringLiteral("ageMs")].toInt() >= 1,
            "an access point has an address, a signal and an age");
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    prepareProcess();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QObject provider;
    static PositionAdaptor &adaptor = *new PositionAdaptor(&provider);
    static PositionAdaptorState &state = *(adaptor.*member(State()));
    static Phone phone(state);
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<int>(size));
    phone.forget();
    for (const QByteArray &line : input.split('\n'))
        phone.act(line.split(' '));

    (adaptor.*member(CollectCells()))();
    (adaptor.*member(CollectWlans()))();
    requireSound(state.requestDocument);

    phone.setOwner({});
    require(state.cellWatcher->cells().isEmpty()
            && state.networkManager->getAvailableServices(QStringLiteral("wifi")).isEmpty()
            && !phone.lock.locked(),
        "what a service said is forgotten when it leaves");
    processEvents();
    return 0;
}
