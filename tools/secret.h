// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

/// A line that nobody else sees: typed at the terminal without echo, after the prompt, or the first
/// line of whatever else standard input is. Empty when there is none.
QString readSecret(const QString &prompt);

/// Makes the values of arguments that begin with the prefix unreadable for those who look at the
/// process.
void hideArguments(char *arguments[], const char *prefix);
