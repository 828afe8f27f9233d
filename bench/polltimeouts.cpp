// SPDX-FileCopyrightText: 2026 The OndraVexa authors
// SPDX-License-Identifier: BSD-3-Clause

// Loaded into a program under measurement: notes in a file which waits ended because a timer was
// due.

#include "polltimeouts.h"

#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

PollTimeouts *openTimeouts()
{
    const char *name = std::getenv("ONDRAVEXA_POLL_TIMEOUTS");
    const int file = name == nullptr ? -1 : open(name, O_RDWR | O_CLOEXEC);
    void *memory = mmap(nullptr, sizeof(PollTimeouts), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED)
        std::abort();
    close(file);
    return static_cast<PollTimeouts *>(memory);
}

} // namespace

extern "C" int poll(pollfd *descriptors, nfds_t count, int timeoutMs)
{
    static PollTimeouts *const timeouts = openTimeouts();
    static const auto original = reinterpret_cast<decltype(&poll)>(dlsym(RTLD_NEXT, "poll"));
    const int result = original(descriptors, count, timeoutMs);
    if (result == 0 && timeoutMs > 0) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        timeouts->lastNs = now.tv_sec * 1000000000L + now.tv_nsec;
        ++timeouts->count;
    }
    return result;
}
