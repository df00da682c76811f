# SPDX-License-Identifier: MIT
# 32-bit, little-endian.
set(VORN_DEBIAN armel)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(VORN_TRIPLET arm-linux-gnueabi)
set(VORN_EMULATOR qemu-arm-static)
# GCC's notes on how it passed arguments before its version 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/common/machine.cmake)
