/* SPDX-License-Identifier: MIT */
/*
 * When a program is hardened, newer C libraries turn some calls into others, which check their
 * arguments first. Here they are the calls themselves, so that a test's stand-in for such a call
 * stands in for both.
 */
#include <cstddef>

#include <fcntl.h>
#include <poll.h>

extern "C" {
int __open_2(const char *path, int flags)
{
    return open(path, flags);
}

int __open64_2(const char *path, int flags)
{
    return open(path, flags);
}

int __poll_chk(struct pollfd *descriptors, nfds_t count, int timeout, std::size_t /*room*/)
{
    return poll(descriptors, count, timeout);
}
}
