# SPDX-FileCopyrightText: 2026 The OndraVexa authors
# SPDX-License-Identifier: BSD-3-Clause
#
# What the installed files have to agree on; the directories that packagers choose are in data/CMakeLists.txt.

set(ONDRAVEXA_USER "geoclue-ondravexa" CACHE STRING
    "System user that the daemon runs as; its group has the same name")
set(ONDRAVEXA_SETTINGS_GROUP "geoclue-ondravexa-admin" CACHE STRING
    "Group whose members may read and change the daemon's options, the API key among them")

# Fixed: the daemon has these built in.
set(ONDRAVEXA_BUS_NAME "org.freedesktop.Geoclue.Providers.OndraVexa")
set(ONDRAVEXA_OBJECT_PATH "/org/freedesktop/Geoclue/Providers/OndraVexa")
set(ONDRAVEXA_STATE_DIR "geoclue/providers/vexa") # below /var/lib
set(ONDRAVEXA_SETTINGS_DIR "/var/lib/${ONDRAVEXA_STATE_DIR}")
set(ONDRAVEXA_SHARED_DIR "/srv/shared/org.ondravexa/geoclue")
