// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

/// Where the daemon keeps its files. The texts are constants, so they can be read during static
/// initialisation.
namespace Places {

/// The settings file, INI format.
extern const char settingsFile[];

/// The directory of the position cache; ends in a slash.
extern const char sharedDirectory[];

} // namespace Places
