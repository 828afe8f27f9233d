// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QStringList>

/// An error text as it may be logged: on one line, 1000 characters at most, and with "***" for each
/// part of an API key that has 12 characters or more, or all of a shorter key. The network layer
/// describes an error with the request's URL, and a service may tell back what it was sent: in
/// either case, percent-encoded (more than once, too), as form data, with the escapes of JSON or
/// HTML, or as UTF-8 taken for Latin-1 or windows-1252.
QString loggable(const QString &error, const QStringList &keys);
