// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "failure.h"
#include "output.h"
#include "provider.h"
#include "secret.h"
#include "settings.h"
#include "status.h"
#include "terminationsignals.h"
#include "watch.h"
#include "where.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace {

// One request and two of the provider's retries fit in.
constexpr int defaultTimeoutSeconds = 30;
constexpr int maximumTimeoutSeconds = 24 * 60 * 60;

QString description()
{
    return QStringLiteral(R"(Client of the OndraVexa network location provider.

Commands:
  where              Print one position, then end.
  watch              Print a line for each change until Ctrl-C.
  status             Print status, name, description and last known position.
  options            Print the settings, the API key masked.
  set KEY=VALUE...   Change settings; a new API key is checked before it is stored.
  set apikey         Ask for the API key at the terminal, without echo, or read it
                     from standard input, so that nobody else can see it.

Settings: apikey, update_interval, background_update_interval, keep_requests,
enable_request_filter.

With --json, standard output is one object to a line:
  where, position    latitude (degrees), longitude (degrees), accuracy (m), each if
                     known; timestamp (seconds since the epoch), age (seconds)
  watch              event: "position" with the members above and republished,
                     "status" with status, "options" with options,
                     "provider" with present
  status             status, name, description, position (or null)
  options            the settings, all of them texts, the API key in full
  set                stored (the keys)

Exit status: 0 success (for watch also Ctrl-C), 1 failure or no position in time,
2 usage error, 3 provider not reachable, 4 access denied, 5 API key refused,
6 API key could not be checked, 128 + N ended by signal N.)");
}

struct Invocation
{
    QString command;
    QStringList assignments;
    int timeoutSeconds = defaultTimeoutSeconds;
    bool json = false;
    QString error; // what is wrong with the command line; empty when nothing is
};

QString commandError(const Invocation &invocation)
{
    const QStringList commands{QStringLiteral("where"), QStringLiteral("watch"),
        QStringLiteral("status"), QStringLiteral("options"), QStringLiteral("set")};
    if (!commands.contains(invocation.command)) {
        return QStringLiteral("The command is one of ") % commands.join(QStringLiteral(", "))
            % QStringLiteral("; --help says more.");
    }
    const bool isSet = invocation.command == QLatin1String("set");
    if (isSet && invocation.assignments.isEmpty())
        return QStringLiteral("set needs apikey or at least one KEY=VALUE.");
    if (!isSet && !invocation.assignments.isEmpty())
        return invocation.command % QStringLiteral(" takes no arguments.");
    return {};
}

QString timeoutError(const Invocation &invocation)
{
    if (invocation.command != QLatin1String("where"))
        return QStringLiteral("--timeout belongs to where.");
    if (invocation.timeoutSeconds < 1 || invocation.timeoutSeconds > maximumTimeoutSeconds)
        return QStringLiteral("The time-out is whole seconds, 1 to %1.").arg(maximumTimeoutSeconds);
    return {};
}

Invocation parseCommandLine()
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption json(
        QStringLiteral("json"), QStringLiteral("Print JSON for scripts; see above."));
    const QCommandLineOption timeout(QStringLiteral("timeout"),
        QStringLiteral("How long where waits, %1 by default.").arg(defaultTimeoutSeconds),
        QStringLiteral("SECONDS"));
    parser.addOptions({json, timeout});
    parser.addPositionalArgument(
        QStringLiteral("command"), QStringLiteral("One of the commands above."));
    parser.addPositionalArgument(
        QStringLiteral("settings"), QStringLiteral("For set."), QStringLiteral("[KEY=VALUE...]"));

    Invocation invocation;
    if (!parser.parse(QCoreApplication::arguments())) {
        invocation.error = parser.errorText();
        return invocation;
    }
    if (parser.isSet(QStringLiteral("help")))
        parser.showHelp();
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
    invocation.assignments = parser.positionalArguments();
    if (!invocation.assignments.isEmpty())
        invocation.command = invocation.assignments.takeFirst();
    invocation.json = parser.isSet(json);
    invocation.error = commandError(invocation);
    if (invocation.error.isEmpty() && parser.isSet(timeout)) {
        invocation.timeoutSeconds = parser.value(timeout).toInt();
        invocation.error = timeoutError(invocation);
    }
    return invocation;
}

// Runs where or watch, which hold a reference meanwhile: it is given back on every way out.
int follow(const Invocation &invocation)
{
    const bool isWatch = invocation.command == QLatin1String("watch");
    const TerminationSignals terminationSignals;
    QObject::connect(&terminationSignals, &TerminationSignals::received, [isWatch](int number) {
        const bool isOrdinaryEnd = isWatch && number != SIGPIPE;
        QCoreApplication::exit(isOrdinaryEnd ? int{Success} : SignalBase + number);
    });
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return reportFailure(QDBusError(QDBusError::Disconnected, bus.lastError().message()));
    Provider provider;
    if (isWatch)
        new Watch(&provider, invocation.json, &provider);
    else
        new Where(&provider, invocation.timeoutSeconds, invocation.json, &provider);
    return QCoreApplication::exec();
}

int run(const Invocation &invocation)
{
    if (invocation.command == QLatin1String("status"))
        return printStatus(invocation.json);
    if (invocation.command == QLatin1String("options"))
        return printSettings(invocation.json);
    if (invocation.command == QLatin1String("set"))
        return changeSettings(invocation.assignments, invocation.json);
    return follow(invocation);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ondravexactl"));
    QCoreApplication::setApplicationVersion(QStringLiteral(ONDRAVEXA_VERSION));
    const Invocation invocation = parseCommandLine();
    // Before anybody is called: the bus daemon logs the command line of whom it refuses.
    hideArguments(argv, "apikey=");
    if (!invocation.error.isEmpty()) {
        printError(invocation.error);
        return UsageError;
    }
    const int exitStatus = run(invocation);
    return std::ferror(stdout) != 0 && exitStatus == Success ? int{Failure} : exitStatus;
}
