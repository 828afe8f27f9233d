// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// Round trips over the bus, as a client waits for them: calls of the daemon beside those of the
// floor and a property of the desktop's service; and the settings class writing a file like the
// daemon's.

#include "client.h"
#include "program.h"

#include <QCoreApplication>
#include <QSettings>

#include <benchmark/benchmark.h>
#include <functional>
#include <memory>
#include <vector>

namespace {

using MakeCall = std::function<QDBusMessage()>;

void add(const QByteArray &name, Run &run, const MakeCall &makeCall)
{
    benchmark::RegisterBenchmark(name, [&run, makeCall](benchmark::State &state) {
        for ([[maybe_unused]] auto _ : state) {
            const QDBusMessage reply = run.client().call(makeCall());
            if (reply.type() != QDBusMessage::ReplyMessage) {
                state.SkipWithError(qPrintable(reply.errorMessage()));
                break;
            }
        }
    })->UseRealTime();
}

void settingsClass(benchmark::State &state)
{
    const ScratchDirectory directory;
    int seconds = 60;
    for ([[maybe_unused]] auto _ : state) {
        QSettings settings(directory.filePath("file"), QSettings::IniFormat);
        settings.setValue("settings/update_interval", QString::number(++seconds));
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    Run floor(floorProgram());
    Run daemon(daemonProgram());
    daemon.client().call(Client::makeCall("AddReference"));
    for (const char *method : {"Nothing", "GetPosition"})
        add(QByteArray("floor: ") + method, floor, [method] {
            return QDBusMessage::createMethodCall(
                floorProgram().busName, "/", "org.ondravexa.Floor", method);
        });
    for (const char *method : {"GetStatus", "GetPosition"})
        add(QByteArray("daemon: ") + method, daemon, [method] { return Client::makeCall(method); });
    // Each call brings a new value, so that the file is written.
    add("daemon: SetOptions", daemon, [seconds = 60]() mutable {
        const QVariantMap options{{"update_interval", QString::number(++seconds)}};
        return Client::makeCall("SetOptions", {options});
    });
    std::vector<std::unique_ptr<Run>> desktop;
    for (const Program &program : desktopPrograms()) {
        desktop.push_back(std::make_unique<Run>(program));
        add("desktop's service: InUse", *desktop.back(), [program] {
            return QDBusMessage::createMethodCall(program.busName,
                       "/org/freedesktop/GeoClue2/Manager", "org.freedesktop.DBus.Properties",
                       "Get")
                << "org.freedesktop.GeoClue2.Manager"
                << "InUse";
        });
    }
    benchmark::RegisterBenchmark("settings class, one value", settingsClass)->UseRealTime();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
