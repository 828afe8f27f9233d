// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "provider/ondravexa.h"

#include <QCoreApplication>

#include <memory>

#ifdef __GLIBC__
#include <malloc.h>
#endif

int main(int argc, char *argv[])
{
    // For platform libraries that look for the user's session: who starts a system service gives it
    // no address of one.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/run/user/100000/dbus/user_bus_socket");

#ifdef __GLIBC__
    // One heap for all threads: the end of another thread's own, where large replies are received,
    // could not be given back.
    mallopt(M_ARENA_MAX, 1);
#endif

    QCoreApplication application(argc, argv);
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // No plugin is needed. Those for bearer management, loaded with a network access manager, would
    // call the connection manager and wait for it, poll the interfaces and second-guess whether
    // there is a network. Qt 6 has none of them, and its TLS is a plugin.
    QCoreApplication::setLibraryPaths({});
#endif

    const auto provider = std::make_unique<OndraVexa>();
    return QCoreApplication::exec();
}
