// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// The cache file. An input is the file's contents.

#include "fuzzing.h"
#include "positioning/cacheformat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = inputOf(data, size);
    const QByteArray written = cacheContent(cachedPosition(input));
    require(written.size() == cacheSize, "a position takes 52 bytes");
    if (input.size() >= cacheSize)
        require(written == input.left(cacheSize), "what is written is what was read");
    require(cacheContent(cachedPosition(written)) == written,
        "a short file is read as what is written for it");
    return 0;
}
