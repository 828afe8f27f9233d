// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "terminationsignals.h"

#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

// A signal that the caller has switched off, as nohup does, stays off.
bool isIgnored(int number)
{
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

TerminationSignals::TerminationSignals(QObject *parent) : QObject(parent)
{
    sigset_t mask = {};
    sigemptyset(&mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        if (!isIgnored(number))
            sigaddset(&mask, number);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    m_signalFile = signalfd(-1, &mask, SFD_CLOEXEC | SFD_NONBLOCK);
    auto *notifier = new QSocketNotifier(m_signalFile, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { readSignal(); });

    std::signal(SIGPIPE, SIG_IGN);
    auto *output = new QSocketNotifier(STDOUT_FILENO, QSocketNotifier::Exception, this);
    connect(output, &QSocketNotifier::activated, this, [this, output] {
        output->setEnabled(false);
        Q_EMIT received(SIGPIPE);
    });
}

TerminationSignals::~TerminationSignals()
{
    close(m_signalFile);
}

void TerminationSignals::readSignal()
{
    signalfd_siginfo info = {};
    if (read(m_signalFile, &info, sizeof info) == sizeof info)
        Q_EMIT received(static_cast<int>(info.ssi_signo));
}
