# SPDX-License-Identifier: MIT
# The processor at hand, with another C library. The compiler is what tools/musl builds; programs
# run as they are.
set(VORN_DEBIAN musl)
set(VORN_TRIPLET x86_64-linux-musl)
include(${CMAKE_CURRENT_LIST_DIR}/common/machine.cmake)
