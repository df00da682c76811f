/* SPDX-License-Identifier: MIT */
/*
 * On 32-bit machines the C library gives these calls other names when files may be large and time
 * goes on after 2038, and with them goes what stands in. vorn_wrap has the same names.
 */
#pragma once

#include <features.h>

#if defined _FILE_OFFSET_BITS && defined __GLIBC__
#    define __real_fcntl __real_fcntl64
#    define __wrap_fcntl __wrap_fcntl64
#    define __real_open __real_open64
#    define __wrap_open __wrap_open64
#    define __real_stat __real_stat64
#    define __wrap_stat __wrap_stat64
#elif defined _FILE_OFFSET_BITS
#    define __real_clock_gettime __real___clock_gettime64
#    define __wrap_clock_gettime __wrap___clock_gettime64
#    define __real_select __real___select_time64
#    define __wrap_select __wrap___select_time64
#    define __real_stat __real___stat_time64
#    define __wrap_stat __wrap___stat_time64
#    define __real_timer_settime __real___timer_settime64
#    define __wrap_timer_settime __wrap___timer_settime64
#    define __real_timerfd_settime __real___timerfd_settime64
#    define __wrap_timerfd_settime __wrap___timerfd_settime64
#endif
