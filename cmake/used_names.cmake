# SPDX-License-Identifier: MIT
# Writes the names that plugins leave to the daemon, as a list for its linker:
# cmake -DNM=NM "-DPLUGINS=FILE;..." -DLIST=FILE -P used_names.cmake
set(names)
foreach(plugin ${PLUGINS})
    execute_process(COMMAND ${NM} -D --undefined-only ${plugin} OUTPUT_VARIABLE found
                    COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "U [A-Za-z_][A-Za-z_0-9]*" found "${found}")
    list(TRANSFORM found REPLACE "^U " "")
    list(APPEND names ${found})
endforeach()
list(REMOVE_DUPLICATES names)
list(SORT names)
list(JOIN names ";\n    " names)
file(WRITE ${LIST} "{\n    ${names};\n};\n")
