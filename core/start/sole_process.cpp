/* SPDX-License-Identifier: MIT */
/*
 * Two daemons would apply two configurations to one device, each unasked by the other. Whoever
 * comes second must find out before it has armed the watchdog or written a file, so the pid file,
 * which comes last, can't tell; and a file that outlives its writer could keep the device from ever
 * coming up again. A lock on a file ends with the process that holds it, whatever ends that.
 */
#include "core/start/sole_process.h"

#include "core/base/file.h"
#include "core/base/paths.h"
#include "core/start/options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>

namespace vorn {

namespace {

constexpr int most_tries = 50;
constexpr struct timespec between_tries = {0, 10'000'000};

/*
 * A child that has been forked and is not yet its program holds the lock too, for a moment longer
 * than a daemon that was killed just then; an init starts the next one at once.
 */
bool is_locked_by_another(int file)
{
    for (int tries = 0; tries < most_tries; tries++) {
        if (flock(file, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return false;
        nanosleep(&between_tries, nullptr);
    }
    return true;
}

} // namespace

/* Without the file there is no telling, and a device that does not come up is worse than two. */
void become_sole_process(int argc, char **argv)
{
    constexpr mode_t nobody_elses = 0600; /* whoever may open it could hold the lock */
    Fd file = open_regular(paths::lock_file, O_RDWR | O_CREAT | O_NOFOLLOW, nobody_elses);
    if (!file) return;
    if (is_locked_by_another(file.get())) {
        refuse_bad_usage(argc, argv);
        std::fprintf(stderr, "vorn: Another vorn is running already.\n");
        std::exit(1);
    }
    /* Open until the process ends: its own children never see it, and daemon() keeps it. */
    static_cast<void>(file.release());
}

} // namespace vorn
