// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "fixture.h"

#include <QFile>
#include <QTest>

#include <unistd.h>

// An authority of our own with its certificates, of which each but "good" has one thing wrong.
const QString makeCertificates = R"(
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
    openssl verify -CAfile store/authority.pem good.pem elsewhere.pem
    openssl verify -CAfile store/authority.pem -no_check_time expired.pem
)";

class Tls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void certificates();

private:
    void present(Fixture &fixture, const QString &name) const;

    const ScratchDirectory m_directory;
    QStringList m_trusting; // runs a command that trusts our authority and nobody else
};

void Tls::initTestCase()
{
    QProcess shell;
    shell.setWorkingDirectory(m_directory.path());
    shell.start("sh", {"-ec", makeCertificates});
    QVERIFY(shell.waitForFinished());
    QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());

    m_trusting = QStringList{"unshare", "--mount"};
    if (::geteuid() != 0)
        m_trusting += {"--map-current-user", "--keep-caps"};
    const QString script
        = QString("mount --bind %1/store /etc/ssl/certs; exec \"$0\"").arg(m_directory.path());
    m_trusting += {"sh", "-ec", script};
    if (QProcess::execute(m_trusting.first(), m_trusting.mid(1) << "true") != 0)
        QSKIP("The trusted certificates cannot be replaced: mounting is not allowed here");
}

void Tls::present(Fixture &fixture, const QString &name) const
{
    QFile certificate(m_directory.filePath(name + ".pem"));
    QFile key(m_directory.filePath(name + ".key"));
    QVERIFY(certificate.open(QIODevice::ReadOnly) && key.open(QIODevice::ReadOnly));
    fixture.service.encrypt(QSslCertificate(&certificate), QSslKey(&key, QSsl::Ec));
}

// With a bad one no byte of a request is sent; a good one mends it.
void Tls::certificates()
{
    for (const char *name : {"self", "expired", "elsewhere"}) {
        Fixture fixture;
        fixture.daemon.setWrapper(m_trusting);
        present(fixture, name);
        QVERIFY(fixture.begin());
        QVERIFY2(fixture.daemon.waitForLog("SSL handshake failed", longDeadline), name);
        QVERIFY(fixture.service.requests().isEmpty());
        present(fixture, "good");
        QVERIFY2(fixture.seesPosition(), name);
    }
}

QTEST_GUILESS_MAIN(Tls)

#include "tls.moc"
