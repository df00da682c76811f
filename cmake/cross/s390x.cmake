# SPDX-License-Identifier: MIT
# 64-bit, big-endian.
set(VORN_DEBIAN s390x)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(VORN_TRIPLET s390x-linux-gnu)
set(VORN_EMULATOR qemu-s390x-static)
include(${CMAKE_CURRENT_LIST_DIR}/common/machine.cmake)
