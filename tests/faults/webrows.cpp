// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "faultlist.h"
#include "row.h"
#include "waiting.h"

#include <QJsonArray>
#include <QProcess>

using namespace std::chrono_literals;

namespace {

constexpr int manyServices = 10000;
constexpr int manySignals = 20000;
constexpr qint64 mostMemoryKb = 64 << 10; // what the unit file allows

bool isNamed(const PhoneService &service, const char *name)
{
    return qstrcmp(service.name, name) == 0;
}

// Whether a request shows the content of the phone's service; 0 for none.
bool shows(Scene &scene, const PhoneService &service, int content)
{
    if (service.section == nullptr) {
        // Content 2 is a locked phone, which asks for no positions, apart from what was under way.
        const bool locked = content == 2;
        scene.phone.mce.setLockMode(locked ? QStringLiteral("locked") : QStringLiteral("unlocked"));
        const bool shown
            = waitUntil([&] { return scene.seesRequest(2200ms) != locked; }, longDeadline);
        scene.phone.mce.setLockMode(QStringLiteral("unlocked"));
        return shown;
    }
    const auto seen = [&] {
        const QJsonValue section = scene.web.lastRequest().value(QLatin1String(service.section));
        const QJsonValue cell = section[QLatin1String("cellTowers")][0];
        const QString bssid = section[0][QLatin1String("macAddress")].toString();
        return bssid.isEmpty() ? cell[QLatin1String("cellID")].toInt() : bssid.right(1).toInt();
    };
    return scene.seesRequest() && waitUntil([&] { return seen() == content; }, longDeadline);
}

void failService(Scene &scene, const PhoneService &service, const PlatformFault &fault)
{
    SimulatedService &simulated = service.of(scene.phone);
    const QString method = QString::fromLatin1(service.method);
    const bool early = !fault.leaves || fault.what == platformFaults().first().what;
    if (!early)
        QVERIFY(scene.begin());
    fault.inject(simulated, method);
    if (early)
        QVERIFY(scene.begin());
    if (fault.log != nullptr)
        QVERIFY(scene.seesLog(QString::fromLatin1(fault.log)));
    QVERIFY(shows(scene, service, 0));
    scene.note(service.section == nullptr
            ? QStringLiteral("counts as unlocked")
            : QStringLiteral("its section of the request is missing"));
    QVERIFY(scene.daemon.logCount(QStringLiteral("Ignoring")) <= 1);

    simulated.stop();
    scene.setCells(2);
    scene.setWlans(2);
    scene.heal();
    QVERIFY(shows(scene, service, 2));
    scene.note(QStringLiteral("once the service is well, what it says counts"));
}

void floodFromService(Scene &scene, const PhoneService &service)
{
    QVERIFY(scene.begin());
    QVERIFY(scene.seesPosition());
    const auto strength = [](int i) {
        return QVariant::fromValue(QDBusVariant(QVariant::fromValue(static_cast<uchar>(i % 100))));
    };
    for (int i = 0; i < manySignals; ++i) {
        const QVariantList change{QStringLiteral("Strength"), strength(i)};
        const QString propertyChanged = QStringLiteral("PropertyChanged");
        if (service.section == nullptr)
            scene.phone.mce.setLockMode(
                i % 2 == 0 ? QStringLiteral("locked") : QStringLiteral("unlocked"));
        else if (isNamed(service, "ConnMan"))
            scene.phone.connMan.emitSignal(QStringLiteral("/net/connman/service/wifi_1"),
                QStringLiteral("net.connman.Service"), propertyChanged, change);
        else
            scene.phone.ofono.emitSignal(QStringLiteral("/modem"),
                QStringLiteral("org.ofono.NetworkRegistration"), propertyChanged, change);
    }
    QElapsedTimer sinceSent;
    sinceSent.start();
    QVERIFY(scene.seesAnswer());
    scene.note(
        QStringLiteral("a call made right after it is answered in %1 ms").arg(sinceSent.elapsed()));
}

void listManyServices(Scene &scene)
{
    QVERIFY(scene.begin());
    SimulatedObjects services;
    for (int i = 0; i < manyServices; ++i) {
        services.append(SimulatedConnMan::wlan(
            QStringLiteral("/net/connman/service/wifi_%1").arg(i),
            QStringLiteral("02:00:00:00:%1:%2").arg(i / 100, 2, 10, QLatin1Char('0')).arg(i % 100),
            60));
    }
    scene.phone.connMan.setServices(services);
    const auto listed = [&] {
        return scene.web.lastRequest().value(QLatin1String("wifiAccessPoints")).toArray().size();
    };
    QVERIFY(waitUntil([&] { return listed() == manyServices; }, longDeadline));
    scene.note(QStringLiteral("a request with all of them"));
    QVERIFY(scene.seesPosition());
}

void lie(Scene &scene, const WebFault &fault)
{
    scene.web.answer(fault.reply);
    QVERIFY(scene.begin());
    if (fault.log != nullptr) {
        QVERIFY(scene.seesLog(QString::fromLatin1(fault.log)));
    } else {
        const auto atZero = [&] {
            const ReportedPosition now = scene.client.position();
            return now.level == 4 && now.fields == 0 && now.latitude == 0 && now.longitude == 0;
        };
        QVERIFY(waitUntil(atZero, longDeadline));
        scene.note(QStringLiteral("no position is published; GetPosition has the mask 0"));
    }
    for (const QByteArray &line : scene.web.requestLines())
        QVERIFY(line.startsWith("POST /v2/geolocation?key="));
    QVERIFY(scene.client.signalsNamed(QStringLiteral("PositionChanged")).isEmpty());
    scene.heal();
    scene.note(QStringLiteral("VmHWM %1 kB").arg(scene.memoryKb("VmHWM")));
}

// Nothing stops the network layer from unpacking a compressed body, but it must not be kept.
void sendMuch(Scene &scene, bool compressed)
{
    constexpr int qtSizePrefix = 4; // what qCompress() puts in front of zlib's format
    const QByteArray body = compressed ? qCompress(hugeBody()).mid(qtSizePrefix) : hugeBody();
    lie(scene,
        {"", withStatus("200 OK", body, compressed ? "Content-Encoding: deflate\r\n" : ""),
            "Operation canceled"});
    QVERIFY(compressed || scene.memoryKb("VmHWM") < mostMemoryKb);
}

void refuse(Scene &scene)
{
    scene.web.refuse();
    QVERIFY(scene.begin());
    QVERIFY(scene.seesLog(QStringLiteral("Connection refused")));
    scene.heal();
}

void leaveGlobe(Scene &scene)
{
    scene.web.answer(withStatus("200 OK", R"({"location":{"latitude":1e300,"longitude":-5000}})"));
    QVERIFY(scene.begin());
    QVERIFY(scene.client.waitForSignal(QStringLiteral("PositionChanged")));
    const ReportedPosition now = scene.client.position();
    QCOMPARE(now.latitude, 1e300);
    QCOMPARE(now.longitude, -5000.0);
    scene.note(QStringLiteral("published as the service says"));
    scene.heal();
}

void hideHost(Scene &scene)
{
    QMap<QString, QString> options = scene.settings();
    options[QStringLiteral("link")] = QStringLiteral("http://nowhere.invalid/?key=");
    QVERIFY(scene.begin(options));
    QVERIFY(scene.seesLog(QStringLiteral("Error string is not empty")));
    scene.note(scene.daemon.log().last());
}

// Certificates from an authority of our own, below the directory: NAME.pem and NAME.key.
bool makeCertificates(const QString &directory)
{
    QProcess shell;
    shell.setWorkingDirectory(directory);
    shell.start(QStringLiteral("sh"), {QStringLiteral("-ec"), QStringLiteral(R"(
            new="openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
            mkdir store
            $new -x509 -subj /CN=authority -keyout authority.key -out store/authority.pem
            openssl rehash store
            $new -x509 -subj /CN=self -addext subjectAltName=IP:127.0.0.1 -keyout self.key -out self.pem
            issue() {
                $new -subj /CN=$1 -addext subjectAltName=$2 -keyout $1.key -out $1.csr
                openssl x509 -req -in $1.csr -copy_extensions copyall -days $3 \
                    -CA store/authority.pem -CAkey authority.key -CAcreateserial -out $1.pem
            }
            issue good IP:127.0.0.1 2
            issue elsewhere DNS:elsewhere.example 2
            issue expired IP:127.0.0.1 -1
            # But for the one thing that is wrong with each they are good.
            openssl verify -CAfile store/authority.pem -no_check_time good.pem elsewhere.pem expired.pem
        )")});
    return shell.waitForFinished() && shell.exitCode() == 0;
}

void present(Scene &scene, const QString &certificate)
{
    const QTemporaryDir directory;
    QVERIFY(makeCertificates(directory.path()));
    if (!scene.mountBefore(QStringLiteral("mount --bind %1 /etc/ssl/certs")
                               .arg(directory.filePath(QStringLiteral("store")))))
        return;
    const QString stem = directory.filePath(certificate);
    scene.web.encrypt(stem + QStringLiteral(".pem"), stem + QStringLiteral(".key"));
    QVERIFY(scene.begin());
    if (certificate == QLatin1String("good")) {
        QVERIFY(scene.seesPosition());
        return;
    }
    QVERIFY(scene.seesLog(QStringLiteral("SSL handshake failed")));
    QVERIFY(scene.web.requests().isEmpty());
    scene.note(QStringLiteral("no byte of a request is sent"));
}

} // namespace

QVector<Row> platformRows()
{
    QVector<Row> rows;
    for (const PhoneService &service : phoneServices()) {
        const QString name = QString::fromLatin1(service.name);
        for (const PlatformFault &fault : platformFaults()) {
            rows.append({name % QLatin1Char(' ') % QString::fromLatin1(fault.what),
                [=](Scene &scene) { failService(scene, service, fault); }});
        }
        rows.append({name % QStringLiteral(" tells of 20 000 changes at once"),
            [=](Scene &scene) { floodFromService(scene, service); }});
    }
    rows.append({QStringLiteral("ConnMan lists 10 000 services"), listManyServices});
    return rows;
}

QVector<Row> webRows()
{
    QVector<Row> rows{{QStringLiteral("refuses the connection"), refuse},
        {QStringLiteral("coordinates outside the globe"), leaveGlobe},
        {QStringLiteral("has a name that nobody knows"), hideHost, Row::Speed::Quick,
            Row::After::Answers}};
    for (const WebFault &fault : webFaults())
        rows.append({QString::fromLatin1(fault.what), [=](Scene &scene) { lie(scene, fault); }});
    for (const WebFault &fault : hangingWebFaults())
        rows.append({QString::fromLatin1(fault.what), [=](Scene &scene) { lie(scene, fault); },
            Row::Speed::Slow});
    rows.append({QStringLiteral("a body of 64 MiB"), [](Scene &scene) { sendMuch(scene, false); },
        Row::Speed::Slow});
    rows.append({QStringLiteral("a body of 64 MiB, compressed to 64 KiB"),
        [](Scene &scene) { sendMuch(scene, true); }, Row::Speed::Slow});
    const QVector<QPair<QString, QString>> certificates{
        {QStringLiteral("good"),
            QStringLiteral("a good one of an authority that the system trusts")},
        {QStringLiteral("self"), QStringLiteral("a self-signed one")},
        {QStringLiteral("expired"), QStringLiteral("an expired one")},
        {QStringLiteral("elsewhere"), QStringLiteral("one for another host")}};
    for (const auto &each : certificates) {
        rows.append({QStringLiteral("TLS, its certificate is ") % each.second,
            [=](Scene &scene) { present(scene, each.first); }, Row::Speed::Quick,
            each.first == QLatin1String("good") ? Row::After::Positions : Row::After::Answers});
    }
    return rows;
}
