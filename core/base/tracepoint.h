/* SPDX-License-Identifier: MIT */
#pragma once

/*
 * Places at which a tracer can stop by: an instruction that does nothing, and a note in the binary
 * that says where it is. Nothing at all where the header is missing when the daemon is built.
 */
#if __has_include(<sys/sdt.h>)
#    include <sys/sdt.h>
#    define VORN_TRACEPOINT(name, argument) DTRACE_PROBE1(vorn, name, argument)
#else
#    define VORN_TRACEPOINT(name, argument) static_cast<void>(argument)
#endif
