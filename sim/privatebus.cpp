// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "privatebus.h"

#include <QFile>

namespace {

constexpr int startDeadlineMs = 10000;

const QLatin1String configuration(
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>custom</type>
  <listen>%1</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <limit name="max_connections_per_user">2000</limit>
</busconfig>
)");

} // namespace

PrivateBus::PrivateBus()
{
    QFile file(m_directory.filePath("bus.conf"));
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QString(configuration).arg(address()).toUtf8());
        file.close();
        start();
    }
}

PrivateBus::~PrivateBus()
{
    kill();
}

QString PrivateBus::address() const
{
    return "unix:path=" % m_directory.filePath("bus");
}

bool PrivateBus::start()
{
    QFile::remove(m_directory.filePath("bus"));
    m_daemon.start("dbus-daemon",
        {"--nofork", "--nopidfile", "--print-address",
            "--config-file=" % m_directory.filePath("bus.conf")});
    // The address is printed once the daemon listens.
    const bool listening
        = m_daemon.waitForStarted(startDeadlineMs) && m_daemon.waitForReadyRead(startDeadlineMs);
    if (!listening) {
        qWarning("No private bus: %s %s", qUtf8Printable(m_daemon.errorString()),
            m_daemon.readAllStandardError().constData());
    }
    return listening;
}

void PrivateBus::kill()
{
    m_daemon.kill();
    m_daemon.waitForFinished();
}
