/* SPDX-License-Identifier: MIT */
#ifndef VORN_API_H
#define VORN_API_H

/** Marks what the daemon exports to its plugins. */
#define VORN_API __attribute__((visibility("default")))

/** Marks what a plugin defines for the daemon to call. */
#define VORN_PLUGIN_ENTRY __attribute__((visibility("default")))

/** Lets the compiler check a printf-like function: which argument is the format, where it starts.
 */
#define VORN_PRINTF(format_index, first_argument)                                                  \
    __attribute__((format(printf, format_index, first_argument)))

#ifdef __cplusplus
#    define VORN_BEGIN extern "C" {
#    define VORN_END }
#else
#    define VORN_BEGIN
#    define VORN_END
#endif

#endif
