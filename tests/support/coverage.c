/* SPDX-License-Identifier: MIT */
/* In a build that counts: a child that can't become another program writes what it counted. */
#include <gcov.h>
#include <stdnoreturn.h>

noreturn void __real__exit(int status);
noreturn void __wrap__exit(int status);

void __wrap__exit(int status)
{
    __gcov_dump();
    __real__exit(status);
}
