# SPDX-License-Identifier: MIT
# What the cross compilers have in common. Libraries, and what an emulated program sees first, lie
# in VORN_CROSS_ROOT, which tools/cross fills.
set(VORN_CROSS_ROOT "" CACHE PATH "Root folder of the other machine")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VORN_CROSS_ROOT)

set(CMAKE_C_COMPILER ${VORN_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VORN_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${VORN_TRIPLET})
set(CMAKE_SYSROOT ${VORN_CROSS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(VORN_EMULATOR)
    set(CMAKE_SYSTEM_NAME Linux)
    # By its path: a test may run the daemon with another PATH.
    find_program(VORN_EMULATOR_PROGRAM ${VORN_EMULATOR} REQUIRED)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${VORN_EMULATOR_PROGRAM} -L ${VORN_CROSS_ROOT})
else()
    # Without an emulator that leads them there, programs know where their libraries are.
    set(libraries ${VORN_CROSS_ROOT}/lib:${VORN_CROSS_ROOT}/usr/lib)
    string(APPEND libraries :${VORN_CROSS_ROOT}/usr/lib/${VORN_TRIPLET})
    set(CMAKE_EXE_LINKER_FLAGS_INIT
        -Wl,--dynamic-linker=${VORN_CROSS_ROOT}/usr/lib/libc.so,-rpath,${libraries})
endif()
