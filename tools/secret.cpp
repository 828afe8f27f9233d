// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "secret.h"

#include <QTextStream>

#include <csignal>
#include <cstring>
#include <termios.h>
#include <unistd.h>

namespace {

termios formerTerminal = {};

void restoreTerminal()
{
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &formerTerminal);
}

// The shell that takes over shall find the terminal as it was.
void endBySignal(int number)
{
    restoreTerminal();
    std::raise(number);
}

void switchEchoOff()
{
    struct sigaction action = {};
    action.sa_handler = endBySignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
        sigaction(number, &action, nullptr);

    termios silentTerminal = formerTerminal;
    silentTerminal.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silentTerminal);
}

} // namespace

QString readSecret(const QString &prompt)
{
    QTextStream input(stdin);
    if (tcgetattr(STDIN_FILENO, &formerTerminal) != 0)
        return input.readLine();

    QTextStream screen(stderr);
    screen << prompt;
    screen.flush();
    switchEchoOff();
    QString secret = input.readLine();
    restoreTerminal();
    screen << '\n';
    return secret;
}

void hideArguments(char *arguments[], const char *prefix)
{
    const size_t length = std::strlen(prefix);
    for (; *arguments != nullptr; ++arguments) {
        if (std::strncmp(*arguments, prefix, length) == 0)
            std::memset(*arguments + length, '*', std::strlen(*arguments + length));
    }
}
