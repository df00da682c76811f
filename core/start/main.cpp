/* SPDX-License-Identifier: MIT */
/* The entry point: up, round and round, out. */
#include "core/log_sink.h"
#include "core/start/startup.h"
#include "vorn/eloop.h"

int main(int argc, char **argv)
{
    vorn::start_up(argc, argv);
    eloop_run();
    vorn::wind_down();
    vorn::finish_logs();
    return 1;
}
