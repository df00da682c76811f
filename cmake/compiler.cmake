# How everything is compiled: warnings, hardening, sanitizers, and what only the daemon gets.
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckCCompilerFlag)
include(CheckCSourceCompiles)
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported()

# Who builds packages says by himself what is kept, and where: a home folder may not be there.
if(VORN_DEVELOPER)
    find_program(VORN_CCACHE ccache)
endif()
if(VORN_CCACHE)
    set(CMAKE_C_COMPILER_LAUNCHER ${VORN_CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${VORN_CCACHE})
endif()

# The flags that the compilers know, for a language (C, CXX). With errors on, since Clang merely
# warns of what it does not know or what means nothing to this machine.
function(vorn_known_flags result language)
    set(known)
    set(CMAKE_REQUIRED_FLAGS -Werror)
    foreach(flag ${ARGN})
        string(MAKE_C_IDENTIFIER VORN_${language}_KNOWS${flag} variable)
        if(language STREQUAL C)
            check_c_compiler_flag(${flag} ${variable})
        else()
            check_cxx_compiler_flag(${flag} ${variable})
        endif()
        if(${variable})
            list(APPEND known ${flag})
        endif()
    endforeach()
    set(${result} ${known} PARENT_SCOPE)
endfunction()

add_compile_options(-Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wvla)
if(VORN_DEVELOPER)
    add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # What GCC allows without a word.
    add_compile_options(-Wno-format-nonliteral)
endif()
# Fixed rooms that cut what does not fit are part of the interface, hence no word on truncation.
vorn_known_flags(truncation C -Wformat-truncation)
if(truncation)
    add_compile_options(-Wno-format-truncation)
endif()
add_compile_definitions(_GNU_SOURCE)

# Without this a 32-bit program cannot read a folder, nor look at a file, whose numbers in the file
# system need 64 bits; it would find no plugins there.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_definitions(_FILE_OFFSET_BITS=64)
endif()

if(VORN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -O1)
    add_link_options(-fsanitize=address,undefined)
    if(VORN_FUZZ)
        # Clang's vptr check needs the type information that the daemon does without.
        add_compile_options(-fsanitize=fuzzer-no-link -fno-sanitize=vptr)
    endif()
elseif(VORN_COVERAGE)
    add_compile_options(--coverage -O0 -fprofile-update=atomic)
    add_link_options(--coverage)
else()
    add_compile_options(-fstack-protector-strong -fstack-clash-protection
                        "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
    # Indirect jumps land only where they may, on machines that can see to it.
    vorn_known_flags(protection C -fcf-protection -mbranch-protection=standard)
    add_compile_options(${protection})
endif()

# Where an address is put in once it is known takes 24 bytes on a 64-bit machine, or a bit when these
# places are packed. Who starts the program has to know that: GNU's C library from 2.36 on, and an
# earlier one refuses the file; musl from 1.2.4 on, which does not say of what version it is.
check_c_source_compiles("
    #include <features.h>
    #if !__GLIBC_PREREQ(2, 36)
    #error
    #endif
    int main(void) { return 0; }" VORN_LIBRARY_KNOWS_PACKED_RELOCATIONS)
check_linker_flag(C -Wl,--fatal-warnings,-z,pack-relative-relocs VORN_LINKER_KNOWS_PACKED_RELOCATIONS)
option(VORN_PACKED_RELOCATIONS "Pack relocations where the linker can; the C library has to know them"
       ${VORN_LIBRARY_KNOWS_PACKED_RELOCATIONS})
if(VORN_PACKED_RELOCATIONS AND VORN_LINKER_KNOWS_PACKED_RELOCATIONS)
    add_link_options(-Wl,-z,pack-relative-relocs)
endif()

# No exceptions, no type information, no guards around statics: what is left needs no C++ runtime.
add_library(vorn_daemon_flags INTERFACE)
target_compile_options(vorn_daemon_flags INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fvisibility=hidden -fvisibility-inlines-hidden>)
set(VORN_DAEMON_ONLY_FLAGS -fno-exceptions -fno-rtti -fno-threadsafe-statics)
if(NOT VORN_SANITIZE)
    # Nothing unwinds the daemon's stack but debuggers, which have tables of their own.
    list(APPEND VORN_DAEMON_ONLY_FLAGS -fno-asynchronous-unwind-tables)
    # Clang knows but one of these by its name.
    vorn_known_flags(stack CXX -Wstack-usage=16384)
    if(NOT stack)
        set(stack -Wframe-larger-than=16384)
    endif()
    list(APPEND VORN_DAEMON_ONLY_FLAGS ${stack})
endif()

# Who asks for little gets what GCC has beyond -Os: a hundredth of the daemon.
vorn_known_flags(smallest CXX -Oz)
list(APPEND VORN_DAEMON_ONLY_FLAGS "$<$<CONFIG:MinSizeRel>:${smallest}>")

# Room between functions makes the daemon larger by a fourteenth, and nothing that it does faster.
vorn_known_flags(packed CXX -falign-functions=1 -falign-jumps=1 -falign-loops=1)
list(APPEND VORN_DAEMON_ONLY_FLAGS ${packed})

# What plugins may resolve: everything that the headers declare, or what is used of it.
option(VORN_ONLY_USED_NAMES
       "Leave out what neither a reference plugin nor one of VORN_OTHER_PLUGINS uses" OFF)
set(VORN_OTHER_PLUGINS "" CACHE STRING "With VORN_ONLY_USED_NAMES: files of the device's other plugins")
set(VORN_NAMES ${CMAKE_CURRENT_LIST_DIR}/exports.list)
if(VORN_ONLY_USED_NAMES)
    set(VORN_NAMES ${CMAKE_BINARY_DIR}/used_names.list)
endif()
function(vorn_list_used_names)
    set(files ${VORN_OTHER_PLUGINS})
    foreach(plugin ${VORN_REFERENCE_PLUGINS})
        list(APPEND files $<TARGET_FILE:${plugin}>)
    endforeach()
    if(NOT files)
        message(FATAL_ERROR "VORN_ONLY_USED_NAMES needs VORN_PLUGINS or VORN_OTHER_PLUGINS.")
    endif()
    set(script ${PROJECT_SOURCE_DIR}/cmake/used_names.cmake)
    add_custom_command(OUTPUT ${VORN_NAMES} VERBATIM
        COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} "-DPLUGINS=${files}" -DLIST=${VORN_NAMES} -P ${script}
        DEPENDS ${VORN_REFERENCE_PLUGINS} ${files} ${script})
    add_custom_target(used_names DEPENDS ${VORN_NAMES})
    add_dependencies(vorn used_names)
endfunction()

add_library(vorn_exports INTERFACE)
target_link_options(vorn_exports INTERFACE -Wl,--dynamic-list=${VORN_NAMES})
set_property(TARGET vorn_exports PROPERTY INTERFACE_LINK_DEPENDS ${VORN_NAMES})

# CMake would add the C++ runtime to every link that holds a C++ object, the daemon's too; the
# programs that want it are linked by the C++ driver, which brings it along by itself.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")

# About eight files are compiled as one where most of the work is reading what they all include: a third of
# the time or less. Which they are is a matter of their names alone: a new file joins one unit and moves no
# other, and where there are too many each unit becomes two. A name at a file's own scope is the unit's then;
# GCC takes it for mistakes that a type is in an unnamed namespace and in no header, and that a local has the
# name of another file's function. Who wants each file by itself, as a checker does, says no.
option(VORN_FEW_UNITS "Compile several files of the programs with large headers, and of tests, as one" ON)
vorn_known_flags(units CXX -Wno-subobject-linkage -Wno-shadow)
set(VORN_UNIT_FLAGS ${units})
function(vorn_few_units program)
    if(NOT VORN_FEW_UNITS)
        return()
    endif()
    get_target_property(sources ${program} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    list(LENGTH sources files)
    set(units 1)
    math(EXPR most "10 * ${units}")
    while(files GREATER most)
        math(EXPR units "2 * ${units}")
        math(EXPR most "10 * ${units}")
    endwhile()
    foreach(source ${sources})
        get_filename_component(name ${source} NAME)
        string(SHA256 hash ${name})
        string(SUBSTRING ${hash} 0 1 digit)
        math(EXPR unit "0x${digit} % ${units}")
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${unit})
    endforeach()
    set_target_properties(${program} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    target_compile_options(${program} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:${VORN_UNIT_FLAGS}>)
endfunction()
