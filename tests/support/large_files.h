/* SPDX-License-Identifier: MIT */
/* On 32-bit machines the C library renames these calls, and with them goes what stands in. */
#pragma once

#ifdef _FILE_OFFSET_BITS
#    define __real_fcntl __real_fcntl64
#    define __wrap_fcntl __wrap_fcntl64
#    define __real_fopen __real_fopen64
#    define __wrap_fopen __wrap_fopen64
#    define __real_open __real_open64
#    define __wrap_open __wrap_open64
#    define __real_stat __real_stat64
#    define __wrap_stat __wrap_stat64
#endif
