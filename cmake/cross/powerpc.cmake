# SPDX-License-Identifier: MIT
# 32-bit, big-endian. Debian has a compiler and a C library for it, but no programs.
set(VORN_DEBIAN none)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(VORN_TRIPLET powerpc-linux-gnu)
set(VORN_EMULATOR qemu-ppc-static)
include(${CMAKE_CURRENT_LIST_DIR}/common/machine.cmake)
