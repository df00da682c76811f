# The names that a daemon binary exports to its plugins, one a line: NM, BINARY and OUTPUT are given.
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${BINARY}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "(^|\n)(vorn|ght|eloop|VORN|sig_child)_[A-Za-z0-9_]+" names "${symbols}")
list(TRANSFORM names STRIP)
list(SORT names)
list(JOIN names "\n" text)
file(WRITE ${OUTPUT} "${text}\n")
