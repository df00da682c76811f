# SPDX-License-Identifier: MIT
# A program for another machine, as a script runs it by its name alone: through the emulator.
function(vorn_runnable result target)
    if(NOT CMAKE_CROSSCOMPILING)
        set(${result} $<TARGET_FILE:${target}> PARENT_SCOPE)
        return()
    endif()
    set(script ${CMAKE_BINARY_DIR}/emulated/${target})
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    file(GENERATE OUTPUT ${script}
         CONTENT "#!/bin/sh\nexec ${emulator} -0 ${target} $<TARGET_FILE:${target}> \"$@\"\n"
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                          WORLD_READ WORLD_EXECUTE)
    set(${result} ${script} PARENT_SCOPE)
endfunction()
