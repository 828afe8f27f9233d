// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#include "configuration/places.h"

const char Places::settingsFile[] = "/var/lib/geoclue/providers/vexa/settings.conf";
const char Places::sharedDirectory[] = "/srv/shared/org.ondravexa/geoclue/";
