// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "demo.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSaveFile>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::array<int, 2> signalPipe{-1, -1};

void reportSignal(int)
{
    const char byte = 0;
    const ssize_t written = ::write(signalPipe.back(), &byte, sizeof byte);
    static_cast<void>(written);
}

// Makes Ctrl-C and a polite request to end leave the event loop, so that everything is cleared
// away.
void quitOnSignals(QCoreApplication &application)
{
    if (::pipe2(signalPipe.data(), O_CLOEXEC) != 0)
        qFatal("No pipe for signals");
    auto *notifier = new QSocketNotifier(signalPipe.front(), QSocketNotifier::Read, &application);
    QObject::connect(
        notifier, &QSocketNotifier::activated, &application, [] { QCoreApplication::quit(); });
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, reportSignal);
}

bool save(const QByteArray &drawing, const QString &path)
{
    QSaveFile file(path);
    const bool saved
        = file.open(QIODevice::WriteOnly) && file.write(drawing) == drawing.size() && file.commit();
    if (!saved)
        qWarning("%s: %s", qUtf8Printable(path), qUtf8Printable(file.errorString()));
    return saved;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    options.setApplicationDescription(
        "Walks through a simulated town for about a minute and shows the positions "
        "that the daemon\n"
        "publishes on the way. Needs no phone, no network and no root.");
    options.addHelpOption();
    const QCommandLineOption forever("forever", "Walk on until Ctrl-C.");
    const QCommandLineOption svg("svg", "Draw the walk into <file>.", "file");
    options.addOptions({forever, svg});
    options.process(application);
    quitOnSignals(application);

    Demo demo;
    if (!options.isSet(forever))
        QObject::connect(&demo, &Demo::roundDone, &application, &QCoreApplication::quit);
    if (!demo.start())
        return EXIT_FAILURE;
    const bool walked = QCoreApplication::exec() == EXIT_SUCCESS;
    const bool found = demo.sumUp();
    const bool drawn = !options.isSet(svg) || save(demo.drawing(), options.value(svg));
    return walked && found && drawn ? EXIT_SUCCESS : EXIT_FAILURE;
}
