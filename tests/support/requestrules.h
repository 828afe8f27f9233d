// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "webservice.h"

/// What the web service's protocol forbids and these requests do all the same, in words; empty for
/// sound requests.
QStringList violations(const QVector<RecordedRequest> &requests);
