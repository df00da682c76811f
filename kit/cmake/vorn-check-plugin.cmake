# What a plugin leaves undefined must be what the daemon exports: NM, PLUGIN and EXPORTS are given.
# The linker cannot tell, since the daemon is not there when a plugin is linked.
execute_process(COMMAND ${NM} -D --undefined-only --format=posix ${PLUGIN}
                OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "(^|\n)(vorn|ght|eloop|VORN|sig_child)_[A-Za-z0-9_]+" needed "${symbols}")
list(TRANSFORM needed STRIP)
file(STRINGS ${EXPORTS} exported)
list(REMOVE_ITEM needed ${exported})
if(needed)
    list(JOIN needed ", " names)
    file(REMOVE ${PLUGIN})
    message(FATAL_ERROR "${PLUGIN} needs what this version of the daemon does not export: ${names}")
endif()
