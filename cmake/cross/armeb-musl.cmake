# SPDX-License-Identifier: MIT
# 32-bit, big-endian, without a floating-point unit. The compiler is what tools/musl builds.
set(VORN_DEBIAN musl)
set(CMAKE_SYSTEM_PROCESSOR armeb)
set(VORN_TRIPLET armeb-linux-musleabi)
set(VORN_EMULATOR qemu-armeb-static)
# GCC's notes on how it passed arguments before its version 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/common/machine.cmake)
