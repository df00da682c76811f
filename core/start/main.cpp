/* SPDX-License-Identifier: MIT */
/* The entry point: up, round and round, out. */
#include "api/sockets/clients.h"
#include "core/log_sink.h"
#include "core/start/startup.h"
#include "vorn/eloop.h"

using namespace vorn;

int main(int argc, char **argv)
{
    start_up(argc, argv);
    eloop_run();
    wind_down();
    end_clients();
    finish_logs();
    return 1;
}
