/* SPDX-License-Identifier: MIT */
/* The C++ headers of this machine were configured for the GNU C library: what they want of it is
 * put here.
 */
#pragma once

#define __locale_t locale_t
#define __GLIBC_PREREQ(major, minor) 0
enum {
    _ISupper = 1,
    _ISlower = 2,
    _ISalpha = 4,
    _ISdigit = 8,
    _ISxdigit = 16,
    _ISspace = 32,
    _ISprint = 64,
    _IScntrl = 128,
    _ISpunct = 256,
    _ISalnum = 512,
    _ISblank = 1024
};
#include <bits/c++config.h>
#undef _GLIBCXX_USE_PTHREAD_COND_CLOCKWAIT
#undef _GLIBCXX_USE_PTHREAD_MUTEX_CLOCKLOCK
