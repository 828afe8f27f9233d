// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "dbus/position.h"

#include <QByteArray>

/// Of the cache file, in bytes.
constexpr int cacheSize = 52;

/// The position as the cache file holds it: big-endian, in the order of the members.
QByteArray cacheContent(const Position &position);
/// Members for which there are no bytes left are 0.
Position cachedPosition(const QByteArray &content);
